#include <gtest/gtest.h>

#include <algorithm>
#include "../common/scoped_specs.h"
#include "core/pool.h"
#include "core/renderctx.h"
#include "document/node.h"
#include "eval/values.h"
#include "quorin/imgbuf4f.h"
#include "quorin/node.h"

using namespace quorin_engine;

namespace {

using px = std::vector<float>;
const px cleared{0, 0, 0, 0}, untouched{7, 7, 7, 7}, red{1, 0, 0, 1}, violet{0.5f, 0.25f, 1, 1};

class RenderDriver : public ::testing::Test {
 protected:
  quorin_test::scoped_specs specs{quorin_test::sample_specs()};
  renderbuffer_pool_t pool{32, 32, 2};
  imgbuf4f* target = imgbuf4f_create(32, 32);  // a group's blank size
  renderctx ctx{target, false, &pool, false, false, false, false, nullptr};
  std::vector<shadetree_node_t*> nodes;
  ~RenderDriver() override {
    for (shadetree_node_t* n : nodes) node_delete(n);
    imgbuf4f_delete(target);
  }
  shadetree_node_t* make(uint32_t type, const char16_t* color = nullptr, bool disabled = false) {
    nodes.push_back(node_create_with_type(type));
    if (color) nodes.back()->params[u"color"] = color;
    nodes.back()->disabled = disabled;
    return nodes.back();
  }
  // Renders over a target full of 7s; the pixel value if all pixels agree, else nothing.
  px render(shadetree_node_t* n) {
    for (uint32_t c = 0; c < 4; ++c) imgbuf4f_set_channel(target, c, 7.0f);
    node_render(n, &ctx);
    px first(target->pixels, target->pixels + 4);
    for (uint32_t i = 1; i < 32 * 32; ++i)
      if (!std::equal(first.begin(), first.end(), target->pixels + 4 * i)) return {};
    return first;
  }
  px blend_color(shadetree_node_t* n) { px c(4, 1.0f); color_rgb_value(*n, ctx, c[0], c[1], c[2]); return c; }
};

}  // namespace

TEST_F(RenderDriver, RGBFillsItsColourFromTextOrColorBlend) {
  EXPECT_EQ(render(make(0, u"(0.25,0.5,0.75,0.5)")), (px{0.25f, 0.5f, 0.75f, 0.5f}));
  for (const char16_t* black : {u"", u"red"}) EXPECT_EQ(render(make(0, black)), (px{0, 0, 0, 1}));
  // A connection wins over the text; only a ColorBlend gives a colour, alpha is 1 either way.
  shadetree_node_t* rgb = make(0, u"(1,1,1,0.5)");
  node_set_output_for_input_keyed(rgb, u"color", make(17));
  EXPECT_EQ(render(rgb), (px{0, 0, 0, 1}));
  shadetree_node_t* blend = make(1029);
  node_set_output_for_input_keyed(rgb, u"color", blend);
  EXPECT_EQ(render(rgb), blend_color(blend));
}

TEST_F(RenderDriver, FlagsClearedPerKindOfRenderAndCleanNodesSkipped) {
  shadetree_node_t* unknown = make(31337);
  EXPECT_EQ(render(unknown), cleared);
  EXPECT_TRUE(!unknown->caching_dirty && unknown->thumbnail_caching_dirty);
  shadetree_node_t* rgb = make(0, u"(1,0,0)");
  ctx.for_thumbnail = ctx.targetbuf_from_cache = true;
  EXPECT_EQ(render(rgb), red);
  EXPECT_EQ(render(rgb), untouched);  // clean, from the host's cache: not touched at all
  ctx.for_thumbnail = false;          // this kind is still dirty: it runs
  EXPECT_EQ(render(rgb), red);
}

TEST_F(RenderDriver, TypesWithoutImagesAndPassThrough) {
  for (uint32_t type : {17u, 28u, 1029u, 1044u}) EXPECT_EQ(render(make(type)), cleared) << type;
  ctx.for_thumbnail = true;
  shadetree_node_t* blend = make(1029);
  EXPECT_EQ(render(blend), blend_color(blend));  // the thumbnail of a colour shows the colour
  EXPECT_EQ(render(make(17)), cleared);
  for (uint32_t type : {1000u, 1040u}) {  // PassThru and Output: the input, into the same target
    shadetree_node_t* n = make(type);
    EXPECT_EQ(render(n), cleared);
    node_set_output_for_input_keyed(n, u"RGB", make(0, u"(1,0,0)"));
    EXPECT_EQ(render(n), red);
  }
  EXPECT_EQ(render(make(10000)), cleared);  // a group into 32 x 32 is blank
}

TEST_F(RenderDriver, DisabledNodes) {
  // An operator passes its first stream input through and keeps its own flags.
  shadetree_node_t* blur = make(1005, nullptr, true);
  shadetree_node_t* rgb = make(0, u"(0.5,0.25,1)");
  EXPECT_EQ(render(blur), cleared);
  node_set_output_for_input_keyed(blur, u"RGB", rgb);
  EXPECT_EQ(render(blur), violet);
  EXPECT_TRUE(blur->caching_dirty && blur->thumbnail_caching_dirty && !rgb->caching_dirty);
  // A disabled generator is blank, even when clean and rendered from the host's cache.
  shadetree_node_t* generator = make(0, u"(1,1,1)", true);
  generator->caching_dirty = false;
  ctx.targetbuf_from_cache = true;
  EXPECT_EQ(render(generator), cleared);
  ctx.targetbuf_from_cache = false;

  // Only the first stream input counts, wherever it stands in the list; without a record there is none.
  shadetree_node_t* mux = make(1059, nullptr, true);
  shadetree_node_t* two = make(4242, nullptr, true);  // "amount" (scalar), "Grey", "RGB"
  shadetree_node_t* unknown = make(31337, nullptr, true);
  node_set_output_for_input_keyed(mux, u"RGB-2", rgb);
  node_set_output_for_input_keyed(two, u"amount", make(0, u"(1,1,1)"));
  node_set_output_for_input_keyed(two, u"RGB", make(0, u"(1,0,1)"));
  node_set_output_for_input_keyed(unknown, u"RGB", rgb);
  for (shadetree_node_t* n : {mux, two, unknown}) EXPECT_EQ(render(n), cleared);
  node_set_output_for_input_keyed(two, u"Grey", rgb);
  EXPECT_EQ(render(two), violet);
}
