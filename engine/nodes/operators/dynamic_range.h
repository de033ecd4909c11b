// The dynamic range operators: samples changed in place by constants, clipping, the bias, gamma and
// gain curves, drawn curves, range-limited correction, threshold masks, colour keys, brightness and
// sine or cosine remapping.
#pragma once
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

void render_ImageConstOperation(shadetree_node_t& node, const renderctx& ctx);
void render_GreyConstOperation(shadetree_node_t& node, const renderctx& ctx);
void render_Saturate(shadetree_node_t& node, const renderctx& ctx);
void render_BiasChannel(shadetree_node_t& node, const renderctx& ctx);
void render_GammaChannel(shadetree_node_t& node, const renderctx& ctx);
void render_GainChannel(shadetree_node_t& node, const renderctx& ctx);
void render_BiasGrey(shadetree_node_t& node, const renderctx& ctx);
void render_GammaGrey(shadetree_node_t& node, const renderctx& ctx);
void render_GainGrey(shadetree_node_t& node, const renderctx& ctx);
void render_ChannelCurves(shadetree_node_t& node, const renderctx& ctx);
void render_GreyCurve(shadetree_node_t& node, const renderctx& ctx);
void render_ChannelCorrection(shadetree_node_t& node, const renderctx& ctx);
void render_GreyCorrection(shadetree_node_t& node, const renderctx& ctx);
void render_ThresholdMask(shadetree_node_t& node, const renderctx& ctx);
void render_ColorKey(shadetree_node_t& node, const renderctx& ctx);
void render_Brightness(shadetree_node_t& node, const renderctx& ctx);
void render_GreyTrigFunc(shadetree_node_t& node, const renderctx& ctx);
void render_ChannelTrigFunc(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
