#include "render_bench.h"

#include "core/pool.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "quorin/imgbuf4f.h"
#include "quorin/node.h"

namespace quorin_bench {

using quorin_engine::shadetree_node_t;

shadetree_node_t* make_node(uint32_t type_id,
                            std::initializer_list<std::pair<const char16_t*, const char16_t*>> params) {
  shadetree_node_t* node = node_create_with_type(type_id);
  for (const auto& [name, value] : params) node->params[name] = value;
  return node;
}

namespace {

void time_renders(benchmark::State& state, shadetree_node_t* node, quorin_engine::renderbuffer_pool_t& pool,
                  bool warm_up, quorin_engine::project* project = nullptr) {
  const uint32_t width = pool.width, height = pool.height;
  qr_imgbuf4f* target = imgbuf4f_create(width, height);
  quorin_engine::renderctx ctx{target, false, &pool, false, false, false, false, project};
  if (warm_up) node_render(node, &ctx);  // fills the pool's cache with the inputs' images
  for (auto _ : state) {
    node_render(node, &ctx);
    benchmark::DoNotOptimize(imgbuf4f_buf(target));
    benchmark::ClobberMemory();
  }
  state.counters["Mpix/s"] = benchmark::Counter(
      static_cast<double>(width) * height * static_cast<double>(state.iterations()) / 1e6,
      benchmark::Counter::kIsRate);
  imgbuf4f_delete(target);
}

}  // namespace

void render_node(benchmark::State& state, shadetree_node_t* node, uint32_t width, uint32_t height,
                 uint32_t pool_buffers, quorin_engine::project* project) {
  quorin_engine::renderbuffer_pool_t pool(width, height, pool_buffers);
  time_renders(state, node, pool, false, project);
}

void render_operator(benchmark::State& state, shadetree_node_t* op, uint32_t width, uint32_t height,
                     uint32_t pool_buffers) {
  quorin_engine::renderbuffer_pool_t pool(width, height, pool_buffers);
  pool.cache_capacity = pool_buffers / 2;
  time_renders(state, op, pool, true);
}

void feed_inputs(shadetree_node_t* node, shadetree_node_t* rgb_source, shadetree_node_t* grey_source) {
  const auto* ports = node->input_ports();
  if (!ports) return;
  for (const quorin_engine::port_spec_t& in : *ports) {
    if (in.type == quorin_engine::port_rgbstream) node_set_output_for_input_keyed(node, in.name.c_str(), rgb_source);
    if (in.type == quorin_engine::port_greystream)
      node_set_output_for_input_keyed(node, in.name.c_str(), grey_source);
  }
}

namespace {

void BM_RGB(benchmark::State& state) {
  shadetree_node_t* node = make_node(0, {{u"color", u"(0.25,0.5,0.75)"}});
  render_node(state, node, 1024, 1024);
  node_delete(node);
}
BENCHMARK(BM_RGB)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace quorin_bench
