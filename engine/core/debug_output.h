// The engine's debug message channel. Messages go to the sink the host installed with
// engine_set_debug_output, or nowhere.
#pragma once
#include <string>

namespace quorin_engine {

void debug_output(const std::u16string& text);
void debug_output_a(const char* text);  // narrow text, taken as ASCII/UTF-8

}  // namespace quorin_engine
