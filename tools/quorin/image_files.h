// Image files the command writes: the engine's 8-bit PNG, 16-bit PNG, and OpenEXR in half or full float.
#pragma once
#include <cstdint>
#include <string>

#include "quorin/quorin.h"

namespace quorin_cli {

struct image_format {
  bool exr = false;     // by the file name's extension, ".exr" in any case; anything else is PNG
  uint32_t depth = 8;   // bits per channel: PNG 8 or 16, EXR 16 (half) or 32 (float)
};

// The format for an output name and a --depth (0 when none was given: 8 for PNG, half for EXR).
// Throws usage_error for a depth the format cannot hold.
image_format format_for(const std::string& path, uint32_t depth);

// 16-bit PNG samples follow the engine's 8-bit rule scaled to 65535: q = trunc(v * 65535 + 0.5);
// 65535 when bit 16 of q is set, else its low 16 bits. So values up to 2 saturate, small negative
// values give 65535 too, and larger values wrap around.
uint16_t png16_sample(float value);

// Writes RGB, or RGBA with `alpha`; throws run_error with the reason when the file can't be written.
void write_image(const std::string& path, const qr_imgbuf4f* image, bool alpha, image_format format);

}  // namespace quorin_cli
