// The distortion operators on images whose pixels the tests know.
#include <cmath>
#include <cstring>

#include "sampling_reference.h"

namespace {

using namespace optest;

enum : uint32_t { Whirl = 1007, MapDistort = 1008, Pixelize = 1024, Distort = 1039, ImageSample = 1042,
                  ShiftDistort = 1076 };

TEST(Distortion, UnconnectedMainInputClearsTheTarget) {
  op_rig rig(6, 4);
  for (uint32_t type : {Whirl, MapDistort, Pixelize, Distort, ImageSample, ShiftDistort}) {
    shadetree_node_t* op = rig.node(type);
    if (type == MapDistort) rig.connect(op, u"RGB-Map", rig.constant({0.5f, 0.5f, 0.5f, 1}));
    if (type == ImageSample) rig.connect(op, u"UV", rig.constant({0.5f, 0.5f, 0.5f, 1}));
    image_ptr out = rig.render(op);
    for (uint32_t i = 0; i < 6 * 4 * 4; ++i) ASSERT_EQ(out->pixels[i], 0.0f) << type;
  }
}

TEST(Distortion, ImageSampleReadsPositionsFromUV) {
  op_rig rig(13, 9);
  grow_pool(rig, 8);
  shadetree_node_t* src = rig.image(distinct_pixel);
  image_ptr source = make_image(13, 9, distinct_pixel);
  const float W = 12, H = 8;
  // Red x / W, green 1 - y / H with y upward: the identity. Blue holds a second u for mapping 4.
  auto uv_fill = [&](uint32_t x, uint32_t r, float* px) {
    px[0] = float(x) / W;
    px[1] = 1.0f - float(8 - r) / H;
    px[2] = float(12 - x) / W;
    px[3] = 1;
  };
  shadetree_node_t* uv = rig.image(uv_fill);
  image_ptr uvimg = make_image(13, 9, uv_fill);
  shadetree_node_t* op = rig.node(ImageSample, {{u"interpolation", u"None"}});
  rig.connect(op, u"RGB", src);
  rig.connect(op, u"UV", uv);
  EXPECT_TRUE(same_pixels(*rig.render(op), *source));
  // Bilinear: each pixel from its (W u, (1 - v) H), within rounding of the identity.
  op->params[u"interpolation"] = u"Bilinear";
  image_ptr out = rig.render(op);
  for (uint32_t r = 0; r < 9; ++r)
    for (uint32_t c = 0; c < 13; ++c) {
      px4 q = pixel(*uvimg, c, r);
      ASSERT_EQ(pixel(*out, c, r), ref_bilinear(*source, W * q[0], (1 - q[1]) * H, {1, 1, 1, 1}));
      for (int i = 0; i < 4; ++i) ASSERT_NEAR(pixel(*out, c, r)[i], pixel(*source, c, r)[i], 1e-5f);
    }
  // "G->U,B->V": u from green, v from blue.
  op->params[u"mapping"] = u"G->U,B->V";
  op->params[u"interpolation"] = u"None";
  out = rig.render(op);
  for (uint32_t r = 0; r < 9; ++r)
    for (uint32_t c = 0; c < 13; ++c) {
      px4 q = pixel(*uvimg, c, r);
      ASSERT_EQ(pixel(*out, c, r), ref_nearest(*source, W * q[1], (1 - q[2]) * H, {1, 1, 1, 1}));
    }
  // Without UV the input passes through.
  shadetree_node_t* bare = rig.node(ImageSample);
  rig.connect(bare, u"RGB", src);
  EXPECT_TRUE(same_pixels(*rig.render(bare), *source));
}

TEST(Distortion, MapDistortDisplacementAndPolar) {
  op_rig rig(11, 7);
  grow_pool(rig, 8);
  shadetree_node_t* src = rig.image(distinct_pixel);
  image_ptr source = make_image(11, 7, distinct_pixel);
  // No map: zero displacement. Scale 0: no displacement whatever the map holds.
  shadetree_node_t* op = rig.node(MapDistort);
  rig.connect(op, u"RGB-Source", src);
  EXPECT_TRUE(same_pixels(*rig.render(op), *source));
  auto map_fill = [](uint32_t x, uint32_t r, float* px) {
    px[0] = float(x % 3) * 0.1f;
    px[1] = float(r % 4) * 0.05f;
    px[2] = float((x + r) % 5) * 0.125f;
    px[3] = 1;
  };
  shadetree_node_t* map = rig.image(map_fill);
  image_ptr mapimg = make_image(11, 7, map_fill);
  rig.connect(op, u"RGB-Map", map);
  op->params[u"scale"] = u"0";
  EXPECT_TRUE(same_pixels(*rig.render(op), *source));
  // "R->dy,B->dx" at scale 0.5, wrapped on both axes: source = (c + s dx W, y + s dy H).
  op->params = {{u"scale", u"0.5"}, {u"mapping", u"R->dy,B->dx"}, {u"border-mode", u"wrap"},
                {u"mode-direction", u"X and Y"}, {u"interpolation", u"None"}};
  image_ptr out = rig.render(op);
  for (uint32_t r = 0; r < 7; ++r)
    for (uint32_t c = 0; c < 11; ++c) {
      px4 q = pixel(*mapimg, c, r);
      float sx = float(c) + 0.5f * q[2] * 10.0f, sy = float(6 - r) + 0.5f * q[0] * 6.0f;
      // Positions here are non-negative: columns wrap by plain modulo, but a row above the image is
      // a negative memory row, wrapped on its unsigned value.
      uint32_t ic = uint32_t(std::floor(sx + 0.5f)) % 11, mr = uint32_t(6 - int64_t(std::floor(sy + 0.5f)));
      if (mr >= 7) mr %= 7;
      ASSERT_EQ(pixel(*out, c, r), pixel(*source, ic, mr)) << c << "," << r;
    }
  // Polar "R->dist,G->angle": the distance channel is never read.
  op->params = {{u"mapping", u"R->dist,G->angle"}};
  shadetree_node_t* red_a = rig.constant({0.1f, 0.3f, 0.0f, 1}), *red_b = rig.constant({0.9f, 0.3f, 0.0f, 1});
  rig.connect(op, u"RGB-Map", red_a);
  image_ptr a = rig.render(op);
  rig.connect(op, u"RGB-Map", red_b);
  EXPECT_TRUE(same_pixels(*a, *rig.render(op)));
  float ang = 1.0f * 0.3f * float(std::atan(1.0) * 8.0);
  for (uint32_t r = 0; r < 7; ++r)
    for (uint32_t c = 0; c < 11; ++c)
      ASSERT_EQ(pixel(*a, c, r),
                ref_nearest(*source, 10.0f * std::cos(ang) + float(c), 6.0f * std::sin(ang) + float(6 - r), {1, 1, 1, 1}));
}

TEST(Distortion, DistortWarpsAndItsInterpolationName) {
  op_rig rig(21, 15);
  shadetree_node_t* src = rig.image(distinct_pixel);
  image_ptr source = make_image(21, 15, distinct_pixel);
  const float W = 20, H = 14, pi = float(std::atan(1.0) * 4.0), two_pi = float(std::atan(1.0) * 8.0);
  auto run = [&](params_list params) {
    shadetree_node_t* op = rig.node(Distort, params);
    rig.connect(op, u"RGB", src);
    return rig.render(op);
  };
  // A value stored under `interpolation` is not read: the warp samples nearest.
  image_ptr sine = run({{u"type", u"Sine"}}), stored = run({{u"type", u"Sine"}, {u"interpolation", u"Bilinear"}});
  EXPECT_TRUE(same_pixels(*sine, *stored));
  image_ptr fisheye = run({{u"type", u"Fisheye"}}), eyefish = run({{u"type", u"Eyefish"}});
  image_ptr disc = run({{u"type", u"Disc"}});
  for (uint32_t y = 0; y < 15; ++y)
    for (uint32_t x = 0; x < 21; ++x) {
      float fx = float(x), fy = float(y), fill_px[4] = {1, 1, 1, 1};
      px4 fill = rgba(fill_px);
      uint32_t r = 14 - y;
      float sx = (std::sin((fx - W / 2) * two_pi / W) + 1) * 0.5f * W;
      float sy = (std::sin((fy - H / 2) * two_pi / H) + 1) * 0.5f * H;
      ASSERT_EQ(pixel(*sine, x, r), ref_nearest(*source, sx, sy, fill)) << x << "," << y;
      float px = (fx - W / 2) * 2 / W, py = (fy - H / 2) * 2 / H, rad = std::sqrt(px * px + py * py);
      float k = 2 / (rad + 1);
      ASSERT_EQ(pixel(*fisheye, x, r), ref_nearest(*source, k * py * W, k * px * H, fill)) << x << "," << y;
      ASSERT_EQ(pixel(*eyefish, x, r), ref_nearest(*source, k * px * W, k * py * H, fill)) << x << "," << y;
      float t = std::atan2(py, px);
      ASSERT_EQ(pixel(*disc, x, r), ref_nearest(*source, std::sin(rad * pi) * t / pi * W, std::cos(rad * pi) * t / pi * H, fill));
    }
  // Every warp writes every pixel, also where r = 0 divides by zero.
  for (const char16_t* type : {u"Sphere", u"Swirl", u"Horseshoe", u"Polar", u"Handkerchief", u"Heart", u"Spiral",
                               u"Hyperbolic", u"Diamond", u"Ex", u"Bubble", u"Cylinder"}) {
    image_ptr out = run({{u"type", type}, {u"interpolation", u"Bilinear"}});
    for (uint32_t i = 0; i < 21 * 15 * 4; ++i) ASSERT_NE(out->pixels[i], -12345.0f);
  }
}

TEST(Distortion, WhirlTwistsOnlyTheCentralDisc) {
  op_rig rig(241, 221);
  shadetree_node_t* src = rig.image(distinct_pixel);
  image_ptr source = make_image(241, 221, distinct_pixel);
  shadetree_node_t* op = rig.node(Whirl);
  rig.connect(op, u"RGB", src);
  image_ptr out = rig.render(op);
  const float cx = 120, cy = 110, tw = float(std::atan(1.0) * 4.0 / 180.0 * 90.0);
  for (uint32_t r = 0; r < 221; ++r)
    for (uint32_t c = 0; c < 241; ++c) {
      float dx = float(c) - cx, d = std::sqrt(dx * dx + (float(r) - cy) * (float(r) - cy));
      px4 want;
      if (d > 100.0f) {
        want = pixel(*source, c, r);
      } else {
        float a = d * tw / 100, c0 = std::cos(a), s0 = std::sin(a);
        int row = int((cy - float(r)) * c0 + dx * s0 + cy), col = int(dx * c0 - (cy - float(r)) * s0 + cx);
        want = pixel(*source, uint32_t(std::clamp(col, 0, 240)), uint32_t(std::clamp(row, 0, 220)));
      }
      want[3] = 1.0f;
      ASSERT_EQ(pixel(*out, c, r), want) << c << "," << r;
    }
}

TEST(Distortion, PixelizeBlocksMarginsAndCorner) {
  // The input is rendered straight into the target, so the source is a generator rendered afresh.
  op_rig rig(10, 10);
  shadetree_node_t* src = rig.node(2, {{u"direction", u"both"}, {u"mincolor-horz", u"(0.1,0.7,0.3)"}});
  image_ptr source = rig.render(src);
  shadetree_node_t* op = rig.node(Pixelize, {{u"interp", u"Bilinear"}});
  rig.connect(op, u"RGB", src);
  image_ptr out = rig.render(op);
  // An 8 x 8 block, margins of 2 x 8 and 8 x 2, a 2 x 2 corner: each the row-major float mean.
  struct block { uint32_t x0, y0, w, h; };
  for (block b : {block{0, 0, 8, 8}, block{8, 0, 2, 8}, block{0, 8, 8, 2}, block{8, 8, 2, 2}}) {
    px4 sum = {0, 0, 0, 0};
    for (uint32_t r = b.y0; r < b.y0 + b.h; ++r)
      for (uint32_t c = b.x0; c < b.x0 + b.w; ++c)
        for (int i = 0; i < 4; ++i) sum[i] += pixel(*source, c, r)[i];
    for (int i = 0; i < 4; ++i) sum[i] /= float(b.w * b.h);
    for (uint32_t r = b.y0; r < b.y0 + b.h; ++r)
      for (uint32_t c = b.x0; c < b.x0 + b.w; ++c) ASSERT_EQ(pixel(*out, c, r), sum) << c << "," << r;
  }
  // Blocks above 128 count as 128: one margin block covers the whole image.
  op->params[u"block-w"] = u"500";
  op->params[u"block-h"] = u"1";
  out = rig.render(op);
  for (uint32_t r = 0; r < 10; ++r) {
    px4 sum = {0, 0, 0, 0};
    for (uint32_t c = 0; c < 10; ++c)
      for (int i = 0; i < 4; ++i) sum[i] += pixel(*source, c, r)[i];
    for (int i = 0; i < 4; ++i) sum[i] /= 10.0f;
    ASSERT_EQ(pixel(*out, 7, r), sum);
  }
}

TEST(Distortion, ShiftDistortCopiesOnlyWithoutShift) {
  op_rig rig(256, 4);
  shadetree_node_t* src = rig.image(distinct_pixel);
  image_ptr source = make_image(256, 4, distinct_pixel);
  shadetree_node_t* op = rig.node(ShiftDistort, {{u"amount", u"0"}});
  rig.connect(op, u"RGB", src);
  EXPECT_TRUE(same_pixels(*rig.render(op), *source));
  // 0.05 of 256 is a shift of 12: nothing is written.
  op->params[u"amount"] = u"0.05";
  image_ptr out = rig.render(op);
  for (uint32_t i = 0; i < 256 * 4 * 4; ++i) ASSERT_EQ(out->pixels[i], -12345.0f);
  // Vertically 0.05 of 4 rows truncates to 0: a copy again.
  op->params[u"direction"] = u"vertical";
  EXPECT_TRUE(same_pixels(*rig.render(op), *source));
}

}  // namespace
