// LoadAsset, Mask, Text, VectorGraphics and the group placeholder.
#include <cmath>
#include <string>
#include <vector>

#include "eval/driver.h"
#include "generator_test_support.h"
#include "nodes/generators/assets.h"
#include "nodes/generators/text_raster.h"
#include "quorin/asset.h"
#include "quorin/project.h"

namespace {

using namespace gentest;

const px4 zero{0, 0, 0, 0}, white{1, 1, 1, 1};

// A pattern image whose pixels are all different: dyadic values, so averages stay exact.
imgbuf4f* pattern_image(uint32_t w, uint32_t h) {
  imgbuf4f* img = imgbuf4f_create(w, h);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x) {
      float* p = pixel_at(*img, x, y);
      p[0] = float(x) * 0.125f;
      p[1] = float(y) * 0.25f;
      p[2] = 0.5f;
      p[3] = float((x + y) % 2);
    }
  return img;
}
px4 pattern_px(uint32_t x, uint32_t y) { return {float(x) * 0.125f, float(y) * 0.25f, 0.5f, float((x + y) % 2)}; }

struct asset_rig {
  project* proj = project_create();
  explicit asset_rig(std::initializer_list<std::pair<uint32_t, uint32_t>> sizes) {
    for (auto [w, h] : sizes) {
      asset* a = asset_create();
      asset_set_imgbuf(a, pattern_image(w, h));
      assets_add(project_assets(proj), a, 0);
    }
  }
  ~asset_rig() { project_delete(proj); }
  image_ptr render(shadetree_node_t& node, uint32_t w, uint32_t h, project* p) {
    renderbuffer_pool_t pool(w, h, 0);
    image_ptr target = make_target(w, h);
    render_LoadAsset(node, renderctx{target.get(), false, &pool, false, false, false, false, p});
    return target;
  }
  image_ptr render(params_list params, uint32_t w, uint32_t h) { return render(*make_node(29, params), w, h, proj); }
};

// The offset rule of one axis for positions and crops: target t, image s, fraction p.
uint32_t axis_offset(uint32_t t, uint32_t s, float p) {
  uint32_t big = std::max(t, s), small = std::min(t, s);
  uint32_t o = uint32_t(float(big) * p + 0.5f);
  return o + small >= big ? big - small : o;
}

TEST(LoadAsset, CopiesClearsPlacesCropsAndCentres) {
  asset_rig rig{{20, 10}, {6, 4}, {30, 12}};
  // The target's own size is copied whatever the mode.
  for (const char16_t* mode : {u"position/crop", u"center", u"resample"})
    EXPECT_TRUE(same_image(*rig.render({{u"mode", mode}, {u"position-crop-x", u"0.7"}}, 20, 10), pattern_px)) << to_utf8(mode);
  // An index past the list, or no project, clears everything, alpha included.
  EXPECT_TRUE(uniform_image(*rig.render({{u"id", u"3"}}, 20, 10), zero));
  EXPECT_TRUE(uniform_image(*rig.render(*make_node(29, {}), 20, 10, nullptr), zero));
  // A time curve on id picks value + 0.5, truncated: 0.6 selects asset 1.
  auto node = make_node(29, {{u"position-crop-x", u"1"}, {u"fill-color", u"(0.25,0.5,0.75)"}});
  curve c;
  c.items.push_back(curve_item{curve_item_line, {{0, 0.6f}, {1, 0.6f}}});
  node->time_curves[u"id"] = c;
  // Position 1.0 puts the 6 by 4 image at the right edge, top row; the rest is the fill colour.
  EXPECT_TRUE(same_image(*rig.render(*node, 20, 10, rig.proj), [](uint32_t x, uint32_t y) {
    return x >= 14 && y < 4 ? pattern_px(x - 14, y) : px4{0.25f, 0.5f, 0.75f, 1};
  }));
  // Cropping a larger image: the source offsets follow the same rule on the image's size.
  EXPECT_TRUE(same_image(*rig.render({{u"id", u"2"}, {u"position-crop-x", u"0.5"}, {u"position-crop-y", u"0.3"}}, 20, 10),
                         [](uint32_t x, uint32_t y) {
                           return pattern_px(x + axis_offset(20, 30, 0.5f), y + axis_offset(10, 12, 0.3f));
                         }));
  EXPECT_EQ(axis_offset(20, 30, 0.5f), 10u);
  // Centred both ways: the small image at (7, 3), the large one cropped around its centre.
  EXPECT_TRUE(same_image(*rig.render({{u"id", u"1"}, {u"mode", u"center"}}, 20, 10), [](uint32_t x, uint32_t y) {
    return x - 7 < 6 && y - 3 < 4 ? pattern_px(x - 7, y - 3) : px4{0, 0, 0, 1};
  }));
  EXPECT_TRUE(same_image(*rig.render({{u"id", u"2"}, {u"mode", u"center"}}, 20, 10),
                         [](uint32_t x, uint32_t y) { return pattern_px(x + 5, y + 1); }));
}

