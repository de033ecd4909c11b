// The gradient generators against their formulas written out per pixel.
#include <algorithm>
#include <cmath>
#include <tuple>
#include <xmmintrin.h>

#include "generator_test_support.h"
#include "nodes/generators/gradients.h"

namespace {

using namespace gentest;

// One axis position, following the table of repeat modes.
px4 ref_axis(const gradient_axis_params& ax, uint32_t repeat, uint32_t n, uint32_t index) {
  float a = ax.start * float(n - 1), b = ax.end * float(n - 1), d = b - a;
  float inv = std::fabs(d) <= 1.1920929e-7f ? 0.0f : 1.0f / d;
  float p = float(index), t = (p - a) * inv;
  if (p < a || p > b) {
    bool below = p < a;
    if (repeat == 0) return {0, 0, 0, 0};
    if (repeat == 1) return rgba(below && ax.interp != 1 ? ax.mincolor : ax.maxcolor);
    float q = below ? a - p : p - b, m = std::fmod(q, d);
    bool flip = repeat == 2 ? below != (long(std::trunc(q / d)) % 2 != 0) : !below;
    t = flip ? m * inv : 1.0f - m * inv;
  }
  float u = ax.interp == 0   ? t
            : ax.interp == 1 ? std::fabs(t * 2.0f - 1.0f)
            : ax.interp == 2 ? (3.0f - 2.0f * t) * (t * t)
                             : std::clamp((((12.0f * t - 30.0f) * t + 22.0f) * t - 3.0f) * (t * t), 0.0f, 1.0f);
  px4 out;
  for (int i = 0; i < 4; ++i) out[i] = (1.0f - u) * ax.mincolor[i] + u * ax.maxcolor[i];
  return out;
}

TEST(GradientGenerators, GradientEveryDirectionRepeatAndInterpolation) {
  // Short spans, so that the repeating modes run through several periods on both sides.
  gradient_params p{0, 0, {0.4f, 0.5f, {0.1f, 0.2f, 0.9f, 1.0f}, {0.8f, 0.6f, 0.05f, 1.0f}, 0},
                    {0.3f, 0.45f, {0.3f, 0.0f, 0.4f, 1.0f}, {0.0f, 0.7f, 0.2f, 1.0f}, 0}};
  for (p.repeat = 0; p.repeat < 4; ++p.repeat)
    for (p.horz.interp = 0; p.horz.interp < 4; ++p.horz.interp)
      for (p.vert.interp = 0; p.vert.interp < 4; ++p.vert.interp)
        for (p.direction = 0; p.direction < 3; ++p.direction) {
          if (p.direction < 2 && p.vert.interp != p.horz.interp) continue;  // one axis reads one mode
          EXPECT_TRUE(same_image(*filled(fill_gradient, p), [&](uint32_t c, uint32_t r) {
            px4 h = ref_axis(p.horz, p.repeat, 37, c), v = ref_axis(p.vert, p.repeat, 23, r);
            if (p.direction < 2) return p.direction == 0 ? h : v;
            for (int i = 0; i < 4; ++i) h[i] = std::clamp(v[i] + h[i], 0.0f, 1.0f);
            return h;
          })) << "repeat " << p.repeat << " interp " << p.horz.interp << "/" << p.vert.interp << " direction "
              << p.direction;
        }
}

TEST(GradientGenerators, GradientEdgeCases) {
  // Default node: black at the left column, pure red at the right, alpha 1.
  image_ptr img = render_node(2, {}, render_Gradient);
  EXPECT_EQ(std::tuple(pixel(*img, 0, 22), pixel(*img, 36, 22)), std::tuple(px4{0, 0, 0, 1}, px4{1, 0, 0, 1}));
  // "none (clear)" from a quarter: the left quarter (a = 9) is transparent black.
  img = render_node(2, {{u"start-horz", u"0.25"}}, render_Gradient);
  for (uint32_t c = 0; c < 37; ++c) EXPECT_EQ(pixel(*img, c, 7)[c < 9 ? 0 : 3], c < 9 ? 0.0f : 1.0f) << c;
  // "none (fill)" with "bi-linear": the max colour on both sides, the min colour in the middle.
  img = render_node(2, {{u"repeat", u"none (fill)"}, {u"interp-horz", u"bi-linear"}, {u"start-horz", u"0.25"},
                        {u"end-horz", u"0.75"}, {u"maxcolor-horz", u"(0,0.5,1)"}}, render_Gradient);
  EXPECT_EQ(std::tuple(pixel(*img, 0, 0), pixel(*img, 36, 22), pixel(*img, 18, 3)),
            std::tuple(px4{0, 0.5f, 1, 1}, px4{0, 0.5f, 1, 1}, px4{0, 0, 0, 1}));
  auto spans = [p = gradient_params{}](uint32_t direction, uint32_t repeat, float start, float end) mutable {
    p.direction = direction, p.repeat = repeat, p.horz.start = p.vert.start = start, p.horz.end = p.vert.end = end;
    return filled(fill_gradient, p);
  };
  // Both axes cleared outside the same spans: alpha 0 beyond both, the sum 2 clamped to 1 inside
  // both, and beyond one axis the other's alpha stays.
  img = spans(2, 0, 0.25f, 0.75f);
  EXPECT_EQ(std::tuple(pixel(*img, 0, 0), pixel(*img, 18, 11)[3], pixel(*img, 0, 11)[3]),
            std::tuple(px4{0, 0, 0, 0}, 1.0f, 1.0f));
  // Start above end: no position lies inside, and "none (clear)" clears everything.
  EXPECT_TRUE(uniform_image(*spans(0, 0, 0.8f, 0.3f), px4{0, 0, 0, 0}));
  // Start equal to end: t = 0 at the one position inside, not a number outside in a repeating mode.
  img = spans(0, 2, 0.5f, 0.5f);
  EXPECT_EQ(pixel(*img, 18, 0), (px4{0, 0, 0, 1}));
  EXPECT_TRUE(std::isnan(pixel(*img, 3, 0)[0]));
}

// The grouped square root: reciprocal estimate refined by one Newton step.
float grouped_sqrt(float s) {
  float e = _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(s)));
  return (3.0f - e * e * s) * (e * 0.5f) * s;
}

