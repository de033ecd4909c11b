// The noise generators against a small reference of the noise written out here, pixel by pixel,
// with no caching and none of the engine's own noise functions.
#include <cmath>
#include <vector>

#include "generator_test_support.h"
#include "nodes/generators/noise.h"
#include "nodes/generators/noise_core.h"

namespace {

using namespace gentest;

namespace ref {

const int P[256] = {
    225, 155, 210, 108, 175, 199, 221, 144, 203, 116, 70, 213, 69, 158, 33, 252, 5, 82, 173, 133, 222, 139,
    174, 27, 9, 71, 90, 246, 75, 130, 91, 191, 169, 138, 2, 151, 194, 235, 81, 7, 25, 113, 228, 159, 205, 253,
    134, 142, 248, 65, 224, 217, 22, 121, 229, 63, 89, 103, 96, 104, 156, 17, 201, 129, 36, 8, 165, 110, 237,
    117, 231, 56, 132, 211, 152, 20, 181, 111, 239, 218, 170, 163, 51, 172, 157, 47, 80, 212, 176, 250, 87, 49,
    99, 242, 136, 189, 162, 115, 44, 43, 124, 94, 150, 16, 141, 247, 32, 10, 198, 223, 255, 72, 53, 131, 84,
    57, 220, 197, 58, 50, 208, 11, 241, 28, 3, 192, 62, 202, 18, 215, 153, 24, 76, 41, 15, 179, 39, 46, 55, 6,
    128, 167, 23, 188, 106, 34, 187, 140, 164, 73, 112, 182, 244, 195, 227, 13, 35, 77, 196, 185, 26, 200,
    226, 119, 31, 123, 168, 125, 249, 68, 183, 230, 177, 135, 160, 180, 12, 1, 243, 148, 102, 166, 38, 238,
    251, 37, 240, 126, 64, 74, 161, 40, 184, 149, 171, 178, 101, 66, 29, 59, 146, 61, 254, 107, 42, 86, 154, 4,
    236, 232, 120, 21, 233, 209, 45, 98, 193, 114, 78, 19, 206, 14, 118, 127, 48, 79, 147, 85, 30, 207, 219,
    54, 88, 234, 190, 122, 95, 67, 143, 109, 137, 214, 145, 93, 92, 100, 245, 0, 216, 186, 60, 83, 105, 97,
    204, 52};

// The register as its polynomial says: the new top bit is bit 0 ^ bit 10 ^ bit 30 ^ bit 31.
uint32_t step(uint32_t s) {
  uint32_t fb = (s ^ (s >> 10) ^ (s >> 30) ^ (s >> 31)) & 1u;
  return (fb << 31) | (s >> 1);
}

std::vector<float> table(uint32_t seed, bool base) {
  std::vector<float> t(256);
  uint32_t s = seed ? seed : 42330u;
  for (float& v : t) {
    s = step(s);
    float f = float(double(s & 0x7FFFFFFFu) / 2147483647.0);
    v = base ? f : f * 2.0f - 1.0f;
  }
  return t;
}

float lat(const std::vector<float>& T, int ix, int iy) { return T[P[(P[iy & 255] + ix) & 255]]; }

float cr(float a, float b, float c, float d, float t) {
  return (((1.5f * b - 0.5f * a - 1.5f * c + 0.5f * d) * t + (a - 2.5f * b + 2.0f * c - 0.5f * d)) * t +
          (0.5f * c - 0.5f * a)) * t + b;
}

const float PI = float(std::atan(1.0) * 4.0);

float cubic(const std::vector<float>& T, float x, float y) {
  float fx = std::floor(x), fy = std::floor(y);
  float tx = x - fx, ty = y - fy;
  int ix = int(fx), iy = int(fy);
  float r[4];
  for (int j = -1; j <= 2; ++j)
    r[j + 1] = cr(lat(T, ix - 1, iy + j), lat(T, ix, iy + j), lat(T, ix + 1, iy + j), lat(T, ix + 2, iy + j), tx);
  return cr(r[0], r[1], r[2], r[3], ty);
}

float blend(const std::vector<float>& T, int ix, int iy, float tx, float ty) {
  return (1 - ty) * (1 - tx) * lat(T, ix, iy) + (1 - ty) * tx * lat(T, ix + 1, iy) +
         (1 - tx) * ty * lat(T, ix, iy + 1) + ty * tx * lat(T, ix + 1, iy + 1);
}
float linear(const std::vector<float>& T, float x, float y) {
  float fx = std::floor(x), fy = std::floor(y);
  return blend(T, int(fx), int(fy), x - fx, y - fy);
}
float cosine(const std::vector<float>& T, float x, float y) {
  float fx = std::floor(x), fy = std::floor(y);
  float sx = (1.0f - std::cos(PI * (x - fx))) * 0.5f, sy = (1.0f - std::cos(PI * (y - fy))) * 0.5f;
  return blend(T, int(fx), int(fy), sx, sy);
}
float classic(int interp, const std::vector<float>& T, float x, float y) {
  return interp == 0 ? cubic(T, x, y) : interp == 1 ? linear(T, x, y) : cosine(T, x, y);
}

float simplex(float x, float y) {
  const int grad[12][2] = {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}, {1, 0}, {-1, 0},
                           {1, 0}, {-1, 0}, {0, 1},  {0, -1}, {0, 1},  {0, -1}};
  const float r3 = std::sqrt(3.0f);
  const float F2 = (r3 - 1.0f) * 0.5f, G2 = (3.0f - r3) / 6.0f;
  float s = (x + y) * F2;
  int i = int(std::floor(x + s)), j = int(std::floor(y + s));
  float t = float(i + j) * G2;
  float xs[3], ys[3];
  xs[0] = x - (float(i) - t);
  ys[0] = y - (float(j) - t);
  int i1 = xs[0] > ys[0] ? 1 : 0, j1 = 1 - i1;
  xs[1] = xs[0] - float(i1) + G2;
  ys[1] = ys[0] - float(j1) + G2;
  xs[2] = xs[0] - 1.0f + 2.0f * G2;
  ys[2] = ys[0] - 1.0f + 2.0f * G2;
  int ii = i & 255, jj = j & 255;
  int g[3] = {P[(P[jj] + ii) & 255], P[(P[(jj + j1) & 255] + ii + i1) & 255], P[(P[(jj + 1) & 255] + ii + 1) & 255]};
  float n[3];
  for (int k = 0; k < 3; ++k) {
    float tk = 0.5f - xs[k] * xs[k] - ys[k] * ys[k];
    if (tk < 0) {
      n[k] = 0;
    } else {
      float t2 = tk * tk;
      n[k] = t2 * t2 * (float(grad[g[k] % 12][0]) * xs[k] + float(grad[g[k] % 12][1]) * ys[k]);
    }
  }
  return 70.0f * (n[0] + n[1] + n[2]);
}

float clamp01(float v) { return v < 0 ? 0 : v > 1 ? 1 : v; }

// One octave sum at a pixel. kind: 0 plain, 1 abs, 2 scaled.
template <class N>
float sum(N noise, int kind, float x, float y, const octave_noise_params& p) {
  uint32_t count = p.hifreq - p.lofreq + 1;
  float f = float(p.lofreq), a = 1, s = 0;
  for (uint32_t i = 0; i < count; ++i) {
    float n = noise(f * x, f * y);
    s += kind == 0 ? n * a : kind == 1 ? std::fabs(n) * a : (n + 1.0f) * 0.5f * a;
    f *= p.lacunarity;
    a *= p.persistence;
  }
  return s;
}

template <class N>
float turbulence(N noise, float x, float y, float limit) {
  float f = 1, s = 0;
  while (limit > f) {
    s += std::fabs(noise(f * x, f * y)) / f;
    f *= 2;
  }
  return s;
}

}  // namespace ref

