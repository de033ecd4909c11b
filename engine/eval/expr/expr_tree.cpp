#include "eval/expr/expr_tree.h"

namespace quorin_engine::impl {

float expr_tree_t::evaluate(const expr_variables& variables) const {
  return root ? root->evaluate(variables) : 0.0f;
}

std::ostream& expr_tree_t::dump(std::ostream& stream) const {
  stream << "expr_tree_t(";
  if (root) root->dump(stream);
  return stream << "\n";
}

}  // namespace quorin_engine::impl
