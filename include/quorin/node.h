/* Quorin engine: the node family of the exported C interface. */
#ifndef QUORIN_NODE_H
#define QUORIN_NODE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* ---- Node type and catalogue queries ---------------------------------------------------- */

/* The type's record, found by the node's type id. A type, index or name that is not found gives
   0 or the empty string, except node_type_is_disabled (1) and node_bmpresource_id (105). */
QUORIN_API uint32_t node_is_generator(qr_node* node);
QUORIN_API void node_type_name(qr_node* node, qr_char* buf, int32_t cap);
QUORIN_API void node_type_description(qr_char* buf, int32_t cap, uint32_t type_id);
QUORIN_API uint32_t node_type_is_disabled(qr_node* node);
QUORIN_API uint32_t node_category(qr_node* node);
QUORIN_API void node_category_name(qr_node* node, qr_char* buf, int32_t cap);
QUORIN_API uint32_t node_bmpresource_id(qr_node* node);

/* The category lists: generators if is_generator is non-zero, else operators. */
QUORIN_API uint32_t node_all_categories_count(uint32_t is_generator);
QUORIN_API void node_all_categories_name(qr_char* buf, int32_t cap, uint32_t is_generator, uint32_t index);
QUORIN_API void node_all_categories_description(qr_char* buf, int32_t cap, uint32_t is_generator,
                                                uint32_t index);

/* Ports. A Group node answers from its own port lists. */
QUORIN_API uint32_t node_output_count(qr_node* node);
QUORIN_API uint32_t node_input_count(qr_node* node);
QUORIN_API void node_output_name(qr_node* node, qr_char* buf, int32_t cap, uint32_t index);
QUORIN_API void node_output_description(qr_node* node, qr_char* buf, int32_t cap, uint32_t index);
QUORIN_API void node_input_name(qr_node* node, qr_char* buf, int32_t cap, uint32_t index);
QUORIN_API void node_input_description(qr_node* node, qr_char* buf, int32_t cap, uint32_t index);
QUORIN_API uint32_t node_output_type(qr_node* node, uint32_t index);
QUORIN_API uint32_t node_input_type(qr_node* node, uint32_t index);

/* Formal parameters, always from the catalogue. */
QUORIN_API uint32_t node_formal_param_group_count(qr_node* node);
QUORIN_API void node_formal_param_group_name(qr_node* node, uint32_t group, qr_char* buf, int32_t cap);
QUORIN_API uint32_t node_formal_param_count(qr_node* node, uint32_t group);
QUORIN_API void node_formal_param_name(qr_node* node, uint32_t group, uint32_t param, qr_char* buf,
                                       int32_t cap);
QUORIN_API void node_formal_param_description(qr_node* node, uint32_t group, uint32_t param, qr_char* buf,
                                              int32_t cap);
QUORIN_API uint32_t node_formal_param_type_indexed(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_type_keyed(qr_node* node, const qr_char* name);
QUORIN_API uint32_t node_formal_param_uint_has_minval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_uint_has_maxval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_uint_minval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_uint_maxval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_float_has_minval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_float_has_maxval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API float node_formal_param_float_minval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API float node_formal_param_float_maxval(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_enum_count(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API void node_formal_param_enum_name(qr_node* node, uint32_t group, uint32_t param, uint32_t value_index,
                                            qr_char* buf, int32_t cap);
QUORIN_API uint32_t node_formal_param_time_curveable_indexed(qr_node* node, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_formal_param_time_curveable_keyed(qr_node* node, const qr_char* name);

/* The number of output slots a node has (16). */
QUORIN_API uint32_t node_max_output_connections(void);

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

/* `group` and `param` index the parameter groups of the node's type record. */
QUORIN_API uint32_t node_param_count(const qr_node* node);
QUORIN_API uint32_t node_param_value_keyed(const qr_node* node, const qr_renderctx* ctx, qr_char* buf, int32_t cap,
                                           float* out_float, const qr_char* name);
QUORIN_API uint32_t node_param_value_indexed(const qr_node* node, const qr_renderctx* ctx, qr_char* buf,
                                             int32_t cap, float* out_float, uint32_t group, uint32_t param);
QUORIN_API uint32_t node_param_value_as_uint(const qr_node* node, const qr_renderctx* ctx, uint32_t* out,
                                             uint32_t group, uint32_t param);
QUORIN_API uint32_t node_param_enum_value(const qr_node* node, const qr_renderctx* ctx, uint32_t* out,
                                          uint32_t group, uint32_t param);
QUORIN_API uint32_t node_param_value_as_float(const qr_node* node, const qr_renderctx* ctx, float* out,
                                              uint32_t group, uint32_t param);
QUORIN_API uint32_t node_param_value_as_color(const qr_node* node, const qr_renderctx* ctx, float* r, float* g,
                                              float* b, float* a, uint32_t group, uint32_t param);
QUORIN_API void node_set_param_value(qr_node* node, const qr_char* name, const qr_char* value);
QUORIN_API void node_set_param_value_uint(qr_node* node, uint32_t group, uint32_t param, uint32_t value);
QUORIN_API void node_set_param_value_float(qr_node* node, uint32_t group, uint32_t param, float value);
QUORIN_API void node_set_param_value_color(qr_node* node, uint32_t group, uint32_t param, float r, float g,
                                           float b, float a);

/* Curve parameters: the curves are copied in and out; the caller keeps its curve. */
QUORIN_API void node_param_curve_keyed(const qr_node* node, qr_curve* out, const qr_char* name);
QUORIN_API uint32_t node_param_curve_indexed(const qr_node* node, qr_curve* out, uint32_t group, uint32_t param);
QUORIN_API void node_set_param_curve_keyed(qr_node* node, const qr_char* name, const qr_curve* curve);
QUORIN_API void node_set_param_curve_indexed(qr_node* node, uint32_t group, uint32_t param, const qr_curve* curve);

/* Time curves, by parameter name. Reading an absent one creates the default curve. */
QUORIN_API uint32_t node_param_timecurve_present(const qr_node* node, const qr_char* name);
QUORIN_API void node_param_timecurve_keyed(qr_node* node, qr_curve* out, const qr_char* name);
QUORIN_API void node_set_param_timecurve(qr_node* node, const qr_char* name, const qr_curve* curve);
QUORIN_API void node_remove_param_timecurve(qr_node* node, const qr_char* name);
QUORIN_API void node_endisable_param_timecurve(qr_node* node, const qr_char* name, uint32_t enabled);
QUORIN_API uint32_t node_param_timecurve_enabled(const qr_node* node, const qr_char* name);

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
