/* Quorin engine: the engine family of the exported C interface. */
#ifndef QUORIN_ENGINE_H
#define QUORIN_ENGINE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_API uint32_t init(void);
QUORIN_API void cleanup(void);

/* Where the engine's debug messages go; null restores the default (nowhere). */
QUORIN_API void engine_set_debug_output(void (*sink)(const qr_char* text, void* user), void* user);

/* Divides each render over `n` threads; 0 means one per processor. The default is 1: the engine
   then starts no thread and every routine runs on the caller's thread.
   Contract: call it before renders, not while one runs. Results are byte-identical for every n,
   since a routine's rows (or columns) never depend on how they are divided. A render of an input
   that happens inside a divided routine runs on that thread alone, so nested renders never
   multiply the threads. Only routines whose rows are independent are divided; those that carry
   state from row to row, or draw with one shared state, stay on the caller's thread. */
QUORIN_API void engine_set_render_threads(uint32_t n);

/* Writes `image` as an 8-bit PNG file at `path`: RGBA if `with_alpha` is non-zero, else RGB.
   `msg` (capacity `msg_cap` characters) receives an empty text on success, else the reason. */
QUORIN_API void engine_saveimage_png(qr_char* msg, int32_t msg_cap, const qr_char* path,
                                     const qr_imgbuf4f* image, uint32_t with_alpha);

QUORIN_END_DECLS

#endif
