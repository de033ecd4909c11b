// The benchmark runner: the catalogue is loaded first, so that nodes get their types' defaults and
// the sweep can walk every node type.
#include <benchmark/benchmark.h>

#include "quorin/engine.h"
#include "render_bench.h"

int main(int argc, char** argv) {
  init();
  quorin_bench::register_catalogue_benchmarks();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  cleanup();
  return 0;
}
