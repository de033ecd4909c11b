// Rendering small graphs through pool buffers: holders, the pool's cache protocol, and renders on
// two threads that share one pool.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include "core/color.h"
#include "core/debug_output.h"
#include "core/pool.h"
#include "document/graph.h"
#include "document/project.h"
#include "eval/fetch.h"
#include "eval_fixtures.h"
#include "quorin/engine.h"
#include "quorin/node.h"
#include "quorin/project.h"

using namespace quorin_engine;
using namespace quorin_test;

namespace {

// Collects the engine's debug messages for the lifetime of the object.
class debug_capture {
 public:
  debug_capture() { engine_set_debug_output(&debug_capture::sink, this); }
  ~debug_capture() { engine_set_debug_output(nullptr, nullptr); }
  std::u16string text() {
    std::lock_guard<std::mutex> g(m_);
    return text_;
  }

 private:
  static void sink(const char16_t* t, void* user) {
    auto* self = static_cast<debug_capture*>(user);
    std::lock_guard<std::mutex> g(self->m_);
    self->text_ += t;
  }
  std::mutex m_;
  std::u16string text_;
};

bool all_pixels_are(const imgbuf4f& buf, const float c[4]) {
  for (uint32_t y = 0; y < buf.height; ++y)
    for (uint32_t x = 0; x < buf.width; ++x) {
      const float* p = pixel_at(buf, x, y);
      if (p[0] != c[0] || p[1] != c[1] || p[2] != c[2] || p[3] != c[3]) return false;
    }
  return true;
}

bool all_free(const renderbuffer_pool_t& pool) {
  for (const auto& e : pool.buffers)
    if (!e.free) return false;
  return true;
}

// RGB -> Blur (disabled) -> PassThru, in a graph of its own.
struct chain {
  graph* g;
  shadetree_node_t* rgb;
  shadetree_node_t* blur;
  shadetree_node_t* pass;

