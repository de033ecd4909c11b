// Input resolution: how a render routine gets its values and its input images.
#pragma once
#include <cstdint>
#include "core/renderctx.h"
#include "core/text.h"

namespace quorin_engine {

struct shadetree_node_t;

// Time curve first (result 1, `out_float` set), else the stored text (result 0, `out_text` set).
int fetch_param_raw(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                    wstring& out_text, float& out_float);

// `connected` is the node found on the input of the same name, or null.
float fetch_float_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                        shadetree_node_t* connected, float def);
uint32_t fetch_uint_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                          shadetree_node_t* connected, uint32_t def);
uint32_t fetch_enum_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                          shadetree_node_t* connected, uint32_t def);
bool fetch_bool_param(const shadetree_node_t& node, const renderctx& ctx, const wstring& name);
bool fetch_color_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                       shadetree_node_t* connected, float out[4]);
void fetch_string_input(const shadetree_node_t& node, const renderctx& ctx, const wstring& name,
                        shadetree_node_t* connected, wstring& out);

// The `supersampling` enum of a generator that offers it: read only for a preview render with
// preview supersampling on, then limited to at most 2 (4x4); 0 (off) for every other render.
uint32_t fetch_preview_supersampling(const shadetree_node_t& node, const renderctx& ctx);

// The holder of a stream input during a routine: borrows a pool buffer (or the pool cache's).
struct input_render_buffer_t {
  renderbuffer_pool_t* pool;
  imgbuf4f* buffer = nullptr;
  shadetree_node_t* source;
  bool from_cache = false;

  input_render_buffer_t(renderbuffer_pool_t* pool, shadetree_node_t* source, bool for_thumbnail);
  ~input_render_buffer_t();  // release()
  input_render_buffer_t(const input_render_buffer_t&) = delete;
  input_render_buffer_t& operator=(const input_render_buffer_t&) = delete;
  void release();
  // Renders the source into the buffer through a copy of the context (target: the buffer,
  // from-cache: `from_cache`). Without a source the buffer is cleared.
  void render(const renderctx& ctx);
};

void render_two_inputs(const renderctx& ctx, shadetree_node_t* node_a, imgbuf4f* buffer_a,
                       bool from_cache_a, shadetree_node_t* node_b, imgbuf4f* buffer_b,
                       bool from_cache_b);

// A pool buffer borrowed for scratch work, given back when the holder goes.
struct scratch_buffer_t {
  renderbuffer_pool_t* pool;
  imgbuf4f* buffer;
  explicit scratch_buffer_t(renderbuffer_pool_t* pool);
  ~scratch_buffer_t();
  scratch_buffer_t(const scratch_buffer_t&) = delete;
  scratch_buffer_t& operator=(const scratch_buffer_t&) = delete;
};

}  // namespace quorin_engine
