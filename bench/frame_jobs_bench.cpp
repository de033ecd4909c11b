// Animation frames through the quorin command, in one process and in worker processes: eight
// frames of examples/animation.xml at 512 by 512, wall-clock time per run. The speed-up of N jobs
// is the one-job time over the N-job time. Processes of one session share one scheduling group, so
// on a machine busy with other work the workers only show their speed-up when the benchmark runs
// in a session of its own with a raised group priority:
//   setsid sh -c 'echo -20 > /proc/self/autogroup; build/quorin_bench --benchmark_filter=FrameJobs'
// (as root).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

void BM_FrameJobs(benchmark::State& state) {
  const std::filesystem::path out = std::filesystem::temp_directory_path() / "quorin_frame_jobs_bench";
  std::filesystem::create_directories(out);
  const std::string line = QUORIN_BINARY_DIR "/bin/quorin render " QUORIN_SOURCE_DIR
                           "/examples/animation.xml --size 512x512 --frames 0-7 --jobs " +
                           std::to_string(state.range(0)) + " -o " + (out / "f-#.png").string();
  for (auto _ : state)
    if (std::system(line.c_str()) != 0) state.SkipWithError("the command failed");
  state.counters["frames/s"] = benchmark::Counter(8.0 * double(state.iterations()), benchmark::Counter::kIsRate);
  std::filesystem::remove_all(out);
}
BENCHMARK(BM_FrameJobs)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
