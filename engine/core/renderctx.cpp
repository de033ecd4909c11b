// The render context family: plain field access; the context owns nothing it points to.
#include "core/renderctx.h"

#include "quorin/renderctx.h"

using namespace quorin_engine;

// The record is handed out zeroed, so that a field a host forgets reads as null or false.
QUORIN_EXTERN_C QUORIN_API renderctx* renderctx_create(void) { return new renderctx(); }

QUORIN_EXTERN_C QUORIN_API void renderctx_delete(renderctx* ctx) { delete ctx; }

QUORIN_EXTERN_C QUORIN_API renderctx* renderctx_shallow_copy(const renderctx* ctx) {
  return new renderctx(*ctx);
}

QUORIN_EXTERN_C QUORIN_API imgbuf4f* renderctx_target_buf(const renderctx* ctx) { return ctx->target_buf; }
QUORIN_EXTERN_C QUORIN_API void renderctx_set_target_buf(renderctx* ctx, imgbuf4f* buf) { ctx->target_buf = buf; }

QUORIN_EXTERN_C QUORIN_API uint32_t renderctx_targetbuf_from_cache(const renderctx* ctx) {
  return ctx->targetbuf_from_cache ? 1 : 0;
}
QUORIN_EXTERN_C QUORIN_API void renderctx_set_targetbuf_from_cache(renderctx* ctx, uint32_t value) {
  ctx->targetbuf_from_cache = value != 0;
}

QUORIN_EXTERN_C QUORIN_API renderbuffer_pool_t* renderctx_pool(const renderctx* ctx) { return ctx->pool; }
QUORIN_EXTERN_C QUORIN_API void renderctx_set_pool(renderctx* ctx, renderbuffer_pool_t* pool) { ctx->pool = pool; }

QUORIN_EXTERN_C QUORIN_API uint32_t renderctx_for_thumbnail(const renderctx* ctx) { return ctx->for_thumbnail ? 1 : 0; }
QUORIN_EXTERN_C QUORIN_API void renderctx_set_for_thumbnail(renderctx* ctx, uint32_t value) {
  ctx->for_thumbnail = value != 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t renderctx_for_preview(const renderctx* ctx) { return ctx->for_preview ? 1 : 0; }
QUORIN_EXTERN_C QUORIN_API void renderctx_set_for_preview(renderctx* ctx, uint32_t value) {
  ctx->for_preview = value != 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t renderctx_preview_supersampling(const renderctx* ctx) {
  return ctx->preview_supersampling ? 1 : 0;
}
QUORIN_EXTERN_C QUORIN_API void renderctx_set_preview_supersampling(renderctx* ctx, uint32_t value) {
  ctx->preview_supersampling = value != 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t renderctx_is_anim(const renderctx* ctx) { return ctx->is_anim ? 1 : 0; }
QUORIN_EXTERN_C QUORIN_API void renderctx_set_is_anim(renderctx* ctx, uint32_t value) { ctx->is_anim = value != 0; }

QUORIN_EXTERN_C QUORIN_API project* renderctx_project(const renderctx* ctx) { return ctx->project; }
QUORIN_EXTERN_C QUORIN_API void renderctx_set_project(renderctx* ctx, project* p) { ctx->project = p; }
