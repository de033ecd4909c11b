// Rendering a generator node into a small target and comparing it bit for bit with a reference.
#pragma once
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "core/imgbuf.h"
#include "core/pool.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "quorin/engine.h"

namespace gentest {

using namespace quorin_engine;
using px4 = std::array<float, 4>;

struct image_deleter {
  void operator()(imgbuf4f* b) const { imgbuf4f_delete(b); }
};
using image_ptr = std::unique_ptr<imgbuf4f, image_deleter>;

// A target whose pixels hold a pattern no generator writes, so that a missed pixel shows.
inline image_ptr make_target(uint32_t w, uint32_t h) {
  image_ptr img(imgbuf4f_create(w, h));
  for (std::size_t i = 0; i < std::size_t(w) * h * 4; ++i) img->pixels[i] = -12345.0f;
  return img;
}

using params_list = std::initializer_list<std::pair<const char16_t*, const char16_t*>>;

struct render_options {
  bool for_preview = false;
  bool preview_supersampling = false;
};

// Sets parameter texts; a null value removes the stored text.
inline void set_params(shadetree_node_t& node, params_list params) {
  for (auto& [name, value] : params) {
    if (value)
      node.params[name] = value;
    else
      node.params.erase(name);
  }
}

// The engine's catalogue, loaded once for this executable (enum texts and defaults come from it).
inline void engine_up() {
  if (nodetype_specs().empty()) init();
}

// Creates a node of the type (with the catalogue's defaults), sets the given parameter texts and
// calls the routine directly.
inline image_ptr render_node(uint32_t type_id, params_list params, uint32_t w, uint32_t h,
                             void (*routine)(shadetree_node_t&, const renderctx&),
                             render_options opt = {}) {
  engine_up();
  shadetree_node_t node(type_id);
  set_params(node, params);
  renderbuffer_pool_t pool(w, h, 0);
  image_ptr target = make_target(w, h);
  renderctx ctx{};
  ctx.target_buf = target.get();
  ctx.pool = &pool;
  ctx.for_preview = opt.for_preview;
  ctx.preview_supersampling = opt.preview_supersampling;
  routine(node, ctx);
  return target;
}

inline px4 pixel(const imgbuf4f& img, uint32_t x, uint32_t y) {
  const float* p = pixel_at(img, x, y);
  return {p[0], p[1], p[2], p[3]};
}

inline px4 grey(float v) { return {v, v, v, 1.0f}; }

// Every float of every pixel equals the reference's, bit for bit.
template <class Ref>
::testing::AssertionResult same_image(const imgbuf4f& img, Ref ref) {
  uint32_t mismatches = 0;
  std::string first;
  for (uint32_t y = 0; y < img.height; ++y)
    for (uint32_t x = 0; x < img.width; ++x) {
      px4 want = ref(x, y);
      px4 got = pixel(img, x, y);
      for (int i = 0; i < 4; ++i)
        if (std::bit_cast<uint32_t>(want[i]) != std::bit_cast<uint32_t>(got[i])) {
          if (mismatches++ == 0) {
            char buf[200];
            std::snprintf(buf, sizeof buf, "first at (%u,%u) channel %d: got %.9g want %.9g", x, y, i,
                          double(got[i]), double(want[i]));
            first = buf;
          }
          break;
        }
    }
  if (mismatches == 0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << mismatches << " pixels differ; " << first;
}

inline ::testing::AssertionResult uniform_image(const imgbuf4f& img, px4 value) {
  return same_image(img, [&](uint32_t, uint32_t) { return value; });
}

}  // namespace gentest
