// Blend operators against the formulas written out here, on chosen pairs of samples: corners,
// branch edges, values outside 0..1, not-a-number, and alphas other than 1.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "operator_test_support.h"
#include "pixel_expect.h"

using namespace optest;

namespace {

struct pair_t {
  float S, B;
};
// Each pixel's red, green and blue take three different pairs; alpha takes one of `alphas`.
const pair_t pairs[] = {{0, 0},      {1, 0},       {0, 1},       {1, 1},      {0.5f, 0.5f},  {0.25f, 0.75f},
                        {0.8f, 0.3f}, {0.3f, 0.2f}, {0.6f, 0.9f}, {0.5f, 0.1f}, {0.1f, 0.25f}, {1.5f, -0.25f},
                        {-0.5f, 2.0f}, {nan_f, 0.5f}, {0.4f, nan_f}, {INFINITY, 0.5f}};
constexpr uint32_t n_pairs = std::size(pairs);
const pair_t alphas[] = {{1, 1}, {0.6f, 0.3f}, {0.2f, 0.9f}, {1.5f, 0.4f}, {-0.3f, 0.2f}, {nan_f, 0.5f}};

pair_t channel_pair(uint32_t x, int c) { return c == 3 ? alphas[x % std::size(alphas)] : pairs[(x + 5 * c) % n_pairs]; }

// The first image holds the S of every pair, the second the B.
struct pair_images {
  op_rig rig{n_pairs, 1};
  shadetree_node_t* first = rig.image([](uint32_t x, uint32_t, float* px) {
    for (int c = 0; c < 4; ++c) px[c] = channel_pair(x, c).S;
  });
  shadetree_node_t* second = rig.image([](uint32_t x, uint32_t, float* px) {
    for (int c = 0; c < 4; ++c) px[c] = channel_pair(x, c).B;
  });
};

float clamp1(float v) { return std::min(std::max(v, 0.0f), 1.0f); }
bool zero(float v) { return std::fabs(v) <= 1.1920929e-7f; }
bool one(float v) { return v >= 0.99999988f && v <= 1.0000001f; }
float smaller(float a, float b) { return b < a ? b : a; }
float larger(float a, float b) { return a < b ? b : a; }

using channel_fn = std::function<float(float S, float B)>;
const channel_fn separable[19] = {
    [](float S, float) { return S; },
    [](float S, float B) { return S * B; },
    [](float S, float B) { return S + B - S * B; },
    [](float S, float B) { return B <= 0.5f ? 2 * B * S : S + (2 * B - 1) - S * (2 * B - 1); },
    [](float S, float B) { return smaller(S, B); },
    [](float S, float B) { return larger(S, B); },
    [](float S, float B) { return zero(B) ? 0.0f : one(S) ? 1.0f : smaller(1.0f, B / (1 - S)); },
    [](float S, float B) { return one(B) ? 1.0f : zero(S) ? 0.0f : 1 - smaller(1.0f, (1 - B) / S); },
    [](float S, float B) { return larger(0.0f, S + B - 1); },
    [](float S, float B) { return S <= 0.5f ? 2 * S * B : B + (2 * S - 1) - B * (2 * S - 1); },
    [](float S, float B) {
      if (S <= 0.5f) return B - (1 - 2 * S) * B * (1 - B);
      float D = B <= 0.25f ? ((16 * B - 12) * B + 4) * B : std::sqrt(B);
      return B + (2 * S - 1) * (D - B);
    },
    [](float S, float B) { return std::fabs(S - B); },
    [](float S, float B) { return S + B - 2 * S * B; },
    [](float S, float B) { return clamp1(S + B); },
    [](float S, float B) { return clamp1(B - S); },
    [](float S, float B) { return zero(S) || one(B) ? 1.0f : clamp1(B / S); },
    [](float S, float B) { return clamp1(2 * S + B - 1); },
    [](float S, float B) {
      if (S < 0.5f) return zero(S) ? 0.0f : clamp1(1 - (1 - B) / (2 * S));
      return one(S) ? 1.0f : clamp1(B / (2 * (1 - S)));
    },
    [](float S, float B) { return clamp1(larger(2 * S - 1, smaller(B, 2 * S))); },
};

// The four modes on whole colours, with the channel order by a stable sort: ties rank red before
// green before blue.
using rgb = std::array<float, 3>;
float lum(rgb c) { return 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2]; }
float sat(rgb c) { return *std::max_element(c.begin(), c.end()) - *std::min_element(c.begin(), c.end()); }
rgb set_sat(rgb c, float s) {
  std::array<int, 3> i{0, 1, 2};
  std::stable_sort(i.begin(), i.end(), [&](int a, int b) { return c[a] > c[b]; });
  rgb out{0, 0, 0};
  if (c[i[0]] > c[i[2]]) {
    out[i[1]] = (c[i[1]] - c[i[2]]) * s / (c[i[0]] - c[i[2]]);
    out[i[0]] = s;
  }
  return out;
}
rgb set_lum(rgb c, float l) {
  float d = l - lum(c);
  for (float& v : c) v += d;
  float L = lum(c), n = *std::min_element(c.begin(), c.end()), x = *std::max_element(c.begin(), c.end());
  if (n < 0)
    for (float& v : c) v = L + (v - L) * L / (L - n);
  if (x > 1)
    for (float& v : c) v = L + (v - L) * (1 - L) / (x - L);
  return c;
}
using colour_fn = std::function<rgb(rgb S, rgb B)>;
const colour_fn non_separable[4] = {
    [](rgb S, rgb B) { return set_lum(set_sat(S, sat(B)), lum(B)); },
    [](rgb S, rgb B) { return set_lum(set_sat(B, sat(S)), lum(B)); },
    [](rgb S, rgb B) { return set_lum(S, lum(B)); },
    [](rgb S, rgb B) { return set_lum(B, lum(S)); },
};

