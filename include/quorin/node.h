/* Quorin engine: the node family of the exported C interface. */
#ifndef QUORIN_NODE_H
#define QUORIN_NODE_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* ---- Node type and catalogue queries ---------------------------------------------------- */

/* end of catalogue queries */


/* ---- Node objects, display and connections ------------------------------------------------ */

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

/* end of rendering */


/* ---- Scalar, colour and string values ------------------------------------------------------- */

QUORIN_API float node_scalar_value(qr_node* node, const qr_renderctx* ctx);
QUORIN_API void node_color_rgb_value(qr_node* node, const qr_renderctx* ctx, float* r, float* g, float* b);
QUORIN_API void node_string_value(qr_node* node, const qr_renderctx* ctx, qr_char* buf, int32_t cap);

/* end of values */

QUORIN_END_DECLS

#endif
