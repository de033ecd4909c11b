#include "nodes/operators/convolution.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <cstring>
#include <vector>

#include "core/row_bands.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/operators/blur.h"
#include "nodes/operators/filter_simd.h"
#include "nodes/operators/pixel_loops.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

using namespace gen;

// ---- square windows ------------------------------------------------------------------------------

namespace {

// The weights of a square window, each four times, and the normaliser's reciprocal.
struct square_kernel {
  uint32_t radius, side;
  alignas(16) float weights4[121 * 4];
  float inv;
  square_kernel(const float* weights, uint32_t r, float sum) : radius(r), side(2 * r + 1), inv(1.0f / sum) {
    for (uint32_t i = 0; i < side * side; ++i)
      for (uint32_t c = 0; c < 4; ++c) weights4[i * 4 + c] = weights[i];
  }
};

// One output row y of a window convolution, written to d: span(out, taps, count) computes count
// pixels from out on, pixel i taking tap k from taps[k] + 4 i, taps in row-major order. Rows are
// clamped once for the row, the inner columns run unclamped, the columns near the edges clamp each
// sample.
template <class Span>
void square_row(float* d, const imgbuf4f& src, uint32_t y, uint32_t radius, Span span) {
  const int64_t w = src.width, r = radius, side = 2 * r + 1;
  const float* rows[11];
  for (int64_t i = 0; i < side; ++i)
    rows[i] = pixel_at(src, 0, static_cast<uint32_t>(filter::clamp_index(y + i - r, 0, src.height - 1)));
  const float* taps[121];
  auto one = [&](int64_t x) {
    for (int64_t i = 0; i < side; ++i)
      for (int64_t j = 0; j < side; ++j) taps[i * side + j] = rows[i] + 4 * filter::clamp_index(x + j - r, 0, w - 1);
    span(d + 4 * x, taps, 1);
  };
  const int64_t inner_lo = r, inner_hi = w - 1 - r;
  if (inner_lo <= inner_hi) {
    for (int64_t i = 0; i < side; ++i)
      for (int64_t j = 0; j < side; ++j) taps[i * side + j] = rows[i] + 4 * j;
    span(d + 4 * inner_lo, taps, static_cast<uint32_t>(inner_hi - inner_lo + 1));
  }
  const int64_t left_end = std::min(inner_lo, w);
  for (int64_t x = 0; x < left_end; ++x) one(x);
  for (int64_t x = std::max(inner_hi + 1, left_end); x < w; ++x) one(x);
}

void square_row(float* d, const imgbuf4f& src, uint32_t y, const square_kernel& k) {
  square_row(d, src, y, k.radius, [&](float* out, const float* const* taps, uint32_t count) {
    convolve_span(out, taps, k.weights4, k.side * k.side, k.inv, count);
  });
}

void convolve_square(imgbuf4f& dst, const imgbuf4f& src, const square_kernel& k) {
  for_row_bands(dst.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) square_row(pixel_at(dst, 0, y), src, y, k);
  });
}

// The edge filters of one direction (|a| on all four floats) or of both ((|a| + |b|) * 0.5 on
// red, green, blue, alpha 1.0), a and b being 3 by 3 convolutions with alpha 1.0. Both sums of a
// pixel share its samples.
template <bool Both>
QUORIN_INLINE filter::v8 edge_finish(filter::v8 a, filter::v8 b, filter::v8 na, filter::v8 nb) {
  using namespace filter;
  if (Both) return opaque((absolute(opaque(a * na)) + absolute(opaque(b * nb))) * splat8(0.5f));
  return absolute(opaque(a * na));
}

