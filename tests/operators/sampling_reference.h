// Sampling written out plainly for the operator tests: one position, fill border on both axes,
// in the upward coordinate system (integer y lives in memory row h - 1 - y).
#pragma once
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "operator_test_support.h"

namespace optest {

// The pixel at integer position (ix, iy), or the fill colour outside the image.
inline px4 ref_texel(const imgbuf4f& img, int64_t ix, int64_t iy, px4 fill) {
  if (ix < 0 || iy < 0 || ix >= int64_t(img.width) || iy >= int64_t(img.height)) return fill;
  return pixel(img, uint32_t(ix), uint32_t(int64_t(img.height) - 1 - iy));
}

inline px4 ref_nearest(const imgbuf4f& img, float x, float y, px4 fill) {
  return ref_texel(img, int64_t(std::floor(x + 0.5f)), int64_t(std::floor(y + 0.5f)), fill);
}

inline px4 ref_bilinear(const imgbuf4f& img, float x, float y, px4 fill) {
  float x0 = std::floor(x), y0 = std::floor(y), fx = x - x0, fy = y - y0;
  int64_t ix = int64_t(x0), iy = int64_t(y0);
  px4 c00 = ref_texel(img, ix, iy, fill), c10 = ref_texel(img, ix + 1, iy, fill);
  px4 c01 = ref_texel(img, ix, iy + 1, fill), c11 = ref_texel(img, ix + 1, iy + 1, fill);
  px4 out;
  for (int i = 0; i < 4; ++i)
    out[i] = (1 - fy) * (1 - fx) * c00[i] + (1 - fy) * fx * c10[i] + (1 - fx) * fy * c01[i] + fy * fx * c11[i];
  return out;
}

// Pixel values that tell every position apart, alpha included.
inline void distinct_pixel(uint32_t x, uint32_t row, float* px) {
  px[0] = float(x) * 0.013f + 0.1f;
  px[1] = float(row) * 0.021f + 0.2f;
  px[2] = float((x * 7 + row * 3) % 11) * 0.09f;
  px[3] = 0.25f + float((x + row) % 4) * 0.25f;
}

inline bool same_pixels(const imgbuf4f& a, const imgbuf4f& b) {
  return a.width == b.width && a.height == b.height &&
         std::memcmp(a.pixels, b.pixels, std::size_t(a.width) * a.height * 16) == 0;
}

// A pool that grows hands the first new buffer out without marking it, so two sources made right
// after a growth would share one buffer: grow the rig's pool to n distinct free buffers first.
inline void grow_pool(op_rig& rig, uint32_t n) {
  std::vector<imgbuf4f*> taken;
  while (rig.pool.buffers.size() < n) taken.push_back(rig.pool.acquire());
  for (imgbuf4f* b : taken) rig.pool.give_back(b);
}

// An image of the rig's size written by fill(x, row, px), as a source made by rig.image holds it.
template <class Fill>
image_ptr make_image(uint32_t w, uint32_t h, Fill fill) {
  image_ptr img(imgbuf4f_create(w, h), imgbuf4f_delete);
  for (uint32_t r = 0; r < h; ++r)
    for (uint32_t x = 0; x < w; ++x) fill(x, r, pixel_at(*img, x, r));
  return img;
}

}  // namespace optest
