#include "nodes/generators/noise.h"

#include <bit>
#include <cmath>
#include <type_traits>
#include <vector>

#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/generators/noise_core.h"

namespace quorin_engine {

using namespace gen;

// ---- parameters ----------------------------------------------------------------------------------

sine_plasma_params fetch_sine_plasma_params(const shadetree_node_t& node, const renderctx& ctx) {
  sine_plasma_params p;
  // The phases are used as read: no bounds.
  p.xphase = fetch_float(node, ctx, u"xphase", 3.0f);
  p.yphase = fetch_float(node, ctx, u"yphase", 3.0f);
  return p;
}

namespace {
uint32_t fetch_seed(const shadetree_node_t& node, const renderctx& ctx) {
  uint32_t seed = fetch_uint(node, ctx, u"seed", 0);
  return seed > 5000u ? 5000u : seed;
}
uint32_t fetch_interp(const shadetree_node_t& node, const renderctx& ctx) {
  return limit_enum(fetch_enum(node, ctx, u"interp", 0), 2);
}
}  // namespace

octave_noise_params fetch_octave_noise_params(const shadetree_node_t& node, const renderctx& ctx) {
  octave_noise_params p;
  p.size = clamp_float(fetch_float(node, ctx, u"size", 8.0f), 1.0f, 250.0f);
  p.noise = limit_enum(fetch_enum(node, ctx, u"noise", 0), 1);
  p.lofreq = clamp_uint(fetch_uint(node, ctx, u"lofreq", 1), 1, 15);
  p.hifreq = clamp_uint(fetch_uint(node, ctx, u"hifreq", 3), 1, 15);
  p.lacunarity = clamp_float(
      fetch_float(node, ctx, u"lacunarity", 2.0f), 1.5f, 4.0f);
  p.persistence = clamp_float(
      fetch_float(node, ctx, u"persistence", 0.5f), 0.0f, 1.0f);
  p.mapping = limit_enum(fetch_enum(node, ctx, u"mapping", 0), 1);
  p.interp = fetch_interp(node, ctx);
  p.seed = fetch_seed(node, ctx);
  return p;
}

marble_params fetch_marble_params(const shadetree_node_t& node, const renderctx& ctx) {
  marble_params p;
  p.size = clamp_float(fetch_float(node, ctx, u"size", 16.0f), 1.0f, 250.0f);
  p.octaves = clamp_uint(fetch_uint(node, ctx, u"octaves", 1), 1, 8);
  p.amplitude =
      clamp_float(fetch_float(node, ctx, u"amplitude", 1.0f), 0.0f, 1.0f);
  p.direction = limit_enum(fetch_enum(node, ctx, u"direction", 0), 2);
  p.interp = fetch_interp(node, ctx);
  p.seed = fetch_seed(node, ctx);
  return p;
}

wood_rings_params fetch_wood_rings_params(const shadetree_node_t& node, const renderctx& ctx) {
  wood_rings_params p;
  p.octave = clamp_uint(fetch_uint(node, ctx, u"octave", 1), 1, 6);
  p.toctaves = clamp_uint(fetch_uint(node, ctx, u"toctaves", 1), 1, 8);
  p.amplitude =
      clamp_float(fetch_float(node, ctx, u"amplitude", 0.1f), 0.0f, 1.0f);
  p.interp = fetch_interp(node, ctx);
  p.seed = fetch_seed(node, ctx);
  return p;
}

value_noise_params fetch_value_noise_params(const shadetree_node_t& node, const renderctx& ctx) {
  value_noise_params p;
  p.type = limit_enum(fetch_enum(node, ctx, u"type", 0), 1);
  p.mapping = limit_enum(fetch_enum(node, ctx, u"mapping", 0), 1);
  p.size = clamp_float(fetch_float(node, ctx, u"size", 8.0f), 1.0f, 250.0f);
  p.interp = fetch_interp(node, ctx);
  p.seed = fetch_seed(node, ctx);
  return p;
}

// ---- bodies ----------------------------------------------------------------------------------------

namespace {

// How one octave's noise value enters the sum.
struct term_plain {
  static float add(float n, float a) { return n * a; }
};
struct term_abs {
  static float add(float n, float a) { return std::fabs(n) * a; }
};
struct term_scaled {
  static float add(float n, float a) { return (n + 1.0f) * 0.5f * a; }
};

// How a sum becomes the grey value.
struct map_clamp {
  static float apply(float v) { return clamp01(v); }
};
struct map_scaled {
  static float apply(float v) { return clamp01((v + 1.0f) * 0.5f); }
};
struct map_abs {
  static float apply(float v) { return clamp01(std::fabs(v)); }
};

template <class Row>
const float* table_for(uint32_t seed) {
  if constexpr (std::is_same_v<Row, simplex_row_t>) {
    (void)seed;
    return nullptr;  // simplex noise has no seed
  } else {
    return seed_value_table(seed);
  }
}

// Pixel x coordinates of one row: float(c) * w.
std::vector<float> column_coords(uint32_t width, float w) {
  std::vector<float> xs(width);
  for (uint32_t c = 0; c < width; ++c) xs[c] = static_cast<float>(c) * w;
  return xs;
}

// The octave sum of one row into acc: every pixel adds its octaves in the same order as the
// per-pixel formula, lofreq first.
template <class Row, class Term>
void octave_sum_row(Row& row, const float* table, const float* xs, float y, const octave_noise_params& p,
                    float* acc, float* noise, uint32_t n) {
  for (uint32_t c = 0; c < n; ++c) acc[c] = 0.0f;
  uint32_t count = p.hifreq - p.lofreq + 1u;
  float f = static_cast<float>(p.lofreq), a = 1.0f;
  for (uint32_t i = 0; i < count; ++i) {
    row.start(table, f * y);
    row.eval(f, xs, n, noise);
    for (uint32_t c = 0; c < n; ++c) acc[c] += Term::add(noise[c], a);
    f *= p.lacunarity;
    a *= p.persistence;
  }
}

// Power-of-two turbulence of one row into acc.
template <class Row>
void turbulence_row(Row& row, const float* table, const float* xs, float y, float limit, float* acc,
                    float* noise, uint32_t n) {
  for (uint32_t c = 0; c < n; ++c) acc[c] = 0.0f;
  float f = 1.0f;
  while (limit > f) {
    row.start(table, f * y);
    row.eval(f, xs, n, noise);
    for (uint32_t c = 0; c < n; ++c) acc[c] += std::fabs(noise[c]) / f;
    f *= 2.0f;
  }
}

// Room for a row of noise values: the evaluators may write three past the end.
std::vector<float> noise_scratch(uint32_t width) { return std::vector<float>(std::size_t(width) + 4); }

using octave_body_fn = void (*)(const octave_noise_params&, imgbuf4f&);

template <class Row, class Term, class Map>
void octave_body(const octave_noise_params& p, imgbuf4f& out) {
  const float* table = table_for<Row>(p.seed);
  float w = 1.0f / p.size;
  std::vector<float> xs = column_coords(out.width, w);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    std::vector<float> acc(out.width), noise = noise_scratch(out.width);
    Row row;
    for (uint32_t r = first; r < last; ++r) {
      float y = static_cast<float>(r) * w;
      octave_sum_row<Row, Term>(row, table, xs.data(), y, p, acc.data(), noise.data(), out.width);
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) put_grey(px, Map::apply(acc[c]));
    }
  });
}

