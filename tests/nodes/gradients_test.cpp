// The gradient generators against the formulas written out per pixel.
#include <cmath>
#include <xmmintrin.h>

#include "generator_test_support.h"
#include "nodes/generators/gradients.h"

namespace {

using namespace gentest;

// One axis position, following the table of repeat modes.
px4 ref_axis(const gradient_axis_params& ax, uint32_t repeat, uint32_t n, uint32_t index) {
  float a = ax.start * float(n - 1), b = ax.end * float(n - 1), d = b - a;
  float inv = std::fabs(d) <= 1.1920929e-7f ? 0.0f : 1.0f / d;
  float p = float(index), t;
  const float* c0 = ax.mincolor;
  const float* c1 = ax.maxcolor;
  if (p < a || p > b) {
    bool below = p < a;
    if (repeat == 0) return {0, 0, 0, 0};
    if (repeat == 1) {
      const float* c = (below && ax.interp != 1) ? c0 : c1;
      return {c[0], c[1], c[2], c[3]};
    }
    float q = below ? a - p : p - b;
    float m = std::fmod(q, d);
    if (repeat == 2) {
      bool odd = long(std::trunc(q / d)) % 2 != 0;
      t = (below != odd) ? m * inv : 1.0f - m * inv;
    } else {
      t = below ? 1.0f - m * inv : m * inv;
    }
  } else {
    t = (p - a) * inv;
  }
  float u = t;
  if (ax.interp == 1) u = std::fabs(t * 2.0f - 1.0f);
  if (ax.interp == 2) u = (3.0f - 2.0f * t) * (t * t);
  if (ax.interp == 3) {
    u = (((12.0f * t - 30.0f) * t + 22.0f) * t - 3.0f) * (t * t);
    u = u < 0 ? 0 : u > 1 ? 1 : u;
  }
  px4 out;
  for (int i = 0; i < 4; ++i) out[i] = (1.0f - u) * c0[i] + u * c1[i];
  return out;
}

gradient_params sample_params() {
  gradient_params p;
  // Short spans, so that the repeating modes run through several periods on both sides.
  p.horz.start = 0.4f;
  p.horz.end = 0.5f;
  const float hmin[4] = {0.1f, 0.2f, 0.9f, 1.0f}, hmax[4] = {0.8f, 0.6f, 0.05f, 1.0f};
  const float vmin[4] = {0.3f, 0.0f, 0.4f, 1.0f}, vmax[4] = {0.0f, 0.7f, 0.2f, 1.0f};
  for (int i = 0; i < 4; ++i) {
    p.horz.mincolor[i] = hmin[i];
    p.horz.maxcolor[i] = hmax[i];
    p.vert.mincolor[i] = vmin[i];
    p.vert.maxcolor[i] = vmax[i];
  }
  p.vert.start = 0.3f;
  p.vert.end = 0.45f;
  return p;
}

TEST(GradientGenerators, GradientEveryDirectionRepeatAndInterpolation) {
  gradient_params p = sample_params();
  const uint32_t W = 37, H = 23;
  for (uint32_t repeat = 0; repeat < 4; ++repeat)
    for (uint32_t hi = 0; hi < 4; ++hi)
      for (uint32_t vi = 0; vi < 4; ++vi) {
        p.repeat = repeat;
        p.horz.interp = hi;
        p.vert.interp = vi;
        SCOPED_TRACE(::testing::Message() << "repeat " << repeat << " interp " << hi << "/" << vi);
        image_ptr img = make_target(W, H);
        for (uint32_t dir = 0; dir < 3; ++dir) {
          if (dir < 2 && vi != hi) continue;  // one axis depends on one interpolation only
          p.direction = dir;
          fill_gradient(p, *img);
          EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
            px4 h = ref_axis(p.horz, repeat, W, c), v = ref_axis(p.vert, repeat, H, r);
            if (dir == 0) return h;
            if (dir == 1) return v;
            px4 s;
            for (int i = 0; i < 4; ++i) {
              float x = v[i] + h[i];
              s[i] = x < 0 ? 0 : x > 1 ? 1 : x;
            }
            return s;
          })) << "direction " << dir;
        }
      }
}

