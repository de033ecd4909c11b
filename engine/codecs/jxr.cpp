// JPEG XR decoding through libjxr's glue layer: a memory stream over the data, the WMP decoder and
// a format converter that copies the decoded pixels out. Failures inside the stage raise an
// integer, caught here, which frees what was made and gives null.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "codecs/stages.h"
#include "core/imgbuf.h"

// The glue headers define min and max as macros: they come after every C++ header.
#include <JXRGlue.h>
#undef min
#undef max

namespace quorin_engine {

namespace {

void check(ERR err) {
  if (Failed(err)) throw static_cast<int>(err);
}

// Byte layouts that are read directly into the float image.
enum class jxr_layout { none, grey8, grey16, rgb24, bgr24, bgrx32, rgbx32, bgra32, rgba32, rgb48, rgba64 };

struct layout_entry {
  const PKPixelFormatGUID* format;
  jxr_layout layout;
  uint32_t bytes_per_pixel;
};

const layout_entry layouts[] = {
    {&GUID_PKPixelFormat8bppGray, jxr_layout::grey8, 1},
    {&GUID_PKPixelFormat16bppGray, jxr_layout::grey16, 2},
    {&GUID_PKPixelFormat24bppRGB, jxr_layout::rgb24, 3},
    {&GUID_PKPixelFormat24bppBGR, jxr_layout::bgr24, 3},
    {&GUID_PKPixelFormat32bppBGR, jxr_layout::bgrx32, 4},
    {&GUID_PKPixelFormat32bppRGB, jxr_layout::rgbx32, 4},
    {&GUID_PKPixelFormat32bppBGRA, jxr_layout::bgra32, 4},
    {&GUID_PKPixelFormat32bppRGBA, jxr_layout::rgba32, 4},
    {&GUID_PKPixelFormat48bppRGB, jxr_layout::rgb48, 6},
    {&GUID_PKPixelFormat64bppRGBA, jxr_layout::rgba64, 8},
};

const layout_entry* find_layout(const PKPixelFormatGUID& format) {
  for (const layout_entry& e : layouts)
    if (std::memcmp(e.format, &format, sizeof(PKPixelFormatGUID)) == 0) return &e;
  return nullptr;
}

// Formats without a layout of their own are converted by the glue to one of these, if it can.
const PKPixelFormatGUID* const conversion_targets[] = {
    &GUID_PKPixelFormat32bppRGBA, &GUID_PKPixelFormat24bppRGB, &GUID_PKPixelFormat8bppGray};

// Bytes per pixel of a glue pixel format, 0 for formats below a byte per pixel.
uint32_t format_bytes_per_pixel(const PKPixelFormatGUID& format) {
  PKPixelInfo info{};
  info.pGUIDPixFmt = &format;
  if (Failed(PixelFormatLookup(&info, LOOKUP_FORWARD))) return 0;
  if (info.bdBitDepth == BD_1) return 0;
  return (info.cbitUnit + 7) >> 3;
}

inline float b8(const uint8_t* p) { return static_cast<float>(p[0] / 255.0); }
inline float w16(const uint8_t* p) {
  return static_cast<float>(static_cast<uint16_t>(p[0] | (p[1] << 8)) / 65535.0);
}

void convert_row(float* d, const uint8_t* s, uint32_t width, jxr_layout layout) {
  for (uint32_t x = 0; x < width; ++x, d += 4) {
    switch (layout) {
      case jxr_layout::grey8:
        d[0] = d[1] = d[2] = b8(s);
        d[3] = 1.0f;
        s += 1;
        break;
      case jxr_layout::grey16:
        d[0] = d[1] = d[2] = w16(s);
        d[3] = 1.0f;
        s += 2;
        break;
      case jxr_layout::rgb24:
      case jxr_layout::rgbx32:
      case jxr_layout::rgba32:
        d[0] = b8(s);
        d[1] = b8(s + 1);
        d[2] = b8(s + 2);
        d[3] = layout == jxr_layout::rgba32 ? b8(s + 3) : 1.0f;
        s += layout == jxr_layout::rgb24 ? 3 : 4;
        break;
      case jxr_layout::bgr24:
      case jxr_layout::bgrx32:
      case jxr_layout::bgra32:
        d[0] = b8(s + 2);
        d[1] = b8(s + 1);
        d[2] = b8(s);
        d[3] = layout == jxr_layout::bgra32 ? b8(s + 3) : 1.0f;
        s += layout == jxr_layout::bgr24 ? 3 : 4;
        break;
      case jxr_layout::rgb48:
      case jxr_layout::rgba64:
        d[0] = w16(s);
        d[1] = w16(s + 2);
        d[2] = w16(s + 4);
        d[3] = layout == jxr_layout::rgba64 ? w16(s + 6) : 1.0f;
        s += layout == jxr_layout::rgb48 ? 6 : 8;
        break;
      case jxr_layout::none:
        return;
    }
  }
}

struct jxr_objects {
  WMPStream* stream = nullptr;
  PKImageDecode* decoder = nullptr;
  PKFormatConverter* converter = nullptr;
  uint8_t* pixels = nullptr;
  imgbuf4f* image = nullptr;

