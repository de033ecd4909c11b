#include "nodes/operators/distortion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "eval/driver.h"
#include "nodes/generators/generator_common.h"
#include "nodes/operators/pixel_loops.h"
#include "nodes/operators/sampling.h"
#include "quorin/node.h"

namespace quorin_engine {

using namespace gen;

namespace {

const float pi = static_cast<float>(std::atan(1.0) * 4.0);
const float two_pi = static_cast<float>(std::atan(1.0) * 8.0);
// Whirl's twist at the rim of its disc: a quarter turn.
const float quarter_turn = static_cast<float>(std::atan(1.0) * 4.0 / 180.0 * 90.0);
constexpr float whirl_radius = 100.0f;

// A float truncated towards zero; values out of range and NaN give the integer indefinite value.
inline int64_t truncate_i64(float v) { return _mm_cvttss_si64(_mm_set_ss(v)); }

// The last index W and H of the target as floats.
struct extent_t {
  float W, H;
  explicit extent_t(const imgbuf4f& t) : W(static_cast<float>(t.width - 1u)), H(static_cast<float>(t.height - 1u)) {}
};

// ---- ImageSample ---------------------------------------------------------------------------------

// The channels of a pair read from a second image, by `mapping` 0 to 5: u and v for ImageSample,
// dx and dy for MapDistort. Both types list their mappings in this order.
constexpr uint8_t channel_pairs[6][2] = {{0, 1}, {0, 2}, {1, 0}, {2, 0}, {1, 2}, {2, 1}};

// Target (r, c) samples the source at (W u, (1 - v) H), u and v read from the UV image at (r, c).
struct uv_map {
  static constexpr bool cheap_positions = true;
  extent_t e;
  const imgbuf4f* uv;
  uint32_t cu, cv;
  struct row_t {
    const uv_map* m;
    const float* uv_row;
    void at(uint32_t c, float, float& sx, float& sy) const {
      const float* q = uv_row + 4 * std::size_t(c);
      sx = m->e.W * q[m->cu];
      sy = (1.0f - q[m->cv]) * m->e.H;
    }
  };
  row_t row(uint32_t, uint32_t r) const { return {this, pixel_at(*uv, 0, r)}; }
};

// ---- MapDistort ----------------------------------------------------------------------------------

// The channel of the angle for the polar mappings 6 to 11.
constexpr uint8_t angle_channels[6] = {1, 2, 0, 0, 2, 1};

// Source = (c + scale dx W, y + scale dy H): map values move only right and up.
struct displacement_map {
  static constexpr bool cheap_positions = true;
  extent_t e;
  const imgbuf4f* map;
  float scale;
  uint32_t cx, cy;
  struct row_t {
    const displacement_map* m;
    const float* map_row;
    float y;
    void at(uint32_t c, float x, float& sx, float& sy) const {
      const float* q = map_row + 4 * std::size_t(c);
      sx = x + m->scale * q[m->cx] * m->e.W;
      sy = y + m->scale * q[m->cy] * m->e.H;
    }
  };
  row_t row(uint32_t y, uint32_t r) const { return {this, pixel_at(*map, 0, r), static_cast<float>(y)}; }
};

// Source = (W cos a + c, H sin a + y) with a = scale angle 2 pi: the radius is always the full size.
struct polar_map {
  static constexpr bool cheap_positions = false;
  extent_t e;
  const imgbuf4f* map;
  float scale;
  uint32_t ca;
  struct row_t {
    const polar_map* m;
    const float* map_row;
    float y;
    void at(uint32_t c, float x, float& sx, float& sy) const {
      float a = m->scale * map_row[4 * std::size_t(c) + m->ca] * two_pi;
      sx = m->e.W * std::cos(a) + x;
      sy = m->e.H * std::sin(a) + y;
    }
  };
  row_t row(uint32_t y, uint32_t r) const { return {this, pixel_at(*map, 0, r), static_cast<float>(y)}; }
};

// ---- Distort -------------------------------------------------------------------------------------

enum warp : uint32_t {
  sine, sphere, swirl, horseshoe, polar, handkerchief, heart, disc,
  spiral, hyperbolic, diamond, ex, fisheye, eyefish, bubble, cylinder,
};

// The warps read centred coordinates px, py in -1..1 (with r and t, their radius and angle) or plain
// ones nx, ny in 0..1. What depends on y alone is set up once per row.
template <uint32_t T>
struct warp_map {
  static constexpr bool cheap_positions = false;
  extent_t e;
  struct row_t {
    const warp_map* m;
    float y, py, ny, sine_y;
    void at(uint32_t, float x, float& sx, float& sy) const {
      const float W = m->e.W, H = m->e.H;
      if constexpr (T == sine) {
        sx = (std::sin((x - W / 2.0f) * two_pi / W) + 1.0f) * 0.5f * W;
        sy = sine_y;
      } else if constexpr (T == sphere || T == horseshoe || T == polar) {
        float nx = x / W;
        if constexpr (T == sphere) {
          float q = nx * nx + ny * ny;
          sx = nx * W / q;
          sy = ny * H / q;
        } else if constexpr (T == horseshoe) {
          float q = std::sqrt(nx * nx + ny * ny);
          sx = (nx - ny) * (nx + ny) * (1.0f / q) * W;
          sy = nx * 2.0f * ny * (1.0f / q) * H;
        } else {
          float q = std::sqrt(nx * nx + ny * ny);
          sx = std::atan2(ny, nx) * W / pi;
          sy = (q - 1.0f) * H;
        }
      } else {
        float px = (x - W / 2.0f) * 2.0f / W;
        if constexpr (T == swirl) {
          float q = px * px + py * py;
          float sq = std::sin(q), cq = std::cos(q);
          sx = (sq * px - cq * py + 2.0f) * 0.25f * W;
          sy = (cq * px + sq * py + 2.0f) * 0.25f * H;
        } else if constexpr (T == cylinder) {
          sx = std::sin(px) * W;
          sy = py * H;
        } else {
          float r = std::sqrt(px * px + py * py);
          if constexpr (T == fisheye || T == eyefish) {
            float k = 2.0f / (r + 1.0f);
            sx = k * (T == fisheye ? py : px) * W;
            sy = k * (T == fisheye ? px : py) * H;
          } else if constexpr (T == bubble) {
            float k = 4.0f / (r * r + 4.0f);
            sx = k * px * W;
            sy = k * py * H;
          } else {
            float t = std::atan2(py, px);
            if constexpr (T == handkerchief) {
              sx = std::sin(t + r) * r * W;
              sy = std::cos(t - r) * r * H;
            } else if constexpr (T == heart) {
              sx = std::sin(t * r) * r * W;
              sy = -std::cos(t * r) * r * H;
            } else if constexpr (T == disc) {
              sx = std::sin(r * pi) * t / pi * W;
              sy = std::cos(r * pi) * t / pi * H;
            } else if constexpr (T == spiral) {
              sx = (std::cos(t) + std::sin(r)) / r * W;
              sy = (std::sin(t) - std::cos(r)) / r * H;
            } else if constexpr (T == hyperbolic) {
              sx = std::sin(t) / r * W;
              sy = std::cos(t) * r * H;
            } else if constexpr (T == diamond) {
              sx = std::sin(t) * std::cos(r) * W;
              sy = std::cos(t) * std::sin(r) * H;
            } else {
              static_assert(T == ex);
              float a = std::sin(t + r), b = std::cos(t - r);
              sx = (a * a * a + b * b * b) * r * W;
              sy = (a * a * a - b * b * b) * r * H;
            }
          }
        }
      }
    }
  };
  row_t row(uint32_t y, uint32_t) const {
    const float W = e.W, H = e.H, fy = static_cast<float>(y);
    (void)W;
    row_t rw{this, fy, (fy - H / 2.0f) * 2.0f / H, fy / H, 0.0f};
    if constexpr (T == sine) rw.sine_y = (std::sin((fy - H / 2.0f) * two_pi / H) + 1.0f) * 0.5f * H;
    return rw;
  }
};

template <uint32_t T>
void warp_body(const imgbuf4f& src, imgbuf4f& dst, const sampling::params& p) {
  sampling::resample(src, dst, p, warp_map<T>{extent_t(dst)});
}

using warp_body_fn = void (*)(const imgbuf4f&, imgbuf4f&, const sampling::params&);

template <uint32_t... T>
constexpr std::array<warp_body_fn, sizeof...(T)> warp_table(std::integer_sequence<uint32_t, T...>) {
  return {warp_body<T>...};
}

constexpr auto warp_bodies = warp_table(std::make_integer_sequence<uint32_t, 16>{});

// ---- Pixelize ------------------------------------------------------------------------------------

// Replaces the bw x bh block at (row0, col0) by the mean of its pixels: the four floats summed in
// row-major order, then divided by the pixel count as a float.
void average_block(imgbuf4f& img, uint32_t row0, uint32_t col0, uint32_t bw, uint32_t bh) {
  __m128 sum = _mm_setzero_ps();
  for (uint32_t r = row0; r < row0 + bh; ++r) {
    const float* p = pixel_at(img, col0, r);
    for (uint32_t c = 0; c < bw; ++c, p += 4) sum = _mm_add_ps(sum, _mm_load_ps(p));
  }
  __m128 mean = _mm_div_ps(sum, _mm_set1_ps(static_cast<float>(bw * bh)));
  for (uint32_t r = row0; r < row0 + bh; ++r) {
    float* p = pixel_at(img, col0, r);
    for (uint32_t c = 0; c < bw; ++c, p += 4) _mm_store_ps(p, mean);
  }
}

// Whirl works in memory rows and columns, not the upward system: the disc's inside comes out upside
// down. Outside the disc the pixel stays; inside, the angle grows with the distance from the centre.
void whirl(const imgbuf4f& src, imgbuf4f& out) {
  if (!pixops::same_size(out, src)) return pixops::clear(out);
  const uint32_t w = out.width, h = out.height;
  const float cx = static_cast<float>(w - 1u) * 0.5f, cy = static_cast<float>(h - 1u) * 0.5f;
  const __m128 opaque = _mm_set_ps(1.0f, 0.0f, 0.0f, 0.0f);
  const __m128 rgb_mask = _mm_castsi128_ps(_mm_set_epi32(0, -1, -1, -1));
  for_row_bands(h, [&](uint32_t first, uint32_t last) {
    for (uint32_t r = first; r < last; ++r) {
      const float fr = static_cast<float>(r);
      const float dr = fr - cy, q = cy - fr;
      float* dst = pixel_at(out, 0, r);
      for (uint32_t c = 0; c < w; ++c, dst += 4) {
        float dx = static_cast<float>(c) - cx;
        float d = std::sqrt(dx * dx + dr * dr);
        const float* s;
        if (d > whirl_radius) {
          s = pixel_at(src, c, r);
        } else {
          float a = d * quarter_turn / whirl_radius;
          float c0 = std::cos(a), s0 = std::sin(a);
          int64_t row = truncate_i64(q * c0 + dx * s0 + cy);
          int64_t col = truncate_i64(dx * c0 - q * s0 + cx);
          if (row > int64_t(h) - 1) row = int64_t(h) - 1;
          if (row < 0) row = 0;
          if (col > int64_t(w) - 1) col = int64_t(w) - 1;
          if (col < 0) col = 0;
          s = pixel_at(src, static_cast<uint32_t>(col), static_cast<uint32_t>(row));
        }
        _mm_store_ps(dst, _mm_or_ps(_mm_and_ps(_mm_load_ps(s), rgb_mask), opaque));
      }
    }
  });
}

}  // namespace

void render_ImageSample(shadetree_node_t& node, const renderctx& ctx) {
  shadetree_node_t* source = node.connected(u"RGB");
  if (!source) return pixops::clear(*ctx.target_buf);
  const uint32_t mapping = limit_enum(fetch_enum(node, ctx, u"mapping", 0), 5);
  const sampling::params p = sampling::fetch_params(node, ctx, 1);
  shadetree_node_t* uv = node.connected(u"UV");
  pixops::held_input rgb(ctx, source), coords(ctx, uv);
  pixops::render_pair(ctx, rgb, coords);
  imgbuf4f& out = *ctx.target_buf;
  if (!uv) return imgbuf4f_copy_buffer_content_from(&out, &rgb.image());
  const uv_map map{extent_t(out), &coords.image(), channel_pairs[mapping][0], channel_pairs[mapping][1]};
  sampling::resample(rgb.image(), out, p, map);
}

void render_MapDistort(shadetree_node_t& node, const renderctx& ctx) {
  shadetree_node_t* source = node.connected(u"RGB-Source");
  if (!source) return pixops::clear(*ctx.target_buf);
  const float scale = clamp_float(fetch_float(node, ctx, u"scale", 1.0f), 0.0f, 1.0f);
  const uint32_t mapping = limit_enum(fetch_enum(node, ctx, u"mapping", 0), 11);
  const sampling::params p = sampling::fetch_params(node, ctx, 0);
  // An unconnected map renders as zeros: no displacement, or a shift by W for the polar mappings.
  pixops::held_input rgb(ctx, source), map(ctx, node.connected(u"RGB-Map"));
  pixops::render_pair(ctx, rgb, map);
  imgbuf4f& out = *ctx.target_buf;
  const extent_t e(out);
  if (mapping < 6) {
    const uint8_t* ch = channel_pairs[mapping];
    sampling::resample(rgb.image(), out, p, displacement_map{e, &map.image(), scale, ch[0], ch[1]});
  } else {
    sampling::resample(rgb.image(), out, p, polar_map{e, &map.image(), scale, angle_channels[mapping - 6]});
  }
}

void render_Distort(shadetree_node_t& node, const renderctx& ctx) {
  const uint32_t type = limit_enum(fetch_enum(node, ctx, u"type", 0), 15);
  // The interpolation's stored value is read under the name "interp-method", which the type does
  // not store: only a connected `interpolation` input changes it.
  const sampling::params p = sampling::fetch_params(node, ctx, 0, u"interp-method");
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& in) { warp_bodies[type](in, *ctx.target_buf, p); });
}

