/* Quorin engine: the asset family of the exported C interface. */
#ifndef QUORIN_ASSET_H
#define QUORIN_ASSET_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_END_DECLS

#endif
