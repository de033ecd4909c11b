#include "nodes/operators/transforms.h"

#include <cmath>
#include <cstring>

#include "nodes/generators/generator_common.h"
#include "nodes/operators/pixel_loops.h"
#include "nodes/operators/sampling.h"

namespace quorin_engine {

using namespace gen;

namespace {

const float deg_to_rad = static_cast<float>(std::atan(1.0) * 4.0 / 180.0);
const float half_pi = static_cast<float>(std::atan(1.0) * 2.0);
constexpr float max_angle = 359.999f;

// An angle in degrees limited from above only, so that a connected negative angle still turns.
float fetch_angle(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name) {
  float a = fetch_float(node, ctx, name, 0.0f);
  return a > max_angle ? max_angle : a;
}

// A fraction of an axis of n pixels in whole pixels: truncated, then limited to 0..n-1.
uint32_t whole_pixels(float fraction, uint32_t n) {
  int64_t v = _mm_cvttss_si64(_mm_set_ss(fraction * static_cast<float>(n)));
  if (v < 0) return 0;
  if (v >= static_cast<int64_t>(n)) return n == 0 ? 0 : n - 1;
  return static_cast<uint32_t>(v);
}

struct centre_t {
  float cx, cy;
  explicit centre_t(const imgbuf4f& target)
      : cx(static_cast<float>(target.width - 1u) * 0.5f), cy(static_cast<float>(target.height - 1u) * 0.5f) {}
};

// The frame of the five sampled transforms: the input rendered, the sampling parameters read, and
// every target pixel written from the source position that `make_map` builds from the target.
template <class MakeMap>
void sampled_transform(shadetree_node_t& node, const renderctx& ctx, MakeMap make_map) {
  const sampling::params p = sampling::fetch_params(node, ctx, 1);
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& in) {
    sampling::resample(in, *ctx.target_buf, p, make_map(*ctx.target_buf));
  });
}

// ---- the inverse mappings ----------------------------------------------------------------------

// source = (x - cx, y - cy) . [[a, b], [c, d]] + (cx, cy): Rotate and MatrixDistort.
struct centred_matrix_map {
  static constexpr bool cheap_positions = true;
  centre_t o;
  float a, b, c, d;
  struct row_t {
    const centred_matrix_map* m;
    float ybt, ydt;  // (y - cy) b and (y - cy) d
    void at(uint32_t, float x, float& sx, float& sy) const {
      float dx = x - m->o.cx;
      sx = dx * m->a + ybt + m->o.cx;
      sy = dx * m->c + ydt + m->o.cy;
    }
  };
  row_t row(uint32_t y, uint32_t) const {
    float dy = static_cast<float>(y) - o.cy;
    return {this, dy * b, dy * d};
  }
};

struct scale_map {
  static constexpr bool cheap_positions = true;
  centre_t o;
  float kx, ky;
  struct row_t {
    const scale_map* m;
    float sy;
    void at(uint32_t, float x, float& sx, float& sy_out) const {
      sx = (x - m->o.cx) * m->kx + m->o.cx;
      sy_out = sy;
    }
  };
  row_t row(uint32_t y, uint32_t) const { return {this, (static_cast<float>(y) - o.cy) * ky + o.cy}; }
};

struct affine_map {
  static constexpr bool cheap_positions = true;
  centre_t o;
  float a, b, c, d, e, f;
  struct row_t {
    const affine_map* m;
    float yb, yd;  // (y - cy) b and (y - cy) d
    void at(uint32_t, float x, float& sx, float& sy) const {
      float dx = x - m->o.cx;
      sx = dx * m->a + yb + m->e + m->o.cx;
      sy = dx * m->c + yd + m->f + m->o.cy;
    }
  };
  row_t row(uint32_t y, uint32_t) const {
    float dy = static_cast<float>(y) - o.cy;
    return {this, dy * b, dy * d};
  }
};

