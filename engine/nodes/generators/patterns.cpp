#include "nodes/generators/patterns.h"

#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/generators/noise_core.h"

namespace quorin_engine {

using namespace gen;

// ---- parameters ----------------------------------------------------------------------------------


pow2_pattern_params fetch_pow2_pattern_params(const shadetree_node_t& node, const renderctx& ctx) {
  pow2_pattern_params p;
  p.octave = clamp_uint(fetch_uint(node, ctx, u"octave", 3), 1, 31);
  fetch_color_or(node, ctx, u"color1", p.color1);
  fetch_color_or(node, ctx, u"color2", p.color2);
  return p;
}

bricks_params fetch_bricks_params(const shadetree_node_t& node, const renderctx& ctx) {
  bricks_params p;
  p.brick_width = clamp_uint(fetch_uint(node, ctx, u"brick-width", 64), 16, 240);
  p.brick_height = clamp_uint(fetch_uint(node, ctx, u"brick-height", 25), 16, 240);
  p.mortar_thickness = clamp_uint(fetch_uint(node, ctx, u"mortar-thickness", 2), 1, 15);
  p.x_offset = clamp_uint(fetch_uint(node, ctx, u"x-offset", 16), 0, 255);
  p.y_offset = clamp_uint(fetch_uint(node, ctx, u"y-offset", 16), 0, 255);
  fetch_color_or(node, ctx, u"brick-color", p.brick_color);
  fetch_color_or(node, ctx, u"mortar-color", p.mortar_color);
  return p;
}

octogons_params fetch_octogons_params(const shadetree_node_t& node, const renderctx& ctx) {
  octogons_params p;
  fetch_color_or(node, ctx, u"fill-color", p.fill_color);
  fetch_color_or(node, ctx, u"border-color", p.border_color);
  return p;
}

squares_params fetch_squares_params(const shadetree_node_t& node, const renderctx& ctx) {
  squares_params p;
  // Size and count are used as read.
  p.size = fetch_uint(node, ctx, u"size", 16);
  p.count = fetch_uint(node, ctx, u"count", 64);
  fetch_color_or(node, ctx, u"bgcolor", p.bgcolor);
  fetch_color_or(node, ctx, u"fgcolor", p.fgcolor);
  return p;
}

// ---- the power-of-two family -------------------------------------------------------------------

int32_t pattern_scale_bits(uint32_t width, uint32_t height) {
  uint32_t m = width < height ? width : height;
  int32_t bit = -1;
  while (m) {
    ++bit;
    m >>= 1;
  }
  return bit;
}

uint32_t pattern_shift(uint32_t width, uint32_t height, uint32_t octave) {
  // The difference may go negative; it wraps in five bits.
  return static_cast<uint32_t>(pattern_scale_bits(width, height) - static_cast<int32_t>(octave)) & 31u;
}

namespace {

// Fills the image with color2 where Pick(x, y) is true, else color1.
template <class Pick>
void fill_two_colors(const pow2_pattern_params& p, imgbuf4f& out, Pick pick) {
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      float* px = row_ptr(out, y);
      for (uint32_t x = 0; x < out.width; ++x, px += 4) put_color(px, pick(x, y) ? p.color2 : p.color1);
    }
  });
}

}  // namespace

void fill_checkerboard(const pow2_pattern_params& p, imgbuf4f& out) {
  uint32_t shift = pattern_shift(out.width, out.height, p.octave);
  fill_two_colors(p, out, [shift](uint32_t x, uint32_t y) { return (((x ^ y) >> shift) & 1u) != 0; });
}

void fill_grid(const pow2_pattern_params& p, imgbuf4f& out) {
  uint32_t mask = (1u << pattern_shift(out.width, out.height, p.octave)) - 1u;
  fill_two_colors(p, out, [mask](uint32_t x, uint32_t y) { return (x & mask) == 0 || (y & mask) == 0; });
}

void fill_stairs(const pow2_pattern_params& p, imgbuf4f& out) {
  uint32_t shift = pattern_shift(out.width, out.height, p.octave);
  uint32_t mask = (1u << shift) - 1u;
  fill_two_colors(p, out, [shift, mask](uint32_t x, uint32_t y) {
    bool first = (((x ^ y) >> shift) & 1u) == 0 || ((x & mask) != 0 && (y & mask) != 0);
    return !first;
  });
}

void fill_stripes(const pow2_pattern_params& p, imgbuf4f& out) {
  uint32_t shift = pattern_shift(out.width, out.height, p.octave);
  if (p.direction == 0)
    fill_two_colors(p, out, [shift](uint32_t, uint32_t y) { return ((y >> shift) & 1u) != 0; });
  else
    fill_two_colors(p, out, [shift](uint32_t x, uint32_t) { return ((x >> shift) & 1u) != 0; });
}

// ---- Bricks ----------------------------------------------------------------------------------------

void fill_bricks(const bricks_params& p, imgbuf4f& out) {
  const uint32_t m = p.mortar_thickness, bw = p.brick_width, bh = p.brick_height;
  const uint32_t xo = p.x_offset, yo = p.y_offset;
  const uint32_t course_h = m + bh, course_w = m + bw;
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      uint32_t yy = y + yo;
      uint32_t course = yy / course_h;
      uint32_t r = yy % course_h;
      uint32_t s = (course & 1u) ? course_w >> 1 : 0u;
      bool row_mortar = r < m || r >= bh;
      // The vertical offset shifts the bond sideways as well.
      uint32_t base = yo + s + xo;
      float* px = row_ptr(out, y);
      for (uint32_t x = 0; x < out.width; ++x, px += 4) {
        uint32_t u = (base + x) % course_w;
        put_color(px, (row_mortar || u < m || u >= bw) ? p.mortar_color : p.brick_color);
      }
    }
  });
}

