/* Quorin engine: the engine family of the exported C interface. */
#ifndef QUORIN_ENGINE_H
#define QUORIN_ENGINE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_API uint32_t init(void);
QUORIN_API void cleanup(void);

/* Where the engine's debug messages go; null restores the default (nowhere). */
QUORIN_API void engine_set_debug_output(void (*sink)(const qr_char* text, void* user), void* user);

QUORIN_END_DECLS

#endif
