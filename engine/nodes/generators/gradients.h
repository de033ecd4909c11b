// The gradient generators: Gradient, CircGradient, RadialSine. Positions are fractions of the
// image, so a render at another size shows the same picture, scaled.
#pragma once
#include <cstdint>
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

struct gradient_axis_params {
  float start = 0.0f;
  float end = 1.0f;
  float mincolor[4] = {0.0f, 0.0f, 0.0f, 1.0f};
  float maxcolor[4] = {1.0f, 0.0f, 0.0f, 1.0f};
  uint32_t interp = 0;  // 0 linear, 1 bi-linear, 2 spline (cubic), 3 spline (5th deg.)
};

struct gradient_params {
  uint32_t direction = 0;  // 0 horizontal, 1 vertical, 2 both
  uint32_t repeat = 0;     // 0 none (clear), 1 none (fill), 2 min->max->min, 3 min->max,min->max
  gradient_axis_params horz;
  gradient_axis_params vert;
};

struct circ_gradient_params {
  float radius = 0.5f;
  uint32_t supersampling = 0;  // 0 off, 1 2x2, 2 4x4
  uint32_t mode = 0;           // 0 normal, 1 inverse
};

struct radial_sine_params {
  float octave = 1.0f;
};

gradient_params fetch_gradient_params(const shadetree_node_t& node, const renderctx& ctx);
circ_gradient_params fetch_circ_gradient_params(const shadetree_node_t& node, const renderctx& ctx);
radial_sine_params fetch_radial_sine_params(const shadetree_node_t& node, const renderctx& ctx);

// The colour of one position on one gradient axis of n positions.
void gradient_axis_color(const gradient_axis_params& axis, uint32_t repeat, uint32_t n, uint32_t index,
                         float out[4]);

void fill_gradient(const gradient_params& p, imgbuf4f& out);
void fill_circ_gradient(const circ_gradient_params& p, imgbuf4f& out);
void fill_radial_sine(const radial_sine_params& p, imgbuf4f& out);

void render_Gradient(shadetree_node_t& node, const renderctx& ctx);
void render_CircGradient(shadetree_node_t& node, const renderctx& ctx);
void render_RadialSine(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
