// Parsed expressions: the tree node base and the tree handle.
#pragma once
#include <map>
#include <memory>
#include <ostream>
#include <string>

namespace quorin_engine::impl {

using expr_variables = std::map<std::u16string, float>;

struct abs_expr_node_t {
  virtual ~abs_expr_node_t() = default;
  virtual float evaluate(const expr_variables& variables) const = 0;
  virtual std::ostream& dump(std::ostream& stream) const = 0;
};

// Cheap to copy: copies share the root. A default tree has a null root.
struct expr_tree_t : abs_expr_node_t {
  std::shared_ptr<abs_expr_node_t> root;

  expr_tree_t() = default;
  explicit expr_tree_t(std::shared_ptr<abs_expr_node_t> r) : root(std::move(r)) {}
  float evaluate(const expr_variables& variables) const override;
  std::ostream& dump(std::ostream& stream) const override;
};

}  // namespace quorin_engine::impl
