// Checks of a project against what a render on this machine can afford, made before rendering.
#include "guards.h"

#include <sys/resource.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <unordered_map>

#include "cli.h"

namespace quorin_cli {
namespace {

// Stack a render may use per node of a chain: node_render, the routine and its input fetches,
// with room for sanitizer builds, whose frames are several times larger.
constexpr uint64_t stack_per_node = 4096;
// Stack the expression parser may use per level of a formula (a bracket, an operator): about
// 1.5 KB in an optimised build, over 16 KB with AddressSanitizer.
constexpr uint64_t stack_per_formula_level = 32768;
// Pixel writes one Squares or Dots node may ask for: some tens of seconds of drawing.
constexpr double squares_pixel_budget = 17179869184.0;  // 2^34

constexpr uint32_t type_squares = 13, type_dots = 20, type_passthru = 1000, type_output = 1040,
                   type_scalar_expr = 1053;

std::string mebibytes(double bytes) { return std::to_string(static_cast<uint64_t>(std::ceil(bytes / 1048576.0))) + " MB"; }

std::string rounded(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2g", v);
  return text;
}

// The nodes of a graph with the graph's own nodes that feed each of them.
struct graph_view {
  std::vector<qr_node*> nodes;
  std::unordered_map<qr_node*, uint32_t> index;
  std::vector<std::vector<uint32_t>> feeders;

  explicit graph_view(qr_graph* g) {
    for (uint32_t i = 0, n = graph_node_count(g); i < n; ++i) {
      nodes.push_back(graph_node_at(g, i));
      index.emplace(nodes.back(), i);
    }
    feeders.resize(nodes.size());
    for (uint32_t i = 0; i < nodes.size(); ++i)
      for (uint32_t k = 0, c = node_input_count(nodes[i]); k < c; ++k)
        if (auto it = index.find(node_outputnode_for_input_at(nodes[i], k)); it != index.end())
          feeders[i].push_back(it->second);
  }

