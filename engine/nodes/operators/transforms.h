// The transform operators: Flip and Translate copy whole pixels; Rotate, Scale, AffineTransform,
// Reflect and MatrixDistort map each target pixel back to a source position and read it through
// the sampling layer. Positions are in pixels with y upward and pixel centres on integers.
#pragma once
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

void render_Flip(shadetree_node_t& node, const renderctx& ctx);
void render_Translate(shadetree_node_t& node, const renderctx& ctx);
void render_Rotate(shadetree_node_t& node, const renderctx& ctx);
void render_Scale(shadetree_node_t& node, const renderctx& ctx);
void render_AffineTransform(shadetree_node_t& node, const renderctx& ctx);
void render_Reflect(shadetree_node_t& node, const renderctx& ctx);
void render_MatrixDistort(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
