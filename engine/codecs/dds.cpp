// DDS loader: the top mip level of 2D textures, uncompressed formats found by their whole pixel
// format record, and DXT1, DXT3, DXT5 and four float/16-bit formats found by fourCC.
#include <cstring>
#include <string>

#include "codecs/stages.h"
#include "core/imgbuf.h"

namespace quorin_engine {

namespace {

inline uint32_t le16(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }
inline uint32_t le32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint64_t le64(const uint8_t* p) { return uint64_t(le32(p)) | uint64_t(le32(p + 4)) << 32; }
inline float le_float(const uint8_t* p) {
  uint32_t bits = le32(p);
  float f;
  std::memcpy(&f, &bits, 4);
  return f;
}

inline float scaled(uint32_t v, double max) { return static_cast<float>(v / max); }

inline void put(float* d, float r, float g, float b, float a) {
  d[0] = r;
  d[1] = g;
  d[2] = b;
  d[3] = a;
}

// ---- row converters: one source row of `width` pixels to one image row ----------------------

using row_converter = void (*)(float* dst, const uint8_t* src, uint32_t width);

// 0: A8B8G8R8, each by mask.
void row_abgr8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
    uint32_t v = le32(s);
    put(d, scaled(v & 0xff, 255.0), scaled((v >> 8) & 0xff, 255.0), scaled((v >> 16) & 0xff, 255.0),
        scaled(v >> 24, 255.0));
  }
}
// 1 and 3: G16R16.
void row_g16r16(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
    uint32_t v = le32(s);
    put(d, scaled(v & 0xffff, 65535.0), scaled(v >> 16, 65535.0), 0.0f, 1.0f);
  }
}
// 2: A2B10G10R10; the alpha bits are read although the format record names no alpha mask.
void row_a2b10g10r10(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
    uint32_t v = le32(s);
    put(d, scaled(v & 0x3ff, 1023.0), scaled((v >> 10) & 0x3ff, 1023.0), scaled((v >> 20) & 0x3ff, 1023.0),
        scaled(v >> 30, 3.0));
  }
}
// 4: A1R5G5B5.
void row_a1r5g5b5(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    uint32_t v = le16(s);
    put(d, scaled((v >> 10) & 0x1f, 31.0), scaled((v >> 5) & 0x1f, 31.0), scaled(v & 0x1f, 31.0),
        static_cast<float>(v >> 15));
  }
}
// 5: R5G6B5.
void row_r5g6b5(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    uint32_t v = le16(s);
    put(d, scaled(v >> 11, 31.0), scaled((v >> 5) & 0x3f, 63.0), scaled(v & 0x1f, 31.0), 1.0f);
  }
}
// 6: A8.
void row_a8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 1, d += 4) put(d, 0.0f, 0.0f, 0.0f, scaled(s[0], 255.0));
}
// 7: A8R8G8B8, each by mask.
void row_argb8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
    uint32_t v = le32(s);
    put(d, scaled((v >> 16) & 0xff, 255.0), scaled((v >> 8) & 0xff, 255.0), scaled(v & 0xff, 255.0),
        scaled(v >> 24, 255.0));
  }
}
// 8: X8R8G8B8.
void row_xrgb8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
    uint32_t v = le32(s);
    put(d, scaled((v >> 16) & 0xff, 255.0), scaled((v >> 8) & 0xff, 255.0), scaled(v & 0xff, 255.0), 1.0f);
  }
}
// 9: X8B8G8R8.
void row_xbgr8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
    uint32_t v = le32(s);
    put(d, scaled(v & 0xff, 255.0), scaled((v >> 8) & 0xff, 255.0), scaled((v >> 16) & 0xff, 255.0), 1.0f);
  }
}
// 10: A2R10G10B10.
void row_a2r10g10b10(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
    uint32_t v = le32(s);
    put(d, scaled((v >> 20) & 0x3ff, 1023.0), scaled((v >> 10) & 0x3ff, 1023.0), scaled(v & 0x3ff, 1023.0),
        scaled(v >> 30, 3.0));
  }
}
// 11: R8G8B8. Bytes are taken in file order as red, green, blue: the record's masks put blue in
// byte 0, so red and blue come out exchanged. Files of this format have always read this way.
void row_rgb8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 3, d += 4)
    put(d, scaled(s[0], 255.0), scaled(s[1], 255.0), scaled(s[2], 255.0), 1.0f);
}
// 12: X1R5G5B5.
void row_x1r5g5b5(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    uint32_t v = le16(s);
    put(d, scaled((v >> 10) & 0x1f, 31.0), scaled((v >> 5) & 0x1f, 31.0), scaled(v & 0x1f, 31.0), 1.0f);
  }
}
// 13: A4R4G4B4.
void row_a4r4g4b4(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    uint32_t v = le16(s);
    put(d, scaled((v >> 8) & 0xf, 15.0), scaled((v >> 4) & 0xf, 15.0), scaled(v & 0xf, 15.0),
        scaled(v >> 12, 15.0));
  }
}
// 14: X4R4G4B4.
void row_x4r4g4b4(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    uint32_t v = le16(s);
    put(d, scaled((v >> 8) & 0xf, 15.0), scaled((v >> 4) & 0xf, 15.0), scaled(v & 0xf, 15.0), 1.0f);
  }
}
// 15: A8R3G3B2.
void row_a8r3g3b2(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    uint32_t v = le16(s);
    put(d, scaled((v >> 5) & 0x7, 7.0), scaled((v >> 2) & 0x7, 7.0), scaled(v & 0x3, 3.0), scaled(v >> 8, 255.0));
  }
}
// 16: A8L8.
void row_a8l8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    float l = scaled(s[0], 255.0);
    put(d, l, l, l, scaled(s[1], 255.0));
  }
}
// 17: L16.
void row_l16(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 2, d += 4) {
    float l = scaled(le16(s), 65535.0);
    put(d, l, l, l, 1.0f);
  }
}
// 18: L8.
void row_l8(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 1, d += 4) {
    float l = scaled(s[0], 255.0);
    put(d, l, l, l, 1.0f);
  }
}
// 19: A4L4.
void row_a4l4(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 1, d += 4) {
    float l = scaled(s[0] & 0xf, 15.0);
    put(d, l, l, l, scaled(s[0] >> 4, 15.0));
  }
}
// fourCC 36: A16B16G16R16, read with its channels in reverse order.
void row_abgr16(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 8, d += 4) {
    uint64_t v = le64(s);
    put(d, scaled(uint32_t(v >> 48), 65535.0), scaled(uint32_t(v >> 32) & 0xffff, 65535.0),
        scaled(uint32_t(v >> 16) & 0xffff, 65535.0), scaled(uint32_t(v) & 0xffff, 65535.0));
  }
}
// fourCC 114: R32F.
void row_r32f(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) put(d, le_float(s), 0.0f, 0.0f, 1.0f);
}
// fourCC 115: G32R32F.
void row_g32r32f(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 8, d += 4) put(d, le_float(s), le_float(s + 4), 0.0f, 1.0f);
}
// fourCC 116: A32B32G32R32F, already the image's own layout.
void row_abgr32f(float* d, const uint8_t* s, uint32_t w) {
  for (uint32_t x = 0; x < w; ++x, s += 16, d += 4)
    put(d, le_float(s), le_float(s + 4), le_float(s + 8), le_float(s + 12));
}