image_ptr fill(void (*f)(const octave_noise_params&, imgbuf4f&), const octave_noise_params& p, uint32_t w = 37,
               uint32_t h = 23) {
  image_ptr img = make_target(w, h);
  f(p, *img);
  return img;
}

// The turbulence and fractal-sum reference of one parameter record.
px4 ref_octaves(bool fractal, const octave_noise_params& p, uint32_t c, uint32_t r) {
  std::vector<float> T = ref::table(p.seed, false);
  float w = 1.0f / p.size;
  float x = float(c) * w, y = float(r) * w;
  auto cl = [&](float a, float b) { return ref::classic(int(p.interp), T, a, b); };
  auto sx = [](float a, float b) { return ref::simplex(a, b); };
  float v;
  if (!fractal) {
    if (p.noise == 0)
      v = ref::sum(cl, 1, x, y, p);
    else
      v = ref::sum(sx, p.mapping == 0 ? 2 : 1, x, y, p);
    return grey(ref::clamp01(v));
  }
  v = p.noise == 0 ? ref::sum(cl, 0, x, y, p) : ref::sum(sx, 0, x, y, p);
  return grey(ref::clamp01(p.mapping == 0 ? (v + 1.0f) * 0.5f : std::fabs(v)));
}

TEST(NoiseCore, RegisterTablesAndPrimitives) {
  // The register against its polynomial over a long run.
  uint32_t a = 42330, b = 42330;
  for (int i = 0; i < 100000; ++i) {
    a = lfsr32_step(a);
    b = ref::step(b);
    ASSERT_EQ(a, b) << "step " << i;
  }
  // Seed 0 starts at 42330 and is the base table mapped to -1..1.
  std::vector<float> base = ref::table(0, true), seed0 = ref::table(0, false), seed5000 = ref::table(5000, false);
  const float* eb = base_value_table();
  const float* e0 = seed_value_table(0);
  const float* e5000 = seed_value_table(5000);
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(eb[i], base[i]);
    EXPECT_EQ(e0[i], seed0[i]);
    EXPECT_EQ(e0[i], eb[i] * 2.0f - 1.0f);
    EXPECT_EQ(e5000[i], seed5000[i]);
    EXPECT_GE(eb[i], 0.0f);
    EXPECT_LE(eb[i], 1.0f);
  }
  // Primitives at points off and on the lattice, also left of and above the origin.
  std::vector<float> t7 = ref::table(7, false);
  const float pts[][2] = {{0, 0}, {0.3f, 0.7f}, {-1.25f, 3.5f}, {17.9f, -4.1f}, {255.5f, 256.25f}, {1000.1f, 2.0f}};
  for (auto& pt : pts) {
    float x = pt[0], y = pt[1];
    EXPECT_EQ(classic_cubic(x, y, 7), ref::cubic(t7, x, y)) << x << "," << y;
    EXPECT_EQ(classic_linear(x, y, 7), ref::linear(t7, x, y)) << x << "," << y;
    EXPECT_EQ(classic_cosine(x, y, 7), ref::cosine(t7, x, y)) << x << "," << y;
    EXPECT_EQ(simplex2(x, y), ref::simplex(x, y)) << x << "," << y;
    EXPECT_EQ(base_cubic_noise(x, y), ref::cubic(base, x, y)) << x << "," << y;
    auto bn = [&](float u, float v) { return ref::cubic(base, u, v) * 2.0f - 1.0f; };
    EXPECT_EQ(base_turbulence(x, y, 16.0f), ref::turbulence(bn, x, y, 16.0f));
  }
  // The row evaluators of the generators give the plain functions' values for any x, also out of
  // order, negative, repeated or spread over many cells.
  const float xs[] = {0.0f, 0.1f, 0.2f, 0.9f, 1.0f, 1.05f, 7.5f, -3.25f, -3.25f, 2.0f, 300.7f, 0.4f, 0.41f};
  const uint32_t n = sizeof xs / sizeof xs[0];
  const float* t7p = seed_value_table(7);
  for (float y : {0.0f, 2.75f, -1.5f}) {
    for (float f : {1.0f, 2.3f}) {
      std::vector<float> cub(n + 3), lin(n + 3), cosv(n + 3), sim(n + 3);
      cubic_row_t cr;
      linear_row_t lr;
      cosine_row_t cs;
      simplex_row_t sr;
      cr.start(t7p, y);
      lr.start(t7p, y);
      cs.start(t7p, y);
      sr.start(nullptr, y);
      cr.eval(f, xs, n, cub.data());
      lr.eval(f, xs, n, lin.data());
      cs.eval(f, xs, n, cosv.data());
      sr.eval(f, xs, n, sim.data());
      for (uint32_t i = 0; i < n; ++i) {
        EXPECT_EQ(cub[i], ref::cubic(t7, f * xs[i], y)) << i;
        EXPECT_EQ(lin[i], ref::linear(t7, f * xs[i], y)) << i;
        EXPECT_EQ(cosv[i], ref::cosine(t7, f * xs[i], y)) << i;
        EXPECT_EQ(sim[i], ref::simplex(f * xs[i], y)) << i;
      }
    }
  }
  // A lattice value reads only the low eight bits of y.
  EXPECT_EQ(lattice_value(5, 3, 7), lattice_value(5, 3 + 256, 7));
  EXPECT_EQ(lattice_value(5, 3, 7), t7[ref::P[(ref::P[3] + 5) & 255]]);
}