template <bool Both>
QUORIN_INLINE void edge_span_body(float* d, const float* const* taps, const float* wa, const float* wb, float na,
                                  float nb, uint32_t count) {
  using namespace filter;
  const v8 na8 = splat8(na), nb8 = splat8(nb);
  uint32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const uint32_t o = i * 4;
    v8 a0 = {}, a1 = {}, a2 = {}, a3 = {}, b0 = {}, b1 = {}, b2 = {}, b3 = {};
    for (uint32_t k = 0; k < 9; ++k) {
      const float* q = taps[k] + o;
      const v8 w = twice(load4(wa + 4 * k));
      const v8 s0 = load8(q), s1 = load8(q + 8), s2 = load8(q + 16), s3 = load8(q + 24);
      a0 = a0 + w * s0;
      a1 = a1 + w * s1;
      a2 = a2 + w * s2;
      a3 = a3 + w * s3;
      if (Both) {
        const v8 u = twice(load4(wb + 4 * k));
        b0 = b0 + u * s0;
        b1 = b1 + u * s1;
        b2 = b2 + u * s2;
        b3 = b3 + u * s3;
      }
    }
    store8(d + o, edge_finish<Both>(a0, b0, na8, nb8));
    store8(d + o + 8, edge_finish<Both>(a1, b1, na8, nb8));
    store8(d + o + 16, edge_finish<Both>(a2, b2, na8, nb8));
    store8(d + o + 24, edge_finish<Both>(a3, b3, na8, nb8));
  }
  for (; i + 2 <= count; i += 2) {
    const uint32_t o = i * 4;
    v8 a = {}, b = {};
    for (uint32_t k = 0; k < 9; ++k) {
      const v8 s = load8(taps[k] + o);
      a = a + twice(load4(wa + 4 * k)) * s;
      if (Both) b = b + twice(load4(wb + 4 * k)) * s;
    }
    store8(d + o, edge_finish<Both>(a, b, na8, nb8));
  }
  if (i < count) {
    // The last pixel alone: its four floats twice, one copy stored.
    const uint32_t o = i * 4;
    v8 a = {}, b = {};
    for (uint32_t k = 0; k < 9; ++k) {
      const v8 s = twice(load4(taps[k] + o));
      a = a + twice(load4(wa + 4 * k)) * s;
      if (Both) b = b + twice(load4(wb + 4 * k)) * s;
    }
    const v8 r = edge_finish<Both>(a, b, na8, nb8);
    store4(d + o, v4{r[0], r[1], r[2], r[3]});
  }
}

template <bool Both>
void edge_span_base(float* d, const float* const* taps, const float* wa, const float* wb, float na, float nb,
                    uint32_t count) {
  edge_span_body<Both>(d, taps, wa, wb, na, nb, count);
}
template <bool Both>
QUORIN_WIDE_VECTORS void edge_span_wide(float* d, const float* const* taps, const float* wa, const float* wb,
                                        float na, float nb, uint32_t count) {
  edge_span_body<Both>(d, taps, wa, wb, na, nb, count);
}
template <bool Both>
void edge_span(float* d, const float* const* taps, const float* wa, const float* wb, float na, float nb,
               uint32_t count) {
  if (filter::wide_vectors)
    edge_span_wide<Both>(d, taps, wa, wb, na, nb, count);
  else
    edge_span_base<Both>(d, taps, wa, wb, na, nb, count);
}

// A row of scratch pixels for routines that combine two convolutions pixel by pixel.
struct scratch_row {
  std::vector<float> data;
  explicit scratch_row(uint32_t width) : data(std::size_t(width) * 4) {}
  float* get() { return data.data(); }
};

const float sobel_rows[9] = {-1, -2, -1, 0, 0, 0, 1, 2, 1};
const float sobel_columns[9] = {-1, 0, 1, -2, 0, 2, -1, 0, 1};
const float prewitt_rows[9] = {-1, -1, -1, 0, 0, 0, 1, 1, 1};
const float prewitt_columns[9] = {-1, 0, 1, -1, 0, 1, -1, 0, 1};
const float laplace[9] = {0, -1, 0, -1, 4, -1, 0, -1, 0};
const float sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};

}  // namespace

void convolve_3x3(imgbuf4f& dst, const imgbuf4f& src, const float weights[9], float sum) {
  convolve_square(dst, src, square_kernel(weights, 1, sum));
}

void convolve_11x11(imgbuf4f& dst, const imgbuf4f& src, const float weights[121], float sum) {
  convolve_square(dst, src, square_kernel(weights, 5, sum));
}

// ---- EdgeDetect, Emboss, Sharpen -----------------------------------------------------------------

namespace {

enum : uint32_t { edge_sobel = 0, edge_prewitt = 1, edge_laplace = 2 };
enum : uint32_t { dir_horizontal = 0, dir_vertical = 1, dir_both = 2 };

void abs_all(float* p, uint32_t width) {
  for (uint32_t i = 0; i < width * 4; ++i) p[i] = std::fabs(p[i]);
}

// Runs `row(y, target row)` for every row of the target; the body holds two scratch rows.
template <class Row>
void each_target_row(imgbuf4f& target, Row row) {
  for_row_bands(target.height, [&](uint32_t first, uint32_t last) {
    scratch_row a(target.width), b(target.width);
    for (uint32_t y = first; y < last; ++y) row(y, pixel_at(target, 0, y), a.get(), b.get());
  });
}

}  // namespace

