// The cellular generators Voronoi and Worley: cells around 32 fixed feature points that lie in the
// 256 by 256 square at the image's top left, whatever the image size. There is no seed: the points
// come from the fixed base turbulence, so every render gives the same picture.
#pragma once
#include <array>
#include <cstdint>
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

constexpr uint32_t feature_point_count = 32;

struct feature_points_t {
  std::array<int32_t, feature_point_count> x, y;  // each 0..255
};

// Point i from base_turbulence at t = i / 16 (and t + 0.375 for y) over two octaves.
feature_points_t make_feature_points();

enum cell_distance : uint32_t { dist_euclidean = 0, dist_squared = 1, dist_manhattan = 2, dist_chebyshev = 3 };

struct cellular_params {
  float color1[4] = {0.0f, 0.0f, 0.0f, 1.0f};
  float color2[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  uint32_t dist_method = dist_euclidean;
  bool worley = false;  // Euclidean only: shade by F2 - F1 instead of the nearest point's index
};

cellular_params fetch_cellular_params(const shadetree_node_t& node, const renderctx& ctx);
void fill_cellular(const cellular_params& p, imgbuf4f& out);

void render_Voronoi(shadetree_node_t& node, const renderctx& ctx);
void render_Worley(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
