#include "nodes/generators/gradients.h"

#include <cmath>
#include <cstring>
#include <vector>
#include <xmmintrin.h>

#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/generators/noise_core.h"

namespace quorin_engine {

using namespace gen;

// ---- parameters ----------------------------------------------------------------------------------

namespace {

float fetch_position(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name, float def) {
  return clamp_float(fetch_float(node, ctx, name, def), 0.0f, 1.0f);
}

}  // namespace

gradient_params fetch_gradient_params(const shadetree_node_t& node, const renderctx& ctx) {
  gradient_params p;
  p.direction = limit_enum(fetch_enum(node, ctx, u"direction", 0), 2);
  p.horz.interp = limit_enum(fetch_enum(node, ctx, u"interp-horz", 0), 3);
  p.horz.start = fetch_position(node, ctx, u"start-horz", 0.0f);
  p.horz.end = fetch_position(node, ctx, u"end-horz", 1.0f);
  fetch_color_or(node, ctx, u"mincolor-horz", p.horz.mincolor);
  fetch_color_or(node, ctx, u"maxcolor-horz", p.horz.maxcolor);
  fetch_color_or(node, ctx, u"mincolor-vert", p.vert.mincolor);
  fetch_color_or(node, ctx, u"maxcolor-vert", p.vert.maxcolor);
  p.vert.start = fetch_position(node, ctx, u"start-vert", 0.0f);
  p.vert.end = fetch_position(node, ctx, u"end-vert", 1.0f);
  p.vert.interp = limit_enum(fetch_enum(node, ctx, u"interp-vert", 0), 3);
  p.repeat = limit_enum(fetch_enum(node, ctx, u"repeat", 0), 3);
  return p;
}

circ_gradient_params fetch_circ_gradient_params(const shadetree_node_t& node, const renderctx& ctx) {
  circ_gradient_params p;
  p.radius = clamp_float(fetch_float(node, ctx, u"radius", 0.5f), 0.0f, 1.0f);
  // Supersampling serves previews only.
  p.supersampling = fetch_preview_supersampling(node, ctx);
  p.mode = limit_enum(fetch_enum(node, ctx, u"mode", 0), 1);
  return p;
}

radial_sine_params fetch_radial_sine_params(const shadetree_node_t& node, const renderctx& ctx) {
  radial_sine_params p;
  // Read as a float, so that a connected value can give fractions; no upper limit.
  float octave = fetch_float(node, ctx, u"octave", 1.0f);
  p.octave = octave < 1.0f ? 1.0f : octave;
  return p;
}

// ---- Gradient ------------------------------------------------------------------------------------

namespace {

enum : uint32_t { interp_linear = 0, interp_bilinear = 1, interp_cubic = 2, interp_quintic = 3 };

// One axis, set up once per render.
struct axis_t {
  float a, b, d, inv;
  const float* c0;
  const float* c1;

