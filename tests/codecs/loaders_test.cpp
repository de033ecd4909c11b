#include <bit>
#include <cstring>

#include "codec_test_util.h"
#include "codecs/stages.h"

using namespace codec_test;

namespace {

uint32_t fourcc(const char* s) { return uint32_t(s[0]) | s[1] << 8 | s[2] << 16 | s[3] << 24; }
// The bytes of the values as they lie in memory (little-endian).
template <typename... T>
bytes raw(T... v) {
  bytes b((sizeof(T) + ...));
  size_t at = 0;
  ((std::memcpy(b.data() + at, &v, sizeof(T)), at += sizeof(T)), ...);
  return b;
}

}  // namespace

TEST(DdsLoader, EveryMaskFormatRow) {
  const struct { uint32_t flags, bits; std::array<uint32_t, 4> masks; } rows[] = {
      {0x41, 32, {0xff, 0xff00, 0xff0000, 0xff000000}},       {0x41, 32, {0xffff, 0xffff0000, 0, 0}},
      {0x41, 32, {0x3ff, 0xffc00, 0x3ff00000, 0}},            {0x40, 32, {0xffff, 0xffff0000, 0, 0}},
      {0x41, 16, {0x7c00, 0x3e0, 0x1f, 0x8000}},              {0x40, 16, {0xf800, 0x7e0, 0x1f, 0}},
      {0x2, 8, {0, 0, 0, 0xff}},                              {0x41, 32, {0xff0000, 0xff00, 0xff, 0xff000000}},
      {0x40, 32, {0xff0000, 0xff00, 0xff, 0}},                {0x40, 32, {0xff, 0xff00, 0xff0000, 0}},
      {0x41, 32, {0x3ff00000, 0xffc00, 0x3ff, 0xc0000000}},   {0x40, 24, {0xff0000, 0xff00, 0xff, 0}},
      {0x40, 16, {0x7c00, 0x3e0, 0x1f, 0}},                   {0x41, 16, {0xf00, 0xf0, 0xf, 0xf000}},
      {0x40, 16, {0xf00, 0xf0, 0xf, 0}},                      {0x41, 16, {0xe0, 0x1c, 0x3, 0xff00}},
      {0x20000, 16, {0xff, 0, 0, 0xff00}},                    {0x20000, 16, {0xffff, 0, 0, 0}},
      {0x20000, 8, {0xff, 0, 0, 0}},                          {0x20000, 8, {0xf, 0, 0, 0xf0}}};
  const uint32_t values[2] = {0x9c5a3e71, 0x63a5c18e};  // one pixel a row, two rows: the pitch counts
  for (size_t i = 0; i < std::size(rows); ++i) {
    const auto& r = rows[i];
    bytes payload = raw(values[0]);
    payload.resize(r.bits / 8);
    for (uint8_t b : raw(values[1])) payload.push_back(b);
    payload.resize(r.bits / 4);
    const image_ptr img = decode(dds_file(1, 2, r.flags, 0, r.bits, r.masks, payload));
    ASSERT_TRUE(img) << "row " << i;
    for (uint32_t y = 0; y < 2; ++y) {
      const uint32_t v = r.bits == 32 ? values[y] : values[y] & ((1u << r.bits) - 1);
      // Each channel is its field over the field's maximum; without a mask 0, or 1 for alpha.
      auto field = [&](int c, float none) {
        const uint32_t m = r.masks[c], shift = std::countr_zero(m);
        return m ? float(double((v & m) >> shift) / double(m >> shift)) : none;
      };
      rgba want{field(0, 0), field(1, 0), field(2, 0), field(3, 1)};
      if (r.flags == 0x20000) want[1] = want[2] = want[0];
      if (i == 2) want[3] = float((v >> 30) / 3.0);  // alpha from the top bits, which no mask names
      if (i == 11) std::swap(want[0], want[2]);      // 24 bits: byte 0 to red, whatever the masks say
      EXPECT_EQ(pixel(*img, 0, y), want) << "row " << i << " y " << y;
    }
  }
}

