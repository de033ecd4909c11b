// Dynamic range operators against the formulas written out here, on an image of chosen samples.
#include <gtest/gtest.h>

#include <math.h>

#include <cmath>
#include <functional>
#include <string>

#include "document/curve.h"
#include "operator_test_support.h"
#include "pixel_expect.h"

using namespace optest;

namespace {

constexpr uint32_t W = 8, H = 4;
const float samples[] = {0, 1, 0.5f, 0.25f, 0.75f, 0.1f, 1.5f, -0.5f, nan_f, 0.9f, 0.6f};
const float alphas[] = {1, 0.5f, 0, 0.8f};

// Every float of every pixel picks its own sample; alpha is not 1 in most pixels.
px4 source_px(uint32_t x, uint32_t r) {
  px4 p;
  for (int c = 0; c < 3; ++c) p[c] = samples[(x + 3 * r + 4 * c) % std::size(samples)];
  p[3] = alphas[(x + r) % std::size(alphas)];
  return p;
}
// The same without not-a-number or values outside 0..1, for the curve operators.
px4 unit_px(uint32_t x, uint32_t r) {
  px4 p = source_px(x, r);
  for (float& v : p) v = std::isnan(v) ? 0.3f : std::min(std::max(v, 0.0f), 1.0f);
  return p;
}

using pixel_source = px4 (*)(uint32_t, uint32_t);

struct rig_with_source {
  op_rig rig{W, H};
  shadetree_node_t* src;
  explicit rig_with_source(pixel_source f = source_px)
      : src(rig.image([f](uint32_t x, uint32_t r, float* px) { std::copy_n(f(x, r).begin(), 4, px); })) {}

  // Renders a node of the type with one input and checks every pixel against want(x, row).
  void check(uint32_t type, const char16_t* input, params_list params, const std::function<px4(uint32_t, uint32_t)>& want,
             const std::string& what, shadetree_node_t* from = nullptr) {
    shadetree_node_t* op = rig.node(type, params);
    op_rig::connect(op, input, from ? from : src);
    auto out = rig.render(op);
    for (uint32_t r = 0; r < H; ++r)
      for (uint32_t x = 0; x < W; ++x)
        expect_px(pixel(*out, x, r), want(x, r), what + " at " + std::to_string(x) + "," + std::to_string(r));
  }
};

const float L = logf(0.5f);
float bias(float v, float e) { return powf(v, logf(e) / L); }
float gain(float v, float e) {
  float g = logf(1 - e) / L;
  return v < 0.5f ? powf(2 * v, g) * 0.5f : 1 - powf(2 - 2 * v, g) * 0.5f;
}

// The mean of the pixel, its right neighbour and the two in the memory row before, mirrored at the
// right and top edges.
px4 smoothed(uint32_t x, uint32_t r) {
  uint32_t x1 = x + 1 < W ? x + 1 : W - 1, r1 = r > 0 ? r - 1 : 0;
  px4 a = source_px(x, r), b = source_px(x1, r), c = source_px(x, r1), d = source_px(x1, r1);
  px4 m;
  for (int k = 0; k < 4; ++k) m[k] = 0.25f * a[k] + 0.25f * b[k] + 0.25f * c[k] + 0.25f * d[k];
  return m;
}

// Channel sets of the bias, gamma, gain and curve operators: Red, Green, Blue, All.
const char16_t* const rgb_choice[4] = {u"Red", u"Green", u"Blue", u"All"};
bool in_choice(uint32_t choice, int c) { return c < 3 && (choice == 3 || int(choice) == c); }

}  // namespace

TEST(DynamicRange, BiasGammaGainOnChannelsAndGreySmoothedOrNot) {
  struct fn_case {
    uint32_t channel_type, grey_type;
    const char16_t *param, *value;
    std::function<float(float)> f;
  };
  const fn_case cases[] = {
      {1014, 1062, u"exponent", u"0.8", [](float v) { return bias(v, 0.8f); }},
      {1014, 1062, u"exponent", u"0.5", [](float v) { return v; }},  // logf(0.5) / L is 1
      {1014, 1062, u"exponent", u"0", [](float v) { return powf(v, INFINITY); }},
      {1014, 1062, u"exponent", u"1", [](float v) { return powf(v, 0.0f); }},
      {1014, 1062, u"exponent", u"7", [](float v) { return powf(v, 0.0f); }},  // clamped to 1
      {1015, 1063, u"gamma", u"2.2", [](float v) { return powf(v, 1 / 2.2f); }},
      {1015, 1063, u"gamma", u"0", [](float v) { return powf(v, INFINITY); }},  // 1 / 0, unguarded
      {1016, 1064, u"exponent", u"0.3", [](float v) { return gain(v, 0.3f); }},
      {1016, 1064, u"exponent", u"0.5", [](float v) { return v; }},
  };
  for (const fn_case& k : cases)
    for (bool smooth : {false, true}) {
      const char16_t* interp = smooth ? u"Bilinear" : u"None";
      std::string what = std::to_string(k.channel_type) + (smooth ? " smoothed" : "");
      rig_with_source t;
      for (uint32_t choice = 0; choice < 4; ++choice)
        t.check(k.channel_type, u"RGB", {{k.param, k.value}, {u"channel", rgb_choice[choice]}, {u"interpolation", interp}},
                [&](uint32_t x, uint32_t r) {
                  px4 p = source_px(x, r), s = smooth ? smoothed(x, r) : p;
                  for (int c = 0; c < 3; ++c)
                    if (in_choice(choice, c)) p[c] = k.f(s[c]);
                  return p;
                },
                what + " channel " + std::to_string(choice));
      t.check(k.grey_type, u"grey", {{k.param, k.value}, {u"interpolation", interp}},
              [&](uint32_t x, uint32_t r) {
                px4 p = source_px(x, r);
                float v = k.f(smooth ? smoothed(x, r)[0] : p[0]);
                return px4{v, v, v, p[3]};
              },
              what + " grey");
    }
}

