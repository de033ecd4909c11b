// Scalar, colour and string nodes evaluated through node_scalar_value, node_color_rgb_value and
// node_string_value, with parameters written directly and inputs connected directly.
#include <gtest/gtest.h>
#include <cmath>
#include <stdexcept>
#include <vector>
#include "catalogue/catalogue.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/expr/parser.h"
#include "quorin/node.h"

using namespace quorin_engine;

namespace {

// A value the compiler cannot fold, so that library functions run as the engine runs them.
float rt(float v) {
  volatile float x = v;
  return x;
}

param_spec_t enum_param(const char16_t* name, std::vector<const char16_t*> values) {
  param_spec_t p;
  p.name = name;
  p.type = param_enum;
  for (const char16_t* v : values) p.enum_values.push_back(enum_value_spec_t{v, u"", 0});
  return p;
}

nodetype_spec_t record(uint32_t id, const char16_t* name, std::vector<param_spec_t> params) {
  nodetype_spec_t s;
  s.type_id = id;
  s.name = name;
  s.is_gen = false;
  s.outputs.push_back(port_spec_t{u"value", u"", port_scalar});
  s.param_groups.push_back(param_group_spec_t{u"General", std::move(params)});
  return s;
}

// The enum parameters of the value nodes, in their order of values.
std::vector<nodetype_spec_t> value_records() {
  const std::vector<const char16_t*> interpolation = {u"linear", u"spline (cubic)", u"spline (5th deg.)"};
  return {
      record(21, u"UniversalConstant",
             {enum_param(u"which", {u"Pi", u"2*Pi", u"Pi/2", u"1/Pi", u"1/(2*Pi)", u"Euler", u"Deg2Rad",
                                    u"Rad2Deg", u"sqrt(2)", u"Golden Ratio"})}),
      record(22, u"SimpleConstant",
             {enum_param(u"which", {u"0", u"1", u"1/2", u"1/4", u"2", u"3", u"4", u"8", u"10", u"12"})}),
      record(1029, u"ColorBlend", {enum_param(u"interpolation", interpolation)}),
      record(1030, u"ScalarOperation",
             {enum_param(u"operation", {u"Add", u"Subtract", u"Multiply", u"Divide", u"Remainder", u"Min",
                                        u"Max", u"Atan2", u"Power", u"Logarithm"})}),
      record(1032, u"ScalarUnaryOperation",
             {enum_param(u"operation", {u"Negate", u"1 Minus", u"Reciprocal", u"Square Root", u"Floor",
                                        u"Ceil", u"Truncate", u"Abs", u"Sign", u"Round", u"Fraction",
                                        u"Clamp 0..1", u"Exp"})}),
      record(1033, u"ScalarCompare",
             {enum_param(u"condition", {u"Equal", u"Not equal", u"Less", u"Less or equal", u"Greater",
                                        u"Greater or equal"})}),
      record(1038, u"ScalarTrigFunc",
             {enum_param(u"function", {u"Sin", u"Cos", u"Tan", u"Sinh", u"Cosh", u"Tanh", u"ArcSin",
                                       u"ArcCos", u"ArcTan"})}),
      record(1052, u"ScalarInterpolation", {enum_param(u"type", interpolation)}),
  };
}

class ValueNodes : public ::testing::Test {
 protected:
  // The value nodes' enum records stand in for the whole catalogue, so that no other record's
  // defaults reach the nodes built here.
  void SetUp() override {
    saved = std::move(nodetype_specs());
    nodetype_specs() = value_records();
    ctx = renderctx{};
    ctx.project = &proj;
  }
  void TearDown() override { nodetype_specs() = std::move(saved); }

  float value_of(shadetree_node_t& n) { return node_scalar_value(&n, &ctx); }

  std::u16string text_of(shadetree_node_t& n) {
    char16_t buf[64];
    node_string_value(&n, &ctx, buf, 64);
    return buf;
  }

  static void connect(shadetree_node_t& consumer, const char16_t* input, shadetree_node_t& source) {
    consumer.input_connections[input] = &source;
  }

  // A Constant holding v, to drive an input.
  static std::unique_ptr<shadetree_node_t> constant(const char16_t* v) {
    auto c = std::make_unique<shadetree_node_t>(17);
    c->params[u"value"] = v;
    return c;
  }

  project proj;
  renderctx ctx{};
  std::vector<nodetype_spec_t> saved;
};

}  // namespace

