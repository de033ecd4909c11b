// The pattern generators against their pixel rules written out here.
#include <algorithm>
#include <cmath>
#include <vector>

#include "generator_test_support.h"
#include "nodes/generators/patterns.h"

namespace {

using namespace gentest;

const px4 black{0, 0, 0, 1}, white{1, 1, 1, 1};
const px4 brick_red{0.50196081f, 0.14901961f, 0.14117648f, 1};
const px4 mortar_grey{0.50196081f, 0.50196081f, 0.50196081f, 1};

px4 pick(bool second, const pow2_pattern_params& p) {
  const float* c = second ? p.color2 : p.color1;
  return {c[0], c[1], c[2], c[3]};
}

pow2_pattern_params two_colors(uint32_t octave) {
  pow2_pattern_params p;
  p.octave = octave;
  const float c1[4] = {0.2f, 0.4f, 0.6f, 1.0f}, c2[4] = {0.9f, 0.1f, 0.3f, 1.0f};
  for (int i = 0; i < 4; ++i) {
    p.color1[i] = c1[i];
    p.color2[i] = c2[i];
  }
  return p;
}

TEST(PatternGenerators, ScaleFromTheSmallerSide) {
  EXPECT_EQ(pattern_scale_bits(256, 256), 8);
  EXPECT_EQ(pattern_scale_bits(300, 200), 7);
  EXPECT_EQ(pattern_scale_bits(37, 23), 4);
  EXPECT_EQ(pattern_scale_bits(0, 23), -1);
  EXPECT_EQ(pattern_shift(256, 256, 3), 5u);
  EXPECT_EQ(pattern_shift(300, 200, 3), 4u);
  EXPECT_EQ(pattern_shift(37, 23, 5), 31u);  // below zero, wrapped in five bits
}

TEST(PatternGenerators, CheckerboardAtDefaults) {
  // 256 pixels with octave 3: cells of 32 pixels, color1 at the top left.
  image_ptr img = render_node(4, {}, 256, 256, render_Checkerboard);
  EXPECT_TRUE(same_image(*img, [](uint32_t x, uint32_t y) { return ((x / 32 + y / 32) & 1) ? white : black; }));
  // 300 by 200: L comes from 200 and is 7, so cells of 16.
  image_ptr wide = render_node(4, {}, 300, 200, render_Checkerboard);
  EXPECT_TRUE(same_image(*wide, [](uint32_t x, uint32_t y) { return ((x / 16 + y / 16) & 1) ? white : black; }));
}

TEST(PatternGenerators, PowerOfTwoFamily) {
  const uint32_t W = 37, H = 23;
  image_ptr img = make_target(W, H);
  for (uint32_t octave : {1u, 2u, 3u}) {
    SCOPED_TRACE(::testing::Message() << "octave " << octave);
    pow2_pattern_params p = two_colors(octave);
    uint32_t cell = 1u << (4 - octave), m = cell - 1;
    fill_checkerboard(p, *img);
    EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) { return pick(((x / cell) + (y / cell)) % 2, p); }));
    fill_grid(p, *img);
    EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) { return pick(x % cell == 0 || y % cell == 0, p); }));
    fill_stairs(p, *img);
    EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) {
      bool odd_cell = ((x / cell) + (y / cell)) % 2 == 1;
      return pick(odd_cell && ((x & m) == 0 || (y & m) == 0), p);
    }));
    p.direction = 0;
    fill_stripes(p, *img);
    EXPECT_TRUE(same_image(*img, [&](uint32_t, uint32_t y) { return pick((y / cell) % 2, p); }));
    p.direction = 1;
    fill_stripes(p, *img);
    EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t) { return pick((x / cell) % 2, p); }));
  }
  // Through nodes: the direction and colours from their texts, the octave clamped to 31.
  image_ptr v = render_node(10, {{u"direction", u"vertical"}, {u"octave", u"2"}, {u"color2", u"(0.9,0.1,0.3)"}},
                            W, H, render_Stripes);
  EXPECT_TRUE(same_image(*v, [&](uint32_t x, uint32_t) { return (x / 4) % 2 ? px4{0.9f, 0.1f, 0.3f, 1} : black; }));
  image_ptr g = render_node(5, {{u"octave", u"40"}}, 64, 64, render_Grid);  // shift (6 - 31) & 31 = 7
  EXPECT_TRUE(same_image(*g, [&](uint32_t x, uint32_t y) { return x % 128 == 0 || y % 128 == 0 ? white : black; }));
  image_ptr st = render_node(6, {}, 64, 64, render_Stairs);  // shift 3
  EXPECT_TRUE(same_image(*st, [&](uint32_t x, uint32_t y) {
    bool odd = ((x / 8) + (y / 8)) % 2 == 1;
    return odd && (x % 8 == 0 || y % 8 == 0) ? white : black;
  }));

  // An octave above L wraps the shift to 31: color1 everywhere.
  pow2_pattern_params high = two_colors(5);
  fill_checkerboard(high, *img);
  EXPECT_TRUE(uniform_image(*img, pick(false, high)));
  fill_stripes(high, *img);
  EXPECT_TRUE(uniform_image(*img, pick(false, high)));
}