void render_EdgeDetect(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const uint32_t type = limit_enum(fetch_enum(node, ctx, u"type", edge_sobel), 2);
    const uint32_t direction = limit_enum(fetch_enum(node, ctx, u"direction", dir_both), 2);
    if (type == edge_laplace) {
      convolve_3x3(target, src, laplace, 8.0f);  // keeps its sign
      return;
    }
    const square_kernel rows_k(type == edge_sobel ? sobel_rows : prewitt_rows, 1, type == edge_sobel ? 8.0f : 6.0f);
    const square_kernel cols_k(type == edge_sobel ? sobel_columns : prewitt_columns, 1,
                               type == edge_sobel ? 8.0f : 6.0f);
    const square_kernel& a = direction == dir_vertical ? cols_k : rows_k;
    const square_kernel& b = cols_k;
    const bool both = direction == dir_both;
    for_row_bands(target.height, [&](uint32_t first, uint32_t last) {
      for (uint32_t y = first; y < last; ++y)
        square_row(pixel_at(target, 0, y), src, y, 1, [&](float* out, const float* const* taps, uint32_t count) {
          if (both)
            edge_span<true>(out, taps, a.weights4, b.weights4, a.inv, b.inv, count);
          else
            edge_span<false>(out, taps, a.weights4, nullptr, a.inv, 0.0f, count);
        });
    });
  });
}

void render_Emboss(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const uint32_t direction = limit_enum(fetch_enum(node, ctx, u"direction", dir_horizontal), 2);
    // Horizontal relief comes from the columns kernel and vertical relief from the rows kernel.
    const square_kernel horz_k(prewitt_columns, 1, 6.0f), vert_k(prewitt_rows, 1, 6.0f);
    const uint32_t w = target.width;
    auto relief = [&](float* p, uint32_t y, const square_kernel& k) {
      square_row(p, src, y, k);
      for (uint32_t x = 0; x < w; ++x) {
        float* q = p + 4 * x;
        for (uint32_t c = 0; c < 3; ++c) q[c] = clamp_float(q[c] + 0.5f, 0.0f, 1.0f);
        q[3] = 1.0f;
      }
    };
    each_target_row(target, [&](uint32_t y, float* out, float* a, float* b) {
      if (direction == dir_horizontal) {
        relief(out, y, horz_k);
      } else if (direction == dir_vertical) {
        relief(out, y, vert_k);
      } else {
        relief(a, y, horz_k);
        relief(b, y, vert_k);
        for (uint32_t x = 0; x < w; ++x) {
          for (uint32_t c = 0; c < 3; ++c) out[4 * x + c] = 0.5f * b[4 * x + c] + 0.5f * a[4 * x + c];
          out[4 * x + 3] = 1.0f;
        }
      }
    });
  });
}

// Divided by 9, the result holds about a ninth of the image's contrast plus its detail.
void render_Sharpen(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& input) {
    const square_kernel k(sharpen, 1, 9.0f);
    each_target_row(target, [&](uint32_t y, float* out, float*, float*) {
      square_row(out, input, y, k);
      abs_all(out, target.width);
    });
  });
}

// ---- Highpass ------------------------------------------------------------------------------------

void render_Highpass(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const float size = clamp_float(fetch_float(node, ctx, u"size", 0.03f), 0.0f, 1.0f);
    uint32_t n = blur_width(size);
    if (n < 3) {
      imgbuf4f_copy_buffer_content_from(&target, &src);
      return;
    }
    if (!(n & 1u)) n -= 1;
    // A Gaussian of this render's own, outside the process-wide cache.
    const std::unique_ptr<blur_kernel> k = build_blur_kernel(blur_gaussian, n);
    scratch_buffer_t scratch(ctx.pool);
    const uint32_t w = target.width, h = target.height;
    convolve_rows(*scratch.buffer, src, k->weights4, k->width, k->norm, 0, 0, w - 1, h - 1);
    convolve_columns(target, *scratch.buffer, k->weights4, k->width, k->norm, 0, 0, w - 1, h - 1);
    for_row_bands(h, [&](uint32_t first, uint32_t last) {
      for (uint32_t y = first; y < last; ++y) {
        const float* s = pixel_at(src, 0, y);
        float* d = pixel_at(target, 0, y);
        for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
          for (uint32_t c = 0; c < 3; ++c) d[c] = (s[c] + (1.0f - d[c])) * 0.5f;
          d[3] = 1.0f;
        }
      }
    });
  });
}

