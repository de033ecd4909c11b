// The transform operators against their inverse mappings written out per pixel.
#include <cmath>
#include <cstring>

#include "sampling_reference.h"

namespace {

using namespace optest;

const px4 white = {1, 1, 1, 1}, black = {0, 0, 0, 1};

enum : uint32_t { Flip = 1017, Translate = 1018, Rotate = 1019, Scale = 1020, Affine = 1021, Reflect = 1035,
                  Matrix = 1078 };

// Renders the operator over a source of distinct pixels; `source` gets that image too.
struct transform_case {
  op_rig rig;
  shadetree_node_t* src;
  image_ptr source{nullptr, imgbuf4f_delete};
  transform_case(uint32_t w, uint32_t h) : rig(w, h) {
    src = rig.image(distinct_pixel);
    source = make_image(w, h, distinct_pixel);
  }
  image_ptr run(uint32_t type, params_list params) {
    shadetree_node_t* op = rig.node(type, params);
    rig.connect(op, u"RGB", src);
    return rig.render(op);
  }
};

TEST(Transforms, UnconnectedInputClearsTheTarget) {
  op_rig rig(5, 3);
  for (uint32_t type : {Flip, Translate, Rotate, Scale, Affine, Reflect, Matrix}) {
    image_ptr out = rig.render(rig.node(type));
    for (uint32_t i = 0; i < 5 * 3 * 4; ++i) ASSERT_EQ(out->pixels[i], 0.0f) << type;
  }
}

TEST(Transforms, RotateAboutTheCentre) {
  transform_case t(17, 12);
  // Angle 0 reproduces the input, bilinear or not.
  EXPECT_TRUE(same_pixels(*t.run(Rotate, {}), *t.source));
  EXPECT_TRUE(same_pixels(*t.run(Rotate, {{u"interpolation", u"None"}}), *t.source));
  // The angle is limited from above: 400 turns as 359.999.
  EXPECT_TRUE(same_pixels(*t.run(Rotate, {{u"angle", u"400"}}), *t.run(Rotate, {{u"angle", u"359.999"}})));
  // 30 degrees counter-clockwise, fill colour outside, against the mapping and the kernel written out.
  image_ptr out = t.run(Rotate, {{u"angle", u"30"}, {u"fill-color", u"(0.5,0.25,0.125)"}});
  float rad = 30.0f * float(std::atan(1.0) * 4.0 / 180.0), ct = std::cos(rad), st = std::sin(rad);
  float cx = 8.0f, cy = 5.5f;
  for (uint32_t y = 0; y < 12; ++y)
    for (uint32_t x = 0; x < 17; ++x) {
      float dx = float(x) - cx, dy = float(y) - cy;
      px4 want = ref_bilinear(*t.source, dx * ct + dy * st + cx, dx * -st + dy * ct + cy, {0.5f, 0.25f, 0.125f, 1});
      ASSERT_EQ(pixel(*out, x, 11 - y), want) << x << "," << y;
    }
}

TEST(Transforms, ScaleAboutTheCentreWithAnOpaqueFillFrame) {
  transform_case t(16, 16);
  image_ptr small = t.run(Scale, {{u"scale-x", u"0.5"}, {u"scale-y", u"0.5"}, {u"interpolation", u"None"}});
  for (uint32_t y = 0; y < 16; ++y)
    for (uint32_t x = 0; x < 16; ++x) {
      px4 want = ref_nearest(*t.source, (float(x) - 7.5f) * 2.0f + 7.5f, (float(y) - 7.5f) * 2.0f + 7.5f, {1, 1, 1, 1});
      ASSERT_EQ(pixel(*small, x, 15 - y), want);
    }
  EXPECT_EQ(pixel(*small, 0, 0), (px4{1, 1, 1, 1}));  // the frame is opaque, whatever the image's alpha
  // Enlarged: the centre fills the whole target, no fill anywhere.
  image_ptr big = t.run(Scale, {{u"scale-x", u"2"}, {u"scale-y", u"2"}, {u"fill-color", u"(9,9,9)"}});
  for (uint32_t y = 0; y < 16; ++y)
    for (uint32_t x = 0; x < 16; ++x) {
      px4 want = ref_bilinear(*t.source, (float(x) - 7.5f) * 0.5f + 7.5f, (float(y) - 7.5f) * 0.5f + 7.5f, {9, 9, 9, 1});
      ASSERT_EQ(pixel(*big, x, 15 - y), want);
      ASSERT_LT(want[0], 1.0f);
    }
  // A zero scale gives infinite factors and still writes every pixel.
  image_ptr zero = t.run(Scale, {{u"scale-x", u"0"}});
  for (uint32_t i = 0; i < 16 * 16 * 4; ++i) ASSERT_NE(zero->pixels[i], -12345.0f);
  // MatrixDistort applies its matrix unchanged: halving it enlarges like Scale 2.
  EXPECT_TRUE(same_pixels(*t.run(Matrix, {{u"A", u"0.5"}, {u"D", u"0.5"}, {u"fill-color", u"(9,9,9)"}}), *big));
}

TEST(Transforms, AffineTranslatesInWholePixels) {
  transform_case t(16, 10);
  // trans-x 1.0 moves by w - 1: only the last column shows the source's first.
  image_ptr out = t.run(Affine, {{u"trans-x", u"1.0"}, {u"interpolation", u"None"}});
  for (uint32_t r = 0; r < 10; ++r)
    for (uint32_t x = 0; x < 16; ++x)
      ASSERT_EQ(pixel(*out, x, r), x == 15 ? pixel(*t.source, 0, r) : white) << x << "," << r;
  // Scaled and rotated, against the formula: the scale divides the translation terms too.
  out = t.run(Affine, {{u"scale-x", u"1.5"}, {u"scale-y", u"0.8"}, {u"rot-angle", u"20"}, {u"trans-x", u"0.3"},
                       {u"trans-y", u"0.25"}});
  float rad = 20.0f * float(std::atan(1.0) * 4.0 / 180.0), c = std::cos(rad), s = std::sin(rad);
  float sx = 1.5f, sy = 0.8f, tx = 4.0f, ty = 2.0f, cx = 7.5f, cy = 4.5f;  // trunc(0.3*16), trunc(0.25*10)
  float e = -(c * tx) / sx - (s * ty) / sy, f = (s * tx) / sx - (c * ty) / sy;
  for (uint32_t y = 0; y < 10; ++y)
    for (uint32_t x = 0; x < 16; ++x) {
      float dx = float(x) - cx, dy = float(y) - cy;
      px4 want = ref_bilinear(*t.source, dx * (c / sx) + dy * (s / sy) + e + cx, dx * -(s / sx) + dy * (c / sy) + f + cy,
                              {1, 1, 1, 1});
      ASSERT_EQ(pixel(*out, x, 9 - y), want) << x << "," << y;
    }
}

TEST(Transforms, ReflectAcrossTheLineThroughPP) {
  // Defaults on 256 pixels: source y = 256 - y, so y = 0 is outside and black; the rest flips.
  transform_case t(256, 256);
  image_ptr out = t.run(Reflect, {});
  for (uint32_t r = 0; r < 256; ++r)
    for (uint32_t x = 0; x < 256; x += 15)
      ASSERT_EQ(pixel(*out, x, r), r == 255 ? black : pixel(*t.source, x, 254 - r)) << x << "," << r;
  // Axis Y turns the line by a quarter; the mirror point still comes from the width.
  transform_case n(20, 12);
  out = n.run(Reflect, {{u"axis", u"Y"}, {u"position", u"0.3"}, {u"rot-angle", u"10"}});
  float a = 10.0f * float(std::atan(1.0) * 4.0 / 180.0) + float(std::atan(1.0) * 2.0);
  float s = std::sin(a), c = std::cos(a), p = 0.3f * 20.0f;
  for (uint32_t y = 0; y < 12; ++y)
    for (uint32_t x = 0; x < 20; ++x) {
      float fx = float(x), fy = float(y);
      float srcx = fx * (1 - 2 * s * s) + fy * (2 * c * s) + (s * p - c * p) * (2 * s);
      float srcy = fx * (2 * c * s) + fy * (1 - 2 * c * c) + (c * p - s * p) * (2 * c);
      ASSERT_EQ(pixel(*out, x, 11 - y), ref_bilinear(*n.source, srcx, srcy, {0, 0, 0, 1})) << x << "," << y;
    }
}

TEST(Transforms, FlipByAxis) {
  transform_case t(7, 5);
  EXPECT_TRUE(same_pixels(*t.run(Flip, {{u"axis", u"None"}}), *t.source));
  image_ptr x = t.run(Flip, {{u"axis", u"X"}}), y = t.run(Flip, {{u"axis", u"Y"}}), both = t.run(Flip, {{u"axis", u"Both"}});
  for (uint32_t r = 0; r < 5; ++r)
    for (uint32_t c = 0; c < 7; ++c) {
      ASSERT_EQ(pixel(*x, c, r), pixel(*t.source, 6 - c, r));
      ASSERT_EQ(pixel(*y, c, r), pixel(*t.source, c, 4 - r));
      ASSERT_EQ(pixel(*both, c, r), pixel(*t.source, 6 - c, 4 - r));
    }
  // A connected value past the last counts as Both (7 of 4 values).
  shadetree_node_t* op = t.rig.node(Flip);
  t.rig.connect(op, u"RGB", t.src);
  t.rig.connect(op, u"axis", t.rig.node(17, {{u"value", u"1.75"}}));
  EXPECT_TRUE(same_pixels(*t.rig.render(op), *both));
}

TEST(Transforms, TranslateWrapsOnTheUnsignedIndex) {
  transform_case t(100, 6);
  const px4 fill = {0.1f, 0.2f, 0.3f, 1};
  auto run = [&](const char16_t* dir, const char16_t* ox, const char16_t* oy) {
    return t.run(Translate, {{u"offset-x", ox}, {u"offset-y", oy}, {u"mode-direction", dir}, {u"fill-color", u"(0.1,0.2,0.3)"}});
  };
  // dx = 50: columns below it read (2^32 + c - 50) modulo 100, which is 46 + c, not c + 50.
  image_ptr wrapped = run(u"X", u"0.5", u"0.0"), plain = run(u"None", u"0.5", u"0.0");
  for (uint32_t r = 0; r < 6; ++r)
    for (uint32_t c = 0; c < 100; ++c) {
      uint32_t sc = c >= 50 ? c - 50 : uint32_t((4294967296ull + c - 50) % 100);
      ASSERT_EQ(pixel(*wrapped, c, r), pixel(*t.source, sc, r)) << c;
      ASSERT_EQ(pixel(*plain, c, r), c >= 50 ? pixel(*t.source, c - 50, r) : fill) << c;
    }
  // Offsets of 1.0 move by size - 1; rows move towards later rows. dy = 5: (2^32 + r - 5) % 6.
  image_ptr both = run(u"X and Y", u"1.0", u"1.0"), y_only = run(u"Y", u"1.0", u"1.0");
  for (uint32_t r = 0; r < 6; ++r)
    for (uint32_t c = 0; c < 100; ++c) {
      uint32_t sr = r >= 5 ? r - 5 : uint32_t((4294967296ull + r - 5) % 6);
      uint32_t sc = c >= 99 ? c - 99 : uint32_t((4294967296ull + c - 99) % 100);
      ASSERT_EQ(pixel(*both, c, r), pixel(*t.source, sc, sr)) << c << "," << r;
      ASSERT_EQ(pixel(*y_only, c, r), c >= 99 ? pixel(*t.source, 0, sr) : fill) << c << "," << r;
    }
}

}  // namespace
