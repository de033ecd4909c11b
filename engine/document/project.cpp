// Projects: typed settings with their text mirrors, free settings, the graph list with its active
// index, the asset collection and the animation state.
#include "document/project.h"

#include <algorithm>
#include "document/graph.h"
#include "document/node.h"
#include "quorin/project.h"

QUORIN_EXTERN_C quorin_engine::graph* graph_deep_copy(const quorin_engine::graph* g);

namespace quorin_engine {
namespace {

constexpr uint32_t type_id_time = 26;

wstring bool_text(bool v) { return v ? u"true" : u"false"; }
wstring spectype_text(uint32_t v) { return v == 0 ? u"absolute" : u"percentage"; }

// A graph reads as clean afterwards: every node's own flag, then the graph's.
void reset_graph_dirty(graph* g) {
  for (shadetree_node_t* n : g->nodes) n->reset_dirty();
  g->dirty = 0;
}

uint32_t count_of_type(const graph* g, uint32_t type_id) {
  uint32_t n = 0;
  for (const shadetree_node_t* node : g->nodes)
    if (node->type_id == type_id) ++n;
  return n;
}

}  // namespace

project::project() {
  set_width(width);
  set_height(height);
  set_preview_permille(preview_permille);
  set_preview_showalpha(preview_showalpha);
  set_renderthreads_spectype_editor(renderthreads_spectype_editor);
  set_renderthreads_editor(renderthreads_editor);
  set_renderthreads_spectype_editor_preview(renderthreads_spectype_editor_preview);
  set_renderthreads_editor_preview(renderthreads_editor_preview);
  set_renderthreads_spectype_runtime(renderthreads_spectype_runtime);
  set_renderthreads_runtime(renderthreads_runtime);
  set_max_undo_redo_steps(max_undo_redo_steps);
  set_animation_frames(animation_frames);
  set_preview_supersampling(preview_supersampling);
}

project::~project() {
  for (graph* g : graphs) delete g;
}

void project::set_width(uint32_t v) {
  width = v;
  settings[u"render-size-x"] = format_u(v);
}
void project::set_height(uint32_t v) {
  height = v;
  settings[u"render-size-y"] = format_u(v);
}
// The key says percent; the value is per mille.
void project::set_preview_permille(uint32_t v) {
  preview_permille = v;
  settings[u"preview-percent"] = format_u(v);
}
void project::set_preview_showalpha(bool v) {
  preview_showalpha = v;
  settings[u"preview-showalpha"] = bool_text(v);
}
void project::set_renderthreads_spectype_editor(uint32_t v) {
  renderthreads_spectype_editor = v;
  settings[u"renderthreads-spectype-editor"] = spectype_text(v);
}
void project::set_renderthreads_editor(uint32_t v) {
  renderthreads_editor = v;
  settings[u"renderthreads-editor"] = format_u(v);
}
void project::set_renderthreads_spectype_editor_preview(uint32_t v) {
  renderthreads_spectype_editor_preview = v;
  settings[u"renderthreads-spectype-editor-preview"] = spectype_text(v);
}
void project::set_renderthreads_editor_preview(uint32_t v) {
  renderthreads_editor_preview = v;
  settings[u"renderthreads-editor-preview"] = format_u(v);
}
void project::set_renderthreads_spectype_runtime(uint32_t v) {
  renderthreads_spectype_runtime = v;
  settings[u"renderthreads-spectype-runtime"] = spectype_text(v);
}
void project::set_renderthreads_runtime(uint32_t v) {
  renderthreads_runtime = v;
  settings[u"renderthreads-runtime"] = format_u(v);
}
void project::set_max_undo_redo_steps(uint32_t v) {
  max_undo_redo_steps = v;
  settings[u"max-undoredo-steps"] = format_u(v);
}
void project::set_animation_frames(uint32_t v) {
  animation_frames = v;
  settings[u"animation-frames"] = format_u(v);
}
void project::set_preview_supersampling(bool v) {
  preview_supersampling = v;
  settings[u"preview-supersampling"] = bool_text(v);
}

void project::append_graph(graph* g) {
  graphs.push_back(g);
  dirty = 1;
}

void project::delete_all_graphs() {
  for (graph* g : graphs) delete g;
  graphs.clear();
  active_graph_idx = -1;
  dirty = 1;
}

graph* project::active_graph() const {
  if (active_graph_idx < 0 || static_cast<std::size_t>(active_graph_idx) >= graphs.size()) return nullptr;
  return graphs[static_cast<std::size_t>(active_graph_idx)];
}

void project::mark_time_nodes() {
  for (graph* g : graphs) {
    std::vector<shadetree_node_t*> time_nodes;
    for (shadetree_node_t* n : g->nodes)
      if (n->type_id == type_id_time) time_nodes.push_back(n);
    for (shadetree_node_t* n : time_nodes) {
      n->caching_dirty = true;
      n->thumbnail_caching_dirty = true;
    }
  }
}

}  // namespace quorin_engine

