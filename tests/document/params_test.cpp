#include <cstring>
#include <string>

#include "core/renderctx.h"
#include "doc_fixture.h"
#include "document/node.h"
#include "document/project.h"
#include "quorin/curve.h"
#include "quorin/node.h"

using namespace doc_test;
using quorin_engine::project;
using quorin_engine::renderctx;
using quorin_engine::shadetree_node_t;

namespace {

class ParamsTest : public DocTest {
 protected:
  void SetUp() override {
    DocTest::SetUp();
    ctx.project = &proj;
  }
  std::u16string text(shadetree_node_t* n, uint32_t group, uint32_t param) {
    char16_t buf[128] = u"untouched";
    float f = -1.0f;
    node_param_value_indexed(n, &ctx, buf, 128, &f, group, param);
    return buf;
  }
  project proj;
  renderctx ctx{};
};

TEST_F(ParamsTest, ReadersOnANodeWithoutStoredValues) {
  shadetree_node_t node(type_params);
  ASSERT_EQ(node_param_count(&node), 0u);

  float f = -1.0f;
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 0, p_amount), 1u);
  EXPECT_EQ(f, 0.0f);
  uint32_t u = 77;
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_count), 0u);
  EXPECT_EQ(u, 77u);
  float r = -1, g = -1, b = -1, a = -1;
  EXPECT_EQ(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), 0u);
  EXPECT_EQ(r, -1.0f);

  // Even an enabled time curve is not looked at while nothing is stored.
  node_endisable_param_timecurve(&node, u"amount", 1);
  f = -1.0f;
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 0, p_amount), 1u);
  EXPECT_EQ(f, 0.0f);

  // Bad indices: failure, outputs untouched.
  node_set_param_value(&node, u"amount", u"0.5");
  f = -1.0f;
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 0, 99), 0u);
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 7, 0), 0u);
  EXPECT_EQ(f, -1.0f);
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, 99), 0u);
  EXPECT_EQ(node_param_enum_value(&node, &ctx, &u, 3, 0), 0u);
  EXPECT_EQ(u, 77u);
  EXPECT_EQ(text(&node, 0, 99), u"untouched");
}

TEST_F(ParamsTest, TypedSettersWriteTheTextFormsAndOnlyForTheirType) {
  shadetree_node_t node(type_params);
  node_set_param_value_uint(&node, 0, p_count, 42);
  node_set_param_value_float(&node, 0, p_amount, 0.5f);
  node_set_param_value_float(&node, 1, 0, -2.25f);
  node_set_param_value_color(&node, 0, p_tint, 0.1f, 0.2f, 0.3f, 1.0000001f);
  EXPECT_EQ(text(&node, 0, p_count), u"42");
  EXPECT_EQ(text(&node, 0, p_amount), u"0.500000");
  EXPECT_EQ(text(&node, 1, 0), u"-2.250000");
  EXPECT_EQ(text(&node, 0, p_tint), u"(0.100000,0.200000,0.300000)");
  node_set_param_value_color(&node, 0, p_tint, 1.0f, 0.0f, 0.25f, 0.5f);
  EXPECT_EQ(text(&node, 0, p_tint), u"(1.000000,0.000000,0.250000,0.500000)");
  node_set_param_value_color(&node, 0, p_tint, 1.0f, 0.0f, 0.25f, 0.9999999f);
  EXPECT_EQ(text(&node, 0, p_tint), u"(1.000000,0.000000,0.250000)");

  // A setter of the wrong type changes nothing, also on a parameter without a value.
  node_set_param_value_float(&node, 0, p_count, 3.5f);
  node_set_param_value_uint(&node, 0, p_amount, 9);
  node_set_param_value_color(&node, 0, p_amount, 1, 1, 1, 1);
  node_set_param_value_uint(&node, 0, p_label, 5);
  node_set_param_value_uint(&node, 0, 99, 5);
  EXPECT_EQ(text(&node, 0, p_count), u"42");
  EXPECT_EQ(text(&node, 0, p_amount), u"0.500000");
  EXPECT_EQ(text(&node, 0, p_label), u"");
  EXPECT_EQ(node_param_count(&node), 4u);

  uint32_t u = 0;
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_count), 1u);
  EXPECT_EQ(u, 42u);
  float f = 0;
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 0, p_amount), 1u);
  EXPECT_EQ(f, 0.5f);

  // Texts need not come from the setters; a negative integer counts as no value.
  node_set_param_value(&node, u"count", u"-3");
  u = 11;
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_count), 0u);
  EXPECT_EQ(u, 11u);
  node_set_param_value(&node, u"count", u"  17abc");
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_count), 1u);
  EXPECT_EQ(u, 17u);
  node_set_param_value(&node, u"amount", u"0.03");
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 0, p_amount), 1u);
  EXPECT_EQ(f, 0.03f);
  node_set_param_value(&node, u"amount", u"");
  f = -1;
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 0, p_amount), 1u);
  EXPECT_EQ(f, 0.0f);
  // A parameter without an entry reads as 0 once anything is stored.
  u = 11;
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_flag), 1u);
  EXPECT_EQ(u, 0u);
}

