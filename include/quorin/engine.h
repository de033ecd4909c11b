/* Quorin engine: the engine family of the exported C interface. */
#ifndef QUORIN_ENGINE_H
#define QUORIN_ENGINE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_END_DECLS

#endif
