// Bringing the engine up and down.
#pragma once
#include <cstddef>

namespace quorin_engine {

// The steps of init on the given document bytes: a null or empty document stops at once and
// builds nothing; otherwise a leading byte order mark is stepped over, the loader appends to the
// catalogue, and the weight and seed tables are built. False if the document was missing.
bool init_with_resource(const unsigned char* data, std::size_t size);

}  // namespace quorin_engine
