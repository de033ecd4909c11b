// The expression parser: text to tree.
#pragma once
#include "core/text.h"
#include "eval/expr/expr_tree.h"

namespace quorin_engine::impl {

// True on success, with `out_tree` replaced. A text that does not parse gives false and leaves the
// tree; a missing part after an operator or parenthesis raises the parser's expectation failure.
bool parse_expression(expr_tree_t& out_tree, const wstring& text);

}  // namespace quorin_engine::impl
