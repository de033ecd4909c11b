#include "nodes/operators/selective_blur.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "core/row_bands.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/operators/blur.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

using namespace gen;

// ---- edge map ------------------------------------------------------------------------------------

namespace {

// A three-tap filter over the whole image, samples clamped to it, divided by `sum`, alpha 1.0.
// Dividing by the sums used here (4 and 2) equals multiplying by their reciprocals exactly.
struct three_taps {
  alignas(16) float weights4[12];
  float norm;
  three_taps(float w0, float w1, float w2, float sum) : norm(1.0f / sum) {
    const float w[3] = {w0, w1, w2};
    for (uint32_t i = 0; i < 12; ++i) weights4[i] = w[i / 4];
  }
};
const three_taps smoothing(1.0f, 2.0f, 1.0f, 4.0f);
const three_taps derivative(-1.0f, 0.0f, 1.0f, 2.0f);

void filter3_rows(imgbuf4f& dst, const imgbuf4f& src, const three_taps& t) {
  convolve_rows(dst, src, t.weights4, 3, t.norm, 0, 0, src.width - 1, src.height - 1);
}
void filter3_columns(imgbuf4f& dst, const imgbuf4f& src, const three_taps& t) {
  convolve_columns(dst, src, t.weights4, 3, t.norm, 0, 0, src.width - 1, src.height - 1);
}

// Runs px(out, a, b) over every pixel of the images.
template <class Px>
void each_pixel(imgbuf4f& out, const imgbuf4f& a, const imgbuf4f& b, Px px) {
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      float* o = pixel_at(out, 0, y);
      const float* p = pixel_at(a, 0, y);
      const float* q = pixel_at(b, 0, y);
      for (uint32_t x = 0; x < out.width; ++x, o += 4, p += 4, q += 4) px(o, p, q);
    }
  });
}

// The edge map of a separable Sobel (smoothing 1 2 1, derivative -1 0 1) for the blur direction,
// written to `edges`; `a`, `b` and `c` are scratch.
void selective_edge_map(imgbuf4f& edges, const imgbuf4f& src, uint32_t direction, imgbuf4f& a, imgbuf4f& b,
                        imgbuf4f& c) {
  // Across the rows: smoothed along each row, differentiated down the columns; and the other way.
  if (direction != blur_vertical) {
    filter3_rows(a, src, smoothing);
    filter3_columns(b, a, derivative);
  }
  if (direction != blur_horizontal) {
    filter3_columns(a, src, smoothing);
    filter3_rows(c, a, derivative);
  }
  if (direction == blur_both) {
    each_pixel(edges, b, c, [](float* e, const float* h, const float* v) {
      for (uint32_t i = 0; i < 3; ++i) e[i] = (std::fabs(h[i]) + std::fabs(v[i])) * 0.5f;
      e[3] = 1.0f;
    });
  } else {
    each_pixel(edges, direction == blur_horizontal ? b : c, src, [](float* e, const float* d, const float*) {
      for (uint32_t i = 0; i < 4; ++i) e[i] = std::fabs(d[i]);
    });
  }
}

// ---- passes --------------------------------------------------------------------------------------

// Where a pass's blurred pixels come from. With one kernel for the image the pass blurs each row
// whole before choosing among its pixels (the same values, on the vector loops); with the widths of
// relsize each selected pixel is blurred by itself.
struct fixed_kernel {
  const blur_kernel* k;
  std::size_t row_floats(uint32_t width) const { return std::size_t(width) * 4; }
  template <bool Rows>
  void begin_row(float* row, const imgbuf4f& src, uint32_t y) const {
    blur_whole_row(row, src, y, *k, Rows);
  }
  template <bool Rows>
  const float* pixel(const float* row, float*, const imgbuf4f&, uint32_t x, uint32_t) const {
    return row + 4 * std::size_t(x);
  }
};
struct relsize_kernel {
  const var_blur_kernels& kernels;
  const imgbuf4f& relsize;
  std::size_t row_floats(uint32_t) const { return 0; }
  template <bool Rows>
  void begin_row(float*, const imgbuf4f&, uint32_t) const {}
  template <bool Rows>
  const float* pixel(const float*, float* one, const imgbuf4f& src, uint32_t x, uint32_t y) const {
    blur_pixel<Rows>(one, src, kernels.at(pixel_at(relsize, x, y)[0]), x, y);
    return one;
  }
};

inline float edge_luminance(const float* e) { return 0.299f * e[0] + 0.587f * e[1] + 0.114f * e[2]; }

enum class unselected_alpha { zero, one, own };

// Runs px(out, source pixel, edge value, blurred) over every pixel of dst, where blurred() gives
// the pixel's blur by the pass.
template <bool Rows, class Kernels, class Px>
void selective_pixels(imgbuf4f& dst, const imgbuf4f& src, const imgbuf4f& edges, const Kernels& ks, Px px) {
  for_row_bands(dst.height, [&](uint32_t first, uint32_t last) {
    std::vector<float> row(ks.row_floats(dst.width));
    alignas(16) float one[4];
    for (uint32_t y = first; y < last; ++y) {
      ks.template begin_row<Rows>(row.data(), src, y);
      for (uint32_t x = 0; x < dst.width; ++x)
        px(pixel_at(dst, x, y), pixel_at(src, x, y), pixel_at(edges, x, y),
           [&] { return ks.template pixel<Rows>(row.data(), one, src, x, y); });
    }
  });
}

