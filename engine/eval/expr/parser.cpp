// The expression grammar. Alternatives are tried in order and the first that succeeds wins; a rule
// that has succeeded is never re-entered for a later alternative. That makes the order of the
// function names significant: "sin" stands before "sinh", so "sinh(1)" matches "sin" and then fails
// on "h". Missing parts after an operator character or an opening parenthesis raise the parser's
// expectation failure, which the caller does not catch.
#include "eval/expr/parser.h"
#include <boost/phoenix/core.hpp>
#include <boost/phoenix/function.hpp>
#include <boost/phoenix/operator.hpp>
#include <boost/spirit/include/qi.hpp>

namespace quorin_engine::impl {

namespace {

namespace qi = boost::spirit::qi;
namespace phx = boost::phoenix;
namespace sw = boost::spirit::standard_wide;
namespace sn = boost::spirit::standard;

using iterator_t = std::wstring::const_iterator;
using skipper_t = sw::space_type;

std::u16string to_u16(const std::wstring& s) {
  std::u16string out;
  out.reserve(s.size());
  for (wchar_t c : s) out.push_back(static_cast<char16_t>(c));
  return out;
}

struct make_literal_t {
  using result_type = expr_tree_t;
  expr_tree_t operator()(float v) const {
    return expr_tree_t(std::make_shared<litval_expr_node_t>(v));
  }
};

struct make_variable_t {
  using result_type = expr_tree_t;
  expr_tree_t operator()(const std::wstring& name) const {
    return expr_tree_t(std::make_shared<varref_expr_node_t>(to_u16(name)));
  }
};

struct make_unop_t {
  using result_type = expr_tree_t;
  expr_tree_t operator()(char c, const expr_tree_t& operand) const {
    return expr_tree_t(std::make_shared<unop_expr_node_t>(
        operand, unop_expr_node_t::op_for(static_cast<unsigned char>(c))));
  }
};

struct make_binop_t {
  using result_type = expr_tree_t;
  expr_tree_t operator()(char c, const expr_tree_t& left, const expr_tree_t& right) const {
    return expr_tree_t(std::make_shared<binop_expr_node_t>(
        left, right, binop_expr_node_t::op_for(static_cast<unsigned char>(c))));
  }
};

// Builds the call node and adds the roots of the parsed arguments to it, in order.
struct add_param_roots_t {
  using result_type = expr_tree_t;
  expr_tree_t operator()(const std::wstring& name,
                         const boost::optional<std::vector<expr_tree_t>>& args) const {
    std::vector<expr_tree_t> arguments;
    if (args)
      for (const expr_tree_t& a : *args) arguments.push_back(a);
    return expr_tree_t(std::make_shared<funccall_expr_node_t>(to_u16(name), std::move(arguments)));
  }
};

struct expression_grammar : qi::grammar<iterator_t, expr_tree_t(), skipper_t> {
  expression_grammar() : expression_grammar::base_type(expr) {
    using qi::_1;
    using qi::_2;
    using qi::_val;
    using qi::lit;
    using sw::string;

    phx::function<make_literal_t> make_literal;
    phx::function<make_variable_t> make_variable;
    phx::function<make_unop_t> make_unop;
    phx::function<make_binop_t> make_binop;
    phx::function<add_param_roots_t> add_param_roots;

    expr = term[_val = _1] >> *((sn::char_("+-") > term)[_val = make_binop(_1, _val, _2)]);

    term = factor[_val = _1] >> *((sn::char_("*/%") > factor)[_val = make_binop(_1, _val, _2)]);

    factor = number[_val = _1]
           | call[_val = _1]
           | variable[_val = _1]
           | (lit(L'(') > expr > lit(L')'))[_val = _1]
           | (sn::char_("+-") > factor)[_val = make_unop(_1, _2)];

    call = (function_name >> lit(L'(') >> -args >> lit(L')'))[_val = add_param_roots(_1, _2)];

    args = expr % lit(L',');

    function_name = string(L"min") | string(L"max") | string(L"atan2") | string(L"pow")
                  | string(L"log") | string(L"sqrt") | string(L"floor") | string(L"ceil")
                  | string(L"trunc") | string(L"abs") | string(L"sign") | string(L"round")
                  | string(L"frac") | string(L"clamp") | string(L"exp") | string(L"sin")
                  | string(L"cos") | string(L"tan") | string(L"sinh") | string(L"cosh")
                  | string(L"tanh") | string(L"asin") | string(L"acos") | string(L"atan");

    variable = (string(L"_1") | string(L"_2") | string(L"_3") | string(L"_4"))[_val = make_variable(_1)];

    number = qi::float_[_val = make_literal(_1)];
  }

  qi::rule<iterator_t, expr_tree_t(), skipper_t> expr, term, factor, call, variable, number;
  qi::rule<iterator_t, std::vector<expr_tree_t>(), skipper_t> args;
  qi::rule<iterator_t, std::wstring(), skipper_t> function_name;
};

}  // namespace

bool parse_expression(expr_tree_t& out_tree, const wstring& text) {
  std::wstring wide;
  wide.reserve(text.size());
  for (char16_t c : text) wide.push_back(static_cast<wchar_t>(c));

  expression_grammar grammar;
  expr_tree_t parsed;
  iterator_t first = wide.begin();
  const iterator_t last = wide.end();
  bool ok = qi::phrase_parse(first, last, grammar, sw::space, parsed);
  if (!ok || first != last) return false;
  out_tree.root = parsed.root;
  return true;
}

}  // namespace quorin_engine::impl
