// Input resolution: values by connection, time curve, stored text or default; stream inputs through
// pool buffers borrowed for the time of a routine.
#include "eval/fetch.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include "core/color.h"
#include "core/pool.h"
#include "document/curve.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/values.h"
#include "quorin/node.h"

namespace quorin_engine {
namespace {

constexpr uint32_t type_id_color_blend = 1029;

// Float to unsigned by truncation toward zero through a 64-bit integer, so that a negative value
// wraps instead of being undefined. NaN and values beyond the 64-bit range give 0.
uint32_t truncate_u32(float v) {
  if (!(v > -9.2e18f && v < 9.2e18f)) return 0;
  return static_cast<uint32_t>(static_cast<int64_t>(v));
}

const wstring* stored_text(const shadetree_node_t& node, const wstring& name) {
  auto it = node.params.find(name);
  return it == node.params.end() ? nullptr : &it->second;
}

void clear_buffer(imgbuf4f* buf) {
  if (!buf || !buf->pixels) return;
  std::memset(buf->pixels, 0, std::size_t(imgbuf4f_stride_bytes(buf->width)) * buf->height);
}

uint64_t cache_key(const shadetree_node_t* node) {
  return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(node));
}

}  // namespace

int fetch_param_raw(const shadetree_node_t& node, const renderctx& ctx, const wstring& name, wstring& out_text,
                    float& out_float) {
  auto curve_it = node.time_curves.find(name);
  if (curve_it != node.time_curves.end() && curve_it->second.enabled) {
    float t = ctx.project ? ctx.project->animedit_normalized_time : 0.0f;
    out_float = curve_value(curve_it->second, t);
    return 1;
  }
  const wstring* text = stored_text(node, name);
  out_text = text ? *text : wstring();
  return 0;
}

float fetch_float_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                        shadetree_node_t* connected, float def) {
  if (connected) return scalar_value(*connected, ctx);
  // A node without any stored parameter takes the default, time curve or not.
  if (node.params.empty()) return def;
  wstring text;
  float v = 0.0f;
  if (fetch_param_raw(node, ctx, name, text, v)) return v;
  if (text.empty()) return def;
  return static_cast<float>(text_to_double(text));
}

uint32_t fetch_uint_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                          shadetree_node_t* connected, uint32_t def) {
  if (connected) return truncate_u32(scalar_value(*connected, ctx) + 0.5f);
  wstring text;
  float v = 0.0f;
  if (fetch_param_raw(node, ctx, name, text, v)) return truncate_u32(v + 0.5f);
  if (text.empty()) return def;
  int32_t i = text_to_int(text);
  return i >= 0 ? static_cast<uint32_t>(i) : def;
}

uint32_t fetch_enum_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                          shadetree_node_t* connected, uint32_t def) {
  const nodetype_spec_t* spec = node.spec();
  if (connected) {
    // A connected 0..1 value sweeps through the values; 1.0 gives one past the last, which the
    // routine limits.
    float s = scalar_value(*connected, ctx);
    if (spec)
      for (const param_group_spec_t& g : spec->param_groups)
        for (const param_spec_t& p : g.params)
          if (p.name == name && p.type == param_enum)
            return truncate_u32(static_cast<float>(p.enum_values.size()) * s);
    return truncate_u32(s + 0.5f);
  }
  wstring text;
  float v = 0.0f;
  if (fetch_param_raw(node, ctx, name, text, v)) __builtin_trap();  // enums take no time curve
  if (text.empty()) return def;
  // The meaning of an enum value is its position in the list, not its value attribute.
  if (spec)
    for (const param_group_spec_t& g : spec->param_groups)
      for (const param_spec_t& p : g.params)
        if (p.name == name && p.type == param_enum)
          for (std::size_t i = 0; i < p.enum_values.size(); ++i)
            if (p.enum_values[i].name == text) return static_cast<uint32_t>(i);
  return def;
}

bool fetch_bool_param(const shadetree_node_t& node, const renderctx& ctx, const wstring& name) {
  wstring text;
  float v = 0.0f;
  if (fetch_param_raw(node, ctx, name, text, v)) return v >= 0.5f;
  return text == u"true";
}

bool fetch_color_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                       shadetree_node_t* connected, float out[4]) {
  if (connected) {
    // Only a ColorBlend yields a colour; any other connected node gives black.
    if (connected->type_id == type_id_color_blend) {
      color_rgb_value(*connected, ctx, out[0], out[1], out[2]);
    } else {
      out[0] = out[1] = out[2] = 0.0f;
    }
    out[3] = 1.0f;
    return true;
  }
  const wstring* text = stored_text(node, name);
  if (!text || text->empty()) return false;
  return parse_color(*text, out);
}

void fetch_string_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                        shadetree_node_t* connected, wstring& out) {
  if (connected) {
    out = string_value(*connected, ctx);
    return;
  }
  out.clear();
  if (node.params.empty()) return;
  float v = 0.0f;
  if (fetch_param_raw(node, ctx, name, out, v)) __builtin_trap();  // strings take no time curve
}

uint32_t fetch_preview_supersampling(const shadetree_node_t& node, const renderctx& ctx) {
  if (!(ctx.for_preview && ctx.preview_supersampling)) return 0;
  uint32_t v = fetch_enum_input(node, ctx, u"supersampling", nullptr, 0);
  return v > 2 ? 2 : v;
}

// ---- stream inputs -------------------------------------------------------------------------------

input_render_buffer_t::input_render_buffer_t(renderbuffer_pool_t* p, shadetree_node_t* s, bool for_thumbnail)
    : pool(p), source(s) {
  if (source) {
    if (imgbuf4f* cached = pool->cache_lookup(cache_key(source))) {
      if (!source->is_caching_dirty(for_thumbnail)) {
        buffer = cached;
        from_cache = true;
        return;
      }
      pool->cache_remove(cache_key(source));
    }
  }
  buffer = pool->acquire();
  from_cache = false;
}

input_render_buffer_t::~input_render_buffer_t() { release(); }

void input_render_buffer_t::release() {
  if (!buffer) return;
  if (source)
    pool->cache_store(cache_key(source), buffer);
  else
    pool->give_back(buffer);
  buffer = nullptr;
}

void input_render_buffer_t::render(const renderctx& ctx) {
  if (!source) {
    clear_buffer(buffer);
    return;
  }
  renderctx copy = ctx;
  copy.target_buf = buffer;
  copy.targetbuf_from_cache = from_cache;
  node_render(source, &copy);
}

void render_two_inputs(const renderctx& ctx, shadetree_node_t* node_a, imgbuf4f* buffer_a, bool from_cache_a,
                       shadetree_node_t* node_b, imgbuf4f* buffer_b, bool from_cache_b) {
  renderctx copy_a = ctx;
  copy_a.target_buf = buffer_a;
  copy_a.targetbuf_from_cache = from_cache_a;
  renderctx copy_b = ctx;
  copy_b.target_buf = buffer_b;
  copy_b.targetbuf_from_cache = from_cache_b;
  if (node_a)
    node_render(node_a, &copy_a);
  else
    clear_buffer(buffer_a);
  if (node_b)
    node_render(node_b, &copy_b);
  else
    clear_buffer(buffer_b);
}

scratch_buffer_t::scratch_buffer_t(renderbuffer_pool_t* p) : pool(p), buffer(p->acquire()) {}
scratch_buffer_t::~scratch_buffer_t() { pool->give_back(buffer); }

}  // namespace quorin_engine