void render_Whirl(shadetree_node_t& node, const renderctx& ctx) {
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) { whirl(src, *ctx.target_buf); });
}

void render_ShiftDistort(shadetree_node_t& node, const renderctx& ctx) {
  const uint32_t direction = fetch_enum(node, ctx, u"direction", 0);
  const float amount = clamp_float(fetch_float(node, ctx, u"amount", 0.05f), 0.0f, 1.0f);
  pixops::with_input(node, ctx, u"RGB", [&](const imgbuf4f& in) {
    imgbuf4f& out = *ctx.target_buf;
    const float extent = static_cast<float>(direction ? out.height : out.width);
    // Rows or columns are never shifted: a non-zero shift leaves the target as it was.
    if (truncate_i64(amount * extent) == 0) imgbuf4f_copy_buffer_content_from(&out, &in);
  });
}

void render_Pixelize(shadetree_node_t& node, const renderctx& ctx) {
  shadetree_node_t* source = node.connected(u"RGB");
  if (!source) return pixops::clear(*ctx.target_buf);
  const uint32_t bw = std::min(fetch_uint(node, ctx, u"block-w", 8), 128u);
  const uint32_t bh = std::min(fetch_uint(node, ctx, u"block-h", 8), 128u);
  (void)fetch_enum(node, ctx, u"interp", 0);  // stored by the type, without effect
  // The input is rendered straight into the target, which is then worked in place.
  renderctx direct = ctx;
  direct.targetbuf_from_cache = false;
  node_render(source, &direct);
  // A block size of zero (only a connected value can give one) has no blocks: the render stops
  // with the input as it came.
  if (bw == 0 || bh == 0) return;
  imgbuf4f& img = *ctx.target_buf;
  const uint32_t nx = img.width / bw, ny = img.height / bh;
  const uint32_t rx = img.width % bw, ry = img.height % bh;
  // Block rows are independent: the last one is the bottom margin when the height leaves one.
  for_row_bands(ny + (ry ? 1u : 0u), [&](uint32_t first, uint32_t last) {
    for (uint32_t by = first; by < last; ++by) {
      const uint32_t rows = by < ny ? bh : ry;
      for (uint32_t bx = 0; bx < nx; ++bx) average_block(img, by * bh, bx * bw, bw, rows);
      if (rx) average_block(img, by * bh, nx * bw, rx, rows);
    }
  });
}

}  // namespace quorin_engine
