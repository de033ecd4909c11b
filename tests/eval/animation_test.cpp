// A parameter animated through value nodes: Time -> ScalarExpr -> MapValue -> the radius of a
// CircGradient, built and rendered through the exported interface with the engine's own catalogue.
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>
#include <vector>
#include "quorin/quorin.h"

namespace {

std::vector<float> render(qr_node* node, qr_renderctx* ctx) {
  qr_imgbuf4f* buf = imgbuf4f_create(16, 16);
  renderctx_set_target_buf(ctx, buf);
  node_render(node, ctx);
  std::vector<float> out(imgbuf4f_buf(buf), imgbuf4f_buf(buf) + 16 * 16 * 4);
  imgbuf4f_delete(buf);
  return out;
}

void link(qr_node* source, qr_node* consumer, const qr_char* input) {
  node_set_output_for_input_keyed(consumer, input, source);
  node_add_input_for_output(source, 0, consumer);
}

}  // namespace

TEST(Animation, TimeDrivesARadiusThroughValueNodes) {
  init();
  qr_project* proj = project_create();
  qr_graph* g = project_add_graph_and_activate(proj);
  qr_node *time = graph_create_node(g, 26), *expr = graph_create_node(g, 1053), *map = graph_create_node(g, 1041);
  qr_node *gradient = graph_create_node(g, 3), *reference = graph_create_node(g, 3);  // CircGradient
  link(time, expr, u"_1");
  link(expr, map, u"value");
  link(map, gradient, u"radius");
  node_set_param_value(expr, u"expression", u"_1 * 2");
  for (auto [name, value] : {std::pair{u"scale", u"0.5"}, {u"offset", u"0.25"}, {u"high-clamp", u"true"},
                             {u"high-value", u"0.8"}})
    node_set_param_value(map, name, value);
  qr_pool4f* pool = pool4f_create(16, 16, 2);
  qr_renderctx* ctx = renderctx_create();
  renderctx_set_pool(ctx, pool);
  renderctx_set_project(ctx, proj);
  renderctx_set_is_anim(ctx, 1);
  project_anim_start(proj, 0, 4);

  project_anim_set_curframe(proj, 1);  // time 0.25, expression 0.5, mapped 0.5
  EXPECT_EQ(node_scalar_value(map, ctx), 0.5f);
  std::vector<float> first = render(gradient, ctx);
  EXPECT_EQ(first, render(reference, ctx));  // the default radius is 0.5
  // Evaluating Time during an animation clears both of its flags.
  EXPECT_FALSE(node_is_caching_dirty(gradient, 0));
  EXPECT_FALSE(node_is_caching_dirty(time, 0) || node_is_caching_dirty(time, 1));

  // A new frame marks Time; the gradient finds out by asking upstream through the scalar chain.
  project_anim_set_curframe(proj, 3);  // time 0.75, expression 1.5, mapped 1.0, clamped 0.8
  EXPECT_TRUE(node_is_caching_dirty(gradient, 0) && node_is_caching_dirty(gradient, 1));
  std::vector<float> second = render(gradient, ctx);
  EXPECT_NE(second, first);
  node_set_param_value(reference, u"radius", u"0.8");
  EXPECT_EQ(second, render(reference, ctx));
  EXPECT_FALSE(node_is_caching_dirty(gradient, 0));

  // Texts that do not parse keep the old tree; a new one is parsed by the setter and marks the chain.
  EXPECT_THROW(node_set_param_value(expr, u"expression", u"_1 *"), std::runtime_error);
  node_set_param_value(expr, u"expression", u"tanh(_1)");
  EXPECT_EQ(node_scalar_value(map, ctx), 0.8f);
  node_set_param_value(expr, u"expression", u"_1 - 0.25");  // 0.5, mapped 0.5
  EXPECT_TRUE(node_is_caching_dirty(gradient, 0));
  EXPECT_EQ(render(gradient, ctx), first);

  renderctx_delete(ctx);
  pool4f_delete(pool);
  project_delete(proj);
}
