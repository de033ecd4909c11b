// quorin info: what a project holds, readable or as JSON.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cli.h"

namespace quorin_cli {
namespace {

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

void show_info(const std::string& path, bool json) {
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
    nlohmann::ordered_json doc = {{"file", path}, {"settings", nlohmann::ordered_json::object()},
                                  {"active_graph", active}, {"graphs", nlohmann::ordered_json::array()},
                                  {"assets", nlohmann::ordered_json::array()}};
    for (const char* name : setting_names) doc["settings"][name] = setting(name);
    for (uint32_t gi = 0, gc = project_graph_count(p); gi < gc; ++gi) {
      qr_graph* g = project_graph_at(p, gi);
      nlohmann::ordered_json graph = {{"index", gi}, {"name", graph_title(g)}, {"nodes", nlohmann::ordered_json::array()},
                                      {"connections", nlohmann::ordered_json::array()}};
      for (uint32_t i = 0, n = graph_node_count(g); i < n; ++i) {
        qr_node* node = graph_node_at(g, i);
        graph["nodes"].push_back({{"index", i}, {"type", type_title(node)}, {"name", node_title(node)},
                                  {"disabled", node_is_disabled(node) != 0}});
      }
      for (const connection& c : connections_of(g))
        graph["connections"].push_back({{"from", c.from}, {"to", c.to}, {"input", c.input}});
      doc["graphs"].push_back(std::move(graph));
    }
    for (uint32_t i = 0, n = assets_count(as); i < n; ++i) {
      qr_asset* a = assets_at(as, i);
      qr_imgbuf4f* img = asset_imgbuf(a);
      doc["assets"].push_back({{"index", i},
                               {"name", engine_text([&](qr_char* b, int32_t c) { asset_name(a, b, c); })},
                               {"linkage", linkage_word(a)},
                               {"path", engine_text([&](qr_char* b, int32_t c) { asset_filepath(a, b, c); })},
                               {"width", img ? imgbuf4f_width(img) : 0},
                               {"height", img ? imgbuf4f_height(img) : 0}});
    }
    std::puts(json_text(doc).c_str());
    return;
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
}

}  // namespace

void add_info_command(CLI::App& app) {
  auto o = std::make_shared<std::pair<std::string, bool>>();
  CLI::App* cmd = app.add_subcommand(
      "info",
      "Shows a project's settings, graphs, nodes, connections and image assets.");
  cmd->footer("Nodes show their index, type, name and whether they are disabled; assets their linkage,\n"
              "file and size. --json prints the same as one JSON document.");
  cmd->add_option("project", o->first, "the project file")->type_name("PROJECT.xml");
  cmd->add_flag("--json", o->second, "print the same as one JSON document");
  cmd->callback([o] {
    if (o->first.empty()) throw usage_error("no project file given");
    show_info(o->first, o->second);
  });
}

}  // namespace quorin_cli
