// Parameter values: every value is text in the node's parameter map, converted on each read.
#include <cstring>

#include "core/color.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/expr/parser.h"
#include "eval/fetch.h"
#include "quorin/node.h"

namespace quorin_engine {

namespace {

constexpr uint32_t type_id_scalar_expr = 1053;
constexpr std::size_t font_block_size = 256;
constexpr std::size_t font_face_offset = 28;
constexpr std::size_t font_face_units = 32;
constexpr std::size_t font_size_offset = 92;

const param_spec_t* indexed_param(const shadetree_node_t* node, uint32_t group, uint32_t param) {
  return spec_param(node->spec(), group, param);
}

// The enabled time curve of a parameter, or null.
const curve* enabled_time_curve(const shadetree_node_t* node, const wstring& name) {
  auto it = node->time_curves.find(name);
  return it != node->time_curves.end() && it->second.enabled ? &it->second : nullptr;
}

// The current time of the render context's project; a context without a project reads time 0.
float current_time(const renderctx* ctx) {
  return ctx && ctx->project ? ctx->project->animedit_normalized_time : 0.0f;
}

const wstring* stored_text(const shadetree_node_t* node, const wstring& name) {
  auto it = node->params.find(name);
  return it == node->params.end() ? nullptr : &it->second;
}

// truncate(v + 0.5) in floats, as the value fetches round, to an unsigned value that wraps like a
// conversion through a 64-bit integer.
uint32_t round_to_uint(float v) {
  const float x = v + 0.5f;
  if (!(x > -9.2e18f && x < 9.2e18f)) return 0;
  return static_cast<uint32_t>(static_cast<int64_t>(x));
}

// The text of a font parameter: face name, ", ", size in whole points.
wstring font_text(const std::vector<uint8_t>& block) {
  wstring face;
  for (std::size_t i = 0; i < font_face_units; ++i) {
    char16_t unit;
    std::memcpy(&unit, block.data() + font_face_offset + 2 * i, sizeof unit);
    if (unit == 0) break;
    face.push_back(unit);
  }
  uint32_t tenths;
  std::memcpy(&tenths, block.data() + font_size_offset, sizeof tenths);
  return face + u", " + format_u((tenths + 5) / 10);
}

uint32_t param_value(const shadetree_node_t* node, const renderctx* ctx, char16_t* buf, int32_t cap,
                     float* out_float, const wstring& name) {
  if (const curve* c = enabled_time_curve(node, name)) {
    *out_float = curve_value(*c, current_time(ctx));
    return 1;
  }
  const wstring* text = stored_text(node, name);
  copy_out(text ? *text : wstring(), buf, cap);
  return 0;
}

// A write of a value: the text is stored, the change is pushed downstream (the node's own dirty
// flag is left to the host), and the expression of a ScalarExpr node is parsed anew. Parser
// exceptions travel on to the caller, with the text already stored.
void write_param_value(shadetree_node_t* node, const wstring& name, const wstring& text) {
  node->params[name] = text;
  mark_caching_dirty(node);
  if (node->type_id == type_id_scalar_expr && name == u"expression") impl::parse_expression(*node->expression, text);
}

}  // namespace

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_count(const shadetree_node_t* node) {
  return static_cast<uint32_t>(node->params.size());
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_value_keyed(const shadetree_node_t* node, const renderctx* ctx,
                                                           qr_char* buf, int32_t cap, float* out_float,
                                                           const qr_char* name) {
  return param_value(node, ctx, buf, cap, out_float, from_caller(name));
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_value_indexed(const shadetree_node_t* node, const renderctx* ctx,
                                                             qr_char* buf, int32_t cap, float* out_float,
                                                             uint32_t group, uint32_t param) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (!p) return 0;
  if (p->type == param_font && node->binary_size() == font_block_size) {
    copy_out(font_text(node->binary_data), buf, cap);
    return 0;
  }
  return param_value(node, ctx, buf, cap, out_float, p->name);
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_value_as_uint(const shadetree_node_t* node, const renderctx* ctx,
                                                             uint32_t* out, uint32_t group, uint32_t param) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (!p || node->params.empty()) return 0;
  if (const curve* c = enabled_time_curve(node, p->name)) {
    *out = round_to_uint(curve_value(*c, current_time(ctx)));
    return 1;
  }
  const wstring* text = stored_text(node, p->name);
  int32_t value = text ? text_to_int(*text) : 0;
  if (value < 0) return 0;
  *out = static_cast<uint32_t>(value);
  return 1;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_enum_value(const shadetree_node_t* node, const renderctx* ctx,
                                                          uint32_t* out, uint32_t group, uint32_t param) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (!p) return 0;
  *out = fetch_enum_input(*node, *ctx, p->name, nullptr, 0);
  return 1;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_value_as_float(const shadetree_node_t* node, const renderctx* ctx,
                                                              float* out, uint32_t group, uint32_t param) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (!p) return 0;
  if (node->params.empty()) {
    *out = 0.0f;
    return 1;
  }
  if (const curve* c = enabled_time_curve(node, p->name)) {
    *out = curve_value(*c, current_time(ctx));
    return 1;
  }
  const wstring* text = stored_text(node, p->name);
  *out = text && !text->empty() ? static_cast<float>(text_to_double(*text)) : 0.0f;
  return 1;
}

QUORIN_EXTERN_C QUORIN_API uint32_t node_param_value_as_color(const shadetree_node_t* node, const renderctx*,
                                                              float* r, float* g, float* b, float* a,
                                                              uint32_t group, uint32_t param) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (!p || node->params.empty()) return 0;
  // Colours are never animated; an enabled time curve here is a programming error.
  if (enabled_time_curve(node, p->name)) __builtin_trap();
  const wstring* text = stored_text(node, p->name);
  float rgba[4];
  if (!parse_color(text ? *text : wstring(), rgba)) return 0;
  *r = rgba[0];
  *g = rgba[1];
  *b = rgba[2];
  *a = rgba[3];
  return 1;
}

QUORIN_EXTERN_C QUORIN_API void node_set_param_value(shadetree_node_t* node, const qr_char* name,
                                                     const qr_char* value) {
  write_param_value(node, from_caller(name), from_caller(value));
}

QUORIN_EXTERN_C QUORIN_API void node_set_param_value_uint(shadetree_node_t* node, uint32_t group, uint32_t param,
                                                          uint32_t value) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (p && p->type == param_uint) write_param_value(node, p->name, format_u(value));
}

QUORIN_EXTERN_C QUORIN_API void node_set_param_value_float(shadetree_node_t* node, uint32_t group, uint32_t param,
                                                           float value) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (p && p->type == param_float) write_param_value(node, p->name, format_f(value));
}

QUORIN_EXTERN_C QUORIN_API void node_set_param_value_color(shadetree_node_t* node, uint32_t group, uint32_t param,
                                                           float r, float g, float b, float a) {
  const param_spec_t* p = indexed_param(node, group, param);
  if (p && p->type == param_color_rgb) write_param_value(node, p->name, format_color(r, g, b, a));
}