  chain(project& p, const char16_t* color) {
    g = new graph;
    p.append_graph(g);
    rgb = new shadetree_node_t(0);
    rgb->params[u"color"] = color;
    blur = new shadetree_node_t(1005);
    blur->disabled = true;
    pass = new shadetree_node_t(1000);
    g->nodes = {rgb, blur, pass};
    connect(rgb, blur, u"RGB");
    connect(blur, pass, u"RGB");
  }
};

renderctx make_ctx(imgbuf4f* target, renderbuffer_pool_t* pool, project* p) {
  renderctx ctx{};
  ctx.target_buf = target;
  ctx.pool = pool;
  ctx.project = p;
  return ctx;
}

TEST(GraphRender, ChainThroughPoolBuffersReturnsEveryBuffer) {
  scoped_catalogue catalogue{driver_types()};
  debug_capture messages;
  project proj;
  chain c(proj, u"(0.25,0.5,0.75)");
  float color[4];
  ASSERT_TRUE(parse_color(u"(0.25,0.5,0.75)", color));
  const float zero[4] = {0, 0, 0, 0};

  auto* pool = new renderbuffer_pool_t(8, 6, 3);
  imgbuf4f* target = imgbuf4f_create(8, 6);
  renderctx ctx = make_ctx(target, pool, &proj);

  {
    // As a routine does: a holder borrows a buffer and renders the input into it.
    input_render_buffer_t in(pool, c.pass, false);
    EXPECT_FALSE(in.from_cache);
    in.render(ctx);
    EXPECT_TRUE(all_pixels_are(*in.buffer, color));
    in.release();
    EXPECT_EQ(in.buffer, nullptr);
  }
  // The disabled node passed its input through and kept its flag; the others are clean.
  EXPECT_TRUE(c.blur->caching_dirty);
  EXPECT_FALSE(c.pass->caching_dirty);
  EXPECT_FALSE(c.rgb->caching_dirty);
  EXPECT_TRUE(c.rgb->thumbnail_caching_dirty);

  {
    // Two inputs, the second unconnected: a is rendered, b cleared.
    scratch_buffer_t a(pool), b(pool);
    std::memset(b.buffer->pixels, 0x7f, sizeof(float) * 4 * 8 * 6);
    render_two_inputs(ctx, c.pass, a.buffer, false, nullptr, b.buffer, false);
    EXPECT_TRUE(all_pixels_are(*a.buffer, color));
    EXPECT_TRUE(all_pixels_are(*b.buffer, zero));
    // A holder without source gets a cleared buffer.
    input_render_buffer_t none(pool, nullptr, false);
    none.render(ctx);
    EXPECT_TRUE(all_pixels_are(*none.buffer, zero));
  }
  EXPECT_TRUE(all_free(*pool));

  // The thread settings are for the host: they change no pixel.
  node_render(c.pass, &ctx);
  std::vector<float> first(target->pixels, target->pixels + 8 * 6 * 4);
  proj.set_renderthreads_editor(64);
  proj.set_renderthreads_spectype_editor(0);
  proj.set_renderthreads_editor_preview(1);
  std::memset(target->pixels, 0, sizeof(float) * first.size());
  node_render(c.pass, &ctx);
  EXPECT_EQ(std::memcmp(first.data(), target->pixels, sizeof(float) * first.size()), 0);

  delete pool;
  imgbuf4f_delete(target);
  EXPECT_NE(messages.text().find(u"freeing 3 color buffers"), std::u16string::npos);
  EXPECT_EQ(messages.text().find(u"still in use!"), std::u16string::npos);
}

TEST(GraphRender, HolderFollowsThePoolCache) {
  scoped_catalogue catalogue{driver_types()};
  debug_capture messages;
  project proj;
  chain c(proj, u"(1.0,0.0,0.0)");
  float red[4];
  ASSERT_TRUE(parse_color(u"(1.0,0.0,0.0)", red));

  auto* pool = new renderbuffer_pool_t(4, 4, 2);
  pool->cache_capacity = 2;  // a pool that keeps results, so that the holder's cache path runs
  renderctx ctx = make_ctx(nullptr, pool, &proj);

  imgbuf4f* first = nullptr;
  {
    input_render_buffer_t in(pool, c.rgb, false);
    EXPECT_FALSE(in.from_cache);
    in.render(ctx);
    first = in.buffer;
  }  // released into the cache
  EXPECT_EQ(pool->cache_lookup(reinterpret_cast<uintptr_t>(c.rgb)), first);
  {
    // A clean source: the cached buffer is taken and not rendered again.
    input_render_buffer_t in(pool, c.rgb, false);
    EXPECT_TRUE(in.from_cache);
    EXPECT_EQ(in.buffer, first);
    pixel_at(*in.buffer, 0, 0)[0] = 0.5f;  // a mark that a second render would overwrite
    in.render(ctx);
    EXPECT_EQ(pixel_at(*in.buffer, 0, 0)[0], 0.5f);
  }
  {
    // The thumbnail flag is still set: for a thumbnail the cached copy is dropped and re-rendered.
    input_render_buffer_t in(pool, c.rgb, true);
    EXPECT_FALSE(in.from_cache);
    renderctx thumb = ctx;
    thumb.for_thumbnail = true;
    in.render(thumb);
    EXPECT_TRUE(all_pixels_are(*in.buffer, red));
    EXPECT_FALSE(c.rgb->thumbnail_caching_dirty);
  }
  {
    // A dirty source: the entry is removed and a fresh render fills a buffer.
    c.rgb->caching_dirty = true;
    input_render_buffer_t in(pool, c.rgb, false);
    EXPECT_FALSE(in.from_cache);
    in.render(ctx);
    EXPECT_TRUE(all_pixels_are(*in.buffer, red));
  }
  delete pool;  // cached buffers go back before the buffers are freed
  EXPECT_EQ(messages.text().find(u"still in use!"), std::u16string::npos);
}

TEST(GraphRender, TwoThreadsShareOnePool) {
  scoped_catalogue catalogue{driver_types()};
  debug_capture messages;
  project proj;
  chain a(proj, u"(0.25,0.5,0.75)");
  chain b(proj, u"(0.75,0.5,0.25,0.5)");
  float color_a[4], color_b[4];
  ASSERT_TRUE(parse_color(u"(0.25,0.5,0.75)", color_a));
  ASSERT_TRUE(parse_color(u"(0.75,0.5,0.25,0.5)", color_b));

  // Enough buffers from the start: a pool that grows may hand one buffer to two holders.
  auto* pool = new renderbuffer_pool_t(16, 16, 8);
  std::atomic<int> failures{0};
  auto worker = [&](chain& c, const float* color) {
    imgbuf4f* target = imgbuf4f_create(16, 16);
    renderctx ctx = make_ctx(target, pool, &proj);
    for (int i = 0; i < 300; ++i) {
      c.pass->caching_dirty = true;
      input_render_buffer_t in(pool, c.pass, false);
      in.render(ctx);
      scratch_buffer_t scratch(pool);
      render_two_inputs(ctx, c.blur, scratch.buffer, false, nullptr, target, false);
      if (!all_pixels_are(*in.buffer, color) || !all_pixels_are(*scratch.buffer, color)) ++failures;
    }
    imgbuf4f_delete(target);
  };
  std::thread t1(worker, std::ref(a), color_a);
  std::thread t2(worker, std::ref(b), color_b);
  t1.join();
  t2.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_TRUE(all_free(*pool));
  delete pool;
  EXPECT_EQ(messages.text().find(u"still in use!"), std::u16string::npos);
}

}  // namespace
