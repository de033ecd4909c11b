// The catalogue's defaults for a node: written when a node is built and when its type is set.
#include "document/node.h"

namespace quorin_engine {

// For every parameter of the type, in order: a curve parameter gets a default curve under its name;
// any other parameter with a name and a default gets that text. Both replace what is there, and
// parameters of other names stay. A parameter without a default gets no entry.
void apply_catalogue_defaults(shadetree_node_t& node) {
  const nodetype_spec_t* spec = find_spec(node.type_id);
  if (!spec) return;
  for (const param_group_spec_t& group : spec->param_groups) {
    for (const param_spec_t& p : group.params) {
      if (p.type == param_curve) {
        node.param_curves.insert_or_assign(p.name, default_curve());
      } else if (!p.name.empty() && !p.default_value.empty()) {
        node.params.insert_or_assign(p.name, p.default_value);
      }
    }
  }
}

}  // namespace quorin_engine
