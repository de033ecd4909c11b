#include "nodes/generators/noise_core.h"

#include <emmintrin.h>

#include <atomic>
#include <mutex>

#include "core/tables.h"

namespace quorin_engine {

const uint8_t noise_permutation[256] = {
    225, 155, 210, 108, 175, 199, 221, 144, 203, 116, 70,  213, 69,  158, 33,  252, 5,   82,  173, 133,
    222, 139, 174, 27,  9,   71,  90,  246, 75,  130, 91,  191, 169, 138, 2,   151, 194, 235, 81,  7,
    25,  113, 228, 159, 205, 253, 134, 142, 248, 65,  224, 217, 22,  121, 229, 63,  89,  103, 96,  104,
    156, 17,  201, 129, 36,  8,   165, 110, 237, 117, 231, 56,  132, 211, 152, 20,  181, 111, 239, 218,
    170, 163, 51,  172, 157, 47,  80,  212, 176, 250, 87,  49,  99,  242, 136, 189, 162, 115, 44,  43,
    124, 94,  150, 16,  141, 247, 32,  10,  198, 223, 255, 72,  53,  131, 84,  57,  220, 197, 58,  50,
    208, 11,  241, 28,  3,   192, 62,  202, 18,  215, 153, 24,  76,  41,  15,  179, 39,  46,  55,  6,
    128, 167, 23,  188, 106, 34,  187, 140, 164, 73,  112, 182, 244, 195, 227, 13,  35,  77,  196, 185,
    26,  200, 226, 119, 31,  123, 168, 125, 249, 68,  183, 230, 177, 135, 160, 180, 12,  1,   243, 148,
    102, 166, 38,  238, 251, 37,  240, 126, 64,  74,  161, 40,  184, 149, 171, 178, 101, 66,  29,  59,
    146, 61,  254, 107, 42,  86,  154, 4,   236, 232, 120, 21,  233, 209, 45,  98,  193, 114, 78,  19,
    206, 14,  118, 127, 48,  79,  147, 85,  30,  207, 219, 54,  88,  234, 190, 122, 95,  67,  143, 109,
    137, 214, 145, 93,  92,  100, 245, 0,   216, 186, 60,  83,  105, 97,  204, 52};

const int32_t simplex_gradients[12][3] = {{1, 1, 0},  {-1, 1, 0},  {1, -1, 0},  {-1, -1, 0},
                                          {1, 0, 1},  {-1, 0, 1},  {1, 0, -1},  {-1, 0, -1},
                                          {0, 1, 1},  {0, -1, 1},  {0, 1, -1},  {0, -1, -1}};

namespace {

float base_table[256];
std::atomic<bool> base_table_built{false};
// Tables are built lazily, possibly by several bands of one render at once: the first to get here
// builds under this lock and publishes the result; later readers see it without locking.
std::mutex table_build_lock;

// (s & 0x7FFFFFFF) / 2147483647.0 in double precision, rounded to float.
inline float register_fraction(uint32_t s) {
  return static_cast<float>(static_cast<double>(s & 0x7FFFFFFFu) / 2147483647.0);
}

}  // namespace

const float* base_value_table() {
  if (!base_table_built.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> g(table_build_lock);
    if (!base_table_built.load(std::memory_order_relaxed)) {
      uint32_t s = 42330;
      for (float& v : base_table) {
        s = lfsr32_step(s);
        v = register_fraction(s);
      }
      base_table_built.store(true, std::memory_order_release);
    }
  }
  return base_table;
}

const float* seed_value_table(uint32_t seed) {
  if (seed >= seed_table_slots) seed = seed_table_slots - 1;
  std::atomic_ref<float*> slot(seed_value_tables[seed]);
  float* table = slot.load(std::memory_order_acquire);
  if (!table) {
    std::lock_guard<std::mutex> g(table_build_lock);
    table = slot.load(std::memory_order_relaxed);
    if (!table) {
      table = new float[256];
      uint32_t s = seed == 0 ? 42330u : seed;
      for (int i = 0; i < 256; ++i) {
        s = lfsr32_step(s);
        float v = register_fraction(s);
        table[i] = v * 2.0f - 1.0f;
      }
      slot.store(table, std::memory_order_release);
    }
  }
  return table;
}

float lattice_value(int32_t ix, int32_t iy, uint32_t seed) {
  const float* t = seed_value_table(seed);
  return t[noise_detail::lattice_hash(noise_permutation[static_cast<uint32_t>(iy) & 255u],
                                      static_cast<uint32_t>(ix))];
}

namespace noise_detail {

namespace {
inline float lattice_on(const float* table, uint32_t ix, uint32_t iy) {
  return table[lattice_hash(noise_permutation[iy & 255u], ix)];
}
}  // namespace

float cubic_on(const float* table, float x, float y) {
  float fx0 = std::floor(x), fy0 = std::floor(y);
  float tx = x - fx0, ty = y - fy0;
  uint32_t ix = static_cast<uint32_t>(lattice_int(fx0)), iy = static_cast<uint32_t>(lattice_int(fy0));
  float r[4];
  for (uint32_t j = 0; j < 4; ++j) {
    uint32_t row = iy + j - 1u;
    float a = lattice_on(table, ix - 1u, row);
    float b = lattice_on(table, ix, row);
    float c = lattice_on(table, ix + 1u, row);
    float d = lattice_on(table, ix + 2u, row);
    r[j] = catmull_rom(a, b, c, d, tx);
  }
  return catmull_rom(r[0], r[1], r[2], r[3], ty);
}

float linear_on(const float* table, float x, float y) {
  float fx0 = std::floor(x), fy0 = std::floor(y);
  float tx = x - fx0, ty = y - fy0;
  uint32_t ix = static_cast<uint32_t>(lattice_int(fx0)), iy = static_cast<uint32_t>(lattice_int(fy0));
  float v00 = lattice_on(table, ix, iy), v10 = lattice_on(table, ix + 1u, iy);
  float v01 = lattice_on(table, ix, iy + 1u), v11 = lattice_on(table, ix + 1u, iy + 1u);
  return (1.0f - ty) * (1.0f - tx) * v00 + (1.0f - ty) * tx * v10 + (1.0f - tx) * ty * v01 + ty * tx * v11;
}

float cosine_on(const float* table, float x, float y) {
  float fx0 = std::floor(x), fy0 = std::floor(y);
  float tx = x - fx0, ty = y - fy0;
  uint32_t ix = static_cast<uint32_t>(lattice_int(fx0)), iy = static_cast<uint32_t>(lattice_int(fy0));
  float sx = (1.0f - std::cos(pi_f() * tx)) * 0.5f;
  float sy = (1.0f - std::cos(pi_f() * ty)) * 0.5f;
  float v00 = lattice_on(table, ix, iy), v10 = lattice_on(table, ix + 1u, iy);
  float v01 = lattice_on(table, ix, iy + 1u), v11 = lattice_on(table, ix + 1u, iy + 1u);
  return (1.0f - sy) * (1.0f - sx) * v00 + (1.0f - sy) * sx * v10 + (1.0f - sx) * sy * v01 + sy * sx * v11;
}

}  // namespace noise_detail

// ---- row evaluators --------------------------------------------------------------------------------

void cubic_row_t::start(const float* t, float y) {
  table = t;
  float fy0 = std::floor(y);
  ty = y - fy0;
  uint32_t iy = static_cast<uint32_t>(noise_detail::lattice_int(fy0));
  for (uint32_t j = 0; j < 4; ++j) row_hash[j] = noise_permutation[(iy + j - 1u) & 255u];
}

void cubic_row_t::eval(float f, const float* xs, uint32_t n, float* out) {
  if (tx.size() < std::size_t(n) + 4) {
    tx.assign(std::size_t(n) + 4, 0.0f);
    ix.assign(std::size_t(n) + 4, 0);
  }
  for (uint32_t c = 0; c < n; ++c) {
    float x = f * xs[c];
    float fx0 = std::floor(x);
    tx[c] = x - fx0;
    ix[c] = noise_detail::lattice_int(fx0);
  }
  // Pixels in one cell share the lattice values and thus the coefficients of the four cubics in
  // x; four pixels at a time go through the same steps as the scalar form, lane by lane.
  const __m128 k15 = _mm_set1_ps(1.5f), k05 = _mm_set1_ps(0.5f), k25 = _mm_set1_ps(2.5f),
               k2 = _mm_set1_ps(2.0f), vty = _mm_set1_ps(ty);
  uint32_t c = 0;
  while (c < n) {
    const int32_t cell = ix[c];
    uint32_t end = c + 1;
    while (end < n && ix[end] == cell) ++end;
    __m128 A[4], B[4], C[4], D[4];
    const uint32_t ux = static_cast<uint32_t>(cell);
    for (int j = 0; j < 4; ++j) {
      float a = table[noise_detail::lattice_hash(row_hash[j], ux - 1u)];
      float b = table[noise_detail::lattice_hash(row_hash[j], ux)];
      float cc = table[noise_detail::lattice_hash(row_hash[j], ux + 1u)];
      float d = table[noise_detail::lattice_hash(row_hash[j], ux + 2u)];
      A[j] = _mm_set1_ps(1.5f * b - 0.5f * a - 1.5f * cc + 0.5f * d);
      B[j] = _mm_set1_ps(a - 2.5f * b + 2.0f * cc - 0.5f * d);
      C[j] = _mm_set1_ps(0.5f * cc - 0.5f * a);
      D[j] = _mm_set1_ps(b);
    }
    for (; c < end; c += 4) {
      const __m128 t = _mm_loadu_ps(&tx[c]);
      __m128 r[4];
      for (int j = 0; j < 4; ++j)
        r[j] = _mm_add_ps(
            _mm_mul_ps(_mm_add_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(A[j], t), B[j]), t), C[j]), t), D[j]);
      const __m128 a = r[0], b = r[1], cc = r[2], d = r[3];
      __m128 q3 = _mm_add_ps(_mm_sub_ps(_mm_sub_ps(_mm_mul_ps(k15, b), _mm_mul_ps(k05, a)), _mm_mul_ps(k15, cc)),
                             _mm_mul_ps(k05, d));
      __m128 q2 = _mm_sub_ps(_mm_add_ps(_mm_sub_ps(a, _mm_mul_ps(k25, b)), _mm_mul_ps(k2, cc)), _mm_mul_ps(k05, d));
      __m128 q1 = _mm_sub_ps(_mm_mul_ps(k05, cc), _mm_mul_ps(k05, a));
      __m128 v = _mm_add_ps(
          _mm_mul_ps(_mm_add_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(q3, vty), q2), vty), q1), vty), b);
      // A group may run past the cell; the next cell's groups write those pixels again.
      _mm_storeu_ps(out + c, v);
    }
    c = end;
  }
}

