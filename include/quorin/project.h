/* Quorin engine: the project family of the exported C interface. */
#ifndef QUORIN_PROJECT_H
#define QUORIN_PROJECT_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* Lifecycle. A deep copy takes the graphs and the active graph index only: settings, render size
   and assets of the copy are the defaults of a new project. */
QUORIN_API qr_project* project_create(void);
QUORIN_API void project_delete(qr_project* p);
QUORIN_API qr_project* project_deep_copy(const qr_project* p);
QUORIN_API void project_clear(qr_project* p);

/* Typed settings; each setter also writes the setting's text into the settings map. */
QUORIN_API uint32_t project_width(const qr_project* p);
QUORIN_API void project_set_width(qr_project* p, uint32_t width);
QUORIN_API uint32_t project_height(const qr_project* p);
QUORIN_API void project_set_height(qr_project* p, uint32_t height);
QUORIN_API uint32_t project_preview_permille(const qr_project* p);
QUORIN_API void project_set_preview_permille(qr_project* p, uint32_t permille);
QUORIN_API uint32_t project_preview_showalpha(const qr_project* p);
QUORIN_API void project_set_preview_showalpha(qr_project* p, uint32_t show);
QUORIN_API uint32_t project_renderthreads_spectype_editor(const qr_project* p);
QUORIN_API void project_set_renderthreads_spectype_editor(qr_project* p, uint32_t spectype);
QUORIN_API uint32_t project_renderthreads_editor(const qr_project* p);
QUORIN_API void project_set_renderthreads_editor(qr_project* p, uint32_t threads);
QUORIN_API uint32_t project_renderthreads_spectype_editor_preview(const qr_project* p);
QUORIN_API void project_set_renderthreads_spectype_editor_preview(qr_project* p, uint32_t spectype);
QUORIN_API uint32_t project_renderthreads_editor_preview(const qr_project* p);
QUORIN_API void project_set_renderthreads_editor_preview(qr_project* p, uint32_t threads);
QUORIN_API uint32_t project_max_undo_redo_steps(const qr_project* p);
QUORIN_API void project_set_max_undo_redo_steps(qr_project* p, uint32_t steps);
QUORIN_API uint32_t project_animation_frames(const qr_project* p);
QUORIN_API void project_set_animation_frames(qr_project* p, uint32_t frames);
QUORIN_API uint32_t project_preview_supersampling(const qr_project* p);
QUORIN_API void project_set_preview_supersampling(qr_project* p, uint32_t on);

/* Free settings. Adding never touches a typed field; reading an unknown name adds it, empty. */
QUORIN_API void project_add_setting(qr_project* p, const qr_char* name, const qr_char* value);
QUORIN_API void project_setting(qr_project* p, const qr_char* name, qr_char* buf, int32_t cap);

/* Graphs. */
QUORIN_API uint32_t project_empty_graphs(const qr_project* p);
QUORIN_API uint32_t project_graph_count(const qr_project* p);
QUORIN_API qr_graph* project_graph_at(qr_project* p, uint32_t index);
QUORIN_API qr_graph* project_active_graph(qr_project* p);
QUORIN_API int32_t project_active_graph_idx(const qr_project* p);
QUORIN_API uint32_t project_activate_graph_by_idx(qr_project* p, int32_t index);
QUORIN_API uint32_t project_activate_graph_by_name(qr_project* p, const qr_char* name);
QUORIN_API qr_graph* project_add_graph(qr_project* p);
QUORIN_API qr_graph* project_add_graph_and_activate(qr_project* p);
QUORIN_API void project_append_graph(qr_project* p, qr_graph* g);
QUORIN_API qr_graph* project_unattach_graph(qr_project* p, uint32_t index);
QUORIN_API void project_delete_graph(qr_project* p, qr_graph* g);
QUORIN_API void project_delete_active_graph(qr_project* p);
QUORIN_API void project_delete_all_graphs(qr_project* p);
QUORIN_API uint32_t project_active_graph_has_nodes(const qr_project* p, uint32_t type_id);
QUORIN_API uint32_t project_active_graph_node_count(const qr_project* p, uint32_t type_id);
QUORIN_API void project_active_graph_nodes(const qr_project* p, qr_node** out, uint32_t capacity,
                                           uint32_t type_id);

/* Other. */
QUORIN_API qr_assets* project_assets(qr_project* p);
QUORIN_API uint32_t project_dirty(const qr_project* p);
QUORIN_API void project_reset_dirty(qr_project* p);
QUORIN_API uint32_t project_read_from_file_xml(qr_project* p, const qr_char* path);
QUORIN_API uint32_t project_write_xml_to_file(const qr_project* p, const qr_char* path);

/* Animation. A frame or normalized-time change marks the project's Time nodes for re-rendering. */
QUORIN_API void project_anim_start(qr_project* p, uint32_t first_frame, uint32_t last_frame);
QUORIN_API void project_anim_set_curframe(qr_project* p, uint32_t frame);
QUORIN_API void project_anim_end(qr_project* p);
QUORIN_API uint32_t project_anim_start_frame(const qr_project* p);
QUORIN_API uint32_t project_anim_end_frame(const qr_project* p);
QUORIN_API uint32_t project_anim_cur_frame(const qr_project* p);
QUORIN_API void project_animedit_set_normalized_time(qr_project* p, float t);
QUORIN_API float project_animedit_normalized_time(const qr_project* p);

QUORIN_END_DECLS

#endif
