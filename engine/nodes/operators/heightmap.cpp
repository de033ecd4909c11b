#include "nodes/operators/heightmap.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "core/row_bands.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/operators/blur.h"
#include "nodes/operators/filter_simd.h"
#include "nodes/operators/pixel_loops.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

using namespace gen;

namespace {

struct vec3 {
  float x, y, z;
};

inline float red(const imgbuf4f& img, uint32_t x, uint32_t y) { return pixel_at(img, x, y)[0]; }

// Runs px(x, y) over the pixels with 1 <= x <= width-2 and 1 <= y <= height-2.
template <class Px>
void each_inner_pixel(uint32_t width, uint32_t height, Px px) {
  if (width < 3 || height < 3) return;
  for_row_bands(height - 2, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first + 1; y < last + 1; ++y)
      for (uint32_t x = 1; x + 1 < width; ++x) px(x, y);
  });
}

// One image row as planes indexed by column: plane 0 the red of the height map, then whatever else
// a routine reads (the decoded normals of AOMapCopper).
struct plane_row {
  const float* p[5];
};

// Three rows of planes, reused in turn as a band moves down; each plane has room for a vector's
// worth of lanes past the last column, kept at zero.
struct plane_rows {
  static constexpr uint32_t pad = 8;
  uint32_t planes;
  std::size_t stride;
  std::vector<float> data;
  plane_rows(uint32_t width, uint32_t planes) : planes(planes), stride(width + pad), data(3 * planes * stride, 0.0f) {}
  float* plane(uint32_t slot, uint32_t i) { return data.data() + (slot * planes + i) * stride; }
  plane_row row(uint32_t slot) {
    plane_row r{};
    for (uint32_t i = 0; i < planes; ++i) r.p[i] = plane(slot, i);
    return r;
  }
};
static_assert(plane_rows::pad >= sizeof(filter::v8) / sizeof(float), "a row's planes hold a vector past the last column");

// Runs span(y, rows) over the rows with 1 <= y <= height-2, rows holding the planes of rows y-1, y
// and y+1; load(planes, slot, y) fills a slot with image row y.
template <class Load, class Span>
void each_inner_row(uint32_t width, uint32_t height, uint32_t planes, Load load, Span span) {
  if (width < 3 || height < 3) return;
  for_row_bands(height - 2, [&](uint32_t first, uint32_t last) {
    plane_rows rows(width, planes);
    load(rows, first % 3, first);
    load(rows, (first + 1) % 3, first + 1);
    for (uint32_t y = first + 1; y < last + 1; ++y) {
      load(rows, (y + 1) % 3, y + 1);
      const plane_row three[3] = {rows.row((y - 1) % 3), rows.row(y % 3), rows.row((y + 1) % 3)};
      span(y, three);
    }
  });
}

// Loads the red of a height map row into plane 0.
struct load_heights {
  const imgbuf4f& hmap;
  void operator()(plane_rows& rows, uint32_t slot, uint32_t y) const {
    const float* p = pixel_at(hmap, 0, y);
    float* q = rows.plane(slot, 0);
    for (uint32_t x = 0; x < hmap.width; ++x) q[x] = p[4 * x];
  }
};

// Stores `count` grey or colour lanes of a span as pixels with alpha 1.0.
template <class V>
QUORIN_INLINE void store_opaque(float* out, uint32_t count, V r, V g, V b) {
  for (uint32_t i = 0; i < count; ++i, out += 4) {
    out[0] = r[i];
    out[1] = g[i];
    out[2] = b[i];
    out[3] = 1.0f;
  }
}

// Lanes that fall inside the inner pixels from column x on.
inline uint32_t inner_lanes(uint32_t x, uint32_t width, uint32_t lanes) {
  return width - 1 - x < lanes ? width - 1 - x : lanes;
}

const float transparent[4] = {0.0f, 0.0f, 0.0f, 0.0f};

