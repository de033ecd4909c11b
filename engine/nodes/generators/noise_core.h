// The noise primitives: a fixed permutation, shift-register value tables, lattice value noise in
// three interpolations, two-dimensional simplex noise and the octave sums built on them. Every
// float step is taken in the order and precision written here, because images must not change.
#pragma once
#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

namespace quorin_engine {

// 256 entries, a permutation of 0..255; every index is masked with 255 before use.
extern const uint8_t noise_permutation[256];
// Twelve gradient rows; only the first two columns are read.
extern const int32_t simplex_gradients[12][3];

// One step of the 32-bit shift register of x^32 + x^22 + x^2 + x + 1.
inline uint32_t lfsr32_step(uint32_t s) {
  uint32_t t = ((((((s << 10) ^ s) << 20) ^ s) << 1) ^ s);
  return ((t >> 31) << 31) | (s >> 1);
}

// 256 floats in [0,1] from the register started at 42330; built on first use.
const float* base_value_table();
// The table of a seed (0..5000), 256 floats in [-1,1]; its slot is filled on first use.
const float* seed_value_table(uint32_t seed);

namespace noise_detail {

// floor() of a float truncated to an integer lattice coordinate. Outside the 32-bit range the
// conversion gives INT_MIN, as the processor's own truncating conversion does.
inline int32_t lattice_int(float floored) {
  if (floored >= -2147483648.0f && floored < 2147483648.0f) return static_cast<int32_t>(floored);
  return INT32_MIN;
}

// Lattice coordinates are added in unsigned arithmetic: only their low eight bits count.
inline uint32_t lattice_hash(uint32_t row_hash, uint32_t ix) {
  return noise_permutation[(row_hash + ix) & 255u];
}

// Catmull-Rom cubic through a, b, c, d at t, in Horner form.
inline float catmull_rom(float a, float b, float c, float d, float t) {
  return (((1.5f * b - 0.5f * a - 1.5f * c + 0.5f * d) * t + (a - 2.5f * b + 2.0f * c - 0.5f * d)) * t +
          (0.5f * c - 0.5f * a)) * t + b;
}

// pi and 2 pi, rounded to float once.
inline float pi_f() {
  static const float pi = static_cast<float>(std::atan(1.0) * 4.0);
  return pi;
}
inline float two_pi_f() {
  static const float two_pi = static_cast<float>(std::atan(1.0) * 8.0);
  return two_pi;
}

// Lattice noise on a given table, T[P[(P[iy & 255] + ix) & 255]].
float cubic_on(const float* table, float x, float y);
float linear_on(const float* table, float x, float y);
float cosine_on(const float* table, float x, float y);

}  // namespace noise_detail

float lattice_value(int32_t ix, int32_t iy, uint32_t seed);
float classic_cubic(float x, float y, uint32_t seed);
float classic_linear(float x, float y, uint32_t seed);
float classic_cosine(float x, float y, uint32_t seed);
float simplex2(float x, float y);

// Value noise on the base table, about 0..1, without seed.
float base_cubic_noise(float x, float y);
// Power-of-two turbulence on the base table: octaves while limit > f.
float base_turbulence(float x, float y, float limit);

// Octave sums over lofreq..hifreq: each octave adds term(N(f x, f y)) * a. The count is
// hifreq - lofreq + 1 in unsigned arithmetic.
template <class N, class Term>
float octave_accumulate(N noise, Term term, float x, float y, uint32_t lofreq, uint32_t hifreq, float lacunarity,
                        float persistence) {
  uint32_t count = hifreq - lofreq + 1u;
  float f = static_cast<float>(lofreq), a = 1.0f, sum = 0.0f;
  for (uint32_t i = 0; i < count; ++i) {
    sum += term(noise(f * x, f * y)) * a;
    f *= lacunarity;
    a *= persistence;
  }
  return sum;
}
template <class N>
float octave_sum(N noise, float x, float y, uint32_t lofreq, uint32_t hifreq, float lacunarity, float persistence) {
  return octave_accumulate(noise, [](float n) { return n; }, x, y, lofreq, hifreq, lacunarity, persistence);
}
template <class N>
float octave_sum_abs(N noise, float x, float y, uint32_t lofreq, uint32_t hifreq, float lacunarity,
                     float persistence) {
  return octave_accumulate(noise, [](float n) { return std::fabs(n); }, x, y, lofreq, hifreq, lacunarity,
                           persistence);
}
// For noise in -1..1 mapped to 0..1 before weighting (used with simplex noise).
template <class N>
float scaled_octave_sum(N noise, float x, float y, uint32_t lofreq, uint32_t hifreq, float lacunarity,
                        float persistence) {
  return octave_accumulate(noise, [](float n) { return (n + 1.0f) * 0.5f; }, x, y, lofreq, hifreq, lacunarity,
                           persistence);
}
// Power-of-two turbulence: sum of |N(f x, f y)| / f while limit > f, f doubling from 1.
template <class N>
float octave_turbulence(N noise, float x, float y, float limit) {
  float f = 1.0f, sum = 0.0f;
  while (limit > f) {
    sum += std::fabs(noise(f * x, f * y)) / f;
    f *= 2.0f;
  }
  return sum;
}

// Evaluators of one interpolation along a row: start() fixes y, eval() gives
// out[c] = N(f * xs[c], y) for c < n, exactly the value of the plain function at that point.
// `out` must have room for n + 7 floats (the cubic evaluator writes whole groups of four or eight).
// The lattice values of a cell are read once per run of pixels in that cell, which is where the
// time goes.
struct cubic_row_t {
  const float* table = nullptr;
  float ty = 0.0f;
  uint32_t row_hash[4] = {};
  std::vector<float> tx;    // fraction within the cell, per pixel
  std::vector<int32_t> ix;  // cell, per pixel
  // For 256-bit vector units: the lattice values of the row's columns and the coefficients of the
  // four cubics in x of each cell, 16 planes.
  bool wide;
  std::vector<float> lattice, coefficients;

  cubic_row_t();
  void start(const float* t, float y);
  void eval(float f, const float* xs, uint32_t n, float* out);

 private:
  void cells_by_pixel(float f, const float* xs, uint32_t n, uint32_t from);
  void cells_wide(float f, const float* xs, uint32_t n);
  void eval_by_cell(uint32_t n, float* out);
  bool eval_wide(uint32_t n, float* out);
};

struct linear_row_t {
  const float* table = nullptr;
  float ty = 0.0f, one_minus_ty = 1.0f;
  uint32_t hash0 = 0, hash1 = 0;

  void start(const float* t, float y);
  void eval(float f, const float* xs, uint32_t n, float* out);
};

// The cosine form: the linear blend with (1 - cos(pi t)) * 0.5 in place of t.
struct cosine_row_t : linear_row_t {
  void start(const float* t, float y);
  void eval(float f, const float* xs, uint32_t n, float* out);
};

struct simplex_row_t {
  float y = 0.0f;
  void start(const float*, float row_y) { y = row_y; }
  void eval(float f, const float* xs, uint32_t n, float* out) const {
    for (uint32_t c = 0; c < n; ++c) out[c] = simplex2(f * xs[c], y);
  }
};

// Interpolation modes as the generators number them.
enum noise_interp : uint32_t { interp_cubic = 0, interp_linear = 1, interp_cosine = 2 };

}  // namespace quorin_engine
