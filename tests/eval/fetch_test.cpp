// Value resolution of node inputs: connection, then enabled time curve, then stored text, then the
// caller's default.
#include <gtest/gtest.h>

#include "../common/scoped_specs.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/fetch.h"

using namespace quorin_engine;
using namespace quorin_test;

namespace {

constexpr uint32_t sweep_id = 4300;

param_spec_t param_of(const char16_t* name, uint32_t type, std::vector<const char16_t*> values = {}) {
  param_spec_t p;
  p.name = name;
  p.type = type;
  uint32_t v = 10;  // value attributes unlike the positions
  for (const char16_t* n : values) p.enum_values.push_back({n, u"", v += 10});
  return p;
}

struct FetchTest : ::testing::Test {
  scoped_specs specs{{[] {
    nodetype_spec_t s = make_spec(sweep_id, u"Sweep", true, {port(u"Grey", port_greystream)}, {});
    s.param_groups = {{u"General", {param_of(u"radius", param_float),
                                    param_of(u"supersampling", param_enum, {u"off", u"2x2", u"4x4", u"8x8"})}},
                      {u"More", {param_of(u"mode", param_enum, {u"normal", u"inverse", u"other"})}}};
    return s;
  }()}};
  project proj;
  renderctx ctx{};
  shadetree_node_t node{sweep_id};
  shadetree_node_t constant{17};

  FetchTest() { ctx.project = &proj; }
  void add_time_curve(const wstring& name) { node.time_curves[name] = default_curve(); }  // f(t) = t
  shadetree_node_t* value(const char16_t* v) {
    constant.params[u"value"] = v;
    return &constant;
  }
};

TEST_F(FetchTest, ScalarPrecedence) {
  auto f = [&](const char16_t* n, shadetree_node_t* c = nullptr) { return fetch_float_input(node, ctx, n, c, 9); };
  auto u = [&](shadetree_node_t* c = nullptr) { return fetch_uint_input(node, ctx, u"count", c, 5); };
  proj.animedit_normalized_time = 0.3f;
  node.params = {{u"radius", u"0.25"}, {u"empty", u""}, {u"count", u"-3"}};
  EXPECT_EQ(f(u"radius"), 0.25f);
  EXPECT_EQ(f(u"empty"), 9.0f);
  EXPECT_EQ(f(u"absent"), 9.0f);
  EXPECT_EQ(u(), 5u);
  add_time_curve(u"radius");
  node.time_curves[u"radius"].enabled = false;
  EXPECT_EQ(f(u"radius"), 0.25f);
  node.time_curves[u"radius"].enabled = true;
  EXPECT_EQ(f(u"radius"), 0.3f);
  EXPECT_EQ(f(u"radius", value(u"0.75")), 0.75f);  // the connection beats the enabled curve
  EXPECT_EQ(u(value(u"6.5")), 7u);
  add_time_curve(u"count");  // rounded half up
  proj.animedit_normalized_time = 0.6f;
  EXPECT_EQ(u(), 1u);
  // No stored parameters at all: the default, time curve or not.
  node.params.clear();
  EXPECT_EQ(f(u"radius"), 9.0f);
}

TEST_F(FetchTest, EnumByPositionAndBySweep) {
  auto e = [&](const char16_t* n, shadetree_node_t* c = nullptr) { return fetch_enum_input(node, ctx, n, c, 7); };
  node.params = {{u"supersampling", u"4x4"}, {u"mode", u"inverse"}};  // "mode" is in a later group
  EXPECT_EQ(e(u"supersampling"), 2u);
  EXPECT_EQ(e(u"mode"), 1u);
  for (const char16_t* text : {u"4X4", u"", u"none"}) {
    node.params[u"supersampling"] = text;
    EXPECT_EQ(e(u"supersampling"), 7u);
  }
  // A connected value sweeps the three values; 1.0 gives one past the last.
  EXPECT_EQ(e(u"mode", value(u"0.0")), 0u);
  EXPECT_EQ(e(u"mode", value(u"0.5")), 1u);
  EXPECT_EQ(e(u"mode", value(u"0.99")), 2u);
  EXPECT_EQ(e(u"mode", value(u"1.0")), 3u);
  // Without an enum of that name (a float is none) the value is rounded half up.
  EXPECT_EQ(e(u"radius", value(u"2.5")), 3u);
  EXPECT_EQ(e(u"radius", value(u"2.4")), 2u);
}

TEST_F(FetchTest, BoolAndColour) {
  node.params = {{u"on", u"true"}, {u"off", u"True"}, {u"tint", u""}};  // only the exact word is true
  EXPECT_TRUE(fetch_bool_param(node, ctx, u"on") && !fetch_bool_param(node, ctx, u"off"));

  float c[4] = {0.5f, 0.5f, 0.5f, 0.5f};
  EXPECT_FALSE(fetch_color_input(node, ctx, u"tint", nullptr, c));
  node.params[u"tint"] = u"(0.25,0.5,0.75)";
  add_time_curve(u"tint");  // not looked at for colours
  EXPECT_TRUE(fetch_color_input(node, ctx, u"tint", nullptr, c));
  EXPECT_TRUE(c[0] == 0.25f && c[2] == 0.75f);
  // Any connected type but a ColorBlend gives black, alpha 1.
  EXPECT_TRUE(fetch_color_input(node, ctx, u"tint", value(u"0.8"), c));
  EXPECT_TRUE(c[0] == 0.0f && c[1] == 0.0f && c[2] == 0.0f && c[3] == 1.0f);
}

}  // namespace
