#include <gtest/gtest.h>

#include <cstring>

#include "../common/scoped_specs.h"
#include "document/node.h"
#include "quorin/node.h"

using namespace quorin_engine;

namespace {

using nodes = std::vector<shadetree_node_t*>;

class Node : public ::testing::Test {
 protected:
  quorin_test::scoped_specs specs{quorin_test::sample_specs()};
  nodes owned;
  ~Node() override { for (shadetree_node_t* n : owned) node_delete(n); }
  shadetree_node_t* own(shadetree_node_t* n) { return owned.emplace_back(n); }
  shadetree_node_t* make(uint32_t type) { return own(node_create_with_type(type)); }
  // The image, thumbnail and document flags as bits 1, 2 and 4; reading clears them.
  static int flags(shadetree_node_t* n) {
    int f = n->caching_dirty + 2 * n->thumbnail_caching_dirty + 4 * n->dirty_flag;
    n->caching_dirty = n->thumbnail_caching_dirty = n->dirty_flag = false;
    return f;
  }
  static std::vector<int> rect(const shadetree_node_t* n) {
    return {n->display_x, n->display_y, n->display_w, n->display_h};
  }
};

}  // namespace

TEST_F(Node, CreationAndSetType) {
  shadetree_node_t* n = own(node_create_by_type_name(u"Constant"));
  ASSERT_NE(n, nullptr);
  EXPECT_EQ(rect(n), (std::vector<int>{10, 10, 175, 200}));
  EXPECT_TRUE(flags(n) == 3 && n->expression);
  n->params[u"keep"] = u"1";
  node_set_type(n, 1000);  // the height becomes 120, only the image flag is raised, old values stay
  EXPECT_TRUE(rect(n)[3] == 120 && flags(n) == 1 && n->params[u"keep"] == u"1");
  // Text carries its font block: height -11 pixels, weight 400, a face name, 80 tenths of a point.
  const std::vector<uint8_t>& font = make(32)->binary_data;
  ASSERT_EQ(font.size(), 256u);
  auto at = [&](int pos, int size) { int32_t v = 0; std::memcpy(&v, &font[pos], size); return v; };
  EXPECT_TRUE(at(0, 4) == -11 && at(16, 4) == 400 && at(28, 2) != 0 && at(90, 2) == 0 && at(92, 4) == 80);
  node_delete(nullptr);
}

TEST_F(Node, DeepCopyLosesCurveParametersAndFlatCopyLosesConnections) {
  shadetree_node_t *src = make(1000), *up = make(0), *down = make(1000);
  src->time_curves[u"a"] = src->param_curves[u"c"] = default_curve();
  src->input_connections[u"RGB"] = up;
  src->output_connections[0] = {down, down};
  src->disabled = src->primary_selected = src->secondary_selected = src->minimized = true;
  src->binary_data = {1, 2, 3};
  flags(src);
  shadetree_node_t* deep = own(node_deep_copy(src));
  EXPECT_TRUE(deep->param_curves.empty() && deep->time_curves.size() == 1 && deep->output_connections[0].size() == 2);
  EXPECT_EQ(deep->input_connections, src->input_connections);
  EXPECT_TRUE(deep->disabled && deep->minimized && !deep->primary_selected && !deep->secondary_selected);
  EXPECT_TRUE(flags(deep) == 7 && deep->binary_data == src->binary_data && deep->expression == src->expression);

  shadetree_node_t* flat = own(node_copy_from_without_connections(src));
  EXPECT_TRUE(flat->param_curves.size() == 1 && flat->input_connections.empty() && flat->output_connections[0].empty());
  EXPECT_TRUE(flat->primary_selected && flat->secondary_selected && flat->disabled && !flat->minimized);
  EXPECT_TRUE(flags(flat) == 7 && flat->binary_data == src->binary_data && flat->expression == src->expression);
  flags(down);
  *src = *flat;  // over a connected node: its connections stay, and the flags go downstream
  EXPECT_TRUE(flags(down) == 3 && src->input_connections.size() == 1);
}

TEST_F(Node, LeftEdgeDragGivesTheOldWidthUnlessTheMinimumStopsIt) {
  shadetree_node_t* n = make(0);  // 10, 10, 175 x 200
  EXPECT_EQ(node_move_display_pos_leftedge(n, 25, 100), 175);
  EXPECT_EQ(rect(n), (std::vector<int>{35, 10, 150, 200}));
  EXPECT_EQ(node_move_display_pos_leftedge(n, 50, 100), 50);  // exactly the minimum
  EXPECT_EQ(rect(n)[2], 100);
}