TEST(LoadAsset, ResampleIsUpsideDown) {
  // 5 by 5 onto 9 by 9: every target position falls on a pixel or halfway between two.
  asset_rig rig{{5, 5}};
  // Nearest rounds halves up; target row m reads image row 4 - round(m / 2).
  EXPECT_TRUE(same_image(*rig.render({{u"mode", u"resample"}, {u"interpolation", u"None"}}, 9, 9),
                         [](uint32_t x, uint32_t m) { return pattern_px((x + 1) / 2, 4 - (m + 1) / 2); }));
  // Bilinear: the mean of the two or four pixels around a half position.
  EXPECT_TRUE(same_image(*rig.render({{u"mode", u"resample"}}, 9, 9), [](uint32_t x, uint32_t m) {
    uint32_t x0 = x / 2, x1 = (x + 1) / 2, r0 = 4 - m / 2, r1 = 4 - (m + 1) / 2;
    float fx = x % 2 ? 0.5f : 0.0f, fy = m % 2 ? 0.5f : 0.0f;
    px4 a = pattern_px(x0, r0), b = pattern_px(x1, r0), c = pattern_px(x0, r1), d = pattern_px(x1, r1), out;
    for (int k = 0; k < 4; ++k)
      out[k] = (1 - fy) * (1 - fx) * a[k] + (1 - fy) * fx * b[k] + (1 - fx) * fy * c[k] + fy * fx * d[k];
    return out;
  }));
}

// The mask rule: (u, v) from the pixel's offset to the centre; inside the unit square or circle.
bool mask_inside(uint32_t shape, float angle, uint32_t w, uint32_t h, float x, float y) {
  float cx = float(w - 1) / 2.0f, cy = float(h - 1) / 2.0f, sx = float(w - 1), sy = float(h - 1);
  float s = std::sin(angle), c = std::cos(angle), px = x - cx, py = y - cy;
  float u = px * (2.0f * c) / sx + py * (2.0f * s) / sx;
  float v = px * (-2.0f * s) / sy + py * (2.0f * c) / sy;
  return shape == 0 ? (std::fabs(u) <= 1.0f && std::fabs(v) <= 1.0f) : std::sqrt(u * u + v * v) <= 1.0f;
}

TEST(MaskGenerator, ShapesAngleAndSupersampling) {
  // Full-size rectangle at angle 0 covers everything; a triangle draws nothing.
  for (auto [w, h] : {std::pair{16u, 16u}, {37u, 23u}}) {
    EXPECT_TRUE(uniform_image(*render_node(24, {}, render_Mask, w, h), white));
    EXPECT_TRUE(uniform_image(*render_node(24, {{u"type", u"Triangle"}}, render_Mask, w, h), zero));
  }
  // The angle is taken in radians; loop row y is image row h - 1 - y.
  for (uint32_t shape : {0u, 1u}) {
    params_list params{{u"type", shape ? u"Ellipse" : u"Rectangle"}, {u"angle", u"0.5"}};
    EXPECT_TRUE(same_image(*render_node(24, params, render_Mask, 37, 23), [&](uint32_t x, uint32_t r) {
      return mask_inside(shape, 0.5f, 37, 23, float(x), float(22 - r)) ? white : zero;
    })) << shape;
  }
  // A supersampled preview: 2 by 2 samples at offsets 0 and 0.5, a quarter each.
  params_list ss{{u"type", u"Ellipse"}, {u"angle", u"0.5"}, {u"supersampling", u"2x2"}};
  EXPECT_TRUE(same_image(*render_node(24, ss, render_Mask, 37, 23, true, true), [&](uint32_t x, uint32_t r) {
    float cover = 0.0f;
    for (float oy : {0.0f, 0.5f})
      for (float ox : {0.0f, 0.5f})
        if (mask_inside(1, 0.5f, 37, 23, float(x) + ox, float(22 - r) + oy)) cover += 0.25f;
    return px4{cover, cover, cover, cover};
  }));
  EXPECT_TRUE(same_image(*render_node(24, ss, render_Mask, 37, 23), *render_node(24, ss, render_Mask, 37, 23, true, false)));
}

