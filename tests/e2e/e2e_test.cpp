// End-to-end: the quorin command on every example project and on the usual mistakes.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "codecs/decode.h"
#include "core/imgbuf.h"

namespace fs = std::filesystem;

namespace {

const std::string quorin = std::string(QUORIN_BINARY_DIR) + "/bin/quorin";
const fs::path examples = fs::path(QUORIN_SOURCE_DIR) / "examples";

struct result {
  int status;
  std::string out;  // standard output
  std::string err;  // standard error
};

result run(const std::string& args) {
  fs::path err_file = fs::temp_directory_path() / ("quorin_e2e_err_" + std::to_string(::getpid()));
  std::string cmd = quorin + " " + args + " 2>" + err_file.string();
  result r{-1, {}, {}};
  FILE* p = popen(cmd.c_str(), "r");
  if (!p) return r;
  std::array<char, 4096> buf;
  std::size_t n;
  while ((n = fread(buf.data(), 1, buf.size(), p)) > 0) r.out.append(buf.data(), n);
  int status = pclose(p);
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream e(err_file);
  r.err.assign(std::istreambuf_iterator<char>(e), {});
  fs::remove(err_file);
  return r;
}

std::string read_file(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), {});
}

fs::path scratch(const std::string& name) {
  fs::path dir = fs::temp_directory_path() / ("quorin_e2e_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  return dir / name;
}

struct png_info {
  uint32_t width = 0, height = 0;
  int colour_type = -1;
};

// Width, height and colour type straight from the IHDR chunk, which always comes first.
png_info png_header(const std::string& bytes) {
  png_info info;
  if (bytes.size() < 33 || bytes.compare(1, 3, "PNG") != 0) return info;
  auto be32 = [&](std::size_t at) {
    return (uint32_t(uint8_t(bytes[at])) << 24) | (uint32_t(uint8_t(bytes[at + 1])) << 16) |
           (uint32_t(uint8_t(bytes[at + 2])) << 8) | uint32_t(uint8_t(bytes[at + 3]));
  };
  info.width = be32(16);
  info.height = be32(20);
  info.colour_type = uint8_t(bytes[25]);
  return info;
}

// FNV-1a over the decoded pixels as 8-bit values: a fingerprint of what the image shows that does
// not depend on how the PNG was compressed.
uint64_t pixel_fingerprint(const std::string& png) {
  using namespace quorin_engine;
  imgbuf4f* img = decode_image(reinterpret_cast<const uint8_t*>(png.data()), static_cast<uint32_t>(png.size()));
  if (!img) return 0;
  uint64_t h = 1469598103934665603ull;
  for (std::size_t i = 0; i < std::size_t(img->width) * img->height * 4; ++i) {
    h ^= static_cast<uint8_t>(img->pixels[i] * 255.0f + 0.5f);
    h *= 1099511628211ull;
  }
  imgbuf4f_delete(img);
  return h;
}

}  // namespace

TEST(QuorinCommand, RendersEveryGraphOfEveryExampleProject) {
  // Fingerprints of renders checked by eye when each example was added. A change here means the
  // engine draws that graph differently: look at the new image before updating the number.
  std::map<std::string, uint64_t> expected;
  std::ifstream list(fs::path(QUORIN_SOURCE_DIR) / "tests/e2e/expected_fingerprints.txt");
  std::string key;
  uint64_t value;
  while (list >> key >> std::hex >> value) expected[key] = value;

  std::size_t renders = 0;
  for (const auto& entry : fs::directory_iterator(examples)) {
    if (entry.path().extension() != ".xml") continue;
    std::string stem = entry.path().stem().string();
    // Every graph in turn, until the command says there is no such graph.
    for (int graph = 0;; ++graph) {
      std::string id = stem + "#" + std::to_string(graph);
      SCOPED_TRACE(id);
      fs::path out = scratch(stem + std::to_string(graph) + ".png");
      result r = run("render " + entry.path().string() + " --graph " + std::to_string(graph) + " --size 64x48 -o " +
                     out.string() + " --json");
      if (r.status == 1 && r.err.find("no graph") != std::string::npos && graph > 0) break;
      ASSERT_EQ(r.status, 0) << r.err;
      ++renders;
      EXPECT_NE(r.out.find("\"size\": [64, 48]"), std::string::npos) << r.out;
      EXPECT_TRUE(r.err.empty()) << r.err;
      std::string png = read_file(out);
      png_info info = png_header(png);
      EXPECT_EQ(info.width, 64u);
      EXPECT_EQ(info.height, 48u);
      EXPECT_EQ(info.colour_type, 2);  // RGB without --alpha
      uint64_t fp = pixel_fingerprint(png);
      ASSERT_NE(fp, 0u) << "the written file does not decode";
      auto it = expected.find(id);
      if (it == expected.end())
        ADD_FAILURE() << "no fingerprint recorded for " << id << "; the render gives " << std::hex << fp;
      else
        EXPECT_EQ(fp, it->second) << std::hex << "render gives " << fp;
    }
  }
  EXPECT_GE(renders, 7u);
}

