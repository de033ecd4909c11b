#include "codec_test_util.h"
#include "codecs/stages.h"

using namespace codec_test;

TEST(TgaLoader, SixteenBitPixelsAndOrientations) {
  // Two rows of three 1-5-5-5 pixels in file order: red (alpha bit 1), green (0), blue (1), then
  // (1, 2, 3) (0), (4, 5, 6) (1), (7, 8, 9) (0).
  const bytes pixels = {0x00, 0xfc, 0xe0, 0x03, 0x1f, 0x80, 0x43, 0x04, 0xa6, 0x90, 0x09, 0x1d};
  const rgba red{1, 0, 0, 1}, row1_first{float(1 / 31.0), float(2 / 31.0), float(3 / 31.0), 0};
  // Where the first pixel of each file row lands for descriptor bits 4 (right to left, read from
  // the row's last pixel) and 5 (top to bottom). One attribute bit: alpha.
  const struct { uint8_t descriptor; uint32_t x0, y0, x1, y1; } orientations[] = {
      {0x01, 0, 1, 0, 0}, {0x11, 2, 1, 2, 0}, {0x21, 0, 0, 0, 1}, {0x31, 2, 0, 2, 1}};
  for (const auto& o : orientations) {
    const image_ptr img = decode(tga_file(3, 2, 16, o.descriptor, pixels));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, o.x0, o.y0), red) << int(o.descriptor);
    EXPECT_EQ(pixel(*img, o.x1, o.y1), row1_first) << int(o.descriptor);
    EXPECT_EQ(pixel(*img, 1, o.y0), (rgba{0, 1, 0, 0})) << int(o.descriptor);
  }
  // Depth 15, and 16 without attribute bits: alpha 1. The id field is skipped.
  for (uint8_t depth : {15, 16}) {
    const image_ptr img = decode(tga_file(3, 2, depth, 0x00, pixels, 5));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 1, 1), (rgba{0, 1, 0, 1}));
    EXPECT_EQ(pixel(*img, 2, 0), (rgba{float(7 / 31.0), float(8 / 31.0), float(9 / 31.0), 1}));
  }
}

TEST(TgaLoader, RefusedFilesAndMessages) {
  const bytes px = {1, 2, 3, 4}, good = tga_file(1, 1, 32, 8, px);
  ASSERT_TRUE(decode(good));
  bytes colormap = good, run_length = good;
  colormap[1] = 1;
  run_length[2] = 10;
  const std::pair<bytes, std::string> cases[] = {
      {bytes(17, 0), "File too small."},
      {colormap, "Files with colormaps (palettes) are not supported."},
      {run_length, "Only uncompressed truecolor files supported."},
      {tga_file(1, 1, 32, 0, px), "Unsupported pixel format."},  // depth, attribute bits
      {tga_file(1, 1, 24, 8, px), "Unsupported pixel format."},
      {tga_file(1, 1, 15, 1, px), "Unsupported pixel format."},
      {tga_file(1, 1, 8, 0, px), "Unsupported pixel format."},
      {tga_file(2, 1, 32, 8, px), "Image data truncated."},
      {tga_file(1, 1, 32, 8, {1, 2, 3}, 1), "Image data truncated."}};  // the id takes a byte
  for (const auto& [f, message] : cases) {
    std::string m;
    EXPECT_FALSE(image_ptr(quorin_engine::tga_load(f.data(), uint32_t(f.size()), m))) << message;
    EXPECT_EQ(m, message);
  }
}
