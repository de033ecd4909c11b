#include "nodes/operators/sampling.h"

#include "document/node.h"
#include "eval/fetch.h"

namespace quorin_engine::sampling {

params fetch_params(const shadetree_node_t& node, const renderctx& ctx, uint32_t default_interpolation,
                    const char16_t* interpolation_name) {
  params p;
  p.border_mode = fetch_enum_input(node, ctx, u"border-mode", node.connected(u"border-mode"), 0);
  if (p.border_mode > 3) p.border_mode = 3;
  p.mode_direction = fetch_enum_input(node, ctx, u"mode-direction", node.connected(u"mode-direction"), 0);
  if (p.mode_direction > 3) p.mode_direction = 3;
  p.interpolation = fetch_enum_input(node, ctx, interpolation_name, node.connected(u"interpolation"),
                                     default_interpolation);
  if (p.interpolation > 1) p.interpolation = 1;
  float c[4];
  if (fetch_color_input(node, ctx, u"fill-color", node.connected(u"fill-color"), c)) {
    p.fill[0] = c[0];
    p.fill[1] = c[1];
    p.fill[2] = c[2];
  }
  p.fill[3] = 1.0f;
  return p;
}

}  // namespace quorin_engine::sampling