TEST_F(ValueNodes, Constants) {
  shadetree_node_t c(17);
  EXPECT_EQ(value_of(c), 0.0f);  // nothing stored
  c.params[u"value"] = u"2.5";
  EXPECT_EQ(value_of(c), 2.5f);
  c.params[u"value"] = u"0.1";
  EXPECT_EQ(value_of(c), static_cast<float>(0.1));
  c.params[u"value"] = u"";
  EXPECT_EQ(value_of(c), 0.0f);
  // An enabled time curve wins over the text; the default curve is the identity.
  c.params[u"value"] = u"7";
  c.time_curves[u"value"] = default_curve();
  proj.animedit_normalized_time = 0.25f;
  EXPECT_EQ(value_of(c), 0.25f);
  c.time_curves[u"value"].enabled = false;
  EXPECT_EQ(value_of(c), 7.0f);

  const double pi = 4.0 * std::atan(1.0);
  const float universal[] = {float(pi),         float(2.0 * pi),   float(pi / 2.0),   float(1.0 / pi),
                             float(1.0 / (2.0 * pi)), float(std::exp(1.0)), float(pi / 180.0),
                             float(180.0 / pi), float(std::sqrt(2.0)), float((std::sqrt(5.0) + 1.0) / 2.0)};
  const char16_t* universal_names[] = {u"Pi",      u"2*Pi",    u"Pi/2",    u"1/Pi",    u"1/(2*Pi)",
                                       u"Euler",   u"Deg2Rad", u"Rad2Deg", u"sqrt(2)", u"Golden Ratio"};
  shadetree_node_t u(21);
  EXPECT_EQ(value_of(u), universal[0]);  // default Pi
  for (int i = 0; i < 10; ++i) {
    u.params[u"which"] = universal_names[i];
    EXPECT_EQ(value_of(u), universal[i]) << i;
  }
  // A connected 1.0 sweeps one past the last value, which counts as the last.
  auto one = constant(u"1");
  connect(u, u"which", *one);
  EXPECT_EQ(value_of(u), universal[9]);

  shadetree_node_t s(22);
  EXPECT_EQ(value_of(s), 0.0f);
  const char16_t* simple_names[] = {u"0", u"1", u"1/2", u"1/4", u"2", u"3", u"4", u"8", u"10", u"12"};
  const float simple[] = {0, 1, 0.5f, 0.5f, 2, 3, 4, 8, 10, 12};
  for (int i = 0; i < 10; ++i) {
    s.params[u"which"] = simple_names[i];
    EXPECT_EQ(value_of(s), simple[i]) << i;
  }
  s.params[u"which"] = u"1/3";  // no such value: the default
  EXPECT_EQ(value_of(s), 0.0f);
  connect(s, u"which", *one);
  EXPECT_EQ(value_of(s), 12.0f);
}

TEST_F(ValueNodes, TimeAndItsFlags) {
  shadetree_node_t t(26);
  proj.anim_start_frame = 10;
  proj.anim_end_frame = 30;
  proj.anim_cur_frame = 15;
  proj.animedit_normalized_time = 0.75f;

  ctx.is_anim = true;
  EXPECT_EQ(value_of(t), 0.25f);
  EXPECT_FALSE(t.caching_dirty);
  EXPECT_FALSE(t.thumbnail_caching_dirty);

  // An empty frame range gives 0 and leaves the flags as they are.
  t.caching_dirty = t.thumbnail_caching_dirty = true;
  proj.anim_end_frame = 10;
  EXPECT_EQ(value_of(t), 0.0f);
  EXPECT_TRUE(t.caching_dirty);
  EXPECT_TRUE(t.thumbnail_caching_dirty);

  // Outside animation rendering: the editor's time, and only the flag of the kind of render.
  ctx.is_anim = false;
  ctx.for_preview = true;
  EXPECT_EQ(value_of(t), 0.75f);
  EXPECT_FALSE(t.caching_dirty);
  EXPECT_TRUE(t.thumbnail_caching_dirty);
  ctx.for_preview = false;
  ctx.for_thumbnail = true;
  t.caching_dirty = true;
  EXPECT_EQ(value_of(t), 0.75f);
  EXPECT_TRUE(t.caching_dirty);
  EXPECT_FALSE(t.thumbnail_caching_dirty);
}

