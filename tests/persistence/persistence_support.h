// Helpers of the project file tests: scratch files, curves, building projects by hand.
#pragma once
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "quorin/engine.h"
#include "quorin/node.h"
#include "quorin/project.h"

namespace persistence_test {
using namespace quorin_engine;
namespace fs = std::filesystem;

inline std::string scratch(const std::string& name) {  // in a folder removed at exit
  static const struct dir { fs::path p; ~dir() { std::error_code e; fs::remove_all(p, e); } } d{
      fs::temp_directory_path() / ("quorin_persistence_" + std::to_string(::getpid()))};
  fs::create_directories(d.p);
  return (d.p / name).string();
}
inline void write_file(const std::string& path, const std::string& bytes) { std::ofstream(path) << bytes; }
inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}
inline bool read_path(project& p, const std::string& f) { return project_read_from_file_xml(&p, from_utf8(f).c_str()); }
inline bool write_path(project& p, const std::string& f) { return project_write_xml_to_file(&p, from_utf8(f).c_str()); }
inline bool read_text(project& p, const std::string& xml) {
  return write_file(scratch("in.xml"), xml), read_path(p, scratch("in.xml"));
}

// A curve from lists of point coordinates: four numbers make a line item, eight a bezier item.
inline curve make_curve(std::initializer_list<std::vector<float>> items, bool enabled = true) {
  curve c;
  c.enabled = enabled;
  for (const std::vector<float>& xy : items) {
    curve_item& it = c.items.emplace_back();
    it.type = xy.size() == 4 ? curve_item_line : curve_item_bezier;
    for (std::size_t k = 0; k < xy.size(); ++k) it.points[k / 2][k % 2] = xy[k];
  }
  return c;
}
inline void expect_curve_near(const curve& got, const curve& want) {  // points travel with six decimals
  EXPECT_EQ(got.enabled, want.enabled);
  ASSERT_EQ(got.items.size(), want.items.size());
  for (std::size_t i = 0; i < want.items.size() * 10; ++i) {
    const curve_item &g = got.items[i / 10], &w = want.items[i / 10];
    EXPECT_TRUE(g.type == w.type && std::fabs(g.points[i % 10 / 2][i % 2] - w.points[i % 10 / 2][i % 2]) <= 5e-7)
        << "item " << i / 10 << " coordinate " << i % 10;
  }
}
inline std::size_t index_in(const graph& g, const void* n) {
  return std::find(g.nodes.begin(), g.nodes.end(), n) - g.nodes.begin();
}
inline shadetree_node_t* add(graph* g, const char16_t* t) { return g->nodes.emplace_back(node_create_by_type_name(t)); }
inline void connect(shadetree_node_t* from, uint32_t output, shadetree_node_t* to, const char16_t* input) {
  node_set_output_for_input_keyed(to, input, from);
  node_add_input_for_output(from, output, to);
}
inline asset* add_asset(project& p, uint32_t linkage, const char16_t* name, const std::string& bytes = "") {
  asset* a = p.assets.items.emplace_back(new asset());
  a->linkage = linkage, a->name = name, a->data_size = bytes.size();
  if (!bytes.empty()) std::copy(bytes.begin(), bytes.end(), a->data = new uint8_t[bytes.size()]);
  return a;
}
inline std::string bytes_of(const asset* a) { return std::string(reinterpret_cast<char*>(a->data), a->data_size); }

// The engine with the full catalogue, brought up once: a second init would append a second copy.
class EngineTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { static const bool up = (init(), true); (void)up; }
};

}  // namespace persistence_test