float alpha_clamp(float v) {
  v = v > 1 ? 1 : v;
  return v > 0 ? v : 0;
}
const channel_fn alpha_rules[9] = {
    [](float a, float) { return a; },
    [](float, float b) { return b; },
    [](float, float) { return 1.0f; },
    [](float, float) { return 0.0f; },
    [](float a, float b) { return alpha_clamp(a * b); },
    [](float a, float b) { return alpha_clamp(a + b); },
    [](float a, float b) { return alpha_clamp(a - b); },
    [](float a, float b) { return alpha_clamp(smaller(a, b)); },
    [](float a, float b) { return alpha_clamp(larger(a, b)); },
};

const char16_t* const mode_names[23] = {u"Normal", u"Multiply", u"Screen", u"Overlay", u"Darken", u"Lighten",
                                        u"Dodge", u"ColorBurn", u"LinearBurn", u"HardLight", u"SoftLight",
                                        u"Difference", u"Exclusion", u"Addition", u"Subtraction", u"Divide",
                                        u"LinearLight", u"VividLight", u"PinLight", u"Hue", u"Saturation",
                                        u"Color", u"Luminance"};
const char16_t* const alpha_names[9] = {u"Input1", u"Input2",   u"Set",  u"Clear", u"Multiply",
                                        u"Add",    u"Subtract", u"Min", u"Max"};

bool not_finite(const pair_t& a, const pair_t& b, const pair_t& c) {
  return !std::isfinite(a.S + a.B + b.S + b.B + c.S + c.B);
}

