// A project: settings, graphs, assets and animation state.
#pragma once
#include <cstdint>
#include <map>
#include <vector>
#include "core/text.h"
#include "document/asset.h"

namespace quorin_engine {

struct graph;

struct project {
  uint32_t head_guard = 0xdaecf51b;
  std::map<wstring, wstring> settings;  // ordered by 16-bit code units
  uint32_t width = 256;
  uint32_t height = 256;
  uint32_t preview_permille = 1000;
  uint8_t preview_showalpha = 0;
  uint32_t renderthreads_spectype_editor = 1;
  uint32_t renderthreads_editor = 1000;
  uint32_t renderthreads_spectype_editor_preview = 1;
  uint32_t renderthreads_editor_preview = 500;
  uint32_t renderthreads_spectype_runtime = 1;
  uint32_t renderthreads_runtime = 1000;
  uint32_t max_undo_redo_steps = 10;
  uint32_t animation_frames = 25;
  uint8_t preview_supersampling = 0;
  std::vector<graph*> graphs;  // owned
  int32_t active_graph_idx = -1;
  uint8_t dirty = 0;
  quorin_engine::assets assets;
  uint32_t anim_start_frame = 0;
  uint32_t anim_end_frame = 0;
  uint32_t anim_cur_frame = 0;
  float animedit_normalized_time = 0.0f;
  uint32_t tail_guard = 0xb51ecfda;

  project();  // defaults, then every typed setter once with its default
  ~project();
  project(const project&) = delete;
  project& operator=(const project&) = delete;

  // Typed setters: store the field and write its text into `settings`. They leave `dirty` alone.
  void set_width(uint32_t v);
  void set_height(uint32_t v);
  void set_preview_permille(uint32_t v);
  void set_preview_showalpha(bool v);
  void set_renderthreads_spectype_editor(uint32_t v);
  void set_renderthreads_editor(uint32_t v);
  void set_renderthreads_spectype_editor_preview(uint32_t v);
  void set_renderthreads_editor_preview(uint32_t v);
  void set_renderthreads_spectype_runtime(uint32_t v);
  void set_renderthreads_runtime(uint32_t v);
  void set_max_undo_redo_steps(uint32_t v);
  void set_animation_frames(uint32_t v);
  void set_preview_supersampling(bool v);

  // Appends a graph and takes ownership; sets `dirty`.
  void append_graph(graph* g);
  // Deletes every graph; active index -1; sets `dirty`.
  void delete_all_graphs();
  // The active graph, or null when the index is negative or past the end.
  graph* active_graph() const;
  // Sets both caching flags of every Time node, graph by graph.
  void mark_time_nodes();
};

}  // namespace quorin_engine
