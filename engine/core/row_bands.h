// The one way a render routine runs its row loop: the rows [0, count) are handed to a body in
// bands, body(first, last) with last exclusive. A routine whose rows are independent of one another
// writes its loop as such a body; the split is an implementation detail of this helper and never
// changes a result. Routines whose rows depend on earlier rows do not use it.
#pragma once
#include <cstdint>
#include <type_traits>

namespace quorin_engine {

using row_band_fn = void (*)(void* body, uint32_t first, uint32_t last);

// Runs fn over [0, count) in bands. Today every band runs in order on the caller's thread.
void run_row_bands(uint32_t count, row_band_fn fn, void* body);

template <class Body>
inline void for_row_bands(uint32_t count, Body&& body) {
  using body_t = std::remove_reference_t<Body>;
  run_row_bands(
      count, [](void* b, uint32_t first, uint32_t last) { (*static_cast<body_t*>(b))(first, last); },
      const_cast<void*>(static_cast<const void*>(&body)));
}

}  // namespace quorin_engine
