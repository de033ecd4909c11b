// The dispatch from type id to render routine.
#pragma once
#include <cstdint>
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

using render_routine = void (*)(shadetree_node_t& node, const renderctx& ctx);

// The routine of a type id, or null for a type without one.
render_routine find_render_routine(uint32_t type_id);

}  // namespace quorin_engine
