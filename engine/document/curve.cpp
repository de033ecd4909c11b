// (Placeholder: the default curve only.)
#include "document/curve.h"

namespace quorin_engine {

uint32_t curve_item_point_count(uint32_t type) { return type == 0 ? 2 : type == 1 ? 4 : 5; }
void curve_item_convert(curve_item&, uint32_t) {}
curve default_curve() {
  curve c;
  c.items.push_back(curve_item{});
  return c;
}
float curve_value(const curve&, float t) { return t; }

}  // namespace quorin_engine
