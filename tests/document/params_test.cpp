#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "../common/scoped_specs.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "document/project.h"
#include "quorin/curve.h"
#include "quorin/node.h"

using namespace quorin_engine;

namespace {

constexpr uint32_t kit_type = 90001;
enum : uint32_t { p_count, p_amount, p_tint, p_mode, p_label, p_font, p_shape };

// A type with a parameter of each kind in group 0 and a float "level" in group 1; no defaults.
nodetype_spec_t kit_record() {
  nodetype_spec_t s = quorin_test::make_spec(kit_type, u"Kit", true, {}, {});
  s.param_groups = {{u"Main", std::vector<param_spec_t>(7)}, {u"Extra", std::vector<param_spec_t>(1)}};
  const char16_t* names[] = {u"count", u"amount", u"tint", u"mode", u"label", u"font", u"shape", u"level"};
  const uint32_t types[] = {param_uint,   param_float, param_color_rgb, param_enum,
                            param_string, param_font,  param_curve,     param_float};
  for (int i = 0; i < 8; ++i) s.param_groups[i / 7].params[i % 7].name = names[i];
  for (int i = 0; i < 8; ++i) s.param_groups[i / 7].params[i % 7].type = types[i];
  s.param_groups[0].params[p_mode].enum_values = {{u"first", u"", 0}, {u"second", u"", 0}, {u"third", u"", 0}};
  return s;
}

class Params : public ::testing::Test {
 protected:
  Params() { ctx.project = &proj; }
  std::u16string text(uint32_t group, uint32_t param) {
    char16_t buf[64] = u"untouched";
    float f;
    node_param_value_indexed(&node, &ctx, buf, 64, &f, group, param);
    return buf;
  }
  quorin_test::scoped_specs specs{{kit_record()}};
  shadetree_node_t node{kit_type};
  project proj;
  renderctx ctx{};
};

TEST_F(Params, ReadsAndWritesOfTextForms) {
  // Nothing stored: a float reads as 0 even under an enabled time curve; a uint or colour fails.
  node_endisable_param_timecurve(&node, u"amount", 1);
  float f = -1.0f, r = -1, g, b, a;
  uint32_t u = 77;
  EXPECT_TRUE(node_param_value_as_float(&node, &ctx, &f, 0, p_amount) == 1u && f == 0.0f);
  EXPECT_TRUE(node_param_value_as_uint(&node, &ctx, &u, 0, p_count) == 0u && u == 77u);
  EXPECT_EQ(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), 0u);

  node.caching_dirty = node.thumbnail_caching_dirty = false;
  node_set_param_value_uint(&node, 0, p_count, 42);
  EXPECT_TRUE(node.caching_dirty && node.thumbnail_caching_dirty && !node.dirty_flag);  // not the document flag
  node_set_param_value_float(&node, 1, 0, -2.25f);
  EXPECT_EQ((std::vector<std::u16string>{text(0, p_count), text(1, 0), text(0, 99)}),
            (std::vector<std::u16string>{u"42", u"-2.250000", u"untouched"}));
  for (float alpha : {1.0000001f, 0.9999999f, 0.5f}) {
    node_set_param_value_color(&node, 0, p_tint, 0.1f, 0.2f, 0.3f, alpha);
    EXPECT_EQ(text(0, p_tint), alpha == 0.5f ? u"(0.100000,0.200000,0.300000,0.500000)"
                                             : u"(0.100000,0.200000,0.300000)");
  }

  // A setter of another type changes nothing, not even the caching flags.
  node.caching_dirty = false;
  node_set_param_value_float(&node, 0, p_count, 3.5f);
  node_set_param_value_uint(&node, 1, 0, 9);
  node_set_param_value_uint(&node, 0, p_label, 5);
  EXPECT_TRUE(text(0, p_count) == u"42" && text(1, 0) == u"-2.250000");
  EXPECT_TRUE(node_param_count(&node) == 3u && !node.caching_dirty);

  // A negative integer text counts as no value.
  node_set_param_value(&node, u"count", u"-3");
  EXPECT_TRUE(node_param_value_as_uint(&node, &ctx, &u, 0, p_count) == 0u && u == 77u);
}

