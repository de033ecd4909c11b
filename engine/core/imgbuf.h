// The one image type: interleaved RGBA floats, 16-byte aligned, rows contiguous.
#pragma once
#include <cstdint>
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

constexpr uint32_t imgbuf4f_head_guard = 0x49cebafd;
constexpr uint32_t imgbuf4f_tail_guard = 0xbafd49ce;

struct imgbuf4f {
  uint32_t head_guard;
  uint32_t width;
  uint32_t height;
  float* pixels;  // 16-byte aligned, owned
  uint32_t tail_guard;
};

// Row stride in bytes, in its rounded form, in 32-bit arithmetic (wraps for huge widths).
inline uint32_t imgbuf4f_stride_bytes(uint32_t width) { return (width * 16u + 15u) & ~15u; }

// Pointer to pixel (x, y); no checks.
inline float* pixel_at(imgbuf4f& buf, uint32_t x, uint32_t y) {
  return buf.pixels + (static_cast<std::size_t>(y) * buf.width + x) * 4;
}
inline const float* pixel_at(const imgbuf4f& buf, uint32_t x, uint32_t y) {
  return buf.pixels + (static_cast<std::size_t>(y) * buf.width + x) * 4;
}

}  // namespace quorin_engine
