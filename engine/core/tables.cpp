// The process-wide blur weight tables and noise seed tables.
#include "core/tables.h"

#include "nodes/operators/blur.h"

namespace quorin_engine {

blur_weight_table* box_weights = nullptr;
blur_weight_table* gaussian_weights = nullptr;
blur_weight_table* bartlett_weights = nullptr;
float* seed_value_tables[seed_table_slots] = {};
uint8_t* seed_tables_marker = nullptr;

void free_blur_weights(blur_kernel* weights) { delete weights; }

void build_tables() {
  box_weights = new blur_weight_table;
  gaussian_weights = new blur_weight_table;
  bartlett_weights = new blur_weight_table;
  seed_tables_marker = new uint8_t;
  for (float*& slot : seed_value_tables) slot = nullptr;
}

namespace {

void free_weight_table(blur_weight_table* table) {
  if (!table) return;
  for (blur_kernel* w : table->slots)
    if (w) free_blur_weights(w);
  delete table;
}

}  // namespace

void free_tables() {
  free_weight_table(box_weights);
  free_weight_table(gaussian_weights);
  free_weight_table(bartlett_weights);
  if (seed_tables_marker) {
    for (float* table : seed_value_tables) delete[] table;
    delete seed_tables_marker;
  }
}

}  // namespace quorin_engine
