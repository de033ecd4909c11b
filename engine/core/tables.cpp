// (Placeholder definitions; init and cleanup build and free these.)
#include "core/tables.h"

namespace quorin_engine {

blur_weight_table* box_weights = nullptr;
blur_weight_table* gaussian_weights = nullptr;
blur_weight_table* bartlett_weights = nullptr;
float* seed_value_tables[seed_table_slots] = {};
uint8_t* seed_tables_marker = nullptr;

void free_blur_weights(blur_weights*) {}

}  // namespace quorin_engine