// ---- fixed figures ---------------------------------------------------------------------------------

namespace {
const float figure_fill[4] = {0.50196081f, 0.14901961f, 0.14117648f, 1.0f};
const float figure_outline[4] = {0.50196081f, 0.50196081f, 0.50196081f, 1.0f};

// One edge of the hexagon outline: w / 10 lies within 5.9..6.1.
inline bool on_edge(int64_t w) {
  double v = static_cast<double>(w) * 0.1;
  return 5.9 <= v && v <= 6.1;
}

bool hexagon_outline(uint32_t x, uint32_t y) {
  // Unsigned offsets: pixels left of column 78 or above row 98 fail every range test.
  uint32_t u = x - 78u, v = y - 98u;
  int64_t iu = u, iv = v;
  if (v == 0 && u - 20u <= 30u) return true;
  if (v == 30 && u - 70u <= 30u) return true;
  if (u <= 20u && v <= 30u && on_edge(2 * iv + 3 * iu)) return true;
  if (u - 50u <= 20u && v - 30u <= 30u && on_edge(2 * (iv - 30) + 3 * (iu - 50))) return true;
  if (u <= 20u && v - 30u <= 30u && on_edge(2 * iv - 3 * iu)) return true;
  if (u - 50u <= 20u && v <= 30u && on_edge(2 * (iv + 30) - 3 * (iu - 50))) return true;
  return false;
}

bool octogon_border(uint32_t x, uint32_t y) {
  if ((x - 86u < 86u || y - 86u < 86u) && (x - 4u > 247u || y - 4u > 247u)) return true;
  if (x < 86u && y < 86u && 86u - x == y) return true;
  if (x > 171u && y < 86u && x == y + 171u) return true;
  if (x < 86u && y > 171u && x + 171u == y) return true;
  if (x > 171u && y > 171u && 256u - x == y - 171u) return true;
  return false;
}
}  // namespace

namespace {
// Paints each pixel in one of two colours as figure(x, y) says.
template <class Figure>
void fill_figure(imgbuf4f& out, Figure figure, const float* on, const float* off) {
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      float* px = row_ptr(out, y);
      for (uint32_t x = 0; x < out.width; ++x, px += 4) put_color(px, figure(x, y) ? on : off);
    }
  });
}
}  // namespace

void fill_hexagons(imgbuf4f& out) { fill_figure(out, hexagon_outline, figure_outline, figure_fill); }

void fill_octogons(const octogons_params& p, imgbuf4f& out) {
  fill_figure(out, octogon_border, p.border_color, p.fill_color);
}

// ---- Squares and Dots ------------------------------------------------------------------------------

void fill_squares(const squares_params& p, imgbuf4f& out) {
  fill_color(out, p.bgcolor);
  const uint32_t width = out.width, height = out.height;
  if (width == 0 || height == 0) return;
  const uint32_t L = static_cast<uint32_t>(pattern_scale_bits(width, height));
  const uint32_t mask = (1u << ((L + 1u) & 31u)) - 1u;
  const uint32_t yshift = (32u - L) & 31u;
  const uint32_t xshift = ((16u - L) * 2u) & 31u;
  uint32_t s = 42330;
  for (uint32_t i = 0; i < p.count; ++i) {
    s = lfsr32_step(s);
    uint32_t y0 = (s >> yshift) & mask;
    uint32_t x0 = (s >> xshift) & mask;
    uint32_t w = x0 + p.size < width - 1u ? p.size : width - x0;
    uint32_t h = y0 + p.size < height - 1u ? p.size : height - y0;
    // The ends are 32-bit: a square that starts beyond the image ends at its edge, and one whose
    // end wraps below its start (a huge size) covers an empty range. Neither draws anything.
    uint32_t x1 = x0 + w, y1 = y0 + h;
    if (x1 <= x0 || y1 <= y0) continue;
    for (uint32_t y = y0; y < y1; ++y) {
      float* px = row_ptr(out, y) + 4 * static_cast<std::size_t>(x0);
      for (uint32_t x = x0; x < x1; ++x, px += 4) put_color(px, p.fgcolor);
    }
  }
}

// ---- routines --------------------------------------------------------------------------------------

void render_Checkerboard(shadetree_node_t& node, const renderctx& ctx) {
  fill_checkerboard(fetch_pow2_pattern_params(node, ctx), *ctx.target_buf);
}
void render_Grid(shadetree_node_t& node, const renderctx& ctx) {
  fill_grid(fetch_pow2_pattern_params(node, ctx), *ctx.target_buf);
}
void render_Stairs(shadetree_node_t& node, const renderctx& ctx) {
  fill_stairs(fetch_pow2_pattern_params(node, ctx), *ctx.target_buf);
}
void render_Stripes(shadetree_node_t& node, const renderctx& ctx) {
  pow2_pattern_params p = fetch_pow2_pattern_params(node, ctx);
  p.direction = limit_enum(fetch_enum(node, ctx, u"direction", 0), 1);
  fill_stripes(p, *ctx.target_buf);
}
void render_Bricks(shadetree_node_t& node, const renderctx& ctx) {
  fill_bricks(fetch_bricks_params(node, ctx), *ctx.target_buf);
}
void render_Hexagons(shadetree_node_t&, const renderctx& ctx) { fill_hexagons(*ctx.target_buf); }
void render_Octogons(shadetree_node_t& node, const renderctx& ctx) {
  fill_octogons(fetch_octogons_params(node, ctx), *ctx.target_buf);
}
void render_Squares(shadetree_node_t& node, const renderctx& ctx) {
  fill_squares(fetch_squares_params(node, ctx), *ctx.target_buf);
}

}  // namespace quorin_engine