// Renders Blend or GreyBlend (type 1023 or 1068) over the pair images and checks every pixel.
void check_blend(uint32_t type, uint32_t mode, uint32_t alpha, bool swap) {
  pair_images p;
  shadetree_node_t* op = p.rig.node(type, {{u"mode", mode_names[mode]}, {u"alpha", alpha_names[alpha]},
                                           {u"swap", swap ? u"true" : u"false"}});
  bool grey = type == 1068;
  op_rig::connect(op, grey ? u"grey-1" : u"RGB-1", p.first);
  op_rig::connect(op, grey ? u"grey-2" : u"RGB-2", p.second);
  auto out = p.rig.render(op);
  for (uint32_t x = 0; x < n_pairs; ++x) {
    pair_t ch[4];
    for (int c = 0; c < 4; ++c) {
      ch[c] = channel_pair(x, c);
      if (swap) std::swap(ch[c].S, ch[c].B);
    }
    px4 want;
    if (grey) {
      want[0] = want[1] = want[2] = separable[mode](ch[0].S, ch[0].B);
    } else if (mode < 19) {
      for (int c = 0; c < 3; ++c) want[c] = separable[mode](ch[c].S, ch[c].B);
    } else {
      if (not_finite(ch[0], ch[1], ch[2])) continue;
      rgb r = non_separable[mode - 19]({ch[0].S, ch[1].S, ch[2].S}, {ch[0].B, ch[1].B, ch[2].B});
      for (int c = 0; c < 3; ++c) want[c] = clamp1(r[c]);
    }
    want[3] = alpha_rules[alpha](ch[3].S, ch[3].B);
    expect_px(pixel(*out, x, 0), want,
              "type " + std::to_string(type) + " mode " + std::to_string(mode) + " alpha " + std::to_string(alpha) +
                  (swap ? " swapped" : "") + " pixel " + std::to_string(x));
  }
}

}  // namespace

TEST(Blend, EveryModeAndAlphaRuleFollowsItsFormula) {
  for (uint32_t mode = 0; mode < 23; ++mode) {
    for (uint32_t alpha = 0; alpha < 9; ++alpha) check_blend(1023, mode, alpha, false);
    check_blend(1023, mode, 0, true);  // swap exchanges the colour and the alpha operands
  }
  for (uint32_t mode = 0; mode < 19; ++mode) {
    check_blend(1068, mode, 6, false);
    check_blend(1068, mode, 1, true);
  }
}

TEST(Blend, BranchCornersOutOfRangeEnumsAndMissingInputs) {
  // Corners that the order of the zero and one tests decides, and the edges of the branches.
  struct corner {
    uint32_t mode;
    float S, B, want;
  };
  const corner corners[] = {{15, 0, 0, 1},   {6, 1, 0, 0},          {7, 0, 1, 1},
                            {3, 0.3f, 0.5f, 0.3f}, {17, 0.5f, 0.4f, 0.4f}, {14, 0.25f, 1, 0.75f}};
  for (const corner& k : corners) {
    op_rig rig(1, 1);
    shadetree_node_t* op = rig.node(1023, {{u"mode", mode_names[k.mode]}});
    op_rig::connect(op, u"RGB-1", rig.constant({k.S, k.S, k.S, 1}));
    op_rig::connect(op, u"RGB-2", rig.constant({k.B, k.B, k.B, 1}));
    expect_px(pixel(*rig.render(op), 0, 0), {k.want, k.want, k.want, 1}, "corner of mode " + std::to_string(k.mode));
  }

  // Enum values beyond the tables: Blend's last mode is Luminance, GreyBlend's PinLight, alpha Set.
  for (uint32_t type : {1023u, 1068u}) {
    op_rig rig(1, 1);
    shadetree_node_t* op = rig.node(type);
    bool grey = type == 1068;
    op_rig::connect(op, grey ? u"grey-1" : u"RGB-1", rig.constant({0.9f, 0.2f, 0.4f, 0.5f}));
    op_rig::connect(op, grey ? u"grey-2" : u"RGB-2", rig.constant({0.3f, 0.6f, 0.1f, 0.5f}));
    op_rig::connect(op, u"mode", scalar(rig, u"5"));
    op_rig::connect(op, u"alpha", scalar(rig, u"12"));
    px4 want;
    if (grey) {
      float v = separable[18](0.9f, 0.3f);
      want = {v, v, v, 1};
    } else {
      rgb r = non_separable[3]({0.9f, 0.2f, 0.4f}, {0.3f, 0.6f, 0.1f});
      want = {clamp1(r[0]), clamp1(r[1]), clamp1(r[2]), 1};
    }
    expect_px(pixel(*rig.render(op), 0, 0), want, "mode 99 of type " + std::to_string(type));
  }

  op_rig rig(3, 2);
  shadetree_node_t* none = rig.node(1023);
  expect_flat(*rig.render(none), {0, 0, 0, 0}, "no inputs");
  shadetree_node_t* first_only = rig.node(1023);
  op_rig::connect(first_only, u"RGB-1", rig.constant({0.2f, 0.4f, 0.6f, 0.3f}));
  expect_flat(*rig.render(first_only), {0.2f, 0.4f, 0.6f, 1}, "first only");
  first_only->params[u"swap"] = u"true";
  expect_flat(*rig.render(first_only), {0, 0, 0, 1}, "first only, swapped");
}

