// What PNG reading and writing share: the libpng version the engine asks for and the message
// callbacks. The error callback never returns: it jumps to the caller's png_jmpbuf.
#pragma once
#include <png.h>

#include <cstdint>

namespace quorin_engine {

inline constexpr const char* libpng_version_named = "1.6.16";

// "pnglib error: " + text to the debug output, then longjmp.
[[noreturn]] void png_error_callback(png_structp png, png_const_charp text);
// "pnglib warning: " + text to the debug output.
void png_warning_callback(png_structp png, png_const_charp text);

// The byte that PNG output writes for one channel value.
uint8_t png_output_byte(float value);

}  // namespace quorin_engine
