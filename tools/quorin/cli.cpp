#include "cli.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace quorin_cli {

std::u16string to_u16(const std::string& s) {
  std::u16string out;
  for (std::size_t i = 0; i < s.size();) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    uint32_t cp = c;
    std::size_t n = 1;
    if (c >= 0xf0) { cp = c & 0x07; n = 4; }
    else if (c >= 0xe0) { cp = c & 0x0f; n = 3; }
    else if (c >= 0xc0) { cp = c & 0x1f; n = 2; }
    if (i + n > s.size()) n = s.size() - i;
    for (std::size_t k = 1; k < n; ++k) cp = (cp << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3f);
    i += n;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xd800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xdc00 + (cp & 0x3ff)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
  }
  return out;
}

std::string to_u8(const std::u16string& s) {
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    uint32_t cp = s[i];
    if (cp >= 0xd800 && cp < 0xdc00 && i + 1 < s.size()) {
      cp = 0x10000 + ((cp - 0xd800) << 10) + (s[i + 1] - 0xdc00);
      ++i;
    }
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xc0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3f)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xe0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3f)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3f)));
    } else {
      out.push_back(static_cast<char>(0xf0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3f)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3f)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3f)));
    }
  }
  return out;
}

std::string engine_text(const std::function<void(qr_char*, int32_t)>& read) {
  // Every text of a project or the catalogue fits easily; a text that did not would come back empty.
  constexpr int32_t cap = 1 << 16;
  std::u16string buf(static_cast<std::size_t>(cap), u'\0');
  read(buf.data(), cap);
  return to_u8(buf.substr(0, std::char_traits<char16_t>::length(buf.c_str())));
}

std::string json_text(const nlohmann::ordered_json& doc) {
  return doc.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

bool is_uint(const std::string& text) {
  if (text.empty() || text.size() > 9) return false;
  for (char c : text)
    if (c < '0' || c > '9') return false;
  return true;
}

bool parse_uint(const std::string& text, uint32_t& out) {
  if (!is_uint(text)) return false;
  out = static_cast<uint32_t>(std::stoul(text));
  return true;
}

namespace {
void debug_to_stderr(const qr_char* text, void*) {
  std::fputs(to_u8(text).c_str(), stderr);
}
}  // namespace

engine_session::engine_session(bool verbose) {
  if (verbose) engine_set_debug_output(debug_to_stderr, nullptr);
  init();
}

engine_session::~engine_session() {
  cleanup();
  engine_set_debug_output(nullptr, nullptr);
}

loaded_project::loaded_project(const std::string& path) : project(nullptr) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (!fs::exists(path, ec)) throw run_error("no such file: " + path);
  if (fs::is_directory(path, ec)) throw run_error("is a folder, not a project file: " + path);
  if (!std::ifstream(path).good()) throw run_error("cannot read file: " + path);
  // The reader wants a path with a folder in it.
  std::string full = fs::absolute(path, ec).string();
  project = project_create();
  if (!project_read_from_file_xml(project, to_u16(full).c_str())) {
    project_delete(project);
    project = nullptr;
    throw run_error("not a project file the engine can read: " + path);
  }
}

loaded_project::~loaded_project() {
  if (project) project_delete(project);
}

value_context::value_context(qr_project* p) : ctx(renderctx_create()) {
  renderctx_set_target_buf(ctx, nullptr);
  renderctx_set_targetbuf_from_cache(ctx, 0);
  renderctx_set_pool(ctx, nullptr);
  renderctx_set_for_thumbnail(ctx, 0);
  renderctx_set_for_preview(ctx, 0);
  renderctx_set_preview_supersampling(ctx, 0);
  renderctx_set_is_anim(ctx, 0);
  renderctx_set_project(ctx, p);
}

value_context::~value_context() { renderctx_delete(ctx); }

std::string graph_title(qr_graph* g) {
  return engine_text([&](qr_char* b, int32_t c) { ::graph_name(g, b, c); });
}

std::string node_title(qr_node* n) {
  return engine_text([&](qr_char* b, int32_t c) { ::node_name(n, b, c); });
}

std::string type_title(qr_node* n) {
  std::string t = engine_text([&](qr_char* b, int32_t c) { node_type_name(n, b, c); });
  return t.empty() ? "type " + std::to_string(::node_type(n)) : t;
}

uint32_t node_index(qr_graph* g, qr_node* n) {
  uint32_t count = graph_node_count(g);
  for (uint32_t i = 0; i < count; ++i)
    if (graph_node_at(g, i) == n) return i;
  return count;
}

std::string node_label(qr_graph* g, qr_node* n) {
  std::string name = node_title(n);
  if (!name.empty()) return name;
  return "#" + std::to_string(node_index(g, n)) + " " + type_title(n);
}

qr_graph* find_graph(qr_project* p, const std::string& spec, uint32_t* index_out) {
  uint32_t count = project_graph_count(p);
  if (count == 0) throw run_error("the project has no graphs");
  uint32_t index = 0;
  if (spec.empty()) {
    int32_t active = project_active_graph_idx(p);
    index = active >= 0 && static_cast<uint32_t>(active) < count ? static_cast<uint32_t>(active) : 0;
  } else {
    bool found = false;
    for (uint32_t i = 0; i < count && !found; ++i)
      if (graph_title(project_graph_at(p, i)) == spec) index = i, found = true;
    if (!found && parse_uint(spec, index) && index < count) found = true;
    if (!found) throw run_error("no graph named or numbered '" + spec + "' (the project has " +
                                std::to_string(count) + ")");
  }
  if (index_out) *index_out = index;
  return project_graph_at(p, index);
}

qr_node* find_node(qr_graph* g, const std::string& spec) {
  uint32_t count = graph_node_count(g);
  for (uint32_t i = 0; i < count; ++i)
    if (node_title(graph_node_at(g, i)) == spec) return graph_node_at(g, i);
  uint32_t index;
  if (parse_uint(spec, index) && index < count) return graph_node_at(g, index);
  for (uint32_t i = 0; i < count; ++i)
    if (type_title(graph_node_at(g, i)) == spec) return graph_node_at(g, i);
  throw run_error("no node named, numbered or of type '" + spec + "' in graph '" + graph_title(g) + "'");
}

}  // namespace quorin_cli
