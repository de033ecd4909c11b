// quorin info: what a project holds, readable or as JSON.
#include <cstdio>
#include <string>
#include <vector>

#include "cli.h"

namespace quorin_cli {
namespace {

const char* const info_help =
    "usage: quorin info PROJECT.xml [--json]\n"
    "\n"
    "Shows the project's settings, its graphs with their nodes (index, type, name, disabled) and\n"
    "connections, and its image assets. --json prints the same as one JSON document.\n";

const char* const setting_names[] = {
    "render-size-x", "render-size-y", "preview-percent", "preview-showalpha",
    "renderthreads-spectype-editor", "renderthreads-editor", "renderthreads-spectype-editor-preview",
    "renderthreads-editor-preview", "renderthreads-spectype-runtime", "renderthreads-runtime",
    "max-undoredo-steps", "animation-frames", "preview-supersampling",
};

struct connection {
  uint32_t from;       // producer's index
  uint32_t to;         // consumer's index
  std::string input;   // the consumer's input
};

std::vector<connection> connections_of(qr_graph* g) {
  std::vector<connection> out;
  for (uint32_t i = 0, n = graph_node_count(g); i < n; ++i) {
    qr_node* consumer = graph_node_at(g, i);
    for (uint32_t k = 0, c = node_input_count(consumer); k < c; ++k) {
      qr_node* src = node_outputnode_for_input_at(consumer, k);
      if (!src) continue;
      out.push_back({node_index(g, src), i,
                     engine_text([&](qr_char* b, int32_t cap) { node_input_name(consumer, b, cap, k); })});
    }
  }
  return out;
}

std::string linkage_word(qr_asset* a) { return asset_linkage(a) == 1 ? "embedded" : "linked"; }

}  // namespace

int cmd_info(const std::vector<std::string>& args) {
  std::string path;
  bool json = false;
  for (const std::string& a : args) {
    if (a == "--help" || a == "-h") {
      std::fputs(info_help, stdout);
      return 0;
    } else if (a == "--json") {
      json = true;
    } else if (!a.empty() && a[0] == '-') {
      throw usage_error("unknown option '" + a + "'");
    } else if (path.empty()) {
      path = a;
    } else {
      throw usage_error("unexpected argument '" + a + "'");
    }
  }
  if (path.empty()) throw usage_error("no project file given");

  engine_session session(false);
  loaded_project loaded(path);
  qr_project* p = loaded.project;
  qr_assets* as = project_assets(p);
  int32_t active = project_active_graph_idx(p);

  auto setting = [&](const char* name) {
    std::u16string key = to_u16(name);
    return engine_text([&](qr_char* b, int32_t c) { project_setting(p, key.c_str(), b, c); });
  };

  if (json) {
    std::string out = "{\"file\": " + json_string(path) + ", \"settings\": {";
    bool first = true;
    for (const char* name : setting_names) {
      out += std::string(first ? "" : ", ") + json_string(name) + ": " + json_string(setting(name));
      first = false;
    }
    out += "}, \"active_graph\": " + std::to_string(active) + ", \"graphs\": [";
    for (uint32_t gi = 0, gc = project_graph_count(p); gi < gc; ++gi) {
      qr_graph* g = project_graph_at(p, gi);
      out += std::string(gi ? ", " : "") + "{\"index\": " + std::to_string(gi) +
             ", \"name\": " + json_string(graph_title(g)) + ", \"nodes\": [";
      for (uint32_t i = 0, n = graph_node_count(g); i < n; ++i) {
        qr_node* node = graph_node_at(g, i);
        out += std::string(i ? ", " : "") + "{\"index\": " + std::to_string(i) +
               ", \"type\": " + json_string(type_title(node)) + ", \"name\": " + json_string(node_title(node)) +
               ", \"disabled\": " + (node_is_disabled(node) ? "true" : "false") + "}";
      }
      out += "], \"connections\": [";
      bool firstc = true;
      for (const connection& c : connections_of(g)) {
        out += std::string(firstc ? "" : ", ") + "{\"from\": " + std::to_string(c.from) +
               ", \"to\": " + std::to_string(c.to) + ", \"input\": " + json_string(c.input) + "}";
        firstc = false;
      }
      out += "]}";
    }
    out += "], \"assets\": [";
    for (uint32_t i = 0, n = assets_count(as); i < n; ++i) {
      qr_asset* a = assets_at(as, i);
      qr_imgbuf4f* img = asset_imgbuf(a);
      out += std::string(i ? ", " : "") + "{\"index\": " + std::to_string(i) +
             ", \"name\": " + json_string(engine_text([&](qr_char* b, int32_t c) { asset_name(a, b, c); })) +
             ", \"linkage\": " + json_string(linkage_word(a)) +
             ", \"path\": " + json_string(engine_text([&](qr_char* b, int32_t c) { asset_filepath(a, b, c); })) +
             ", \"width\": " + std::to_string(img ? imgbuf4f_width(img) : 0) +
             ", \"height\": " + std::to_string(img ? imgbuf4f_height(img) : 0) + "}";
    }
    out += "]}\n";
    std::fputs(out.c_str(), stdout);
    return 0;
  }

  std::printf("project %s\n\nsettings\n", path.c_str());
  for (const char* name : setting_names) std::printf("  %-40s %s\n", name, setting(name).c_str());
  uint32_t gc = project_graph_count(p);
  std::printf("\ngraphs: %u\n", gc);
  for (uint32_t gi = 0; gi < gc; ++gi) {
    qr_graph* g = project_graph_at(p, gi);
    uint32_t n = graph_node_count(g);
    std::printf("\n  graph %u '%s'%s, %u node%s\n", gi, graph_title(g).c_str(),
                static_cast<int32_t>(gi) == active ? " (active)" : "", n, n == 1 ? "" : "s");
    for (uint32_t i = 0; i < n; ++i) {
      qr_node* node = graph_node_at(g, i);
      std::string name = node_title(node);
      std::printf("    %3u  %-22s %s%s\n", i, type_title(node).c_str(),
                  name.empty() ? "" : ("'" + name + "'").c_str(), node_is_disabled(node) ? "  [disabled]" : "");
    }
    std::vector<connection> cs = connections_of(g);
    if (!cs.empty()) std::printf("    connections\n");
    for (const connection& c : cs)
      std::printf("      %u -> %u.%s\n", c.from, c.to, c.input.c_str());
  }
  uint32_t ac = assets_count(as);
  std::printf("\nassets: %u\n", ac);
  for (uint32_t i = 0; i < ac; ++i) {
    qr_asset* a = assets_at(as, i);
    qr_imgbuf4f* img = asset_imgbuf(a);
    std::string name = engine_text([&](qr_char* b, int32_t c) { asset_name(a, b, c); });
    std::string file = engine_text([&](qr_char* b, int32_t c) { asset_filepath(a, b, c); });
    std::printf("  %3u  '%s' %s%s%s", i, name.c_str(), linkage_word(a).c_str(), file.empty() ? "" : " ",
                file.c_str());
    if (img) std::printf(", %ux%u", imgbuf4f_width(img), imgbuf4f_height(img));
    std::printf("\n");
  }
  return 0;
}

}  // namespace quorin_cli