// ---- block converters: one 4x4 block to image pixels (4bx .. 4bx+3, 4by .. 4by+3) ------------

using block_converter = void (*)(imgbuf4f& image, const uint8_t* block, uint32_t bx, uint32_t by);

struct rgb {
  float r, g, b;
};

inline rgb color565(uint32_t c) {
  return {scaled(c >> 11, 31.0), scaled((c >> 5) & 0x3f, 63.0), scaled(c & 0x1f, 31.0)};
}

// The colour part: c0, c1 and 2-bit indexes, 8 bits a row, low bits first. `four_colors` picks
// the interpolated palette; otherwise entry 2 is the mean and entry 3 black.
void decode_color_block(imgbuf4f& image, const uint8_t* block, uint32_t bx, uint32_t by,
                        bool four_colors, const float* alpha) {
  const uint32_t v0 = le16(block), v1 = le16(block + 2);
  rgb p[4];
  p[0] = color565(v0);
  p[1] = color565(v1);
  if (four_colors) {
    p[2] = {(2.0f * p[0].r + p[1].r) * 0.33333334f, (2.0f * p[0].g + p[1].g) * 0.33333334f,
            (2.0f * p[0].b + p[1].b) * 0.33333334f};
    p[3] = {(2.0f * p[1].r + p[0].r) * 0.33333334f, (2.0f * p[1].g + p[0].g) * 0.33333334f,
            (2.0f * p[1].b + p[0].b) * 0.33333334f};
  } else {
    p[2] = {(p[0].r + p[1].r) * 0.5f, (p[0].g + p[1].g) * 0.5f, (p[0].b + p[1].b) * 0.5f};
    p[3] = {0.0f, 0.0f, 0.0f};
  }
  for (uint32_t row = 0; row < 4; ++row) {
    const uint32_t bits = block[4 + row];
    for (uint32_t col = 0; col < 4; ++col) {
      const rgb& c = p[(bits >> (2 * col)) & 3];
      put(pixel_at(image, bx * 4 + col, by * 4 + row), c.r, c.g, c.b, alpha[row * 4 + col]);
    }
  }
}

