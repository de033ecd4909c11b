// The colour parser over arbitrary bytes.
#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quorin_fuzz::color(data, size);
  return 0;
}