// Reflection across the line through (p, p) with direction (c, s), in plain coordinates.
struct reflect_map {
  static constexpr bool cheap_positions = true;
  float xx, xy, yy, kx, ky;  // 1 - 2ss, 2cs, 1 - 2cc, (sp - cp) 2s, (cp - sp) 2c
  struct row_t {
    const reflect_map* m;
    float y_xy, y_yy;  // y 2cs and y (1 - 2cc)
    void at(uint32_t, float x, float& sx, float& sy) const {
      sx = x * m->xx + y_xy + m->kx;
      sy = x * m->xy + y_yy + m->ky;
    }
  };
  row_t row(uint32_t y, uint32_t) const {
    float fy = static_cast<float>(y);
    return {this, fy * xy, fy * yy};
  }
};

}  // namespace

// ---- sampled transforms --------------------------------------------------------------------------

void render_Rotate(shadetree_node_t& node, const renderctx& ctx) {
  float t = fetch_angle(node, ctx, u"angle") * deg_to_rad;
  float ct = std::cos(t), st = std::sin(t);
  sampled_transform(node, ctx, [&](const imgbuf4f& target) {
    return centred_matrix_map{centre_t(target), ct, st, -st, ct};
  });
}

void render_MatrixDistort(shadetree_node_t& node, const renderctx& ctx) {
  float a = fetch_float(node, ctx, u"A", 1.0f);
  float b = fetch_float(node, ctx, u"B", 0.0f);
  float c = fetch_float(node, ctx, u"C", 0.0f);
  float d = fetch_float(node, ctx, u"D", 1.0f);
  sampled_transform(node, ctx, [&](const imgbuf4f& target) { return centred_matrix_map{centre_t(target), a, b, c, d}; });
}

void render_Scale(shadetree_node_t& node, const renderctx& ctx) {
  float kx = 1.0f / fetch_float(node, ctx, u"scale-x", 1.0f);
  float ky = 1.0f / fetch_float(node, ctx, u"scale-y", 1.0f);
  sampled_transform(node, ctx, [&](const imgbuf4f& target) { return scale_map{centre_t(target), kx, ky}; });
}

void render_AffineTransform(shadetree_node_t& node, const renderctx& ctx) {
  float sx = fetch_float(node, ctx, u"scale-x", 1.0f);
  float sy = fetch_float(node, ctx, u"scale-y", 1.0f);
  float t = fetch_angle(node, ctx, u"rot-angle") * deg_to_rad;
  float trans_x = clamp_float(fetch_float(node, ctx, u"trans-x", 0.0f), 0.0f, 1.0f);
  float trans_y = clamp_float(fetch_float(node, ctx, u"trans-y", 0.0f), 0.0f, 1.0f);
  sampled_transform(node, ctx, [&](const imgbuf4f& target) {
    float tx = static_cast<float>(whole_pixels(trans_x, target.width));
    float ty = static_cast<float>(whole_pixels(trans_y, target.height));
    float ct = std::cos(t), st = std::sin(t);
    affine_map m{centre_t(target), ct / sx, st / sy, -(st / sx), ct / sy, 0.0f, 0.0f};
    m.e = -(ct * tx) / sx - (st * ty) / sy;
    m.f = (st * tx) / sx - (ct * ty) / sy;
    return m;
  });
}

void render_Reflect(shadetree_node_t& node, const renderctx& ctx) {
  uint32_t axis = fetch_enum(node, ctx, u"axis", 0) & 1u;
  float position = clamp_float(fetch_float(node, ctx, u"position", 0.5f), 0.0f, 1.0f);
  float angle = fetch_angle(node, ctx, u"rot-angle") * deg_to_rad;
  if (axis) angle += half_pi;
  float s = std::sin(angle), c = std::cos(angle);
  sampled_transform(node, ctx, [&](const imgbuf4f& target) {
    // The mirror point is (p, p), from the width on both axes.
    float p = position * static_cast<float>(target.width);
    return reflect_map{1.0f - 2.0f * s * s, 2.0f * c * s, 1.0f - 2.0f * c * c, (s * p - c * p) * (2.0f * s),
                       (c * p - s * p) * (2.0f * c)};
  });
}

// ---- whole-pixel copies ------------------------------------------------------------------------

