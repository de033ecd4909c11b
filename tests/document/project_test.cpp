#include <gtest/gtest.h>

#include <map>

#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "quorin/asset.h"
#include "quorin/project.h"

using namespace quorin_engine;

namespace {

std::u16string setting(project* p, const char16_t* name) {
  char16_t buf[256];
  project_setting(p, name, buf, 256);
  return buf;
}

shadetree_node_t* add_node(graph* g, uint32_t type_id) {
  g->nodes.push_back(new shadetree_node_t(type_id));
  return g->nodes.back();
}

TEST(Project, TypedAndFreeSettings) {
  project* p = project_create();
  const std::map<std::u16string, std::u16string> defaults = {
      {u"render-size-x", u"256"}, {u"render-size-y", u"256"}, {u"preview-percent", u"1000"},
      {u"preview-showalpha", u"false"}, {u"renderthreads-spectype-editor", u"percentage"},
      {u"renderthreads-editor", u"1000"}, {u"renderthreads-spectype-editor-preview", u"percentage"},
      {u"renderthreads-editor-preview", u"500"}, {u"renderthreads-spectype-runtime", u"percentage"},
      {u"renderthreads-runtime", u"1000"}, {u"max-undoredo-steps", u"10"}, {u"animation-frames", u"25"},
      {u"preview-supersampling", u"false"}};
  EXPECT_EQ(p->settings, defaults);

  project_set_width(p, 640);
  project_set_preview_permille(p, 750);
  EXPECT_TRUE(setting(p, u"render-size-x") == u"640" && setting(p, u"preview-percent") == u"750");
  project_set_preview_supersampling(p, 0x100);  // non-zero, even if its low byte is not
  EXPECT_TRUE(project_preview_supersampling(p) == 1u && setting(p, u"preview-supersampling") == u"true");
  project_set_renderthreads_spectype_editor(p, 0);
  project_set_renderthreads_spectype_editor_preview(p, 7);
  EXPECT_TRUE(setting(p, u"renderthreads-spectype-editor") == u"absolute" &&
              setting(p, u"renderthreads-spectype-editor-preview") == u"percentage");

  // A free setting never touches the typed field; an empty name is ignored.
  project_add_setting(p, u"render-size-x", u"999");
  EXPECT_TRUE(setting(p, u"render-size-x") == u"999" && project_width(p) == 640u);
  project_add_setting(p, u"", u"ignored");
  EXPECT_TRUE(setting(p, u"unknown").empty() && p->settings.count(u"unknown") == 1u && !p->settings.count(u""));
  EXPECT_EQ(project_dirty(p), 0u);
  project_delete(p);
}

TEST(Project, GraphListAndActiveIndex) {
  project* p = project_create();
  assets* as = project_assets(p);
  graph* g0 = project_add_graph(p);
  EXPECT_TRUE(project_active_graph(p) == nullptr && project_dirty(p) == 1u);
  assets_add(as, asset_create(), 1);
  graph* g1 = project_add_graph_and_activate(p);
  EXPECT_TRUE(project_active_graph(p) == g1 && assets_active_asset_idx(as) == -1);

  // Activating the current index does nothing, not even to the asset selection.
  assets_activate_asset(as, 0);
  EXPECT_TRUE(project_activate_graph_by_idx(p, 1) == 0u && assets_active_asset_idx(as) == 0);
  EXPECT_TRUE(project_activate_graph_by_idx(p, 0) == 1u && assets_active_asset_idx(as) == -1);
  EXPECT_EQ(project_active_graph(p), g0);

  // By name: the first graph of that exact name.
  graph* g2 = project_add_graph(p);
  g1->name = g2->name = u"main";
  EXPECT_EQ(project_activate_graph_by_name(p, u"Main"), 0u);
  EXPECT_TRUE(project_activate_graph_by_name(p, u"main") == 1u && project_active_graph(p) == g1);
  EXPECT_EQ(project_empty_graphs(p), 1u);  // three graphs, all empty
  add_node(g2, 5);
  EXPECT_EQ(project_empty_graphs(p), 0u);

  // Unattaching leaves the active index and dirty as they are: the index now names the next graph.
  project_reset_dirty(p);
  EXPECT_EQ(project_unattach_graph(p, 1), g1);
  EXPECT_TRUE(project_active_graph(p) == g2 && project_dirty(p) == 0u);
  project_append_graph(p, g1);

  // Deleting a graph that is not the active one still ends the active index.
  project_delete_graph(p, g0);
  EXPECT_TRUE(project_active_graph(p) == nullptr && project_active_graph_idx(p) == -1);
  project_delete_active_graph(p);  // none active: nothing
  EXPECT_EQ(project_graph_count(p), 2u);
  project_delete_all_graphs(p);
  project_reset_dirty(p);
  project_delete_all_graphs(p);  // dirty also on an empty list
  EXPECT_EQ(project_dirty(p), 1u);
  project_delete(p);
}

TEST(Project, NodeQueriesDirtyAndTime) {
  project* p = project_create();
  graph* g = project_add_graph_and_activate(p);
  shadetree_node_t *t0 = add_node(g, 26), *other = add_node(g, 1000);
  shadetree_node_t *t1 = add_node(project_add_graph(p), 26), *t2 = add_node(g, 26);  // t1: not in the active graph
  shadetree_node_t* out[3] = {};
  EXPECT_EQ(project_active_graph_node_count(p, 26), 2u);
  project_active_graph_nodes(p, out, 1, 26);
  EXPECT_TRUE(out[0] == t0 && out[1] == nullptr);

  // Dirty follows the graphs and their nodes, not the assets.
  project_reset_dirty(p);
  t2->dirty_flag = true;
  EXPECT_EQ(project_dirty(p), 1u);
  project_reset_dirty(p);
  assets_add(project_assets(p), asset_create(), 0);
  EXPECT_EQ(project_dirty(p), 0u);
  project_reset_dirty(p);
  EXPECT_EQ(assets_dirty(project_assets(p)), 1u);

  // A time change marks the Time nodes of every graph, and nothing else.
  for (shadetree_node_t* n : {t0, other, t1}) n->caching_dirty = n->thumbnail_caching_dirty = false;
  project_animedit_set_normalized_time(p, 0.25f);
  EXPECT_TRUE(t0->caching_dirty && t0->thumbnail_caching_dirty && t1->caching_dirty && t1->thumbnail_caching_dirty);
  EXPECT_FALSE(other->caching_dirty || other->thumbnail_caching_dirty);
  EXPECT_EQ(project_dirty(p), 0u);
  project_delete(p);
}

TEST(Project, DeepCopyTakesGraphsAndActiveIndexOnlyAndClearKeepsSettings) {
  project* p = project_create();
  project_set_width(p, 512), project_set_height(p, 512);
  project_add_setting(p, u"extra", u"x");
  assets_add(project_assets(p), asset_create(), 1);
  graph* g0 = project_add_graph(p);
  add_node(g0, 5);
  add_node(g0, 1000);
  project_add_graph_and_activate(p);

  project* copy = project_deep_copy(p);
  EXPECT_TRUE(project_width(copy) == 256 && project_height(copy) == 256 && !copy->settings.count(u"extra"));
  EXPECT_TRUE(assets_count(project_assets(copy)) == 0u && project_dirty(copy) == 0u);
  ASSERT_TRUE(project_graph_count(copy) == 2u && project_active_graph_idx(copy) == 1);
  graph* c0 = project_graph_at(copy, 0);
  ASSERT_EQ(c0->nodes.size(), 2u);
  EXPECT_NE(c0->nodes[0], g0->nodes[0]);
  project_delete(copy);

  assets_reset_dirty(project_assets(p));
  project_clear(p);
  EXPECT_TRUE(project_graph_count(p) == 0 && project_active_graph_idx(p) == -1 && project_dirty(p) == 0);
  EXPECT_TRUE(assets_count(project_assets(p)) == 0 && assets_dirty(project_assets(p)));
  EXPECT_EQ(setting(p, u"extra"), u"x");
  project_delete(p);
}

}  // namespace
