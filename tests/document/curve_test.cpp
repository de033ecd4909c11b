#include <vector>

#include "core/renderctx.h"
#include "doc_fixture.h"
#include "document/curve.h"
#include "document/node.h"
#include "document/project.h"
#include "quorin/curve.h"
#include "quorin/node.h"

using namespace doc_test;
using quorin_engine::curve;
using quorin_engine::shadetree_node_t;

namespace {

// The points of item `index`, as many pairs as its type uses.
std::vector<float> points_of(const qr_curve* c, uint32_t index, uint32_t* type = nullptr) {
  std::vector<float> out(10, -9.0f);
  uint32_t t = 99;
  curve_item_at(c, index, &t, out.data(), 5);
  if (type) *type = t;
  out.resize(2 * quorin_engine::curve_item_point_count(t));
  return out;
}

TEST(Curve, LineValuesAndTheChoiceOfItem) {
  curve d = quorin_engine::default_curve();
  EXPECT_TRUE(d.enabled);
  for (float t : {0.0f, 0.1f, 0.5f, 0.7f, 1.0f}) EXPECT_EQ(curve_calc_value(&d, t), t);

  qr_curve* c = curve_create();
  EXPECT_EQ(curve_enabled(c), 1u);
  EXPECT_EQ(curve_item_count(c), 0u);
  const float line[] = {0.0f, 0.25f, 1.0f, 0.75f};
  curve_append_item(c, 0, line, 2);
  EXPECT_EQ(curve_calc_value(c, 0.5f), 0.5f);
  curve_clear(c);

  // Two lines meeting at 0.5: the first covers 0.5, and within the float margin past it too.
  const float first[] = {0.0f, 0.0f, 0.5f, 1.0f};
  const float second[] = {0.5f, 5.0f, 1.0f, 5.0f};
  curve_append_item(c, 0, first, 2);
  curve_append_item(c, 0, second, 2);
  EXPECT_EQ(curve_calc_value(c, 0.5f), 1.0f);
  EXPECT_GT(curve_calc_value(c, 0.50000006f), 1.0f);  // still the first item, extrapolated
  EXPECT_EQ(curve_calc_value(c, 0.5000003f), 5.0f);
  EXPECT_EQ(curve_calc_value(c, 0.25f), 0.5f);

  curve_erase_item(c, 0);
  EXPECT_EQ(curve_item_count(c), 1u);
  EXPECT_EQ(curve_calc_value(c, 0.75f), 5.0f);
  curve_endisable(c, 0);
  EXPECT_EQ(curve_enabled(c), 0u);
  curve_delete(c);
  curve_delete(nullptr);
}

TEST(Curve, NewItemsArePlacedFromTheUnitLine) {
  qr_curve* c = curve_create();
  uint32_t type = 0;
  curve_append_item(c, 1, nullptr, 0);
  EXPECT_EQ(points_of(c, 0, &type), (std::vector<float>{0, 0, 0.25f, 0.25f, 0.75f, 0.75f, 1, 1}));
  EXPECT_EQ(type, 1u);

  // Line to spline: the spans after point 1 are read through the moved point 1.
  curve_append_item(c, 2, nullptr, 0);
  EXPECT_EQ(points_of(c, 1, &type),
            (std::vector<float>{0, 0, 0.25f, 0.25f, 0.125f, 0.125f, 0.1875f, 0.1875f, 1, 1}));
  EXPECT_EQ(type, 2u);

  // The caller's pairs overwrite the first points only.
  const float two[] = {0.0f, 0.5f, 0.6f, 0.7f};
  curve_append_item(c, 2, two, 2);
  EXPECT_EQ(points_of(c, 2), (std::vector<float>{0, 0.5f, 0.6f, 0.7f, 0.125f, 0.125f, 0.1875f, 0.1875f, 1, 1}));

  // An unknown type leaves a line.
  curve_append_item(c, 7, nullptr, 0);
  EXPECT_EQ(points_of(c, 3, &type), (std::vector<float>{0, 0, 1, 1}));
  EXPECT_EQ(type, 0u);

  // The maximum limits the pairs written: two of a bezier, the rest of the buffer untouched.
  std::vector<float> out(10, -9.0f);
  curve_item_at(c, 0, &type, out.data(), 2);
  EXPECT_EQ(type, 1u);
  EXPECT_EQ(out, (std::vector<float>{0, 0, 0.25f, 0.25f, -9, -9, -9, -9, -9, -9}));
  curve_delete(c);
}

TEST(Curve, ConversionsBetweenTypes) {
  using quorin_engine::curve_item;
  using quorin_engine::curve_item_convert;
  curve_item item;
  curve_item_convert(item, 1);
  curve_item_convert(item, 2);  // from a bezier the span stays the full one
  EXPECT_EQ(item.type, 2u);
  const float spline[5][2] = {{0, 0}, {0.25f, 0.25f}, {0.5f, 0.5f}, {0.75f, 0.75f}, {1, 1}};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(item.points[i][0], spline[i][0]) << i;
    EXPECT_EQ(item.points[i][1], spline[i][1]) << i;
  }
  item.points[4][0] = 0.8f;
  item.points[4][1] = 3.0f;
  curve_item_convert(item, 1);  // spline to bezier: the last pair goes to point 3
  EXPECT_EQ(item.points[3][0], 0.8f);
  EXPECT_EQ(item.points[3][1], 3.0f);
  EXPECT_EQ(item.points[1][0], 0.2f);
  EXPECT_EQ(item.points[2][1], 0.6f);
  curve_item_convert(item, 1);  // same type: nothing
  EXPECT_EQ(item.points[3][1], 3.0f);
  curve_item_convert(item, 0);  // to a line: the last pair goes to point 1
  EXPECT_EQ(item.type, 0u);
  EXPECT_EQ(item.points[1][0], 0.8f);
  EXPECT_EQ(item.points[1][1], 3.0f);
}

