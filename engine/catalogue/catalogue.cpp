// The catalogue's record vectors and the engine's lookups by record. Every lookup is a linear scan
// from the start of the vector and the first match wins, so that a second copy of a record (a
// second init) is never seen.
#include "catalogue/catalogue.h"

namespace quorin_engine {

std::vector<nodetype_spec_t>& nodetype_specs() {
  static std::vector<nodetype_spec_t> specs;
  return specs;
}

std::vector<category_spec_t>& generator_categories() {
  static std::vector<category_spec_t> categories;
  return categories;
}

std::vector<category_spec_t>& operator_categories() {
  static std::vector<category_spec_t> categories;
  return categories;
}

const nodetype_spec_t* find_spec(uint32_t type_id) {
  for (const nodetype_spec_t& s : nodetype_specs())
    if (s.type_id == type_id) return &s;
  return nullptr;
}

const nodetype_spec_t* find_spec_by_name(const wstring& name) {
  for (const nodetype_spec_t& s : nodetype_specs())
    if (s.name == name) return &s;
  return nullptr;
}

const param_group_spec_t* spec_group(const nodetype_spec_t* spec, uint32_t group) {
  if (!spec || group >= spec->param_groups.size()) return nullptr;
  return &spec->param_groups[group];
}

const param_spec_t* spec_param(const nodetype_spec_t* spec, uint32_t group, uint32_t param) {
  const param_group_spec_t* g = spec_group(spec, group);
  if (!g || param >= g->params.size()) return nullptr;
  return &g->params[param];
}

const param_spec_t* find_param(const nodetype_spec_t* spec, const wstring& name) {
  if (!spec) return nullptr;
  for (const param_group_spec_t& g : spec->param_groups)
    for (const param_spec_t& p : g.params)
      if (p.name == name) return &p;
  return nullptr;
}

bool uint_bounds(const nodetype_spec_t* spec, const wstring& name, uint32_t& min, uint32_t& max) {
  const param_spec_t* p = find_param(spec, name);
  if (!p || p->type != param_uint || !p->has_min || !p->has_max) return false;
  min = p->min.u;
  max = p->max.u;
  return true;
}

}  // namespace quorin_engine
