// The fractal generators against the iteration and window rules written out here.
#include <cmath>
#include <set>

#include "generator_test_support.h"
#include "nodes/generators/fractals.h"

namespace {

using namespace gentest;

// Rounds survived by z -> z^2 + c before |z|^2 >= 4, at most maxiters.
uint32_t escape_count(double zr, double zi, double cr, double ci, uint32_t maxiters) {
  uint32_t n = 0;
  while (n < maxiters) {
    double r = zr * zr - zi * zi + cr;
    zi = 2.0 * zr * zi + ci;
    zr = r;
    if (zr * zr + zi * zi >= 4.0) break;
    ++n;
  }
  return n;
}

// The image of a window sampled once a pixel at (c dx + xmin, i dy + ymin), row i from the bottom.
// Windows in these tests have dx exact, so every x is the same however it is formed.
template <class Value>
auto window_ref(double xmin, double ymin, double xmax, double ymax, uint32_t w, uint32_t h, Value value) {
  return [=](uint32_t x, uint32_t y) {
    double dx = (xmax - xmin) / (w - 1), dy = (ymax - ymin) / (h - 1);
    return grey(value(x * dx + xmin, (h - 1 - y) * dy + ymin));
  };
}

TEST(FractalGenerators, MandelbrotWindowCountAndMaxiters) {
  // 5 by 5 over -2..2: the centre is the origin, never escapes, white.
  image_ptr small = render_node(11, {}, render_FractalMandelbrot, 5, 5);
  EXPECT_EQ(pixel(*small, 2, 2), grey(1.0f));
  // 35 columns: runs of four, a pair and a last column alone; an uneven window shows ymax in the
  // top row. maxiters is held to 1..1000.
  for (auto [iters_case, text] : {std::pair{64u, u"64"}, {1u, u"1"}, {1000u, u"5000"}, {1u, u"0"}}) {
    const uint32_t iters = iters_case;  // a plain variable, which the reference lambda can capture
    image_ptr img = render_node(11, {{u"ymin", u"-1"}, {u"ymax", u"1.5"}, {u"xmax", u"2.25"}, {u"maxiters", text}},
                                render_FractalMandelbrot, 35, 21);
    EXPECT_TRUE(same_image(*img, window_ref(-2, -1, 2.25, 1.5, 35, 21, [&](double x, double y) {
      return float(escape_count(0, 0, x, y, iters)) / float(iters);
    }))) << "maxiters " << iters;
  }
  // maxiters 1: every value is 0 or 1, and both occur.
  image_ptr one = render_node(11, {{u"maxiters", u"1"}}, render_FractalMandelbrot, 16, 16);
  std::set<float> values;
  for (uint32_t i = 0; i < 16 * 16; ++i) values.insert(one->pixels[i * 4]);
  EXPECT_EQ(values, (std::set<float>{0.0f, 1.0f}));
}

TEST(FractalGenerators, SupersamplingOnlyForPreviews) {
  const params_list stored{{u"supersampling", u"4x4"}, {u"maxiters", u"40"}};
  image_ptr plain = render_node(11, {{u"maxiters", u"40"}}, render_FractalMandelbrot, 17, 9);
  // A final render, and a preview without preview supersampling, take one sample a pixel.
  EXPECT_TRUE(same_image(*render_node(11, stored, render_FractalMandelbrot, 17, 9), *plain));
  EXPECT_TRUE(same_image(*render_node(11, stored, render_FractalMandelbrot, 17, 9, true, false), *plain));
  // A supersampled preview averages 4 by 4 samples at offsets 0, 0.25, 0.5, 0.75 of a pixel.
  for (auto [text, k_case] : {std::pair{u"4x4", 4u}, {u"2x2", 2u}}) {
    const uint32_t k = k_case;  // a plain variable, which the reference lambda can capture
    image_ptr pre = render_node(11, {{u"supersampling", text}, {u"maxiters", u"40"}}, render_FractalMandelbrot, 17,
                                9, true, true);
    EXPECT_TRUE(same_image(*pre, [&](uint32_t x, uint32_t y) {
      double dx = 4.0 / 16, dy = 4.0 / 8;
      float sum = 0.0f;
      for (uint32_t sy = 0; sy < k; ++sy)
        for (uint32_t sx = 0; sx < k; ++sx)
          sum += float(escape_count(0, 0, (x + double(sx) / k) * dx - 2, (8 - y + double(sy) / k) * dy - 2, 40)) /
                 40.0f;
      return grey(sum * (1.0f / float(k * k)));
    })) << k;
  }
}

TEST(FractalGenerators, JuliaAndItsWindowBlend) {
  auto julia = [](double x, double y) { return float(escape_count(x, y, -0.75, -0.2, 64)) / 64.0f; };
  EXPECT_TRUE(same_image(*render_node(12, {}, render_FractalJulia, 33, 17), window_ref(-2, -2, 2, 2, 33, 17, julia)));

  // An enabled curve on xmin that reads 0.25 moves xmin a quarter of the way to xmin2:
  // -2 + (-1 - -2) * 0.25 = -1.75. Without a curve xmin2 is not read.
  auto node = make_node(12, {{u"xmin2", u"-1"}, {u"xmax2", u"7"}});
  curve c;
  c.items.push_back(curve_item{curve_item_line, {{0, 0.25f}, {1, 0.25f}}});
  node->time_curves[u"xmin"] = c;
  renderbuffer_pool_t pool(33, 17, 0);
  image_ptr img = make_target(33, 17);
  render_FractalJulia(*node, renderctx{img.get(), false, &pool, false, false, false, false, nullptr});
  EXPECT_TRUE(same_image(*img, window_ref(-1.75, -2, 2, 2, 33, 17, julia)));
}

// The exponent picture written out: 300 warm-up pairs, then 4000 steps alternating b, a.
float lyapunov_ref(double a, double b) {
  if (std::fabs(a) <= 2.220446049250313e-16 || std::fabs(b) <= 2.220446049250313e-16) return 0.0f;
  double x = 0.5;
  for (int k = 0; k < 300; ++k) {
    x = b * x * (1 - x);
    x = a * x * (1 - x);
  }
  double sum = 0;
  for (int n = 0; n < 4000; ++n) {
    double r = n % 2 ? a : b;
    sum += std::log(std::fabs(r - 2 * r * x)) / std::log(2.0);
    x = r * x * (1 - x);
  }
  double lam = sum / 4000.0;
  if (std::fabs(lam) <= 2.220446049250313e-16) return 1.0f;
  if (lam > 0) return 0.0f;
  return std::isfinite(-lam) ? float(-lam) : 0.0f;
}

TEST(FractalGenerators, LyapunovTwoPasses) {
  const uint32_t w = 13, h = 9;
  float first[h][w], top = -3.4028235e38f;
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x) top = std::max(top, first[y][x] = lyapunov_ref(x * (4.0 / (w - 1)), (h - 1 - y) * (4.0 / (h - 1))));
  image_ptr img = render_node(25, {}, render_FractalLyapunov, w, h);
  EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) { return grey(1.0f - first[y][x] / top); }));
  // The bottom row (b = 0) and the first column (a = 0) are white; every render is the same.
  for (uint32_t x = 0; x < w; ++x) EXPECT_EQ(pixel(*img, x, h - 1), grey(1.0f));
  for (uint32_t y = 0; y < h; ++y) EXPECT_EQ(pixel(*img, 0, y), grey(1.0f));
  EXPECT_TRUE(same_image(*render_node(25, {}, render_FractalLyapunov, w, h), *img));
}

}  // namespace
