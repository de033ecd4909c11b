// The node type document loader over arbitrary bytes, into an emptied catalogue.
#include "catalogue/catalogue.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quorin_engine;
  nodetype_specs().clear();
  generator_categories().clear();
  operator_categories().clear();
  load_nodetype_specs(data, size);
  return 0;
}
