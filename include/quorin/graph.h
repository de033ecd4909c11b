/* Quorin engine: the graph family of the exported C interface. */
#ifndef QUORIN_GRAPH_H
#define QUORIN_GRAPH_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_API qr_graph* graph_create(void);
QUORIN_API void graph_delete(qr_graph* graph);
QUORIN_API qr_graph* graph_deep_copy(const qr_graph* graph);
QUORIN_API void graph_name(const qr_graph* graph, qr_char* buf, int32_t cap);
QUORIN_API void graph_set_name(qr_graph* graph, const qr_char* name);
QUORIN_API uint32_t graph_empty(const qr_graph* graph);
QUORIN_API uint32_t graph_node_count(const qr_graph* graph);
QUORIN_API qr_node* graph_node_at(const qr_graph* graph, uint32_t index);
QUORIN_API qr_node* graph_primary_selection(const qr_graph* graph);
QUORIN_API qr_node* graph_first_secondary_selection(const qr_graph* graph);
QUORIN_API void graph_set_primary_selection(qr_graph* graph, qr_node* node);
QUORIN_API void graph_toggle_secondary_selection(qr_graph* graph, qr_node* node);
QUORIN_API void graph_clear_secondary_selections(qr_graph* graph);
QUORIN_API void graph_delete_all_nodes(qr_graph* graph);
QUORIN_API void graph_delete_node(qr_graph* graph, qr_node* node);
QUORIN_API void graph_delete_primary_selection(qr_graph* graph);
QUORIN_API void graph_delete_selected_nodes(qr_graph* graph);
QUORIN_API void graph_extract_node(qr_graph* graph, qr_node* node);
QUORIN_API qr_node* graph_create_node(qr_graph* graph, uint32_t type_id);
QUORIN_API void graph_add_node(qr_graph* graph, qr_node* node);
QUORIN_API qr_node* graph_duplicate_node(qr_graph* graph, const qr_node* node);
QUORIN_API uint32_t graph_dirty(const qr_graph* graph);
QUORIN_API void graph_reset_dirty(qr_graph* graph);
QUORIN_API uint32_t graph_get_node_count_of_type(const qr_graph* graph, uint32_t type_id);
QUORIN_API void graph_get_nodes_of_type(const qr_graph* graph, qr_node** out, uint32_t cap, uint32_t type_id);

QUORIN_END_DECLS

#endif
