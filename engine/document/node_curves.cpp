// Curve parameters and time curves of a node. None of these touches the caching flags or the
// node's dirty flag: a host that changes a curve marks the node itself.
#include "document/node.h"
#include "quorin/node.h"

using quorin_engine::curve;
using quorin_engine::from_caller;
using quorin_engine::param_spec_t;
using quorin_engine::shadetree_node_t;
using quorin_engine::wstring;

QUORIN_EXTERN_C QUORIN_API void node_param_curve_keyed(const shadetree_node_t* node, curve* out,
                                                       const qr_char* name) {
  auto it = node->param_curves.find(from_caller(name));
  if (it != node->param_curves.end()) *out = it->second;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_curve_indexed(const shadetree_node_t* node, curve* out,
                                                             uint32_t group, uint32_t param) {
  const param_spec_t* p = quorin_engine::spec_param(node->spec(), group, param);
  if (!p) return 0;
  auto it = node->param_curves.find(p->name);
  if (it != node->param_curves.end()) *out = it->second;
  return 1;
}

QUORIN_EXTERN_C QUORIN_API void node_set_param_curve_keyed(shadetree_node_t* node, const qr_char* name,
                                                           const curve* c) {
  wstring key = from_caller(name);
  const param_spec_t* p = quorin_engine::find_param(node->spec(), key);
  if (p && p->type == quorin_engine::param_curve) node->param_curves[key] = *c;
}

QUORIN_EXTERN_C QUORIN_API void node_set_param_curve_indexed(shadetree_node_t* node, uint32_t group,
                                                             uint32_t param, const curve* c) {
  const param_spec_t* p = quorin_engine::spec_param(node->spec(), group, param);
  if (p && p->type == quorin_engine::param_curve) node->param_curves[p->name] = *c;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_timecurve_present(const shadetree_node_t* node,
                                                                 const qr_char* name) {
  return node->time_curves.count(from_caller(name)) ? 1 : 0;
}

// Reading creates: a name without an entry receives the default curve, enabled, so the parameter
// follows f(t) = t from then on.
QUORIN_EXTERN_C QUORIN_API void node_param_timecurve_keyed(shadetree_node_t* node, curve* out, const qr_char* name) {
  wstring key = from_caller(name);
  auto it = node->time_curves.find(key);
  if (it == node->time_curves.end()) it = node->time_curves.emplace(key, quorin_engine::default_curve()).first;
  *out = it->second;
}

QUORIN_EXTERN_C QUORIN_API void node_set_param_timecurve(shadetree_node_t* node, const qr_char* name,
                                                         const curve* c) {
  node->time_curves[from_caller(name)] = *c;
}

QUORIN_EXTERN_C QUORIN_API void node_remove_param_timecurve(shadetree_node_t* node, const qr_char* name) {
  node->time_curves.erase(from_caller(name));
}

QUORIN_EXTERN_C QUORIN_API void node_endisable_param_timecurve(shadetree_node_t* node, const qr_char* name,
                                                               uint32_t enabled) {
  wstring key = from_caller(name);
  auto it = node->time_curves.find(key);
  if (it == node->time_curves.end()) it = node->time_curves.emplace(key, quorin_engine::default_curve()).first;
  it->second.enabled = enabled != 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_timecurve_enabled(const shadetree_node_t* node,
                                                                 const qr_char* name) {
  auto it = node->time_curves.find(from_caller(name));
  return it != node->time_curves.end() && it->second.enabled ? 1 : 0;
}
