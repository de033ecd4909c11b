#include "nodes/generators/fractals.h"

#include <immintrin.h>

#include <cmath>

#include "catalogue/catalogue.h"
#include "core/row_bands.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "eval/values.h"
#include "nodes/generators/generator_common.h"

namespace quorin_engine {

using namespace gen;

// ---- parameters ----------------------------------------------------------------------------------

namespace {

constexpr double double_epsilon = 2.220446049250313e-16;

// maxiters is held to the bounds the catalogue gives it on this type.
uint32_t fetch_maxiters(const shadetree_node_t& node, const renderctx& ctx, uint32_t fallback) {
  uint32_t v = fetch_uint(node, ctx, u"maxiters", fallback);
  uint32_t lo = 0, hi = 0;
  if (uint_bounds(node.spec(), u"maxiters", lo, hi)) v = clamp_uint(v, lo, hi);
  return v;
}

// A window edge of FractalJulia. The value comes from the connection or the stored text; an
// enabled time curve on the edge gives not the value but how far to move it towards `name2`.
double fetch_julia_edge(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name,
                        const char16_t* name2, float def, float def2) {
  wstring text;
  float t = 0.0f;
  if (!fetch_param_raw(node, ctx, name, text, t)) return fetch_float(node, ctx, name, def);
  float v = def;
  if (shadetree_node_t* src = node.connected(name)) {
    v = scalar_value(*src, ctx);
  } else {
    auto it = node.params.find(name);
    if (it != node.params.end() && !it->second.empty()) v = static_cast<float>(text_to_double(it->second));
  }
  double v2 = fetch_float(node, ctx, name2, def2);
  return static_cast<double>(v) + (v2 - static_cast<double>(v)) * static_cast<double>(t);
}

}  // namespace

fractal_params fetch_mandelbrot_params(const shadetree_node_t& node, const renderctx& ctx) {
  fractal_params p;
  p.xmin = fetch_float(node, ctx, u"xmin", -2.0f);
  p.ymin = fetch_float(node, ctx, u"ymin", -2.0f);
  p.xmax = fetch_float(node, ctx, u"xmax", 2.0f);
  p.ymax = fetch_float(node, ctx, u"ymax", 2.0f);
  p.maxiters = fetch_maxiters(node, ctx, 255);
  p.supersampling = fetch_preview_supersampling(node, ctx);
  return p;
}

fractal_params fetch_julia_params(const shadetree_node_t& node, const renderctx& ctx) {
  fractal_params p;
  p.julia = true;
  p.cx = fetch_float(node, ctx, u"cx", -0.75f);
  p.cy = fetch_float(node, ctx, u"cy", -0.2f);
  p.xmin = fetch_julia_edge(node, ctx, u"xmin", u"xmin2", -2.0f, -2.0f);
  p.ymin = fetch_julia_edge(node, ctx, u"ymin", u"ymin2", -2.0f, -2.0f);
  p.xmax = fetch_julia_edge(node, ctx, u"xmax", u"xmax2", 2.0f, 2.0f);
  p.ymax = fetch_julia_edge(node, ctx, u"ymax", u"ymax2", 2.0f, 2.0f);
  p.maxiters = fetch_maxiters(node, ctx, 64);
  p.supersampling = fetch_preview_supersampling(node, ctx);
  return p;
}

// ---- Mandelbrot and Julia ------------------------------------------------------------------------

namespace {

// Two samples iterated side by side in the lanes of one register pair. Each round takes the step
// z = z^2 + c and then tests |z|^2 >= 4; a sample counts the rounds it survives and is done when it
// escapes or reaches maxiters. A lane that is done keeps iterating but no longer counts.
struct sample_pair {
  __m128d zr, zi, cr, ci;

