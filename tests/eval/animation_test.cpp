// A parameter animated through value nodes: Time -> ScalarExpr -> MapValue -> the radius of a
// CircGradient, built and rendered through the exported interface with the engine's own catalogue.
#include <gtest/gtest.h>
#include <cstring>
#include <vector>
#include "quorin/quorin.h"

namespace {

std::vector<float> pixels(qr_imgbuf4f* buf) {
  std::vector<float> out;
  for (uint32_t y = 0; y < imgbuf4f_height(buf); ++y) {
    const float* row = imgbuf4f_row(buf, y);
    out.insert(out.end(), row, row + 4 * imgbuf4f_width(buf));
  }
  return out;
}

class AnimatedRadius : public ::testing::Test {
 protected:
  void SetUp() override {
    init();
    proj = project_create();
    qr_graph* g = project_add_graph_and_activate(proj);
    time = graph_create_node(g, 26);
    expr = graph_create_node(g, 1053);
    map = graph_create_node(g, 1041);
    gradient = node_create_by_type_name(u"CircGradient");
    reference = node_create_by_type_name(u"CircGradient");
    ASSERT_NE(gradient, nullptr);
    graph_add_node(g, gradient);
    graph_add_node(g, reference);
    link(time, expr, u"_1");
    link(expr, map, u"value");
    link(map, gradient, u"radius");

    node_set_param_value(expr, u"expression", u"_1 * 2");
    node_set_param_value(map, u"scale", u"0.5");
    node_set_param_value(map, u"offset", u"0.25");
    node_set_param_value(map, u"high-clamp", u"true");
    node_set_param_value(map, u"high-value", u"0.8");

    pool = pool4f_create(16, 16, 2);
    target = imgbuf4f_create(16, 16);
    ctx = renderctx_create();
    renderctx_set_pool(ctx, pool);
    renderctx_set_project(ctx, proj);
    renderctx_set_target_buf(ctx, target);
  }
  void TearDown() override {
    renderctx_delete(ctx);
    imgbuf4f_delete(target);
    pool4f_delete(pool);
    project_delete(proj);
  }

  static void link(qr_node* source, qr_node* consumer, const qr_char* input) {
    node_set_output_for_input_keyed(consumer, input, source);
    node_add_input_for_output(source, 0, consumer);
  }

  // The gradient rendered with its radius stored as text, for comparison.
  std::vector<float> reference_with_radius(const qr_char* radius) {
    node_set_param_value(reference, u"radius", radius);
    qr_renderctx* c = renderctx_shallow_copy(ctx);
    qr_imgbuf4f* buf = imgbuf4f_create(16, 16);
    renderctx_set_target_buf(c, buf);
    renderctx_set_targetbuf_from_cache(c, 0);
    node_render(reference, c);
    std::vector<float> out = pixels(buf);
    imgbuf4f_delete(buf);
    renderctx_delete(c);
    return out;
  }

  qr_project* proj = nullptr;
  qr_node *time = nullptr, *expr = nullptr, *map = nullptr, *gradient = nullptr, *reference = nullptr;
  qr_pool4f* pool = nullptr;
  qr_imgbuf4f* target = nullptr;
  qr_renderctx* ctx = nullptr;
};

}  // namespace

TEST_F(AnimatedRadius, FramesOfAnAnimation) {
  renderctx_set_is_anim(ctx, 1);
  project_anim_start(proj, 0, 4);
  project_anim_set_curframe(proj, 1);  // time 0.25, expression 0.5, mapped 0.5
  EXPECT_EQ(node_scalar_value(map, ctx), 0.5f);

  node_render(gradient, ctx);
  std::vector<float> first = pixels(target);
  EXPECT_EQ(first, reference_with_radius(u"0.5"));
  // The render cleaned the gradient, and evaluating Time during an animation cleaned both its flags.
  EXPECT_FALSE(node_is_caching_dirty(gradient, 0));
  EXPECT_FALSE(node_is_caching_dirty(time, 0));
  EXPECT_FALSE(node_is_caching_dirty(time, 1));

  // A new frame marks Time; the gradient finds out by asking upstream through the scalar chain.
  project_anim_set_curframe(proj, 3);  // time 0.75, expression 1.5, mapped 1.0, clamped 0.8
  EXPECT_TRUE(node_is_caching_dirty(gradient, 0));
  EXPECT_TRUE(node_is_caching_dirty(gradient, 1));
  renderctx_set_targetbuf_from_cache(ctx, 1);
  node_render(gradient, ctx);
  std::vector<float> second = pixels(target);
  EXPECT_NE(second, first);
  EXPECT_EQ(second, reference_with_radius(u"0.8"));
  EXPECT_FALSE(node_is_caching_dirty(gradient, 0));

  // Clean and cached: nothing is written.
  imgbuf4f_set_channel(target, 0, -1.0f);
  node_render(gradient, ctx);
  EXPECT_EQ(imgbuf4f_row(target, 8)[0], -1.0f);

  // A new expression is parsed by the setter and pushes the change downstream.
  node_set_param_value(expr, u"expression", u"_1 - 0.25");  // 0.5, mapped 0.5
  EXPECT_TRUE(node_is_caching_dirty(gradient, 0));
  node_render(gradient, ctx);
  EXPECT_EQ(pixels(target), first);
}

TEST_F(AnimatedRadius, EditorTimeCleansOnlyTheFlagOfTheRender) {
  project_animedit_set_normalized_time(proj, 0.25f);
  renderctx_set_for_preview(ctx, 1);
  node_render(gradient, ctx);
  EXPECT_EQ(pixels(target), reference_with_radius(u"0.5"));
  // Time was evaluated for a preview: its thumbnail flag is still set, and the gradient's
  // thumbnail is out of date while its preview is current.
  EXPECT_FALSE(node_is_caching_dirty(gradient, 0));
  EXPECT_TRUE(node_is_caching_dirty(gradient, 1));

  // An expression that does not parse keeps the old tree: the render does not change.
  EXPECT_THROW(node_set_param_value(expr, u"expression", u"_1 *"), std::runtime_error);
  node_set_param_value(expr, u"expression", u"tanh(_1)");
  project_animedit_set_normalized_time(proj, 0.75f);
  renderctx_set_targetbuf_from_cache(ctx, 1);
  node_render(gradient, ctx);
  EXPECT_EQ(pixels(target), reference_with_radius(u"0.8"));
}