// Sets the first and last rows and the first and last pixel of every row to one value.
void fill_ring(imgbuf4f& img, const float v[4]) {
  const uint32_t w = img.width, h = img.height;
  for (uint32_t x = 0; x < w && h; ++x) {
    put_color(pixel_at(img, x, 0), v);
    put_color(pixel_at(img, x, h - 1), v);
  }
  for (uint32_t y = 0; y < h && w; ++y) {
    put_color(pixel_at(img, 0, y), v);
    put_color(pixel_at(img, w - 1, y), v);
  }
}

// The uint parameters of the two copper operators: read from their text or time curve only, 0
// taken as 1, at most 10.
float fetch_level(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name) {
  uint32_t v = fetch_uint_input(node, ctx, name, nullptr, 1);
  return static_cast<float>(v == 0 ? 1 : (v > 10 ? 10 : v));
}

}  // namespace

// ---- Lighting ------------------------------------------------------------------------------------

namespace {

struct lighting_params {
  vec3 light;
  float ambcol[4] = {1, 1, 1, 1}, diffcol[4] = {1, 1, 1, 1}, speccol[4] = {1, 1, 1, 1};
  float diffcoeff, speccoeff;
};

// Normalised lanes: each times the reciprocal of the length.
template <class V>
QUORIN_INLINE void normalise_lanes(V& x, V& y, V& z) {
  const V inv = filter::splat<V>(1.0f) / filter::sqrt_lanes(x * x + y * y + z * z);
  x = x * inv;
  y = y * inv;
  z = z * inv;
}

// One row's inner pixels, a vector of neighbouring pixels at a time, each lane in the order of the
// per-pixel formula. The specular term is computed on every lane and kept where nl is not negative.
template <class V, class VI, bool Ambient, bool Diffuse, bool Specular>
QUORIN_INLINE void lighting_span_body(float* out, const plane_row rows[3], uint32_t width, uint32_t y,
                                      const lighting_params& p, float fx, float fy) {
  using namespace filter;
  constexpr uint32_t lanes = sizeof(V) / sizeof(float);
  const V zero = splat<V>(0.0f), one = splat<V>(1.0f);
  const float pos_y = static_cast<float>(y) / fy;
  for (uint32_t x = 1; x + 1 < width; x += lanes) {
    V nx = load_lanes<V>(rows[1].p[0] + x - 1) - load_lanes<V>(rows[1].p[0] + x + 1);
    V ny = load_lanes<V>(rows[2].p[0] + x) - load_lanes<V>(rows[0].p[0] + x);
    V nz = splat<V>(2.0f);
    normalise_lanes(nx, ny, nz);
    const V pos_x = __builtin_convertvector(lane_indices<VI>(static_cast<int32_t>(x)), V) / splat<V>(fx);
    V lx = splat<V>(p.light.x) - pos_x, ly = splat<V>(p.light.y - pos_y), lz = splat<V>(p.light.z - 0.0f);
    normalise_lanes(lx, ly, lz);
    const V nl = nx * lx + ny * ly + nz * lz;
    V sum[3] = {zero, zero, zero};
    if (Ambient)
      for (uint32_t c = 0; c < 3; ++c) sum[c] = splat<V>(p.ambcol[c]);
    if (Diffuse) {
      const V d = (nl > zero ? nl : zero) * splat<V>(p.diffcoeff);
      for (uint32_t c = 0; c < 3; ++c) sum[c] = Ambient ? sum[c] + d * splat<V>(p.diffcol[c]) : d * splat<V>(p.diffcol[c]);
    }
    if (Specular) {
      // The viewer stands high above the image centre.
      V vx = splat<V>(0.5f) - pos_x, vy = splat<V>(0.5f - pos_y), vz = splat<V>(50.0f - 0.0f);
      normalise_lanes(vx, vy, vz);
      const V twice_nl = splat<V>(2.0f) * nl;
      const V rx = twice_nl * nx - lx, ry = twice_nl * ny - ly, rz = twice_nl * nz - lz;
      V sp = vx * rx + vy * ry + vz * rz;
      sp = sp > zero ? sp : zero;
      const V s4 = sp * sp * sp * sp * splat<V>(p.speccoeff);
      const VI lit = nl >= zero;
      for (uint32_t c = 0; c < 3; ++c) {
        const V term = (Ambient || Diffuse) ? sum[c] + s4 * splat<V>(p.speccol[c]) : s4 * splat<V>(p.speccol[c]);
        sum[c] = lit ? term : sum[c];
      }
    }
    store_opaque(out + std::size_t(x) * 4, inner_lanes(x, width, lanes), clamp_lanes(sum[0], zero, one),
                 clamp_lanes(sum[1], zero, one), clamp_lanes(sum[2], zero, one));
  }
}

using lighting_fn = void (*)(float*, const plane_row[3], uint32_t, uint32_t, const lighting_params&, float, float);

template <bool A, bool D, bool S>
void lighting_span_base(float* out, const plane_row rows[3], uint32_t width, uint32_t y, const lighting_params& p,
                        float fx, float fy) {
  lighting_span_body<filter::v4, filter::v4i, A, D, S>(out, rows, width, y, p, fx, fy);
}
template <bool A, bool D, bool S>
QUORIN_WIDE_FLAT void lighting_span_wide(float* out, const plane_row rows[3], uint32_t width, uint32_t y,
                                         const lighting_params& p, float fx, float fy) {
  lighting_span_body<filter::v8, filter::v8i, A, D, S>(out, rows, width, y, p, fx, fy);
}

// Indexed by [wide][ambient * 4 + diffuse * 2 + specular].
constexpr lighting_fn lighting_bodies[2][8] = {
    {lighting_span_base<false, false, false>, lighting_span_base<false, false, true>,
     lighting_span_base<false, true, false>, lighting_span_base<false, true, true>,
     lighting_span_base<true, false, false>, lighting_span_base<true, false, true>,
     lighting_span_base<true, true, false>, lighting_span_base<true, true, true>},
    {lighting_span_wide<false, false, false>, lighting_span_wide<false, false, true>,
     lighting_span_wide<false, true, false>, lighting_span_wide<false, true, true>,
     lighting_span_wide<true, false, false>, lighting_span_wide<true, false, true>,
     lighting_span_wide<true, true, false>, lighting_span_wide<true, true, true>}};

}  // namespace

