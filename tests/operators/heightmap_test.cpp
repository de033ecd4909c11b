// Height map operators against their formulas written out per pixel.
#include <gtest/gtest.h>

#include <cmath>

#include "filter_reference.h"
#include "nodes/operators/blur.h"

namespace {

using namespace quorin_engine;
using namespace filtref;
using optest::op_rig;

constexpr uint32_t lighting_id = 1060, normal_map_id = 1086, copper_id = 1088, ao_id = 1089;

image render_with(uint32_t id, optest::params_list params, const image& hmap, const image* nmap = nullptr) {
  rig r(hmap.w, hmap.h);
  shadetree_node_t* op = r.node(id, params);
  op_rig::connect(op, u"hmap", source_of(r, hmap));
  if (nmap) op_rig::connect(op, u"nmap", source_of(r, *nmap));
  return filtref::from_buffer(*r.render(op));
}

// The render on both vector widths against the same expected image.
void expect_on_both_widths(const image& want, uint32_t id, optest::params_list params, const image& hmap,
                           const image* nmap = nullptr) {
  for (bool wide : {false, true}) {
    const bool was = use_wide_vectors(wide);
    EXPECT_TRUE(same(want, render_with(id, params, hmap, nmap))) << "type " << id << " wide " << wide;
    use_wide_vectors(was);
  }
}

void norm3(float v[3]) {
  const float inv = 1.0f / std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
  for (int i = 0; i < 3; ++i) v[i] = v[i] * inv;
}

float h(const image& img, int64_t x, int64_t y) { return img.at(x, y)[0]; }

TEST(NormalMap, FormulaAndFlatMap) {
  const image flat = render_with(normal_map_id, {}, image(6, 5, 0.4f));
  EXPECT_EQ(flat.at(2, 2)[0], 0.5f);
  EXPECT_EQ(flat.at(2, 2)[1], 0.5f);
  EXPECT_EQ(flat.at(2, 2)[2], 1.0f);
  EXPECT_EQ(flat.at(2, 2)[3], 1.0f);
  EXPECT_EQ(flat.at(0, 2)[3], 0.0f);  // the ring stays cleared

  const image src = filtref::noise_image(13, 9, 51);
  image want(13, 9);
  const float sx = (1.0f / 12.0f) * 2.0f, sy = (1.0f / 8.0f) * 2.0f;
  for (int64_t y = 1; y < 8; ++y)
    for (int64_t x = 1; x < 12; ++x) {
      const float dx = h(src, x - 1, y) - h(src, x + 1, y), dy = h(src, x, y + 1) - h(src, x, y - 1);
      float n[3] = {-dx * sy, -dy * sx, sx * sy};
      norm3(n);
      float* o = want.at(x, y);
      for (int c = 0; c < 3; ++c) o[c] = std::clamp(n[c] * 0.5f + 0.5f, 0.0f, 1.0f);
      o[3] = 1.0f;
    }
  expect_on_both_widths(want, normal_map_id, {}, src);
}

TEST(Lighting, EightBodies) {
  const image src = filtref::noise_image(11, 8, 53);
  const float amb[3] = {0.2f, 0.1f, 0.3f}, dif[3] = {0.9f, 0.8f, 0.5f}, spe[3] = {0.4f, 1.0f, 0.7f};
  for (int flags = 0; flags < 8; ++flags) {
    const bool a = flags & 4, d = flags & 2, s = flags & 1;
    image want(11, 8);
    for (int64_t y = 1; y < 7; ++y)
      for (int64_t x = 1; x < 10; ++x) {
        float n[3] = {h(src, x - 1, y) - h(src, x + 1, y), h(src, x, y + 1) - h(src, x, y - 1), 2.0f};
        norm3(n);
        const float px = float(x) / 10.0f, py = float(y) / 7.0f;
        float l[3] = {0.3f - px, 0.6f - py, 1.5f};
        norm3(l);
        const float nl = n[0] * l[0] + n[1] * l[1] + n[2] * l[2];
        float sum[3] = {0, 0, 0};
        bool any = false;
        if (a) {
          for (int c = 0; c < 3; ++c) sum[c] = amb[c];
          any = true;
        }
        if (d) {
          for (int c = 0; c < 3; ++c) {
            const float term = std::max(nl, 0.0f) * 0.8f * dif[c];
            sum[c] = any ? sum[c] + term : term;
          }
          any = true;
        }
        if (s && nl >= 0.0f) {
          float v[3] = {0.5f - px, 0.5f - py, 50.0f};
          norm3(v);
          float r[3];
          for (int c = 0; c < 3; ++c) r[c] = 2.0f * nl * n[c] - l[c];
          const float sv = std::max(v[0] * r[0] + v[1] * r[1] + v[2] * r[2], 0.0f);
          for (int c = 0; c < 3; ++c) {
            const float term = sv * sv * sv * sv * 0.6f * spe[c];
            sum[c] = any ? sum[c] + term : term;
          }
        }
        float* o = want.at(x, y);
        for (int c = 0; c < 3; ++c) o[c] = std::clamp(sum[c], 0.0f, 1.0f);
        o[3] = 1.0f;
      }
    SCOPED_TRACE(flags);
    expect_on_both_widths(want, lighting_id,
                          {{u"lightX", u"0.3"}, {u"lightY", u"0.6"}, {u"lightZ", u"1.5"},
                           {u"lightcol", u"(0.0,0.0,0.0)"}, {u"ambient", a ? u"true" : u"false"},
                           {u"ambcol", u"(0.2,0.1,0.3)"}, {u"diffuse", d ? u"true" : u"false"},
                           {u"diffcol", u"(0.9,0.8,0.5)"}, {u"diffcoeff", u"0.8"},
                           {u"specular", s ? u"true" : u"false"}, {u"speccol", u"(0.4,1.0,0.7)"},
                           {u"speccoeff", u"0.6"}},
                          src);
  }
  // The light below the surface of a flat map: no diffuse, no specular; inner pixels black, alpha 1.
  const image below = render_with(lighting_id, {{u"lightZ", u"-1"}, {u"specular", u"true"}}, image(5, 5, 0.5f));
  for (int c = 0; c < 4; ++c) EXPECT_EQ(below.at(2, 2)[c], c == 3 ? 1.0f : 0.0f);
  for (int c = 0; c < 4; ++c) EXPECT_EQ(below.at(4, 2)[c], 0.0f);
}

// The copper normal map before its blur: heights from luminance, the Sobel pair, the ring.
image copper_reference(const image& src, float e, float s, bool inv_src, bool inv_x, bool inv_y) {
  image g(src.w, src.h), out(src.w, src.h);
  for (std::size_t i = 0; i < src.px.size(); i += 4) {
    const float l = 0.2126f * src.px[i] + 0.7152f * src.px[i + 1] + 0.0722f * src.px[i + 2];
    g.px[i] = inv_src ? 1.0f - l : l;
  }
  for (int64_t y = 0; y < src.h; ++y)
    for (int64_t x = 0; x < src.w; ++x) {
      float* o = out.at(x, y);
      if (x == 0 || y == 0 || x == src.w - 1 || y == src.h - 1) {
        o[0] = o[1] = o[2] = 0.5f;
      } else {
        auto at = [&](int dx, int dy) { return e * h(g, x + dx, y + dy); };
        const float nx = s * at(-1, 0) + at(-1, -1) + at(-1, 1) - at(1, -1) - s * at(1, 0) - at(1, 1);
        const float ny = s * at(0, -1) + at(-1, -1) + at(1, -1) - at(-1, 1) - s * at(0, 1) - at(1, 1);
        const float r = std::sqrt(ny * ny + nx * nx + 0.25f);
        o[0] = nx / r * 0.5f + 0.5f;
        o[1] = ny / r * 0.5f + 0.5f;
        o[2] = 0.5f / r;
      }
      o[3] = 1.0f;
      if (inv_x) o[0] = 1.0f - o[0];
      if (inv_y) o[1] = 1.0f - o[1];
    }
  return out;
}

TEST(NormalMapCopper, SobelPairBlurAndSharpen) {
  const image flat = render_with(copper_id, {{u"blur-size", u"0"}}, image(6, 6, 0.3f));
  EXPECT_EQ(flat.at(2, 3)[0], 0.5f);
  EXPECT_EQ(flat.at(2, 3)[1], 0.5f);
  EXPECT_EQ(flat.at(2, 3)[2], 1.0f);
  EXPECT_EQ(flat.at(0, 3)[2], 0.5f);

  const image src = filtref::noise_image(15, 11, 57);
  EXPECT_TRUE(same(copper_reference(src, 3, 2, false, true, false),
                   render_with(copper_id, {{u"blur-size", u"0.02"}, {u"elevation", u"3"}, {u"shape", u"2"}, {u"inv-x", u"true"}}, src)));
  // Elevation and shape of 0 count as 1, above 10 as 10.
  EXPECT_TRUE(same(copper_reference(src, 1, 10, true, false, true),
                   render_with(copper_id, {{u"blur-size", u"0"}, {u"elevation", u"0"}, {u"shape", u"40"}, {u"inv-src", u"true"}, {u"inv-y", u"true"}}, src)));

  // Blur of width 5 (0.06 gives 6, made odd) and the unsharp mask 2 * original - blurred.
  const image sharp = copper_reference(src, 1, 1, false, false, false);
  const filtref::taps g = filtref::kernel(1, 5);
  image rows = sharp, blurred = sharp;
  filtref::pass(rows, sharp, g, true, 0, 0, 14, 10);
  filtref::pass(blurred, rows, g, false, 0, 0, 14, 10);
  image masked = blurred;
  for (std::size_t i = 0; i < masked.px.size(); ++i) masked.px[i] = 2.0f * sharp.px[i] - blurred.px[i];
  EXPECT_TRUE(same(blurred, render_with(copper_id, {{u"blur-size", u"0.06"}}, src)));
  EXPECT_TRUE(same(masked, render_with(copper_id, {{u"blur-size", u"0.06"}, {u"sharpen", u"true"}}, src)));

  // Inverting the source mirrors red and green about 0.5, as inverting both axes does.
  const image inv_src = render_with(copper_id, {{u"blur-size", u"0"}, {u"inv-src", u"true"}}, src);
  const image inv_xy = render_with(copper_id, {{u"blur-size", u"0"}, {u"inv-x", u"true"}, {u"inv-y", u"true"}}, src);
  for (int c = 0; c < 2; ++c) EXPECT_NEAR(inv_src.at(7, 5)[c], inv_xy.at(7, 5)[c], 1e-6);
}

image ao_reference(const image& hm, const image& nm, float e) {
  image want(hm.w, hm.h, 1.0f);
  const float k = float(0.25 / std::atan(1.0));
  for (int64_t y = 1; y + 1 < int64_t(hm.h); ++y)
    for (int64_t x = 1; x + 1 < int64_t(hm.w); ++x) {
      const float c = e * h(hm, x, y);
      float sum = 0.0f;
      auto decoded = [&](int64_t px, int64_t py, int i) { return (nm.at(px, py)[i] - 0.5f) * 2.0f; };
      for (int dr = -1; dr <= 1; ++dr)
        for (int dx = -1; dx <= 1; ++dx) {
          if (!dx && !dr) continue;
          const float d[4] = {float(dx), float(-dr), e * h(hm, x + dx, y + dr) - c, 0.0f};
          const float d2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2] + d[3] * d[3];
          float uc = 0.0f, un = 0.0f;
          for (int i = 0; i < 4; ++i) {
            const float u = d[i] / std::sqrt(d2);
            uc = i ? uc + u * decoded(x, y, i) : u * decoded(x, y, i);
            un = i ? un + u * decoded(x + dx, y + dr, i) : u * decoded(x + dx, y + dr, i);
          }
          sum += std::clamp(4.0f * uc, 0.0f, 1.0f) * std::clamp(un, 0.0f, 1.0f) * (1.0f / std::sqrt(1.0f + k / d2));
        }
      float* o = want.at(x, y);
      o[0] = o[1] = o[2] = 1.0f - sum / 8.0f;
    }
  return want;
}