void linear_row_t::start(const float* t, float y) {
  table = t;
  float fy0 = std::floor(y);
  ty = y - fy0;
  one_minus_ty = 1.0f - ty;
  uint32_t iy = static_cast<uint32_t>(noise_detail::lattice_int(fy0));
  hash0 = noise_permutation[iy & 255u];
  hash1 = noise_permutation[(iy + 1u) & 255u];
}

namespace {
// The bilinear blend of the lattice values around each pixel; Weight maps the fraction in x.
template <class Weight>
void blend_row(const linear_row_t& row, float f, const float* xs, uint32_t n, float* out, Weight weight) {
  int32_t cell = 0;
  bool have_cell = false;
  float v00 = 0, v10 = 0, v01 = 0, v11 = 0;
  const float ty = row.ty, one_minus_ty = row.one_minus_ty;
  for (uint32_t c = 0; c < n; ++c) {
    float x = f * xs[c];
    float fx0 = std::floor(x);
    float tx = weight(x - fx0);
    int32_t ix = noise_detail::lattice_int(fx0);
    if (!have_cell || ix != cell) {
      uint32_t ux = static_cast<uint32_t>(ix);
      v00 = row.table[noise_detail::lattice_hash(row.hash0, ux)];
      v10 = row.table[noise_detail::lattice_hash(row.hash0, ux + 1u)];
      v01 = row.table[noise_detail::lattice_hash(row.hash1, ux)];
      v11 = row.table[noise_detail::lattice_hash(row.hash1, ux + 1u)];
      cell = ix;
      have_cell = true;
    }
    out[c] = one_minus_ty * (1.0f - tx) * v00 + one_minus_ty * tx * v10 + (1.0f - tx) * ty * v01 + ty * tx * v11;
  }
}
}  // namespace

