// (Placeholder: destruction only.)
#include "document/graph.h"
#include "document/node.h"

namespace quorin_engine {

graph::~graph() {
  for (shadetree_node_t* n : nodes) delete n;
}

bool graph::is_dirty() const {
  if (dirty) return true;
  for (shadetree_node_t* n : nodes)
    if (n->dirty()) return true;
  return false;
}

}  // namespace quorin_engine
