#include "nodes/generators/assets.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "core/row_bands.h"
#include "document/asset.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/generators/text_raster.h"
#include "nodes/operators/sampling.h"
#include "quorin/asset.h"
#include "quorin/imgbuf4f.h"
#include "quorin/project.h"

namespace quorin_engine {

using namespace gen;

namespace {

void clear_target(imgbuf4f& out) {
  if (out.pixels) imgbuf4f_clear(&out);
}

// trunc(extent * p + 0.5): a fraction of a size as a whole offset; a fraction that is not a number
// gives 0.
int32_t offset_of(float extent, float p) {
  const float v = extent * p + 0.5f;
  return v >= 0.0f && v < 2147483648.0f ? static_cast<int32_t>(v) : 0;
}

}  // namespace

// ---- LoadAsset -----------------------------------------------------------------------------------

uint32_t fetch_asset_id(const shadetree_node_t& node, const renderctx& ctx) {
  // A time curve gives its value plus 0.5, truncated; a negative stored number counts as 0.
  return fetch_uint(node, ctx, u"id", 0);
}

load_asset_params fetch_load_asset_params(const shadetree_node_t& node, const renderctx& ctx) {
  load_asset_params p;
  p.mode = limit_enum(fetch_enum(node, ctx, u"mode", asset_position_crop), asset_resample);
  p.position_x = clamp01(fetch_float(node, ctx, u"position-crop-x", 0.0f));
  p.position_y = clamp01(fetch_float(node, ctx, u"position-crop-y", 0.0f));
  fetch_color_or(node, ctx, u"fill-color", p.fill);
  p.fill[3] = 1.0f;
  p.interpolation = limit_enum(fetch_enum(node, ctx, u"interpolation", 1), 1);
  return p;
}

namespace {

// Where one axis of the image lands: target [dst, dst + count) shows source [src, src + count).
struct axis_span {
  uint32_t dst = 0, src = 0, count = 0;
};

// The larger side is offset by `o`, pulled back so that the smaller side ends inside it.
axis_span span_with_offset(uint32_t t, uint32_t s, uint32_t o) {
  const uint32_t small = t < s ? t : s, large = t < s ? s : t;
  if (o + small >= large) o = large - small;
  return t >= s ? axis_span{o, 0, s} : axis_span{0, o, t};
}

axis_span place_axis(uint32_t mode, uint32_t t, uint32_t s, float p) {
  if (mode == asset_center) return span_with_offset(t, s, (t > s ? t - s : s - t) / 2u);
  // Position within the target, or crop start within the image.
  const uint32_t larger = t >= s ? t : s;
  return span_with_offset(t, s, static_cast<uint32_t>(offset_of(static_cast<float>(larger), p)));
}

void put_fill(float* px, uint32_t n, const float fill[4]) {
  for (uint32_t i = 0; i < n; ++i, px += 4) put_color(px, fill);
}

void place_asset(const load_asset_params& p, const imgbuf4f& src, imgbuf4f& out) {
  const axis_span ax = place_axis(p.mode, out.width, src.width, p.position_x);
  const axis_span ay = place_axis(p.mode, out.height, src.height, p.position_y);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      float* row = row_ptr(out, y);
      if (y < ay.dst || y >= ay.dst + ay.count) {
        put_fill(row, out.width, p.fill);
        continue;
      }
      put_fill(row, ax.dst, p.fill);
      std::memcpy(row + std::size_t(ax.dst) * 4, pixel_at(src, ax.src, y - ay.dst + ay.src),
                  std::size_t(ax.count) * 4 * sizeof(float));
      put_fill(row + std::size_t(ax.dst + ax.count) * 4, out.width - ax.dst - ax.count, p.fill);
    }
  });
}

// Target row m reads source height (m * (sh - 1) / (th - 1)) upward from the bottom row, which
// turns the image upside down.
template <class Kernel>
void resample_asset(const load_asset_params& p, const imgbuf4f& src, imgbuf4f& out) {
  const float sx = static_cast<float>(src.width - 1u), tx = static_cast<float>(out.width - 1u);
  const float sy = static_cast<float>(src.height - 1u), ty = static_cast<float>(out.height - 1u);
  const __m128 fill = _mm_loadu_ps(p.fill);
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      const float yy = static_cast<float>(y) * sy / ty;
      float* px = row_ptr(out, y);
      for (uint32_t x = 0; x < out.width; ++x, px += 4)
        _mm_store_ps(px, Kernel::sample(src, static_cast<float>(x) * sx / tx, yy, fill));
    }
  });
}

}  // namespace

