// (Placeholder: the record vectors and plain lookups; the id table and loader follow.)
#include "catalogue/catalogue.h"

namespace quorin_engine {

std::vector<nodetype_spec_t>& nodetype_specs() { static std::vector<nodetype_spec_t> v; return v; }
std::vector<category_spec_t>& generator_categories() { static std::vector<category_spec_t> v; return v; }
std::vector<category_spec_t>& operator_categories() { static std::vector<category_spec_t> v; return v; }
const std::vector<type_id_entry>& type_id_table() { static std::vector<type_id_entry> v; return v; }
bool type_id_for_name(const wstring&, uint32_t&) { return false; }
const nodetype_spec_t* find_spec(uint32_t id) {
  for (const nodetype_spec_t& s : nodetype_specs())
    if (s.type_id == id) return &s;
  return nullptr;
}
const nodetype_spec_t* find_spec_by_name(const wstring& name) {
  for (const nodetype_spec_t& s : nodetype_specs())
    if (s.name == name) return &s;
  return nullptr;
}
const param_group_spec_t* spec_group(const nodetype_spec_t* s, uint32_t g) {
  return s && g < s->param_groups.size() ? &s->param_groups[g] : nullptr;
}
const param_spec_t* spec_param(const nodetype_spec_t* s, uint32_t g, uint32_t p) {
  const param_group_spec_t* grp = spec_group(s, g);
  return grp && p < grp->params.size() ? &grp->params[p] : nullptr;
}
const param_spec_t* find_param(const nodetype_spec_t* s, const wstring& name) {
  if (s)
    for (const param_group_spec_t& g : s->param_groups)
      for (const param_spec_t& p : g.params)
        if (p.name == name) return &p;
  return nullptr;
}
bool uint_bounds(const nodetype_spec_t*, const wstring&, uint32_t&, uint32_t&) { return false; }
void load_nodetype_specs(const unsigned char*, std::size_t) {}

}  // namespace quorin_engine