TEST(GradientGenerators, GradientEdgeCases) {
  // Default node: black at the left column, pure red at the right, alpha 1.
  image_ptr img = render_node(2, {}, 37, 23, render_Gradient);
  for (uint32_t r = 0; r < 23; ++r) {
    EXPECT_EQ(pixel(*img, 0, r), (px4{0, 0, 0, 1}));
    EXPECT_EQ(pixel(*img, 36, r), (px4{1, 0, 0, 1}));
  }
  EXPECT_EQ(pixel(*img, 18, 5), (px4{0.5f, 0, 0, 1}));

  gradient_params p;
  image_ptr t = make_target(37, 23);
  // "none (clear)" from a quarter: the left quarter is transparent black (a = 9).
  p.horz.start = 0.25f;
  fill_gradient(p, *t);
  for (uint32_t c = 0; c < 37; ++c)
    EXPECT_EQ(pixel(*t, c, 7)[3], c < 9 ? 0.0f : 1.0f) << c;
  EXPECT_EQ(pixel(*t, 8, 0), (px4{0, 0, 0, 0}));
  EXPECT_EQ(pixel(*t, 9, 0), (px4{0, 0, 0, 1}));

  // "none (fill)" with bi-linear: both sides show the max colour.
  p.repeat = 1;
  p.horz.interp = 1;
  p.horz.end = 0.75f;
  fill_gradient(p, *t);
  EXPECT_EQ(pixel(*t, 0, 0), (px4{1, 0, 0, 1}));
  EXPECT_EQ(pixel(*t, 36, 22), (px4{1, 0, 0, 1}));
  EXPECT_EQ(pixel(*t, 18, 3), (px4{0, 0, 0, 1}));  // the middle of the span is the min colour

  // Both axes, clear outside the same spans: the corner beyond both is alpha 0, inside both the
  // sum 2 is clamped to 1, beyond one axis the other's alpha stays.
  gradient_params b;
  b.direction = 2;
  b.horz.start = b.vert.start = 0.25f;
  b.horz.end = b.vert.end = 0.75f;
  fill_gradient(b, *t);
  EXPECT_EQ(pixel(*t, 0, 0)[3], 0.0f);
  EXPECT_EQ(pixel(*t, 18, 11)[3], 1.0f);
  EXPECT_EQ(pixel(*t, 0, 11)[3], 1.0f);
  EXPECT_EQ(pixel(*t, 36, 22), (px4{0, 0, 0, 0}));

  // Start above end: no position lies inside, and "none (clear)" clears everything.
  gradient_params rev;
  rev.horz.start = 0.8f;
  rev.horz.end = 0.3f;
  fill_gradient(rev, *t);
  EXPECT_TRUE(uniform_image(*t, px4{0, 0, 0, 0}));

  // Start equal to end: inv is 0; the one position inside gets t = 0, and the repeating modes give
  // values that are not numbers outside it.
  gradient_params same;
  same.horz.start = same.horz.end = 0.5f;
  same.repeat = 2;
  fill_gradient(same, *t);
  EXPECT_EQ(pixel(*t, 18, 0), (px4{0, 0, 0, 1}));
  EXPECT_TRUE(std::isnan(pixel(*t, 3, 0)[0]));
}

// The grouped square root: reciprocal estimate refined by one Newton step.
float grouped_sqrt(float s) {
  float e = _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(s)));
  return (3.0f - e * e * s) * (e * 0.5f) * s;
}

float circ_g(uint32_t mode, float r, float R) {
  if (r > R) return 0.0f;
  return mode == 0 ? 1.0f - r / R : r / R;
}

