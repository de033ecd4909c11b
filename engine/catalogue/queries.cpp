// The exported catalogue queries. Each goes through the node's type id to the type's record; a type,
// index or name that is not found gives 0 or the empty string, apart from the two queries with
// neutral results of their own (node_type_is_disabled: 1, node_bmpresource_id: 105).
#include "catalogue/catalogue.h"
#include "document/node.h"
#include "quorin/node.h"

namespace quorin_engine {
namespace {

constexpr uint32_t unknown_type_resource_id = 105;

const nodetype_spec_t* spec_of(const shadetree_node_t* node) { return find_spec(node->type_id); }

// A Group's ports are the user's and live in the node; every other type's are the catalogue's.
const std::vector<port_spec_t>* outputs_of(const shadetree_node_t* node) {
  if (node->type_id == type_id_group) return &node->group_outputs;
  const nodetype_spec_t* s = spec_of(node);
  return s ? &s->outputs : nullptr;
}

const std::vector<port_spec_t>* inputs_of(const shadetree_node_t* node) {
  if (node->type_id == type_id_group) return &node->group_inputs;
  const nodetype_spec_t* s = spec_of(node);
  return s ? &s->inputs : nullptr;
}

const port_spec_t* port_at(const std::vector<port_spec_t>* ports, uint32_t index) {
  return ports && index < ports->size() ? &(*ports)[index] : nullptr;
}

uint32_t port_count(const std::vector<port_spec_t>* ports) {
  return ports ? static_cast<uint32_t>(ports->size()) : 0;
}

const std::vector<category_spec_t>& categories_of_kind(bool is_gen) {
  return is_gen ? generator_categories() : operator_categories();
}

const category_spec_t* category_at(bool is_gen, uint32_t index) {
  const std::vector<category_spec_t>& list = categories_of_kind(is_gen);
  return index < list.size() ? &list[index] : nullptr;
}

const param_spec_t* param_of(const shadetree_node_t* node, uint32_t group, uint32_t param) {
  return spec_param(spec_of(node), group, param);
}

const param_spec_t* typed_param(const shadetree_node_t* node, uint32_t group, uint32_t param, uint32_t type) {
  const param_spec_t* p = param_of(node, group, param);
  return p && p->type == type ? p : nullptr;
}

void copy_or_empty(const wstring* text, char16_t* buf, int32_t cap) {
  copy_out(text ? *text : wstring(), buf, cap);
}

}  // namespace
}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API uint32_t node_is_generator(shadetree_node_t* node) {
  const nodetype_spec_t* s = spec_of(node);
  return s && s->is_gen ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API void node_type_name(shadetree_node_t* node, char16_t* buf, int32_t cap) {
  if (node->type_id == type_id_group) {
    copy_out(u"Group", buf, cap);
    return;
  }
  const nodetype_spec_t* s = spec_of(node);
  copy_or_empty(s ? &s->name : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void node_type_description(char16_t* buf, int32_t cap, uint32_t type_id) {
  const nodetype_spec_t* s = find_spec(type_id);
  copy_or_empty(s ? &s->description : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_type_is_disabled(shadetree_node_t* node) {
  const nodetype_spec_t* s = spec_of(node);
  return !s || s->disabled ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_category(shadetree_node_t* node) {
  const nodetype_spec_t* s = spec_of(node);
  return s ? s->category : 0;
}

QUORIN_EXTERN_C QUORIN_API void node_category_name(shadetree_node_t* node, char16_t* buf, int32_t cap) {
  const nodetype_spec_t* s = spec_of(node);
  const category_spec_t* c = s ? category_at(s->is_gen, s->category) : nullptr;
  copy_or_empty(c ? &c->name : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_bmpresource_id(shadetree_node_t* node) {
  const nodetype_spec_t* s = spec_of(node);
  return s ? s->resource_id : unknown_type_resource_id;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_all_categories_count(uint32_t is_generator) {
  return static_cast<uint32_t>(categories_of_kind(is_generator != 0).size());
}

QUORIN_EXTERN_C QUORIN_API void node_all_categories_name(char16_t* buf, int32_t cap, uint32_t is_generator,
                                                         uint32_t index) {
  const category_spec_t* c = category_at(is_generator != 0, index);
  copy_or_empty(c ? &c->name : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void node_all_categories_description(char16_t* buf, int32_t cap,
                                                                uint32_t is_generator, uint32_t index) {
  const category_spec_t* c = category_at(is_generator != 0, index);
  copy_or_empty(c ? &c->description : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_output_count(shadetree_node_t* node) {
  return port_count(outputs_of(node));
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_input_count(shadetree_node_t* node) {
  return port_count(inputs_of(node));
}

QUORIN_EXTERN_C QUORIN_API void node_output_name(shadetree_node_t* node, char16_t* buf, int32_t cap,
                                                 uint32_t index) {
  const port_spec_t* p = port_at(outputs_of(node), index);
  copy_or_empty(p ? &p->name : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void node_output_description(shadetree_node_t* node, char16_t* buf, int32_t cap,
                                                        uint32_t index) {
  const port_spec_t* p = port_at(outputs_of(node), index);
  copy_or_empty(p ? &p->description : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void node_input_name(shadetree_node_t* node, char16_t* buf, int32_t cap,
                                                uint32_t index) {
  const port_spec_t* p = port_at(inputs_of(node), index);
  copy_or_empty(p ? &p->name : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void node_input_description(shadetree_node_t* node, char16_t* buf, int32_t cap,
                                                       uint32_t index) {
  const port_spec_t* p = port_at(inputs_of(node), index);
  copy_or_empty(p ? &p->description : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_output_type(shadetree_node_t* node, uint32_t index) {
  const port_spec_t* p = port_at(outputs_of(node), index);
  return p ? p->type : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_input_type(shadetree_node_t* node, uint32_t index) {
  const port_spec_t* p = port_at(inputs_of(node), index);
  return p ? p->type : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_group_count(shadetree_node_t* node) {
  const nodetype_spec_t* s = spec_of(node);
  return s ? static_cast<uint32_t>(s->param_groups.size()) : 0;
}

QUORIN_EXTERN_C QUORIN_API void node_formal_param_group_name(shadetree_node_t* node, uint32_t group,
                                                             char16_t* buf, int32_t cap) {
  const param_group_spec_t* g = spec_group(spec_of(node), group);
  copy_or_empty(g ? &g->name : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_count(shadetree_node_t* node, uint32_t group) {
  const param_group_spec_t* g = spec_group(spec_of(node), group);
  return g ? static_cast<uint32_t>(g->params.size()) : 0;
}

QUORIN_EXTERN_C QUORIN_API void node_formal_param_name(shadetree_node_t* node, uint32_t group, uint32_t param,
                                                       char16_t* buf, int32_t cap) {
  const param_spec_t* p = param_of(node, group, param);
  copy_or_empty(p ? &p->name : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void node_formal_param_description(shadetree_node_t* node, uint32_t group,
                                                              uint32_t param, char16_t* buf, int32_t cap) {
  const param_spec_t* p = param_of(node, group, param);
  copy_or_empty(p ? &p->description : nullptr, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_type_indexed(shadetree_node_t* node, uint32_t group,
                                                                   uint32_t param) {
  const param_spec_t* p = param_of(node, group, param);
  return p ? p->type : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_type_keyed(shadetree_node_t* node, const char16_t* name) {
  const param_spec_t* p = find_param(spec_of(node), from_caller(name));
  return p ? p->type : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_uint_has_minval(shadetree_node_t* node, uint32_t group,
                                                                      uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_uint);
  return p && p->has_min ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_uint_has_maxval(shadetree_node_t* node, uint32_t group,
                                                                      uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_uint);
  return p && p->has_max ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_uint_minval(shadetree_node_t* node, uint32_t group,
                                                                  uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_uint);
  return p && p->has_min ? p->min.u : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_uint_maxval(shadetree_node_t* node, uint32_t group,
                                                                  uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_uint);
  return p && p->has_max ? p->max.u : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_float_has_minval(shadetree_node_t* node, uint32_t group,
                                                                       uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_float);
  return p && p->has_min ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_float_has_maxval(shadetree_node_t* node, uint32_t group,
                                                                       uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_float);
  return p && p->has_max ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API float node_formal_param_float_minval(shadetree_node_t* node, uint32_t group,
                                                                uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_float);
  return p && p->has_min ? p->min.f : 0.0f;
}

QUORIN_EXTERN_C QUORIN_API float node_formal_param_float_maxval(shadetree_node_t* node, uint32_t group,
                                                                uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_float);
  return p && p->has_max ? p->max.f : 0.0f;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_enum_count(shadetree_node_t* node, uint32_t group,
                                                                 uint32_t param) {
  const param_spec_t* p = typed_param(node, group, param, param_enum);
  return p ? static_cast<uint32_t>(p->enum_values.size()) : 0;
}

QUORIN_EXTERN_C QUORIN_API void node_formal_param_enum_name(shadetree_node_t* node, uint32_t group,
                                                            uint32_t param, uint32_t value_index,
                                                            char16_t* buf, int32_t cap) {
  const param_spec_t* p = typed_param(node, group, param, param_enum);
  const wstring* name = p && value_index < p->enum_values.size() ? &p->enum_values[value_index].name : nullptr;
  copy_or_empty(name, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_time_curveable_indexed(shadetree_node_t* node,
                                                                             uint32_t group, uint32_t param) {
  const param_spec_t* p = param_of(node, group, param);
  return p && p->curveable ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_formal_param_time_curveable_keyed(shadetree_node_t* node,
                                                                           const char16_t* name) {
  const nodetype_spec_t* s = spec_of(node);
  if (!s) return 0;
  const wstring key = from_caller(name);
  for (const param_group_spec_t& g : s->param_groups)
    for (const param_spec_t& p : g.params)
      if (p.curveable && p.name == key) return 1;
  return 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_max_output_connections(void) { return max_output_connections; }
