// Blur kernels, the row and column passes, Blur, VarBlur, MotionBlur and IrregularBlur against plain
// reference loops, bit for bit.
#include <gtest/gtest.h>

#include <cmath>

#include "filter_reference.h"
#include "nodes/operators/blur.h"
#include "operator_test_support.h"

namespace {

using namespace quorin_engine;
using namespace filtref;
using optest::op_rig;

constexpr uint32_t blur_id = 1005, var_blur_id = 1070, motion_blur_id = 1006, irregular_blur_id = 1091;

// The Blur passes over a region as reference loops: outside the region the source shows.
image reference_blur(const image& src, uint32_t type, uint32_t n, uint32_t direction, int64_t x0, int64_t y0,
                     int64_t x1, int64_t y1) {
  const filtref::taps t = filtref::kernel(type, n);
  image first = src;
  if (direction != 1) filtref::pass(first, src, t, true, x0, y0, x1, y1);
  if (direction == 0) return first;
  image out = first;
  filtref::pass(out, direction == 1 ? src : first, t, false, x0, y0, x1, y1);
  return out;
}

TEST(BlurKernels, TapsAndNorms) {
  filtref::engine_ready();
  const blur_kernel* g3 = kernel_for(1, 3);
  const blur_kernel* g5 = kernel_for(1, 5);
  const float want3[] = {0.166151f, 0.398942f, 0.166151f};
  const float want5[] = {0.043597f, 0.288705f, 0.398942f, 0.288705f, 0.043597f};
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(g3->weights[i], want3[i], 1e-6);
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(g5->weights[i], want5[i], 1e-6);
  EXPECT_EQ(g5->width, 5u);
  EXPECT_EQ(g5->mean, 0.0);
  EXPECT_EQ(g5->sigma, 1.0);
  EXPECT_EQ(g5->step, 0.001);

  const blur_kernel* b5 = kernel_for(2, 5);
  const float bart[] = {1, 2, 3, 2, 1};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(b5->weights[i], bart[i]);
  EXPECT_EQ(b5->norm, 1.0f / 9.0f);
  for (uint32_t n : {3u, 9u, 49u}) EXPECT_EQ(kernel_for(0, n)->norm, 1.0f / float(n)) << n;
  for (int c = 0; c < 4; ++c) {
    EXPECT_EQ(b5->weights4[2 * 4 + c], 3.0f);
    EXPECT_EQ(b5->norm4[c], b5->norm);
  }

  // Every width of every type against the formulas, including the Gaussians from 119 up whose
  // extra bins overwrite the centre tap and cross into the mirrored taps.
  for (uint32_t type = 0; type < 3; ++type)
    for (uint32_t n = 3; n <= 253; n += 2) {
      const filtref::taps t = filtref::kernel(type, n);
      const blur_kernel* k = kernel_for(type, n);
      ASSERT_EQ(std::memcmp(k->weights, t.w.data(), n * 4), 0) << type << " " << n;
      ASSERT_EQ(k->norm, t.norm) << type << " " << n;
    }
  const blur_kernel* g119 = kernel_for(1, 119);
  EXPECT_NE(g119->weights[59], static_cast<float>(1.0 / std::sqrt(2.0 * M_PI)));
  EXPECT_EQ(kernel_for(1, 117)->weights[58], static_cast<float>(1.0 / std::sqrt(2.0 * M_PI)));

  EXPECT_EQ(kernel_for(1, 5), g5);  // cached
  EXPECT_EQ(kernel_for(0, 255), nullptr);
}

TEST(BlurPasses, ClampToTheRectangleAndSkipWhatDoesNotFit) {
  filtref::engine_ready();
  const image src = filtref::noise_image(29, 13, 3);
  image buf_src = src;
  imgbuf4f in{imgbuf4f_head_guard, src.w, src.h, buf_src.px.data(), imgbuf4f_tail_guard};
  const blur_kernel* k = kernel_for(1, 7);
  for (bool wide : {true, false}) {
    const bool was = use_wide_vectors(wide);
    // A rectangle given reversed and past the image's edge: limited to the image and sorted.
    image out_px(src.w, src.h, -7.0f);
    imgbuf4f out{imgbuf4f_head_guard, src.w, src.h, out_px.px.data(), imgbuf4f_tail_guard};
    convolve_rows(out, in, k->weights4, 7, k->norm, 40, 11, 3, 2);
    image want(src.w, src.h, -7.0f);
    filtref::pass(want, src, filtref::kernel(1, 7), true, 3, 2, 28, 11);
    EXPECT_TRUE(filtref::same_pixels(want, out)) << wide;

    convolve_columns(out, in, k->weights4, 7, k->norm, 0, 0, 28, 12);
    filtref::pass(want, src, filtref::kernel(1, 7), false, 0, 0, 28, 12);
    EXPECT_TRUE(filtref::same_pixels(want, out)) << wide;

    // Five columns for a kernel of 7: both margins fit and overlap, the middle does not.
    image narrow(src.w, src.h, -7.0f);
    imgbuf4f nb{imgbuf4f_head_guard, src.w, src.h, narrow.px.data(), imgbuf4f_tail_guard};
    convolve_rows(nb, in, k->weights4, 7, k->norm, 10, 0, 14, 0);
    image want_n(src.w, src.h, -7.0f);
    filtref::pass(want_n, src, filtref::kernel(1, 7), true, 10, 0, 14, 0);
    EXPECT_TRUE(filtref::same_pixels(want_n, nb));
    // Two columns for a kernel of 7: nothing fits and nothing is written.
    convolve_columns(nb, in, k->weights4, 7, k->norm, 20, 5, 21, 6);
    EXPECT_EQ(pixel_at(nb, 20, 5)[0], -7.0f);

    float px[4];
    convolve_pixel_column(px, in, k->weights4, 7, k->norm, 4, 1);
    float want_px[4];
    filtref::pass_pixel(want_px, src, filtref::kernel(1, 7), 4, 1, false, 0, 12);
    EXPECT_EQ(std::memcmp(px, want_px, 16), 0);
    use_wide_vectors(was);
  }
}

TEST(Blur, SizeToWidth) {
  const image src = filtref::noise_image(31, 17, 5);
  struct row {
    const char16_t* size;
    uint32_t width;  // 0: a copy
  } rows[] = {{u"0.02", 0}, {u"0.03", 3}, {u"0.04", 3}, {u"0.05", 5}, {u"0.09", 9}};
  for (const row& r : rows) {
    op_rig rig(src.w, src.h);
    shadetree_node_t* op = rig.node(blur_id, {{u"size", r.size}, {u"type", u"Gaussian"}, {u"direction", u"horizontal"}});
    op_rig::connect(op, u"RGB", source_of(rig, src));
    const image want = r.width ? reference_blur(src, 1, r.width, 0, 0, 0, src.w - 1, src.h - 1) : src;
    auto out = rig.render(op);
    EXPECT_TRUE(filtref::same_pixels(want, *out)) << r.width;
  }
}

TEST(Blur, RegionsAndDirections) {
  // Odd sizes, a region inside the image: the edge samples come from inside the region, outside it
  // the source shows with its own alpha, and blurred pixels have alpha 1 whatever the input's.
  image src = filtref::noise_image(37, 23, 7);
  for (uint32_t i = 0; i < src.w * src.h; ++i) src.px[i * 4 + 3] = 0.0f;
  for (uint32_t type = 0; type < 3; ++type)
    for (uint32_t direction = 0; direction < 3; ++direction) {
      op_rig rig(src.w, src.h);
      const char16_t* types[] = {u"Box", u"Gaussian", u"Bartlett"};
      const char16_t* dirs[] = {u"horizontal", u"vertical", u"both"};
      shadetree_node_t* op = rig.node(blur_id, {{u"size", u"0.05"}, {u"type", types[type]}, {u"direction", dirs[direction]},
                                                 {u"roi-left", u"0.2"}, {u"roi-top", u"0.1"}, {u"roi-right", u"0.7"},
                                                 {u"roi-bottom", u"0.8"}});
      op_rig::connect(op, u"RGB", source_of(rig, src));
      // x0 = trunc(37 * 0.2) = 7, x1 = 25, y0 = 2, y1 = 18.
      const image want = reference_blur(src, type, 5, direction, 7, 2, 25, 18);
      auto out = rig.render(op);
      EXPECT_TRUE(filtref::same_pixels(want, *out)) << type << " " << direction;
      EXPECT_EQ(pixel_at(*out, 10, 10)[3], 1.0f);
      EXPECT_EQ(pixel_at(*out, 30, 10)[3], 0.0f);
    }
}

TEST(Blur, EdgeCases) {
  const image src = filtref::noise_image(50, 50, 9);
  {  // size 1.0 on 50 by 50: narrowed to 48, then 47.
    op_rig rig(50, 50);
    shadetree_node_t* op = rig.node(blur_id, {{u"size", u"1.0"}, {u"type", u"Box"}});
    op_rig::connect(op, u"RGB", source_of(rig, src));
    EXPECT_TRUE(filtref::same_pixels(reference_blur(src, 0, 47, 2, 0, 0, 49, 49), *rig.render(op)));
  }
  {  // An empty region copies the input, alpha included.
    op_rig rig(50, 50);
    shadetree_node_t* op = rig.node(blur_id, {{u"roi-left", u"0.5"}, {u"roi-right", u"0.5"}, {u"size", u"0.2"}});
    op_rig::connect(op, u"RGB", source_of(rig, src));
    EXPECT_TRUE(filtref::same_pixels(src, *rig.render(op)));
  }
  {  // Unconnected: cleared, alpha 0. MotionBlur clears whatever is connected.
    op_rig rig(8, 8);
    auto out = rig.render(rig.node(blur_id));
    EXPECT_TRUE(filtref::same_pixels(image(8, 8), *out));
    shadetree_node_t* motion = rig.node(motion_blur_id);
    op_rig::connect(motion, u"RGB", rig.constant({1, 1, 1, 1}));
    EXPECT_TRUE(filtref::same_pixels(image(8, 8), *rig.render(motion)));
  }
}

TEST(VarBlur, WidthPerPixel) {
  const image src = filtref::noise_image(23, 19, 11);
  // relsize: 0 in the left third (copies), rising widths elsewhere, one value past the widest kernel.
  image rel(23, 19);
  for (uint32_t y = 0; y < 19; ++y)
    for (uint32_t x = 0; x < 23; ++x) rel.at(x, y)[0] = x < 8 ? 0.0f : (x == 22 ? 40.0f : 0.1f * float(x));
  for (uint32_t direction = 0; direction < 3; ++direction) {
    op_rig rig(23, 19);
    const char16_t* dirs[] = {u"horizontal", u"vertical", u"both"};
    shadetree_node_t* op = rig.node(var_blur_id, {{u"size", u"0.1"}, {u"type", u"Bartlett"}, {u"direction", dirs[direction]}});
    op_rig::connect(op, u"RGB", source_of(rig, src));
    op_rig::connect(op, u"relsize", source_of(rig, rel));
    auto one_pass = [&](const image& in, bool rows) {
      image out = in;
      for (uint32_t y = 0; y < 19; ++y)
        for (uint32_t x = 0; x < 23; ++x) {
          const float r = 0.1f * 100.0f * rel.at(x, y)[0];
          if (r < 3.0f) continue;
          uint32_t n = r >= 253.0f ? 253 : uint32_t(r);
          if (!(n & 1)) --n;
          filtref::pass_pixel(out.at(x, y), in, filtref::kernel(2, n), x, y, rows, 0, rows ? 22 : 18);
        }
      return out;
    };
    image want = direction == 1 ? one_pass(src, false) : one_pass(src, true);
    if (direction == 2) want = one_pass(want, false);
    auto out = rig.render(op);
    EXPECT_TRUE(filtref::same_pixels(want, *out)) << direction;
    EXPECT_EQ(std::memcmp(pixel_at(*out, 2, 3), src.at(2, 3), 16), 0);  // red 0 copies, alpha too
  }
  {  // Without relsize: the whole image through the Blur passes; a base below 3 copies.
    op_rig rig(23, 19);
    shadetree_node_t* op = rig.node(var_blur_id, {{u"size", u"0.07"}, {u"type", u"Gaussian"}});
    op_rig::connect(op, u"RGB", source_of(rig, src));
    EXPECT_TRUE(filtref::same_pixels(reference_blur(src, 1, 7, 2, 0, 0, 22, 18), *rig.render(op)));
    shadetree_node_t* small = rig.node(var_blur_id, {{u"size", u"0.02"}});
    op_rig::connect(small, u"RGB", source_of(rig, src));
    op_rig::connect(small, u"relsize", rig.constant({5, 5, 5, 1}));
    EXPECT_TRUE(filtref::same_pixels(src, *rig.render(small)));
  }
}

TEST(IrregularBlur, MasksAsElevenByElevenConvolutions) {
  const image src = filtref::noise_image(17, 14, 13);
  // Columns of ones per row of each mask.
  const int ranges[5][11][2] = {
      {{5, 5}, {4, 6}, {4, 6}, {3, 7}, {3, 7}, {2, 8}, {2, 8}, {1, 9}, {1, 9}, {0, 10}, {0, 10}},
      {{0, 10}, {0, 10}, {1, 9}, {1, 9}, {2, 8}, {2, 8}, {3, 7}, {3, 7}, {4, 6}, {4, 6}, {5, 5}},
      {{5, 5}, {4, 6}, {3, 7}, {2, 8}, {1, 9}, {0, 10}, {1, 9}, {2, 8}, {3, 7}, {4, 6}, {5, 5}},
      {{3, 7}, {1, 9}, {1, 9}, {0, 10}, {0, 10}, {0, 10}, {0, 10}, {0, 10}, {1, 9}, {1, 9}, {3, 7}},
      {{5, 5}, {3, 7}, {2, 8}, {0, 10}, {0, 10}, {0, 10}, {1, 9}, {1, 9}, {1, 9}, {1, 9}, {1, 9}},
  };
  const char16_t* names[] = {u"tridown", u"triup", u"diamond", u"disc", u"pentagon"};
  for (uint32_t s = 0; s < 5; ++s) {
    std::vector<float> mask(121, 0.0f);
    float sum = 0.0f;
    for (int r = 0; r < 11; ++r)
      for (int c = ranges[s][r][0]; c <= ranges[s][r][1]; ++c) mask[r * 11 + c] = 1.0f;
    for (float m : mask) sum += m;
    op_rig rig(src.w, src.h);
    shadetree_node_t* op = rig.node(irregular_blur_id, {{u"shape", names[s]}});
    op_rig::connect(op, u"RGB", source_of(rig, src));
    EXPECT_TRUE(filtref::same_pixels(filtref::square(src, mask, 5, sum), *rig.render(op))) << s;
  }
}

}  // namespace
