#include "nodes/operators/blur.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/row_bands.h"
#include "core/tables.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/operators/convolution.h"
#include "nodes/operators/filter_simd.h"
#include "nodes/operators/pixel_loops.h"
#include "nodes/operators/sampling.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

using namespace gen;
using namespace filter;

// ---- kernels -------------------------------------------------------------------------------------

namespace {

constexpr float near_zero = 1.1920929e-7f;

float reciprocal_or_zero(float sum) { return (sum >= -near_zero && sum <= near_zero) ? 0.0f : 1.0f / sum; }

void fill_box(blur_kernel& k) {
  for (uint32_t i = 0; i < k.width; ++i) k.weights[i] = 1.0f;
  k.norm = reciprocal_or_zero(static_cast<float>(k.width));
}

void fill_bartlett(blur_kernel& k) {
  uint32_t n = k.width, c = (n + 1) / 2;
  for (uint32_t i = 0; i + 1 < c; ++i) k.weights[i] = k.weights[n - 1 - i] = static_cast<float>(i + 1);
  if (c) k.weights[c - 1] = static_cast<float>(c);
  float sum = 0.0f;
  for (uint32_t i = 0; i < n; ++i) sum += k.weights[i];
  k.norm = reciprocal_or_zero(sum);
}

// The normal density of sigma 1 on -3..0 in bins of equal size, mirrored about the centre tap. The
// number of bins is 3000 / (3000 / half), which for some widths exceeds half: the extra bins then
// overwrite the centre and the mirrored taps.
void fill_gaussian(blur_kernel& k) {
  uint32_t n = k.width, half = n >> 1;
  const auto samples = static_cast<uint32_t>(std::trunc(3.0 * k.sigma / k.step));
  const double scale = 1.0 / (std::sqrt(2.0 * M_PI) * k.sigma);
  if (half < n) k.weights[half] = static_cast<float>(std::exp(0.0) * scale);
  if (half) {
    uint32_t bin = samples / half, tap = 0;
    double acc = 0.0;
    for (uint32_t i = 0; i < samples; ++i) {
      double x = i * k.step - 3.0 * k.sigma;
      acc += std::exp(-(x * x) / (2.0 * k.sigma * k.sigma));
      if ((i + 1) % bin == 0) {
        float v = static_cast<float>(acc * scale / bin);
        acc = 0.0;
        k.weights[tap] = k.weights[n - 1 - tap] = v;
        ++tap;
      }
    }
  }
  float sum = 0.0f;
  for (uint32_t i = 0; i < n; ++i) sum += std::fabs(k.weights[i]);
  k.norm = reciprocal_or_zero(sum);
}

blur_weight_table* table_of(uint32_t type) {
  return type == blur_box ? box_weights : type == blur_gaussian ? gaussian_weights : bartlett_weights;
}

}  // namespace

std::unique_ptr<blur_kernel> build_blur_kernel(uint32_t type, uint32_t width) {
  auto k = std::make_unique<blur_kernel>();
  k->width = width > 256 ? 256 : width;
  if (type == blur_box)
    fill_box(*k);
  else if (type == blur_gaussian)
    fill_gaussian(*k);
  else
    fill_bartlett(*k);
  for (uint32_t i = 0; i < k->width; ++i)
    for (uint32_t c = 0; c < 4; ++c) k->weights4[i * 4 + c] = k->weights[i];
  for (float& f : k->norm4) f = k->norm;
  return k;
}

const blur_kernel* kernel_for(uint32_t type, uint32_t width) {
  if (width > 254) return nullptr;
  blur_weight_table* table = table_of(type);
  if (!table) return nullptr;
  blur_kernel*& slot = table->slots[width];
  if (!slot) slot = build_blur_kernel(type, width).release();
  return slot;
}

uint32_t blur_width(float size) { return sampling::index_of(size * 100.0f); }

// ---- passes --------------------------------------------------------------------------------------

