#include <gtest/gtest.h>

#include "quorin/imgbuf4f.h"
#include "quorin/pool4f.h"
#include "quorin/renderctx.h"

TEST(RenderContext, FieldsAndShallowCopy) {
  qr_renderctx* ctx = renderctx_create();
  qr_imgbuf4f* target = imgbuf4f_create(2, 2);
  qr_pool4f* pool = pool4f_create(2, 2, 1);
  auto* project = reinterpret_cast<qr_project*>(uintptr_t{0x5000});  // never dereferenced

  renderctx_set_target_buf(ctx, target);
  renderctx_set_targetbuf_from_cache(ctx, 7);  // any non-zero value is true
  renderctx_set_pool(ctx, pool);
  renderctx_set_for_thumbnail(ctx, 1);
  renderctx_set_for_preview(ctx, 0);
  renderctx_set_preview_supersampling(ctx, 0x100);
  renderctx_set_is_anim(ctx, 0);
  renderctx_set_project(ctx, project);

  qr_renderctx* copy = renderctx_shallow_copy(ctx);
  renderctx_set_for_preview(ctx, 1);  // the copy is independent of the original
  renderctx_delete(ctx);
  EXPECT_EQ(renderctx_target_buf(copy), target);
  EXPECT_EQ(renderctx_targetbuf_from_cache(copy), 1u);
  EXPECT_EQ(renderctx_pool(copy), pool);
  EXPECT_EQ(renderctx_for_thumbnail(copy), 1u);
  EXPECT_EQ(renderctx_for_preview(copy), 0u);
  EXPECT_EQ(renderctx_preview_supersampling(copy), 1u);
  EXPECT_EQ(renderctx_is_anim(copy), 0u);
  EXPECT_EQ(renderctx_project(copy), project);
  renderctx_set_is_anim(copy, 2);
  EXPECT_EQ(renderctx_is_anim(copy), 1u);
  renderctx_delete(copy);
  renderctx_delete(nullptr);

  // Deleting the contexts left the pool and the target alone.
  qr_imgbuf4f* b = pool4f_acquire_color_buffer(pool);
  EXPECT_EQ(imgbuf4f_width(b), 2u);
  imgbuf4f_clear(target);
  pool4f_delete(pool);
  imgbuf4f_delete(target);
}
