#include <cstring>

#include "codec_test_util.h"
#include "codecs/stages.h"

using namespace codec_test;

namespace {

// A DDS file: the 128-byte header ("DDS ", header size 124, height at 12, width at 16, the 32-byte
// pixel format record at 76: size, flags, fourCC, bit count, R, G, B, A masks; caps2 at 112),
// then `payload`.
std::vector<uint8_t> dds_file(uint32_t w, uint32_t h, uint32_t flags, uint32_t fourcc, uint32_t bits,
                              std::array<uint32_t, 4> masks, const std::vector<uint8_t>& payload) {
  std::vector<uint8_t> f(128, 0);
  std::memcpy(f.data(), "DDS ", 4);
  put32(f, 4, 124);
  put32(f, 12, h);
  put32(f, 16, w);
  put32(f, 76, 32);
  put32(f, 80, flags);
  put32(f, 84, fourcc);
  put32(f, 88, bits);
  for (int i = 0; i < 4; ++i) put32(f, 92 + 4 * i, masks[i]);
  f.insert(f.end(), payload.begin(), payload.end());
  return f;
}

constexpr uint32_t fourcc(const char* s) {
  return uint32_t(uint8_t(s[0])) | uint32_t(uint8_t(s[1])) << 8 | uint32_t(uint8_t(s[2])) << 16 |
         uint32_t(uint8_t(s[3])) << 24;
}

std::vector<uint8_t> le_bytes(uint64_t v, int n) {
  std::vector<uint8_t> b;
  for (int i = 0; i < n; ++i) b.push_back(uint8_t(v >> (8 * i)));
  return b;
}

image_ptr load(const std::vector<uint8_t>& f, std::string* message = nullptr) {
  std::string m;
  image_ptr img(quorin_engine::dds_load(f.data(), uint32_t(f.size()), m));
  if (message) *message = m;
  return img;
}

}  // namespace

TEST(DdsLoader, FilesWrittenByConvert) {
  constexpr uint32_t W = 16, H = 12;
  // 32-bit with alpha, masks 0xff0000, 0xff00, 0xff, 0xff000000.
  EXPECT_TRUE(matches(decode(read_fixture("dds_argb8.dds")).get(), W, H, [](uint32_t x, uint32_t y) {
    return rgba{f8(pattern8(x, y, 0)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 2)),
                f8(pattern8(x, y, 3))};
  }));
  // 24-bit: bytes are taken in file order (blue first), so red and blue arrive exchanged.
  EXPECT_TRUE(matches(decode(read_fixture("dds_rgb8.dds")).get(), W, H, [](uint32_t x, uint32_t y) {
    return rgba{f8(pattern8(x, y, 2)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 0)), 1.0f};
  }));
  // Compressed files against the writer's own decode, which rounds its palette to 8 bits.
  for (const char* name : {"dds_dxt1", "dds_dxt5"}) {
    const std::vector<uint8_t> ref = read_fixture(std::string(name) + ".ref.rgba");
    ASSERT_EQ(ref.size(), W * H * 4u);
    const bool opaque = std::string(name) == "dds_dxt1";
    EXPECT_TRUE(matches(
        decode(read_fixture(std::string(name) + ".dds")).get(), W, H,
        [&](uint32_t x, uint32_t y) {
          const uint8_t* r = &ref[(y * W + x) * 4];
          return rgba{f8(r[0]), f8(r[1]), f8(r[2]), opaque ? 1.0f : f8(r[3])};
        },
        2.5f / 255.0f))
        << name;
  }
}