const octave_body_fn turbulence_classic[3] = {
    octave_body<cubic_row_t, term_abs, map_clamp>,
    octave_body<linear_row_t, term_abs, map_clamp>,
    octave_body<cosine_row_t, term_abs, map_clamp>,
};
const octave_body_fn turbulence_simplex[2] = {
    octave_body<simplex_row_t, term_scaled, map_clamp>,
    octave_body<simplex_row_t, term_abs, map_clamp>,
};
const octave_body_fn fractal_sum_classic[6] = {
    octave_body<cubic_row_t, term_plain, map_scaled>,  octave_body<linear_row_t, term_plain, map_scaled>,
    octave_body<cosine_row_t, term_plain, map_scaled>, octave_body<cubic_row_t, term_plain, map_abs>,
    octave_body<linear_row_t, term_plain, map_abs>,    octave_body<cosine_row_t, term_plain, map_abs>,
};
const octave_body_fn fractal_sum_simplex[2] = {
    octave_body<simplex_row_t, term_plain, map_scaled>,
    octave_body<simplex_row_t, term_plain, map_abs>,
};

using noise_body_fn = void (*)(const value_noise_params&, imgbuf4f&);

template <class Row, class Map>
void noise_body(const value_noise_params& p, imgbuf4f& out) {
  const float* table = table_for<Row>(p.seed);
  float w = 1.0f / p.size;
  std::vector<float> xs = column_coords(out.width, w);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    std::vector<float> noise = noise_scratch(out.width);
    Row row;
    for (uint32_t r = first; r < last; ++r) {
      row.start(table, static_cast<float>(r) * w);
      row.eval(1.0f, xs.data(), out.width, noise.data());
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) put_grey(px, Map::apply(noise[c]));
    }
  });
}

