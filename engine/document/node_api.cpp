// The exported node family: creation, display rectangle, flags and connection bookkeeping.
#include <algorithm>
#include "document/node.h"
#include "quorin/node.h"

namespace quorin_engine {
namespace {

// What every connection operation does after a change: push the caching flags downstream, then
// mark the document as changed.
void connections_changed(shadetree_node_t* node) {
  mark_caching_dirty(node);
  node->dirty_flag = true;
}

// The output vector of an index below the type's output count, or null.
std::vector<shadetree_node_t*>* output_list(shadetree_node_t* node, uint32_t output) {
  if (output >= node->output_count() || output >= max_output_connections) return nullptr;
  return &node->output_connections[output];
}

const std::vector<shadetree_node_t*>* output_list(const shadetree_node_t* node, uint32_t output) {
  return output_list(const_cast<shadetree_node_t*>(node), output);
}

const wstring* input_name_at(const shadetree_node_t* node, uint32_t input) {
  const std::vector<port_spec_t>* ports = node->input_ports();
  if (!ports || input >= ports->size()) return nullptr;
  return &(*ports)[input].name;
}

void set_input_connection(shadetree_node_t* node, const wstring& name, shadetree_node_t* source) {
  if (source)
    node->input_connections[name] = source;
  else
    node->input_connections.erase(name);
  // Also when nothing changed (a null source on an unconnected input).
  connections_changed(node);
}

}  // namespace
}  // namespace quorin_engine

using namespace quorin_engine;