TEST(Blend, OperationsAlphaBlendsAndFactorBlends) {
  // ImageOperation clamps all four floats, Add sets alpha; GreyOperation leaves Multiply unclamped.
  const char16_t* op_names[3] = {u"Add", u"Multiply", u"Subtract"};
  const channel_fn ops[3] = {[](float a, float b) { return a + b; }, [](float a, float b) { return a * b; },
                             [](float a, float b) { return a - b; }};
  for (uint32_t o = 0; o < 3; ++o)
    for (uint32_t type : {1002u, 1069u}) {
      pair_images p;
      shadetree_node_t* op = p.rig.node(type, {{u"operation", op_names[o]}});
      bool grey = type == 1069;
      op_rig::connect(op, grey ? u"grey1" : u"RGB-1", p.first);
      op_rig::connect(op, grey ? u"grey2" : u"RGB-2", p.second);
      auto out = p.rig.render(op);
      for (uint32_t x = 0; x < n_pairs; ++x) {
        px4 want;
        for (int c = 0; c < 4; ++c) {
          float v = ops[o](channel_pair(x, c).S, channel_pair(x, c).B);
          want[c] = grey && o == 1 ? v : clamp1(v);
        }
        if (o == 0 || grey) want[3] = 1;
        expect_px(pixel(*out, x, 0), want, "operation " + std::to_string(o) + " type " + std::to_string(type));
      }
    }

  // AlphaBlend weighs the second image by opacity (clamped to 0..1), the first with swap;
  // ApplyAlpha weighs by an unclamped factor. All give alpha 1.
  struct mix_case {
    uint32_t type;
    const char16_t* opacity;
    bool swap;
    float w;  // weight of the second image
  };
  const mix_case mixes[] = {{1001, u"0.25", false, 0.25f}, {1001, u"2.0", false, 1},    {1001, u"-1", true, 1},
                            {1001, u"0.25", true, 0.75f},  {1067, u"0.75", false, 0.75f}};
  for (const mix_case& m : mixes) {
    pair_images p;
    shadetree_node_t* op = p.rig.node(m.type, {{u"opacity", m.opacity}, {u"swap", m.swap ? u"true" : u"false"}});
    bool grey = m.type == 1067;
    op_rig::connect(op, grey ? u"grey-1" : u"RGB-1", p.first);
    op_rig::connect(op, grey ? u"grey-2" : u"RGB-2", p.second);
    auto out = p.rig.render(op);
    float o = m.swap ? 1 - m.w : m.w;  // the opacity after its clamp
    for (uint32_t x = 0; x < n_pairs; ++x) {
      px4 want{0, 0, 0, 1};
      for (int c = 0; c < 3; ++c) {
        pair_t v = channel_pair(x, grey ? 0 : c);
        want[c] = m.swap ? o * v.S + (1 - o) * v.B : o * v.B + (1 - o) * v.S;
      }
      expect_px(pixel(*out, x, 0), want, "alpha blend " + std::to_string(m.type) + " opacity " + std::to_string(m.w));
    }
  }

  // Factors per pixel, 2.0 extrapolating; a grey factor wins over an RGB one and its channel.
  const float factors[] = {0, 1, 0.5f, 2, -0.5f};
  const px4 one_px{0.2f, 0.4f, 0.6f, 0.1f}, two_px{0.9f, 0.5f, -1.0f, 0.8f};
  op_rig rig(5, 1);
  shadetree_node_t *f1 = rig.constant(one_px), *f2 = rig.constant(two_px);
  auto fac = rig.image([&](uint32_t x, uint32_t, float* px) { px[0] = 7, px[1] = factors[x], px[2] = 7, px[3] = 7; });
  auto grey_fac = rig.image([&](uint32_t x, uint32_t, float* px) { px[0] = factors[x], px[1] = px[2] = px[3] = 9; });
  struct factor_case {
    uint32_t type;
    params_list params;
    bool grey_factor, swap;
  };
  for (const factor_case& k : {factor_case{1082, {{u"channel", u"Green"}}, false, false},
                               factor_case{1082, {{u"channel", u"Red"}, {u"swap", u"true"}}, true, true},
                               factor_case{1081, {}, true, false}}) {
    shadetree_node_t* op = rig.node(k.type, k.params);
    bool grey = k.type == 1081;
    op_rig::connect(op, grey ? u"Grey-1" : u"RGB-1", f1);
    op_rig::connect(op, grey ? u"Grey-2" : u"RGB-2", f2);
    if (k.grey_factor) op_rig::connect(op, grey ? u"Alpha" : u"FacGrey", grey_fac);
    if (!grey) op_rig::connect(op, u"FacRGB", fac);
    expect_image(*rig.render(op), [&](uint32_t x, uint32_t) {
      float f = factors[x];
      const px4 &a = k.swap ? one_px : two_px, &b = k.swap ? two_px : one_px;
      px4 want{0, 0, 0, 1};
      for (int c = 0; c < 3; ++c) want[c] = f * a[grey ? 0 : c] + (1 - f) * b[grey ? 0 : c];
      return want;
    }, "factor blend " + std::to_string(k.type));
  }
  shadetree_node_t* no_factor = rig.node(1082);
  op_rig::connect(no_factor, u"RGB-1", f1);
  expect_flat(*rig.render(no_factor), {0, 0, 0, 0}, "no factor");
}