// ---- Dilation and Erosion ------------------------------------------------------------------------

namespace {

constexpr float morph_threshold = 0.5f;

// One pixel (V = v4) or two neighbouring pixels (V = v8) of a round, at column offset o of the three
// rows: the largest (or smallest) among the neighbours and the centre, taken where the centre lies
// on the near side of the threshold and, with RGB, a neighbour on the far side. The lanes that may
// change are red, green and blue with RGB, red alone with Grey; the result is clamped to 0..1.
template <bool Dilate, bool Rgb, class V, class M, class Load>
QUORIN_INLINE V morph_pixels(const float* up, const float* mid, const float* down, std::size_t o, V t, M lanes,
                             Load load) {
  const V c = load(mid + o);
  const float* nb[8] = {up + o - 4, up + o, up + o + 4, mid + o - 4, mid + o + 4, down + o - 4, down + o, down + o + 4};
  V m = c;
  M across = {};
  for (const float* p : nb) {
    const V n = load(p);
    m = Dilate ? (n > m ? n : m) : (n < m ? n : m);
    across |= Dilate ? (n >= t) : (n < t);
  }
  const M centre_takes = Dilate ? (t > c) : (c >= t);
  const M change = Rgb ? (centre_takes & across & lanes) : (centre_takes & lanes);
  const V out = change ? m : c;
  const V zero = t - t, one = t + t;
  return out < zero ? zero : (out > one ? one : out);
}

template <bool Dilate, bool Rgb>
QUORIN_INLINE void morph_row_body(float* d, const float* up, const float* mid, const float* down, uint32_t w) {
  using namespace filter;
  constexpr int32_t r = -1, g = Rgb ? -1 : 0;
  uint32_t x = 1;
  for (; x + 2 < w; x += 2) {
    v8 out = morph_pixels<Dilate, Rgb>(up, mid, down, std::size_t(x) * 4, splat8(morph_threshold),
                                       v8i{r, g, g, 0, r, g, g, 0}, load8);
    if (!Rgb) out = __builtin_shufflevector(out, out, 0, 0, 0, 3, 4, 4, 4, 7);
    store8(d + 4 * x, out);
  }
  for (; x + 1 < w; ++x) {
    v4 out = morph_pixels<Dilate, Rgb>(up, mid, down, std::size_t(x) * 4, splat4(morph_threshold), v4i{r, g, g, 0},
                                       load4);
    if (!Rgb) out = __builtin_shufflevector(out, out, 0, 0, 0, 3);
    store4(d + 4 * x, out);
  }
}

template <bool Dilate, bool Rgb>
void morph_row_base(float* d, const float* up, const float* mid, const float* down, uint32_t w) {
  morph_row_body<Dilate, Rgb>(d, up, mid, down, w);
}
template <bool Dilate, bool Rgb>
QUORIN_WIDE_VECTORS void morph_row_wide(float* d, const float* up, const float* mid, const float* down, uint32_t w) {
  morph_row_body<Dilate, Rgb>(d, up, mid, down, w);
}

// One round over the inner pixels, from src into dst; the window is the eight neighbours.
template <bool Dilate, bool Rgb>
void morph_round(imgbuf4f& dst, const imgbuf4f& src) {
  const uint32_t w = src.width, h = src.height;
  if (w < 3 || h < 3) return;
  const auto row = filter::wide_vectors ? morph_row_wide<Dilate, Rgb> : morph_row_base<Dilate, Rgb>;
  for_row_bands(h - 2, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first + 1; y < last + 1; ++y)
      row(pixel_at(dst, 0, y), pixel_at(src, 0, y - 1), pixel_at(src, 0, y), pixel_at(src, 0, y + 1), w);
  });
}

// Copies the first and last rows and the first and last pixel of every row.
void copy_ring(imgbuf4f& dst, const imgbuf4f& src) {
  const uint32_t w = src.width, h = src.height;
  if (!w || !h) return;
  std::memcpy(pixel_at(dst, 0, 0), pixel_at(src, 0, 0), std::size_t(w) * 16);
  std::memcpy(pixel_at(dst, 0, h - 1), pixel_at(src, 0, h - 1), std::size_t(w) * 16);
  for (uint32_t y = 0; y < h; ++y) {
    std::memcpy(pixel_at(dst, 0, y), pixel_at(src, 0, y), 16);
    std::memcpy(pixel_at(dst, w - 1, y), pixel_at(src, w - 1, y), 16);
  }
}

using morph_fn = void (*)(imgbuf4f&, const imgbuf4f&);