TEST(DynamicRange, CorrectionWithinThresholdsAndCurves) {
  // Bias, Gamma or Gain only where the tested sample lies in Lo..Hi, both ends included.
  struct corr_case {
    const char16_t* type;
    const char16_t* gamma;
    std::function<float(float)> f;
  };
  const corr_case corr[] = {{u"Bias", u"1", [](float v) { return bias(v, 0.3f); }},
                            {u"Gamma", u"2", [](float v) { return powf(v, 1 / 2.0f); }},
                            {u"Gamma", u"0", [](float v) { return powf(v, 1.0f); }},
                            {u"Gain", u"1", [](float v) { return gain(v, 0.7f); }}};
  for (const corr_case& k : corr) {
    rig_with_source t;
    params_list common = {{u"Type", k.type}, {u"Lo thrsh", u"0.25"}, {u"Hi thrsh", u"0.75"},
                          {u"Bias expo", u"0.3"}, {u"Gamma", k.gamma}, {u"Gain expo", u"0.7"}};
    auto in_range = [](float v) { return v >= 0.25f && v <= 0.75f; };
    for (int ch = 0; ch < 3; ++ch) {
      shadetree_node_t* op = t.rig.node(1055, common);
      op->params[u"Channel"] = rgb_choice[ch];
      op_rig::connect(op, u"RGB", t.src);
      auto out = t.rig.render(op);
      for (uint32_t r = 0; r < H; ++r)
        for (uint32_t x = 0; x < W; ++x) {
          px4 p = source_px(x, r);
          if (in_range(p[ch])) p[ch] = k.f(p[ch]);
          expect_px(pixel(*out, x, r), p, "correction channel " + std::to_string(ch));
        }
    }
    t.check(1066, u"grey", common,
            [&](uint32_t x, uint32_t r) {
              px4 p = source_px(x, r);
              if (!in_range(p[0])) return p;
              float v = k.f(p[0]);
              return px4{v, v, v, p[3]};
            },
            "grey correction");
  }

  // Curves: the chosen channel's curve (or `all` on the three colours) evaluated at each sample.
  curve falling;
  curve_item line;
  line.points[0][1] = 0.9f;
  line.points[1][1] = 0.1f;
  falling.items = {line};
  auto on_curve = [](float v) { return 0.9f + (0.1f - 0.9f) * v; };
  rig_with_source t(unit_px);
  for (uint32_t choice = 0; choice < 4; ++choice) {
    shadetree_node_t* op = t.rig.node(1054, {{u"channel", rgb_choice[choice]}});
    const char16_t* const names[4] = {u"red", u"green", u"blue", u"all"};
    for (uint32_t i = 0; i < 4; ++i) op->param_curves[names[i]] = i == choice ? falling : default_curve();
    op_rig::connect(op, u"RGB", t.src);
    auto out = t.rig.render(op);
    for (uint32_t r = 0; r < H; ++r)
      for (uint32_t x = 0; x < W; ++x) {
        px4 p = unit_px(x, r);
        for (int c = 0; c < 3; ++c)
          if (in_choice(choice, c)) p[c] = on_curve(p[c]);
        expect_px(pixel(*out, x, r), p, "curve " + std::to_string(choice));
      }
  }
  shadetree_node_t* grey = t.rig.node(1065);
  grey->param_curves[u"value"] = falling;
  op_rig::connect(grey, u"grey", t.src);
  auto out = t.rig.render(grey);
  for (uint32_t r = 0; r < H; ++r)
    for (uint32_t x = 0; x < W; ++x) {
      px4 p = unit_px(x, r);
      float v = on_curve(p[0]);
      expect_px(pixel(*out, x, r), {v, v, v, p[3]}, "grey curve");
    }
}

