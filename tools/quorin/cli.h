// Shared pieces of the quorin command: text conversion, errors, engine session, lookups.
#pragma once
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "catalogue_words.h"
#include "quorin/quorin.h"

namespace CLI {
class App;
}

namespace quorin_cli {

// A mistake in how the command was called: reported with exit status 2.
struct usage_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// Anything else that stops the command: reported with exit status 1.
struct run_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::u16string to_u16(const std::string& utf8);
std::string to_u8(const std::u16string& text);

// Reads a text the engine hands out through a (buffer, capacity) pair.
std::string engine_text(const std::function<void(qr_char*, int32_t)>& read);

// A JSON document as one line; text that is not valid UTF-8 is replaced, never refused.
std::string json_text(const nlohmann::ordered_json& doc);

bool parse_uint(const std::string& text, uint32_t& out);
bool is_uint(const std::string& text);

// init() on construction, cleanup() on destruction; with `verbose`, engine messages go to stderr.
struct engine_session {
  explicit engine_session(bool verbose);
  ~engine_session();
  engine_session(const engine_session&) = delete;
  engine_session& operator=(const engine_session&) = delete;
};

// A project read from a file; throws run_error with a clear message when it can't be.
struct loaded_project {
  qr_project* project;
  explicit loaded_project(const std::string& path);
  ~loaded_project();
  loaded_project(const loaded_project&) = delete;
  loaded_project& operator=(const loaded_project&) = delete;
};

// A render context for reading parameter values: only its project (for the time) is looked at.
struct value_context {
  qr_renderctx* ctx;
  explicit value_context(qr_project* p);
  ~value_context();
  value_context(const value_context&) = delete;
  value_context& operator=(const value_context&) = delete;
};

// Graph and node lookup shared by the subcommands.
std::string graph_title(qr_graph* g);
std::string node_title(qr_node* n);
std::string type_title(qr_node* n);
std::string node_label(qr_graph* g, qr_node* n);  // its name, else "#index Type"
uint32_t node_index(qr_graph* g, qr_node* n);
qr_graph* find_graph(qr_project* p, const std::string& spec, uint32_t* index_out);  // null spec: active, else first
qr_node* find_node(qr_graph* g, const std::string& spec);                          // name, index or type name

using quorin_hosts::all_type_ids;
// Nodes upstream of `n`, counted along every path (capped): a bound for the buffers a render holds.
uint32_t upstream_weight(qr_node* n, uint32_t depth);
// Parses the formulas of a graph's ScalarExpr nodes, which a project read from a file holds as text.
void parse_stored_expressions(qr_graph* g, qr_renderctx* ctx);


// Each subcommand registers its options and its action on the command's parser. The action runs
// once the whole command line has been read; it reports failures by throwing the errors above.
void add_render_command(CLI::App& app);
void add_info_command(CLI::App& app);
void add_nodes_command(CLI::App& app);
void add_serve_command(CLI::App& app);

}  // namespace quorin_cli
