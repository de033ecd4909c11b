// Catalogue defaults of a new node. (Filled in once the catalogue exists.)
#include "document/node.h"

namespace quorin_engine {

void apply_catalogue_defaults(shadetree_node_t&) {}

}  // namespace quorin_engine