  axis_t(const gradient_axis_params& p, uint32_t n) : c0(p.mincolor), c1(p.maxcolor) {
    float last = static_cast<float>(n - 1);
    a = p.start * last;
    b = p.end * last;
    d = b - a;
    inv = (d >= -1.1920929e-7f && d <= 1.1920929e-7f) ? 0.0f : 1.0f / d;
  }
};

// trunc(q) is odd. Floats from 2^24 up are even integers; a value that is not a number counts as
// even, as the processor's out-of-range conversion does.
inline bool trunc_is_odd(float q) {
  if (!(std::fabs(q) < 16777216.0f)) return false;
  return (static_cast<int32_t>(q) & 1) != 0;
}

template <uint32_t Mode>
inline float map_t(float t) {
  if constexpr (Mode == interp_linear) {
    return t;
  } else if constexpr (Mode == interp_bilinear) {
    return std::fabs(t * 2.0f - 1.0f);
  } else if constexpr (Mode == interp_cubic) {
    return (3.0f - 2.0f * t) * (t * t);
  } else {
    return clamp01((((12.0f * t - 30.0f) * t + 22.0f) * t - 3.0f) * (t * t));
  }
}

template <uint32_t Mode>
void axis_color(const axis_t& ax, uint32_t repeat, float p, float out[4]) {
  float t;
  if (p < ax.a) {
    switch (repeat) {
      case 0:
        out[0] = out[1] = out[2] = out[3] = 0.0f;
        return;
      case 1:
        put_color(out, Mode == interp_bilinear ? ax.c1 : ax.c0);
        return;
      case 2: {
        float q = ax.a - p;
        float m = std::fmod(q, ax.d);
        t = trunc_is_odd(q / ax.d) ? 1.0f - m * ax.inv : m * ax.inv;
        break;
      }
      default:
        t = 1.0f - std::fmod(ax.a - p, ax.d) * ax.inv;
        break;
    }
  } else if (p > ax.b) {
    switch (repeat) {
      case 0:
        out[0] = out[1] = out[2] = out[3] = 0.0f;
        return;
      case 1:
        put_color(out, ax.c1);
        return;
      case 2: {
        float q = p - ax.b;
        float m = std::fmod(q, ax.d);
        t = trunc_is_odd(q / ax.d) ? m * ax.inv : 1.0f - m * ax.inv;
        break;
      }
      default:
        t = std::fmod(p - ax.b, ax.d) * ax.inv;
        break;
    }
  } else {
    t = (p - ax.a) * ax.inv;
  }
  float u = map_t<Mode>(t);
  for (int i = 0; i < 4; ++i) out[i] = (1.0f - u) * ax.c0[i] + u * ax.c1[i];
}

using axis_fn = void (*)(const axis_t&, uint32_t, float, float*);
const axis_fn axis_fns[4] = {axis_color<0>, axis_color<1>, axis_color<2>, axis_color<3>};

using gradient_body_fn = void (*)(const gradient_params&, imgbuf4f&);

// The colours of all columns of a row.
template <uint32_t Mode>
void axis_row(const gradient_axis_params& axp, uint32_t repeat, uint32_t n, float* row) {
  axis_t ax(axp, n);
  for (uint32_t c = 0; c < n; ++c) axis_color<Mode>(ax, repeat, static_cast<float>(c), row + 4 * c);
}

template <uint32_t H>
void horizontal_body(const gradient_params& p, imgbuf4f& out) {
  if (out.height == 0) return;
  float* first = row_ptr(out, 0);
  axis_row<H>(p.horz, p.repeat, out.width, first);
  std::size_t bytes = static_cast<std::size_t>(out.width) * 16;
  for_row_bands(out.height - 1, [&](uint32_t b, uint32_t e) {
    for (uint32_t r = b + 1; r < e + 1; ++r) std::memcpy(row_ptr(out, r), first, bytes);
  });
}

template <uint32_t V>
void vertical_body(const gradient_params& p, imgbuf4f& out) {
  axis_t ax(p.vert, out.height);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      float col[4];
      axis_color<V>(ax, p.repeat, static_cast<float>(r), col);
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) put_color(px, col);
    }
  });
}

// The two axes add and the sum is clamped to 0..1 on all four floats.
template <uint32_t H, uint32_t V>
void both_body(const gradient_params& p, imgbuf4f& out) {
  std::vector<float> hrow(static_cast<std::size_t>(out.width) * 4);
  axis_row<H>(p.horz, p.repeat, out.width, hrow.data());
  axis_t ax(p.vert, out.height);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      float col[4];
      axis_color<V>(ax, p.repeat, static_cast<float>(r), col);
      float* px = row_ptr(out, r);
      const float* h = hrow.data();
      for (uint32_t c = 0; c < out.width; ++c, px += 4, h += 4)
        for (int i = 0; i < 4; ++i) px[i] = clamp01(col[i] + h[i]);
    }
  });
}

const gradient_body_fn horizontal_bodies[4] = {horizontal_body<0>, horizontal_body<1>, horizontal_body<2>,
                                               horizontal_body<3>};
const gradient_body_fn vertical_bodies[4] = {vertical_body<0>, vertical_body<1>, vertical_body<2>,
                                             vertical_body<3>};
const gradient_body_fn both_bodies[16] = {
    both_body<0, 0>, both_body<0, 1>, both_body<0, 2>, both_body<0, 3>, both_body<1, 0>, both_body<1, 1>,
    both_body<1, 2>, both_body<1, 3>, both_body<2, 0>, both_body<2, 1>, both_body<2, 2>, both_body<2, 3>,
    both_body<3, 0>, both_body<3, 1>, both_body<3, 2>, both_body<3, 3>,
};

}  // namespace

void gradient_axis_color(const gradient_axis_params& axis, uint32_t repeat, uint32_t n, uint32_t index,
                         float out[4]) {
  axis_fns[axis.interp](axis_t(axis, n), repeat, static_cast<float>(index), out);
}

void fill_gradient(const gradient_params& p, imgbuf4f& out) {
  gradient_body_fn body;
  if (p.direction == 0)
    body = horizontal_bodies[p.horz.interp];
  else if (p.direction == 1)
    body = vertical_bodies[p.vert.interp];
  else
    body = both_bodies[p.horz.interp * 4 + p.vert.interp];
  body(p, out);
}

// ---- CircGradient --------------------------------------------------------------------------------

