#include <sstream>

#include "codec_test_util.h"

using namespace codec_test;

namespace {

// A binary PGM or PPM reference decode: width, height, channels and 8-bit samples.
struct reference {
  uint32_t width = 0, height = 0, channels = 0;
  std::vector<uint8_t> samples;
};

reference read_pnm(const std::string& name) {
  std::vector<uint8_t> bytes = read_fixture(name);
  std::string head(bytes.begin(), bytes.begin() + std::min<size_t>(bytes.size(), 64));
  std::istringstream in(head);
  std::string magic;
  unsigned maxval = 0;
  reference r;
  in >> magic >> r.width >> r.height >> maxval;
  r.channels = magic == "P5" ? 1 : 3;
  const size_t start = static_cast<size_t>(in.tellg()) + 1;  // one white space after maxval
  r.samples.assign(bytes.begin() + start, bytes.end());
  EXPECT_EQ(r.samples.size(), size_t(r.width) * r.height * r.channels) << name;
  return r;
}

}  // namespace

TEST(JpegDecode, MatchesLibjpegReferenceDecodes) {
  for (const char* base : {"jpeg_rgb", "jpeg_grey", "jpeg_progressive", "jpeg_rgb without EOI"}) {
    const std::string b = std::string(base).substr(0, std::string(base).find(' '));
    reference ref = read_pnm(b + (b == "jpeg_grey" ? ".ref.pgm" : ".ref.ppm"));
    std::vector<uint8_t> bytes = read_fixture(b + ".jpg");
    if (b != base) bytes.resize(bytes.size() - 2);  // a file missing only its end marker
    image_ptr img = decode(bytes);
    EXPECT_TRUE(matches(img.get(), ref.width, ref.height, [&](uint32_t x, uint32_t y) {
      const uint8_t* s = &ref.samples[(size_t(y) * ref.width + x) * ref.channels];
      if (ref.channels == 1) return rgba{f8(s[0]), f8(s[0]), f8(s[0]), 1.0f};
      return rgba{f8(s[0]), f8(s[1]), f8(s[2]), 1.0f};
    })) << base;
  }
}

TEST(JpegDecode, CmykGivesAnImageOfTheRightSize) {
  message_capture m;
  image_ptr img = decode(read_fixture("jpeg_cmyk.jpg"));
  ASSERT_TRUE(img);
  EXPECT_EQ(img->width, 8u);
  EXPECT_EQ(img->height, 8u);
  EXPECT_TRUE(m.lines().empty());
}

TEST(JpegDecode, DamagedDataFailsAndTheChainGoesOn) {
  for (size_t keep : {size_t(2), size_t(300), size_t(1000), size_t(1500)}) {
    std::vector<uint8_t> bytes = read_fixture("jpeg_rgb.jpg");
    bytes.resize(keep);
    message_capture m;
    EXPECT_FALSE(decode(bytes)) << keep;
    EXPECT_TRUE(m.has("jpeglib error")) << keep;
    // The later stages still see the data.
    EXPECT_TRUE(m.any_starting_with("DDS image loader: ")) << keep;
    EXPECT_TRUE(m.any_starting_with("TGA image loader: ")) << keep;
  }
  // Without the SOI marker the JPEG stage is not run at all.
  std::vector<uint8_t> bytes = read_fixture("jpeg_rgb.jpg");
  bytes[1] = 0xD9;
  message_capture m;
  EXPECT_FALSE(decode(bytes));
  EXPECT_FALSE(m.has("jpeglib error"));
}

TEST(JpegXrDecode, LosslessFilesReadExactly) {
  constexpr uint32_t W = 13, H = 7;
  auto rgb8 = [](uint32_t x, uint32_t y) {
    return rgba{f8(pattern8(x, y, 0)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 2)), 1.0f};
  };
  EXPECT_TRUE(matches(decode(read_fixture("jxr_rgb24.jxr")).get(), W, H, rgb8));
  EXPECT_TRUE(matches(decode(read_fixture("jxr_bgr24.jxr")).get(), W, H, rgb8));
  EXPECT_TRUE(matches(decode(read_fixture("jxr_grey8.jxr")).get(), W, H, [](uint32_t x, uint32_t y) {
    const float g = f8(pattern8(x, y, 0));
    return rgba{g, g, g, 1.0f};
  }));
  EXPECT_TRUE(matches(decode(read_fixture("jxr_bgra32.jxr")).get(), W, H, [](uint32_t x, uint32_t y) {
    return rgba{f8(pattern8(x, y, 0)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 2)),
                f8(pattern8(x, y, 3))};
  }));
  EXPECT_TRUE(matches(decode(read_fixture("jxr_rgb48.jxr")).get(), W, H, [](uint32_t x, uint32_t y) {
    return rgba{f16(pattern16(x, y, 0)), f16(pattern16(x, y, 1)), f16(pattern16(x, y, 2)), 1.0f};
  }));
}

TEST(JpegXrDecode, DamagedFilesGiveNull) {
  std::vector<uint8_t> bytes = read_fixture("jxr_rgb24.jxr");
  std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + bytes.size() / 2);
  message_capture m;
  EXPECT_FALSE(decode(cut));
  // JPEG XR failures are silent; the loaders after it report.
  EXPECT_TRUE(m.has("DDS image loader: File is not a DDS file."));
}
