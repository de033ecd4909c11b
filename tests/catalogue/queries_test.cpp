// The exported catalogue queries, their neutral results, and the catalogue defaults of new nodes.
#include "fixture.h"
#include "quorin/node.h"

namespace quorin_test {
namespace {

const char* const query_specs = R"(
  <nodetype-spec name="RGB" is-gen="true" resource-id="105" category="Noise">
    <description>A colour</description>
    <outputs><output name="RGB" type="rgbstream"/></outputs>
  </nodetype-spec>
  <nodetype-spec name="Scale" is-gen="false" resource-id="320" category="Blend" disabled="true">
    <outputs><output name="Out" type="rgbstream"/><output name="Level" type="scalar"/></outputs>
    <inputs><input name="Source" type="greystream"><description>Image</description></input></inputs>
    <params>
      <param-group name="A">
        <param name="factor" type="float"><value-bounds-float min-val="0.25" max-val="4"/></param>
        <param name="steps" type="uint"><value-bounds-uint min-val="1" max-val="9"/></param>
        <param name="type" type="enum"><enum-values><enum-value name="Box"/><enum-value name="Tent"/></enum-values></param>
      </param-group>
      <param-group name="B">
        <param name="factor" type="uint"/>
        <param name="steps" type="uint" curveable="true"/>
        <param name="half" type="uint"><value-bounds-uint min-val="2"/></param>
      </param-group>
    </params>
  </nodetype-spec>
  <nodetype-spec name="Group" is-gen="false" resource-id="105" category="Simple" disabled="true"/>
  <nodetype-spec name="RGB" is-gen="true" resource-id="999" category="Simple"/>
)";

TEST_F(CatalogueTest, QueriesGiveNeutralResultsForUnknownTypesAndIndices) {
  // An empty catalogue: every type is unknown.
  shadetree_node_t unknown(777);
  shadetree_node_t group(type_id_group);
  EXPECT_EQ(node_bmpresource_id(&unknown), 105u);
  EXPECT_EQ(node_type_is_disabled(&unknown), 1u);
  EXPECT_EQ(node_is_generator(&unknown), 0u);
  EXPECT_EQ(node_category(&unknown), 0u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_type_name(&unknown, b, c); }), u"");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_type_name(&group, b, c); }), u"Group");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_category_name(&unknown, b, c); }), u"");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_type_description(b, c, 0); }), u"");
  EXPECT_EQ(node_all_categories_count(1), 0u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_all_categories_name(b, c, 0, 0); }), u"");
  EXPECT_EQ(node_output_count(&unknown), 0u);
  EXPECT_EQ(node_input_count(&unknown), 0u);
  EXPECT_EQ(node_output_type(&unknown, 0), 0u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_input_name(&unknown, b, c, 0); }), u"");
  EXPECT_EQ(node_formal_param_group_count(&unknown), 0u);
  EXPECT_EQ(node_formal_param_count(&unknown, 0), 0u);
  EXPECT_EQ(node_formal_param_type_keyed(&unknown, u"factor"), 0u);
  EXPECT_EQ(node_formal_param_time_curveable_keyed(&unknown, u"steps"), 0u);
  EXPECT_EQ(node_formal_param_float_maxval(&unknown, 0, 0), 0.0f);
  EXPECT_EQ(node_max_output_connections(), 16u);

  // Known types, indices out of range.
  load(document(query_specs));
  shadetree_node_t scale(1020);
  EXPECT_EQ(node_bmpresource_id(&unknown), 105u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_all_categories_name(b, c, 1, 3); }), u"");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_all_categories_description(b, c, 0, 2); }), u"");
  EXPECT_EQ(node_output_type(&scale, 2), 0u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_output_name(&scale, b, c, 2); }), u"");
  EXPECT_EQ(node_input_type(&scale, 1), 0u);
  EXPECT_EQ(node_formal_param_count(&scale, 2), 0u);
  EXPECT_EQ(node_formal_param_type_indexed(&scale, 0, 3), 0u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_formal_param_group_name(&scale, 2, b, c); }), u"");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_formal_param_name(&scale, 1, 3, b, c); }), u"");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_formal_param_enum_name(&scale, 0, 2, 2, b, c); }), u"");
  EXPECT_EQ(node_formal_param_type_keyed(&scale, u"nothing"), 0u);
  EXPECT_EQ(node_formal_param_type_keyed(&scale, nullptr), 0u);
  // A buffer too small for the text receives the empty string.
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_type_name(&scale, b, c); }, 5), u"");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_type_name(&scale, b, c); }, 6), u"Scale");
}

