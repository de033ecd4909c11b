// The render context: travels down the recursion of node_render. Owns nothing it points to.
#pragma once
#include "core/imgbuf.h"

namespace quorin_engine {

struct renderbuffer_pool_t;
struct project;

struct renderctx {
  imgbuf4f* target_buf;
  bool targetbuf_from_cache;
  renderbuffer_pool_t* pool;
  bool for_thumbnail;
  bool for_preview;
  bool preview_supersampling;
  bool is_anim;
  quorin_engine::project* project;
};

}  // namespace quorin_engine