void render_Lighting(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"hmap", [&](const imgbuf4f& input) {
    fill_ring(target, transparent);  // the inner pixels are all written below
    lighting_params p;
    p.light = {fetch_float(node, ctx, u"lightX", 0.75f), fetch_float(node, ctx, u"lightY", 0.75f),
               fetch_float(node, ctx, u"lightZ", 2.0f)};
    // The light's colour is read and plays no part in the shading.
    float lightcol[4] = {1, 1, 1, 1};
    fetch_color_or(node, ctx, u"lightcol", lightcol);
    const bool ambient = fetch_bool_param(node, ctx, u"ambient");
    const bool diffuse = fetch_bool_param(node, ctx, u"diffuse");
    const bool specular = fetch_bool_param(node, ctx, u"specular");
    if (ambient) fetch_color_or(node, ctx, u"ambcol", p.ambcol);
    if (diffuse) fetch_color_or(node, ctx, u"diffcol", p.diffcol);
    p.diffcoeff = fetch_float(node, ctx, u"diffcoeff", 1.0f);
    if (specular) fetch_color_or(node, ctx, u"speccol", p.speccol);
    p.speccoeff = fetch_float(node, ctx, u"speccoeff", 1.0f);
    const lighting_fn span = lighting_bodies[filter::wide_vectors][(ambient ? 4 : 0) + (diffuse ? 2 : 0) + (specular ? 1 : 0)];
    const uint32_t w = target.width, h = target.height;
    const float fx = static_cast<float>(w - 1), fy = static_cast<float>(h - 1);
    each_inner_row(w, h, 1, load_heights{input}, [&](uint32_t y, const plane_row rows[3]) {
      span(pixel_at(target, 0, y), rows, w, y, p, fx, fy);
    });
  });
}

// ---- NormalMap -----------------------------------------------------------------------------------

