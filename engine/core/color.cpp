// (Placeholder: the colour text form; the parser follows.)
#include "core/color.h"

namespace quorin_engine {

bool parse_color(const wstring&, float out[4]) {
  out[0] = out[1] = out[2] = 0.0f;
  out[3] = 1.0f;
  return false;
}

wstring format_color(float r, float g, float b, float a) {
  wstring s = u"(" + format_f(r) + u"," + format_f(g) + u"," + format_f(b);
  if (!(a >= 0.9999999f && a <= 1.0000001f)) s += u"," + format_f(a);
  return s + u")";
}

}  // namespace quorin_engine
