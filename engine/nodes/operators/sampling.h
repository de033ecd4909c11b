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

// The kernels are small and run once per pixel: they are always inlined into the caller's loop.
#define QUORIN_KERNEL_INLINE inline __attribute__((always_inline))

// How one axis treats an index outside 0..n-1.
enum class border : uint8_t { fill, wrap, mirror, clamp };

// floor(v), exactly, without a library call: values from 2^23 up, infinities and NaN are already
// integral (or pass through); the sign of zero is kept.
QUORIN_KERNEL_INLINE float floor_exact(float v) {
  if (!(std::fabs(v) < 8388608.0f)) return v;
  float t = static_cast<float>(static_cast<int32_t>(v));
  if (t > v) t -= 1.0f;
  return std::copysign(t, v);
}

// floor_exact on four floats, lane by lane with the same result.
QUORIN_KERNEL_INLINE __m128 floor_exact4(__m128 v) {
  const __m128 sign = _mm_set1_ps(-0.0f);
  __m128 small = _mm_cmplt_ps(_mm_andnot_ps(sign, v), _mm_set1_ps(8388608.0f));
  __m128 t = _mm_cvtepi32_ps(_mm_cvttps_epi32(v));
  t = _mm_sub_ps(t, _mm_and_ps(_mm_cmpgt_ps(t, v), _mm_set1_ps(1.0f)));
  t = _mm_or_ps(_mm_andnot_ps(sign, t), _mm_and_ps(sign, v));
  return _mm_or_ps(_mm_and_ps(small, t), _mm_andnot_ps(small, v));
}

// Float to index: the floored value truncated to 64 bits, then taken modulo 2^32. Values too large
// for 64 bits and NaN give the integer indefinite value, whose low 32 bits are zero.
QUORIN_KERNEL_INLINE uint32_t index_of(float floored) {
  return static_cast<uint32_t>(static_cast<uint64_t>(_mm_cvttss_si64(_mm_set_ss(floored))));
}

