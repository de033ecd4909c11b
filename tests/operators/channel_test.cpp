// Channel and colour operators against the formulas written out here, on chosen samples.
#include <gtest/gtest.h>

#include <math.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "operator_test_support.h"
#include "pixel_expect.h"

using namespace optest;

namespace {

const float samples[] = {0, 1, 0.5f, 0.25f, 0.75f, 0.1f, 1.5f, -0.5f, nan_f, 0.9f, 0.35f, 0.6f, 0.3f};
constexpr uint32_t W = static_cast<uint32_t>(std::size(samples)), H = 3;
const float alphas[] = {1, 0.5f, 0, 0.8f, 1.25f};

px4 source_px(uint32_t x, uint32_t r) {
  px4 p;
  for (int c = 0; c < 3; ++c) p[c] = samples[(x + 4 * r + 5 * c) % W];
  p[3] = alphas[(x + r) % std::size(alphas)];
  if (r == 2 && x < 3) p = {samples[x + 9], samples[x + 9], samples[x + 9], 1};  // grey pixels
  return p;
}

float clamp1(float v) { return std::min(std::max(v, 0.0f), 1.0f); }

px4 grey_of(float v, float a) { return {v, v, v, a}; }

float hsv_channel(const px4& p, int ch) {
  float r = p[0], g = p[1], b = p[2];
  float mx = std::max(std::max(r, g), b), mn = std::min(std::min(r, g), b), d = mx - mn;
  float s = mx == 0 ? 0 : d / mx;
  if (ch == 2) return mx;
  if (ch == 1) return s;
  if (s == 0) return 0;
  float h = r == mx ? (g - b) / d : g != mx ? (r - g) / d + 4 : (b - r) / d + 2;
  h *= 60;
  if (h < 0) h += 360;
  return h / 360;
}

}  // namespace

TEST(Channel, InversionLuminanceDemuxReductionHsvAndRemap) {
  source_rig t(W, H, source_px);
  const char16_t* sets[12] = {u"R", u"G", u"B", u"Alpha", u"RGB", u"RGBA", u"RG", u"GB", u"RB", u"RGA", u"GBA", u"RBA"};
  const int masks[12] = {1, 2, 4, 8, 7, 15, 3, 6, 5, 11, 14, 13};
  for (int set = 0; set < 12; ++set)
    t.check(1004, u"RGB", {{u"Channel", sets[set]}},
            [&](px4 p) {
              for (int c = 0; c < 4; ++c)
                if (masks[set] & (1 << c)) p[c] = clamp1(1 - p[c]);
              return p;
            },
            "invert " + std::to_string(set));
  t.check(1079, u"Grey", {}, [](const px4& p) { return grey_of(clamp1(1 - p[0]), p[3]); }, "grey invert");
  // Invert takes "Grey" when "RGB" is not connected.
  t.check(1004, u"Grey", {}, [](px4 p) {
    for (int c = 0; c < 3; ++c) p[c] = clamp1(1 - p[c]);
    return p;
  }, "invert from Grey");

  for (uint32_t type : {1025u, 1071u})
    t.check(type, u"RGB", {}, [](const px4& p) {
      return grey_of((0.299f * p[0] + 0.587f * p[1]) + (0.114f * p[2] + 0.0f * p[3]), p[3]);
    }, "luminance");

  const char16_t* demux[4] = {u"red", u"green", u"blue", u"alpha"};
  for (int ch = 0; ch < 4; ++ch)
    t.check(1058, u"RGB", {{u"channel", demux[ch]}}, [&](const px4& p) { return px4{p[ch], 0, 0, 1}; }, "demux");

  // Posterising: truncf(L v) / L on the chosen channels; levels limited to 1..1000.
  const char16_t* reduce_sets[7] = {u"R", u"G", u"B", u"RGB", u"RG", u"GB", u"RB"};
  const int reduce_masks[7] = {1, 2, 4, 7, 3, 6, 5};
  struct levels_case {
    const char16_t* text;
    float L;
  };
  for (levels_case lv : {levels_case{u"1", 1}, levels_case{u"4", 4}, levels_case{u"5000", 1000}, levels_case{u"0", 1}}) {
    for (int set = 0; set < 7; ++set)
      t.check(1036, u"RGB", {{u"levels", lv.text}, {u"channel", reduce_sets[set]}},
              [&](px4 p) {
                for (int c = 0; c < 3; ++c)
                  if (reduce_masks[set] & (1 << c)) p[c] = truncf(lv.L * p[c]) / lv.L;
                return p;
              },
              "reduce " + std::to_string(set));
    t.check(1083, u"Grey", {{u"levels", lv.text}}, [&](const px4& p) { return grey_of(truncf(lv.L * p[0]) / lv.L, p[3]); },
            "grey reduce");
  }

  const char16_t* hsv[3] = {u"Hue", u"Saturation", u"Value"};
  for (int ch = 0; ch < 3; ++ch)
    t.check(1084, u"RGB", {{u"channel", hsv[ch]}}, [&](const px4& p) { return px4{hsv_channel(p, ch), 0, 0, p[3]}; },
            "hsv demux");

  // Remap: v = sample x scale + offset, then the enabled limits, then every float clamped.
  const char16_t* chans[4] = {u"R", u"G", u"B", u"Alpha"};
  for (int ch = 0; ch < 4; ++ch)
    for (int flags = 0; flags < 4; ++flags) {
      bool lo = flags & 2, hi = flags & 1;
      t.check(1087, u"RGB",
              {{u"channel", chans[ch]}, {u"scale", u"2"}, {u"offset", u"-0.25"}, {u"low-clamp", lo ? u"true" : u"false"},
               {u"low-value", u"0.4"}, {u"high-clamp", hi ? u"true" : u"false"}, {u"high-value", u"0.7"}},
              [&](px4 p) {
                float v = p[ch] * 2 - 0.25f;
                if (lo) v = std::max(0.4f, v);
                if (hi) v = std::min(v, 0.7f);
                p[ch] = v;
                for (float& c : p) c = clamp1(c);
                return p;
              },
              "map value " + std::to_string(ch) + " flags " + std::to_string(flags));
    }
}

