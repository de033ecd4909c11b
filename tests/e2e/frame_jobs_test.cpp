// Animation frames rendered by several worker processes of the quorin command.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "command_run.h"

namespace {

using namespace quorin_e2e;

const std::string anim = "render " + examples + "animation.xml --size 48x32 --frames 0-7 --json";

}  // namespace

TEST(QuorinFrameJobs, WorkersWriteTheSameFilesAsOneProcess) {
  for (const char* jobs : {"1", "2", "3"}) {
    fs::create_directories(dir / jobs);
    const result r = run(anim + " --jobs " + jobs + " -o " + (dir / jobs / "warp-%d.png").string());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 8) << r.out;
  }
  for (int f = 0; f < 8; ++f) {
    const std::string name = "warp-" + std::to_string(f) + ".png", one = read_file(dir / "1" / name);
    EXPECT_FALSE(one.empty()) << name;
    EXPECT_EQ(read_file(dir / "2" / name), one) << name;
    EXPECT_EQ(read_file(dir / "3" / name), one) << name;
  }
}

TEST(QuorinFrameJobs, AFailingFrameStopsTheRunWithItsNumber) {
  // Frame 5's file cannot be written: a folder stands in its place.
  for (const char* jobs : {"1", "2"}) {
    SCOPED_TRACE(jobs);
    const fs::path out = dir / (std::string("fail") + jobs);
    fs::create_directories(out / "f-5.png");
    const result r = run(anim + " --jobs " + jobs + " -o " + (out / "f-%d.png").string());
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("frame 5: could not write"), std::string::npos) << r.err;
    EXPECT_TRUE(fs::exists(out / "f-4.png"));
    // One process stops at once; with workers, another may still finish the frame it held.
    if (jobs == std::string("1")) {
      EXPECT_FALSE(fs::exists(out / "f-6.png"));
    }
  }
}
