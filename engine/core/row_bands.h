// The one way a render routine runs its row loop: the rows [0, count) are handed to a body in
// bands, body(first, last) with last exclusive. A routine whose rows are independent of one another
// writes its loop as such a body; the split is an implementation detail of this helper and never
// changes a result. Routines whose rows depend on earlier rows do not use it.
#pragma once
#include <cstdint>
#include <type_traits>
#include <utility>

namespace quorin_engine {

using row_band_fn = void (*)(void* body, uint32_t first, uint32_t last);

// Runs fn over [0, count) in bands: in order on the caller's thread when the engine renders on one
// thread (the default), else spread over the threads set with engine_set_render_threads. A band
// that itself renders runs that render's bands on its own thread, so threads never multiply.
// A body that pays a start-up for every band (a blur refilling its window of rows) asks for bands
// of at least `min_rows` rows; the bands stay a whole multiple of the threads.
void run_row_bands(uint32_t count, row_band_fn fn, void* body, uint32_t min_rows = 0);

// The number of threads a render is divided over (1 unless a host asked for more).
uint32_t row_band_threads();

template <class Body>
inline void for_row_bands(uint32_t count, uint32_t min_rows, Body&& body) {
  using body_t = std::remove_reference_t<Body>;
  run_row_bands(
      count, [](void* b, uint32_t first, uint32_t last) { (*static_cast<body_t*>(b))(first, last); },
      const_cast<void*>(static_cast<const void*>(&body)), min_rows);
}

template <class Body>
inline void for_row_bands(uint32_t count, Body&& body) {
  for_row_bands(count, 0, std::forward<Body>(body));
}

}  // namespace quorin_engine
