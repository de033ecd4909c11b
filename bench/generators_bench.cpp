// The generators at 1024 by 1024 with default parameters, one full
// render per iteration on the calling thread, in megapixels per second.
#include <benchmark/benchmark.h>

#include "quorin/asset.h"
#include "quorin/imgbuf4f.h"
#include "quorin/node.h"
#include "quorin/project.h"
#include "render_bench.h"

namespace {

void render_generator(benchmark::State& state, uint32_t type_id) {
  quorin_engine::shadetree_node_t* node = quorin_bench::make_node(type_id);
  quorin_bench::render_node(state, node, 1024, 1024);
  node_delete(node);
}

#define GENERATOR_BENCH(name, id)                                                  \
  void BM_##name(benchmark::State& state) { render_generator(state, id); } \
  BENCHMARK(BM_##name)->Unit(benchmark::kMillisecond)

GENERATOR_BENCH(SinePlasma, 1);
GENERATOR_BENCH(Turbulence, 14);
GENERATOR_BENCH(FractalSum, 15);
GENERATOR_BENCH(Marble, 16);
GENERATOR_BENCH(WoodRings, 27);
GENERATOR_BENCH(Noise, 33);
GENERATOR_BENCH(BitGlitch, 34);
GENERATOR_BENCH(Gradient, 2);
GENERATOR_BENCH(CircGradient, 3);
GENERATOR_BENCH(RadialSine, 23);
GENERATOR_BENCH(Checkerboard, 4);
GENERATOR_BENCH(Grid, 5);
GENERATOR_BENCH(Stairs, 6);
GENERATOR_BENCH(Stripes, 10);
GENERATOR_BENCH(Bricks, 7);
GENERATOR_BENCH(Hexagons, 8);
GENERATOR_BENCH(Octogons, 9);
GENERATOR_BENCH(Squares, 13);
GENERATOR_BENCH(Dots, 20);

// FractalMandelbrot, FractalLyapunov and Voronoi with their defaults are timed by the catalogue
// sweep (Sweep/<Type>); what follows are the variants the sweep does not reach.

void BM_Worley(benchmark::State& state, const char16_t* method) {
  quorin_engine::shadetree_node_t* node = quorin_bench::make_node(19, {{u"dist-method", method}});
  quorin_bench::render_node(state, node, 1024, 1024);
  node_delete(node);
}
BENCHMARK_CAPTURE(BM_Worley, Euclidean, u"Euclidean")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Worley, SquaredEuclidean, u"Squared Euclidean")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Worley, Manhattan, u"Manhattan")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Worley, Chebyshev, u"Chebyshev")->Unit(benchmark::kMillisecond);

// Centred text at 24 points; the time is mostly the conversion of the bitmap.
void BM_Text(benchmark::State& state) {
  quorin_engine::shadetree_node_t* node =
      quorin_bench::make_node(32, {{u"text", u"Quorin engine"}, {u"align-x", u"center"}, {u"align-y", u"center"}});
  quorin_bench::render_node(state, node, 1024, 1024);
  node_delete(node);
}
BENCHMARK(BM_Text)->Unit(benchmark::kMillisecond);

// A 300 by 200 asset resampled bilinearly onto the target.
void BM_LoadAsset_Resample(benchmark::State& state) {
  qr_project* project = project_create();
  qr_imgbuf4f* image = imgbuf4f_create(300, 200);
  float* px = imgbuf4f_buf(image);
  for (uint32_t i = 0; i < 300u * 200u * 4u; ++i) px[i] = static_cast<float>(i % 251u) / 250.0f;
  qr_asset* a = asset_create();
  asset_set_imgbuf(a, image);
  assets_add(project_assets(project), a, 1);
  quorin_engine::shadetree_node_t* node = quorin_bench::make_node(29, {{u"mode", u"resample"}});
  quorin_bench::render_node(state, node, 1024, 1024, 8, project);
  node_delete(node);
  project_delete(project);
}
BENCHMARK(BM_LoadAsset_Resample)->Unit(benchmark::kMillisecond);

}  // namespace
