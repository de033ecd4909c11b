// Value resolution of node inputs: connection, then enabled time curve, then stored text, then the
// caller's default.
#include <gtest/gtest.h>

#include <csignal>
#include "core/color.h"
#include "document/project.h"
#include "eval/fetch.h"
#include "eval_fixtures.h"

using namespace quorin_engine;
using namespace quorin_test;

namespace {

constexpr uint32_t gradient_id = 3;

std::vector<nodetype_spec_t> fetch_types() {
  std::vector<nodetype_spec_t> v = driver_types();
  v.push_back(spec(gradient_id, u"CircGradient", true, {port(u"Grey", port_greystream)},
                   {port(u"radius", port_scalar)},
                   {{u"General",
                     {param(u"radius", param_float, u"0.5"), param(u"count", param_uint, u"1"),
                      enum_param(u"supersampling", {u"off", u"2x2", u"4x4", u"8x8"})}},
                    {u"More",
                     {param(u"flag", param_bool, u"false"), param(u"tint", param_color_rgb),
                      param(u"label", param_string), enum_param(u"mode", {u"normal", u"inverse", u"other"})}}}));
  return v;
}

struct FetchTest : ::testing::Test {
  scoped_catalogue catalogue{fetch_types()};
  project proj;
  renderctx ctx{};
  shadetree_node_t node{gradient_id};

  FetchTest() {
    ctx.project = &proj;
    node.params[u"radius"] = u"0.25";
  }