// The box around the pixels that are not black, and its centre.
struct ink_box {
  int32_t x0 = INT32_MAX, y0 = INT32_MAX, x1 = -1, y1 = -1;
  uint32_t count = 0;
  float cx() const { return (x0 + x1) / 2.0f; }
  float cy() const { return (y0 + y1) / 2.0f; }
};
ink_box ink_of(const imgbuf4f& img) {
  ink_box b;
  for (uint32_t y = 0; y < img.height; ++y)
    for (uint32_t x = 0; x < img.width; ++x) {
      const float* p = pixel_at(img, x, y);
      if (p[0] == 0 && p[1] == 0 && p[2] == 0) continue;
      ++b.count;
      b.x0 = std::min(b.x0, int32_t(x));
      b.x1 = std::max(b.x1, int32_t(x));
      b.y0 = std::min(b.y0, int32_t(y));
      b.y1 = std::max(b.y1, int32_t(y));
    }
  return b;
}

// A Text node with its default font block, the size word set to `tenths` of a point.
image_ptr render_text(params_list params, int32_t tenths = 240, uint32_t w = 120, uint32_t h = 60, bool preview = false) {
  auto node = make_node(32, params);
  std::memcpy(node->binary_data.data() + 92, &tenths, 4);
  renderbuffer_pool_t pool(w, h, 0);
  image_ptr target = make_target(w, h);
  render_Text(*node, renderctx{target.get(), false, &pool, false, preview, preview, false, nullptr});
  return target;
}

TEST(TextGenerator, InkAlphaAlignmentAndSize) {
  ASSERT_EQ(make_node(32, {})->binary_data.size(), 256u);
  // With alpha on, everything off the glyphs is transparent; with it off, all is opaque.
  image_ptr clear = render_text({{u"text", u"Hello"}, {u"alpha", u"true"}, {u"color", u"(1,0,0)"}});
  ink_box ink = ink_of(*clear);
  ASSERT_GT(ink.count, 20u);
  float max_red = 0.0f;
  for (uint32_t y = 0; y < clear->height; ++y)
    for (uint32_t x = 0; x < clear->width; ++x) {
      px4 p = pixel(*clear, x, y);
      EXPECT_EQ(p[3], p[0] == 0 ? 0.0f : 1.0f);
      EXPECT_EQ(p[1] + p[2], 0.0f);
      max_red = std::max(max_red, p[0]);
    }
  EXPECT_EQ(max_red, 1.0f);
  image_ptr opaque = render_text({{u"text", u"Hello"}});
  for (uint32_t i = 0; i < 120 * 60; ++i) EXPECT_EQ(opaque->pixels[i * 4 + 3], 1.0f);
  // Left and top alignment: ink starts near the top left corner.
  EXPECT_LE(ink.x0, 3);
  EXPECT_LE(ink.y0, 12);
  // Centred both ways: the ink's box is centred within two pixels.
  ink_box mid = ink_of(*render_text({{u"text", u"HOH"}, {u"align-x", u"center"}, {u"align-y", u"center"}}));
  EXPECT_NEAR(mid.cx(), 59.5f, 2.0f);
  EXPECT_NEAR(mid.cy(), 29.5f, 2.0f);
  // Right and bottom alignment: ink ends near the far corner.
  ink_box far = ink_of(*render_text({{u"text", u"HOH"}, {u"align-x", u"right"}, {u"align-y", u"bottom"}}));
  EXPECT_GE(far.x1, 115);
  EXPECT_GE(far.y1, 48);
  // Position mode: the cell's top left at the rounded fraction of the image.
  ink_box at = ink_of(*render_text({{u"text", u"HOH"}, {u"mode", u"position"}, {u"pos-x", u"0.5"}, {u"pos-y", u"0.5"}}));
  EXPECT_NEAR(at.x0, 60, 3);
  EXPECT_GE(at.y0, 30);
  // A larger size gives larger ink; underline reaches lower than the letters.
  ink_box small = ink_of(*render_text({{u"text", u"HOH"}}, 80));
  ink_box large = ink_of(*render_text({{u"text", u"HOH"}}, 240));
  EXPECT_GT(large.y1 - large.y0, 2 * (small.y1 - small.y0));
  EXPECT_GT(large.x1 - large.x0, 2 * (small.x1 - small.x0));
  EXPECT_GT(ink_of(*render_text({{u"text", u"HOH"}, {u"underline", u"true"}})).y1, large.y1);
  // A supersampled preview draws the same text four times larger and averages it down.
  ink_box ss = ink_of(*render_text({{u"text", u"HOH"}, {u"supersampling", u"4x4"}}, 240, 120, 60, true));
  EXPECT_NEAR(ss.x0, large.x0, 2);
  EXPECT_NEAR(ss.x1, large.x1, 2);
  EXPECT_NEAR(ss.y1, large.y1, 2);
}

