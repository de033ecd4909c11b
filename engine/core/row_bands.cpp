// Row bands over OpenMP's worker pool. With one thread (the default) no parallel region is ever
// entered, so the runtime starts no thread and every band runs in order on the caller's thread.
#include "core/row_bands.h"

#include <omp.h>

#include <atomic>
#include <thread>

#include "quorin/engine.h"

namespace quorin_engine {
namespace {

std::atomic<uint32_t> render_threads{1};

// Rows per band: small enough that uneven rows (fractals, text) still share out, large enough that
// a band's cost dwarfs handing it out.
constexpr uint32_t bands_per_thread = 8;
constexpr uint32_t min_band_rows = 4;

}  // namespace

uint32_t row_band_threads() { return render_threads.load(std::memory_order_relaxed); }

void run_row_bands(uint32_t count, row_band_fn fn, void* body, uint32_t min_rows) {
  if (!count) return;
  uint32_t threads = row_band_threads();
  // A band that renders something itself runs that render's bands on its own thread.
  if (threads <= 1 || count < 2 * min_band_rows || omp_in_parallel()) {
    fn(body, 0, count);
    return;
  }
  // Up to bands_per_thread bands a thread, fewer where the bands would fall below their least size.
  const uint64_t least = min_rows > min_band_rows ? min_rows : min_band_rows;
  uint64_t per_thread = count / (uint64_t(threads) * least);
  if (per_thread < 1) per_thread = 1;
  if (per_thread > bands_per_thread) per_thread = bands_per_thread;
  const uint64_t band = (count + threads * per_thread - 1) / (threads * per_thread);
  const int64_t bands = static_cast<int64_t>((count + band - 1) / band);
#pragma omp parallel for num_threads(threads) schedule(dynamic, 1)
  for (int64_t b = 0; b < bands; ++b) {
    const uint64_t first = uint64_t(b) * band;
    const uint64_t last = first + band < count ? first + band : count;
    fn(body, static_cast<uint32_t>(first), static_cast<uint32_t>(last));
  }
}

}  // namespace quorin_engine

QUORIN_EXTERN_C QUORIN_API void engine_set_render_threads(uint32_t n) {
  if (n == 0) {
    n = std::thread::hardware_concurrency();
    if (n == 0) n = 1;
  }
  quorin_engine::render_threads.store(n, std::memory_order_relaxed);
}