void fill_from_asset(const load_asset_params& p, const imgbuf4f& src, imgbuf4f& out) {
  if (src.width == out.width && src.height == out.height) {
    std::memcpy(out.pixels, src.pixels, std::size_t(imgbuf4f_stride_bytes(out.width)) * out.height);
  } else if (p.mode == asset_resample) {
    if (p.interpolation)
      resample_asset<sampling::fill_bilinear>(p, src, out);
    else
      resample_asset<sampling::fill_nearest>(p, src, out);
  } else {
    place_asset(p, src, out);
  }
}

void render_LoadAsset(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& out = *ctx.target_buf;
  const uint32_t id = fetch_asset_id(node, ctx);
  const asset* a = ctx.project ? assets_at(project_assets(ctx.project), id) : nullptr;
  if (!a || !a->image || !a->image->pixels) {
    clear_target(out);
    return;
  }
  fill_from_asset(fetch_load_asset_params(node, ctx), *a->image, out);
}

// ---- Mask ----------------------------------------------------------------------------------------

mask_params fetch_mask_params(const shadetree_node_t& node, const renderctx& ctx) {
  mask_params p;
  p.shape = limit_enum(fetch_enum(node, ctx, u"type", mask_rectangle), mask_triangle);
  // Read as fractions: a stored whole number counts as the full size.
  p.width = clamp01(fetch_float(node, ctx, u"width", 1.0f));
  p.height = clamp01(fetch_float(node, ctx, u"height", 1.0f));
  p.angle = fetch_float(node, ctx, u"angle", 0.0f);
  // The triangle's vertex choice is read like every parameter but has no geometry to pick from.
  (void)fetch_enum(node, ctx, u"tri-verts", 0);
  p.supersampling = fetch_preview_supersampling(node, ctx);
  return p;
}

namespace {

struct mask_frame {
  float cx, cy;          // the image centre
  float c2, s2, ms2;     // 2 cos, 2 sin, -2 sin
  float sx, sy;          // the shape's extent in pixels

  template <uint32_t Shape>
  bool inside(float px, float py) const {
    float u = px * c2 / sx + py * s2 / sx;
    float v = px * ms2 / sy + py * c2 / sy;
    if constexpr (Shape == mask_rectangle)
      return u >= -1.0f && u <= 1.0f && v >= -1.0f && v <= 1.0f;
    else
      return std::sqrt(u * u + v * v) <= 1.0f;
  }
};

// K by K samples a pixel at offsets 0, 1/K, ...; each inside sample adds 1 / (K K) to all four
// channels. Loop row y is image row H - 1 - y.
template <uint32_t Shape, uint32_t K>
void mask_rows(const mask_frame& f, imgbuf4f& out, uint32_t first, uint32_t last) {
  const float step = 1.0f / static_cast<float>(K);
  const float weight = 1.0f / static_cast<float>(K * K);
  for (uint32_t m = first; m < last; ++m) {
    const uint32_t y = out.height - 1u - m;
    float* px = row_ptr(out, m);
    for (uint32_t x = 0; x < out.width; ++x, px += 4) {
      if constexpr (K == 1) {
        if (f.inside<Shape>(static_cast<float>(x) - f.cx, static_cast<float>(y) - f.cy))
          px[0] = px[1] = px[2] = px[3] = 1.0f;
      } else {
        float cover = 0.0f;
        for (uint32_t sy = 0; sy < K; ++sy)
          for (uint32_t sx = 0; sx < K; ++sx)
            if (f.inside<Shape>(static_cast<float>(x) + sx * step - f.cx, static_cast<float>(y) + sy * step - f.cy))
              cover += weight;
        px[0] = px[1] = px[2] = px[3] = cover;
      }
    }
  }
}

}  // namespace

