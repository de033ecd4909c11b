// Scalar, colour and string nodes evaluated on request, with parameters written directly.
#include <gtest/gtest.h>
#include <cmath>
#include <stdexcept>
#include <tuple>
#include "catalogue/catalogue.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/expr/parser.h"
#include "quorin/engine.h"
#include "quorin/node.h"

using namespace quorin_engine;

namespace {

float rt(float v) {
  volatile float x = v;
  return x;
}

std::vector<std::u16string> split(const std::u16string& s, char16_t sep) {
  std::vector<std::u16string> out;
  for (size_t at = 0, end; at < s.size(); at = end + 1) {
    end = std::min(s.find(sep, at), s.size());
    out.push_back(s.substr(at, end - at));
  }
  return out;
}

class ValueNodes : public ::testing::Test {
 protected:
  void SetUp() override {
    if (nodetype_specs().empty()) init();
    ctx.project = &proj;
  }

  // A node of the type with only the parameters of "name=value;name=value", so that the
  // evaluators' own defaults apply.
  static shadetree_node_t node(uint32_t type, const std::u16string& params = u"") {
    shadetree_node_t n(type);
    n.params.clear();
    for (const auto& p : split(params, u';')) n.params[p.substr(0, p.find(u'='))] = p.substr(p.find(u'=') + 1);
    return n;
  }
  float value_of(shadetree_node_t& n) { return node_scalar_value(&n, &ctx); }
  std::u16string text_of(shadetree_node_t& n) {
    char16_t buf[64];
    node_string_value(&n, &ctx, buf, 64);
    return buf;
  }
  std::vector<float> rgb_of(shadetree_node_t& n) {
    float c[3] = {9, 9, 9};
    node_color_rgb_value(&n, &ctx, &c[0], &c[1], &c[2]);
    return {c[0], c[1], c[2]};
  }

  project proj;
  renderctx ctx{};
};

}  // namespace

TEST_F(ValueNodes, Scalars) {
  const double pi = 4.0 * std::atan(1.0);
  const float p = logf(rt(0.75f)) / logf(rt(0.5f));  // gain exponent 0.25
  const std::u16string op = u"operation=", cmp = u"condition=", fifth = u"type=spline (5th deg.);value1=2;value2=6";
  const std::tuple<uint32_t, std::u16string, float> cases[] = {
      {17, u"", 0}, {17, u"value=2.5", 2.5f}, {21, u"", float(pi)}, {22, u"which=1/4", 0.5f}, {22, u"which=1/3", 0},
      {21, u"which=Golden Ratio", float((std::sqrt(5.0) + 1.0) / 2.0)}, {21, u"which=Deg2Rad", float(pi / 180.0)},
      {1026, u"value=0.25;exponent=0.7", powf(rt(0.25f), logf(rt(0.7f)) / logf(rt(0.5f)))},
      {1026, u"value=0.25;exponent=3", 1}, {1027, u"value=0.25;gamma=2", 0.5f},
      {1027, u"value=0.25;gamma=0.0000001", 1}, {1028, u"value=0.2;exponent=1", 0.5f},
      {1028, u"value=0.2;exponent=0.25", powf(rt(0.4f), p) * 0.5f},
      {1028, u"value=0.8;exponent=0.25", 1.0f - powf(2.0f - 2.0f * rt(0.8f), p) * 0.5f}, {1030, u"", 1},
      {1030, op + u"Divide;value1=3;value2=0.0000001", 0}, {1030, op + u"Remainder;value1=-7;value2=4", -3},
      {1030, op + u"Atan2;value1=1;value2=0", 0}, {1030, op + u"Atan2;value1=0;value2=1", atan2f(rt(1), 0)},
      {1030, op + u"Logarithm;value1=8;value2=2", 3}, {1030, op + u"Logarithm;value1=8;value2=0", 0},
      {1032, op + u"1 Minus;value=0.25", 0.75f}, {1032, op + u"Reciprocal;value=0", 0},
      {1032, op + u"Square Root;value=-1", 0}, {1032, op + u"Round;value=-2.5", -2},
      {1032, op + u"Sign;value=-0.001", -1}, {1032, op + u"Clamp 0..1;value=5", 1},
      {1033, cmp + u"Equal;value2=0.00000001", 1}, {1033, cmp + u"Equal;value2=0.001", 0},
      {1033, cmp + u"Less or equal;value1=0.00000001", 1}, {1033, cmp + u"Greater;value2=0.00000001", 0},
      {1034, u"value=7", 1}, {1034, u"value=3;min=2;max=1", 2}, {1038, u"function=Cosh;value=0.5", coshf(rt(0.5f))},
      {1041, u"value=3;scale=0.5;offset=-2;low-clamp=true", 0},
      {1041, u"value=3;scale=0.5;offset=-2;low-clamp=TRUE", -0.5f}, {1041, u"value=3;high-clamp=true", 1},
      {1041, u"value=-1;low-clamp=true;low-value=-0.25", -0.25f}, {1052, u"", 0.5f},
      {1052, u"value1=2;value2=6;param=-1", 2}, {1052, fifth + u";param=0.1", 2}, {1052, fifth + u";param=0.9", 6},
      {1052, fifth + u";param=0.25", (1.0f - 0.05078125f) * 2.0f + 0.05078125f * 6.0f}, {1053, u"_1=3", 0},
      {1048, u"string=42", 0}, {1029, u"", 0},
  };
  for (const auto& [type, params, value] : cases) {
    shadetree_node_t n = node(type, params);
    EXPECT_EQ(value_of(n), value) << type << " " << testing::PrintToString(params);
  }
}