TEST_F(Params, ColoursEnumsAndFonts) {
  float r = -1, g = -1, b = -1, a = -1;
  node_set_param_value(&node, u"tint", u"bytes(255,0,128)");
  EXPECT_EQ(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), 1u);
  EXPECT_TRUE(r == 1.0f && g == 0.0f && std::abs(b - 0.50196f) < 1e-5f && a == 1.0f);

  // An enum reads as the position of the stored name, matched exactly; 0 otherwise.
  uint32_t v = 99;
  for (const char16_t* name : {u"third", u"Third"}) {
    node_set_param_value(&node, u"mode", name);
    EXPECT_TRUE(node_param_enum_value(&node, &ctx, &v, 0, p_mode) == 1u && v == (name[0] == u't' ? 2u : 0u));
  }

  // Font: face name at byte 28, size in tenths at byte 92, rounded to whole points.
  node.binary_data.assign(256, 0);
  std::memcpy(node.binary_data.data() + 28, u"DejaVu Sans", 22);
  node.binary_data[92] = 85;
  EXPECT_EQ(text(0, p_font), u"DejaVu Sans, 9");
  node.binary_data.resize(255);  // only a block of exactly 256 bytes counts
  EXPECT_EQ(text(0, p_font), u"");
}

TEST_F(Params, TimeCurvesTakePrecedenceOverText) {
  node_set_param_value(&node, u"amount", u"0.75");
  node_set_param_value(&node, u"count", u"5");
  node.caching_dirty = node.thumbnail_caching_dirty = false;
  proj.animedit_normalized_time = 0.25f;
  // Reading an absent time curve creates an enabled default one: the value follows f(t) = t, text untouched.
  qr_curve* c = curve_create();
  node_param_timecurve_keyed(&node, c, u"amount");
  EXPECT_EQ(node_param_timecurve_enabled(&node, u"amount"), 1u);
  char16_t buf[16] = u"keep";
  float f = -1.0f;
  EXPECT_TRUE(node_param_value_keyed(&node, &ctx, buf, 16, &f, u"amount") == 1u && f == 0.25f);
  EXPECT_EQ(std::u16string(buf), u"keep");
  node_endisable_param_timecurve(&node, u"amount", 0);
  EXPECT_TRUE(node_param_value_keyed(&node, &ctx, buf, 16, &f, u"amount") == 0u && buf == std::u16string(u"0.75"));

  // uint: truncate(v + 0.5) of a flat 2.6.
  const float flat[] = {0.0f, 2.6f, 1.0f, 2.6f};
  curve_clear(c);
  curve_append_item(c, 0, flat, 2);
  node_set_param_timecurve(&node, u"count", c);
  uint32_t u = 0;
  EXPECT_TRUE(node_param_value_as_uint(&node, &ctx, &u, 0, p_count) == 1u && u == 3u);
  EXPECT_FALSE(node.caching_dirty || node.thumbnail_caching_dirty || node.dirty_flag);
  curve_delete(c);
}

TEST_F(Params, CurveParametersAreCopiedForCurveTypesOnly) {
  qr_curve* in = curve_create();
  const float down[] = {0.0f, 1.0f, 1.0f, 0.0f};
  curve_append_item(in, 0, down, 2);
  node.param_curves.clear();  // the kit node starts with its curve parameter
  node_set_param_curve_keyed(&node, u"amount", in);
  node_set_param_curve_indexed(&node, 0, p_label, in);
  EXPECT_TRUE(node.param_curves.empty());
  node_set_param_curve_keyed(&node, u"shape", in);
  curve_clear(in);  // the node holds a copy
  EXPECT_TRUE(node_param_curve_indexed(&node, in, 0, p_shape) == 1u && curve_calc_value(in, 0.25f) == 0.75f);
  curve_delete(in);
}

using ParamsDeathTest = Params;

TEST_F(ParamsDeathTest, ProgrammingErrorsStop) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  float r, g, b, a;
  node_set_param_value(&node, u"tint", u"(1,1,1)");
  node_endisable_param_timecurve(&node, u"tint", 1);
  EXPECT_DEATH(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), "");

  curve gap;  // a time outside every item
  const float part[] = {0.0f, 0.0f, 0.4f, 1.0f};
  curve_append_item(&gap, 0, part, 2);
  EXPECT_DEATH(curve_calc_value(&gap, 0.6f), "");
}

}  // namespace
