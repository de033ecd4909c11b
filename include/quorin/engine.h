/* Quorin engine: the engine family of the exported C interface. */
#ifndef QUORIN_ENGINE_H
#define QUORIN_ENGINE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_API uint32_t init(void);
QUORIN_API void cleanup(void);

/* Where the engine's debug messages go; null restores the default (nowhere). */
QUORIN_API void engine_set_debug_output(void (*sink)(const qr_char* text, void* user), void* user);

/* Writes `image` as an 8-bit PNG file at `path`: RGBA if `with_alpha` is non-zero, else RGB.
   `msg` (capacity `msg_cap` characters) receives an empty text on success, else the reason. */
QUORIN_API void engine_saveimage_png(qr_char* msg, int32_t msg_cap, const qr_char* path,
                                     const qr_imgbuf4f* image, uint32_t with_alpha);

QUORIN_END_DECLS

#endif
