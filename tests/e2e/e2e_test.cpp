// End-to-end: the quorin command on every example project and on the usual mistakes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "codecs/decode.h"
#include "command_run.h"
#include "core/imgbuf.h"

namespace {

using namespace quorin_e2e;

// Width, height and colour type from the IHDR chunk, which always comes first.
std::array<uint32_t, 3> png_header(const std::string& b) {
  if (b.size() < 33 || b.compare(1, 3, "PNG") != 0) return {0, 0, 99};
  auto be32 = [&](std::size_t at) {
    return uint32_t(uint8_t(b[at])) << 24 | uint8_t(b[at + 1]) << 16 | uint8_t(b[at + 2]) << 8 | uint8_t(b[at + 3]);
  };
  return {be32(16), be32(20), uint8_t(b[25])};
}
// FNV-1a over the decoded pixels as 8-bit values: independent of how the PNG was compressed.
uint64_t pixel_fingerprint(const std::string& png) {
  using namespace quorin_engine;
  imgbuf4f* img = decode_image(reinterpret_cast<const uint8_t*>(png.data()), uint32_t(png.size()));
  if (!img) return 0;
  uint64_t h = 1469598103934665603ull;
  for (std::size_t i = 0; i < std::size_t(img->width) * img->height * 4; ++i)
    h = (h ^ static_cast<uint8_t>(img->pixels[i] * 255.0f + 0.5f)) * 1099511628211ull;
  imgbuf4f_delete(img);
  return h;
}
uint64_t render_fingerprint(const std::string& args, const std::string& out) {
  EXPECT_EQ(run("render " + args + " -o " + out).status, 0) << args;
  return pixel_fingerprint(read_file(out));
}

}  // namespace

TEST(QuorinCommand, RendersEveryGraphOfEveryExampleProject) {
  // Fingerprints of renders checked by eye when each example was added. A change here means the
  // engine draws that graph differently: look at the new image before updating the number.
  std::map<std::string, uint64_t> expected;
  std::ifstream list(QUORIN_SOURCE_DIR "/tests/e2e/expected_fingerprints.txt");
  std::string key;
  for (uint64_t value; list >> key >> std::hex >> value;) expected[key] = value;

  std::size_t renders = 0;
  for (const auto& entry : fs::directory_iterator(examples)) {
    if (entry.path().extension() != ".xml") continue;
    const std::string stem = entry.path().stem().string();
    for (int graph = 0;; ++graph) {  // until the command says there is no such graph
      const std::string id = stem + "#" + std::to_string(graph), out = scratch(stem + std::to_string(graph) + ".png");
      SCOPED_TRACE(id);
      const result r = run("render " + entry.path().string() + " --graph " + std::to_string(graph) +
                           " --size 64x48 -o " + out + " --json");
      if (r.status == 1 && r.err.find("no graph") != std::string::npos && graph > 0) break;
      ASSERT_EQ(r.status, 0) << r.err;
      ++renders;
      EXPECT_EQ(nlohmann::json::parse(r.out)["size"], nlohmann::json({64, 48})) << r.out;
      EXPECT_TRUE(r.err.empty()) << r.err;
      const std::string png = read_file(out);
      EXPECT_EQ(png_header(png), (std::array<uint32_t, 3>{64, 48, 2}));  // RGB without --alpha
      const uint64_t fp = pixel_fingerprint(png);
      ASSERT_NE(fp, 0u) << "the written file does not decode";
      if (!expected.count(id))
        ADD_FAILURE() << "no fingerprint recorded for " << id << "; the render gives " << std::hex << fp;
      else
        EXPECT_EQ(fp, expected[id]) << std::hex << "render gives " << fp;
    }
  }
  EXPECT_GE(renders, 7u);
}

