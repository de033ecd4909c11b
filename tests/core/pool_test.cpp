#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>
#include "core/pool.h"
#include "core/text.h"
#include "quorin/engine.h"
#include "quorin/pool4f.h"

using namespace quorin_engine;

namespace {

bool entry_free(renderbuffer_pool_t* p, imgbuf4f* b) {
  for (auto& e : p->buffers)
    if (e.buffer == b) return e.free;
  ADD_FAILURE() << "buffer not in pool";
  return false;
}

// Collects what the engine sends to its debug channel for the life of the object.
struct debug_capture {
  std::vector<std::string> messages;
  debug_capture() {
    engine_set_debug_output([](const char16_t* t, void* u) {
      static_cast<debug_capture*>(u)->messages.push_back(to_utf8(t));
    }, this);
  }
  ~debug_capture() { engine_set_debug_output(nullptr, nullptr); }
};

}  // namespace

TEST(BufferPool, AcquireGrowsByDoublingAndHandsOutTheFirstNewBufferTwice) {
  auto* pool = pool4f_create(8, 4, 2);
  ASSERT_EQ(pool->buffers.size(), 2u);
  imgbuf4f* a = pool4f_acquire_color_buffer(pool);
  imgbuf4f* b = pool4f_acquire_color_buffer(pool);
  imgbuf4f* c = pool4f_acquire_color_buffer(pool);
  EXPECT_NE(a, b);
  EXPECT_NE(c, a);
  EXPECT_NE(c, b);
  EXPECT_EQ(pool->buffers.size(), 4u);
  EXPECT_EQ(pool->buffers[2].buffer, c);
  EXPECT_TRUE(entry_free(pool, c));
  EXPECT_EQ(imgbuf4f_width(c), 8u);
  EXPECT_EQ(imgbuf4f_height(c), 4u);

  imgbuf4f* d = pool4f_acquire_color_buffer(pool);
  EXPECT_EQ(d, c);  // shared by two holders until a return
  EXPECT_FALSE(entry_free(pool, c));
  imgbuf4f* e = pool4f_acquire_color_buffer(pool);
  EXPECT_EQ(e, pool->buffers[3].buffer);
  EXPECT_EQ(pool->buffers.size(), 4u);
  pool4f_delete(pool);
  pool4f_delete(nullptr);
}

TEST(BufferPool, ReturnsThatChangeNothing) {
  auto* pool = pool4f_create(2, 2, 2);
  auto* other = pool4f_create(2, 2, 1);
  imgbuf4f* a = pool4f_acquire_color_buffer(pool);
  imgbuf4f* b = pool4f_acquire_color_buffer(pool);
  imgbuf4f* foreign = pool4f_acquire_color_buffer(other);

  pool4f_return_color_buffer(pool, a);
  pool4f_return_color_buffer(pool, a);        // second return: nothing
  pool4f_return_color_buffer(pool, foreign);  // not this pool's: nothing
  EXPECT_TRUE(entry_free(pool, a));
  EXPECT_FALSE(entry_free(pool, b));
  EXPECT_FALSE(entry_free(other, foreign));

  EXPECT_EQ(pool4f_acquire_color_buffer(pool), a);
  imgbuf4f* grown = pool4f_acquire_color_buffer(pool);
  EXPECT_NE(grown, a);
  EXPECT_NE(grown, b);
  EXPECT_EQ(pool->buffers.size(), 4u);
  pool4f_delete(other);
  pool4f_delete(pool);
}

TEST(BufferPool, CacheOfCapacityZeroKeepsNothing) {
  renderbuffer_pool_t pool(2, 2, 1);
  imgbuf4f* a = pool.acquire();
  EXPECT_EQ(pool.cache_lookup(0x1000), nullptr);
  pool.cache_store(0x1000, a);
  EXPECT_TRUE(entry_free(&pool, a));  // given back at once
  EXPECT_TRUE(pool.cache.empty());
  EXPECT_EQ(pool.cache_lookup(0x1000), nullptr);
  pool.cache_remove(0x1000);
  pool.cache_clear();
  EXPECT_EQ(pool.acquire(), a);
}