const noise_body_fn noise_classic[6] = {
    noise_body<cubic_row_t, map_scaled>, noise_body<linear_row_t, map_scaled>,
    noise_body<cosine_row_t, map_scaled>, noise_body<cubic_row_t, map_abs>,
    noise_body<linear_row_t, map_abs>,   noise_body<cosine_row_t, map_abs>,
};
const noise_body_fn noise_simplex[2] = {
    noise_body<simplex_row_t, map_scaled>,
    noise_body<simplex_row_t, map_abs>,
};

// Marble veins: the direction decides which coordinate the turbulence displaces.
struct veins_horizontal {
  static float value(float t, float, float y, float pi) {
    return clamp01((std::sin(pi * (t + y)) + 1.0f) * 0.5f);
  }
};
struct veins_vertical {
  static float value(float t, float x, float, float pi) {
    return clamp01((std::sin(pi * (t + x)) + 1.0f) * 0.5f);
  }
};
struct veins_both {
  static float value(float t, float x, float y, float pi) {
    return clamp01((std::sin(pi * (t + x)) + 1.0f) * 0.25f + (std::sin(pi * (t + y)) + 1.0f) * 0.25f);
  }
};

using marble_body_fn = void (*)(const marble_params&, imgbuf4f&);

template <class Row, class Veins>
void marble_body(const marble_params& p, imgbuf4f& out) {
  const float* table = table_for<Row>(p.seed);
  const float pi = noise_detail::pi_f();
  float w = 1.0f / p.size;
  float limit = static_cast<float>(1u << p.octaves);
  std::vector<float> xs = column_coords(out.width, w);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    std::vector<float> acc(out.width), noise = noise_scratch(out.width);
    Row row;
    for (uint32_t r = first; r < last; ++r) {
      float y = static_cast<float>(r) * w;
      turbulence_row(row, table, xs.data(), y, limit, acc.data(), noise.data(), out.width);
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) {
        float t = acc[c] * p.amplitude;
        put_grey(px, Veins::value(t, xs[c], y, pi));
      }
    }
  });
}

const marble_body_fn marble_bodies[9] = {
    marble_body<cubic_row_t, veins_horizontal>, marble_body<linear_row_t, veins_horizontal>,
    marble_body<cosine_row_t, veins_horizontal>, marble_body<cubic_row_t, veins_vertical>,
    marble_body<linear_row_t, veins_vertical>,   marble_body<cosine_row_t, veins_vertical>,
    marble_body<cubic_row_t, veins_both>,        marble_body<linear_row_t, veins_both>,
    marble_body<cosine_row_t, veins_both>,
};

using wood_body_fn = void (*)(const wood_rings_params&, imgbuf4f&);

template <class Row>
void wood_body(const wood_rings_params& p, imgbuf4f& out) {
  const float* table = table_for<Row>(p.seed);
  const float two_pi = noise_detail::two_pi_f();
  float cx = static_cast<float>(out.width - 1) * 0.5f;
  float cy = static_cast<float>(out.height - 1) * 0.5f;
  float period = cx / static_cast<float>(p.octave);
  float limit = static_cast<float>(1u << p.toctaves);
  // The noise lattice has a fixed scale of 16 pixels a cell.
  std::vector<float> xs = column_coords(out.width, 0.0625f);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    std::vector<float> acc(out.width), noise = noise_scratch(out.width);
    Row row;
    for (uint32_t r = first; r < last; ++r) {
      turbulence_row(row, table, xs.data(), static_cast<float>(r) * 0.0625f, limit, acc.data(), noise.data(),
                     out.width);
      float dy = static_cast<float>(r) - cy;
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) {
        float t = acc[c] * p.amplitude;
        float dx = static_cast<float>(c) - cx;
        float d = std::sqrt(dx * dx + dy * dy) / period;
        put_grey(px, (std::cos(two_pi * (d + t)) + 1.0f) * 0.5f);
      }
    }
  });
}