TEST(Curve, BezierAndSplineValues) {
  qr_curve* c = curve_create();
  // Bezier: only y is interpolated; the inner x values have no influence.
  const float bez[] = {0.0f, 0.0f, 0.9f, 1.0f, 0.1f, 1.0f, 1.0f, 0.0f};
  curve_append_item(c, 1, bez, 4);
  // u = 0.25, s = 0.75: 3 u s^2 + 3 u^2 s = 0.421875 + 0.140625
  EXPECT_EQ(curve_calc_value(c, 0.25f), 0.5625f);
  EXPECT_EQ(curve_calc_value(c, 0.5f), 0.75f);
  curve_clear(c);

  // Spline with y = 1, 2, 4, 8, 16. At u >= 0.5 the points 0..3 take part, below it 1..4.
  const float spl[] = {0.0f, 1.0f, 0.2f, 2.0f, 0.4f, 4.0f, 0.6f, 8.0f, 1.0f, 16.0f};
  curve_append_item(c, 2, spl, 5);
  // u = 0.5, v = 1.5: 0.5 * (-0.375 * 1 + 0.875 * 2 - 3.125 * 4 + 1.125 * 8)
  EXPECT_EQ(curve_calc_value(c, 0.5f), -1.0625f);
  // u = 0.25, v = 1.25: 0.5 * (-0.078125 * 2 + 0.046875 * 4 + 0.140625 * 8 + 0.390625 * 16)
  EXPECT_EQ(curve_calc_value(c, 0.25f), 3.703125f);
  // u = 0, v = 1: only the third coefficient is non-zero, so the value is point 3's y.
  EXPECT_EQ(curve_calc_value(c, 0.0f), 8.0f);
  curve_delete(c);
}

TEST(CurveDeathTest, ProgrammingErrorsStop) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  curve d = quorin_engine::default_curve();
  EXPECT_DEATH(curve_calc_value(&d, 1.5f), "");
  EXPECT_DEATH(curve_calc_value(&d, -0.01f), "");
  curve gap;
  const float part[] = {0.0f, 0.0f, 0.4f, 1.0f};
  curve_append_item(&gap, 0, part, 2);
  EXPECT_EQ(curve_calc_value(&gap, 0.4f), 1.0f);
  EXPECT_DEATH(curve_calc_value(&gap, 0.6f), "");
  curve empty;
  EXPECT_DEATH(curve_calc_value(&empty, 0.5f), "");
  EXPECT_DEATH(curve_erase_item(&gap, 1), "");
  uint32_t type;
  float pts[10];
  EXPECT_DEATH(curve_item_at(&gap, 1, &type, pts, 5), "");
}

class NodeCurves : public DocTest {};