using namespace quorin_engine;

// ---- lifecycle -----------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API project* project_create(void) { return new project; }

QUORIN_EXTERN_C QUORIN_API void project_delete(project* p) { delete p; }

QUORIN_EXTERN_C QUORIN_API project* project_deep_copy(const project* p) {
  auto* copy = new project;
  for (graph* g : p->graphs) copy->graphs.push_back(graph_deep_copy(g));
  copy->active_graph_idx = p->active_graph_idx;
  for (graph* g : copy->graphs) reset_graph_dirty(g);
  copy->dirty = 0;
  return copy;
}

QUORIN_EXTERN_C QUORIN_API void project_clear(project* p) {
  p->delete_all_graphs();
  p->assets.clear();
  p->dirty = 0;
}

// ---- typed settings ------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API uint32_t project_width(const project* p) { return p->width; }
QUORIN_EXTERN_C QUORIN_API void project_set_width(project* p, uint32_t v) { p->set_width(v); }
QUORIN_EXTERN_C QUORIN_API uint32_t project_height(const project* p) { return p->height; }
QUORIN_EXTERN_C QUORIN_API void project_set_height(project* p, uint32_t v) { p->set_height(v); }
QUORIN_EXTERN_C QUORIN_API uint32_t project_preview_permille(const project* p) { return p->preview_permille; }
QUORIN_EXTERN_C QUORIN_API void project_set_preview_permille(project* p, uint32_t v) {
  p->set_preview_permille(v);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_preview_showalpha(const project* p) {
  return p->preview_showalpha ? 1 : 0;
}
QUORIN_EXTERN_C QUORIN_API void project_set_preview_showalpha(project* p, uint32_t v) {
  p->set_preview_showalpha(v != 0);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_renderthreads_spectype_editor(const project* p) {
  return p->renderthreads_spectype_editor;
}
QUORIN_EXTERN_C QUORIN_API void project_set_renderthreads_spectype_editor(project* p, uint32_t v) {
  p->set_renderthreads_spectype_editor(v);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_renderthreads_editor(const project* p) {
  return p->renderthreads_editor;
}
QUORIN_EXTERN_C QUORIN_API void project_set_renderthreads_editor(project* p, uint32_t v) {
  p->set_renderthreads_editor(v);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_renderthreads_spectype_editor_preview(const project* p) {
  return p->renderthreads_spectype_editor_preview;
}
QUORIN_EXTERN_C QUORIN_API void project_set_renderthreads_spectype_editor_preview(project* p, uint32_t v) {
  p->set_renderthreads_spectype_editor_preview(v);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_renderthreads_editor_preview(const project* p) {
  return p->renderthreads_editor_preview;
}
QUORIN_EXTERN_C QUORIN_API void project_set_renderthreads_editor_preview(project* p, uint32_t v) {
  p->set_renderthreads_editor_preview(v);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_max_undo_redo_steps(const project* p) {
  return p->max_undo_redo_steps;
}
QUORIN_EXTERN_C QUORIN_API void project_set_max_undo_redo_steps(project* p, uint32_t v) {
  p->set_max_undo_redo_steps(v);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_animation_frames(const project* p) { return p->animation_frames; }
QUORIN_EXTERN_C QUORIN_API void project_set_animation_frames(project* p, uint32_t v) {
  p->set_animation_frames(v);
}
QUORIN_EXTERN_C QUORIN_API uint32_t project_preview_supersampling(const project* p) {
  return p->preview_supersampling ? 1 : 0;
}
QUORIN_EXTERN_C QUORIN_API void project_set_preview_supersampling(project* p, uint32_t v) {
  p->set_preview_supersampling(v != 0);
}

// ---- free settings -------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API void project_add_setting(project* p, const char16_t* name, const char16_t* value) {
  wstring key = from_caller(name);
  if (key.empty()) return;
  p->settings[key] = from_caller(value);
}

// A name that is not there is added with an empty value, and so is written to the file later.
QUORIN_EXTERN_C QUORIN_API void project_setting(project* p, const char16_t* name, char16_t* buf, int32_t cap) {
  copy_out(p->settings[from_caller(name)], buf, cap);
}

// ---- graphs --------------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API uint32_t project_empty_graphs(const project* p) {
  for (const graph* g : p->graphs)
    if (!g->nodes.empty()) return 0;
  return 1;
}

QUORIN_EXTERN_C QUORIN_API uint32_t project_graph_count(const project* p) {
  return static_cast<uint32_t>(p->graphs.size());
}

QUORIN_EXTERN_C QUORIN_API graph* project_graph_at(project* p, uint32_t index) {
  return index < p->graphs.size() ? p->graphs[index] : nullptr;
}

QUORIN_EXTERN_C QUORIN_API graph* project_active_graph(project* p) { return p->active_graph(); }

QUORIN_EXTERN_C QUORIN_API int32_t project_active_graph_idx(const project* p) { return p->active_graph_idx; }

// Activating another graph ends the asset selection; the index itself is taken as given.
QUORIN_EXTERN_C QUORIN_API uint32_t project_activate_graph_by_idx(project* p, int32_t index) {
  if (index == p->active_graph_idx) return 0;
  p->active_graph_idx = index;
  if (p->assets.active_asset_idx != -1) p->assets.active_asset_idx = -1;
  return 1;
}

QUORIN_EXTERN_C QUORIN_API uint32_t project_activate_graph_by_name(project* p, const char16_t* name) {
  wstring wanted = from_caller(name);
  for (std::size_t i = 0; i < p->graphs.size(); ++i)
    if (p->graphs[i]->name == wanted) return project_activate_graph_by_idx(p, static_cast<int32_t>(i));
  return 0;
}

QUORIN_EXTERN_C QUORIN_API graph* project_add_graph(project* p) {
  auto* g = new graph;
  p->append_graph(g);
  return g;
}

QUORIN_EXTERN_C QUORIN_API graph* project_add_graph_and_activate(project* p) {
  auto* g = new graph;
  p->append_graph(g);
  p->active_graph_idx = static_cast<int32_t>(p->graphs.size() - 1);
  p->assets.active_asset_idx = -1;
  return g;
}

QUORIN_EXTERN_C QUORIN_API void project_append_graph(project* p, graph* g) {
  if (g) p->append_graph(g);
}

// The active index is left as it is and may then name another graph or lie past the end.
QUORIN_EXTERN_C QUORIN_API graph* project_unattach_graph(project* p, uint32_t index) {
  if (index >= p->graphs.size()) return nullptr;
  graph* g = p->graphs[index];
  p->graphs.erase(p->graphs.begin() + index);
  return g;
}

// The active index is cleared whichever graph goes. A graph that the project does not hold is
// left alone.
QUORIN_EXTERN_C QUORIN_API void project_delete_graph(project* p, graph* g) {
  auto it = std::find(p->graphs.begin(), p->graphs.end(), g);
  if (it == p->graphs.end()) return;
  p->graphs.erase(it);
  delete g;
  p->dirty = 1;
  p->active_graph_idx = -1;
}

QUORIN_EXTERN_C QUORIN_API void project_delete_active_graph(project* p) {
  if (graph* g = p->active_graph()) project_delete_graph(p, g);
}

QUORIN_EXTERN_C QUORIN_API void project_delete_all_graphs(project* p) { p->delete_all_graphs(); }

QUORIN_EXTERN_C QUORIN_API uint32_t project_active_graph_has_nodes(const project* p, uint32_t type_id) {
  const graph* g = p->active_graph();
  return g && count_of_type(g, type_id) > 0 ? 1 : 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t project_active_graph_node_count(const project* p, uint32_t type_id) {
  const graph* g = p->active_graph();
  return g ? count_of_type(g, type_id) : 0;
}

QUORIN_EXTERN_C QUORIN_API void project_active_graph_nodes(const project* p, shadetree_node_t** out,
                                                           uint32_t capacity, uint32_t type_id) {
  const graph* g = p->active_graph();
  if (!g || !out) return;
  uint32_t n = 0;
  for (shadetree_node_t* node : g->nodes) {
    if (n >= capacity) break;
    if (node->type_id == type_id) out[n++] = node;
  }
}

// ---- other ---------------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API assets* project_assets(project* p) { return &p->assets; }

// The assets' own flag is not part of the project's.
QUORIN_EXTERN_C QUORIN_API uint32_t project_dirty(const project* p) {
  if (p->dirty) return 1;
  for (const graph* g : p->graphs)
    if (g->is_dirty()) return 1;
  return 0;
}

QUORIN_EXTERN_C QUORIN_API void project_reset_dirty(project* p) {
  for (graph* g : p->graphs) reset_graph_dirty(g);
  p->dirty = 0;
}

// ---- animation -----------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API void project_anim_start(project* p, uint32_t first_frame, uint32_t last_frame) {
  p->anim_start_frame = first_frame;
  p->anim_end_frame = last_frame;
  p->anim_cur_frame = 0;
}

QUORIN_EXTERN_C QUORIN_API void project_anim_set_curframe(project* p, uint32_t frame) {
  p->anim_cur_frame = frame;
  p->mark_time_nodes();
}

// Ending an animation marks nothing.
QUORIN_EXTERN_C QUORIN_API void project_anim_end(project* p) {
  p->anim_start_frame = 0;
  p->anim_end_frame = 0;
  p->anim_cur_frame = 0;
}

QUORIN_EXTERN_C QUORIN_API uint32_t project_anim_start_frame(const project* p) { return p->anim_start_frame; }
QUORIN_EXTERN_C QUORIN_API uint32_t project_anim_end_frame(const project* p) { return p->anim_end_frame; }
QUORIN_EXTERN_C QUORIN_API uint32_t project_anim_cur_frame(const project* p) { return p->anim_cur_frame; }

QUORIN_EXTERN_C QUORIN_API void project_animedit_set_normalized_time(project* p, float t) {
  p->animedit_normalized_time = t;
  p->mark_time_nodes();
}

QUORIN_EXTERN_C QUORIN_API float project_animedit_normalized_time(const project* p) {
  return p->animedit_normalized_time;
}

// ---- interim: until the graph family lands, a deep copy of the node list ---------------------------

QUORIN_EXTERN_C __attribute__((weak)) graph* graph_deep_copy(const graph* g) {
  auto* copy = new graph;
  for (shadetree_node_t* n : g->nodes) copy->nodes.push_back(new shadetree_node_t(*n));
  return copy;
}
