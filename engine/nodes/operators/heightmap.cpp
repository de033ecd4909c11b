#include "nodes/operators/heightmap.h"

#include <cmath>
#include <cstring>
#include <memory>

#include "core/row_bands.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "nodes/operators/blur.h"
#include "nodes/operators/pixel_loops.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

using namespace gen;

namespace {

struct vec3 {
  float x, y, z;
};
inline float dot(const vec3& a, const vec3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
// v times the reciprocal of its length.
inline vec3 normalise(const vec3& v) {
  const float inv = 1.0f / std::sqrt(dot(v, v));
  return {v.x * inv, v.y * inv, v.z * inv};
}

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

template <bool Ambient, bool Diffuse, bool Specular>
void lighting_body(imgbuf4f& target, const imgbuf4f& hmap, const lighting_params& p) {
  const uint32_t w = target.width, h = target.height;
  const float fx = static_cast<float>(w - 1), fy = static_cast<float>(h - 1);
  each_inner_pixel(w, h, [&](uint32_t x, uint32_t y) {
    const vec3 n = normalise({red(hmap, x - 1, y) - red(hmap, x + 1, y), red(hmap, x, y + 1) - red(hmap, x, y - 1), 2.0f});
    const vec3 pos{static_cast<float>(x) / fx, static_cast<float>(y) / fy, 0.0f};
    const vec3 l = normalise({p.light.x - pos.x, p.light.y - pos.y, p.light.z - pos.z});
    const float nl = dot(n, l);
    float sum[3] = {0.0f, 0.0f, 0.0f};
    if (Ambient)
      for (uint32_t c = 0; c < 3; ++c) sum[c] = p.ambcol[c];
    if (Diffuse) {
      const float d = (nl > 0.0f ? nl : 0.0f) * p.diffcoeff;
      for (uint32_t c = 0; c < 3; ++c) sum[c] = Ambient ? sum[c] + d * p.diffcol[c] : d * p.diffcol[c];
    }
    if (Specular && nl >= 0.0f) {
      // The viewer stands high above the image centre.
      const vec3 v = normalise({0.5f - pos.x, 0.5f - pos.y, 50.0f - pos.z});
      const float twice_nl = 2.0f * nl;
      const vec3 r{twice_nl * n.x - l.x, twice_nl * n.y - l.y, twice_nl * n.z - l.z};
      float s = dot(v, r);
      s = s > 0.0f ? s : 0.0f;
      const float s4 = s * s * s * s * p.speccoeff;
      for (uint32_t c = 0; c < 3; ++c) sum[c] = (Ambient || Diffuse) ? sum[c] + s4 * p.speccol[c] : s4 * p.speccol[c];
    }
    float* out = pixel_at(target, x, y);
    for (uint32_t c = 0; c < 3; ++c) out[c] = clamp_float(sum[c], 0.0f, 1.0f);
    out[3] = 1.0f;
  });
}

using lighting_fn = void (*)(imgbuf4f&, const imgbuf4f&, const lighting_params&);

// Indexed by ambient * 4 + diffuse * 2 + specular.
constexpr lighting_fn lighting_bodies[8] = {
    lighting_body<false, false, false>, lighting_body<false, false, true>, lighting_body<false, true, false>,
    lighting_body<false, true, true>,   lighting_body<true, false, false>,  lighting_body<true, false, true>,
    lighting_body<true, true, false>,   lighting_body<true, true, true>,
};

}  // namespace

void render_Lighting(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"hmap", [&](const imgbuf4f& input) {
    imgbuf4f_clear(&target);  // the ring of pixels stays cleared
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
    lighting_bodies[(ambient ? 4 : 0) + (diffuse ? 2 : 0) + (specular ? 1 : 0)](target, input, p);
  });
}

// ---- NormalMap -----------------------------------------------------------------------------------

void render_NormalMap(shadetree_node_t& node, const renderctx& ctx) {
  imgbuf4f& target = *ctx.target_buf;
  pixops::with_input(node, ctx, u"hmap", [&](const imgbuf4f& hmap) {
    imgbuf4f_clear(&target);  // the ring of pixels stays cleared
    const float sx = (1.0f / static_cast<float>(target.width - 1)) * 2.0f;
    const float sy = (1.0f / static_cast<float>(target.height - 1)) * 2.0f;
    each_inner_pixel(target.width, target.height, [&](uint32_t x, uint32_t y) {
      const float dx = red(hmap, x - 1, y) - red(hmap, x + 1, y);
      const float dy = red(hmap, x, y + 1) - red(hmap, x, y - 1);
      const vec3 n = normalise({-dx * sy, -dy * sx, sx * sy});
      float* out = pixel_at(target, x, y);
      out[0] = clamp_float(n.x * 0.5f + 0.5f, 0.0f, 1.0f);
      out[1] = clamp_float(n.y * 0.5f + 0.5f, 0.0f, 1.0f);
      out[2] = clamp_float(n.z * 0.5f + 0.5f, 0.0f, 1.0f);
      out[3] = 1.0f;
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

  // The normals decoded into a buffer of their own, so that the input's image stays as rendered.
  scratch_buffer_t decoded(ctx.pool);
  imgbuf4f& normals = *decoded.buffer;
  for_row_bands(h, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      const float* p = pixel_at(*nin.buffer, 0, y);
      float* q = pixel_at(normals, 0, y);
      for (uint32_t i = 0; i < w * 4; ++i) q[i] = (p[i] - 0.5f) * 2.0f;
    }
  });

  const float k = static_cast<float>(0.25 / std::atan(1.0));  // 1 / pi
  each_inner_pixel(w, h, [&](uint32_t x, uint32_t y) {
    const float c = e * red(hmap, x, y);
    const float* nc = pixel_at(normals, x, y);
    float sum = 0.0f;
    for (int dr = -1; dr <= 1; ++dr)
      for (int dx = -1; dx <= 1; ++dx) {
        if (!dx && !dr) continue;
        const uint32_t xn = x + dx, yn = y + dr;
        // Rows run down, the vector's y runs up.
        const float d[4] = {static_cast<float>(dx), static_cast<float>(-dr), e * red(hmap, xn, yn) - c, 0.0f};
        const float d2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2] + d[3] * d[3];
        const float len = std::sqrt(d2);
        const float u[4] = {d[0] / len, d[1] / len, d[2] / len, d[3] / len};
        const float* nn = pixel_at(normals, xn, yn);
        const float uc = u[0] * nc[0] + u[1] * nc[1] + u[2] * nc[2] + u[3] * nc[3];
        const float un = u[0] * nn[0] + u[1] * nn[1] + u[2] * nn[2] + u[3] * nn[3];
        sum += clamp_float(4.0f * uc, 0.0f, 1.0f) * clamp_float(un, 0.0f, 1.0f) * (1.0f / std::sqrt(1.0f + k / d2));
      }
    put_grey(pixel_at(target, x, y), 1.0f - sum / 8.0f);
  });
  const float open[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  fill_ring(target, open);
}

}  // namespace quorin_engine