// Treats an unsigned index on an axis of size n; false means "take the fill colour".
template <border B>
QUORIN_KERNEL_INLINE bool treat(uint32_t& i, uint32_t n) {
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
QUORIN_KERNEL_INLINE __m128 texel(const imgbuf4f& src, uint32_t c, uint32_t r, __m128 fill) {
  if (!treat<BX>(c, src.width) || !treat<BY>(r, src.height)) return fill;
  return _mm_load_ps(pixel_at(src, c, r));
}

// Nearest: the position rounds half up on both axes.
template <border BX, border BY>
struct nearest {
  static constexpr bool is_bilinear = false;
  static QUORIN_KERNEL_INLINE __m128 sample(const imgbuf4f& src, float x, float y, __m128 fill) {
    uint32_t c = index_of(floor_exact(x + 0.5f));
    uint32_t r = src.height - 1u - index_of(floor_exact(y + 0.5f));
    return texel<BX, BY>(src, c, r, fill);
  }
  // Four positions, their results to out[0..15].
  static QUORIN_KERNEL_INLINE void sample4(const imgbuf4f& src, const float x[4], const float y[4], __m128 fill,
                                           float* out) {
    for (int l = 0; l < 4; ++l) _mm_store_ps(out + 4 * l, sample(src, x[l], y[l], fill));
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

  // The four corners from column c0 and memory row r0 (the corner at the floored position),
  // blended with the weights w = (w00, w10, w01, w11) broadcast from one lane each.
  static QUORIN_KERNEL_INLINE __m128 blend(const imgbuf4f& src, uint32_t c0, uint32_t r0, __m128 w00, __m128 w10,
                                           __m128 w01, __m128 w11, __m128 fill) {
    const uint32_t c1 = c0 + 1u, r1 = r0 - 1u;
    __m128 p00, p10, p01, p11;
    if (c0 < src.width - 1u && r1 < src.height - 1u) {
      // All four corners inside: every border treatment leaves them as they are.
      const float* lo = pixel_at(src, c0, r0);
      const float* hi = pixel_at(src, c0, r1);
      p00 = _mm_load_ps(lo);
      p10 = _mm_load_ps(lo + 4);
      p01 = _mm_load_ps(hi);
      p11 = _mm_load_ps(hi + 4);
    } else {
      p00 = texel<BX, BY>(src, c0, r0, fill);
      p10 = texel<BX, BY>(src, c1, r0, fill);
      p01 = texel<BX, BY>(src, c0, r1, fill);
      p11 = texel<BX, BY>(src, c1, r1, fill);
    }
    __m128 acc = _mm_mul_ps(w00, p00);
    acc = _mm_add_ps(acc, _mm_mul_ps(w10, p10));
    acc = _mm_add_ps(acc, _mm_mul_ps(w01, p01));
    acc = _mm_add_ps(acc, _mm_mul_ps(w11, p11));
    return acc;
  }

  static QUORIN_KERNEL_INLINE __m128 sample(const imgbuf4f& src, float x, float y, __m128 fill) {
    float x0 = floor_exact(x), y0 = floor_exact(y);
    float fx = x - x0, fy = y - y0;
    uint32_t c0 = index_of(x0);
    uint32_t r0 = src.height - 1u - index_of(y0);
    return blend(src, c0, r0, _mm_set1_ps((1.0f - fy) * (1.0f - fx)), _mm_set1_ps((1.0f - fy) * fx),
                 _mm_set1_ps((1.0f - fx) * fy), _mm_set1_ps(fy * fx), fill);
  }

  // Four positions at once: floors, fractions, weights and indices are formed in the lanes with
  // the same operations as one position alone; positions whose floor does not fit 32 signed bits
  // (or NaN) take the one-position path, which gives them the 64-bit conversion.
  static QUORIN_KERNEL_INLINE void sample4(const imgbuf4f& src, const float x[4], const float y[4], __m128 fill,
                                           float* out) {
    const __m128 vx = _mm_load_ps(x), vy = _mm_load_ps(y);
    const __m128 x0 = floor_exact4(vx), y0 = floor_exact4(vy);
    const __m128 sign = _mm_set1_ps(-0.0f), limit = _mm_set1_ps(2147483648.0f);
    const __m128 fits = _mm_and_ps(_mm_cmplt_ps(_mm_andnot_ps(sign, x0), limit),
                                   _mm_cmplt_ps(_mm_andnot_ps(sign, y0), limit));
    if (_mm_movemask_ps(fits) != 0xf) {
      for (int l = 0; l < 4; ++l) _mm_store_ps(out + 4 * l, sample(src, x[l], y[l], fill));
      return;
    }
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128 fx = _mm_sub_ps(vx, x0), fy = _mm_sub_ps(vy, y0);
    const __m128 gx = _mm_sub_ps(one, fx), gy = _mm_sub_ps(one, fy);
    const __m128 w00 = _mm_mul_ps(gy, gx), w10 = _mm_mul_ps(gy, fx), w01 = _mm_mul_ps(gx, fy),
                 w11 = _mm_mul_ps(fy, fx);
    alignas(16) uint32_t c0[4], r0[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(c0), _mm_cvttps_epi32(x0));
    _mm_store_si128(reinterpret_cast<__m128i*>(r0),
                    _mm_sub_epi32(_mm_set1_epi32(static_cast<int32_t>(src.height - 1u)), _mm_cvttps_epi32(y0)));
    lane<0>(src, c0, r0, w00, w10, w01, w11, fill, out);
    lane<1>(src, c0, r0, w00, w10, w01, w11, fill, out);
    lane<2>(src, c0, r0, w00, w10, w01, w11, fill, out);
    lane<3>(src, c0, r0, w00, w10, w01, w11, fill, out);
  }

  static inline void sample(const imgbuf4f& src, float x, float y, const float fill[4], float out[4]) {
    _mm_storeu_ps(out, sample(src, x, y, _mm_loadu_ps(fill)));
  }

 private:
  template <int L>
  static QUORIN_KERNEL_INLINE void lane(const imgbuf4f& src, const uint32_t* c0, const uint32_t* r0, __m128 w00,
                                        __m128 w10, __m128 w01, __m128 w11, __m128 fill, float* out) {
    constexpr int s = _MM_SHUFFLE(L, L, L, L);
    _mm_store_ps(out + 4 * L, blend(src, c0[L], r0[L], _mm_shuffle_ps(w00, w00, s), _mm_shuffle_ps(w10, w10, s),
                                    _mm_shuffle_ps(w01, w01, s), _mm_shuffle_ps(w11, w11, s), fill));
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

// Columns per strip of a resampled band, and how many rows ahead the source is prefetched.
constexpr uint32_t resample_strip = 64;
constexpr uint32_t prefetch_rows = 4;

// Asks for the two source rows around (x, y) to be brought into the cache. Positions outside the
// image give addresses that are never read: a prefetch does not fault.
QUORIN_KERNEL_INLINE void prefetch_source(const imgbuf4f& src, float x, float y) {
  if (!(x > -2.0f && y > -2.0f && x < static_cast<float>(src.width) && y < static_cast<float>(src.height))) return;
  const uint32_t c = static_cast<uint32_t>(x > 0.0f ? x : 0.0f);
  const uint32_t r = src.height - 1u - static_cast<uint32_t>(y > 0.0f ? y : 0.0f);
  const char* p = reinterpret_cast<const char*>(pixel_at(src, c < src.width ? c : src.width - 1u, r < src.height ? r : 0u));
  _mm_prefetch(p, _MM_HINT_T0);
  _mm_prefetch(p - std::size_t(src.width) * 16u, _MM_HINT_T0);
}

// Writes every pixel of `dst` with `src` sampled where `map` sends it, through the kernel that `p`
// selects. For each target row, `map.row(y, r)` (y upward, r the memory row) sets up the terms that
// depend on the row alone and returns an object whose `at(c, x, sx, sy)` gives the source position
// of column c (x is c as a float). A map whose positions are cheap (`cheap_positions`) has them
// computed a second time a few rows ahead, to prefetch the source. Rows are independent and run in
// bands.
template <class Map>
void resample(const imgbuf4f& src, imgbuf4f& dst, const params& p, const Map& map) {
  with_kernel(p, [&](auto kernel) {
    using K = decltype(kernel);
    const __m128 fill = _mm_loadu_ps(p.fill);
    const uint32_t w = dst.width, h = dst.height;
    for_row_bands(h, [&](uint32_t first, uint32_t last) {
      // The band is walked in strips of columns, so that a turned or warped mapping reads a compact
      // part of the source at a time rather than a long slanted line across all of it.
      for (uint32_t c0 = 0; c0 < w; c0 += resample_strip) {
        const uint32_t c1 = w - c0 < resample_strip ? w : c0 + resample_strip;
        for (uint32_t r = first; r < last; ++r) {
          const auto row = map.row(h - 1u - r, r);
          float* out = pixel_at(dst, c0, r);
          float x = static_cast<float>(c0);
          uint32_t c = c0;
          alignas(16) float sx[4], sy[4];
          // The positions of this strip a few rows further on: their source pixels are asked for
          // ahead, since a slanted walk through the source defeats the processor's own prefetch.
          const uint32_t ahead_r = r + prefetch_rows < h ? r + prefetch_rows : h - 1u;
          const auto ahead = map.row(h - 1u - ahead_r, ahead_r);
          for (; c + 4u <= c1; c += 4u, out += 16) {
            if constexpr (Map::cheap_positions) {
              float px, py;
              ahead.at(c, x, px, py);
              prefetch_source(src, px, py);
            }
            for (uint32_t l = 0; l < 4; ++l, x += 1.0f) row.at(c + l, x, sx[l], sy[l]);
            K::sample4(src, sx, sy, fill, out);
          }
          for (; c < c1; ++c, x += 1.0f, out += 4) {
            row.at(c, x, sx[0], sy[0]);
            _mm_store_ps(out, K::sample(src, sx[0], sy[0], fill));
          }
        }
      }
    });
  });
}

}  // namespace sampling
}  // namespace quorin_engine
