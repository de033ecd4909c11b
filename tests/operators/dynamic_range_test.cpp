// Dynamic range operators against the formulas written out here, on an image of chosen samples.
#include <gtest/gtest.h>

#include <math.h>

#include <algorithm>
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
float clamp1(float v) { return std::min(std::max(v, 0.0f), 1.0f); }
// Within 0..1 and never not-a-number, for the curve operators.
px4 unit_px(uint32_t x, uint32_t r) {
  px4 p = source_px(x, r);
  for (float& v : p) v = std::isnan(v) ? 0.3f : clamp1(v);
  return p;
}

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
  px4 a = source_px(x, r), b = source_px(x1, r), c = source_px(x, r1), d = source_px(x1, r1), m;
  for (int k = 0; k < 4; ++k) m[k] = 0.25f * a[k] + 0.25f * b[k] + 0.25f * c[k] + 0.25f * d[k];
  return m;
}

// The channel choice of the bias, gamma, gain and curve operators: Red, Green, Blue, All.
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
      {1014, 1062, u"exponent", u"7", [](float v) { return powf(v, 0.0f); }},  // clamped to 1
      {1015, 1063, u"gamma", u"2.2", [](float v) { return powf(v, 1 / 2.2f); }},
      {1015, 1063, u"gamma", u"0", [](float v) { return powf(v, INFINITY); }},  // 1 / 0, unguarded
      {1016, 1064, u"exponent", u"0.3", [](float v) { return gain(v, 0.3f); }},
      {1016, 1064, u"exponent", u"0.5", [](float v) { return v; }},
  };
  for (const fn_case& k : cases)
    for (bool smooth : {false, true}) {
      source_rig t(W, H, source_px);
      auto sample = [&](uint32_t x, uint32_t r) { return smooth ? smoothed(x, r) : source_px(x, r); };
      const std::string what = std::to_string(k.channel_type) + (smooth ? " smoothed" : "");
      const char16_t* interp = smooth ? u"Bilinear" : u"None";
      for (uint32_t choice = 0; choice < 5; ++choice) {
        shadetree_node_t* op = choice < 4 ? t.rig.node(k.channel_type, {{u"channel", rgb_choice[choice]}})
                                          : t.rig.node(k.grey_type);
        op->params[k.param] = k.value;
        op->params[u"interpolation"] = interp;
        op_rig::connect(op, choice < 4 ? u"RGB" : u"grey", t.src);
        expect_image(*t.rig.render(op), [&](uint32_t x, uint32_t r) {
          px4 p = source_px(x, r), s = sample(x, r);
          if (choice == 4) return px4{k.f(s[0]), k.f(s[0]), k.f(s[0]), p[3]};
          for (int c = 0; c < 3; ++c)
            if (in_choice(choice, c)) p[c] = k.f(s[c]);
          return p;
        }, what + " choice " + std::to_string(choice));
      }
    }
}

TEST(DynamicRange, CorrectionWithinThresholdsAndCurves) {
  // Bias, Gamma or Gain only where the tested sample lies in Lo..Hi, both ends included.
  struct corr_case {
    const char16_t *type, *gamma;
    std::function<float(float)> f;
  };
  const corr_case corr[] = {{u"Bias", u"1", [](float v) { return bias(v, 0.3f); }},
                            {u"Gamma", u"2", [](float v) { return powf(v, 1 / 2.0f); }},
                            {u"Gamma", u"0", [](float v) { return powf(v, 1.0f); }},
                            {u"Gain", u"1", [](float v) { return gain(v, 0.7f); }}};
  auto in_range = [](float v) { return v >= 0.25f && v <= 0.75f; };
  for (const corr_case& k : corr) {
    source_rig t(W, H, source_px);
    params_list common = {{u"Type", k.type},      {u"Lo thrsh", u"0.25"}, {u"Hi thrsh", u"0.75"},
                          {u"Bias expo", u"0.3"}, {u"Gamma", k.gamma},    {u"Gain expo", u"0.7"}};
    for (int ch = 0; ch < 3; ++ch) {
      shadetree_node_t* op = t.rig.node(1055, common);
      op->params[u"Channel"] = rgb_choice[ch];
      op_rig::connect(op, u"RGB", t.src);
      expect_image(*t.rig.render(op), [&](uint32_t x, uint32_t r) {
        px4 p = source_px(x, r);
        if (in_range(p[ch])) p[ch] = k.f(p[ch]);
        return p;
      }, "correction");
    }
    t.check(1066, u"grey", common, [&](px4 p) { return in_range(p[0]) ? px4{k.f(p[0]), k.f(p[0]), k.f(p[0]), p[3]} : p; },
            "grey correction");
  }

  // Curves: the chosen channel's curve (or `all` on the three colours) at each sample.
  curve falling;
  curve_item line;
  line.points[0][1] = 0.9f;
  line.points[1][1] = 0.1f;
  falling.items = {line};
  auto on_curve = [](float v) { return 0.9f + (0.1f - 0.9f) * v; };
  source_rig t(W, H, unit_px);
  const char16_t* const names[4] = {u"red", u"green", u"blue", u"all"};
  for (uint32_t choice = 0; choice < 4; ++choice) {
    shadetree_node_t* op = t.rig.node(1054, {{u"channel", rgb_choice[choice]}});
    for (uint32_t i = 0; i < 4; ++i) op->param_curves[names[i]] = i == choice ? falling : default_curve();
    op_rig::connect(op, u"RGB", t.src);
    expect_image(*t.rig.render(op), [&](uint32_t x, uint32_t r) {
      px4 p = unit_px(x, r);
      for (int c = 0; c < 3; ++c)
        if (in_choice(choice, c)) p[c] = on_curve(p[c]);
      return p;
    }, "curve");
  }
  shadetree_node_t* grey = t.rig.node(1065);
  grey->param_curves[u"value"] = falling;
  op_rig::connect(grey, u"grey", t.src);
  expect_image(*t.rig.render(grey), [&](uint32_t x, uint32_t r) {
    px4 p = unit_px(x, r);
    return px4{on_curve(p[0]), on_curve(p[0]), on_curve(p[0]), p[3]};
  }, "grey curve");
}

