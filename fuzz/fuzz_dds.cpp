// The DDS loader alone over arbitrary bytes.
#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quorin_fuzz::dds(data, size);
  return 0;
}
