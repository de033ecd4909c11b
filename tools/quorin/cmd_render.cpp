// quorin render: one or more nodes of a project, one image or a sequence of frames each.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "cli.h"
#include "guards.h"

namespace quorin_cli {
namespace {

const char* const render_help =
    "usage: quorin render PROJECT.xml -o OUT.png [options]\n"
    "\n"
    "Renders a node of the active graph (or of the first graph when none is active) to a PNG.\n"
    "\n"
    "options:\n"
    "  -o, --output FILE     the PNG to write; repeat it to pair one file with each --node.\n"
    "                        With --frames it holds a frame number pattern: %d (or %04d and the\n"
    "                        like) or a run of # (zero-padded to its length)\n"
    "  --graph NAME|INDEX    the graph to render from\n"
    "  --node NAME|INDEX     the node to render (repeatable); a node's name, its index in the\n"
    "                        graph or its type name. Default: what the graph's first Output node\n"
    "                        receives, else the last node whose output nothing uses.\n"
    "                        With several nodes and one -o, each file gets '-NODE' before '.png'\n"
    "  --size WxH            image size in pixels (default: the project's render size)\n"
    "  --alpha               write RGBA instead of RGB\n"
    "  --set NODE.PARAM=VALUE  set a parameter before rendering (repeatable)\n"
    "  --time T              normalised animation time, 0 to 1 (default 0)\n"
    "  --frames A-B          render the animation frames A to B\n"
    "  --preview             render as an editor preview (preview flags set)\n"
    "  --json                print one line of JSON per file written: path, node, size, milliseconds\n"
    "  --verbose             show the engine's debug messages on standard error\n";

struct render_options {
  std::string project_path;
  std::vector<std::string> outputs;
  std::string graph;
  std::vector<std::string> nodes;
  uint32_t width = 0, height = 0;
  bool alpha = false;
  std::vector<std::string> sets;
  bool has_time = false;
  float time = 0.0f;
  bool has_frames = false;
  uint32_t first_frame = 0, last_frame = 0;
  bool preview = false;
  bool json = false;
  bool verbose = false;
};

std::string take_value(const std::vector<std::string>& args, std::size_t& i) {
  if (i + 1 >= args.size()) throw usage_error("option " + args[i] + " needs a value");
  return args[++i];
}

render_options parse_options(const std::vector<std::string>& args) {
  render_options o;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--help" || a == "-h") {
      std::fputs(render_help, stdout);
      std::exit(0);
    } else if (a == "-o" || a == "--output") {
      o.outputs.push_back(take_value(args, i));
    } else if (a == "--graph") {
      o.graph = take_value(args, i);
      if (o.graph.empty()) throw usage_error("--graph needs a name or an index");
    } else if (a == "--node") {
      o.nodes.push_back(take_value(args, i));
    } else if (a == "--size") {
      std::string v = take_value(args, i);
      std::size_t x = v.find_first_of("xX");
      if (x == std::string::npos || !parse_uint(v.substr(0, x), o.width) ||
          !parse_uint(v.substr(x + 1), o.height) || o.width == 0 || o.height == 0 ||
          o.width > 32768 || o.height > 32768)
        throw usage_error("bad size '" + v + "': give WIDTHxHEIGHT, each 1 to 32768");
    } else if (a == "--alpha") {
      o.alpha = true;
    } else if (a == "--set") {
      o.sets.push_back(take_value(args, i));
    } else if (a == "--time") {
      std::string v = take_value(args, i);
      char* end = nullptr;
      double t = std::strtod(v.c_str(), &end);
      if (v.empty() || *end || !(t >= 0.0 && t <= 1.0))
        throw usage_error("bad time '" + v + "': give a number from 0 to 1");
      o.has_time = true;
      o.time = static_cast<float>(t);
    } else if (a == "--frames") {
      std::string v = take_value(args, i);
      std::size_t dash = v.find('-');
      if (dash == std::string::npos || !parse_uint(v.substr(0, dash), o.first_frame) ||
          !parse_uint(v.substr(dash + 1), o.last_frame) || o.last_frame < o.first_frame)
        throw usage_error("bad frame range '" + v + "': give FIRST-LAST, e.g. 0-24");
      o.has_frames = true;
    } else if (a == "--preview") {
      o.preview = true;
    } else if (a == "--json") {
      o.json = true;
    } else if (a == "--verbose") {
      o.verbose = true;
    } else if (!a.empty() && a[0] == '-') {
      throw usage_error("unknown option '" + a + "'");
    } else if (o.project_path.empty()) {
      o.project_path = a;
    } else {
      throw usage_error("unexpected argument '" + a + "'");
    }
  }
  if (o.project_path.empty()) throw usage_error("no project file given");
  if (o.outputs.empty()) throw usage_error("no output file given (-o OUT.png)");
  if (o.outputs.size() > 1 && o.outputs.size() != std::max<std::size_t>(o.nodes.size(), 1))
    throw usage_error("give one -o, or one -o for each --node");
  if (o.has_frames && o.has_time) throw usage_error("--time and --frames exclude each other");
  return o;
}

