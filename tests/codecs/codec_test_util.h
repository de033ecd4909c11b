// Shared helpers of the codec tests: fixtures, the pixel pattern the fixture files were made
// from, debug message capture.
#pragma once
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
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

struct image_deleter {
  void operator()(imgbuf4f* b) const { imgbuf4f_delete(b); }
};
using image_ptr = std::unique_ptr<imgbuf4f, image_deleter>;

inline std::string fixture_path(const std::string& name) {
  return std::string(QUORIN_SOURCE_DIR) + "/tests/codecs/fixtures/" + name;
}

inline std::vector<uint8_t> read_fixture(const std::string& name) {
  std::ifstream f(fixture_path(name), std::ios::binary);
  EXPECT_TRUE(f.good()) << "missing fixture " << name;
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
}

inline image_ptr decode(const std::vector<uint8_t>& bytes) {
  return image_ptr(quorin_engine::decode_image(bytes.data(), static_cast<uint32_t>(bytes.size())));
}

// The pattern of make_fixtures.py: channel c (0..3) of pixel (x, y), 8 and 16 bits.
inline uint32_t pattern8(uint32_t x, uint32_t y, int c) {
  switch (c) {
    case 0:
      return (x * 37 + y * 11) & 255;
    case 1:
      return (x * 13 + y * 53 + 90) & 255;
    case 2:
      return (x * x * 3 + y * 7 + 17) & 255;
    default:
      return (x * 19 + y * y * 5 + 200) & 255;
  }
}
inline uint32_t pattern16(uint32_t x, uint32_t y, int c) {
  return (pattern8(x, y, c) << 8) | ((x * 59 + y * 97 + uint32_t(c) * 31) & 255);
}
inline float f8(uint32_t v) { return static_cast<float>(v / 255.0); }
inline float f16(uint32_t v) { return static_cast<float>(v / 65535.0); }

using rgba = std::array<float, 4>;

inline rgba pixel(const imgbuf4f& img, uint32_t x, uint32_t y) {
  const float* p = quorin_engine::pixel_at(img, x, y);
  return {p[0], p[1], p[2], p[3]};
}

// Compares every pixel with `expected(x, y)` exactly (or within `tolerance`); reports the first
// difference only.
template <typename F>
::testing::AssertionResult matches(const imgbuf4f* img, uint32_t w, uint32_t h, F expected,
                                   float tolerance = 0.0f) {
  if (!img) return ::testing::AssertionFailure() << "no image";
  if (img->width != w || img->height != h)
    return ::testing::AssertionFailure() << "size " << img->width << "x" << img->height;
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x) {
      const rgba got = pixel(*img, x, y), want = expected(x, y);
      for (int c = 0; c < 4; ++c) {
        const float d = got[c] - want[c];
        if (!(d <= tolerance && -d <= tolerance))
          return ::testing::AssertionFailure()
                 << "pixel (" << x << "," << y << ") channel " << c << ": " << got[c]
                 << " expected " << want[c];
      }
    }
  return ::testing::AssertionSuccess();
}

// Collects the debug messages sent while it lives.
class message_capture {
 public:
  message_capture() { engine_set_debug_output(&message_capture::sink, this); }
  ~message_capture() { engine_set_debug_output(nullptr, nullptr); }
  message_capture(const message_capture&) = delete;
  message_capture& operator=(const message_capture&) = delete;

  const std::vector<std::string>& lines() const { return lines_; }
  bool has(const std::string& line) const {
    for (const auto& l : lines_)
      if (l == line) return true;
    return false;
  }
  bool any_starting_with(const std::string& prefix) const {
    for (const auto& l : lines_)
      if (l.rfind(prefix, 0) == 0) return true;
    return false;
  }

 private:
  static void sink(const char16_t* text, void* user) {
    static_cast<message_capture*>(user)->lines_.push_back(quorin_engine::to_utf8(text));
  }
  std::vector<std::string> lines_;
};

// Little-endian writers for files built byte by byte in the tests.
inline void put16(std::vector<uint8_t>& v, size_t at, uint32_t x) {
  v[at] = uint8_t(x);
  v[at + 1] = uint8_t(x >> 8);
}
inline void put32(std::vector<uint8_t>& v, size_t at, uint32_t x) {
  put16(v, at, x & 0xffff);
  put16(v, at + 2, x >> 16);
}

}  // namespace codec_test
