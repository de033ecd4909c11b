// The node type catalogue as the package sees it: read once through the C interface's queries.
#pragma once
#include <optional>

#include "common.h"

namespace quorin_py {

struct port_info {
  std::string name;
  std::string type;  // "rgbstream", "greystream", "scalar", "scalar_color_rgb" or "string"
  uint32_t type_code;
  std::string description;
};

struct param_info {
  std::string name;
  std::u16string wname;
  std::string group;
  uint32_t group_index, index;
  uint32_t type_code;
  std::string type;  // "uint", "float", "color_rgb", "enum", "bool", "string", "font", "curve"
  std::string description;
  std::optional<double> min, max;
  std::vector<std::string> enum_values;
  bool curveable;
  pvalue default_value;
};

struct type_info {
  std::string name;
  uint32_t type_id;
  bool is_generator, disabled;
  std::string category, description;
  std::vector<port_info> inputs, outputs;
  std::vector<param_info> params;

  const param_info* param(const std::string& name) const;
  std::vector<std::string> param_names() const;
};

std::vector<type_info> catalogue();
const type_info* type_by_id(uint32_t type_id);  // null for an id the catalogue does not hold
const type_info& type_by_name(const std::string& name);  // KeyError with the known names
std::vector<std::string> type_names();

// The value of a parameter as stored in a node: its time curve's value at the project's time if
// one is enabled, else its text read the engine's way; None where nothing is stored.
pvalue read_param(qr_node* node, const qr_renderctx* ctx, const param_info& p);

// Raises ValueError where the node's enabled time curve for `p` cannot be evaluated at time t:
// on an enum or string parameter, or with a gap at t. The engine would stop the process there.
void check_time_curve(qr_node* node, const param_info& p, float t);

}  // namespace quorin_py
