// Wide text helpers shared by the whole engine: text is UTF-16 throughout.
#pragma once
#include <cstdint>
#include <string>

namespace quorin_engine {

using wstring = std::u16string;

// Text from the caller; null gives the empty string.
wstring from_caller(const char16_t* text);

// Bounded copy to a caller's buffer of `cap` characters, terminator included. Text that does not
// fit leaves an empty string (a null buffer or a capacity of zero receives nothing).
void copy_out(const wstring& text, char16_t* buf, int32_t cap);

wstring from_utf8(const std::string& text);
std::string to_utf8(const wstring& text);
wstring from_ascii(const char* text);

// The standard conversions the engine reads values with: leading white space skipped, as much of
// a number as stands there, 0 when none does.
int32_t text_to_int(const wstring& text);      // decimal integer, saturating at the 32-bit limits
double text_to_double(const wstring& text);    // a C-locale floating-point number

// printf forms: "%u" and "%f" (six decimals).
wstring format_u(uint32_t value);
wstring format_f(double value);

}  // namespace quorin_engine
