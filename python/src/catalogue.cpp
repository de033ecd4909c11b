// The catalogue read once through the exported queries, which all go through a node: a fresh node
// of each type answers them, and its stored parameters are the type's defaults.
#include "catalogue_words.h"
#include "catalogue.h"

#include <cmath>
#include <map>

namespace quorin_py {

namespace {

using quorin_hosts::param_word;
using quorin_hosts::port_word;

template <class Read>
std::string text(Read&& read) {
  return utf8(read_text(std::forward<Read>(read)));
}

std::vector<port_info> ports(qr_node* n, bool inputs) {
  std::vector<port_info> out;
  uint32_t count = inputs ? node_input_count(n) : node_output_count(n);
  for (uint32_t i = 0; i < count; ++i) {
    port_info p;
    if (inputs) {
      p.name = text([&](qr_char* b, int32_t c) { node_input_name(n, b, c, i); });
      p.description = text([&](qr_char* b, int32_t c) { node_input_description(n, b, c, i); });
      p.type_code = node_input_type(n, i);
    } else {
      p.name = text([&](qr_char* b, int32_t c) { node_output_name(n, b, c, i); });
      p.description = text([&](qr_char* b, int32_t c) { node_output_description(n, b, c, i); });
      p.type_code = node_output_type(n, i);
    }
    p.type = port_word(p.type_code);
    out.push_back(std::move(p));
  }
  return out;
}

type_info describe(qr_node* n, const qr_renderctx* ctx) {
  type_info t;
  t.name = text([&](qr_char* b, int32_t c) { ::node_type_name(n, b, c); });
  t.type_id = node_type(n);
  t.is_generator = node_is_generator(n);
  t.disabled = node_type_is_disabled(n);
  t.category = text([&](qr_char* b, int32_t c) { node_category_name(n, b, c); });
  t.description = text([&](qr_char* b, int32_t c) { node_type_description(b, c, t.type_id); });
  t.inputs = ports(n, true);
  t.outputs = ports(n, false);
  for (uint32_t g = 0, groups = node_formal_param_group_count(n); g < groups; ++g) {
    std::string group = text([&](qr_char* b, int32_t c) { node_formal_param_group_name(n, g, b, c); });
    for (uint32_t i = 0, count = node_formal_param_count(n, g); i < count; ++i) {
      param_info p;
      p.wname = read_text([&](qr_char* b, int32_t c) { node_formal_param_name(n, g, i, b, c); });
      p.name = utf8(p.wname);
      p.group = group;
      p.group_index = g;
      p.index = i;
      p.type_code = node_formal_param_type_indexed(n, g, i);
      p.type = param_word(p.type_code);
      p.description = text([&](qr_char* b, int32_t c) { node_formal_param_description(n, g, i, b, c); });
      if (node_formal_param_uint_has_minval(n, g, i)) p.min = node_formal_param_uint_minval(n, g, i);
      if (node_formal_param_uint_has_maxval(n, g, i)) p.max = node_formal_param_uint_maxval(n, g, i);
      if (node_formal_param_float_has_minval(n, g, i)) p.min = shortest(node_formal_param_float_minval(n, g, i));
      if (node_formal_param_float_has_maxval(n, g, i)) p.max = shortest(node_formal_param_float_maxval(n, g, i));
      for (uint32_t v = 0, values = node_formal_param_enum_count(n, g, i); v < values; ++v)
        p.enum_values.push_back(text([&](qr_char* b, int32_t c) { node_formal_param_enum_name(n, g, i, v, b, c); }));
      p.curveable = node_formal_param_time_curveable_indexed(n, g, i);
      p.default_value = read_param(n, ctx, p);
      t.params.push_back(std::move(p));
    }
  }
  return t;
}

using quorin_hosts::all_type_ids;

}  // namespace

// Each type is described on first use, so a process that touches a few types pays for those.
const type_info* type_by_id(uint32_t type_id) {
  static std::map<uint32_t, std::unique_ptr<type_info>> described;
  engine_guard lock = lock_engine();
  auto it = described.find(type_id);
  if (it != described.end()) return it->second.get();
  std::unique_ptr<type_info> info;
  qr_node* n = node_create_with_type(type_id);
  if (!read_text([&](qr_char* b, int32_t c) { ::node_type_name(n, b, c); }).empty()) {
    project_state scratch(project_create());  // a context whose project gives the time
    info = std::make_unique<type_info>(describe(n, scratch.value_ctx));
  }
  node_delete(n);
  return described.emplace(type_id, std::move(info)).first->second.get();
}

std::vector<type_info> catalogue() {
  std::vector<type_info> types;
  for (uint32_t id : all_type_ids())
    if (const type_info* t = type_by_id(id)) types.push_back(*t);
  return types;
}

std::vector<std::string> type_names() {
  engine_guard lock = lock_engine();
  std::vector<std::string> names;
  for (uint32_t id : all_type_ids()) {
    qr_node* n = node_create_with_type(id);
    std::string name = text([&](qr_char* b, int32_t c) { ::node_type_name(n, b, c); });
    node_delete(n);
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

const type_info& type_by_name(const std::string& name) {
  engine_guard lock = lock_engine();
  qr_node* n = node_create_by_type_name(utf16(name).c_str());
  if (!n) throw py::key_error(unknown_name("node type", name, type_names()));
  uint32_t id = node_type(n);
  node_delete(n);
  return *type_by_id(id);
}

const param_info* type_info::param(const std::string& name) const {
  for (const param_info& p : params)
    if (p.name == name) return &p;
  return nullptr;
}

std::vector<std::string> type_info::param_names() const {
  std::vector<std::string> names;
  for (const param_info& p : params) names.push_back(p.name);
  return names;
}

pvalue read_param(qr_node* n, const qr_renderctx* ctx, const param_info& p) {
  const uint32_t g = p.group_index, i = p.index;
  if (p.type == "curve") return {};
  if (p.type == "font") {
    float unused = 0;
    return utf8(read_text([&](qr_char* b, int32_t c) { node_param_value_indexed(n, ctx, b, c, &unused, g, i); }));
  }
  if (node_param_timecurve_enabled(n, p.wname.c_str()))
    check_time_curve(n, p, project_animedit_normalized_time(renderctx_project(ctx)));
  float curve_value = 0;
  uint32_t from_curve = 0;
  std::u16string stored = read_text([&](qr_char* b, int32_t c) {
    from_curve = node_param_value_keyed(n, ctx, b, c, &curve_value, p.wname.c_str());
  });
  if (from_curve) {
    if (p.type == "uint") return static_cast<uint32_t>(std::trunc(curve_value + 0.5f));
    if (p.type == "bool") return curve_value >= 0.5f;
    return curve_value;
  }
  if (p.type == "string") return utf8(stored);
  if (stored.empty()) return {};
  if (p.type == "uint") {
    uint32_t v = 0;
    if (!node_param_value_as_uint(n, ctx, &v, g, i)) return {};
    return v;
  }
  if (p.type == "float") {
    float v = 0;
    node_param_value_as_float(n, ctx, &v, g, i);
    return v;
  }
  if (p.type == "color_rgb") {
    std::array<float, 4> c{};
    if (!node_param_value_as_color(n, ctx, &c[0], &c[1], &c[2], &c[3], g, i)) return {};
    return c;
  }
  if (p.type == "bool") return stored == u"true";
  return utf8(stored);  // enum: the value's name as stored
}

void check_time_curve(qr_node* n, const param_info& p, float t) {
  if (p.type == "enum" || p.type == "string")
    throw py::value_error(node_label(n) + " has a time curve on its " + p.type + " parameter '" + p.name +
                          "', which cannot be animated");
  qr_curve* c = curve_create();
  node_param_timecurve_keyed(n, c, p.wname.c_str());
  bool covered = false;
  const float eps = 1.1920929e-7f;
  for (uint32_t i = 0, count = curve_item_count(c); i < count && !covered; ++i) {
    uint32_t type = 0;
    float points[10] = {};
    curve_item_at(c, i, &type, points, 5);
    uint32_t last = type == 0 ? 1 : type == 1 ? 3 : 4;
    float first_x = points[0], last_x = points[2 * last];
    covered = (t > first_x || std::fabs(t - first_x) <= eps) && (last_x > t || std::fabs(last_x - t) <= eps);
  }
  curve_delete(c);
  if (!covered)
    throw py::value_error("the time curve of parameter '" + p.name + "' of " + node_label(n) +
                          " does not cover the time " + std::to_string(t));
}

// ---- bindings -------------------------------------------------------------------------------------

void bind_catalogue(py::module_& m) {
  py::class_<port_info>(m, "Port", "An input or output of a node type.")
      .def_readonly("name", &port_info::name)
      .def_readonly("type", &port_info::type,
                    "'rgbstream', 'greystream' (images), 'scalar', 'scalar_color_rgb' or 'string' (values).")
      .def_readonly("description", &port_info::description)
      .def("__repr__", [](const port_info& p) { return "<quorin.Port " + p.name + ": " + p.type + ">"; });

  py::class_<param_info>(m, "ParamSpec", "A parameter of a node type, as the catalogue describes it.")
      .def_readonly("name", &param_info::name)
      .def_readonly("group", &param_info::group, "The name of the parameter group it stands in.")
      .def_readonly("type", &param_info::type,
                    "'uint', 'float', 'color_rgb', 'enum', 'bool', 'string', 'font' or 'curve'.")
      .def_readonly("description", &param_info::description)
      .def_property_readonly("default", [](const param_info& p) { return to_python(p.default_value); },
                             "The value a new node holds, as Node.params gives it; None if the type has none.")
      .def_readonly("min", &param_info::min, "The lower bound for editors, or None.")
      .def_readonly("max", &param_info::max, "The upper bound for editors, or None.")
      .def_readonly("enum_values", &param_info::enum_values, "The names of an enum's values, in order.")
      .def_readonly("curveable", &param_info::curveable, "Whether a time curve may animate it.")
      .def("__repr__", [](const param_info& p) {
        return "<quorin.ParamSpec " + p.name + ": " + p.type + " = " + py::repr(to_python(p.default_value)).cast<std::string>() + ">";
      });

  py::class_<type_info>(m, "NodeType", "A node type of the catalogue: its ports and parameters.")
      .def_readonly("name", &type_info::name)
      .def_readonly("type_id", &type_info::type_id)
      .def_readonly("is_generator", &type_info::is_generator)
      .def_readonly("disabled", &type_info::disabled, "True for types that editors hide from their menus.")
      .def_readonly("category", &type_info::category)
      .def_readonly("description", &type_info::description)
      .def_readonly("inputs", &type_info::inputs)
      .def_readonly("outputs", &type_info::outputs)
      .def_readonly("params", &type_info::params)
      .def(
          "param",
          [](const type_info& t, const std::string& name) {
            const param_info* p = t.param(name);
            if (!p) throw py::key_error(unknown_name(t.name + " parameter", name, t.param_names()));
            return *p;
          },
          py::arg("name"), "The parameter of that name; KeyError if the type has none.")
      .def("__repr__", [](const type_info& t) { return "<quorin.NodeType " + t.name + ">"; });

  m.def(
      "node_types", [] { return catalogue(); },
      "Every node type of the catalogue, generators first, in type id order.");
  m.def(
      "node_type", [](const std::string& name) { return type_by_name(name); }, py::arg("name"),
      "The node type of that exact name; KeyError listing the known names if there is none.");
}

}  // namespace quorin_py
