// Two-dimensional convolution and morphology: convolve_3x3 and convolve_11x11, and the node types
// EdgeDetect, Emboss, Sharpen, Highpass, Dilation, Erosion and RegionGrowGrey.
#pragma once
#include <cstdint>

#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

// Every pixel of dst: red, green, blue = (1 / sum) * the window's sum of weight * sample (weights
// row-major from the top left, samples clamped to the image), alpha 1.0.
void convolve_3x3(imgbuf4f& dst, const imgbuf4f& src, const float weights[9], float sum);
void convolve_11x11(imgbuf4f& dst, const imgbuf4f& src, const float weights[121], float sum);

void render_EdgeDetect(shadetree_node_t& node, const renderctx& ctx);
void render_Emboss(shadetree_node_t& node, const renderctx& ctx);
void render_Sharpen(shadetree_node_t& node, const renderctx& ctx);
void render_Highpass(shadetree_node_t& node, const renderctx& ctx);
void render_Dilation(shadetree_node_t& node, const renderctx& ctx);
void render_Erosion(shadetree_node_t& node, const renderctx& ctx);
void render_RegionGrowGrey(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