px4 ref_brick(const bricks_params& p, uint32_t x, uint32_t y) {
  uint32_t m = p.mortar_thickness, yy = y + p.y_offset;
  uint32_t course = yy / (m + p.brick_height), r = yy % (m + p.brick_height);
  uint32_t s = course % 2 ? (m + p.brick_width) / 2 : 0;
  uint32_t u = (p.y_offset + s + p.x_offset + x) % (m + p.brick_width);
  bool mortar = r < m || r >= p.brick_height || u < m || u >= p.brick_width;
  const float* c = mortar ? p.mortar_color : p.brick_color;
  return {c[0], c[1], c[2], c[3]};
}

TEST(PatternGenerators, Bricks) {
  // With no stored colour the fixed constants stand in.
  bricks_params d;
  image_ptr img = render_node(7, {{u"brick-color", nullptr}, {u"mortar-color", nullptr}}, 200, 120, render_Bricks);
  EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) { return ref_brick(d, x, y); }));
  // The top row is brick where the column allows: u = (32 + x) mod 66.
  EXPECT_EQ(pixel(*img, 0, 0), brick_red);
  EXPECT_EQ(pixel(*img, 31, 0), brick_red);
  EXPECT_EQ(pixel(*img, 32, 0), mortar_grey);  // u = 64
  EXPECT_EQ(pixel(*img, 35, 0), mortar_grey);  // u = 1
  EXPECT_EQ(pixel(*img, 36, 0), brick_red);    // u = 2
  // A period of 27 rows and 66 columns, odd courses shifted by 33.
  for (uint32_t y = 0; y + 54 < 120; y += 5)
    for (uint32_t x = 0; x + 66 < 200; x += 3) {
      ASSERT_EQ(pixel(*img, x, y), pixel(*img, x, y + 54)) << x << "," << y;
      ASSERT_EQ(pixel(*img, x, y), pixel(*img, x + 66, y)) << x << "," << y;
      ASSERT_EQ(pixel(*img, (x + 33) % 66, y), pixel(*img, x, y + 27)) << x << "," << y;
    }
  // Rows 9 to 12 of the image are yy 25 to 28: a mortar band of 2 m rows.
  for (uint32_t y = 9; y <= 12; ++y) EXPECT_EQ(pixel(*img, 10, y), mortar_grey) << y;
  EXPECT_EQ(pixel(*img, 10, 8), brick_red);
  EXPECT_EQ(pixel(*img, 10, 13), brick_red);
  EXPECT_EQ(pixel(*img, 0, 13), mortar_grey);  // the odd course's joint: u = 65

  // The catalogue's default texts read as written.
  image_ptr texts = render_node(7, {}, 37, 23, render_Bricks);
  EXPECT_EQ(pixel(*texts, 0, 0), (px4{0.5f, 0.15f, 0.14f, 1.0f}));
  EXPECT_EQ(pixel(*texts, 32, 0), (px4{0.5f, 0.5f, 0.5f, 1.0f}));

  // Bounds: 5 wide reads as 16, 300 high as 240, mortar 0 as 1, offsets above 255 as 255.
  engine_up();
  shadetree_node_t n(7);
  set_params(n, {{u"brick-width", u"5"}, {u"brick-height", u"300"}, {u"mortar-thickness", u"0"},
                 {u"x-offset", u"300"}, {u"y-offset", u"999"}, {u"brick-color", u"(0.1,0.2,0.3)"}});
  bricks_params f = fetch_bricks_params(n, renderctx{});
  EXPECT_EQ(f.brick_width, 16u);
  EXPECT_EQ(f.brick_height, 240u);
  EXPECT_EQ(f.mortar_thickness, 1u);
  EXPECT_EQ(f.x_offset, 255u);
  EXPECT_EQ(f.y_offset, 255u);
  EXPECT_EQ(f.brick_color[1], 0.2f);

  bricks_params p;
  p.brick_width = 40;
  p.brick_height = 17;
  p.mortar_thickness = 5;
  p.x_offset = 3;
  p.y_offset = 250;
  image_ptr other = make_target(37, 23);
  fill_bricks(p, *other);
  EXPECT_TRUE(same_image(*other, [&](uint32_t x, uint32_t y) { return ref_brick(p, x, y); }));
}