  void counts(double maxiters, double out[2]) const {
    const __m128d four = _mm_set1_pd(4.0), two = _mm_set1_pd(2.0), one = _mm_set1_pd(1.0);
    const __m128d limit = _mm_set1_pd(maxiters);
    __m128d re = zr, im = zi;
    __m128d re2 = _mm_mul_pd(re, re), im2 = _mm_mul_pd(im, im);
    __m128d count = _mm_setzero_pd();
    __m128d active = _mm_cmpeq_pd(count, count);
    do {
      __m128d nre = _mm_add_pd(_mm_sub_pd(re2, im2), cr);
      __m128d nim = _mm_add_pd(_mm_mul_pd(_mm_mul_pd(two, re), im), ci);
      re = nre;
      im = nim;
      re2 = _mm_mul_pd(re, re);
      im2 = _mm_mul_pd(im, im);
      __m128d stays = _mm_and_pd(active, _mm_cmplt_pd(_mm_add_pd(re2, im2), four));
      count = _mm_add_pd(count, _mm_and_pd(stays, one));
      active = _mm_and_pd(stays, _mm_cmplt_pd(count, limit));
    } while (_mm_movemask_pd(active));
    _mm_storeu_pd(out, count);
  }
};

// The pair for the points (x0, y0) and (x1, y1).
inline sample_pair make_pair(const fractal_params& p, double x0, double y0, double x1, double y1) {
  __m128d px = _mm_set_pd(x1, x0), py = _mm_set_pd(y1, y0);
  if (p.julia) return {px, py, _mm_set1_pd(p.cx), _mm_set1_pd(p.cy)};
  return {_mm_setzero_pd(), _mm_setzero_pd(), px, py};
}

struct window {
  double dx, dy, xmin, ymin;
  double x(double c) const { return c * dx + xmin; }
  double y(double i) const { return i * dy + ymin; }
};

// Columns c.. of one row at one sample a pixel: neighbouring pixels run as a pair, the second at
// the first point plus dx, and a last odd column runs alone. `px` points at column c.
inline void plain_columns(const fractal_params& p, const window& w, double y, float* px, uint32_t c,
                          uint32_t width) {
  const double maxiters = p.maxiters;
  const float fmax = static_cast<float>(p.maxiters);
  double n[2];
  for (; c + 1u < width; c += 2u, px += 8) {
    double x0 = w.x(static_cast<double>(c));
    make_pair(p, x0, y, x0 + w.dx, y).counts(maxiters, n);
    put_grey(px, static_cast<float>(n[0]) / fmax);
    put_grey(px + 4, static_cast<float>(n[1]) / fmax);
  }
  if (c < width) {
    double x0 = w.x(static_cast<double>(c));
    make_pair(p, x0, y, x0, y).counts(maxiters, n);
    put_grey(px, static_cast<float>(n[0]) / fmax);
  }
}

void fractal_rows_plain(const fractal_params& p, const window& w, imgbuf4f& out, uint32_t first, uint32_t last) {
  for (uint32_t m = first; m < last; ++m)
    plain_columns(p, w, w.y(static_cast<double>(out.height - 1u - m)), row_ptr(out, m), 0, out.width);
}

// The same rows four samples at a time, two pairs side by side, where the processor has 256-bit
// vectors: every sample takes exactly the steps of the two-lane form.
struct sample_quad {
  __m256d zr, zi, cr, ci;

  __attribute__((target("avx2"))) void counts(double maxiters, double out[4]) const {
    const __m256d four = _mm256_set1_pd(4.0), two = _mm256_set1_pd(2.0), one = _mm256_set1_pd(1.0);
    const __m256d limit = _mm256_set1_pd(maxiters);
    __m256d re = zr, im = zi;
    __m256d re2 = _mm256_mul_pd(re, re), im2 = _mm256_mul_pd(im, im);
    __m256d count = _mm256_setzero_pd();
    __m256d active = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
    do {
      __m256d nre = _mm256_add_pd(_mm256_sub_pd(re2, im2), cr);
      __m256d nim = _mm256_add_pd(_mm256_mul_pd(_mm256_mul_pd(two, re), im), ci);
      re = nre;
      im = nim;
      re2 = _mm256_mul_pd(re, re);
      im2 = _mm256_mul_pd(im, im);
      __m256d stays = _mm256_and_pd(active, _mm256_cmp_pd(_mm256_add_pd(re2, im2), four, _CMP_LT_OQ));
      count = _mm256_add_pd(count, _mm256_and_pd(stays, one));
      active = _mm256_and_pd(stays, _mm256_cmp_pd(count, limit, _CMP_LT_OQ));
    } while (_mm256_movemask_pd(active));
    _mm256_storeu_pd(out, count);
  }
};

__attribute__((target("avx2"))) void fractal_rows_plain_avx2(const fractal_params& p, const window& w, imgbuf4f& out,
                                                             uint32_t first, uint32_t last) {
  const double maxiters = p.maxiters;
  const float fmax = static_cast<float>(p.maxiters);
  const uint32_t width = out.width, height = out.height;
  double n[4];
  for (uint32_t m = first; m < last; ++m) {
    const double y = w.y(static_cast<double>(height - 1u - m));
    float* px = row_ptr(out, m);
    uint32_t c = 0;
    for (; c + 3u < width; c += 4u, px += 16) {
      double x0 = w.x(static_cast<double>(c)), x2 = w.x(static_cast<double>(c + 2u));
      __m256d xs = _mm256_set_pd(x2 + w.dx, x2, x0 + w.dx, x0), ys = _mm256_set1_pd(y);
      sample_quad q = p.julia ? sample_quad{xs, ys, _mm256_set1_pd(p.cx), _mm256_set1_pd(p.cy)}
                              : sample_quad{_mm256_setzero_pd(), _mm256_setzero_pd(), xs, ys};
      q.counts(maxiters, n);
      for (int k = 0; k < 4; ++k) put_grey(px + 4 * k, static_cast<float>(n[k]) / fmax);
    }
    plain_columns(p, w, y, px, c, width);
  }
}

// K by K samples a pixel at offsets 0, 1/K, ... in both directions, not centred; the samples of a
// pixel run in pairs along x and their values add up in row order.
template <uint32_t K>
void fractal_rows_super(const fractal_params& p, const window& w, imgbuf4f& out, uint32_t first, uint32_t last) {
  const double maxiters = p.maxiters;
  const float fmax = static_cast<float>(p.maxiters);
  const float weight = 1.0f / static_cast<float>(K * K);  // 0.25 or 0.0625, exact
  const double step = 1.0 / K;
  const uint32_t width = out.width, height = out.height;
  double n[2];
  for (uint32_t m = first; m < last; ++m) {
    const double i = static_cast<double>(height - 1u - m);
    float* px = row_ptr(out, m);
    for (uint32_t c = 0; c < width; ++c, px += 4) {
      float sum = 0.0f;
      for (uint32_t sy = 0; sy < K; ++sy) {
        const double y = w.y(i + sy * step);
        for (uint32_t sx = 0; sx < K; sx += 2u) {
          make_pair(p, w.x(c + sx * step), y, w.x(c + (sx + 1u) * step), y).counts(maxiters, n);
          sum += static_cast<float>(n[0]) / fmax;
          sum += static_cast<float>(n[1]) / fmax;
        }
      }
      put_grey(px, sum * weight);
    }
  }
}

}  // namespace

void fill_quadratic_fractal(const fractal_params& p, imgbuf4f& out) {
  window w;
  w.dx = (p.xmax - p.xmin) / static_cast<double>(out.width - 1u);
  w.dy = (p.ymax - p.ymin) / static_cast<double>(out.height - 1u);
  w.xmin = p.xmin;
  w.ymin = p.ymin;
  using rows_fn = void (*)(const fractal_params&, const window&, imgbuf4f&, uint32_t, uint32_t);
  static constexpr rows_fn bodies[3] = {fractal_rows_plain, fractal_rows_super<2>, fractal_rows_super<4>};
  static const bool wide = __builtin_cpu_supports("avx2");
  const rows_fn body = (p.supersampling == 0 && wide) ? fractal_rows_plain_avx2 : bodies[p.supersampling > 2 ? 2 : p.supersampling];
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) { body(p, w, out, first, last); });
}

