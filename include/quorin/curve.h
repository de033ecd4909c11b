/* Quorin engine: the curve family of the exported C interface. */
#ifndef QUORIN_CURVE_H
#define QUORIN_CURVE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* Item types: 0 line (2 points), 1 bezier (4 points), 2 spline (5 points). Points travel as
   x0, y0, x1, y1, ... with a count of pairs. */
QUORIN_API qr_curve* curve_create(void);
QUORIN_API void curve_delete(qr_curve* curve);
QUORIN_API uint32_t curve_enabled(const qr_curve* curve);
QUORIN_API void curve_endisable(qr_curve* curve, uint32_t enabled);
QUORIN_API uint32_t curve_item_count(const qr_curve* curve);
QUORIN_API void curve_append_item(qr_curve* curve, uint32_t type, const float* points, uint32_t count);
QUORIN_API void curve_erase_item(qr_curve* curve, uint32_t index);
QUORIN_API void curve_clear(qr_curve* curve);
QUORIN_API void curve_item_at(const qr_curve* curve, uint32_t index, uint32_t* out_type, float* out_points,
                              uint32_t max_count);
QUORIN_API float curve_calc_value(const qr_curve* curve, float t);

QUORIN_END_DECLS

#endif
