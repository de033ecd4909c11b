// The fractal generators: FractalMandelbrot and FractalJulia iterate z = z^2 + c over a window of
// the plane (so a smaller render shows the same window), FractalLyapunov draws the exponent of the
// logistic map. All arithmetic is in double precision; the grey result goes to red, green, blue.
#pragma once
#include <cstdint>
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

struct fractal_params {
  double xmin = -2.0, ymin = -2.0, xmax = 2.0, ymax = 2.0;
  uint32_t maxiters = 64;
  uint32_t supersampling = 0;  // 0 off, 1 2x2, 2 4x4
  bool julia = false;          // start at the sample's point with c = (cx, cy)
  double cx = -0.75, cy = -0.2;
};

// The window edges and maxiters; FractalJulia also reads its constant and, for every edge with an
// enabled time curve, blends the edge towards its "...2" counterpart by the curve's value.
fractal_params fetch_mandelbrot_params(const shadetree_node_t& node, const renderctx& ctx);
fractal_params fetch_julia_params(const shadetree_node_t& node, const renderctx& ctx);

void fill_quadratic_fractal(const fractal_params& p, imgbuf4f& out);
void fill_lyapunov(imgbuf4f& out);

void render_FractalMandelbrot(shadetree_node_t& node, const renderctx& ctx);
void render_FractalJulia(shadetree_node_t& node, const renderctx& ctx);
void render_FractalLyapunov(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