TEST_F(ParamsTest, WritesMarkCachingButNotTheDocumentFlag) {
  shadetree_node_t node(type_params);
  node.caching_dirty = node.thumbnail_caching_dirty = false;
  node.dirty_flag = false;
  node_set_param_value(&node, u"anything", u"x");
  EXPECT_TRUE(node.caching_dirty);
  EXPECT_TRUE(node.thumbnail_caching_dirty);
  EXPECT_FALSE(node.dirty_flag);
  EXPECT_EQ(node.params.at(u"anything"), u"x");

  node.caching_dirty = node.thumbnail_caching_dirty = false;
  node_set_param_value_float(&node, 0, p_amount, 1.0f);
  EXPECT_TRUE(node.caching_dirty);
  EXPECT_FALSE(node.dirty_flag);

  // A rejected typed write touches nothing.
  node.caching_dirty = node.thumbnail_caching_dirty = false;
  node_set_param_value_uint(&node, 0, p_amount, 1);
  EXPECT_FALSE(node.caching_dirty);
}

TEST_F(ParamsTest, EnabledTimeCurveTakesPrecedenceOverText) {
  shadetree_node_t node(type_params);
  node_set_param_value(&node, u"amount", u"0.75");
  node_set_param_value(&node, u"count", u"5");
  proj.animedit_normalized_time = 0.25f;

  char16_t buf[32] = u"keep";
  float f = -1.0f;
  EXPECT_EQ(node_param_value_keyed(&node, &ctx, buf, 32, &f, u"amount"), 0u);
  EXPECT_EQ(std::u16string(buf), u"0.75");
  EXPECT_EQ(f, -1.0f);

  // The default time curve follows f(t) = t.
  node_endisable_param_timecurve(&node, u"amount", 1);
  std::u16string before = u"keep";
  std::memcpy(buf, before.c_str(), (before.size() + 1) * sizeof(char16_t));
  EXPECT_EQ(node_param_value_keyed(&node, &ctx, buf, 32, &f, u"amount"), 1u);
  EXPECT_EQ(f, 0.25f);
  EXPECT_EQ(std::u16string(buf), u"keep");
  EXPECT_EQ(node_param_value_as_float(&node, &ctx, &f, 0, p_amount), 1u);
  EXPECT_EQ(f, 0.25f);

  // uint: truncate(v + 0.5) of the curve's value.
  qr_curve* c = curve_create();
  const float flat[] = {0.0f, 2.4f, 1.0f, 2.6f};
  curve_append_item(c, 0, flat, 2);
  node_set_param_timecurve(&node, u"count", c);
  uint32_t u = 0;
  proj.animedit_normalized_time = 0.0f;
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_count), 1u);
  EXPECT_EQ(u, 2u);
  proj.animedit_normalized_time = 1.0f;
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_count), 1u);
  EXPECT_EQ(u, 3u);

  // A disabled curve leaves the text in charge.
  node_endisable_param_timecurve(&node, u"count", 0);
  EXPECT_EQ(node_param_value_as_uint(&node, &ctx, &u, 0, p_count), 1u);
  EXPECT_EQ(u, 5u);
  curve_delete(c);
}

