// The node type document loader: records built from small hand-written documents.
#include "fixture.h"

namespace quorin_test {
namespace {

const char* const rgb_and_blur = R"xml(
  <nodetype-spec name="RGB" is-gen="true" resource-id="105" category="Simple">
    <description>Red &amp; <![CDATA[green]]></description>
    <outputs><output name="RGB" type="rgbstream"><description>not kept</description></output></outputs>
    <inputs>
      <input name="color" type="scalar_color_rgb"><description>The colour</description></input>
      <input name="label" type="string"/>
      <input name="level" type="scalar"/>
    </inputs>
    <params>
      <param-group name="General">
        <param name="color" type="color_rgb" default="(0.0,0.0,0.0)"><description>The colour</description></param>
      </param-group>
    </params>
  </nodetype-spec>
  <nodetype-spec name="Blur" is-gen="false" resource-id="305" category="Blend" disabled="false">
    <params>
      <param-group name="General">
        <param name="size" type="float" default="0.03" curveable="true">
          <value-bounds-float min-val="0.001" max-val="1.5"/>
        </param>
        <param name="passes" type="uint" default="3"><value-bounds-uint min-val="-1" max-val="100"/></param>
        <param name="type" type="enum" default="Box">
          <enum-values>
            <enum-value name="Box" value="0"/>
            <enum-value name="Gaussian" value="1"><description>Bell</description></enum-value>
            <enum-value name="Bartlett" value="2"/>
          </enum-values>
        </param>
        <param name="mode" type="mode-word"/>
      </param-group>
    </params>
  </nodetype-spec>
)xml";

TEST_F(CatalogueTest, LoaderBuildsTheRecordsOfADocument) {
  load(document(rgb_and_blur));

  ASSERT_EQ(generator_categories().size(), 3u);
  ASSERT_EQ(operator_categories().size(), 2u);
  EXPECT_EQ(generator_categories()[1].name, u"Noise");
  EXPECT_EQ(generator_categories()[1].description, u"Random things");
  EXPECT_EQ(generator_categories()[2].name, u"Misc");
  EXPECT_EQ(generator_categories()[2].description, u"");  // a category without description
  EXPECT_EQ(operator_categories()[0].description, u"");
  EXPECT_EQ(operator_categories()[1].description, u"Mixing");

  ASSERT_EQ(nodetype_specs().size(), 2u);
  const nodetype_spec_t& rgb = nodetype_specs()[0];
  EXPECT_TRUE(rgb.is_gen);
  EXPECT_EQ(rgb.type_id, 0u);
  EXPECT_FALSE(rgb.disabled);  // absent means not disabled
  EXPECT_EQ(rgb.resource_id, 105u);
  EXPECT_EQ(rgb.category, 0u);
  EXPECT_EQ(rgb.description, u"Red & green");
  ASSERT_EQ(rgb.outputs.size(), 1u);
  EXPECT_EQ(rgb.outputs[0].name, u"RGB");
  EXPECT_EQ(rgb.outputs[0].type, port_rgbstream);
  EXPECT_EQ(rgb.outputs[0].description, u"");  // an output's description is not read
  ASSERT_EQ(rgb.inputs.size(), 3u);
  EXPECT_EQ(rgb.inputs[0].type, port_scalar_color_rgb);  // whole words, not the prefix "scalar"
  EXPECT_EQ(rgb.inputs[0].description, u"The colour");
  EXPECT_EQ(rgb.inputs[1].type, port_string);
  EXPECT_EQ(rgb.inputs[2].type, port_scalar);
  ASSERT_EQ(rgb.param_groups.size(), 1u);
  ASSERT_EQ(rgb.param_groups[0].params.size(), 1u);
  const param_spec_t& color = rgb.param_groups[0].params[0];
  EXPECT_EQ(rgb.param_groups[0].name, u"General");
  EXPECT_EQ(color.name, u"color");
  EXPECT_EQ(color.type, param_color_rgb);
  EXPECT_EQ(color.default_value, u"(0.0,0.0,0.0)");
  EXPECT_EQ(color.description, u"The colour");
  EXPECT_FALSE(color.curveable);

  const nodetype_spec_t& blur = nodetype_specs()[1];
  EXPECT_FALSE(blur.is_gen);
  EXPECT_EQ(blur.type_id, 1005u);
  EXPECT_FALSE(blur.disabled);
  EXPECT_EQ(blur.category, 1u);  // "Blend" in the operator list
  const std::vector<param_spec_t>& params = blur.param_groups.at(0).params;
  ASSERT_EQ(params.size(), 4u);
  EXPECT_EQ(params[0].type, param_float);
  EXPECT_TRUE(params[0].curveable);
  EXPECT_TRUE(params[0].has_min && params[0].has_max);
  EXPECT_EQ(params[0].min.f, static_cast<float>(0.001));
  EXPECT_EQ(params[0].max.f, 1.5f);
  EXPECT_EQ(params[1].type, param_uint);
  EXPECT_FALSE(params[1].has_min);  // a negative uint bound is dropped
  EXPECT_TRUE(params[1].has_max);
  EXPECT_EQ(params[1].max.u, 100u);
  EXPECT_EQ(params[3].type, param_none);  // unknown word

  // Every enum value record holds 0, whatever the document says; the position is the meaning.
  const std::vector<enum_value_spec_t>& values = params[2].enum_values;
  ASSERT_EQ(values.size(), 3u);
  EXPECT_EQ(values[0].name, u"Box");
  EXPECT_EQ(values[1].name, u"Gaussian");
  EXPECT_EQ(values[1].description, u"Bell");
  EXPECT_EQ(values[2].name, u"Bartlett");
  for (const enum_value_spec_t& v : values) EXPECT_EQ(v.value, 0u);
}

TEST_F(CatalogueTest, LoaderAttributeRules) {
  load(document(R"(
    <nodetype-spec name="NoSuchType" is-gen="true" resource-id="999" category="Noise" disabled="true">
      <description>gone</description>
      <outputs><output name="Out" type="rgbstream"/></outputs>
      <params><param-group name="G"><param name="p" type="uint"/></param-group></params>
    </nodetype-spec>
    <nodetype-spec name="Gradient" is-gen="true" resource-id="107" category="NoSuch"/>
    <nodetype-spec name="Grid" is-gen="true" resource-id="110" category="Misc" disabled="true"/>
    <nodetype-spec name="Invert" resource-id="304" category="Simple" disabled="yes"/>
    <nodetype-spec name="Stripes" is-gen="TRUE" resource-id="-5" category="Blend"/>
  )"));

  // The unknown name leaves nothing behind, and the record after it starts afresh.
  ASSERT_EQ(nodetype_specs().size(), 4u);
  EXPECT_EQ(find_spec_by_name(u"NoSuchType"), nullptr);
  const nodetype_spec_t& gradient = nodetype_specs()[0];
  EXPECT_EQ(gradient.type_id, 2u);
  EXPECT_EQ(gradient.category, 0u);  // a category not in the list
  EXPECT_FALSE(gradient.disabled);
  EXPECT_TRUE(gradient.description.empty());
  EXPECT_TRUE(gradient.outputs.empty());
  EXPECT_TRUE(gradient.param_groups.empty());

  const nodetype_spec_t& grid = nodetype_specs()[1];
  EXPECT_TRUE(grid.disabled);
  EXPECT_EQ(grid.category, 2u);

  // Without is-gen the rest is skipped: the fresh record's is_gen stays true, no resource id.
  const nodetype_spec_t& invert = nodetype_specs()[2];
  EXPECT_EQ(invert.type_id, 1004u);
  EXPECT_TRUE(invert.is_gen);
  EXPECT_FALSE(invert.disabled);  // only "true" counts
  EXPECT_EQ(invert.resource_id, 0u);

  // "TRUE" is not "true"; a negative resource id is not kept; the category list is the operators'.
  const nodetype_spec_t& stripes = nodetype_specs()[3];
  EXPECT_FALSE(stripes.is_gen);
  EXPECT_EQ(stripes.resource_id, 0u);
  EXPECT_EQ(stripes.category, 1u);
}

TEST_F(CatalogueTest, LoaderMatchesNamesOnTheirBeginningAndLooksIntoUnknownElements) {
  load(document(R"(
    <nodetype-specification name="Checkerboard" is-gen="true" resource-id="109" category="Noise">
      <wrapper><descriptionText>Inside</descriptionText></wrapper>
      <outputs><outputs-of-old name="Out" type="greystream"/></outputs>
    </nodetype-specification>
    <nodetype-spec name="Stairs" is-gen="true" resource-id="111" category="Simple">
      <description>lost<b>bold</b> kept</description>
    </nodetype-spec>
  )"));

  ASSERT_EQ(nodetype_specs().size(), 2u);
  const nodetype_spec_t& checker = nodetype_specs()[0];
  EXPECT_EQ(checker.type_id, 4u);
  EXPECT_EQ(checker.category, 1u);
  EXPECT_EQ(checker.description, u"Inside");
  ASSERT_EQ(checker.outputs.size(), 1u);
  EXPECT_EQ(checker.outputs[0].name, u"Out");
  EXPECT_EQ(checker.outputs[0].type, port_greystream);

  // Every element start empties the text gathered so far.
  EXPECT_EQ(nodetype_specs()[1].description, u"bold kept");
}

TEST_F(CatalogueTest, LoaderKeepsWhatWasCommittedBeforeAnErrorAndStaysSilent) {
  const std::string first = R"(<nodetype-spec name="RGB" is-gen="true" resource-id="105" category="Simple"/>)";
  const std::string cut = document_head + first +
                          R"(<nodetype-spec name="Blur" is-gen="false" resource-id="305" category="Blend">
                             <outputs><output name="Ou)";
  const std::string mismatched = document_head + first +
                                 R"(<nodetype-spec name="Blur" is-gen="false"></wrong></nodetype-spec>)" +
                                 document_tail;
  const std::string garbage = "\x01\xff\xfe<<<&&& not xml at all";

  testing::internal::CaptureStderr();
  load(cut);
  EXPECT_EQ(nodetype_specs().size(), 1u);
  EXPECT_EQ(generator_categories().size(), 3u);
  clear_catalogue();

  load(mismatched);
  ASSERT_EQ(nodetype_specs().size(), 1u);
  EXPECT_EQ(nodetype_specs()[0].name, u"RGB");
  clear_catalogue();

  load(garbage);
  load("");
  load_nodetype_specs(nullptr, 0);
  load(document_head);  // never closed
  EXPECT_EQ(nodetype_specs().size(), 0u);
  EXPECT_EQ(generator_categories().size(), 3u);

  // The document cut at every byte: never more than the whole, and never fewer as the cut moves on.
  const std::string whole = document(rgb_and_blur);
  std::size_t committed = 0;
  for (std::size_t n = 0; n <= whole.size(); ++n) {
    clear_catalogue();
    load(whole.substr(0, n));
    ASSERT_GE(nodetype_specs().size(), committed);
    committed = nodetype_specs().size();
  }
  EXPECT_EQ(committed, 2u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(CatalogueTest, LoaderAttributeValuesOf256CharactersDoNotFitTheScratchBuffer) {
  const std::string id255 = std::string(252, '0') + "105";
  const std::string id256 = std::string(253, '0') + "107";
  const std::string long_text(300, 'd');
  load(document(R"(<nodetype-spec name="RGB" is-gen="true" resource-id=")" + id255 + R"(" category="Simple"/>)" +
                R"(<nodetype-spec name="Gradient" is-gen="true" resource-id=")" + id256 + R"(" category="Noise">)" +
                R"(<params><param-group name="G"><param name=")" + long_text + R"(" type="string" default=")" +
                long_text + R"(" curveable=")" + std::string(256, 't') + R"("/></param-group></params>)" +
                "</nodetype-spec>"));

  ASSERT_EQ(nodetype_specs().size(), 2u);
  EXPECT_EQ(nodetype_specs()[0].resource_id, 105u);  // 255 characters fit
  EXPECT_EQ(nodetype_specs()[1].resource_id, 0u);    // 256 leave the scratch buffer empty
  EXPECT_EQ(nodetype_specs()[1].category, 1u);       // the next word fits again
  const param_spec_t& p = nodetype_specs()[1].param_groups.at(0).params.at(0);
  EXPECT_EQ(p.name.size(), 300u);  // names and defaults are stored as they stand
  EXPECT_EQ(p.default_value.size(), 300u);
  EXPECT_EQ(p.type, param_string);
  EXPECT_FALSE(p.curveable);
}

TEST_F(CatalogueTest, LoaderStepsOverAByteOrderMark) {
  load("\xEF\xBB\xBF" + document(R"(<nodetype-spec name="RGB" is-gen="true" resource-id="105" category="Simple"/>)"));
  ASSERT_EQ(nodetype_specs().size(), 1u);
  EXPECT_EQ(nodetype_specs()[0].resource_id, 105u);
}

TEST_F(CatalogueTest, IdTableHoldsEveryTypeOnce) {
  const std::vector<type_id_entry>& table = type_id_table();
  ASSERT_EQ(table.size(), 129u);
  uint32_t generators = 0, operators = 0;
  for (std::size_t i = 0; i < table.size(); ++i) {
    uint32_t id = 12345;
    ASSERT_TRUE(type_id_for_name(table[i].name, id));
    EXPECT_EQ(id, table[i].id);  // no name twice
    for (std::size_t j = i + 1; j < table.size(); ++j) EXPECT_NE(table[i].id, table[j].id);
    if (table[i].id <= 35) ++generators;
    else if (table[i].id >= 1000 && table[i].id <= 1091) ++operators;
  }
  EXPECT_EQ(generators, 36u);
  EXPECT_EQ(operators, 92u);
  uint32_t id = 0;
  EXPECT_TRUE(type_id_for_name(u"Group", id));
  EXPECT_EQ(id, 10000u);
  EXPECT_TRUE(type_id_for_name(u"FractalMandelbrot", id));
  EXPECT_EQ(id, 11u);
  EXPECT_TRUE(type_id_for_name(u"IrregularBlur", id));
  EXPECT_EQ(id, 1091u);
  EXPECT_FALSE(type_id_for_name(u"rgb", id));  // case-sensitive
  EXPECT_FALSE(type_id_for_name(u"RGBA", id));
}

}  // namespace
}  // namespace quorin_test
