// The selective blurs: SelectiveBlur and SelectiveVarBlur blur only where an edge map of the input
// says the image is smooth, per pixel or per channel, so that edges stay sharp.
#pragma once
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

void render_SelectiveBlur(shadetree_node_t& node, const renderctx& ctx);
void render_SelectiveVarBlur(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
