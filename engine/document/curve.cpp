// Curves: items of type line, bezier or spline over 0..1, their conversion and evaluation, and the
// exported curve family.
#include "document/curve.h"

#include <algorithm>
#include <cmath>

#include "quorin/curve.h"

namespace quorin_engine {

namespace {

constexpr float float_near_zero = 1.1920929e-7f;

bool near(float a, float b) {
  float d = a - b;
  return d >= -float_near_zero && d <= float_near_zero;
}

// The span of an item read through its current type: x of the last point minus x of the first.
float item_span(const curve_item& item) {
  return item.points[curve_item_point_count(item.type) - 1][0] - item.points[0][0];
}

void set_diagonal(float (&point)[2], float value) { point[0] = point[1] = value; }

}  // namespace

uint32_t curve_item_point_count(uint32_t type) {
  switch (type) {
    case curve_item_line: return 2;
    case curve_item_bezier: return 4;
    default: return 5;
  }
}

void curve_item_convert(curve_item& item, uint32_t to) {
  if (to == item.type || to > curve_item_spline) return;
  const uint32_t last = curve_item_point_count(item.type) - 1;
  const float x0 = item.points[0][0];
  float(&p)[5][2] = item.points;

  if (to == curve_item_spline) {
    // The span is read anew before each inner point, still through the old type. For a line the
    // old last point is point 1, which moves first, so the later spans shrink with it.
    p[4][0] = p[last][0];
    p[4][1] = p[last][1];
    set_diagonal(p[1], x0 + 0.25f * item_span(item));
    set_diagonal(p[2], x0 + 0.5f * item_span(item));
    set_diagonal(p[3], x0 + 0.75f * item_span(item));
  } else if (to == curve_item_bezier) {
    const float span = item_span(item);
    p[3][0] = p[last][0];
    p[3][1] = p[last][1];
    set_diagonal(p[1], x0 + 0.25f * span);
    set_diagonal(p[2], x0 + 0.75f * span);
  } else {
    p[1][0] = p[last][0];
    p[1][1] = p[last][1];
  }
  item.type = to;
}

curve default_curve() {
  curve c;
  c.items.push_back(curve_item{});  // a line from (0, 0) to (1, 1)
  c.enabled = true;
  return c;
}

float curve_value(const curve& c, float t) {
  if (!(t >= 0.0f && t <= 1.0f)) __builtin_trap();

  const curve_item* item = nullptr;
  for (const curve_item& candidate : c.items) {
    float first = candidate.points[0][0];
    float last = candidate.points[curve_item_point_count(candidate.type) - 1][0];
    if ((t > first || near(t, first)) && (last > t || near(last, t))) {
      item = &candidate;
      break;
    }
  }
  if (!item) __builtin_trap();  // a gap: the curve does not cover t

  const float(&p)[5][2] = item->points;
  const float first_x = p[0][0];
  const float last_x = p[curve_item_point_count(item->type) - 1][0];
  const float u = (t - first_x) / (last_x - first_x);

  switch (item->type) {
    case curve_item_bezier: {
      // Only the y values are interpolated; the inner points' x values play no part.
      const float s = 1.0f - u;
      return s * s * s * p[0][1] + 3.0f * u * s * s * p[1][1] + 3.0f * u * u * s * p[2][1] +
             u * u * u * p[3][1];
    }
    case curve_item_spline: {
      // The second half of the item is shaped by points 0 to 3, the first half by points 1 to 4.
      const int k = u >= 0.5f ? 0 : 1;
      const float P0 = p[k][1], P1 = p[k + 1][1], P2 = p[k + 2][1], P3 = p[k + 3][1];
      const float v = u + 1.0f;
      return 0.5f * ((2.0f * v - v * v - 1.0f) * v * P0 + ((3.0f * v * v - 5.0f * v) * v + 2.0f) * P1 +
                     (-3.0f * v * v * v + 4.0f * v + 1.0f) * P2 + (v * v - v) * v * P3);
    }
    default:
      return p[0][1] + (p[1][1] - p[0][1]) * u;
  }
}

}  // namespace quorin_engine

using quorin_engine::curve;
using quorin_engine::curve_item;

QUORIN_EXTERN_C QUORIN_API curve* curve_create(void) { return new curve(); }

QUORIN_EXTERN_C QUORIN_API void curve_delete(curve* c) { delete c; }

QUORIN_EXTERN_C QUORIN_API uint32_t curve_enabled(const curve* c) { return c->enabled ? 1 : 0; }

QUORIN_EXTERN_C QUORIN_API void curve_endisable(curve* c, uint32_t enabled) { c->enabled = enabled != 0; }

QUORIN_EXTERN_C QUORIN_API uint32_t curve_item_count(const curve* c) {
  return static_cast<uint32_t>(c->items.size());
}

// The new item starts as a line from (0, 0) to (1, 1), is converted to the requested type, and then
// takes the caller's pairs in its first points. An unknown type leaves it a line; pairs beyond the
// five an item holds are ignored.
QUORIN_EXTERN_C QUORIN_API void curve_append_item(curve* c, uint32_t type, const float* points, uint32_t count) {
  curve_item item;
  if (type != quorin_engine::curve_item_line) quorin_engine::curve_item_convert(item, type);
  if (points) {
    const uint32_t n = std::min<uint32_t>(count, 5);
    for (uint32_t i = 0; i < n; ++i) {
      item.points[i][0] = points[2 * i];
      item.points[i][1] = points[2 * i + 1];
    }
  }
  c->items.push_back(item);
}

QUORIN_EXTERN_C QUORIN_API void curve_erase_item(curve* c, uint32_t index) {
  if (index >= c->items.size()) __builtin_trap();
  c->items.erase(c->items.begin() + index);
}

QUORIN_EXTERN_C QUORIN_API void curve_clear(curve* c) { c->items.clear(); }

QUORIN_EXTERN_C QUORIN_API void curve_item_at(const curve* c, uint32_t index, uint32_t* out_type, float* out_points,
                                              uint32_t max_count) {
  if (index >= c->items.size()) __builtin_trap();
  const curve_item& item = c->items[index];
  if (out_type) *out_type = item.type;
  if (!out_points) return;
  const uint32_t n = std::min(max_count, quorin_engine::curve_item_point_count(item.type));
  for (uint32_t i = 0; i < n; ++i) {
    out_points[2 * i] = item.points[i][0];
    out_points[2 * i + 1] = item.points[i][1];
  }
}

QUORIN_EXTERN_C QUORIN_API float curve_calc_value(const curve* c, float t) {
  return quorin_engine::curve_value(*c, t);
}
