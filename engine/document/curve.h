// Curves: items of type line, bezier or spline over 0..1.
#pragma once
#include <cstdint>
#include <vector>

namespace quorin_engine {

enum : uint32_t { curve_item_line = 0, curve_item_bezier = 1, curve_item_spline = 2 };

struct curve_item {
  uint32_t type = curve_item_line;
  float points[5][2] = {{0, 0}, {1, 1}, {0, 0}, {0, 0}, {0, 0}};
};

struct curve {
  std::vector<curve_item> items;
  bool enabled = true;
};

// Points an item of this type uses: 2, 4 or 5.
uint32_t curve_item_point_count(uint32_t type);
// Converts an item to another type with the engine's point placement.
void curve_item_convert(curve_item& item, uint32_t to);
// Enabled, one line item from (0, 0) to (1, 1).
curve default_curve();
// The value at t; t outside 0..1 or a gap stops at a breakpoint.
float curve_value(const curve& c, float t);

}  // namespace quorin_engine
