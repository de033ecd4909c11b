#include "nodes/generators/cellular.h"

#include <type_traits>

#include "core/row_bands.h"
#include "document/node.h"
#include "nodes/generators/generator_common.h"
#include "nodes/generators/noise_core.h"
#include "nodes/operators/filter_simd.h"

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

// Euclidean distances kept as squares converted to float: the square root is monotonic, so the
// two smallest squares give F1 and F2 by their roots alone, where no square wraps around.
constexpr uint32_t dist_euclidean_squares = 4;

// The distances of a vector of neighbouring pixels to one point, lane by lane, in the type the
// method compares: floats for Euclidean, integers otherwise. Squares wrap around as unsigned 32-bit
// numbers, so that no image size makes a distance undefined.
template <uint32_t M, class VF, class VI, class VU>
QUORIN_INLINE std::conditional_t<M == dist_euclidean || M == dist_euclidean_squares, VF, VI> lane_distances(VI dx,
                                                                                                          VI dy) {
  if constexpr (M == dist_euclidean || M == dist_euclidean_squares || M == dist_squared) {
    const VI sq = (VI)((VU)dx * (VU)dx + (VU)dy * (VU)dy);
    if constexpr (M == dist_euclidean)
      return filter::sqrt_lanes(__builtin_convertvector(sq, VF));
    else if constexpr (M == dist_euclidean_squares)
      return __builtin_convertvector(sq, VF);
    else
      return sq;
  } else {
    const VI ax = dx < 0 ? (VI)(-(VU)dx) : dx, ay = dy < 0 ? (VI)(-(VU)dy) : dy;
    if constexpr (M == dist_manhattan)
      return (VI)((VU)ax + (VU)ay);
    else
      return ax > ay ? ax : ay;
  }
}

inline void put_blend(float* px, const cellular_params& p, float t) {
  for (int k = 0; k < 4; ++k) px[k] = (1.0f - t) * p.color1[k] + t * p.color2[k];
}

// One body per distance method, and for Euclidean one for each shading. A vector holds neighbouring
// pixels of a row; each lane scans the 32 points in order as a single pixel would: the nearest point
// is replaced only on a strictly smaller distance (a tie goes to the lower index), and F1, F2 are
// kept as an ascending sort would leave them.
template <uint32_t M, bool F2, class VF, class VI, class VU>
QUORIN_INLINE void cellular_rows_body(const cellular_params& p, const feature_points_t& fp, imgbuf4f& out,
                                      uint32_t first, uint32_t last) {
  using namespace filter;
  constexpr int32_t lanes = sizeof(VF) / sizeof(float);
  const int32_t width = static_cast<int32_t>(out.width);
  VI px[feature_point_count], dy[feature_point_count];
  for (uint32_t i = 0; i < feature_point_count; ++i) px[i] = splat<VI>(fp.x[i]);
  for (uint32_t r = first; r < last; ++r) {
    for (uint32_t i = 0; i < feature_point_count; ++i) dy[i] = splat<VI>(fp.y[i] - static_cast<int32_t>(r));
    float* row = row_ptr(out, r);
    for (int32_t c = 0; c < width; c += lanes) {
      const VI columns = lane_indices<VI>(c);
      auto dist = [&](uint32_t i) { return lane_distances<M, VF, VI, VU>(px[i] - columns, dy[i]); };
      VF t;
      if constexpr (F2) {
        const VF d0 = dist(0), d1 = dist(1);
        VF f1 = d0 < d1 ? d0 : d1, f2 = d0 < d1 ? d1 : d0;
        for (uint32_t i = 2; i < feature_point_count; ++i) {
          const VF d = dist(i);
          const VI below_f1 = d < f1, below_f2 = d < f2;
          f2 = below_f1 ? f1 : (below_f2 ? d : f2);
          f1 = below_f1 ? d : f1;
        }
        if constexpr (M == dist_euclidean_squares) {
          f1 = sqrt_lanes(f1);
          f2 = sqrt_lanes(f2);
        }
        // 360.62445 is the diagonal of the 255-pixel square.
        t = (f2 - f1) * splat<VF>(4.0f) / splat<VF>(360.62445f);
      } else {
        auto best = dist(0);
        VI index = splat<VI>(0);
        for (uint32_t i = 1; i < feature_point_count; ++i) {
          const auto d = dist(i);
          const VI nearer = d < best;
          best = nearer ? d : best;
          index = nearer ? splat<VI>(static_cast<int32_t>(i)) : index;
        }
        t = __builtin_convertvector(index, VF) * splat<VF>(0.032258064f);
      }
      const int32_t count = width - c < lanes ? width - c : lanes;
      for (int32_t k = 0; k < count; ++k) put_blend(row + std::size_t(c + k) * 4, p, t[k]);
    }
  }
}

template <uint32_t M, bool F2>
void cellular_rows_base(const cellular_params& p, const feature_points_t& fp, imgbuf4f& out, uint32_t first,
                        uint32_t last) {
  cellular_rows_body<M, F2, filter::v4, filter::v4i, filter::v4u>(p, fp, out, first, last);
}
template <uint32_t M, bool F2>
QUORIN_WIDE_FLAT void cellular_rows_wide(const cellular_params& p, const feature_points_t& fp, imgbuf4f& out,
                                            uint32_t first, uint32_t last) {
  cellular_rows_body<M, F2, filter::v8, filter::v8i, filter::v8u>(p, fp, out, first, last);
}

using rows_fn = void (*)(const cellular_params&, const feature_points_t&, imgbuf4f&, uint32_t, uint32_t);
// Indexed by [wide][method], then the Worley Euclidean body of each width.
constexpr rows_fn method_bodies[2][4] = {
    {cellular_rows_base<dist_euclidean, false>, cellular_rows_base<dist_squared, false>,
     cellular_rows_base<dist_manhattan, false>, cellular_rows_base<dist_chebyshev, false>},
    {cellular_rows_wide<dist_euclidean, false>, cellular_rows_wide<dist_squared, false>,
     cellular_rows_wide<dist_manhattan, false>, cellular_rows_wide<dist_chebyshev, false>}};
// Worley's F2 - F1, indexed by [wide][squares cannot wrap].
constexpr rows_fn gap_bodies[2][2] = {
    {cellular_rows_base<dist_euclidean, true>, cellular_rows_base<dist_euclidean_squares, true>},
    {cellular_rows_wide<dist_euclidean, true>, cellular_rows_wide<dist_euclidean_squares, true>}};

// Whether every square of a distance from a pixel to a point (all points in 0..255) stays below 2^31.
bool squares_fit(const imgbuf4f& out) {
  const uint64_t dx = out.width > 256 ? out.width - 1 : 255, dy = out.height > 256 ? out.height - 1 : 255;
  return dx * dx + dy * dy < (uint64_t(1) << 31);
}

}  // namespace

void fill_cellular(const cellular_params& p, imgbuf4f& out) {
  const feature_points_t fp = make_feature_points();
  const bool wide = filter::wide_vectors;
  const rows_fn body = (p.worley && p.dist_method == dist_euclidean) ? gap_bodies[wide][squares_fit(out)]
                                                                    : method_bodies[wide][limit_enum(p.dist_method, 3)];
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
