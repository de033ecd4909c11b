#include <gtest/gtest.h>

#include "../common/scoped_specs.h"
#include "document/node.h"
#include "quorin/node.h"

using namespace quorin_engine;
using quorin_test::scoped_specs;

namespace {

void clear_flags(shadetree_node_t* n) {
  n->caching_dirty = n->thumbnail_caching_dirty = false;
  n->dirty_flag = false;
}

}  // namespace

TEST(NodeObject, InitialStateAndCreation) {
  shadetree_node_t* n = node_create();
  EXPECT_EQ(node_type(n), 0u);
  EXPECT_EQ(node_display_x(n), 10);
  EXPECT_EQ(node_display_y(n), 10);
  EXPECT_EQ(node_display_w(n), 175);
  EXPECT_EQ(node_display_h(n), 200);
  EXPECT_EQ(node_is_disabled(n) + node_is_primary_selected(n) + node_is_secondary_selected(n) + node_minimized(n), 0u);
  EXPECT_TRUE(n->caching_dirty && n->thumbnail_caching_dirty);
  EXPECT_EQ(node_dirty(n), 0u);
  ASSERT_NE(n->expression, nullptr);
  EXPECT_TRUE(n->binary_data.empty());
  node_delete(n);
  node_delete(nullptr);

  shadetree_node_t* text = node_create_with_type(32);  // Text carries its font block
  EXPECT_EQ(text->binary_size(), 256u);
  node_delete(text);
  shadetree_node_t* odd = node_create_with_type(777777);  // ids are not checked
  EXPECT_EQ(node_type(odd), 777777u);
  node_delete(odd);

  scoped_specs specs(quorin_test::sample_specs());
  EXPECT_EQ(node_create_by_type_name(u"NoSuchType"), nullptr);
  shadetree_node_t* p = node_create_by_type_name(u"PassThru");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(node_type(p), 1000u);
  node_delete(p);
  EXPECT_EQ(node_create_by_type_name(u"passthru"), nullptr);
  EXPECT_EQ(node_create_by_type_name(u""), nullptr);
}

TEST(NodeObject, SetTypeKeepsValuesAndRaisesOnlyTheImageFlag) {
  shadetree_node_t* n = node_create_with_type(17);
  n->params[u"keep"] = u"1";
  clear_flags(n);
  node_set_type(n, 1000);
  EXPECT_EQ(node_type(n), 1000u);
  EXPECT_EQ(node_display_h(n), 120);
  EXPECT_TRUE(n->caching_dirty);
  EXPECT_FALSE(n->thumbnail_caching_dirty);
  EXPECT_FALSE(n->dirty());
  EXPECT_EQ(n->params[u"keep"], u"1");
  node_delete(n);
}

TEST(NodeObject, CopiesWithAndWithoutConnections) {
  scoped_specs specs(quorin_test::sample_specs());
  shadetree_node_t* src = node_create_with_type(1000);
  shadetree_node_t* up = node_create();
  shadetree_node_t* down = node_create_with_type(1000);
  src->params[u"a"] = u"x";
  src->time_curves[u"a"] = default_curve();
  src->param_curves[u"c"] = default_curve();
  src->input_connections[u"RGB"] = up;
  src->output_connections[0] = {down, down};
  src->disabled = true;
  src->display_x = 3; src->display_y = 4; src->display_w = 5; src->display_h = 6;
  src->primary_selected = src->secondary_selected = src->minimized = true;
  src->name = u"n";
  src->binary_data = {1, 2, 3};
  clear_flags(src);

  shadetree_node_t* deep = node_deep_copy(src);
  EXPECT_EQ(deep->params, src->params);
  EXPECT_EQ(deep->time_curves.size(), 1u);
  EXPECT_TRUE(deep->param_curves.empty());  // curve-typed parameters are lost
  EXPECT_EQ(deep->input_connections, src->input_connections);
  EXPECT_EQ(deep->output_connections[0], src->output_connections[0]);
  EXPECT_TRUE(deep->disabled && deep->minimized);
  EXPECT_FALSE(deep->primary_selected || deep->secondary_selected);
  EXPECT_EQ(deep->display_x + deep->display_y + deep->display_w + deep->display_h, 18);
  EXPECT_EQ(deep->name, u"n");
  EXPECT_TRUE(deep->caching_dirty && deep->thumbnail_caching_dirty && deep->dirty());
  EXPECT_EQ(deep->binary_data, src->binary_data);
  EXPECT_NE(deep->binary_data.data(), src->binary_data.data());
  EXPECT_EQ(deep->expression, src->expression);  // shared

  shadetree_node_t* flat = node_copy_from_without_connections(src);
  EXPECT_EQ(flat->params, src->params);
  EXPECT_EQ(flat->param_curves.size(), 1u);
  EXPECT_TRUE(flat->input_connections.empty());
  EXPECT_TRUE(flat->output_connections[0].empty());
  EXPECT_TRUE(flat->primary_selected && flat->secondary_selected && flat->disabled);
  EXPECT_FALSE(flat->minimized);
  EXPECT_EQ(node_type(flat), 1000u);
  EXPECT_TRUE(flat->caching_dirty && flat->thumbnail_caching_dirty && flat->dirty());
  EXPECT_EQ(flat->expression, src->expression);

  // Assigning over a connected node pushes the flags downstream and keeps its connections.
  clear_flags(down);
  *src = *flat;
  EXPECT_TRUE(down->caching_dirty && down->thumbnail_caching_dirty);
  EXPECT_FALSE(down->dirty());
  EXPECT_EQ(src->input_connections.size(), 1u);
  EXPECT_TRUE(src->minimized);

  for (shadetree_node_t* n : {src, up, down, deep, flat}) node_delete(n);
}

