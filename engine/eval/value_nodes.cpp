// Scalar and colour nodes: small pure functions on the graph, evaluated on each fetch, no cache.
// Time is the one with state: evaluating it clears its caching flags.
#include "eval/value_nodes.h"
#include <algorithm>
#include <array>
#include <cmath>
#include "document/node.h"
#include "document/project.h"
#include "eval/fetch.h"

namespace quorin_engine {

namespace {

constexpr float float_near_zero = 1.1920929e-7f;

bool near_zero(float v) { return v >= -float_near_zero && v <= float_near_zero; }

float clamp01(float v) {
  if (v < 0.0f) v = 0.0f;
  if (v > 1.0f) v = 1.0f;
  return v;
}

// The input of the name: connection, time curve, stored text, then the default.
float input_float(shadetree_node_t& node, const renderctx& ctx, const char16_t* name, float def) {
  wstring n(name);
  return fetch_float_input(node, ctx, n, node.connected(n), def);
}

// An enum index, limited to the last value.
uint32_t input_enum(shadetree_node_t& node, const renderctx& ctx, const char16_t* name,
                    uint32_t last) {
  wstring n(name);
  uint32_t v = fetch_enum_input(node, ctx, n, node.connected(n), 0);
  return v > last ? last : v;
}

// Interpolation weights shared by ColorBlend and ScalarInterpolation.
float cubic_weight(float t) {
  float t2 = t * t;
  return (3.0f - 2.0f * t) * t2;
}

// Fifth degree, clamped to 0..1. Not the usual quintic smoothstep and not symmetric.
float fifth_degree_weight(float t) {
  float t2 = t * t;
  float s = (((12.0f * t - 30.0f) * t + 22.0f) * t - 3.0f) * t2;
  return clamp01(s);
}

}  // namespace

// -- constants --

float eval_Constant(shadetree_node_t& node, const renderctx& ctx) {
  if (node.params.empty()) return 0.0f;
  wstring text;
  float curve_value = 0.0f;
  if (fetch_param_raw(node, ctx, u"value", text, curve_value) == 1) return curve_value;
  if (text.empty()) return 0.0f;
  return static_cast<float>(text_to_double(text));
}

float eval_UniversalConstant(shadetree_node_t& node, const renderctx& ctx) {
  static const std::array<float, 10> values = [] {
    const double pi = 4.0 * std::atan(1.0);
    return std::array<float, 10>{
        static_cast<float>(pi),
        static_cast<float>(2.0 * pi),
        static_cast<float>(pi / 2.0),
        static_cast<float>(1.0 / pi),
        static_cast<float>(1.0 / (2.0 * pi)),
        static_cast<float>(std::exp(1.0)),
        static_cast<float>(pi / 180.0),
        static_cast<float>(180.0 / pi),
        static_cast<float>(std::sqrt(2.0)),
        static_cast<float>((std::sqrt(5.0) + 1.0) / 2.0),
    };
  }();
  return values[input_enum(node, ctx, u"which", 9)];
}

float eval_SimpleConstant(shadetree_node_t& node, const renderctx& ctx) {
  // The entry "1/4" yields 0.5, the same as "1/2".
  static const float values[10] = {0.0f, 1.0f, 0.5f, 0.5f, 2.0f, 3.0f, 4.0f, 8.0f, 10.0f, 12.0f};
  return values[input_enum(node, ctx, u"which", 9)];
}

// -- time --

float eval_Time(shadetree_node_t& node, const renderctx& ctx) {
  const project* p = ctx.project;
  if (!p) return 0.0f;
  if (ctx.is_anim) {
    if (p->anim_end_frame == p->anim_start_frame) return 0.0f;
    node.caching_dirty = false;
    node.thumbnail_caching_dirty = false;
    float start = static_cast<float>(p->anim_start_frame);
    float end = static_cast<float>(p->anim_end_frame);
    float current = static_cast<float>(p->anim_cur_frame);
    return (current - start) / (end - start);
  }
  if (ctx.for_preview) node.caching_dirty = false;
  if (ctx.for_thumbnail) node.thumbnail_caching_dirty = false;
  return p->animedit_normalized_time;
}

// -- bias, gamma, gain --

float eval_BiasScalar(shadetree_node_t& node, const renderctx& ctx) {
  float v = input_float(node, ctx, u"value", 0.0f);
  float e = clamp01(input_float(node, ctx, u"exponent", 0.8f));
  return powf(v, logf(e) / logf(0.5f));
}

float eval_GammaScalar(shadetree_node_t& node, const renderctx& ctx) {
  float v = input_float(node, ctx, u"value", 0.0f);
  float g = input_float(node, ctx, u"gamma", 1.0f);
  if (near_zero(g)) return powf(v, 0.0f);
  return powf(v, 1.0f / g);
}

float eval_GainScalar(shadetree_node_t& node, const renderctx& ctx) {
  float v = input_float(node, ctx, u"value", 0.0f);
  float e = clamp01(input_float(node, ctx, u"exponent", 0.8f));
  if (e >= 0.9999999f && e <= 1.0000001f) e = 0.0f;
  float p = logf(1.0f - e) / logf(0.5f);
  if (0.5f > v) return powf(2.0f * v, p) * 0.5f;
  return 1.0f - powf(2.0f - 2.0f * v, p) * 0.5f;
}

// -- arithmetic --

float eval_ScalarOperation(shadetree_node_t& node, const renderctx& ctx) {
  float a = input_float(node, ctx, u"value1", 0.5f);
  float b = input_float(node, ctx, u"value2", 0.5f);
  switch (input_enum(node, ctx, u"operation", 9)) {
    case 0: return a + b;
    case 1: return a - b;
    case 2: return a * b;
    case 3: return near_zero(b) ? 0.0f : a / b;
    case 4: return near_zero(b) ? 0.0f : fmodf(a, b);
    case 5: return fminf(a, b);
    case 6: return fmaxf(a, b);
    case 7: return atan2f(b, a);  // second value first
    case 8: return powf(a, b);
    default:
      if (near_zero(b) || near_zero(a)) return 0.0f;
      return logf(a) / logf(b);
  }
}

float eval_ScalarUnaryOperation(shadetree_node_t& node, const renderctx& ctx) {
  float x = input_float(node, ctx, u"value", 0.0f);
  switch (input_enum(node, ctx, u"operation", 12)) {
    case 0: return -x;
    case 1: return 1.0f - x;
    case 2: return near_zero(x) ? 0.0f : 1.0f / x;
    case 3: return (x < 0.0f || near_zero(x)) ? 0.0f : sqrtf(x);
    case 4: return floorf(x);
    case 5: return ceilf(x);
    case 6: return truncf(x);
    case 7: return fabsf(x);
    case 8:
      if (x < 0.0f) return -1.0f;
      if (x > 0.0f) return 1.0f;
      return 0.0f;
    case 9: return floorf(x + 0.5f);
    case 10: return x - floorf(x);
    case 11: return fmaxf(0.0f, fminf(x, 1.0f));
    default: return expf(x);
  }
}

float eval_ScalarCompare(shadetree_node_t& node, const renderctx& ctx) {
  float a = input_float(node, ctx, u"value1", 0.0f);
  float b = input_float(node, ctx, u"value2", 0.0f);
  bool equal = near_zero(b - a);
  bool result;
  switch (input_enum(node, ctx, u"condition", 5)) {
    case 0: result = equal; break;
    case 1: result = !equal; break;
    case 2: result = b > a; break;
    case 3: result = equal || b >= a; break;
    case 4: result = a > b; break;
    default: result = equal || a >= b; break;
  }
  return result ? 1.0f : 0.0f;
}

float eval_ScalarClamp(shadetree_node_t& node, const renderctx& ctx) {
  float v = input_float(node, ctx, u"value", 0.0f);
  float lo = input_float(node, ctx, u"min", 0.0f);
  float hi = input_float(node, ctx, u"max", 1.0f);
  return fmaxf(lo, fminf(v, hi));  // a minimum above the maximum wins
}

float eval_ScalarTrigFunc(shadetree_node_t& node, const renderctx& ctx) {
  float x = input_float(node, ctx, u"value", 0.0f);
  switch (input_enum(node, ctx, u"function", 8)) {
    case 0: return sinf(x);
    case 1: return cosf(x);
    case 2: return tanf(x);
    case 3: return sinhf(x);
    case 4: return coshf(x);
    case 5: return tanhf(x);
    case 6: return asinf(x);
    case 7: return acosf(x);
    default: return atanf(x);
  }
}

float eval_MapValue(shadetree_node_t& node, const renderctx& ctx) {
  float value = input_float(node, ctx, u"value", 0.0f);
  float scale = input_float(node, ctx, u"scale", 1.0f);
  float offset = input_float(node, ctx, u"offset", 0.0f);
  float x = value * scale + offset;
  // A clamp switch follows its scalar input when one is connected, else the stored flag.
  auto switch_on = [&](const char16_t* name) {
    wstring n(name);
    if (shadetree_node_t* c = node.connected(n)) return fetch_float_input(node, ctx, n, c, 0.0f) >= 0.5f;
    return fetch_bool_param(node, ctx, n);
  };
  if (switch_on(u"low-clamp")) x = fmaxf(input_float(node, ctx, u"low-value", 0.0f), x);
  if (switch_on(u"high-clamp")) x = fminf(x, input_float(node, ctx, u"high-value", 1.0f));
  return x;
}

float eval_ScalarInterpolation(shadetree_node_t& node, const renderctx& ctx) {
  float t = clamp01(input_float(node, ctx, u"param", 0.5f));
  float a = input_float(node, ctx, u"value1", 0.0f);
  float b = input_float(node, ctx, u"value2", 1.0f);
  // The type has no scalar input of its own: fetched without a connection.
  uint32_t type = fetch_enum_input(node, ctx, u"type", nullptr, 0);
  if (type > 2) type = 2;
  float s = t;
  if (type == 1) s = cubic_weight(t);
  if (type == 2) s = fifth_degree_weight(t);
  return (1.0f - s) * a + s * b;
}

float eval_ScalarExpr(shadetree_node_t& node, const renderctx& ctx) {
  if (!node.expression || !node.expression->root) return 0.0f;
  impl::expr_variables variables;
  for (const char16_t* name : {u"_1", u"_2", u"_3", u"_4"})
    variables[name] = input_float(node, ctx, name, 0.0f);
  return node.expression->evaluate(variables);
}

// -- colour --

void eval_ColorBlend(shadetree_node_t& node, const renderctx& ctx, float& r, float& g, float& b) {
  float c1[4] = {0.0f, 0.0f, 0.0f, 1.0f};
  float c2[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  float fetched[4];
  if (fetch_color_input(node, ctx, u"color1", node.connected(u"color1"), fetched))
    std::copy(fetched, fetched + 4, c1);
  if (fetch_color_input(node, ctx, u"color2", node.connected(u"color2"), fetched))
    std::copy(fetched, fetched + 4, c2);
  float f = input_float(node, ctx, u"factor", 0.5f);
  // The index is read under "interp" while the stored parameter is named "interpolation": with
  // nothing connected the blend is always linear.
  uint32_t interp = fetch_enum_input(node, ctx, u"interp", node.connected(u"interpolation"), 0);
  if (interp > 2) interp = 2;
  if (interp == 1) f = cubic_weight(f);
  if (interp == 2) f = fifth_degree_weight(f);
  r = (1.0f - f) * c1[0] + f * c2[0];
  g = (1.0f - f) * c1[1] + f * c2[1];
  b = (1.0f - f) * c1[2] + f * c2[2];
}

}  // namespace quorin_engine
