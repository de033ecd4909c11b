// Helpers of the codec tests: fixture files and the pixel pattern they were made from, files built
// byte by byte, debug message capture.
#pragma once
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "codecs/decode.h"
#include "core/imgbuf.h"
#include "core/text.h"
#include "quorin/engine.h"

namespace codec_test {

using quorin_engine::imgbuf4f;
using bytes = std::vector<uint8_t>;
using rgba = std::array<float, 4>;
struct image_deleter { void operator()(imgbuf4f* b) const { imgbuf4f_delete(b); } };
using image_ptr = std::unique_ptr<imgbuf4f, image_deleter>;

inline bytes read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  EXPECT_TRUE(f.good()) << "missing " << path;
  return bytes(std::istreambuf_iterator<char>(f), {});
}
inline std::string fixture_path(const std::string& name) { return QUORIN_SOURCE_DIR "/tests/codecs/fixtures/" + name; }
inline bytes fixture(const std::string& name) { return read_file(fixture_path(name)); }
inline image_ptr decode(const bytes& b) { return image_ptr(quorin_engine::decode_image(b.data(), uint32_t(b.size()))); }
inline float f8(uint32_t v) { return float(v / 255.0); }
inline float f16(uint32_t v) { return float(v / 65535.0); }

// The pattern of make_fixtures.py: channel c (0..3) of pixel (x, y), 8 and 16 bits.
inline uint32_t pattern8(uint32_t x, uint32_t y, int c) {
  const uint32_t v[4] = {x * 37 + y * 11, x * 13 + y * 53 + 90, x * x * 3 + y * 7 + 17, x * 19 + y * y * 5 + 200};
  return v[c] & 255;
}
inline uint32_t pattern16(uint32_t x, uint32_t y, int c) {
  return pattern8(x, y, c) << 8 | ((x * 59 + y * 97 + uint32_t(c) * 31) & 255);
}
// The pattern as decoded from a file of 1 (grey), 2 (grey, alpha), 3 (RGB) or 4 (RGBA) channels.
inline rgba pattern(uint32_t x, uint32_t y, int channels, int bits = 8) {
  auto s = [&](int c) { return bits == 16 ? f16(pattern16(x, y, c)) : f8(pattern8(x, y, c)); };
  const float a = channels % 2 == 0 ? s(3) : 1.0f;
  return channels <= 2 ? rgba{s(0), s(0), s(0), a} : rgba{s(0), s(1), s(2), a};
}
// Of a 24-bit file whose first byte of a pixel, blue, is read as red.
inline rgba pattern_swapped(uint32_t x, uint32_t y) { return {f8(pattern8(x, y, 2)), f8(pattern8(x, y, 1)), f8(pattern8(x, y, 0)), 1}; }
inline rgba pixel(const imgbuf4f& img, uint32_t x, uint32_t y) {
  const float* p = quorin_engine::pixel_at(img, x, y);
  return {p[0], p[1], p[2], p[3]};
}

// Every pixel against expected(x, y), exactly or within `tolerance`; reports the first difference.
template <typename F>
::testing::AssertionResult matches(const image_ptr& img, uint32_t w, uint32_t h, F expected, float tolerance = 0) {
  if (!img || img->width != w || img->height != h) return ::testing::AssertionFailure() << "no image of " << w << "x" << h;
  for (uint32_t i = 0; i < w * h * 4; ++i) {
    const uint32_t x = i / 4 % w, y = i / 4 / w;
    const float got = pixel(*img, x, y)[i % 4], want = expected(x, y)[i % 4];
    if (!(std::fabs(got - want) <= tolerance))
      return ::testing::AssertionFailure() << "(" << x << "," << y << ") channel " << i % 4 << ": " << got << " not " << want;
  }
  return ::testing::AssertionSuccess();
}

// The debug messages sent while it lives.
struct message_capture {
  std::vector<std::string> lines;
  message_capture() { engine_set_debug_output(&sink, this); }
  ~message_capture() { engine_set_debug_output(nullptr, nullptr); }
  message_capture(const message_capture&) = delete;
  static void sink(const char16_t* text, void* user) {
    static_cast<message_capture*>(user)->lines.push_back(quorin_engine::to_utf8(text));
  }
};

inline void put32(bytes& f, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) f[at + i] = uint8_t(v >> 8 * i);
}
// A DDS file: the 128-byte header (height at 12, width at 16, the pixel format record at 76: size,
// flags, fourCC, bit count, R, G, B, A masks), then `payload`.
inline bytes dds_file(uint32_t w, uint32_t h, uint32_t flags, uint32_t fourcc, uint32_t bits,
                      std::array<uint32_t, 4> masks, const bytes& payload) {
  bytes f(128, 0);
  const uint32_t fields[][2] = {{0, 0x20534444 /* "DDS " */}, {4, 124}, {12, h}, {16, w}, {76, 32}, {80, flags},
                                {84, fourcc}, {88, bits}, {92, masks[0]}, {96, masks[1]}, {100, masks[2]}, {104, masks[3]}};
  for (const auto& field : fields) put32(f, field[0], field[1]);
  f.insert(f.end(), payload.begin(), payload.end());
  return f;
}
// An uncompressed true-colour TGA: the 18-byte header, an id field, then the pixels.
inline bytes tga_file(uint32_t w, uint32_t h, uint8_t depth, uint8_t descriptor, const bytes& pixels, uint8_t id_length = 0) {
  bytes f = {id_length, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, uint8_t(w), uint8_t(w >> 8), uint8_t(h), uint8_t(h >> 8), depth, descriptor};
  f.insert(f.end(), id_length, 0xEE);
  f.insert(f.end(), pixels.begin(), pixels.end());
  return f;
}

}  // namespace codec_test