TEST_F(ValueNodes, ConnectionsTimeCurvesAndExpressions) {
  // A connected 1.0 on an enum lands one past the end, which counts as the last value; the type
  // of ScalarInterpolation is never taken from a connection.
  shadetree_node_t one = node(17, u"value=1");
  const std::tuple<uint32_t, const char16_t*, float> cases[] = {
      {21, u"which", float((std::sqrt(5.0) + 1.0) / 2.0)}, {22, u"which", 12}, {1030, u"operation", 3},
      {1032, u"operation", expf(rt(1))}, {1038, u"function", atanf(rt(1))}, {1052, u"type", 6.5f}};
  for (const auto& [type, input, value] : cases) {
    shadetree_node_t n = node(type, u"value=1;value1=8;value2=2;param=0.25");
    n.input_connections[input] = &one;
    EXPECT_EQ(value_of(n), value) << type;
  }
  // A connected clamp switch follows its scalar from 0.5 up, whatever is stored.
  shadetree_node_t map = node(1041, u"value=5;high-clamp=true;high-value=2");
  shadetree_node_t below = node(17, u"value=0.49"), half = node(17, u"value=0.5");
  map.input_connections[u"high-clamp"] = &below;
  EXPECT_EQ(value_of(map), 5.0f);
  map.params[u"high-clamp"] = u"false";
  map.input_connections[u"high-clamp"] = &half;
  EXPECT_EQ(value_of(map), 2.0f);
  // An enabled time curve on a Constant wins over the stored text.
  shadetree_node_t c = node(17, u"value=7");
  c.time_curves[u"value"] = default_curve();
  proj.animedit_normalized_time = 0.25f;
  EXPECT_EQ(value_of(c), 0.25f);
  // ScalarExpr fills its variables from inputs, else parameters; a failed parse keeps the tree.
  shadetree_node_t e = node(1053, u"_1=1.5;_4=1");
  e.input_connections[u"_2"] = &c;
  ASSERT_TRUE(impl::parse_expression(*e.expression, u"_1 * 2 + _2 - _4"));
  EXPECT_EQ(value_of(e), 2.25f);
  EXPECT_FALSE(impl::parse_expression(*e.expression, u"tanh(1)"));
  EXPECT_EQ(value_of(e), 2.25f);
}