TEST_F(ValueNodes, BiasGammaGain) {
  shadetree_node_t bias(1026);
  bias.params[u"value"] = u"0.25";
  bias.params[u"exponent"] = u"0.5";
  EXPECT_EQ(value_of(bias), 0.25f);  // exponent 0.5 is the identity
  bias.params[u"exponent"] = u"0.7";
  EXPECT_EQ(value_of(bias), powf(rt(0.25f), logf(rt(0.7f)) / logf(rt(0.5f))));
  bias.params[u"exponent"] = u"3";  // clamped to 1: power 0
  EXPECT_EQ(value_of(bias), 1.0f);
  shadetree_node_t bias_defaults(1026);
  bias_defaults.params[u"value"] = u"0.5";  // exponent 0.8 by default
  EXPECT_EQ(value_of(bias_defaults), powf(rt(0.5f), logf(rt(0.8f)) / logf(rt(0.5f))));

  shadetree_node_t gamma(1027);
  gamma.params[u"value"] = u"0.25";
  gamma.params[u"gamma"] = u"2";
  EXPECT_EQ(value_of(gamma), 0.5f);
  gamma.params[u"gamma"] = u"0.0000001";  // near zero: power 0
  EXPECT_EQ(value_of(gamma), 1.0f);
  gamma.params[u"gamma"] = u"0.1";  // no clamp to the bounds of the interface
  EXPECT_EQ(value_of(gamma), powf(rt(0.25f), 1.0f / rt(0.1f)));

  shadetree_node_t gain(1028), gain0(1028);
  for (const char16_t* v : {u"0.2", u"0.5", u"0.9"}) {
    gain.params[u"value"] = gain0.params[u"value"] = v;
    gain.params[u"exponent"] = u"1";
    gain0.params[u"exponent"] = u"0";
    EXPECT_EQ(value_of(gain), value_of(gain0));  // exponent 1 behaves as 0
    EXPECT_EQ(value_of(gain), 0.5f);
    gain.params[u"exponent"] = u"0.5";
    EXPECT_EQ(value_of(gain), static_cast<float>(std::stod(std::string(v, v + 3))));
  }
  gain.params[u"value"] = u"0.2";
  gain.params[u"exponent"] = u"0.25";
  float p = logf(rt(0.75f)) / logf(rt(0.5f));
  EXPECT_EQ(value_of(gain), powf(rt(0.4f), p) * 0.5f);
  gain.params[u"value"] = u"0.8";
  EXPECT_EQ(value_of(gain), 1.0f - powf(2.0f - 2.0f * rt(0.8f), p) * 0.5f);
}

TEST_F(ValueNodes, ScalarOperation) {
  shadetree_node_t op(1030);
  EXPECT_EQ(value_of(op), 1.0f);  // Add of the two defaults of 0.5
  struct {
    const char16_t* operation;
    const char16_t* a;
    const char16_t* b;
    float result;
  } cases[] = {
      {u"Add", u"3", u"4", 7},           {u"Subtract", u"3", u"4", -1},
      {u"Multiply", u"3", u"4", 12},     {u"Divide", u"3", u"4", 0.75f},
      {u"Divide", u"3", u"0.0000001", 0}, {u"Remainder", u"7", u"4", 3},
      {u"Remainder", u"-7", u"4", -3},   {u"Remainder", u"7", u"0", 0},
      {u"Min", u"3", u"-4", -4},         {u"Max", u"3", u"-4", 3},
      {u"Atan2", u"1", u"0", 0},         {u"Power", u"2", u"10", 1024},
      {u"Logarithm", u"8", u"2", 3},     {u"Logarithm", u"8", u"0", 0},
      {u"Logarithm", u"0", u"2", 0},
  };
  for (const auto& c : cases) {
    op.params[u"operation"] = c.operation;
    op.params[u"value1"] = c.a;
    op.params[u"value2"] = c.b;
    EXPECT_EQ(value_of(op), c.result) << std::string(c.operation, c.operation + 3);
  }
  // Atan2 takes the second value first.
  op.params[u"operation"] = u"Atan2";
  op.params[u"value1"] = u"0";
  op.params[u"value2"] = u"1";
  EXPECT_EQ(value_of(op), atan2f(rt(1.0f), 0.0f));
  // Connected inputs win over the stored text; an index past the end is Logarithm.
  auto eight = constant(u"8");
  auto high = constant(u"5");
  op.params[u"value2"] = u"2";
  connect(op, u"value1", *eight);
  connect(op, u"operation", *high);
  EXPECT_EQ(value_of(op), 3.0f);
}

