// The pattern generators against their pixel rules written out here.
#include <algorithm>
#include <tuple>
#include <vector>

#include "generator_test_support.h"
#include "nodes/generators/patterns.h"

namespace {

using namespace gentest;

const px4 black{0, 0, 0, 1}, white{1, 1, 1, 1};
const px4 brick_red{0.50196081f, 0.14901961f, 0.14117648f, 1}, mortar_grey{0.50196081f, 0.50196081f, 0.50196081f, 1};

TEST(PatternGenerators, PowerOfTwoFamily) {
  // 256 pixels with octave 3: cells of 32 pixels, color1 at the top left; 300 by 200: cells of 16.
  for (auto [w, h, cell_case] : {std::tuple{256u, 256u, 32u}, {300u, 200u, 16u}}) {
    const uint32_t cell = cell_case;  // a plain variable, which the reference lambda can capture
    EXPECT_TRUE(same_image(*render_node(4, {}, render_Checkerboard, w, h), [&](uint32_t x, uint32_t y) {
      return ((x / cell + y / cell) & 1) ? white : black;
    })) << w << "x" << h;
  }
  pow2_pattern_params p{1, 0, {0.2f, 0.4f, 0.6f, 1.0f}, {0.9f, 0.1f, 0.3f, 1.0f}};
  auto pick = [&](bool second) { return rgba(second ? p.color2 : p.color1); };
  for (; p.octave <= 3; ++p.octave) {
    uint32_t cell = 1u << (4 - p.octave);  // L is 4 on 37 by 23
    auto odd = [&](uint32_t x, uint32_t y) { return (x / cell + y / cell) % 2 == 1; };
    auto edge = [&](uint32_t x, uint32_t y) { return x % cell == 0 || y % cell == 0; };
    EXPECT_TRUE(same_image(*filled(fill_checkerboard, p), [&](uint32_t x, uint32_t y) { return pick(odd(x, y)); }));
    EXPECT_TRUE(same_image(*filled(fill_grid, p), [&](uint32_t x, uint32_t y) { return pick(edge(x, y)); }));
    EXPECT_TRUE(same_image(*filled(fill_stairs, p), [&](uint32_t x, uint32_t y) { return pick(odd(x, y) && edge(x, y)); }));
    for (p.direction = 0; p.direction < 2; ++p.direction)
      EXPECT_TRUE(same_image(*filled(fill_stripes, p), [&](uint32_t x, uint32_t y) {
        return pick(((p.direction ? x : y) / cell) % 2);
      })) << "direction " << p.direction;
  }
  // An octave above L wraps the shift to 31: color1 everywhere.
  p.octave = 5;
  EXPECT_TRUE(uniform_image(*filled(fill_checkerboard, p), pick(false)));
  EXPECT_TRUE(uniform_image(*filled(fill_stripes, p), pick(false)));
  // Through nodes: direction and colours from their texts, the octave clamped to 31.
  image_ptr v = render_node(10, {{u"direction", u"vertical"}, {u"octave", u"2"}, {u"color2", u"(0.9,0.1,0.3)"}},
                            render_Stripes);
  EXPECT_TRUE(same_image(*v, [&](uint32_t x, uint32_t) { return (x / 4) % 2 ? px4{0.9f, 0.1f, 0.3f, 1} : black; }));
  image_ptr g = render_node(5, {{u"octave", u"40"}}, render_Grid, 64, 64);  // shift (6 - 31) & 31 = 7
  EXPECT_TRUE(same_image(*g, [&](uint32_t x, uint32_t y) { return x == 0 || y == 0 ? white : black; }));
}

px4 ref_brick(const bricks_params& p, uint32_t x, uint32_t y) {
  uint32_t m = p.mortar_thickness, yy = y + p.y_offset;
  uint32_t course = yy / (m + p.brick_height), r = yy % (m + p.brick_height);
  uint32_t s = course % 2 ? (m + p.brick_width) / 2 : 0;
  uint32_t u = (p.y_offset + s + p.x_offset + x) % (m + p.brick_width);
  return rgba(r < m || r >= p.brick_height || u < m || u >= p.brick_width ? p.mortar_color : p.brick_color);
}

TEST(PatternGenerators, Bricks) {
  // With no stored colour the fixed constants stand in. The top row is brick where the column
  // allows: u = (32 + x) mod 66.
  image_ptr img = render_node(7, {{u"brick-color", nullptr}, {u"mortar-color", nullptr}}, render_Bricks, 200, 120);
  EXPECT_TRUE(same_image(*img, [&](uint32_t x, uint32_t y) { return ref_brick({}, x, y); }));
  EXPECT_TRUE(pixel(*img, 0, 0) == brick_red && pixel(*img, 32, 0) == mortar_grey);
  // A period of 27 rows and 66 columns, odd courses shifted by 33.
  for (uint32_t y = 0; y + 54 < 120; ++y)
    for (uint32_t x = 0; x + 66 < 200; ++x)
      ASSERT_TRUE(pixel(*img, x, y) == pixel(*img, x, y + 54) && pixel(*img, x, y) == pixel(*img, x + 66, y) &&
                  pixel(*img, (x + 33) % 66, y) == pixel(*img, x, y + 27)) << x << "," << y;
  // The catalogue's default colour texts read as written.
  img = render_node(7, {}, render_Bricks);
  EXPECT_TRUE(pixel(*img, 0, 0) == (px4{0.5f, 0.15f, 0.14f, 1}) && pixel(*img, 32, 0) == (px4{0.5f, 0.5f, 0.5f, 1}));
  bricks_params p{40, 17, 5, 3, 250, {0.1f, 0.2f, 0.3f, 1.0f}, {0.7f, 0.7f, 0.6f, 1.0f}};
  EXPECT_TRUE(same_image(*filled(fill_bricks, p), [&](uint32_t x, uint32_t y) { return ref_brick(p, x, y); }));
}

bool hex_edge(int w) { return 5.9 <= w * 0.1 && w * 0.1 <= 6.1; }

TEST(PatternGenerators, FixedFigures) {
  // Hexagons: on a 64-pixel image only the fill colour shows.
  EXPECT_TRUE(uniform_image(*render_node(8, {}, render_Hexagons, 64, 64), brick_red));
  EXPECT_TRUE(same_image(*render_node(8, {}, render_Hexagons, 256, 256), [](uint32_t x, uint32_t y) {
    int u = int(x) - 78, v = int(y) - 98;
    bool in = u >= 0 && v >= 0 &&
              ((v == 0 && u >= 20 && u <= 50) || (v == 30 && u >= 70 && u <= 100) ||
               (u <= 20 && v <= 30 && hex_edge(2 * v + 3 * u)) ||
               (u >= 50 && u <= 70 && v >= 30 && v <= 60 && hex_edge(2 * (v - 30) + 3 * (u - 50))) ||
               (u <= 20 && v >= 30 && v <= 60 && hex_edge(2 * v - 3 * u)) ||
               (u >= 50 && u <= 70 && v <= 30 && hex_edge(2 * (v + 30) - 3 * (u - 50))));
    return in ? mortar_grey : brick_red;
  }));
  octogons_params o{{0.1f, 0.2f, 0.3f, 1.0f}, {0.50196081f, 0.50196081f, 0.50196081f, 1.0f}};
  EXPECT_TRUE(same_image(*filled(fill_octogons, o, 300, 280), [&](uint32_t ux, uint32_t uy) {
    int x = int(ux), y = int(uy);
    bool middle = (x >= 86 && x < 172) || (y >= 86 && y < 172), rim = x < 4 || x > 251 || y < 4 || y > 251;
    bool border = (middle && rim) || (x < 86 && y < 86 && 86 - x == y) || (x > 171 && y < 86 && x == y + 171) ||
                  (x < 86 && y > 171 && x + 171 == y) || (x > 171 && y > 171 && 256 - x == y - 171);
    return border ? mortar_grey : px4{0.1f, 0.2f, 0.3f, 1.0f};
  }));
  image_ptr oct = render_node(9, {{u"border-color", nullptr}}, render_Octogons, 100, 100);
  EXPECT_EQ(pixel(*oct, 10, 10), (px4{0.5f, 0.15f, 0.14f, 1.0f}));
  EXPECT_EQ(pixel(*oct, 3, 83), mortar_grey);  // the corner diagonal
}

// The squares drawn by the register, painted one after another.
auto ref_squares(uint32_t W, uint32_t H, uint32_t size, uint32_t count, px4 bg, px4 fg) {
  std::vector<px4> img(std::size_t(W) * H, bg);
  int L = -1;
  for (uint32_t m = std::min(W, H); m; m >>= 1) ++L;
  uint32_t mask = (1u << ((L + 1) % 32)) - 1, s = 42330;
  for (uint32_t i = 0; i < count; ++i) {
    s = ((s ^ (s >> 10) ^ (s >> 30) ^ (s >> 31)) << 31) | (s >> 1);
    uint32_t y0 = (s >> ((32 - L) % 32)) & mask, x0 = (s >> (((16 - L) * 2) % 32)) & mask;
    // All unsigned 32-bit: ends that wrap leave an empty range.
    uint32_t x1 = x0 + size < W - 1 ? x0 + size : W, y1 = y0 + size < H - 1 ? y0 + size : H;
    for (uint32_t y = y0; y < y1; ++y)
      for (uint32_t x = x0; x < x1; ++x) img[std::size_t(y) * W + x] = fg;
  }
  return [img, W](uint32_t x, uint32_t y) { return img[y * W + x]; };
}

TEST(PatternGenerators, SquaresAndDots) {
  // Defaults: 64 squares of 16 in black on white; Dots draws the very same.
  for (uint32_t type : {13u, 20u})
    EXPECT_TRUE(same_image(*render_node(type, {}, render_Squares, 150, 90),
                           ref_squares(150, 90, 16, 64, white, black))) << type;
  squares_params p{7, 500, {0.3f, 0.3f, 0.9f, 1.0f}, {1.0f, 0.5f, 0.0f, 1.0f}};
  for (auto [w, h] : {std::pair{37u, 23u}, {64u, 64u}, {1u, 9u}})
    EXPECT_TRUE(same_image(*filled(fill_squares, p, w, h),
                           ref_squares(w, h, 7, 500, rgba(p.bgcolor), rgba(p.fgcolor)))) << w << "x" << h;
  // Sizes near 2^32 (from a connected value): a start past 2^32 - size wraps its end and draws nothing.
  p.size = 0xFFFFFFF0u, p.count = 40;
  EXPECT_TRUE(same_image(*filled(fill_squares, p, 64, 64),
                         ref_squares(64, 64, p.size, 40, rgba(p.bgcolor), rgba(p.fgcolor))));
  // From texts; count 0 gives the plain background.
  image_ptr plain = render_node(13, {{u"count", u"0"}, {u"bgcolor", u"(0.25,0.5,0.75)"}}, render_Squares);
  EXPECT_TRUE(uniform_image(*plain, px4{0.25f, 0.5f, 0.75f, 1.0f}));
  EXPECT_TRUE(same_image(*render_node(20, {{u"count", u"3"}, {u"size", u"5"}}, render_Squares),
                         ref_squares(37, 23, 5, 3, white, black)));
}

}  // namespace