TEST(NoiseGenerators, TurbulenceAndFractalSumEveryVariant) {
  octave_noise_params p;
  p.size = 5.5f;
  p.lofreq = 2;
  p.hifreq = 4;
  p.lacunarity = 2.3f;
  p.persistence = 0.6f;
  p.seed = 7;
  for (uint32_t noise = 0; noise < 2; ++noise)
    for (uint32_t mapping = 0; mapping < 2; ++mapping)
      for (uint32_t interp = 0; interp < 3; ++interp) {
        p.noise = noise;
        p.mapping = mapping;
        p.interp = interp;
        SCOPED_TRACE(::testing::Message() << "noise " << noise << " mapping " << mapping << " interp " << interp);
        EXPECT_TRUE(same_image(*fill(fill_turbulence, p), [&](uint32_t c, uint32_t r) {
          return ref_octaves(false, p, c, r);
        }));
        EXPECT_TRUE(same_image(*fill(fill_fractal_sum, p), [&](uint32_t c, uint32_t r) {
          return ref_octaves(true, p, c, r);
        }));
      }
}

TEST(NoiseGenerators, OctaveEdgeCases) {
  octave_noise_params p;
  // Zero octaves: hifreq one below lofreq.
  p.lofreq = 5;
  p.hifreq = 4;
  EXPECT_TRUE(uniform_image(*fill(fill_turbulence, p), grey(0.0f)));
  EXPECT_TRUE(uniform_image(*fill(fill_fractal_sum, p), grey(0.5f)));
  p.mapping = 1;
  EXPECT_TRUE(uniform_image(*fill(fill_fractal_sum, p), grey(0.0f)));

  // Simplex noise ignores the seed (and the interpolation).
  octave_noise_params s;
  s.noise = 1;
  image_ptr a = fill(fill_turbulence, s);
  s.seed = 4321;
  s.interp = 2;
  image_ptr b = fill(fill_turbulence, s);
  EXPECT_TRUE(same_image(*b, [&](uint32_t c, uint32_t r) { return pixel(*a, c, r); }));

  // Persistence 0: only the first octave counts.
  octave_noise_params q;
  q.persistence = 0.0f;
  q.seed = 3;
  octave_noise_params one = q;
  one.hifreq = 1;
  image_ptr all = fill(fill_fractal_sum, q);
  image_ptr first = fill(fill_fractal_sum, one);
  EXPECT_TRUE(same_image(*all, [&](uint32_t c, uint32_t r) { return pixel(*first, c, r); }));
}

