#include "nodes/operators/dynamic_range.h"

#include <algorithm>
#include <math.h>

#include <cmath>

#include "document/curve.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/operators/blend.h"
#include "nodes/operators/pixel_loops.h"
#include "nodes/operators/sampling.h"
#include "quorin/node.h"

namespace quorin_engine {

using namespace pixops;
using gen::fetch_enum;
using gen::fetch_float;

namespace {

// ---- constant operations -----------------------------------------------------------------------

// The input (all zeros when unconnected, so that Add alone yields the constant) combined with the
// constant colour c, alpha 1.0, by ImageOperation's arithmetic.
void render_const_operation(shadetree_node_t& node, const renderctx& ctx, const char16_t* input, const float c[4]) {
  const uint32_t op = limit_enum(fetch_enum(node, ctx, u"operation", op_add), op_subtract);
  held_input in(ctx, node.connected(input));
  in.render(ctx);
  const float k[4] = {c[0], c[1], c[2], 1.0f};
  with_index<3>(op, [&](auto o) {
    each_pixel(*ctx.target_buf, in.image(), [&k](const float* s, float* d, uint32_t, uint32_t) {
      combine_pixel<decltype(o)::value, false>(s, k, d);
    });
  });
}

// ---- bias, gamma and gain ----------------------------------------------------------------------

const float log_half = logf(0.5f);

// powf(v, e): Bias with e = logf(exponent) / logf(0.5), Gamma with e = 1 / gamma.
struct power_fn {
  float e;
  float operator()(float v) const { return powf(v, e); }
};

// Gain with g = logf(1 - exponent) / logf(0.5); 0.5 takes the upper branch.
struct gain_fn {
  float g;
  float operator()(float v) const {
    return v < 0.5f ? powf(2.0f * v, g) * 0.5f : 1.0f - powf(2.0f - 2.0f * v, g) * 0.5f;
  }
};

power_fn bias_of(float exponent) { return {logf(clamp01(exponent)) / log_half}; }
gain_fn gain_of(float exponent) { return {logf(1.0f - clamp01(exponent)) / log_half}; }

// The sample of the smoothed bias, gamma and gain: the bilinear mean of the pixel, its right
// neighbour and the two above them in memory, mirrored at the borders.
struct smoothed_pixel {
  const imgbuf4f& src;
  void operator()(const float*, uint32_t x, uint32_t r, float* out) const {
    using kernel = sampling::bilinear<sampling::border::mirror, sampling::border::mirror>;
    const float unused_fill[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    kernel::sample(src, static_cast<float>(x) + 0.5f, static_cast<float>(src.height - r - 1u) + 0.5f,
                   unused_fill, out);
  }
};

// Which floats the channel operators change: 0 red, 1 green, 2 blue, 3 all colour floats.
template <class F>
void with_rgb_choice(uint32_t channel, F&& f) {
  with_value<ch_r, ch_g, ch_b, ch_rgb>(limit_enum(channel, 3), f);
}

// Runs the function that make_fn() prepares over the input's channel set (or grey), on the pixel's
// own samples or smoothed ones.
template <bool Grey, class MakeFn>
void render_power(shadetree_node_t& node, const renderctx& ctx, MakeFn make_fn) {
  with_input(node, ctx, Grey ? u"grey" : u"RGB", [&](const imgbuf4f& src) {
    const uint32_t channel = Grey ? 0u : fetch_enum(node, ctx, u"channel", 0);
    const auto fn = make_fn();
    const bool smooth = fetch_enum_input(node, ctx, u"interpolation", nullptr, 0) != 0;
    auto run = [&](auto set) {
      constexpr uint32_t s = Grey ? uint32_t(grey_set) : decltype(set)::value;
      if (smooth)
        remap_channels<s>(*ctx.target_buf, src, fn, smoothed_pixel{src});
      else
        remap_channels<s>(*ctx.target_buf, src, fn);
    };
    if constexpr (Grey)
      run(std::integral_constant<uint32_t, grey_set>{});
    else
      with_rgb_choice(channel, run);
  });
}

template <bool Grey>
void render_bias(shadetree_node_t& node, const renderctx& ctx) {
  render_power<Grey>(node, ctx, [&] { return bias_of(fetch_float(node, ctx, u"exponent", 0.8f)); });
}
template <bool Grey>
void render_gain(shadetree_node_t& node, const renderctx& ctx) {
  render_power<Grey>(node, ctx, [&] { return gain_of(fetch_float(node, ctx, u"exponent", 0.8f)); });
}
// 1 / gamma with neither guard nor clamp.
template <bool Grey>
void render_gamma(shadetree_node_t& node, const renderctx& ctx) {
  render_power<Grey>(node, ctx, [&] { return power_fn{1.0f / fetch_float(node, ctx, u"gamma", 1.0f)}; });
}

// ---- curves ------------------------------------------------------------------------------------

template <bool Grey>
void render_curve(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, Grey ? u"grey" : u"RGB", [&](const imgbuf4f& src) {
    static const char16_t* const names[4] = {u"red", u"green", u"blue", u"all"};
    const uint32_t channel = Grey ? 0u : limit_enum(fetch_enum(node, ctx, u"channel", 0), 3);
    auto it = node.param_curves.find(Grey ? u"value" : names[channel]);
    const curve c = it != node.param_curves.end() ? it->second : default_curve();
    // Samples outside 0..1 or the curve's range stop at a breakpoint, unclamped.
    auto fn = [&c](float v) { return curve_value(c, v); };
    if constexpr (Grey)
      remap_channels<grey_set>(*ctx.target_buf, src, fn);
    else
      with_rgb_choice(channel, [&](auto set) { remap_channels<decltype(set)::value>(*ctx.target_buf, src, fn); });
  });
}

// ---- correction --------------------------------------------------------------------------------

// The float a one-channel set (or grey) tests.
constexpr int tested_float(uint32_t set) { return set == ch_g ? 1 : set == ch_b ? 2 : 0; }

template <bool Grey>
void render_correction(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, Grey ? u"grey" : u"RGB", [&](const imgbuf4f& src) {
    const uint32_t channel = Grey ? 0u : limit_enum(fetch_enum(node, ctx, u"Channel", 0), 2);
    const float lo = clamp01(fetch_float(node, ctx, u"Lo thrsh", 0.0f));
    const float hi = clamp01(fetch_float(node, ctx, u"Hi thrsh", 1.0f));
    const uint32_t type = limit_enum(fetch_enum_input(node, ctx, u"Type", nullptr, 0), 2);
    const power_fn bias = bias_of(fetch_float(node, ctx, u"Bias expo", 0.8f));
    const float y = fetch_float(node, ctx, u"Gamma", 0.8f);
    const power_fn gamma{(y >= -0x1p-23f && y <= 0x1p-23f) ? 1.0f : 1.0f / y};
    const gain_fn gain = gain_of(fetch_float(node, ctx, u"Gain expo", 0.8f));

    auto run = [&](auto set, const auto& fn) {
      constexpr uint32_t s = decltype(set)::value;
      constexpr int k = tested_float(s);
      each_pixel(*ctx.target_buf, src, [&](const float* px, float* d, uint32_t, uint32_t) {
        float p[4] = {px[0], px[1], px[2], px[3]};
        if (p[k] >= lo && p[k] <= hi) map_set<s>(p, p, fn);
        copy4(p, d);
      });
    };
    auto with_fn = [&](auto set) {
      if (type == 0)
        run(set, bias);
      else if (type == 1)
        run(set, gamma);
      else
        run(set, gain);
    };
    if constexpr (Grey)
      with_fn(std::integral_constant<uint32_t, grey_set>{});
    else
      with_value<ch_r, ch_g, ch_b>(channel, with_fn);
  });
}

// ---- trigonometric remap -----------------------------------------------------------------------

const float two_pi = static_cast<float>(atan(1.0) * 4.0) * 2.0f;

struct sin_fn {
  float s;
  float operator()(float v) const { return (sinf(two_pi * v) + 1.0f) * 0.5f * s; }
};
struct cos_fn {
  float s;
  float operator()(float v) const { return (cosf(two_pi * v) + 1.0f) * 0.5f * s; }
};

// The input is rendered into the target itself and remapped there.
template <bool Grey>
void render_trig(shadetree_node_t& node, const renderctx& ctx) {
  shadetree_node_t* source = node.connected(Grey ? u"grey" : u"RGB");
  if (!source) return clear(*ctx.target_buf);
  renderctx into_target = ctx;
  into_target.targetbuf_from_cache = false;
  node_render(source, &into_target);

  const uint32_t func = limit_enum(fetch_enum(node, ctx, u"func", 0), 1);
  const float scale = fetch_float(node, ctx, u"scale", 1.0f);
  const float s = scale > 0.0f ? std::min(scale, 1.0f) : 0.0f;  // not-a-number gives 0
  const uint32_t channel = Grey ? 0u : limit_enum(fetch_enum_input(node, ctx, u"channel", nullptr, 4), 11);
  imgbuf4f& target = *ctx.target_buf;
  auto run = [&](auto set) {
    constexpr uint32_t c = Grey ? uint32_t(grey_set) : decltype(set)::value;
    if (func == 0)
      remap_channels<c>(target, target, sin_fn{s});
    else
      remap_channels<c>(target, target, cos_fn{s});
  };
  if constexpr (Grey)
    run(std::integral_constant<uint32_t, grey_set>{});
  else
    with_twelve_sets(channel, run);
}

// ---- brightness ---------------------------------------------------------------------------------

// m (1 - c) + c on the colour floats: towards white by m.
inline void lighten(const float* s, float m, float* d) {
  for (int c = 0; c < 3; ++c) d[c] = m * (1.0f - s[c]) + s[c];
  d[3] = s[3];
}
// The colour floats times f; alpha times 1.0.
inline void darken(const float* s, float f, float* d) {
  for (int c = 0; c < 3; ++c) d[c] = s[c] * f;
  d[3] = s[3] * 1.0f;
}

}  // namespace

