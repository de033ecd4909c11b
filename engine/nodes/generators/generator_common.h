// Small helpers shared by the generator families: fetching and clamping of values, pixel writes.
#pragma once
#include <cstdint>
#include <cstring>
#include "core/imgbuf.h"
#include "core/row_bands.h"
#include "document/node.h"
#include "eval/fetch.h"

namespace quorin_engine::gen {

inline float clamp_float(float v, float lo, float hi) {
  if (v < lo) return lo;
  if (v > hi) return hi;
  return v;
}
inline uint32_t clamp_uint(uint32_t v, uint32_t lo, uint32_t hi) {
  if (v < lo) return lo;
  if (v > hi) return hi;
  return v;
}
inline uint32_t limit_enum(uint32_t v, uint32_t last) { return v > last ? last : v; }

// Fetches of a value whose input has the parameter's name.
inline float fetch_float(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name, float def) {
  return fetch_float_input(node, ctx, name, node.connected(name), def);
}
inline uint32_t fetch_uint(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name, uint32_t def) {
  return fetch_uint_input(node, ctx, name, node.connected(name), def);
}
inline uint32_t fetch_enum(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name, uint32_t def) {
  return fetch_enum_input(node, ctx, name, node.connected(name), def);
}

// A colour parameter with no stored value keeps the constant already in `out`.
inline void fetch_color_or(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name,
                           float out[4]) {
  float c[4];
  if (fetch_color_input(node, ctx, name, node.connected(name), c)) std::memcpy(out, c, sizeof c);
}

// Limits a value to 0..1; a value that is not a number passes through.
inline float clamp01(float v) {
  if (v < 0.0f) return 0.0f;
  if (v > 1.0f) return 1.0f;
  return v;
}

inline float* row_ptr(imgbuf4f& out, uint32_t y) {
  return out.pixels + static_cast<std::size_t>(y) * out.width * 4;
}

inline void put_grey(float* px, float v) {
  px[0] = v;
  px[1] = v;
  px[2] = v;
  px[3] = 1.0f;
}
inline void put_color(float* px, const float c[4]) {
  px[0] = c[0];
  px[1] = c[1];
  px[2] = c[2];
  px[3] = c[3];
}

// Fills every pixel of the image with one colour.
inline void fill_color(imgbuf4f& out, const float c[4]) {
  std::size_t n = static_cast<std::size_t>(out.width) * out.height;
  float* p = out.pixels;
  for (std::size_t i = 0; i < n; ++i, p += 4) put_color(p, c);
}

}  // namespace quorin_engine::gen