TEST_F(CatalogueTest, QueriesReadTheTypeRecord) {
  load(document(query_specs));
  shadetree_node_t rgb(0);
  shadetree_node_t scale(1020);

  // The first record of a type wins.
  EXPECT_EQ(find_spec(0), &nodetype_specs()[0]);
  EXPECT_EQ(find_spec_by_name(u"RGB"), &nodetype_specs()[0]);
  EXPECT_EQ(node_bmpresource_id(&rgb), 105u);
  EXPECT_EQ(node_is_generator(&rgb), 1u);
  EXPECT_EQ(node_type_is_disabled(&rgb), 0u);
  EXPECT_EQ(node_category(&rgb), 1u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_category_name(&rgb, b, c); }), u"Noise");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_type_description(b, c, 0); }), u"A colour");

  EXPECT_EQ(node_is_generator(&scale), 0u);
  EXPECT_EQ(node_type_is_disabled(&scale), 1u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_type_name(&scale, b, c); }), u"Scale");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_category_name(&scale, b, c); }), u"Blend");
  EXPECT_EQ(node_all_categories_count(7), 3u);
  EXPECT_EQ(node_all_categories_count(0), 2u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_all_categories_name(b, c, 1, 2); }), u"Misc");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_all_categories_description(b, c, 0, 1); }), u"Mixing");

  EXPECT_EQ(node_output_count(&scale), 2u);
  EXPECT_EQ(node_output_type(&scale, 1), port_scalar);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_output_name(&scale, b, c, 1); }), u"Level");
  EXPECT_EQ(node_input_count(&scale), 1u);
  EXPECT_EQ(node_input_type(&scale, 0), port_greystream);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_input_description(&scale, b, c, 0); }), u"Image");

  EXPECT_EQ(node_formal_param_group_count(&scale), 2u);
  EXPECT_EQ(node_formal_param_count(&scale, 1), 3u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_formal_param_group_name(&scale, 1, b, c); }), u"B");
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_formal_param_name(&scale, 1, 1, b, c); }), u"steps");
  // By name: the first parameter of that name, groups in order...
  EXPECT_EQ(node_formal_param_type_keyed(&scale, u"factor"), param_float);
  // ...but curveable if any group holds a curveable one.
  EXPECT_EQ(node_formal_param_time_curveable_keyed(&scale, u"steps"), 1u);
  EXPECT_EQ(node_formal_param_time_curveable_indexed(&scale, 0, 1), 0u);
  EXPECT_EQ(node_formal_param_time_curveable_indexed(&scale, 1, 1), 1u);

  // Bounds answer only for their own parameter type.
  EXPECT_EQ(node_formal_param_float_minval(&scale, 0, 0), 0.25f);
  EXPECT_EQ(node_formal_param_float_maxval(&scale, 0, 0), 4.0f);
  EXPECT_EQ(node_formal_param_float_has_minval(&scale, 0, 0), 1u);
  EXPECT_EQ(node_formal_param_uint_has_minval(&scale, 0, 0), 0u);
  EXPECT_EQ(node_formal_param_uint_minval(&scale, 0, 0), 0u);
  EXPECT_EQ(node_formal_param_uint_minval(&scale, 0, 1), 1u);
  EXPECT_EQ(node_formal_param_uint_maxval(&scale, 0, 1), 9u);
  EXPECT_EQ(node_formal_param_float_has_maxval(&scale, 0, 1), 0u);
  EXPECT_EQ(node_formal_param_uint_has_maxval(&scale, 1, 2), 0u);
  EXPECT_EQ(node_formal_param_uint_minval(&scale, 1, 2), 2u);

  EXPECT_EQ(node_formal_param_enum_count(&scale, 0, 2), 2u);
  EXPECT_EQ(node_formal_param_enum_count(&scale, 0, 1), 0u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_formal_param_enum_name(&scale, 0, 2, 1, b, c); }), u"Tent");

  // The internal lookups.
  const nodetype_spec_t* s = find_spec(1020);
  uint32_t lo = 0, hi = 0;
  EXPECT_TRUE(uint_bounds(s, u"steps", lo, hi));
  EXPECT_EQ(lo, 1u);
  EXPECT_EQ(hi, 9u);
  EXPECT_FALSE(uint_bounds(s, u"factor", lo, hi));  // the first "factor" is a float
  EXPECT_FALSE(uint_bounds(s, u"half", lo, hi));    // one bound only
  EXPECT_EQ(spec_param(s, 1, 0), &s->param_groups[1].params[0]);
  EXPECT_EQ(spec_param(s, 1, 3), nullptr);
  EXPECT_EQ(spec_group(nullptr, 0), nullptr);
}

