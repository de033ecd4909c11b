// The one way a render routine runs its row loop: the rows [0, count) are handed to a body in
// bands, body(first, last) with last exclusive. A routine whose rows are independent of one another
// writes its loop as such a body; the split is an implementation detail of this helper and never
// changes a result. Routines whose rows depend on earlier rows do not use it.
#pragma once
#include <cstdint>
#include <type_traits>

namespace quorin_engine {

using row_band_fn = void (*)(void* body, uint32_t first, uint32_t last);

// Runs fn over [0, count) in bands: in order on the caller's thread when the engine renders on one
// thread (the default), else spread over the threads set with engine_set_render_threads. A band
// that itself renders runs that render's bands on its own thread, so threads never multiply.
void run_row_bands(uint32_t count, row_band_fn fn, void* body);

// The number of threads a render is divided over (1 unless a host asked for more).
uint32_t row_band_threads();

template <class Body>
inline void for_row_bands(uint32_t count, Body&& body) {
  using body_t = std::remove_reference_t<Body>;
  run_row_bands(
      count, [](void* b, uint32_t first, uint32_t last) { (*static_cast<body_t*>(b))(first, last); },
      const_cast<void*>(static_cast<const void*>(&body)));
}

}  // namespace quorin_engine
