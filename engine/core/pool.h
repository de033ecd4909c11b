// The render buffer pool: buffers of one size, free or in use, and a node-keyed cache.
#pragma once
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>
#include "core/imgbuf.h"

namespace quorin_engine {

struct renderbuffer_pool_t {
  struct entry {
    bool free;
    imgbuf4f* buffer;
  };

  uint32_t head_guard = 0x2adcefb1;
  std::vector<entry> buffers;
  std::map<uint64_t, imgbuf4f*> cache;  // key: the address of the node whose image it is
  uint32_t width;
  uint32_t height;
  uint32_t cache_capacity = 0;
  std::recursive_mutex lock;
  uint32_t tail_guard = 0xefb1dc2a;

  renderbuffer_pool_t(uint32_t width, uint32_t height, uint32_t count);
  ~renderbuffer_pool_t();  // cache_clear, free_buffers
  renderbuffer_pool_t(const renderbuffer_pool_t&) = delete;
  renderbuffer_pool_t& operator=(const renderbuffer_pool_t&) = delete;

  imgbuf4f* acquire();
  void give_back(imgbuf4f* buffer);
  imgbuf4f* cache_lookup(uint64_t key);
  void cache_store(uint64_t key, imgbuf4f* buffer);
  void cache_remove(uint64_t key);
  void cache_clear();
  void free_buffers();
};

}  // namespace quorin_engine
