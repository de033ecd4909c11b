// (Placeholder: every value is zero or empty until the value nodes exist.)
#include "eval/values.h"
#include "document/node.h"
#include "quorin/node.h"

namespace quorin_engine {

float scalar_value(shadetree_node_t&, const renderctx&) { return 0.0f; }
void color_rgb_value(shadetree_node_t&, const renderctx&, float& r, float& g, float& b) { r = g = b = 0.0f; }
wstring string_value(shadetree_node_t&, const renderctx&) { return {}; }

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API float node_scalar_value(shadetree_node_t* node, const renderctx* ctx) {
  return scalar_value(*node, *ctx);
}
QUORIN_EXTERN_C QUORIN_API void node_color_rgb_value(shadetree_node_t* node, const renderctx* ctx,
                                                     float* r, float* g, float* b) {
  color_rgb_value(*node, *ctx, *r, *g, *b);
}
QUORIN_EXTERN_C QUORIN_API void node_string_value(shadetree_node_t* node, const renderctx* ctx,
                                                  char16_t* buf, int32_t cap) {
  copy_out(string_value(*node, *ctx), buf, cap);
}
