// The colour text form: "(r,g,b[,a])" with floats, or "bytes(r,g,b[,a])" with integers 0..255.
#include "core/color.h"

namespace quorin_engine {
namespace {

constexpr std::size_t npos = wstring::npos;

// One component text: a leading number, read as the standard conversions read it.
float component(const wstring& text, std::size_t from, std::size_t to, bool bytes) {
  wstring part = from < text.size() ? text.substr(from, to == npos ? npos : to - from) : wstring();
  if (bytes) return static_cast<float>(text_to_int(part) / 255.0);
  return static_cast<float>(text_to_double(part));
}

}  // namespace

bool parse_color(const wstring& text, float out[4]) {
  const std::size_t open = text.find(u'(');
  if (open == npos) return false;
  const bool bytes = open > 0 && text.compare(0, open, u"bytes") == 0;

  out[0] = out[1] = out[2] = 0.0f;
  out[3] = 1.0f;

  const std::size_t close = text.find(u')');
  if (close == npos) return true;

  // Red: up to the first comma after "(", or the rest of the text.
  const std::size_t c1 = text.find(u',', open + 1);
  out[0] = component(text, open + 1, c1, bytes);

  // Green only when a second comma follows and the first stands inside the brackets: "(0.5,0.5)"
  // sets red alone.
  if (c1 == npos) return true;
  const std::size_t c2 = text.find(u',', c1 + 1);
  if (c2 == npos || c1 >= close) return true;
  out[1] = component(text, c1 + 1, c2, bytes);

  // Blue: whatever stands between the second comma and ")" up to a third comma.
  if (c2 + 1 >= close) return true;
  std::size_t c3 = text.find(u',', c2 + 1);
  if (c3 != npos && c3 > close) c3 = npos;  // a comma after ")" is no component separator
  out[2] = component(text, c2 + 1, c3 == npos ? close : c3, bytes);

  // Alpha: from a third comma up to ")".
  if (c3 != npos) out[3] = component(text, c3 + 1, close, bytes);
  return true;
}

wstring format_color(float r, float g, float b, float a) {
  // The window is taken in floats (0.99999988 to 1.00000012), so that an alpha given as 1.0000001
  // is written as a three-component colour.
  wstring s = u"(" + format_f(r) + u"," + format_f(g) + u"," + format_f(b);
  if (!(a >= 0.9999999f && a <= 1.0000001f)) s += u"," + format_f(a);
  return s + u")";
}

}  // namespace quorin_engine
