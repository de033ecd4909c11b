// The expression language: parsing, evaluation, failure kinds and the dump form.
#include <gtest/gtest.h>
#include <boost/spirit/home/qi/detail/expectation_failure.hpp>
#include <cmath>
#include <sstream>
#include "eval/expr/parser.h"

using namespace quorin_engine;
using namespace quorin_engine::impl;

namespace {

using expectation_failure = boost::spirit::qi::expectation_failure<std::wstring::const_iterator>;

// Parses into a fresh tree and evaluates it; fails the test if the text does not parse.
float eval(const std::u16string& text, const expr_variables& vars = {}) {
  expr_tree_t tree;
  EXPECT_TRUE(parse_expression(tree, text)) << "text did not parse";
  return tree.evaluate(vars);
}

// A value the compiler cannot fold, so that library functions run as the engine runs them.
float rt(float v) {
  volatile float x = v;
  return x;
}

std::string dump_of(const std::u16string& text) {
  expr_tree_t tree;
  EXPECT_TRUE(parse_expression(tree, text));
  std::ostringstream s;
  tree.dump(s);
  return s.str();
}

}  // namespace

TEST(Expression, ValuesOfWellFormedTexts) {
  struct {
    const char16_t* text;
    float value;
  } cases[] = {
      {u"2+3*4", 14.0f},          {u"2-3-4", -5.0f},          {u"7%4", 3.0f},
      {u"-2*3", -6.0f},           {u"(2+3)*4", 20.0f},        {u"8/2/2", 2.0f},
      {u"-7%4", -3.0f},           {u"1/0", 0.0f},             {u"1/0.00000001", 0.0f},
      {u"1%0", 0.0f},             {u"1/-0.0000001", 0.0f},    {u"sqrt(-1)", 0.0f},
      {u"sqrt(0.0000001)", 0.0f}, {u"sqrt(16)", 4.0f},        {u"log(8,2)", 3.0f},
      {u"log(8,0)", 0.0f},        {u"log(0,2)", 0.0f},        {u"clamp(5)", 1.0f},
      {u"clamp(-5)", 0.0f},       {u"clamp(0.25, 9)", 0.25f}, {u"round(2.5)", 3.0f},
      {u"round(-2.5)", -2.0f},    {u"min(3,-1)", -1.0f},      {u"max(3,-1)", 3.0f},
      {u"pow(2,10)", 1024.0f},    {u"floor(-1.5)", -2.0f},    {u"ceil(-1.5)", -1.0f},
      {u"trunc(-1.5)", -1.0f},    {u"abs(-4)", 4.0f},         {u"sign(-4)", -1.0f},
      {u"sign(0)", 0.0f},         {u"sign(0.001)", 1.0f},     {u"frac(-1.25)", 0.75f},
      {u"exp(0)", 1.0f},          {u"sin(0)", 0.0f},          {u"cos(0)", 1.0f},
      {u"sin (0)", 0.0f},         {u" 1 + 2 ", 3.0f},         {u"\t1\n*\r2 ", 2.0f},
      {u"atan2(0,1)", 0.0f},      {u"1.", 1.0f},              {u".5", 0.5f},
      {u"1e3", 1000.0f},          {u"1E-3", 0.001f},          {u"+3", 3.0f},
      {u"--3", 3.0f},             {u"-(1)", -1.0f},           {u"+(2)", 2.0f},
      {u"2*-3", -6.0f},           {u"1 -3", -2.0f},
  };
  for (const auto& c : cases) EXPECT_EQ(eval(c.text), c.value) << std::string(c.text, c.text + std::char_traits<char16_t>::length(c.text));

  // The float functions of the platform, bit for bit.
  EXPECT_EQ(eval(u"sin(1)"), sinf(rt(1.0f)));
  EXPECT_EQ(eval(u"atan(1)"), atanf(rt(1.0f)));
  EXPECT_EQ(eval(u"asin(0.5)"), asinf(rt(0.5f)));
  EXPECT_EQ(eval(u"acos(0.5)"), acosf(rt(0.5f)));
  EXPECT_EQ(eval(u"tan(0.5)"), tanf(rt(0.5f)));
  EXPECT_EQ(eval(u"atan2(1,2)"), atan2f(rt(1.0f), 2.0f));
  EXPECT_EQ(eval(u"pow(2,0.5)"), powf(rt(2.0f), 0.5f));
  EXPECT_EQ(eval(u"log(10,3)"), logf(rt(10.0f)) / logf(rt(3.0f)));
  EXPECT_EQ(eval(u"5.5%2.25"), fmodf(rt(5.5f), 2.25f));
  EXPECT_TRUE(std::isnan(eval(u"nan")));
  EXPECT_TRUE(std::isnan(eval(u"NaN(1)")));
  EXPECT_EQ(eval(u"inf"), INFINITY);
  EXPECT_EQ(eval(u"-Infinity"), -INFINITY);
  EXPECT_TRUE(std::isnan(eval(u"pow(-2,0.5)")));
  EXPECT_TRUE(std::signbit(eval(u"-(0)")));
}

