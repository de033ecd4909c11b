// Shared helpers of the project file tests: scratch files, building documents, comparing them.
#pragma once
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "core/text.h"
#include "document/asset.h"
#include "document/curve.h"
#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "quorin/engine.h"
#include "quorin/node.h"
#include "quorin/project.h"

namespace persistence_test {

using namespace quorin_engine;
namespace fs = std::filesystem;

// A folder of this test process, removed when the process ends.
inline const fs::path& scratch_dir() {
  struct folder {
    fs::path path = fs::temp_directory_path() / ("quorin_persistence_" + std::to_string(::getpid()));
    folder() { fs::create_directories(path); }
    ~folder() {
      std::error_code ignored;
      fs::remove_all(path, ignored);
    }
  };
  static const folder dir;
  return dir.path;
}

inline std::string scratch(const std::string& name) { return (scratch_dir() / name).string(); }
inline wstring wide(const std::string& utf8) { return from_utf8(utf8); }

inline void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Reads a document given as text into the project, through a file as a host would.
inline bool read_text(project& p, const std::string& xml, const std::string& name = "in.xml") {
  std::string path = scratch(name);
  write_file(path, xml);
  return project_read_from_file_xml(&p, wide(path).c_str()) != 0;
}

inline bool write_project(project& p, const std::string& path) {
  return project_write_xml_to_file(&p, wide(path).c_str()) != 0;
}

// The text of a project document around the given content of `graphs` (and more, if given).
inline std::string document(const std::string& graphs, const std::string& rest = "") {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
         "<project xmlns=\"http://quorin.invalid/schema/procgen\"><version>1</version>"
         "<graphs>" + graphs + "</graphs>" + rest + "</project>\n";
}

inline std::size_t count_of(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

// A node of a catalogue type, with the catalogue's defaults.
inline shadetree_node_t* make_node(const char16_t* type_name) {
  shadetree_node_t* n = node_create_by_type_name(type_name);
  EXPECT_NE(n, nullptr) << "type missing from the catalogue";
  return n;
}

inline curve make_curve(std::vector<curve_item> items, bool enabled = true) {
  curve c;
  c.items = std::move(items);
  c.enabled = enabled;
  return c;
}

inline curve_item line(float x0, float y0, float x1, float y1) {
  curve_item it;
  it.type = curve_item_line;
  it.points[0][0] = x0, it.points[0][1] = y0, it.points[1][0] = x1, it.points[1][1] = y1;
  return it;
}

inline curve_item bezier(std::vector<float> xy) {
  curve_item it;
  it.type = curve_item_bezier;
  for (std::size_t k = 0; k < xy.size() / 2; ++k) it.points[k][0] = xy[2 * k], it.points[k][1] = xy[2 * k + 1];
  return it;
}

inline uint32_t index_in(const graph& g, const shadetree_node_t* n) {
  for (uint32_t i = 0; i < g.nodes.size(); ++i)
    if (g.nodes[i] == n) return i;
  return UINT32_MAX;
}

// Points travel with six decimals.
inline void expect_curve_near(const curve& got, const curve& want, const std::string& where) {
  SCOPED_TRACE(where);
  EXPECT_EQ(got.enabled, want.enabled);
  ASSERT_EQ(got.items.size(), want.items.size());
  for (std::size_t i = 0; i < want.items.size(); ++i) {
    EXPECT_EQ(got.items[i].type, want.items[i].type == curve_item_line ? curve_item_line : curve_item_bezier);
    uint32_t points = want.items[i].type == curve_item_line ? 2 : want.items[i].type == curve_item_bezier ? 4 : 5;
    for (uint32_t k = 0; k < points; ++k) {
      EXPECT_NEAR(got.items[i].points[k][0], want.items[i].points[k][0], 5e-7) << "item " << i << " point " << k;
      EXPECT_NEAR(got.items[i].points[k][1], want.items[i].points[k][1], 5e-7) << "item " << i << " point " << k;
    }
  }
}

// The engine with the full node type document; brought up once for the test program, since a
// second init would append a second copy of the catalogue.
class EngineTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    static const bool up = (init(), true);
    (void)up;
  }
};

}  // namespace persistence_test
