// The blur family: the one-dimensional kernels (Box, Gaussian, Bartlett) and their process-wide
// cache, the row and column convolution passes, and the node types Blur, VarBlur, MotionBlur and
// IrregularBlur. The selective blurs, Highpass and the normal map operators use the same kernels and
// passes.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

enum : uint32_t { blur_box = 0, blur_gaussian = 1, blur_bartlett = 2 };
enum : uint32_t { blur_horizontal = 0, blur_vertical = 1, blur_both = 2 };

// The widest kernel the cache holds; widths asked for per pixel are bounded to it.
constexpr uint32_t widest_blur_kernel = 253;

struct blur_kernel {
  double mean = 0.0, sigma = 1.0, step = 0.001;  // Gaussian only
  alignas(16) float weights[256] = {};           // the taps, tap 0 first; `width` are used
  alignas(16) float weights4[256 * 4] = {};      // each tap four times
  float norm = 0.0f;                             // applied after the sum
  alignas(16) float norm4[4] = {};
  uint32_t width = 0;
};

// A new kernel of the type (0 Box, 1 Gaussian, 2 Bartlett) and width, outside the cache.
std::unique_ptr<blur_kernel> build_blur_kernel(uint32_t type, uint32_t width);
// The cached kernel of the type and width, built on first use; null for widths above 254.
// The cache is not locked: take every kernel a render needs before its row loops.
const blur_kernel* kernel_for(uint32_t type, uint32_t width);

// The inner loop of every convolution: `count` output pixels from d on, where pixel i takes tap k
// from taps[k] + 4 i; the sum starts at 0 and adds weight * sample from tap 0 on, on all four
// floats, then is multiplied by norm; alpha becomes 1.0.
void convolve_span(float* d, const float* const* taps, const float* weights4, uint32_t n, float norm,
                   uint32_t count);

// Chooses the loops for 256-bit vector units (where the processor has them) or those of the base
// instruction set; both give the same images. Returns whether the wide ones were in use.
bool use_wide_vectors(bool on);

// One pass over the rectangle x0..x1, y0..y1 (inclusive, limited to the image and sorted), samples
// clamped to the rectangle, alpha 1.0. Margins or middle that do not fit are skipped, so their
// pixels of `dst` keep their content.
void convolve_rows(imgbuf4f& dst, const imgbuf4f& src, const float* weights4, uint32_t width, float norm,
                   uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1);
void convolve_columns(imgbuf4f& dst, const imgbuf4f& src, const float* weights4, uint32_t width,
                      float norm, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1);
// One output pixel (x, y) written to `out`, with the image edge as the limit, alpha 1.0.
void convolve_pixel_row(float out[4], const imgbuf4f& src, const float* weights4, uint32_t width, float norm,
                        uint32_t x, uint32_t y);
void convolve_pixel_column(float out[4], const imgbuf4f& src, const float* weights4, uint32_t width,
                           float norm, uint32_t x, uint32_t y);

// Row y of a row pass (rows true) or a column pass with the image edge as the limit, into out
// (width pixels): at each pixel the value of convolve_pixel_row or convolve_pixel_column.
void blur_whole_row(float* out, const imgbuf4f& src, uint32_t y, const blur_kernel& k, bool rows);

// Width of the blur `size` (a fraction of 100 pixels): trunc(size * 100), in float.
uint32_t blur_width(float size);

// One pixel of a pass with the kernel k, alpha 1.0, or a copy of all four floats without one.
template <bool Rows>
inline void blur_pixel(float* out, const imgbuf4f& src, const blur_kernel* k, uint32_t x, uint32_t y) {
  if (!k) {
    for (int c = 0; c < 4; ++c) out[c] = pixel_at(src, x, y)[c];
  } else if (Rows) {
    convolve_pixel_row(out, src, k->weights4, k->width, k->norm, x, y);
  } else {
    convolve_pixel_column(out, src, k->weights4, k->width, k->norm, x, y);
  }
}

// The kernels of the variable-width blurs, all taken before any row loop: a pixel's width is
// size * 100 * (red of relsize), truncated, bounded at 253 and made odd; below 3 there is none.
struct var_blur_kernels {
  const blur_kernel* by_width[256] = {};
  float scale;
  var_blur_kernels(uint32_t type, float size);
  const blur_kernel* at(float relsize) const;  // null: the pixel is copied
};

void render_Blur(shadetree_node_t& node, const renderctx& ctx);
void render_VarBlur(shadetree_node_t& node, const renderctx& ctx);
void render_MotionBlur(shadetree_node_t& node, const renderctx& ctx);
void render_IrregularBlur(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
