// The sampling layer: every operator that reads an image at a computed position goes through one
// of twenty kernels (ten border treatments by two interpolations). Positions are in pixels of the
// source with y upward from the bottom row; integer positions are pixel centres, and integer y
// lives in memory row h - 1 - y.
//
// A kernel is a type with a static `sample(src, x, y, fill)`. Callers pick the kernel once per run
// with `with_kernel`, which instantiates their pixel loop for each kernel, so nothing in the loop
// tests the sampling parameters; `resample` is that loop for operators that map every target pixel
// to one source position.
#pragma once
#include <immintrin.h>

#include <cmath>
#include <cstdint>

#include "core/imgbuf.h"
#include "core/renderctx.h"
#include "core/row_bands.h"

namespace quorin_engine {

struct shadetree_node_t;

namespace sampling {

// How one axis treats an index outside 0..n-1.
enum class border : uint8_t { fill, wrap, mirror, clamp };

// floor(v), exactly, without a library call: values from 2^23 up, infinities and NaN are already
// integral (or pass through); the sign of zero is kept.
inline float floor_exact(float v) {
  if (!(std::fabs(v) < 8388608.0f)) return v;
  float t = static_cast<float>(static_cast<int32_t>(v));
  if (t > v) t -= 1.0f;
  return std::copysign(t, v);
}

// Float to index: the floored value truncated to 64 bits, then taken modulo 2^32. Values too large
// for 64 bits and NaN give the integer indefinite value, whose low 32 bits are zero.
inline uint32_t index_of(float floored) {
  return static_cast<uint32_t>(static_cast<uint64_t>(_mm_cvttss_si64(_mm_set_ss(floored))));
}

// Treats an unsigned index on an axis of size n; false means "take the fill colour".
template <border B>
inline bool treat(uint32_t& i, uint32_t n) {
  if constexpr (B == border::fill) {
    return i < n;
  } else if constexpr (B == border::wrap) {
    if (i >= n) i %= n;
    return true;
  } else if constexpr (B == border::mirror) {
    if (i >= n) i = n - 1 - i % n;
    return true;
  } else {
    int32_t s = static_cast<int32_t>(i);
    i = s < 0 ? 0u : (s > static_cast<int32_t>(n - 1) ? n - 1 : static_cast<uint32_t>(s));
    return true;
  }
}

// The pixel at column c and memory row r (both untreated), or the fill colour.
template <border BX, border BY>
inline __m128 texel(const imgbuf4f& src, uint32_t c, uint32_t r, __m128 fill) {
  if (!treat<BX>(c, src.width) || !treat<BY>(r, src.height)) return fill;
  return _mm_load_ps(pixel_at(src, c, r));
}

// Nearest: the position rounds half up on both axes.
template <border BX, border BY>
struct nearest {
  static constexpr bool is_bilinear = false;
  static inline __m128 sample(const imgbuf4f& src, float x, float y, __m128 fill) {
    uint32_t c = index_of(floor_exact(x + 0.5f));
    uint32_t r = src.height - 1u - index_of(floor_exact(y + 0.5f));
    return texel<BX, BY>(src, c, r, fill);
  }
  static inline void sample(const imgbuf4f& src, float x, float y, const float fill[4], float out[4]) {
    _mm_storeu_ps(out, sample(src, x, y, _mm_loadu_ps(fill)));
  }
};

// Bilinear: (1-fy)(1-fx) c00 + (1-fy) fx c10 + (1-fx) fy c01 + fy fx c11, weights formed in that
// order and the terms added from left to right, on all four floats.
template <border BX, border BY>
struct bilinear {
  static constexpr bool is_bilinear = true;
  static inline __m128 sample(const imgbuf4f& src, float x, float y, __m128 fill) {
    float x0 = floor_exact(x), y0 = floor_exact(y);
    float fx = x - x0, fy = y - y0;
    uint32_t c0 = index_of(x0), c1 = c0 + 1u;
    uint32_t r0 = src.height - 1u - index_of(y0), r1 = r0 - 1u;
    __m128 p00 = texel<BX, BY>(src, c0, r0, fill);
    __m128 p10 = texel<BX, BY>(src, c1, r0, fill);
    __m128 p01 = texel<BX, BY>(src, c0, r1, fill);
    __m128 p11 = texel<BX, BY>(src, c1, r1, fill);
    float w00 = (1.0f - fy) * (1.0f - fx);
    float w10 = (1.0f - fy) * fx;
    float w01 = (1.0f - fx) * fy;
    float w11 = fy * fx;
    __m128 acc = _mm_mul_ps(_mm_set1_ps(w00), p00);
    acc = _mm_add_ps(acc, _mm_mul_ps(_mm_set1_ps(w10), p10));
    acc = _mm_add_ps(acc, _mm_mul_ps(_mm_set1_ps(w01), p01));
    acc = _mm_add_ps(acc, _mm_mul_ps(_mm_set1_ps(w11), p11));
    return acc;
  }
  static inline void sample(const imgbuf4f& src, float x, float y, const float fill[4], float out[4]) {
    _mm_storeu_ps(out, sample(src, x, y, _mm_loadu_ps(fill)));
  }
};

// The four sampling parameters of an operator, read once per run.
struct params {
  uint32_t border_mode = 0;     // 0 fill color, 1 wrap, 2 mirror, 3 clamp
  uint32_t mode_direction = 0;  // 0 None, 1 X, 2 Y, 3 X and Y
  uint32_t interpolation = 1;   // 0 None, 1 Bilinear
  float fill[4] = {1.0f, 1.0f, 1.0f, 1.0f};
};

// Reads `border-mode`, `mode-direction`, `interpolation` (default `default_interpolation`) and
// `fill-color`, each limited as read: border and direction to 3, interpolation to 1, the fill's
// alpha to 1.0, and a fill colour that cannot be fetched to white. The interpolation's stored value
// is looked up under `interpolation_name`; its connection is always the input `interpolation`.
params fetch_params(const shadetree_node_t& node, const renderctx& ctx, uint32_t default_interpolation,
                    const char16_t* interpolation_name = u"interpolation");

template <template <border, border> class K, border B, class F>
inline void with_direction(uint32_t direction, F&& f) {
  switch (direction) {
    case 1: f(K<B, border::fill>{}); break;
    case 2: f(K<border::fill, B>{}); break;
    case 3: f(K<B, B>{}); break;
    default: f(K<border::fill, border::fill>{}); break;
  }
}

template <template <border, border> class K, class F>
inline void with_border(uint32_t border_mode, uint32_t direction, F&& f) {
  switch (border_mode) {
    case 1: with_direction<K, border::wrap>(direction, f); break;
    case 2: with_direction<K, border::mirror>(direction, f); break;
    case 3: with_direction<K, border::clamp>(direction, f); break;
    default: f(K<border::fill, border::fill>{}); break;
  }
}

// Calls f(Kernel{}) with the kernel that the parameters select: interpolation, then border mode,
// then direction. With direction None every border mode samples as fill on both axes.
template <class F>
inline void with_kernel(const params& p, F&& f) {
  if (p.interpolation)
    with_border<bilinear>(p.border_mode, p.mode_direction, f);
  else
    with_border<nearest>(p.border_mode, p.mode_direction, f);
}

// The two fill kernels, for callers that always fill outside the image.
using fill_nearest = nearest<border::fill, border::fill>;
using fill_bilinear = bilinear<border::fill, border::fill>;

// Writes every pixel of `dst` with `src` sampled where `map` sends it, through the kernel that `p`
// selects. For each target row, `map.row(y, r)` (y upward, r the memory row) sets up the terms that
// depend on the row alone and returns an object whose `at(c, x, sx, sy)` gives the source position
// of column c (x is c as a float). Rows are independent and run in bands.
template <class Map>
void resample(const imgbuf4f& src, imgbuf4f& dst, const params& p, const Map& map) {
  with_kernel(p, [&](auto kernel) {
    using K = decltype(kernel);
    const __m128 fill = _mm_loadu_ps(p.fill);
    const uint32_t w = dst.width, h = dst.height;
    for_row_bands(h, [&](uint32_t first, uint32_t last) {
      for (uint32_t r = first; r < last; ++r) {
        const auto row = map.row(h - 1u - r, r);
        float* out = pixel_at(dst, 0, r);
        float x = 0.0f;
        for (uint32_t c = 0; c < w; ++c, x += 1.0f, out += 4) {
          float sx, sy;
          row.at(c, x, sx, sy);
          _mm_store_ps(out, K::sample(src, sx, sy, fill));
        }
      }
    });
  });
}

}  // namespace sampling
}  // namespace quorin_engine