TEST(Blend, LargeTargetsComeOutAsSmallOnes) {
  // Targets past 48 MB are made a stretch of a row at a time and streamed to memory. Rows of 2050
  // pixels end in a short stretch; every pixel must equal the one-row render of the same pair, for
  // the loops over one, two and three inputs.
  constexpr uint32_t w = 2050, h = 1600;
  auto fill = [](bool second) {
    return [second](uint32_t x, uint32_t, float* px) {
      for (int c = 0; c < 4; ++c) px[c] = second ? channel_pair(x % n_pairs, c).B : channel_pair(x % n_pairs, c).S;
    };
  };
  struct loop_case {
    uint32_t type;
    params_list params;
    std::vector<const char16_t*> inputs;  // fed the S image, the B image, the S image again
  };
  const loop_case cases[] = {{1025, {}, {u"RGB"}},
                             {1023, {{u"mode", u"SoftLight"}, {u"alpha", u"Multiply"}}, {u"RGB-1", u"RGB-2"}},
                             {1082, {{u"channel", u"Green"}}, {u"RGB-1", u"RGB-2", u"FacRGB"}}};
  for (const loop_case& k : cases) {
    image_ptr want(nullptr, imgbuf4f_delete), got(nullptr, imgbuf4f_delete);
    for (bool large : {false, true}) {
      op_rig rig(large ? w : n_pairs, large ? h : 1);
      shadetree_node_t* op = rig.node(k.type, k.params);
      for (std::size_t i = 0; i < k.inputs.size(); ++i) op_rig::connect(op, k.inputs[i], rig.image(fill(i == 1)));
      (large ? got : want) = rig.render(op);
    }
    uint32_t differing = 0;
    for (uint32_t y = 0; y < h; ++y)
      for (uint32_t x = 0; x < w; ++x)
        differing += std::memcmp(pixel_at(*got, x, y), pixel_at(*want, x % n_pairs, 0), 16) != 0;
    EXPECT_EQ(differing, 0u) << "type " << k.type;
  }
}
