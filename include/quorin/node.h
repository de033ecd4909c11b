/* Quorin engine: the node family of the exported C interface. */
#ifndef QUORIN_NODE_H
#define QUORIN_NODE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* ---- Node type and catalogue queries ---------------------------------------------------- */

/* end of catalogue queries */


/* ---- Node objects, display and connections ------------------------------------------------ */

/* Creation and copying. A new node holds its type's default parameter values. */
QUORIN_API qr_node* node_create(void);
QUORIN_API qr_node* node_create_with_type(uint32_t type_id);
/* Null if no type of that exact name is known. */
QUORIN_API qr_node* node_create_by_type_name(const qr_char* type_name);
/* A copy that keeps the connections of both ends (but not curve-typed parameters). */
QUORIN_API qr_node* node_deep_copy(const qr_node* node);
/* A copy of values, type, rectangle, selection and name, without connections. */
QUORIN_API qr_node* node_copy_from_without_connections(const qr_node* node);
QUORIN_API void node_delete(qr_node* node);
QUORIN_API uint32_t node_type(const qr_node* node);
QUORIN_API void node_set_type(qr_node* node, uint32_t type_id);

/* The node's own switch; changes no caching flag. */
QUORIN_API uint32_t node_is_disabled(const qr_node* node);
QUORIN_API void node_set_disabled(qr_node* node, uint32_t disabled);
QUORIN_API void node_disable(qr_node* node);
QUORIN_API void node_enable(qr_node* node);

/* The rectangle in the graph view. */
QUORIN_API int32_t node_display_x(const qr_node* node);
QUORIN_API int32_t node_display_y(const qr_node* node);
QUORIN_API int32_t node_display_w(const qr_node* node);
QUORIN_API int32_t node_display_h(const qr_node* node);
QUORIN_API void node_set_display_x(qr_node* node, int32_t x);
QUORIN_API void node_set_display_y(qr_node* node, int32_t y);
QUORIN_API void node_set_display_w(qr_node* node, int32_t w);
QUORIN_API void node_set_display_h(qr_node* node, int32_t h);
QUORIN_API uint32_t node_is_primary_selected(const qr_node* node);
QUORIN_API void node_set_primary_selected(qr_node* node, uint32_t selected);
QUORIN_API uint32_t node_is_secondary_selected(const qr_node* node);
QUORIN_API void node_set_secondary_selected(qr_node* node, uint32_t selected);
QUORIN_API uint32_t node_minimized(const qr_node* node);
QUORIN_API void node_toggle_minimized(qr_node* node);
QUORIN_API void node_name(const qr_node* node, qr_char* buf, int32_t cap);
QUORIN_API void node_set_name(qr_node* node, const qr_char* name);
QUORIN_API uint32_t node_is_caching_dirty(const qr_node* node, uint32_t for_thumbnail);
QUORIN_API uint32_t node_dirty(const qr_node* node);
QUORIN_API void node_reset_dirty(qr_node* node);
QUORIN_API void node_move_display_pos(qr_node* node, int32_t dx, int32_t dy);
/* Dragging the left (top) edge; the result is w - min_w when the minimum was hit, else the old w. */
QUORIN_API int32_t node_move_display_pos_leftedge(qr_node* node, int32_t dx, int32_t min_w);
QUORIN_API int32_t node_move_display_pos_topedge(qr_node* node, int32_t dy, int32_t min_h);
QUORIN_API void node_move_display_pos_rightedge(qr_node* node, int32_t dx, int32_t min_w);
QUORIN_API void node_move_display_pos_bottomedge(qr_node* node, int32_t dy, int32_t min_h);
/* mode 0: left edges, 1: right edges, 2: top edges, 3: bottom edges. */
QUORIN_API void node_align_with(qr_node* node, uint32_t mode, const qr_node* other);

/* Connections. Each call changes only the node it is called on: the consumer's end is kept by
   input name, the producer's end by output index. */
QUORIN_API void node_set_output_for_input_keyed(qr_node* node, const qr_char* input_name, qr_node* source);
QUORIN_API void node_set_output_for_input_indexed(qr_node* node, uint32_t input_index, qr_node* source);
QUORIN_API qr_node* node_outputnode_for_inputname(const qr_node* node, const qr_char* input_name);
QUORIN_API qr_node* node_outputnode_for_input_at(const qr_node* node, uint32_t input_index);
QUORIN_API void node_remove_all_outputs_for_input(qr_node* node, const qr_node* source);
QUORIN_API uint32_t node_remove_first_output_for_input(qr_node* node, const qr_node* source);
QUORIN_API void node_add_input_for_output(qr_node* node, uint32_t output_index, qr_node* consumer);
QUORIN_API void node_remove_input_for_output_node(qr_node* node, uint32_t output_index, const qr_node* consumer);
QUORIN_API void node_remove_input_for_output_connidx(qr_node* node, uint32_t output_index, uint32_t position);
QUORIN_API void node_replace_input_for_output(qr_node* node, uint32_t output_index, uint32_t position,
                                              qr_node* consumer);
QUORIN_API uint32_t node_input_count_for_output(const qr_node* node, uint32_t output_index);
QUORIN_API qr_node* node_input_for_output(const qr_node* node, uint32_t output_index, uint32_t position);
QUORIN_API void node_remove_all_inputs_for_output(qr_node* node, const qr_node* consumer);

/* end of node objects */


/* ---- Parameter values, curve parameters and time curves ------------------------------------ */

/* end of parameter values */


/* ---- Rendering ------------------------------------------------------------------------------ */

/* Renders the node into ctx's target buffer. */
QUORIN_API void node_render(qr_node* node, const qr_renderctx* ctx);

/* end of rendering */


/* ---- Scalar, colour and string values ------------------------------------------------------- */

QUORIN_API float node_scalar_value(qr_node* node, const qr_renderctx* ctx);
QUORIN_API void node_color_rgb_value(qr_node* node, const qr_renderctx* ctx, float* r, float* g, float* b);
QUORIN_API void node_string_value(qr_node* node, const qr_renderctx* ctx, qr_char* buf, int32_t cap);

/* end of values */

QUORIN_END_DECLS

#endif
