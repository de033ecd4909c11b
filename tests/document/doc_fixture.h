// Hand-made type records for the document tests, pushed into the catalogue while a test runs.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"

namespace doc_test {

using quorin_engine::nodetype_spec_t;
using quorin_engine::param_spec_t;
using quorin_engine::port_spec_t;

// One group with a parameter of every type, no defaults; no ports.
constexpr uint32_t type_params = 90001;
// Two image inputs "a" and "b", one image output.
constexpr uint32_t type_wire = 90002;
// No inputs, one image output.
constexpr uint32_t type_source = 90003;

enum ParamIndex : uint32_t { p_count, p_amount, p_tint, p_mode, p_flag, p_label, p_font, p_shape };

inline param_spec_t make_param(const char16_t* name, uint32_t type) {
  param_spec_t p;
  p.name = name;
  p.type = type;
  return p;
}

inline std::vector<nodetype_spec_t> test_records() {
  using namespace quorin_engine;
  std::vector<nodetype_spec_t> records(3);

  nodetype_spec_t& params = records[0];
  params.type_id = type_params;
  params.name = u"ParamKit";
  params.param_groups.resize(2);
  params.param_groups[0].name = u"Main";
  auto& main = params.param_groups[0].params;
  main.push_back(make_param(u"count", param_uint));
  main.push_back(make_param(u"amount", param_float));
  main.push_back(make_param(u"tint", param_color_rgb));
  param_spec_t mode = make_param(u"mode", param_enum);
  for (const char16_t* v : {u"first", u"second", u"third"}) mode.enum_values.push_back({v, u"", 0});
  main.push_back(mode);
  main.push_back(make_param(u"flag", param_bool));
  main.push_back(make_param(u"label", param_string));
  main.push_back(make_param(u"font", param_font));
  main.push_back(make_param(u"shape", param_curve));
  params.param_groups[1].name = u"Extra";
  params.param_groups[1].params.push_back(make_param(u"level", param_float));

  nodetype_spec_t& wire = records[1];
  wire.type_id = type_wire;
  wire.name = u"Wire";
  wire.is_gen = false;
  wire.inputs = {{u"a", u"", port_rgbstream}, {u"b", u"", port_rgbstream}};
  wire.outputs = {{u"out", u"", port_rgbstream}};

  nodetype_spec_t& source = records[2];
  source.type_id = type_source;
  source.name = u"Source";
  source.outputs = {{u"out", u"", port_rgbstream}};
  return records;
}

// Adds the test records for the duration of a test and takes them out again.
class DocTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (auto& r : test_records()) quorin_engine::nodetype_specs().push_back(r);
  }
  void TearDown() override {
    auto& specs = quorin_engine::nodetype_specs();
    specs.erase(std::remove_if(specs.begin(), specs.end(),
                               [](const nodetype_spec_t& s) {
                                 return s.type_id == type_params || s.type_id == type_wire ||
                                        s.type_id == type_source;
                               }),
                specs.end());
  }
};

}  // namespace doc_test
