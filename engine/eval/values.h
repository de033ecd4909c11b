// Values of scalar, colour and string nodes, computed on request by recursion, without caching.
#pragma once
#include "core/renderctx.h"
#include "core/text.h"

namespace quorin_engine {

struct shadetree_node_t;

float scalar_value(shadetree_node_t& node, const renderctx& ctx);
void color_rgb_value(shadetree_node_t& node, const renderctx& ctx, float& r, float& g, float& b);
wstring string_value(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
