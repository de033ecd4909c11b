// The distortion operators: ImageSample and MapDistort take positions or displacements from a second
// image, Distort applies one of sixteen closed-form warps, Whirl twists a disc around the centre,
// ShiftDistort passes its input through only when its shift is zero, and Pixelize replaces blocks
// by their mean.
#pragma once
#include "core/renderctx.h"

namespace quorin_engine {

struct shadetree_node_t;

void render_ImageSample(shadetree_node_t& node, const renderctx& ctx);
void render_MapDistort(shadetree_node_t& node, const renderctx& ctx);
void render_Distort(shadetree_node_t& node, const renderctx& ctx);
void render_Whirl(shadetree_node_t& node, const renderctx& ctx);
void render_ShiftDistort(shadetree_node_t& node, const renderctx& ctx);
void render_Pixelize(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
