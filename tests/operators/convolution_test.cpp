// Convolution and morphology operators against plain reference loops.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "filter_reference.h"
#include "nodes/operators/blur.h"
#include "nodes/operators/convolution.h"

namespace {

using namespace quorin_engine;
using namespace filtref;
using optest::op_rig;

constexpr uint32_t edge_id = 1010, emboss_id = 1011, dilation_id = 1012, erosion_id = 1013, sharpen_id = 1043,
                   highpass_id = 1075, region_id = 1090;

image render_on(const image& src, uint32_t type_id, optest::params_list params, const char16_t* input = u"RGB") {
  rig r(src.w, src.h);
  shadetree_node_t* op = r.node(type_id, params);
  op_rig::connect(op, input, source_of(r, src));
  return filtref::from_buffer(*r.render(op));
}

template <class F>
image map_pixels(const image& a, const image& b, F f) {
  image out(a.w, a.h);
  for (std::size_t i = 0; i < out.px.size(); i += 4) f(&out.px[i], &a.px[i], &b.px[i]);
  return out;
}

const std::vector<float> sobel_rows{-1, -2, -1, 0, 0, 0, 1, 2, 1}, sobel_cols{-1, 0, 1, -2, 0, 2, -1, 0, 1};
const std::vector<float> prewitt_rows{-1, -1, -1, 0, 0, 0, 1, 1, 1}, prewitt_cols{-1, 0, 1, -1, 0, 1, -1, 0, 1};

TEST(EdgeDetect, KernelsDirectionsAndSigns) {
  // Values beyond 0..1 so that negative sums and sign keeping show.
  image src = filtref::noise_image(19, 11, 21);
  for (float& f : src.px) f = f * 2.0f - 0.5f;
  for (bool wide : {true, false}) {
    const bool was = use_wide_vectors(wide);
    struct row {
      const char16_t* type;
      const std::vector<float>& rows;
      const std::vector<float>& cols;
      float sum;
    } kinds[] = {{u"Sobel", sobel_rows, sobel_cols, 8.0f}, {u"Prewitt", prewitt_rows, prewitt_cols, 6.0f}};
    for (const row& k : kinds) {
      const image a = filtref::square(src, k.rows, 1, k.sum), b = filtref::square(src, k.cols, 1, k.sum);
      const image both = map_pixels(a, b, [](float* o, const float* p, const float* q) {
        for (int c = 0; c < 3; ++c) o[c] = (std::fabs(p[c]) + std::fabs(q[c])) * 0.5f;
        o[3] = 1.0f;
      });
      auto absolute = [](image img) {
        for (float& f : img.px) f = std::fabs(f);
        return img;
      };
      EXPECT_TRUE(same(both, render_on(src, edge_id, {{u"type", k.type}, {u"direction", u"both"}})));
      EXPECT_TRUE(same(absolute(a), render_on(src, edge_id, {{u"type", k.type}, {u"direction", u"horizontal"}})));
      EXPECT_TRUE(same(absolute(b), render_on(src, edge_id, {{u"type", k.type}, {u"direction", u"vertical"}})));
    }
    const image lap = filtref::square(src, {0, -1, 0, -1, 4, -1, 0, -1, 0}, 1, 8.0f);
    const image got = render_on(src, edge_id, {{u"type", u"Laplace"}});
    EXPECT_TRUE(same(lap, got));
    EXPECT_TRUE(std::any_of(got.px.begin(), got.px.end(), [](float f) { return f < 0.0f; }));
    use_wide_vectors(was);
  }
}

TEST(Convolution, FlatImages) {
  // A flat image: no edge line at the border (clamped samples), exact constants everywhere.
  const image flat(13, 7, 0.6f);
  auto all_pixels = [](const image& img, std::array<float, 4> want) {
    for (std::size_t i = 0; i < img.px.size(); i += 4)
      if (!std::equal(want.begin(), want.end(), &img.px[i])) return false;
    return true;
  };
  EXPECT_TRUE(all_pixels(render_on(flat, edge_id, {}), {0, 0, 0, 1}));
  EXPECT_TRUE(all_pixels(render_on(flat, edge_id, {{u"type", u"Laplace"}}), {0, 0, 0, 1}));
  for (const char16_t* dir : {u"horizontal", u"vertical", u"both"})
    EXPECT_TRUE(all_pixels(render_on(flat, emboss_id, {{u"direction", dir}}), {0.5f, 0.5f, 0.5f, 1}));
  const float ninth = (1.0f / 9.0f) * ((((0.0f + -0.6f) + -0.6f) + 0.6f * 5.0f + -0.6f) + -0.6f);
  EXPECT_TRUE(all_pixels(render_on(flat, sharpen_id, {}), {ninth, ninth, ninth, 1}));
  EXPECT_NEAR(ninth, 0.6f / 9.0f, 1e-7);
  const image hp = render_on(flat, highpass_id, {{u"size", u"0.05"}});
  for (std::size_t i = 0; i < hp.px.size(); i += 4) {
    EXPECT_NEAR(hp.px[i], 0.5f, 1e-6);
    EXPECT_EQ(hp.px[i + 3], 1.0f);
  }
}

TEST(Convolution, EmbossSharpenHighpass) {
  const image src = filtref::noise_image(16, 9, 23);
  auto relief = [](image img) {
    for (std::size_t i = 0; i < img.px.size(); i += 4) {
      for (int c = 0; c < 3; ++c) img.px[i + c] = std::clamp(img.px[i + c] + 0.5f, 0.0f, 1.0f);
      img.px[i + 3] = 1.0f;
    }
    return img;
  };
  const image a = relief(filtref::square(src, prewitt_cols, 1, 6.0f));
  const image b = relief(filtref::square(src, prewitt_rows, 1, 6.0f));
  EXPECT_TRUE(same(a, render_on(src, emboss_id, {{u"direction", u"horizontal"}})));
  EXPECT_TRUE(same(b, render_on(src, emboss_id, {{u"direction", u"vertical"}})));
  EXPECT_TRUE(same(map_pixels(a, b,
                              [](float* o, const float* p, const float* q) {
                                for (int c = 0; c < 3; ++c) o[c] = 0.5f * q[c] + 0.5f * p[c];
                                o[3] = 1.0f;
                              }),
                   render_on(src, emboss_id, {{u"direction", u"both"}})));

  image sharp = filtref::square(src, {0, -1, 0, -1, 5, -1, 0, -1, 0}, 1, 9.0f);
  for (float& f : sharp.px) f = std::fabs(f);
  EXPECT_TRUE(same(sharp, render_on(src, sharpen_id, {})));

  // Highpass: (input + (1 - Gaussian blur)) * 0.5, the blur of width 5 over the whole image.
  const filtref::taps t = filtref::kernel(1, 5);
  image rows = src, blurred = src;
  filtref::pass(rows, src, t, true, 0, 0, 15, 8);
  filtref::pass(blurred, rows, t, false, 0, 0, 15, 8);
  const image hp = map_pixels(src, blurred, [](float* o, const float* s, const float* g) {
    for (int c = 0; c < 3; ++c) o[c] = (s[c] + (1.0f - g[c])) * 0.5f;
    o[3] = 1.0f;
  });
  EXPECT_TRUE(same(hp, render_on(src, highpass_id, {{u"size", u"0.05"}})));
  EXPECT_TRUE(same(src, render_on(src, highpass_id, {{u"size", u"0.02"}})));
}

// One round of the morphology rules on the inner pixels.
image morph_round(const image& src, bool dilate, bool rgb) {
  image out = src;
  const float t = 0.5f;
  for (int64_t y = 1; y + 1 < src.h; ++y)
    for (int64_t x = 1; x + 1 < src.w; ++x) {
      const float* c = src.at(x, y);
      float* o = out.at(x, y);
      for (int ch = 0; ch < (rgb ? 3 : 1); ++ch) {
        bool centre_ok = dilate ? t > c[ch] : c[ch] >= t;
        bool across = !rgb, first = true;
        float m = c[ch];
        for (int dy = -1; dy <= 1; ++dy)
          for (int dx = -1; dx <= 1; ++dx) {
            if (!dx && !dy) continue;
            const float n = src.at(x + dx, y + dy)[ch];
            if (dilate ? n >= t : n < t) across = true;
            if (dilate ? n > m : n < m) m = n;
            first = false;
          }
        o[ch] = centre_ok && across && !first ? m : c[ch];
      }
      if (!rgb) o[1] = o[2] = o[0];
      for (int ch = 0; ch < 4; ++ch) o[ch] = std::clamp(o[ch], 0.0f, 1.0f);
    }
  return out;
}

TEST(Morphology, RoundsRulesAndOwnBuffers) {
  for (bool wide : {true, false})
    for (bool dilate : {true, false})
      for (bool rgb : {true, false}) {
        const bool was = use_wide_vectors(wide);
        // Two spots across the threshold on a quiet background, growing one pixel a round.
        image src = filtref::noise_image(34, 20, 29);
        for (float& f : src.px) f = 0.25f + 0.1f * f;
        src.at(2, 3)[0] = src.at(2, 3)[1] = src.at(25, 12)[2] = 0.9f;
        if (!dilate)
          for (float& f : src.px) f = 1.0f - f;
        const uint32_t id = dilate ? dilation_id : erosion_id;
        image want = src;
        for (int i = 0; i < 11; ++i) want = morph_round(want, dilate, rgb);
        EXPECT_FALSE(same(want, morph_round(want, dilate, rgb)));  // the twelfth round still changes pixels
        want = morph_round(want, dilate, rgb);
        rig r(src.w, src.h);
        shadetree_node_t* input = source_of(r, src);
        shadetree_node_t* op = r.node(id, {{u"iters", u"20"}});
        op_rig::connect(op, rgb ? u"RGB" : u"Grey", input);
        if (rgb) op_rig::connect(op, u"Grey", r.constant({0, 0, 0, 1}));  // ignored while RGB is connected
        EXPECT_TRUE(filtref::same_pixels(want, *r.render(op))) << dilate << rgb;
        // The input's image in the cache is as it was rendered, also after several rounds.
        EXPECT_TRUE(filtref::same_pixels(src, *r.pool.cache_lookup(reinterpret_cast<uintptr_t>(input))));
        use_wide_vectors(was);
      }
  // The rules at chosen pixels: a centre of 0.4 among 0.3; a centre of exactly 0.5.
  image low(3, 3, 0.3f), half(3, 3, 0.6f);
  low.at(1, 1)[0] = low.at(1, 1)[1] = low.at(1, 1)[2] = 0.4f;
  half.at(1, 1)[0] = half.at(1, 1)[1] = half.at(1, 1)[2] = 0.5f;
  EXPECT_EQ(render_on(low, dilation_id, {}, u"Grey").at(1, 1)[0], 0.4f);
  EXPECT_EQ(render_on(low, dilation_id, {}).at(1, 1)[0], 0.4f);
  EXPECT_EQ(render_on(half, dilation_id, {}).at(1, 1)[0], 0.5f);
  EXPECT_EQ(render_on(half, erosion_id, {}).at(1, 1)[0], 0.5f);
  half.at(0, 0)[0] = 0.2f;
  EXPECT_EQ(render_on(half, erosion_id, {}).at(1, 1)[0], 0.2f);
  // One row: only the copied edge rows exist.
  const image row = filtref::noise_image(9, 1, 31);
  EXPECT_TRUE(same(row, render_on(row, dilation_id, {{u"iters", u"3"}})));
}

TEST(RegionGrowGrey, TwelveBodies) {
  const image src = filtref::noise_image(12, 9, 37);
  const char16_t* conditions[] = {u"below", u"above", u"all"};
  const char16_t* neighconds[] = {u"above", u"below"};
  const char16_t* outmodes[] = {u"cond", u"binary"};
  for (int cond = 0; cond < 3; ++cond)
    for (int below = 0; below < 2; ++below)
      for (int binary = 0; binary < 2; ++binary) {
        image want = src;
        for (int64_t y = 1; y + 1 < src.h; ++y)
          for (int64_t x = 1; x + 1 < src.w; ++x) {
            const float c = src.at(x, y)[0], t = 0.45f;
            const bool passes = cond == 0 ? t > c : cond == 1 ? c >= t : true;
            int count = 0;
            for (int dy = -1; dy <= 1; ++dy)
              for (int dx = -1; dx <= 1; ++dx)
                if (dx || dy) {
                  const float n = src.at(x + dx, y + dy)[0];
                  count += below ? n < t : n >= t;
                }
            const bool hit = passes && count >= 3;
            const float v = binary ? (hit ? 1.0f : 0.0f) : (hit ? 0.25f : c);
            float* o = want.at(x, y);
            o[0] = o[1] = o[2] = v;
            o[3] = 1.0f;
          }
        rig r(src.w, src.h);
        shadetree_node_t* op = r.node(region_id, {{u"threshold", u"0.45"}, {u"newval", u"0.25"}, {u"neighbours", u"3"},
                                                  {u"condition", conditions[cond]}, {u"neighcond", neighconds[below]},
                                                  {u"outmode", outmodes[binary]}});
        op_rig::connect(op, u"grey", source_of(r, src));
        // A connection under the name of `condition` is not where the routine looks for it.
        op_rig::connect(op, u"condition", r.node(0));
        EXPECT_TRUE(filtref::same_pixels(want, *r.render(op))) << cond << below << binary;
      }
}

}  // namespace