// The frame pattern of an output path: "%d", "%0Nd" or a run of '#'.
bool has_frame_pattern(const std::string& path) {
  std::string name = std::filesystem::path(path).filename().string();
  if (name.find('#') != std::string::npos) return true;
  for (std::size_t p = name.find('%'); p != std::string::npos; p = name.find('%', p + 1)) {
    std::size_t q = p + 1;
    while (q < name.size() && name[q] >= '0' && name[q] <= '9') ++q;
    if (q < name.size() && name[q] == 'd') return true;
  }
  return false;
}

std::string fill_frame(const std::string& path, uint32_t frame);

// The frame number goes into the file name only, never into the folders above it.
std::string frame_path(const std::string& path, uint32_t frame) {
  std::filesystem::path p(path);
  return (p.parent_path() / fill_frame(p.filename().string(), frame)).string();
}

std::string fill_frame(const std::string& path, uint32_t frame) {
  std::string out;
  for (std::size_t i = 0; i < path.size();) {
    if (path[i] == '#') {
      std::size_t n = 0;
      while (i + n < path.size() && path[i + n] == '#') ++n;
      std::string num = std::to_string(frame);
      if (num.size() < n) num.insert(0, n - num.size(), '0');
      out += num;
      i += n;
      continue;
    }
    if (path[i] == '%') {
      std::size_t q = i + 1;
      while (q < path.size() && path[q] >= '0' && path[q] <= '9') ++q;
      if (q < path.size() && path[q] == 'd') {
        std::size_t width = q > i + 1 ? std::stoul(path.substr(i + 1, q - i - 1)) : 0;
        std::string num = std::to_string(frame);
        if (num.size() < width) num.insert(0, width - num.size(), '0');
        out += num;
        i = q + 1;
        continue;
      }
    }
    out.push_back(path[i++]);
  }
  return out;
}

