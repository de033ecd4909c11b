// PNG output: an image as an 8-bit RGB or RGBA file.
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "codecs/png_common.h"
#include "core/imgbuf.h"
#include "core/text.h"
#include "quorin/engine.h"

namespace quorin_engine {

// One channel value to a byte: q = trunc(v * 255 + 0.5); bit 8 of q set gives 255, otherwise the
// low eight bits. Values up to 511/255 saturate at 255, small negative values give 255 too, and
// from about 2.0 upwards the byte wraps around.
uint8_t png_output_byte(float value) {
  const double scaled = value * 255.0 + 0.5;
  // The truncation as the processor does it: out of range and NaN give the lowest integer.
  int32_t q = INT32_MIN;
  if (scaled > -2147483649.0 && scaled < 2147483648.0) q = static_cast<int32_t>(scaled);
  const uint32_t bits = static_cast<uint32_t>(q);
  return (bits & 0x100u) ? 255 : static_cast<uint8_t>(bits & 0xffu);
}

namespace {

void write_to_file(png_structp png, png_bytep bytes, size_t length) {
  if (!bytes || length == 0) return;
  std::fwrite(bytes, 1, length, static_cast<std::FILE*>(png_get_io_ptr(png)));
}

void flush_nothing(png_structp) {}

struct png_write_state {
  png_structp png = nullptr;
  png_infop info = nullptr;
  std::FILE* file = nullptr;
  uint8_t* row = nullptr;
  const imgbuf4f* image = nullptr;
  int channels = 3;
};

// The part of the write that libpng may jump out of (on one of its fatal errors).
bool run_png_write(png_write_state* st) {
  if (setjmp(png_jmpbuf(st->png))) return false;

  png_set_write_fn(st->png, st->file, write_to_file, flush_nothing);
  png_set_IHDR(st->png, st->info, st->image->width, st->image->height, 8,
               st->channels == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(st->png, st->info);

  const uint32_t width = st->image->width;
  for (uint32_t y = 0; y < st->image->height; ++y) {
    const float* src = pixel_at(*st->image, 0, y);
    uint8_t* dst = st->row;
    for (uint32_t x = 0; x < width; ++x, src += 4)
      for (int c = 0; c < st->channels; ++c) *dst++ = png_output_byte(src[c]);
    png_bytep rows[1] = {st->row};
    png_write_rows(st->png, rows, 1);
  }
  png_write_end(st->png, st->info);
  return true;
}

// The last fatal libpng message of a write, for the caller's message buffer.
thread_local std::string last_write_error;

[[noreturn]] void write_error_callback(png_structp png, png_const_charp text) {
  last_write_error = text ? text : "";
  png_error_callback(png, text);
}

}  // namespace

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API void engine_saveimage_png(qr_char* msg, int32_t msg_cap, const qr_char* path,
                                                     const imgbuf4f* image, uint32_t with_alpha) {
  png_write_state st;
  st.image = image;
  st.channels = with_alpha ? 4 : 3;
  const std::size_t row_bytes = (std::size_t(st.channels) * image->width + 3) & ~std::size_t(3);
  st.row = static_cast<uint8_t*>(std::malloc(row_bytes ? row_bytes : 4));
  if (!st.row) throw std::bad_alloc();

  st.png = png_create_write_struct(libpng_version_named, nullptr, write_error_callback,
                                   png_warning_callback);
  if (!st.png) {
    std::free(st.row);
    copy_out(from_ascii("png_create_write_struct() failed"), msg, msg_cap);
    return;
  }
  st.info = png_create_info_struct(st.png);
  if (!st.info) {
    png_destroy_write_struct(&st.png, nullptr);
    std::free(st.row);
    copy_out(from_ascii("png_create_info_struct() failed"), msg, msg_cap);
    return;
  }
  const std::string file_name = to_utf8(from_caller(path));
  st.file = std::fopen(file_name.c_str(), "wb");
  if (!st.file) {
    png_destroy_write_struct(&st.png, &st.info);
    std::free(st.row);
    copy_out(from_ascii("Could not open output file."), msg, msg_cap);
    return;
  }

  last_write_error.clear();
  const bool ok = run_png_write(&st);
  png_destroy_write_struct(&st.png, &st.info);
  std::fclose(st.file);
  std::free(st.row);
  if (!ok) {
    // A fatal libpng error (an image libpng refuses, such as one of width 0): no usable file.
    std::remove(file_name.c_str());
    copy_out(from_ascii(("pnglib error: " + last_write_error).c_str()), msg, msg_cap);
    return;
  }
  copy_out(wstring(), msg, msg_cap);
}
