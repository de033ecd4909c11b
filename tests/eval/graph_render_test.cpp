// Rendering small graphs through pool buffers, on one thread and on two threads that share a pool.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include "../common/scoped_specs.h"
#include "core/color.h"
#include "core/pool.h"
#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "eval/fetch.h"
#include "quorin/engine.h"
#include "quorin/imgbuf4f.h"
#include "quorin/node.h"

using namespace quorin_engine;

namespace {

std::mutex messages_lock;
std::u16string messages;

bool filled(const imgbuf4f* buf, const char16_t* color) {
  float c[4];
  if (!parse_color(color, c)) return false;
  for (uint32_t i = 0; i < buf->width * buf->height * 4; ++i)
    if (buf->pixels[i] != c[i % 4]) return false;
  return true;
}

struct GraphRender : ::testing::Test {
  quorin_test::scoped_specs specs{quorin_test::sample_specs()};
  project proj;
  GraphRender() {
    messages.clear();
    engine_set_debug_output([](const char16_t* t, void*) {
      std::lock_guard<std::mutex> g(messages_lock);
      messages += t;
    }, nullptr);
  }
  ~GraphRender() override { engine_set_debug_output(nullptr, nullptr); }

  // RGB -> disabled Blur (passing its input through) -> PassThru; returns the PassThru.
  shadetree_node_t* chain(const char16_t* color) {
    auto* g = new graph;
    proj.append_graph(g);
    g->nodes = {new shadetree_node_t(0), new shadetree_node_t(1005), new shadetree_node_t(1000)};
    g->nodes[0]->params[u"color"] = color;
    g->nodes[1]->disabled = true;
    node_set_output_for_input_keyed(g->nodes[1], u"RGB", g->nodes[0]);
    node_set_output_for_input_keyed(g->nodes[2], u"RGB", g->nodes[1]);
    return g->nodes[2];
  }
};

TEST_F(GraphRender, TwoThreadsShareOnePool) {
  // Enough buffers from the start: a pool that grows may hand one buffer to two holders.
  auto* pool = new renderbuffer_pool_t(16, 16, 8);
  std::atomic<int> failures{0};
  auto worker = [&](shadetree_node_t* out, const char16_t* color) {
    imgbuf4f* target = imgbuf4f_create(16, 16);
    imgbuf4f_set_channel(target, 0, 7.0f);
    renderctx ctx{target, false, pool, false, false, false, false, &proj};
    for (int i = 0; i < 100; ++i) {
      out->caching_dirty = true;
      input_render_buffer_t in(pool, out, false);
      in.render(ctx);
      scratch_buffer_t scratch(pool);
      render_two_inputs(ctx, out->connected(u"RGB"), scratch.buffer, false, nullptr, target, false);  // b cleared
      if (!filled(in.buffer, color) || !filled(scratch.buffer, color) || !filled(target, u"(0,0,0,0)")) ++failures;
    }
    imgbuf4f_delete(target);
  };
  std::thread t1(worker, chain(u"(0.25,0.5,0.75)"), u"(0.25,0.5,0.75)");
  std::thread t2(worker, chain(u"(0.75,0.5,0.25,0.5)"), u"(0.75,0.5,0.25,0.5)");
  t1.join();
  t2.join();
  EXPECT_EQ(failures.load(), 0);
  for (const auto& e : pool->buffers) EXPECT_TRUE(e.free);
  delete pool;
  EXPECT_EQ(messages.find(u"still in use!"), std::u16string::npos);
}

}  // namespace

// The pool's cache keeps nothing at its default capacity of 0; a pool given room for one image
// keeps an input's result between holders, and a change upstream sends the source back to work.
TEST_F(GraphRender, InputHolderUsesThePoolCacheWhenItHasRoom) {
  shadetree_node_t* rgb = chain(u"(0.25,0.5,0.75)")->input_connections.begin()->second->input_connections.begin()->second;
  renderbuffer_pool_t pool(4, 4, 2);
  imgbuf4f* target = imgbuf4f_create(4, 4);
  renderctx ctx{target, false, &pool, false, false, false, false, &proj};
  imgbuf4f* kept = nullptr;
  for (uint32_t capacity : {0u, 1u}) {
    pool.cache_capacity = capacity;
    {
      input_render_buffer_t in(&pool, rgb, false);
      EXPECT_FALSE(in.from_cache);
      in.render(ctx);
      EXPECT_TRUE(filled(in.buffer, u"(0.25,0.5,0.75)"));
      kept = in.buffer;
    }  // at capacity 0 the buffer goes straight back to the free list
    ASSERT_EQ(pool.cache.count(reinterpret_cast<uint64_t>(rgb)), capacity);
  }
  {
    // Clean source: the cached image is handed out and the source does not run again.
    std::fill(kept->pixels, kept->pixels + 4, 9.0f);
    input_render_buffer_t third(&pool, rgb, false);
    EXPECT_TRUE(third.from_cache);
    EXPECT_EQ(third.buffer, kept);
    third.render(ctx);
    EXPECT_EQ(kept->pixels[0], 9.0f);
  }
  {
    // A changed source is dropped from the cache and rendered into a fresh buffer.
    node_set_param_value(rgb, u"color", u"(1,0,0)");
    input_render_buffer_t fourth(&pool, rgb, false);
    EXPECT_FALSE(fourth.from_cache);
    fourth.render(ctx);
    EXPECT_TRUE(filled(fourth.buffer, u"(1,0,0)"));
  }
  imgbuf4f_delete(target);
  EXPECT_EQ(messages.find(u"still in use!"), std::u16string::npos);
}