TEST(TextGenerator, UnreadableFontDrawsNoInkAndSaysSo) {
  std::u16string said;
  engine_set_debug_output([](const char16_t* text, void* user) { *static_cast<std::u16string*>(user) += text; }, &said);
  text_raster::font_spec spec = text_raster::default_gui_font();
  for (const char* file : {"/nonexistent/font.ttf", "/etc/hostname"}) {
    said.clear();
    text_raster::font_t font(file, 0, spec);
    EXPECT_FALSE(font.ok());
    EXPECT_NE(said.find(u"font"), std::u16string::npos) << file;
    text_raster::bitmap_t bmp(40, 20);
    text_raster::draw_text_in(bmp, font, u"Hi", {}, text_raster::align_center);
    EXPECT_EQ(std::count(bmp.bgr.begin(), bmp.bgr.end(), 0), 40 * 20 * 3);
  }
  engine_set_debug_output(nullptr, nullptr);
}

TEST(GroupPlaceholder, BlankAtThirtyTwoSquareElseCentredWord) {
  auto group = make_node(10000, {});
  EXPECT_TRUE(uniform_image(*render_node(10000, {}, render_group, 32, 32), zero));
  image_ptr img = render_node(10000, {}, render_group, 100, 40);
  ink_box ink = ink_of(*img);
  EXPECT_GT(ink.count, 30u);
  EXPECT_NEAR(ink.cx(), 49.5f, 2.0f);
  EXPECT_NEAR(ink.cy(), 19.5f, 2.0f);
  for (uint32_t i = 0; i < 100 * 40; ++i) {
    const float* p = img->pixels + i * 4;
    EXPECT_TRUE(p[0] == p[1] && p[1] == p[2] && p[3] == 1.0f);
  }
  EXPECT_GT(ink_of(*render_node(10000, {}, render_group, 33, 32)).count, 0u);
}

TEST(VectorGraphicsGenerator, FixedPathInWhiteOnOpaqueBlack) {
  image_ptr img = render_node(35, {}, render_VectorGraphics, 256, 256);
  // The first segment runs from (50, 100) to (125, 100), y upward.
  for (uint32_t x = 50; x <= 125; ++x) EXPECT_EQ(pixel(*img, x, 255 - 100), white) << x;
  EXPECT_EQ(pixel(*img, 49, 155), (px4{0, 0, 0, 1}));
  uint32_t lit = 0;
  for (uint32_t i = 0; i < 256 * 256; ++i) {
    px4 p = rgba(img->pixels + i * 4);
    EXPECT_TRUE(p == white || p == (px4{0, 0, 0, 1}));
    lit += p == white;
  }
  EXPECT_GT(lit, 300u);
  // Diagonal and steep lines through the line primitive, clipped at the edges.
  image_ptr lines = make_target(8, 8);
  std::fill_n(lines->pixels, 8 * 8 * 4, 0.0f);
  const float one[4] = {1, 1, 1, 1};
  vectorgraphics::draw_line(*lines, -2.0f, -2.0f, 9.0f, 9.0f, one);
  vectorgraphics::draw_line(*lines, 6.2f, 0.0f, 6.0f, 7.0f, one);
  EXPECT_TRUE(same_image(*lines, [](uint32_t x, uint32_t r) {
    return x == 7 - r || x == 6 ? white : zero;
  }));
}

}  // namespace