namespace {

template <class V>
QUORIN_INLINE void normal_map_span_body(float* out, const plane_row rows[3], uint32_t width, float sx, float sy) {
  using namespace filter;
  constexpr uint32_t lanes = sizeof(V) / sizeof(float);
  const V zero = splat<V>(0.0f), one = splat<V>(1.0f), half = splat<V>(0.5f);
  for (uint32_t x = 1; x + 1 < width; x += lanes) {
    const V dx = load_lanes<V>(rows[1].p[0] + x - 1) - load_lanes<V>(rows[1].p[0] + x + 1);
    const V dy = load_lanes<V>(rows[2].p[0] + x) - load_lanes<V>(rows[0].p[0] + x);
    V nx = -dx * splat<V>(sy), ny = -dy * splat<V>(sx), nz = splat<V>(sx * sy);
    normalise_lanes(nx, ny, nz);
    store_opaque(out + std::size_t(x) * 4, inner_lanes(x, width, lanes), clamp_lanes(nx * half + half, zero, one),
                 clamp_lanes(ny * half + half, zero, one), clamp_lanes(nz * half + half, zero, one));
  }
}

void normal_map_span_base(float* out, const plane_row rows[3], uint32_t width, float sx, float sy) {
  normal_map_span_body<filter::v4>(out, rows, width, sx, sy);
}
QUORIN_WIDE_FLAT void normal_map_span_wide(float* out, const plane_row rows[3], uint32_t width, float sx, float sy) {
  normal_map_span_body<filter::v8>(out, rows, width, sx, sy);
}

}  // namespace

void render_NormalMap(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"hmap", [&](const imgbuf4f& hmap) {
    fill_ring(target, transparent);  // the inner pixels are all written below
    const float sx = (1.0f / static_cast<float>(target.width - 1)) * 2.0f;
    const float sy = (1.0f / static_cast<float>(target.height - 1)) * 2.0f;
    const auto span = filter::wide_vectors ? normal_map_span_wide : normal_map_span_base;
    each_inner_row(target.width, target.height, 1, load_heights{hmap}, [&](uint32_t y, const plane_row rows[3]) {
      span(pixel_at(target, 0, y), rows, target.width, sx, sy);
    });
  });
}

// ---- NormalMapCopper -----------------------------------------------------------------------------

