/* Quorin engine: the renderctx family of the exported C interface. */
#ifndef QUORIN_RENDERCTX_H
#define QUORIN_RENDERCTX_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* A new render context. The host sets every field before the first render. */
QUORIN_API qr_renderctx* renderctx_create(void);
/* Frees the context alone: the target, pool and project it points to stay. */
QUORIN_API void renderctx_delete(qr_renderctx* ctx);
QUORIN_API qr_renderctx* renderctx_shallow_copy(const qr_renderctx* ctx);

QUORIN_API qr_imgbuf4f* renderctx_target_buf(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_target_buf(qr_renderctx* ctx, qr_imgbuf4f* buf);
QUORIN_API uint32_t renderctx_targetbuf_from_cache(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_targetbuf_from_cache(qr_renderctx* ctx, uint32_t value);
QUORIN_API qr_pool4f* renderctx_pool(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_pool(qr_renderctx* ctx, qr_pool4f* pool);
QUORIN_API uint32_t renderctx_for_thumbnail(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_for_thumbnail(qr_renderctx* ctx, uint32_t value);
QUORIN_API uint32_t renderctx_for_preview(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_for_preview(qr_renderctx* ctx, uint32_t value);
QUORIN_API uint32_t renderctx_preview_supersampling(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_preview_supersampling(qr_renderctx* ctx, uint32_t value);
QUORIN_API uint32_t renderctx_is_anim(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_is_anim(qr_renderctx* ctx, uint32_t value);
QUORIN_API qr_project* renderctx_project(const qr_renderctx* ctx);
QUORIN_API void renderctx_set_project(qr_renderctx* ctx, qr_project* project);

QUORIN_END_DECLS

#endif