void render_ImageConstOperation(shadetree_node_t& node, const renderctx& ctx) {
  const float c[4] = {clamp01(fetch_float(node, ctx, u"red", 0.0f)), clamp01(fetch_float(node, ctx, u"green", 0.0f)),
                      clamp01(fetch_float(node, ctx, u"blue", 0.0f)), 1.0f};
  render_const_operation(node, ctx, u"RGB", c);
}

void render_GreyConstOperation(shadetree_node_t& node, const renderctx& ctx) {
  const float v = clamp01(fetch_float(node, ctx, u"value", 0.0f));
  const float c[4] = {v, v, v, 1.0f};
  render_const_operation(node, ctx, u"grey", c);
}

void render_Saturate(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const float mn[3] = {clamp01(fetch_float(node, ctx, u"min-red", 0.0f)),
                         clamp01(fetch_float(node, ctx, u"min-green", 0.0f)),
                         clamp01(fetch_float(node, ctx, u"min-blue", 0.0f))};
    const float mx[3] = {clamp01(fetch_float(node, ctx, u"max-red", 1.0f)),
                         clamp01(fetch_float(node, ctx, u"max-green", 1.0f)),
                         clamp01(fetch_float(node, ctx, u"max-blue", 1.0f))};
    // The minimum wins over a smaller maximum; alpha's limits are both 1.0.
    each_pixel(*ctx.target_buf, src, [&](const float* s, float* d, uint32_t, uint32_t) {
      for (int c = 0; c < 3; ++c) d[c] = std::max(mn[c], std::min(s[c], mx[c]));
      d[3] = 1.0f;
    });
  });
}