TEST_F(NodeCurves, CurveParametersAreCopiedInAndOutForCurveTypesOnly) {
  shadetree_node_t node(type_params);
  node.param_curves.clear();
  node.caching_dirty = node.thumbnail_caching_dirty = node.dirty_flag = false;

  qr_curve* in = curve_create();
  const float pts[] = {0.0f, 1.0f, 1.0f, 0.0f};
  curve_append_item(in, 0, pts, 2);
  curve_endisable(in, 0);
  node_set_param_curve_keyed(&node, u"amount", in);   // a float parameter
  node_set_param_curve_keyed(&node, u"unknown", in);  // not in the record
  node_set_param_curve_indexed(&node, 0, p_label, in);
  EXPECT_TRUE(node.param_curves.empty());
  node_set_param_curve_keyed(&node, u"shape", in);
  curve_clear(in);  // the node holds a copy
  ASSERT_EQ(node.param_curves.count(u"shape"), 1u);
  EXPECT_EQ(node.param_curves.at(u"shape").items.size(), 1u);

  qr_curve* out = curve_create();
  curve_append_item(out, 0, nullptr, 0);
  curve_append_item(out, 0, nullptr, 0);
  node_param_curve_keyed(&node, out, u"amount");  // absent: out unchanged
  EXPECT_EQ(curve_item_count(out), 2u);
  EXPECT_EQ(node_param_curve_indexed(&node, out, 0, 99), 0u);
  EXPECT_EQ(curve_item_count(out), 2u);
  EXPECT_EQ(node_param_curve_indexed(&node, out, 0, p_shape), 1u);
  EXPECT_EQ(curve_item_count(out), 1u);
  EXPECT_EQ(curve_enabled(out), 0u);
  EXPECT_EQ(curve_calc_value(out, 0.25f), 0.75f);

  curve_append_item(in, 0, nullptr, 0);
  node_set_param_curve_indexed(&node, 0, p_shape, in);
  node_param_curve_keyed(&node, out, u"shape");
  EXPECT_EQ(curve_calc_value(out, 0.25f), 0.25f);

  EXPECT_FALSE(node.caching_dirty || node.thumbnail_caching_dirty || node.dirty_flag);
  curve_delete(in);
  curve_delete(out);
}

TEST_F(NodeCurves, TimeCurvesAndReadingCreates) {
  shadetree_node_t node(type_params);
  node.caching_dirty = node.thumbnail_caching_dirty = node.dirty_flag = false;
  quorin_engine::project proj;
  proj.animedit_normalized_time = 0.375f;
  quorin_engine::renderctx ctx{};
  ctx.project = &proj;

  EXPECT_EQ(node_param_timecurve_present(&node, u"amount"), 0u);
  EXPECT_EQ(node_param_timecurve_enabled(&node, u"amount"), 0u);
  qr_curve* out = curve_create();
  node_param_timecurve_keyed(&node, out, u"amount");
  EXPECT_EQ(node_param_timecurve_present(&node, u"amount"), 1u);
  EXPECT_EQ(node_param_timecurve_enabled(&node, u"amount"), 1u);
  EXPECT_EQ(curve_item_count(out), 1u);
  char16_t buf[8];
  float f = 0;
  EXPECT_EQ(node_param_value_keyed(&node, &ctx, buf, 8, &f, u"amount"), 1u);
  EXPECT_EQ(f, 0.375f);

  // Setting replaces, the copy stays independent of the caller's curve.
  const float flat[] = {0.0f, 0.5f, 1.0f, 0.5f};
  curve_clear(out);
  curve_append_item(out, 0, flat, 2);
  node_set_param_timecurve(&node, u"amount", out);
  curve_clear(out);
  EXPECT_EQ(node_param_value_keyed(&node, &ctx, buf, 8, &f, u"amount"), 1u);
  EXPECT_EQ(f, 0.5f);

  node_endisable_param_timecurve(&node, u"amount", 0);
  EXPECT_EQ(node_param_timecurve_enabled(&node, u"amount"), 0u);
  EXPECT_EQ(node_param_timecurve_present(&node, u"amount"), 1u);
  EXPECT_EQ(node_param_value_keyed(&node, &ctx, buf, 8, &f, u"amount"), 0u);

  // Disabling an absent one creates a default curve, disabled.
  node_endisable_param_timecurve(&node, u"other", 0);
  EXPECT_EQ(node_param_timecurve_present(&node, u"other"), 1u);
  EXPECT_EQ(node_param_timecurve_enabled(&node, u"other"), 0u);
  node_remove_param_timecurve(&node, u"other");
  node_remove_param_timecurve(&node, u"never");
  EXPECT_EQ(node_param_timecurve_present(&node, u"other"), 0u);

  EXPECT_FALSE(node.caching_dirty || node.thumbnail_caching_dirty || node.dirty_flag);
  curve_delete(out);
}

}  // namespace
