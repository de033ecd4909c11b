// Small hand-made type records for evaluation tests, and a guard that puts them in place of the
// catalogue for the time of a test.
#pragma once
#include <utility>
#include <vector>
#include "catalogue/catalogue.h"
#include "document/node.h"

namespace quorin_test {

using namespace quorin_engine;

inline port_spec_t port(const char16_t* name, uint32_t type) { return {name, u"", type}; }

inline param_spec_t param(const char16_t* name, uint32_t type, const char16_t* def = u"") {
  param_spec_t p;
  p.name = name;
  p.type = type;
  p.default_value = def;
  return p;
}

inline param_spec_t enum_param(const char16_t* name, std::vector<const char16_t*> values) {
  param_spec_t p = param(name, param_enum, values.empty() ? u"" : values[0]);
  uint32_t v = 10;  // value attributes that differ from the positions
  for (const char16_t* n : values) p.enum_values.push_back({n, u"", v += 10});
  return p;
}

inline nodetype_spec_t spec(uint32_t id, const char16_t* name, bool is_gen, std::vector<port_spec_t> outputs,
                            std::vector<port_spec_t> inputs, std::vector<param_group_spec_t> groups = {}) {
  nodetype_spec_t s;
  s.type_id = id;
  s.name = name;
  s.is_gen = is_gen;
  s.disabled = false;
  s.outputs = std::move(outputs);
  s.inputs = std::move(inputs);
  s.param_groups = std::move(groups);
  return s;
}

// The types the driver tests use: RGB, PassThru, Blur, Constant, ColorBlend, Time.
inline std::vector<nodetype_spec_t> driver_types() {
  return {
      spec(0, u"RGB", true, {port(u"RGB", port_rgbstream)}, {port(u"color", port_scalar_color_rgb)},
           {{u"General", {param(u"color", param_color_rgb, u"(0.0,0.0,0.0)")}}}),
      spec(1000, u"PassThru", false, {port(u"RGB", port_rgbstream)}, {port(u"RGB", port_rgbstream)}),
      spec(1005, u"Blur", false, {port(u"RGB", port_rgbstream)},
           {port(u"size", port_scalar), port(u"RGB", port_rgbstream)},
           {{u"General", {param(u"size", param_float, u"0.1")}}}),
      spec(17, u"Constant", true, {port(u"value", port_scalar)}, {},
           {{u"General", {param(u"value", param_float, u"0.0")}}}),
      spec(1029, u"ColorBlend", false, {port(u"color", port_scalar_color_rgb)},
           {port(u"color1", port_scalar_color_rgb), port(u"color2", port_scalar_color_rgb)},
           {{u"General", {param(u"color1", param_color_rgb, u"(0.0,0.0,0.0)")}}}),
      spec(26, u"Time", true, {port(u"time", port_scalar)}, {}),
  };
}

// Replaces the catalogue's records for the lifetime of the guard.
class scoped_catalogue {
 public:
  explicit scoped_catalogue(std::vector<nodetype_spec_t> specs) : saved_(std::move(nodetype_specs())) {
    nodetype_specs() = std::move(specs);
  }
  ~scoped_catalogue() { nodetype_specs() = std::move(saved_); }
  scoped_catalogue(const scoped_catalogue&) = delete;
  scoped_catalogue& operator=(const scoped_catalogue&) = delete;

 private:
  std::vector<nodetype_spec_t> saved_;
};

// Connects output `out` of `src` to the input `input` of `dst`, on both ends.
inline void connect(shadetree_node_t* src, shadetree_node_t* dst, const wstring& input, uint32_t out = 0) {
  dst->input_connections[input] = src;
  src->output_connections[out].push_back(dst);
}

}  // namespace quorin_test