TEST(DdsLoader, EveryMaskFormatRow) {
  struct row {
    uint32_t flags, bits;
    std::array<uint32_t, 4> masks;
    uint64_t pixel;  // one pixel, little-endian, bits / 8 bytes
    rgba expected;
  };
  const row rows[] = {
      {0x41, 32, {0xff, 0xff00, 0xff0000, 0xff000000}, 0x40302010, {f8(0x10), f8(0x20), f8(0x30), f8(0x40)}},
      {0x41, 32, {0xffff, 0xffff0000, 0, 0}, 0x1234abcd, {f16(0xabcd), f16(0x1234), 0.0f, 1.0f}},
      // The alpha comes from the top two bits although the record names no alpha mask.
      {0x41, 32, {0x3ff, 0xffc00, 0x3ff00000, 0}, (2u << 30) | (700u << 20) | (300u << 10) | 5u,
       {float(5 / 1023.0), float(300 / 1023.0), float(700 / 1023.0), float(2 / 3.0)}},
      {0x40, 32, {0xffff, 0xffff0000, 0, 0}, 0x00ff8000, {f16(0x8000), f16(0x00ff), 0.0f, 1.0f}},
      {0x41, 16, {0x7c00, 0x3e0, 0x1f, 0x8000}, (1u << 15) | (3u << 10) | (17u << 5) | 30u,
       {float(3 / 31.0), float(17 / 31.0), float(30 / 31.0), 1.0f}},
      {0x40, 16, {0xf800, 0x7e0, 0x1f, 0}, (9u << 11) | (40u << 5) | 2u,
       {float(9 / 31.0), float(40 / 63.0), float(2 / 31.0), 1.0f}},
      {0x2, 8, {0, 0, 0, 0xff}, 0x99, {0.0f, 0.0f, 0.0f, f8(0x99)}},
      {0x41, 32, {0xff0000, 0xff00, 0xff, 0xff000000}, 0x40302010, {f8(0x30), f8(0x20), f8(0x10), f8(0x40)}},
      {0x40, 32, {0xff0000, 0xff00, 0xff, 0}, 0x40302010, {f8(0x30), f8(0x20), f8(0x10), 1.0f}},
      {0x40, 32, {0xff, 0xff00, 0xff0000, 0}, 0x40302010, {f8(0x10), f8(0x20), f8(0x30), 1.0f}},
      {0x41, 32, {0x3ff00000, 0xffc00, 0x3ff, 0xc0000000}, (1u << 30) | (700u << 20) | (300u << 10) | 5u,
       {float(700 / 1023.0), float(300 / 1023.0), float(5 / 1023.0), float(1 / 3.0)}},
      // 24-bit: byte 0 to red, whatever the masks say.
      {0x40, 24, {0xff0000, 0xff00, 0xff, 0}, 0x302010, {f8(0x10), f8(0x20), f8(0x30), 1.0f}},
      {0x40, 16, {0x7c00, 0x3e0, 0x1f, 0}, (1u << 15) | (3u << 10) | (17u << 5) | 30u,
       {float(3 / 31.0), float(17 / 31.0), float(30 / 31.0), 1.0f}},
      {0x41, 16, {0xf00, 0xf0, 0xf, 0xf000}, 0x1234, {float(2 / 15.0), float(3 / 15.0), float(4 / 15.0), float(1 / 15.0)}},
      {0x40, 16, {0xf00, 0xf0, 0xf, 0}, 0x1234, {float(2 / 15.0), float(3 / 15.0), float(4 / 15.0), 1.0f}},
      {0x41, 16, {0xe0, 0x1c, 0x3, 0xff00}, 0x80b6,  // 101 101 10
       {float(5 / 7.0), float(5 / 7.0), float(2 / 3.0), f8(0x80)}},
      {0x20000, 16, {0xff, 0, 0, 0xff00}, 0x4080, {f8(0x80), f8(0x80), f8(0x80), f8(0x40)}},
      {0x20000, 16, {0xffff, 0, 0, 0}, 0x4080, {f16(0x4080), f16(0x4080), f16(0x4080), 1.0f}},
      {0x20000, 8, {0xff, 0, 0, 0}, 0x7f, {f8(0x7f), f8(0x7f), f8(0x7f), 1.0f}},
      {0x20000, 8, {0xf, 0, 0, 0xf0}, 0x3c, {float(12 / 15.0), float(12 / 15.0), float(12 / 15.0), float(3 / 15.0)}},
  };
  int index = 0;
  for (const row& r : rows) {
    // Two rows of one pixel each; the second row's pixel is all zero bits.
    std::vector<uint8_t> payload = le_bytes(r.pixel, r.bits / 8);
    payload.resize(2 * (r.bits / 8), 0);
    image_ptr img = load(dds_file(1, 2, r.flags, 0, r.bits, r.masks, payload));
    ASSERT_TRUE(img) << "row " << index;
    EXPECT_EQ(pixel(*img, 0, 0), r.expected) << "row " << index;
    ++index;
  }
}

