// The render buffer pool: buffers of one size handed out and given back under a recursive lock,
// with a node-keyed cache (capacity 0, so it retains nothing, but complete).
#include "core/pool.h"

#include <cstdio>
#include "core/debug_output.h"
#include "core/text.h"
#include "quorin/pool4f.h"

namespace quorin_engine {

using pool_guard = std::lock_guard<std::recursive_mutex>;

renderbuffer_pool_t::renderbuffer_pool_t(uint32_t w, uint32_t h, uint32_t count)
    : width(w), height(h) {
  buffers.reserve(count);
  try {
    for (uint32_t i = 0; i < count; ++i) buffers.push_back({true, imgbuf4f_create(width, height)});
  } catch (...) {
    for (entry& e : buffers) imgbuf4f_delete(e.buffer);
    throw;
  }
}

renderbuffer_pool_t::~renderbuffer_pool_t() {
  cache_clear();
  free_buffers();
}

imgbuf4f* renderbuffer_pool_t::acquire() {
  pool_guard g(lock);
  for (entry& e : buffers) {
    if (e.free) {
      e.free = false;
      return e.buffer;
    }
  }
  if (!cache.empty()) {
    // Eviction takes the largest key; it says nothing about age. The buffer stays marked in use.
    auto last = std::prev(cache.end());
    imgbuf4f* b = last->second;
    cache.erase(last);
    return b;
  }
  // Grow by doubling. The first new entry is handed out but keeps its free mark, so the next
  // acquire hands the same buffer out again; callers must not assume that two buffers taken right
  // after a growth differ. A pool that was created empty grows to one entry.
  const std::size_t n = buffers.size();
  const std::size_t add = n ? n : 1;
  buffers.reserve(n + add);
  for (std::size_t i = 0; i < add; ++i) buffers.push_back({true, imgbuf4f_create(width, height)});
  return buffers[n].buffer;
}

void renderbuffer_pool_t::give_back(imgbuf4f* buffer) {
  pool_guard g(lock);
  for (entry& e : buffers) {
    if (e.buffer == buffer && !e.free) {
      e.free = true;
      return;
    }
  }
}

imgbuf4f* renderbuffer_pool_t::cache_lookup(uint64_t key) {
  pool_guard g(lock);
  if (cache_capacity == 0) return nullptr;
  auto it = cache.find(key);
  return it == cache.end() ? nullptr : it->second;
}

void renderbuffer_pool_t::cache_store(uint64_t key, imgbuf4f* buffer) {
  pool_guard g(lock);
  if (cache_capacity == 0) {
    give_back(buffer);
    return;
  }
  auto it = cache.find(key);
  if (it == cache.end()) {
    if (cache.size() >= cache_capacity) {
      auto last = std::prev(cache.end());
      imgbuf4f* evicted = last->second;
      cache.erase(last);
      give_back(evicted);
    }
    cache.emplace(key, buffer);
    return;
  }
  if (it->second == buffer) return;
  give_back(it->second);
  it->second = buffer;
}

void renderbuffer_pool_t::cache_remove(uint64_t key) {
  pool_guard g(lock);
  if (cache_capacity == 0) return;
  auto it = cache.find(key);
  if (it == cache.end()) return;
  imgbuf4f* b = it->second;
  cache.erase(it);
  give_back(b);
}

void renderbuffer_pool_t::cache_clear() {
  pool_guard g(lock);
  if (cache_capacity == 0) return;
  for (auto& kv : cache) give_back(kv.second);
  cache.clear();
}

void renderbuffer_pool_t::free_buffers() {
  pool_guard g(lock);
  char text[96];
  std::snprintf(text, sizeof text, "renderbuffer_pool_t::free_buffers() freeing %u color buffers\r\n",
                static_cast<unsigned>(buffers.size()));
  debug_output(from_ascii(text));
  for (entry& e : buffers) {
    if (!e.free) debug_output(u"renderbuffer_pool_t::free_buffers() freeing color buffer still in use!\r\n");
    imgbuf4f_delete(e.buffer);
  }
  buffers.clear();
}

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API renderbuffer_pool_t* pool4f_create(uint32_t width, uint32_t height, uint32_t count) {
  return new renderbuffer_pool_t(width, height, count);
}

QUORIN_EXTERN_C QUORIN_API void pool4f_delete(renderbuffer_pool_t* pool) { delete pool; }

QUORIN_EXTERN_C QUORIN_API imgbuf4f* pool4f_acquire_color_buffer(renderbuffer_pool_t* pool) {
  return pool->acquire();
}

QUORIN_EXTERN_C QUORIN_API void pool4f_return_color_buffer(renderbuffer_pool_t* pool, imgbuf4f* buffer) {
  pool->give_back(buffer);
}