const wood_body_fn wood_bodies[3] = {wood_body<cubic_row_t>, wood_body<linear_row_t>, wood_body<cosine_row_t>};

}  // namespace

// ---- fills -----------------------------------------------------------------------------------------

void fill_sine_plasma(const sine_plasma_params& p, imgbuf4f& out) {
  const float D = static_cast<float>(std::atan(1.0) * 4.0 / 180.0);
  std::vector<float> sx(out.width);
  for (uint32_t c = 0; c < out.width; ++c) sx[c] = std::sin(static_cast<float>(c) * p.xphase * D);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      float sy = std::sin(static_cast<float>(r) * p.yphase * D);
      float* px = row_ptr(out, r);
      for (uint32_t c = 0; c < out.width; ++c, px += 4) put_grey(px, (sx[c] + 2.0f + sy) * 0.25f);
    }
  });
}

void fill_turbulence(const octave_noise_params& p, imgbuf4f& out) {
  // With classic noise the mapping has no effect.
  (p.noise == 0 ? turbulence_classic[p.interp] : turbulence_simplex[p.mapping])(p, out);
}

void fill_fractal_sum(const octave_noise_params& p, imgbuf4f& out) {
  (p.noise == 0 ? fractal_sum_classic[p.mapping * 3 + p.interp] : fractal_sum_simplex[p.mapping])(p, out);
}

void fill_marble(const marble_params& p, imgbuf4f& out) { marble_bodies[p.direction * 3 + p.interp](p, out); }

void fill_wood_rings(const wood_rings_params& p, imgbuf4f& out) { wood_bodies[p.interp](p, out); }

void fill_value_noise(const value_noise_params& p, imgbuf4f& out) {
  (p.type == 0 ? noise_classic[p.mapping * 3 + p.interp] : noise_simplex[p.mapping])(p, out);
}

void fill_bit_glitch(imgbuf4f& out) {
  // One register run over the whole image, three steps a pixel: the same image on every render.
  uint32_t s = 42330;
  std::size_t n = static_cast<std::size_t>(out.width) * out.height;
  float* px = out.pixels;
  for (std::size_t i = 0; i < n; ++i, px += 4) {
    for (int ch = 0; ch < 3; ++ch) {
      s = lfsr32_step(s);
      uint32_t bits = (s & 0x7FFFFFu) | ((s & 0x800000u) ? 0x3F000000u : 0x3E800000u);
      px[ch] = std::bit_cast<float>(bits);
    }
    px[3] = 1.0f;
  }
}

// ---- routines --------------------------------------------------------------------------------------

void render_SinePlasma(shadetree_node_t& node, const renderctx& ctx) {
  fill_sine_plasma(fetch_sine_plasma_params(node, ctx), *ctx.target_buf);
}
void render_Turbulence(shadetree_node_t& node, const renderctx& ctx) {
  fill_turbulence(fetch_octave_noise_params(node, ctx), *ctx.target_buf);
}
void render_FractalSum(shadetree_node_t& node, const renderctx& ctx) {
  fill_fractal_sum(fetch_octave_noise_params(node, ctx), *ctx.target_buf);
}
void render_Marble(shadetree_node_t& node, const renderctx& ctx) {
  fill_marble(fetch_marble_params(node, ctx), *ctx.target_buf);
}
void render_WoodRings(shadetree_node_t& node, const renderctx& ctx) {
  fill_wood_rings(fetch_wood_rings_params(node, ctx), *ctx.target_buf);
}
void render_Noise(shadetree_node_t& node, const renderctx& ctx) {
  fill_value_noise(fetch_value_noise_params(node, ctx), *ctx.target_buf);
}
void render_BitGlitch(shadetree_node_t&, const renderctx& ctx) { fill_bit_glitch(*ctx.target_buf); }

}  // namespace quorin_engine
