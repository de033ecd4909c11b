#include "codec_test_util.h"
#include "codecs/stages.h"

using namespace codec_test;

namespace {

// An uncompressed true-colour TGA: 18-byte header (id length, colour map type 0, image type 2,
// width at 12, height at 14, depth at 16, descriptor at 17), an id field, then the pixels.
std::vector<uint8_t> tga_file(uint32_t w, uint32_t h, uint8_t depth, uint8_t descriptor,
                              const std::vector<uint8_t>& pixels, uint8_t id_length = 0) {
  std::vector<uint8_t> f(18, 0);
  f[0] = id_length;
  f[2] = 2;
  put16(f, 12, w);
  put16(f, 14, h);
  f[16] = depth;
  f[17] = descriptor;
  f.insert(f.end(), id_length, 0xEE);
  f.insert(f.end(), pixels.begin(), pixels.end());
  return f;
}

image_ptr load(const std::vector<uint8_t>& f, std::string* message = nullptr) {
  std::string m;
  image_ptr img(quorin_engine::tga_load(f.data(), uint32_t(f.size()), m));
  if (message) *message = m;
  return img;
}

}  // namespace

TEST(TgaLoader, FilesWrittenByPil) {
  constexpr uint32_t W = 13, H = 7;
  auto rgba8 = [](uint32_t x, uint32_t y) {
    return rgba{f8(pattern8(x, y, 0)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 2)),
                f8(pattern8(x, y, 3))};
  };
  // 32 bits, bottom to top and (descriptor bit 5) top to bottom: the same picture.
  EXPECT_TRUE(matches(decode(read_fixture("tga_rgba32.tga")).get(), W, H, rgba8));
  EXPECT_TRUE(matches(decode(read_fixture("tga_rgba32_top.tga")).get(), W, H, rgba8));
  // 24 bits: byte 0 (blue in the file) is read as red.
  EXPECT_TRUE(matches(decode(read_fixture("tga_rgb24.tga")).get(), W, H, [](uint32_t x, uint32_t y) {
    return rgba{f8(pattern8(x, y, 2)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 0)), 1.0f};
  }));
}

TEST(TgaLoader, SixteenBitPixelsAndOrientations) {
  // Two rows of three 1-5-5-5 pixels in file order, given as (r, g, b, alpha bit).
  std::vector<uint8_t> pixels;
  for (auto [r, g, b, a] : {std::array<uint32_t, 4>{31, 0, 0, 1}, {0, 31, 0, 0}, {0, 0, 31, 1},
                            {1, 2, 3, 0}, {4, 5, 6, 1}, {7, 8, 9, 0}}) {
    const uint32_t v = a << 15 | r << 10 | g << 5 | b;
    pixels.insert(pixels.end(), {uint8_t(v), uint8_t(v >> 8)});
  }
  const rgba red{1, 0, 0, 1}, first_of_row1{float(1 / 31.0), float(2 / 31.0), float(3 / 31.0), 0};

  // Where the file's first pixel of each row lands for descriptor bits 4 (right to left) and 5
  // (top to bottom); right-to-left rows start from their last pixel. One attribute bit: alpha.
  struct orientation {
    uint8_t descriptor;
    uint32_t x0, y0, x1, y1;
  };
  for (const orientation& o : {orientation{0x01, 0, 1, 0, 0}, {0x11, 2, 1, 2, 0}, {0x21, 0, 0, 0, 1},
                               {0x31, 2, 0, 2, 1}}) {
    image_ptr img = load(tga_file(3, 2, 16, o.descriptor, pixels));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, o.x0, o.y0), red) << int(o.descriptor);
    EXPECT_EQ(pixel(*img, o.x1, o.y1), first_of_row1) << int(o.descriptor);
    EXPECT_EQ(pixel(*img, 1, o.y0), (rgba{0, 1, 0, 0})) << int(o.descriptor);
  }
  // Depth 15, and 16 without attribute bits: alpha 1.
  for (uint8_t depth : {uint8_t(15), uint8_t(16)}) {
    image_ptr img = load(tga_file(3, 2, depth, 0x00, pixels));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 1, 1), (rgba{0, 1, 0, 1}));
    EXPECT_EQ(pixel(*img, 2, 0), (rgba{float(7 / 31.0), float(8 / 31.0), float(9 / 31.0), 1}));
  }
  // The id field is skipped.
  image_ptr img = load(tga_file(3, 2, 16, 0x21, pixels, 5));
  ASSERT_TRUE(img);
  EXPECT_EQ(pixel(*img, 0, 0), red);
}

TEST(TgaLoader, RefusedFilesAndMessages) {
  const std::vector<uint8_t> four_bytes = {1, 2, 3, 4};
  auto message_for = [](const std::vector<uint8_t>& f) {
    std::string m;
    EXPECT_FALSE(load(f, &m));
    return m;
  };
  EXPECT_EQ(message_for(std::vector<uint8_t>(17, 0)), "File too small.");
  {
    auto f = tga_file(1, 1, 32, 8, four_bytes);
    f[1] = 1;
    EXPECT_EQ(message_for(f), "Files with colormaps (palettes) are not supported.");
    f[1] = 0;
    f[2] = 10;  // run-length encoded
    EXPECT_EQ(message_for(f), "Only uncompressed truecolor files supported.");
  }
  EXPECT_EQ(message_for(tga_file(1, 1, 32, 0, four_bytes)), "Unsupported pixel format.");
  EXPECT_EQ(message_for(tga_file(1, 1, 24, 8, four_bytes)), "Unsupported pixel format.");
  EXPECT_EQ(message_for(tga_file(1, 1, 15, 1, four_bytes)), "Unsupported pixel format.");
  EXPECT_EQ(message_for(tga_file(1, 1, 8, 0, four_bytes)), "Unsupported pixel format.");
  EXPECT_EQ(message_for(tga_file(2, 1, 32, 8, four_bytes)), "Image data truncated.");
  {
    auto f = tga_file(1, 1, 32, 8, four_bytes);
    f[0] = 1;  // an id field that takes one of the pixel's bytes
    EXPECT_EQ(message_for(f), "Image data truncated.");
  }
  EXPECT_TRUE(load(tga_file(1, 1, 32, 8, four_bytes)));

  message_capture m;
  EXPECT_FALSE(decode(tga_file(1, 1, 32, 0, four_bytes)));
  EXPECT_EQ(m.lines(), (std::vector<std::string>{"DDS image loader: File too small.",
                                                 "TGA image loader: Unsupported pixel format."}));
}
