// Renders divided over threads: every node type of the catalogue and every node of every example
// project gives the same bytes on 1, 2 and 7 threads, at sizes that do not divide into even bands.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "core/pool.h"
#include "core/row_bands.h"
#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/dispatch.h"
#include "quorin/engine.h"
#include "quorin/node.h"
#include "quorin/project.h"

using namespace quorin_engine;

namespace {

constexpr uint32_t W = 61, H = 37;

// The bytes of the node's image, rendered on `threads` threads.
std::vector<float> render_bytes(shadetree_node_t* node, uint32_t threads) {
  engine_set_render_threads(threads);
  renderbuffer_pool_t pool(W, H, 16);
  imgbuf4f* target = imgbuf4f_create(W, H);
  std::memset(target->pixels, 0x5a, std::size_t(W) * H * 16);
  renderctx ctx{target, false, &pool, false, false, false, false, nullptr};
  node_render(node, &ctx);
  std::vector<float> out(target->pixels, target->pixels + std::size_t(W) * H * 4);
  imgbuf4f_delete(target);
  engine_set_render_threads(1);
  return out;
}

// The divided render comes first, so that tables a routine builds lazily are built under the split.
void expect_same_on_every_split(shadetree_node_t* node, const std::string& what) {
  std::vector<float> seven = render_bytes(node, 7);
  std::vector<float> one = render_bytes(node, 1);
  for (uint32_t threads : {2u, 7u}) {
    std::vector<float> many = threads == 7 ? seven : render_bytes(node, threads);
    EXPECT_EQ(0, std::memcmp(one.data(), many.data(), one.size() * sizeof(float)))
        << what << " differs on " << threads << " threads";
  }
}

std::string narrow(const wstring& w) { return std::string(w.begin(), w.end()); }

struct Threads : ::testing::Test {
  static void SetUpTestSuite() {
    if (nodetype_specs().empty()) init();
  }
};

TEST_F(Threads, OneThreadIsTheDefault) { EXPECT_EQ(row_band_threads(), 1u); }

TEST_F(Threads, EveryNodeTypeRendersTheSameOnEverySplit) {
  // Inputs: a two-colour gradient for colour streams, turbulence for grey ones.
  auto rgb = std::make_unique<shadetree_node_t>(2);
  rgb->params[u"direction"] = u"2";
  auto grey = std::make_unique<shadetree_node_t>(14);
  grey->params[u"seed"] = u"4321";  // a seed table no other test has built
  uint32_t rendered = 0;
  for (const nodetype_spec_t& spec : nodetype_specs()) {
    if (!find_render_routine(spec.type_id)) continue;
    auto node = std::make_unique<shadetree_node_t>(spec.type_id);
    for (const port_spec_t& in : spec.inputs) {
      if (in.type == port_rgbstream) node_set_output_for_input_keyed(node.get(), in.name.c_str(), rgb.get());
      if (in.type == port_greystream) node_set_output_for_input_keyed(node.get(), in.name.c_str(), grey.get());
    }
    expect_same_on_every_split(node.get(), narrow(spec.name));
    for (const port_spec_t& in : spec.inputs) node_set_output_for_input_keyed(node.get(), in.name.c_str(), nullptr);
    ++rendered;
  }
  EXPECT_GE(rendered, 60u);
}

TEST_F(Threads, EveryExampleNodeRendersTheSameOnEverySplit) {
  uint32_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(QUORIN_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".xml") continue;
    std::u16string path;
    for (char c : entry.path().string()) path += static_cast<char16_t>(c);
    qr_project* p = project_create();
    ASSERT_TRUE(project_read_from_file_xml(p, path.c_str())) << entry.path();
    for (uint32_t g = 0; g < project_graph_count(p); ++g) {
      graph* gr = project_graph_at(p, g);
      for (shadetree_node_t* node : gr->nodes)
        if (node->output_count() && find_render_routine(node->type_id))
          expect_same_on_every_split(node, entry.path().filename().string() + ": " + narrow(node->name));
    }
    project_delete(p);
    ++files;
  }
  EXPECT_GE(files, 2u);
}

}  // namespace
