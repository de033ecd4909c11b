// The project reader over arbitrary bytes, with the round trip through the writer.
#include "readers.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  init();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quorin_fuzz::project(data, size);
  return 0;
}