void render_BiasChannel(shadetree_node_t& node, const renderctx& ctx) { render_bias<false>(node, ctx); }
void render_GammaChannel(shadetree_node_t& node, const renderctx& ctx) { render_gamma<false>(node, ctx); }
void render_GainChannel(shadetree_node_t& node, const renderctx& ctx) { render_gain<false>(node, ctx); }
void render_BiasGrey(shadetree_node_t& node, const renderctx& ctx) { render_bias<true>(node, ctx); }
void render_GammaGrey(shadetree_node_t& node, const renderctx& ctx) { render_gamma<true>(node, ctx); }
void render_GainGrey(shadetree_node_t& node, const renderctx& ctx) { render_gain<true>(node, ctx); }
void render_ChannelCurves(shadetree_node_t& node, const renderctx& ctx) { render_curve<false>(node, ctx); }
void render_GreyCurve(shadetree_node_t& node, const renderctx& ctx) { render_curve<true>(node, ctx); }
void render_ChannelCorrection(shadetree_node_t& node, const renderctx& ctx) { render_correction<false>(node, ctx); }
void render_GreyCorrection(shadetree_node_t& node, const renderctx& ctx) { render_correction<true>(node, ctx); }
void render_GreyTrigFunc(shadetree_node_t& node, const renderctx& ctx) { render_trig<true>(node, ctx); }
void render_ChannelTrigFunc(shadetree_node_t& node, const renderctx& ctx) { render_trig<false>(node, ctx); }

