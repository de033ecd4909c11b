// Generators at 1024 by 1024 with default parameters, one render per iteration, on the calling
// thread. Reports megapixels per second.
#include <benchmark/benchmark.h>

#include "core/imgbuf.h"
#include "core/pool.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "nodes/generators/gradients.h"
#include "nodes/generators/noise.h"
#include "nodes/generators/patterns.h"

namespace {

using namespace quorin_engine;
using routine_fn = void (*)(shadetree_node_t&, const renderctx&);

void render_generator(benchmark::State& state, uint32_t type_id, routine_fn routine) {
  const uint32_t size = 1024;
  shadetree_node_t node(type_id);
  renderbuffer_pool_t pool(size, size, 0);
  imgbuf4f* target = imgbuf4f_create(size, size);
  renderctx ctx{};
  ctx.target_buf = target;
  ctx.pool = &pool;
  for (auto _ : state) {
    routine(node, ctx);
    benchmark::DoNotOptimize(target->pixels[0]);
    benchmark::ClobberMemory();
  }
  state.counters["Mpix/s"] = benchmark::Counter(double(size) * size * double(state.iterations()) / 1e6,
                                                benchmark::Counter::kIsRate);
  imgbuf4f_delete(target);
}

#define GENERATOR_BENCH(name, id)                                                          \
  void BM_##name(benchmark::State& state) { render_generator(state, id, render_##name); } \
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

}  // namespace