void fill_mask(const mask_params& p, imgbuf4f& out) {
  clear_target(out);
  // A triangle has no geometry: the mask stays black.
  if (p.shape == mask_triangle) return;
  mask_frame f;
  f.cx = static_cast<float>(out.width - 1u) / 2.0f;
  f.cy = static_cast<float>(out.height - 1u) / 2.0f;
  f.sx = static_cast<float>(out.width - 1u) * p.width;
  f.sy = static_cast<float>(out.height - 1u) * p.height;
  const float s = std::sin(p.angle), c = std::cos(p.angle);
  f.c2 = 2.0f * c;
  f.s2 = 2.0f * s;
  f.ms2 = -2.0f * s;
  using rows_fn = void (*)(const mask_frame&, imgbuf4f&, uint32_t, uint32_t);
  static constexpr rows_fn bodies[2][3] = {
      {mask_rows<mask_rectangle, 1>, mask_rows<mask_rectangle, 2>, mask_rows<mask_rectangle, 4>},
      {mask_rows<mask_ellipse, 1>, mask_rows<mask_ellipse, 2>, mask_rows<mask_ellipse, 4>}};
  const rows_fn body = bodies[p.shape][limit_enum(p.supersampling, 2)];
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) { body(f, out, first, last); });
}

void render_Mask(shadetree_node_t& node, const renderctx& ctx) { fill_mask(fetch_mask_params(node, ctx), *ctx.target_buf); }

// ---- Text ----------------------------------------------------------------------------------------

text_params fetch_text_params(const shadetree_node_t& node, const renderctx& ctx) {
  text_params p;
  fetch_string_input(node, ctx, u"text", node.connected(u"text"), p.text);
  fetch_color_or(node, ctx, u"color", p.color);
  p.position_mode = limit_enum(fetch_enum(node, ctx, u"mode", 0), 1) == 1;
  p.supersampling = fetch_preview_supersampling(node, ctx);
  p.underline = fetch_bool_param(node, ctx, u"underline");
  p.strike_through = fetch_bool_param(node, ctx, u"strike-through");
  p.alpha = fetch_bool_param(node, ctx, u"alpha");
  if (p.position_mode) {
    p.pos_x = clamp01(fetch_float_input(node, ctx, u"pos-x", node.connected(u"posx"), 0.0f));
    p.pos_y = clamp01(fetch_float_input(node, ctx, u"pos-y", node.connected(u"posy"), 0.0f));
  } else {
    p.align_x = limit_enum(fetch_enum_input(node, ctx, u"align-x", node.connected(u"alignx"), 0), 2);
    p.align_y = limit_enum(fetch_enum_input(node, ctx, u"align-y", node.connected(u"aligny"), 0), 2);
  }
  return p;
}

namespace {

// A colour channel as the byte the text is drawn with: trunc(v * 255), low eight bits.
uint8_t colour_byte(float v) {
  double d = static_cast<double>(v) * 255.0;
  if (!(d > -2147483648.0 && d < 2147483648.0)) return 0;
  return static_cast<uint8_t>(static_cast<int32_t>(d));
}

// Bitmap pixel to target pixel: black is transparent when `alpha` is set.
inline void put_text_pixel(float* px, uint32_t r, uint32_t g, uint32_t b, float black_alpha) {
  if ((r | g | b) == 0) {
    px[0] = px[1] = px[2] = 0.0f;
    px[3] = black_alpha;
    return;
  }
  px[0] = static_cast<float>(r / 255.0);
  px[1] = static_cast<float>(g / 255.0);
  px[2] = static_cast<float>(b / 255.0);
  px[3] = 1.0f;
}

// A block of 2^Shift by 2^Shift bitmap pixels a target pixel: the rounded average of each channel.
template <uint32_t Shift>
void convert_text_rows(const text_raster::bitmap_t& bmp, imgbuf4f& out, float black_alpha, uint32_t first,
                       uint32_t last) {
  constexpr uint32_t k = 1u << Shift, shift = 2u * Shift;
  constexpr uint32_t half = shift ? 1u << (shift - 1u) : 0u;
  for (uint32_t y = first; y < last; ++y) {
    float* px = row_ptr(out, y);
    for (uint32_t x = 0; x < out.width; ++x, px += 4) {
      uint32_t sum[3] = {0, 0, 0};
      for (uint32_t by = 0; by < k; ++by) {
        const uint8_t* s = bmp.row(y * k + by) + std::size_t(x) * k * 3;
        for (uint32_t bx = 0; bx < k; ++bx, s += 3) {
          sum[0] += s[0];
          sum[1] += s[1];
          sum[2] += s[2];
        }
      }
      for (uint32_t& v : sum) v = (v >> shift) + ((v & half) ? 1u : 0u);
      put_text_pixel(px, sum[2], sum[1], sum[0], black_alpha);
    }
  }
}

}  // namespace