TEST(DdsLoader, FourccRowFormats) {
  // 36: 16-bit channels read from the top of the 64-bit word down: R, G, B, A.
  {
    const uint64_t v = (uint64_t(0x1111) << 48) | (uint64_t(0x2222) << 32) | (uint64_t(0x3333) << 16) | 0x4444;
    image_ptr img = load(dds_file(1, 1, 0x4, 36, 0, {}, le_bytes(v, 8)));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 0, 0), (rgba{f16(0x1111), f16(0x2222), f16(0x3333), f16(0x4444)}));
  }
  // 114, 115, 116: floats, not clamped. The row pitch comes from the format, 2 pixels a row.
  auto floats = [](std::initializer_list<float> values) {
    std::vector<uint8_t> b;
    for (float f : values) {
      uint8_t raw[4];
      std::memcpy(raw, &f, 4);
      b.insert(b.end(), raw, raw + 4);
    }
    return b;
  };
  {
    image_ptr img = load(dds_file(2, 1, 0x4, 114, 0, {}, floats({-2.5f, 7.0f})));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 1, 0), (rgba{7.0f, 0.0f, 0.0f, 1.0f}));
  }
  {
    image_ptr img = load(dds_file(2, 1, 0x4, 115, 0, {}, floats({1, 2, 3.5f, -4})));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 1, 0), (rgba{3.5f, -4.0f, 0.0f, 1.0f}));
  }
  {
    image_ptr img = load(dds_file(1, 2, 0x4, 116, 0, {}, floats({1, 2, 3, 4, 0.5f, 1.5f, 2.5f, 9})));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 0, 1), (rgba{0.5f, 1.5f, 2.5f, 9.0f}));
  }
}

namespace {

// A colour block: c0, c1 (5-6-5) and the 2-bit indexes, row r in byte r, column c at bits 2c.
std::vector<uint8_t> color_block(uint16_t c0, uint16_t c1, std::array<uint8_t, 4> rows) {
  std::vector<uint8_t> b = le_bytes(c0, 2);
  for (uint8_t v : le_bytes(c1, 2)) b.push_back(v);
  for (uint8_t r : rows) b.push_back(r);
  return b;
}
constexpr uint8_t row_of(int i0, int i1, int i2, int i3) {
  return uint8_t(i0 | i1 << 2 | i2 << 4 | i3 << 6);
}

}  // namespace