TEST(Channel, MultiplexersSwitchAndHsvJoin) {
  op_rig rig(2, 2);
  shadetree_node_t* in[4] = {rig.constant({0.1f, 0.9f, 0.9f, 0.9f}), rig.constant({0.2f, 0.9f, 0.9f, 0.9f}),
                             rig.constant({0.3f, 0.9f, 0.9f, 0.9f}), rig.constant({-0.4f, 0.9f, 0.9f, 0.9f})};
  for (uint32_t type : {1059u, 1080u}) {
    const char16_t* names[4] = {u"RGB-1", u"RGB-2", u"RGB-3", u"RGB-4"};
    const char16_t* grey_names[4] = {u"Grey-1", u"Grey-2", u"Grey-3", u"Grey-4"};
    shadetree_node_t* defaults = rig.node(type);
    shadetree_node_t* mixed = rig.node(type, {{u"red", u"input 4"}, {u"green", u"set"}, {u"blue", u"input 2"}, {u"alpha", u"input 1"}});
    for (int i = 0; i < 4; ++i) {
      op_rig::connect(defaults, (type == 1059 ? names : grey_names)[i], in[i]);
      op_rig::connect(mixed, (type == 1059 ? names : grey_names)[i], in[i]);
    }
    expect_flat(*rig.render(defaults), {0, 0, 0, 0}, "mux defaults");
    expect_flat(*rig.render(mixed), {-0.4f, 1, 0.2f, 0.1f}, "mux of red floats");
    expect_flat(*rig.render(rig.node(type, {{u"alpha", u"set"}})), {0, 0, 0, 1}, "mux with alpha set, no inputs");
  }

  // Switch: only `which` chooses; `image` is not read.
  shadetree_node_t* sw = rig.node(1031, {{u"image", u"image 2"}});
  op_rig::connect(sw, u"RGB-1", in[0]);
  op_rig::connect(sw, u"RGB-2", in[1]);
  expect_flat(*rig.render(sw), {0.1f, 0.9f, 0.9f, 0.9f}, "switch without which");
  op_rig::connect(sw, u"which", scalar(rig, u"1"));
  expect_flat(*rig.render(sw), {0.2f, 0.9f, 0.9f, 0.9f}, "switch to the second");
  sw->input_connections.erase(u"RGB-2");
  expect_flat(*rig.render(sw), {0, 0, 0, 0}, "switch to a missing image");

  // HSV join: hue in 0..1 of a full turn, 1.0 counting as 0; sectors by floor(H / 60).
  const float hues[] = {0, 1, 0.1f, 0.25f, 0.4f, 0.55f, 0.7f, 0.9f, 1.2f, 0.5f};
  const float sats[] = {0.5f, 0.5f, 0.8f, 1, 0.3f, 0.6f, 0.9f, 0.4f, 0.7f, 0};
  op_rig row(10, 1);
  shadetree_node_t* join = row.node(1085);
  op_rig::connect(join, u"hchan", row.image([&](uint32_t x, uint32_t, float* px) { px[0] = hues[x]; }));
  op_rig::connect(join, u"satchan", row.image([&](uint32_t x, uint32_t, float* px) { px[0] = sats[x]; }));
  op_rig::connect(join, u"valchan", row.image([&](uint32_t, uint32_t, float* px) { px[0] = 0.8f; }));
  auto out = row.render(join);
  expect_image(*out, [&](uint32_t x, uint32_t) {
    float H = hues[x] * 360, S = sats[x], V = 0.8f;
    if (S == 0) return px4{V, V, V, 1};
    if (H >= 359.999f && H <= 360.001f) H = 0;
    float f = H / 60 - floorf(H / 60), p = (1 - S) * V, q = (1 - f * S) * V, tt = (1 - (1 - f) * S) * V;
    const px4 by_sector[7] = {{V, tt, p, 1}, {q, V, p, 1}, {p, V, tt, 1}, {p, q, V, 1}, {tt, p, V, 1}, {V, p, q, 1}, {0, 0, 0, 1}};
    return by_sector[std::min(int(floorf(H / 60)), 6)];
  }, "hsv join");
  expect_px(pixel(*out, 1, 0), pixel(*out, 0, 0), "hue 1.0 as hue 0");
  join->input_connections.erase(u"valchan");
  expect_flat(*row.render(join), {0, 0, 0, 0}, "hsv join missing an input");
}

