// Rendering generators into small targets and comparing images bit for bit.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>

#include "core/pool.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "quorin/engine.h"

namespace gentest {

using namespace quorin_engine;
using px4 = std::array<float, 4>;
using params_list = std::initializer_list<std::pair<const char16_t*, const char16_t*>>;
using routine_fn = void (*)(shadetree_node_t&, const renderctx&);

using image_ptr = std::unique_ptr<imgbuf4f, void (*)(imgbuf4f*)>;

// A target holding a value no generator writes, so that a missed pixel shows.
inline image_ptr make_target(uint32_t w = 37, uint32_t h = 23) {
  image_ptr img(imgbuf4f_create(w, h), imgbuf4f_delete);
  std::fill_n(img->pixels, std::size_t(w) * h * 4, -12345.0f);
  return img;
}
template <class Params>
image_ptr filled(void (*fill)(const Params&, imgbuf4f&), const Params& p, uint32_t w = 37, uint32_t h = 23) {
  image_ptr img = make_target(w, h);
  fill(p, *img);
  return img;
}

// A node with the catalogue's defaults and the given texts; a null text removes the stored one.
inline std::unique_ptr<shadetree_node_t> make_node(uint32_t type_id, params_list params) {
  if (nodetype_specs().empty()) init();
  auto node = std::make_unique<shadetree_node_t>(type_id);
  for (auto& [name, value] : params) value ? void(node->params[name] = value) : void(node->params.erase(name));
  return node;
}

inline image_ptr render_node(uint32_t type_id, params_list params, routine_fn routine, uint32_t w = 37,
                             uint32_t h = 23, bool preview = false, bool preview_supersampling = false) {
  auto node = make_node(type_id, params);
  renderbuffer_pool_t pool(w, h, 0);
  image_ptr target = make_target(w, h);
  routine(*node, renderctx{target.get(), false, &pool, false, preview, preview_supersampling, false, nullptr});
  return target;
}

inline px4 rgba(const float* c) { return {c[0], c[1], c[2], c[3]}; }
inline px4 pixel(const imgbuf4f& img, uint32_t x, uint32_t y) { return rgba(pixel_at(img, x, y)); }
inline px4 grey(float v) { return {v, v, v, 1.0f}; }

// Every float of every pixel equals the reference's, bit for bit.
template <class Ref>
::testing::AssertionResult same_image(const imgbuf4f& img, Ref ref) {
  uint32_t bad = 0;
  ::testing::Message first;
  for (uint32_t y = 0; y < img.height; ++y)
    for (uint32_t x = 0; x < img.width; ++x) {
      px4 want = ref(x, y), got = pixel(img, x, y);
      if (std::memcmp(&want, &got, sizeof want) != 0 && bad++ == 0)
        first << "first at (" << x << "," << y << "): got " << ::testing::PrintToString(got) << " want "
              << ::testing::PrintToString(want);
    }
  return bad ? ::testing::AssertionFailure() << bad << " pixels differ; " << first : ::testing::AssertionSuccess();
}
inline ::testing::AssertionResult same_image(const imgbuf4f& img, const imgbuf4f& other) {
  return same_image(img, [&](uint32_t x, uint32_t y) { return pixel(other, x, y); });
}
inline ::testing::AssertionResult uniform_image(const imgbuf4f& img, px4 value) {
  return same_image(img, [&](uint32_t, uint32_t) { return value; });
}

}  // namespace gentest