TEST(NoiseGenerators, NoiseEveryVariant) {
  value_noise_params p;
  p.size = 3.7f;
  p.seed = 11;
  for (uint32_t type = 0; type < 2; ++type)
    for (uint32_t mapping = 0; mapping < 2; ++mapping)
      for (uint32_t interp = 0; interp < 3; ++interp) {
        p.type = type;
        p.mapping = mapping;
        p.interp = interp;
        SCOPED_TRACE(::testing::Message() << "type " << type << " mapping " << mapping << " interp " << interp);
        image_ptr img = make_target(37, 23);
        fill_value_noise(p, *img);
        std::vector<float> T = ref::table(p.seed, false);
        EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
          float w = 1.0f / p.size;
          float x = float(c) * w, y = float(r) * w;
          float n = type == 0 ? ref::classic(int(interp), T, x, y) : ref::simplex(x, y);
          return grey(ref::clamp01(mapping == 0 ? (n + 1.0f) * 0.5f : std::fabs(n)));
        }));
      }
}

TEST(NoiseGenerators, MarbleEveryDirectionAndInterpolation) {
  marble_params p;
  p.size = 9.0f;
  p.octaves = 3;
  p.amplitude = 0.7f;
  p.seed = 42;
  std::vector<float> T = ref::table(p.seed, false);
  for (uint32_t dir = 0; dir < 3; ++dir)
    for (uint32_t interp = 0; interp < 3; ++interp) {
      p.direction = dir;
      p.interp = interp;
      SCOPED_TRACE(::testing::Message() << "direction " << dir << " interp " << interp);
      image_ptr img = make_target(37, 23);
      fill_marble(p, *img);
      EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
        float w = 1.0f / p.size;
        float x = float(c) * w, y = float(r) * w;
        auto n = [&](float a, float b) { return ref::classic(int(interp), T, a, b); };
        float t = ref::turbulence(n, x, y, float(1u << p.octaves)) * p.amplitude;
        float sx = std::sin(ref::PI * (t + x)), sy = std::sin(ref::PI * (t + y));
        float v = dir == 0 ? (sy + 1.0f) * 0.5f : dir == 1 ? (sx + 1.0f) * 0.5f
                                                              : (sx + 1.0f) * 0.25f + (sy + 1.0f) * 0.25f;
        return grey(ref::clamp01(v));
      }));
    }
}

