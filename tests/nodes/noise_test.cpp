// The noise generators against a reference of the noise written out here, pixel by pixel, with no
// caching and none of the engine's own noise functions.
#include <cmath>
#include <tuple>
#include <vector>

#include "generator_test_support.h"
#include "nodes/generators/noise.h"
#include "nodes/generators/noise_core.h"
#include "nodes/operators/blur.h"

namespace {

using namespace gentest;
using table_t = std::vector<float>;

namespace ref {

const int P[256] = {
    225, 155, 210, 108, 175, 199, 221, 144, 203, 116, 70, 213, 69, 158, 33, 252, 5, 82, 173, 133, 222, 139, 174, 27,
    9, 71, 90, 246, 75, 130, 91, 191, 169, 138, 2, 151, 194, 235, 81, 7, 25, 113, 228, 159, 205, 253, 134, 142, 248,
    65, 224, 217, 22, 121, 229, 63, 89, 103, 96, 104, 156, 17, 201, 129, 36, 8, 165, 110, 237, 117, 231, 56, 132,
    211, 152, 20, 181, 111, 239, 218, 170, 163, 51, 172, 157, 47, 80, 212, 176, 250, 87, 49, 99, 242, 136, 189, 162,
    115, 44, 43, 124, 94, 150, 16, 141, 247, 32, 10, 198, 223, 255, 72, 53, 131, 84, 57, 220, 197, 58, 50, 208, 11,
    241, 28, 3, 192, 62, 202, 18, 215, 153, 24, 76, 41, 15, 179, 39, 46, 55, 6, 128, 167, 23, 188, 106, 34, 187,
    140, 164, 73, 112, 182, 244, 195, 227, 13, 35, 77, 196, 185, 26, 200, 226, 119, 31, 123, 168, 125, 249, 68, 183,
    230, 177, 135, 160, 180, 12, 1, 243, 148, 102, 166, 38, 238, 251, 37, 240, 126, 64, 74, 161, 40, 184, 149, 171,
    178, 101, 66, 29, 59, 146, 61, 254, 107, 42, 86, 154, 4, 236, 232, 120, 21, 233, 209, 45, 98, 193, 114, 78, 19,
    206, 14, 118, 127, 48, 79, 147, 85, 30, 207, 219, 54, 88, 234, 190, 122, 95, 67, 143, 109, 137, 214, 145, 93,
    92, 100, 245, 0, 216, 186, 60, 83, 105, 97, 204, 52};

// The register as its polynomial says: the new top bit is bit 0 ^ bit 10 ^ bit 30 ^ bit 31.
uint32_t step(uint32_t s) { return ((s ^ (s >> 10) ^ (s >> 30) ^ (s >> 31)) << 31) | (s >> 1); }

table_t table(uint32_t seed, bool base) {
  table_t t(256);
  uint32_t s = seed ? seed : 42330u;
  for (float& v : t) {
    s = step(s);
    float f = float(double(s & 0x7FFFFFFFu) / 2147483647.0);
    v = base ? f : f * 2.0f - 1.0f;
  }
  return t;
}

float lat(const table_t& T, int ix, int iy) { return T[P[(P[iy & 255] + ix) & 255]]; }

float cr(float a, float b, float c, float d, float t) {
  return (((1.5f * b - 0.5f * a - 1.5f * c + 0.5f * d) * t + (a - 2.5f * b + 2.0f * c - 0.5f * d)) * t +
          (0.5f * c - 0.5f * a)) * t + b;
}

const float PI = float(std::atan(1.0) * 4.0);

// interp: 0 cubic, 1 linear, 2 cosine.
float classic(int interp, const table_t& T, float x, float y) {
  float fx = std::floor(x), fy = std::floor(y), tx = x - fx, ty = y - fy;
  int ix = int(fx), iy = int(fy);
  if (interp == 0) {
    float r[4];
    for (int j = -1; j <= 2; ++j)
      r[j + 1] = cr(lat(T, ix - 1, iy + j), lat(T, ix, iy + j), lat(T, ix + 1, iy + j), lat(T, ix + 2, iy + j), tx);
    return cr(r[0], r[1], r[2], r[3], ty);
  }
  if (interp == 2) {
    tx = (1.0f - std::cos(PI * tx)) * 0.5f;
    ty = (1.0f - std::cos(PI * ty)) * 0.5f;
  }
  return (1 - ty) * (1 - tx) * lat(T, ix, iy) + (1 - ty) * tx * lat(T, ix + 1, iy) +
         (1 - tx) * ty * lat(T, ix, iy + 1) + ty * tx * lat(T, ix + 1, iy + 1);
}

float simplex(float x, float y) {
  const int grad[12][2] = {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}, {1, 0}, {-1, 0},
                           {1, 0}, {-1, 0}, {0, 1},  {0, -1}, {0, 1},  {0, -1}};
  const float r3 = std::sqrt(3.0f), F2 = (r3 - 1.0f) * 0.5f, G2 = (3.0f - r3) / 6.0f;
  float s = (x + y) * F2;
  int i = int(std::floor(x + s)), j = int(std::floor(y + s));
  float t = float(i + j) * G2, x0 = x - (float(i) - t), y0 = y - (float(j) - t);
  int i1 = x0 > y0 ? 1 : 0, j1 = 1 - i1, ii = i & 255, jj = j & 255;
  const float xs[3] = {x0, x0 - float(i1) + G2, x0 - 1.0f + 2.0f * G2};
  const float ys[3] = {y0, y0 - float(j1) + G2, y0 - 1.0f + 2.0f * G2};
  const int g[3] = {P[(P[jj] + ii) & 255], P[(P[(jj + j1) & 255] + ii + i1) & 255],
                    P[(P[(jj + 1) & 255] + ii + 1) & 255]};
  float n[3];
  for (int k = 0; k < 3; ++k) {
    float tk = 0.5f - xs[k] * xs[k] - ys[k] * ys[k], t2 = tk * tk;
    n[k] = tk < 0 ? 0.0f : t2 * t2 * (float(grad[g[k] % 12][0]) * xs[k] + float(grad[g[k] % 12][1]) * ys[k]);
  }
  return 70.0f * (n[0] + n[1] + n[2]);
}

float clamp01(float v) { return v < 0 ? 0 : v > 1 ? 1 : v; }

// kind: 0 plain, 1 abs, 2 scaled.
template <class N>
float sum(N noise, int kind, float x, float y, const octave_noise_params& p) {
  float f = float(p.lofreq), a = 1, s = 0;
  for (uint32_t i = 0, count = p.hifreq - p.lofreq + 1; i < count; ++i, f *= p.lacunarity, a *= p.persistence) {
    float n = noise(f * x, f * y);
    s += kind == 0 ? n * a : kind == 1 ? std::fabs(n) * a : (n + 1.0f) * 0.5f * a;
  }
  return s;
}

template <class N>
float turbulence(N noise, float x, float y, float limit) {
  float f = 1, s = 0;
  for (; limit > f; f *= 2) s += std::fabs(noise(f * x, f * y)) / f;
  return s;
}

}  // namespace ref