TEST(GradientGenerators, CircGradient) {
  const float R = 0.7f * 23.0f;
  for (uint32_t mode = 0; mode < 2; ++mode)
    for (uint32_t ss = 0; ss < 3; ++ss) {
      auto g = [&](float r) { return r > R ? 0.0f : mode == 0 ? 1.0f - r / R : r / R; };
      image_ptr img = filled(fill_circ_gradient, circ_gradient_params{0.7f, ss, mode});
      EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
        if (ss == 0) {  // the last width mod 4 columns take the plain root without the small addend
          float dx = float(c) - 18.0f, dy = float(r) - 11.0f;
          return grey(g(c >= 36 ? std::sqrt(dx * dx + dy * dy) : grouped_sqrt(dx * dx + dy * dy + 0.000001f)));
        }
        uint32_t n = ss == 1 ? 2 : 4;
        float step = 1.0f / float(n), v = 0.0f;
        for (uint32_t sy = 0; sy < n; ++sy)
          for (uint32_t sx = 0; sx < n; ++sx) {
            float dx = float(c) + float(sx) * step - 18.0f, dy = float(r) + float(sy) * step - 11.0f;
            v += g(std::sqrt(dx * dx + dy * dy + 0.000001f)) * (step * step);
          }
        return grey(v);
      })) << "mode " << mode << " supersampling " << ss;
    }
  // The default touches the nearer sides: R = 11.5 around (18, 11).
  image_ptr img = render_node(3, {}, render_CircGradient);
  EXPECT_NEAR(pixel(*img, 18, 11)[0], 1.0f, 1e-4f);
  EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
    px4 v = pixel(*img, c, r);
    return std::hypot(c - 18.0, r - 11.0) >= 11.5 ? grey(0.0f) : v[0] > 0 ? v : grey(-1.0f);
  }));
  EXPECT_TRUE(uniform_image(*filled(fill_circ_gradient, circ_gradient_params{0.0f, 0, 0}), grey(0.0f)));
  // 4x4 only for a preview with supersampling on; the radius is clamped to 1.
  for (bool ss : {false, true})
    EXPECT_TRUE(same_image(*render_node(3, {{u"supersampling", u"4x4"}}, render_CircGradient, 37, 23, true, ss),
                           *filled(fill_circ_gradient, circ_gradient_params{0.5f, ss ? 2u : 0u, 0})));
  circ_gradient_params cp = fetch_circ_gradient_params(*make_node(3, {{u"radius", u"2"}, {u"mode", u"inverse"}}), {});
  EXPECT_EQ(std::tuple(cp.radius, cp.mode), std::tuple(1.0f, 1u));
}

TEST(GradientGenerators, RadialSine) {
  const float two_pi = float(std::atan(1.0) * 8.0);
  image_ptr img = filled(fill_radial_sine, radial_sine_params{2.5f});
  EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
    float dx = float(c) - 18.0f, dy = float(r) - 11.0f;
    return grey((std::cos(two_pi * (std::sqrt(dx * dx + dy * dy) / (18.0f / 2.5f))) + 1.0f) * 0.5f);
  }));
  EXPECT_EQ(pixel(*img, 18, 11), grey(1.0f));
  // On a square image `octave` full cycles from the centre to the side.
  image_ptr sq = filled(fill_radial_sine, radial_sine_params{3.0f}, 33, 33);
  EXPECT_TRUE(std::fabs(pixel(*sq, 0, 16)[0] - 1.0f) < 1e-5f && std::fabs(pixel(*sq, 16, 32)[0] - 1.0f) < 1e-5f);
  // The octave is read as a float and raised to at least 1, with no upper limit.
  for (auto [text, want] : {std::pair{u"0", 1.0f}, {u"2.5", 2.5f}, {u"12", 12.0f}})
    EXPECT_EQ(fetch_radial_sine_params(*make_node(23, {{u"octave", text}}), {}).octave, want);
}

}  // namespace