TEST_F(CatalogueTest, GroupNodesAnswerPortQueriesFromTheirOwnLists) {
  // An empty catalogue: the name comes without a lookup, the ports from the node.
  shadetree_node_t group(type_id_group);
  group.group_outputs.push_back(port_spec_t{u"Result", u"", port_rgbstream});
  group.group_outputs.push_back(port_spec_t{u"Mask", u"", port_greystream});
  group.group_inputs.push_back(port_spec_t{u"Source", u"The image", port_scalar});
  EXPECT_EQ(node_output_count(&group), 2u);
  EXPECT_EQ(node_output_type(&group, 1), port_greystream);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_output_name(&group, b, c, 0); }), u"Result");
  EXPECT_EQ(node_input_count(&group), 1u);
  EXPECT_EQ(node_input_type(&group, 0), port_scalar);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_input_description(&group, b, c, 0); }), u"The image");
  EXPECT_EQ(node_bmpresource_id(&group), 105u);
  EXPECT_EQ(node_type_is_disabled(&group), 1u);

  // With the catalogue: formal parameters come from the (empty) Group record.
  load(document(query_specs));
  EXPECT_EQ(node_output_count(&group), 2u);
  EXPECT_EQ(node_formal_param_group_count(&group), 0u);
  EXPECT_EQ(node_formal_param_type_keyed(&group, u"factor"), 0u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_category_name(&group, b, c); }), u"Simple");
}

TEST_F(CatalogueTest, NewNodesTakeTheCatalogueDefaults) {
  load(document(R"(
    <nodetype-spec name="Blur" is-gen="false" resource-id="305" category="Blend">
      <params>
        <param-group name="General">
          <param name="size" type="float" default="0.03"/>
          <param name="label" type="string"/>
          <param name="empty" type="string" default=""/>
          <param name="" type="float" default="1.0"/>
          <param name="shape" type="curve"/>
        </param-group>
        <param-group name="More">
          <param name="type" type="enum" default="Box"/>
          <param name="size" type="float" default="0.5"/>
        </param-group>
      </params>
    </nodetype-spec>
  )"));

  shadetree_node_t blur(1005);
  EXPECT_EQ(blur.params.size(), 2u);  // no entry without a name and a default
  EXPECT_EQ(blur.params.count(u"label"), 0u);
  EXPECT_EQ(blur.params.at(u"type"), u"Box");
  EXPECT_EQ(blur.params.at(u"size"), u"0.5");  // the later parameter of the name replaces
  ASSERT_EQ(blur.param_curves.size(), 1u);
  EXPECT_TRUE(blur.param_curves.at(u"shape").enabled);
  EXPECT_EQ(blur.param_curves.at(u"shape").items.size(), 1u);

  // Applied again on top: defaults replace, other names stay.
  blur.params[u"size"] = u"0.9";
  blur.params[u"other"] = u"kept";
  blur.param_curves[u"shape"].items.clear();
  apply_catalogue_defaults(blur);
  EXPECT_EQ(blur.params.at(u"size"), u"0.5");
  EXPECT_EQ(blur.params.at(u"other"), u"kept");
  EXPECT_EQ(blur.param_curves.at(u"shape").items.size(), 1u);

  shadetree_node_t unknown(4242);
  EXPECT_TRUE(unknown.params.empty());
  EXPECT_TRUE(unknown.param_curves.empty());
}

}  // namespace
}  // namespace quorin_test
