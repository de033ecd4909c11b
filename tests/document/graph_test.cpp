#include <gtest/gtest.h>

#include <vector>

#include "../common/scoped_specs.h"
#include "document/graph.h"
#include "document/node.h"
#include "quorin/graph.h"
#include "quorin/node.h"

using quorin_engine::graph;
using node = quorin_engine::shadetree_node_t;
using nodes = std::vector<node*>;

namespace {

constexpr uint32_t pass = 1000;  // input "RGB"
constexpr uint32_t mux = 1059;   // inputs "RGB-1" to "RGB-4"

class Graph : public ::testing::Test {
 protected:
  // Output 0 of `src` feeds input `input` of `consumer`, recorded at both ends.
  static void wire(node* src, node* consumer, const char16_t* input) {
    consumer->input_connections[input] = src;
    src->output_connections[0].push_back(consumer);
  }
  nodes make(uint32_t type, int n) {
    nodes out;
    for (int i = 0; i < n; ++i) out.push_back(graph_create_node(g, type));
    return out;
  }
  ~Graph() override { graph_delete(g); }
  quorin_test::scoped_specs specs{quorin_test::sample_specs()};
  graph* g = graph_create();
};

TEST_F(Graph, SelectionRules) {
  nodes n = make(mux, 4);
  graph_reset_dirty(g);
  graph_set_primary_selection(g, n[0]);
  for (node* x : {n[1], n[2], n[0]}) graph_toggle_secondary_selection(g, x);  // n[0] is primary: nothing
  graph_set_primary_selection(g, n[0]);  // the same node keeps the secondaries
  EXPECT_TRUE(g->secondary_selections == (nodes{n[1], n[2]}) && !n[0]->secondary_selected);
  graph_toggle_secondary_selection(g, n[1]);  // toggled off
  EXPECT_TRUE(g->secondary_selections == (nodes{n[2]}) && !n[1]->secondary_selected);

  graph_set_primary_selection(g, n[1]);  // a new primary ends the secondaries
  EXPECT_TRUE(n[1]->primary_selected && !n[0]->primary_selected && !n[2]->secondary_selected);
  graph_toggle_secondary_selection(g, n[2]);
  graph_set_primary_selection(g, nullptr);  // null clears the whole selection
  EXPECT_TRUE(!n[1]->primary_selected && !n[2]->secondary_selected && g->secondary_selections.empty());

  // Secondaries without a primary: nothing is deleted. Selection changes leave the graph clean.
  graph_toggle_secondary_selection(g, n[0]);
  graph_delete_selected_nodes(g);
  EXPECT_TRUE(graph_node_count(g) == 4u && graph_dirty(g) == 0u);

  // The first secondary becomes primary and keeps its secondary byte.
  graph_set_primary_selection(g, n[0]);
  for (node* x : {n[1], n[2]}) graph_toggle_secondary_selection(g, x);
  graph_delete_primary_selection(g);
  EXPECT_TRUE(graph_primary_selection(g) == n[1] && n[1]->primary_selected && n[1]->secondary_selected);
  EXPECT_TRUE(g->secondary_selections == (nodes{n[2]}) && graph_dirty(g) == 1u);
  graph_delete_selected_nodes(g);
  EXPECT_EQ(g->nodes, (nodes{n[3]}));
  EXPECT_TRUE(graph_primary_selection(g) == nullptr && g->secondary_selections.empty());
}

TEST_F(Graph, DeletingANodeCleansConnectionsOfTheFirstSixteenConsumers) {
  nodes n = make(mux, 4);
  wire(n[0], n[1], u"RGB-1");
  wire(n[0], n[1], u"RGB-2");  // listed twice on one output
  wire(n[0], n[3], u"RGB-1");
  wire(n[1], n[2], u"RGB-1");
  wire(n[1], n[2], u"RGB-3");
  graph_reset_dirty(g);
  graph_delete_node(g, n[1]);
  EXPECT_EQ(g->nodes, (nodes{n[0], n[2], n[3]}));
  EXPECT_TRUE(n[0]->output_connections[0] == (nodes{n[3]}) && n[2]->input_connections.empty());
  EXPECT_TRUE(n[0]->dirty_flag && n[2]->dirty_flag && !n[3]->dirty_flag && graph_dirty(g) == 1u);

  nodes consumers = make(pass, 20);
  for (node* c : consumers) wire(n[2], c, u"RGB");
  graph_reset_dirty(g);
  graph_delete_node(g, n[2]);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(consumers[i]->input_connections.count(u"RGB"), i < 16 ? 0u : 1u) << i;
    EXPECT_EQ(consumers[i]->dirty_flag, i < 16) << i;
  }
}

TEST_F(Graph, DeepCopyRemapsConnectionsAndReadsClean) {
  graph_set_name(g, u"A");
  nodes n = make(mux, 3);
  wire(n[0], n[1], u"RGB-1");
  wire(n[0], n[2], u"RGB-2");
  wire(n[1], n[2], u"RGB-1");
  graph_set_primary_selection(g, n[1]);
  graph_toggle_secondary_selection(g, n[2]);

  graph* copy = graph_deep_copy(g);
  EXPECT_TRUE(copy->name.empty() && graph_dirty(copy) == 0u);
  ASSERT_EQ(graph_node_count(copy), 3u);
  const nodes& c = copy->nodes;
  EXPECT_EQ(c[1]->input_connections.at(u"RGB-1"), c[0]);
  EXPECT_EQ(c[2]->input_connections, (std::map<std::u16string, node*>{{u"RGB-1", c[1]}, {u"RGB-2", c[0]}}));
  EXPECT_EQ(c[0]->output_connections[0], (nodes{c[1], c[2]}));
  EXPECT_TRUE(graph_primary_selection(copy) == c[1] && graph_first_secondary_selection(copy) == c[2]);
  EXPECT_EQ(n[2]->input_connections.at(u"RGB-1"), n[1]);  // the source keeps its own
  graph_delete(copy);

  // A connection to a node taken out of the graph is dropped in the copy.
  graph_extract_node(g, n[1]);
  copy = graph_deep_copy(g);
  EXPECT_EQ(copy->nodes[0]->output_connections[0], (nodes{copy->nodes[1]}));
  EXPECT_EQ(copy->nodes[1]->input_connections, (std::map<std::u16string, node*>{{u"RGB-2", copy->nodes[0]}}));
  graph_delete(copy);
  delete n[1];
}

TEST_F(Graph, DuplicateDirtyAndQueries) {
  nodes n = make(mux, 2), p = make(pass, 2);
  graph_set_primary_selection(g, n[1]);
  graph_reset_dirty(g);
  node* d = graph_duplicate_node(g, n[1]);
  EXPECT_TRUE(graph_node_at(g, 4) == d && graph_node_at(g, 5) == nullptr && graph_dirty(g) == 1u);
  EXPECT_FALSE(d->primary_selected || d->secondary_selected);
  graph_reset_dirty(g);
  n[0]->dirty_flag = true;  // a node's own change makes the graph dirty
  EXPECT_EQ(graph_dirty(g), 1u);

  EXPECT_EQ(graph_get_node_count_of_type(g, mux), 3u);
  node* out[4] = {d, d, d, d};
  graph_get_nodes_of_type(g, out, 0, pass);
  EXPECT_EQ(out[0], d);
  graph_get_nodes_of_type(g, out, 4, pass);
  EXPECT_EQ((nodes(out, out + 4)), (nodes{p[0], p[1], d, d}));
}

}  // namespace
