// The noise, gradient and pattern generators at 1024 by 1024 with default parameters, one full
// render per iteration on the calling thread, in megapixels per second.
#include <benchmark/benchmark.h>

#include "quorin/node.h"
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

}  // namespace