void fill_text(const text_params& p, const std::vector<uint8_t>& font_block, imgbuf4f& out) {
  clear_target(out);
  const uint32_t shift = limit_enum(p.supersampling, 2);
  const uint32_t factor = 1u << shift;
  std::unique_ptr<text_raster::bitmap_t> bmp;
  try {
    bmp = std::make_unique<text_raster::bitmap_t>(out.width * factor, out.height * factor);
  } catch (const std::bad_alloc&) {
    return;  // no bitmap: the target stays cleared
  }
  const text_raster::rgb8 colour{colour_byte(p.color[0]), colour_byte(p.color[1]), colour_byte(p.color[2])};

  // The node's own font when its block is whole, scaled with the bitmap; else the default font.
  text_raster::font_spec spec = text_raster::default_gui_font();
  if (font_block.size() == text_raster::font_block_size) {
    spec = text_raster::font_from_block(font_block);
    spec.underline = spec.underline || p.underline;
    spec.strike_out = spec.strike_out || p.strike_through;
    spec.height = -text_raster::mul_div(text_raster::size_word_of_block(font_block), text_raster::pixels_per_inch, 720) *
                  static_cast<int32_t>(factor);
  }
  const text_raster::font_t font(spec);
  if (p.position_mode) {
    const float bw = static_cast<float>(bmp->width - 1u), bh = static_cast<float>(bmp->height - 1u);
    font.draw(*bmp, p.text, colour, offset_of(bw, p.pos_x), offset_of(bh, p.pos_y));
  } else {
    static constexpr uint32_t x_flags[3] = {0, text_raster::align_right, text_raster::align_center};
    static constexpr uint32_t y_flags[3] = {0, text_raster::align_bottom, text_raster::align_vcenter};
    text_raster::draw_text_in(*bmp, font, p.text, colour, x_flags[p.align_x] | y_flags[p.align_y]);
  }

  const float black_alpha = p.alpha ? 0.0f : 1.0f;
  using rows_fn = void (*)(const text_raster::bitmap_t&, imgbuf4f&, float, uint32_t, uint32_t);
  static constexpr rows_fn bodies[3] = {convert_text_rows<0>, convert_text_rows<1>, convert_text_rows<2>};
  const rows_fn body = bodies[shift];
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) { body(*bmp, out, black_alpha, first, last); });
}

void render_Text(shadetree_node_t& node, const renderctx& ctx) {
  fill_text(fetch_text_params(node, ctx), node.binary_data, *ctx.target_buf);
}

// ---- VectorGraphics ------------------------------------------------------------------------------

