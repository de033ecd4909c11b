// Values of scalar, colour and string nodes: the dispatch on the type id and the exported entries.
// Types without an evaluator give 0, black or the empty text.
#include "eval/values.h"
#include "document/node.h"
#include "eval/value_nodes.h"
#include "quorin/node.h"

namespace quorin_engine {

float scalar_value(shadetree_node_t& node, const renderctx& ctx) {
  switch (node.type_id) {
    case value_type::constant: return eval_Constant(node, ctx);
    case value_type::universal_constant: return eval_UniversalConstant(node, ctx);
    case value_type::simple_constant: return eval_SimpleConstant(node, ctx);
    case value_type::time: return eval_Time(node, ctx);
    case value_type::bias_scalar: return eval_BiasScalar(node, ctx);
    case value_type::gamma_scalar: return eval_GammaScalar(node, ctx);
    case value_type::gain_scalar: return eval_GainScalar(node, ctx);
    case value_type::scalar_operation: return eval_ScalarOperation(node, ctx);
    case value_type::scalar_unary_operation: return eval_ScalarUnaryOperation(node, ctx);
    case value_type::scalar_compare: return eval_ScalarCompare(node, ctx);
    case value_type::scalar_clamp: return eval_ScalarClamp(node, ctx);
    case value_type::scalar_trig_func: return eval_ScalarTrigFunc(node, ctx);
    case value_type::map_value: return eval_MapValue(node, ctx);
    case value_type::scalar_interpolation: return eval_ScalarInterpolation(node, ctx);
    case value_type::scalar_expr: return eval_ScalarExpr(node, ctx);
    default: return 0.0f;
  }
}

void color_rgb_value(shadetree_node_t& node, const renderctx& ctx, float& r, float& g, float& b) {
  if (node.type_id == value_type::color_blend) {
    eval_ColorBlend(node, ctx, r, g, b);
    return;
  }
  r = g = b = 0.0f;
}

wstring string_value(shadetree_node_t& node, const renderctx& ctx) {
  switch (node.type_id) {
    case value_type::string_constant: return eval_StringConstant(node, ctx);
    case value_type::str_mid: return eval_StrMid(node, ctx);
    case value_type::str_left: return eval_StrLeft(node, ctx);
    case value_type::str_right: return eval_StrRight(node, ctx);
    case value_type::str_cat: return eval_StrCat(node, ctx);
    default: return {};  // StrLower and StrUpper among them
  }
}

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API float node_scalar_value(shadetree_node_t* node, const renderctx* ctx) {
  return scalar_value(*node, *ctx);
}
QUORIN_EXTERN_C QUORIN_API void node_color_rgb_value(shadetree_node_t* node, const renderctx* ctx,
                                                     float* r, float* g, float* b) {
  color_rgb_value(*node, *ctx, *r, *g, *b);
}
QUORIN_EXTERN_C QUORIN_API void node_string_value(shadetree_node_t* node, const renderctx* ctx,
                                                  char16_t* buf, int32_t cap) {
  copy_out(string_value(*node, *ctx), buf, cap);
}
