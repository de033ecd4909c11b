// init and cleanup: the catalogue from the compiled-in node type document, and the process-wide
// tables of the blur and noise families.
#include "core/lifecycle.h"

#include "catalogue/catalogue.h"
#include "core/tables.h"
#include "quorin/engine.h"

namespace quorin_engine {

bool init_with_resource(const unsigned char* data, std::size_t size) {
  if (!data || size == 0) return false;
  if (size >= 3 && data[0] == 0xef && data[1] == 0xbb && data[2] == 0xbf) {
    data += 3;
    size -= 3;
  }
  load_nodetype_specs(data, size);
  build_tables();
  return true;
}

}  // namespace quorin_engine

// The result carries no meaning for hosts; it says whether the document was found.
QUORIN_EXTERN_C QUORIN_API uint32_t init(void) {
  using namespace quorin_engine;
  return init_with_resource(nodetypespecs_resource, nodetypespecs_resource_size) ? 1 : 0;
}

// Frees the tables. The catalogue stays until the library is unloaded.
QUORIN_EXTERN_C QUORIN_API void cleanup(void) { quorin_engine::free_tables(); }