namespace {

// The loop of convolve_span, compiled once per instruction set below.
QUORIN_INLINE void span_body(float* d, const float* const* taps, const float* w4, uint32_t n, float norm,
                             uint32_t count) {
  const v8 nm8 = splat8(norm);
  uint32_t i = 0;
  // Sixteen pixels a step: eight independent sums hide the latency of the additions.
  for (; i + 16 <= count; i += 16) {
    const uint32_t o = i * 4;
    v8 a0 = {}, a1 = {}, a2 = {}, a3 = {}, a4 = {}, a5 = {}, a6 = {}, a7 = {};
    for (uint32_t k = 0; k < n; ++k) {
      const v8 w = twice(load4(w4 + 4 * k));
      const float* q = taps[k] + o;
      a0 = a0 + w * load8(q);
      a1 = a1 + w * load8(q + 8);
      a2 = a2 + w * load8(q + 16);
      a3 = a3 + w * load8(q + 24);
      a4 = a4 + w * load8(q + 32);
      a5 = a5 + w * load8(q + 40);
      a6 = a6 + w * load8(q + 48);
      a7 = a7 + w * load8(q + 56);
    }
    store8(d + o, opaque(a0 * nm8));
    store8(d + o + 8, opaque(a1 * nm8));
    store8(d + o + 16, opaque(a2 * nm8));
    store8(d + o + 24, opaque(a3 * nm8));
    store8(d + o + 32, opaque(a4 * nm8));
    store8(d + o + 40, opaque(a5 * nm8));
    store8(d + o + 48, opaque(a6 * nm8));
    store8(d + o + 56, opaque(a7 * nm8));
  }
  for (; i + 2 <= count; i += 2) {
    const uint32_t o = i * 4;
    v8 a = {};
    for (uint32_t k = 0; k < n; ++k) a = a + twice(load4(w4 + 4 * k)) * load8(taps[k] + o);
    store8(d + o, opaque(a * nm8));
  }
  for (; i < count; ++i) {
    const uint32_t o = i * 4;
    v4 a = {};
    for (uint32_t k = 0; k < n; ++k) a = a + load4(w4 + 4 * k) * load4(taps[k] + o);
    store4(d + o, opaque(a * splat4(norm)));
  }
}

void span_base(float* d, const float* const* taps, const float* w4, uint32_t n, float norm, uint32_t count) {
  span_body(d, taps, w4, n, norm, count);
}
QUORIN_WIDE_VECTORS
void span_wide(float* d, const float* const* taps, const float* w4, uint32_t n, float norm, uint32_t count) {
  span_body(d, taps, w4, n, norm, count);
}

bool wide_vectors_available() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
}

}  // namespace

bool filter::wide_vectors = wide_vectors_available();

bool use_wide_vectors(bool on) {
  const bool was = filter::wide_vectors;
  filter::wide_vectors = on && wide_vectors_available();
  return was;
}

void convolve_span(float* d, const float* const* taps, const float* weights4, uint32_t n, float norm,
                   uint32_t count) {
  if (filter::wide_vectors)
    span_wide(d, taps, weights4, n, norm, count);
  else
    span_base(d, taps, weights4, n, norm, count);
}

namespace {

// One side of a pass's rectangle, limited to the image and sorted.
struct sorted_range {
  int64_t lo, hi;
  sorted_range(uint32_t a, uint32_t b, uint32_t size) {
    if (a >= size) a = size - 1;
    if (b >= size) b = size - 1;
    lo = a < b ? a : b;
    hi = a < b ? b : a;
  }
  uint32_t count() const { return static_cast<uint32_t>(hi - lo + 1); }
};

// The axis a pass runs along: the kernel's half width and which stretches fit. The two margins
// fit under the same condition, lo + half - 1 <= hi.
struct pass_extent : sorted_range {
  int64_t half;
  bool margins_fit, middle_fits;

  pass_extent(uint32_t a, uint32_t b, uint32_t size, uint32_t width) : sorted_range(a, b, size) {
    half = (width - 1) >> 1;
    margins_fit = lo + half - 1 <= hi;
    middle_fits = lo + half <= hi - half;
  }
  bool computed(int64_t i) const { return (i < lo + half || i > hi - half) ? margins_fit : middle_fits; }
  int64_t tap(int64_t i, uint32_t k) const { return clamp_index(i + k - half, lo, hi); }
};

// One row of the row pass: d points at the destination pixel of column ex.lo, s at the source
// row's first pixel. The middle stretch runs unclamped; margin pixels clamp each sample, and where
// the margins overlap a pixel is done once.
void rows_pass_row(float* d, const float* s, const pass_extent& ex, const float* weights4, uint32_t width,
                   float norm) {
  const float* taps[256];
  if (ex.middle_fits) {
    for (uint32_t k = 0; k < width; ++k) taps[k] = s + 4 * (ex.lo + k);
    convolve_span(d + 4 * ex.half, taps, weights4, width, norm,
                  static_cast<uint32_t>(ex.hi - ex.half - (ex.lo + ex.half) + 1));
  }
  if (!ex.margins_fit) return;
  auto one = [&](int64_t x) {
    for (uint32_t k = 0; k < width; ++k) taps[k] = s + 4 * ex.tap(x, k);
    convolve_span(d + 4 * (x - ex.lo), taps, weights4, width, norm, 1);
  };
  const int64_t left_end = std::min(ex.lo + ex.half, ex.hi + 1);
  for (int64_t x = ex.lo; x < left_end; ++x) one(x);
  for (int64_t x = std::max(ex.hi - ex.half + 1, left_end); x <= ex.hi; ++x) one(x);
}

}  // namespace