  void add_time_curve(const wstring& name, bool enabled) {
    curve c = default_curve();  // f(t) = t
    c.enabled = enabled;
    node.time_curves[name] = c;
  }
};

TEST_F(FetchTest, FloatInputPrecedence) {
  proj.animedit_normalized_time = 0.3f;
  // Stored text, then default for empty or absent text.
  EXPECT_EQ(fetch_float_input(node, ctx, u"radius", nullptr, 9.0f), 0.25f);
  node.params[u"empty"] = u"";
  EXPECT_EQ(fetch_float_input(node, ctx, u"empty", nullptr, 9.0f), 9.0f);
  EXPECT_EQ(fetch_float_input(node, ctx, u"absent", nullptr, 9.0f), 9.0f);

  // An enabled time curve beats the text, at the project's normalized time; a disabled one doesn't.
  add_time_curve(u"radius", false);
  EXPECT_EQ(fetch_float_input(node, ctx, u"radius", nullptr, 9.0f), 0.25f);
  add_time_curve(u"radius", true);
  EXPECT_EQ(fetch_float_input(node, ctx, u"radius", nullptr, 9.0f), 0.3f);
  wstring text = u"unchanged";
  float v = 0.0f;
  EXPECT_EQ(fetch_param_raw(node, ctx, u"radius", text, v), 1);
  EXPECT_EQ(v, 0.3f);
  EXPECT_EQ(text, u"unchanged");

  // A connection beats the time curve.
  shadetree_node_t constant(17);
  constant.params[u"value"] = u"0.75";
  EXPECT_EQ(fetch_float_input(node, ctx, u"radius", &constant, 9.0f), 0.75f);

  // A node without any stored parameter takes the default, time curve or not.
  node.params.clear();
  EXPECT_EQ(fetch_float_input(node, ctx, u"radius", nullptr, 9.0f), 9.0f);
}

TEST_F(FetchTest, UintInput) {
  node.params[u"count"] = u"-3";
  EXPECT_EQ(fetch_uint_input(node, ctx, u"count", nullptr, 5), 5u);
  node.params[u"count"] = u"7";
  EXPECT_EQ(fetch_uint_input(node, ctx, u"count", nullptr, 5), 7u);
  node.params[u"count"] = u"";
  EXPECT_EQ(fetch_uint_input(node, ctx, u"count", nullptr, 5), 5u);
  EXPECT_EQ(fetch_uint_input(node, ctx, u"absent", nullptr, 5), 5u);

  // A time curve value is rounded half up.
  add_time_curve(u"count", true);
  proj.animedit_normalized_time = 0.6f;
  EXPECT_EQ(fetch_uint_input(node, ctx, u"count", nullptr, 5), 1u);
  proj.animedit_normalized_time = 0.4f;
  EXPECT_EQ(fetch_uint_input(node, ctx, u"count", nullptr, 5), 0u);
}

TEST_F(FetchTest, EnumFromText) {
  // The meaning of a value is its position in the list, not its value attribute.
  node.params[u"supersampling"] = u"4x4";
  EXPECT_EQ(fetch_enum_input(node, ctx, u"supersampling", nullptr, 0), 2u);
  node.params[u"supersampling"] = u"4X4";  // names match exactly
  EXPECT_EQ(fetch_enum_input(node, ctx, u"supersampling", nullptr, 7), 7u);
  node.params[u"supersampling"] = u"";
  EXPECT_EQ(fetch_enum_input(node, ctx, u"supersampling", nullptr, 7), 7u);
  // A parameter in a later group is found too.
  node.params[u"mode"] = u"inverse";
  EXPECT_EQ(fetch_enum_input(node, ctx, u"mode", nullptr, 0), 1u);
  // Text on a name that is no enum of the type gives the default.
  node.params[u"radius"] = u"off";
  EXPECT_EQ(fetch_enum_input(node, ctx, u"radius", nullptr, 4), 4u);
}

TEST_F(FetchTest, EnumSweptByConnectedValue) {
  shadetree_node_t constant(17);
  auto swept = [&](const char16_t* value, const wstring& name) {
    constant.params[u"value"] = value;
    return fetch_enum_input(node, ctx, name, &constant, 99);
  };
  // Three values: a connected 0..1 sweeps through them, 1.0 gives one past the last.
  EXPECT_EQ(swept(u"0.5", u"mode"), 1u);
  EXPECT_EQ(swept(u"0.99", u"mode"), 2u);
  EXPECT_EQ(swept(u"1.0", u"mode"), 3u);
  EXPECT_EQ(swept(u"0.0", u"mode"), 0u);
  // Without an enum of that name the value is rounded half up.
  EXPECT_EQ(swept(u"2.5", u"nothing"), 3u);
  EXPECT_EQ(swept(u"2.4", u"nothing"), 2u);
  // The same rounding drives a uint input.
  constant.params[u"value"] = u"6.5";
  EXPECT_EQ(fetch_uint_input(node, ctx, u"count", &constant, 0), 7u);
}

TEST_F(FetchTest, BoolParam) {
  node.params[u"flag"] = u"true";
  EXPECT_TRUE(fetch_bool_param(node, ctx, u"flag"));
  for (const char16_t* text : {u"True", u"1", u"", u"yes"}) {
    node.params[u"flag"] = text;
    EXPECT_FALSE(fetch_bool_param(node, ctx, u"flag"));
  }
  add_time_curve(u"flag", true);
  proj.animedit_normalized_time = 0.5f;
  EXPECT_TRUE(fetch_bool_param(node, ctx, u"flag"));
  proj.animedit_normalized_time = 0.49f;
  EXPECT_FALSE(fetch_bool_param(node, ctx, u"flag"));
}

TEST_F(FetchTest, ColorInput) {
  float c[4] = {0.5f, 0.5f, 0.5f, 0.5f};
  // Nothing stored: no colour.
  EXPECT_FALSE(fetch_color_input(node, ctx, u"tint", nullptr, c));
  node.params[u"tint"] = u"";
  EXPECT_FALSE(fetch_color_input(node, ctx, u"tint", nullptr, c));

  // Stored text goes through the colour parser, and a time curve is not looked at.
  node.params[u"tint"] = u"(0.25,0.5,0.75)";
  add_time_curve(u"tint", true);
  float expected[4] = {};
  bool parsed = parse_color(u"(0.25,0.5,0.75)", expected);
  EXPECT_EQ(fetch_color_input(node, ctx, u"tint", nullptr, c), parsed);
  if (parsed) {
    for (int i = 0; i < 4; ++i) EXPECT_EQ(c[i], expected[i]);
  }

  // A connected node that is not a ColorBlend gives black, alpha 1, whatever its value.
  shadetree_node_t constant(17);
  constant.params[u"value"] = u"0.8";
  c[0] = c[1] = c[2] = c[3] = 0.5f;
  EXPECT_TRUE(fetch_color_input(node, ctx, u"tint", &constant, c));
  EXPECT_EQ(c[0], 0.0f);
  EXPECT_EQ(c[1], 0.0f);
  EXPECT_EQ(c[2], 0.0f);
  EXPECT_EQ(c[3], 1.0f);

  // A ColorBlend gives its colour, alpha 1.
  shadetree_node_t blend(1029);
  blend.params[u"color1"] = u"(1.0,0.0,0.0,0.5)";
  blend.params[u"color2"] = u"(0.0,0.0,1.0)";
  blend.params[u"factor"] = u"0.25";
  EXPECT_TRUE(fetch_color_input(node, ctx, u"tint", &blend, c));
  EXPECT_EQ(c[0], 0.75f);
  EXPECT_EQ(c[1], 0.0f);
  EXPECT_EQ(c[2], 0.25f);
  EXPECT_EQ(c[3], 1.0f);
}

TEST_F(FetchTest, StringInput) {
  wstring out = u"old";
  node.params[u"label"] = u"abc";
  fetch_string_input(node, ctx, u"label", nullptr, out);
  EXPECT_EQ(out, u"abc");
  fetch_string_input(node, ctx, u"absent", nullptr, out);
  EXPECT_EQ(out, u"");
  node.params.clear();
  out = u"old";
  fetch_string_input(node, ctx, u"label", nullptr, out);
  EXPECT_EQ(out, u"");
}

TEST_F(FetchTest, PreviewSupersampling) {
  node.params[u"supersampling"] = u"4x4";
  EXPECT_EQ(fetch_preview_supersampling(node, ctx), 0u);
  ctx.for_preview = true;
  EXPECT_EQ(fetch_preview_supersampling(node, ctx), 0u);
  ctx.for_preview = false;
  ctx.preview_supersampling = true;
  EXPECT_EQ(fetch_preview_supersampling(node, ctx), 0u);
  ctx.for_preview = true;
  EXPECT_EQ(fetch_preview_supersampling(node, ctx), 2u);
  node.params[u"supersampling"] = u"2x2";
  EXPECT_EQ(fetch_preview_supersampling(node, ctx), 1u);
  // A value beyond 4x4 is limited to it.
  node.params[u"supersampling"] = u"8x8";
  EXPECT_EQ(fetch_preview_supersampling(node, ctx), 2u);
}

TEST_F(FetchTest, TimeCurvesOnEnumsAndStringsAreProgrammingErrors) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  add_time_curve(u"mode", true);
  add_time_curve(u"label", true);
  node.params[u"mode"] = u"normal";
  node.params[u"label"] = u"x";
  EXPECT_EXIT(fetch_enum_input(node, ctx, u"mode", nullptr, 0), ::testing::KilledBySignal(SIGILL), "");
  wstring out;
  EXPECT_EXIT(fetch_string_input(node, ctx, u"label", nullptr, out), ::testing::KilledBySignal(SIGILL), "");
  // A connection is taken before any curve is looked at.
  shadetree_node_t text_node(30);
  text_node.params[u"string"] = u"connected";
  fetch_string_input(node, ctx, u"label", &text_node, out);
  EXPECT_EQ(out, u"connected");
}

}  // namespace
