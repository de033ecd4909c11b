#include "core/row_bands.h"

namespace quorin_engine {

void run_row_bands(uint32_t count, row_band_fn fn, void* body) {
  if (count) fn(body, 0, count);
}

}  // namespace quorin_engine
