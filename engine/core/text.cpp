#include "core/text.h"

#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>

namespace quorin_engine {

wstring from_caller(const char16_t* text) { return text ? wstring(text) : wstring(); }

void copy_out(const wstring& text, char16_t* buf, int32_t cap) {
  if (!buf || cap <= 0) return;
  if (text.size() + 1 > static_cast<std::size_t>(cap)) {
    buf[0] = 0;
    return;
  }
  text.copy(buf, text.size());
  buf[text.size()] = 0;
}

wstring from_utf8(const std::string& s) {
  wstring out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    uint32_t cp;
    std::size_t n;
    if (c < 0x80) { cp = c; n = 1; }
    else if ((c >> 5) == 6) { cp = c & 0x1f; n = 2; }
    else if ((c >> 4) == 14) { cp = c & 0x0f; n = 3; }
    else if ((c >> 3) == 30) { cp = c & 0x07; n = 4; }
    else { out.push_back(0xfffd); ++i; continue; }
    if (i + n > s.size()) { out.push_back(0xfffd); break; }
    bool ok = true;
    for (std::size_t k = 1; k < n; ++k) {
      unsigned char cc = static_cast<unsigned char>(s[i + k]);
      if ((cc >> 6) != 2) { ok = false; break; }
      cp = (cp << 6) | (cc & 0x3f);
    }
    if (!ok) { out.push_back(0xfffd); ++i; continue; }
    i += n;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xd800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xdc00 + (cp & 0x3ff)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
  }
  return out;
}

std::string to_utf8(const wstring& s) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    uint32_t cp = s[i];
    if (cp >= 0xd800 && cp < 0xdc00 && i + 1 < s.size() && s[i + 1] >= 0xdc00 && s[i + 1] < 0xe000) {
      cp = 0x10000 + ((cp - 0xd800) << 10) + (s[i + 1] - 0xdc00);
      ++i;
    }
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xc0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3f)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xe0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3f)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3f)));
    } else {
      out.push_back(static_cast<char>(0xf0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3f)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3f)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3f)));
    }
  }
  return out;
}

wstring from_ascii(const char* text) {
  wstring out;
  if (text)
    for (; *text; ++text) out.push_back(static_cast<unsigned char>(*text));
  return out;
}

namespace {

bool is_space(char16_t c) { return c == ' ' || (c >= 9 && c <= 13); }

// The narrow form of the text for the C conversions: stops at the first character outside ASCII.
std::string narrow_prefix(const wstring& text) {
  std::string s;
  s.reserve(text.size());
  for (char16_t c : text) {
    if (c == 0 || c > 127) break;
    s.push_back(static_cast<char>(c));
  }
  return s;
}

}  // namespace

int32_t text_to_int(const wstring& text) {
  std::size_t i = 0;
  while (i < text.size() && is_space(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  int64_t value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = value * 10 + (text[i] - '0');
    if (value > int64_t(INT32_MAX) + 1) value = int64_t(INT32_MAX) + 1;
  }
  if (negative) value = -value;
  if (value > INT32_MAX) value = INT32_MAX;
  if (value < INT32_MIN) value = INT32_MIN;
  return static_cast<int32_t>(value);
}

double text_to_double(const wstring& text) {
  std::string s = narrow_prefix(text);
  // strtod follows the C locale's decimal point; the engine never changes the locale, but a host
  // might, so the conversion does not rely on it.
  static locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(s.c_str(), nullptr, c_locale);
}

wstring format_u(uint32_t value) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%u", value);
  return from_ascii(buf);
}

wstring format_f(double value) {
  char buf[512];
  std::snprintf(buf, sizeof buf, "%f", value);
  return from_ascii(buf);
}

}  // namespace quorin_engine
