// The twenty sampling kernels: index treatment on each axis, rounding, bilinear weights, and the
// choice of kernel from the operator's parameters.
#include "nodes/operators/sampling.h"

#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "sampling_reference.h"

namespace {

using namespace optest;
using namespace quorin_engine::sampling;

using b_wrap_fill = bilinear<border::wrap, border::fill>;
using n_clamp_clamp = nearest<border::clamp, border::clamp>;
using n_clamp_fill = nearest<border::clamp, border::fill>;
using n_fill_clamp = nearest<border::fill, border::clamp>;
using n_fill_mirror = nearest<border::fill, border::mirror>;
using n_fill_wrap = nearest<border::fill, border::wrap>;
using n_mirror_fill = nearest<border::mirror, border::fill>;
using n_wrap_fill = nearest<border::wrap, border::fill>;

const px4 fill_c = {0.9f, 0.8f, 0.7f, 1.0f};

struct test_image {
  image_ptr img;
  test_image(uint32_t w, uint32_t h) : img(make_image(w, h, distinct_pixel)) {}
  // Pixel at column c of the row that holds integer y.
  px4 at(uint32_t c, uint32_t y) const { return pixel(*img, c, img->height - 1 - y); }
};

// Calls f(params, interpolation, border mode, direction) for all 32 combinations, fill colour fill_c.
template <class F>
void for_all_params(F f) {
  for (uint32_t interp : {0u, 1u})
    for (uint32_t mode = 0; mode < 4; ++mode)
      for (uint32_t dir = 0; dir < 4; ++dir) {
        params p;
        p.border_mode = mode;
        p.mode_direction = dir;
        p.interpolation = interp;
        std::copy(fill_c.begin(), fill_c.end(), p.fill);
        f(p, interp, mode, dir);
      }
}

template <class K>
px4 sample(const test_image& t, float x, float y) {
  float out[4];
  K::sample(*t.img, x, y, fill_c.data(), out);
  return rgba(out);
}

TEST(Sampling, WrapMirrorClampOnTheUnsignedIndex) {
  test_image w100(100, 6), w128(128, 6);
  // -1 is 4294967295 as unsigned: 95 modulo 100, 127 modulo 128.
  EXPECT_EQ(sample<n_wrap_fill>(w100, -1.0f, 2.0f), w100.at(95, 2));
  EXPECT_EQ(sample<n_wrap_fill>(w128, -1.0f, 2.0f), w128.at(127, 2));
  EXPECT_EQ(sample<n_wrap_fill>(w100, 103.0f, 2.0f), w100.at(3, 2));
  // Wrap on x leaves y a fill axis.
  EXPECT_EQ(sample<n_wrap_fill>(w100, 5.0f, 6.0f), fill_c);
  // One reflection only: w -> w-1, 2w -> w-1, w+1 -> w-2; -1 -> 99 - (4294967295 % 100) = 4.
  EXPECT_EQ(sample<n_mirror_fill>(w100, 100.0f, 1.0f), w100.at(99, 1));
  EXPECT_EQ(sample<n_mirror_fill>(w100, 200.0f, 1.0f), w100.at(99, 1));
  EXPECT_EQ(sample<n_mirror_fill>(w100, 101.0f, 1.0f), w100.at(98, 1));
  EXPECT_EQ(sample<n_mirror_fill>(w100, -1.0f, 1.0f), w100.at(4, 1));
  // Clamp works on the signed index.
  EXPECT_EQ(sample<n_clamp_fill>(w100, -7.0f, 1.0f), w100.at(0, 1));
  EXPECT_EQ(sample<n_clamp_fill>(w100, 250.0f, 1.0f), w100.at(99, 1));
  // The y axis: memory row h - 1 - y treated the same way (y = -1 is row 6, at least h).
  EXPECT_EQ(sample<n_fill_wrap>(w100, 4.0f, -1.0f), pixel(*w100.img, 4, 6u % 6u));
  EXPECT_EQ(sample<n_fill_clamp>(w100, 4.0f, -3.0f), w100.at(4, 0));
  EXPECT_EQ(sample<n_fill_clamp>(w100, 4.0f, 9.0f), w100.at(4, 5));
  EXPECT_EQ(sample<n_fill_mirror>(w100, 4.0f, 7.0f), pixel(*w100.img, 4, 5 - (4294967294u % 6u)));
  EXPECT_EQ(sample<n_clamp_clamp>(w100, -2.0f, 40.0f), w100.at(0, 5));
}

TEST(Sampling, NearestRoundsHalfUpAndOddPositionsIndexZero) {
  test_image t(10, 8);
  using fill = nearest<border::fill, border::fill>;
  EXPECT_EQ(sample<fill>(t, 9.5f, 3.0f), fill_c);  // rounds to 10
  EXPECT_EQ(sample<fill>(t, 9.49f, 3.0f), t.at(9, 3));
  EXPECT_EQ(sample<fill>(t, -0.5f, 3.0f), t.at(0, 3));
  EXPECT_EQ(sample<fill>(t, -0.51f, 3.0f), fill_c);
  EXPECT_EQ(sample<fill>(t, 2.5f, 3.5f), t.at(3, 4));
  // y = 0 is the last row in memory.
  EXPECT_EQ(sample<fill>(t, 0.0f, 0.0f), pixel(*t.img, 0, 7));
  // NaN and positions beyond 64 bits become index 0: column 0, and for y row h - 1 of memory.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(sample<fill>(t, nan, 3.0f), t.at(0, 3));
  EXPECT_EQ(sample<fill>(t, 1e30f, 3.0f), t.at(0, 3));
  EXPECT_EQ(sample<fill>(t, 2.0f, nan), pixel(*t.img, 2, 7));
  EXPECT_EQ(sample<fill>(t, 2.0f, -1e30f), pixel(*t.img, 2, 7));
}

TEST(Sampling, BilinearWeightsAndBorders) {
  test_image t(10, 8);
  using fill = bilinear<border::fill, border::fill>;
  // Half a pixel past the last column: the mean of that column and the fill colour.
  px4 edge = sample<fill>(t, 9.5f, 4.0f), last = t.at(9, 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(edge[i], 0.5f * last[i] + 0.5f * fill_c[i]) << i;
  // Integer positions return the pixel, also at the top-right corner with its outside neighbours.
  EXPECT_EQ(sample<fill>(t, 9.0f, 7.0f), t.at(9, 7));
  EXPECT_EQ(sample<fill>(t, 3.0f, 2.0f), t.at(3, 2));
  // Interior and border positions against the formula written out.
  for (float x : {-0.75f, 0.3f, 4.6f, 8.9f, 9.2f})
    for (float y : {-0.4f, 1.25f, 6.7f, 7.5f}) EXPECT_EQ(sample<fill>(t, x, y), ref_bilinear(*t.img, x, y, fill_c));
  // Wrapped corners come from both sides: x0 = -1 is column 4294967295 % 10 = 5, x0 + 1 column 0.
  px4 wrapped = sample<b_wrap_fill>(t, -0.5f, 2.0f), a = t.at(5, 2), b = t.at(0, 2);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(wrapped[i], 0.5f * a[i] + 0.5f * b[i]) << i;
}

// The kernel chosen by border mode and direction, seen from what it does outside each axis.
TEST(Sampling, KernelSelectionByBorderModeAndDirection) {
  test_image t(12, 9);
  for_all_params([&](const params& p, uint32_t interp, uint32_t mode, uint32_t dir) {
    px4 out_x, out_y;
    bool bil = false;
    with_kernel(p, [&](auto k) {
      using K = decltype(k);
      bil = K::is_bilinear;
      out_x = sample<K>(t, 14.0f, 3.0f);  // beyond the right edge
      out_y = sample<K>(t, 3.0f, -2.0f);  // below the bottom row
    });
    EXPECT_EQ(bil, interp == 1);
    bool on_x = mode != 0 && (dir & 1), on_y = mode != 0 && (dir & 2);
    // 14 on width 12: wrap 2, mirror 11 - 2 = 9, clamp 11. y = -2 is memory row 10 on height 9:
    // wrap row 1, mirror row 8 - 1 = 7, clamp row 8.
    const uint32_t cols[4] = {0, 2, 9, 11}, rows[4] = {0, 1, 7, 8};
    EXPECT_EQ(out_x, on_x ? t.at(cols[mode], 3) : fill_c) << mode << dir << interp;
    EXPECT_EQ(out_y, on_y ? pixel(*t.img, 3, rows[mode]) : fill_c) << mode << dir << interp;
  });
}

// Four positions at once give what each gives alone, for every kernel, across borders, far outside,
// and where the floor leaves 32 bits or is not a number.
TEST(Sampling, FourAtOnceMatchesOneAtATime) {
  test_image t(9, 7);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float xs[] = {-0.5f, 0.25f, 3.75f, 7.5f, 8.0f, 8.6f, -13.3f, 40.2f, 3e9f, -1e20f, nan, -0.0f};
  const float ys[] = {-0.75f, 0.0f, 2.5f, 5.9f, 6.0f, 6.5f, -9.1f, 30.4f, -3e9f, 1e30f, nan, 0.5f};
  for_all_params([&](const params& p, uint32_t interp, uint32_t mode, uint32_t dir) {
    with_kernel(p, [&](auto k) {
      using K = decltype(k);
      const __m128 fill = _mm_loadu_ps(fill_c.data());
      for (std::size_t i = 0; i + 4 <= std::size(xs); ++i) {
        alignas(16) float x[4], y[4], four[16];
        for (int l = 0; l < 4; ++l) x[l] = xs[i + l], y[l] = ys[(i + 3 * l) % std::size(ys)];
        K::sample4(*t.img, x, y, fill, four);
        for (int l = 0; l < 4; ++l) {
          alignas(16) float one[4];
          _mm_store_ps(one, K::sample(*t.img, x[l], y[l], fill));
          ASSERT_EQ(0, std::memcmp(one, four + 4 * l, 16)) << interp << mode << dir << " at " << x[l] << "," << y[l];
        }
      }
    });
  });
}

TEST(Sampling, ParametersLimitedAsRead) {
  optest::op_rig rig(4, 4);
  renderctx ctx{nullptr, false, &rig.pool, false, false, false, false, nullptr};
  auto* defaults = rig.node(1019, {{u"fill-color", u""}});
  params p = fetch_params(*defaults, ctx, 1);
  EXPECT_EQ(p.border_mode, 0u);
  EXPECT_EQ(p.mode_direction, 0u);
  EXPECT_EQ(p.interpolation, 1u);
  EXPECT_EQ(rgba(p.fill), (px4{1, 1, 1, 1}));  // no colour to read: white
  auto* set = rig.node(1019, {{u"border-mode", u"clamp"},
                              {u"mode-direction", u"Y"},
                              {u"interpolation", u"None"},
                              {u"fill-color", u"(0.2,0.3,0.4)"}});
  p = fetch_params(*set, ctx, 1);
  EXPECT_EQ(p.border_mode, 3u);
  EXPECT_EQ(p.mode_direction, 2u);
  EXPECT_EQ(p.interpolation, 0u);
  EXPECT_EQ(rgba(p.fill), (px4{0.2f, 0.3f, 0.4f, 1.0f}));
  // Connected values past the last enum value count as the last one.
  auto* big = rig.node(1019);
  auto* one = rig.node(17, {{u"value", u"1.0"}});  // Constant
  for (const char16_t* name : {u"border-mode", u"mode-direction", u"interpolation"}) rig.connect(big, name, one);
  p = fetch_params(*big, ctx, 0);
  EXPECT_EQ(p.border_mode, 3u);
  EXPECT_EQ(p.mode_direction, 3u);
  EXPECT_EQ(p.interpolation, 1u);
}

}  // namespace