TEST(DdsLoader, Dxt1Palettes) {
  const uint8_t indexes = row_of(0, 1, 2, 3);
  // c0 = c1 (pure red): three-colour palette; index 2 the mean, index 3 opaque black.
  {
    image_ptr img = load(dds_file(4, 4, 0x4, fourcc("DXT1"), 0, {},
                                  color_block(0xf800, 0xf800, {indexes, indexes, indexes, indexes})));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 0, 0), (rgba{1.0f, 0.0f, 0.0f, 1.0f}));
    EXPECT_EQ(pixel(*img, 2, 1), (rgba{1.0f, 0.0f, 0.0f, 1.0f}));
    EXPECT_EQ(pixel(*img, 3, 3), (rgba{0.0f, 0.0f, 0.0f, 1.0f}));
  }
  // c0 > c1: four colours, thirds computed with 0.33333334.
  {
    const uint8_t rows2 = row_of(3, 2, 1, 0);
    image_ptr img = load(dds_file(4, 4, 0x4, fourcc("DXT1"), 0, {},
                                  color_block(0xffff, 0x0000, {indexes, rows2, indexes, indexes})));
    ASSERT_TRUE(img);
    const float two_thirds = (2.0f * 1.0f + 0.0f) * 0.33333334f;
    const float one_third = (2.0f * 0.0f + 1.0f) * 0.33333334f;
    EXPECT_EQ(pixel(*img, 0, 0), (rgba{1.0f, 1.0f, 1.0f, 1.0f}));
    EXPECT_EQ(pixel(*img, 1, 0), (rgba{0.0f, 0.0f, 0.0f, 1.0f}));
    EXPECT_EQ(pixel(*img, 2, 0), (rgba{two_thirds, two_thirds, two_thirds, 1.0f}));
    EXPECT_EQ(pixel(*img, 0, 1), (rgba{one_third, one_third, one_third, 1.0f}));
  }
  // c0 < c1: mean of blue (0x001f) and green (0x07e0) at index 2.
  {
    image_ptr img = load(dds_file(4, 4, 0x4, fourcc("DXT1"), 0, {},
                                  color_block(0x001f, 0x07e0, {indexes, indexes, indexes, indexes})));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 2, 0), (rgba{0.0f, 0.5f, 0.5f, 1.0f}));
  }
  // Blocks are laid out left to right, then down: an 8x8 image of four single-colour blocks.
  {
    std::vector<uint8_t> payload;
    for (uint16_t c : {0xf800, 0x07e0, 0x001f, 0xffff}) {
      auto b = color_block(c, c, {0, 0, 0, 0});
      payload.insert(payload.end(), b.begin(), b.end());
    }
    image_ptr img = load(dds_file(8, 8, 0x4, fourcc("DXT1"), 0, {}, payload));
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 5, 2), (rgba{0.0f, 1.0f, 0.0f, 1.0f}));
    EXPECT_EQ(pixel(*img, 1, 6), (rgba{0.0f, 0.0f, 1.0f, 1.0f}));
    EXPECT_EQ(pixel(*img, 7, 7), (rgba{1.0f, 1.0f, 1.0f, 1.0f}));
  }
  // Below 4 rows nothing is decoded, but the image is there.
  {
    image_ptr img = load(dds_file(8, 3, 0x4, fourcc("DXT1"), 0, {}, {}));
    ASSERT_TRUE(img);
    EXPECT_EQ(img->width, 8u);
    EXPECT_EQ(img->height, 3u);
  }
}

