// SelectiveBlur and SelectiveVarBlur against a reference written from their rules: the separable
// Sobel edge map, the decision per pixel or per channel, and the blur passes.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <optional>

#include "filter_reference.h"

namespace {

using namespace quorin_engine;
using namespace filtref;
using optest::op_rig;

constexpr uint32_t selective_id = 1073, selective_var_id = 1074;

// Three taps over the whole image, samples clamped, divided by sum, alpha 1.
image filter3(const image& src, const float w[3], float sum, bool rows) {
  image out(src.w, src.h);
  for (int64_t y = 0; y < src.h; ++y)
    for (int64_t x = 0; x < src.w; ++x) {
      float acc[4] = {0, 0, 0, 0};
      for (int k = 0; k < 3; ++k) {
        const float* s = rows ? src.at(filtref::clampi(x + k - 1, 0, src.w - 1), y)
                              : src.at(x, filtref::clampi(y + k - 1, 0, src.h - 1));
        for (int c = 0; c < 4; ++c) acc[c] = acc[c] + w[k] * s[c];
      }
      float* o = out.at(x, y);
      for (int c = 0; c < 4; ++c) o[c] = acc[c] / sum;
      o[3] = 1.0f;
    }
  return out;
}

image edge_map(const image& src, int direction) {
  const float smooth[3] = {1, 2, 1}, deriv[3] = {-1, 0, 1};
  const image h = filter3(filter3(src, smooth, 4, true), deriv, 2, false);
  const image v = filter3(filter3(src, smooth, 4, false), deriv, 2, true);
  image e(src.w, src.h);
  for (std::size_t i = 0; i < e.px.size(); i += 4) {
    if (direction == 2) {
      for (int c = 0; c < 3; ++c) e.px[i + c] = (std::fabs(h.px[i + c]) + std::fabs(v.px[i + c])) * 0.5f;
      e.px[i + 3] = 1.0f;
    } else {
      for (int c = 0; c < 4; ++c) e.px[i + c] = std::fabs((direction == 0 ? h : v).px[i + c]);
    }
  }
  return e;
}

using kernel_at = std::function<std::optional<filtref::taps>(int64_t, int64_t)>;
enum alpha_rule { alpha_zero, alpha_one, alpha_own };

image selective_pass(const image& src, const image& e, float t, bool rows, bool separate, alpha_rule alpha,
                     const kernel_at& kernel) {
  image out(src.w, src.h);
  for (int64_t y = 0; y < src.h; ++y)
    for (int64_t x = 0; x < src.w; ++x) {
      float blurred[4];
      const float* s = src.at(x, y);
      if (auto k = kernel(x, y))
        filtref::pass_pixel(blurred, src, *k, x, y, rows, 0, rows ? src.w - 1 : src.h - 1);
      else
        std::memcpy(blurred, s, 16);
      const float* ev = e.at(x, y);
      float* o = out.at(x, y);
      if (separate) {
        for (int c = 0; c < 3; ++c) o[c] = t > ev[c] ? blurred[c] : s[c];
        o[3] = 1.0f;
      } else if (t > 0.299f * ev[0] + 0.587f * ev[1] + 0.114f * ev[2]) {
        std::memcpy(o, blurred, 16);
      } else {
        std::memcpy(o, s, 16);
        if (alpha != alpha_own) o[3] = alpha == alpha_zero ? 0.0f : 1.0f;
      }
    }
  return out;
}

image selective(const image& src, int direction, float t, bool separate, bool alpha_mask, const kernel_at& kernel) {
  const image e = edge_map(src, direction);
  if (direction != 2)
    return selective_pass(src, e, t, direction == 0, separate, alpha_mask ? alpha_zero : alpha_one, kernel);
  const image first = selective_pass(src, e, t, true, separate, alpha_own, kernel);
  return selective_pass(first, e, t, false, separate, alpha_one, kernel);
}

image render_selective(const image& src, optest::params_list params, const image* relsize = nullptr) {
  rig r(src.w, src.h);
  shadetree_node_t* op = r.node(relsize ? selective_var_id : selective_id, params);
  op_rig::connect(op, u"RGB", source_of(r, src));
  if (relsize) op_rig::connect(op, u"relsize", source_of(r, *relsize));
  return filtref::from_buffer(*r.render(op));
}

const char16_t* directions[] = {u"horizontal", u"vertical", u"both"};

TEST(SelectiveBlur, ModesDirectionsAndAlphaMask) {
  // Smooth areas and sharp steps, so that both decisions occur.
  image src = filtref::noise_image(21, 15, 41);
  for (int64_t y = 0; y < 15; ++y)
    for (int64_t x = 0; x < 21; ++x) {
      float* p = src.at(x, y);
      p[0] = (x < 10 ? 0.1f : 0.9f) + 0.05f * p[0];
      p[1] = (y < 7 ? 0.2f : 0.7f) + 0.05f * p[1];
    }
  const filtref::taps box5 = filtref::kernel(2, 5);
  const kernel_at fixed = [&](int64_t, int64_t) { return std::optional<filtref::taps>(box5); };
  for (int d = 0; d < 3; ++d)
    for (bool separate : {false, true})
      for (bool mask : {false, true}) {
        const image want = selective(src, d, 0.12f, separate, mask, fixed);
        const image got = render_selective(src, {{u"type", u"Bartlett"}, {u"size", u"0.05"}, {u"direction", directions[d]},
                                                 {u"threshold", u"0.12"}, {u"mode", separate ? u"separate" : u"uniform"},
                                                 {u"alpha-mask", mask ? u"true" : u"false"}});
        EXPECT_TRUE(same(want, got)) << d << separate << mask;
      }
}

TEST(SelectiveBlur, Thresholds) {
  const image src = filtref::noise_image(17, 12, 43);
  // Threshold 0 selects nothing: the input with alpha 1, or alpha 0 with the mask in one direction.
  image opaque = src, clear = src;
  for (std::size_t i = 3; i < src.px.size(); i += 4) opaque.px[i] = 1.0f, clear.px[i] = 0.0f;
  EXPECT_TRUE(same(opaque, render_selective(src, {{u"threshold", u"0"}})));
  EXPECT_TRUE(same(clear, render_selective(src, {{u"threshold", u"0"}, {u"direction", u"vertical"}, {u"alpha-mask", u"true"}})));
  // Threshold 1 selects everything here: a plain blur of the whole image, no narrowing.
  const filtref::taps g = filtref::kernel(1, 5);
  image rows = src, both = src;
  filtref::pass(rows, src, g, true, 0, 0, 16, 11);
  filtref::pass(both, rows, g, false, 0, 0, 16, 11);
  EXPECT_TRUE(same(both, render_selective(src, {{u"threshold", u"1"}, {u"type", u"Gaussian"}, {u"size", u"0.05"}})));
  // A kernel wider than the image: every sample clamps to the image's edge.
  const image narrow = filtref::noise_image(6, 5, 44);
  const kernel_at box9 = [](int64_t, int64_t) { return std::optional<filtref::taps>(filtref::kernel(0, 9)); };
  EXPECT_TRUE(same(selective(narrow, 2, 0.2f, false, false, box9),
                   render_selective(narrow, {{u"threshold", u"0.2"}, {u"size", u"0.09"}})));
  // Size 0.02: a plain copy, alpha included, whatever the mask says.
  EXPECT_TRUE(same(src, render_selective(src, {{u"size", u"0.02"}, {u"alpha-mask", u"true"}, {u"direction", u"horizontal"}})));
  // A constant image is blurred everywhere and stays (nearly) that constant, alpha 1.
  const image flat = render_selective(image(9, 9, 0.3f), {});
  for (std::size_t i = 0; i < flat.px.size(); i += 4) {
    EXPECT_NEAR(flat.px[i], 0.3f, 1e-6);
    EXPECT_EQ(flat.px[i + 3], 1.0f);
  }
  // An edge in red alone: red stays sharp across it, green is blurred.
  image edge(12, 6, 0.5f);
  for (int64_t y = 0; y < 6; ++y)
    for (int64_t x = 0; x < 12; ++x) edge.at(x, y)[0] = x < 6 ? 0.0f : 1.0f, edge.at(x, y)[1] = x % 2 ? 0.52f : 0.48f;
  const image sep = render_selective(edge, {{u"mode", u"separate"}, {u"threshold", u"0.1"}});
  EXPECT_EQ(sep.at(5, 2)[0], 0.0f);
  EXPECT_EQ(sep.at(6, 2)[0], 1.0f);
  EXPECT_NE(sep.at(5, 2)[1], edge.at(5, 2)[1]);
}

TEST(SelectiveVarBlur, WidthsFromRelsize) {
  const image src = filtref::noise_image(19, 13, 47);
  image rel(19, 13);
  for (int64_t y = 0; y < 13; ++y)
    for (int64_t x = 0; x < 19; ++x) rel.at(x, y)[0] = 0.07f * float(x);  // below 3 on the left: copies
  const kernel_at per_pixel = [&](int64_t x, int64_t y) -> std::optional<filtref::taps> {
    const float r = 0.1f * 100.0f * rel.at(x, y)[0];
    if (!(r >= 3.0f)) return std::nullopt;
    uint32_t n = r >= 253.0f ? 253 : uint32_t(r);
    return filtref::kernel(0, n & 1 ? n : n - 1);
  };
  for (int d = 0; d < 3; ++d)
    for (bool separate : {false, true}) {
      const image want = selective(src, d, 0.3f, separate, false, per_pixel);
      const image got = render_selective(src, {{u"size", u"0.1"}, {u"direction", directions[d]}, {u"threshold", u"0.3"},
                                               {u"mode", separate ? u"separate" : u"uniform"}},
                                         &rel);
      EXPECT_TRUE(same(want, got)) << d << separate;
    }
  // Without relsize it is SelectiveBlur.
  const kernel_at fixed = [](int64_t, int64_t) { return std::optional<filtref::taps>(filtref::kernel(0, 9)); };
  EXPECT_TRUE(same(selective(src, 2, 0.3f, false, false, fixed),
                   render_selective(src, {{u"size", u"0.09"}, {u"threshold", u"0.3"}})));
}

}  // namespace
