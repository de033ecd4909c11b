// Test support: hand-made type records placed in front of the catalogue for the length of a
// test, so that they win every lookup (the first match wins), and removed afterwards.
#pragma once
#include <utility>
#include <vector>
#include "catalogue/catalogue.h"

namespace quorin_test {

using quorin_engine::nodetype_spec_t;
using quorin_engine::port_spec_t;

inline nodetype_spec_t make_spec(uint32_t id, const char16_t* name, bool is_gen,
                                 std::vector<port_spec_t> outputs, std::vector<port_spec_t> inputs) {
  nodetype_spec_t s;
  s.type_id = id;
  s.name = name;
  s.is_gen = is_gen;
  s.disabled = false;
  s.outputs = std::move(outputs);
  s.inputs = std::move(inputs);
  return s;
}

inline port_spec_t port(const char16_t* name, uint32_t type) { return port_spec_t{name, u"", type}; }

class scoped_specs {
 public:
  explicit scoped_specs(std::vector<nodetype_spec_t> specs) : count_(specs.size()) {
    auto& v = quorin_engine::nodetype_specs();
    v.insert(v.begin(), specs.begin(), specs.end());
  }
  ~scoped_specs() {
    auto& v = quorin_engine::nodetype_specs();
    v.erase(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(count_));
  }
  scoped_specs(const scoped_specs&) = delete;
  scoped_specs& operator=(const scoped_specs&) = delete;

 private:
  std::size_t count_;
};

// Records shaped like the engine's own types, for the tests of connections and rendering.
inline std::vector<nodetype_spec_t> sample_specs() {
  using namespace quorin_engine;
  return {
      make_spec(0, u"RGB", true, {port(u"RGB", port_rgbstream)}, {port(u"color", port_scalar_color_rgb)}),
      make_spec(17, u"Constant", true, {port(u"value", port_scalar)}, {}),
      make_spec(26, u"Time", true, {port(u"time", port_scalar)}, {}),
      make_spec(1000, u"PassThru", false, {port(u"RGB", port_rgbstream)}, {port(u"RGB", port_rgbstream)}),
      make_spec(1005, u"Blur", false, {port(u"RGB", port_rgbstream)},
                {port(u"RGB", port_rgbstream), port(u"type", port_scalar), port(u"size", port_scalar)}),
      make_spec(1029, u"ColorBlend", false, {port(u"color", port_scalar_color_rgb)},
                {port(u"color1", port_scalar_color_rgb), port(u"color2", port_scalar_color_rgb),
                 port(u"factor", port_scalar)}),
      make_spec(1040, u"Output", false, {}, {port(u"RGB", port_rgbstream), port(u"name", port_string)}),
      make_spec(1059, u"ChannelMux", false, {port(u"RGB", port_rgbstream)},
                {port(u"RGB-1", port_rgbstream), port(u"RGB-2", port_rgbstream), port(u"RGB-3", port_rgbstream),
                 port(u"RGB-4", port_rgbstream)}),
      // Not an engine type: two image outputs, and a scalar input in front of its stream input.
      make_spec(4242, u"TwoOut", false, {port(u"A", port_rgbstream), port(u"B", port_greystream)},
                {port(u"amount", port_scalar), port(u"Grey", port_greystream), port(u"RGB", port_rgbstream)}),
  };
}

}  // namespace quorin_test