// Turbulence (gen 0), FractalSum (1) or Noise (2) at a pixel, all from one parameter record.
float ref_pixel(int gen, const octave_noise_params& p, uint32_t c, uint32_t r) {
  table_t T = ref::table(p.seed, false);
  float w = 1.0f / p.size, x = float(c) * w, y = float(r) * w;
  auto cl = [&](float a, float b) { return ref::classic(int(p.interp), T, a, b); };
  auto sum = [&](int k) { return p.noise == 0 ? ref::sum(cl, k, x, y, p) : ref::sum(ref::simplex, k, x, y, p); };
  if (gen == 0) return ref::clamp01(sum(p.noise == 1 && p.mapping == 0 ? 2 : 1));
  float v = gen == 1 ? sum(0) : p.noise == 0 ? cl(x, y) : ref::simplex(x, y);
  return ref::clamp01(p.mapping == 0 ? (v + 1.0f) * 0.5f : std::fabs(v));
}

TEST(NoiseCore, RegisterTablesAndPrimitivesMatchTheReference) {
  for (uint32_t i = 0, a = 42330, b = 42330; i < 100000; ++i) ASSERT_EQ(a = lfsr32_step(a), b = ref::step(b)) << i;
  const table_t base = ref::table(0, true), t0 = ref::table(0, false), t7 = ref::table(7, false);
  const table_t t5 = ref::table(5000, false);
  for (int i = 0; i < 256; ++i)  // seed 0 starts the register at 42330
    ASSERT_EQ(std::tuple(base_value_table()[i], seed_value_table(0)[i], seed_value_table(5000)[i]),
              std::tuple(base[i], t0[i], t5[i])) << i;
  auto based = [&](float u, float v) { return ref::classic(0, base, u, v) * 2.0f - 1.0f; };
  const float pts[][2] = {{0, 0}, {0.3f, 0.7f}, {-1.25f, 3.5f}, {17.9f, -4.1f}, {255.5f, 256.25f}, {1000.1f, 2.0f}};
  for (auto [x, y] : pts) {
    SCOPED_TRACE(::testing::Message() << x << "," << y);
    EXPECT_EQ(classic_cubic(x, y, 7), ref::classic(0, t7, x, y));
    EXPECT_EQ(classic_linear(x, y, 7), ref::classic(1, t7, x, y));
    EXPECT_EQ(classic_cosine(x, y, 7), ref::classic(2, t7, x, y));
    EXPECT_EQ(simplex2(x, y), ref::simplex(x, y));
    EXPECT_EQ(base_cubic_noise(x, y), ref::classic(0, base, x, y));
    EXPECT_EQ(base_turbulence(x, y, 16.0f), ref::turbulence(based, x, y, 16.0f));
  }
  // A lattice value reads only the low eight bits of y.
  EXPECT_EQ(lattice_value(5, 3 + 256, 7), t7[ref::P[(ref::P[3] + 5) & 255]]);
}

