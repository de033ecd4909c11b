#include <functional>

#include "codec_test_util.h"

using namespace codec_test;

namespace {

constexpr uint32_t W = 13, H = 7;

rgba grey(float g, float a = 1.0f) { return {g, g, g, a}; }

rgba palette_colour(uint32_t i, float a = 1.0f) {
  return {f8((i * 37 + 5) & 255), f8((i * 91 + 20) & 255), f8((i * 53 + 200) & 255), a};
}

}  // namespace

// Several of these files (those written by convert) carry a gAMA chunk of 1/2.2: samples are read
// as stored all the same, without gamma correction.
TEST(PngDecode, EveryColourTypeAndDepthReadsItsSamples) {
  struct fixture {
    const char* name;
    std::function<rgba(uint32_t, uint32_t)> expected;
  };
  auto low_grey = [](int bits) {
    return [bits](uint32_t x, uint32_t y) {
      const uint32_t levels = (1u << bits) - 1;
      // Expanded to 8 bits by repeating the bit pattern, e.g. 2 bits: v * 85.
      return grey(f8((pattern8(x, y, 0) >> (8 - bits)) * (255 / levels)));
    };
  };
  auto palette = [](uint32_t colours) {
    return [colours](uint32_t x, uint32_t y) { return palette_colour((x + 3 * y) % colours); };
  };
  const fixture fixtures[] = {
      {"png_g1.png", low_grey(1)},
      {"png_g2.png", low_grey(2)},
      {"png_g4.png", low_grey(4)},
      {"png_g8.png", [](uint32_t x, uint32_t y) { return grey(f8(pattern8(x, y, 0))); }},
      {"png_g16.png", [](uint32_t x, uint32_t y) { return grey(f16(pattern16(x, y, 0))); }},
      {"png_ga8.png",
       [](uint32_t x, uint32_t y) { return grey(f8(pattern8(x, y, 0)), f8(pattern8(x, y, 3))); }},
      {"png_ga16.png",
       [](uint32_t x, uint32_t y) {
         return grey(f16(pattern16(x, y, 0)), f16(pattern16(x, y, 3)));
       }},
      {"png_rgb8.png",
       [](uint32_t x, uint32_t y) {
         return rgba{f8(pattern8(x, y, 0)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 2)), 1.0f};
       }},
      {"png_rgb16.png",
       [](uint32_t x, uint32_t y) {
         return rgba{f16(pattern16(x, y, 0)), f16(pattern16(x, y, 1)), f16(pattern16(x, y, 2)), 1.0f};
       }},
      {"png_rgba8.png",
       [](uint32_t x, uint32_t y) {
         return rgba{f8(pattern8(x, y, 0)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 2)),
                     f8(pattern8(x, y, 3))};
       }},
      {"png_rgba16.png",
       [](uint32_t x, uint32_t y) {
         return rgba{f16(pattern16(x, y, 0)), f16(pattern16(x, y, 1)), f16(pattern16(x, y, 2)),
                     f16(pattern16(x, y, 3))};
       }},
      {"png_p1.png", palette(2)},
      {"png_p2.png", palette(4)},
      {"png_p4.png", palette(16)},
      {"png_p8.png", palette(200)},
  };
  for (const fixture& f : fixtures) {
    image_ptr img = decode(read_fixture(f.name));
    EXPECT_TRUE(matches(img.get(), W, H, f.expected)) << f.name;
  }
}

TEST(PngDecode, TransparencyChunkBecomesAlpha) {
  image_ptr pal = decode(read_fixture("png_p4_trns.png"));
  EXPECT_TRUE(matches(pal.get(), W, H, [](uint32_t x, uint32_t y) {
    const uint32_t i = (x + 3 * y) % 16;
    return palette_colour(i, f8((i * 29 + 5) & 255));
  }));

  image_ptr g = decode(read_fixture("png_g8_trns.png"));
  EXPECT_TRUE(matches(g.get(), W, H, [](uint32_t x, uint32_t y) {
    const uint32_t v = pattern8(x, y, 0);
    return grey(f8(v), v == pattern8(2, 3, 0) ? 0.0f : 1.0f);
  }));

  image_ptr rgb = decode(read_fixture("png_rgb8_trns.png"));
  EXPECT_TRUE(matches(rgb.get(), W, H, [](uint32_t x, uint32_t y) {
    bool key = true;
    for (int c = 0; c < 3; ++c) key = key && pattern8(x, y, c) == pattern8(4, 1, c);
    return rgba{f8(pattern8(x, y, 0)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 2)),
                key ? 0.0f : 1.0f};
  }));
}

TEST(PngDecode, SixteenBitGreyExtremes) {
  image_ptr img = decode(read_fixture("png_g16_extremes.png"));
  ASSERT_TRUE(img);
  EXPECT_EQ(pixel(*img, 0, 0), (rgba{1.0f, 1.0f, 1.0f, 1.0f}));
  EXPECT_EQ(pixel(*img, 1, 0), (rgba{0.0f, 0.0f, 0.0f, 1.0f}));
}

TEST(PngDecode, FailuresEndTheChain) {
  {
    message_capture m;
    EXPECT_FALSE(decode(read_fixture("png_interlaced.png")));
    EXPECT_EQ(m.lines(), std::vector<std::string>{"create_prepare_png(): PNG is interlaced, which is "
                                                  "not supported by this program currently"});
  }
  {
    // Cut inside the image data: libpng's error ends the decode; JPEG, DDS and TGA are not tried.
    std::vector<uint8_t> bytes = read_fixture("png_rgb8.png");
    bytes.resize(60);
    message_capture m;
    EXPECT_FALSE(decode(bytes));
    ASSERT_FALSE(m.lines().empty());
    for (const auto& line : m.lines()) EXPECT_EQ(line.rfind("pnglib", 0), 0u) << line;
  }
  {
    // A damaged checksum in IHDR is a libpng error as well.
    std::vector<uint8_t> bytes = read_fixture("png_rgba8.png");
    bytes[29] ^= 0x55;
    message_capture m;
    EXPECT_FALSE(decode(bytes));
    EXPECT_TRUE(m.any_starting_with("pnglib error: "));
    EXPECT_FALSE(m.any_starting_with("DDS"));
  }
}

TEST(PngDecode, FewerThanEightBytesSkipThePngStage) {
  // The PNG signature cut to 7 bytes: no libpng message, the DDS and TGA loaders report instead.
  std::vector<uint8_t> bytes = read_fixture("png_rgb8.png");
  bytes.resize(7);
  message_capture m;
  EXPECT_FALSE(decode(bytes));
  EXPECT_EQ(m.lines(), (std::vector<std::string>{"DDS image loader: File too small.",
                                                 "TGA image loader: File too small."}));
}