bool ref_hex_edge(int w) { return 5.9 <= w * 0.1 && w * 0.1 <= 6.1; }

TEST(PatternGenerators, FixedFigures) {
  // Hexagons: on a 64-pixel image only the fill colour shows.
  image_ptr small = render_node(8, {}, 64, 64, render_Hexagons);
  EXPECT_TRUE(uniform_image(*small, brick_red));
  image_ptr hex = render_node(8, {}, 256, 256, render_Hexagons);
  EXPECT_TRUE(same_image(*hex, [](uint32_t x, uint32_t y) {
    int u = int(x) - 78, v = int(y) - 98;
    bool in = false;
    if (u >= 0 && v >= 0) {
      in = (v == 0 && u >= 20 && u <= 50) || (v == 30 && u >= 70 && u <= 100) ||
           (u <= 20 && v <= 30 && ref_hex_edge(2 * v + 3 * u)) ||
           (u >= 50 && u <= 70 && v >= 30 && v <= 60 && ref_hex_edge(2 * (v - 30) + 3 * (u - 50))) ||
           (u <= 20 && v >= 30 && v <= 60 && ref_hex_edge(2 * v - 3 * u)) ||
           (u >= 50 && u <= 70 && v <= 30 && ref_hex_edge(2 * (v + 30) - 3 * (u - 50)));
    }
    return in ? mortar_grey : brick_red;
  }));
  EXPECT_EQ(pixel(*hex, 100, 98), mortar_grey);  // top edge
  EXPECT_EQ(pixel(*hex, 78, 128), mortar_grey);  // u = 0, v = 30: 2 v + 3 u = 60
  EXPECT_EQ(pixel(*hex, 79, 127), brick_red);    // 61 tenths lies above 6.1 in double precision
  EXPECT_EQ(pixel(*hex, 77, 128), brick_red);    // left of column 78 nothing is drawn

  octogons_params o;
  const float fill[4] = {0.1f, 0.2f, 0.3f, 1.0f};
  for (int i = 0; i < 4; ++i) o.fill_color[i] = fill[i];
  image_ptr oct = make_target(300, 280);
  fill_octogons(o, *oct);
  EXPECT_TRUE(same_image(*oct, [&](uint32_t ux, uint32_t uy) {
    int x = int(ux), y = int(uy);
    bool middle = (x >= 86 && x < 172) || (y >= 86 && y < 172);
    bool rim = x < 4 || x > 251 || y < 4 || y > 251;
    bool border = (middle && rim) || (x < 86 && y < 86 && 86 - x == y) || (x > 171 && y < 86 && x == y + 171) ||
                  (x < 86 && y > 171 && x + 171 == y) || (x > 171 && y > 171 && 256 - x == y - 171);
    return border ? mortar_grey : px4{0.1f, 0.2f, 0.3f, 1.0f};
  }));
  image_ptr oct_default = render_node(9, {{u"border-color", nullptr}}, 100, 100, render_Octogons);
  EXPECT_EQ(pixel(*oct_default, 10, 10), (px4{0.5f, 0.15f, 0.14f, 1.0f}));
  EXPECT_EQ(pixel(*oct_default, 0, 0), (px4{0.5f, 0.15f, 0.14f, 1.0f}));
  EXPECT_EQ(pixel(*oct_default, 3, 86 - 3), mortar_grey);  // the corner diagonal
}

