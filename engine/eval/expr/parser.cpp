// (Placeholder: nothing parses until the expression language exists.)
#include "eval/expr/parser.h"

namespace quorin_engine::impl {

bool parse_expression(expr_tree_t&, const wstring&) { return false; }

}  // namespace quorin_engine::impl
