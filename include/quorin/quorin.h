/* Quorin engine: the whole exported C interface. */
#ifndef QUORIN_QUORIN_H
#define QUORIN_QUORIN_H

#include "quorin/api.h"
#include "quorin/engine.h"
#include "quorin/imgbuf4f.h"
#include "quorin/pool4f.h"
#include "quorin/renderctx.h"
#include "quorin/curve.h"
#include "quorin/node.h"
#include "quorin/graph.h"
#include "quorin/project.h"
#include "quorin/asset.h"

#endif