TEST_F(ValueNodes, TimeClearsTheFlagsOfItsRender) {
  shadetree_node_t t(26);
  proj.anim_start_frame = 10, proj.anim_end_frame = 30, proj.anim_cur_frame = 15;
  proj.animedit_normalized_time = 0.75f;
  ctx.is_anim = true;
  EXPECT_EQ(value_of(t), 0.25f);
  EXPECT_FALSE(t.caching_dirty || t.thumbnail_caching_dirty);
  t.caching_dirty = t.thumbnail_caching_dirty = true;
  proj.anim_end_frame = 10;  // an empty range gives 0 and leaves the flags
  EXPECT_EQ(value_of(t), 0.0f);
  EXPECT_TRUE(t.caching_dirty && t.thumbnail_caching_dirty);
  // Outside animation: the editor's time, clearing only the flag of the kind of render.
  ctx.is_anim = false, ctx.for_preview = true;
  EXPECT_EQ(value_of(t), 0.75f);
  EXPECT_TRUE(!t.caching_dirty && t.thumbnail_caching_dirty);
  ctx.for_preview = false, ctx.for_thumbnail = true, t.caching_dirty = true;
  EXPECT_EQ(value_of(t), 0.75f);
  EXPECT_TRUE(t.caching_dirty && !t.thumbnail_caching_dirty);
}

TEST_F(ValueNodes, ColorBlend) {
  shadetree_node_t plain = node(1029);
  EXPECT_EQ(rgb_of(plain), std::vector<float>({0.5f, 0.5f, 0.5f}));  // black to white, halfway
  // The stored interpolation is read under another name, so the blend stays linear; no clamp.
  shadetree_node_t blend =
      node(1029, u"color1=(0.2,0.4,0.6);color2=(1.0,0.0,0.6,0.5);factor=1.5;interpolation=spline (cubic)");
  EXPECT_EQ(rgb_of(blend), std::vector<float>({-0.5f * 0.2f + 1.5f, -0.5f * 0.4f, -0.5f * 0.6f + 1.5f * 0.6f}));
  // A connection on the interpolation input does count: 1.0 gives the cubic spline.
  shadetree_node_t one = node(17, u"value=1");
  blend.params[u"factor"] = u"0.25";
  blend.input_connections[u"interpolation"] = &one;
  EXPECT_EQ(rgb_of(blend)[0], (1.0f - 0.15625f) * 0.2f + 0.15625f * 1.0f);
  // A Constant on a colour input reads as black.
  blend.input_connections.erase(u"interpolation");
  blend.input_connections[u"color1"] = &one;
  EXPECT_EQ(rgb_of(blend), std::vector<float>({0.25f, 0.0f, 0.25f * 0.6f}));
  EXPECT_EQ(rgb_of(one), std::vector<float>({0, 0, 0}));
}

TEST_F(ValueNodes, Strings) {
  shadetree_node_t text = node(30, u"string=Hello");
  const std::tuple<uint32_t, const char16_t*, std::u16string> cases[] = {
      {1044, u"", u"Hello"}, {1044, u"startpos=1;count=3", u"ell"}, {1044, u"startpos=1;count=30", u"ello"},
      {1044, u"startpos=5", u""}, {1045, u"count=2", u"He"}, {1045, u"count=99", u"Hello"}, {1046, u"count=3", u"llo"},
      {1046, u"count=0", u""}, {1051, u"string1=Hi ", u"Hi Hello"}, {1049, u"string=MiXed", u""},
      {1050, u"string=MiXed", u""}, {17, u"value=1", u""},
  };
  for (const auto& [type, params, result] : cases) {
    shadetree_node_t n = node(type, params);
    n.input_connections[type == 1051 ? u"string2" : u"string"] = &text;
    EXPECT_EQ(text_of(n), result) << type;
  }
  shadetree_node_t right = node(1046, u"string=World;count=6");
  try {
    text_of(right);
    ADD_FAILURE() << "a count past the length must throw";
  } catch (const std::out_of_range& e) { EXPECT_STREQ(e.what(), "invalid string position"); }
}
