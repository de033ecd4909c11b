// String nodes: text computed on request from text inputs and counts.
#include <stdexcept>
#include "document/node.h"
#include "eval/fetch.h"
#include "eval/value_nodes.h"

namespace quorin_engine {

namespace {

wstring input_string(shadetree_node_t& node, const renderctx& ctx, const char16_t* name) {
  wstring n(name), out;
  fetch_string_input(node, ctx, n, node.connected(n), out);
  return out;
}

uint32_t input_uint(shadetree_node_t& node, const renderctx& ctx, const char16_t* name, uint32_t def) {
  wstring n(name);
  return fetch_uint_input(node, ctx, n, node.connected(n), def);
}

}  // namespace

wstring eval_StringConstant(shadetree_node_t& node, const renderctx& ctx) {
  wstring text;
  float curve_value = 0.0f;
  fetch_param_raw(node, ctx, u"string", text, curve_value);
  return text;
}

wstring eval_StrMid(shadetree_node_t& node, const renderctx& ctx) {
  wstring s = input_string(node, ctx, u"string");
  uint32_t length = static_cast<uint32_t>(s.size());
  uint32_t start = input_uint(node, ctx, u"startpos", 0);
  uint32_t count = input_uint(node, ctx, u"count", length);
  if (start < length) return s.substr(start, count);
  return {};
}

wstring eval_StrLeft(shadetree_node_t& node, const renderctx& ctx) {
  wstring s = input_string(node, ctx, u"string");
  uint32_t count = input_uint(node, ctx, u"count", static_cast<uint32_t>(s.size()));
  return s.substr(0, count);
}

wstring eval_StrRight(shadetree_node_t& node, const renderctx& ctx) {
  wstring s = input_string(node, ctx, u"string");
  uint32_t count = input_uint(node, ctx, u"count", static_cast<uint32_t>(s.size()));
  // A count beyond the length puts the start before the text: the caller gets the exception.
  if (count > s.size()) throw std::out_of_range("invalid string position");
  return s.substr(s.size() - count);
}

wstring eval_StrCat(shadetree_node_t& node, const renderctx& ctx) {
  wstring first = input_string(node, ctx, u"string1");
  return first + input_string(node, ctx, u"string2");
}

}  // namespace quorin_engine
