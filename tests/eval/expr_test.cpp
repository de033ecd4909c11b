// The expression language: values, the two kinds of parse failure, and the dump form.
#include <gtest/gtest.h>
#include <boost/spirit/home/qi/detail/expectation_failure.hpp>
#include <cmath>
#include <sstream>
#include <vector>
#include "eval/expr/parser.h"

using namespace quorin_engine::impl;

namespace {

using expectation_failure = boost::spirit::qi::expectation_failure<std::wstring::const_iterator>;

float eval(const std::u16string& text, const expr_variables& vars = {}) {
  expr_tree_t tree;
  EXPECT_TRUE(parse_expression(tree, text)) << std::string(text.begin(), text.end());
  return tree.evaluate(vars);
}

// Not folded by the compiler, so that the float library runs as it does in the engine.
float rt(float v) {
  volatile float x = v;
  return x;
}

expr_tree_t lit(float v) { return expr_tree_t(std::make_shared<litval_expr_node_t>(v)); }

}  // namespace

TEST(Expression, Values) {
  const std::pair<std::u16string, float> cases[] = {
      {u"2+3*4", 14},      {u"2-3-4", -5},        {u"7%4", 3},        {u"-7%4", -3},          {u"-2*3", -6},
      {u"(2+3)*4", 20},    {u"1/0", 0},           {u"1%0", 0},        {u"1/0.00000001", 0},   {u"sqrt(-1)", 0},
      {u"log(8,2)", 3},    {u"log(8,0)", 0},      {u"log(0,2)", 0},   {u"clamp(5)", 1},       {u"clamp(-5)", 0},
      {u"round(2.5)", 3},  {u"round(-2.5)", -2},  {u"sign(0)", 0},    {u"frac(-1.25)", 0.75f}, {u"sin (0)", 0},
      {u" 1 + 2 ", 3},     {u"\t1\n*\r2 ", 2},    {u".5", 0.5f},      {u"1E-3", 0.001f},      {u"--3", 3},
      {u"2*-3", -6},       {u"_1", 0},            {u"cos()", 1},      {u"max(-5)", 0},        {u"min(4, 3, 1)", 3},
      {u"sin(1,2,3)", sinf(rt(1))}, {u"atan2(1,2)", atan2f(rt(1), 2)}, {u"atan(1)", atanf(rt(1))},
      {u"log(10,3)", logf(rt(10)) / logf(rt(3))}, {u"5.5%2.25", fmodf(rt(5.5f), 2.25f)}, {u"-Infinity", -INFINITY},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(eval(text), value) << std::string(text.begin(), text.end());

  // Surplus arguments are ignored; names sharing a prefix with a later name are still reachable.
  EXPECT_EQ(eval(u"sin(1,2,3)"), eval(u"sin(1)"));
  EXPECT_TRUE(std::isnan(eval(u"NaN(1)")));

  EXPECT_EQ(eval(u"_1*_2+_3 - -_4", {{u"_1", 2}, {u"_2", 3}, {u"_3", -1}, {u"_4", 1}}), 6.0f);

  // Both bounds of the near-zero band count; a NaN divisor is not near zero.
  EXPECT_EQ(binop_expr_node_t(lit(1), lit(1.1920929e-7f), 3).evaluate({}), 0.0f);
  EXPECT_EQ(binop_expr_node_t(lit(1), lit(-1.1920929e-7f), 4).evaluate({}), 0.0f);
  EXPECT_NE(binop_expr_node_t(lit(1), lit(1.2e-7f), 3).evaluate({}), 0.0f);
  EXPECT_TRUE(std::isnan(binop_expr_node_t(lit(1), lit(NAN), 3).evaluate({})));
  // The evaluator has the functions the grammar cannot reach, and 0 for unknown ones.
  EXPECT_EQ(funccall_expr_node_t(u"tanh", {lit(1)}).evaluate({}), tanhf(rt(1)));
  EXPECT_EQ(funccall_expr_node_t(u"hypot", {lit(3), lit(4)}).evaluate({}), 0.0f);
}

TEST(Expression, FailuresKeepThePreviousTree) {
  // Soft failures return false; a missing part after an operator or a parenthesis raises.
  const std::vector<const char16_t*> soft = {u"1 2", u"foo", u"sinh(1)", u"cosh(0)", u"tanh(1)", u"SIN(1)",
                                             u"min(1", u"_5", u"s in(1)", u"", u"1 )", u"min(1,)"},
                                     raising = {u"1+", u"(1", u"-", u"2*", u"()", u"(1+2"};
  for (bool raises : {false, true})
    for (const char16_t* text : raises ? raising : soft) {
      expr_tree_t tree;
      ASSERT_TRUE(parse_expression(tree, u"40+2"));
      auto before = tree.root;
      bool ok = true;
      if (raises) EXPECT_THROW(parse_expression(tree, text), expectation_failure);
      else EXPECT_NO_THROW(ok = parse_expression(tree, text));
      EXPECT_TRUE(tree.root == before && tree.evaluate({}) == 42.0f && (raises || !ok));
    }
}

TEST(Expression, DumpForm) {
  expr_tree_t tree;
  ASSERT_TRUE(parse_expression(tree, u"2*-_1 + sign(1,2)"));
  std::ostringstream s;
  tree.dump(s);
  EXPECT_EQ(s.str(),
            "expr_tree_t(binop_expr_node_t(0, expr_tree_t(binop_expr_node_t(2, "
            "expr_tree_t(litval_expr_node_t(2)\n, "
            "expr_tree_t(unop_expr_node_t(1, expr_tree_t(varref_expr_node_t('_1')\n)\n)\n, "
            "expr_tree_t(funccall_expr_node_t(10, expr_tree_t(litval_expr_node_t(1)\n"
            "expr_tree_t(litval_expr_node_t(2)\n)\n)\n");
  std::ostringstream empty;
  expr_tree_t().dump(empty);
  EXPECT_EQ(empty.str(), "expr_tree_t(\n");
}