TEST_F(ValueNodes, ScalarUnaryOperation) {
  shadetree_node_t op(1032);
  struct {
    const char16_t* operation;
    const char16_t* x;
    float result;
  } cases[] = {
      {u"Negate", u"2", -2},          {u"1 Minus", u"0.25", 0.75f},   {u"Reciprocal", u"4", 0.25f},
      {u"Reciprocal", u"0", 0},       {u"Square Root", u"-1", 0},      {u"Square Root", u"0.0000001", 0},
      {u"Square Root", u"9", 3},      {u"Floor", u"-1.5", -2},        {u"Ceil", u"-1.5", -1},
      {u"Truncate", u"-1.5", -1},     {u"Abs", u"-3", 3},             {u"Sign", u"-0.001", -1},
      {u"Sign", u"0", 0},             {u"Sign", u"2", 1},             {u"Round", u"-2.5", -2},
      {u"Round", u"2.5", 3},          {u"Fraction", u"-1.25", 0.75f}, {u"Clamp 0..1", u"5", 1},
      {u"Clamp 0..1", u"-5", 0},      {u"Exp", u"0", 1},
  };
  for (const auto& c : cases) {
    op.params[u"operation"] = c.operation;
    op.params[u"value"] = c.x;
    EXPECT_EQ(value_of(op), c.result) << std::string(c.operation, c.operation + 3);
  }
  auto high = constant(u"1");  // one past the last value: Exp
  connect(op, u"operation", *high);
  op.params[u"value"] = u"1";
  EXPECT_EQ(value_of(op), expf(rt(1.0f)));
}

TEST_F(ValueNodes, CompareClampTrig) {
  shadetree_node_t cmp(1033);
  struct {
    const char16_t* condition;
    const char16_t* a;
    const char16_t* b;
    float result;
  } cases[] = {
      {u"Equal", u"0", u"0.00000001", 1},          {u"Equal", u"0", u"0.001", 0},
      {u"Not equal", u"0", u"0.00000001", 0},      {u"Not equal", u"0", u"0.001", 1},
      {u"Less", u"1", u"2", 1},                    {u"Less", u"0.00000001", u"0", 0},
      {u"Less or equal", u"0.00000001", u"0", 1},  {u"Less or equal", u"3", u"2", 0},
      {u"Greater", u"3", u"2", 1},                 {u"Greater", u"0", u"0.00000001", 0},
      {u"Greater or equal", u"0", u"0.00000001", 1}, {u"Greater or equal", u"2", u"3", 0},
  };
  for (const auto& c : cases) {
    cmp.params[u"condition"] = c.condition;
    cmp.params[u"value1"] = c.a;
    cmp.params[u"value2"] = c.b;
    EXPECT_EQ(value_of(cmp), c.result) << std::string(c.condition, c.condition + 4);
  }

  shadetree_node_t clamp(1034);
  EXPECT_EQ(value_of(clamp), 0.0f);
  clamp.params[u"value"] = u"7";
  EXPECT_EQ(value_of(clamp), 1.0f);  // default maximum 1
  clamp.params[u"min"] = u"2";
  clamp.params[u"max"] = u"5";
  EXPECT_EQ(value_of(clamp), 5.0f);
  clamp.params[u"value"] = u"3";
  EXPECT_EQ(value_of(clamp), 3.0f);
  clamp.params[u"max"] = u"1";  // minimum above the maximum: the minimum
  EXPECT_EQ(value_of(clamp), 2.0f);

  shadetree_node_t trig(1038);
  trig.params[u"value"] = u"0.5";
  EXPECT_EQ(value_of(trig), sinf(rt(0.5f)));
  trig.params[u"function"] = u"Cosh";
  EXPECT_EQ(value_of(trig), coshf(rt(0.5f)));
  trig.params[u"function"] = u"ArcCos";
  EXPECT_EQ(value_of(trig), acosf(rt(0.5f)));
  auto high = constant(u"1");
  connect(trig, u"function", *high);  // past the end: ArcTan
  EXPECT_EQ(value_of(trig), atanf(rt(0.5f)));
}

