// The routines the render driver serves itself: colour fill, pass-through, input and group.
#pragma once
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

void render_RGB(shadetree_node_t& node, const renderctx& ctx);
// PassThru and Output: the node on input "RGB" rendered into the same target.
void render_passthru(shadetree_node_t& node, const renderctx& ctx);
// Input yields nothing in this engine: a cleared target.
void render_Input(shadetree_node_t& node, const renderctx& ctx);
void render_group(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
