// Shared pieces of the Python extension: the engine lock, text conversion, exception types and
// the handles that tie graphs, nodes and assets to the project that owns them.
#pragma once
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "quorin/quorin.h"

namespace py = pybind11;

namespace quorin_py {

// ---- exceptions that become the package's own Python exceptions ----------------------------

// An object whose owner (project, graph) was closed or removed it: quorin.DeletedError.
struct deleted_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// A project file the reader refuses or cannot write: quorin.ProjectError.
struct project_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// A formula the expression parser refuses: quorin.ExpressionError (a ValueError).
struct expression_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// ---- the engine lock ----------------------------------------------------------------------------

// The engine is not thread-safe (lazily built tables, unsynchronised nodes): every call into it
// holds this lock. Renders release the GIL first, so other Python threads run meanwhile.
using engine_guard = std::unique_lock<std::recursive_mutex>;
engine_guard lock_engine();  // throws once the engine was cleaned up at exit
void shut_engine();          // cleanup(), once; later calls into the engine raise

// ---- text ------------------------------------------------------------------------------------------

// Conversions through Python's codecs: they need the GIL, which every caller holds.
std::string utf8(const std::u16string& text);
std::u16string utf16(const std::string& text);

// Reads a text the engine hands out through (buffer, capacity), growing the buffer when the text
// might not have fitted (an overlong text comes back empty).
template <class Read>
std::u16string read_text(Read&& read) {
  for (int32_t cap : {512, 1 << 16, 1 << 22}) {
    std::u16string buf(static_cast<std::size_t>(cap), u'\0');
    read(buf.data(), cap);
    std::size_t n = std::char_traits<char16_t>::length(buf.c_str());
    if (n > 0) return buf.substr(0, n);
  }
  return {};
}

// "'a', 'b', 'c'" for messages.
std::string choices_text(const std::vector<std::string>& names);
// "unknown WHAT 'name'WHERE; did you mean 'Name'?; valid choices: ...", the suggestion only for a
// name that differs in case alone.
std::string unknown_name(const std::string& what, const std::string& name, const std::vector<std::string>& names,
                         const std::string& where = "");

// ---- parameter values --------------------------------------------------------------------------

// A parameter's value as Python sees it: None, int, float, bool, str or an RGBA tuple.
using pvalue = std::variant<std::monostate, uint32_t, float, bool, std::string, std::array<float, 4>>;
// Floats come out as the shortest decimal that reads back as the same float: 0.45, not 0.4499999880.
double shortest(float f);
py::object to_python(const pvalue& v);

// ---- ownership ------------------------------------------------------------------------------------

// Whether one engine object (graph, node, asset) still exists. Python objects keep the token of
// what they refer to; removing the object through the package marks the token dead.
struct token {
  bool alive = true;
};
using token_ptr = std::shared_ptr<token>;

// A project and the liveness tokens of everything in it that Python refers to. Graphs, nodes and
// assets keep their project state alive; close() frees the engine's project at once.
struct project_state {
  qr_project* project = nullptr;
  qr_renderctx* value_ctx = nullptr;  // for parameter reads and value nodes: no target, no pool
  std::unordered_map<const void*, token_ptr> tokens;

  explicit project_state(qr_project* p);
  ~project_state();
  project_state(const project_state&) = delete;
  project_state& operator=(const project_state&) = delete;

  bool open() const { return project != nullptr; }
  token_ptr token_for(const void* object);
  void kill(const void* object);
  void close();
};
using state_ptr = std::shared_ptr<project_state>;

struct project_ref {
  state_ptr st;
  engine_guard use() const;  // locks; raises DeletedError if the project was closed
};

struct graph_ref {
  state_ptr st;
  qr_graph* graph;
  token_ptr tok;
  graph_ref(state_ptr s, qr_graph* g) : st(std::move(s)), graph(g), tok(st->token_for(g)) {}
  engine_guard use() const;
};

struct node_ref {
  state_ptr st;
  qr_graph* graph;
  token_ptr graph_tok;
  qr_node* node;
  token_ptr tok;
  node_ref(const graph_ref& g, qr_node* n)
      : st(g.st), graph(g.graph), graph_tok(g.tok), node(n), tok(st->token_for(n)) {}
  engine_guard use() const;
  graph_ref owner() const { return graph_ref(st, graph); }
};

struct asset_ref {
  state_ptr st;
  qr_asset* asset;
  token_ptr tok;
  asset_ref(state_ptr s, qr_asset* a) : st(std::move(s)), asset(a), tok(st->token_for(a)) {}
  engine_guard use() const;
};

std::string graph_name(qr_graph* g);
std::string node_name(qr_node* n);
std::string node_type_name(qr_node* n);
std::string node_label(qr_node* n);  // "'name' (Type)" or "a Type node"

// The nodes that `start` draws on through its connected inputs, `start` first, each once; raises
// ValueError if the connections run in a circle, which the engine would follow without end.
std::vector<qr_node*> upstream_nodes(qr_node* start);

// A path given as str or os.PathLike, made absolute (the engine's file calls want a folder in it).
std::string absolute_path(const py::object& path);

// ---- pieces bound by each source file --------------------------------------------------------

void bind_catalogue(py::module_& m);
void bind_document(py::module_& m);
void bind_render(py::module_& m);

}  // namespace quorin_py
