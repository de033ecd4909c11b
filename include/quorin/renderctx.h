/* Quorin engine: the renderctx family of the exported C interface. */
#ifndef QUORIN_RENDERCTX_H
#define QUORIN_RENDERCTX_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_END_DECLS

#endif
