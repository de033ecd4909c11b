// JPEG decoding through libjpeg (interface 62) from a memory source. libjpeg's fatal errors jump
// back to the decode, which then ends with a null image.
#include <cstddef>
#include <cstdio>
// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>
#include <jerror.h>

#include <csetjmp>
#include <cstring>

#include "codecs/stages.h"
#include "core/debug_output.h"
#include "core/imgbuf.h"

namespace quorin_engine {

namespace {

struct jpeg_memory_source {
  jpeg_source_mgr mgr;  // first, so that cinfo->src leads here
  const uint8_t* data;
  std::size_t size;
  bool at_end;  // the data ran out and a synthetic end marker was supplied
};

struct jpeg_error_state {
  jpeg_error_mgr mgr;  // first, so that cinfo->err leads here
  jmp_buf jump;
  jpeg_memory_source* src;
  bool truncated;  // the image data needed bytes beyond the end of the file
};

const JOCTET end_of_image_marker[2] = {0xFF, JPEG_EOI};

void error_exit(j_common_ptr cinfo) {
  debug_output_a("jpeglib error");
  longjmp(reinterpret_cast<jpeg_error_state*>(cinfo->err)->jump, 1);
}

// Warnings about corrupt data are not reported, but one case is noted: the entropy decoder
// running into the synthetic end marker means that the file was cut inside its image data.
void emit_message(j_common_ptr cinfo, int level) {
  auto* err = reinterpret_cast<jpeg_error_state*>(cinfo->err);
  if (level >= 0) return;
  ++err->mgr.num_warnings;
  if (err->src->at_end && err->mgr.msg_code == JWRN_HIT_MARKER) err->truncated = true;
}
void output_message(j_common_ptr) {}

void init_source(j_decompress_ptr cinfo) {
  auto* src = reinterpret_cast<jpeg_memory_source*>(cinfo->src);
  src->mgr.next_input_byte = src->data;
  src->mgr.bytes_in_buffer = src->size;
}

// The whole file is in the buffer from the start, so libjpeg asks for more only past its end: it
// gets an end marker. A file that lacks only its end marker still decodes; one cut inside the
// image data is caught by emit_message.
boolean fill_input_buffer(j_decompress_ptr cinfo) {
  auto* src = reinterpret_cast<jpeg_memory_source*>(cinfo->src);
  src->at_end = true;
  src->mgr.next_input_byte = end_of_image_marker;
  src->mgr.bytes_in_buffer = 2;
  return TRUE;
}

void skip_input_data(j_decompress_ptr cinfo, long count) {
  if (count <= 0) return;
  auto* src = reinterpret_cast<jpeg_memory_source*>(cinfo->src);
  std::size_t n = static_cast<std::size_t>(count);
  if (n > src->mgr.bytes_in_buffer) {
    // Skipping past the end: the next read finds the data exhausted.
    src->mgr.next_input_byte += src->mgr.bytes_in_buffer;
    src->mgr.bytes_in_buffer = 0;
    return;
  }
  src->mgr.next_input_byte += n;
  src->mgr.bytes_in_buffer -= n;
}

void term_source(j_decompress_ptr) {}

struct jpeg_decode_state {
  jpeg_decompress_struct cinfo;
  jpeg_error_state err;
  jpeg_memory_source src;
  imgbuf4f* image = nullptr;
};

// The part of the decode that libjpeg may jump out of; it keeps its state in `st`.
bool run_jpeg_decode(jpeg_decode_state* st) {
  if (setjmp(st->err.jump)) return false;

  jpeg_decompress_struct* cinfo = &st->cinfo;
  jpeg_read_header(cinfo, TRUE);
  jpeg_start_decompress(cinfo);  // reads all scans of a progressive file
  if (st->err.truncated) {
    debug_output_a("jpeglib error");
    return false;
  }

  st->image = try_create_image(cinfo->output_width, cinfo->output_height);
  if (!st->image) {
    debug_output_a("jpeglib error");
    return false;
  }
  const bool rgb = cinfo->out_color_space == JCS_RGB && cinfo->output_components == 3;
  const bool grey = cinfo->out_color_space == JCS_GRAYSCALE && cinfo->output_components == 1;
  if (!rgb && !grey) {
    // Other colour spaces are not read: the image stays empty.
    std::memset(st->image->pixels, 0,
                std::size_t(imgbuf4f_stride_bytes(st->image->width)) * st->image->height);
  }

  const JDIMENSION width = cinfo->output_width;
  const int lines = cinfo->rec_outbuf_height > 0 ? cinfo->rec_outbuf_height : 1;
  JSAMPARRAY rows = (*cinfo->mem->alloc_sarray)(reinterpret_cast<j_common_ptr>(cinfo), JPOOL_IMAGE,
                                                 width * cinfo->output_components, lines);
  while (cinfo->output_scanline < cinfo->output_height) {
    const JDIMENSION first = cinfo->output_scanline;
    const JDIMENSION got = jpeg_read_scanlines(cinfo, rows, lines);
    for (JDIMENSION i = 0; i < got; ++i) {
      const JSAMPLE* s = rows[i];
      float* d = pixel_at(*st->image, 0, first + i);
      if (rgb) {
        for (JDIMENSION x = 0; x < width; ++x, s += 3, d += 4) {
          d[0] = static_cast<float>(s[0] / 255.0);
          d[1] = static_cast<float>(s[1] / 255.0);
          d[2] = static_cast<float>(s[2] / 255.0);
          d[3] = 1.0f;
        }
      } else if (grey) {
        for (JDIMENSION x = 0; x < width; ++x, ++s, d += 4) {
          const float g = static_cast<float>(s[0] / 255.0);
          d[0] = g;
          d[1] = g;
          d[2] = g;
          d[3] = 1.0f;
        }
      }
    }
    if (st->err.truncated) {
      debug_output_a("jpeglib error");
      return false;
    }
    if (got == 0) {
      // Cannot happen with a source that never suspends; guards the loop all the same.
      debug_output_a("jpeglib error");
      return false;
    }
  }
  jpeg_finish_decompress(cinfo);
  return true;
}

}  // namespace

imgbuf4f* jpeg_stage(const uint8_t* data, uint32_t size) {
  auto* st = new jpeg_decode_state();
  st->cinfo.err = jpeg_std_error(&st->err.mgr);
  st->err.mgr.error_exit = error_exit;
  st->err.mgr.emit_message = emit_message;
  st->err.mgr.output_message = output_message;
  st->err.src = &st->src;
  st->err.truncated = false;

  // Creation itself can fail (out of memory); it reports through the same error exit.
  if (setjmp(st->err.jump)) {
    jpeg_destroy_decompress(&st->cinfo);
    delete st;
    return nullptr;
  }
  jpeg_create_decompress(&st->cinfo);

  st->src.data = data;
  st->src.size = size;
  st->src.at_end = false;
  st->src.mgr.init_source = init_source;
  st->src.mgr.fill_input_buffer = fill_input_buffer;
  st->src.mgr.skip_input_data = skip_input_data;
  st->src.mgr.resync_to_restart = jpeg_resync_to_restart;
  st->src.mgr.term_source = term_source;
  st->src.mgr.next_input_byte = nullptr;
  st->src.mgr.bytes_in_buffer = 0;
  st->cinfo.src = &st->src.mgr;

  bool ok = run_jpeg_decode(st);
  jpeg_destroy_decompress(&st->cinfo);
  imgbuf4f* image = st->image;
  delete st;
  if (!ok) {
    imgbuf4f_delete(image);
    return nullptr;
  }
  return image;
}

}  // namespace quorin_engine
