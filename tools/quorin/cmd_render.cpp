// quorin render: one or more nodes of a project, one image or a sequence of frames each.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "cli.h"
#include "frame_jobs.h"
#include "guards.h"
#include "image_files.h"

namespace quorin_cli {

// Nodes upstream of `n`, counted along every path (capped): a bound for the buffers a render holds.
uint32_t upstream_weight(qr_node* n, uint32_t depth) {
  if (depth > 64) return 0;
  uint32_t total = 1;
  for (uint32_t i = 0, c = node_input_count(n); i < c && total < 4096; ++i)
    if (qr_node* src = node_outputnode_for_input_at(n, i)) total += upstream_weight(src, depth + 1);
  return total;
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

namespace {

struct render_options {
  std::string project_path;
  std::vector<std::string> outputs;
  std::string graph;
  std::vector<std::string> nodes;
  uint32_t width = 0, height = 0;
  bool alpha = false;
  std::vector<std::string> sets;
  float time = 0.0f;
  bool has_frames = false;
  uint32_t first_frame = 0, last_frame = 0;
  uint32_t depth = 0;  // 0: the format's default
  uint32_t jobs = 0;   // 0: one per processor
  uint32_t threads = 0;  // 0: the processors, shared among the jobs
  bool preview = false;
  bool json = false;
  bool verbose = false;
};

// "WxH", each side 1 to 32768.
bool parse_size(const std::string& v, uint32_t& width, uint32_t& height) {
  std::size_t x = v.find_first_of("xX");
  return x != std::string::npos && parse_uint(v.substr(0, x), width) && parse_uint(v.substr(x + 1), height) &&
         width > 0 && height > 0 && width <= 32768 && height <= 32768;
}

// "A-B" with A <= B.
bool parse_frames(const std::string& v, uint32_t& first, uint32_t& last) {
  std::size_t dash = v.find('-');
  return dash != std::string::npos && parse_uint(v.substr(0, dash), first) && parse_uint(v.substr(dash + 1), last) &&
         first <= last;
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

// Prints a progress line on standard error while a render has taken longer than a second.
class progress_reporter {
 public:
  explicit progress_reporter(const std::string& what)
      : tty_(isatty(STDERR_FILENO)), what_(what), thread_([this] { run(); }) {}
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

void run_render(const render_options& o) {
  if (o.project_path.empty()) throw usage_error("no project file given");
  if (o.outputs.empty()) throw usage_error("no output file given (-o OUT.png)");
  if (o.outputs.size() > 1 && o.outputs.size() != std::max<std::size_t>(o.nodes.size(), 1))
    throw usage_error("give one -o, or one -o for each --node");
  engine_session session(o.verbose);
  // Each render is divided over the processors; frames in several workers share them out.
  const uint32_t jobs = o.has_frames ? (o.jobs ? o.jobs : default_jobs()) : 1;
  engine_set_render_threads(o.threads ? o.threads : std::max<uint32_t>(1, default_jobs() / jobs));
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
  std::vector<image_format> formats;
  for (const std::string& out : outputs) formats.push_back(format_for(out, o.depth));
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

  if (o.has_frames) project_anim_start(p, o.first_frame, o.last_frame);
  else project_animedit_set_normalized_time(p, o.time);

  // Renders every node at one frame (or at --time), writes their files and gives the JSON lines.
  auto render_frame = [&](uint32_t frame) {
    if (o.has_frames) {
      project_anim_set_curframe(p, frame);
      float t = o.last_frame == o.first_frame
                    ? 0.0f
                    : static_cast<float>(frame - o.first_frame) / static_cast<float>(o.last_frame - o.first_frame);
      project_animedit_set_normalized_time(p, t);
    }
    std::string lines;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const std::string path = o.has_frames ? frame_path(outputs[i], frame) : outputs[i];
      auto start = std::chrono::steady_clock::now();
      node_render(nodes[i], ctx);
      write_image(path, target, o.alpha, formats[i]);
      double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
      if (o.json)
        lines += json_text({{"path", path}, {"node", node_label(g, nodes[i])}, {"size", {width, height}},
                            {"milliseconds", std::round(ms * 10.0) / 10.0}}) + "\n";
    }
    return lines;
  };

  if (!o.has_frames) {
    progress_reporter progress("rendering " +
                               (nodes.size() == 1 ? node_label(g, nodes[0]) : std::to_string(nodes.size()) + " nodes"));
    std::fputs(render_frame(0).c_str(), stdout);
  } else {
    const uint32_t count = o.last_frame - o.first_frame + 1;
    uint32_t done = 0;
    std::optional<progress_reporter> progress;  // its thread starts once the workers are forked
    run_frames(o.first_frame, o.last_frame, jobs, render_frame,
               [&] { progress.emplace("0/" + std::to_string(count) + " frames finished"); },
               [&](uint32_t, const std::string& lines) {
                 std::fputs(lines.c_str(), stdout);
                 progress->job(std::to_string(++done) + "/" + std::to_string(count) + " frames finished");
               });
    project_anim_end(p);
  }
  std::fflush(stdout);
}

// A check that gives `message`, with the refused value in place of %s, when `ok` refuses a value.
CLI::Validator value_check(std::function<bool(const std::string&)> ok, std::string message) {
  return CLI::Validator([ok, message](std::string& v) {
    if (ok(v)) return std::string();
    std::string m = message;
    if (std::size_t at = m.find("%s"); at != std::string::npos) m.replace(at, 2, v);
    return m;
  }, "");
}

}  // namespace

void add_render_command(CLI::App& app) {
  auto o = std::make_shared<render_options>();
  CLI::App* cmd = app.add_subcommand(
      "render", "Renders a node of the active graph (or of the first graph when none is active) to an image file.");
  cmd->footer(
      "The node rendered by default is what the graph's first Output node receives, else the last node\n"
      "whose output nothing uses. A node is named by its name, its index in the graph or its type name.\n"
      "With several --node and one -o, each file gets '-NODE' before its extension. With --frames the\n"
      "output holds a frame number pattern: %d (or %04d and the like) or a run of # (zero-padded to its\n"
      "length); time runs from 0 at the first frame to 1 at the last.\n"
      "A name ending in .exr gives an OpenEXR file whose values are the rendered floats, also above 1\n"
      "and below 0. Any other name gives a PNG. 8-bit PNG is the engine's own: q = trunc(v * 255 + 0.5),\n"
      "255 when bit 8 of q is set, else its low 8 bits. 16-bit PNG scales that rule to 65535:\n"
      "q = trunc(v * 65535 + 0.5), 65535 when bit 16 of q is set, else its low 16 bits; so values\n"
      "up to 2 saturate, small negative values give the top value, and larger values wrap around.");
  cmd->add_option("project", o->project_path, "the project file")->type_name("PROJECT.xml");
  cmd->add_option("-o,--output", o->outputs, "the image to write; one per --node, or one for all")
      ->type_name("FILE")->allow_extra_args(false);
  cmd->add_option("--graph", o->graph, "the graph to render from, by name or index")
      ->type_name("NAME|INDEX")
      ->check(value_check([](const std::string& v) { return !v.empty(); }, "needs a name or an index"));
  cmd->add_option("--node", o->nodes, "a node to render (repeatable)")
      ->type_name("NAME|INDEX")->allow_extra_args(false);
  cmd->add_option("--size", "image size (default: the project's render size)")
      ->type_name("WxH")
      ->check(value_check([o](const std::string& v) { return parse_size(v, o->width, o->height); },
                          "bad size '%s': give WIDTHxHEIGHT, each 1 to 32768"));
  cmd->add_flag("--alpha", o->alpha, "write RGBA instead of RGB");
  cmd->add_option("--set", o->sets, "set a parameter first (repeatable)")
      ->type_name("NODE.PARAM=VALUE")->allow_extra_args(false);
  CLI::Option* time = cmd->add_option("--time", o->time, "animation time, 0 to 1 (default 0)")
                          ->type_name("T")
                          ->check(value_check([](const std::string& v) {
                            char* end = nullptr;
                            double t = std::strtod(v.c_str(), &end);
                            return !v.empty() && !*end && t >= 0.0 && t <= 1.0;
                          }, "bad time '%s': give a number from 0 to 1"));
  CLI::Option* frames =
      cmd->add_option("--frames", "render the animation frames A to B")
          ->type_name("A-B")
          ->check(value_check([o](const std::string& v) { return parse_frames(v, o->first_frame, o->last_frame); },
                              "bad frame range '%s': give FIRST-LAST, e.g. 0-24"));
  time->excludes(frames);
  cmd->add_option("--depth", o->depth, "bits per channel: PNG 8 (default) or 16, EXR 16 (half, default) or 32")
      ->type_name("BITS")->check(CLI::IsMember({8, 16, 32}));
  cmd->add_option("--jobs", o->jobs, "frames rendered at once, in worker processes (default: one per processor)")
      ->type_name("N")->check(CLI::Range(1, 1024));
  cmd->add_option("--threads", o->threads,
                  "threads each render is divided over; the pixels are the same for every number (default: one\n"
                  "per processor, shared among the --jobs workers)")
      ->type_name("N")->check(CLI::Range(1, 1024));
  cmd->add_flag("--preview", o->preview, "render as an editor preview");
  cmd->add_flag("--json", o->json, "a JSON line per file: path, node, size, milliseconds");
  cmd->add_flag("--verbose", o->verbose, "show the engine's debug messages on stderr");
  cmd->callback([o, frames] {
    o->has_frames = frames->count() > 0;
    run_render(*o);
  });
}

}  // namespace quorin_cli
