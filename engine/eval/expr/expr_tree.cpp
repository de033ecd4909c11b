// Evaluation and dump of expression trees.
#include "eval/expr/expr_tree.h"
#include <cmath>

namespace quorin_engine::impl {

namespace {

constexpr float float_near_zero = 1.1920929e-7f;

bool near_zero(float v) { return v >= -float_near_zero && v <= float_near_zero; }

}  // namespace

const char16_t* const expr_function_names[expr_function_count] = {
    u"min",   u"max",  u"atan2", u"pow",  u"log",   u"sqrt", u"floor", u"ceil",
    u"trunc", u"abs",  u"sign",  u"round", u"frac", u"clamp", u"exp",  u"sin",
    u"cos",   u"tan",  u"sinh",  u"cosh", u"tanh",  u"asin", u"acos",  u"atan"};

// -- the tree handle --

float expr_tree_t::evaluate(const expr_variables& variables) const {
  return root ? root->evaluate(variables) : 0.0f;
}

std::ostream& expr_tree_t::dump(std::ostream& stream) const {
  stream << "expr_tree_t(";
  if (root) root->dump(stream);
  return stream << "\n";
}

// -- literals and variables --

float litval_expr_node_t::evaluate(const expr_variables&) const { return value; }

std::ostream& litval_expr_node_t::dump(std::ostream& stream) const {
  return stream << "litval_expr_node_t(" << value << ")";
}

float varref_expr_node_t::evaluate(const expr_variables& variables) const {
  auto it = variables.find(name);
  return it == variables.end() ? 0.0f : it->second;
}

std::ostream& varref_expr_node_t::dump(std::ostream& stream) const {
  stream << "varref_expr_node_t('";
  for (char16_t c : name) stream << static_cast<char>(c & 0xff);
  return stream << "')";
}

// -- operators --

uint32_t unop_expr_node_t::op_for(char32_t c) { return c == U'-' ? 1 : 0; }

float unop_expr_node_t::evaluate(const expr_variables& variables) const {
  switch (op) {
    case 0: return operand.evaluate(variables);
    case 1: return -operand.evaluate(variables);
    default: return 0.0f;
  }
}

std::ostream& unop_expr_node_t::dump(std::ostream& stream) const {
  stream << "unop_expr_node_t(" << op << ", ";
  operand.dump(stream);
  return stream << ")";
}

uint32_t binop_expr_node_t::op_for(char32_t c) {
  switch (c) {
    case U'-': return 1;
    case U'*': return 2;
    case U'/': return 3;
    case U'%': return 4;
    default: return 0;
  }
}

float binop_expr_node_t::evaluate(const expr_variables& variables) const {
  float a = left.evaluate(variables);
  float b = right.evaluate(variables);
  switch (op) {
    case 0: return a + b;
    case 1: return a - b;
    case 2: return a * b;
    case 3: return near_zero(b) ? 0.0f : a / b;
    case 4: return near_zero(b) ? 0.0f : fmodf(a, b);
    default: return 0.0f;
  }
}

std::ostream& binop_expr_node_t::dump(std::ostream& stream) const {
  stream << "binop_expr_node_t(" << op << ", ";
  left.dump(stream);
  stream << ", ";
  right.dump(stream);
  return stream << ")";
}

// -- calls --

funccall_expr_node_t::funccall_expr_node_t(std::u16string n, std::vector<expr_tree_t> args)
    : function_id(expr_function_count), arguments(std::move(args)), name(std::move(n)) {
  for (uint32_t i = 0; i < expr_function_count; ++i)
    if (name == expr_function_names[i]) {
      function_id = i;
      break;
    }
}

float funccall_expr_node_t::evaluate(const expr_variables& variables) const {
  // Argument i, or 0 when the call has fewer.
  auto arg = [&](std::size_t i) {
    return i < arguments.size() ? arguments[i].evaluate(variables) : 0.0f;
  };
  switch (function_id) {
    case 0: { float a = arg(0), b = arg(1); return fminf(a, b); }
    case 1: { float a = arg(0), b = arg(1); return fmaxf(a, b); }
    case 2: { float a = arg(0), b = arg(1); return atan2f(a, b); }
    case 3: { float a = arg(0), b = arg(1); return powf(a, b); }
    case 4: {
      float a = arg(0), b = arg(1);
      if (near_zero(b) || near_zero(a)) return 0.0f;
      return logf(a) / logf(b);
    }
    case 5: {
      float x = arg(0);
      if (x < 0.0f || x <= float_near_zero) return 0.0f;
      return sqrtf(x);
    }
    case 6: return floorf(arg(0));
    case 7: return ceilf(arg(0));
    case 8: return truncf(arg(0));
    case 9: return fabsf(arg(0));
    case 10: {
      float x = arg(0);
      if (x < 0.0f) return -1.0f;
      if (x > 0.0f) return 1.0f;
      return 0.0f;
    }
    case 11: return floorf(arg(0) + 0.5f);
    case 12: { float x = arg(0); return x - floorf(x); }
    case 13: return fmaxf(0.0f, fminf(arg(0), 1.0f));
    case 14: return expf(arg(0));
    case 15: return sinf(arg(0));
    case 16: return cosf(arg(0));
    case 17: return tanf(arg(0));
    case 18: return sinhf(arg(0));
    case 19: return coshf(arg(0));
    case 20: return tanhf(arg(0));
    case 21: return asinf(arg(0));
    case 22: return acosf(arg(0));
    case 23: return atanf(arg(0));
    default: return 0.0f;
  }
}

std::ostream& funccall_expr_node_t::dump(std::ostream& stream) const {
  stream << "funccall_expr_node_t(" << function_id << ", ";
  for (const expr_tree_t& a : arguments) a.dump(stream);
  return stream << ")";
}

}  // namespace quorin_engine::impl
