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

/* end of values */

QUORIN_END_DECLS

#endif
