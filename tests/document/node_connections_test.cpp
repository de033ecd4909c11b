#include <gtest/gtest.h>

#include "../common/scoped_specs.h"
#include "document/node.h"
#include "quorin/node.h"

using namespace quorin_engine;

namespace {

using nodes = std::vector<shadetree_node_t*>;

class NodeConnections : public ::testing::Test {
 protected:
  quorin_test::scoped_specs specs{quorin_test::sample_specs()};
  shadetree_node_t* producer = node_create_with_type(4242);  // outputs A, B; inputs amount, Grey, RGB
  shadetree_node_t* consumer = node_create_with_type(4242);
  shadetree_node_t* other = node_create_with_type(1000);
  ~NodeConnections() override {
    for (shadetree_node_t* n : {producer, consumer, other}) node_delete(n);
  }
  // The image flag, the thumbnail flag and the document flag, as bits 1, 2 and 4; reads and clears.
  static int flags(shadetree_node_t* n) {
    int f = n->caching_dirty + 2 * n->thumbnail_caching_dirty + 4 * n->dirty_flag;
    n->caching_dirty = n->thumbnail_caching_dirty = n->dirty_flag = false;
    return f;
  }
};

}  // namespace

TEST_F(NodeConnections, ConsumerEndByName) {
  flags(consumer);
  node_set_output_for_input_keyed(consumer, u"Grey", nullptr);  // nothing there, flags all the same
  EXPECT_TRUE(consumer->input_connections.empty() && flags(consumer) == 7);

  node_set_output_for_input_keyed(consumer, u"not-an-input", producer);  // names are not checked
  node_set_output_for_input_indexed(consumer, 1, producer);              // "Grey"
  node_set_output_for_input_indexed(consumer, 2, producer);              // "RGB"
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

TEST_F(NodeConnections, ProducerEndByOutputIndex) {
  flags(producer);
  node_add_input_for_output(producer, 0, nullptr);
  node_add_input_for_output(producer, 2, consumer);  // beyond the type's two outputs
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
  EXPECT_EQ(producer->output_connections[0], (nodes{consumer, other}));
  node_replace_input_for_output(producer, 0, 0, other);
  node_remove_input_for_output_connidx(producer, 0, 1);
  EXPECT_EQ(producer->output_connections[0], (nodes{other}));
}

TEST_F(NodeConnections, ChangesPushCachingFlagsDownstreamOnly) {
  // producer -> consumer (output 1) -> other; consumer's output 2 is beyond its type and not followed.
  shadetree_node_t* stray = node_create_with_type(1000);
  producer->output_connections[1] = {consumer};
  consumer->output_connections[0] = {other};
  consumer->output_connections[2] = {stray};
  for (shadetree_node_t* n : {producer, consumer, other, stray}) flags(n);
  node_set_output_for_input_keyed(producer, u"Grey", nullptr);
  // The document flag stays with the node changed.
  EXPECT_EQ((std::vector<int>{flags(producer), flags(consumer), flags(other), flags(stray)}),
            (std::vector<int>{7, 3, 3, 0}));
  node_add_input_for_output(other, 0, stray);  // nothing flows upstream
  EXPECT_EQ((std::vector<int>{flags(producer), flags(consumer), flags(stray)}), (std::vector<int>{0, 0, 3}));
  node_delete(stray);
}