void convolve_rows(imgbuf4f& dst, const imgbuf4f& src, const float* weights4, uint32_t width, float norm,
                   uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1) {
  if (!src.width || !src.height || !width) return;
  const pass_extent ex(x0, x1, src.width, width);
  const sorted_range rows(y0, y1, src.height);
  for_row_bands(rows.count(), [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      const auto y = static_cast<uint32_t>(rows.lo + r);
      rows_pass_row(pixel_at(dst, static_cast<uint32_t>(ex.lo), y), pixel_at(src, 0, y), ex, weights4, width, norm);
    }
  });
}

void convolve_columns(imgbuf4f& dst, const imgbuf4f& src, const float* weights4, uint32_t width,
                      float norm, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1) {
  if (!src.width || !src.height || !width) return;
  const pass_extent ex(y0, y1, src.height, width);
  const sorted_range cols(x0, x1, src.width);
  const uint32_t left = static_cast<uint32_t>(cols.lo);
  // Each output row reads its window's rows from left to right, so memory is read in order.
  for_row_bands(ex.count(), [&](uint32_t first, uint32_t last) {
    const float* taps[256];
    for (uint32_t r = first; r < last; ++r) {
      const int64_t y = ex.lo + r;
      if (!ex.computed(y)) continue;
      for (uint32_t k = 0; k < width; ++k) taps[k] = pixel_at(src, left, static_cast<uint32_t>(ex.tap(y, k)));
      convolve_span(pixel_at(dst, left, static_cast<uint32_t>(y)), taps, weights4, width, norm, cols.count());
    }
  });
}

namespace {

// convolve_rows into an intermediate image, then convolve_columns from it, where every stretch of
// both passes fits: the row results that a window needs are kept in a ring of rows, so that the
// source is read once and the destination written once.
void convolve_rows_columns(imgbuf4f& dst, const imgbuf4f& src, const blur_kernel& k, const pass_extent& ex,
                           const pass_extent& ey) {
  const uint32_t n = k.width, cols = ex.count();
  const std::size_t row_floats = std::size_t(cols) * 4;
  // Each band first fills its window, n - 1 rows more than it writes: long bands keep that small.
  for_row_bands(ey.count(), 64 * (n - 1), [&](uint32_t first, uint32_t last) {
    std::vector<float> ring(row_floats * n);
    std::vector<int64_t> held(n, -1);  // the source row whose results each slot holds
    const float* taps[256];
    for (uint32_t r = first; r < last; ++r) {
      const int64_t y = ey.lo + r;
      // The window's rows are consecutive, at most n of them, so their slots differ.
      for (uint32_t t = 0; t < n; ++t) {
        const int64_t j = ey.tap(y, t);
        float* slot = ring.data() + row_floats * std::size_t(j % n);
        if (held[j % n] != j) {
          rows_pass_row(slot, pixel_at(src, 0, static_cast<uint32_t>(j)), ex, k.weights4, n, k.norm);
          held[j % n] = j;
        }
        taps[t] = slot;
      }
      convolve_span(pixel_at(dst, static_cast<uint32_t>(ex.lo), static_cast<uint32_t>(y)), taps, k.weights4, n,
                    k.norm, cols);
    }
  });
}

}  // namespace

void blur_whole_row(float* out, const imgbuf4f& src, uint32_t y, const blur_kernel& k, bool rows) {
  const uint32_t n = k.width;
  const int64_t w = src.width, half = (n - 1) >> 1;
  const float* taps[256];
  if (!rows) {
    for (uint32_t t = 0; t < n; ++t)
      taps[t] = pixel_at(src, 0, static_cast<uint32_t>(clamp_index(int64_t(y) + t - half, 0, src.height - 1)));
    convolve_span(out, taps, k.weights4, n, k.norm, src.width);
    return;
  }
  // The pixels whose window lies inside the row run unclamped, the others clamp each sample.
  const float* s = pixel_at(src, 0, y);
  const int64_t lo = half, hi = w - 1 - half;
  if (lo <= hi) {
    for (uint32_t t = 0; t < n; ++t) taps[t] = s + 4 * t;
    convolve_span(out + 4 * lo, taps, k.weights4, n, k.norm, static_cast<uint32_t>(hi - lo + 1));
  }
  const int64_t left_end = std::min(lo, w);
  for (int64_t x = 0; x < left_end; ++x)
    convolve_pixel_row(out + 4 * x, src, k.weights4, n, k.norm, static_cast<uint32_t>(x), y);
  for (int64_t x = std::max(hi + 1, left_end); x < w; ++x)
    convolve_pixel_row(out + 4 * x, src, k.weights4, n, k.norm, static_cast<uint32_t>(x), y);
}

