// Graphs: a named, ordered list of owned nodes with a selection and a dirty flag. Connections live
// in the nodes; the graph keeps them consistent when it removes nodes or copies itself.
#include "document/graph.h"

#include <algorithm>

#include "document/node.h"
#include "quorin/graph.h"
#include "quorin/node.h"

namespace quorin_engine {

namespace {

// Consumers of one output that the delete walk visits; later ones keep their input entry.
constexpr std::size_t delete_walk_consumer_cap = 16;

void touch(shadetree_node_t* node) {
  mark_caching_dirty(node);
  node->dirty_flag = true;
}

// The producer's end: each output list loses the first occurrence of `consumer`. All sixteen lists
// are looked at, also those beyond the type's outputs that a change of type may have left filled,
// so that no list keeps a deleted node.
void remove_consumer_once_per_output(shadetree_node_t* producer, shadetree_node_t* consumer) {
  bool changed = false;
  for (auto& list : producer->output_connections) {
    auto it = std::find(list.begin(), list.end(), consumer);
    if (it != list.end()) {
      list.erase(it);
      changed = true;
    }
  }
  if (changed) touch(producer);
}

void erase_first(std::vector<shadetree_node_t*>& list, shadetree_node_t* node) {
  auto it = std::find(list.begin(), list.end(), node);
  if (it != list.end()) list.erase(it);
}

bool is_listed(const std::vector<port_spec_t>* ports, const wstring& name) {
  if (ports)
    for (const port_spec_t& port : *ports)
      if (port.name == name) return true;
  return false;
}

// Input entries under names that the node's input list does not hold (left behind by a change of
// type, or set under a free name). They are cleaned like the listed ones so that no pointer to a
// deleted or foreign node survives.
std::vector<std::pair<wstring, shadetree_node_t*>> unlisted_inputs(const shadetree_node_t* node) {
  std::vector<std::pair<wstring, shadetree_node_t*>> result;
  const std::vector<port_spec_t>* ports = node->input_ports();
  for (const auto& entry : node->input_connections)
    if (!is_listed(ports, entry.first)) result.push_back(entry);
  return result;
}

// Takes the node out of the graph, cleans the connections on both of its ends and deletes it.
void delete_node(graph& g, shadetree_node_t* node) {
  erase_first(g.nodes, node);

  // Upstream: each connected input makes its source forget the node once per output list.
  if (const std::vector<port_spec_t>* inputs = node->input_ports()) {
    for (const port_spec_t& input : *inputs)
      if (shadetree_node_t* upstream = node->connected(input.name)) remove_consumer_once_per_output(upstream, node);
  }
  for (const auto& entry : unlisted_inputs(node)) remove_consumer_once_per_output(entry.second, node);

  // Downstream: the first 16 consumers of each output lose every input connected to the node.
  for (const auto& consumers : node->output_connections) {
    const std::size_t walked = std::min(consumers.size(), delete_walk_consumer_cap);
    for (std::size_t k = 0; k < walked; ++k)
      if (consumers[k]) node_remove_all_outputs_for_input(consumers[k], node);
  }

  delete node;
  g.dirty = 1;
}

void delete_all_nodes(graph& g) {
  for (shadetree_node_t* n : g.nodes) delete n;
  g.nodes.clear();
}

}  // namespace

graph::~graph() { delete_all_nodes(*this); }

bool graph::is_dirty() const {
  if (dirty) return true;
  for (shadetree_node_t* n : nodes)
    if (n->dirty()) return true;
  return false;
}

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API graph* graph_create(void) { return new graph(); }

QUORIN_EXTERN_C QUORIN_API void graph_delete(graph* g) { delete g; }

// The copy has the same nodes, connections and selection, an empty name, and reads as clean.
// Connections to nodes outside the source graph (an extracted node, say) are not carried over: the
// copy refers only to its own nodes.
QUORIN_EXTERN_C QUORIN_API graph* graph_deep_copy(const graph* source) {
  graph* copy = new graph();
  const std::size_t count = source->nodes.size();
  std::vector<std::pair<shadetree_node_t*, shadetree_node_t*>> partners;
  partners.reserve(count);
  for (shadetree_node_t* old_node : source->nodes) {
    // The copy constructor brings the input map and output lists along, still pointing at the
    // source graph's nodes.
    shadetree_node_t* new_node = new shadetree_node_t(*old_node);
    partners.emplace_back(old_node, new_node);
    copy->nodes.push_back(new_node);
  }
  auto partner_of = [&](shadetree_node_t* old_node) -> shadetree_node_t* {
    for (const auto& pair : partners)
      if (pair.first == old_node) return pair.second;
    return nullptr;
  };

  for (shadetree_node_t* node : copy->nodes) {
    if (const std::vector<port_spec_t>* inputs = node->input_ports()) {
      for (const port_spec_t& input : *inputs) {
        auto it = node->input_connections.find(input.name);
        if (it != node->input_connections.end()) node_set_output_for_input_keyed(node, input.name.c_str(), partner_of(it->second));
      }
    }
    for (const auto& entry : unlisted_inputs(node))
      node_set_output_for_input_keyed(node, entry.first.c_str(), partner_of(entry.second));
    for (auto& consumers : node->output_connections) {
      for (std::size_t k = 0; k < consumers.size();) {
        if (shadetree_node_t* partner = partner_of(consumers[k])) {
          consumers[k] = partner;
          ++k;
        } else {
          consumers.erase(consumers.begin() + static_cast<std::ptrdiff_t>(k));
        }
        touch(node);
      }
    }
  }

  copy->primary_selection = partner_of(source->primary_selection);
  for (shadetree_node_t* selected : source->secondary_selections)
    if (shadetree_node_t* partner = partner_of(selected)) copy->secondary_selections.push_back(partner);

  for (shadetree_node_t* node : copy->nodes) node->reset_dirty();
  copy->dirty = 0;
  return copy;
}

QUORIN_EXTERN_C QUORIN_API void graph_name(const graph* g, qr_char* buf, int32_t cap) { copy_out(g->name, buf, cap); }

QUORIN_EXTERN_C QUORIN_API void graph_set_name(graph* g, const qr_char* name) { g->name = from_caller(name); }

QUORIN_EXTERN_C QUORIN_API uint32_t graph_empty(const graph* g) { return g->nodes.empty() ? 1 : 0; }

QUORIN_EXTERN_C QUORIN_API uint32_t graph_node_count(const graph* g) { return static_cast<uint32_t>(g->nodes.size()); }

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* graph_node_at(const graph* g, uint32_t index) {
  return index < g->nodes.size() ? g->nodes[index] : nullptr;
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* graph_primary_selection(const graph* g) { return g->primary_selection; }

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* graph_first_secondary_selection(const graph* g) {
  return g->secondary_selections.empty() ? nullptr : g->secondary_selections.front();
}

QUORIN_EXTERN_C QUORIN_API void graph_clear_secondary_selections(graph* g) {
  for (shadetree_node_t* n : g->secondary_selections) n->secondary_selected = false;
  g->secondary_selections.clear();
}

// A change of the primary selection always ends the secondary selections; the same node again
// changes nothing.
QUORIN_EXTERN_C QUORIN_API void graph_set_primary_selection(graph* g, shadetree_node_t* node) {
  if (node == g->primary_selection) return;
  if (g->primary_selection) g->primary_selection->primary_selected = false;
  if (node) node->primary_selected = true;
  g->primary_selection = node;
  graph_clear_secondary_selections(g);
}

// A node is never primary and secondary at once: toggling the primary node does nothing.
QUORIN_EXTERN_C QUORIN_API void graph_toggle_secondary_selection(graph* g, shadetree_node_t* node) {
  if (!node || node == g->primary_selection) return;
  if (!node->secondary_selected) {
    node->secondary_selected = true;
    g->secondary_selections.push_back(node);
  } else {
    node->secondary_selected = false;
    erase_first(g->secondary_selections, node);
  }
}

// No connection cleaning: every node goes. The selection is left for the host to clear.
QUORIN_EXTERN_C QUORIN_API void graph_delete_all_nodes(graph* g) {
  delete_all_nodes(*g);
  g->dirty = 1;
}

// Does not look at the selection: a selected node that is deleted stays referenced there.
QUORIN_EXTERN_C QUORIN_API void graph_delete_node(graph* g, shadetree_node_t* node) { delete_node(*g, node); }

// The first secondary selection, if any, becomes the primary one; its secondary byte stays.
QUORIN_EXTERN_C QUORIN_API void graph_delete_primary_selection(graph* g) {
  if (!g->primary_selection) return;
  delete_node(*g, g->primary_selection);
  if (g->secondary_selections.empty()) {
    g->primary_selection = nullptr;
  } else {
    shadetree_node_t* next = g->secondary_selections.front();
    g->secondary_selections.erase(g->secondary_selections.begin());
    next->primary_selected = true;
    g->primary_selection = next;
  }
  g->dirty = 1;
}

// Without a primary selection nothing is deleted, whatever the secondary list holds.
QUORIN_EXTERN_C QUORIN_API void graph_delete_selected_nodes(graph* g) {
  if (!g->primary_selection) return;
  delete_node(*g, g->primary_selection);
  g->primary_selection = nullptr;
  for (shadetree_node_t* n : g->secondary_selections) delete_node(*g, n);
  g->secondary_selections.clear();
  g->dirty = 1;
}

// Connections and selection are left as they are.
QUORIN_EXTERN_C QUORIN_API void graph_extract_node(graph* g, shadetree_node_t* node) {
  erase_first(g->nodes, node);
  g->dirty = 1;
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* graph_create_node(graph* g, uint32_t type_id) {
  shadetree_node_t* node = new shadetree_node_t(type_id);
  g->nodes.push_back(node);
  g->dirty = 1;
  return node;
}

QUORIN_EXTERN_C QUORIN_API void graph_add_node(graph* g, shadetree_node_t* node) {
  g->nodes.push_back(node);
  g->dirty = 1;
}

// The duplicate has the node's content without its connections and is not selected.
QUORIN_EXTERN_C QUORIN_API shadetree_node_t* graph_duplicate_node(graph* g, const shadetree_node_t* node) {
  shadetree_node_t* copy = new shadetree_node_t();
  *copy = *node;
  copy->primary_selected = false;
  copy->secondary_selected = false;
  g->nodes.push_back(copy);
  g->dirty = 1;
  return copy;
}

QUORIN_EXTERN_C QUORIN_API uint32_t graph_dirty(const graph* g) { return g->is_dirty() ? 1 : 0; }

QUORIN_EXTERN_C QUORIN_API void graph_reset_dirty(graph* g) {
  for (shadetree_node_t* n : g->nodes) n->reset_dirty();
  g->dirty = 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t graph_get_node_count_of_type(const graph* g, uint32_t type_id) {
  uint32_t count = 0;
  for (const shadetree_node_t* n : g->nodes)
    if (n->type_id == type_id) ++count;
  return count;
}

QUORIN_EXTERN_C QUORIN_API void graph_get_nodes_of_type(const graph* g, shadetree_node_t** out, uint32_t cap,
                                                        uint32_t type_id) {
  uint32_t written = 0;
  for (shadetree_node_t* n : g->nodes) {
    if (written >= cap) break;
    if (n->type_id == type_id) out[written++] = n;
  }
}
