// (Placeholder: construction and destruction only.)
#include "document/project.h"
#include "document/graph.h"

namespace quorin_engine {

project::project() = default;
project::~project() {
  for (graph* g : graphs) delete g;
}

}  // namespace quorin_engine