void render_ThresholdMask(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const uint32_t k = limit_enum(fetch_enum(node, ctx, u"Channel", 0), 2);
    const float thr = clamp01(fetch_float(node, ctx, u"Thrsh", 0.5f));
    const uint32_t output = limit_enum(fetch_enum(node, ctx, u"Output", 0), 2);
    // What a sample at or above the threshold gives: its own channel, white, or opaque black.
    float mask[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    if (output == 0) mask[k] = 1.0f;
    if (output == 1) mask[0] = mask[1] = mask[2] = 1.0f;
    const float none[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    each_pixel(*ctx.target_buf, src, [&](const float* s, float* d, uint32_t, uint32_t) {
      copy4(s[k] >= thr ? mask : none, d);
    });
  });
}

void render_ColorKey(shadetree_node_t& node, const renderctx& ctx) {
  // The first image is looked up as "RGB-source"; an input connected as "RGB-output" is not it.
  held_input source(ctx, node.connected(u"RGB-source"));
  held_input key(ctx, node.connected(u"RGB-key"));
  render_pair(ctx, source, key);
  const uint32_t channel = limit_enum(fetch_enum(node, ctx, u"channel", 0), 3);
  const float thr = clamp01(fetch_float(node, ctx, u"threshold", 0.5f));
  imgbuf4f& target = *ctx.target_buf;
  if (channel == 3) {
    // Luminance: the key image itself, black (alpha kept) where its luminance is under the threshold.
    each_pixel(target, key.image(), [thr](const float* k, float* d, uint32_t, uint32_t) {
      const float lum = 0.299f * k[0] + 0.587f * k[1] + 0.114f * k[2];
      if (thr > lum) {
        d[0] = d[1] = d[2] = 0.0f;
        d[3] = k[3];
      } else {
        copy4(k, d);
      }
    });
  } else {
    const float none[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    each_pixel(target, source.image(), key.image(), [&](const float* s, const float* k, float* d) {
      copy4(k[channel] >= thr ? s : none, d);
    });
  }
}

void render_Brightness(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    shadetree_node_t* rel_source = node.connected(u"relbright");
    const float k = clamp01(fetch_float(node, ctx, u"brightness", 0.5f)) - 0.5f;
    imgbuf4f& target = *ctx.target_buf;
    if (!rel_source) {
      if (k >= 0.0f)
        each_pixel(target, src, [k](const float* s, float* d, uint32_t, uint32_t) { lighten(s, k, d); });
      else
        each_pixel(target, src, [k](const float* s, float* d, uint32_t, uint32_t) { darken(s, k + 1.0f, d); });
      return;
    }
    held_input rel(ctx, rel_source);
    rel.render(ctx);
    // The per-pixel sum decides the branch; darkening still uses k + 1.
    each_pixel(target, src, rel.image(), [k](const float* s, const float* r, float* d) {
      const float m = std::clamp(k + r[0], -1.0f, 1.0f);
      if (m >= 0.0f)
        lighten(s, m, d);
      else
        darken(s, k + 1.0f, d);
    });
  });
}

}  // namespace quorin_engine
