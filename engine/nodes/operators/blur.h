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
#include "nodes/operators/filter_simd.h"

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
// One output pixel (x, y) of a row pass (Rows) or a column pass written to `out`, with the image
// edge as the limit, alpha 1.0: the float operations of convolve_span, inlined.
template <bool Rows>
inline void convolve_pixel(float out[4], const imgbuf4f& src, const float* weights4, uint32_t width, float norm,
                           uint32_t x, uint32_t y) {
  const float* centre = pixel_at(src, x, y);
  const int64_t half = (width - 1) >> 1, pos = Rows ? x : y;
  const int64_t last = int64_t(Rows ? src.width : src.height) - 1;
  const std::ptrdiff_t step = Rows ? 4 : std::ptrdiff_t(src.width) * 4;
  filter::v4 a = {};
  if (pos - half >= 0 && pos + half <= last) {
    const float* p = centre - half * step;
    for (uint32_t t = 0; t < width; ++t, p += step) a = a + filter::load4(weights4 + 4 * t) * filter::load4(p);
  } else {
    for (uint32_t t = 0; t < width; ++t)
      a = a + filter::load4(weights4 + 4 * t) * filter::load4(centre + (filter::clamp_index(pos + t - half, 0, last) - pos) * step);
  }
  filter::store4(out, filter::opaque(a * filter::splat4(norm)));
}
inline void convolve_pixel_row(float out[4], const imgbuf4f& src, const float* weights4, uint32_t width, float norm,
                               uint32_t x, uint32_t y) {
  convolve_pixel<true>(out, src, weights4, width, norm, x, y);
}
inline void convolve_pixel_column(float out[4], const imgbuf4f& src, const float* weights4, uint32_t width,
                                  float norm, uint32_t x, uint32_t y) {
  convolve_pixel<false>(out, src, weights4, width, norm, x, y);
}

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
  } else {
    convolve_pixel<Rows>(out, src, k->weights4, k->width, k->norm, x, y);
  }
}

// The kernels of the variable-width blurs, all taken before any row loop: a pixel's width is
// size * 100 * (red of relsize), truncated, bounded at 253 and made odd; below 3 there is none.
struct var_blur_kernels {
  const blur_kernel* by_width[256] = {};
  float scale;
  var_blur_kernels(uint32_t type, float size);
  // null: the pixel is copied
  const blur_kernel* at(float relsize) const {
    const float r = scale * relsize;
    if (!(r >= 3.0f)) return nullptr;
    const uint32_t n = r >= static_cast<float>(widest_blur_kernel) ? widest_blur_kernel : static_cast<uint32_t>(r);
    return by_width[n & 1u ? n : n - 1];
  }
};

void render_Blur(shadetree_node_t& node, const renderctx& ctx);
void render_VarBlur(shadetree_node_t& node, const renderctx& ctx);
void render_MotionBlur(shadetree_node_t& node, const renderctx& ctx);
void render_IrregularBlur(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