TEST(NoiseGenerators, TurbulenceFractalSumAndNoiseInEveryVariant) {
  octave_noise_params p{5.5f, 0, 2, 4, 2.3f, 0.6f, 0, 0, 7};
  for (p.noise = 0; p.noise < 2; ++p.noise)
    for (p.mapping = 0; p.mapping < 2; ++p.mapping)
      for (p.interp = 0; p.interp < 3; ++p.interp) {
        SCOPED_TRACE(::testing::Message() << "noise " << p.noise << " mapping " << p.mapping << " interp " << p.interp);
        value_noise_params v{p.noise, p.mapping, p.size, p.interp, p.seed};
        image_ptr imgs[3] = {filled(fill_turbulence, p), filled(fill_fractal_sum, p), filled(fill_value_noise, v)};
        for (int gen = 0; gen < 3; ++gen)
          EXPECT_TRUE(same_image(*imgs[gen], [&](uint32_t c, uint32_t r) { return grey(ref_pixel(gen, p, c, r)); }))
              << "generator " << gen;
      }
}

// Cubic rows on both vector widths: cells several pixels wide, cells narrower than a pixel, and
// coordinates past the integer range, where the cells no longer rise along the row.
TEST(NoiseGenerators, CubicRowsOnBothVectorWidths) {
  const octave_noise_params cases[] = {{5.5f, 0, 1, 3, 2.0f, 0.5f, 0, 0, 7},
                                       {1.0f, 0, 1, 4, 4.0f, 0.5f, 0, 0, 7},
                                       {1.0f, 0, 1, 15, 4.0f, 0.9f, 0, 0, 3}};
  for (std::size_t i = 0; i < 3; ++i) {
    auto render = [&](bool wide) {
      const bool was = use_wide_vectors(wide);
      image_ptr img = filled(fill_fractal_sum, cases[i], 45, 5);
      use_wide_vectors(was);
      return img;
    };
    const image_ptr base = render(false), wide = render(true);
    EXPECT_TRUE(same_image(*base, *wide)) << "case " << i;
    if (i < 2) {  // the last case leaves the integer range, where the reference has no defined value
      EXPECT_TRUE(same_image(*wide, [&](uint32_t c, uint32_t r) { return grey(ref_pixel(1, cases[i], c, r)); })) << "case " << i;
    }
  }
}