namespace vectorgraphics {

namespace {

uint32_t bits_of(float v) {
  uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}
float float_of(uint32_t u) {
  float v;
  std::memcpy(&v, &u, sizeof v);
  return v;
}

constexpr float line_tolerance = 0.001f;
constexpr uint32_t curve_segments = 16;

inline int32_t round_half_up(float v) { return static_cast<int32_t>(v + 0.5f); }

// Plots (x, y) with y upward; points outside the target are dropped.
inline void plot(imgbuf4f& t, int32_t x, int32_t y, const float colour[4]) {
  if (x < 0 || y < 0 || static_cast<uint32_t>(x) >= t.width || static_cast<uint32_t>(y) >= t.height) return;
  put_color(pixel_at(t, static_cast<uint32_t>(x), t.height - static_cast<uint32_t>(y) - 1u), colour);
}

}  // namespace

void path_t::move_to(float x, float y) { commands.push_back({cmd_move_to, bits_of(x), bits_of(y), 0, 0, 0, 0}); }
void path_t::line_to(float x, float y) { commands.push_back({cmd_line_to, bits_of(x), bits_of(y), 0, 0, 0, 0}); }
void path_t::quad_to(float cx, float cy, float x, float y) {
  commands.push_back({cmd_quad_to, bits_of(cx), bits_of(cy), bits_of(x), bits_of(y), 0, 0});
}

void path_t::draw(imgbuf4f& target, const float colour[4]) const {
  float px = 0.0f, py = 0.0f;
  for (const auto& cmd : commands) {
    switch (cmd[0]) {
      case cmd_move_to:
        px = float_of(cmd[1]);
        py = float_of(cmd[2]);
        break;
      case cmd_line_to: {
        float x = float_of(cmd[1]), y = float_of(cmd[2]);
        draw_line(target, px, py, x, y, colour);
        px = x;
        py = y;
        break;
      }
      case cmd_quad_to: {
        const float cx = float_of(cmd[1]), cy = float_of(cmd[2]), x = float_of(cmd[3]), y = float_of(cmd[4]);
        for (uint32_t i = 1; i <= curve_segments; ++i) {
          const float t = static_cast<float>(i) / static_cast<float>(curve_segments), u = 1.0f - t;
          const float nx = u * u * px + 2.0f * u * t * cx + t * t * x;
          const float ny = u * u * py + 2.0f * u * t * cy + t * t * y;
          draw_line(target, px, py, nx, ny, colour);
          px = nx;
          py = ny;
        }
        px = x;
        py = y;
        break;
      }
      default:
        break;
    }
  }
}

void draw_line(imgbuf4f& target, float x0, float y0, float x1, float y1, const float colour[4]) {
  const float dx = x1 - x0, dy = y1 - y0;
  if (std::fabs(dx) <= line_tolerance) {
    const int32_t x = round_half_up(x0);
    int32_t a = round_half_up(y0), b = round_half_up(y1);
    if (a > b) std::swap(a, b);
    for (int32_t y = a; y <= b; ++y) plot(target, x, y, colour);
  } else if (std::fabs(dy) <= line_tolerance) {
    const int32_t y = round_half_up(y0);
    int32_t a = round_half_up(x0), b = round_half_up(x1);
    if (a > b) std::swap(a, b);
    for (int32_t x = a; x <= b; ++x) plot(target, x, y, colour);
  } else if (std::fabs(std::fabs(dx) - std::fabs(dy)) <= line_tolerance) {
    // Diagonal: one step on both axes per pixel.
    const int32_t xa = round_half_up(x0), ya = round_half_up(y0);
    const int32_t n = std::abs(round_half_up(x1) - xa);
    const int32_t sx = dx > 0.0f ? 1 : -1, sy = dy > 0.0f ? 1 : -1;
    for (int32_t i = 0; i <= n; ++i) plot(target, xa + i * sx, ya + i * sy, colour);
  } else {
    // General: one pixel per step along the longer axis.
    const float len = std::fabs(dx) > std::fabs(dy) ? std::fabs(dx) : std::fabs(dy);
    const int32_t n = round_half_up(len) > 0 ? round_half_up(len) : 1;
    const float ix = dx / static_cast<float>(n), iy = dy / static_cast<float>(n);
    for (int32_t i = 0; i <= n; ++i)
      plot(target, round_half_up(x0 + ix * static_cast<float>(i)), round_half_up(y0 + iy * static_cast<float>(i)),
           colour);
  }
}

}  // namespace vectorgraphics

void fill_vector_graphics(imgbuf4f& out) {
  static const float black[4] = {0.0f, 0.0f, 0.0f, 1.0f};
  static const float white[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  fill_color(out, black);
  vectorgraphics::path_t path;
  path.move_to(50.0f, 100.0f);
  path.line_to(125.0f, 100.0f);
  path.quad_to(175.0f, 150.0f, 125.0f, 200.0f);
  path.line_to(50.0f, 200.0f);
  path.line_to(50.0f, 100.0f);
  path.line_to(125.0f, 200.0f);
  for (int pass = 0; pass < 100; ++pass) path.draw(out, white);
}

void render_VectorGraphics(shadetree_node_t&, const renderctx& ctx) { fill_vector_graphics(*ctx.target_buf); }

}  // namespace quorin_engine