TEST(DdsLoader, Dxt3AndDxt5Alpha) {
  const uint8_t indexes = row_of(0, 1, 2, 3);
  // DXT3: 4-bit alpha, 16 bits a row; the colour part always takes four colours, also c0 <= c1.
  {
    std::vector<uint8_t> block = {0x10, 0x32, 0, 0, 0, 0, 0, 0xf0};  // row 0: 0,1,2,3; row 3 col 3: 15
    auto colour = color_block(0x0000, 0xffff, {indexes, indexes, indexes, indexes});
    block.insert(block.end(), colour.begin(), colour.end());
    image_ptr img = load(dds_file(4, 4, 0x4, fourcc("DXT3"), 0, {}, block));
    ASSERT_TRUE(img);
    const float one_third = (2.0f * 0.0f + 1.0f) * 0.33333334f;
    EXPECT_EQ(pixel(*img, 2, 0), (rgba{one_third, one_third, one_third, float(2 / 15.0)}));
    EXPECT_EQ(pixel(*img, 1, 0)[3], float(1 / 15.0));
    EXPECT_EQ(pixel(*img, 3, 3)[3], 1.0f);
    EXPECT_EQ(pixel(*img, 0, 2)[3], 0.0f);
  }
  // DXT5 with a0 = 255 > a1 = 0: eight-value palette.
  auto dxt5 = [&](uint8_t a0, uint8_t a1) {
    // Pixels 0..7 of the first two rows take alpha indexes 0..7: 3 bits each, low bits first.
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits |= uint64_t(i) << (3 * i);
    std::vector<uint8_t> block = {a0, a1};
    for (uint8_t b : le_bytes(bits, 6)) block.push_back(b);
    auto colour = color_block(0xffff, 0xffff, {0, 0, 0, 0});
    block.insert(block.end(), colour.begin(), colour.end());
    return load(dds_file(4, 4, 0x4, fourcc("DXT5"), 0, {}, block));
  };
  {
    image_ptr img = dxt5(255, 0);
    ASSERT_TRUE(img);
    EXPECT_EQ(pixel(*img, 0, 0)[3], 1.0f);
    EXPECT_EQ(pixel(*img, 1, 0)[3], 0.0f);
    EXPECT_EQ(pixel(*img, 2, 0)[3], 6.0f / 7.0f);
    EXPECT_EQ(pixel(*img, 3, 1)[3], 1.0f / 7.0f);  // index 7
  }
  {
    // a0 = 51 <= a1 = 204: six values in fifths, then 0 and 1.
    image_ptr img = dxt5(51, 204);
    ASSERT_TRUE(img);
    const float a0 = float(51 / 255.0), a1 = float(204 / 255.0);
    EXPECT_EQ(pixel(*img, 2, 0)[3], (4.0f * a0 + 1.0f * a1) * 0.2f);
    EXPECT_EQ(pixel(*img, 1, 1)[3], (1.0f * a0 + 4.0f * a1) * 0.2f);  // index 5
    EXPECT_EQ(pixel(*img, 2, 1)[3], 0.0f);
    EXPECT_EQ(pixel(*img, 3, 1)[3], 1.0f);
  }
}

TEST(DdsLoader, HeaderTestsAndMessages) {
  const std::vector<uint8_t> good = dds_file(2, 2, 0x20000, 0, 8, {0xff, 0, 0, 0}, {1, 2, 3, 4});
  ASSERT_TRUE(load(good));
  auto message_for = [](std::vector<uint8_t> f) {
    std::string m;
    EXPECT_FALSE(load(f, &m));
    return m;
  };
  EXPECT_EQ(message_for(std::vector<uint8_t>(good.begin(), good.begin() + 127)), "File too small.");
  auto changed = [&](size_t at, uint32_t v) {
    auto f = good;
    put32(f, at, v);
    return f;
  };
  EXPECT_EQ(message_for(changed(0, fourcc("DDS!"))), "File is not a DDS file.");
  EXPECT_EQ(message_for(changed(4, 128)), "File header incorrect (size of DDS_HEADER).");
  EXPECT_EQ(message_for(changed(76, 36)), "File header incorrect (size of DDS_PIXELFORMAT).");
  EXPECT_EQ(message_for(changed(84, fourcc("DX10"))), "Unsupported image format (DX10).");
  EXPECT_EQ(message_for(changed(96, 0xff00)), "Unsupported image format.");  // mask not in the table
  EXPECT_EQ(message_for(changed(88, 16)), "Unsupported image format.");
  EXPECT_EQ(message_for(changed(84, fourcc("DXT2"))), "Unsupported image format.");
  {
    auto f = changed(12, 65536);
    put32(f, 16, 65536);
    EXPECT_EQ(message_for(f), "Image data too large.");
  }
  EXPECT_EQ(message_for(changed(112, 0x200)), "Cubemap files not supported.");
  EXPECT_EQ(message_for(changed(112, 0x200000)), "Volume texture files not supported.");
  EXPECT_EQ(message_for(changed(12, 3)), "Image data truncated.");  // 2x3 bytes needed, 4 there

  // Through the chain the message carries the loader's name, and the TGA loader is tried next
  // (byte 1, "D", reads as a colour map type there).
  message_capture m;
  std::vector<uint8_t> short_file(good.begin(), good.begin() + 127);
  EXPECT_FALSE(decode(short_file));
  EXPECT_EQ(m.lines(), (std::vector<std::string>{"DDS image loader: File too small.",
                                                 "TGA image loader: Files with colormaps (palettes) are not supported."}));
}
