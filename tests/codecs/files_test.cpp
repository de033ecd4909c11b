// Files written by independent tools (PIL, convert, JxrEncApp; see fixtures/make_fixtures.py).
#include <cstdio>
#include <functional>

#include "codec_test_util.h"

using namespace codec_test;

namespace {

using expectation = std::function<rgba(uint32_t, uint32_t)>;
expectation of(int channels, int bits = 8) {
  return [=](uint32_t x, uint32_t y) { return pattern(x, y, channels, bits); };
}
// Grey below 8 bits: the pattern's top bits, expanded to 8 by repeating them.
expectation low_grey(uint32_t bits) {
  return [=](uint32_t x, uint32_t y) {
    const float g = f8((pattern8(x, y, 0) >> (8 - bits)) * (255 / ((1u << bits) - 1)));
    return rgba{g, g, g, 1};
  };
}
rgba palette_colour(uint32_t i, float a = 1) {
  return {f8((i * 37 + 5) & 255), f8((i * 91 + 20) & 255), f8((i * 53 + 200) & 255), a};
}
expectation palette(uint32_t n) {
  return [=](uint32_t x, uint32_t y) { return palette_colour((x + 3 * y) % n); };
}
// The one colour that a tRNS chunk names, that of pixel (kx, ky), becomes transparent.
expectation keyed(int channels, uint32_t kx, uint32_t ky) {
  return [=](uint32_t x, uint32_t y) {
    rgba p = pattern(x, y, channels);
    p[3] = p == pattern(kx, ky, channels) ? 0.0f : 1.0f;
    return p;
  };
}

}  // namespace

// Some of the PNGs carry gAMA 1/2.2: samples are read as stored all the same.
TEST(FixtureFiles, LosslessFilesReadExactly) {
  const std::pair<const char*, expectation> files[] = {
      {"png_g1.png", low_grey(1)}, {"png_g2.png", low_grey(2)}, {"png_g4.png", low_grey(4)}, {"png_g8.png", of(1)},
      {"png_g16.png", of(1, 16)}, {"png_ga8.png", of(2)}, {"png_ga16.png", of(2, 16)}, {"png_rgb8.png", of(3)},
      {"png_rgb16.png", of(3, 16)}, {"png_rgba8.png", of(4)}, {"png_rgba16.png", of(4, 16)},
      {"png_p1.png", palette(2)}, {"png_p2.png", palette(4)}, {"png_p4.png", palette(16)}, {"png_p8.png", palette(200)},
      {"png_p4_trns.png", [](uint32_t x, uint32_t y) { return palette_colour((x + 3 * y) % 16, f8(((x + 3 * y) % 16 * 29 + 5) & 255)); }},
      {"png_g8_trns.png", keyed(1, 2, 3)}, {"png_rgb8_trns.png", keyed(3, 4, 1)},
      {"jxr_rgb24.jxr", of(3)}, {"jxr_bgr24.jxr", of(3)}, {"jxr_grey8.jxr", of(1)}, {"jxr_bgra32.jxr", of(4)},
      {"jxr_rgb48.jxr", of(3, 16)},
      // TGA bottom to top and (descriptor bit 5) top to bottom. 24-bit TGA and DDS pixels are
      // read in file order, so their first byte, blue, arrives as red.
      {"tga_rgba32.tga", of(4)}, {"tga_rgba32_top.tga", of(4)}, {"tga_rgb24.tga", pattern_swapped},
      {"dds_argb8.dds", of(4)}, {"dds_rgb8.dds", pattern_swapped}};
  for (const auto& [name, expected] : files) {
    const bool dds = name[0] == 'd';
    EXPECT_TRUE(matches(decode(fixture(name)), dds ? 16 : 13, dds ? 12 : 7, expected)) << name;
  }
  const image_ptr extremes = decode(fixture("png_g16_extremes.png"));  // samples 65535 and 0
  ASSERT_TRUE(extremes);
  EXPECT_EQ(pixel(*extremes, 0, 0), (rgba{1, 1, 1, 1}));
  EXPECT_EQ(pixel(*extremes, 1, 0), (rgba{0, 0, 0, 1}));
}

TEST(FixtureFiles, LossyFilesMatchReferenceDecodes) {
  for (const std::string base : {"jpeg_rgb", "jpeg_grey", "jpeg_progressive", "jpeg_rgb without EOI"}) {
    const std::string name = base.substr(0, base.find(' '));
    // The reference is a binary PGM or PPM: magic, width, height, maxval 255, one white space, samples.
    const bytes ref = fixture(name + (name == "jpeg_grey" ? ".ref.pgm" : ".ref.ppm"));
    uint32_t w = 0, h = 0;
    int start = 0;
    char kind = 0;
    std::sscanf(std::string(ref.begin(), ref.begin() + 32).c_str(), "P%c %u %u 255%*c%n", &kind, &w, &h, &start);
    const size_t channels = kind == '5' ? 1 : 3;
    ASSERT_EQ(ref.size(), start + w * h * channels) << name;
    bytes b = fixture(name + ".jpg");
    if (name != base) b.resize(b.size() - 2);  // a file missing only its end marker
    EXPECT_TRUE(matches(decode(b), w, h, [&](uint32_t x, uint32_t y) {
      const uint8_t* s = &ref[start + (size_t(y) * w + x) * channels];
      return rgba{f8(s[0]), f8(s[channels / 3]), f8(s[2 * channels / 3]), 1.0f};  // grey: s[0] thrice
    })) << base;
  }
  // DXT against the writer's own decode, which rounds its palette to 8 bits.
  for (const std::string name : {"dds_dxt1", "dds_dxt5"}) {
    const bytes ref = fixture(name + ".ref.rgba");
    ASSERT_EQ(ref.size(), 16 * 12 * 4u);
    auto want = [&](uint32_t x, uint32_t y) {
      const uint8_t* r = &ref[(y * 16 + x) * 4];
      return rgba{f8(r[0]), f8(r[1]), f8(r[2]), name == "dds_dxt1" ? 1.0f : f8(r[3])};
    };
    EXPECT_TRUE(matches(decode(fixture(name + ".dds")), 16, 12, want, 2.5f / 255.0f)) << name;
  }
}
