/* Quorin engine: the curve family of the exported C interface. */
#ifndef QUORIN_CURVE_H
#define QUORIN_CURVE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_END_DECLS

#endif