TEST(NoiseGenerators, MarbleAndWoodRingsInEveryDirectionAndInterpolation) {
  const float two_pi = float(std::atan(1.0) * 8.0);
  marble_params m{9.0f, 3, 0.7f, 0, 0, 42};
  wood_rings_params wr{3, 2, 0.4f, 0, 5};
  const table_t TM = ref::table(42, false), TW = ref::table(5, false);
  for (uint32_t interp = 0; interp < 3; ++interp) {
    m.interp = wr.interp = interp;
    auto turb = [&](const table_t& T, float x, float y, uint32_t octaves) {
      auto noise = [&](float a, float b) { return ref::classic(int(interp), T, a, b); };
      return ref::turbulence(noise, x, y, float(1u << octaves));
    };
    for (m.direction = 0; m.direction < 3; ++m.direction)
      EXPECT_TRUE(same_image(*filled(fill_marble, m), [&](uint32_t c, uint32_t r) {
        float w = 1.0f / m.size, x = float(c) * w, y = float(r) * w;
        float t = turb(TM, x, y, m.octaves) * m.amplitude;
        float sx = std::sin(ref::PI * (t + x)), sy = std::sin(ref::PI * (t + y));
        const float v[3] = {(sy + 1.0f) * 0.5f, (sx + 1.0f) * 0.5f, (sx + 1.0f) * 0.25f + (sy + 1.0f) * 0.25f};
        return grey(ref::clamp01(v[m.direction]));
      })) << "direction " << m.direction << " interp " << interp;
    // Rings around (18, 11), the period from the width alone.
    EXPECT_TRUE(same_image(*filled(fill_wood_rings, wr), [&](uint32_t c, uint32_t r) {
      float t = turb(TW, float(c) * 0.0625f, float(r) * 0.0625f, wr.toctaves) * wr.amplitude;
      float dx = float(c) - 18.0f, dy = float(r) - 11.0f, d = std::sqrt(dx * dx + dy * dy) / (18.0f / 3.0f);
      return grey((std::cos(two_pi * (d + t)) + 1.0f) * 0.5f);
    })) << "interp " << interp;
  }
}

TEST(NoiseGenerators, SinePlasmaAndBitGlitch) {
  const float D = float(std::atan(1.0) * 4.0 / 180.0);
  EXPECT_TRUE(same_image(*filled(fill_sine_plasma, sine_plasma_params{7.5f, 1.25f}), [&](uint32_t c, uint32_t r) {
    return grey((std::sin(float(c) * 7.5f * D) + 2.0f + std::sin(float(r) * 1.25f * D)) * 0.25f);
  }));
  EXPECT_TRUE(uniform_image(*render_node(1, {{u"xphase", u"0"}, {u"yphase", u"0"}}, render_SinePlasma), grey(0.5f)));
  // BitGlitch: three register steps a pixel from 42330, running on across rows, anew in every render.
  std::vector<px4> want(37 * 23, px4{0, 0, 0, 1.0f});
  uint32_t s = 42330;
  for (px4& v : want)
    for (int ch = 0; ch < 3; ++ch)
      s = ref::step(s), v[ch] = std::bit_cast<float>((s & 0x7FFFFFu) | ((s >> 23) & 1u ? 0x3F000000u : 0x3E800000u));
  auto glitch = [&](uint32_t c, uint32_t r) { return want[r * 37 + c]; };
  for (int twice = 0; twice < 2; ++twice) EXPECT_TRUE(same_image(*render_node(34, {}, render_BitGlitch), glitch));
}

