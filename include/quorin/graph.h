/* Quorin engine: the graph family of the exported C interface. */
#ifndef QUORIN_GRAPH_H
#define QUORIN_GRAPH_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_END_DECLS

#endif
