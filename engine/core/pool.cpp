// (Placeholder: a pool that allocates on every acquire; the real pool follows.)
#include "core/pool.h"

namespace quorin_engine {

renderbuffer_pool_t::renderbuffer_pool_t(uint32_t w, uint32_t h, uint32_t) : width(w), height(h) {}
renderbuffer_pool_t::~renderbuffer_pool_t() { free_buffers(); }
imgbuf4f* renderbuffer_pool_t::acquire() {
  std::lock_guard<std::recursive_mutex> g(lock);
  for (entry& e : buffers)
    if (e.free) { e.free = false; return e.buffer; }
  buffers.push_back({false, imgbuf4f_create(width, height)});
  return buffers.back().buffer;
}
void renderbuffer_pool_t::give_back(imgbuf4f* b) {
  std::lock_guard<std::recursive_mutex> g(lock);
  for (entry& e : buffers)
    if (e.buffer == b && !e.free) { e.free = true; return; }
}
imgbuf4f* renderbuffer_pool_t::cache_lookup(uint64_t) { return nullptr; }
void renderbuffer_pool_t::cache_store(uint64_t, imgbuf4f* b) { give_back(b); }
void renderbuffer_pool_t::cache_remove(uint64_t) {}
void renderbuffer_pool_t::cache_clear() {}
void renderbuffer_pool_t::free_buffers() {
  for (entry& e : buffers) imgbuf4f_delete(e.buffer);
  buffers.clear();
}

}  // namespace quorin_engine
