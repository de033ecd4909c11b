// Hostile projects that are valid XML: the quorin command refuses what would overflow the stack,
// exhaust memory or draw for hours, with exit status 1 and a message that says why, and renders
// what the engine bounds by itself.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "command_run.h"

using namespace quorin_e2e;

namespace {

struct node_xml {
  std::string type, name, params;  // params: <param .../> elements
};
struct conn_xml {
  uint32_t consumer, feeder;
  std::string input;
};

// A project with one graph of the given nodes and connections, written to a scratch file.
std::string project(const std::string& file, const std::vector<node_xml>& nodes, const std::vector<conn_xml>& conns,
                    uint32_t width = 32, uint32_t height = 32) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                    "<project xmlns=\"http://quorin.invalid/schema/procgen\"><version>1</version><settings>"
                    "<setting name=\"render-size-x\" value=\"" + std::to_string(width) + "\"/>"
                    "<setting name=\"render-size-y\" value=\"" + std::to_string(height) + "\"/>"
                    "</settings><graphs><graph name=\"g\"><nodes>\n";
  for (std::size_t i = 0; i < nodes.size(); ++i)
    xml += "<node idx=\"" + std::to_string(i) + "\" type=\"" + nodes[i].type + "\" display=\"0,0,100,100\" name=\"" +
           nodes[i].name + "\"><params>" + nodes[i].params + "</params></node>\n";
  xml += "</nodes><node-conns><input-conns>\n";
  for (const conn_xml& c : conns)
    xml += "<input-conn node-idx=\"" + std::to_string(c.consumer) + "\" input-name=\"" + c.input +
           "\" conn-node-idx=\"" + std::to_string(c.feeder) + "\"/>\n";
  xml += "</input-conns></node-conns></graph></graphs></project>\n";
  const std::string path = scratch(file);
  std::ofstream(path) << xml;
  return path;
}

// A Checkerboard followed by `links` nodes of one operator type, each fed by the one before.
std::string chain(const std::string& file, uint32_t links, const std::string& type = "PassThru",
                  uint32_t size = 32) {
  std::vector<node_xml> nodes{{"Checkerboard", "n0", ""}};
  std::vector<conn_xml> conns;
  for (uint32_t i = 1; i <= links; ++i) {
    nodes.push_back({type, "n" + std::to_string(i), ""});
    conns.push_back({i, i - 1, "RGB"});
  }
  return project(file, nodes, conns, size, size);
}

std::string param(const std::string& name, const std::string& value) {
  return "<param name=\"" + name + "\" value=\"" + value + "\"/>";
}

}  // namespace

TEST(HostileProjects, RefusedBeforeRenderingWithTheReason) {
  const std::string out = scratch("hostile.png");
  const std::string nested(10000, '('), closed(10000, ')');
  const struct { std::string what, args, message; } cases[] = {
      // The pull recurses once per node: a chain of 100,000 would overflow the stack.
      {"deep chain", chain("chain.xml", 99999), "holds a chain of 100000 connected nodes (up to node 'n99999')"},
      {"render size", project("huge.xml", {{"Checkerboard", "c", ""}}, {}, 100000, 100000),
       "render size 100000x100000 cannot be rendered"},
      // 64 operators each hold an image of 16 GiB while their inputs render: far beyond any machine.
      {"memory", chain("wide.xml", 64, "Blur") + " --size 32768x32768", "needs at least 65 images of 16384 MB"},
      {"squares", project("squares.xml", {{"Squares", "sq", param("count", "2147483647") + param("size", "100")}}, {}),
       "node 'sq' (Squares) asks for 2.1e+09 squares of 1e+02 pixels"},
      {"squares through a connection",
       project("fed.xml", {{"Constant", "k", param("value", "4e9")}, {"Dots", "d", param("size", "32")}},
               {{1, 0, "count"}}),
       "node 'd' (Dots) asks for 4e+09 squares"},
      {"nested formula",
       project("formula.xml", {{"ScalarExpr", "e", param("expression", nested + "1" + closed)}, {"Gradient", "g", ""}},
               {}),
       "node 'e': its formula nests 10000 levels"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const result r = run("render " + c.args + " -o " + out);
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty());
  }
  EXPECT_FALSE(fs::exists(out));
}

TEST(HostileProjects, BoundedWorkStillRenders) {
  // The engine limits a blur's size to 100 pixels itself; a chain well within the stack renders;
  // a Squares node at the top of its bounds is within the budget.
  const std::string blur =
      project("blur.xml", {{"Checkerboard", "c", ""}, {"Blur", "b", param("size", "1e30")}}, {{1, 0, "RGB"}});
  const std::string squares =
      project("many.xml", {{"Squares", "sq", param("count", "10000") + param("size", "100")}}, {}, 256, 256);
  for (const std::string& args : {blur, chain("short.xml", 300), squares}) {
    SCOPED_TRACE(args);
    const std::string out = scratch("bounded.png");
    fs::remove(out);
    const result r = run("render " + args + " -o " + out);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(fs::exists(out));
  }
}

TEST(HostileProjects, AssetLargerThanMemoryIsOutOfMemory) {
  // The reader takes the memory an embedded asset declares before its data come. Where that is
  // more than the process may have, the command says so and stops; the sanitizer builds reserve
  // more address space than such a limit allows, so they leave this case out.
#ifdef QUORIN_SANITIZED
  GTEST_SKIP() << "address space limits and the sanitizer do not mix";
#endif
  const std::string path = scratch("asset.xml"), err = scratch("asset.err");
  std::ofstream(path) << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                         "<project xmlns=\"http://quorin.invalid/schema/procgen\"><version>1</version><assets>"
                         "<asset linkage=\"embedded\" name=\"big\"><embedded size=\"4000000000\"><data>AAAA</data>"
                         "</embedded></asset></assets></project>\n";
  const int status = std::system(("(ulimit -v 2000000; " QUORIN_BINARY_DIR "/bin/quorin info " + path + ") >/dev/null 2>" +
                                  err).c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_NE(read_file(err).find("quorin: error: out of memory"), std::string::npos) << read_file(err);
}
