#include "common.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace quorin_py {

namespace {
std::recursive_mutex engine_mutex;
bool engine_shut = false;
}  // namespace

engine_guard lock_engine() {
  engine_guard lock(engine_mutex);
  if (engine_shut) throw std::runtime_error("the engine was shut down at interpreter exit");
  return lock;
}

void shut_engine() {
  engine_guard lock(engine_mutex);
  if (engine_shut) return;
  engine_shut = true;
  cleanup();
}

std::string utf8(const std::u16string& s) {
  return py::cast(s).cast<std::string>();
}

std::u16string utf16(const std::string& s) {
  return py::str(s).cast<std::u16string>();
}

std::string choices_text(const std::vector<std::string>& names) {
  if (names.empty()) return "none";
  std::string out;
  for (const std::string& n : names) out += (out.empty() ? "'" : ", '") + n + "'";
  return out;
}

std::string unknown_name(const std::string& what, const std::string& name, const std::vector<std::string>& names,
                         const std::string& where) {
  std::string msg = "unknown " + what + " '" + name + "'" + where;
  // A name that differs only in case is the likeliest slip.
  for (const std::string& n : names) {
    if (n.size() != name.size()) continue;
    bool same = std::equal(n.begin(), n.end(), name.begin(),
                           [](char a, char b) { return std::tolower((unsigned char)a) == std::tolower((unsigned char)b); });
    if (same)
      return msg + "; did you mean '" + n + "'? valid choices: " + choices_text(names);
  }
  return msg + "; valid choices: " + choices_text(names);
}

double shortest(float f) {
  char buf[32];
  auto end = std::to_chars(buf, buf + sizeof buf, f).ptr;
  *end = 0;
  return std::strtod(buf, nullptr);
}

py::object to_python(const pvalue& v) {
  switch (v.index()) {
    case 1: return py::int_(std::get<uint32_t>(v));
    case 2: return py::float_(shortest(std::get<float>(v)));
    case 3: return py::bool_(std::get<bool>(v));
    case 4: return py::str(std::get<std::string>(v));
    case 5: {
      const auto& c = std::get<std::array<float, 4>>(v);
      return py::make_tuple(shortest(c[0]), shortest(c[1]), shortest(c[2]), shortest(c[3]));
    }
    default: return py::none();
  }
}

// ---- ownership ------------------------------------------------------------------------------------

project_state::project_state(qr_project* p) : project(p) {
  value_ctx = renderctx_create();
  renderctx_set_target_buf(value_ctx, nullptr);
  renderctx_set_targetbuf_from_cache(value_ctx, 0);
  renderctx_set_pool(value_ctx, nullptr);
  renderctx_set_for_thumbnail(value_ctx, 0);
  renderctx_set_for_preview(value_ctx, 0);
  renderctx_set_preview_supersampling(value_ctx, 0);
  renderctx_set_is_anim(value_ctx, 0);
  renderctx_set_project(value_ctx, p);
}

project_state::~project_state() {
  try {
    engine_guard lock = lock_engine();
    close();
  } catch (const std::exception&) {
    // At interpreter exit the engine may be down already; the process frees the memory.
  }
}

token_ptr project_state::token_for(const void* object) {
  token_ptr& t = tokens[object];
  if (!t) t = std::make_shared<token>();
  return t;
}

void project_state::kill(const void* object) {
  auto it = tokens.find(object);
  if (it == tokens.end()) return;
  it->second->alive = false;
  tokens.erase(it);
}

void project_state::close() {
  if (!project) return;
  for (auto& [object, t] : tokens) t->alive = false;
  tokens.clear();
  renderctx_delete(value_ctx);
  project_delete(project);
  value_ctx = nullptr;
  project = nullptr;
}

engine_guard project_ref::use() const {
  engine_guard lock = lock_engine();
  if (!st->open()) throw deleted_error("the project was closed");
  return lock;
}

engine_guard graph_ref::use() const {
  engine_guard lock = lock_engine();
  if (!st->open()) throw deleted_error("the graph's project was closed");
  if (!tok->alive) throw deleted_error("the graph was removed from its project");
  return lock;
}

engine_guard node_ref::use() const {
  engine_guard lock = lock_engine();
  if (!st->open()) throw deleted_error("the node's project was closed");
  if (!graph_tok->alive) throw deleted_error("the node's graph was removed from its project");
  if (!tok->alive) throw deleted_error("the node was removed from its graph");
  return lock;
}

engine_guard asset_ref::use() const {
  engine_guard lock = lock_engine();
  if (!st->open()) throw deleted_error("the asset's project was closed");
  if (!tok->alive) throw deleted_error("the asset was removed from its project");
  return lock;
}

std::string graph_name(qr_graph* g) {
  return utf8(read_text([&](qr_char* b, int32_t c) { ::graph_name(g, b, c); }));
}

std::string node_name(qr_node* n) {
  return utf8(read_text([&](qr_char* b, int32_t c) { ::node_name(n, b, c); }));
}

std::string node_type_name(qr_node* n) {
  std::string t = utf8(read_text([&](qr_char* b, int32_t c) { ::node_type_name(n, b, c); }));
  return t.empty() ? "type " + std::to_string(::node_type(n)) : t;
}

std::string node_label(qr_node* n) {
  std::string name = node_name(n);
  return name.empty() ? "a " + node_type_name(n) + " node" : "node '" + name + "' (" + node_type_name(n) + ")";
}

}  // namespace quorin_py