TEST(NodeObject, DisplayRectangleAndFlags) {
  shadetree_node_t* n = node_create();
  node_set_display_x(n, 100);
  node_set_disabled(n, 5);
  node_toggle_minimized(n);
  EXPECT_EQ(node_is_disabled(n) + node_minimized(n), 2u);
  EXPECT_FALSE(n->dirty());  // none of these marks the document

  // Left edge: the old width comes back unless the minimum stops the edge.
  EXPECT_EQ(node_move_display_pos_leftedge(n, 25, 100), 175);
  EXPECT_EQ(node_display_x(n), 125);
  EXPECT_EQ(node_display_w(n), 150);
  EXPECT_TRUE(n->dirty());
  EXPECT_EQ(node_move_display_pos_leftedge(n, 50, 100), 50);  // exactly the minimum
  EXPECT_EQ(node_display_x(n), 175);
  EXPECT_EQ(node_display_w(n), 100);
  EXPECT_EQ(node_move_display_pos_topedge(n, 500, 40), 160);
  EXPECT_EQ(node_display_y(n), 170);
  EXPECT_EQ(node_display_h(n), 40);
  node_move_display_pos_rightedge(n, -500, 30);
  node_move_display_pos_bottomedge(n, 15, 30);
  EXPECT_EQ(node_display_w(n), 30);
  EXPECT_EQ(node_display_h(n), 55);

  shadetree_node_t* o = node_create();  // 10, 10, 175 x 200
  node_align_with(n, 1, o);
  node_align_with(n, 3, o);
  EXPECT_EQ(node_display_x(n), 10 + 175 - 30);
  EXPECT_EQ(node_display_y(n), 10 + 200 - 55);
  n->reset_dirty();
  node_align_with(n, 4, o);
  EXPECT_EQ(node_display_x(n), 155);
  EXPECT_TRUE(n->dirty());

  char16_t buf[8];
  node_set_name(o, u"blur 1");
  EXPECT_TRUE(o->dirty());
  node_name(o, buf, 8);
  EXPECT_EQ(std::u16string(buf), u"blur 1");
  node_name(o, buf, 6);  // too small: empty
  EXPECT_EQ(buf[0], 0);
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
  blur->input_connections[u"size"] = time;

  // A node with only a scalar output never answers from its own flag.
  EXPECT_EQ(node_is_caching_dirty(constant, 0), 0u);
  EXPECT_EQ(node_is_caching_dirty(pass, 0), 1u);
  pass->caching_dirty = false;
  EXPECT_EQ(node_is_caching_dirty(pass, 0), 0u);
  EXPECT_EQ(node_is_caching_dirty(pass, 1), 1u);  // the thumbnail flag is separate

  // Time answers from its own flag, and consumers find it upstream.
  blur->caching_dirty = false;
  EXPECT_EQ(node_is_caching_dirty(blur, 0), 1u);
  time->caching_dirty = false;
  EXPECT_EQ(node_is_caching_dirty(blur, 0), 0u);
  pass->thumbnail_caching_dirty = blur->thumbnail_caching_dirty = time->thumbnail_caching_dirty = false;
  EXPECT_EQ(node_is_caching_dirty(blur, 1), 0u);

  // Without a record there is no output to answer for; only inputs count.
  EXPECT_EQ(node_is_caching_dirty(unknown, 0), 0u);
  unknown->input_connections[u"x"] = time;
  time->caching_dirty = true;
  EXPECT_EQ(node_is_caching_dirty(unknown, 0), 1u);

  // A group asks its content; an empty group is clean.
  shadetree_node_t* group = node_create_with_type(10000);
  EXPECT_EQ(node_is_caching_dirty(group, 0), 0u);
  group->group_nodes.push_back(node_create_with_type(1000));
  EXPECT_EQ(node_is_caching_dirty(group, 0), 1u);
  group->group_nodes[0]->caching_dirty = false;
  EXPECT_EQ(node_is_caching_dirty(group, 0), 0u);

  for (shadetree_node_t* n : {constant, pass, blur, time, unknown, group}) node_delete(n);
}
