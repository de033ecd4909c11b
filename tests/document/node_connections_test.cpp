#include <gtest/gtest.h>

#include "../common/scoped_specs.h"
#include "document/node.h"
#include "quorin/node.h"

using namespace quorin_engine;
using quorin_test::scoped_specs;

namespace {

class NodeConnections : public ::testing::Test {
 protected:
  scoped_specs specs{quorin_test::sample_specs()};
  shadetree_node_t* producer = node_create_with_type(4242);  // two outputs
  shadetree_node_t* consumer = node_create_with_type(4242);
  shadetree_node_t* other = node_create_with_type(1000);

  ~NodeConnections() override {
    for (shadetree_node_t* n : {producer, consumer, other}) node_delete(n);
  }
  static void clean(shadetree_node_t* n) {
    n->caching_dirty = n->thumbnail_caching_dirty = n->dirty_flag = false;
  }
  static bool all_flags(const shadetree_node_t* n) {
    return n->caching_dirty && n->thumbnail_caching_dirty && n->dirty_flag;
  }
  static bool no_flags(const shadetree_node_t* n) {
    return !n->caching_dirty && !n->thumbnail_caching_dirty && !n->dirty_flag;
  }
};

}  // namespace

TEST_F(NodeConnections, ConsumerEndByName) {
  clean(consumer);
  node_set_output_for_input_keyed(consumer, u"Grey", nullptr);  // nothing there, flags all the same
  EXPECT_TRUE(consumer->input_connections.empty());
  EXPECT_TRUE(all_flags(consumer));

  node_set_output_for_input_keyed(consumer, u"not-an-input", producer);  // names are not checked
  EXPECT_EQ(node_outputnode_for_inputname(consumer, u"not-an-input"), producer);
  node_set_output_for_input_indexed(consumer, 1, producer);  // "Grey"
  node_set_output_for_input_indexed(consumer, 2, other);     // "RGB"
  EXPECT_EQ(node_outputnode_for_inputname(consumer, u"Grey"), producer);
  EXPECT_EQ(node_outputnode_for_input_at(consumer, 2), other);
  EXPECT_EQ(node_outputnode_for_input_at(consumer, 0), nullptr);
  EXPECT_EQ(node_outputnode_for_input_at(consumer, 3), nullptr);
  EXPECT_EQ(node_outputnode_for_inputname(consumer, u"grey"), nullptr);

  clean(consumer);
  node_set_output_for_input_indexed(consumer, 3, other);  // bad index: nothing at all
  EXPECT_TRUE(no_flags(consumer));
  node_set_output_for_input_indexed(consumer, 2, producer);  // replaces
  EXPECT_EQ(node_outputnode_for_input_at(consumer, 2), producer);
  EXPECT_TRUE(all_flags(consumer));

  // Connected to three inputs: the first removal takes the lowest name ("Grey" < "RGB" < "not-...").
  clean(consumer);
  EXPECT_EQ(node_remove_first_output_for_input(consumer, producer), 1u);
  EXPECT_EQ(node_outputnode_for_inputname(consumer, u"Grey"), nullptr);
  EXPECT_EQ(node_outputnode_for_inputname(consumer, u"RGB"), producer);
  EXPECT_TRUE(all_flags(consumer));
  clean(consumer);
  node_remove_all_outputs_for_input(consumer, other);  // not connected: no change, no flags
  EXPECT_EQ(node_remove_first_output_for_input(consumer, other), 0u);
  EXPECT_TRUE(no_flags(consumer));
  node_remove_all_outputs_for_input(consumer, producer);
  EXPECT_TRUE(consumer->input_connections.empty());
  EXPECT_TRUE(all_flags(consumer));
  node_set_output_for_input_keyed(consumer, u"RGB", producer);
  node_set_output_for_input_keyed(consumer, u"RGB", nullptr);
  EXPECT_TRUE(consumer->input_connections.empty());
}

TEST_F(NodeConnections, ProducerEndByOutputIndex) {
  clean(producer);
  node_add_input_for_output(producer, 0, nullptr);   // null consumer
  node_add_input_for_output(producer, 2, consumer);  // beyond the type's two outputs
  EXPECT_TRUE(no_flags(producer));
  EXPECT_EQ(node_input_count_for_output(producer, 2), 0u);

  node_add_input_for_output(producer, 0, consumer);
  node_add_input_for_output(producer, 0, other);
  node_add_input_for_output(producer, 0, consumer);
  node_add_input_for_output(producer, 1, consumer);
  EXPECT_TRUE(all_flags(producer));
  EXPECT_EQ(node_input_count_for_output(producer, 0), 3u);
  EXPECT_EQ(node_input_for_output(producer, 0, 1), other);
  EXPECT_EQ(node_input_for_output(producer, 0, 3), nullptr);
  EXPECT_EQ(node_input_for_output(producer, 5, 0), nullptr);

  // One occurrence per output: listed twice on output 0, it stays there once.
  clean(producer);
  node_remove_all_inputs_for_output(producer, consumer);
  EXPECT_EQ(producer->output_connections[0], (std::vector<shadetree_node_t*>{other, consumer}));
  EXPECT_TRUE(producer->output_connections[1].empty());
  EXPECT_TRUE(all_flags(producer));
  clean(producer);
  node_remove_all_inputs_for_output(producer, nullptr);
  node_remove_all_inputs_for_output(producer, producer);
  node_remove_input_for_output_node(producer, 1, consumer);
  node_remove_input_for_output_connidx(producer, 0, 2);
  node_replace_input_for_output(producer, 0, 2, other);
  EXPECT_TRUE(no_flags(producer));

  node_add_input_for_output(producer, 0, other);  // other, consumer, other
  node_remove_input_for_output_node(producer, 0, other);
  EXPECT_EQ(producer->output_connections[0], (std::vector<shadetree_node_t*>{consumer, other}));
  node_replace_input_for_output(producer, 0, 0, other);
  node_remove_input_for_output_connidx(producer, 0, 1);
  EXPECT_EQ(producer->output_connections[0], (std::vector<shadetree_node_t*>{other}));
}

TEST_F(NodeConnections, ChangesPushCachingFlagsDownstreamOnly) {
  // producer -> consumer (output 1) -> other (output 0); consumer's entry on output 2 is beyond
  // its type's outputs and is not followed.
  shadetree_node_t* stray = node_create_with_type(1000);
  producer->output_connections[1] = {consumer};
  consumer->output_connections[0] = {other};
  consumer->output_connections[2] = {stray};
  for (shadetree_node_t* n : {producer, consumer, other, stray}) clean(n);

  node_set_output_for_input_keyed(producer, u"Grey", nullptr);
  EXPECT_TRUE(all_flags(producer));
  for (shadetree_node_t* n : {consumer, other}) {
    EXPECT_TRUE(n->caching_dirty && n->thumbnail_caching_dirty);
    EXPECT_FALSE(n->dirty());  // the document flag stays with the node changed
  }
  EXPECT_TRUE(no_flags(stray));

  // Nothing flows upstream.
  for (shadetree_node_t* n : {producer, consumer, other}) clean(n);
  node_add_input_for_output(other, 0, stray);
  EXPECT_TRUE(no_flags(producer) && no_flags(consumer));
  EXPECT_TRUE(stray->caching_dirty);
  node_delete(stray);
}
