// The words of the node type document for port and parameter type codes, as the hosts (the
// quorin command, the Python package) show them.
#pragma once
#include <cstdint>

namespace quorin_hosts {

inline const char* port_word(uint32_t t) {
  switch (t) {
    case 1: return "scalar";
    case 2: return "greystream";
    case 3: return "rgbstream";
    case 4: return "scalar_color_rgb";
    default: return "string";
  }
}

inline const char* param_word(uint32_t t) {
  static const char* const words[] = {"unknown", "uint", "float", "color_rgb", "enum",
                                      "bool",    "string", "font", "curve"};
  return t < 9 ? words[t] : "unknown";
}

}  // namespace quorin_hosts
