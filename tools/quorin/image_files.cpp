#include "image_files.h"

#include <png.h>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfOutputFile.h>
#include <Imath/half.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <csetjmp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "cli.h"

namespace quorin_cli {

image_format format_for(const std::string& path, uint32_t depth) {
  std::string ext = std::filesystem::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  image_format f;
  f.exr = ext == ".exr";
  f.depth = depth ? depth : f.exr ? 16 : 8;
  if (f.exr && f.depth == 8) throw usage_error("an EXR file holds 16-bit half or 32-bit float channels, not 8-bit");
  if (!f.exr && f.depth == 32) throw usage_error("a PNG file holds 8 or 16 bits per channel; write .exr for 32-bit float");
  return f;
}

uint16_t png16_sample(float value) {
  const double scaled = value * 65535.0 + 0.5;
  // The truncation as the processor does it: out of range and NaN give the lowest integer.
  int32_t q = INT32_MIN;
  if (scaled > -2147483649.0 && scaled < 2147483648.0) q = static_cast<int32_t>(scaled);
  const uint32_t bits = static_cast<uint32_t>(q);
  return (bits & 0x10000u) ? 65535 : static_cast<uint16_t>(bits & 0xffffu);
}

namespace {

const float* pixels(const qr_imgbuf4f* image) { return imgbuf4f_buf(const_cast<qr_imgbuf4f*>(image)); }

void png_fail(png_structp png, png_const_charp text) {
  *static_cast<std::string*>(png_get_error_ptr(png)) = text ? text : "libpng error";
  std::longjmp(png_jmpbuf(png), 1);
}
void png_ignore_warning(png_structp, png_const_charp) {}

// libpng may jump out of here on a fatal error; nothing in it needs destroying on the way.
bool png16_rows(png_structp png, png_infop info, std::FILE* file, const qr_imgbuf4f* image, int channels,
                std::vector<uint8_t>& row) {
  if (setjmp(png_jmpbuf(png))) return false;
  const uint32_t width = imgbuf4f_width(image), height = imgbuf4f_height(image);
  png_init_io(png, file);
  png_set_IHDR(png, info, width, height, 16, channels == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const float* src = pixels(image);
  for (uint32_t y = 0; y < height; ++y) {
    uint8_t* dst = row.data();
    for (uint32_t x = 0; x < width; ++x, src += 4)
      for (int c = 0; c < channels; ++c, dst += 2) {  // PNG samples are big-endian
        const uint16_t v = png16_sample(src[c]);
        dst[0] = static_cast<uint8_t>(v >> 8);
        dst[1] = static_cast<uint8_t>(v & 0xff);
      }
    png_write_row(png, row.data());
  }
  png_write_end(png, info);
  return true;
}

void write_png16(const std::string& path, const qr_imgbuf4f* image, bool alpha) {
  const int channels = alpha ? 4 : 3;
  std::vector<uint8_t> row(std::size_t(imgbuf4f_width(image)) * channels * 2);
  std::string error;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, png_fail, png_ignore_warning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  std::FILE* file = info ? std::fopen(path.c_str(), "wb") : nullptr;
  const bool ok = file && png16_rows(png, info, file, image, channels, row);
  png_destroy_write_struct(&png, &info);
  const bool closed = file && std::fclose(file) == 0;
  if (!file) throw run_error("could not write " + path + ": " + (info ? "cannot create the file" : "libpng failed to start"));
  if (!ok || !closed) throw run_error("could not write " + path + ": " + (ok ? "the disk refused the data" : error));
}

// The image's floats go to the file as they are, or rounded to the nearest half.
void write_exr(const std::string& path, const qr_imgbuf4f* image, bool alpha, uint32_t depth) {
  const int width = static_cast<int>(imgbuf4f_width(image)), height = static_cast<int>(imgbuf4f_height(image));
  const std::size_t count = std::size_t(width) * std::size_t(height) * 4;
  const float* src = pixels(image);
  std::vector<half> halves;
  if (depth != 32) halves.assign(src, src + count);
  const Imf::PixelType type = depth == 32 ? Imf::FLOAT : Imf::HALF;
  const std::size_t size = depth == 32 ? sizeof(float) : sizeof(half);
  char* base = depth == 32 ? reinterpret_cast<char*>(const_cast<float*>(src)) : reinterpret_cast<char*>(halves.data());
  Imf::Header header(width, height);
  Imf::FrameBuffer frame;
  const char* names[] = {"R", "G", "B", "A"};
  for (int c = 0; c < (alpha ? 4 : 3); ++c) {
    header.channels().insert(names[c], Imf::Channel(type));
    frame.insert(names[c], Imf::Slice(type, base + c * size, 4 * size, 4 * size * std::size_t(width)));
  }
  try {
    Imf::OutputFile file(path.c_str(), header);
    file.setFrameBuffer(frame);
    file.writePixels(height);
  } catch (const std::exception& e) {
    throw run_error("could not write " + path + ": " + e.what());
  }
}

}  // namespace

void write_image(const std::string& path, const qr_imgbuf4f* image, bool alpha, image_format format) {
  if (format.exr) return write_exr(path, image, alpha, format.depth);
  if (format.depth == 16) return write_png16(path, image, alpha);
  qr_char message[512] = {0};
  engine_saveimage_png(message, 512, to_u16(std::filesystem::absolute(path).string()).c_str(), image, alpha);
  if (message[0]) throw run_error("could not write " + path + ": " + to_u8(message));
}

}  // namespace quorin_cli
