// Operators rendered over images that the test writes: each source is a node whose image sits clean
// in the pool's cache, so the operator reads exactly the pixels the test made, through the same
// input holders and dispatch as any render.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "core/pool.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "quorin/engine.h"
#include "quorin/node.h"

namespace optest {

using namespace quorin_engine;
using px4 = std::array<float, 4>;
using params_list = std::initializer_list<std::pair<const char16_t*, const char16_t*>>;
using image_ptr = std::unique_ptr<imgbuf4f, void (*)(imgbuf4f*)>;

inline px4 rgba(const float* c) { return {c[0], c[1], c[2], c[3]}; }
inline px4 pixel(const imgbuf4f& img, uint32_t x, uint32_t row) { return rgba(pixel_at(img, x, row)); }

struct op_rig {
  uint32_t width, height;
  renderbuffer_pool_t pool;
  std::vector<std::unique_ptr<shadetree_node_t>> nodes;

  // The pool starts with buffers enough for a test's images: one that grows hands its first new buffer
  // out twice.
  op_rig(uint32_t w, uint32_t h) : width(w), height(h), pool(w, h, 24) {
    if (nodetype_specs().empty()) init();
    pool.cache_capacity = 64;
  }

  // A node of the type with the catalogue's defaults and the given texts, owned by the rig.
  shadetree_node_t* node(uint32_t type_id, params_list params = {}) {
    nodes.push_back(std::make_unique<shadetree_node_t>(type_id));
    for (auto& [name, value] : params) nodes.back()->params[name] = value;
    return nodes.back().get();
  }

  // A source whose image holds fill(x, row, px) for every pixel; `row` counts memory rows from the
  // first one.
  template <class Fill>
  shadetree_node_t* image(Fill fill) {
    shadetree_node_t* src = node(0);
    imgbuf4f* buf = pool.acquire();
    for (uint32_t r = 0; r < height; ++r)
      for (uint32_t x = 0; x < width; ++x) fill(x, r, pixel_at(*buf, x, r));
    pool.cache_store(static_cast<uint64_t>(reinterpret_cast<uintptr_t>(src)), buf);
    src->caching_dirty = false;
    src->thumbnail_caching_dirty = false;
    return src;
  }
  // A source of one colour.
  shadetree_node_t* constant(px4 c) {
    return image([c](uint32_t, uint32_t, float* px) { std::copy(c.begin(), c.end(), px); });
  }

  static void connect(shadetree_node_t* op, const char16_t* input, shadetree_node_t* source) {
    op->input_connections[input] = source;
  }

  // Renders the node through the driver into a new target that starts with a value no routine
  // writes, so that a missed pixel shows.
  image_ptr render(shadetree_node_t* op, bool preview = false, bool preview_supersampling = false) {
    image_ptr target(imgbuf4f_create(width, height), imgbuf4f_delete);
    std::fill_n(target->pixels, std::size_t(width) * height * 4, -12345.0f);
    renderctx ctx{target.get(), false, &pool, false, preview, preview_supersampling, false, nullptr};
    node_render(op, &ctx);
    return target;
  }
};

}  // namespace optest
