// Projects: typed settings and their text mirrors, free settings, the graph list and its active
// index, dirty state, copy, clear and the animation state.
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
  auto* n = new shadetree_node_t(type_id);
  g->nodes.push_back(n);
  return n;
}

TEST(Project, TypedSettingsAndTheirTextMirrors) {
  project* p = project_create();
  // A new project holds the thirteen mirror entries of its defaults.
  const std::map<std::u16string, std::u16string> defaults = {
      {u"render-size-x", u"256"},
      {u"render-size-y", u"256"},
      {u"preview-percent", u"1000"},
      {u"preview-showalpha", u"false"},
      {u"renderthreads-spectype-editor", u"percentage"},
      {u"renderthreads-editor", u"1000"},
      {u"renderthreads-spectype-editor-preview", u"percentage"},
      {u"renderthreads-editor-preview", u"500"},
      {u"renderthreads-spectype-runtime", u"percentage"},
      {u"renderthreads-runtime", u"1000"},
      {u"max-undoredo-steps", u"10"},
      {u"animation-frames", u"25"},
      {u"preview-supersampling", u"false"},
  };
  EXPECT_EQ(p->settings, defaults);
  EXPECT_EQ(project_renderthreads_editor_preview(p), 500u);
  EXPECT_EQ(project_active_graph_idx(p), -1);
  EXPECT_EQ(project_dirty(p), 0u);

  project_set_width(p, 640);
  EXPECT_EQ(project_width(p), 640u);
  EXPECT_EQ(setting(p, u"render-size-x"), u"640");
  // The key says percent, the value is per mille.
  project_set_preview_permille(p, 750);
  EXPECT_EQ(setting(p, u"preview-percent"), u"750");
  // Booleans store whether the argument is non-zero.
  project_set_preview_supersampling(p, 0x100);
  EXPECT_EQ(project_preview_supersampling(p), 1u);
  EXPECT_EQ(setting(p, u"preview-supersampling"), u"true");
  // A spectype keeps its number and is written as one of two words.
  project_set_renderthreads_spectype_editor(p, 0);
  EXPECT_EQ(setting(p, u"renderthreads-spectype-editor"), u"absolute");
  project_set_renderthreads_spectype_editor_preview(p, 7);
  EXPECT_EQ(project_renderthreads_spectype_editor_preview(p), 7u);
  EXPECT_EQ(setting(p, u"renderthreads-spectype-editor-preview"), u"percentage");
  project_set_renderthreads_editor(p, 4294967295u);
  EXPECT_EQ(setting(p, u"renderthreads-editor"), u"4294967295");
  // Typed setters never make the project dirty.
  EXPECT_EQ(project_dirty(p), 0u);
  project_delete(p);
  project_delete(nullptr);
}

TEST(Project, FreeSettings) {
  project* p = project_create();
  // Adding never touches the typed field.
  project_add_setting(p, u"render-size-x", u"999");
  EXPECT_EQ(setting(p, u"render-size-x"), u"999");
  EXPECT_EQ(project_width(p), 256u);
  project_add_setting(p, u"colour", u"blue");
  project_add_setting(p, u"colour", u"green");
  EXPECT_EQ(setting(p, u"colour"), u"green");
  std::size_t count = p->settings.size();
  project_add_setting(p, u"", u"ignored");
  EXPECT_EQ(p->settings.size(), count);
  // Reading an unknown name adds it, empty.
  EXPECT_EQ(setting(p, u"unknown"), u"");
  EXPECT_EQ(p->settings.size(), count + 1);
  EXPECT_EQ(p->settings.count(u"unknown"), 1u);
  // Keys are ordered by code units, shorter first on a common prefix.
  project_add_setting(p, u"a", u"1");
  project_add_setting(p, u"ab", u"2");
  project_add_setting(p, u"B", u"3");
  auto it = p->settings.begin();
  EXPECT_EQ(it->first, u"B");
  EXPECT_EQ((++it)->first, u"a");
  EXPECT_EQ((++it)->first, u"ab");
  EXPECT_EQ(project_dirty(p), 0u);
  project_delete(p);
}