TEST(DynamicRange, ConstantsClipsMasksKeysBrightnessAndTrig) {
  source_rig t(W, H, source_px);
  // Constant operations: every float clamped; Add makes alpha 1, Subtract takes 1.0 from alpha.
  const char16_t* op_names[3] = {u"Add", u"Multiply", u"Subtract"};
  const std::function<float(float, float)> ops[3] = {[](float a, float b) { return a + b; },
                                                     [](float a, float b) { return a * b; },
                                                     [](float a, float b) { return a - b; }};
  for (int o = 0; o < 3; ++o) {
    auto with = [&](px4 k) {
      return [&, k](px4 p) {
        for (int i = 0; i < 4; ++i) p[i] = clamp1(ops[o](p[i], k[i]));
        if (o == 0) p[3] = 1;
        return p;
      };
    };
    t.check(1003, u"RGB", {{u"operation", op_names[o]}, {u"red", u"0.25"}, {u"green", u"0.5"}, {u"blue", u"3"}},
            with({0.25f, 0.5f, 1, 1}), "constant operation");
    t.check(1061, u"grey", {{u"operation", op_names[o]}, {u"value", u"0.5"}}, with({0.5f, 0.5f, 0.5f, 1}), "grey constant");
  }
  expect_flat(*t.rig.render(t.rig.node(1003, {{u"red", u"0.2"}, {u"green", u"0.4"}, {u"blue", u"0.6"}})),
              {0.2f, 0.4f, 0.6f, 1}, "constant with no input");

  // Saturate: the larger of minimum and (the smaller of sample and maximum); red's minimum wins.
  t.check(1009, u"RGB", {{u"min-red", u"0.8"}, {u"max-red", u"0.2"}, {u"min-green", u"0.25"}, {u"max-blue", u"0.6"}},
          [](px4 p) {
            const float mn[3] = {0.8f, 0.25f, 0}, mx[3] = {0.2f, 1, 0.6f};
            for (int i = 0; i < 3; ++i) p[i] = std::max(mn[i], std::min(p[i], mx[i]));
            return px4{0.8f, p[1], p[2], 1};
          },
          "saturate");

  // Threshold masks: at or above the threshold, the channel's colour, white or opaque black.
  const char16_t* out_names[3] = {u"Same Channel", u"White", u"Alpha"};
  for (int o = 0; o < 3; ++o)
    for (int ch = 0; ch < 3; ++ch) {
      px4 mask = o == 1 ? px4{1, 1, 1, 1} : px4{0, 0, 0, 1};
      if (o == 0) mask[ch] = 1;
      t.check(1056, u"RGB", {{u"Channel", rgb_choice[ch]}, {u"Thrsh", u"0.75"}, {u"Output", out_names[o]}},
              [&](px4 p) { return p[ch] >= 0.75f ? mask : px4{0, 0, 0, 0}; }, "threshold mask");
    }

  // Colour key: the source where the key's channel reaches the threshold; by luminance, the key
  // itself or black with the key's alpha. An input connected as "RGB-output" is not read.
  auto key_px = [](uint32_t x, uint32_t r) { return source_px(W - 1 - x, r); };
  auto key = t.rig.image([&](uint32_t x, uint32_t r, float* px) { std::copy_n(key_px(x, r).begin(), 4, px); });
  for (int ch = 0; ch < 4; ++ch) {
    shadetree_node_t* op = t.rig.node(1022, {{u"channel", ch == 3 ? u"Luminance" : rgb_choice[ch]}, {u"threshold", u"0.5"}});
    op_rig::connect(op, u"RGB-source", t.src);
    op_rig::connect(op, u"RGB-key", key);
    expect_image(*t.rig.render(op), [&](uint32_t x, uint32_t r) {
      px4 k = key_px(x, r);
      if (ch < 3) return k[ch] >= 0.5f ? source_px(x, r) : px4{0, 0, 0, 0};
      return 0.5f > 0.299f * k[0] + 0.587f * k[1] + 0.114f * k[2] ? px4{0, 0, 0, k[3]} : k;
    }, "colour key " + std::to_string(ch));
  }
  shadetree_node_t* misnamed = t.rig.node(1022, {{u"channel", u"Luminance"}});
  op_rig::connect(misnamed, u"RGB-output", t.src);
  expect_flat(*t.rig.render(misnamed), {0, 0, 0, 0}, "key by luminance without a key");

  // Brightness: towards white above 0.5, darker below; with relbright the sum picks the branch but
  // darkening still uses brightness - 0.5 + 1.
  auto lighter = [](px4 p, float m) { return px4{m * (1 - p[0]) + p[0], m * (1 - p[1]) + p[1], m * (1 - p[2]) + p[2], p[3]}; };
  auto darker = [](px4 p, float f) { return px4{p[0] * f, p[1] * f, p[2] * f, p[3]}; };
  t.check(1077, u"RGB", {{u"brightness", u"0.5"}}, [](px4 p) { return p; }, "neutral brightness");
  t.check(1077, u"RGB", {{u"brightness", u"0.75"}}, [&](px4 p) { return lighter(p, 0.25f); }, "brighter");
  t.check(1077, u"RGB", {{u"brightness", u"0.2"}}, [&](px4 p) { return darker(p, (0.2f - 0.5f) + 1); }, "darker");
  shadetree_node_t* rel = t.rig.node(1077, {{u"brightness", u"0.25"}});
  op_rig::connect(rel, u"RGB", t.src);
  op_rig::connect(rel, u"relbright", key);
  expect_image(*t.rig.render(rel), [&](uint32_t x, uint32_t r) {
    float m = std::min(std::max(-0.25f + key_px(x, r)[0], -1.0f), 1.0f);
    return m >= 0 ? lighter(source_px(x, r), m) : darker(source_px(x, r), -0.25f + 1);
  }, "relative brightness");

  // Sine and cosine, scaled, on the twelve channel sets and on grey, alpha kept. These render their
  // input into their own target, so the image comes through an operator that reads it from the
  // pool: multiplied by 1, so clamped to 0..1.
  shadetree_node_t* clamped = t.rig.node(1003, {{u"operation", u"Multiply"}, {u"red", u"1"}, {u"green", u"1"}, {u"blue", u"1"}});
  op_rig::connect(clamped, u"RGB", t.src);
  const float two_pi = float(atan(1.0) * 4.0) * 2.0f;
  const char16_t* sets[12] = {u"R", u"G", u"B", u"Alpha", u"RGB", u"RGBA", u"RG", u"GB", u"RB", u"RGA", u"GBA", u"RBA"};
  const int masks[12] = {1, 2, 4, 8, 7, 15, 3, 6, 5, 11, 14, 13};
  for (int func = 0; func < 2; ++func) {
    auto f = [&](float v, float s) { return ((func ? cosf(two_pi * v) : sinf(two_pi * v)) + 1) * 0.5f * s; };
    for (int set = 0; set < 13; ++set)
      t.check(set < 12 ? 1072 : 1057, set < 12 ? u"RGB" : u"grey",
              {{u"func", func ? u"Cos" : u"Sin"}, {u"channel", sets[set % 12]}, {u"scale", set < 12 ? u"0.8" : u"3"}},
              [&](px4 p) {
                for (float& v : p) v = clamp1(v);
                if (set == 12) return px4{f(p[0], 1), f(p[0], 1), f(p[0], 1), p[3]};
                for (int i = 0; i < 4; ++i)
                  if (masks[set] & (1 << i)) p[i] = f(p[i], 0.8f);
                return p;
              },
              "trig set " + std::to_string(set), clamped);
  }
  source_rig quarters(3, 1, [](uint32_t x, uint32_t) { return px4{x * 0.25f + (x == 2) * 0.25f, 0, 0, 1}; });
  shadetree_node_t* through = quarters.rig.node(1061, {{u"operation", u"Add"}});
  op_rig::connect(through, u"grey", quarters.src);
  quarters.check(1057, u"grey", {}, [](px4 p) {
    float v = p[0] == 0 ? 0.5f : p[0] == 0.25f ? 1.0f : 0.0f;  // sine of 0, a quarter and three quarters
    return px4{v, v, v, 1};
  }, "sine quarters", through);
}