TEST(AOMapCopper, OcclusionAndOwnBuffers) {
  image up(7, 6);
  for (std::size_t i = 0; i < up.px.size(); i += 4) up.px[i] = up.px[i + 1] = 0.5f, up.px[i + 2] = up.px[i + 3] = 1.0f;
  const image open = render_with(ao_id, {}, image(7, 6, 0.4f), &up);
  for (float f : open.px) EXPECT_EQ(f, 1.0f);

  const image hm = filtref::noise_image(10, 8, 59), nm = filtref::noise_image(10, 8, 61);
  const image want = ao_reference(hm, nm, 2.0f);
  rig r(10, 8);
  shadetree_node_t* op = r.node(ao_id, {{u"elevation", u"2"}});
  shadetree_node_t* nsrc = source_of(r, nm);
  op_rig::connect(op, u"hmap", source_of(r, hm));
  op_rig::connect(op, u"nmap", nsrc);
  EXPECT_TRUE(filtref::same_pixels(want, *r.render(op)));
  // The normal map's image in the cache is not decoded in place.
  EXPECT_TRUE(filtref::same_pixels(nm, *r.pool.cache_lookup(reinterpret_cast<uintptr_t>(nsrc))));
}

}  // namespace

namespace {

// Both vector widths, on rows whose inner pixels are not a whole number of vectors, with heights
// and normals far from the usual range (infinities and NaNs too) and three rows only.
TEST(AOMapCopper, VectorWidthsAndRowEnds) {
  for (const auto& [w, h] : {std::pair<uint32_t, uint32_t>{21, 7}, {3, 3}, {12, 3}}) {
    image hm = filtref::noise_image(w, h, 63), nm = filtref::noise_image(w, h, 67);
    for (std::size_t i = 0; i < hm.px.size(); i += 5) hm.px[i] = hm.px[i] * 40.0f - 20.0f;
    for (std::size_t i = 0; i < nm.px.size(); i += 3) nm.px[i] = -nm.px[i] * 3.0f;
    if (h > 4) {  // heights that are not numbers or infinite, and a normal that is not a number
      hm.at(5, 3)[0] = std::nanf("");
      hm.at(8, 2)[0] = INFINITY;
      hm.at(2, 4)[0] = -INFINITY;
      nm.at(12, 3)[2] = std::nanf("");
    }
    const image want = ao_reference(hm, nm, 7.0f);
    SCOPED_TRACE(::testing::Message() << w << "x" << h);
    expect_on_both_widths(want, ao_id, {{u"elevation", u"7"}}, hm, &nm);
  }
}

}  // namespace
