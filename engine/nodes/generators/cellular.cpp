#include "nodes/generators/cellular.h"

#include <xmmintrin.h>

#include <cstdlib>
#include <type_traits>

#include "core/row_bands.h"
#include "document/node.h"
#include "nodes/generators/generator_common.h"
#include "nodes/generators/noise_core.h"

namespace quorin_engine {

using namespace gen;

feature_points_t make_feature_points() {
  feature_points_t fp;
  for (uint32_t i = 0; i < feature_point_count; ++i) {
    float t = static_cast<float>(i) * 0.0625f;
    fp.x[i] = static_cast<int32_t>(base_turbulence(t, t, 4.0f) * 255.0f) & 255;
    fp.y[i] = static_cast<int32_t>(base_turbulence(t + 0.375f, t + 0.375f, 4.0f) * 255.0f) & 255;
  }
  return fp;
}

cellular_params fetch_cellular_params(const shadetree_node_t& node, const renderctx& ctx) {
  cellular_params p;
  fetch_color_or(node, ctx, u"color1", p.color1);
  fetch_color_or(node, ctx, u"color2", p.color2);
  p.dist_method = limit_enum(fetch_enum(node, ctx, u"dist-method", 0), 3);
  return p;
}

namespace {

// Wrapping integer arithmetic, so that no image size makes a distance undefined.
inline int32_t wrap_mul_add(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(a) +
                              static_cast<uint32_t>(b) * static_cast<uint32_t>(b));
}

// The 32 distances of one pixel, in the type its method compares.
template <uint32_t M>
struct distances {
  using value_t = std::conditional_t<M == dist_euclidean, float, int32_t>;
  alignas(16) value_t d[feature_point_count];

  void compute(const feature_points_t& fp, const int32_t* dy, int32_t c) {
    if constexpr (M == dist_euclidean) {
      alignas(16) float sq[feature_point_count];
      for (uint32_t i = 0; i < feature_point_count; ++i)
        sq[i] = static_cast<float>(wrap_mul_add(fp.x[i] - c, dy[i]));
      for (uint32_t i = 0; i < feature_point_count; i += 4) _mm_store_ps(d + i, _mm_sqrt_ps(_mm_load_ps(sq + i)));
    } else {
      for (uint32_t i = 0; i < feature_point_count; ++i) {
        int32_t dx = fp.x[i] - c;
        if constexpr (M == dist_squared) {
          d[i] = wrap_mul_add(dx, dy[i]);
        } else {
          int32_t ax = std::abs(dx), ay = std::abs(dy[i]);
          if constexpr (M == dist_manhattan)
            d[i] = ax + ay;
          else
            d[i] = ax > ay ? ax : ay;
        }
      }
    }
  }

  // The nearest point; a tie goes to the lower index.
  uint32_t nearest() const {
    uint32_t best = 0;
    for (uint32_t i = 1; i < feature_point_count; ++i)
      if (d[i] < d[best]) best = i;
    return best;
  }

  // The second smallest minus the smallest, as after an ascending sort.
  value_t f2_minus_f1() const {
    value_t f1 = d[0] < d[1] ? d[0] : d[1], f2 = d[0] < d[1] ? d[1] : d[0];
    for (uint32_t i = 2; i < feature_point_count; ++i) {
      if (d[i] < f1) {
        f2 = f1;
        f1 = d[i];
      } else if (d[i] < f2) {
        f2 = d[i];
      }
    }
    return f2 - f1;
  }
};

inline void put_blend(float* px, const cellular_params& p, float t) {
  for (int k = 0; k < 4; ++k) px[k] = (1.0f - t) * p.color1[k] + t * p.color2[k];
}

// One body per distance method, and for Euclidean one for each shading.
template <uint32_t M, bool F2>
void cellular_rows(const cellular_params& p, const feature_points_t& fp, imgbuf4f& out, uint32_t first,
                   uint32_t last) {
  int32_t dy[feature_point_count];
  distances<M> dist;
  const int32_t width = static_cast<int32_t>(out.width);
  for (uint32_t r = first; r < last; ++r) {
    for (uint32_t i = 0; i < feature_point_count; ++i) dy[i] = fp.y[i] - static_cast<int32_t>(r);
    float* px = row_ptr(out, r);
    for (int32_t c = 0; c < width; ++c, px += 4) {
      dist.compute(fp, dy, c);
      if constexpr (F2)
        // 360.62445 is the diagonal of the 255-pixel square.
        put_blend(px, p, dist.f2_minus_f1() * 4.0f / 360.62445f);
      else
        put_blend(px, p, static_cast<float>(dist.nearest()) * 0.032258064f);
    }
  }
}

}  // namespace

void fill_cellular(const cellular_params& p, imgbuf4f& out) {
  const feature_points_t fp = make_feature_points();
  using rows_fn = void (*)(const cellular_params&, const feature_points_t&, imgbuf4f&, uint32_t, uint32_t);
  static constexpr rows_fn bodies[4] = {cellular_rows<dist_euclidean, false>, cellular_rows<dist_squared, false>,
                                        cellular_rows<dist_manhattan, false>, cellular_rows<dist_chebyshev, false>};
  const rows_fn body =
      (p.worley && p.dist_method == dist_euclidean) ? cellular_rows<dist_euclidean, true> : bodies[limit_enum(p.dist_method, 3)];
  for_row_bands(out.height, [&](uint32_t first, uint32_t last) { body(p, fp, out, first, last); });

  // Each feature point inside the image is marked white, alpha kept.
  for (uint32_t i = 0; i < feature_point_count; ++i) {
    uint32_t x = static_cast<uint32_t>(fp.x[i]), y = static_cast<uint32_t>(fp.y[i]);
    if (x >= out.width || y >= out.height) continue;
    float* px = pixel_at(out, x, y);
    px[0] = px[1] = px[2] = 1.0f;
  }
}

void render_Voronoi(shadetree_node_t& node, const renderctx& ctx) {
  fill_cellular(fetch_cellular_params(node, ctx), *ctx.target_buf);
}

void render_Worley(shadetree_node_t& node, const renderctx& ctx) {
  cellular_params p = fetch_cellular_params(node, ctx);
  p.worley = true;
  fill_cellular(p, *ctx.target_buf);
}

}  // namespace quorin_engine
