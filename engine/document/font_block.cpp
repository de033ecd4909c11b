// The default font block of a Text node. (A zeroed block until text rendering exists.)
#include "document/node.h"

namespace quorin_engine {

void apply_default_font_block(shadetree_node_t& node) { node.binary_data.assign(256, 0); }

}  // namespace quorin_engine