TEST(GradientGenerators, CircGradientEveryModeAndSupersampling) {
  const uint32_t W = 37, H = 23;
  for (uint32_t mode = 0; mode < 2; ++mode)
    for (uint32_t ss = 0; ss < 3; ++ss) {
      SCOPED_TRACE(::testing::Message() << "mode " << mode << " supersampling " << ss);
      circ_gradient_params p;
      p.radius = 0.7f;
      p.mode = mode;
      p.supersampling = ss;
      image_ptr img = make_target(W, H);
      fill_circ_gradient(p, *img);
      float R = 0.7f * 23.0f, cx = 18.0f, cy = 11.0f;
      EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
        if (ss == 0) {
          float dx = float(c) - cx, dy = float(r) - cy;
          // The last width mod 4 columns use the plain root without the small addend.
          float rr = c >= 36 ? std::sqrt(dx * dx + dy * dy) : grouped_sqrt(dx * dx + dy * dy + 0.000001f);
          return grey(circ_g(mode, rr, R));
        }
        uint32_t n = ss == 1 ? 2 : 4;
        float step = 1.0f / float(n), v = 0.0f;
        for (uint32_t sy = 0; sy < n; ++sy)
          for (uint32_t sx = 0; sx < n; ++sx) {
            float dx = float(c) + float(sx) * step - cx, dy = float(r) + float(sy) * step - cy;
            v += circ_g(mode, std::sqrt(dx * dx + dy * dy + 0.000001f), R) * (step * step);
          }
        return grey(v);
      }));
    }
}

TEST(GradientGenerators, CircGradientDefaultTouchesTheNearerSides) {
  image_ptr img = render_node(3, {}, 37, 23, render_CircGradient);
  // R = 0.5 * 23 = 11.5 around (18, 11).
  EXPECT_NEAR(pixel(*img, 18, 11)[0], 1.0f, 1e-4f);
  EXPECT_GT(pixel(*img, 18, 0)[0], 0.0f);
  EXPECT_GT(pixel(*img, 18, 22)[0], 0.0f);
  EXPECT_EQ(pixel(*img, 6, 11)[0], 0.0f);
  EXPECT_EQ(pixel(*img, 30, 11)[0], 0.0f);
  EXPECT_EQ(pixel(*img, 0, 0), grey(0.0f));
  EXPECT_EQ(pixel(*img, 36, 22), grey(0.0f));
  // Radius 0: nothing lies within the circle.
  circ_gradient_params zero;
  zero.radius = 0.0f;
  fill_circ_gradient(zero, *img);
  EXPECT_TRUE(uniform_image(*img, grey(0.0f)));
}

TEST(GradientGenerators, RadialSine) {
  const float two_pi = float(std::atan(1.0) * 8.0);
  for (float octave : {1.0f, 2.5f}) {
    radial_sine_params p;
    p.octave = octave;
    image_ptr img = make_target(37, 23);
    fill_radial_sine(p, *img);
    EXPECT_TRUE(same_image(*img, [&](uint32_t c, uint32_t r) {
      float dx = float(c) - 18.0f, dy = float(r) - 11.0f;
      float d = std::sqrt(dx * dx + dy * dy) / (18.0f / octave);
      return grey((std::cos(two_pi * d) + 1.0f) * 0.5f);
    }));
    EXPECT_EQ(pixel(*img, 18, 11), grey(1.0f));
  }
  // On a square image `octave` full cycles from the centre to the side.
  radial_sine_params three;
  three.octave = 3.0f;
  image_ptr sq = make_target(33, 33);
  fill_radial_sine(three, *sq);
  EXPECT_NEAR(pixel(*sq, 0, 16)[0], 1.0f, 1e-5f);
  EXPECT_NEAR(pixel(*sq, 16, 32)[0], 1.0f, 1e-5f);
  EXPECT_NEAR(pixel(*sq, 16 - 16 / 6, 16)[0], pixel(*sq, 16 + 16 / 6, 16)[0], 1e-6f);
  // The default node: one cycle.
  image_ptr d = render_node(23, {}, 33, 33, render_RadialSine);
  EXPECT_EQ(pixel(*d, 16, 16), grey(1.0f));
  EXPECT_NEAR(pixel(*d, 8, 16)[0], 0.0f, 1e-6f);
}

}  // namespace