TEST(Project, GraphListAndActiveIndex) {
  project* p = project_create();
  assets* as = project_assets(p);
  EXPECT_EQ(project_empty_graphs(p), 1u);

  graph* g0 = project_add_graph(p);
  EXPECT_EQ(project_active_graph(p), nullptr);
  EXPECT_EQ(project_dirty(p), 1u);

  assets_add(as, asset_create(), 1);
  graph* g1 = project_add_graph_and_activate(p);
  EXPECT_EQ(project_active_graph(p), g1);
  EXPECT_EQ(project_active_graph_idx(p), 1);
  EXPECT_EQ(assets_active_asset_idx(as), -1);

  // Activating the current index does nothing, not even to the asset selection.
  assets_activate_asset(as, 0);
  EXPECT_EQ(project_activate_graph_by_idx(p, 1), 0u);
  EXPECT_EQ(assets_active_asset_idx(as), 0);
  EXPECT_EQ(project_activate_graph_by_idx(p, 0), 1u);
  EXPECT_EQ(project_active_graph(p), g0);
  EXPECT_EQ(assets_active_asset_idx(as), -1);

  // By name: the first graph of that exact name.
  graph* g2 = project_add_graph(p);
  g1->name = u"main";
  g2->name = u"main";
  EXPECT_EQ(project_activate_graph_by_name(p, u"Main"), 0u);
  EXPECT_EQ(project_activate_graph_by_name(p, u"main"), 1u);
  EXPECT_EQ(project_active_graph(p), g1);
  EXPECT_EQ(project_activate_graph_by_name(p, u"main"), 0u);

  EXPECT_EQ(project_graph_count(p), 3u);
  EXPECT_EQ(project_graph_at(p, 2), g2);
  EXPECT_EQ(project_graph_at(p, 3), nullptr);
  EXPECT_EQ(project_empty_graphs(p), 1u);
  add_node(g2, 5);
  EXPECT_EQ(project_empty_graphs(p), 0u);

  // Unattaching leaves the active index as it is, now naming the next graph.
  project_reset_dirty(p);
  graph* taken = project_unattach_graph(p, 1);
  EXPECT_EQ(taken, g1);
  EXPECT_EQ(project_unattach_graph(p, 2), nullptr);
  EXPECT_EQ(project_active_graph_idx(p), 1);
  EXPECT_EQ(project_active_graph(p), g2);
  EXPECT_EQ(project_dirty(p), 0u);

  // Appending takes ownership; null is ignored.
  project_append_graph(p, nullptr);
  EXPECT_EQ(project_graph_count(p), 2u);
  project_append_graph(p, taken);
  EXPECT_EQ(project_graph_at(p, 2), g1);
  EXPECT_EQ(project_dirty(p), 1u);

  // Deleting a graph that is not the active one still ends the active index.
  EXPECT_EQ(project_active_graph(p), g2);
  project_delete_graph(p, g0);
  EXPECT_EQ(project_active_graph(p), nullptr);
  EXPECT_EQ(project_active_graph_idx(p), -1);
  EXPECT_EQ(project_graph_count(p), 2u);

  project_delete_active_graph(p);  // none active: nothing
  EXPECT_EQ(project_graph_count(p), 2u);
  project_activate_graph_by_idx(p, 1);
  project_delete_active_graph(p);
  EXPECT_EQ(project_graph_count(p), 1u);
  EXPECT_EQ(project_graph_at(p, 0), g2);

  project_delete_all_graphs(p);
  EXPECT_EQ(project_graph_count(p), 0u);
  project_reset_dirty(p);
  project_delete_all_graphs(p);  // also on an empty list
  EXPECT_EQ(project_dirty(p), 1u);
  project_delete(p);
}

TEST(Project, ActiveGraphNodeQueries) {
  project* p = project_create();
  shadetree_node_t* out[4] = {};
  EXPECT_EQ(project_active_graph_has_nodes(p, 5), 0u);
  EXPECT_EQ(project_active_graph_node_count(p, 5), 0u);
  project_active_graph_nodes(p, out, 4, 5);
  EXPECT_EQ(out[0], nullptr);

  graph* g = project_add_graph_and_activate(p);
  shadetree_node_t* a = add_node(g, 5);
  add_node(g, 1000);
  shadetree_node_t* b = add_node(g, 5);
  shadetree_node_t* c = add_node(g, 5);
  EXPECT_EQ(project_active_graph_has_nodes(p, 5), 1u);
  EXPECT_EQ(project_active_graph_has_nodes(p, 6), 0u);
  EXPECT_EQ(project_active_graph_node_count(p, 5), 3u);
  project_active_graph_nodes(p, out, 2, 5);
  EXPECT_EQ(out[0], a);
  EXPECT_EQ(out[1], b);
  EXPECT_EQ(out[2], nullptr);
  project_active_graph_nodes(p, out, 4, 5);
  EXPECT_EQ(out[2], c);
  EXPECT_EQ(out[3], nullptr);
  project_delete(p);
}

TEST(Project, DirtyFollowsGraphsButNotAssets) {
  project* p = project_create();
  graph* g = project_add_graph(p);
  project_reset_dirty(p);
  EXPECT_EQ(project_dirty(p), 0u);
  shadetree_node_t* n = add_node(g, 5);
  n->dirty_flag = true;
  EXPECT_EQ(project_dirty(p), 1u);
  project_reset_dirty(p);
  EXPECT_FALSE(n->dirty());
  EXPECT_EQ(project_dirty(p), 0u);
  g->dirty = 1;
  EXPECT_EQ(project_dirty(p), 1u);
  project_reset_dirty(p);

  assets_add(project_assets(p), asset_create(), 0);
  EXPECT_EQ(project_dirty(p), 0u);
  project_reset_dirty(p);
  EXPECT_EQ(assets_dirty(project_assets(p)), 1u);
  project_delete(p);
}