TEST(DdsLoader, FourccRowFormats) {
  const struct { uint32_t fourcc, w, h; bytes payload; rgba last; } formats[] = {
      // 16-bit channels from the top of the word down: R, G, B, A.
      {36, 1, 1, raw(uint64_t(0x1111222233334444)), {f16(0x1111), f16(0x2222), f16(0x3333), f16(0x4444)}},
      // Floats, not clamped; the pitch comes from the format, not from the file's bit count.
      {114, 2, 1, raw(-2.5f, 7.0f), {7, 0, 0, 1}},
      {115, 2, 1, raw(1.0f, 2.0f, 3.5f, -4.0f), {3.5f, -4, 0, 1}},
      {116, 1, 2, raw(1.0f, 2.0f, 3.0f, 4.0f, 0.5f, 1.5f, 2.5f, 9.0f), {0.5f, 1.5f, 2.5f, 9}}};
  for (const auto& f : formats) {
    const image_ptr img = decode(dds_file(f.w, f.h, 0x4, f.fourcc, 0, {}, f.payload));
    ASSERT_TRUE(img) << f.fourcc;
    EXPECT_EQ(pixel(*img, f.w - 1, f.h - 1), f.last) << f.fourcc;
  }
}

TEST(DdsLoader, BlockPalettesAndAlpha) {
  // One 4x4 block; its colour part gives every row the indexes 0, 1, 2, 3 from left to right.
  auto block = [](const char* kind, bytes b, uint16_t c0, uint16_t c1) {
    for (uint8_t v : raw(c0, c1, uint32_t(0xe4e4e4e4))) b.push_back(v);
    return decode(dds_file(4, 4, 0x4, fourcc(kind), 0, {}, b));
  };
  auto grey = [](float v) { return rgba{v, v, v, 1}; };
  const float third = (2.0f * 0.0f + 1.0f) * 0.33333334f, two_thirds = (2.0f * 1.0f + 0.0f) * 0.33333334f;
  const struct { const char* kind; uint16_t c0, c1; std::array<rgba, 4> palette; } cases[] = {
      // c0 = c1: three colours, the mean at 2 and opaque black at 3.
      {"DXT1", 0xf800, 0xf800, {{{1, 0, 0, 1}, {1, 0, 0, 1}, {1, 0, 0, 1}, grey(0)}}},
      {"DXT1", 0x001f, 0x07e0, {{{0, 0, 1, 1}, {0, 1, 0, 1}, {0, 0.5f, 0.5f, 1}, grey(0)}}},
      {"DXT1", 0xffff, 0x0000, {{grey(1), grey(0), grey(two_thirds), grey(third)}}},
      // DXT3 takes four colours also when c0 <= c1 (its alpha here all 15).
      {"DXT3", 0x0000, 0xffff, {{grey(0), grey(1), grey(third), grey(two_thirds)}}}};
  for (const auto& p : cases) {
    const image_ptr img = block(p.kind, bytes(p.kind[3] == '3' ? 8 : 0, 0xff), p.c0, p.c1);
    ASSERT_TRUE(img);
    for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(pixel(*img, i % 4, i / 4), p.palette[i % 4]) << p.kind << " " << i;
  }

  // DXT3: 4-bit alpha, 16 bits a row; pixels 0..7 take 0..7 here. DXT5: a0, a1, then 3-bit indexes,
  // 12 bits a row; pixels 0..7 take the indexes 0..7: sevenths if a0 > a1, else fifths, then 0 and 1.
  auto dxt5 = [&](uint8_t a0, uint8_t a1) {
    uint64_t bits = a0 | a1 << 8;
    for (int i = 0; i < 8; ++i) bits |= uint64_t(i) << (16 + 3 * i);
    return block("DXT5", raw(bits), 0xffff, 0xffff);
  };
  const float a0 = f8(51), a1 = f8(204);
  std::array<float, 8> fifteenths;
  for (int i = 0; i < 8; ++i) fifteenths[i] = float(i / 15.0);
  const struct { image_ptr img; std::array<float, 8> alpha; } alphas[] = {
      {block("DXT3", raw(uint64_t(0x76543210)), 0, 0), fifteenths},
      {dxt5(255, 0), {{1, 0, 6 / 7.0f, 5 / 7.0f, 4 / 7.0f, 3 / 7.0f, 2 / 7.0f, 1 / 7.0f}}},
      {dxt5(51, 204),
       {{a0, a1, (4 * a0 + a1) * 0.2f, (3 * a0 + 2 * a1) * 0.2f, (2 * a0 + 3 * a1) * 0.2f, (a0 + 4 * a1) * 0.2f, 0, 1}}}};
  for (const auto& a : alphas) {
    ASSERT_TRUE(a.img);
    for (uint32_t i = 0; i < 8; ++i) EXPECT_EQ(pixel(*a.img, i % 4, i / 4)[3], a.alpha[i]) << i;
  }
  // Below 4 rows nothing is decoded, but the image is there.
  const image_ptr img = decode(dds_file(8, 3, 0x4, fourcc("DXT1"), 0, {}, {}));
  EXPECT_TRUE(img && img->height == 3);
}

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

