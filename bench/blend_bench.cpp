// Per-pixel operators at 1024 by 1024, timed apart from their inputs, whose images wait in the
// pool's cache: Blend in one mode of each group of modes, ChannelCorrection, ChannelCurves and
// ColorMap. One thread; megapixels per second.
#include <benchmark/benchmark.h>

#include "document/curve.h"
#include "document/node.h"
#include "quorin/node.h"
#include "render_bench.h"

namespace {

using quorin_engine::shadetree_node_t;
using params_list = std::initializer_list<std::pair<const char16_t*, const char16_t*>>;

// Times `type` with its image inputs fed by a colour gradient (first) and marble (second).
void time_operator(benchmark::State& state, uint32_t type, params_list params,
                   void (*prepare)(shadetree_node_t*) = nullptr) {
  shadetree_node_t* gradient = quorin_bench::make_node(2, {{u"direction", u"both"}});
  shadetree_node_t* marble = quorin_bench::make_node(16);
  shadetree_node_t* op = quorin_bench::make_node(type, params);
  if (prepare) prepare(op);
  quorin_bench::feed_inputs(op, gradient, marble);
  if (type == 1023) node_set_output_for_input_keyed(op, u"RGB-2", marble);
  quorin_bench::render_operator(state, op, 1024, 1024);
  node_delete(op);
  node_delete(marble);
  node_delete(gradient);
}

#define BLEND_BENCH(mode)                                                                      \
  void BM_Blend_##mode(benchmark::State& state) { time_operator(state, 1023, {{u"mode", u## #mode}}); } \
  BENCHMARK(BM_Blend_##mode)->Unit(benchmark::kMillisecond)

BLEND_BENCH(Normal);
BLEND_BENCH(Multiply);
BLEND_BENCH(Overlay);
BLEND_BENCH(Darken);
BLEND_BENCH(Dodge);
BLEND_BENCH(SoftLight);
BLEND_BENCH(Addition);
BLEND_BENCH(Divide);
BLEND_BENCH(PinLight);
BLEND_BENCH(Hue);
BLEND_BENCH(Luminance);

void BM_ChannelCorrection_Gamma(benchmark::State& state) {
  time_operator(state, 1055, {{u"Type", u"Gamma"}, {u"Gamma", u"2.2"}, {u"Lo thrsh", u"0.1"}, {u"Hi thrsh", u"0.9"}});
}
BENCHMARK(BM_ChannelCorrection_Gamma)->Unit(benchmark::kMillisecond);

void BM_ChannelCurves_All(benchmark::State& state) {
  time_operator(state, 1054, {{u"channel", u"All"}}, [](shadetree_node_t* op) {
    quorin_engine::curve c;
    quorin_engine::curve_item first, second;
    first.points[1][0] = 0.5f;
    first.points[1][1] = 0.8f;
    second.points[0][0] = 0.5f;
    second.points[0][1] = 0.8f;
    c.items = {first, second};
    op->param_curves[u"all"] = c;
  });
}
BENCHMARK(BM_ChannelCurves_All)->Unit(benchmark::kMillisecond);

void BM_ColorMap_ThreePoints(benchmark::State& state) {
  time_operator(state, 1037, {{u"point-count", u"3"}, {u"upper0", u"0.3"}, {u"upper1", u"0.6"}, {u"type1", u"spline (cubic)"},
                              {u"color0", u"(0.2,0.1,0.0)"}, {u"color1", u"(0.8,0.5,0.2)"}, {u"color2", u"(1.0,1.0,0.9)"}});
}
BENCHMARK(BM_ColorMap_ThreePoints)->Unit(benchmark::kMillisecond);

}  // namespace
