// The selective blurs: SelectiveBlur and SelectiveVarBlur blur only where an edge map of the input
// says the image is smooth, per pixel or per channel, so that edges stay sharp.
#pragma once
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

// The edge map of a separable Sobel (smoothing 1 2 1, derivative -1 0 1) for the blur direction
// (0 horizontal, 1 vertical, 2 both), written to `edges`; `a`, `b` and `c` are scratch.
void selective_edge_map(imgbuf4f& edges, const imgbuf4f& src, uint32_t direction, imgbuf4f& a, imgbuf4f& b,
                        imgbuf4f& c);

void render_SelectiveBlur(shadetree_node_t& node, const renderctx& ctx);
void render_SelectiveVarBlur(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
