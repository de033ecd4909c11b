// The channel and colour operators: inversion, luminance, moving single channels between images,
// choosing one of two images, the gradient map, the linear remap, posterising and the HSV split
// and join.
#pragma once
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

void render_Invert(shadetree_node_t& node, const renderctx& ctx);
void render_GreyInvert(shadetree_node_t& node, const renderctx& ctx);
// Luminance and Luminance2Grey.
void render_Luminance(shadetree_node_t& node, const renderctx& ctx);
void render_ChannelDemux(shadetree_node_t& node, const renderctx& ctx);
void render_ChannelMux(shadetree_node_t& node, const renderctx& ctx);
void render_GreyMux(shadetree_node_t& node, const renderctx& ctx);
void render_Switch(shadetree_node_t& node, const renderctx& ctx);
void render_ColorMap(shadetree_node_t& node, const renderctx& ctx);
void render_ImageMapValue(shadetree_node_t& node, const renderctx& ctx);
void render_ColorReduce(shadetree_node_t& node, const renderctx& ctx);
void render_GreyReduce(shadetree_node_t& node, const renderctx& ctx);
void render_HSVDemux(shadetree_node_t& node, const renderctx& ctx);
void render_HSVMux(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