void linear_row_t::eval(float f, const float* xs, uint32_t n, float* out) {
  blend_row(*this, f, xs, n, out, [](float t) { return t; });
}

void cosine_row_t::start(const float* t, float y) {
  linear_row_t::start(t, y);
  ty = (1.0f - std::cos(noise_detail::pi_f() * ty)) * 0.5f;
  one_minus_ty = 1.0f - ty;
}

void cosine_row_t::eval(float f, const float* xs, uint32_t n, float* out) {
  const float pi = noise_detail::pi_f();
  blend_row(*this, f, xs, n, out, [pi](float t) { return (1.0f - std::cos(pi * t)) * 0.5f; });
}

// ---- the plain functions ----------------------------------------------------------------------------

float classic_cubic(float x, float y, uint32_t seed) {
  return noise_detail::cubic_on(seed_value_table(seed), x, y);
}
float classic_linear(float x, float y, uint32_t seed) {
  return noise_detail::linear_on(seed_value_table(seed), x, y);
}
float classic_cosine(float x, float y, uint32_t seed) {
  return noise_detail::cosine_on(seed_value_table(seed), x, y);
}

float simplex2(float x, float y) {
  static const float sqrt3 = std::sqrt(3.0f);
  static const float F2 = (sqrt3 - 1.0f) * 0.5f;
  static const float G2 = (3.0f - sqrt3) / 6.0f;

  float s = (x + y) * F2;
  int32_t i = noise_detail::lattice_int(std::floor(x + s));
  int32_t j = noise_detail::lattice_int(std::floor(y + s));
  float t = static_cast<float>(static_cast<int32_t>(static_cast<uint32_t>(i) + static_cast<uint32_t>(j))) * G2;
  float x0 = x - (static_cast<float>(i) - t);
  float y0 = y - (static_cast<float>(j) - t);
  int32_t i1, j1;
  if (x0 > y0) {
    i1 = 1;
    j1 = 0;
  } else {
    i1 = 0;
    j1 = 1;
  }
  float x1 = x0 - static_cast<float>(i1) + G2;
  float y1 = y0 - static_cast<float>(j1) + G2;
  float x2 = x0 - 1.0f + 2.0f * G2;
  float y2 = y0 - 1.0f + 2.0f * G2;

  const uint8_t* P = noise_permutation;
  uint32_t ii = static_cast<uint32_t>(i) & 255u, jj = static_cast<uint32_t>(j) & 255u;
  uint32_t g0 = P[(P[jj] + ii) & 255u];
  uint32_t g1 = P[(P[(jj + j1) & 255u] + ii + i1) & 255u];
  uint32_t g2 = P[(P[(jj + 1) & 255u] + ii + 1) & 255u];

  auto corner = [](float cx, float cy, uint32_t g) {
    float tc = 0.5f - cx * cx - cy * cy;
    if (tc < 0.0f) return 0.0f;
    const int32_t* grad = simplex_gradients[g % 12];
    tc *= tc;
    return tc * tc * (static_cast<float>(grad[0]) * cx + static_cast<float>(grad[1]) * cy);
  };
  float n0 = corner(x0, y0, g0);
  float n1 = corner(x1, y1, g1);
  float n2 = corner(x2, y2, g2);
  return 70.0f * (n0 + n1 + n2);
}

float base_cubic_noise(float x, float y) { return noise_detail::cubic_on(base_value_table(), x, y); }

float base_turbulence(float x, float y, float limit) {
  const float* table = base_value_table();
  float f = 1.0f, sum = 0.0f;
  while (limit > f) {
    sum += std::fabs(noise_detail::cubic_on(table, f * x, f * y) * 2.0f - 1.0f) / f;
    f *= 2.0f;
  }
  return sum;
}

}  // namespace quorin_engine
