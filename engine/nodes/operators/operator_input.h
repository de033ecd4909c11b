// What every image operator does first: find the node on its main stream input, or clear the
// target when there is none, and render that node into a pool buffer for the routine's run.
#pragma once
#include "core/imgbuf.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

// All bytes of the target zero, alpha included.
inline void clear_operator_target(const renderctx& ctx) {
  if (ctx.target_buf && ctx.target_buf->pixels) imgbuf4f_clear(ctx.target_buf);
}

// The source's image, rendered on construction, lent by the pool until the holder goes.
class rendered_input_t {
 public:
  rendered_input_t(const renderctx& ctx, shadetree_node_t* source) : holder_(ctx.pool, source, ctx.for_thumbnail) {
    holder_.render(ctx);
  }
  const imgbuf4f& image() const { return *holder_.buffer; }

 private:
  input_render_buffer_t holder_;
};

}  // namespace quorin_engine
