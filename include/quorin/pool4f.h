/* Quorin engine: the pool4f family of the exported C interface. */
#ifndef QUORIN_POOL4F_H
#define QUORIN_POOL4F_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* A pool of `count` free buffers of width x height; count should be at least 1. */
QUORIN_API qr_pool4f* pool4f_create(uint32_t width, uint32_t height, uint32_t count);
/* Frees the pool and every buffer it holds, including buffers still handed out. */
QUORIN_API void pool4f_delete(qr_pool4f* pool);
/* A buffer of the pool's size with undefined contents. */
QUORIN_API qr_imgbuf4f* pool4f_acquire_color_buffer(qr_pool4f* pool);
QUORIN_API void pool4f_return_color_buffer(qr_pool4f* pool, qr_imgbuf4f* buffer);

QUORIN_END_DECLS

#endif
