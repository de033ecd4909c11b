/* Quorin engine: the pool4f family of the exported C interface. */
#ifndef QUORIN_POOL4F_H
#define QUORIN_POOL4F_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_END_DECLS

#endif