TEST_F(Node, CachingDirtyPullsFromUpstream) {
  shadetree_node_t *constant = make(17), *pass = make(1000), *blur = make(1005), *time = make(26);
  shadetree_node_t* unknown = make(9999);  // a type without a record
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

  shadetree_node_t* group = make(10000);  // a group asks its members
  bool empty = group->is_caching_dirty(false);
  group->group_nodes.push_back(node_create_with_type(1000));
  EXPECT_TRUE(!empty && group->is_caching_dirty(false));
}

TEST_F(Node, ConsumerEndOfConnectionsByName) {
  shadetree_node_t *consumer = make(4242), *producer = make(4242), *other = make(1000);  // 4242: amount, Grey, RGB
  flags(consumer);
  node_set_output_for_input_keyed(consumer, u"Grey", nullptr);  // nothing there, flags all the same
  EXPECT_TRUE(consumer->input_connections.empty() && flags(consumer) == 7);
  node_set_output_for_input_keyed(consumer, u"not-an-input", producer);  // names are not checked
  for (uint32_t i : {1, 2}) node_set_output_for_input_indexed(consumer, i, producer);  // "Grey", "RGB"
  flags(consumer);
  node_set_output_for_input_indexed(consumer, 3, other);  // bad index: no change, no flags
  EXPECT_TRUE(node_outputnode_for_input_at(consumer, 3) == nullptr && flags(consumer) == 0);

  // Connected to three inputs: the first removal takes the lowest name ("Grey" < "RGB" < "not-...").
  EXPECT_EQ(node_remove_first_output_for_input(consumer, producer), 1u);
  EXPECT_TRUE(node_outputnode_for_inputname(consumer, u"Grey") == nullptr && flags(consumer) == 7);
  EXPECT_EQ(node_outputnode_for_input_at(consumer, 2), producer);
  node_remove_all_outputs_for_input(consumer, other);  // not connected: no change, no flags
  EXPECT_TRUE(node_remove_first_output_for_input(consumer, other) == 0u && flags(consumer) == 0);
  node_remove_all_outputs_for_input(consumer, producer);
  EXPECT_TRUE(consumer->input_connections.empty());
}

TEST_F(Node, ProducerEndOfConnectionsByOutputIndex) {
  shadetree_node_t *producer = make(4242), *consumer = make(4242), *other = make(1000);  // 4242: outputs A, B
  flags(producer);
  node_add_input_for_output(producer, 0, nullptr);
  node_add_input_for_output(producer, 2, consumer);  // beyond the type's two outputs: ignored
  EXPECT_TRUE(node_input_count_for_output(producer, 2) == 0u && flags(producer) == 0);
  for (shadetree_node_t* n : {consumer, other, consumer}) node_add_input_for_output(producer, 0, n);
  node_add_input_for_output(producer, 1, consumer);
  EXPECT_EQ(flags(producer), 7);

  // One occurrence per output: listed twice on output 0, it stays there once.
  node_remove_all_inputs_for_output(producer, consumer);
  EXPECT_EQ(producer->output_connections[0], (nodes{other, consumer}));
  EXPECT_TRUE(producer->output_connections[1].empty());
  flags(producer);
  node_remove_input_for_output_connidx(producer, 0, 2);  // out of range: nothing, no flags
  node_replace_input_for_output(producer, 0, 2, other);
  EXPECT_EQ(flags(producer), 0);
  node_add_input_for_output(producer, 0, other);          // other, consumer, other
  node_remove_input_for_output_node(producer, 0, other);  // the first occurrence
  node_replace_input_for_output(producer, 0, 1, consumer);
  EXPECT_EQ(producer->output_connections[0], (nodes{consumer, consumer}));
}

TEST_F(Node, ChangesPushCachingFlagsDownstreamOnly) {
  // producer -> consumer (output 1) -> other; consumer's output 2 is beyond its type and not followed.
  shadetree_node_t *producer = make(4242), *consumer = make(4242), *other = make(1000), *stray = make(1000);
  producer->output_connections[1] = {consumer};
  consumer->output_connections[0] = {other};
  consumer->output_connections[2] = {stray};
  for (shadetree_node_t* n : {producer, consumer, other, stray}) flags(n);
  node_set_output_for_input_keyed(producer, u"Grey", nullptr);  // the document flag stays with this node
  EXPECT_EQ((std::vector<int>{flags(producer), flags(consumer), flags(other), flags(stray)}),
            (std::vector<int>{7, 3, 3, 0}));
  node_add_input_for_output(other, 0, stray);  // nothing flows upstream
  EXPECT_EQ((std::vector<int>{flags(producer), flags(consumer), flags(stray)}), (std::vector<int>{0, 0, 3}));
}
