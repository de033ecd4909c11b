// The decoder chain: PNG, JPEG, JPEG XR, DDS, TGA, tried in this order.
#include "codecs/decode.h"

#include <new>
#include <string>

#include "codecs/stages.h"
#include "core/debug_output.h"
#include "core/imgbuf.h"

namespace quorin_engine {

imgbuf4f* try_create_image(uint32_t width, uint32_t height) {
  // From 2^28 pixels across the 32-bit row stride wraps and the buffer would be too small for
  // the rows a decoder writes into it.
  if (height != 0 && width > (0xffffffffu - 15u) / 16u) return nullptr;
  try {
    return imgbuf4f_create(width, height);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

imgbuf4f* decode_image(const uint8_t* data, uint32_t size) {
  if (!data || size == 0) return nullptr;

  if (size >= 8) {
    bool signature_matched = false;
    imgbuf4f* img = png_stage(data, size, signature_matched);
    if (img || signature_matched) return img;
  }

  // JPEG data start with the SOI marker; anything else goes straight on to the later stages.
  if (size >= 2 && data[0] == 0xFF && data[1] == 0xD8) {
    if (imgbuf4f* img = jpeg_stage(data, size)) return img;
  }

  if (imgbuf4f* img = jxr_stage(data, size)) return img;

  std::string message;
  if (imgbuf4f* img = dds_load(data, size, message)) return img;
  debug_output_a(("DDS image loader: " + message).c_str());

  message.clear();
  if (imgbuf4f* img = tga_load(data, size, message)) return img;
  debug_output_a(("TGA image loader: " + message).c_str());
  return nullptr;
}

}  // namespace quorin_engine
