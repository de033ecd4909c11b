// The editor's model of one open project: queries as JSON, checked edits with undo, renders.
#include "serve_session.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "cli.h"

namespace quorin_cli {

using nlohmann::json;
namespace fs = std::filesystem;

// ---- engine thread ---------------------------------------------------------------------------

engine_thread::engine_thread() : thread_([this] { run(); }) {}

engine_thread::~engine_thread() {
  {
    std::lock_guard<std::mutex> g(m_);
    stop_ = true;
  }
  cv_.notify_all();
  thread_.join();
}

void engine_thread::post(std::function<void()> job) {
  {
    std::lock_guard<std::mutex> g(m_);
    jobs_.push_back(std::move(job));
  }
  cv_.notify_one();
}

void engine_thread::run() {
  std::unique_lock<std::mutex> lock(m_);
  for (;;) {
    cv_.wait(lock, [this] { return stop_ || !jobs_.empty(); });
    if (jobs_.empty()) return;
    std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    lock.lock();
  }
}

uint64_t stale_tracker::begin(const std::string& key) {
  std::lock_guard<std::mutex> g(m_);
  return ++latest_[key];
}

bool stale_tracker::is_stale(const std::string& key, uint64_t ticket) {
  std::lock_guard<std::mutex> g(m_);
  return latest_[key] != ticket;
}

// ---- catalogue words ---------------------------------------------------------------------------

namespace {

const char* kind_word(uint32_t port_type) {
  switch (port_type) {
    case 1: return "scalar";
    case 2: return "grey";
    case 3: return "rgb";
    case 4: return "colour";
    default: return "string";
  }
}

enum param_type : uint32_t { p_uint = 1, p_float, p_color, p_enum, p_bool, p_string, p_font, p_curve };

const char* param_word(uint32_t t) {
  static const char* const words[] = {"?", "uint", "float", "colour", "enum", "bool", "string", "font", "curve"};
  return t < 9 ? words[t] : "?";
}

std::string text_of(const std::function<void(qr_char*, int32_t)>& read) { return engine_text(read); }

std::string input_name(qr_node* n, uint32_t i) {
  return text_of([&](qr_char* b, int32_t c) { node_input_name(n, b, c, i); });
}
std::string output_name(qr_node* n, uint32_t i) {
  return text_of([&](qr_char* b, int32_t c) { node_output_name(n, b, c, i); });
}

// Where a parameter sits in its type's record.
struct param_slot {
  uint32_t group = 0, index = 0, type = 0;
};

bool find_param(qr_node* n, const std::string& name, param_slot& out) {
  for (uint32_t g = 0, gc = node_formal_param_group_count(n); g < gc; ++g)
    for (uint32_t k = 0, pc = node_formal_param_count(n, g); k < pc; ++k)
      if (text_of([&](qr_char* b, int32_t c) { node_formal_param_name(n, g, k, b, c); }) == name) {
        out = {g, k, node_formal_param_type_indexed(n, g, k)};
        return true;
      }
  return false;
}

// The catalogue's bounds of a float or uint parameter.
struct param_bounds {
  bool has_min = false, has_max = false;
  double min = 0, max = 0;
};

param_bounds bounds_of(qr_node* n, const param_slot& s) {
  param_bounds b;
  if (s.type == p_float) {
    b.has_min = node_formal_param_float_has_minval(n, s.group, s.index);
    b.has_max = node_formal_param_float_has_maxval(n, s.group, s.index);
    b.min = node_formal_param_float_minval(n, s.group, s.index);
    b.max = node_formal_param_float_maxval(n, s.group, s.index);
  } else if (s.type == p_uint) {
    b.has_min = node_formal_param_uint_has_minval(n, s.group, s.index);
    b.has_max = node_formal_param_uint_has_maxval(n, s.group, s.index);
    b.min = node_formal_param_uint_minval(n, s.group, s.index);
    b.max = node_formal_param_uint_maxval(n, s.group, s.index);
  }
  return b;
}

std::string enum_name(qr_node* n, const param_slot& s, uint32_t v) {
  return text_of([&](qr_char* b, int32_t c) { node_formal_param_enum_name(n, s.group, s.index, v, b, c); });
}

json param_value(qr_node* n, qr_renderctx* ctx, const param_slot& s) {
  float f = 0;
  uint32_t u = 0;
  switch (s.type) {
    case p_float:
      node_param_value_as_float(n, ctx, &f, s.group, s.index);
      return std::isfinite(f) ? json(f) : json(nullptr);
    case p_uint:
      return node_param_value_as_uint(n, ctx, &u, s.group, s.index) ? json(u) : json(nullptr);
    case p_enum:
      node_param_enum_value(n, ctx, &u, s.group, s.index);
      return enum_name(n, s, u);
    case p_color: {
      float r, g, b, a;
      if (!node_param_value_as_color(n, ctx, &r, &g, &b, &a, s.group, s.index)) return nullptr;
      return json::array({r, g, b, a});
    }
    case p_curve:
      return nullptr;
    default: {
      std::string text = text_of([&](qr_char* b, int32_t c) { node_param_value_indexed(n, ctx, b, c, &f, s.group, s.index); });
      if (s.type == p_bool) return text == "true";
      return text;
    }
  }
}

// The checks of one parameter write, done before anything is changed.
struct param_write {
  param_slot slot;
  std::string name;
  json value;
};

std::string number_text(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%g", v);
  return buf;
}

param_write check_param(qr_node* n, const std::string& label, const std::string& name, const json& value) {
  param_write w;
  w.name = name;
  w.value = value;
  if (!find_param(n, name, w.slot))
    throw api_error(400, "node " + label + " (" + type_title(n) + ") has no parameter '" + name + "'");
  const param_slot& s = w.slot;
  std::string what = "parameter '" + name + "' of node " + label;
  auto in_bounds = [&](double v) {
    param_bounds b = bounds_of(n, s);
    if ((b.has_min && v < b.min) || (b.has_max && v > b.max))
      throw api_error(400, what + " takes values from " + (b.has_min ? number_text(b.min) : "any") + " to " +
                               (b.has_max ? number_text(b.max) : "any") + "; " + number_text(v) + " is outside");
  };
  switch (s.type) {
    case p_float:
      if (!value.is_number() || !std::isfinite(value.get<double>()))
        throw api_error(400, what + " needs a number");
      in_bounds(value.get<double>());
      break;
    case p_uint:
      if (!value.is_number_integer() || value.get<int64_t>() < 0 || value.get<int64_t>() > 0xffffffffLL)
        throw api_error(400, what + " needs a whole number, 0 or more");
      in_bounds(value.get<double>());
      break;
    case p_enum: {
      uint32_t count = node_formal_param_enum_count(n, s.group, s.index);
      if (value.is_number_unsigned() && value.get<uint64_t>() < count) {
        w.value = enum_name(n, s, value.get<uint32_t>());
        break;
      }
      std::string names;
      for (uint32_t e = 0; e < count; ++e) {
        std::string en = enum_name(n, s, e);
        if (value.is_string() && value.get<std::string>() == en) return w;
        names += (e ? ", " : "") + en;
      }
      throw api_error(400, what + " is one of: " + names);
    }
    case p_bool:
      if (!value.is_boolean()) throw api_error(400, what + " needs true or false");
      break;
    case p_string:
      if (!value.is_string()) throw api_error(400, what + " needs a text");
      break;
    case p_color: {
      bool ok = value.is_array() && (value.size() == 3 || value.size() == 4);
      for (std::size_t i = 0; ok && i < value.size(); ++i)
        ok = value[i].is_number() && std::isfinite(value[i].get<double>());
      if (!ok) throw api_error(400, what + " needs a colour: [red, green, blue] or [red, green, blue, alpha]");
      break;
    }
    default:
      throw api_error(400, what + " (" + param_word(s.type) + ") cannot be edited in the editor");
  }
  return w;
}

void apply_param(qr_node* n, const param_write& w) {
  const param_slot& s = w.slot;
  switch (s.type) {
    case p_float: node_set_param_value_float(n, s.group, s.index, w.value.get<float>()); break;
    case p_uint: node_set_param_value_uint(n, s.group, s.index, w.value.get<uint32_t>()); break;
    case p_color:
      node_set_param_value_color(n, s.group, s.index, w.value[0].get<float>(), w.value[1].get<float>(),
                                 w.value[2].get<float>(), w.value.size() == 4 ? w.value[3].get<float>() : 1.0f);
      break;
    case p_bool: node_set_param_value(n, to_u16(w.name).c_str(), w.value.get<bool>() ? u"true" : u"false"); break;
    default: node_set_param_value(n, to_u16(w.name).c_str(), to_u16(w.value.get<std::string>()).c_str()); break;
  }
}

// The output of `source` that feeds `consumer`, or -1.
int feeding_output(qr_node* source, qr_node* consumer) {
  for (uint32_t o = 0, oc = node_output_count(source); o < oc; ++o)
    for (uint32_t k = 0, kc = node_input_count_for_output(source, o); k < kc; ++k)
      if (node_input_for_output(source, o, k) == consumer) return static_cast<int>(o);
  return -1;
}

bool upstream_of(qr_node* candidate, qr_node* n, uint32_t depth = 0) {
  if (candidate == n) return true;
  if (depth > 4096) return true;
  for (uint32_t i = 0, c = node_input_count(n); i < c; ++i)
    if (qr_node* src = node_outputnode_for_input_at(n, i))
      if (upstream_of(candidate, src, depth + 1)) return true;
  return false;
}

// Removes the connection into `consumer`'s input at both of its ends.
void unwire(qr_node* consumer, const std::u16string& input) {
  qr_node* old = node_outputnode_for_inputname(consumer, input.c_str());
  if (!old) return;
  int o = feeding_output(old, consumer);
  if (o >= 0) node_remove_input_for_output_node(old, static_cast<uint32_t>(o), consumer);
  node_set_output_for_input_keyed(consumer, input.c_str(), nullptr);
}

uint32_t u32_field(const json& body, const char* key, const char* what) {
  if (!body.contains(key) || !body[key].is_number_unsigned() || body[key].get<uint64_t>() > 0xffffffffULL)
    throw api_error(400, std::string("the request needs '") + key + "': " + what);
  return body[key].get<uint32_t>();
}

std::string string_field(const json& body, const char* key, const char* what) {
  if (!body.contains(key) || !body[key].is_string())
    throw api_error(400, std::string("the request needs '") + key + "': " + what);
  return body[key].get<std::string>();
}

int32_t int_field(const json& body, const char* key) {
  if (!body.contains(key) || !body[key].is_number() || std::fabs(body[key].get<double>()) > 1e9)
    throw api_error(400, std::string("the request needs '") + key + "', a number");
  return static_cast<int32_t>(std::lround(body[key].get<double>()));
}

// An anonymous in-memory file, reached through a path, for engine calls that take file names.
struct memory_file {
  int fd = memfd_create("quorin-editor", 0);
  memory_file() {
    if (fd < 0) throw api_error(500, "cannot make an in-memory file");
  }
  ~memory_file() { close(fd); }
  std::string path() const { return "/proc/self/fd/" + std::to_string(fd); }
  std::string read_all() const {
    std::ifstream in(path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
};

}  // namespace

// ---- snapshots ---------------------------------------------------------------------------------

project_snapshot::project_snapshot(project_snapshot&& o) noexcept
    : graphs(std::move(o.graphs)), active_graph(o.active_graph), assets(o.assets) {
  o.graphs.clear();
  o.assets = nullptr;
}

project_snapshot& project_snapshot::operator=(project_snapshot&& o) noexcept {
  std::swap(graphs, o.graphs);
  std::swap(active_graph, o.active_graph);
  std::swap(assets, o.assets);
  return *this;
}

project_snapshot::~project_snapshot() {
  for (qr_graph* g : graphs) graph_delete(g);
  if (assets) assets_delete(assets);
}

// A graph copy keeps its nodes and wires but not its name nor the nodes' curve parameters.
qr_graph* full_graph_copy(qr_graph* g) {
  qr_graph* copy = graph_deep_copy(g);
  graph_set_name(copy, to_u16(graph_title(g)).c_str());
  qr_curve* curve = curve_create();
  for (uint32_t i = 0, c = graph_node_count(g); i < c; ++i) {
    qr_node* from = graph_node_at(g, i);
    qr_node* to = graph_node_at(copy, i);
    for (uint32_t gr = 0, gc = node_formal_param_group_count(from); gr < gc; ++gr)
      for (uint32_t k = 0, pc = node_formal_param_count(from, gr); k < pc; ++k)
        if (node_formal_param_type_indexed(from, gr, k) == p_curve && node_param_curve_indexed(from, curve, gr, k))
          node_set_param_curve_indexed(to, gr, k, curve);
  }
  curve_delete(curve);
  return copy;
}

project_snapshot editor_model::snapshot(bool with_assets) {
  project_snapshot s;
  for (uint32_t i = 0, c = project_graph_count(project_); i < c; ++i)
    s.graphs.push_back(full_graph_copy(project_graph_at(project_, i)));
  s.active_graph = project_active_graph_idx(project_);
  if (with_assets) s.assets = assets_deep_copy(project_assets(project_));
  return s;
}

void editor_model::restore(project_snapshot& s) {
  project_delete_all_graphs(project_);
  for (qr_graph* g : s.graphs) project_append_graph(project_, g);
  s.graphs.clear();
  project_activate_graph_by_idx(project_, s.active_graph);
  if (s.assets) {
    qr_assets* live = project_assets(project_);
    assets_delete_all(live);
    for (uint32_t i = 0, c = assets_count(s.assets); i < c; ++i)
      assets_add(live, asset_deep_copy(assets_at(s.assets, i)), 0);
    assets_activate_asset(live, assets_active_asset_idx(s.assets));
  }
}

void editor_model::trim_history() {
  std::size_t steps = project_max_undo_redo_steps(project_);
  while (undo_.size() > steps) undo_.pop_front();
  while (redo_.size() > steps) redo_.pop_front();
}

json editor_model::edit(bool with_assets, const std::function<json()>& change) {
  project_snapshot before = snapshot(with_assets);
  json result;
  try {
    result = change();
  } catch (...) {
    restore(before);
    throw;
  }
  undo_.push_back(std::move(before));
  redo_.clear();
  trim_history();
  modified_ = true;
  return result;
}

// Takes the last step of `from` back, keeping the present state as a step of `to`.
json editor_model::step_history(std::deque<project_snapshot>& from, std::deque<project_snapshot>& to,
                                const char* none) {
  if (from.empty()) throw api_error(409, none);
  project_snapshot step = std::move(from.back());
  from.pop_back();
  to.push_back(snapshot(step.assets != nullptr));
  restore(step);
  trim_history();
  modified_ = true;
  return project_json();
}

json editor_model::undo() { return step_history(undo_, redo_, "nothing to undo"); }
json editor_model::redo() { return step_history(redo_, undo_, "nothing to redo"); }

// ---- the model ---------------------------------------------------------------------------------

editor_model::editor_model(const fs::path& project_path, bool exists) : path_(fs::absolute(project_path)) {
  folder_ = fs::weakly_canonical(path_.parent_path());
  if (exists) {
    loaded_project loaded(path_.string());
    project_ = loaded.project;
    loaded.project = nullptr;
    value_context v(project_);
    for (uint32_t i = 0, c = project_graph_count(project_); i < c; ++i)
      parse_stored_expressions(project_graph_at(project_, i), v.ctx);
  } else {
    project_ = project_create();
    graph_set_name(project_add_graph_and_activate(project_), u"main");
  }
  if (project_graph_count(project_) == 0) graph_set_name(project_add_graph_and_activate(project_), u"main");
}

editor_model::~editor_model() {
  undo_.clear();
  redo_.clear();
  if (project_) project_delete(project_);
}

qr_graph* editor_model::graph_at(uint32_t graph) {
  if (graph >= project_graph_count(project_))
    throw api_error(404, "no graph " + std::to_string(graph) + " (the project has " +
                             std::to_string(project_graph_count(project_)) + ")");
  return project_graph_at(project_, graph);
}

qr_node* editor_model::node_at(qr_graph* g, uint32_t node) {
  if (node >= graph_node_count(g))
    throw api_error(404, "no node " + std::to_string(node) + " in graph '" + graph_title(g) + "' (it has " +
                             std::to_string(graph_node_count(g)) + ")");
  return graph_node_at(g, node);
}

json editor_model::catalogue_json() {
  json types = json::array();
  value_context v(nullptr);
  for (uint32_t id : all_type_ids()) {
    qr_node* n = node_create_with_type(id);
    json t = {{"id", id},
              {"name", type_title(n)},
              {"generator", node_is_generator(n) != 0},
              {"category", text_of([&](qr_char* b, int32_t c) { node_category_name(n, b, c); })},
              {"disabled", node_type_is_disabled(n) != 0},
              {"description", text_of([&](qr_char* b, int32_t c) { node_type_description(b, c, id); })}};
    json ins = json::array(), outs = json::array(), params = json::array();
    for (uint32_t i = 0, c = node_input_count(n); i < c; ++i)
      ins.push_back({{"name", input_name(n, i)}, {"kind", kind_word(node_input_type(n, i))}});
    for (uint32_t i = 0, c = node_output_count(n); i < c; ++i)
      outs.push_back({{"name", output_name(n, i)}, {"kind", kind_word(node_output_type(n, i))}});
    for (uint32_t g = 0, gc = node_formal_param_group_count(n); g < gc; ++g) {
      std::string group = text_of([&](qr_char* b, int32_t c) { node_formal_param_group_name(n, g, b, c); });
      for (uint32_t k = 0, pc = node_formal_param_count(n, g); k < pc; ++k) {
        param_slot s{g, k, node_formal_param_type_indexed(n, g, k)};
        json p = {{"group", group},
                  {"name", text_of([&](qr_char* b, int32_t c) { node_formal_param_name(n, g, k, b, c); })},
                  {"type", param_word(s.type)},
                  {"description", text_of([&](qr_char* b, int32_t c) { node_formal_param_description(n, g, k, b, c); })},
                  {"default", param_value(n, v.ctx, s)}};
        param_bounds bounds = bounds_of(n, s);
        if (bounds.has_min) p["min"] = bounds.min;
        if (bounds.has_max) p["max"] = bounds.max;
        if (s.type == p_enum) {
          json names = json::array();
          for (uint32_t e = 0, ec = node_formal_param_enum_count(n, g, k); e < ec; ++e)
            names.push_back(enum_name(n, s, e));
          p["values"] = names;
        }
        params.push_back(p);
      }
    }
    t["inputs"] = ins;
    t["outputs"] = outs;
    t["params"] = params;
    types.push_back(t);
    node_delete(n);
  }
  json categories = json::array();
  for (uint32_t gen : {1u, 0u})
    for (uint32_t c = 0, cc = node_all_categories_count(gen); c < cc; ++c)
      categories.push_back(
          {{"name", text_of([&](qr_char* b, int32_t cap) { node_all_categories_name(b, cap, gen, c); })},
           {"generator", gen == 1},
           {"description", text_of([&](qr_char* b, int32_t cap) { node_all_categories_description(b, cap, gen, c); })}});
  return {{"types", types}, {"categories", categories}};
}

json editor_model::node_json(qr_graph* g, uint32_t index) {
  qr_node* n = graph_node_at(g, index);
  value_context v(project_);
  json ins = json::array(), outs = json::array(), params = json::object();
  for (uint32_t i = 0, c = node_input_count(n); i < c; ++i) {
    std::string name = input_name(n, i);
    json in = {{"name", name}, {"kind", kind_word(node_input_type(n, i))}, {"source", nullptr}};
    if (qr_node* src = node_outputnode_for_input_at(n, i)) {
      in["source"] = node_index(g, src);
      in["output"] = std::max(feeding_output(src, n), 0);
    }
    ins.push_back(in);
  }
  for (uint32_t i = 0, c = node_output_count(n); i < c; ++i)
    outs.push_back({{"name", output_name(n, i)}, {"kind", kind_word(node_output_type(n, i))}});
  for (uint32_t gr = 0, gc = node_formal_param_group_count(n); gr < gc; ++gr)
    for (uint32_t k = 0, pc = node_formal_param_count(n, gr); k < pc; ++k) {
      param_slot s{gr, k, node_formal_param_type_indexed(n, gr, k)};
      params[text_of([&](qr_char* b, int32_t c) { node_formal_param_name(n, gr, k, b, c); })] = param_value(n, v.ctx, s);
    }
  return {{"index", index},
          {"type", type_title(n)},
          {"name", node_title(n)},
          {"x", node_display_x(n)},
          {"y", node_display_y(n)},
          {"disabled", node_is_disabled(n) != 0},
          {"inputs", ins},
          {"outputs", outs},
          {"params", params}};
}

json editor_model::graph_json(uint32_t graph) {
  qr_graph* g = graph_at(graph);
  json nodes = json::array();
  for (uint32_t i = 0, c = graph_node_count(g); i < c; ++i) nodes.push_back(node_json(g, i));
  return {{"index", graph}, {"name", graph_title(g)}, {"nodes", nodes}};
}

json editor_model::project_json() {
  json graphs = json::array();
  for (uint32_t i = 0, c = project_graph_count(project_); i < c; ++i)
    graphs.push_back(graph_title(project_graph_at(project_, i)));
  json assets = json::array();
  qr_assets* all = project_assets(project_);
  for (uint32_t i = 0, c = assets_count(all); i < c; ++i) {
    qr_asset* a = assets_at(all, i);
    qr_imgbuf4f* img = asset_imgbuf(a);
    assets.push_back({{"name", text_of([&](qr_char* b, int32_t cap) { asset_name(a, b, cap); })},
                      {"embedded", asset_linkage(a) == 1},
                      {"width", img ? imgbuf4f_width(img) : 0},
                      {"height", img ? imgbuf4f_height(img) : 0}});
  }
  uint32_t w = project_width(project_), h = project_height(project_), pm = project_preview_permille(project_);
  return {{"path", path_.filename().string()},
          {"graphs", graphs},
          {"active_graph", project_active_graph_idx(project_)},
          {"assets", assets},
          {"settings",
           {{"width", w},
            {"height", h},
            {"preview_permille", pm},
            {"preview_supersampling", project_preview_supersampling(project_) != 0},
            {"max_undo_redo_steps", project_max_undo_redo_steps(project_)},
            {"animation_frames", project_animation_frames(project_)}}},
          {"time", project_animedit_normalized_time(project_)},
          {"undo_steps", undo_.size()},
          {"redo_steps", redo_.size()},
          {"modified", modified_}};
}

// ---- edits -------------------------------------------------------------------------------------

json editor_model::add_graph(const json& body) {
  std::string name = string_field(body, "name", "the new graph's name");
  if (name.empty()) throw api_error(400, "a graph needs a name");
  return edit(false, [&] {
    graph_set_name(project_add_graph_and_activate(project_), to_u16(name).c_str());
    return project_json();
  });
}

json editor_model::add_node(uint32_t graph, const json& body) {
  qr_graph* g = graph_at(graph);
  std::string type = string_field(body, "type", "a node type name");
  qr_node* probe = node_create_by_type_name(to_u16(type).c_str());
  if (!probe) throw api_error(400, "no node type '" + type + "'");
  uint32_t id = node_type(probe);
  node_delete(probe);
  int32_t x = body.contains("x") ? int_field(body, "x") : 10, y = body.contains("y") ? int_field(body, "y") : 10;
  return edit(false, [&] {
    qr_node* n = graph_create_node(g, id);
    node_set_display_x(n, x);
    node_set_display_y(n, y);
    json out = graph_json(graph);
    out["created"] = graph_node_count(g) - 1;
    return out;
  });
}

json editor_model::delete_node(uint32_t graph, uint32_t node) {
  qr_graph* g = graph_at(graph);
  qr_node* n = node_at(g, node);
  return edit(false, [&] {
    graph_set_primary_selection(g, nullptr);
    graph_clear_secondary_selections(g);
    graph_delete_node(g, n);
    return graph_json(graph);
  });
}

json editor_model::duplicate_node(uint32_t graph, uint32_t node) {
  qr_graph* g = graph_at(graph);
  qr_node* n = node_at(g, node);
  return edit(false, [&] {
    qr_node* copy = graph_duplicate_node(g, n);
    node_move_display_pos(copy, 30, 30);
    json out = graph_json(graph);
    out["created"] = graph_node_count(g) - 1;
    return out;
  });
}

json editor_model::move_node(uint32_t graph, uint32_t node, const json& body) {
  qr_node* n = node_at(graph_at(graph), node);
  int32_t x = int_field(body, "x"), y = int_field(body, "y");
  return edit(false, [&] {
    node_set_display_x(n, x);
    node_set_display_y(n, y);
    return graph_json(graph);
  });
}

json editor_model::rename_node(uint32_t graph, uint32_t node, const json& body) {
  qr_node* n = node_at(graph_at(graph), node);
  std::string name = string_field(body, "name", "the node's new name");
  return edit(false, [&] {
    node_set_name(n, to_u16(name).c_str());
    return graph_json(graph);
  });
}

json editor_model::set_params(uint32_t graph, uint32_t node, const json& body) {
  qr_graph* g = graph_at(graph);
  qr_node* n = node_at(g, node);
  if (!body.is_object() || body.empty())
    throw api_error(400, "give the parameters to set as an object of names and values");
  std::vector<param_write> writes;
  for (auto it = body.begin(); it != body.end(); ++it)
    writes.push_back(check_param(n, node_label(g, n), it.key(), it.value()));
  return edit(false, [&] {
    for (const param_write& w : writes) {
      try {
        apply_param(n, w);
      } catch (const api_error&) {
        throw;
      } catch (const std::exception& e) {
        throw api_error(400, "parameter '" + w.name + "' of node " + node_label(g, n) + ": " + e.what());
      }
    }
    return graph_json(graph);
  });
}

json editor_model::connect(uint32_t graph, const json& body) {
  qr_graph* g = graph_at(graph);
  qr_node* from = node_at(g, u32_field(body, "from", "the index of the node that gives the value"));
  qr_node* to = node_at(g, u32_field(body, "to", "the index of the node that takes it"));
  uint32_t output = body.contains("output") ? u32_field(body, "output", "an output index") : 0;
  std::string input = string_field(body, "input", "the input's name");
  if (output >= node_output_count(from))
    throw api_error(400, "node " + node_label(g, from) + " has no output " + std::to_string(output));
  int in = -1;
  for (uint32_t i = 0, c = node_input_count(to); i < c; ++i)
    if (input_name(to, i) == input) in = static_cast<int>(i);
  if (in < 0) throw api_error(400, "node " + node_label(g, to) + " (" + type_title(to) + ") has no input '" + input + "'");
  const char* out_kind = kind_word(node_output_type(from, output));
  const char* in_kind = kind_word(node_input_type(to, static_cast<uint32_t>(in)));
  // A grey image is an RGB image with equal channels, so it may feed an RGB input; nothing else mixes.
  bool grey_into_rgb = std::string(out_kind) == "grey" && std::string(in_kind) == "rgb";
  if (std::string(out_kind) != in_kind && !grey_into_rgb)
    throw api_error(400, std::string("cannot wire a ") + out_kind + " output to the " + in_kind + " input '" + input + "'");
  if (upstream_of(to, from)) throw api_error(400, "that wire would make a loop");
  return edit(false, [&] {
    std::u16string name = to_u16(input);
    unwire(to, name);
    node_set_output_for_input_keyed(to, name.c_str(), from);
    node_add_input_for_output(from, output, to);
    return graph_json(graph);
  });
}

json editor_model::disconnect(uint32_t graph, const json& body) {
  qr_graph* g = graph_at(graph);
  qr_node* to = node_at(g, u32_field(body, "to", "the index of the node whose input is unwired"));
  std::string input = string_field(body, "input", "the input's name");
  std::u16string name = to_u16(input);
  if (!node_outputnode_for_inputname(to, name.c_str()))
    throw api_error(400, "input '" + input + "' of node " + node_label(g, to) + " has no wire");
  return edit(false, [&] {
    unwire(to, name);
    return graph_json(graph);
  });
}

json editor_model::add_asset(const std::string& name, const std::string& bytes) {
  if (name.empty()) throw api_error(400, "an asset needs a name");
  if (bytes.empty()) throw api_error(400, "the upload is empty");
  memory_file file;
  if (write(file.fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    throw api_error(500, "cannot hold the upload in memory");
  return edit(true, [&] {
    qr_assets* all = project_assets(project_);
    std::u16string wname = to_u16(name);
    if (!assets_load_embedded(all, to_u16(file.path()).c_str(), 1, wname.c_str()))
      throw api_error(400, "'" + name + "' is not an image the engine can read (PNG, JPEG, JPEG XR, DDS or TGA)");
    asset_set_filepath(assets_at(all, assets_count(all) - 1), wname.c_str());
    return project_json();
  });
}

json editor_model::set_time(const json& body) {
  if (!body.contains("time") || !body["time"].is_number() || !(body["time"].get<double>() >= 0.0) ||
      !(body["time"].get<double>() <= 1.0))
    throw api_error(400, "the time is a number from 0 to 1");
  project_animedit_set_normalized_time(project_, body["time"].get<float>());
  return project_json();
}

fs::path editor_model::resolve_in_folder(const std::string& relative) const {
  fs::path rel(relative);
  if (relative.empty() || rel.is_absolute())
    throw api_error(403, "'" + relative + "' is outside the project folder: give a name inside it");
  fs::path full = fs::weakly_canonical(folder_ / rel);
  fs::path inside = full.lexically_relative(folder_);
  if (inside.empty() || *inside.begin() == ".." || inside == ".")
    throw api_error(403, "'" + relative + "' is outside the project folder " + folder_.string());
  return full;
}

json editor_model::save(const json& body) {
  fs::path target = path_;
  if (body.contains("path")) {
    target = resolve_in_folder(string_field(body, "path", "a file name in the project folder"));
    if (target.extension() != ".xml") throw api_error(400, "a project file name ends in .xml");
  }
  std::error_code ec;
  if (!fs::is_directory(target.parent_path(), ec))
    throw api_error(400, "no folder " + target.parent_path().string());
  if (!project_write_xml_to_file(project_, to_u16(target.string()).c_str()))
    throw api_error(500, "could not write " + target.string());
  path_ = target;
  modified_ = false;
  json out = project_json();
  out["saved"] = target.lexically_relative(folder_).string();
  return out;
}

// ---- renders -----------------------------------------------------------------------------------

std::string editor_model::render_png(const render_request& r) {
  qr_graph* g = graph_at(r.graph);
  qr_node* n = node_at(g, r.node);
  uint32_t w, h;
  if (r.thumbnail) {
    w = h = r.thumbnail_size;
  } else {
    uint64_t pm = project_preview_permille(project_);
    w = static_cast<uint32_t>(std::clamp<uint64_t>(project_width(project_) * pm / 1000, 1, 8192));
    h = static_cast<uint32_t>(std::clamp<uint64_t>(project_height(project_) * pm / 1000, 1, 8192));
  }
  qr_pool4f* pool = pool4f_create(w, h, std::min<uint32_t>(4 * upstream_weight(n, 0) + 8, 1024));
  qr_imgbuf4f* target = imgbuf4f_create(w, h);
  qr_renderctx* ctx = renderctx_create();
  struct owner_t {
    qr_renderctx* c; qr_imgbuf4f* t; qr_pool4f* p;
    ~owner_t() { renderctx_delete(c); imgbuf4f_delete(t); pool4f_delete(p); }
  } owned{ctx, target, pool};
  renderctx_set_target_buf(ctx, target);
  renderctx_set_targetbuf_from_cache(ctx, 0);
  renderctx_set_pool(ctx, pool);
  renderctx_set_for_thumbnail(ctx, r.thumbnail);
  renderctx_set_for_preview(ctx, !r.thumbnail);
  renderctx_set_preview_supersampling(ctx, !r.thumbnail && project_preview_supersampling(project_));
  renderctx_set_is_anim(ctx, 0);
  renderctx_set_project(ctx, project_);
  try {
    node_render(n, ctx);
  } catch (const std::bad_alloc&) {
    throw api_error(422, "node " + node_label(g, n) + " ran out of memory while rendering");
  } catch (const std::exception& e) {
    throw api_error(422, "node " + node_label(g, n) + " failed to render: " + e.what());
  }
  memory_file file;
  qr_char message[512] = {0};
  engine_saveimage_png(message, 512, to_u16(file.path()).c_str(), target, !r.thumbnail && project_preview_showalpha(project_));
  if (message[0]) throw api_error(500, "could not encode the image: " + to_u8(message));
  return file.read_all();
}

}  // namespace quorin_cli