// ---- per-pixel widths ----------------------------------------------------------------------------

var_blur_kernels::var_blur_kernels(uint32_t type, float size) : scale(size * 100.0f) {
  for (uint32_t w = 3; w <= widest_blur_kernel; w += 2) by_width[w] = kernel_for(type, w);
}

// ---- Blur ----------------------------------------------------------------------------------------

namespace {

struct blur_params {
  uint32_t type, direction;
  float size;
};

blur_params fetch_blur_params(const shadetree_node_t& node, const renderctx& ctx) {
  blur_params p;
  p.type = limit_enum(fetch_enum(node, ctx, u"type", blur_box), 2);
  p.size = clamp_float(fetch_float(node, ctx, u"size", 0.03f), 0.0f, 1.0f);
  p.direction = limit_enum(fetch_enum(node, ctx, u"direction", blur_both), 2);
  return p;
}

uint32_t region_edge(float size, float fraction) {
  uint32_t v = sampling::index_of(size * fraction);
  uint32_t n = static_cast<uint32_t>(size);
  return v >= n ? n - 1 : v;
}

// The passes of Blur over a region; outside a region that is not the whole image the result shows
// the unblurred source. The row pass goes straight to the target, and with both directions the two
// passes run together where their stretches fit, which gives the same pixels as running them one
// after the other through the scratch buffer.
void blur_passes(imgbuf4f& target, const imgbuf4f& input, imgbuf4f& scratch, const blur_kernel& k,
                 uint32_t direction, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1, bool full) {
  if (!full) imgbuf4f_copy_buffer_content_from(&target, &input);
  if (direction == blur_horizontal) {
    convolve_rows(target, input, k.weights4, k.width, k.norm, x0, y0, x1, y1);
  } else if (direction == blur_vertical) {
    convolve_columns(target, input, k.weights4, k.width, k.norm, x0, y0, x1, y1);
  } else {
    const pass_extent ex(x0, x1, input.width, k.width), ey(y0, y1, input.height, k.width);
    if (ex.margins_fit && ex.middle_fits && ey.margins_fit && ey.middle_fits) {
      convolve_rows_columns(target, input, k, ex, ey);
      return;
    }
    if (!full) imgbuf4f_copy_buffer_content_from(&scratch, &input);
    convolve_rows(scratch, input, k.weights4, k.width, k.norm, x0, y0, x1, y1);
    convolve_columns(target, scratch, k.weights4, k.width, k.norm, x0, y0, x1, y1);
  }
}

}  // namespace

void render_Blur(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& input) {
    const blur_params p = fetch_blur_params(node, ctx);
    const float left = fetch_float(node, ctx, u"roi-left", 0.0f);
    const float top = fetch_float(node, ctx, u"roi-top", 0.0f);
    const float right = fetch_float(node, ctx, u"roi-right", 1.0f);
    const float bottom = fetch_float(node, ctx, u"roi-bottom", 1.0f);

    const uint32_t w = target.width, h = target.height;
    const uint32_t x0 = region_edge(static_cast<float>(w), left), y0 = region_edge(static_cast<float>(h), top);
    const uint32_t x1 = region_edge(static_cast<float>(w), right), y1 = region_edge(static_cast<float>(h), bottom);
    if (x0 >= x1 || y0 >= y1) {
      imgbuf4f_copy_buffer_content_from(&target, &input);
      return;
    }
    uint32_t n = blur_width(p.size);
    if (n >= x1 - x0) n = x1 - x0 - 1;
    if (n >= y1 - y0) n = y1 - y0 - 1;
    if (n <= 2) {
      imgbuf4f_copy_buffer_content_from(&target, &input);
      return;
    }
    if (!(n & 1u)) n -= 1;
    const blur_kernel* k = kernel_for(p.type, n);
    scratch_buffer_t scratch(ctx.pool);
    const bool full = x0 == 0 && y0 == 0 && x1 >= w - 1 && y1 >= h - 1;
    blur_passes(target, input, *scratch.buffer, *k, p.direction, x0, y0, x1, y1, full);
  });
}

// ---- VarBlur -------------------------------------------------------------------------------------