namespace {

struct circ_setup {
  float R, cx, cy;
};

template <uint32_t Mode>
inline float circ_value(float r, float R) {
  if constexpr (Mode == 0)
    return r <= R ? 1.0f - r / R : 0.0f;
  else
    return r <= R ? r / R : 0.0f;
}

using circ_body_fn = void (*)(const circ_setup&, imgbuf4f&);

// One sample a pixel: columns in groups of four through a refined reciprocal square root, the
// remaining columns one by one with the plain square root.
template <uint32_t Mode>
void circ_body_single(const circ_setup& s, imgbuf4f& out) {
  const __m128 three = _mm_set1_ps(3.0f), half = _mm_set1_ps(0.5f), tiny = _mm_set1_ps(0.000001f);
  const __m128 vcx = _mm_set1_ps(s.cx);
  uint32_t groups = out.width / 4;
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      float dy = static_cast<float>(r) - s.cy;
      __m128 dy2 = _mm_set1_ps(dy * dy);
      float* px = row_ptr(out, r);
      uint32_t c = 0;
      for (uint32_t g = 0; g < groups; ++g, c += 4) {
        __m128 pxs = _mm_set_ps(static_cast<float>(c + 3), static_cast<float>(c + 2), static_cast<float>(c + 1),
                                static_cast<float>(c));
        __m128 dx = _mm_sub_ps(pxs, vcx);
        __m128 sum = _mm_add_ps(_mm_add_ps(_mm_mul_ps(dx, dx), dy2), tiny);
        __m128 e = _mm_rsqrt_ps(sum);
        __m128 rr = _mm_mul_ps(
            _mm_mul_ps(_mm_sub_ps(three, _mm_mul_ps(_mm_mul_ps(e, e), sum)), _mm_mul_ps(e, half)), sum);
        alignas(16) float rv[4];
        _mm_store_ps(rv, rr);
        for (int k = 0; k < 4; ++k, px += 4) put_grey(px, circ_value<Mode>(rv[k], s.R));
      }
      for (; c < out.width; ++c, px += 4) {
        float dx = static_cast<float>(c) - s.cx;
        put_grey(px, circ_value<Mode>(std::sqrt(dx * dx + dy * dy), s.R));
      }
    }
  });
}

// n by n samples a pixel at offsets k / n from the pixel's index, each weighted 1 / n².
template <uint32_t Mode, uint32_t N>
void circ_body_super(const circ_setup& s, imgbuf4f& out) {
  const float step = 1.0f / static_cast<float>(N);
  const float weight = step * step;
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) {
        float v = 0.0f;
        for (uint32_t sy = 0; sy < N; ++sy) {
          float dy = (static_cast<float>(r) + static_cast<float>(sy) * step) - s.cy;
          for (uint32_t sx = 0; sx < N; ++sx) {
            float dx = (static_cast<float>(c) + static_cast<float>(sx) * step) - s.cx;
            float rr = std::sqrt(dx * dx + dy * dy + 0.000001f);
            v += circ_value<Mode>(rr, s.R) * weight;
          }
        }
        put_grey(px, v);
      }
    }
  });
}

const circ_body_fn circ_bodies[6] = {
    circ_body_single<0>, circ_body_super<0, 2>, circ_body_super<0, 4>,
    circ_body_single<1>, circ_body_super<1, 2>, circ_body_super<1, 4>,
};

}  // namespace

void fill_circ_gradient(const circ_gradient_params& p, imgbuf4f& out) {
  circ_setup s;
  s.R = p.radius * static_cast<float>(out.width < out.height ? out.width : out.height);
  s.cx = static_cast<float>(out.width - 1) * 0.5f;
  s.cy = static_cast<float>(out.height - 1) * 0.5f;
  circ_bodies[p.mode * 3 + p.supersampling](s, out);
}

// ---- RadialSine ----------------------------------------------------------------------------------

void fill_radial_sine(const radial_sine_params& p, imgbuf4f& out) {
  const float two_pi = noise_detail::two_pi_f();
  float cx = static_cast<float>(out.width - 1) * 0.5f;
  float cy = static_cast<float>(out.height - 1) * 0.5f;
  float period = cx / p.octave;
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      float dy = static_cast<float>(r) - cy;
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) {
        float dx = static_cast<float>(c) - cx;
        float d = std::sqrt(dx * dx + dy * dy) / period;
        put_grey(px, (std::cos(two_pi * d) + 1.0f) * 0.5f);
      }
    }
  });
}

// ---- routines --------------------------------------------------------------------------------------

void render_Gradient(shadetree_node_t& node, const renderctx& ctx) {
  fill_gradient(fetch_gradient_params(node, ctx), *ctx.target_buf);
}
void render_CircGradient(shadetree_node_t& node, const renderctx& ctx) {
  fill_circ_gradient(fetch_circ_gradient_params(node, ctx), *ctx.target_buf);
}
void render_RadialSine(shadetree_node_t& node, const renderctx& ctx) {
  fill_radial_sine(fetch_radial_sine_params(node, ctx), *ctx.target_buf);
}

}  // namespace quorin_engine
