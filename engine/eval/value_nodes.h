// Evaluators of the node types that yield scalars, colours and text instead of images. Each reads
// its inputs through the value fetches, with the node connected on the input of the same name.
#pragma once
#include <cstdint>
#include "core/renderctx.h"
#include "core/text.h"

namespace quorin_engine {

struct shadetree_node_t;

// Type ids of the value nodes.
namespace value_type {
constexpr uint32_t constant = 17;
constexpr uint32_t universal_constant = 21;
constexpr uint32_t simple_constant = 22;
constexpr uint32_t time = 26;
constexpr uint32_t string_constant = 30;
constexpr uint32_t bias_scalar = 1026;
constexpr uint32_t gamma_scalar = 1027;
constexpr uint32_t gain_scalar = 1028;
constexpr uint32_t color_blend = 1029;
constexpr uint32_t scalar_operation = 1030;
constexpr uint32_t scalar_unary_operation = 1032;
constexpr uint32_t scalar_compare = 1033;
constexpr uint32_t scalar_clamp = 1034;
constexpr uint32_t scalar_trig_func = 1038;
constexpr uint32_t map_value = 1041;
constexpr uint32_t str_mid = 1044;
constexpr uint32_t str_left = 1045;
constexpr uint32_t str_right = 1046;
constexpr uint32_t str_cat = 1051;
constexpr uint32_t scalar_interpolation = 1052;
constexpr uint32_t scalar_expr = 1053;
}  // namespace value_type

// Scalars.
float eval_Constant(shadetree_node_t& node, const renderctx& ctx);
float eval_UniversalConstant(shadetree_node_t& node, const renderctx& ctx);
float eval_SimpleConstant(shadetree_node_t& node, const renderctx& ctx);
float eval_Time(shadetree_node_t& node, const renderctx& ctx);
float eval_BiasScalar(shadetree_node_t& node, const renderctx& ctx);
float eval_GammaScalar(shadetree_node_t& node, const renderctx& ctx);
float eval_GainScalar(shadetree_node_t& node, const renderctx& ctx);
float eval_ScalarOperation(shadetree_node_t& node, const renderctx& ctx);
float eval_ScalarUnaryOperation(shadetree_node_t& node, const renderctx& ctx);
float eval_ScalarCompare(shadetree_node_t& node, const renderctx& ctx);
float eval_ScalarClamp(shadetree_node_t& node, const renderctx& ctx);
float eval_ScalarTrigFunc(shadetree_node_t& node, const renderctx& ctx);
float eval_MapValue(shadetree_node_t& node, const renderctx& ctx);
float eval_ScalarInterpolation(shadetree_node_t& node, const renderctx& ctx);
float eval_ScalarExpr(shadetree_node_t& node, const renderctx& ctx);

// Colours.
void eval_ColorBlend(shadetree_node_t& node, const renderctx& ctx, float& r, float& g, float& b);

// Text.
wstring eval_StringConstant(shadetree_node_t& node, const renderctx& ctx);
wstring eval_StrMid(shadetree_node_t& node, const renderctx& ctx);
wstring eval_StrLeft(shadetree_node_t& node, const renderctx& ctx);
wstring eval_StrRight(shadetree_node_t& node, const renderctx& ctx);  // may throw std::out_of_range
wstring eval_StrCat(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