TEST_F(ValueNodes, MapValue) {
  shadetree_node_t map(1041);
  EXPECT_EQ(value_of(map), 0.0f);
  map.params[u"value"] = u"3";
  map.params[u"scale"] = u"0.5";
  map.params[u"offset"] = u"-2";
  EXPECT_EQ(value_of(map), -0.5f);  // no clamp by default
  map.params[u"low-clamp"] = u"true";
  EXPECT_EQ(value_of(map), 0.0f);
  map.params[u"low-value"] = u"-0.25";
  EXPECT_EQ(value_of(map), -0.25f);
  map.params[u"low-clamp"] = u"TRUE";  // only "true" exactly
  EXPECT_EQ(value_of(map), -0.5f);

  map.params[u"offset"] = u"4";
  EXPECT_EQ(value_of(map), 5.5f);
  map.params[u"high-clamp"] = u"true";
  EXPECT_EQ(value_of(map), 1.0f);
  // A connected switch follows its scalar, the stored flag no longer counts.
  auto off = constant(u"0.49");
  auto on = constant(u"0.5");
  connect(map, u"high-clamp", *off);
  EXPECT_EQ(value_of(map), 5.5f);
  connect(map, u"high-clamp", *on);
  map.params[u"high-clamp"] = u"false";
  map.params[u"high-value"] = u"2";
  EXPECT_EQ(value_of(map), 2.0f);
}

TEST_F(ValueNodes, ScalarInterpolation) {
  shadetree_node_t in(1052);
  EXPECT_EQ(value_of(in), 0.5f);  // linear, halfway from 0 to 1
  in.params[u"value1"] = u"2";
  in.params[u"value2"] = u"6";
  in.params[u"param"] = u"0.25";
  EXPECT_EQ(value_of(in), 3.0f);
  in.params[u"param"] = u"-1";  // clamped
  EXPECT_EQ(value_of(in), 2.0f);
  in.params[u"param"] = u"0.25";
  in.params[u"type"] = u"spline (cubic)";
  EXPECT_EQ(value_of(in), (1.0f - 0.15625f) * 2.0f + 0.15625f * 6.0f);
  in.params[u"type"] = u"spline (5th deg.)";
  EXPECT_EQ(value_of(in), (1.0f - 0.05078125f) * 2.0f + 0.05078125f * 6.0f);
  in.params[u"param"] = u"0.1";  // the polynomial dips below 0 here: clamped
  EXPECT_EQ(value_of(in), 2.0f);
  in.params[u"param"] = u"0.9";  // and rises above 1 here
  EXPECT_EQ(value_of(in), 6.0f);
  in.params[u"param"] = u"0.3";
  float t = rt(0.3f), s = (((12.0f * t - 30.0f) * t + 22.0f) * t - 3.0f) * (t * t);
  EXPECT_EQ(value_of(in), (1.0f - s) * 2.0f + s * 6.0f);
  // The type is never taken from a connection.
  auto zero = constant(u"0");
  connect(in, u"type", *zero);
  EXPECT_EQ(value_of(in), (1.0f - s) * 2.0f + s * 6.0f);
}

TEST_F(ValueNodes, ScalarExpr) {
  shadetree_node_t e(1053);
  auto three = constant(u"3");
  connect(e, u"_2", *three);
  EXPECT_EQ(value_of(e), 0.0f);  // empty tree
  ASSERT_TRUE(impl::parse_expression(*e.expression, u"_1 * 2 + _2 - _4"));
  e.params[u"_1"] = u"1.5";
  EXPECT_EQ(value_of(e), 6.0f);
  e.params[u"_4"] = u"1";
  EXPECT_EQ(value_of(e), 5.0f);
  // A failed parse keeps the previous tree and so the previous value.
  EXPECT_FALSE(impl::parse_expression(*e.expression, u"tanh(1)"));
  EXPECT_EQ(value_of(e), 5.0f);
  // A copy shares the tree.
  shadetree_node_t copy(e);
  EXPECT_EQ(copy.expression, e.expression);
  EXPECT_EQ(value_of(copy), 5.0f);
}