// mode uniform: a pixel is blurred as a whole when the threshold is above its edge luminance.
template <bool Rows, unselected_alpha Alpha, class Kernels>
void uniform_pass(imgbuf4f& dst, const imgbuf4f& src, const imgbuf4f& edges, float threshold, const Kernels& ks) {
  selective_pixels<Rows>(dst, src, edges, ks, [&](float* out, const float* s, const float* e, auto blurred) {
    if (threshold > edge_luminance(e)) {
      std::memcpy(out, blurred(), 16);
    } else {
      std::memcpy(out, s, 16);
      if (Alpha != unselected_alpha::own) out[3] = Alpha == unselected_alpha::zero ? 0.0f : 1.0f;
    }
  });
}

// mode separate: each of red, green, blue is blurred when the threshold is above its edge value;
// alpha 1.0.
template <bool Rows, class Kernels>
void separate_pass(imgbuf4f& dst, const imgbuf4f& src, const imgbuf4f& edges, float threshold, const Kernels& ks) {
  selective_pixels<Rows>(dst, src, edges, ks, [&](float* out, const float* s, const float* e, auto blurred) {
    const bool sel[3] = {threshold > e[0], threshold > e[1], threshold > e[2]};
    const float* b = (sel[0] || sel[1] || sel[2]) ? blurred() : s;
    for (uint32_t c = 0; c < 3; ++c) out[c] = sel[c] ? b[c] : s[c];
    out[3] = 1.0f;
  });
}

struct selective_params {
  uint32_t type, direction;
  float size, threshold;
  bool separate, alpha_mask;
};

template <class Kernels>
void selective_passes(imgbuf4f& target, const imgbuf4f& input, imgbuf4f& scratch, const imgbuf4f& edges,
                      const selective_params& p, const Kernels& ks) {
  const float t = p.threshold;
  if (p.separate) {
    if (p.direction == blur_horizontal) {
      separate_pass<true>(target, input, edges, t, ks);
    } else if (p.direction == blur_vertical) {
      separate_pass<false>(target, input, edges, t, ks);
    } else {
      separate_pass<true>(scratch, input, edges, t, ks);
      separate_pass<false>(target, scratch, edges, t, ks);
    }
    return;
  }
  if (p.direction == blur_both) {
    uniform_pass<true, unselected_alpha::own>(scratch, input, edges, t, ks);
    uniform_pass<false, unselected_alpha::one>(target, scratch, edges, t, ks);
  } else if (p.alpha_mask) {
    if (p.direction == blur_horizontal)
      uniform_pass<true, unselected_alpha::zero>(target, input, edges, t, ks);
    else
      uniform_pass<false, unselected_alpha::zero>(target, input, edges, t, ks);
  } else {
    if (p.direction == blur_horizontal)
      uniform_pass<true, unselected_alpha::one>(target, input, edges, t, ks);
    else
      uniform_pass<false, unselected_alpha::one>(target, input, edges, t, ks);
  }
}

void render_selective(shadetree_node_t& node, const renderctx& ctx, bool variable) {
  imgbuf4f& target = *ctx.target_buf;
  selective_params p;
  p.type = limit_enum(fetch_enum(node, ctx, u"type", blur_box), 2);
  p.size = clamp_float(fetch_float(node, ctx, u"size", 0.03f), 0.0f, 1.0f);
  p.direction = limit_enum(fetch_enum(node, ctx, u"direction", blur_both), 2);
  p.threshold = clamp_float(fetch_float(node, ctx, u"threshold", 0.5f), 0.0f, 1.0f);
  p.separate = fetch_enum(node, ctx, u"mode", 0) != 0;
  p.alpha_mask = fetch_bool_param(node, ctx, u"alpha-mask");
  shadetree_node_t* source = node.connected(u"RGB");
  if (!source) {
    imgbuf4f_clear(&target);
    return;
  }
  shadetree_node_t* relsize_source = variable ? node.connected(u"relsize") : nullptr;
  input_render_buffer_t in(ctx.pool, source, ctx.for_thumbnail);
  input_render_buffer_t rel(ctx.pool, relsize_source, ctx.for_thumbnail);
  render_two_inputs(ctx, source, in.buffer, in.from_cache, relsize_source, rel.buffer, rel.from_cache);
  uint32_t n = blur_width(p.size);
  if (n < 3) {
    imgbuf4f_copy_buffer_content_from(&target, in.buffer);
    return;
  }
  if (!(n & 1u)) n -= 1;
  // Every pass writes every pixel, so the target needs no clearing beforehand.
  scratch_buffer_t a(ctx.pool), b(ctx.pool), c(ctx.pool), edges(ctx.pool);
  selective_edge_map(*edges.buffer, *in.buffer, p.direction, *a.buffer, *b.buffer, *c.buffer);
  if (relsize_source) {
    const var_blur_kernels kernels(p.type, p.size);
    selective_passes(target, *in.buffer, *a.buffer, *edges.buffer, p, relsize_kernel{kernels, *rel.buffer});
  } else {
    selective_passes(target, *in.buffer, *a.buffer, *edges.buffer, p, fixed_kernel{kernel_for(p.type, n)});
  }
}

}  // namespace

void render_SelectiveBlur(shadetree_node_t& node, const renderctx& ctx) { render_selective(node, ctx, false); }

void render_SelectiveVarBlur(shadetree_node_t& node, const renderctx& ctx) { render_selective(node, ctx, true); }

}  // namespace quorin_engine