void block_dxt1(imgbuf4f& image, const uint8_t* block, uint32_t bx, uint32_t by) {
  // Opaque throughout: index 3 of the three-colour palette is black, not transparent.
  static const float opaque[16] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  decode_color_block(image, block, bx, by, le16(block) > le16(block + 2), opaque);
}

void block_dxt3(imgbuf4f& image, const uint8_t* block, uint32_t bx, uint32_t by) {
  float alpha[16];
  for (uint32_t row = 0; row < 4; ++row) {
    const uint32_t bits = le16(block + 2 * row);
    for (uint32_t col = 0; col < 4; ++col) alpha[row * 4 + col] = scaled((bits >> (4 * col)) & 0xf, 15.0);
  }
  decode_color_block(image, block + 8, bx, by, true, alpha);
}

void block_dxt5(imgbuf4f& image, const uint8_t* block, uint32_t bx, uint32_t by) {
  float a[8];
  a[0] = scaled(block[0], 255.0);
  a[1] = scaled(block[1], 255.0);
  if (block[1] < block[0]) {
    for (int i = 2; i <= 7; ++i)
      a[i] = (static_cast<float>(7 - (i - 1)) * a[0] + static_cast<float>(i - 1) * a[1]) / 7.0f;
  } else {
    for (int i = 2; i <= 5; ++i)
      a[i] = (static_cast<float>(5 - (i - 1)) * a[0] + static_cast<float>(i - 1) * a[1]) * 0.2f;
    a[6] = 0.0f;
    a[7] = 1.0f;
  }
  // 48 bits of 3-bit indexes, 12 bits a row, low bits first.
  const uint64_t bits = uint64_t(le32(block + 2)) | uint64_t(le16(block + 6)) << 32;
  float alpha[16];
  for (uint32_t i = 0; i < 16; ++i) alpha[i] = a[(bits >> (3 * i)) & 7];
  decode_color_block(image, block + 8, bx, by, true, alpha);
}

// ---- the format tables ---------------------------------------------------------------------

constexpr uint32_t flag_fourcc = 0x4;

struct mask_format {
  uint32_t flags, bits, r, g, b, a;
  row_converter convert;
};

const mask_format mask_formats[] = {
    {0x41, 32, 0xff, 0xff00, 0xff0000, 0xff000000, row_abgr8},
    {0x41, 32, 0xffff, 0xffff0000, 0, 0, row_g16r16},
    {0x41, 32, 0x3ff, 0xffc00, 0x3ff00000, 0, row_a2b10g10r10},
    {0x40, 32, 0xffff, 0xffff0000, 0, 0, row_g16r16},
    {0x41, 16, 0x7c00, 0x3e0, 0x1f, 0x8000, row_a1r5g5b5},
    {0x40, 16, 0xf800, 0x7e0, 0x1f, 0, row_r5g6b5},
    {0x2, 8, 0, 0, 0, 0xff, row_a8},
    {0x41, 32, 0xff0000, 0xff00, 0xff, 0xff000000, row_argb8},
    {0x40, 32, 0xff0000, 0xff00, 0xff, 0, row_xrgb8},
    {0x40, 32, 0xff, 0xff00, 0xff0000, 0, row_xbgr8},
    {0x41, 32, 0x3ff00000, 0xffc00, 0x3ff, 0xc0000000, row_a2r10g10b10},
    {0x40, 24, 0xff0000, 0xff00, 0xff, 0, row_rgb8},
    {0x40, 16, 0x7c00, 0x3e0, 0x1f, 0, row_x1r5g5b5},
    {0x41, 16, 0xf00, 0xf0, 0xf, 0xf000, row_a4r4g4b4},
    {0x40, 16, 0xf00, 0xf0, 0xf, 0, row_x4r4g4b4},
    {0x41, 16, 0xe0, 0x1c, 0x3, 0xff00, row_a8r3g3b2},
    {0x20000, 16, 0xff, 0, 0, 0xff00, row_a8l8},
    {0x20000, 16, 0xffff, 0, 0, 0, row_l16},
    {0x20000, 8, 0xff, 0, 0, 0, row_l8},
    {0x20000, 8, 0xf, 0, 0, 0xf0, row_a4l4},
};

constexpr uint32_t fourcc(char a, char b, char c, char d) {
  return uint32_t(uint8_t(a)) | uint32_t(uint8_t(b)) << 8 | uint32_t(uint8_t(c)) << 16 |
         uint32_t(uint8_t(d)) << 24;
}

