// The image buffer family and the 8-bit display conversions.
#include "core/imgbuf.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace quorin_engine {
namespace {

// Conversion of a double to a 64-bit integer by truncation. Values that do not fit (and NaN) give
// the processor's "integer indefinite" 0x8000000000000000, whose low byte is 0, as the hardware
// conversion does; the check keeps the result defined in the language as well.
inline int64_t truncate_to_int64(double v) {
  if (v > -9223372036854775808.0 && v < 9223372036854775808.0) return static_cast<int64_t>(v);
  return INT64_MIN;
}

// The display byte of a channel value: the low eight bits of truncate(v * 255.0 + 0.5). No clamp.
inline uint8_t display_byte(float v) {
  return static_cast<uint8_t>(static_cast<uint64_t>(truncate_to_int64(v * 255.0 + 0.5)) & 0xffu);
}

inline const float* row_pointer(const imgbuf4f& buf, uint32_t y) {
  return buf.pixels + static_cast<std::size_t>(y) * (imgbuf4f_stride_bytes(buf.width) / 4u);
}

}  // namespace
}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API imgbuf4f* imgbuf4f_create(uint32_t width, uint32_t height) {
  auto* buf = new imgbuf4f{imgbuf4f_head_guard, width, height, nullptr, imgbuf4f_tail_guard};
  std::size_t bytes = std::size_t(imgbuf4f_stride_bytes(width)) * height;
  // An empty image still gets a (minimal) block, so that "no pixel data" stays reserved for
  // structures built in place without storage.
  buf->pixels = static_cast<float*>(std::aligned_alloc(16, bytes ? bytes : 16));
  if (!buf->pixels) {
    delete buf;
    throw std::bad_alloc();
  }
  return buf;
}

QUORIN_EXTERN_C QUORIN_API void imgbuf4f_delete(imgbuf4f* buf) {
  if (!buf) return;
  std::free(buf->pixels);
  delete buf;
}

QUORIN_EXTERN_C QUORIN_API void imgbuf4f_copy_buffer_content_from(imgbuf4f* dst, const imgbuf4f* src) {
  // Same width and same height: an equal pixel count of another shape is not enough.
  if (dst->width != src->width || dst->height != src->height) return;
  std::size_t bytes = std::size_t(dst->width) * 16u * dst->height;
  if (bytes && dst->pixels && src->pixels && dst->pixels != src->pixels)
    std::memcpy(dst->pixels, src->pixels, bytes);
}

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_channels(const imgbuf4f*) { return 4; }

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_width(const imgbuf4f* buf) { return buf->width; }

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_height(const imgbuf4f* buf) { return buf->height; }

QUORIN_EXTERN_C QUORIN_API float* imgbuf4f_buf(imgbuf4f* buf) { return buf->pixels; }

QUORIN_EXTERN_C QUORIN_API float* imgbuf4f_row(imgbuf4f* buf, uint32_t y) {
  if (!buf->pixels || y >= buf->height) return nullptr;
  return const_cast<float*>(row_pointer(*buf, y));
}

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_stride_in_bytes(const imgbuf4f* buf) {
  return imgbuf4f_stride_bytes(buf->width);
}

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_stride_in_elems(const imgbuf4f* buf) {
  return imgbuf4f_stride_bytes(buf->width) / 4u;
}

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_buf_size(const imgbuf4f* buf) {
  return imgbuf4f_stride_bytes(buf->width) * buf->height;
}

QUORIN_EXTERN_C QUORIN_API void imgbuf4f_clear(imgbuf4f* buf) {
  if (!buf->pixels) return;
  std::memset(buf->pixels, 0, std::size_t(imgbuf4f_stride_bytes(buf->width)) * buf->height);
}

QUORIN_EXTERN_C QUORIN_API void imgbuf4f_set_channel(imgbuf4f* buf, uint32_t channel, float value) {
  if (!buf->pixels) return;
  for (uint32_t y = 0; y < buf->height; ++y) {
    float* p = const_cast<float*>(row_pointer(*buf, y)) + channel;
    for (uint32_t x = 0; x < buf->width; ++x, p += 4) *p = value;
  }
}

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_alignment(void) { return 16; }

QUORIN_EXTERN_C QUORIN_API uint32_t imgbuf4f_elem_size(void) { return 16; }

QUORIN_EXTERN_C QUORIN_API void engine_convertline_b8g8r8x8(uint8_t* dst, const imgbuf4f* buf, uint32_t y) {
  if (y >= buf->height || !buf->pixels) return;
  const float* p = row_pointer(*buf, y);
  const uint32_t w = buf->width;
  uint32_t x = 0;
  // Four pixels per pass; every byte is computed exactly as in the single-pixel tail.
  for (; x + 4 <= w; x += 4, p += 16, dst += 16) {
    for (uint32_t k = 0; k < 4; ++k) {
      dst[4 * k + 0] = display_byte(p[4 * k + 2]);
      dst[4 * k + 1] = display_byte(p[4 * k + 1]);
      dst[4 * k + 2] = display_byte(p[4 * k + 0]);
      dst[4 * k + 3] = 255;
    }
  }
  for (; x < w; ++x, p += 4, dst += 4) {
    dst[0] = display_byte(p[2]);
    dst[1] = display_byte(p[1]);
    dst[2] = display_byte(p[0]);
    dst[3] = 255;
  }
}

QUORIN_EXTERN_C QUORIN_API void engine_convertline_b8g8r8x8_withalpha(uint8_t* dst, const imgbuf4f* buf,
                                                                     uint32_t y) {
  if (y >= buf->height || !buf->pixels) return;
  const float* p = row_pointer(*buf, y);
  for (uint32_t x = 0; x < buf->width; ++x, p += 4, dst += 4) {
    // 16-pixel squares, the darker one at the top left.
    const float checker = ((x ^ y) & 16u) ? 0.8f : 0.6f;
    const float a = p[3];
    const float r = (1.0f - a) * checker + a * p[0];
    const float g = (1.0f - a) * checker + a * p[1];
    const float b = (1.0f - a) * checker + a * p[2];
    dst[0] = display_byte(b);
    dst[1] = display_byte(g);
    dst[2] = display_byte(r);
    dst[3] = 255;
  }
}