TEST(QuorinCommand, SameProjectGivesSameBytesAndOptionsShowInTheImage) {
  fs::path project = examples / "generators.xml";
  fs::path a = scratch("same_a.png"), b = scratch("same_b.png");
  ASSERT_EQ(run("render " + project.string() + " -o " + a.string() + " --size 64x48").status, 0);
  ASSERT_EQ(run("render " + project.string() + " -o " + b.string() + " --size 64x48").status, 0);
  EXPECT_EQ(read_file(a), read_file(b));

  // A parameter set from the command line changes the picture; the node is found by its name.
  fs::path changed = scratch("changed.png");
  ASSERT_EQ(run("render " + project.string() + " -o " + changed.string() + " --size 64x48 --set clouds.seed=8").status, 0);
  EXPECT_NE(pixel_fingerprint(read_file(a)), pixel_fingerprint(read_file(changed)));

  fs::path rgba = scratch("alpha.png");
  ASSERT_EQ(run("render " + project.string() + " -o " + rgba.string() + " --size 8x8 --alpha").status, 0);
  EXPECT_EQ(png_header(read_file(rgba)).colour_type, 6);

  // Frames: Time runs from 0 at the first frame to 1 at the last, so the rings warp more; the pattern
  // is filled with zero-padded frame numbers.
  fs::path pattern = scratch("warp-##.png");
  result frames = run("render " + (examples / "animation.xml").string() + " -o " + pattern.string() +
                      " --size 32x32 --frames 0-2 --json");
  ASSERT_EQ(frames.status, 0) << frames.err;
  EXPECT_EQ(std::count(frames.out.begin(), frames.out.end(), '\n'), 3);
  std::string f0 = read_file(scratch("warp-00.png")), f2 = read_file(scratch("warp-02.png"));
  ASSERT_FALSE(f0.empty());
  ASSERT_FALSE(f2.empty());
  EXPECT_NE(pixel_fingerprint(f0), pixel_fingerprint(f2));
  // The same frame rendered alone through --time gives the same picture as in the sequence.
  fs::path last = scratch("warp-last.png");
  ASSERT_EQ(run("render " + (examples / "animation.xml").string() + " -o " + last.string() + " --size 32x32 --time 1").status, 0);
  EXPECT_EQ(pixel_fingerprint(read_file(last)), pixel_fingerprint(f2));
}

TEST(QuorinCommand, ReportsMistakesClearlyWithAnExitStatus) {
  fs::path project = examples / "generators.xml";
  fs::path out = scratch("err.png");
  struct error_case {
    std::string args;
    int status;
    std::string message;
  };
  fs::path garbage = scratch("garbage.xml");
  std::ofstream(garbage) << "this is not a project";
  const std::vector<error_case> cases = {
      {"render /no/such/project.xml -o " + out.string(), 1, "no such file"},
      {"render " + garbage.string() + " -o " + out.string(), 1, "not a project file"},
      {"render " + project.string() + " -o " + out.string() + " --graph no-such-graph", 1, "no graph"},
      {"render " + project.string() + " -o " + out.string() + " --node no-such-node", 1, "no node"},
      {"render " + project.string() + " -o " + out.string() + " --size 0x10", 2, "bad size"},
      {"render " + project.string() + " -o " + out.string() + " --size big", 2, "bad size"},
      {"render " + project.string() + " -o /no/such/folder/x.png", 1, "output folder does not exist"},
      {"render " + project.string(), 2, "no output file"},
      {"render " + project.string() + " -o " + out.string() + " --frames 0-3", 2, "pattern"},
      {"render " + project.string() + " -o " + out.string() + " --bogus", 2, "unknown option"},
      {"render " + project.string() + " -o " + out.string() + " --set clouds.no-such-param=1", 1, "no parameter"},
      {"render " + project.string() + " -o " + out.string() + " --set clouds.seed", 2, "bad --set"},
      {"render " + (examples / "animation.xml").string() + " -o " + out.string() + " --set amount.expression=1+", 1,
       "exception"},
      {"frobnicate", 2, "unknown command"},
      {"nodes NoSuchType", 1, "no node type"},
  };
  for (const error_case& c : cases) {
    SCOPED_TRACE(c.args);
    result r = run(c.args);
    EXPECT_EQ(r.status, c.status) << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
  }
  EXPECT_FALSE(fs::exists(out));
}

TEST(QuorinCommand, HelpInfoAndCatalogue) {
  for (const char* cmd : {"--help", "render --help", "info --help", "nodes --help"}) {
    result r = run(cmd);
    EXPECT_EQ(r.status, 0) << cmd;
    EXPECT_NE(r.out.find("usage: quorin"), std::string::npos) << cmd;
  }
  result nodes = run("nodes");
  EXPECT_EQ(nodes.status, 0);
  EXPECT_NE(nodes.out.find("Turbulence"), std::string::npos);
  result turbulence = run("nodes Turbulence");
  EXPECT_EQ(turbulence.status, 0);
  EXPECT_NE(turbulence.out.find("octaves"), std::string::npos) << turbulence.out;

  result info = run("info " + (examples / "generators.xml").string() + " --json");
  EXPECT_EQ(info.status, 0) << info.err;
  EXPECT_EQ(info.out.rfind("{\"file\": ", 0), 0u) << info.out;
  EXPECT_NE(info.out.find("\"render-size-x\""), std::string::npos);
}