TEST(Loaders, RefusedFilesAndMessages) {
  const bytes good = dds_file(2, 2, 0x20000, 0, 8, {0xff, 0, 0, 0}, {1, 2, 3, 4}), px = {1, 2, 3, 4},
              tga = tga_file(1, 1, 32, 8, px);
  ASSERT_TRUE(decode(good) && decode(tga));
  auto dds_with = [&](size_t at, uint32_t value) { bytes f = good; return put32(f, at, value), f; };
  auto tga_with = [&](size_t at, uint8_t value) { bytes f = tga; return f[at] = value, f; };
  const struct { bool dds; bytes file; const char* message; } cases[] = {
      {true, dds_with(0, fourcc("DDS!")), "File is not a DDS file."},
      {true, dds_with(4, 128), "File header incorrect (size of DDS_HEADER)."},
      {true, dds_with(76, 36), "File header incorrect (size of DDS_PIXELFORMAT)."},
      {true, dds_with(84, fourcc("DX10")), "Unsupported image format (DX10)."},
      {true, dds_with(96, 0xff00), "Unsupported image format."},  // a mask not in the table
      {true, dds_with(16, 1u << 30), "Image data too large."},
      {true, dds_with(112, 0x200), "Cubemap files not supported."},
      {true, dds_with(112, 0x200000), "Volume texture files not supported."},
      {true, dds_with(12, 3), "Image data truncated."},  // 2x3 bytes needed, 4 there
      {false, bytes(17, 0), "File too small."},
      {false, tga_with(1, 1), "Files with colormaps (palettes) are not supported."},
      {false, tga_with(2, 10), "Only uncompressed truecolor files supported."},
      {false, tga_file(1, 1, 32, 0, px), "Unsupported pixel format."},  // depth, attribute bits
      {false, tga_file(1, 1, 24, 8, px), "Unsupported pixel format."},
      {false, tga_file(1, 1, 15, 1, px), "Unsupported pixel format."},
      {false, tga_file(1, 1, 8, 0, px), "Unsupported pixel format."},
      {false, tga_file(2, 1, 32, 8, px), "Image data truncated."},
      {false, tga_file(1, 1, 32, 8, {1, 2, 3}, 1), "Image data truncated."}};  // the id takes a byte
  for (const auto& c : cases) {
    std::string m;
    const auto load = c.dds ? quorin_engine::dds_load : quorin_engine::tga_load;
    EXPECT_FALSE(image_ptr(load(c.file.data(), uint32_t(c.file.size()), m))) << c.message;
    EXPECT_EQ(m, c.message);
  }
}
