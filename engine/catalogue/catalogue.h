// The node type catalogue: type records filled once from the node type document.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>
#include "core/text.h"

namespace quorin_engine {

// Port type codes.
enum : uint32_t {
  port_string = 0,  // any word the loader does not know, "string" among them
  port_scalar = 1,
  port_greystream = 2,
  port_rgbstream = 3,
  port_scalar_color_rgb = 4,
};

// Parameter type codes; 0 is none or unknown.
enum : uint32_t {
  param_none = 0,
  param_uint = 1,
  param_float = 2,
  param_color_rgb = 3,
  param_enum = 4,
  param_bool = 5,
  param_string = 6,
  param_font = 7,
  param_curve = 8,
};

constexpr uint32_t type_id_group = 10000;

struct category_spec_t {
  wstring name;
  wstring description;
};

struct port_spec_t {
  wstring name;
  wstring description;
  uint32_t type = 0;
};

struct enum_value_spec_t {
  wstring name;
  wstring description;
  uint32_t value = 0;  // never used: a value's meaning is its position
};

struct param_spec_t {
  wstring name;
  wstring description;
  uint32_t type = 0;
  bool has_min = false;
  bool has_max = false;
  union bound {
    uint32_t u;
    float f;
  };
  bound min{0};
  bound max{0};
  std::vector<enum_value_spec_t> enum_values;
  wstring default_value;
  bool curveable = false;
};

struct param_group_spec_t {
  wstring name;
  std::vector<param_spec_t> params;
};

struct nodetype_spec_t {
  bool is_gen = true;
  uint32_t type_id = 0;
  bool disabled = true;
  wstring name;
  wstring description;
  uint32_t resource_id = 0;
  uint32_t category = 0;
  std::vector<port_spec_t> outputs;
  std::vector<port_spec_t> inputs;
  std::vector<param_group_spec_t> param_groups;
};

// The three process-wide vectors, in the order of the document.
std::vector<nodetype_spec_t>& nodetype_specs();
std::vector<category_spec_t>& generator_categories();
std::vector<category_spec_t>& operator_categories();

// The fixed id table: the 129 type names and their ids.
struct type_id_entry {
  const char16_t* name;
  uint32_t id;
};
const std::vector<type_id_entry>& type_id_table();
bool type_id_for_name(const wstring& name, uint32_t& id);

// Lookups by record; linear scans, the first match wins.
const nodetype_spec_t* find_spec(uint32_t type_id);
const nodetype_spec_t* find_spec_by_name(const wstring& name);
const param_group_spec_t* spec_group(const nodetype_spec_t* spec, uint32_t group);
const param_spec_t* spec_param(const nodetype_spec_t* spec, uint32_t group, uint32_t param);
const param_spec_t* find_param(const nodetype_spec_t* spec, const wstring& name);
bool uint_bounds(const nodetype_spec_t* spec, const wstring& name, uint32_t& min, uint32_t& max);

// The loader: parses a node type document and appends what it commits to the catalogue.
void load_nodetype_specs(const unsigned char* bytes, std::size_t size);

// The document compiled into the library, with its byte order mark.
extern const unsigned char nodetypespecs_resource[];
extern const std::size_t nodetypespecs_resource_size;

}  // namespace quorin_engine
