// The blur, convolution and height map operators at 1024 by 1024 over a Turbulence image with chosen
// parameters, timed apart from the render of their input on one thread, in megapixels per second.
#include <benchmark/benchmark.h>

#include "quorin/node.h"
#include "render_bench.h"

namespace {

using quorin_engine::shadetree_node_t;

void time_operator(benchmark::State& state, uint32_t type_id,
                   std::initializer_list<std::pair<const char16_t*, const char16_t*>> params = {}) {
  shadetree_node_t* source = quorin_bench::make_node(14);
  shadetree_node_t* op = quorin_bench::make_node(type_id, params);
  quorin_bench::feed_inputs(op, source, source);
  quorin_bench::render_operator(state, op, 1024, 1024);
  node_delete(op);
  node_delete(source);
}

void BM_Blur_Gaussian9(benchmark::State& s) { time_operator(s, 1005, {{u"type", u"Gaussian"}, {u"size", u"0.09"}}); }
void BM_Blur_Gaussian49(benchmark::State& s) { time_operator(s, 1005, {{u"type", u"Gaussian"}, {u"size", u"0.49"}}); }
void BM_Blur_Box9(benchmark::State& s) { time_operator(s, 1005, {{u"type", u"Box"}, {u"size", u"0.09"}}); }
void BM_EdgeDetect(benchmark::State& s) { time_operator(s, 1010); }
void BM_Dilation(benchmark::State& s) { time_operator(s, 1012); }
void BM_NormalMap(benchmark::State& s) { time_operator(s, 1086); }
void BM_SelectiveBlur(benchmark::State& s) { time_operator(s, 1073); }

BENCHMARK(BM_Blur_Gaussian9)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Blur_Gaussian49)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Blur_Box9)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EdgeDetect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Dilation)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NormalMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SelectiveBlur)->Unit(benchmark::kMillisecond);

}  // namespace