TEST(Project, DeepCopyTakesGraphsAndActiveIndexOnly) {
  project* p = project_create();
  project_set_width(p, 512);
  project_set_height(p, 512);
  project_add_setting(p, u"extra", u"x");
  assets_add(project_assets(p), asset_create(), 1);
  graph* g0 = project_add_graph(p);
  g0->name = u"first";
  add_node(g0, 5);
  add_node(g0, 1000);
  graph* g1 = project_add_graph_and_activate(p);
  add_node(g1, 3);

  project* copy = project_deep_copy(p);
  EXPECT_EQ(project_width(copy), 256u);
  EXPECT_EQ(project_height(copy), 256u);
  EXPECT_EQ(setting(copy, u"render-size-x"), u"256");
  EXPECT_EQ(copy->settings.count(u"extra"), 0u);
  EXPECT_EQ(assets_count(project_assets(copy)), 0u);
  ASSERT_EQ(project_graph_count(copy), 2u);
  EXPECT_EQ(project_active_graph_idx(copy), 1);
  graph* c0 = project_graph_at(copy, 0);
  EXPECT_NE(c0, g0);
  ASSERT_EQ(c0->nodes.size(), 2u);
  EXPECT_EQ(c0->nodes[1]->type_id, 1000u);
  EXPECT_NE(c0->nodes[0], g0->nodes[0]);
  EXPECT_EQ(c0->name, u"");
  EXPECT_EQ(project_graph_at(copy, 1)->nodes.size(), 1u);
  EXPECT_EQ(project_dirty(copy), 0u);
  // The source is untouched.
  EXPECT_EQ(project_width(p), 512u);
  EXPECT_EQ(assets_count(project_assets(p)), 1u);
  project_delete(copy);
  project_delete(p);
}

TEST(Project, ClearKeepsSettings) {
  project* p = project_create();
  project_set_width(p, 100);
  project_add_setting(p, u"extra", u"x");
  project_add_graph_and_activate(p);
  assets* as = project_assets(p);
  assets_add(as, asset_create(), 1);
  assets_reset_dirty(as);
  project_clear(p);
  EXPECT_EQ(project_graph_count(p), 0u);
  EXPECT_EQ(project_active_graph_idx(p), -1);
  EXPECT_EQ(assets_count(as), 0u);
  EXPECT_EQ(assets_active_asset_idx(as), -1);
  EXPECT_EQ(assets_dirty(as), 1u);
  EXPECT_EQ(project_dirty(p), 0u);
  EXPECT_EQ(project_width(p), 100u);
  EXPECT_EQ(setting(p, u"extra"), u"x");
  project_delete(p);
}

TEST(Project, AnimationStateMarksTimeNodes) {
  project* p = project_create();
  graph* g0 = project_add_graph(p);
  graph* g1 = project_add_graph(p);
  shadetree_node_t* t0 = add_node(g0, 26);
  shadetree_node_t* other = add_node(g0, 1000);
  shadetree_node_t* t1 = add_node(g1, 26);
  auto clean = [&] {
    for (shadetree_node_t* n : {t0, other, t1}) n->caching_dirty = n->thumbnail_caching_dirty = false;
  };
  auto time_nodes_marked = [&] {
    return t0->caching_dirty && t0->thumbnail_caching_dirty && t1->caching_dirty && t1->thumbnail_caching_dirty;
  };

  clean();
  project_anim_start(p, 10, 20);
  EXPECT_EQ(project_anim_start_frame(p), 10u);
  EXPECT_EQ(project_anim_end_frame(p), 20u);
  EXPECT_EQ(project_anim_cur_frame(p), 0u);
  EXPECT_FALSE(t0->caching_dirty);

  project_anim_set_curframe(p, 15);
  EXPECT_EQ(project_anim_cur_frame(p), 15u);
  EXPECT_TRUE(time_nodes_marked());
  EXPECT_FALSE(other->caching_dirty);
  EXPECT_FALSE(other->thumbnail_caching_dirty);
  EXPECT_FALSE(t0->dirty());

  clean();
  project_anim_end(p);
  EXPECT_EQ(project_anim_start_frame(p), 0u);
  EXPECT_EQ(project_anim_end_frame(p), 0u);
  EXPECT_EQ(project_anim_cur_frame(p), 0u);
  EXPECT_FALSE(t0->caching_dirty);

  project_animedit_set_normalized_time(p, 0.25f);
  EXPECT_EQ(project_animedit_normalized_time(p), 0.25f);
  EXPECT_TRUE(time_nodes_marked());
  EXPECT_FALSE(other->caching_dirty);
  EXPECT_EQ(project_dirty(p), 1u);  // from adding the graphs, not from the time
  project_delete(p);
}

}  // namespace