TEST(BufferPool, CacheWithCapacityEvictsTheLargestKey) {
  renderbuffer_pool_t pool(2, 2, 4);
  pool.cache_capacity = 2;
  imgbuf4f* b[4];
  for (auto& x : b) x = pool.acquire();

  pool.cache_store(20, b[0]);
  pool.cache_store(10, b[1]);
  EXPECT_EQ(pool.cache_lookup(20), b[0]);
  pool.cache_store(30, b[2]);  // full: key 20 goes, its buffer is free again
  EXPECT_EQ(pool.cache_lookup(20), nullptr);
  EXPECT_TRUE(entry_free(&pool, b[0]));
  EXPECT_EQ(pool.cache_lookup(30), b[2]);

  pool.cache_store(10, b[1]);  // same buffer: nothing
  EXPECT_FALSE(entry_free(&pool, b[1]));
  pool.cache_store(10, b[3]);  // another buffer: the old one goes back
  EXPECT_TRUE(entry_free(&pool, b[1]));
  EXPECT_EQ(pool.cache_lookup(10), b[3]);

  // Two free entries are used first; then the cache gives up its largest key, still marked in use.
  EXPECT_EQ(pool.acquire(), b[0]);
  EXPECT_EQ(pool.acquire(), b[1]);
  EXPECT_EQ(pool.acquire(), b[2]);
  EXPECT_FALSE(entry_free(&pool, b[2]));
  EXPECT_EQ(pool.cache_lookup(30), nullptr);
  EXPECT_EQ(pool.buffers.size(), 4u);

  pool.cache_remove(10);
  EXPECT_TRUE(entry_free(&pool, b[3]));
  pool.give_back(b[2]);
  pool.cache_store(5, pool.acquire());
  pool.cache_store(6, pool.acquire());
  pool.cache_clear();
  EXPECT_TRUE(pool.cache.empty());
  for (auto& e : pool.buffers) EXPECT_TRUE(e.free == (e.buffer != b[0] && e.buffer != b[1]));
}

TEST(BufferPool, FreeingReportsBuffersStillInUse) {
  debug_capture capture;
  auto* pool = pool4f_create(4, 4, 3);
  pool4f_acquire_color_buffer(pool);
  pool4f_acquire_color_buffer(pool);
  pool4f_delete(pool);
  ASSERT_EQ(capture.messages.size(), 3u);
  EXPECT_EQ(capture.messages[0], "renderbuffer_pool_t::free_buffers() freeing 3 color buffers\r\n");
  EXPECT_EQ(capture.messages[1], "renderbuffer_pool_t::free_buffers() freeing color buffer still in use!\r\n");
  EXPECT_EQ(capture.messages[2], capture.messages[1]);

  capture.messages.clear();
  renderbuffer_pool_t empty(1, 1, 1);
  empty.free_buffers();
  EXPECT_TRUE(empty.buffers.empty());
  empty.free_buffers();
  EXPECT_EQ(capture.messages,
            (std::vector<std::string>{"renderbuffer_pool_t::free_buffers() freeing 1 color buffers\r\n",
                                      "renderbuffer_pool_t::free_buffers() freeing 0 color buffers\r\n"}));
}

TEST(BufferPool, ConcurrentHoldersNeverShareABufferInSteadyState) {
  auto* pool = pool4f_create(1, 1, 8);
  std::atomic<int> holders[8] = {};
  std::atomic<bool> shared{false};
  auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      imgbuf4f* b = pool4f_acquire_color_buffer(pool);
      std::size_t k = 0;
      while (pool->buffers[k].buffer != b) ++k;  // the vector never grows here
      if (holders[k].fetch_add(1) != 0) shared = true;
      holders[k].fetch_sub(1);
      pool4f_return_color_buffer(pool, b);
    }
  };
  std::thread t1(work), t2(work);
  t1.join();
  t2.join();
  EXPECT_FALSE(shared.load());
  EXPECT_EQ(pool->buffers.size(), 8u);
  pool4f_delete(pool);
}
