// Image buffers, their conversion to display rows, and colour texts.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>
#include <vector>
#include "core/color.h"
#include "core/text.h"
#include "quorin/imgbuf4f.h"

using namespace quorin_engine;

using buffer_ptr = std::unique_ptr<qr_imgbuf4f, void (*)(qr_imgbuf4f*)>;
static buffer_ptr make(uint32_t w, uint32_t h) { return buffer_ptr(imgbuf4f_create(w, h), imgbuf4f_delete); }
static void set_pixel(qr_imgbuf4f* b, uint32_t x, uint32_t y, std::vector<float> v) {
  std::memcpy(imgbuf4f_row(b, y) + 4 * x, v.data(), 16);
}

TEST(ImageBuffer, GeometryClearSetChannelAndCopy) {
  auto b = make(3, 5);
  EXPECT_EQ(std::make_tuple(imgbuf4f_stride_in_bytes(b.get()), imgbuf4f_stride_in_elems(b.get()),
                            imgbuf4f_buf_size(b.get()), reinterpret_cast<uintptr_t>(imgbuf4f_buf(b.get())) % 16),
            std::make_tuple(48u, 12u, 240u, 0u));
  EXPECT_EQ(imgbuf4f_row(b.get(), 4), imgbuf4f_buf(b.get()) + 48);
  EXPECT_EQ(imgbuf4f_row(b.get(), 5), nullptr);

  std::memset(imgbuf4f_buf(b.get()), 0x7f, 240);
  imgbuf4f_clear(b.get());
  imgbuf4f_set_channel(b.get(), 1, -2.0f);
  const float* p = imgbuf4f_buf(b.get());
  for (uint32_t i = 0; i < 60; ++i) ASSERT_EQ(p[i], i % 4 == 1 ? -2.0f : 0.0f) << i;  // alpha cleared too

  auto same = make(3, 5), other = make(5, 3);
  imgbuf4f_copy_buffer_content_from(same.get(), b.get());
  EXPECT_EQ(std::memcmp(imgbuf4f_buf(same.get()), p, 240), 0);
  imgbuf4f_clear(other.get());
  imgbuf4f_copy_buffer_content_from(other.get(), b.get());  // same pixel count, other shape: no copy
  for (uint32_t i = 0; i < 60; ++i) ASSERT_EQ(imgbuf4f_buf(other.get())[i], 0.0f);
}

TEST(LineConversion, BytesWrapWithoutClamping) {
  auto b = make(6, 2);  // pixels 4 and 5 repeat 0 and 1 after the four-pixel pass
  for (uint32_t x : {0u, 4u}) set_pixel(b.get(), x, 1, {1.0f, 0.0f, -0.01f, 0.0f});
  for (uint32_t x : {1u, 5u}) set_pixel(b.get(), x, 1, {1.5f, 0.5f, 2.0f, 1.0f});
  set_pixel(b.get(), 2, 1, {1e20f, -1e20f, 0.2f, 1.0f});
  set_pixel(b.get(), 3, 1, {0.0f, 0.0f, 0.0f, 0.5f});
  std::vector<uint8_t> row(24, 0xAA), untouched(24, 0xAA);
  engine_convertline_b8g8r8x8(row.data(), b.get(), 1);
  // Blue, green, red, 255: 1.0 -> 255, -0.01 -> 254, 1.5 -> 127, 2.0 -> 254 (510.5).
  EXPECT_EQ(row, (std::vector<uint8_t>{254, 0, 255, 255, 254, 128, 127, 255, 51, 0, 0, 255,
                                       0, 0, 0, 255, 254, 0, 255, 255, 254, 128, 127, 255}));
  engine_convertline_b8g8r8x8(untouched.data(), b.get(), 2);
  engine_convertline_b8g8r8x8_withalpha(untouched.data(), b.get(), 2);
  EXPECT_EQ(untouched, std::vector<uint8_t>(24, 0xAA));
}

TEST(LineConversion, AlphaOverCheckerboard) {
  auto b = make(40, 20);
  imgbuf4f_clear(b.get());
  std::vector<uint8_t> row(40 * 4);
  engine_convertline_b8g8r8x8_withalpha(row.data(), b.get(), 16);
  EXPECT_EQ(std::make_tuple(row[0], row[16 * 4]), std::make_tuple(204, 153));  // (0, 16), (16, 16)
  set_pixel(b.get(), 1, 0, {0.2f, 0.2f, 0.2f, 1.0f});  // opaque: the pixel alone
  set_pixel(b.get(), 2, 0, {1.0f, 0.0f, 1.0f, 0.5f});  // half over 0.6: 0.8, 0.3, 0.8
  set_pixel(b.get(), 3, 0, {0.0f, 0.0f, 0.0f, 2.0f});  // alpha beyond 1: -0.6 gives byte 104
  engine_convertline_b8g8r8x8_withalpha(row.data(), b.get(), 0);
  EXPECT_EQ(std::vector<uint8_t>(row.begin(), row.begin() + 16),
            (std::vector<uint8_t>{153, 153, 153, 255, 51, 51, 51, 255, 204, 77, 204, 255, 104, 104, 104, 255}));
  EXPECT_EQ(std::make_tuple(row[15 * 4], row[16 * 4], row[16 * 4 + 3]), std::make_tuple(153, 204, 255));  // x 15, 16
}

TEST(ColorText, FloatAndByteFormsAndIncompleteTexts) {
  struct { const char16_t* text; std::vector<float> rgba; } cases[] = {
      {u"( 0.1, 0.2,0.3,0.4)", {0.1f, 0.2f, 0.3f, 0.4f}},
      {u"bytes(255,0,128)", {1.0f, 0.0f, static_cast<float>(128 / 255.0), 1.0f}},
      {u"Bytes(128,0.5,0)", {128.0f, 0.5f, 0.0f, 1.0f}},  // only the exact prefix reads integers
      {u"bytes(0.9,255,255,51)", {0.0f, 1.0f, 1.0f, 0.2f}},
      {u"(0.5,0.5)", {0.5f, 0.0f, 0.0f, 1.0f}},  // two components set red alone
      {u"(0.1,0.2,0.3", {0.0f, 0.0f, 0.0f, 1.0f}},  // no ")": black, still a success
      {u"(x,y,z,w)", {0.0f, 0.0f, 0.0f, 0.0f}},
  };
  for (const auto& c : cases) {
    float out[4] = {-7, -7, -7, -7};
    EXPECT_TRUE(parse_color(c.text, out)) << to_utf8(c.text);
    EXPECT_EQ(std::vector<float>(out, out + 4), c.rgba) << to_utf8(c.text);
  }
  float out[4] = {-7, -7, -7, -7};
  EXPECT_FALSE(parse_color(u"0.1,0.2,0.3", out) || parse_color(u"", out));  // no "(": output untouched
  EXPECT_EQ(std::vector<float>(out, out + 4), std::vector<float>(4, -7.0f));
}
