// What the hosts (the quorin command, the Python package) share about the catalogue: the type ids
// to walk, and the words of the node type document for port and parameter type codes.
#pragma once
#include <cstdint>
#include <vector>

namespace quorin_hosts {

// Every type id the engine knows: generators 0-35, operators 1000-1091 and Group.
inline std::vector<uint32_t> all_type_ids() {
  std::vector<uint32_t> ids;
  for (uint32_t i = 0; i <= 35; ++i) ids.push_back(i);
  for (uint32_t i = 1000; i <= 1091; ++i) ids.push_back(i);
  ids.push_back(10000);
  return ids;
}

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
