// JPEG XR decoding through libjxr's glue layer: a memory stream over the data, the WMP decoder and
// a format converter that copies the decoded pixels out. Failures inside the decode raise an
// integer, caught in the stage, which then gives null.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

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

// One pixel of a layout; the layout is a template argument so that a row is one plain loop.
template <jxr_layout L>
inline void convert_pixel(float* d, const uint8_t* s) {
  constexpr bool wide = L == jxr_layout::grey16 || L == jxr_layout::rgb48 || L == jxr_layout::rgba64;
  constexpr bool bgr = L == jxr_layout::bgr24 || L == jxr_layout::bgrx32 || L == jxr_layout::bgra32;
  constexpr bool alpha = L == jxr_layout::rgba32 || L == jxr_layout::bgra32 || L == jxr_layout::rgba64;
  if constexpr (L == jxr_layout::grey8 || L == jxr_layout::grey16) {
    d[0] = d[1] = d[2] = wide ? w16(s) : b8(s);
  } else if constexpr (wide) {
    d[0] = w16(s);
    d[1] = w16(s + 2);
    d[2] = w16(s + 4);
  } else {
    d[0] = b8(s + (bgr ? 2 : 0));
    d[1] = b8(s + 1);
    d[2] = b8(s + (bgr ? 0 : 2));
  }
  if constexpr (alpha) {
    d[3] = wide ? w16(s + 6) : b8(s + 3);
  } else {
    d[3] = 1.0f;
  }
}

template <jxr_layout L>
void convert_pixels(float* d, const uint8_t* s, uint32_t width, uint32_t bytes_per_pixel) {
  for (uint32_t x = 0; x < width; ++x, d += 4, s += bytes_per_pixel) convert_pixel<L>(d, s);
}

void convert_row(float* d, const uint8_t* s, uint32_t width, const layout_entry& entry) {
  const uint32_t n = entry.bytes_per_pixel;
  switch (entry.layout) {
    case jxr_layout::grey8: return convert_pixels<jxr_layout::grey8>(d, s, width, n);
    case jxr_layout::grey16: return convert_pixels<jxr_layout::grey16>(d, s, width, n);
    case jxr_layout::rgb24: return convert_pixels<jxr_layout::rgb24>(d, s, width, n);
    case jxr_layout::bgr24: return convert_pixels<jxr_layout::bgr24>(d, s, width, n);
    case jxr_layout::bgrx32: return convert_pixels<jxr_layout::bgrx32>(d, s, width, n);
    case jxr_layout::rgbx32: return convert_pixels<jxr_layout::rgbx32>(d, s, width, n);
    case jxr_layout::bgra32: return convert_pixels<jxr_layout::bgra32>(d, s, width, n);
    case jxr_layout::rgba32: return convert_pixels<jxr_layout::rgba32>(d, s, width, n);
    case jxr_layout::rgb48: return convert_pixels<jxr_layout::rgb48>(d, s, width, n);
    case jxr_layout::rgba64: return convert_pixels<jxr_layout::rgba64>(d, s, width, n);
    case jxr_layout::none: return;
  }
}

struct jxr_objects {
  WMPStream* stream = nullptr;
  PKImageDecode* decoder = nullptr;
  PKFormatConverter* converter = nullptr;
  uint8_t* pixels = nullptr;

  ~jxr_objects() {
    if (converter) converter->Release(&converter);
    if (decoder) decoder->Release(&decoder);
    if (stream) stream->Close(&stream);
    std::free(pixels);
  }
};

// What the decoding process sends before the rows, and after them.
struct jxr_header {
  uint32_t magic;
  uint32_t width, height;
  uint32_t layout_index;
};
constexpr uint32_t header_magic = 0x4a585231, trailer_magic = 0x454e4421;

bool write_fully(int fd, const void* buf, std::size_t n) {
  const auto* p = static_cast<const uint8_t*>(buf);
  while (n > 0) {
    const ssize_t k = ::write(fd, p, n);
    if (k < 0 && errno == EINTR) continue;
    if (k <= 0) return false;
    p += k;
    n -= static_cast<std::size_t>(k);
  }
  return true;
}

// Decodes in the child process and writes the header, the rows (width * bytes per pixel of the
// layout each) and the trailer to `fd`.
void decode_to_pipe(const uint8_t* data, uint32_t size, int fd) {
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
  o.pixels = static_cast<uint8_t*>(std::calloc(static_cast<std::size_t>(stride64 * rows64), 1));
  if (!o.pixels) throw 0;

  PKRect rect = {0, 0, w, h};
  check(o.converter->Copy(o.converter, &rect, o.pixels, static_cast<U32>(stride64)));

  const jxr_header header{header_magic, width, height, static_cast<uint32_t>(entry - layouts)};
  if (!write_fully(fd, &header, sizeof header)) throw 0;
  const std::size_t row_bytes = std::size_t(width) * entry->bytes_per_pixel;
  for (uint32_t y = 0; y < height; ++y)
    if (!write_fully(fd, o.pixels + y * stride64, row_bytes)) throw 0;
  if (!write_fully(fd, &trailer_magic, sizeof trailer_magic)) throw 0;
}

