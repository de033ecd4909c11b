// The stages of the decoder chain and the loaders behind them. Each takes the whole file in
// memory and never reads outside [data, data + size).
#pragma once
#include <cstdint>
#include <string>

namespace quorin_engine {

struct imgbuf4f;

// New buffer of the given size, or null when the memory for it cannot be had or its rows would
// not fit their 32-bit stride.
imgbuf4f* try_create_image(uint32_t width, uint32_t height);

// PNG. `signature_matched` tells whether the first 8 bytes were a PNG signature; if they were, a
// null result is a failed decode (its message already sent) and the chain ends there.
imgbuf4f* png_stage(const uint8_t* data, uint32_t size, bool& signature_matched);

// JPEG; only called for data that starts with the SOI marker. Null on any libjpeg error.
imgbuf4f* jpeg_stage(const uint8_t* data, uint32_t size);

// JPEG XR through libjxr's glue layer. Null for anything it cannot decode.
imgbuf4f* jxr_stage(const uint8_t* data, uint32_t size);

// DDS and TGA: null on failure, with the reason in `message`.
imgbuf4f* dds_load(const uint8_t* data, uint32_t size, std::string& message);
imgbuf4f* tga_load(const uint8_t* data, uint32_t size, std::string& message);

// Fills image row y (or height - 1 - y for bottom-to-top orientations) from one row of TGA
// pixels. orientation: 0 bottom-left origin, 1 bottom-right, 2 top-left, 3 top-right. Right to
// left rows are read from the row's last pixel backwards. pixel_format: 1 three bytes (byte 0 is
// red), 2 32-bit ARGB word, 3 16-bit 5-5-5, 4 16-bit 1-5-5-5.
void convert_image_row(imgbuf4f& image, uint32_t orientation, uint32_t pixel_format, uint32_t y,
                       const uint8_t* source_row);

}  // namespace quorin_engine
