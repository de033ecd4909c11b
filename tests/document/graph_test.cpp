#include <string>
#include <vector>

#include "doc_fixture.h"
#include "document/graph.h"
#include "document/node.h"
#include "quorin/curve.h"
#include "quorin/graph.h"
#include "quorin/node.h"

using namespace doc_test;
using quorin_engine::graph;
using quorin_engine::shadetree_node_t;

namespace {

class GraphTest : public DocTest {
 protected:
  // Both ends of a connection: output 0 of `src` feeds input `input` of `consumer`.
  static void wire(shadetree_node_t* src, shadetree_node_t* consumer, const char16_t* input) {
    consumer->input_connections[input] = src;
    src->output_connections[0].push_back(consumer);
  }
  static void clean(graph* g) {
    for (shadetree_node_t* n : g->nodes) {
      n->caching_dirty = n->thumbnail_caching_dirty = false;
      n->dirty_flag = false;
    }
    g->dirty = 0;
  }
};

TEST_F(GraphTest, SelectionRules) {
  graph* g = graph_create();
  shadetree_node_t* a = graph_create_node(g, type_wire);
  shadetree_node_t* b = graph_create_node(g, type_wire);
  shadetree_node_t* c = graph_create_node(g, type_wire);
  graph_reset_dirty(g);

  graph_set_primary_selection(g, a);
  graph_toggle_secondary_selection(g, b);
  graph_toggle_secondary_selection(g, c);
  graph_toggle_secondary_selection(g, a);  // the primary node: nothing
  EXPECT_TRUE(a->primary_selected);
  EXPECT_FALSE(a->secondary_selected);
  EXPECT_EQ(g->secondary_selections, (std::vector<shadetree_node_t*>{b, c}));
  EXPECT_EQ(graph_first_secondary_selection(g), b);

  graph_set_primary_selection(g, a);  // the same node keeps the secondary selections
  EXPECT_EQ(g->secondary_selections.size(), 2u);

  graph_toggle_secondary_selection(g, b);  // toggled off
  EXPECT_FALSE(b->secondary_selected);
  EXPECT_EQ(graph_first_secondary_selection(g), c);

  graph_set_primary_selection(g, b);  // a new primary ends the secondaries
  EXPECT_FALSE(a->primary_selected);
  EXPECT_TRUE(b->primary_selected);
  EXPECT_FALSE(c->secondary_selected);
  EXPECT_EQ(graph_first_secondary_selection(g), nullptr);

  graph_toggle_secondary_selection(g, c);
  graph_set_primary_selection(g, nullptr);  // null clears the whole selection
  EXPECT_EQ(graph_primary_selection(g), nullptr);
  EXPECT_FALSE(b->primary_selected);
  EXPECT_FALSE(c->secondary_selected);
  EXPECT_TRUE(g->secondary_selections.empty());

  graph_toggle_secondary_selection(g, a);
  graph_toggle_secondary_selection(g, b);
  graph_clear_secondary_selections(g);
  EXPECT_FALSE(a->secondary_selected || b->secondary_selected);
  EXPECT_EQ(graph_first_secondary_selection(g), nullptr);

  EXPECT_EQ(graph_dirty(g), 0u);  // selection changes are no document changes
  graph_delete(g);
}

TEST_F(GraphTest, DeletingTheSelection) {
  graph* g = graph_create();
  shadetree_node_t* a = graph_create_node(g, type_wire);
  shadetree_node_t* b = graph_create_node(g, type_wire);
  shadetree_node_t* c = graph_create_node(g, type_wire);
  graph_create_node(g, type_wire);

  // Secondaries without a primary: nothing is deleted.
  graph_toggle_secondary_selection(g, a);
  graph_reset_dirty(g);
  graph_delete_selected_nodes(g);
  EXPECT_EQ(graph_node_count(g), 4u);
  EXPECT_EQ(graph_dirty(g), 0u);
  graph_clear_secondary_selections(g);

  // The first secondary selection becomes primary and keeps its secondary byte.
  graph_set_primary_selection(g, a);
  graph_toggle_secondary_selection(g, b);
  graph_toggle_secondary_selection(g, c);
  graph_delete_primary_selection(g);
  EXPECT_EQ(graph_node_count(g), 3u);
  EXPECT_EQ(graph_primary_selection(g), b);
  EXPECT_TRUE(b->primary_selected);
  EXPECT_TRUE(b->secondary_selected);
  EXPECT_EQ(g->secondary_selections, (std::vector<shadetree_node_t*>{c}));
  EXPECT_EQ(graph_dirty(g), 1u);

  graph_delete_selected_nodes(g);  // b and c
  EXPECT_EQ(graph_node_count(g), 1u);
  EXPECT_EQ(graph_primary_selection(g), nullptr);
  EXPECT_EQ(graph_first_secondary_selection(g), nullptr);

  graph_set_primary_selection(g, graph_node_at(g, 0));
  graph_delete_primary_selection(g);
  EXPECT_EQ(graph_primary_selection(g), nullptr);
  EXPECT_EQ(graph_empty(g), 1u);
  graph_delete(g);
  graph_delete(nullptr);
}

TEST_F(GraphTest, DeletingANodeCleansBothEnds) {
  graph* g = graph_create();
  shadetree_node_t* src = graph_create_node(g, type_source);
  shadetree_node_t* mid = graph_create_node(g, type_wire);
  shadetree_node_t* sink = graph_create_node(g, type_wire);
  shadetree_node_t* other = graph_create_node(g, type_wire);
  wire(src, mid, u"a");
  wire(src, mid, u"b");  // listed twice on one output
  wire(src, other, u"a");
  wire(mid, sink, u"a");
  wire(mid, sink, u"b");
  clean(g);

  graph_delete_node(g, mid);
  EXPECT_EQ(g->nodes, (std::vector<shadetree_node_t*>{src, sink, other}));
  EXPECT_EQ(src->output_connections[0], (std::vector<shadetree_node_t*>{other}));
  EXPECT_TRUE(sink->input_connections.empty());
  EXPECT_TRUE(src->dirty_flag && src->caching_dirty && src->thumbnail_caching_dirty);
  EXPECT_TRUE(sink->dirty_flag && sink->caching_dirty);
  EXPECT_FALSE(other->dirty_flag);
  EXPECT_EQ(other->input_connections.at(u"a"), src);
  EXPECT_EQ(g->dirty, 1);
  graph_delete(g);
}

TEST_F(GraphTest, DeleteWalkVisitsTheFirstSixteenConsumers) {
  graph* g = graph_create();
  shadetree_node_t* src = graph_create_node(g, type_source);
  std::vector<shadetree_node_t*> consumers;
  for (int i = 0; i < 20; ++i) {
    consumers.push_back(graph_create_node(g, type_wire));
    wire(src, consumers.back(), u"a");
  }
  clean(g);
  graph_delete_node(g, src);
  for (int i = 0; i < 20; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(consumers[i]->input_connections.count(u"a"), i < 16 ? 0u : 1u);
    EXPECT_EQ(consumers[i]->dirty_flag, i < 16);
  }
  // The last four still refer to the deleted node; drop those entries before the graph goes.
  for (shadetree_node_t* n : consumers) n->input_connections.clear();
  graph_delete(g);
}

TEST_F(GraphTest, DeepCopyRemapsConnectionsAndReadsClean) {
  graph* g = graph_create();
  graph_set_name(g, u"A");
  shadetree_node_t* src = graph_create_node(g, type_source);
  shadetree_node_t* mid = graph_create_node(g, type_wire);
  shadetree_node_t* sink = graph_create_node(g, type_wire);
  wire(src, mid, u"a");
  wire(src, sink, u"b");
  wire(mid, sink, u"a");
  node_set_param_value(src, u"level", u"0.25");
  graph_set_primary_selection(g, mid);
  graph_toggle_secondary_selection(g, sink);

  graph* copy = graph_deep_copy(g);
  char16_t name[8] = u"xx";
  graph_name(copy, name, 8);
  EXPECT_EQ(std::u16string(name), u"");
  EXPECT_EQ(graph_dirty(copy), 0u);
  ASSERT_EQ(graph_node_count(copy), 3u);
  shadetree_node_t* csrc = graph_node_at(copy, 0);
  shadetree_node_t* cmid = graph_node_at(copy, 1);
  shadetree_node_t* csink = graph_node_at(copy, 2);
  EXPECT_NE(csrc, src);
  EXPECT_EQ(csrc->params.at(u"level"), u"0.25");
  EXPECT_EQ(cmid->input_connections.at(u"a"), csrc);
  EXPECT_EQ(csink->input_connections.at(u"a"), cmid);
  EXPECT_EQ(csink->input_connections.at(u"b"), csrc);
  EXPECT_EQ(csrc->output_connections[0], (std::vector<shadetree_node_t*>{cmid, csink}));
  EXPECT_EQ(cmid->output_connections[0], (std::vector<shadetree_node_t*>{csink}));
  EXPECT_EQ(graph_primary_selection(copy), cmid);
  EXPECT_EQ(graph_first_secondary_selection(copy), csink);

  // The source keeps its own connections and its name.
  EXPECT_EQ(sink->input_connections.at(u"a"), mid);
  EXPECT_EQ(src->output_connections[0], (std::vector<shadetree_node_t*>{mid, sink}));
  graph_name(g, name, 8);
  EXPECT_EQ(std::u16string(name), u"A");

  // A copy is independent: deleting a node of the source leaves it intact.
  graph_set_primary_selection(g, nullptr);
  graph_delete_node(g, mid);
  EXPECT_EQ(csink->input_connections.at(u"a"), cmid);
  graph_delete(g);
  graph_delete(copy);
}

TEST_F(GraphTest, DeepCopyDropsConnectionsToNodesOutsideTheGraph) {
  graph* g = graph_create();
  shadetree_node_t* src = graph_create_node(g, type_source);
  shadetree_node_t* sink = graph_create_node(g, type_wire);
  shadetree_node_t* outsider = graph_create_node(g, type_wire);
  wire(src, sink, u"a");
  wire(src, outsider, u"a");
  wire(outsider, sink, u"b");
  graph_extract_node(g, outsider);
  EXPECT_EQ(graph_node_count(g), 2u);
  EXPECT_EQ(outsider->input_connections.at(u"a"), src);  // extract touches no connection

  graph* copy = graph_deep_copy(g);
  shadetree_node_t* csrc = graph_node_at(copy, 0);
  shadetree_node_t* csink = graph_node_at(copy, 1);
  EXPECT_EQ(csrc->output_connections[0], (std::vector<shadetree_node_t*>{csink}));
  EXPECT_EQ(csink->input_connections.size(), 1u);
  EXPECT_EQ(csink->input_connections.at(u"a"), csrc);
  graph_delete(copy);
  graph_delete(g);
  delete outsider;
}

TEST_F(GraphTest, DuplicateCopiesContentWithoutConnections) {
  graph* g = graph_create();
  shadetree_node_t* src = graph_create_node(g, type_source);
  shadetree_node_t* n = graph_create_node(g, type_params);
  wire(src, n, u"a");
  node_set_param_value(n, u"amount", u"0.5");
  qr_curve* c = curve_create();
  curve_append_item(c, 1, nullptr, 0);
  node_set_param_curve_keyed(n, u"shape", c);
  n->name = u"mine";
  n->display_x = 42;
  graph_set_primary_selection(g, n);
  graph_reset_dirty(g);

  shadetree_node_t* d = graph_duplicate_node(g, n);
  EXPECT_EQ(graph_node_at(g, 2), d);
  EXPECT_EQ(graph_dirty(g), 1u);
  EXPECT_EQ(d->type_id, type_params);
  EXPECT_EQ(d->params.at(u"amount"), u"0.5");
  EXPECT_EQ(d->param_curves.at(u"shape").items.at(0).type, 1u);
  EXPECT_EQ(d->name, u"mine");
  EXPECT_EQ(d->display_x, 42);
  EXPECT_FALSE(d->primary_selected || d->secondary_selected);
  EXPECT_TRUE(d->input_connections.empty());
  EXPECT_EQ(graph_primary_selection(g), n);
  curve_delete(c);
  graph_delete(g);
}

TEST_F(GraphTest, DirtyRulesAndQueries) {
  graph* g = graph_create();
  EXPECT_EQ(graph_empty(g), 1u);
  EXPECT_EQ(graph_dirty(g), 0u);
  shadetree_node_t* a = graph_create_node(g, type_wire);
  EXPECT_EQ(graph_dirty(g), 1u);
  graph_reset_dirty(g);
  graph_set_name(g, u"renamed");
  EXPECT_EQ(graph_dirty(g), 0u);
  a->dirty_flag = true;  // a node's own change makes the graph dirty
  EXPECT_EQ(graph_dirty(g), 1u);
  graph_reset_dirty(g);
  EXPECT_FALSE(a->dirty_flag);

  shadetree_node_t* b = new shadetree_node_t(type_source);
  graph_add_node(g, b);
  graph_create_node(g, type_wire);
  EXPECT_EQ(graph_node_count(g), 3u);
  EXPECT_EQ(graph_node_at(g, 1), b);
  EXPECT_EQ(graph_node_at(g, 3), nullptr);
  EXPECT_EQ(graph_get_node_count_of_type(g, type_wire), 2u);
  EXPECT_EQ(graph_get_node_count_of_type(g, 12345), 0u);

  shadetree_node_t* sentinel = b;
  shadetree_node_t* out[4] = {sentinel, sentinel, sentinel, sentinel};
  graph_get_nodes_of_type(g, out, 0, type_wire);
  EXPECT_EQ(out[0], sentinel);
  graph_get_nodes_of_type(g, out, 4, type_wire);
  EXPECT_EQ(out[0], a);
  EXPECT_EQ(out[1], graph_node_at(g, 2));
  EXPECT_EQ(out[2], sentinel);
  out[0] = sentinel;
  graph_get_nodes_of_type(g, out, 1, type_wire);
  EXPECT_EQ(out[0], a);
  EXPECT_EQ(out[1], graph_node_at(g, 2));

  // A name that does not fit leaves an empty string.
  char16_t small[4] = u"abc";
  graph_name(g, small, 4);
  EXPECT_EQ(small[0], 0);

  graph_reset_dirty(g);
  graph_delete_all_nodes(g);
  EXPECT_EQ(graph_empty(g), 1u);
  EXPECT_EQ(graph_dirty(g), 1u);
  graph_delete(g);
}

}  // namespace