// Reads exactly n bytes, waiting at most `timeout_ms` for each piece of data.
bool read_fully(int fd, void* buf, std::size_t n, int timeout_ms) {
  auto* p = static_cast<uint8_t*>(buf);
  while (n > 0) {
    pollfd pfd{fd, POLLIN, 0};
    const int ready = ::poll(&pfd, 1, timeout_ms);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t k = ::read(fd, p, n);
    if (k < 0 && errno == EINTR) continue;
    if (k <= 0) return false;
    p += k;
    n -= static_cast<std::size_t>(k);
  }
  return true;
}

// libjxr does not survive all damaged data (it can crash or stop the program inside its entropy
// decoder), so the decode runs in a child process that sends the pixels back through a pipe. A
// child that dies, fails or stays silent for a minute gives null.
imgbuf4f* decode_isolated(const uint8_t* data, uint32_t size) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return nullptr;
  const pid_t pid = ::fork();
  if (pid < 0) {
    ::close(fds[0]);
    ::close(fds[1]);
    return nullptr;
  }
  if (pid == 0) {
    ::close(fds[0]);
    // The library's own complaints (unknown tags, failed assertions) are not the host's output.
    const int null_fd = ::open("/dev/null", O_WRONLY);
    if (null_fd >= 0) {
      ::dup2(null_fd, STDOUT_FILENO);
      ::dup2(null_fd, STDERR_FILENO);
    }
    int status = 0;
    try {
      decode_to_pipe(data, size, fds[1]);
    } catch (...) {
      status = 1;
    }
    ::_exit(status);
  }
  ::close(fds[1]);

  constexpr int timeout_ms = 60000;
  imgbuf4f* image = nullptr;
  uint8_t* row = nullptr;
  bool ok = false;
  jxr_header header{};
  if (read_fully(fds[0], &header, sizeof header, timeout_ms) && header.magic == header_magic &&
      header.layout_index < std::size(layouts) && header.width > 0 && header.height > 0) {
    const layout_entry& entry = layouts[header.layout_index];
    const std::size_t row_bytes = std::size_t(header.width) * entry.bytes_per_pixel;
    image = try_create_image(header.width, header.height);
    row = image ? static_cast<uint8_t*>(std::malloc(row_bytes)) : nullptr;
    if (row) {
      uint32_t y = 0;
      for (; y < header.height; ++y) {
        if (!read_fully(fds[0], row, row_bytes, timeout_ms)) break;
        convert_row(pixel_at(*image, 0, y), row, header.width, entry);
      }
      uint32_t trailer = 0;
      ok = y == header.height && read_fully(fds[0], &trailer, sizeof trailer, timeout_ms) &&
           trailer == trailer_magic;
    }
  }
  ::close(fds[0]);
  if (!ok) ::kill(pid, SIGKILL);
  while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
  std::free(row);
  if (!ok) {
    imgbuf4f_delete(image);
    return nullptr;
  }
  return image;
}

inline uint32_t le16(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }
inline uint32_t le32(const uint8_t* p) { return le16(p) | le16(p + 2) << 16; }

// The container: "II", 0xBC, a version byte, the offset of the first directory, and the directory
// (an entry count and 12-byte entries: tag, type, count, value or offset). The glue stops the
// program on some values it does not expect instead of failing, so those are refused here.
bool container_is_sound(const uint8_t* data, uint32_t size) {
  if (size < 8 || data[0] != 'I' || data[1] != 'I' || data[2] != 0xBC) return false;
  const uint32_t dir = le32(data + 4);
  if (dir < 8 || dir > size - 2) return false;
  const uint32_t entries = le16(data + dir);
  if (entries == 0 || entries > (size - dir - 2) / 12) return false;
  for (uint32_t i = 0; i < entries; ++i) {
    const uint8_t* e = data + dir + 2 + 12 * i;
    const uint32_t tag = le16(e), count = le32(e + 4), value = le32(e + 8);
    constexpr uint32_t tag_transformation = 0xBC02;
    if (tag == tag_transformation && (count != 1 || value >= 8)) return false;
  }
  return true;
}

}  // namespace

imgbuf4f* jxr_stage(const uint8_t* data, uint32_t size) {
  if (!container_is_sound(data, size)) return nullptr;
  return decode_isolated(data, size);
}

}  // namespace quorin_engine
