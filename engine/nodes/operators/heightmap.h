// Height map operators: Lighting shades a height map under one point light, NormalMap and
// NormalMapCopper turn it into a tangent-space normal image, AOMapCopper computes ambient occlusion
// from a height map and a normal map. Heights are the red channel; only inner pixels are computed.
#pragma once
#include "core/imgbuf.h"
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

void render_Lighting(shadetree_node_t& node, const renderctx& ctx);
void render_NormalMap(shadetree_node_t& node, const renderctx& ctx);
void render_NormalMapCopper(shadetree_node_t& node, const renderctx& ctx);
void render_AOMapCopper(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
