// Benchmarks that walk the catalogue rather than a list of their own:
//  - Sweep/<Type>: every node type with a render routine at 1024 by 1024 on one thread, operators
//    timed over cached inputs, in megapixels per second;
//  - Threads/<Type or graph>/N: the speed-up of a divided render at 2048 by 2048 on N threads,
//    in wall-clock time; compare medians of interleaved repetitions (--benchmark_repetitions=10
//    --benchmark_enable_random_interleaving=true), as the memory-bound cases follow the machine's load.
#include <benchmark/benchmark.h>

#include <string>

#include "catalogue/catalogue.h"
#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/dispatch.h"
#include "quorin/engine.h"
#include "quorin/node.h"
#include "quorin/project.h"
#include "render_bench.h"

namespace quorin_bench {

using quorin_engine::shadetree_node_t;

namespace {

std::string narrow(const quorin_engine::wstring& w) { return std::string(w.begin(), w.end()); }

// A node of the type with its inputs fed, parameters on top of the defaults.
struct fed_node {
  shadetree_node_t* rgb = make_node(2, {{u"direction", u"2"}});
  shadetree_node_t* grey = make_node(14);
  shadetree_node_t* node;
  fed_node(uint32_t type_id, std::initializer_list<std::pair<const char16_t*, const char16_t*>> params)
      : node(make_node(type_id, params)) {
    feed_inputs(node, rgb, grey);
  }
  ~fed_node() {
    node_delete(node);
    node_delete(rgb);
    node_delete(grey);
  }
};

void sweep(benchmark::State& state, uint32_t type_id) {
  fed_node n(type_id, {});
  render_operator(state, n.node, 1024, 1024);
}

// Each speed-up case names a type and the parameters that make it the case users time.
struct thread_case {
  const char16_t* type;
  std::initializer_list<std::pair<const char16_t*, const char16_t*>> params;
};

void threaded(benchmark::State& state, const thread_case& c) {
  uint32_t id = 0;
  if (!quorin_engine::type_id_for_name(c.type, id) || !quorin_engine::find_render_routine(id)) {
    state.SkipWithError("no render routine");
    return;
  }
  engine_set_render_threads(static_cast<uint32_t>(state.range(0)));
  fed_node n(id, c.params);
  render_operator(state, n.node, 2048, 2048, 8);
  engine_set_render_threads(1);
}

// A whole graph: the first Output node of the example's first graph, everything upstream rendered.
void threaded_graph(benchmark::State& state, const char16_t* path) {
  qr_project* p = project_create();
  if (!project_read_from_file_xml(p, path)) {
    state.SkipWithError("example not readable");
    project_delete(p);
    return;
  }
  quorin_engine::graph* g = project_graph_at(p, 0);
  shadetree_node_t* out = g->nodes.empty() ? nullptr : g->nodes.back();
  for (shadetree_node_t* node : g->nodes)
    if (node->type_id == 1040) out = node;
  engine_set_render_threads(static_cast<uint32_t>(state.range(0)));
  render_node(state, out, 2048, 2048, 16);
  engine_set_render_threads(1);
  project_delete(p);
}

const thread_case thread_cases[] = {
    {u"Turbulence", {}},
    {u"Blur", {{u"type", u"1"}, {u"size", u"0.09"}}},
    {u"Rotate", {{u"angle", u"30"}}},
    {u"Blend", {}},
    {u"FractalMandelbrot", {}},
};

}  // namespace

void register_catalogue_benchmarks() {
  for (const quorin_engine::nodetype_spec_t& spec : quorin_engine::nodetype_specs()) {
    if (!quorin_engine::find_render_routine(spec.type_id)) continue;
    uint32_t id = spec.type_id;
    benchmark::RegisterBenchmark(("Sweep/" + narrow(spec.name)).c_str(),
                                 [id](benchmark::State& s) { sweep(s, id); })
        ->Unit(benchmark::kMillisecond);
  }
  for (const thread_case& c : thread_cases)
    benchmark::RegisterBenchmark(("Threads/" + narrow(c.type)).c_str(),
                                 [&c](benchmark::State& s) { threaded(s, c); })
        ->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("Threads/example:heightmap", [](benchmark::State& s) {
    threaded_graph(s, QUORIN_SOURCE_DIR u"/examples/heightmap.xml");
  })->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

}  // namespace quorin_bench
