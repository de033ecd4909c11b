// Parsed expressions: the tree node base, the tree handle and the five kinds of tree node.
#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace quorin_engine::impl {

using expr_variables = std::map<std::u16string, float>;

struct abs_expr_node_t {
  virtual ~abs_expr_node_t() = default;
  virtual float evaluate(const expr_variables& variables) const = 0;
  virtual std::ostream& dump(std::ostream& stream) const = 0;
};

// Cheap to copy: copies share the root. A default tree has a null root and evaluates to 0.
struct expr_tree_t : abs_expr_node_t {
  std::shared_ptr<abs_expr_node_t> root;

  expr_tree_t() = default;
  explicit expr_tree_t(std::shared_ptr<abs_expr_node_t> r) : root(std::move(r)) {}
  float evaluate(const expr_variables& variables) const override;
  std::ostream& dump(std::ostream& stream) const override;
};

// A number written in the text.
struct litval_expr_node_t : abs_expr_node_t {
  float value;

  explicit litval_expr_node_t(float v) : value(v) {}
  float evaluate(const expr_variables& variables) const override;
  std::ostream& dump(std::ostream& stream) const override;
};

// "_1" to "_4": looked up in the variables, 0 when absent.
struct varref_expr_node_t : abs_expr_node_t {
  std::u16string name;

  explicit varref_expr_node_t(std::u16string n) : name(std::move(n)) {}
  float evaluate(const expr_variables& variables) const override;
  std::ostream& dump(std::ostream& stream) const override;
};

// Unary plus (op 0) and minus (op 1).
struct unop_expr_node_t : abs_expr_node_t {
  expr_tree_t operand;
  uint32_t op;

  unop_expr_node_t(expr_tree_t operand, uint32_t op) : operand(std::move(operand)), op(op) {}
  // From the operator character: '-' gives 1, anything else 0.
  static uint32_t op_for(char32_t c);
  float evaluate(const expr_variables& variables) const override;
  std::ostream& dump(std::ostream& stream) const override;
};

// Add 0, subtract 1, multiply 2, divide 3, modulo 4.
struct binop_expr_node_t : abs_expr_node_t {
  expr_tree_t left;
  expr_tree_t right;
  uint32_t op;

  binop_expr_node_t(expr_tree_t left, expr_tree_t right, uint32_t op)
      : left(std::move(left)), right(std::move(right)), op(op) {}
  // From the operator character; a character that is not an operator gives 0 (add).
  static uint32_t op_for(char32_t c);
  float evaluate(const expr_variables& variables) const override;
  std::ostream& dump(std::ostream& stream) const override;
};

// The functions callable from an expression; a name's id is its position here. The order is that of
// the grammar's function names.
constexpr uint32_t expr_function_count = 24;
extern const char16_t* const expr_function_names[expr_function_count];

// A function call. The arity is not checked: surplus arguments are ignored and a missing one
// reads as 0.
struct funccall_expr_node_t : abs_expr_node_t {
  uint32_t function_id;
  std::vector<expr_tree_t> arguments;
  std::u16string name;

  // Finds the id by the name (linear search); an unknown name gets the id 24, which evaluates to 0.
  funccall_expr_node_t(std::u16string name, std::vector<expr_tree_t> arguments);
  float evaluate(const expr_variables& variables) const override;
  std::ostream& dump(std::ostream& stream) const override;
};

}  // namespace quorin_engine::impl
