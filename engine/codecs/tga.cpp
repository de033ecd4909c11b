// TGA loader: uncompressed true-colour files of 15, 16, 24 and 32 bits, in all four orientations.
#include <string>

#include "codecs/stages.h"
#include "core/imgbuf.h"

namespace quorin_engine {

namespace {

inline float scaled(uint32_t v, double max) { return static_cast<float>(v / max); }

uint32_t bytes_per_pixel(uint32_t pixel_format) {
  switch (pixel_format) {
    case 1:
      return 3;
    case 2:
      return 4;
    default:
      return 2;
  }
}

void convert_pixel(float* d, uint32_t pixel_format, const uint8_t* s) {
  switch (pixel_format) {
    case 1:
      // Byte 0 goes to red: 24-bit files, stored blue first, come out with red and blue exchanged.
      d[0] = scaled(s[0], 255.0);
      d[1] = scaled(s[1], 255.0);
      d[2] = scaled(s[2], 255.0);
      d[3] = 1.0f;
      break;
    case 2: {
      const uint32_t v = uint32_t(s[0]) | uint32_t(s[1]) << 8 | uint32_t(s[2]) << 16 | uint32_t(s[3]) << 24;
      d[0] = scaled((v >> 16) & 0xff, 255.0);
      d[1] = scaled((v >> 8) & 0xff, 255.0);
      d[2] = scaled(v & 0xff, 255.0);
      d[3] = scaled(v >> 24, 255.0);
      break;
    }
    default: {
      const uint32_t v = uint32_t(s[0]) | uint32_t(s[1]) << 8;
      d[0] = scaled((v >> 10) & 0x1f, 31.0);
      d[1] = scaled((v >> 5) & 0x1f, 31.0);
      d[2] = scaled(v & 0x1f, 31.0);
      d[3] = pixel_format == 4 ? static_cast<float>(v >> 15) : 1.0f;
      break;
    }
  }
}

}  // namespace

void convert_image_row(imgbuf4f& image, uint32_t orientation, uint32_t pixel_format, uint32_t y,
                       const uint8_t* source_row) {
  const uint32_t width = image.width;
  const uint32_t row = orientation <= 1 ? image.height - 1 - y : y;
  const bool right_to_left = orientation == 1 || orientation == 3;
  const uint32_t bpp = bytes_per_pixel(pixel_format);
  float* d = pixel_at(image, 0, row);
  for (uint32_t x = 0; x < width; ++x, d += 4) {
    const uint32_t source_x = right_to_left ? width - 1 - x : x;
    convert_pixel(d, pixel_format, source_row + std::size_t(source_x) * bpp);
  }
}

imgbuf4f* tga_load(const uint8_t* data, uint32_t size, std::string& message) {
  if (size < 18) {
    message = "File too small.";
    return nullptr;
  }
  if (data[1] != 0) {
    message = "Files with colormaps (palettes) are not supported.";
    return nullptr;
  }
  if (data[2] != 2) {
    message = "Only uncompressed truecolor files supported.";
    return nullptr;
  }
  const uint32_t depth = data[16];
  const uint32_t attribute_bits = data[17] & 0xf;
  uint32_t pixel_format = 0;
  if ((depth == 15 || depth == 16) && attribute_bits == 0)
    pixel_format = 3;
  else if (depth == 16 && attribute_bits == 1)
    pixel_format = 4;
  else if (depth == 24 && attribute_bits == 0)
    pixel_format = 1;
  else if (depth == 32 && attribute_bits == 8)
    pixel_format = 2;
  else {
    message = "Unsupported pixel format.";
    return nullptr;
  }

  const uint32_t width = uint32_t(data[12]) | uint32_t(data[13]) << 8;
  const uint32_t height = uint32_t(data[14]) | uint32_t(data[15]) << 8;
  const uint32_t offset = 18u + data[0];
  const uint64_t row_bytes = uint64_t(width) * bytes_per_pixel(pixel_format);
  if (offset > size || row_bytes * height > size - offset) {
    message = "Image data truncated.";
    return nullptr;
  }

  imgbuf4f* image = try_create_image(width, height);
  if (!image) {
    message = "Not enough memory.";
    return nullptr;
  }
  const uint32_t orientation = (data[17] >> 4) & 3;
  for (uint32_t y = 0; y < height; ++y)
    convert_image_row(*image, orientation, pixel_format, y, data + offset + y * row_bytes);
  return image;
}

}  // namespace quorin_engine
