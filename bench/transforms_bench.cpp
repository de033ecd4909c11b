// Transform and distortion operators at 1024 by 1024 on one thread, each timed over an input that
// is already rendered, in megapixels per second.
#include <benchmark/benchmark.h>

#include <initializer_list>
#include <utility>

#include "quorin/node.h"
#include "render_bench.h"

namespace {

using params_list = std::initializer_list<std::pair<const char16_t*, const char16_t*>>;

void render_sampled(benchmark::State& state, uint32_t type_id, params_list params) {
  quorin_engine::shadetree_node_t* source = quorin_bench::make_node(2, {{u"direction", u"2"}});
  quorin_engine::shadetree_node_t* map = quorin_bench::make_node(14);
  quorin_engine::shadetree_node_t* op = quorin_bench::make_node(type_id, params);
  quorin_bench::feed_inputs(op, source, map);
  // MapDistort reads its map from an RGB input: a turbulence for a displacement everywhere.
  node_set_output_for_input_keyed(op, u"RGB-Map", map);
  quorin_bench::render_operator(state, op, 1024, 1024);
  node_delete(op);
  node_delete(map);
  node_delete(source);
}

void BM_Rotate30Bilinear(benchmark::State& state) { render_sampled(state, 1019, {{u"angle", u"30"}}); }
void BM_Rotate30Nearest(benchmark::State& state) {
  render_sampled(state, 1019, {{u"angle", u"30"}, {u"interpolation", u"None"}});
}
void BM_Scale(benchmark::State& state) {
  render_sampled(state, 1020, {{u"scale-x", u"0.75"}, {u"scale-y", u"1.5"}});
}
void BM_DistortSwirl(benchmark::State& state) {
  render_sampled(state, 1039, {{u"type", u"Swirl"}, {u"border-mode", u"mirror"}, {u"mode-direction", u"X and Y"}});
}
void BM_MapDistort(benchmark::State& state) {
  render_sampled(state, 1008, {{u"scale", u"0.1"}, {u"interpolation", u"Bilinear"}});
}

BENCHMARK(BM_Rotate30Bilinear)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rotate30Nearest)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Scale)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DistortSwirl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapDistort)->Unit(benchmark::kMillisecond);

}  // namespace