TEST(NoiseGenerators, SeedsOctavesSimplexAndLimitsThroughNodes) {
  auto turb = [](params_list p) { return render_node(14, p, render_Turbulence); };
  auto fractal = [](params_list p) { return render_node(15, p, render_FractalSum); };
  image_ptr zero = turb({{u"seed", u"0"}}), s5000 = turb({{u"seed", u"5000"}});
  EXPECT_TRUE(same_image(*zero, [&](uint32_t c, uint32_t r) { return grey(ref_pixel(0, {}, c, r)); }));
  EXPECT_TRUE(same_image(*turb({{u"seed", nullptr}}), *zero));
  EXPECT_TRUE(same_image(*turb({{u"seed", u"6000"}}), *s5000));
  EXPECT_FALSE(same_image(*turb({{u"seed", u"4999"}}), *s5000));
  // Zero octaves: hifreq one below lofreq.
  EXPECT_TRUE(uniform_image(*turb({{u"lofreq", u"5"}, {u"hifreq", u"4"}}), grey(0.0f)));
  EXPECT_TRUE(uniform_image(*fractal({{u"lofreq", u"5"}, {u"hifreq", u"4"}}), grey(0.5f)));
  EXPECT_TRUE(uniform_image(*fractal({{u"lofreq", u"5"}, {u"hifreq", u"4"}, {u"mapping", u"abs"}}), grey(0.0f)));
  // Simplex noise ignores the seed and the interpolation.
  for (auto [id, routine] :
       {std::pair<uint32_t, routine_fn>{33u, render_Noise}, {14u, render_Turbulence}, {15u, render_FractalSum}}) {
    const char16_t* key = id == 33 ? u"type" : u"noise";
    EXPECT_TRUE(same_image(*render_node(id, {{key, u"simplex"}, {u"seed", u"1"}}, routine),
                           *render_node(id, {{key, u"simplex"}, {u"seed", u"77"}, {u"interp", u"cosine"}}, routine)))
        << id;
  }
  // Limits as read.
  renderctx ctx{};
  octave_noise_params o = fetch_octave_noise_params(
      *make_node(14, {{u"size", u"0.5"}, {u"noise", u"simplex"}, {u"lofreq", u"0"}, {u"hifreq", u"20"},
                      {u"lacunarity", u"9"}, {u"persistence", u"-1"}, {u"mapping", u"abs"}, {u"interp", u"cosine"},
                      {u"seed", u"6000"}}), ctx);
  EXPECT_EQ(std::tuple(o.size, o.noise, o.lofreq, o.hifreq, o.lacunarity, o.persistence, o.mapping, o.interp, o.seed),
            std::tuple(1.0f, 1u, 1u, 15u, 4.0f, 0.0f, 1u, 2u, 5000u));
  // Marble: a connected value of 1.0 on the three-value direction reads as 3, limited to "both".
  auto k = make_node(17, {{u"value", u"1.0"}});
  auto m = make_node(16, {{u"size", u"0"}, {u"octaves", u"9"}, {u"amplitude", u"1.5"}});
  m->input_connections[u"direction"] = k.get();
  marble_params mp = fetch_marble_params(*m, ctx);
  EXPECT_EQ(std::tuple(mp.direction, mp.size, mp.octaves, mp.amplitude), std::tuple(2u, 1.0f, 8u, 1.0f));
  // SinePlasma uses its phases as read.
  sine_plasma_params sp = fetch_sine_plasma_params(*make_node(1, {{u"xphase", u"40"}, {u"yphase", u"-5"}}), ctx);
  EXPECT_EQ(std::tuple(sp.xphase, sp.yphase), std::tuple(40.0f, -5.0f));
}

}  // namespace
