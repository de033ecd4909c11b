// The render driver: decides whether a node runs, what a disabled node yields, which routine
// serves a type, and keeps the caching flags.
#include "eval/driver.h"

#include "core/color.h"
#include "core/imgbuf.h"
#include "document/node.h"
#include "eval/dispatch.h"
#include "eval/values.h"
#include "nodes/generators/text_raster.h"
#include "quorin/node.h"

namespace quorin_engine {

namespace {

constexpr uint32_t type_id_colorblend = 1029;

// All bytes zero, alpha included; nothing for a missing target or one without pixel data.
void clear_target(imgbuf4f* buf) {
  if (buf && buf->pixels) imgbuf4f_clear(buf);
}

void fill_buffer(imgbuf4f* buf, float r, float g, float b, float a) {
  if (!buf || !buf->pixels) return;
  for (uint32_t y = 0; y < buf->height; ++y) {
    float* p = imgbuf4f_row(buf, y);
    for (uint32_t x = 0; x < buf->width; ++x, p += 4) {
      p[0] = r;
      p[1] = g;
      p[2] = b;
      p[3] = a;
    }
  }
}

}  // namespace

void render_RGB(shadetree_node_t& node, const renderctx& ctx) {
  float c[4] = {0.0f, 0.0f, 0.0f, 1.0f};
  if (shadetree_node_t* src = node.connected(u"color")) {
    // Only a colour node gives a colour here; any other connected node gives black.
    if (src->type_id == type_id_colorblend) color_rgb_value(*src, ctx, c[0], c[1], c[2]);
  } else {
    auto it = node.params.find(u"color");
    if (it != node.params.end() && !it->second.empty() && !parse_color(it->second, c)) {
      c[0] = c[1] = c[2] = 0.0f;
      c[3] = 1.0f;
    }
  }
  fill_buffer(ctx.target_buf, c[0], c[1], c[2], c[3]);
}

void render_passthru(shadetree_node_t& node, const renderctx& ctx) {
  if (shadetree_node_t* src = node.connected(u"RGB"))
    node_render(src, &ctx);
  else
    clear_target(ctx.target_buf);
}

void render_Input(shadetree_node_t&, const renderctx& ctx) { clear_target(ctx.target_buf); }

void render_group(shadetree_node_t&, const renderctx& ctx) {
  if (ctx.target_buf) text_raster::draw_group_placeholder(*ctx.target_buf);
}

namespace {

// A disabled node: a generator yields a cleared image; an operator passes through whatever is
// connected to the first stream input of its type's list, with the same context.
void render_disabled(shadetree_node_t& node, const renderctx& ctx) {
  const nodetype_spec_t* spec = node.spec();
  if (spec && spec->is_gen) {
    clear_target(ctx.target_buf);
    return;
  }
  wstring stream_input;
  if (const std::vector<port_spec_t>* inputs = node.input_ports()) {
    for (const port_spec_t& p : *inputs) {
      if (p.type == port_greystream || p.type == port_rgbstream) {
        stream_input = p.name;
        break;
      }
    }
  }
  if (shadetree_node_t* src = node.connected(stream_input))
    node_render(src, &ctx);
  else
    clear_target(ctx.target_buf);
}

}  // namespace

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API void node_render(shadetree_node_t* node, const renderctx* ctx) {
  if (node->disabled) {
    render_disabled(*node, *ctx);  // the disabled node's flags stay as they were
    return;
  }
  // The target holds this node's earlier result and nothing upstream changed: nothing to do.
  if (ctx->targetbuf_from_cache && !node->is_caching_dirty(ctx->for_thumbnail)) return;

  if (render_routine routine = find_render_routine(node->type_id)) {
    routine(*node, *ctx);
  } else if (ctx->for_thumbnail && node->type_id == type_id_colorblend) {
    // A colour node's small picture shows its colour.
    float r = 0.0f, g = 0.0f, b = 0.0f;
    color_rgb_value(*node, *ctx, r, g, b);
    fill_buffer(ctx->target_buf, r, g, b, 1.0f);
  } else {
    clear_target(ctx->target_buf);
  }

  // Clean for this kind of render, also when an input was missing.
  if (ctx->for_thumbnail)
    node->thumbnail_caching_dirty = false;
  else
    node->caching_dirty = false;
}