TEST(Channel, ColorMapSegmentsEasingsAndEnds) {
  const float greys[] = {0, 0.005f, 0.1f, 0.2f, 0.35f, 0.5f, 0.7f, 0.99f, 1, 1.2f, -0.3f, nan_f};
  constexpr uint32_t n = std::size(greys);
  struct map_case {
    params_list params;
    std::vector<float> u;  // after the last is forced to 1 and a zero first becomes 0.01
    std::vector<uint32_t> t;
    std::vector<px4> c;
    bool flat;
  };
  const map_case cases[] = {
      {{{u"point-count", u"3"}, {u"upper0", u"0.2"}, {u"upper1", u"0.5"}, {u"upper2", u"0.8"}, {u"type0", u"linear"},
        {u"type1", u"spline (cubic)"}, {u"type2", u"spline (5th deg.)"}, {u"color0", u"(1.0,0.0,0.5)"},
        {u"color1", u"(0.0,1.0,0.25)"}, {u"color2", u"(0.5,0.5,1.0)"}},
       {0.2f, 0.5f, 1}, {0, 1, 2}, {{1, 0, 0.5f, 1}, {0, 1, 0.25f, 1}, {0.5f, 0.5f, 1, 1}}, false},
      {{{u"point-count", u"1"}, {u"upper0", u"0.3"}, {u"color0", u"(0.2,0.4,0.8)"}, {u"type0", u"spline (cubic)"}},
       {1}, {1}, {{0.2f, 0.4f, 0.8f, 1}}, false},
      {{{u"upper0", u"0"}, {u"color0", u"(0.0,0.5,1.0)"}, {u"color1", u"(1.0,1.0,0.0)"}},
       {0.01f, 1}, {0, 0}, {{0, 0.5f, 1, 1}, {1, 1, 0, 1}}, true},
  };
  auto ease = [](float s, uint32_t t) {
    if (t == 0) return s;
    if (t == 1) return (3 - 2 * s) * s * s;
    return clamp1((((12 * s - 30) * s + 22) * s - 3) * s * s);
  };
  auto mix = [](const px4& a, const px4& b, float w) {
    px4 d;
    for (int k = 0; k < 4; ++k) d[k] = clamp1((1 - w) * a[k] + w * b[k]);
    return d;
  };
  for (const map_case& m : cases) {
    op_rig rig(n, 1);
    shadetree_node_t* op = rig.node(1037, m.params);
    op_rig::connect(op, u"Grey", rig.image([&](uint32_t x, uint32_t, float* px) { px[0] = greys[x], px[3] = 0.5f; }));
    auto out = rig.render(op);
    const size_t k = m.u.size();
    for (uint32_t x = 0; x < n; ++x) {
      float v = greys[x];
      px4 want;
      size_t seg = k;
      for (size_t i = 0; i + 1 < k; ++i)
        if (v >= m.u[i] && v < m.u[i + 1]) seg = i;
      if (seg < k) {
        want = mix(m.c[seg], m.c[seg + 1], ease((v - m.u[seg]) * (1 / (m.u[seg + 1] - m.u[seg])), m.t[seg]));
      } else if (v >= m.u[0] && k >= 2) {
        want = mix(m.c[k - 2], m.c[k - 1], ease(v * (1 / (m.u[k - 1] - m.u[k - 2])), m.t[k - 1]));
      } else if (m.flat && v < 0.01f) {
        want = m.c[0];
      } else {
        want = mix({0, 0, 0, 1}, m.c[0], ease(v * (1 / m.u[0]), m.t[0]));
      }
      expect_px(pixel(*out, x, 0), want, "colour map of " + std::to_string(v) + " with " + std::to_string(k) + " points");
    }
  }
  op_rig rig(2, 1);
  shadetree_node_t* none = rig.node(1037, {{u"point-count", u"0"}});
  op_rig::connect(none, u"Grey", rig.constant({0.5f, 0.5f, 0.5f, 1}));
  expect_flat(*rig.render(none), {0, 0, 0, 0}, "no points");
}
