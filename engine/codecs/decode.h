// The one image decoder: the bytes of an image file in memory to a new buffer, or null.
#pragma once
#include <cstdint>

namespace quorin_engine {

struct imgbuf4f;

// PNG, then JPEG, then JPEG XR, then DDS, then TGA. Messages go to the debug output.
imgbuf4f* decode_image(const uint8_t* data, uint32_t size);

}  // namespace quorin_engine