struct fourcc_format {
  uint32_t code;
  bool block;
  uint32_t size;  // bytes per block, or bits per pixel for row kinds
  row_converter convert_row;
  block_converter convert_block;
};

const fourcc_format fourcc_formats[] = {
    {fourcc('D', 'X', 'T', '1'), true, 8, nullptr, block_dxt1},
    {fourcc('D', 'X', 'T', '3'), true, 16, nullptr, block_dxt3},
    {fourcc('D', 'X', 'T', '5'), true, 16, nullptr, block_dxt5},
    {36, false, 64, row_abgr16, nullptr},
    {114, false, 32, row_r32f, nullptr},
    {115, false, 64, row_g32r32f, nullptr},
    {116, false, 128, row_abgr32f, nullptr},
};

}  // namespace

imgbuf4f* dds_load(const uint8_t* data, uint32_t size, std::string& message) {
  if (size < 128) {
    message = "File too small.";
    return nullptr;
  }
  if (std::memcmp(data, "DDS ", 4) != 0) {
    message = "File is not a DDS file.";
    return nullptr;
  }
  if (le32(data + 4) != 124) {
    message = "File header incorrect (size of DDS_HEADER).";
    return nullptr;
  }
  if (le32(data + 76) != 32) {
    message = "File header incorrect (size of DDS_PIXELFORMAT).";
    return nullptr;
  }
  if (le32(data + 84) == fourcc('D', 'X', '1', '0')) {
    message = "Unsupported image format (DX10).";
    return nullptr;
  }

  // The pixel format record: size, flags, fourCC, bit count, red, green, blue, alpha masks.
  uint32_t record[8];
  for (int i = 0; i < 8; ++i) record[i] = le32(data + 76 + 4 * i);

  const mask_format* mask = nullptr;
  for (const mask_format& m : mask_formats) {
    const uint32_t row[8] = {32, m.flags, 0, m.bits, m.r, m.g, m.b, m.a};
    if (std::memcmp(row, record, sizeof row) == 0) {
      mask = &m;
      break;
    }
  }
  const fourcc_format* coded = nullptr;
  if (!mask) {
    for (const fourcc_format& f : fourcc_formats) {
      const uint32_t row[8] = {32, flag_fourcc, f.code, 0, 0, 0, 0, 0};
      if (std::memcmp(row, record, sizeof row) == 0) {
        coded = &f;
        break;
      }
    }
  }
  if (!mask && !coded) {
    message = "Unsupported image format.";
    return nullptr;
  }

  const uint32_t height = le32(data + 12);
  const uint32_t width = le32(data + 16);
  if (uint64_t(width) * height * 16 > 0xffffffffu) {
    message = "Image data too large.";
    return nullptr;
  }
  const uint32_t caps2 = le32(data + 112);
  if (caps2 & 0x200) {
    message = "Cubemap files not supported.";
    return nullptr;
  }
  if (caps2 & 0x200000) {
    message = "Volume texture files not supported.";
    return nullptr;
  }

  // Where the pixel rows or blocks are, and how much of the file they need.
  const bool blocks = coded && coded->block;
  uint64_t pitch = 0, needed = 0;
  if (blocks) {
    const uint64_t blocks_across = (uint64_t(width) + 3) / 4;
    pitch = (blocks_across > 1 ? blocks_across : 1) * coded->size;
    const uint64_t block_rows = height / 4;
    if (height >= 4 && block_rows > 0 && width / 4 > 0)
      needed = (block_rows - 1) * pitch + uint64_t(width / 4) * coded->size;
  } else {
    const uint64_t bits = mask ? mask->bits : coded->size;
    pitch = (uint64_t(width) * bits + 7) / 8;
    needed = pitch * height;
  }
  if (needed > size - 128u) {
    message = "Image data truncated.";
    return nullptr;
  }

  imgbuf4f* image = try_create_image(width, height);
  if (!image) {
    message = "Not enough memory.";
    return nullptr;
  }

  // Rows without a pixel (or without a whole block) need no conversion; a header of width 0 and
  // a height of a billion must not cost a billion empty row calls.
  if (blocks ? width / 4 == 0 : width == 0) return image;

  const uint8_t* src = data + 128;
  if (!blocks) {
    const row_converter convert = mask ? mask->convert : coded->convert_row;
    for (uint32_t y = 0; y < height; ++y, src += pitch) convert(pixel_at(*image, 0, y), src, width);
    return image;
  }
  if (height < 4) return image;
  for (uint32_t b = 0; b < height / 4; ++b) {
    const uint8_t* block_row = src + b * pitch;
    for (uint32_t i = 0; i < width / 4; ++i)
      coded->convert_block(*image, block_row + i * coded->size, i, b);
  }
  return image;
}

}  // namespace quorin_engine