void render_NormalMapCopper(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"hmap", [&](const imgbuf4f& src) {
    const float e = fetch_level(node, ctx, u"elevation");
    const float s = fetch_level(node, ctx, u"shape");
    const bool inv_src = fetch_bool_param(node, ctx, u"inv-src");
    const bool inv_x = fetch_bool_param(node, ctx, u"inv-x");
    const bool inv_y = fetch_bool_param(node, ctx, u"inv-y");
    // The blur's width is looked for as a connection named "blur-size", not as the declared scalar
    // src `size`, so a connection to `size` has no effect.
    const float blur = clamp_float(fetch_float(node, ctx, u"blur-size", 0.05f), 0.0f, 1.0f);
    const bool sharpen = fetch_bool_param(node, ctx, u"sharpen");
    const uint32_t w = target.width, h = target.height;

    // Heights: the luminance of the src, inverted on request.
    scratch_buffer_t heights(ctx.pool);
    imgbuf4f& g = *heights.buffer;
    for_row_bands(h, [&](uint32_t first, uint32_t last) {
      for (uint32_t y = first; y < last; ++y)
        for (uint32_t x = 0; x < w; ++x) {
          const float* p = pixel_at(src, x, y);
          const float l = 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2];
          put_grey(pixel_at(g, x, y), inv_src ? 1.0f - l : l);
        }
    });

    // A Sobel pair whose centre weight is `shape`, on heights scaled by `elevation`.
    each_inner_pixel(w, h, [&](uint32_t x, uint32_t y) {
      const float a = e * red(g, x - 1, y - 1), b = e * red(g, x, y - 1), c = e * red(g, x + 1, y - 1);
      const float d = e * red(g, x - 1, y), f = e * red(g, x + 1, y);
      const float g1 = e * red(g, x - 1, y + 1), k = e * red(g, x, y + 1), m = e * red(g, x + 1, y + 1);
      const float nx = s * d + a + g1 - c - s * f - m;
      const float ny = s * b + a + c - g1 - s * k - m;
      const float r = std::sqrt(ny * ny + nx * nx + 0.25f);
      float* out = pixel_at(target, x, y);
      out[0] = nx / r * 0.5f + 0.5f;
      out[1] = ny / r * 0.5f + 0.5f;
      out[2] = 0.5f / r;  // z on its own scale, not offset
      out[3] = 1.0f;
    });
    const float flat[4] = {0.5f, 0.5f, 0.5f, 1.0f};
    fill_ring(target, flat);

    const bool invert = inv_x || inv_y;
    scratch_buffer_t original(ctx.pool);
    for_row_bands(h, [&](uint32_t first, uint32_t last) {
      for (uint32_t y = first; y < last; ++y) {
        float* p = pixel_at(target, 0, y);
        if (invert)
          for (uint32_t x = 0; x < w; ++x, p += 4) {
            if (inv_x) p[0] = 1.0f - p[0];
            if (inv_y) p[1] = 1.0f - p[1];
          }
        if (sharpen) std::memcpy(pixel_at(*original.buffer, 0, y), pixel_at(target, 0, y), std::size_t(w) * 16);
      }
    });

    uint32_t n = blur_width(blur);
    if (!(n & 1u) && n) n -= 1;
    if (n >= 3) {
      // A Gaussian of this render's own, outside the process-wide cache.
      const std::unique_ptr<blur_kernel> kernel = build_blur_kernel(blur_gaussian, n);
      convolve_rows(g, target, kernel->weights4, kernel->width, kernel->norm, 0, 0, w - 1, h - 1);
      convolve_columns(target, g, kernel->weights4, kernel->width, kernel->norm, 0, 0, w - 1, h - 1);
    }
    if (sharpen) {
      for_row_bands(h, [&](uint32_t first, uint32_t last) {
        for (uint32_t y = first; y < last; ++y) {
          const float* o = pixel_at(*original.buffer, 0, y);
          float* p = pixel_at(target, 0, y);
          for (uint32_t i = 0; i < w * 4; ++i) p[i] = 2.0f * o[i] - p[i];
        }
      });
    }
  });
}

// ---- AOMapCopper ---------------------------------------------------------------------------------

namespace {

// A row of the occlusion loop's input: the height, and the normal decoded as (pixel - 0.5) * 2.0
// into planes 1 to 4.
struct load_heights_normals {
  const imgbuf4f& hmap;
  const imgbuf4f& nmap;
  void operator()(plane_rows& rows, uint32_t slot, uint32_t y) const {
    load_heights{hmap}(rows, slot, y);
    const float* np = pixel_at(nmap, 0, y);
    float* nq[4] = {rows.plane(slot, 1), rows.plane(slot, 2), rows.plane(slot, 3), rows.plane(slot, 4)};
    for (uint32_t x = 0; x < nmap.width; ++x, np += 4)
      for (uint32_t i = 0; i < 4; ++i) nq[i][x] = (np[i] - 0.5f) * 2.0f;
  }
};

// The occlusion term of the neighbour at column offset DX and row offset DR, added to sum. Each
// lane does the float operations of one pixel in the order of the formula. A component of D that is
// 0 gives 0 / len without a division: 0 for every len but a NaN, which the division passes on.
template <int DX, int DR, class V>
QUORIN_INLINE void ao_term(V& sum, const plane_row rows[3], uint32_t x, V ev, V c, const V nc[4], V kv) {
  using namespace filter;
  const V zero = splat<V>(0.0f), one = splat<V>(1.0f);
  const plane_row& r = rows[DR + 1];
  // Rows run down, the vector's y runs up.
  const V d[4] = {splat<V>(static_cast<float>(DX)), splat<V>(static_cast<float>(-DR)),
                  ev * load_lanes<V>(r.p[0] + x + DX) - c, zero};
  const V d2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2] + d[3] * d[3];
  const V len = sqrt_lanes(d2);
  const V zero_over_len = len == len ? zero : len;
  const V u[4] = {DX ? d[0] / len : zero_over_len, DR ? d[1] / len : zero_over_len, d[2] / len, zero_over_len};
  V nn[4];
  for (uint32_t i = 0; i < 4; ++i) nn[i] = load_lanes<V>(r.p[1 + i] + x + DX);
  const V uc = u[0] * nc[0] + u[1] * nc[1] + u[2] * nc[2] + u[3] * nc[3];
  const V un = u[0] * nn[0] + u[1] * nn[1] + u[2] * nn[2] + u[3] * nn[3];
  sum = sum + clamp_lanes(splat<V>(4.0f) * uc, zero, one) * clamp_lanes(un, zero, one) * (one / sqrt_lanes(one + kv / d2));
}