TEST(Expression, CallsIgnoreSurplusAndReadMissingArgumentsAsZero) {
  EXPECT_EQ(eval(u"sin(1,2,3)"), eval(u"sin(1)"));
  EXPECT_EQ(eval(u"abs(-2, 7)"), 2.0f);
  EXPECT_EQ(eval(u"cos()"), 1.0f);
  EXPECT_EQ(eval(u"max(-5)"), 0.0f);
  EXPECT_EQ(eval(u"min(5)"), 0.0f);
  EXPECT_EQ(eval(u"pow(3)"), 1.0f);
  EXPECT_EQ(eval(u"log(8)"), 0.0f);
  EXPECT_EQ(eval(u"min( 4 , 3 , 1 )"), 3.0f);
}

TEST(Expression, VariablesComeFromTheMap) {
  expr_variables vars = {{u"_1", 2.0f}, {u"_2", 3.0f}, {u"_3", -1.0f}};
  EXPECT_EQ(eval(u"_1*_2+_3", vars), 5.0f);
  EXPECT_EQ(eval(u"-_1", vars), -2.0f);
  EXPECT_EQ(eval(u"_4", vars), 0.0f);  // absent from the map
  EXPECT_EQ(eval(u"_1"), 0.0f);
  EXPECT_EQ(eval(u"max(_1, _2)", vars), 3.0f);
}

TEST(Expression, SoftFailuresReturnFalseAndKeepTheTree) {
  const char16_t* soft[] = {u"1 2",   u"foo",  u"sinh(1)", u"cosh(0)", u"tanh(1)", u"SIN(1)",
                            u"min(1", u"_5",   u"s in(1)", u"",        u"   ",     u"_ 1",
                            u"1e",    u"1 )",  u"min(1,)", u"\u2212" u"1"};
  for (const char16_t* text : soft) {
    expr_tree_t tree;
    ASSERT_TRUE(parse_expression(tree, u"40+2"));
    auto before = tree.root;
    bool ok = true;
    EXPECT_NO_THROW(ok = parse_expression(tree, text));
    EXPECT_FALSE(ok);
    EXPECT_EQ(tree.root, before);
    EXPECT_EQ(tree.evaluate({}), 42.0f);
  }
  // The operator characters have meaning only as themselves, not as their low byte.
  expr_tree_t tree;
  EXPECT_FALSE(parse_expression(tree, std::u16string(u"1") + char16_t(0x012B) + u"2"));
  EXPECT_EQ(tree.root, nullptr);
}

TEST(Expression, ExpectationFailuresRaise) {
  const char16_t* raising[] = {u"1+", u"(1", u"-", u"2*", u"()", u"min(1+)", u"(1+2", u"3%%2"};
  for (const char16_t* text : raising) {
    expr_tree_t tree;
    ASSERT_TRUE(parse_expression(tree, u"7"));
    auto before = tree.root;
    EXPECT_THROW(parse_expression(tree, text), expectation_failure);
    EXPECT_EQ(tree.root, before);
  }
}