TEST(DynamicRange, ConstantsClipsMasksKeysBrightnessAndTrig) {
  auto clamp1 = [](float v) { return std::min(std::max(v, 0.0f), 1.0f); };
  rig_with_source t;
  // Constant operations: every float clamped; Add makes alpha 1, Subtract takes 1.0 from alpha.
  const px4 c{0.25f, 0.5f, 1.0f, 1.0f};
  const char16_t* op_names[3] = {u"Add", u"Multiply", u"Subtract"};
  const std::function<float(float, float)> ops[3] = {[](float a, float b) { return a + b; },
                                                     [](float a, float b) { return a * b; },
                                                     [](float a, float b) { return a - b; }};
  for (int o = 0; o < 3; ++o) {
    auto want = [&](const px4& k) {
      return [&, k](uint32_t x, uint32_t r) {
        px4 p = source_px(x, r), d;
        for (int i = 0; i < 4; ++i) d[i] = clamp1(ops[o](p[i], k[i]));
        if (o == 0) d[3] = 1;
        return d;
      };
    };
    t.check(1003, u"RGB", {{u"operation", op_names[o]}, {u"red", u"0.25"}, {u"green", u"0.5"}, {u"blue", u"3"}}, want(c),
            "constant operation");
    t.check(1061, u"grey", {{u"operation", op_names[o]}, {u"value", u"0.5"}}, want({0.5f, 0.5f, 0.5f, 1}),
            "grey constant operation");
  }
  op_rig bare(2, 2);
  expect_flat(*bare.render(bare.node(1003, {{u"red", u"0.2"}, {u"green", u"0.4"}, {u"blue", u"0.6"}})),
              {0.2f, 0.4f, 0.6f, 1}, "constant with no input");

  // Saturate: the larger of minimum and (the smaller of sample and maximum); red's minimum wins.
  t.check(1009, u"RGB", {{u"min-red", u"0.8"}, {u"max-red", u"0.2"}, {u"min-green", u"0.25"}, {u"max-blue", u"0.6"}},
          [](uint32_t x, uint32_t r) {
            px4 p = source_px(x, r);
            const float mn[3] = {0.8f, 0.25f, 0}, mx[3] = {0.2f, 1, 0.6f};
            for (int i = 0; i < 3; ++i) p[i] = std::max(mn[i], std::min(p[i], mx[i]));
            p[0] = 0.8f;
            p[3] = 1;
            return p;
          },
          "saturate");

  // Threshold masks: at or above the threshold, the channel's colour, white or opaque black.
  const px4 outputs[3][3] = {{{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}},
                             {{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}},
                             {{0, 0, 0, 1}, {0, 0, 0, 1}, {0, 0, 0, 1}}};
  const char16_t* out_names[3] = {u"Same Channel", u"White", u"Alpha"};
  for (int o = 0; o < 3; ++o)
    for (int ch = 0; ch < 3; ++ch)
      t.check(1056, u"RGB", {{u"Channel", rgb_choice[ch]}, {u"Thrsh", u"0.75"}, {u"Output", out_names[o]}},
              [&](uint32_t x, uint32_t r) { return source_px(x, r)[ch] >= 0.75f ? outputs[o][ch] : px4{0, 0, 0, 0}; },
              "threshold mask");

  // Colour key: the source where the key's channel reaches the threshold; by luminance, the key
  // itself or black with the key's alpha. An input connected as "RGB-output" is not read.
  auto key = t.rig.image([](uint32_t x, uint32_t r, float* px) { std::copy_n(source_px(W - 1 - x, r).begin(), 4, px); });
  for (int ch = 0; ch < 4; ++ch) {
    shadetree_node_t* op = t.rig.node(1022, {{u"channel", ch == 3 ? u"Luminance" : rgb_choice[ch]}, {u"threshold", u"0.5"}});
    op_rig::connect(op, u"RGB-source", t.src);
    op_rig::connect(op, u"RGB-key", key);
    auto out = t.rig.render(op);
    for (uint32_t r = 0; r < H; ++r)
      for (uint32_t x = 0; x < W; ++x) {
        px4 k = source_px(W - 1 - x, r), want;
        if (ch < 3) {
          want = k[ch] >= 0.5f ? source_px(x, r) : px4{0, 0, 0, 0};
        } else {
          float lum = 0.299f * k[0] + 0.587f * k[1] + 0.114f * k[2];
          want = 0.5f > lum ? px4{0, 0, 0, k[3]} : k;
        }
        expect_px(pixel(*out, x, r), want, "colour key " + std::to_string(ch));
      }
  }
  shadetree_node_t* misnamed = t.rig.node(1022, {{u"channel", u"Luminance"}});
  op_rig::connect(misnamed, u"RGB-output", t.src);
  expect_flat(*t.rig.render(misnamed), {0, 0, 0, 0}, "key by luminance without a key");

  // Brightness: towards white above 0.5, darker below; with relbright the sum picks the branch
  // but darkening still uses brightness - 0.5 + 1.
  auto lighter = [](px4 p, float m) {
    for (int i = 0; i < 3; ++i) p[i] = m * (1 - p[i]) + p[i];
    return p;
  };
  auto darker = [](px4 p, float f) {
    for (int i = 0; i < 3; ++i) p[i] = p[i] * f;
    return p;
  };
  t.check(1077, u"RGB", {{u"brightness", u"0.5"}}, source_px, "neutral brightness");
  t.check(1077, u"RGB", {{u"brightness", u"0.75"}}, [&](uint32_t x, uint32_t r) { return lighter(source_px(x, r), 0.25f); },
          "brighter");
  t.check(1077, u"RGB", {{u"brightness", u"0.2"}},
          [&](uint32_t x, uint32_t r) { return darker(source_px(x, r), (0.2f - 0.5f) + 1); }, "darker");
  shadetree_node_t* rel = t.rig.node(1077, {{u"brightness", u"0.25"}});
  op_rig::connect(rel, u"RGB", t.src);
  op_rig::connect(rel, u"relbright", key);
  auto rel_out = t.rig.render(rel);
  for (uint32_t r = 0; r < H; ++r)
    for (uint32_t x = 0; x < W; ++x) {
      float m = std::min(std::max(-0.25f + source_px(W - 1 - x, r)[0], -1.0f), 1.0f);
      px4 want = m >= 0 ? lighter(source_px(x, r), m) : darker(source_px(x, r), -0.25f + 1);
      expect_px(pixel(*rel_out, x, r), want, "relative brightness");
    }

  // Sine and cosine, scaled: on the channel sets of ChannelTrigFunc and on grey, alpha kept. These
  // render their input into their own target, so the test image comes through an operator that
  // reads it from the pool (multiplied by 1, so clamped to 0..1).
  shadetree_node_t* clamped = t.rig.node(1003, {{u"operation", u"Multiply"}, {u"red", u"1"}, {u"green", u"1"}, {u"blue", u"1"}});
  op_rig::connect(clamped, u"RGB", t.src);
  auto clamped_px = [&](uint32_t x, uint32_t r) {
    px4 p = source_px(x, r);
    for (float& v : p) v = clamp1(v);
    return p;
  };
  const float two_pi = float(atan(1.0) * 4.0) * 2.0f;
  const char16_t* sets[12] = {u"R", u"G", u"B", u"Alpha", u"RGB", u"RGBA", u"RG", u"GB", u"RB", u"RGA", u"GBA", u"RBA"};
  const int masks[12] = {1, 2, 4, 8, 7, 15, 3, 6, 5, 11, 14, 13};
  for (int func = 0; func < 2; ++func) {
    auto f = [&](float v, float s) { return ((func ? cosf(two_pi * v) : sinf(two_pi * v)) + 1) * 0.5f * s; };
    for (int set = 0; set < 12; ++set)
      t.check(1072, u"RGB", {{u"func", func ? u"Cos" : u"Sin"}, {u"channel", sets[set]}, {u"scale", u"0.8"}},
              [&](uint32_t x, uint32_t r) {
                px4 p = clamped_px(x, r);
                for (int i = 0; i < 4; ++i)
                  if (masks[set] & (1 << i)) p[i] = f(p[i], 0.8f);
                return p;
              },
              "trig set " + std::to_string(set), clamped);
    t.check(1057, u"grey", {{u"func", func ? u"Cos" : u"Sin"}, {u"scale", u"3"}},
            [&](uint32_t x, uint32_t r) {
              px4 p = clamped_px(x, r);
              float v = f(p[0], 1);
              return px4{v, v, v, p[3]};
            },
            "grey trig", clamped);
  }
  op_rig line(3, 1);
  shadetree_node_t* sine = line.node(1057);
  shadetree_node_t* through = line.node(1061, {{u"operation", u"Add"}});
  const float quarter[3] = {0, 0.25f, 0.75f};
  op_rig::connect(through, u"grey", line.image([&](uint32_t x, uint32_t, float* px) { px[0] = quarter[x], px[3] = 1; }));
  op_rig::connect(sine, u"grey", through);
  auto sine_out = line.render(sine);
  EXPECT_EQ(pixel(*sine_out, 0, 0)[0], 0.5f);
  EXPECT_EQ(pixel(*sine_out, 1, 0)[0], 1.0f);
  EXPECT_EQ(pixel(*sine_out, 2, 0)[0], 0.0f);
}
