// The node object: construction, copying, the caching flags pushed downstream and pulled from
// upstream.
#include "document/node.h"

#include <algorithm>

namespace quorin_engine {

namespace {
constexpr uint32_t type_id_time = 26;
constexpr uint32_t type_id_text = 32;
}  // namespace

shadetree_node_t::shadetree_node_t(uint32_t id) : type_id(id) {
  apply_catalogue_defaults(*this);
  if (type_id == type_id_text) apply_default_font_block(*this);
  expression = std::make_shared<impl::expr_tree_t>();
}

// The copy with connections. Curve-typed parameters are not carried over, selection is cleared,
// and the copy counts as changed in every respect. The expression tree is shared.
shadetree_node_t::shadetree_node_t(const shadetree_node_t& o)
    : supports_caching_dirty_t(),
      params(o.params),
      time_curves(o.time_curves),
      input_connections(o.input_connections),
      output_connections(o.output_connections),
      type_id(o.type_id),
      disabled(o.disabled),
      display_x(o.display_x),
      display_y(o.display_y),
      display_w(o.display_w),
      display_h(o.display_h),
      primary_selected(false),
      secondary_selected(false),
      minimized(o.minimized),
      name(o.name),
      caching_dirty(true),
      thumbnail_caching_dirty(true),
      dirty_flag(true),
      binary_data(o.binary_data),
      expression(o.expression) {}

// The assignment without connections: values, type, rectangle, selection and name; `minimized`
// and every connection of this node stay as they are.
shadetree_node_t& shadetree_node_t::operator=(const shadetree_node_t& o) {
  if (this == &o) {
    mark_caching_dirty(this);
    dirty_flag = true;
    return *this;
  }
  params = o.params;
  time_curves = o.time_curves;
  param_curves = o.param_curves;
  type_id = o.type_id;
  disabled = o.disabled;
  display_x = o.display_x;
  display_y = o.display_y;
  display_w = o.display_w;
  display_h = o.display_h;
  primary_selected = o.primary_selected;
  secondary_selected = o.secondary_selected;
  name = o.name;
  mark_caching_dirty(this);
  dirty_flag = true;
  binary_data = o.binary_data;
  expression = o.expression;
  return *this;
}

// The content of a group goes with it. Only groups hold content, but a node whose type was
// changed away from Group still owns what it held.
shadetree_node_t::~shadetree_node_t() {
  for (shadetree_node_t* n : group_nodes) delete n;
}

bool shadetree_node_t::is_caching_dirty(bool for_thumbnail) const {
  const bool own = for_thumbnail ? thumbnail_caching_dirty : caching_dirty;
  if (type_id == type_id_time) return own;
  if (type_id == type_id_group) {
    for (const shadetree_node_t* n : group_nodes)
      if (n->is_caching_dirty(for_thumbnail)) return true;
    return false;
  }
  // A node answers from its own flag only if it delivers an image (any output that is not a
  // scalar or a colour value); value nodes are evaluated on each request anyway.
  if (const std::vector<port_spec_t>* outs = output_ports()) {
    const bool has_image_output = std::any_of(outs->begin(), outs->end(), [](const port_spec_t& p) {
      return p.type != port_scalar && p.type != port_scalar_color_rgb;
    });
    if (has_image_output && own) return true;
  }
  for (const auto& kv : input_connections)
    if (kv.second->is_caching_dirty(for_thumbnail)) return true;
  return false;
}

const std::vector<port_spec_t>* shadetree_node_t::input_ports() const {
  if (type_id == type_id_group) return &group_inputs;
  const nodetype_spec_t* s = spec();
  return s ? &s->inputs : nullptr;
}

const std::vector<port_spec_t>* shadetree_node_t::output_ports() const {
  if (type_id == type_id_group) return &group_outputs;
  const nodetype_spec_t* s = spec();
  return s ? &s->outputs : nullptr;
}

uint32_t shadetree_node_t::output_count() const {
  auto* p = output_ports();
  return p ? static_cast<uint32_t>(p->size()) : 0;
}

uint32_t shadetree_node_t::input_count() const {
  auto* p = input_ports();
  return p ? static_cast<uint32_t>(p->size()) : 0;
}

shadetree_node_t* shadetree_node_t::connected(const wstring& input_name) const {
  auto it = input_connections.find(input_name);
  return it == input_connections.end() ? nullptr : it->second;
}

// No visited mark: a node reached along two paths is visited twice. The graph holds no cycles.
void mark_caching_dirty(shadetree_node_t* node) {
  node->caching_dirty = true;
  node->thumbnail_caching_dirty = true;
  const uint32_t outputs = std::min(node->output_count(), max_output_connections);
  for (uint32_t i = 0; i < outputs; ++i)
    for (shadetree_node_t* consumer : node->output_connections[i])
      if (consumer) mark_caching_dirty(consumer);
}

}  // namespace quorin_engine