TEST(Expression, NamesWithACommonPrefix) {
  // Names that stand before a longer name with the same prefix win; the others are reachable.
  EXPECT_EQ(eval(u"atan2(1, 1)"), atan2f(rt(1.0f), 1.0f));
  EXPECT_EQ(eval(u"atan(1)"), atanf(rt(1.0f)));
  EXPECT_EQ(eval(u"sign(-3)"), -1.0f);
  EXPECT_EQ(eval(u"sin(0.5)"), sinf(rt(0.5f)));
  EXPECT_EQ(eval(u"asin(1)"), asinf(rt(1.0f)));
  EXPECT_EQ(eval(u"exp(1)"), expf(rt(1.0f)));
}

TEST(Expression, DumpForm) {
  EXPECT_EQ(dump_of(u"1.5"), "expr_tree_t(litval_expr_node_t(1.5)\n");
  EXPECT_EQ(dump_of(u"_2"), "expr_tree_t(varref_expr_node_t('_2')\n");
  EXPECT_EQ(dump_of(u"2*-_1"),
            "expr_tree_t(binop_expr_node_t(2, expr_tree_t(litval_expr_node_t(2)\n, "
            "expr_tree_t(unop_expr_node_t(1, expr_tree_t(varref_expr_node_t('_1')\n)\n)\n");
  EXPECT_EQ(dump_of(u"sign(1,2)"),
            "expr_tree_t(funccall_expr_node_t(10, expr_tree_t(litval_expr_node_t(1)\n"
            "expr_tree_t(litval_expr_node_t(2)\n)\n");
  EXPECT_EQ(dump_of(u"sin()"), "expr_tree_t(funccall_expr_node_t(15, )\n");
  std::ostringstream empty;
  expr_tree_t().dump(empty);
  EXPECT_EQ(empty.str(), "expr_tree_t(\n");
}

TEST(Expression, TreeNodesEvaluateTheirOwnRules) {
  // Operator codes and ids the grammar cannot produce still evaluate to 0.
  auto lit = [](float v) { return expr_tree_t(std::make_shared<litval_expr_node_t>(v)); };
  EXPECT_EQ(binop_expr_node_t(lit(2), lit(3), 5).evaluate({}), 0.0f);
  EXPECT_EQ(binop_expr_node_t::op_for(U'^'), 0u);
  EXPECT_EQ(unop_expr_node_t(lit(2), 2).evaluate({}), 0.0f);
  funccall_expr_node_t unknown(u"hypot", {lit(3), lit(4)});
  EXPECT_EQ(unknown.function_id, 24u);
  EXPECT_EQ(unknown.evaluate({}), 0.0f);
  // The functions the grammar cannot reach are there in the evaluator.
  EXPECT_EQ(funccall_expr_node_t(u"tanh", {lit(1)}).evaluate({}), tanhf(rt(1)));
  EXPECT_EQ(funccall_expr_node_t(u"cosh", {lit(1)}).evaluate({}), coshf(rt(1)));
  EXPECT_EQ(funccall_expr_node_t(u"sinh", {lit(1)}).function_id, 18u);
  // A NaN divisor is not near zero.
  EXPECT_TRUE(std::isnan(binop_expr_node_t(lit(1), lit(NAN), 3).evaluate({})));
  // Both bounds of the near-zero band are included.
  EXPECT_EQ(binop_expr_node_t(lit(1), lit(1.1920929e-7f), 3).evaluate({}), 0.0f);
  EXPECT_EQ(binop_expr_node_t(lit(1), lit(-1.1920929e-7f), 4).evaluate({}), 0.0f);
  EXPECT_NE(binop_expr_node_t(lit(1), lit(1.2e-7f), 3).evaluate({}), 0.0f);
}

TEST(Expression, CopiesShareTheRoot) {
  expr_tree_t a;
  ASSERT_TRUE(parse_expression(a, u"1+1"));
  expr_tree_t b = a;
  EXPECT_EQ(a.root, b.root);
  ASSERT_TRUE(parse_expression(a, u"5"));
  EXPECT_EQ(a.evaluate({}), 5.0f);
  EXPECT_EQ(b.evaluate({}), 2.0f);
}
