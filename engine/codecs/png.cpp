// PNG decoding through libpng, from memory. libpng reports fatal errors through the error callback,
// which jumps back to the decode with setjmp/longjmp: the decode then fails with a null image.
#include <png.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <string>

#include "codecs/png_common.h"
#include "codecs/stages.h"
#include "core/debug_output.h"
#include "core/imgbuf.h"

namespace quorin_engine {

namespace {

void send_libpng_text(const char* prefix, const char* text) {
  std::string line = prefix;
  line += text ? text : "";
  debug_output_a(line.c_str());
}

struct png_source {
  const uint8_t* data;
  uint32_t size;
  uint32_t pos;
};

// Everything the decode allocates lives here, outside the frame that calls setjmp, so that a jump
// back from libpng finds it intact and can free it.
struct png_decode_state {
  png_structp png = nullptr;
  png_infop info = nullptr;
  imgbuf4f* image = nullptr;
  uint8_t* row = nullptr;
  png_source source{};
};

void read_from_memory(png_structp png, png_bytep out, size_t length) {
  auto* src = static_cast<png_source*>(png_get_io_ptr(png));
  if (length > src->size - src->pos) png_error(png, "unexpected end of data");
  std::memcpy(out, src->data + src->pos, length);
  src->pos += static_cast<uint32_t>(length);
}

inline float sample_value(const uint8_t* row, std::size_t index, bool sixteen) {
  if (sixteen) {
    // png_set_swap leaves 16-bit samples in the machine's little-endian order.
    uint16_t s;
    std::memcpy(&s, row + index * 2, 2);
    return static_cast<float>(s / 65535.0);
  }
  return static_cast<float>(row[index] / 255.0);
}

void convert_row(float* dst, const uint8_t* row, uint32_t width, int channels, bool sixteen) {
  for (uint32_t x = 0; x < width; ++x, dst += 4) {
    std::size_t i = std::size_t(x) * channels;
    switch (channels) {
      case 1: {
        float g = sample_value(row, i, sixteen);
        dst[0] = g;
        dst[1] = g;
        dst[2] = g;
        dst[3] = 1.0f;
        break;
      }
      case 2: {
        float g = sample_value(row, i, sixteen);
        dst[0] = g;
        dst[1] = g;
        dst[2] = g;
        dst[3] = sample_value(row, i + 1, sixteen);
        break;
      }
      case 3:
        dst[0] = sample_value(row, i, sixteen);
        dst[1] = sample_value(row, i + 1, sixteen);
        dst[2] = sample_value(row, i + 2, sixteen);
        dst[3] = 1.0f;
        break;
      default:
        dst[0] = sample_value(row, i, sixteen);
        dst[1] = sample_value(row, i + 1, sixteen);
        dst[2] = sample_value(row, i + 2, sixteen);
        dst[3] = sample_value(row, i + 3, sixteen);
        break;
    }
  }
}

// The part of the decode that libpng may jump out of. It keeps no local object with a destructor
// and no local that changes after setjmp and is read after the jump.
bool run_png_decode(png_decode_state* st) {
  if (setjmp(png_jmpbuf(st->png))) return false;

  png_set_read_fn(st->png, &st->source, read_from_memory);
  png_set_sig_bytes(st->png, 8);
  png_read_info(st->png, st->info);
  // Screen and file gamma both 1.0: no gamma correction. Set after the chunks are read, so that a
  // gAMA, sRGB or iCCP chunk of the file cannot replace the file gamma given here.
  png_set_gamma(st->png, 100000.0, 100000.0);

  png_uint_32 width = 0, height = 0;
  int bit_depth = 0, color_type = 0, interlace = 0;
  if (!png_get_IHDR(st->png, st->info, &width, &height, &bit_depth, &color_type, &interlace,
                    nullptr, nullptr)) {
    debug_output_a("create_prepare_png(): png_get_IHDR() failed");
    return false;
  }
  if (interlace != PNG_INTERLACE_NONE) {
    debug_output_a(
        "create_prepare_png(): PNG is interlaced, which is not supported by this program currently");
    return false;
  }

  png_set_packing(st->png);
  if (color_type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(st->png);
  if (color_type == PNG_COLOR_TYPE_GRAY && bit_depth < 8) png_set_expand_gray_1_2_4_to_8(st->png);
  if (png_get_valid(st->png, st->info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(st->png);
  if (bit_depth == 16) png_set_swap(st->png);
  png_read_update_info(st->png, st->info);

  // After the transformations every sample is 8 or 16 bits, 1 to 4 per pixel (tRNS adds alpha).
  const int channels = png_get_channels(st->png, st->info);
  const bool sixteen = png_get_bit_depth(st->png, st->info) == 16;
  const std::size_t rowbytes = png_get_rowbytes(st->png, st->info);
  if (channels < 1 || channels > 4 ||
      rowbytes < std::size_t(width) * channels * (sixteen ? 2 : 1)) {
    debug_output_a("create_prepare_png(): png_get_IHDR() failed");
    return false;
  }

  st->image = try_create_image(width, height);
  if (!st->image) {
    debug_output_a("create_prepare_png(): not enough memory for the image");
    return false;
  }
  st->row = static_cast<uint8_t*>(std::malloc(rowbytes ? rowbytes : 1));
  if (!st->row) {
    debug_output_a("create_prepare_png(): not enough memory for the image");
    return false;
  }

  for (png_uint_32 y = 0; y < height; ++y) {
    png_read_row(st->png, st->row, nullptr);
    convert_row(pixel_at(*st->image, 0, y), st->row, width, channels, sixteen);
  }
  png_read_end(st->png, st->info);
  return true;
}

}  // namespace

void png_error_callback(png_structp png, png_const_charp text) {
  send_libpng_text("pnglib error: ", text);
  png_longjmp(png, 1);
}

void png_warning_callback(png_structp, png_const_charp text) {
  send_libpng_text("pnglib warning: ", text);
}

imgbuf4f* png_stage(const uint8_t* data, uint32_t size, bool& signature_matched) {
  signature_matched = false;
  if (size < 8 || png_sig_cmp(data, 0, 8) != 0) return nullptr;
  signature_matched = true;

  png_decode_state st;
  st.source = {data, size, 8};
  st.png = png_create_read_struct(libpng_version_named, nullptr, png_error_callback,
                                  png_warning_callback);
  if (!st.png) {
    debug_output_a("create_prepare_png(): png_create_read_struct() failed");
    return nullptr;
  }
  st.info = png_create_info_struct(st.png);
  if (!st.info) {
    debug_output_a("create_prepare_png(): png_create_info_struct() failed");
    png_destroy_read_struct(&st.png, nullptr, nullptr);
    return nullptr;
  }

  bool ok = run_png_decode(&st);
  png_destroy_read_struct(&st.png, &st.info, nullptr);
  std::free(st.row);
  if (!ok) {
    imgbuf4f_delete(st.image);
    return nullptr;
  }
  return st.image;
}

}  // namespace quorin_engine