  ~jxr_objects() {
    if (converter) converter->Release(&converter);
    if (decoder) decoder->Release(&decoder);
    if (stream) stream->Close(&stream);
    std::free(pixels);
    imgbuf4f_delete(image);
  }
};

imgbuf4f* decode(const uint8_t* data, uint32_t size) {
  jxr_objects o;
  check(CreateWS_Memory(&o.stream, const_cast<uint8_t*>(data), size));
  check(PKImageDecode_Create_WMP(&o.decoder));
  check(o.decoder->Initialize(o.decoder, o.stream));
  // The coded image must lie inside the data, and a separate alpha plane must start inside it
  // (its byte count is not reliable: some writers store the file's length there).
  const WmpDEMisc& misc = o.decoder->WMP.wmiDEMisc;
  if (uint64_t(misc.uImageOffset) + misc.uImageByteCount > size) throw 0;
  if (o.decoder->WMP.bHasAlpha) {
    if (misc.uAlphaOffset >= size) throw 0;
    // Decode the alpha plane along with the image.
    o.decoder->WMP.wmiSCP.uAlphaMode = 2;
  }

  PKPixelFormatGUID source_format;
  check(o.decoder->GetPixelFormat(o.decoder, &source_format));
  I32 w = 0, h = 0;
  check(o.decoder->GetSize(o.decoder, &w, &h));
  if (w <= 0 || h <= 0) throw 0;
  const uint32_t width = static_cast<uint32_t>(w), height = static_cast<uint32_t>(h);

  check(PKCodecFactory_CreateFormatConverter(&o.converter));
  const layout_entry* entry = find_layout(source_format);
  if (entry) {
    check(o.converter->Initialize(o.converter, o.decoder, nullptr, source_format));
  } else {
    for (const PKPixelFormatGUID* target : conversion_targets) {
      if (!Failed(o.converter->Initialize(o.converter, o.decoder, nullptr, *target))) {
        entry = find_layout(*target);
        break;
      }
    }
    if (!entry) throw 0;
  }

  // The decoder writes the source format into the buffer and the converter works in place, so a
  // row holds the larger of the two. Rows are padded to whole macroblock rows of 16 lines.
  const uint32_t source_bpp = format_bytes_per_pixel(source_format);
  if (source_bpp == 0 && std::memcmp(&source_format, &GUID_PKPixelFormatBlackWhite,
                                     sizeof(PKPixelFormatGUID)) != 0)
    throw 0;
  const uint32_t bpp = entry->bytes_per_pixel > source_bpp ? entry->bytes_per_pixel : source_bpp;
  const uint64_t stride64 = uint64_t(width) * bpp;
  const uint64_t rows64 = (uint64_t(height) + 15) / 16 * 16;
  if (stride64 > 0x7fffffffu || stride64 * rows64 > (uint64_t(1) << 40)) throw 0;
  if (uint64_t(width) * height * 16 > SIZE_MAX / 2) throw 0;

  o.image = try_create_image(width, height);
  if (!o.image) throw 0;
  o.pixels = static_cast<uint8_t*>(std::calloc(static_cast<std::size_t>(stride64 * rows64), 1));
  if (!o.pixels) throw 0;

  PKRect rect = {0, 0, w, h};
  check(o.converter->Copy(o.converter, &rect, o.pixels, static_cast<U32>(stride64)));

  for (uint32_t y = 0; y < height; ++y)
    convert_row(pixel_at(*o.image, 0, y), o.pixels + y * stride64, width, entry->layout);

  imgbuf4f* image = o.image;
  o.image = nullptr;
  return image;
}

}  // namespace

imgbuf4f* jxr_stage(const uint8_t* data, uint32_t size) {
  // A JPEG XR file is a little-endian TIFF-like container with the identifier 0xBC.
  if (size < 8 || data[0] != 'I' || data[1] != 'I' || data[2] != 0xBC) return nullptr;
  try {
    return decode(data, size);
  } catch (int) {
    return nullptr;
  }
}

}  // namespace quorin_engine
