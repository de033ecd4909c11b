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