  // For every node, `weight(node)` plus the largest sum over the nodes feeding it, walked without
  // recursion (the graph may be as deep as the engine cannot go). Throws on a cycle.
  template <class Weight>
  std::vector<uint64_t> upstream_sums(qr_graph* g, Weight weight) const {
    enum : uint8_t { unseen, open, done };
    std::vector<uint8_t> state(nodes.size(), unseen);
    std::vector<uint64_t> sum(nodes.size(), 0);
    std::vector<std::pair<uint32_t, std::size_t>> stack;  // node, next feeder to visit
    for (uint32_t root = 0; root < nodes.size(); ++root) {
      if (state[root] != unseen) continue;
      stack.push_back({root, 0});
      state[root] = open;
      while (!stack.empty()) {
        auto& [at, next] = stack.back();
        if (next < feeders[at].size()) {
          const uint32_t f = feeders[at][next++];
          if (state[f] == open)
            throw run_error("graph '" + graph_title(g) + "': the connections form a cycle through node '" +
                            node_label(g, nodes[f]) + "', which a render would follow without end");
          if (state[f] == unseen) {
            state[f] = open;
            stack.push_back({f, 0});
          }
          continue;
        }
        uint64_t most = 0;
        for (uint32_t f : feeders[at]) most = std::max(most, sum[f]);
        sum[at] = most + weight(nodes[at]);
        state[at] = done;
        stack.pop_back();
      }
    }
    return sum;
  }
};

// Rendering and every change to a node recurse along connections, one call per node.
void check_depth(qr_graph* g, const graph_view& view, const render_limits& limits) {
  const std::vector<uint64_t> depth = view.upstream_sums(g, [](qr_node*) { return uint64_t{1}; });
  const auto deepest = std::max_element(depth.begin(), depth.end());
  const uint64_t allowed = limits.stack_bytes / stack_per_node;
  if (deepest != depth.end() && *deepest > allowed)
    throw run_error("graph '" + graph_title(g) + "' holds a chain of " + std::to_string(*deepest) +
                    " connected nodes (up to node '" + node_label(g, view.nodes[deepest - depth.begin()]) +
                    "'); a render recurses once per node, and with a stack of " + mebibytes(limits.stack_bytes) +
                    " this command follows chains of at most " + std::to_string(allowed));
}

// How deep the parser and the tree of a formula may go: each bracket level and each operator can
// add a level (a long sum is a tree as deep as it has terms).
uint64_t formula_depth(const std::string& text) {
  uint64_t open = 0, deepest = 0, operators = 0;
  for (char c : text) {
    if (c == '(') deepest = std::max(deepest, ++open);
    else if (c == ')' && open > 0) --open;
    else if (c == '+' || c == '-' || c == '*' || c == '/' || c == '%') ++operators;
  }
  return deepest + operators;
}

// A parameter's stored text, or (`on_curve` set) the value of its enabled time curve.
std::string param_text(qr_node* n, qr_renderctx* ctx, const char16_t* name, float& curve_value, bool& on_curve) {
  curve_value = 0.0f;
  on_curve = false;
  return engine_text([&](qr_char* b, int32_t c) { on_curve = node_param_value_keyed(n, ctx, b, c, &curve_value, name); });
}

void check_formulas(qr_graph* g, const graph_view& view, qr_renderctx* ctx, const render_limits& limits) {
  const uint64_t allowed = limits.stack_bytes / stack_per_formula_level;
  for (qr_node* n : view.nodes) {
    if (node_type(n) != type_scalar_expr) continue;
    float unused;
    bool on_curve;
    const uint64_t depth = formula_depth(param_text(n, ctx, u"expression", unused, on_curve));
    if (depth > allowed)
      throw run_error("node '" + node_label(g, n) + "': its formula nests " + std::to_string(depth) +
                      " levels of brackets and operators; with a stack of " + mebibytes(limits.stack_bytes) +
                      " this command parses formulas of at most " + std::to_string(allowed));
  }
}

// A whole-number parameter as the render reads it: a connected value rounded, else the time
// curve's value rounded, else the stored text (a negative or empty one gives the default).
double uint_param(qr_node* n, qr_renderctx* ctx, const char16_t* name, double def) {
  if (qr_node* src = node_outputnode_for_inputname(n, name)) {
    const double v = std::floor(static_cast<double>(node_scalar_value(src, ctx)) + 0.5);
    return std::isfinite(v) ? std::clamp(v, 0.0, 4294967295.0) : 0.0;
  }
  float curve_value;
  bool on_curve;
  const std::string text = param_text(n, ctx, name, curve_value, on_curve);
  if (on_curve) return std::clamp(std::floor(static_cast<double>(curve_value) + 0.5), 0.0, 4294967295.0);
  if (text.empty()) return def;
  const long long v = std::strtoll(text.c_str(), nullptr, 10);
  return v < 0 ? def : static_cast<double>(std::min<long long>(v, INT32_MAX));
}

void check_work(qr_graph* g, const graph_view& view, qr_renderctx* ctx, uint32_t width, uint32_t height) {
  for (qr_node* n : view.nodes) {
    const uint32_t type = node_type(n);
    if (type != type_squares && type != type_dots) continue;
    const double count = uint_param(n, ctx, u"count", 64), size = uint_param(n, ctx, u"size", 16);
    const double writes = count * std::min<double>(size, width) * std::min<double>(size, height);
    if (writes > squares_pixel_budget)
      throw run_error("node '" + node_label(g, n) + "' (" + type_title(n) + ") asks for " + rounded(count) +
                      " squares of " + rounded(size) + " pixels: about " + rounded(writes) +
                      " pixel writes, more than the " + rounded(squares_pixel_budget) +
                      " this command allows a node in one render");
  }
}

// While a node renders, each operator between it and the generators holds a buffer for its input;
// with the target, that many images of the render's size live at once. PassThru and Output draw
// straight into their target. This is a lower bound: routines may hold scratch images besides.
void check_memory(qr_graph* g, const graph_view& view, const std::vector<qr_node*>& rendered, uint32_t width,
                  uint32_t height, const render_limits& limits) {
  const std::vector<uint64_t> held = view.upstream_sums(g, [](qr_node* n) -> uint64_t {
    const uint32_t type = node_type(n);
    if (type == type_passthru || type == type_output) return 0;
    for (uint32_t i = 0, c = node_input_count(n); i < c; ++i)
      if (const uint32_t t = node_input_type(n, i); t == 2 || t == 3) return 1;
    return 0;
  });
  uint64_t images = 0;
  for (qr_node* n : rendered)
    if (auto it = view.index.find(n); it != view.index.end()) images = std::max(images, held[it->second]);
  images += 1;  // the target
  const double image_bytes = 16.0 * width * height;
  const double needed = image_bytes * static_cast<double>(images);
  if (needed > static_cast<double>(limits.memory_bytes))
    throw run_error("a render at " + std::to_string(width) + "x" + std::to_string(height) + " needs at least " +
                    std::to_string(images) + (images == 1 ? " image" : " images") + " of " + mebibytes(image_bytes) +
                    " (" + mebibytes(needed) + "), but " + mebibytes(static_cast<double>(limits.memory_bytes)) +
                    " of memory are available; give a smaller --size");
}

}  // namespace

render_limits machine_limits() {
  render_limits l{8u << 20, UINT64_MAX};  // no memory figure from the system: no memory check
  rlimit r{};
  if (getrlimit(RLIMIT_STACK, &r) == 0 && r.rlim_cur != RLIM_INFINITY) l.stack_bytes = r.rlim_cur;
  std::ifstream meminfo("/proc/meminfo");
  for (std::string key; meminfo >> key;) {
    uint64_t kib = 0;
    meminfo >> kib;
    if (key == "MemAvailable:") l.memory_bytes = kib * 1024;
    meminfo.ignore(64, '\n');
  }
  if (getrlimit(RLIMIT_AS, &r) == 0 && r.rlim_cur != RLIM_INFINITY)
    l.memory_bytes = std::min<uint64_t>(l.memory_bytes, r.rlim_cur);
  return l;
}

void check_render_limits(qr_project* p, qr_graph* g, const std::vector<qr_node*>& nodes, uint32_t width,
                         uint32_t height, const render_limits& limits) {
  const graph_view view(g);
  check_depth(g, view, limits);  // first: the checks below evaluate along connections
  qr_renderctx* ctx = renderctx_create();
  renderctx_set_project(ctx, p);
  struct release { qr_renderctx* c; ~release() { renderctx_delete(c); } } owned{ctx};
  check_formulas(g, view, ctx, limits);
  check_work(g, view, ctx, width, height);
  check_memory(g, view, nodes, width, height, limits);
}

}  // namespace quorin_cli