namespace {

// One pass with a width per pixel: pixels whose width falls below 3 keep all four floats.
template <bool Rows>
void var_pass(imgbuf4f& dst, const imgbuf4f& src, const imgbuf4f& relsize, const var_blur_kernels& kernels) {
  for_row_bands(dst.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y)
      for (uint32_t x = 0; x < dst.width; ++x) {
        blur_pixel<Rows>(pixel_at(dst, x, y), src, kernels.at(pixel_at(relsize, x, y)[0]), x, y);
      }
  });
}

}  // namespace

void render_VarBlur(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  shadetree_node_t* source = node.connected(u"RGB");
  if (!source) {
    imgbuf4f_clear(&target);
    return;
  }
  shadetree_node_t* relsize_source = node.connected(u"relsize");
  input_render_buffer_t in(ctx.pool, source, ctx.for_thumbnail);
  input_render_buffer_t rel(ctx.pool, relsize_source, ctx.for_thumbnail);
  render_two_inputs(ctx, source, in.buffer, in.from_cache, relsize_source, rel.buffer, rel.from_cache);
  const blur_params p = fetch_blur_params(node, ctx);
  uint32_t base = blur_width(p.size);
  if (base < 3) {
    imgbuf4f_copy_buffer_content_from(&target, in.buffer);
    return;
  }
  if (!(base & 1u)) base -= 1;
  scratch_buffer_t scratch(ctx.pool);
  if (!relsize_source) {
    blur_passes(target, *in.buffer, *scratch.buffer, *kernel_for(p.type, base), p.direction, 0, 0,
                target.width - 1, target.height - 1, true);
    return;
  }
  const var_blur_kernels kernels(p.type, p.size);
  if (p.direction == blur_horizontal) {
    var_pass<true>(target, *in.buffer, *rel.buffer, kernels);
  } else if (p.direction == blur_vertical) {
    var_pass<false>(target, *in.buffer, *rel.buffer, kernels);
  } else {
    var_pass<true>(*scratch.buffer, *in.buffer, *rel.buffer, kernels);
    var_pass<false>(target, *scratch.buffer, *rel.buffer, kernels);
  }
}

// ---- MotionBlur ----------------------------------------------------------------------------------

// Not implemented: whatever is connected, the result is a cleared image.
void render_MotionBlur(shadetree_node_t&, const renderctx& ctx) { imgbuf4f_clear(ctx.target_buf); }

// ---- IrregularBlur -------------------------------------------------------------------------------

namespace {

// Each mask row's ones as a range of columns, rows from the top.
struct column_range {
  uint8_t first, last;
};
constexpr column_range irregular_masks[5][11] = {
    // tridown
    {{5, 5}, {4, 6}, {4, 6}, {3, 7}, {3, 7}, {2, 8}, {2, 8}, {1, 9}, {1, 9}, {0, 10}, {0, 10}},
    // triup
    {{0, 10}, {0, 10}, {1, 9}, {1, 9}, {2, 8}, {2, 8}, {3, 7}, {3, 7}, {4, 6}, {4, 6}, {5, 5}},
    // diamond
    {{5, 5}, {4, 6}, {3, 7}, {2, 8}, {1, 9}, {0, 10}, {1, 9}, {2, 8}, {3, 7}, {4, 6}, {5, 5}},
    // disc
    {{3, 7}, {1, 9}, {1, 9}, {0, 10}, {0, 10}, {0, 10}, {0, 10}, {0, 10}, {1, 9}, {1, 9}, {3, 7}},
    // pentagon, reached only through the value 4
    {{5, 5}, {3, 7}, {2, 8}, {0, 10}, {0, 10}, {0, 10}, {1, 9}, {1, 9}, {1, 9}, {1, 9}, {1, 9}},
};

// The 11 by 11 mask of a shape, ones and zeros, rows from the top.
void irregular_blur_mask(uint32_t shape, float out[121]) {
  const column_range* rows = irregular_masks[shape > 4 ? 4 : shape];
  for (uint32_t r = 0; r < 11; ++r)
    for (uint32_t c = 0; c < 11; ++c) out[r * 11 + c] = (c >= rows[r].first && c <= rows[r].last) ? 1.0f : 0.0f;
}

}  // namespace

void render_IrregularBlur(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& input) {
    const uint32_t shape = limit_enum(fetch_enum(node, ctx, u"shape", 0), 4);
    float mask[121];
    irregular_blur_mask(shape, mask);
    float sum = 0.0f;
    for (float m : mask) sum += std::fabs(m);
    // The convolution writes every pixel, so the copy of the input that would precede it is left out.
    convolve_11x11(target, input, mask, sum);
  });
}

}  // namespace quorin_engine
