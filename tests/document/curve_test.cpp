#include <gtest/gtest.h>

#include <vector>

#include "document/curve.h"
#include "quorin/curve.h"

using quorin_engine::curve;

namespace {

// The points of item `index`, as many pairs as its type uses.
std::vector<float> points_of(const qr_curve* c, uint32_t index) {
  std::vector<float> out(10);
  uint32_t type = 99;
  curve_item_at(c, index, &type, out.data(), 5);
  out.resize(2 * quorin_engine::curve_item_point_count(type));
  return out;
}

qr_curve* curve_of(uint32_t type, std::vector<float> pairs) {
  qr_curve* c = curve_create();
  curve_append_item(c, type, pairs.data(), static_cast<uint32_t>(pairs.size() / 2));
  return c;
}

TEST(Curve, ValuesOfEachItemType) {
  curve d = quorin_engine::default_curve();
  for (float t : {0.0f, 0.1f, 0.5f, 0.7f, 1.0f}) EXPECT_EQ(curve_calc_value(&d, t), t);

  qr_curve* c = curve_of(0, {0.0f, 0.25f, 1.0f, 0.75f});
  EXPECT_EQ(curve_calc_value(c, 0.5f), 0.5f);
  curve_delete(c);
  c = curve_of(0, {0.0f, 0.0f, 0.5f, 1.0f});  // two lines meeting at 0.5: the first covers it, within a margin
  const float second[] = {0.5f, 5.0f, 1.0f, 5.0f};
  curve_append_item(c, 0, second, 2);
  EXPECT_EQ(curve_calc_value(c, 0.5f), 1.0f);
  EXPECT_GT(curve_calc_value(c, 0.50000006f), 1.0f);
  EXPECT_EQ(curve_calc_value(c, 0.5000003f), 5.0f);
  curve_erase_item(c, 0);  // the second moves down and now covers 0.5
  EXPECT_EQ(curve_calc_value(c, 0.5f), 5.0f);
  curve_delete(c);

  // Bezier: only y is interpolated; u = 0.25, s = 0.75: 3 u s^2 + 3 u^2 s = 0.421875 + 0.140625.
  c = curve_of(1, {0.0f, 0.0f, 0.9f, 1.0f, 0.1f, 1.0f, 1.0f, 0.0f});
  EXPECT_EQ(curve_calc_value(c, 0.25f), 0.5625f);
  EXPECT_EQ(curve_calc_value(c, 0.5f), 0.75f);
  curve_delete(c);

  // Spline, y = 1, 2, 4, 8, 16: points 0..3 take part at u >= 0.5, points 1..4 below it.
  c = curve_of(2, {0.0f, 1.0f, 0.2f, 2.0f, 0.4f, 4.0f, 0.6f, 8.0f, 1.0f, 16.0f});
  // v = 1.5: 0.5 * (-0.375 * 1 + 0.875 * 2 - 3.125 * 4 + 1.125 * 8)
  EXPECT_EQ(curve_calc_value(c, 0.5f), -1.0625f);
  // v = 1.25: 0.5 * (-0.078125 * 2 + 0.046875 * 4 + 0.140625 * 8 + 0.390625 * 16)
  EXPECT_EQ(curve_calc_value(c, 0.25f), 3.703125f);
  EXPECT_EQ(curve_calc_value(c, 0.0f), 8.0f);  // v = 1: only P2 counts, point 3's y
  curve_delete(c);
}

TEST(Curve, NewItemsStartFromTheUnitLine) {
  qr_curve* c = curve_create();
  curve_append_item(c, 1, nullptr, 0);
  EXPECT_EQ(points_of(c, 0), (std::vector<float>{0, 0, 0.25f, 0.25f, 0.75f, 0.75f, 1, 1}));
  // Line to spline: the spans after point 1 are read through the moved point 1.
  curve_append_item(c, 2, nullptr, 0);
  EXPECT_EQ(points_of(c, 1), (std::vector<float>{0, 0, 0.25f, 0.25f, 0.125f, 0.125f, 0.1875f, 0.1875f, 1, 1}));
  // The caller's pairs overwrite the first points only.
  const float two[] = {0.0f, 0.5f, 0.6f, 0.7f};
  curve_append_item(c, 2, two, 2);
  EXPECT_EQ(points_of(c, 2), (std::vector<float>{0, 0.5f, 0.6f, 0.7f, 0.125f, 0.125f, 0.1875f, 0.1875f, 1, 1}));
  curve_append_item(c, 7, nullptr, 0);  // an unknown type leaves a line
  EXPECT_EQ(points_of(c, 3), (std::vector<float>{0, 0, 1, 1}));
  // A maximum of 2 on a bezier delivers two pairs and leaves the rest of the buffer alone.
  std::vector<float> out(6, -9.0f);
  uint32_t type;
  curve_item_at(c, 0, &type, out.data(), 2);
  EXPECT_EQ(out, (std::vector<float>{0, 0, 0.25f, 0.25f, -9, -9}));
  curve_delete(c);
}

}  // namespace
