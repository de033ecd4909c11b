// quorin nodes: the node type catalogue, by category, or one type in full.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "catalogue_words.h"
#include "cli.h"

namespace quorin_cli {

namespace {

using quorin_hosts::param_word;
using quorin_hosts::port_word;

std::string type_description(uint32_t id) {
  return engine_text([&](qr_char* b, int32_t c) { node_type_description(b, c, id); });
}

std::string fmt_float(float v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%g", v);
  return buf;
}

void describe_type(const std::string& name) {
  std::u16string wname = to_u16(name);
  qr_node* n = node_create_by_type_name(wname.c_str());
  if (!n) throw run_error("no node type '" + name + "' (see 'quorin nodes --all')");
  struct owner_t { qr_node* n; ~owner_t() { node_delete(n); } } owner{n};

  std::string category = engine_text([&](qr_char* b, int32_t c) { node_category_name(n, b, c); });
  std::printf("%s  (%s, category %s, type id %u%s)\n", name.c_str(),
              node_is_generator(n) ? "generator" : "operator", category.c_str(), node_type(n),
              node_type_is_disabled(n) ? ", hidden in editors" : "");
  std::string desc = type_description(node_type(n));
  if (!desc.empty()) std::printf("  %s\n", desc.c_str());

  std::printf("\noutputs\n");
  for (uint32_t i = 0, c = node_output_count(n); i < c; ++i)
    std::printf("  %-20s %s\n", engine_text([&](qr_char* b, int32_t cap) { node_output_name(n, b, cap, i); }).c_str(),
                port_word(node_output_type(n, i)));
  std::printf("\ninputs\n");
  for (uint32_t i = 0, c = node_input_count(n); i < c; ++i) {
    std::string in = engine_text([&](qr_char* b, int32_t cap) { node_input_name(n, b, cap, i); });
    std::string d = engine_text([&](qr_char* b, int32_t cap) { node_input_description(n, b, cap, i); });
    std::printf("  %-20s %-17s %s\n", in.c_str(), port_word(node_input_type(n, i)), d.c_str());
  }

  // A fresh node stores the defaults; the context is only read for time curves, which it has none of.
  value_context values(nullptr);
  qr_renderctx* ctx = values.ctx;
  for (uint32_t g = 0, gc = node_formal_param_group_count(n); g < gc; ++g) {
    std::printf("\nparameters: %s\n",
                engine_text([&](qr_char* b, int32_t cap) { node_formal_param_group_name(n, g, b, cap); }).c_str());
    for (uint32_t k = 0, pc = node_formal_param_count(n, g); k < pc; ++k) {
      uint32_t type = node_formal_param_type_indexed(n, g, k);
      std::string pname = engine_text([&](qr_char* b, int32_t cap) { node_formal_param_name(n, g, k, b, cap); });
      float unused = 0;
      std::string def;
      if (type != 8)
        def = engine_text([&](qr_char* b, int32_t cap) { node_param_value_indexed(n, ctx, b, cap, &unused, g, k); });
      std::string line = "  " + pname + "  " + param_word(type);
      if (!def.empty()) line += "  default " + def;
      if (type == 1) {
        if (node_formal_param_uint_has_minval(n, g, k)) line += "  min " + std::to_string(node_formal_param_uint_minval(n, g, k));
        if (node_formal_param_uint_has_maxval(n, g, k)) line += "  max " + std::to_string(node_formal_param_uint_maxval(n, g, k));
      } else if (type == 2) {
        if (node_formal_param_float_has_minval(n, g, k)) line += "  min " + fmt_float(node_formal_param_float_minval(n, g, k));
        if (node_formal_param_float_has_maxval(n, g, k)) line += "  max " + fmt_float(node_formal_param_float_maxval(n, g, k));
      }
      if (node_formal_param_time_curveable_indexed(n, g, k)) line += "  (animatable)";
      std::printf("%s\n", line.c_str());
      std::string d = engine_text([&](qr_char* b, int32_t cap) { node_formal_param_description(n, g, k, b, cap); });
      if (!d.empty()) std::printf("      %s\n", d.c_str());
      for (uint32_t e = 0, ec = node_formal_param_enum_count(n, g, k); e < ec; ++e)
        std::printf("      %2u  %s\n", e,
                    engine_text([&](qr_char* b, int32_t cap) { node_formal_param_enum_name(n, g, k, e, b, cap); }).c_str());
    }
  }
}

void list_types(const std::string& type, bool all) {
  engine_session session(false);
  if (!type.empty()) return describe_type(type);

  struct entry { uint32_t id; std::string name; bool gen; uint32_t category; bool hidden; };
  std::vector<entry> types;
  for (uint32_t id : all_type_ids()) {
    qr_node* n = node_create_with_type(id);
    types.push_back({id, type_title(n), node_is_generator(n) != 0, node_category(n), node_type_is_disabled(n) != 0});
    node_delete(n);
  }
  for (int gen = 1; gen >= 0; --gen) {
    std::printf("%s\n", gen ? "GENERATORS" : "OPERATORS");
    for (uint32_t c = 0, cc = node_all_categories_count(gen); c < cc; ++c) {
      std::string cname = engine_text([&](qr_char* b, int32_t cap) { node_all_categories_name(b, cap, gen, c); });
      std::string cdesc = engine_text([&](qr_char* b, int32_t cap) { node_all_categories_description(b, cap, gen, c); });
      std::vector<const entry*> in_category;
      for (const entry& e : types)
        if (e.gen == (gen == 1) && e.category == c && (all || !e.hidden)) in_category.push_back(&e);
      if (in_category.empty()) continue;
      std::printf("\n  %s%s%s\n", cname.c_str(), cdesc.empty() ? "" : " - ", cdesc.c_str());
      for (const entry* e : in_category) {
        std::string d = type_description(e->id);
        std::size_t stop = d.find(". ");
        if (stop != std::string::npos) d = d.substr(0, stop + 1);
        std::printf("    %-22s %s%s\n", e->name.c_str(), e->hidden ? "[hidden] " : "", d.c_str());
      }
    }
    std::printf("\n");
  }
}

}  // namespace

void add_nodes_command(CLI::App& app) {
  auto o = std::make_shared<std::pair<std::string, bool>>();
  CLI::App* cmd = app.add_subcommand(
      "nodes",
      "Lists the node types by category, or one type's inputs, outputs and parameters.");
  cmd->footer("Parameters show their defaults, bounds and enum values. Types that editors hide are\n"
              "listed only with --all.");
  cmd->add_option("type", o->first, "a node type's name")->type_name("TYPE");
  cmd->add_flag("--all", o->second, "also list the types that editors hide");
  cmd->callback([o] { list_types(o->first, o->second); });
}

}  // namespace quorin_cli
