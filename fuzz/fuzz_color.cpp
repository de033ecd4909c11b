// The colour parser over arbitrary text; a colour it reads must read back the same from the text
// it is written as (within the six decimals that text keeps).
#include <cmath>
#include <cstdlib>
#include <string>

#include "core/color.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quorin_engine;
  const wstring text = from_utf8(std::string(reinterpret_cast<const char*>(data), size));
  float c[4];
  if (!parse_color(text, c)) return 0;
  float again[4];
  if (!parse_color(format_color(c[0], c[1], c[2], c[3]), again)) std::abort();
  for (int i = 0; i < 4; ++i)
    if (std::isfinite(c[i]) && std::fabs(c[i]) < 1e6f && !(std::fabs(again[i] - c[i]) <= 1e-6f)) std::abort();
  return 0;
}