// ---- creation and copying ---------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_create(void) { return new shadetree_node_t(0); }

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_create_with_type(uint32_t type_id) {
  return new shadetree_node_t(type_id);
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_create_by_type_name(const char16_t* type_name) {
  const nodetype_spec_t* spec = find_spec_by_name(from_caller(type_name));
  return spec ? new shadetree_node_t(spec->type_id) : nullptr;
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_deep_copy(const shadetree_node_t* node) {
  return new shadetree_node_t(*node);
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_copy_from_without_connections(const shadetree_node_t* node) {
  auto* copy = new shadetree_node_t(0);
  *copy = *node;
  return copy;
}

QUORIN_EXTERN_C QUORIN_API void node_delete(shadetree_node_t* node) { delete node; }

QUORIN_EXTERN_C QUORIN_API uint32_t node_type(const shadetree_node_t* node) { return node->type_id; }

// The new type's defaults go on top of the stored values, so values of other names remain. The
// height becomes 120, and only the image flag is raised.
QUORIN_EXTERN_C QUORIN_API void node_set_type(shadetree_node_t* node, uint32_t type_id) {
  node->type_id = type_id;
  apply_catalogue_defaults(*node);
  node->display_h = 120;
  node->caching_dirty = true;
}

// ---- flags and display ------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API uint32_t node_is_disabled(const shadetree_node_t* node) { return node->disabled ? 1 : 0; }
QUORIN_EXTERN_C QUORIN_API void node_set_disabled(shadetree_node_t* node, uint32_t disabled) {
  node->disabled = disabled != 0;
}
QUORIN_EXTERN_C QUORIN_API void node_disable(shadetree_node_t* node) { node->disabled = true; }
QUORIN_EXTERN_C QUORIN_API void node_enable(shadetree_node_t* node) { node->disabled = false; }

QUORIN_EXTERN_C QUORIN_API int32_t node_display_x(const shadetree_node_t* node) { return node->display_x; }
QUORIN_EXTERN_C QUORIN_API int32_t node_display_y(const shadetree_node_t* node) { return node->display_y; }
QUORIN_EXTERN_C QUORIN_API int32_t node_display_w(const shadetree_node_t* node) { return node->display_w; }
QUORIN_EXTERN_C QUORIN_API int32_t node_display_h(const shadetree_node_t* node) { return node->display_h; }
QUORIN_EXTERN_C QUORIN_API void node_set_display_x(shadetree_node_t* node, int32_t v) { node->display_x = v; }
QUORIN_EXTERN_C QUORIN_API void node_set_display_y(shadetree_node_t* node, int32_t v) { node->display_y = v; }
QUORIN_EXTERN_C QUORIN_API void node_set_display_w(shadetree_node_t* node, int32_t v) { node->display_w = v; }
QUORIN_EXTERN_C QUORIN_API void node_set_display_h(shadetree_node_t* node, int32_t v) { node->display_h = v; }

QUORIN_EXTERN_C QUORIN_API uint32_t node_is_primary_selected(const shadetree_node_t* node) {
  return node->primary_selected ? 1 : 0;
}
QUORIN_EXTERN_C QUORIN_API void node_set_primary_selected(shadetree_node_t* node, uint32_t v) {
  node->primary_selected = v != 0;
}
QUORIN_EXTERN_C QUORIN_API uint32_t node_is_secondary_selected(const shadetree_node_t* node) {
  return node->secondary_selected ? 1 : 0;
}
QUORIN_EXTERN_C QUORIN_API void node_set_secondary_selected(shadetree_node_t* node, uint32_t v) {
  node->secondary_selected = v != 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_minimized(const shadetree_node_t* node) { return node->minimized ? 1 : 0; }
QUORIN_EXTERN_C QUORIN_API void node_toggle_minimized(shadetree_node_t* node) { node->minimized = !node->minimized; }

QUORIN_EXTERN_C QUORIN_API void node_name(const shadetree_node_t* node, char16_t* buf, int32_t cap) {
  copy_out(node->name, buf, cap);
}
QUORIN_EXTERN_C QUORIN_API void node_set_name(shadetree_node_t* node, const char16_t* name) {
  node->name = from_caller(name);
  node->dirty_flag = true;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_is_caching_dirty(const shadetree_node_t* node, uint32_t for_thumbnail) {
  return node->is_caching_dirty(for_thumbnail != 0) ? 1 : 0;
}
QUORIN_EXTERN_C QUORIN_API uint32_t node_dirty(const shadetree_node_t* node) { return node->dirty() ? 1 : 0; }
QUORIN_EXTERN_C QUORIN_API void node_reset_dirty(shadetree_node_t* node) { node->reset_dirty(); }

QUORIN_EXTERN_C QUORIN_API void node_move_display_pos(shadetree_node_t* node, int32_t dx, int32_t dy) {
  node->display_x += dx;
  node->display_y += dy;
  node->dirty_flag = true;
}

namespace {

// Dragging the leading edge of one axis. When the minimum size is hit the edge stops there and the
// distance actually moved is returned; otherwise the result is the old size.
int32_t drag_leading_edge(int32_t& pos, int32_t& size, int32_t delta, int32_t min_size) {
  const int32_t old_size = size;
  const int32_t new_size = old_size - delta;
  if (new_size <= min_size) {
    size = min_size;
    pos += old_size - min_size;
    return old_size - min_size;
  }
  pos += delta;
  size = new_size;
  return old_size;
}

}  // namespace

QUORIN_EXTERN_C QUORIN_API int32_t node_move_display_pos_leftedge(shadetree_node_t* node, int32_t dx, int32_t min_w) {
  node->dirty_flag = true;
  return drag_leading_edge(node->display_x, node->display_w, dx, min_w);
}

QUORIN_EXTERN_C QUORIN_API int32_t node_move_display_pos_topedge(shadetree_node_t* node, int32_t dy, int32_t min_h) {
  node->dirty_flag = true;
  return drag_leading_edge(node->display_y, node->display_h, dy, min_h);
}

QUORIN_EXTERN_C QUORIN_API void node_move_display_pos_rightedge(shadetree_node_t* node, int32_t dx, int32_t min_w) {
  node->display_w = std::max(min_w, node->display_w + dx);
  node->dirty_flag = true;
}

QUORIN_EXTERN_C QUORIN_API void node_move_display_pos_bottomedge(shadetree_node_t* node, int32_t dy, int32_t min_h) {
  node->display_h = std::max(min_h, node->display_h + dy);
  node->dirty_flag = true;
}

QUORIN_EXTERN_C QUORIN_API void node_align_with(shadetree_node_t* node, uint32_t mode, const shadetree_node_t* other) {
  switch (mode) {
    case 0: node->display_x = other->display_x; break;
    case 1: node->display_x = other->display_x + other->display_w - node->display_w; break;
    case 2: node->display_y = other->display_y; break;
    case 3: node->display_y = other->display_y + other->display_h - node->display_h; break;
    default: break;
  }
  node->dirty_flag = true;
}

// ---- connections, consumer's end (by input name) ----------------------------------------------

QUORIN_EXTERN_C QUORIN_API void node_set_output_for_input_keyed(shadetree_node_t* node, const char16_t* input_name,
                                                                shadetree_node_t* source) {
  set_input_connection(node, from_caller(input_name), source);
}

QUORIN_EXTERN_C QUORIN_API void node_set_output_for_input_indexed(shadetree_node_t* node, uint32_t input_index,
                                                                  shadetree_node_t* source) {
  const wstring* name = input_name_at(node, input_index);
  if (!name) return;
  const wstring key = *name;
  set_input_connection(node, key, source);
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_outputnode_for_inputname(const shadetree_node_t* node,
                                                                           const char16_t* input_name) {
  return node->connected(from_caller(input_name));
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_outputnode_for_input_at(const shadetree_node_t* node,
                                                                          uint32_t input_index) {
  const wstring* name = input_name_at(node, input_index);
  return name ? node->connected(*name) : nullptr;
}

QUORIN_EXTERN_C QUORIN_API void node_remove_all_outputs_for_input(shadetree_node_t* node,
                                                                  const shadetree_node_t* source) {
  const std::size_t erased = std::erase_if(node->input_connections, [source](const auto& kv) {
    return kv.second == source;
  });
  if (erased) connections_changed(node);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_remove_first_output_for_input(shadetree_node_t* node,
                                                                       const shadetree_node_t* source) {
  for (auto it = node->input_connections.begin(); it != node->input_connections.end(); ++it) {
    if (it->second == source) {
      node->input_connections.erase(it);
      connections_changed(node);
      return 1;
    }
  }
  return 0;
}

// ---- connections, producer's end (by output index) --------------------------------------------

QUORIN_EXTERN_C QUORIN_API void node_add_input_for_output(shadetree_node_t* node, uint32_t output_index,
                                                          shadetree_node_t* consumer) {
  auto* list = output_list(node, output_index);
  if (!list || !consumer) return;
  list->push_back(consumer);
  connections_changed(node);
}

QUORIN_EXTERN_C QUORIN_API void node_remove_input_for_output_node(shadetree_node_t* node, uint32_t output_index,
                                                                  const shadetree_node_t* consumer) {
  auto* list = output_list(node, output_index);
  if (!list) return;
  auto it = std::find(list->begin(), list->end(), consumer);
  if (it == list->end()) return;
  list->erase(it);
  connections_changed(node);
}

QUORIN_EXTERN_C QUORIN_API void node_remove_input_for_output_connidx(shadetree_node_t* node, uint32_t output_index,
                                                                     uint32_t position) {
  auto* list = output_list(node, output_index);
  if (!list || position >= list->size()) return;
  list->erase(list->begin() + position);
  connections_changed(node);
}

QUORIN_EXTERN_C QUORIN_API void node_replace_input_for_output(shadetree_node_t* node, uint32_t output_index,
                                                              uint32_t position, shadetree_node_t* consumer) {
  auto* list = output_list(node, output_index);
  if (!list || position >= list->size()) return;
  (*list)[position] = consumer;
  connections_changed(node);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_input_count_for_output(const shadetree_node_t* node, uint32_t output_index) {
  auto* list = output_list(node, output_index);
  return list ? static_cast<uint32_t>(list->size()) : 0;
}

QUORIN_EXTERN_C QUORIN_API shadetree_node_t* node_input_for_output(const shadetree_node_t* node,
                                                                   uint32_t output_index, uint32_t position) {
  auto* list = output_list(node, output_index);
  if (!list || position >= list->size()) return nullptr;
  return (*list)[position];
}

// One occurrence per output: a consumer listed twice on one output stays listed once.
QUORIN_EXTERN_C QUORIN_API void node_remove_all_inputs_for_output(shadetree_node_t* node,
                                                                  const shadetree_node_t* consumer) {
  if (!consumer) return;
  bool changed = false;
  const uint32_t outputs = std::min(node->output_count(), max_output_connections);
  for (uint32_t i = 0; i < outputs; ++i) {
    auto& list = node->output_connections[i];
    auto it = std::find(list.begin(), list.end(), consumer);
    if (it != list.end()) {
      list.erase(it);
      changed = true;
    }
  }
  if (changed) connections_changed(node);
}