std::string with_suffix(const std::string& path, const std::string& suffix) {
  std::filesystem::path p(path);
  std::string clean;
  for (char c : suffix) clean.push_back((std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') ? c : '_');
  return (p.parent_path() / (p.stem().string() + "-" + clean + p.extension().string())).string();
}

bool has_stream_output(qr_node* n) {
  for (uint32_t i = 0, c = node_output_count(n); i < c; ++i) {
    uint32_t t = node_output_type(n, i);
    if (t == 2 || t == 3) return true;
  }
  return false;
}

bool consumed(qr_node* n) {
  for (uint32_t i = 0, c = node_output_count(n); i < c; ++i)
    if (node_input_count_for_output(n, i) > 0) return true;
  return false;
}

// What a graph shows when no node is named: the first Output node's input, else the last node
// with an image output that nothing uses, else the last node that nothing uses.
qr_node* default_node(qr_graph* g) {
  uint32_t count = graph_node_count(g);
  for (uint32_t i = 0; i < count; ++i) {
    qr_node* n = graph_node_at(g, i);
    if (::node_type(n) == 1040) {
      if (qr_node* src = node_outputnode_for_inputname(n, u"RGB")) return src;
      break;
    }
  }
  qr_node* fallback = nullptr;
  for (uint32_t i = count; i-- > 0;) {
    qr_node* n = graph_node_at(g, i);
    if (consumed(n)) continue;
    if (has_stream_output(n)) return n;
    if (!fallback) fallback = n;
  }
  if (!fallback) throw run_error("graph '" + graph_title(g) + "' has no node to render");
  return fallback;
}

// Nodes upstream of `n`, counted along every path (capped): a bound for the buffers a render holds.
uint32_t upstream_weight(qr_node* n, uint32_t depth) {
  if (depth > 64) return 0;
  uint32_t total = 1;
  for (uint32_t i = 0, c = node_input_count(n); i < c && total < 4096; ++i)
    if (qr_node* src = node_outputnode_for_input_at(n, i)) total += upstream_weight(src, depth + 1);
  return total;
}

void apply_set(qr_graph* g, const std::string& spec) {
  std::size_t eq = spec.find('=');
  std::size_t dot = eq == std::string::npos ? std::string::npos : spec.rfind('.', eq);
  if (eq == std::string::npos || dot == std::string::npos || dot == 0 || dot + 1 == eq)
    throw usage_error("bad --set '" + spec + "': give NODE.PARAM=VALUE");
  qr_node* n = find_node(g, spec.substr(0, dot));
  std::u16string param = to_u16(spec.substr(dot + 1, eq - dot - 1));
  if (node_formal_param_type_keyed(n, param.c_str()) == 0)
    throw run_error("node '" + node_label(g, n) + "' (" + type_title(n) + ") has no parameter '" +
                    spec.substr(dot + 1, eq - dot - 1) + "' (see 'quorin nodes " + type_title(n) + "')");
  node_set_param_value(n, param.c_str(), to_u16(spec.substr(eq + 1)).c_str());
}

// Formulas travel in project files as text, and a ScalarExpr read from a file holds no parsed
// formula: setting the text again parses it, as an editor does when a project is opened.
void parse_stored_expressions(qr_graph* g, qr_renderctx* ctx) {
  for (uint32_t i = 0, n = graph_node_count(g); i < n; ++i) {
    qr_node* node = graph_node_at(g, i);
    if (::node_type(node) != 1053) continue;
    float unused = 0;
    std::string text =
        engine_text([&](qr_char* b, int32_t c) { node_param_value_keyed(node, ctx, b, c, &unused, u"expression"); });
    if (text.empty()) continue;
    try {
      node_set_param_value(node, u"expression", to_u16(text).c_str());
    } catch (const std::exception& e) {
      throw run_error("node '" + node_label(g, node) + "': the formula '" + text + "' is incomplete (" + e.what() + ")");
    }
  }
}

// Prints a progress line on standard error while a render has taken longer than a second.
class progress_reporter {
 public:
  progress_reporter() : tty_(isatty(STDERR_FILENO)), thread_([this] { run(); }) {}
  ~progress_reporter() {
    {
      std::lock_guard<std::mutex> g(m_);
      stop_ = true;
    }
    cv_.notify_all();
    thread_.join();
    if (shown_ && tty_) std::fputs("\n", stderr);
  }
  void job(const std::string& what) {
    std::lock_guard<std::mutex> g(m_);
    what_ = what;
  }

 private:
  void run() {
    auto start = std::chrono::steady_clock::now();
    auto last = start;
    std::unique_lock<std::mutex> lock(m_);
    while (!cv_.wait_for(lock, std::chrono::milliseconds(200), [this] { return stop_; })) {
      auto now = std::chrono::steady_clock::now();
      double elapsed = std::chrono::duration<double>(now - start).count();
      if (elapsed < 1.0) continue;
      if (!tty_ && now - last < std::chrono::seconds(5) && shown_) continue;
      std::fprintf(stderr, tty_ ? "\rquorin: %s, %.1f s elapsed   " : "quorin: %s, %.1f s elapsed\n",
                   what_.c_str(), elapsed);
      std::fflush(stderr);
      shown_ = true;
      last = now;
    }
  }
  bool tty_;
  bool shown_ = false;
  bool stop_ = false;
  std::string what_;
  std::mutex m_;
  std::condition_variable cv_;
  std::thread thread_;
};

}  // namespace

int cmd_render(const std::vector<std::string>& args) {
  render_options o = parse_options(args);
  engine_session session(o.verbose);
  loaded_project loaded(o.project_path);
  qr_project* p = loaded.project;
  qr_graph* g = find_graph(p, o.graph, nullptr);

  std::vector<qr_node*> nodes;
  if (o.nodes.empty()) nodes.push_back(default_node(g));
  for (const std::string& spec : o.nodes) nodes.push_back(find_node(g, spec));

  std::vector<std::string> outputs;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (o.outputs.size() > 1) outputs.push_back(o.outputs[i]);
    else if (nodes.size() == 1) outputs.push_back(o.outputs[0]);
    else outputs.push_back(with_suffix(o.outputs[0], node_label(g, nodes[i])));
  }
  std::set<std::string> distinct(outputs.begin(), outputs.end());
  if (distinct.size() != outputs.size()) throw usage_error("two nodes would write the same file");
  for (const std::string& out : outputs) {
    if (o.has_frames && o.first_frame != o.last_frame && !has_frame_pattern(out))
      throw usage_error("with several --frames the output '" + out + "' needs a %d or # pattern");
    std::filesystem::path folder = std::filesystem::absolute(out).parent_path();
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec))
      throw run_error("the output folder does not exist: " + folder.string());
  }

  uint32_t width = o.width ? o.width : project_width(p);
  uint32_t height = o.height ? o.height : project_height(p);
  if (width == 0 || height == 0 || width > 32768 || height > 32768)
    throw run_error("the project's render size " + std::to_string(width) + "x" + std::to_string(height) +
                    " cannot be rendered; give --size");
  check_render_limits(p, g, nodes, width, height);

  uint32_t weight = 0;
  for (qr_node* n : nodes) weight = std::max(weight, upstream_weight(n, 0));
  // Buffers are allocated up front but their pages are only touched when used, so a generous
  // count costs little, and it keeps the pool from ever having to grow during a render.
  qr_pool4f* pool = pool4f_create(width, height, std::min<uint32_t>(4 * weight + 8, 1024));
  qr_imgbuf4f* target = imgbuf4f_create(width, height);
  qr_renderctx* ctx = renderctx_create();
  renderctx_set_target_buf(ctx, target);
  renderctx_set_targetbuf_from_cache(ctx, 0);
  renderctx_set_pool(ctx, pool);
  renderctx_set_for_thumbnail(ctx, 0);
  renderctx_set_for_preview(ctx, o.preview);
  renderctx_set_preview_supersampling(ctx, o.preview && project_preview_supersampling(p));
  renderctx_set_is_anim(ctx, o.has_frames);
  renderctx_set_project(ctx, p);

  struct cleanup_t {
    qr_renderctx* c; qr_imgbuf4f* t; qr_pool4f* p;
    ~cleanup_t() { renderctx_delete(c); imgbuf4f_delete(t); pool4f_delete(p); }
  } owned{ctx, target, pool};

  parse_stored_expressions(g, ctx);
  for (const std::string& s : o.sets) apply_set(g, s);

  uint32_t frames = o.has_frames ? o.last_frame - o.first_frame + 1 : 1;
  if (o.has_frames) project_anim_start(p, o.first_frame, o.last_frame);
  else project_animedit_set_normalized_time(p, o.time);

  progress_reporter progress;
  for (uint32_t f = 0; f < frames; ++f) {
    uint32_t frame = o.first_frame + f;
    if (o.has_frames) {
      project_anim_set_curframe(p, frame);
      float t = o.last_frame == o.first_frame
                    ? 0.0f
                    : static_cast<float>(frame - o.first_frame) / static_cast<float>(o.last_frame - o.first_frame);
      project_animedit_set_normalized_time(p, t);
    }
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      std::string label = node_label(g, nodes[i]);
      progress.job(o.has_frames ? "frame " + std::to_string(f + 1) + "/" + std::to_string(frames) + " (" + label + ")"
                                : "rendering " + label);
      std::string path = o.has_frames ? frame_path(outputs[i], frame) : outputs[i];
      auto start = std::chrono::steady_clock::now();
      node_render(nodes[i], ctx);
      qr_char message[512] = {0};
      engine_saveimage_png(message, 512, to_u16(std::filesystem::absolute(path).string()).c_str(), target,
                           o.alpha);
      if (message[0]) throw run_error("could not write " + path + ": " + to_u8(message));
      double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
      if (o.json)
        std::printf("{\"path\": %s, \"node\": %s, \"size\": [%u, %u], \"milliseconds\": %.1f}\n",
                    json_string(path).c_str(), json_string(label).c_str(), width, height, ms);
    }
  }
  if (o.has_frames) project_anim_end(p);
  std::fflush(stdout);
  return 0;
}

}  // namespace quorin_cli
