/* Quorin engine: the project family of the exported C interface. */
#ifndef QUORIN_PROJECT_H
#define QUORIN_PROJECT_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_END_DECLS

#endif