namespace {

TEST(GradientGenerators, ParametersThroughNodes) {
  engine_up();
  renderctx ctx{};
  shadetree_node_t n(2);
  set_params(n, {{u"direction", u"both"}, {u"repeat", u"min->max,min->max,..."}, {u"start-horz", u"1.5"},
                 {u"end-vert", u"-1"}, {u"interp-vert", u"spline (5th deg.)"}, {u"interp-horz", u"bi-linear"},
                 {u"maxcolor-vert", u"(0.2,0.4,0.6)"}});
  gradient_params p = fetch_gradient_params(n, ctx);
  EXPECT_EQ(p.direction, 2u);
  EXPECT_EQ(p.repeat, 3u);
  EXPECT_EQ(p.horz.start, 1.0f);
  EXPECT_EQ(p.vert.end, 0.0f);
  EXPECT_EQ(p.vert.interp, 3u);
  EXPECT_EQ(p.horz.interp, 1u);
  EXPECT_EQ(p.vert.maxcolor[2], 0.6f);
  EXPECT_EQ(p.vert.maxcolor[3], 1.0f);

  // "none (clear)" from a quarter, by text: the left quarter is transparent black.
  image_ptr q = render_node(2, {{u"start-horz", u"0.25"}}, 37, 23, render_Gradient);
  EXPECT_EQ(pixel(*q, 8, 4), (px4{0, 0, 0, 0}));
  EXPECT_EQ(pixel(*q, 9, 4), (px4{0, 0, 0, 1}));
  EXPECT_EQ(pixel(*q, 36, 4), (px4{1, 0, 0, 1}));
  // "none (fill)" with "bi-linear": the max colour on both sides.
  image_ptr f = render_node(2, {{u"repeat", u"none (fill)"}, {u"interp-horz", u"bi-linear"}, {u"start-horz", u"0.25"},
                                {u"end-horz", u"0.75"}},
                            37, 23, render_Gradient);
  EXPECT_EQ(pixel(*f, 0, 0), (px4{1, 0, 0, 1}));
  EXPECT_EQ(pixel(*f, 36, 0), (px4{1, 0, 0, 1}));

  // CircGradient: supersampling only for a preview with supersampling on; radius clamped to 1.
  circ_gradient_params single, four;
  four.supersampling = 2;
  image_ptr s1 = make_target(37, 23), s4 = make_target(37, 23);
  fill_circ_gradient(single, *s1);
  fill_circ_gradient(four, *s4);
  image_ptr plain = render_node(3, {{u"supersampling", u"4x4"}}, 37, 23, render_CircGradient, {true, false});
  EXPECT_TRUE(same_image(*plain, [&](uint32_t c, uint32_t r) { return pixel(*s1, c, r); }));
  image_ptr preview = render_node(3, {{u"supersampling", u"4x4"}}, 37, 23, render_CircGradient, {true, true});
  EXPECT_TRUE(same_image(*preview, [&](uint32_t c, uint32_t r) { return pixel(*s4, c, r); }));
  shadetree_node_t c(3);
  set_params(c, {{u"radius", u"2"}, {u"mode", u"inverse"}});
  circ_gradient_params cp = fetch_circ_gradient_params(c, ctx);
  EXPECT_EQ(cp.radius, 1.0f);
  EXPECT_EQ(cp.mode, 1u);

  // RadialSine: the octave is read as a float and raised to at least 1.
  shadetree_node_t r(23);
  set_params(r, {{u"octave", u"0"}});
  EXPECT_EQ(fetch_radial_sine_params(r, ctx).octave, 1.0f);
  set_params(r, {{u"octave", u"2.5"}});
  EXPECT_EQ(fetch_radial_sine_params(r, ctx).octave, 2.5f);
  set_params(r, {{u"octave", u"12"}});
  EXPECT_EQ(fetch_radial_sine_params(r, ctx).octave, 12.0f);
}

}  // namespace
