// The noise generators: SinePlasma, Turbulence, FractalSum, Marble, WoodRings, Noise, BitGlitch.
// Each routine fetches and clamps its parameters into a plain record, then fills the target from
// that record alone; the fill functions can be called directly with a record.
#pragma once
#include <cstdint>
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

struct sine_plasma_params {
  float xphase = 3.0f;  // degrees per pixel
  float yphase = 3.0f;
};

// Turbulence and FractalSum.
struct octave_noise_params {
  float size = 8.0f;
  uint32_t noise = 0;  // 0 classic, 1 simplex
  uint32_t lofreq = 1;
  uint32_t hifreq = 3;
  float lacunarity = 2.0f;
  float persistence = 0.5f;
  uint32_t mapping = 0;  // 0 scaled, 1 abs
  uint32_t interp = 0;   // 0 cubic, 1 linear, 2 cosine
  uint32_t seed = 0;
};

struct marble_params {
  float size = 16.0f;
  uint32_t octaves = 1;
  float amplitude = 1.0f;
  uint32_t direction = 0;  // 0 horizontal, 1 vertical, 2 both
  uint32_t interp = 0;
  uint32_t seed = 0;
};

struct wood_rings_params {
  uint32_t octave = 1;  // rings from the centre to the left edge
  uint32_t toctaves = 1;
  float amplitude = 0.1f;
  uint32_t interp = 0;
  uint32_t seed = 0;
};

struct value_noise_params {
  uint32_t type = 0;  // 0 classic, 1 simplex
  uint32_t mapping = 0;
  float size = 8.0f;
  uint32_t interp = 0;
  uint32_t seed = 0;
};

// Fetch with the node's inputs and parameters, clamped to the bounds the routines use.
sine_plasma_params fetch_sine_plasma_params(const shadetree_node_t& node, const renderctx& ctx);
octave_noise_params fetch_octave_noise_params(const shadetree_node_t& node, const renderctx& ctx);
marble_params fetch_marble_params(const shadetree_node_t& node, const renderctx& ctx);
wood_rings_params fetch_wood_rings_params(const shadetree_node_t& node, const renderctx& ctx);
value_noise_params fetch_value_noise_params(const shadetree_node_t& node, const renderctx& ctx);

// Fill the whole target. The records must hold clamped values.
void fill_sine_plasma(const sine_plasma_params& p, imgbuf4f& out);
void fill_turbulence(const octave_noise_params& p, imgbuf4f& out);
void fill_fractal_sum(const octave_noise_params& p, imgbuf4f& out);
void fill_marble(const marble_params& p, imgbuf4f& out);
void fill_wood_rings(const wood_rings_params& p, imgbuf4f& out);
void fill_value_noise(const value_noise_params& p, imgbuf4f& out);
void fill_bit_glitch(imgbuf4f& out);

void render_SinePlasma(shadetree_node_t& node, const renderctx& ctx);
void render_Turbulence(shadetree_node_t& node, const renderctx& ctx);
void render_FractalSum(shadetree_node_t& node, const renderctx& ctx);
void render_Marble(shadetree_node_t& node, const renderctx& ctx);
void render_WoodRings(shadetree_node_t& node, const renderctx& ctx);
void render_Noise(shadetree_node_t& node, const renderctx& ctx);
void render_BitGlitch(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
