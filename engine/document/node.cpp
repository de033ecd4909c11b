// (Placeholder: construction, copy and destruction only; the node family follows.)
#include "document/node.h"

namespace quorin_engine {

shadetree_node_t::shadetree_node_t(uint32_t id) : type_id(id) {
  apply_catalogue_defaults(*this);
  if (type_id == 32) apply_default_font_block(*this);
  expression = std::make_shared<impl::expr_tree_t>();
}

shadetree_node_t::shadetree_node_t(const shadetree_node_t& o)
    : supports_caching_dirty_t(), params(o.params), time_curves(o.time_curves),
      input_connections(o.input_connections), output_connections(o.output_connections),
      type_id(o.type_id), disabled(o.disabled), display_x(o.display_x), display_y(o.display_y),
      display_w(o.display_w), display_h(o.display_h), minimized(o.minimized), name(o.name),
      dirty_flag(true), binary_data(o.binary_data), expression(o.expression) {}

shadetree_node_t& shadetree_node_t::operator=(const shadetree_node_t& o) {
  params = o.params;
  time_curves = o.time_curves;
  param_curves = o.param_curves;
  type_id = o.type_id;
  disabled = o.disabled;
  display_x = o.display_x; display_y = o.display_y; display_w = o.display_w; display_h = o.display_h;
  primary_selected = o.primary_selected;
  secondary_selected = o.secondary_selected;
  name = o.name;
  mark_caching_dirty(this);
  dirty_flag = true;
  binary_data = o.binary_data;
  expression = o.expression;
  return *this;
}

shadetree_node_t::~shadetree_node_t() {
  for (shadetree_node_t* n : group_nodes) delete n;
}

bool shadetree_node_t::is_caching_dirty(bool) const { return true; }

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

void mark_caching_dirty(shadetree_node_t* node) {
  node->caching_dirty = node->thumbnail_caching_dirty = true;
}

}  // namespace quorin_engine
