#include "nodes/operators/blend.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "document/node.h"
#include "eval/fetch.h"

namespace quorin_engine {

using namespace pixops;

namespace {

// ---- blend modes -----------------------------------------------------------------------------
// S is the source (layer), B the backdrop. A separable mode is one function of a channel's S and B;
// the four others work on the three colour floats together.

inline bool zero(float v) { return v >= -0x1p-23f && v <= 0x1p-23f; }
inline bool one(float v) { return v >= 0x1.fffffcp-1f && v <= 0x1.000002p+0f; }

struct separable {
  static constexpr bool is_separable = true;
};

struct m_normal : separable {
  static float f(float S, float) { return S; }
};
struct m_multiply : separable {
  static float f(float S, float B) { return S * B; }
};
struct m_screen : separable {
  static float f(float S, float B) { return S + B - S * B; }
};
struct m_overlay : separable {
  static float f(float S, float B) {
    if (B <= 0.5f) return 2.0f * B * S;
    float t = 2.0f * B - 1.0f;
    return S + t - S * t;
  }
};
struct m_darken : separable {
  static float f(float S, float B) { return std::min(S, B); }
};
struct m_lighten : separable {
  static float f(float S, float B) { return std::max(S, B); }
};
struct m_dodge : separable {
  static float f(float S, float B) {
    if (zero(B)) return 0.0f;
    if (one(S)) return 1.0f;
    return std::min(1.0f, B / (1.0f - S));
  }
};
struct m_color_burn : separable {
  static float f(float S, float B) {
    if (one(B)) return 1.0f;
    if (zero(S)) return 0.0f;
    return 1.0f - std::min(1.0f, (1.0f - B) / S);
  }
};
struct m_linear_burn : separable {
  static float f(float S, float B) { return std::max(0.0f, S + B - 1.0f); }
};
struct m_hard_light : separable {
  static float f(float S, float B) {
    if (S <= 0.5f) return 2.0f * S * B;
    float t = 2.0f * S - 1.0f;
    return B + t - B * t;
  }
};
struct m_soft_light : separable {
  static float f(float S, float B) {
    if (S <= 0.5f) return B - (1.0f - 2.0f * S) * B * (1.0f - B);
    float D = B <= 0.25f ? ((16.0f * B - 12.0f) * B + 4.0f) * B : std::sqrt(B);
    return B + (2.0f * S - 1.0f) * (D - B);
  }
};
struct m_difference : separable {
  static float f(float S, float B) { return std::fabs(S - B); }
};
struct m_exclusion : separable {
  static float f(float S, float B) { return S + B - 2.0f * S * B; }
};
struct m_addition : separable {
  static float f(float S, float B) { return clamp01(S + B); }
};
struct m_subtraction : separable {
  static float f(float S, float B) { return clamp01(B - S); }
};
struct m_divide : separable {
  static float f(float S, float B) {
    if (zero(S)) return 1.0f;
    if (one(B)) return 1.0f;
    return clamp01(B / S);
  }
};
struct m_linear_light : separable {
  static float f(float S, float B) { return clamp01(2.0f * S + B - 1.0f); }
};
struct m_vivid_light : separable {
  static float f(float S, float B) {
    if (S < 0.5f) return zero(S) ? 0.0f : clamp01(1.0f - (1.0f - B) / (2.0f * S));
    return one(S) ? 1.0f : clamp01(B / (2.0f * (1.0f - S)));
  }
};
struct m_pin_light : separable {
  static float f(float S, float B) { return clamp01(std::max(2.0f * S - 1.0f, std::min(B, 2.0f * S))); }
};

// The non-separable modes, on colours of three floats.
constexpr float lum_r = 0.299f, lum_g = 0.587f, lum_b = 0.114f;

struct rgb_t {
  float c[3];
};

inline float lum(const rgb_t& C) { return lum_r * C.c[0] + lum_g * C.c[1] + lum_b * C.c[2]; }

inline float sat(const rgb_t& C) {
  return std::max(std::max(C.c[0], C.c[1]), C.c[2]) - std::min(std::min(C.c[0], C.c[1]), C.c[2]);
}

inline rgb_t set_sat(rgb_t C, float s) {
  float &r = C.c[0], &g = C.c[1], &b = C.c[2];
  float *mx, *md, *mn;
  if (g > r) {
    if (b > r) {
      mn = &r;
      if (b > g) {
        mx = &b;
        md = &g;
      } else {
        mx = &g;
        md = &b;
      }
    } else {
      mn = &b;
      mx = &g;
      md = &r;
    }
  } else if (b > r) {
    mx = &b;
    md = &r;
    mn = &g;
  } else {
    mx = &r;
    if (b > g) {
      md = &b;
      mn = &g;
    } else {
      md = &g;
      mn = &b;
    }
  }
  if (*mx > *mn) {
    *md = (*md - *mn) * s / (*mx - *mn);
    *mx = s;
  } else {
    *md = 0.0f;
    *mx = 0.0f;
  }
  *mn = 0.0f;
  return C;
}

// The three channels are scaled in the lanes of one vector: each lane does the scalar formula's
// operations in its order, so the results are those of a channel-by-channel loop.
inline rgb_t clip_color(rgb_t C) {
  const float L = lum(C);
  const float n = std::min(std::min(C.c[0], C.c[1]), C.c[2]);
  const float x = std::max(std::max(C.c[0], C.c[1]), C.c[2]);
  if (!(n < 0.0f) && !(x > 1.0f)) return C;
  const __m128 l = _mm_set1_ps(L);
  __m128 c = _mm_setr_ps(C.c[0], C.c[1], C.c[2], 0.0f);
  if (n < 0.0f) c = _mm_add_ps(l, _mm_div_ps(_mm_mul_ps(_mm_sub_ps(c, l), l), _mm_set1_ps(L - n)));
  if (x > 1.0f) c = _mm_add_ps(l, _mm_div_ps(_mm_mul_ps(_mm_sub_ps(c, l), _mm_set1_ps(1.0f - L)), _mm_set1_ps(x - L)));
  alignas(16) float out[4];
  _mm_store_ps(out, c);
  return {{out[0], out[1], out[2]}};
}

inline rgb_t set_lum(rgb_t C, float l) {
  const float d = l - lum(C);
  for (float& c : C.c) c += d;
  return clip_color(C);
}

inline rgb_t rgb_of(const float* p) { return {{p[0], p[1], p[2]}}; }

template <class Formula>
struct non_separable {
  static constexpr bool is_separable = false;
  static void rgb(const float* s, const float* b, float* d) {
    rgb_t r = Formula::of(rgb_of(s), rgb_of(b));
    for (int c = 0; c < 3; ++c) d[c] = clamp01(r.c[c]);
  }
};
struct m_hue : non_separable<m_hue> {
  static rgb_t of(const rgb_t& S, const rgb_t& B) { return set_lum(set_sat(S, sat(B)), lum(B)); }
};
struct m_saturation : non_separable<m_saturation> {
  static rgb_t of(const rgb_t& S, const rgb_t& B) { return set_lum(set_sat(B, sat(S)), lum(B)); }
};
struct m_color : non_separable<m_color> {
  static rgb_t of(const rgb_t& S, const rgb_t& B) { return set_lum(S, lum(B)); }
};
struct m_luminance : non_separable<m_luminance> {
  static rgb_t of(const rgb_t& S, const rgb_t& B) { return set_lum(B, lum(S)); }
};

// In the order of the `mode` enum.
using blend_modes =
    std::tuple<m_normal, m_multiply, m_screen, m_overlay, m_darken, m_lighten, m_dodge, m_color_burn,
               m_linear_burn, m_hard_light, m_soft_light, m_difference, m_exclusion, m_addition,
               m_subtraction, m_divide, m_linear_light, m_vivid_light, m_pin_light, m_hue, m_saturation,
               m_color, m_luminance>;
constexpr uint32_t colour_modes = 23, grey_modes = 19;

// ---- alpha rules ------------------------------------------------------------------------------

enum : uint32_t { a_input1, a_input2, a_set, a_clear, a_multiply, a_add, a_subtract, a_min, a_max };

// Above 1 gives 1; then anything not above 0, not-a-number included, gives 0.
inline float alpha_clamp(float v) {
  if (v > 1.0f) v = 1.0f;
  return v > 0.0f ? v : 0.0f;
}

template <uint32_t Rule>
inline float blend_alpha(float aS, float aB) {
  if constexpr (Rule == a_input1) return aS;
  if constexpr (Rule == a_input2) return aB;
  if constexpr (Rule == a_set) return 1.0f;
  if constexpr (Rule == a_clear) return 0.0f;
  if constexpr (Rule == a_multiply) return alpha_clamp(aS * aB);
  if constexpr (Rule == a_add) return alpha_clamp(aS + aB);
  if constexpr (Rule == a_subtract) return alpha_clamp(aS - aB);
  if constexpr (Rule == a_min) return alpha_clamp(std::min(aS, aB));
  if constexpr (Rule == a_max) return alpha_clamp(std::max(aS, aB));
}

// One pixel of Blend (colour) or GreyBlend (grey: red of S and B to red, green and blue).
template <class Mode, uint32_t Rule, bool Grey>
inline void blend_pixel(const float* s, const float* b, float* d) {
  if constexpr (Grey) {
    float v = Mode::f(s[0], b[0]);
    d[0] = v;
    d[1] = v;
    d[2] = v;
  } else if constexpr (Mode::is_separable) {
    d[0] = Mode::f(s[0], b[0]);
    d[1] = Mode::f(s[1], b[1]);
    d[2] = Mode::f(s[2], b[2]);
  } else {
    Mode::rgb(s, b, d);
  }
  d[3] = blend_alpha<Rule>(s[3], b[3]);
}

// ---- shared frames ----------------------------------------------------------------------------

// Renders the two operand inputs and runs run(first, second); with neither connected the target is
// cleared. An unconnected operand is all zeros.
template <class Run>
void with_operands(shadetree_node_t& node, const renderctx& ctx, const char16_t* name1, const char16_t* name2,
                   Run run) {
  shadetree_node_t* s1 = node.connected(name1);
  shadetree_node_t* s2 = node.connected(name2);
  if (!s1 && !s2) return clear(*ctx.target_buf);
  held_input first(ctx, s1);
  held_input second(ctx, s2);
  render_pair(ctx, first, second);
  run(first.image(), second.image());
}

// o x X + (1 - o) x Y on the colour floats (grey: on red, to red, green and blue), alpha 1.0.
template <bool Grey>
inline void mix_pixel(const float* x, const float* y, float o, float* d) {
  if constexpr (Grey) {
    float v = o * x[0] + (1.0f - o) * y[0];
    d[0] = v;
    d[1] = v;
    d[2] = v;
  } else {
    for (int c = 0; c < 3; ++c) d[c] = o * x[c] + (1.0f - o) * y[c];
  }
  d[3] = 1.0f;
}

template <bool Grey>
void render_alpha_blend(shadetree_node_t& node, const renderctx& ctx, const char16_t* name1,
                        const char16_t* name2) {
  with_operands(node, ctx, name1, name2, [&](const imgbuf4f& first, const imgbuf4f& second) {
    const float o = std::fmax(std::fmin(fetch_float_input(node, ctx, u"opacity", node.connected(u"opacity"), 0.5f), 1.0f), 0.0f);
    const bool swap = fetch_bool_param(node, ctx, u"swap");
    // `opacity` weighs the second image, or the first with swap.
    each_pixel(*ctx.target_buf, swap ? first : second, swap ? second : first,
               [o](const float* x, const float* y, float* d) { mix_pixel<Grey>(x, y, o, d); });
  });
}

template <bool Grey>
void render_operation(shadetree_node_t& node, const renderctx& ctx, const char16_t* name1,
                      const char16_t* name2, shadetree_node_t* operation_input) {
  with_operands(node, ctx, name1, name2, [&](const imgbuf4f& first, const imgbuf4f& second) {
    uint32_t op = limit_enum(fetch_enum_input(node, ctx, u"operation", operation_input, op_add), op_subtract);
    with_index<3>(op, [&](auto o) {
      each_pixel(*ctx.target_buf, first, second,
                 [](const float* a, const float* b, float* d) { combine_pixel<decltype(o)::value, Grey>(a, b, d); });
    });
  });
}

template <bool Grey>
void render_blend(shadetree_node_t& node, const renderctx& ctx, const char16_t* name1, const char16_t* name2) {
  constexpr uint32_t modes = Grey ? grey_modes : colour_modes;
  with_operands(node, ctx, name1, name2, [&](const imgbuf4f& first, const imgbuf4f& second) {
    // The mode compares as a signed value: larger ones are the last mode, negative ones Normal.
    int32_t mode = static_cast<int32_t>(fetch_enum_input(node, ctx, u"mode", node.connected(u"mode"), 0));
    mode = std::clamp<int32_t>(mode, 0, modes - 1);
    const bool swap = fetch_bool_param(node, ctx, u"swap");
    uint32_t alpha = fetch_enum_input(node, ctx, u"alpha", node.connected(u"alpha"), a_set);
    if (alpha > a_max) alpha = a_set;
    const imgbuf4f& S = swap ? second : first;
    const imgbuf4f& B = swap ? first : second;
    with_index<modes>(static_cast<uint32_t>(mode), [&](auto m) {
      using mode_t = std::tuple_element_t<decltype(m)::value, blend_modes>;
      with_index<9>(alpha, [&](auto a) {
        each_pixel(*ctx.target_buf, S, B, [](const float* s, const float* b, float* d) {
          blend_pixel<mode_t, decltype(a)::value, Grey>(s, b, d);
        });
      });
    });
  });
}

// ApplyAlpha and ApplyAlphaGrey: the operands mixed by a factor image rendered after them, a grey
// factor (its red float) taking precedence over an RGB one. With no factor, or neither operand,
// the target is cleared.
template <bool Grey>
void render_apply_alpha(shadetree_node_t& node, const renderctx& ctx, const char16_t* name1,
                        const char16_t* name2, shadetree_node_t* factor_grey, shadetree_node_t* factor_rgb) {
  if (!factor_grey && !factor_rgb) return clear(*ctx.target_buf);
  with_operands(node, ctx, name1, name2, [&](const imgbuf4f& first, const imgbuf4f& second) {
    held_input factor(ctx, factor_grey ? factor_grey : factor_rgb);
    factor.render(ctx);
    // The factor is the red float of a grey factor, else the float `channel` names.
    const uint32_t k =
        factor_grey ? 0u : limit_enum(fetch_enum_input(node, ctx, u"channel", nullptr, 3), 3);
    const bool swap = fetch_bool_param(node, ctx, u"swap");
    each_pixel(*ctx.target_buf, swap ? first : second, swap ? second : first, factor.image(),
               [k](const float* x, const float* y, const float* f, float* d) { mix_pixel<Grey>(x, y, f[k], d); });
  });
}

}  // namespace

void render_AlphaBlend(shadetree_node_t& node, const renderctx& ctx) {
  render_alpha_blend<false>(node, ctx, u"RGB-1", u"RGB-2");
}
void render_GreyAlphaBlend(shadetree_node_t& node, const renderctx& ctx) {
  render_alpha_blend<true>(node, ctx, u"grey-1", u"grey-2");
}
void render_ImageOperation(shadetree_node_t& node, const renderctx& ctx) {
  render_operation<false>(node, ctx, u"RGB-1", u"RGB-2", node.connected(u"operation"));
}
void render_GreyOperation(shadetree_node_t& node, const renderctx& ctx) {
  render_operation<true>(node, ctx, u"grey1", u"grey2", nullptr);
}
void render_Blend(shadetree_node_t& node, const renderctx& ctx) { render_blend<false>(node, ctx, u"RGB-1", u"RGB-2"); }
void render_GreyBlend(shadetree_node_t& node, const renderctx& ctx) {
  render_blend<true>(node, ctx, u"grey-1", u"grey-2");
}
void render_ApplyAlpha(shadetree_node_t& node, const renderctx& ctx) {
  render_apply_alpha<false>(node, ctx, u"RGB-1", u"RGB-2", node.connected(u"FacGrey"), node.connected(u"FacRGB"));
}
void render_ApplyAlphaGrey(shadetree_node_t& node, const renderctx& ctx) {
  render_apply_alpha<true>(node, ctx, u"Grey-1", u"Grey-2", node.connected(u"Alpha"), nullptr);
}

}  // namespace quorin_engine
