// The blur, convolution and height map operators at 1024 by 1024 over a Turbulence image, timed apart
// from the render of their input, in megapixels per second.
#include <benchmark/benchmark.h>

#include "document/node.h"
#include "quorin/engine.h"
#include "quorin/node.h"
#include "render_bench.h"

namespace {

using quorin_engine::shadetree_node_t;

void time_operator(benchmark::State& state, uint32_t type_id, const char16_t* input,
                   std::initializer_list<std::pair<const char16_t*, const char16_t*>> params = {}) {
  static const bool ready = init() || true;  // the kernel tables
  (void)ready;
  shadetree_node_t* source = quorin_bench::make_node(14);
  shadetree_node_t* op = quorin_bench::make_node(type_id, params);
  op->input_connections[input] = source;
  quorin_bench::render_operator(state, op, 1024, 1024);
  op->input_connections.clear();
  node_delete(op);
  node_delete(source);
}

void BM_Blur_Gaussian9(benchmark::State& s) { time_operator(s, 1005, u"RGB", {{u"type", u"Gaussian"}, {u"size", u"0.09"}}); }
void BM_Blur_Gaussian49(benchmark::State& s) { time_operator(s, 1005, u"RGB", {{u"type", u"Gaussian"}, {u"size", u"0.49"}}); }
void BM_Blur_Box9(benchmark::State& s) { time_operator(s, 1005, u"RGB", {{u"type", u"Box"}, {u"size", u"0.09"}}); }
void BM_EdgeDetect(benchmark::State& s) { time_operator(s, 1010, u"RGB"); }
void BM_Dilation(benchmark::State& s) { time_operator(s, 1012, u"RGB"); }
void BM_NormalMap(benchmark::State& s) { time_operator(s, 1086, u"hmap"); }
void BM_SelectiveBlur(benchmark::State& s) { time_operator(s, 1073, u"RGB"); }

BENCHMARK(BM_Blur_Gaussian9)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Blur_Gaussian49)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Blur_Box9)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EdgeDetect)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Dilation)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NormalMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SelectiveBlur)->Unit(benchmark::kMillisecond);

}  // namespace