TEST(QuorinCommand, SameProjectGivesSameBytesAndOptionsShowInTheImage) {
  const std::string project = examples + "generators.xml --size 64x48", anim = examples + "animation.xml --size 32x32";
  const uint64_t a = render_fingerprint(project, scratch("same_a.png"));
  render_fingerprint(project, scratch("same_b.png"));
  EXPECT_EQ(read_file(scratch("same_a.png")), read_file(scratch("same_b.png")));
  // However many threads a render is divided over, the bytes are the same.
  for (const char* threads : {"1", "5"}) {
    render_fingerprint(project + " --threads " + threads, scratch("threads.png"));
    EXPECT_EQ(read_file(scratch("same_a.png")), read_file(scratch("threads.png"))) << threads << " threads";
  }
  // A parameter set from the command line, on a node found by its name, changes the picture.
  EXPECT_NE(render_fingerprint(project + " --set clouds.seed=8", scratch("changed.png")), a);
  render_fingerprint(examples + "generators.xml --size 8x8 --alpha", scratch("alpha.png"));
  EXPECT_EQ(png_header(read_file(scratch("alpha.png")))[2], 6u);

  // Frames: Time runs from 0 at the first frame to 1 at the last; the pattern takes zero-padded
  // frame numbers; the last frame alone through --time gives the same picture as in the sequence.
  const result frames = run("render " + anim + " -o " + scratch("warp-##.png") + " --frames 0-2 --json");
  ASSERT_EQ(frames.status, 0) << frames.err;
  EXPECT_EQ(std::count(frames.out.begin(), frames.out.end(), '\n'), 3);
  const uint64_t f0 = pixel_fingerprint(read_file(scratch("warp-00.png"))),
                 f2 = pixel_fingerprint(read_file(scratch("warp-02.png")));
  EXPECT_TRUE(f0 && f2);
  EXPECT_NE(f0, f2);
  EXPECT_EQ(render_fingerprint(anim + " --time 1", scratch("warp-last.png")), f2);
}

TEST(QuorinCommand, ReportsMistakesClearlyWithAnExitStatus) {
  const std::string out = scratch("err.png"), garbage = scratch("garbage.xml"),
                    render = "render " + examples + "generators.xml -o " + out;
  std::ofstream(garbage) << "this is not a project";
  const struct { std::string args; int status; const char* message; } cases[] = {
      {"render /no/such/project.xml -o " + out, 1, "no such file"},
      {"render " + garbage + " -o " + out, 1, "not a project file"},
      {render + " --graph no-such-graph", 1, "no graph"},
      {render + " --node no-such-node", 1, "no node"},
      {render + " --size 0x10", 2, "bad size"},
      {render + " --size big", 2, "bad size"},
      {"render " + examples + "generators.xml -o /no/such/folder/x.png", 1, "output folder does not exist"},
      {"render " + examples + "generators.xml", 2, "no output file"},
      {render + " --frames 0-3", 2, "pattern"},
      {render + " --bogus", 2, "not expected"},
      {render + " --time 0.5 --frames 0-1", 2, "excludes"},
      {render + " --time 2", 2, "bad time"},
      {render + " --set clouds.no-such-param=1", 1, "no parameter"},
      {render + " --set clouds.seed", 2, "bad --set"},
      {"render " + examples + "animation.xml -o " + out + " --set amount.expression=1+", 1, "exception"},
      {"frobnicate", 2, "unknown command"},
      {"nodes NoSuchType", 1, "no node type"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    const result r = run(c.args);
    EXPECT_EQ(r.status, c.status) << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
  }
  EXPECT_FALSE(fs::exists(out));
}

TEST(QuorinCommand, HelpInfoAndCatalogue) {
  const std::pair<std::string, const char*> cases[] = {
      {"--help", "usage: quorin"}, {"render --help", "usage: quorin"}, {"info --help", "usage: quorin"},
      {"nodes --help", "usage: quorin"}, {"nodes", "Turbulence"}, {"nodes Turbulence", "octaves"},
      {"info " + examples + "generators.xml --json", "\"render-size-x\""}};
  for (const auto& [args, text] : cases) {
    const result r = run(args);
    EXPECT_EQ(r.status, 0) << args << r.err;
    EXPECT_NE(r.out.find(text), std::string::npos) << args << r.out;
  }
  const nlohmann::json info = nlohmann::json::parse(run("info " + examples + "generators.xml --json").out);
  EXPECT_EQ(info["graphs"].size(), 5u);
  EXPECT_EQ(info["graphs"][0]["name"], "clouds");
}
