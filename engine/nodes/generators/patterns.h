// The pattern generators: the power-of-two family (Checkerboard, Grid, Stairs, Stripes), Bricks,
// the fixed figures Hexagons and Octogons, and the register-driven squares of Squares and Dots.
// All work on integer pixel coordinates and write exactly one of their colours to each pixel.
#pragma once
#include <cstdint>
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

// Checkerboard, Grid, Stairs, Stripes.
struct pow2_pattern_params {
  uint32_t octave = 3;
  uint32_t direction = 0;  // Stripes: 0 horizontal, 1 vertical
  float color1[4] = {0.0f, 0.0f, 0.0f, 1.0f};
  float color2[4] = {1.0f, 1.0f, 1.0f, 1.0f};
};

struct bricks_params {
  uint32_t brick_width = 64;
  uint32_t brick_height = 25;
  uint32_t mortar_thickness = 2;
  uint32_t x_offset = 16;
  uint32_t y_offset = 16;
  float brick_color[4] = {0.50196081f, 0.14901961f, 0.14117648f, 1.0f};
  float mortar_color[4] = {0.50196081f, 0.50196081f, 0.50196081f, 1.0f};
};

struct octogons_params {
  float fill_color[4] = {0.50196081f, 0.14901961f, 0.14117648f, 1.0f};
  float border_color[4] = {0.50196081f, 0.50196081f, 0.50196081f, 1.0f};
};

struct squares_params {
  uint32_t size = 16;
  uint32_t count = 64;
  float bgcolor[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  float fgcolor[4] = {0.0f, 0.0f, 0.0f, 1.0f};
};

// Index of the highest set bit of min(width, height), -1 if that is zero.
int32_t pattern_scale_bits(uint32_t width, uint32_t height);
// (L - octave) & 31.
uint32_t pattern_shift(uint32_t width, uint32_t height, uint32_t octave);

pow2_pattern_params fetch_pow2_pattern_params(const shadetree_node_t& node, const renderctx& ctx);
bricks_params fetch_bricks_params(const shadetree_node_t& node, const renderctx& ctx);
octogons_params fetch_octogons_params(const shadetree_node_t& node, const renderctx& ctx);
squares_params fetch_squares_params(const shadetree_node_t& node, const renderctx& ctx);

void fill_checkerboard(const pow2_pattern_params& p, imgbuf4f& out);
void fill_grid(const pow2_pattern_params& p, imgbuf4f& out);
void fill_stairs(const pow2_pattern_params& p, imgbuf4f& out);
void fill_stripes(const pow2_pattern_params& p, imgbuf4f& out);
void fill_bricks(const bricks_params& p, imgbuf4f& out);
void fill_hexagons(imgbuf4f& out);
void fill_octogons(const octogons_params& p, imgbuf4f& out);
void fill_squares(const squares_params& p, imgbuf4f& out);

void render_Checkerboard(shadetree_node_t& node, const renderctx& ctx);
void render_Grid(shadetree_node_t& node, const renderctx& ctx);
void render_Stairs(shadetree_node_t& node, const renderctx& ctx);
void render_Stripes(shadetree_node_t& node, const renderctx& ctx);
void render_Bricks(shadetree_node_t& node, const renderctx& ctx);
void render_Hexagons(shadetree_node_t& node, const renderctx& ctx);
void render_Octogons(shadetree_node_t& node, const renderctx& ctx);
// Serves both Squares and Dots.
void render_Squares(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
