// The blend operators: two images (and in the ApplyAlpha pair a factor image) combined pixel by
// pixel. AlphaBlend, GreyAlphaBlend, ImageOperation, GreyOperation, Blend, GreyBlend, ApplyAlpha,
// ApplyAlphaGrey.
#pragma once
#include <cstdint>

#include "core/renderctx.h"
#include "nodes/operators/pixel_loops.h"

namespace quorin_engine {

struct shadetree_node_t;

namespace pixops {

enum : uint32_t { op_add = 0, op_multiply = 1, op_subtract = 2 };

// The arithmetic of ImageOperation, which the constant operators share with a constant second
// operand: all four floats, each clamped to 0..1, except that Add makes alpha 1.0.
// `Grey` gives GreyOperation's rules instead: Multiply unclamped, alpha always 1.0.
template <uint32_t Op, bool Grey>
inline void combine_pixel(const float* a, const float* b, float* d) {
  for (int c = 0; c < 4; ++c) {
    if constexpr (Op == op_add)
      d[c] = clamp01(a[c] + b[c]);
    else if constexpr (Op == op_multiply)
      d[c] = Grey ? a[c] * b[c] : clamp01(a[c] * b[c]);
    else
      d[c] = clamp01(a[c] - b[c]);
  }
  if constexpr (Grey || Op == op_add) d[3] = 1.0f;
}

}  // namespace pixops

void render_AlphaBlend(shadetree_node_t& node, const renderctx& ctx);
void render_GreyAlphaBlend(shadetree_node_t& node, const renderctx& ctx);
void render_ImageOperation(shadetree_node_t& node, const renderctx& ctx);
void render_GreyOperation(shadetree_node_t& node, const renderctx& ctx);
void render_Blend(shadetree_node_t& node, const renderctx& ctx);
void render_GreyBlend(shadetree_node_t& node, const renderctx& ctx);
void render_ApplyAlpha(shadetree_node_t& node, const renderctx& ctx);
void render_ApplyAlphaGrey(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