TEST(NoiseGenerators, WoodRingsEveryInterpolation) {
  wood_rings_params p;
  p.octave = 3;
  p.toctaves = 2;
  p.amplitude = 0.4f;
  p.seed = 5;
  std::vector<float> T = ref::table(p.seed, false);
  const float two_pi = float(std::atan(1.0) * 8.0);
  for (uint32_t interp = 0; interp < 3; ++interp) {
    p.interp = interp;
    SCOPED_TRACE(::testing::Message() << "interp " << interp);
    image_ptr img = make_target(37, 23);
    fill_wood_rings(p, *img);
    EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
      auto n = [&](float a, float b) { return ref::classic(int(interp), T, a, b); };
      float t = ref::turbulence(n, float(c) * 0.0625f, float(r) * 0.0625f, float(1u << p.toctaves)) * p.amplitude;
      float cx = 36 * 0.5f, cy = 22 * 0.5f;
      float d = std::sqrt((float(c) - cx) * (float(c) - cx) + (float(r) - cy) * (float(r) - cy)) / (cx / 3.0f);
      return grey((std::cos(two_pi * (d + t)) + 1.0f) * 0.5f);
    }));
  }
  // One column: the period is 0 and the values follow the float rules (not a number at the
  // centre row, cos of infinity elsewhere), with alpha 1 throughout.
  image_ptr thin = make_target(1, 5);
  fill_wood_rings(p, *thin);
  for (uint32_t r = 0; r < 5; ++r) {
    EXPECT_TRUE(std::isnan(pixel(*thin, 0, r)[0]));
    EXPECT_EQ(pixel(*thin, 0, r)[3], 1.0f);
  }
}

TEST(NoiseGenerators, SinePlasmaAndBitGlitch) {
  const float D = float(std::atan(1.0) * 4.0 / 180.0);
  sine_plasma_params p;
  p.xphase = 7.5f;
  p.yphase = 1.25f;
  image_ptr img = make_target(37, 23);
  fill_sine_plasma(p, *img);
  EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
    return grey((std::sin(float(c) * 7.5f * D) + 2.0f + std::sin(float(r) * 1.25f * D)) * 0.25f);
  }));
  p.xphase = p.yphase = 0.0f;
  fill_sine_plasma(p, *img);
  EXPECT_TRUE(uniform_image(*img, grey(0.5f)));

  // BitGlitch: three register steps a pixel from 42330, running on across rows.
  uint32_t s = 42330;
  std::vector<px4> want;
  for (int i = 0; i < 37 * 23; ++i) {
    px4 v{0, 0, 0, 1.0f};
    for (int ch = 0; ch < 3; ++ch) {
      s = ref::step(s);
      uint32_t bits = (s & 0x7FFFFFu) | ((s >> 23) & 1u ? 0x3F000000u : 0x3E800000u);
      v[ch] = std::bit_cast<float>(bits);
      EXPECT_GE(v[ch], 0.25f);
      EXPECT_LT(v[ch], 1.0f);
    }
    want.push_back(v);
  }
  for (int twice = 0; twice < 2; ++twice) {
    image_ptr g = render_node(34, {}, 37, 23, render_BitGlitch);
    EXPECT_TRUE(same_image(*g, [&](uint32_t c, uint32_t r) { return want[r * 37 + c]; }));
  }
}