TEST_F(ParamsTest, FontParameterReadsAsFaceAndPointSize) {
  shadetree_node_t node(type_params);
  EXPECT_EQ(text(&node, 0, p_font), u"");  // no block: the plain text, which is empty

  node.binary_data.assign(256, 0);
  const std::u16string face = u"DejaVu Sans";
  std::memcpy(node.binary_data.data() + 28, face.data(), face.size() * 2);
  uint32_t tenths = 85;
  std::memcpy(node.binary_data.data() + 92, &tenths, 4);
  EXPECT_EQ(text(&node, 0, p_font), u"DejaVu Sans, 9");
  tenths = 84;
  std::memcpy(node.binary_data.data() + 92, &tenths, 4);
  EXPECT_EQ(text(&node, 0, p_font), u"DejaVu Sans, 8");

  // A face name that fills all 32 units has no terminator and is taken whole.
  std::u16string long_face(32, u'W');
  std::memcpy(node.binary_data.data() + 28, long_face.data(), 64);
  EXPECT_EQ(text(&node, 0, p_font), long_face + u", 8");

  // Only a block of exactly 256 bytes counts.
  node.binary_data.resize(255);
  EXPECT_EQ(text(&node, 0, p_font), u"");
}

TEST_F(ParamsTest, ColourTextsGoThroughTheColourParser) {
  shadetree_node_t node(type_params);
  float r = -1, g = -1, b = -1, a = -1;
  node_set_param_value(&node, u"tint", u"bytes(255,0,128)");
  EXPECT_EQ(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), 1u);
  EXPECT_EQ(r, 1.0f);
  EXPECT_EQ(g, 0.0f);
  EXPECT_NEAR(b, 0.50196f, 1e-5f);
  EXPECT_EQ(a, 1.0f);

  node_set_param_value(&node, u"tint", u"(0.1,0.2,0.3");
  EXPECT_EQ(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), 1u);
  EXPECT_EQ(r, 0.0f);
  EXPECT_EQ(g, 0.0f);
  EXPECT_EQ(b, 0.0f);
  EXPECT_EQ(a, 1.0f);

  node_set_param_value(&node, u"tint", u"red");
  r = -1;
  EXPECT_EQ(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), 0u);
  EXPECT_EQ(r, -1.0f);
}

TEST_F(ParamsTest, EnumValueIsThePositionOfTheStoredName) {
  shadetree_node_t node(type_params);
  uint32_t v = 99;
  EXPECT_EQ(node_param_enum_value(&node, &ctx, &v, 0, p_mode), 1u);
  EXPECT_EQ(v, 0u);
  node_set_param_value(&node, u"mode", u"third");
  EXPECT_EQ(node_param_enum_value(&node, &ctx, &v, 0, p_mode), 1u);
  EXPECT_EQ(v, 2u);
  node_set_param_value(&node, u"mode", u"Third");
  EXPECT_EQ(node_param_enum_value(&node, &ctx, &v, 0, p_mode), 1u);
  EXPECT_EQ(v, 0u);
}

TEST_F(ParamsTest, EnabledTimeCurveOnAColourStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  shadetree_node_t node(type_params);
  node_set_param_value(&node, u"tint", u"(1,1,1)");
  node_endisable_param_timecurve(&node, u"tint", 1);
  float r, g, b, a;
  EXPECT_DEATH(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), "");
  node_endisable_param_timecurve(&node, u"tint", 0);
  EXPECT_EQ(node_param_value_as_color(&node, &ctx, &r, &g, &b, &a, 0, p_tint), 1u);
  EXPECT_EQ(g, 1.0f);
}

TEST_F(ParamsTest, ExpressionTextOfAScalarExprIsParsedOnWrite) {
  shadetree_node_t expr(1053);
  node_set_param_value(&expr, u"expression", u"1+2");
  ASSERT_NE(expr.expression->root, nullptr);
  EXPECT_EQ(expr.expression->evaluate({}), 3.0f);

  // A missing operand raises through the setter; the text is stored, the old tree stays.
  auto before = expr.expression->root;
  EXPECT_ANY_THROW(node_set_param_value(&expr, u"expression", u"1+"));
  EXPECT_EQ(expr.params.at(u"expression"), u"1+");
  EXPECT_EQ(expr.expression->root, before);
  // A text that does not parse is stored and ignored.
  node_set_param_value(&expr, u"expression", u"1 2");
  EXPECT_EQ(expr.expression->root, before);

  // Only the exact name on the exact type is parsed.
  node_set_param_value(&expr, u"Expression", u"5");
  EXPECT_EQ(expr.expression->root, before);
  shadetree_node_t other(type_params);
  node_set_param_value(&other, u"expression", u"5");
  EXPECT_EQ(other.expression->root, nullptr);
}

}  // namespace
