// Vector types for the filter loops: four floats hold one pixel, eight floats two neighbouring
// pixels. Every lane does the same float operations in the same order as a scalar loop would, so a
// result never depends on the vector width. A loop is compiled twice, once for the base instruction
// set and once marked QUORIN_WIDE_VECTORS for 256-bit vector units, and the one that fits the
// processor is chosen when the library loads. Fused multiply-add is never enabled.
#pragma once
#include <cstdint>
#include <cstring>

// The helpers below are always inlined, so the calling convention of 256-bit values never applies.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace quorin_engine::filter {

typedef float v4 __attribute__((vector_size(16), aligned(4), may_alias));
typedef float v8 __attribute__((vector_size(32), aligned(4), may_alias));

#define QUORIN_WIDE_VECTORS __attribute__((target("avx2")))
// Whether the loops for 256-bit vector units run: set when the library loads from what the
// processor offers (use_wide_vectors in blur.h changes it).
extern bool wide_vectors;

#define QUORIN_INLINE inline __attribute__((always_inline))

QUORIN_INLINE v4 load4(const float* p) { return *reinterpret_cast<const v4*>(p); }
QUORIN_INLINE v8 load8(const float* p) { return *reinterpret_cast<const v8*>(p); }
QUORIN_INLINE void store4(float* p, v4 v) { *reinterpret_cast<v4*>(p) = v; }
QUORIN_INLINE void store8(float* p, v8 v) { *reinterpret_cast<v8*>(p) = v; }
QUORIN_INLINE v4 splat4(float f) { return v4{f, f, f, f}; }
QUORIN_INLINE v8 splat8(float f) { return v8{f, f, f, f, f, f, f, f}; }
// The four floats of one pixel, twice: the same weights for two neighbouring pixels.
QUORIN_INLINE v8 twice(v4 v) { return v8{v[0], v[1], v[2], v[3], v[0], v[1], v[2], v[3]}; }
// Lane masks, as comparisons give them: all bits set for true.
typedef int32_t v4i __attribute__((vector_size(16)));
typedef int32_t v8i __attribute__((vector_size(32)));
// Absolute values: the sign bits cleared.
QUORIN_INLINE v8 absolute(v8 v) {
  const int32_t m = 0x7fffffff;
  return (v8)((v8i)v & v8i{m, m, m, m, m, m, m, m});
}
// Alpha set to 1.0: one blend with a constant.
QUORIN_INLINE v4 opaque(v4 v) { return __builtin_shufflevector(v, splat4(1.0f), 0, 1, 2, 7); }
QUORIN_INLINE v8 opaque(v8 v) { return __builtin_shufflevector(v, splat8(1.0f), 0, 1, 2, 11, 4, 5, 6, 15); }

inline int64_t clamp_index(int64_t i, int64_t lo, int64_t hi) { return i < lo ? lo : (i > hi ? hi : i); }

}  // namespace quorin_engine::filter