TEST_F(ValueNodes, ColorBlend) {
  float r, g, b;
  shadetree_node_t blend(1029);
  node_color_rgb_value(&blend, &ctx, &r, &g, &b);
  EXPECT_EQ(r, 0.5f);  // black to white, halfway
  EXPECT_EQ(g, 0.5f);
  EXPECT_EQ(b, 0.5f);

  blend.params[u"color1"] = u"(0.2,0.4,0.6)";
  blend.params[u"color2"] = u"(1.0,0.0,0.6,0.5)";
  blend.params[u"factor"] = u"0.25";
  blend.params[u"interpolation"] = u"spline (cubic)";  // read under another name: still linear
  node_color_rgb_value(&blend, &ctx, &r, &g, &b);
  EXPECT_EQ(r, 0.75f * 0.2f + 0.25f * 1.0f);
  EXPECT_EQ(g, 0.75f * 0.4f);
  EXPECT_EQ(b, 0.75f * 0.6f + 0.25f * 0.6f);

  blend.params[u"factor"] = u"1.5";  // not clamped
  node_color_rgb_value(&blend, &ctx, &r, &g, &b);
  EXPECT_EQ(r, (1.0f - 1.5f) * 0.2f + 1.5f * 1.0f);

  // A connection on the interpolation input does count: 1.0 rounds to the cubic spline.
  auto one = constant(u"1");
  blend.params[u"factor"] = u"0.25";
  connect(blend, u"interpolation", *one);
  node_color_rgb_value(&blend, &ctx, &r, &g, &b);
  EXPECT_EQ(r, (1.0f - 0.15625f) * 0.2f + 0.15625f * 1.0f);

  // A Constant connected to a colour input gives black.
  connect(blend, u"color1", *one);
  blend.input_connections.erase(u"interpolation");
  node_color_rgb_value(&blend, &ctx, &r, &g, &b);
  EXPECT_EQ(r, 0.25f);
  EXPECT_EQ(g, 0.0f);
  EXPECT_EQ(b, 0.25f * 0.6f);

  // A ColorBlend connected to a colour input gives its colour.
  shadetree_node_t inner(1029);
  inner.params[u"factor"] = u"1";
  connect(blend, u"color1", inner);
  node_color_rgb_value(&blend, &ctx, &r, &g, &b);
  EXPECT_EQ(r, 1.0f);
  EXPECT_EQ(g, 0.75f);

  // Other types have no colour; ColorBlend has no scalar.
  r = g = b = 9.0f;
  node_color_rgb_value(one.get(), &ctx, &r, &g, &b);
  EXPECT_EQ(r + g + b, 0.0f);
  EXPECT_EQ(value_of(blend), 0.0f);
}

TEST_F(ValueNodes, Strings) {
  shadetree_node_t text(30);
  text.params[u"string"] = u"Hello";
  EXPECT_EQ(text_of(text), u"Hello");

  shadetree_node_t mid(1044);
  connect(mid, u"string", text);
  EXPECT_EQ(text_of(mid), u"Hello");  // from 0, count defaults to the length
  mid.params[u"startpos"] = u"1";
  mid.params[u"count"] = u"3";
  EXPECT_EQ(text_of(mid), u"ell");
  mid.params[u"count"] = u"30";
  EXPECT_EQ(text_of(mid), u"ello");
  mid.params[u"startpos"] = u"5";  // at the length: empty
  EXPECT_EQ(text_of(mid), u"");
  mid.params[u"startpos"] = u"9";
  EXPECT_EQ(text_of(mid), u"");

  shadetree_node_t left(1045), right(1046);
  connect(left, u"string", text);
  left.params[u"string"] = u"ignored while connected";
  EXPECT_EQ(text_of(left), u"Hello");
  left.params[u"count"] = u"2";
  EXPECT_EQ(text_of(left), u"He");
  left.params[u"count"] = u"99";
  EXPECT_EQ(text_of(left), u"Hello");

  right.params[u"string"] = u"World";
  EXPECT_EQ(text_of(right), u"World");
  right.params[u"count"] = u"3";
  EXPECT_EQ(text_of(right), u"rld");
  right.params[u"count"] = u"0";
  EXPECT_EQ(text_of(right), u"");
  right.params[u"count"] = u"6";
  try {
    text_of(right);
    ADD_FAILURE() << "a count past the length must throw";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "invalid string position");
  }

  shadetree_node_t cat(1051);
  cat.params[u"string1"] = u"Hi ";
  connect(cat, u"string2", text);
  EXPECT_EQ(text_of(cat), u"Hi Hello");

  // Types without text, and text types without a scalar.
  shadetree_node_t lower(1049), upper(1050), length(1047), to_number(1048);
  lower.params[u"string"] = upper.params[u"string"] = u"MiXed";
  to_number.params[u"string"] = u"42";
  length.params[u"string"] = u"four";
  EXPECT_EQ(text_of(lower), u"");
  EXPECT_EQ(text_of(upper), u"");
  EXPECT_EQ(value_of(to_number), 0.0f);
  EXPECT_EQ(value_of(length), 0.0f);
  EXPECT_EQ(text_of(*constant(u"1")), u"");
}
