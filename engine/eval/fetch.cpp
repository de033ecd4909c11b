// (Placeholder: every fetch gives its default until input resolution exists.)
#include "eval/fetch.h"
#include "core/pool.h"
#include "document/node.h"
#include "quorin/node.h"

namespace quorin_engine {

int fetch_param_raw(const shadetree_node_t& node, const renderctx&, const wstring& name, wstring& out_text,
                    float&) {
  auto it = node.params.find(name);
  out_text = it == node.params.end() ? wstring() : it->second;
  return 0;
}
float fetch_float_input(const shadetree_node_t&, const renderctx&, const wstring&, shadetree_node_t*, float def) {
  return def;
}
uint32_t fetch_uint_input(const shadetree_node_t&, const renderctx&, const wstring&, shadetree_node_t*,
                          uint32_t def) {
  return def;
}
uint32_t fetch_enum_input(const shadetree_node_t&, const renderctx&, const wstring&, shadetree_node_t*,
                          uint32_t def) {
  return def;
}
bool fetch_bool_param(const shadetree_node_t&, const renderctx&, const wstring&) { return false; }
bool fetch_color_input(const shadetree_node_t&, const renderctx&, const wstring&, shadetree_node_t*, float[4]) {
  return false;
}
void fetch_string_input(const shadetree_node_t&, const renderctx&, const wstring&, shadetree_node_t*,
                        wstring& out) {
  out.clear();
}

input_render_buffer_t::input_render_buffer_t(renderbuffer_pool_t* p, shadetree_node_t* s, bool)
    : pool(p), source(s) {
  buffer = pool->acquire();
}
input_render_buffer_t::~input_render_buffer_t() { release(); }
void input_render_buffer_t::release() {
  if (buffer) pool->give_back(buffer);
  buffer = nullptr;
}
void input_render_buffer_t::render(const renderctx&) {}

void render_two_inputs(const renderctx&, shadetree_node_t*, imgbuf4f*, bool, shadetree_node_t*, imgbuf4f*, bool) {}

scratch_buffer_t::scratch_buffer_t(renderbuffer_pool_t* p) : pool(p), buffer(p->acquire()) {}
scratch_buffer_t::~scratch_buffer_t() { pool->give_back(buffer); }

}  // namespace quorin_engine
