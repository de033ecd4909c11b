// Straightforward references for the filter tests: images as plain vectors, the blur kernels and
// convolutions written out with plain loops in the engine's order of operations (sum from 0, tap 0
// first, weight * sample then add, the sum scaled last), and whole-image comparisons.
#pragma once
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/imgbuf.h"
#include "operator_test_support.h"

namespace filtref {

using rig = optest::op_rig;

// The engine started once for the tests that call its functions without a rig.
inline void engine_ready() {
  if (quorin_engine::nodetype_specs().empty()) init();
}

struct image {
  uint32_t w = 0, h = 0;
  std::vector<float> px;
  image() = default;
  image(uint32_t width, uint32_t height, float v = 0.0f) : w(width), h(height), px(std::size_t(width) * height * 4, v) {}
  float* at(int64_t x, int64_t y) { return &px[(std::size_t(y) * w + x) * 4]; }
  const float* at(int64_t x, int64_t y) const { return &px[(std::size_t(y) * w + x) * 4]; }
};

// A repeatable pseudo-random image with values in 0..1, alpha included.
inline image noise_image(uint32_t w, uint32_t h, uint32_t seed = 1) {
  image img(w, h);
  uint32_t s = seed * 2654435761u + 12345u;
  for (float& f : img.px) {
    s = s * 1664525u + 1013904223u;
    f = static_cast<float>(s >> 8) / 16777216.0f;
  }
  return img;
}

inline image from_buffer(const quorin_engine::imgbuf4f& buf) {
  image img(buf.width, buf.height);
  std::memcpy(img.px.data(), buf.pixels, img.px.size() * sizeof(float));
  return img;
}

// Bit-for-bit equality, reporting the first pixel that differs.
inline ::testing::AssertionResult same_pixels(const image& expected, const quorin_engine::imgbuf4f& actual) {
  if (expected.w != actual.width || expected.h != actual.height) return ::testing::AssertionFailure() << "size";
  for (uint32_t y = 0; y < expected.h; ++y)
    for (uint32_t x = 0; x < expected.w; ++x)
      if (std::memcmp(expected.at(x, y), quorin_engine::pixel_at(actual, x, y), 16) != 0) {
        const float* e = expected.at(x, y);
        const float* a = quorin_engine::pixel_at(actual, x, y);
        return ::testing::AssertionFailure() << "pixel (" << x << ", " << y << "): expected " << e[0] << " " << e[1]
                                             << " " << e[2] << " " << e[3] << ", got " << a[0] << " " << a[1] << " "
                                             << a[2] << " " << a[3];
      }
  return ::testing::AssertionSuccess();
}

// The same comparison between two plain images.
inline ::testing::AssertionResult same(const image& expected, const image& actual) {
  quorin_engine::imgbuf4f b{quorin_engine::imgbuf4f_head_guard, actual.w, actual.h, const_cast<float*>(actual.px.data()),
                            quorin_engine::imgbuf4f_tail_guard};
  return same_pixels(expected, b);
}

// A source node of the rig whose image is `img`.
inline quorin_engine::shadetree_node_t* source_of(rig& r, const image& img) {
  return r.image([&](uint32_t x, uint32_t row, float* px) { std::memcpy(px, img.at(x, row), 16); });
}

struct taps {
  std::vector<float> w;
  float norm;
};

inline float reciprocal_or_zero(float s) { return (s >= -1.1920929e-7f && s <= 1.1920929e-7f) ? 0.0f : 1.0f / s; }

// Box, Gaussian (sigma 1 binned on -3..0 in 3000 samples, mirrored) and Bartlett, from their formulas.
inline taps kernel(uint32_t type, uint32_t n) {
  taps t{std::vector<float>(n, 0.0f), 0.0f};
  float sum = 0.0f;
  if (type == 0) {
    for (float& f : t.w) f = 1.0f;
    t.norm = reciprocal_or_zero(float(n));
    return t;
  }
  if (type == 2) {
    const uint32_t c = (n + 1) / 2;
    for (uint32_t k = 0; k + 1 < c; ++k) t.w[k] = t.w[n - 1 - k] = float(k + 1);
    t.w[c - 1] = float(c);
    for (float f : t.w) sum += f;
  } else {
    const uint32_t half = n / 2, bin = 3000 / half;
    const double scale = 1.0 / std::sqrt(2.0 * 3.14159265358979323846);
    t.w[half] = float(scale);
    double acc = 0.0;
    uint32_t k = 0;
    for (uint32_t i = 0; i < 3000; ++i) {
      const double x = i * 0.001 - 3.0;
      acc += std::exp(-(x * x) / 2.0);
      if ((i + 1) % bin == 0) {
        t.w[k] = t.w[n - 1 - k] = float(acc * scale / bin);
        acc = 0.0;
        ++k;
      }
    }
    for (float f : t.w) sum += std::fabs(f);
  }
  t.norm = reciprocal_or_zero(sum);
  return t;
}

inline int64_t clampi(int64_t v, int64_t lo, int64_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// One output pixel of a one-dimensional pass at (x, y), samples clamped to lo..hi along the pass.
inline void pass_pixel(float out[4], const image& src, const taps& t, int64_t x, int64_t y, bool rows, int64_t lo,
                       int64_t hi) {
  const int64_t half = (int64_t(t.w.size()) - 1) / 2;
  float acc[4] = {0, 0, 0, 0};
  for (std::size_t k = 0; k < t.w.size(); ++k) {
    const int64_t i = clampi((rows ? x : y) + int64_t(k) - half, lo, hi);
    const float* s = rows ? src.at(i, y) : src.at(x, i);
    for (int c = 0; c < 4; ++c) acc[c] = acc[c] + t.w[k] * s[c];
  }
  for (int c = 0; c < 4; ++c) out[c] = t.norm * acc[c];
  out[3] = 1.0f;
}

// A pass over the rectangle x0..x1, y0..y1 into dst, where the kernel fits the rectangle.
inline void pass(image& dst, const image& src, const taps& t, bool rows, int64_t x0, int64_t y0, int64_t x1,
                 int64_t y1) {
  for (int64_t y = y0; y <= y1; ++y)
    for (int64_t x = x0; x <= x1; ++x) pass_pixel(dst.at(x, y), src, t, x, y, rows, rows ? x0 : y0, rows ? x1 : y1);
}

// A square window convolution of side 2r+1 over the whole image, samples clamped, alpha 1.0.
inline image square(const image& src, const std::vector<float>& w, int64_t r, float sum) {
  image out(src.w, src.h);
  const int64_t side = 2 * r + 1;
  const float inv = 1.0f / sum;
  for (int64_t y = 0; y < src.h; ++y)
    for (int64_t x = 0; x < src.w; ++x) {
      float acc[4] = {0, 0, 0, 0};
      for (int64_t i = 0; i < side; ++i)
        for (int64_t j = 0; j < side; ++j) {
          const float* s = src.at(clampi(x + j - r, 0, src.w - 1), clampi(y + i - r, 0, src.h - 1));
          for (int c = 0; c < 4; ++c) acc[c] = acc[c] + w[i * side + j] * s[c];
        }
      float* o = out.at(x, y);
      for (int c = 0; c < 3; ++c) o[c] = inv * acc[c];
      o[3] = 1.0f;
    }
  return out;
}

}  // namespace filtref
