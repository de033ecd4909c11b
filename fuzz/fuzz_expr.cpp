// The expression parser and evaluator over arbitrary bytes.
#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quorin_fuzz::expr(data, size);
  return 0;
}