// The inner pixels of one row, a vector of neighbouring pixels at a time, the eight neighbours row
// by row from the top left.
template <class V>
QUORIN_INLINE void ao_span_body(float* out, const plane_row rows[3], uint32_t width, float e, float k) {
  using namespace filter;
  constexpr uint32_t lanes = sizeof(V) / sizeof(float);
  const V ev = splat<V>(e), kv = splat<V>(k);
  for (uint32_t x = 1; x + 1 < width; x += lanes) {
    const V c = ev * load_lanes<V>(rows[1].p[0] + x);
    V nc[4];
    for (uint32_t i = 0; i < 4; ++i) nc[i] = load_lanes<V>(rows[1].p[1 + i] + x);
    V sum = splat<V>(0.0f);
    ao_term<-1, -1>(sum, rows, x, ev, c, nc, kv);
    ao_term<0, -1>(sum, rows, x, ev, c, nc, kv);
    ao_term<1, -1>(sum, rows, x, ev, c, nc, kv);
    ao_term<-1, 0>(sum, rows, x, ev, c, nc, kv);
    ao_term<1, 0>(sum, rows, x, ev, c, nc, kv);
    ao_term<-1, 1>(sum, rows, x, ev, c, nc, kv);
    ao_term<0, 1>(sum, rows, x, ev, c, nc, kv);
    ao_term<1, 1>(sum, rows, x, ev, c, nc, kv);
    const V v = splat<V>(1.0f) - sum / splat<V>(8.0f);
    store_opaque(out + std::size_t(x) * 4, inner_lanes(x, width, lanes), v, v, v);
  }
}

void ao_span_base(float* out, const plane_row rows[3], uint32_t width, float e, float k) {
  ao_span_body<filter::v4>(out, rows, width, e, k);
}
QUORIN_WIDE_FLAT void ao_span_wide(float* out, const plane_row rows[3], uint32_t width, float e, float k) {
  ao_span_body<filter::v8>(out, rows, width, e, k);
}
using ao_span_fn = void (*)(float*, const plane_row[3], uint32_t, float, float);

}  // namespace

void render_AOMapCopper(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  shadetree_node_t* hmap_source = node.connected(u"hmap");
  shadetree_node_t* nmap_source = node.connected(u"nmap");
  if (!hmap_source || !nmap_source) {
    imgbuf4f_clear(&target);
    return;
  }
  const float e = fetch_level(node, ctx, u"elevation");
  input_render_buffer_t hin(ctx.pool, hmap_source, ctx.for_thumbnail);
  input_render_buffer_t nin(ctx.pool, nmap_source, ctx.for_thumbnail);
  render_two_inputs(ctx, hmap_source, hin.buffer, hin.from_cache, nmap_source, nin.buffer, nin.from_cache);
  const imgbuf4f& hmap = *hin.buffer;
  const uint32_t w = target.width, h = target.height;

  // Each band decodes the normals into rows of its own, so that the input's image stays as rendered.
  const float k = static_cast<float>(0.25 / std::atan(1.0));  // 1 / pi
  const ao_span_fn span = filter::wide_vectors ? ao_span_wide : ao_span_base;
  each_inner_row(w, h, 5, load_heights_normals{hmap, *nin.buffer},
                 [&](uint32_t y, const plane_row rows[3]) { span(pixel_at(target, 0, y), rows, w, e, k); });
  const float open[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  fill_ring(target, open);
}

}  // namespace quorin_engine
