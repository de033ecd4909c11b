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

/* end of node objects */


/* ---- Parameter values, curve parameters and time curves ------------------------------------ */

/* end of parameter values */


/* ---- Rendering ------------------------------------------------------------------------------ */

/* end of rendering */


/* ---- Scalar, colour and string values ------------------------------------------------------- */

QUORIN_API float node_scalar_value(qr_node* node, const qr_renderctx* ctx);
QUORIN_API void node_color_rgb_value(qr_node* node, const qr_renderctx* ctx, float* r, float* g, float* b);
QUORIN_API void node_string_value(qr_node* node, const qr_renderctx* ctx, qr_char* buf, int32_t cap);

/* end of values */

QUORIN_END_DECLS

#endif