// Through the node at the catalogue's defaults (3 octaves, cubic, seed 0).
TEST(NoiseGenerators, RenderedFromNodesAtDefaults) {
  octave_noise_params d;
  image_ptr t = render_node(14, {}, 37, 23, render_Turbulence);
  EXPECT_TRUE(same_image(*t, [&](uint32_t c, uint32_t r) { return ref_octaves(false, d, c, r); }));
  image_ptr f = render_node(15, {}, 37, 23, render_FractalSum);
  EXPECT_TRUE(same_image(*f, [&](uint32_t c, uint32_t r) { return ref_octaves(true, d, c, r); }));
  std::vector<float> T0 = ref::table(0, false);
  image_ptr m = render_node(16, {}, 37, 23, render_Marble);
  EXPECT_TRUE(same_image(*m, [&](uint32_t c, uint32_t r) {
    float w = 1.0f / 16.0f, x = float(c) * w, y = float(r) * w;
    float tt = ref::turbulence([&](float a, float b) { return ref::cubic(T0, a, b); }, x, y, 2.0f) * 1.0f;
    return grey(ref::clamp01((std::sin(ref::PI * (tt + y)) + 1.0f) * 0.5f));
  }));
}

}  // namespace

namespace {

TEST(NoiseGenerators, ParametersReadAndClamped) {
  engine_up();
  renderctx ctx{};
  shadetree_node_t t(14);
  set_params(t, {{u"size", u"0.5"}, {u"noise", u"simplex"}, {u"lofreq", u"0"}, {u"hifreq", u"20"},
                 {u"lacunarity", u"9"}, {u"persistence", u"-1"}, {u"mapping", u"abs"}, {u"interp", u"cosine"},
                 {u"seed", u"6000"}});
  octave_noise_params p = fetch_octave_noise_params(t, ctx);
  EXPECT_EQ(p.size, 1.0f);
  EXPECT_EQ(p.noise, 1u);
  EXPECT_EQ(p.lofreq, 1u);
  EXPECT_EQ(p.hifreq, 15u);
  EXPECT_EQ(p.lacunarity, 4.0f);
  EXPECT_EQ(p.persistence, 0.0f);
  EXPECT_EQ(p.mapping, 1u);
  EXPECT_EQ(p.interp, 2u);
  EXPECT_EQ(p.seed, 5000u);  // above 5000 reads as 5000
  set_params(t, {{u"size", u"300"}, {u"lacunarity", u"1"}, {u"persistence", u"2"}, {u"seed", nullptr}});
  p = fetch_octave_noise_params(t, ctx);
  EXPECT_EQ(p.size, 250.0f);
  EXPECT_EQ(p.lacunarity, 1.5f);
  EXPECT_EQ(p.persistence, 1.0f);
  EXPECT_EQ(p.seed, 0u);  // unset reads as 0

  // Marble: a connected value of 1.0 on the three-value direction gives 3, limited to "both".
  shadetree_node_t k(17), m(16);
  set_params(k, {{u"value", u"1.0"}});
  m.input_connections[u"direction"] = &k;
  set_params(m, {{u"size", u"0"}, {u"octaves", u"9"}, {u"amplitude", u"1.5"}});
  marble_params mp = fetch_marble_params(m, ctx);
  EXPECT_EQ(mp.direction, 2u);
  EXPECT_EQ(mp.size, 1.0f);
  EXPECT_EQ(mp.octaves, 8u);
  EXPECT_EQ(mp.amplitude, 1.0f);

  shadetree_node_t w(27);
  set_params(w, {{u"octave", u"7"}, {u"toctaves", u"0"}, {u"amplitude", u"-0.5"}, {u"interp", u"linear"}});
  wood_rings_params wp = fetch_wood_rings_params(w, ctx);
  EXPECT_EQ(wp.octave, 6u);
  EXPECT_EQ(wp.toctaves, 1u);
  EXPECT_EQ(wp.amplitude, 0.0f);
  EXPECT_EQ(wp.interp, 1u);

  shadetree_node_t n(33);
  set_params(n, {{u"type", u"simplex"}, {u"mapping", u"abs"}, {u"size", u"251"}, {u"interp", u"no such"}});
  value_noise_params np = fetch_value_noise_params(n, ctx);
  EXPECT_EQ(np.type, 1u);
  EXPECT_EQ(np.mapping, 1u);
  EXPECT_EQ(np.size, 250.0f);
  EXPECT_EQ(np.interp, 0u);

  // SinePlasma uses its phases as read.
  shadetree_node_t s(1);
  set_params(s, {{u"xphase", u"40"}, {u"yphase", u"-5"}});
  sine_plasma_params sp = fetch_sine_plasma_params(s, ctx);
  EXPECT_EQ(sp.xphase, 40.0f);
  EXPECT_EQ(sp.yphase, -5.0f);
}

TEST(NoiseGenerators, SeedsAndEdgeCasesThroughNodes) {
  auto turb = [](params_list p) { return render_node(14, p, 37, 23, render_Turbulence); };
  image_ptr unset = turb({{u"seed", nullptr}});
  image_ptr zero = turb({{u"seed", u"0"}});
  EXPECT_TRUE(same_image(*zero, [&](uint32_t c, uint32_t r) { return pixel(*unset, c, r); }));
  image_ptr s5000 = turb({{u"seed", u"5000"}});
  image_ptr s6000 = turb({{u"seed", u"6000"}});
  image_ptr s4999 = turb({{u"seed", u"4999"}});
  EXPECT_TRUE(same_image(*s6000, [&](uint32_t c, uint32_t r) { return pixel(*s5000, c, r); }));
  EXPECT_FALSE(same_image(*s4999, [&](uint32_t c, uint32_t r) { return pixel(*s5000, c, r); }));
  EXPECT_FALSE(same_image(*zero, [&](uint32_t c, uint32_t r) { return pixel(*s5000, c, r); }));

  // Zero octaves.
  EXPECT_TRUE(uniform_image(*turb({{u"lofreq", u"5"}, {u"hifreq", u"4"}}), grey(0.0f)));
  EXPECT_TRUE(uniform_image(*render_node(15, {{u"lofreq", u"5"}, {u"hifreq", u"4"}}, 37, 23, render_FractalSum),
                            grey(0.5f)));
  EXPECT_TRUE(uniform_image(
      *render_node(15, {{u"lofreq", u"5"}, {u"hifreq", u"4"}, {u"mapping", u"abs"}}, 37, 23, render_FractalSum),
      grey(0.0f)));

  // Simplex noise ignores the seed.
  using routine_fn = void (*)(shadetree_node_t&, const renderctx&);
  for (auto [id, routine] : {std::pair<uint32_t, routine_fn>{33u, render_Noise}, {14u, render_Turbulence},
                             {15u, render_FractalSum}}) {
    const char16_t* key = id == 33 ? u"type" : u"noise";
    image_ptr a = render_node(id, {{key, u"simplex"}, {u"seed", u"1"}}, 37, 23, routine);
    image_ptr b = render_node(id, {{key, u"simplex"}, {u"seed", u"77"}}, 37, 23, routine);
    EXPECT_TRUE(same_image(*b, [&](uint32_t c, uint32_t r) { return pixel(*a, c, r); })) << id;
  }

  // Parameters from their texts give the image of the same record.
  octave_noise_params p;
  p.size = 5.5f;
  p.lofreq = 2;
  p.hifreq = 4;
  p.lacunarity = 2.25f;
  p.persistence = 0.75f;
  p.interp = 1;
  p.seed = 7;
  image_ptr want = fill(fill_fractal_sum, p);
  image_ptr got = render_node(15,
                              {{u"size", u"5.5"}, {u"lofreq", u"2"}, {u"hifreq", u"4"}, {u"lacunarity", u"2.25"},
                               {u"persistence", u"0.75"}, {u"interp", u"linear"}, {u"seed", u"7"}},
                              37, 23, render_FractalSum);
  EXPECT_TRUE(same_image(*got, [&](uint32_t c, uint32_t r) { return pixel(*want, c, r); }));

  EXPECT_TRUE(uniform_image(*render_node(1, {{u"xphase", u"0"}, {u"yphase", u"0"}}, 37, 23, render_SinePlasma),
                            grey(0.5f)));
}

}  // namespace
