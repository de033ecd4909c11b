// The colour parser: "(r,g,b[,a])" or "bytes(r,g,b[,a])" to four floats.
#pragma once
#include "core/text.h"

namespace quorin_engine {

bool parse_color(const wstring& text, float out[4]);

// The text form a colour is written in: "(%f,%f,%f)" when alpha is within 0.9999999..1.0000001,
// else "(%f,%f,%f,%f)".
wstring format_color(float r, float g, float b, float a);

}  // namespace quorin_engine
