// The editor's model of one open project: every engine call for it runs on one engine thread,
// edits are checked before they touch the project and are undoable, renders come back as PNG.
#pragma once
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quorin/quorin.h"

namespace quorin_cli {

// A request the editor refuses, with the HTTP status to answer and a message for the user.
struct api_error : std::runtime_error {
  int status;
  api_error(int status_code, const std::string& message) : std::runtime_error(message), status(status_code) {}
};

// One thread that runs every engine call, in the order asked.
class engine_thread {
 public:
  engine_thread();
  ~engine_thread();
  engine_thread(const engine_thread&) = delete;
  engine_thread& operator=(const engine_thread&) = delete;

  // Runs `f` on the engine thread and hands back its result or its exception.
  template <class F>
  auto call(F f) -> decltype(f()) {
    std::packaged_task<decltype(f())()> task(std::move(f));
    auto result = task.get_future();
    post([&task] { task(); });
    return result.get();
  }

 private:
  void post(std::function<void()> job);
  void run();
  std::mutex m_;
  std::condition_variable cv_;
  std::deque<std::function<void()>> jobs_;
  bool stop_ = false;
  std::thread thread_;
};

// The state an undo step brings back: the graphs, and the assets when the step changed them.
struct project_snapshot {
  std::vector<qr_graph*> graphs;
  int32_t active_graph = -1;
  qr_assets* assets = nullptr;
  project_snapshot() = default;
  project_snapshot(project_snapshot&& o) noexcept;
  project_snapshot& operator=(project_snapshot&& o) noexcept;
  ~project_snapshot();
};

struct render_request {
  uint32_t graph = 0, node = 0;
  bool thumbnail = false;  // a small image for the node itself, else the preview
  uint32_t thumbnail_size = 64;
  std::string key;         // a newer request with the same key makes this one stale
};

class editor_model {
 public:
  // Reads `project_path`, or starts a new project that will be saved there. Runs on the engine thread.
  editor_model(const std::filesystem::path& project_path, bool exists);
  ~editor_model();

  nlohmann::json project_json();
  nlohmann::json graph_json(uint32_t graph);
  static nlohmann::json catalogue_json();

  // Edits; each checks its request fully before changing anything and becomes one undo step.
  nlohmann::json add_graph(const nlohmann::json& body);
  nlohmann::json add_node(uint32_t graph, const nlohmann::json& body);
  nlohmann::json delete_node(uint32_t graph, uint32_t node);
  nlohmann::json duplicate_node(uint32_t graph, uint32_t node);
  nlohmann::json move_node(uint32_t graph, uint32_t node, const nlohmann::json& body);
  nlohmann::json rename_node(uint32_t graph, uint32_t node, const nlohmann::json& body);
  nlohmann::json set_params(uint32_t graph, uint32_t node, const nlohmann::json& body);
  nlohmann::json connect(uint32_t graph, const nlohmann::json& body);
  nlohmann::json disconnect(uint32_t graph, const nlohmann::json& body);
  nlohmann::json add_asset(const std::string& name, const std::string& bytes);
  nlohmann::json undo();
  nlohmann::json redo();
  nlohmann::json set_time(const nlohmann::json& body);
  nlohmann::json save(const nlohmann::json& body);

  // PNG bytes of a node's image at the preview size (or thumbnail size).
  std::string render_png(const render_request& r);

  // Paths the editor may write: inside the project's folder.
  std::filesystem::path resolve_in_folder(const std::string& relative) const;

 private:
  qr_graph* graph_at(uint32_t graph);
  qr_node* node_at(qr_graph* g, uint32_t node);
  project_snapshot snapshot(bool with_assets);
  void restore(project_snapshot& s);
  // Runs `edit` as one undo step; on an exception the project goes back to where it was.
  nlohmann::json edit(bool with_assets, const std::function<nlohmann::json()>& change);
  void trim_history();
  nlohmann::json step_history(std::deque<project_snapshot>& from, std::deque<project_snapshot>& to, const char* none);
  nlohmann::json node_json(qr_graph* g, uint32_t index);

  qr_project* project_ = nullptr;
  std::filesystem::path path_;
  std::filesystem::path folder_;
  std::deque<project_snapshot> undo_, redo_;
  bool modified_ = false;
};

// Render requests that a newer one with the same key has overtaken, so they can be dropped.
class stale_tracker {
 public:
  uint64_t begin(const std::string& key);
  bool is_stale(const std::string& key, uint64_t ticket);

 private:
  std::mutex m_;
  std::map<std::string, uint64_t> latest_;
};

}  // namespace quorin_cli
