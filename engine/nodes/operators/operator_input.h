// The main stream input of an operator: rendered into a borrowed pool buffer when connected; when
// not, the operator's target is cleared (all bytes zero) and the routine has nothing more to do.
#pragma once
#include "core/imgbuf.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine {

struct operator_input {
  input_render_buffer_t holder;

  operator_input(const shadetree_node_t& node, const renderctx& ctx, const char16_t* name)
      : holder(ctx.pool, node.connected(name), ctx.for_thumbnail) {
    if (holder.source)
      holder.render(ctx);
    else
      imgbuf4f_clear(ctx.target_buf);
  }
  bool connected() const { return holder.source != nullptr; }
  const imgbuf4f& image() const { return *holder.buffer; }
};

}  // namespace quorin_engine
