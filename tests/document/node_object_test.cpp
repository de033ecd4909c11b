#include <gtest/gtest.h>

#include "../common/scoped_specs.h"
#include "document/node.h"
#include "quorin/node.h"

using namespace quorin_engine;
using quorin_test::scoped_specs;

namespace {

void clear_flags(shadetree_node_t* n) { n->caching_dirty = n->thumbnail_caching_dirty = n->dirty_flag = false; }
std::vector<int> rect(const shadetree_node_t* n) { return {n->display_x, n->display_y, n->display_w, n->display_h}; }

}  // namespace

TEST(NodeObject, CreationAndSetType) {
  scoped_specs specs(quorin_test::sample_specs());
  shadetree_node_t* n = node_create_by_type_name(u"Constant");
  ASSERT_NE(n, nullptr);
  EXPECT_EQ(rect(n), (std::vector<int>{10, 10, 175, 200}));
  EXPECT_TRUE(n->caching_dirty && n->thumbnail_caching_dirty && !n->dirty() && n->expression);
  n->params[u"keep"] = u"1";
  clear_flags(n);
  node_set_type(n, 1000);  // the height becomes 120, only the image flag is raised, old values stay
  EXPECT_EQ(rect(n), (std::vector<int>{10, 10, 175, 120}));
  EXPECT_TRUE(n->caching_dirty && !n->thumbnail_caching_dirty && !n->dirty() && n->params[u"keep"] == u"1");
  EXPECT_EQ(node_create_by_type_name(u"constant"), nullptr);  // names match exactly
  shadetree_node_t* text = node_create_with_type(32);  // Text carries its font block
  EXPECT_EQ(text->binary_size(), 256u);
  for (shadetree_node_t* d : {n, text, static_cast<shadetree_node_t*>(nullptr)}) node_delete(d);
}

TEST(NodeObject, DeepCopyLosesCurveParametersAndFlatCopyLosesConnections) {
  scoped_specs specs(quorin_test::sample_specs());
  shadetree_node_t* src = node_create_with_type(1000);
  shadetree_node_t* up = node_create();
  shadetree_node_t* down = node_create_with_type(1000);
  src->time_curves[u"a"] = src->param_curves[u"c"] = default_curve();
  src->input_connections[u"RGB"] = up;
  src->output_connections[0] = {down, down};
  src->disabled = src->primary_selected = src->secondary_selected = src->minimized = true;
  src->binary_data = {1, 2, 3};
  clear_flags(src);

  shadetree_node_t* deep = node_deep_copy(src);
  EXPECT_TRUE(deep->param_curves.empty() && deep->time_curves.size() == 1);
  EXPECT_TRUE(deep->input_connections == src->input_connections && deep->output_connections[0].size() == 2);
  EXPECT_TRUE(deep->disabled && deep->minimized && !deep->primary_selected && !deep->secondary_selected);
  EXPECT_TRUE(deep->caching_dirty && deep->thumbnail_caching_dirty && deep->dirty());
  EXPECT_TRUE(deep->binary_data == src->binary_data && deep->expression == src->expression);

  shadetree_node_t* flat = node_copy_from_without_connections(src);
  EXPECT_EQ(flat->param_curves.size(), 1u);
  EXPECT_TRUE(flat->input_connections.empty() && flat->output_connections[0].empty());
  EXPECT_TRUE(flat->primary_selected && flat->secondary_selected && flat->disabled && !flat->minimized);
  EXPECT_TRUE(flat->caching_dirty && flat->thumbnail_caching_dirty && flat->dirty());
  EXPECT_TRUE(flat->binary_data == src->binary_data && flat->expression == src->expression);

  clear_flags(down);
  *src = *flat;  // over a connected node: its connections stay, and the flags go downstream
  EXPECT_TRUE(down->caching_dirty && !down->dirty() && src->input_connections.size() == 1);
  for (shadetree_node_t* n : {src, up, down, deep, flat}) node_delete(n);
}

TEST(NodeObject, EdgeDragsAndAlignment) {
  shadetree_node_t* n = node_create();
  node_set_display_x(n, 100);
  node_toggle_minimized(n);
  EXPECT_FALSE(n->dirty());
  // Left edge: the old width comes back unless the minimum stops the edge.
  EXPECT_EQ(node_move_display_pos_leftedge(n, 25, 100), 175);
  EXPECT_EQ(rect(n), (std::vector<int>{125, 10, 150, 200}));
  EXPECT_TRUE(n->dirty());
  EXPECT_EQ(node_move_display_pos_leftedge(n, 50, 100), 50);  // exactly the minimum
  EXPECT_EQ(node_move_display_pos_topedge(n, 500, 40), 160);
  EXPECT_EQ(rect(n), (std::vector<int>{175, 170, 100, 40}));
  node_move_display_pos_rightedge(n, -500, 30);
  node_move_display_pos_bottomedge(n, 15, 30);

  shadetree_node_t* o = node_create();  // 10, 10, 175 x 200
  node_align_with(n, 1, o);
  node_align_with(n, 3, o);
  EXPECT_EQ(rect(n), (std::vector<int>{10 + 175 - 30, 10 + 200 - 55, 30, 55}));
  n->reset_dirty();
  node_align_with(n, 4, o);  // unknown mode: nothing moves, the node is marked all the same
  EXPECT_TRUE(n->dirty() && n->display_x == 155);
  node_delete(n);
  node_delete(o);
}

TEST(NodeObject, CachingDirtyPullsFromUpstream) {
  scoped_specs specs(quorin_test::sample_specs());
  shadetree_node_t* constant = node_create_with_type(17);
  shadetree_node_t* pass = node_create_with_type(1000);
  shadetree_node_t* blur = node_create_with_type(1005);
  shadetree_node_t* time = node_create_with_type(26);
  shadetree_node_t* unknown = node_create_with_type(9999);
  pass->input_connections[u"RGB"] = constant;
  blur->input_connections[u"RGB"] = pass;
  blur->input_connections[u"size"] = unknown->input_connections[u"x"] = time;

  EXPECT_FALSE(constant->is_caching_dirty(false));  // only a scalar output: its own flag is not asked
  EXPECT_TRUE(pass->is_caching_dirty(false));
  pass->caching_dirty = blur->caching_dirty = false;
  EXPECT_TRUE(pass->is_caching_dirty(true) && !pass->is_caching_dirty(false));  // two separate flags
  EXPECT_TRUE(blur->is_caching_dirty(false) && unknown->is_caching_dirty(false));  // Time asks its own flag
  time->caching_dirty = false;
  EXPECT_FALSE(blur->is_caching_dirty(false) || unknown->is_caching_dirty(false));  // no record: inputs alone

  shadetree_node_t* group = node_create_with_type(10000);
  EXPECT_FALSE(group->is_caching_dirty(false));
  group->group_nodes.push_back(node_create_with_type(1000));
  EXPECT_TRUE(group->is_caching_dirty(false));
  group->group_nodes[0]->caching_dirty = false;
  EXPECT_FALSE(group->is_caching_dirty(false));
  for (shadetree_node_t* n : {constant, pass, blur, time, unknown, group}) node_delete(n);
}
