// The render buffer pool and the render context.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>
#include "core/pool.h"
#include "core/renderctx.h"
#include "core/text.h"
#include "quorin/engine.h"
#include "quorin/pool4f.h"
#include "quorin/renderctx.h"

using namespace quorin_engine;

static bool entry_free(renderbuffer_pool_t* p, imgbuf4f* b) {
  auto e = std::find_if(p->buffers.begin(), p->buffers.end(), [b](auto& e) { return e.buffer == b; });
  return e != p->buffers.end() && e->free;
}

TEST(BufferPool, GrowthReturnsAndFreeing) {
  std::vector<std::string> messages;
  engine_set_debug_output([](const char16_t* t, void* u) {
    static_cast<std::vector<std::string>*>(u)->push_back(to_utf8(t));
  }, &messages);
  auto* pool = pool4f_create(8, 4, 2);
  imgbuf4f *a = pool4f_acquire_color_buffer(pool), *b = pool4f_acquire_color_buffer(pool),
           *c = pool4f_acquire_color_buffer(pool);
  EXPECT_TRUE(a != b && c != a && c != b);
  ASSERT_EQ(pool->buffers.size(), 4u);
  EXPECT_TRUE(pool->buffers[2].buffer == c && entry_free(pool, c) && c->width == 8 && c->height == 4);
  EXPECT_EQ(pool4f_acquire_color_buffer(pool), c);  // shared by two holders until a return
  EXPECT_FALSE(entry_free(pool, c));

  auto* other = pool4f_create(8, 4, 1);  // a second return, or one of another pool's buffer, changes nothing
  imgbuf4f* foreign = pool4f_acquire_color_buffer(other);
  pool4f_return_color_buffer(pool, a);
  pool4f_return_color_buffer(pool, a);
  pool4f_return_color_buffer(pool, foreign);
  EXPECT_TRUE(entry_free(pool, a) && !entry_free(pool, b) && !entry_free(other, foreign));
  pool4f_delete(other);
  pool4f_delete(pool);  // b and c are still out: freed all the same
  pool4f_delete(nullptr);
  engine_set_debug_output(nullptr, nullptr);
  const std::string head = "renderbuffer_pool_t::free_buffers() freeing ";
  const std::string in_use = head + "color buffer still in use!\r\n";
  EXPECT_EQ(messages, (std::vector<std::string>{head + "1 color buffers\r\n", in_use,
                                                head + "4 color buffers\r\n", in_use, in_use}));
}

TEST(BufferPool, CacheKeepsNothingAtCapacityZeroAndEvictsTheLargestKeyOtherwise) {
  renderbuffer_pool_t pool(2, 2, 3);
  imgbuf4f *a = pool.acquire(), *b = pool.acquire(), *c = pool.acquire();
  pool.cache_store(20, a);  // capacity 0: given back at once
  EXPECT_TRUE(entry_free(&pool, a) && pool.cache_lookup(20) == nullptr);
  pool.cache_capacity = 2;
  pool.cache_store(20, pool.acquire());
  pool.cache_store(10, b);
  pool.cache_store(30, c);  // full: key 20 goes, its buffer is free again
  EXPECT_TRUE(pool.cache_lookup(20) == nullptr && entry_free(&pool, a));
  EXPECT_EQ(pool.acquire(), a);
  EXPECT_EQ(pool.acquire(), c);  // nothing free: the largest key gives up its buffer, still in use
  EXPECT_TRUE(pool.cache_lookup(30) == nullptr && !entry_free(&pool, c) && pool.buffers.size() == 3);
  pool.cache_store(10, a);  // another buffer under a present key: the old one goes back
  EXPECT_TRUE(pool.cache_lookup(10) == a && entry_free(&pool, b));
}

TEST(RenderContext, ShallowCopyTakesAllFieldsAndOwnsNothing) {
  // The pointers are never dereferenced: freeing any of them would crash.
  renderctx original{reinterpret_cast<imgbuf4f*>(0x1000), true, reinterpret_cast<renderbuffer_pool_t*>(0x2000),
                     false, true, true, false, reinterpret_cast<project*>(0x3000)};
  auto fields = [](const renderctx& c) {
    return std::make_tuple(c.target_buf, c.targetbuf_from_cache, c.pool, c.for_thumbnail, c.for_preview,
                           c.preview_supersampling, c.is_anim, c.project);
  };
  renderctx* copy = renderctx_shallow_copy(&original);
  EXPECT_EQ(fields(*copy), fields(original));
  renderctx_set_is_anim(copy, 0x100);  // any non-zero value is true
  EXPECT_TRUE(renderctx_is_anim(copy) == 1u && !original.is_anim);
  renderctx_delete(copy);
  renderctx_delete(nullptr);
}