// ---- Lyapunov ------------------------------------------------------------------------------------

namespace {

// The exponent picture of the logistic map with the sequence "b, a" at the point (a, b).
float lyapunov_value(double a, double b) {
  if (std::fabs(b) <= double_epsilon || std::fabs(a) <= double_epsilon) return 0.0f;
  double x = 0.5;
  for (int round = 0; round < 60; ++round)
    for (int k = 0; k < 5; ++k) {
      x = b * x * (1.0 - x);
      x = a * x * (1.0 - x);
    }
  const double log2 = std::log(2.0);
  double sum = 0.0;
  for (int n = 0; n < 4000; ++n) {
    double r = (n & 1) ? a : b;
    sum += std::log(std::fabs(r - 2.0 * r * x)) / log2;
    x = r * x * (1.0 - x);
  }
  double lam = sum / 4000.0;
  if (std::fabs(lam) <= double_epsilon) return 1.0f;
  if (lam > 0.0) return 0.0f;
  double v = -lam;
  return std::isfinite(v) ? static_cast<float>(v) : 0.0f;
}

}  // namespace

void fill_lyapunov(imgbuf4f& out) {
  const uint32_t width = out.width, height = out.height;
  const double da = 4.0 / static_cast<double>(width - 1u);
  const double db = 4.0 / static_cast<double>(height - 1u);
  for_row_bands(height, [&](uint32_t first, uint32_t last) {
    for (uint32_t m = first; m < last; ++m) {
      const double b = static_cast<double>(height - 1u - m) * db;
      float* px = row_ptr(out, m);
      for (uint32_t c = 0; c < width; ++c, px += 4) put_grey(px, lyapunov_value(static_cast<double>(c) * da, b));
    }
  });
  // Second pass: everything relative to the largest value, inverted.
  float top = -3.4028235e38f;
  const std::size_t count = static_cast<std::size_t>(width) * height;
  for (std::size_t k = 0; k < count; ++k)
    if (out.pixels[k * 4] > top) top = out.pixels[k * 4];
  for_row_bands(height, [&](uint32_t first, uint32_t last) {
    for (uint32_t m = first; m < last; ++m) {
      float* px = row_ptr(out, m);
      for (uint32_t c = 0; c < width; ++c, px += 4) {
        float v = 1.0f - px[0] / top;
        px[0] = v;
        px[1] = v;
        px[2] = v;
      }
    }
  });
}

// ---- render routines -----------------------------------------------------------------------------

void render_FractalMandelbrot(shadetree_node_t& node, const renderctx& ctx) {
  fill_quadratic_fractal(fetch_mandelbrot_params(node, ctx), *ctx.target_buf);
}

void render_FractalJulia(shadetree_node_t& node, const renderctx& ctx) {
  fill_quadratic_fractal(fetch_julia_params(node, ctx), *ctx.target_buf);
}

void render_FractalLyapunov(shadetree_node_t&, const renderctx& ctx) { fill_lyapunov(*ctx.target_buf); }

}  // namespace quorin_engine