namespace {

// Target row r column c from input row (Y ? h - 1 - r : r), column (X ? w - 1 - c : c).
template <bool X, bool Y>
void flip_rows(const imgbuf4f& in, imgbuf4f& out) {
  const uint32_t w = out.width, h = out.height;
  for_row_bands(h, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      const float* src = pixel_at(in, X ? w - 1u : 0u, Y ? h - 1u - r : r);
      float* dst = pixel_at(out, 0, r);
      if constexpr (X) {
        for (uint32_t c = 0; c < w; ++c, src -= 4, dst += 4) _mm_store_ps(dst, _mm_load_ps(src));
      } else {
        std::memcpy(dst, src, std::size_t(w) * 16u);
      }
    }
  });
}

}  // namespace

void render_Flip(shadetree_node_t& node, const renderctx& ctx) {
  const uint32_t axis = limit_enum(fetch_enum(node, ctx, u"axis", 1), 3);
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& in) {
    imgbuf4f& out = *ctx.target_buf;
    // None copies only an input of the target's size and otherwise writes nothing.
    if (axis == 0) return imgbuf4f_copy_buffer_content_from(&out, &in);
    if (!pixops::same_size(out, in)) return pixops::clear(out);
    if (axis == 1) return flip_rows<true, false>(in, out);
    if (axis == 2) return flip_rows<false, true>(in, out);
    flip_rows<true, true>(in, out);
  });
}

namespace {

// Translate moves by whole pixels in memory order: target (r, c) reads source (r - dy, c - dx),
// both as unsigned values. On a wrapped axis an index at or beyond the size is taken modulo the
// size; on the other axes the pixels before the offset take the fill colour.
template <bool WrapX, bool WrapY>
void translate_rows(const imgbuf4f& in, imgbuf4f& out, uint32_t dx, uint32_t dy, __m128 fill) {
  const uint32_t w = out.width, h = out.height;
  for_row_bands(h, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      float* dst = pixel_at(out, 0, r);
      uint32_t sr = r - dy;
      if (!WrapY && r < dy) {
        for (uint32_t c = 0; c < w; ++c) _mm_store_ps(dst + 4 * std::size_t(c), fill);
        continue;
      }
      if (WrapY && sr >= h) sr %= h;
      const float* src = pixel_at(in, 0, sr);
      // Columns before dx: wrapped (with the unsigned rule) or the fill colour.
      for (uint32_t c = 0; c < dx && c < w; ++c) {
        uint32_t sc = c - dx;
        if (sc >= w) sc %= w;
        _mm_store_ps(dst + 4 * std::size_t(c), WrapX ? _mm_load_ps(src + 4 * std::size_t(sc)) : fill);
      }
      if (dx < w) std::memcpy(dst + 4 * std::size_t(dx), src, std::size_t(w - dx) * 16u);
    }
  });
}

}  // namespace

void render_Translate(shadetree_node_t& node, const renderctx& ctx) {
  const float offset_x = clamp_float(fetch_float(node, ctx, u"offset-x", 0.0f), 0.0f, 1.0f);
  const float offset_y = clamp_float(fetch_float(node, ctx, u"offset-y", 0.0f), 0.0f, 1.0f);
  const uint32_t direction = limit_enum(fetch_enum(node, ctx, u"mode-direction", 0), 3);
  float fill[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  fetch_color_or(node, ctx, u"fill-color", fill);
  fill[3] = 1.0f;
  using body_fn = void (*)(const imgbuf4f&, imgbuf4f&, uint32_t, uint32_t, __m128);
  static constexpr body_fn bodies[4] = {translate_rows<false, false>, translate_rows<true, false>,
                                        translate_rows<false, true>, translate_rows<true, true>};
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& in) {
    imgbuf4f& out = *ctx.target_buf;
    if (!pixops::same_size(out, in)) return pixops::clear(out);
    const uint32_t dx = whole_pixels(offset_x, out.width), dy = whole_pixels(offset_y, out.height);
    bodies[direction](in, out, dx, dy, _mm_loadu_ps(fill));
  });
}

}  // namespace quorin_engine