void render_morphology(shadetree_node_t& node, const renderctx& ctx, morph_fn rgb_round, morph_fn grey_round) {
  imgbuf4f& target = *ctx.target_buf;
  shadetree_node_t* rgb = node.connected(u"RGB");
  shadetree_node_t* source = rgb ? rgb : node.connected(u"Grey");
  if (!source) {
    imgbuf4f_clear(&target);
    return;
  }
  const morph_fn round = rgb ? rgb_round : grey_round;
  const uint32_t iters = limit_enum(fetch_uint(node, ctx, u"iters", 1), 12);
  input_render_buffer_t in(ctx.pool, source, ctx.for_thumbnail);
  in.render(ctx);
  copy_ring(target, *in.buffer);
  round(target, *in.buffer);
  if (iters < 2) return;
  // Later rounds read the previous round from a buffer of their own, so that the input's image,
  // which a cache may hold, stays as it was rendered.
  scratch_buffer_t previous(ctx.pool);
  for (uint32_t i = 1; i < iters; ++i) {
    imgbuf4f_copy_buffer_content_from(previous.buffer, &target);
    round(target, *previous.buffer);
  }
}

}  // namespace

void render_Dilation(shadetree_node_t& node, const renderctx& ctx) {
  render_morphology(node, ctx, morph_round<true, true>, morph_round<true, false>);
}

void render_Erosion(shadetree_node_t& node, const renderctx& ctx) {
  render_morphology(node, ctx, morph_round<false, true>, morph_round<false, false>);
}

// ---- RegionGrowGrey ------------------------------------------------------------------------------

namespace {

enum : uint32_t { cond_below = 0, cond_above = 1, cond_all = 2 };

struct region_params {
  float threshold, newval;
  uint32_t neighbours;
};

template <uint32_t Condition, bool NeighBelow, bool Binary>
void region_grow(imgbuf4f& dst, const imgbuf4f& src, const region_params& p) {
  const uint32_t w = src.width, h = src.height;
  if (w < 3 || h < 3) return;
  const float t = p.threshold;
  for_row_bands(h - 2, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first + 1; y < last + 1; ++y)
      for (uint32_t x = 1; x + 1 < w; ++x) {
        const float c = pixel_at(src, x, y)[0];
        const bool passes = Condition == cond_below ? t > c : Condition == cond_above ? c >= t : true;
        uint32_t count = 0;
        for (int dy = -1; dy <= 1; ++dy)
          for (int dx = -1; dx <= 1; ++dx) {
            if (!dx && !dy) continue;
            const float n = pixel_at(src, x + dx, y + dy)[0];
            count += NeighBelow ? n < t : n >= t;
          }
        const bool hit = passes && count >= p.neighbours;
        put_grey(pixel_at(dst, x, y), Binary ? (hit ? 1.0f : 0.0f) : (hit ? p.newval : c));
      }
  });
}

using region_fn = void (*)(imgbuf4f&, const imgbuf4f&, const region_params&);

// Indexed by condition * 4 + neighcond * 2 + outmode.
constexpr region_fn region_bodies[12] = {
    region_grow<0, false, false>, region_grow<0, false, true>, region_grow<0, true, false>, region_grow<0, true, true>,
    region_grow<1, false, false>, region_grow<1, false, true>, region_grow<1, true, false>, region_grow<1, true, true>,
    region_grow<2, false, false>, region_grow<2, false, true>, region_grow<2, true, false>, region_grow<2, true, true>,
};

}  // namespace

void render_RegionGrowGrey(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"grey", [&](const imgbuf4f& input) {
    region_params p;
    p.threshold = clamp_float(fetch_float(node, ctx, u"threshold", 0.5f), 0.0f, 1.0f);
    p.newval = clamp_float(fetch_float(node, ctx, u"newval", 0.5f), 0.0f, 1.0f);
    p.neighbours = clamp_uint(fetch_uint(node, ctx, u"neighbours", 4), 1, 8);
    // The connection of `condition` is looked for under the name "thmode", which no input has.
    const uint32_t condition = limit_enum(fetch_enum_input(node, ctx, u"condition", node.connected(u"thmode"), 0), 2);
    const uint32_t below = fetch_enum(node, ctx, u"neighcond", 0) ? 1 : 0;
    const uint32_t binary = fetch_enum(node, ctx, u"outmode", 0) ? 1 : 0;
    copy_ring(target, input);
    region_bodies[condition * 4 + below * 2 + binary](target, input, p);
  });
}

}  // namespace quorin_engine