// The squares drawn by the register, painted one after another.
std::vector<px4> ref_squares(uint32_t W, uint32_t H, uint32_t size, uint32_t count, px4 bg, px4 fg) {
  std::vector<px4> img(std::size_t(W) * H, bg);
  int L = -1;
  for (uint32_t m = std::min(W, H); m; m >>= 1) ++L;
  uint64_t mask = (uint64_t(1) << ((L + 1) % 32)) - 1;
  uint32_t s = 42330;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t fb = (s ^ (s >> 10) ^ (s >> 30) ^ (s >> 31)) & 1u;
    s = (fb << 31) | (s >> 1);
    uint64_t y0 = (s >> ((32 - L) % 32)) & mask, x0 = (s >> (((16 - L) * 2) % 32)) & mask;
    uint64_t x1 = x0 + size < W - 1 ? x0 + size : W, y1 = y0 + size < H - 1 ? y0 + size : H;
    for (uint64_t y = y0; y < y1; ++y)
      for (uint64_t x = x0; x < x1; ++x) img[y * W + x] = fg;
  }
  return img;
}

TEST(PatternGenerators, SquaresAndDots) {
  // Defaults: 64 squares of 16 in black on white; Dots draws the very same.
  for (uint32_t type : {13u, 20u}) {
    image_ptr img = render_node(type, {}, 150, 90, render_Squares);
    std::vector<px4> want = ref_squares(150, 90, 16, 64, white, black);
    EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) { return want[y * 150 + x]; })) << type;
  }
  squares_params p;
  p.size = 7;
  p.count = 500;
  const float bg[4] = {0.3f, 0.3f, 0.9f, 1.0f}, fg[4] = {1.0f, 0.5f, 0.0f, 1.0f};
  for (int i = 0; i < 4; ++i) {
    p.bgcolor[i] = bg[i];
    p.fgcolor[i] = fg[i];
  }
  for (auto [w, h] : {std::pair{37u, 23u}, std::pair{64u, 64u}, std::pair{1u, 9u}}) {
    image_ptr img = make_target(w, h);
    fill_squares(p, *img);
    std::vector<px4> want = ref_squares(w, h, 7, 500, px4{0.3f, 0.3f, 0.9f, 1.0f}, px4{1.0f, 0.5f, 0.0f, 1.0f});
    EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) { return want[y * w + x]; })) << w << "x" << h;
  }
  // Colours and counts from their texts; count 0 gives the plain background.
  image_ptr plain = render_node(13, {{u"count", u"0"}, {u"bgcolor", u"(0.25,0.5,0.75)"}}, 37, 23, render_Squares);
  EXPECT_TRUE(uniform_image(*plain, px4{0.25f, 0.5f, 0.75f, 1.0f}));
  image_ptr few = render_node(20, {{u"count", u"3"}, {u"size", u"5"}}, 37, 23, render_Squares);
  std::vector<px4> want3 = ref_squares(37, 23, 5, 3, white, black);
  EXPECT_TRUE(same_image(*few, [&](uint32_t x, uint32_t y) { return want3[y * 37 + x]; }));
  p.count = 0;
  image_ptr none = make_target(37, 23);
  fill_squares(p, *none);
  EXPECT_TRUE(uniform_image(*none, px4{0.3f, 0.3f, 0.9f, 1.0f}));
}

}  // namespace
