// Process-wide tables that init builds and cleanup frees: the blur weight tables and the noise
// seed tables. Their slots are filled lazily by the blur and noise families.
#pragma once
#include <cstdint>

namespace quorin_engine {

struct blur_kernel;  // one lazily built kernel of the blur family

struct blur_weight_table {
  uint32_t head_guard = 0xfeedcafe;
  blur_kernel* slots[255] = {};
  uint32_t tail_guard = 0xcafefeed;
};

// One table per value of the blur type enum: 0 Box, 1 Gaussian, 2 Bartlett. Null before init.
extern blur_weight_table* box_weights;
extern blur_weight_table* gaussian_weights;
extern blur_weight_table* bartlett_weights;
// Frees one slot's object; defined by the blur family.
void free_blur_weights(blur_kernel* weights);

// Seed tables: 5001 slots (seeds 0 to 5000), each null or owning 256 floats made with
// new float[256]. The marker is one byte made with new uint8_t; it says that the slots were cleared.
constexpr uint32_t seed_table_slots = 5001;
extern float* seed_value_tables[seed_table_slots];
extern uint8_t* seed_tables_marker;

// Builds the three empty weight tables (box, Gaussian, Bartlett in this order), then the marker,
// and clears every seed slot.
void build_tables();
// Frees what build_tables made and what the slots own, skipping what does not exist. The pointers
// and slots are left as they are, so a second call without a new build frees twice.
void free_tables();

}  // namespace quorin_engine
