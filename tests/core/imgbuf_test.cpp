#include <gtest/gtest.h>

#include <cstring>
#include <vector>
#include "quorin/imgbuf4f.h"

namespace {

struct buffer_deleter {
  void operator()(qr_imgbuf4f* b) const { imgbuf4f_delete(b); }
};
using buffer_ptr = std::unique_ptr<qr_imgbuf4f, buffer_deleter>;

buffer_ptr make(uint32_t w, uint32_t h) { return buffer_ptr(imgbuf4f_create(w, h)); }

void set_pixel(qr_imgbuf4f* b, uint32_t x, uint32_t y, float r, float g, float bl, float a) {
  float* p = imgbuf4f_row(b, y) + 4 * x;
  p[0] = r; p[1] = g; p[2] = bl; p[3] = a;
}

}  // namespace

TEST(ImageBuffer, GeometryAndRowAddressing) {
  auto b = make(3, 5);
  EXPECT_EQ(imgbuf4f_width(b.get()), 3u);
  EXPECT_EQ(imgbuf4f_height(b.get()), 5u);
  EXPECT_EQ(imgbuf4f_channels(b.get()), 4u);
  EXPECT_EQ(imgbuf4f_stride_in_bytes(b.get()), 48u);
  EXPECT_EQ(imgbuf4f_stride_in_elems(b.get()), 12u);
  EXPECT_EQ(imgbuf4f_buf_size(b.get()), 240u);
  EXPECT_EQ(imgbuf4f_alignment(), 16u);
  EXPECT_EQ(imgbuf4f_elem_size(), 16u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(imgbuf4f_buf(b.get())) % 16, 0u);
  EXPECT_EQ(imgbuf4f_row(b.get(), 0), imgbuf4f_buf(b.get()));
  EXPECT_EQ(imgbuf4f_row(b.get(), 4), imgbuf4f_buf(b.get()) + 48);
  EXPECT_EQ(imgbuf4f_row(b.get(), 5), nullptr);
  imgbuf4f_delete(nullptr);
}

TEST(ImageBuffer, ClearSetChannelAndCopy) {
  auto b = make(4, 3);
  std::memset(imgbuf4f_buf(b.get()), 0x7f, imgbuf4f_buf_size(b.get()));
  imgbuf4f_clear(b.get());
  const float* p = imgbuf4f_buf(b.get());
  for (uint32_t i = 0; i < 4 * 4 * 3; ++i) ASSERT_EQ(p[i], 0.0f) << i;  // alpha included

  imgbuf4f_set_channel(b.get(), 3, 0.75f);
  imgbuf4f_set_channel(b.get(), 1, -2.0f);
  for (uint32_t i = 0; i < 12; ++i) {
    EXPECT_EQ(p[4 * i + 0], 0.0f);
    EXPECT_EQ(p[4 * i + 1], -2.0f);
    EXPECT_EQ(p[4 * i + 3], 0.75f);
  }

  auto same = make(4, 3);
  imgbuf4f_copy_buffer_content_from(same.get(), b.get());
  EXPECT_EQ(std::memcmp(imgbuf4f_buf(same.get()), p, 4 * 3 * 16), 0);

  // Same pixel count, other shape: nothing is copied.
  auto other = make(3, 4);
  imgbuf4f_clear(other.get());
  imgbuf4f_copy_buffer_content_from(other.get(), b.get());
  for (uint32_t i = 0; i < 4 * 12; ++i) ASSERT_EQ(imgbuf4f_buf(other.get())[i], 0.0f);
}

TEST(LineConversion, BytesWrapWithoutClamping) {
  auto b = make(6, 2);
  set_pixel(b.get(), 0, 1, 1.0f, 0.0f, -0.01f, 0.0f);
  set_pixel(b.get(), 1, 1, 1.5f, 0.5f, 2.0f, 1.0f);
  set_pixel(b.get(), 2, 1, 1e20f, -1e20f, 0.2f, 1.0f);
  set_pixel(b.get(), 3, 1, 0.0f, 0.0f, 0.0f, 0.5f);
  set_pixel(b.get(), 4, 1, 1.0f, 0.0f, -0.01f, 0.0f);  // same as pixel 0, handled after the 4-pixel pass
  set_pixel(b.get(), 5, 1, 1.5f, 0.5f, 2.0f, 1.0f);
  std::vector<uint8_t> row(24, 0xAA);
  engine_convertline_b8g8r8x8(row.data(), b.get(), 1);
  // Blue, green, red, 255: 1.0 -> 255, 0.0 -> 0, -0.01 -> 254, 1.5 -> 127, 2.0 -> 254 (510.5).
  const std::vector<uint8_t> expected = {254, 0, 255, 255, 254, 128, 127, 255, 51, 0, 0, 255,
                                         0,   0, 0,   255, 254, 0,   255, 255, 254, 128, 127, 255};
  EXPECT_EQ(row, expected);

  std::vector<uint8_t> untouched(24, 0xAA);
  engine_convertline_b8g8r8x8(untouched.data(), b.get(), 2);
  engine_convertline_b8g8r8x8_withalpha(untouched.data(), b.get(), 2);
  EXPECT_EQ(untouched, std::vector<uint8_t>(24, 0xAA));
}

TEST(LineConversion, AlphaOverCheckerboard) {
  auto b = make(40, 20);
  imgbuf4f_clear(b.get());  // fully transparent: the checkerboard alone
  std::vector<uint8_t> row(40 * 4);
  engine_convertline_b8g8r8x8_withalpha(row.data(), b.get(), 0);
  EXPECT_EQ(row[0], 153);        // (0, 0): 0.6
  EXPECT_EQ(row[15 * 4], 153);   // (15, 0): still the first square
  EXPECT_EQ(row[16 * 4], 204);   // (16, 0): 0.8
  EXPECT_EQ(row[16 * 4 + 3], 255);
  EXPECT_EQ(row[32 * 4], 153);
  engine_convertline_b8g8r8x8_withalpha(row.data(), b.get(), 16);
  EXPECT_EQ(row[0], 204);        // (0, 16): 0.8
  EXPECT_EQ(row[16 * 4], 153);   // (16, 16): 0.6

  set_pixel(b.get(), 1, 0, 0.2f, 0.2f, 0.2f, 1.0f);  // opaque: the pixel alone
  set_pixel(b.get(), 2, 0, 1.0f, 0.0f, 1.0f, 0.5f);  // half over 0.6: 0.8, 0.3, 0.8
  set_pixel(b.get(), 3, 0, 0.0f, 0.0f, 0.0f, 2.0f);  // alpha beyond 1: -0.6 gives -152, byte 104
  engine_convertline_b8g8r8x8_withalpha(row.data(), b.get(), 0);
  EXPECT_EQ(std::vector<uint8_t>(row.begin() + 4, row.begin() + 16),
            (std::vector<uint8_t>{51, 51, 51, 255, 204, 77, 204, 255, 104, 104, 104, 255}));
}
