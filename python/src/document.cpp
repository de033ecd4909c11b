// Projects, graphs, nodes, settings and assets as Python objects over the C interface. Every
// object keeps its project alive; removing something through the package marks it deleted, and
// Python objects that still refer to it raise DeletedError instead of touching freed memory.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <unordered_set>

#include "catalogue.h"
#include "common.h"

namespace quorin_py {

namespace {

constexpr uint32_t type_scalar_expr = 1053;

[[noreturn]] void raise_os_error(PyObject* type, int err, const std::string& message, const std::string& path) {
  PyErr_SetObject(type, py::make_tuple(err, message, path).ptr());
  throw py::error_already_set();
}

// Negative indices count from the end, as for a list.
uint32_t list_index(int64_t index, uint32_t size, const char* what) {
  if (index < 0) index += size;
  if (index < 0 || index >= static_cast<int64_t>(size))
    throw py::index_error(std::string(what) + " index out of range");
  return static_cast<uint32_t>(index);
}

// ---- graphs ------------------------------------------------------------------------------------

std::vector<std::string> graph_names(qr_project* p) {
  std::vector<std::string> names;
  for (uint32_t i = 0, n = project_graph_count(p); i < n; ++i) names.push_back(graph_name(project_graph_at(p, i)));
  return names;
}

graph_ref graph_by_name(const project_ref& pr, const std::string& name) {
  qr_project* p = pr.st->project;
  for (uint32_t i = 0, n = project_graph_count(p); i < n; ++i)
    if (graph_name(project_graph_at(p, i)) == name) return graph_ref(pr.st, project_graph_at(p, i));
  throw py::key_error(unknown_name("graph", name, graph_names(p)));
}

graph_ref graph_at(const project_ref& pr, int64_t index) {
  qr_project* p = pr.st->project;
  return graph_ref(pr.st, project_graph_at(p, list_index(index, project_graph_count(p), "graph")));
}

bool owns_graph(qr_project* p, qr_graph* g) {
  for (uint32_t i = 0, n = project_graph_count(p); i < n; ++i)
    if (project_graph_at(p, i) == g) return true;
  return false;
}

void remove_graph(const project_ref& pr, const graph_ref& g) {
  if (g.st != pr.st) throw py::value_error("the graph belongs to another project");
  engine_guard lock = g.use();
  for (uint32_t i = 0, n = graph_node_count(g.graph); i < n; ++i) pr.st->kill(graph_node_at(g.graph, i));
  pr.st->kill(g.graph);
  project_delete_graph(pr.st->project, g.graph);
}

// ---- nodes -----------------------------------------------------------------------------------------

std::vector<std::string> node_names(qr_graph* g) {
  std::vector<std::string> names;
  for (uint32_t i = 0, n = graph_node_count(g); i < n; ++i) {
    std::string name = node_name(graph_node_at(g, i));
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

node_ref node_by_name(const graph_ref& g, const std::string& name) {
  for (uint32_t i = 0, n = graph_node_count(g.graph); i < n; ++i)
    if (node_name(graph_node_at(g.graph, i)) == name) return node_ref(g, graph_node_at(g.graph, i));
  throw py::key_error(unknown_name("node", name, node_names(g.graph), " in graph '" + graph_name(g.graph) + "'"));
}

void remove_node(const graph_ref& g, const node_ref& n) {
  engine_guard lock = n.use();
  if (n.graph != g.graph || n.st != g.st) throw py::value_error("the node belongs to another graph");
  qr_graph* graph = g.graph;
  qr_node* node = n.node;
  if (graph_primary_selection(graph) == node) graph_set_primary_selection(graph, nullptr);
  else if (node_is_secondary_selected(node)) graph_toggle_secondary_selection(graph, node);
  // The graph's own clean-up reaches only the first 16 consumers of an output; every consumer is
  // disconnected here so that none keeps a pointer to the deleted node.
  for (uint32_t out = 0, outs = node_output_count(node); out < outs; ++out) {
    while (node_input_count_for_output(node, out) > 0) {
      if (qr_node* consumer = node_input_for_output(node, out, 0)) node_remove_all_outputs_for_input(consumer, node);
      node_remove_input_for_output_connidx(node, out, 0);
    }
  }
  graph_delete_node(graph, node);
  g.st->kill(node);
}

const type_info& node_spec(qr_node* n) {
  static const type_info none{};
  const type_info* t = type_by_id(node_type(n));
  return t ? *t : none;
}

std::vector<std::string> port_names(qr_node* n, bool inputs) {
  std::vector<std::string> names;
  uint32_t count = inputs ? node_input_count(n) : node_output_count(n);
  for (uint32_t i = 0; i < count; ++i)
    names.push_back(utf8(read_text([&](qr_char* b, int32_t c) {
      inputs ? node_input_name(n, b, c, i) : node_output_name(n, b, c, i);
    })));
  return names;
}

uint32_t port_index(qr_node* n, const std::string& name, bool inputs) {
  std::vector<std::string> names = port_names(n, inputs);
  for (uint32_t i = 0; i < names.size(); ++i)
    if (names[i] == name) return i;
  throw py::key_error(unknown_name(inputs ? "input" : "output", name, names, " of " + node_label(n)));
}

// Connects `source` (its output `output`, by default the first) to the input of `n`, keeping both
// ends as the graph does; a null source disconnects the input.
void connect(const node_ref& n, const std::string& input, const py::object& source_obj, const py::object& output) {
  engine_guard lock = n.use();
  port_index(n.node, input, true);  // KeyError listing the inputs
  std::u16string win = utf16(input);
  qr_node* source = nullptr;
  uint32_t out = 0;
  if (!source_obj.is_none()) {
    const node_ref& src = source_obj.cast<const node_ref&>();
    engine_guard src_lock = src.use();
    if (src.graph != n.graph || src.st != n.st) throw py::value_error("nodes of different graphs cannot be connected");
    if (node_output_count(src.node) == 0) throw py::value_error(node_label(src.node) + " has no output");
    if (!output.is_none()) out = port_index(src.node, output.cast<std::string>(), false);
    std::vector<qr_node*> above = upstream_nodes(src.node);
    if (std::find(above.begin(), above.end(), n.node) != above.end())
      throw py::value_error("connecting " + node_label(src.node) + " to " + node_label(n.node) +
                            " would close a circle of connections");
    source = src.node;
  }
  if (qr_node* old = node_outputnode_for_inputname(n.node, win.c_str())) {
    for (uint32_t o = 0, outs = node_output_count(old); o < outs; ++o) {
      bool listed = false;
      for (uint32_t i = 0, c = node_input_count_for_output(old, o); i < c && !listed; ++i)
        listed = node_input_for_output(old, o, i) == n.node;
      if (listed) {
        node_remove_input_for_output_node(old, o, n.node);
        break;
      }
    }
  }
  node_set_output_for_input_keyed(n.node, win.c_str(), source);
  if (source) node_add_input_for_output(source, out, n.node);
}

// ---- parameters ------------------------------------------------------------------------------------

const param_info& param_of(qr_node* n, const std::string& name) {
  const type_info& t = node_spec(n);
  const param_info* p = t.param(name);
  if (!p) throw py::key_error(unknown_name("parameter", name, t.param_names(), " of " + node_label(n)));
  return *p;
}

double number_of(const param_info& p, const py::handle& v) {
  if (PyBool_Check(v.ptr()) || PyUnicode_Check(v.ptr()) || !PyNumber_Check(v.ptr()))
    throw py::type_error("parameter '" + p.name + "' is a " + p.type + ", not " +
                         py::str(v.get_type().attr("__name__")).cast<std::string>());
  return py::float_(py::reinterpret_borrow<py::object>(v)).cast<double>();
}

void set_text(qr_node* n, const param_info& p, const std::u16string& text) {
  try {
    node_set_param_value(n, p.wname.c_str(), text.c_str());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    // Only a formula's parse raises here; the text stays stored, the old formula stays in use.
    throw expression_error("cannot parse the " + p.name + " '" + utf8(text) + "' of " + node_label(n) + ": " + e.what());
  }
}

void write_param(qr_node* n, const param_info& p, const py::handle& v) {
  const uint32_t g = p.group_index, i = p.index;
  if (p.type == "uint") {
    if (PyBool_Check(v.ptr()) || !PyIndex_Check(v.ptr()))
      throw py::type_error("parameter '" + p.name + "' is a uint and takes an int");
    py::int_ big = py::reinterpret_steal<py::int_>(PyNumber_Index(v.ptr()));
    long long value = PyLong_AsLongLong(big.ptr());
    // The engine reads uint texts as signed 32-bit numbers: larger ones would read as 2147483647.
    if (PyErr_Occurred() || value < 0 || value > 0x7fffffffLL) {
      PyErr_Clear();
      throw py::value_error("parameter '" + p.name + "' takes 0 to 2147483647, not " + py::str(big).cast<std::string>());
    }
    node_set_param_value_uint(n, g, i, static_cast<uint32_t>(value));
  } else if (p.type == "float") {
    node_set_param_value_float(n, g, i, static_cast<float>(number_of(p, v)));
  } else if (p.type == "bool") {
    bool on;
    if (PyBool_Check(v.ptr())) on = v.ptr() == Py_True;
    else if (py::hasattr(v, "dtype") && py::str(v.attr("dtype")).cast<std::string>() == "bool") on = v.cast<bool>();
    else throw py::type_error("parameter '" + p.name + "' is a bool and takes True or False");
    set_text(n, p, on ? u"true" : u"false");
  } else if (p.type == "enum") {
    std::string name;
    if (PyUnicode_Check(v.ptr())) {
      name = v.cast<std::string>();
      if (std::find(p.enum_values.begin(), p.enum_values.end(), name) == p.enum_values.end())
        throw py::value_error(unknown_name("value", name, p.enum_values, " for enum parameter '" + p.name + "'"));
    } else if (!PyBool_Check(v.ptr()) && PyIndex_Check(v.ptr())) {
      long long index = py::reinterpret_steal<py::int_>(PyNumber_Index(v.ptr())).cast<long long>();
      if (index < 0 || index >= static_cast<long long>(p.enum_values.size()))
        throw py::value_error("enum parameter '" + p.name + "' has values 0 to " +
                              std::to_string(p.enum_values.size() - 1) + " (" + choices_text(p.enum_values) +
                              "), not " + std::to_string(index));
      name = p.enum_values[static_cast<std::size_t>(index)];
    } else {
      throw py::type_error("enum parameter '" + p.name + "' takes a value's name or its index");
    }
    set_text(n, p, utf16(name));
  } else if (p.type == "color_rgb") {
    if (PyUnicode_Check(v.ptr()) || !PySequence_Check(v.ptr()))
      throw py::type_error("colour parameter '" + p.name + "' takes a tuple (r, g, b) or (r, g, b, a)");
    py::sequence s = py::reinterpret_borrow<py::sequence>(v);
    if (s.size() != 3 && s.size() != 4)
      throw py::value_error("colour parameter '" + p.name + "' takes 3 or 4 components, not " + std::to_string(s.size()));
    float c[4] = {0, 0, 0, 1};
    for (std::size_t k = 0; k < s.size(); ++k) c[k] = static_cast<float>(number_of(p, s[k]));
    node_set_param_value_color(n, g, i, c[0], c[1], c[2], c[3]);
  } else if (p.type == "string") {
    if (!PyUnicode_Check(v.ptr())) throw py::type_error("parameter '" + p.name + "' is a string and takes a str");
    set_text(n, p, utf16(v.cast<std::string>()));
  } else {
    throw py::type_error("parameter '" + p.name + "' is a " + p.type + " and cannot be set from Python");
  }
}

// ---- settings ------------------------------------------------------------------------------------

struct settings_view {
  project_ref p;
};

template <class Get, class Set>
void def_uint_setting(py::class_<settings_view>& c, const char* name, Get get, Set set, const char* doc) {
  c.def_property(
      name,
      [get](const settings_view& s) {
        engine_guard lock = s.p.use();
        return get(s.p.st->project);
      },
      [set](const settings_view& s, uint32_t v) {
        engine_guard lock = s.p.use();
        set(s.p.st->project, v);
      },
      doc);
}

template <class Get, class Set>
void def_bool_setting(py::class_<settings_view>& c, const char* name, Get get, Set set, const char* doc) {
  c.def_property(
      name,
      [get](const settings_view& s) {
        engine_guard lock = s.p.use();
        return get(s.p.st->project) != 0;
      },
      [set](const settings_view& s, bool v) {
        engine_guard lock = s.p.use();
        set(s.p.st->project, v ? 1u : 0u);
      },
      doc);
}

// ---- assets --------------------------------------------------------------------------------------------

struct asset_list {
  project_ref p;
  qr_assets* assets() const { return project_assets(p.st->project); }
};

std::vector<std::string> asset_names(qr_assets* c) {
  std::vector<std::string> names;
  for (uint32_t i = 0, n = assets_count(c); i < n; ++i)
    names.push_back(utf8(read_text([&](qr_char* b, int32_t cap) { asset_name(assets_at(c, i), b, cap); })));
  return names;
}

struct graph_list {
  project_ref p;
};
struct node_list {
  graph_ref g;
};

template <class T, class Ref>
bool same(const Ref& a, const py::object& other, T Ref::*member) {
  if (!py::isinstance<Ref>(other)) return false;
  const Ref& b = other.cast<const Ref&>();
  return a.st == b.st && a.*member == b.*member;
}

}  // namespace

std::vector<qr_node*> upstream_nodes(qr_node* start) {
  std::vector<qr_node*> order;
  std::unordered_set<qr_node*> done, on_path;
  std::function<void(qr_node*)> visit = [&](qr_node* n) {
    if (done.count(n)) return;
    if (!on_path.insert(n).second)
      throw py::value_error("the connections above " + node_label(start) + " run in a circle through " + node_label(n));
    order.push_back(n);
    for (uint32_t i = 0, c = node_input_count(n); i < c; ++i)
      if (qr_node* src = node_outputnode_for_input_at(n, i)) visit(src);
    on_path.erase(n);
    done.insert(n);
  };
  visit(start);
  return order;
}

std::string absolute_path(const py::object& path) {
  std::string s = py::module_::import("os").attr("fspath")(path).cast<std::string>();
  std::error_code ec;
  std::filesystem::path abs = std::filesystem::absolute(s, ec);
  return ec ? s : abs.lexically_normal().string();
}

void bind_document(py::module_& m) {
  // ---- Project -----------------------------------------------------------------------------
  py::class_<project_ref> project(m, "Project",
                                  "A project: graphs of nodes, render settings and image assets.\n\n"
                                  "Graphs, nodes and assets keep their project alive; close() (or leaving a\n"
                                  "`with` block) frees it at once, and objects of it then raise DeletedError.");
  project
      .def(py::init([] {
             engine_guard lock = lock_engine();
             return project_ref{std::make_shared<project_state>(project_create())};
           }),
           "A new, empty project with the default settings (256 by 256).")
      .def_static(
          "read",
          [](const py::object& path_obj) {
            std::string path = absolute_path(path_obj);
            std::string shown = py::str(path_obj).cast<std::string>();
            std::error_code ec;
            if (!std::filesystem::exists(path, ec)) raise_os_error(PyExc_FileNotFoundError, ENOENT, "No such file", shown);
            if (std::filesystem::is_directory(path, ec))
              raise_os_error(PyExc_IsADirectoryError, EISDIR, "Is a directory", shown);
            engine_guard lock = lock_engine();
            project_ref pr{std::make_shared<project_state>(project_create())};
            if (!project_read_from_file_xml(pr.st->project, utf16(path).c_str()))
              throw project_error("not a project file the engine can read: " + shown);
            // Formulas travel as text; setting each again parses it, as an editor does on opening.
            qr_project* p = pr.st->project;
            for (uint32_t gi = 0, gn = project_graph_count(p); gi < gn; ++gi) {
              qr_graph* g = project_graph_at(p, gi);
              for (uint32_t ni = 0, nn = graph_node_count(g); ni < nn; ++ni) {
                qr_node* n = graph_node_at(g, ni);
                if (node_type(n) != type_scalar_expr) continue;
                const param_info& spec = param_of(n, "expression");
                std::string text = std::get<std::string>(read_param(n, pr.st->value_ctx, spec));
                if (text.empty()) continue;
                try {
                  set_text(n, spec, utf16(text));
                } catch (const expression_error& e) {
                  throw expression_error(shown + ", graph '" + graph_name(g) + "': " + e.what());
                }
              }
            }
            return pr;
          },
          py::arg("path"),
          "Reads a project file. FileNotFoundError if there is no such file, ProjectError if the\n"
          "engine refuses it, ExpressionError if a formula in it cannot be parsed.")
      .def(
          "write",
          [](const project_ref& pr, const py::object& path_obj) {
            std::string path = absolute_path(path_obj);
            engine_guard lock = pr.use();
            if (!project_write_xml_to_file(pr.st->project, utf16(path).c_str()))
              throw project_error("cannot write the project file " + py::str(path_obj).cast<std::string>());
          },
          py::arg("path"), "Writes the project file; ProjectError if it cannot be written.")
      .def(
          "close",
          [](const project_ref& pr) {
            engine_guard lock = lock_engine();
            pr.st->close();
          },
          "Frees the project now; its graphs, nodes and assets raise DeletedError afterwards.")
      .def_property_readonly("closed", [](const project_ref& pr) { return !pr.st->open(); })
      .def("__enter__", [](const project_ref& pr) { return pr; })
      .def("__exit__", [](const project_ref& pr, py::args) {
        engine_guard lock = lock_engine();
        pr.st->close();
      })
      .def_property_readonly("graphs", [](const project_ref& pr) { return graph_list{pr}; },
                             "The graphs, by index or by name.")
      .def_property_readonly("settings", [](const project_ref& pr) { return settings_view{pr}; },
                             "Render size and the other settings, typed, plus free text settings by name.")
      .def_property_readonly("assets", [](const project_ref& pr) { return asset_list{pr}; },
                             "The image assets, by index or by name.")
      .def_property(
          "time",
          [](const project_ref& pr) {
            engine_guard lock = pr.use();
            return project_animedit_normalized_time(pr.st->project);
          },
          [](const project_ref& pr, float t) {
            if (!(t >= 0.0f && t <= 1.0f)) throw py::value_error("the time runs from 0 to 1");
            engine_guard lock = pr.use();
            project_animedit_set_normalized_time(pr.st->project, t);
          },
          "The normalised animation time, 0 to 1, that time curves and Time nodes read.")
      .def("__eq__", [](const project_ref& a, const py::object& b) {
        return py::isinstance<project_ref>(b) && b.cast<const project_ref&>().st == a.st;
      })
      .def("__hash__", [](const project_ref& pr) { return std::hash<const void*>()(pr.st.get()); })
      .def("__repr__", [](const project_ref& pr) {
        engine_guard lock = lock_engine();
        if (!pr.st->open()) return std::string("<quorin.Project (closed)>");
        return "<quorin.Project with " + std::to_string(project_graph_count(pr.st->project)) + " graphs>";
      });

  // ---- graph list ------------------------------------------------------------------------------
  py::class_<graph_list>(m, "GraphList", "The graphs of a project: by index, by name, iterable.")
      .def("__len__", [](const graph_list& l) {
        engine_guard lock = l.p.use();
        return project_graph_count(l.p.st->project);
      })
      .def("__getitem__", [](const graph_list& l, int64_t i) {
        engine_guard lock = l.p.use();
        return graph_at(l.p, i);
      })
      .def("__getitem__", [](const graph_list& l, const std::string& name) {
        engine_guard lock = l.p.use();
        return graph_by_name(l.p, name);
      })
      .def("__iter__", [](const graph_list& l) {
        engine_guard lock = l.p.use();
        py::list out;
        for (uint32_t i = 0, n = project_graph_count(l.p.st->project); i < n; ++i) out.append(graph_at(l.p, i));
        return py::iter(out);
      })
      .def("__contains__", [](const graph_list& l, const py::object& what) {
        engine_guard lock = l.p.use();
        if (py::isinstance<py::str>(what)) {
          std::vector<std::string> names = graph_names(l.p.st->project);
          return std::find(names.begin(), names.end(), what.cast<std::string>()) != names.end();
        }
        if (!py::isinstance<graph_ref>(what)) return false;
        const graph_ref& g = what.cast<const graph_ref&>();
        return g.st == l.p.st && g.tok->alive && owns_graph(l.p.st->project, g.graph);
      })
      .def(
          "add",
          [](const graph_list& l, const std::string& name, bool activate) {
            engine_guard lock = l.p.use();
            qr_project* p = l.p.st->project;
            qr_graph* g = activate ? project_add_graph_and_activate(p) : project_add_graph(p);
            graph_set_name(g, utf16(name).c_str());
            return graph_ref(l.p.st, g);
          },
          py::arg("name") = "", py::kw_only(), py::arg("activate") = false,
          "Appends a new, empty graph; with activate=True it becomes the active graph.")
      .def(
          "remove",
          [](const graph_list& l, const py::object& which) {
            engine_guard lock = l.p.use();
            graph_ref g = py::isinstance<py::str>(which) ? graph_by_name(l.p, which.cast<std::string>())
                                                        : which.cast<graph_ref>();
            remove_graph(l.p, g);
          },
          py::arg("graph"),
          "Deletes a graph (given as Graph or by name) with its nodes; no graph is active afterwards.")
      .def_property(
          "active",
          [](const graph_list& l) -> std::optional<graph_ref> {
            engine_guard lock = l.p.use();
            qr_project* p = l.p.st->project;
            int32_t index = project_active_graph_idx(p);
            if (index < 0 || static_cast<uint32_t>(index) >= project_graph_count(p)) return std::nullopt;
            return graph_ref(l.p.st, project_graph_at(p, static_cast<uint32_t>(index)));
          },
          [](const graph_list& l, const std::optional<graph_ref>& g) {
            engine_guard lock = l.p.use();
            qr_project* p = l.p.st->project;
            int32_t index = -1;
            if (g) {
              engine_guard glock = g->use();
              if (g->st != l.p.st) throw py::value_error("the graph belongs to another project");
              for (uint32_t i = 0, n = project_graph_count(p); i < n; ++i)
                if (project_graph_at(p, i) == g->graph) index = static_cast<int32_t>(i);
            }
            project_activate_graph_by_idx(p, index);
          },
          "The active graph, or None; set a Graph of this project, or None.");

  // ---- Graph --------------------------------------------------------------------------------------
  py::class_<graph_ref>(m, "Graph", "A graph of nodes; it belongs to its project.")
      .def_property(
          "name",
          [](const graph_ref& g) {
            engine_guard lock = g.use();
            return graph_name(g.graph);
          },
          [](const graph_ref& g, const std::string& name) {
            engine_guard lock = g.use();
            graph_set_name(g.graph, utf16(name).c_str());
          })
      .def_property_readonly("project", [](const graph_ref& g) {
        engine_guard lock = g.use();
        return project_ref{g.st};
      })
      .def_property_readonly("nodes", [](const graph_ref& g) { return node_list{g}; },
                             "The nodes, by index or by name.")
      .def(
          "add",
          [](const graph_ref& g, const std::string& type_name, const std::string& name) {
            engine_guard lock = g.use();
            type_by_name(type_name);  // KeyError listing the known types
            qr_node* n = node_create_by_type_name(utf16(type_name).c_str());
            if (!name.empty()) node_set_name(n, utf16(name).c_str());
            // Side by side in an editor's view rather than on top of one another.
            node_set_display_x(n, 10 + 200 * static_cast<int32_t>(graph_node_count(g.graph) % 16));
            node_set_display_y(n, 10 + 220 * static_cast<int32_t>(graph_node_count(g.graph) / 16));
            graph_add_node(g.graph, n);
            return node_ref(g, n);
          },
          py::arg("type_name"), py::kw_only(), py::arg("name") = "",
          "Adds a new node of the named type (see node_types()) with its default parameters.\n"
          "KeyError, listing the known types, if there is no such type.")
      .def(
          "remove", [](const graph_ref& g, const node_ref& n) { remove_node(g, n); }, py::arg("node"),
          "Deletes a node and every connection to and from it.")
      .def("__eq__", [](const graph_ref& a, const py::object& b) { return same(a, b, &graph_ref::graph); })
      .def("__hash__", [](const graph_ref& g) { return std::hash<const void*>()(g.graph); })
      .def("__repr__", [](const graph_ref& g) {
        try {
          engine_guard lock = g.use();
          return "<quorin.Graph '" + graph_name(g.graph) + "' with " + std::to_string(graph_node_count(g.graph)) +
                 " nodes>";
        } catch (const deleted_error&) {
          return std::string("<quorin.Graph (deleted)>");
        }
      });

  // ---- node list -------------------------------------------------------------------------------------
  py::class_<node_list>(m, "NodeList", "The nodes of a graph: by index, by name, iterable.")
      .def("__len__", [](const node_list& l) {
        engine_guard lock = l.g.use();
        return graph_node_count(l.g.graph);
      })
      .def("__getitem__", [](const node_list& l, int64_t i) {
        engine_guard lock = l.g.use();
        return node_ref(l.g, graph_node_at(l.g.graph, list_index(i, graph_node_count(l.g.graph), "node")));
      })
      .def("__getitem__", [](const node_list& l, const std::string& name) {
        engine_guard lock = l.g.use();
        return node_by_name(l.g, name);
      })
      .def("__iter__", [](const node_list& l) {
        engine_guard lock = l.g.use();
        py::list out;
        for (uint32_t i = 0, n = graph_node_count(l.g.graph); i < n; ++i) out.append(node_ref(l.g, graph_node_at(l.g.graph, i)));
        return py::iter(out);
      })
      .def("__contains__", [](const node_list& l, const py::object& what) {
        engine_guard lock = l.g.use();
        if (py::isinstance<py::str>(what)) {
          std::vector<std::string> names = node_names(l.g.graph);
          return std::find(names.begin(), names.end(), what.cast<std::string>()) != names.end();
        }
        if (!py::isinstance<node_ref>(what)) return false;
        const node_ref& n = what.cast<const node_ref&>();
        return n.st == l.g.st && n.graph == l.g.graph && n.tok->alive;
      })
      .def(
          "remove", [](const node_list& l, const node_ref& n) { remove_node(l.g, n); }, py::arg("node"),
          "Deletes a node and every connection to and from it.");

  // ---- Node ------------------------------------------------------------------------------------------
  py::class_<node_ref>(m, "Node", "A node of a graph; it belongs to its graph.")
      .def_property_readonly(
          "type",
          [](const node_ref& n) {
            engine_guard lock = n.use();
            return node_type_name(n.node);
          },
          "The name of the node's type.")
      .def_property_readonly(
          "type_id",
          [](const node_ref& n) {
            engine_guard lock = n.use();
            return node_type(n.node);
          })
      .def_property_readonly(
          "spec",
          [](const node_ref& n) {
            engine_guard lock = n.use();
            return node_spec(n.node);
          },
          "The catalogue's description of the node's type.")
      .def_property(
          "name",
          [](const node_ref& n) {
            engine_guard lock = n.use();
            return node_name(n.node);
          },
          [](const node_ref& n, const std::string& name) {
            engine_guard lock = n.use();
            node_set_name(n.node, utf16(name).c_str());
          })
      .def_property(
          "disabled",
          [](const node_ref& n) {
            engine_guard lock = n.use();
            return node_is_disabled(n.node) != 0;
          },
          [](const node_ref& n, bool off) {
            engine_guard lock = n.use();
            node_set_disabled(n.node, off);
          },
          "A disabled node passes its first image input through (a generator renders blank).")
      .def_property_readonly("graph", [](const node_ref& n) {
        engine_guard lock = n.use();
        return n.owner();
      })
      .def_property_readonly(
          "inputs",
          [](const node_ref& n) {
            engine_guard lock = n.use();
            py::dict out;
            std::vector<std::string> names = port_names(n.node, true);
            for (uint32_t i = 0; i < names.size(); ++i) {
              qr_node* src = node_outputnode_for_input_at(n.node, i);
              out[py::str(names[i])] = src ? py::cast(node_ref(n.owner(), src)) : py::none();
            }
            return out;
          },
          "The node's inputs in order, each with the node connected to it or None.")
      .def("connect", &connect, py::arg("input"), py::arg("source").none(true), py::arg("output") = py::none(),
           "Connects the source node's output (by default its first) to the named input;\n"
           "None disconnects it. KeyError for an unknown input or output name, ValueError for a\n"
           "node of another graph or a connection that would close a circle.")
      .def("_param_names",
           [](const node_ref& n) {
             engine_guard lock = n.use();
             std::vector<std::string> names;
             for (const param_info& p : node_spec(n.node).params)
               if (p.type != "curve") names.push_back(p.name);
             return names;
           })
      .def("_param",
           [](const node_ref& n, const std::string& name) {
             engine_guard lock = n.use();
             const param_info& p = param_of(n.node, name);
             if (p.type == "curve")
               throw py::type_error("parameter '" + name + "' is a curve, which the package does not edit");
             return to_python(read_param(n.node, n.st->value_ctx, p));
           })
      .def("_set_param",
           [](const node_ref& n, const std::string& name, const py::object& value) {
             engine_guard lock = n.use();
             write_param(n.node, param_of(n.node, name), value);
           })
      .def("__eq__", [](const node_ref& a, const py::object& b) { return same(a, b, &node_ref::node); })
      .def("__hash__", [](const node_ref& n) { return std::hash<const void*>()(n.node); })
      .def("__repr__", [](const node_ref& n) {
        try {
          engine_guard lock = n.use();
          return "<quorin.Node " + node_label(n.node) + ">";
        } catch (const deleted_error&) {
          return std::string("<quorin.Node (deleted)>");
        }
      });

  // ---- Settings ---------------------------------------------------------------------------------------
  py::class_<settings_view> settings(m, "Settings",
                                     "A project's settings: typed attributes, and every setting's text by name\n"
                                     "(settings['render-size-x']). Reading a name that is not set gives '' and,\n"
                                     "as in the engine, adds it empty.");
  def_uint_setting(settings, "width", project_width, project_set_width, "Render width in pixels.");
  def_uint_setting(settings, "height", project_height, project_set_height, "Render height in pixels.");
  def_uint_setting(settings, "preview_permille", project_preview_permille, project_set_preview_permille,
                   "Preview scale in thousandths.");
  def_bool_setting(settings, "preview_showalpha", project_preview_showalpha, project_set_preview_showalpha, "");
  def_bool_setting(settings, "preview_supersampling", project_preview_supersampling,
                   project_set_preview_supersampling, "Whether previews may supersample.");
  def_uint_setting(settings, "max_undo_redo_steps", project_max_undo_redo_steps, project_set_max_undo_redo_steps, "");
  def_uint_setting(settings, "animation_frames", project_animation_frames, project_set_animation_frames, "");
  def_uint_setting(settings, "renderthreads_spectype_editor", project_renderthreads_spectype_editor,
                   project_set_renderthreads_spectype_editor, "0 absolute, 1 percentage.");
  def_uint_setting(settings, "renderthreads_editor", project_renderthreads_editor, project_set_renderthreads_editor, "");
  def_uint_setting(settings, "renderthreads_spectype_editor_preview", project_renderthreads_spectype_editor_preview,
                   project_set_renderthreads_spectype_editor_preview, "0 absolute, 1 percentage.");
  def_uint_setting(settings, "renderthreads_editor_preview", project_renderthreads_editor_preview,
                   project_set_renderthreads_editor_preview, "");
  settings
      .def("__getitem__",
           [](const settings_view& s, const std::string& name) {
             engine_guard lock = s.p.use();
             return utf8(read_text([&](qr_char* b, int32_t c) { project_setting(s.p.st->project, utf16(name).c_str(), b, c); }));
           })
      .def("__setitem__", [](const settings_view& s, const std::string& name, const std::string& value) {
        if (name.empty()) throw py::key_error("a setting needs a name");
        engine_guard lock = s.p.use();
        project_add_setting(s.p.st->project, utf16(name).c_str(), utf16(value).c_str());
      });

  // ---- assets ---------------------------------------------------------------------------------------------
  py::class_<asset_list>(m, "AssetList", "The image assets of a project: by index, by name, iterable.")
      .def("__len__", [](const asset_list& l) {
        engine_guard lock = l.p.use();
        return assets_count(l.assets());
      })
      .def("__getitem__", [](const asset_list& l, int64_t i) {
        engine_guard lock = l.p.use();
        return asset_ref(l.p.st, assets_at(l.assets(), list_index(i, assets_count(l.assets()), "asset")));
      })
      .def("__getitem__", [](const asset_list& l, const std::string& name) {
        engine_guard lock = l.p.use();
        std::vector<std::string> names = asset_names(l.assets());
        for (uint32_t i = 0; i < names.size(); ++i)
          if (names[i] == name) return asset_ref(l.p.st, assets_at(l.assets(), i));
        throw py::key_error(unknown_name("asset", name, names));
      })
      .def("__iter__", [](const asset_list& l) {
        engine_guard lock = l.p.use();
        py::list out;
        for (uint32_t i = 0, n = assets_count(l.assets()); i < n; ++i) out.append(asset_ref(l.p.st, assets_at(l.assets(), i)));
        return py::iter(out);
      })
      .def(
          "load",
          [](const asset_list& l, const py::object& path_obj, const std::string& name, bool activate) {
            std::string path = absolute_path(path_obj);
            std::string shown = py::str(path_obj).cast<std::string>();
            std::error_code ec;
            if (!std::filesystem::is_regular_file(path, ec)) raise_os_error(PyExc_FileNotFoundError, ENOENT, "No such file", shown);
            engine_guard lock = l.p.use();
            std::string asset = name.empty() ? std::filesystem::path(path).stem().string() : name;
            if (!assets_load_embedded(l.assets(), utf16(path).c_str(), activate, utf16(asset).c_str()))
              throw py::value_error("not an image the engine can decode: " + shown);
            return asset_ref(l.p.st, assets_at(l.assets(), assets_count(l.assets()) - 1));
          },
          py::arg("path"), py::arg("name") = "", py::kw_only(), py::arg("activate") = false,
          "Embeds an image file (PNG, JPEG, JPEG XR, DDS, TGA) as a new asset, named after the file\n"
          "unless a name is given. ValueError if the engine cannot decode it.")
      .def(
          "remove",
          [](const asset_list& l, const asset_ref& a) {
            engine_guard lock = a.use();
            if (a.st != l.p.st) throw py::value_error("the asset belongs to another project");
            for (uint32_t i = 0, n = assets_count(l.assets()); i < n; ++i)
              if (assets_at(l.assets(), i) == a.asset) {
                l.p.st->kill(a.asset);
                assets_delete_at(l.assets(), i);
                return;
              }
          },
          py::arg("asset"), "Deletes the asset.");

  py::class_<asset_ref>(m, "Asset", "An image asset; it belongs to its project.")
      .def_property(
          "name",
          [](const asset_ref& a) {
            engine_guard lock = a.use();
            return utf8(read_text([&](qr_char* b, int32_t c) { asset_name(a.asset, b, c); }));
          },
          [](const asset_ref& a, const std::string& name) {
            engine_guard lock = a.use();
            asset_set_name(a.asset, utf16(name).c_str());
          })
      .def_property(
          "filepath",
          [](const asset_ref& a) {
            engine_guard lock = a.use();
            return utf8(read_text([&](qr_char* b, int32_t c) { asset_filepath(a.asset, b, c); }));
          },
          [](const asset_ref& a, const std::string& path) {
            engine_guard lock = a.use();
            asset_set_filepath(a.asset, utf16(path).c_str());
          },
          "The path of a linked asset (empty for one embedded from a file).")
      .def_property_readonly(
          "embedded",
          [](const asset_ref& a) {
            engine_guard lock = a.use();
            return asset_linkage(a.asset) == 1;
          },
          "True if the image file's bytes travel inside the project file.")
      .def_property_readonly(
          "image",
          [](const asset_ref& a) -> py::object {
            engine_guard lock = a.use();
            qr_imgbuf4f* img = asset_imgbuf(a.asset);
            if (!img) return py::none();
            uint32_t w = imgbuf4f_width(img), h = imgbuf4f_height(img);
            py::array_t<float> out({static_cast<py::ssize_t>(h), static_cast<py::ssize_t>(w), py::ssize_t{4}});
            std::memcpy(out.mutable_data(), imgbuf4f_buf(img), std::size_t{w} * h * 16);
            return out;
          },
          "A copy of the decoded image, shape (height, width, 4) float32, or None.")
      .def("__eq__", [](const asset_ref& a, const py::object& b) { return same(a, b, &asset_ref::asset); })
      .def("__hash__", [](const asset_ref& a) { return std::hash<const void*>()(a.asset); })
      .def("__repr__", [](const asset_ref& a) {
        try {
          engine_guard lock = a.use();
          return "<quorin.Asset '" + utf8(read_text([&](qr_char* b, int32_t c) { asset_name(a.asset, b, c); })) + "'>";
        } catch (const deleted_error&) {
          return std::string("<quorin.Asset (deleted)>");
        }
      });
}

}  // namespace quorin_py
