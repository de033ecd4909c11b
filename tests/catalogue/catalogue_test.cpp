// The node type catalogue: loader, queries and init on small hand-written documents, then the
// engine's own document. The catalogue is process-wide: tests with a document of their own leave it empty.
#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <tuple>

#include "catalogue/catalogue.h"
#include "core/lifecycle.h"
#include "core/tables.h"
#include "document/node.h"
#include "quorin/engine.h"
#include "quorin/node.h"

namespace {

using namespace quorin_engine;
using names = std::vector<std::u16string>;

void clear_catalogue() { nodetype_specs().clear(), generator_categories().clear(), operator_categories().clear(); }
const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }
void load(const std::string& xml) { load_nodetype_specs(bytes(xml), xml.size()); }

// Text out of a query, from a buffer filled with junk beforehand.
template <typename F> std::u16string text_of(F&& query, int32_t cap = 256) {
  std::u16string buf(static_cast<std::size_t>(cap), u'#');
  return query(buf.data(), cap), std::u16string(buf.c_str());
}
#define TEXT(call) text_of([&](char16_t* b, int32_t c) { call; })

// Generator categories Simple, Noise, Misc (without description); operator categories Simple, Blend.
std::string document(const std::string& specs) {
  return R"(<?xml version="1.0" encoding="utf-8"?>
<nodetype-specs xmlns="http://quorin.invalid/schema/procgen-nodetypespec"><version>1</version><categories>
  <generator-categories><category name="Simple"><description>Plain values</description></category>
    <category name="Noise"><description>Random things</description></category><category name="Misc"/>
  </generator-categories>
  <operator-categories><category name="Simple"/><category name="Blend"><description>Mix</description></category>
  </operator-categories></categories>)" + specs + "</nodetype-specs>\n";
}

// Element names that only begin with the expected one match; unknown elements are looked into.
const std::string sample = document(R"xml(
  <nodetype-spec name="NoSuchType" is-gen="false" resource-id="999" category="Blend" disabled="false">
    <description>gone</description><params><param-group name="G"><param name="p"/></param-group></params>
  </nodetype-spec><nodetype-spec name="Invert" resource-id="304" category="Simple" disabled="yes"/>
  <nodetype-spec name="RGB" is-gen="true" resource-id="105" category="NoSuch">
    <description>lost<b>Red</b> &amp; <![CDATA[green]]></description>
    <outputs><output name="RGB" type="rgbstream"><description>not kept</description></output></outputs>
    <inputs><input name="color" type="scalar_color_rgb"><description>The colour</description></input>
      <input name="label" type="string"/><input name="level" type="scalar"/></inputs></nodetype-spec>
  <nodetype-spec name="Blur" is-gen="false" resource-id="305" category="Blend" disabled="true"><params><param-group
      name="General"><param name="size" type="float"><value-bounds-float min-val="0.001" max-val="1.5"/></param>
      <param name="passes" type="uint"><value-bounds-uint min-val="-1" max-val="100"/></param>
      <param name="type" type="enum" default="Box"><enum-values><enum-value name="Box" value="0"/>
        <enum-value name="Gaussian" value="1"><description>Bell</description></enum-value>
        <enum-value name="Bartlett &amp; more" value="2"/></enum-values></param>
      <param name="mode" type="mode-word"/></param-group>
    <param-group name="More"><param name="size" type="uint" curveable="true"/>
      <param name="steps" type="uint"><value-bounds-uint min-val="1" max-val="9"/></param></param-group></params>
  </nodetype-spec><nodetype-spec-v2 name="Stripes" is-gen="TRUE" resource-id="-5" category="Blend">
    <wrapper><descriptionText>Inside</descriptionText></wrapper>
    <outputs><outputs-of-old name="Out" type="greystream"/></outputs>
  </nodetype-spec-v2><nodetype-spec name="RGB" is-gen="true" resource-id="999" category="Simple"/>)xml");

struct CatalogueTest : ::testing::Test {
  void SetUp() override { clear_catalogue(); }
  void TearDown() override { clear_catalogue(); }
};

TEST_F(CatalogueTest, LoaderBuildsRecordsWithItsAttributeRules) {
  load(sample);
  ASSERT_EQ(generator_categories().size(), 3u);
  EXPECT_EQ(operator_categories().size(), 2u);
  EXPECT_EQ(generator_categories()[1].description + u"|" + generator_categories()[2].description,
            u"Random things|");

  // The unknown name leaves no trace; the record after it starts afresh, and without is-gen the rest
  // of its attributes is skipped (is_gen keeps the fresh record's true). Only "true" counts as true, a
  // negative resource id is not kept, an unlisted category gives 0, an element start empties the text.
  ASSERT_EQ(nodetype_specs().size(), 5u);
  EXPECT_EQ(find_spec_by_name(u"NoSuchType"), nullptr);
  auto head = [](const nodetype_spec_t& s) {
    return std::make_tuple(s.type_id, s.is_gen, s.disabled, s.resource_id, s.category, s.description);
  };
  EXPECT_EQ(head(nodetype_specs()[0]), std::make_tuple(1004u, true, false, 0u, 0u, u""));
  EXPECT_EQ(head(nodetype_specs()[1]), std::make_tuple(0u, true, false, 105u, 0u, u"Red & green"));
  EXPECT_EQ(head(nodetype_specs()[2]), std::make_tuple(1005u, false, true, 305u, 1u, u""));
  EXPECT_EQ(head(nodetype_specs()[3]), std::make_tuple(10u, false, false, 0u, 1u, u"Inside"));
  EXPECT_EQ(nodetype_specs()[3].outputs.at(0).type, port_greystream);

  // An output's description is not read. Types are whole words, not the prefix "scalar".
  const nodetype_spec_t& rgb = nodetype_specs()[1];
  EXPECT_EQ(std::make_tuple(rgb.outputs.size(), rgb.inputs.size(), rgb.outputs.at(0).description,
                            rgb.inputs.at(0).description),
            std::make_tuple(1u, 3u, u"", u"The colour"));
  EXPECT_EQ(std::make_tuple(rgb.outputs[0].type, rgb.inputs[0].type, rgb.inputs[1].type, rgb.inputs[2].type),
            std::make_tuple(port_rgbstream, port_scalar_color_rgb, port_string, port_scalar));

  // A negative uint bound is dropped; an unknown type word gives none.
  const std::vector<param_spec_t>& params = nodetype_specs()[2].param_groups.at(0).params;
  ASSERT_EQ(params.size(), 4u);
  EXPECT_EQ(std::make_tuple(params[0].has_min, params[0].has_max, params[0].curveable, params[0].min.f,
                            params[0].max.f, params[1].has_min, params[1].max.u, params[3].type),
            std::make_tuple(true, true, false, static_cast<float>(0.001), 1.5f, false, 100u, param_none));
  // Every enum value record holds 0, whatever the document says; the position is the meaning.
  ASSERT_EQ(params[2].enum_values.size(), 3u);
  EXPECT_EQ(params[2].enum_values[1].name + u"|" + params[2].enum_values[1].description, u"Gaussian|Bell");
  EXPECT_EQ(params[2].enum_values[2].name, u"Bartlett & more");  // references in attributes resolved
  for (const enum_value_spec_t& v : params[2].enum_values) EXPECT_EQ(v.value, 0u);
}

TEST_F(CatalogueTest, LoaderKeepsWhatWasCommittedBeforeAnErrorAndStaysSilent) {
  testing::internal::CaptureStderr();
  load("\x01\xff\xfe<<<&&& not xml at all");
  load_nodetype_specs(nullptr, 0);
  EXPECT_TRUE(nodetype_specs().empty() && generator_categories().empty());
  // Cut at every byte: a cut inside Blur keeps the two types before it, and the count never falls.
  std::size_t committed = 0;
  for (std::size_t n = 0; n <= sample.size(); ++n) {
    clear_catalogue();
    load(sample.substr(0, n));
    ASSERT_GE(nodetype_specs().size(), committed) << n;
    committed = nodetype_specs().size();
    EXPECT_TRUE(n != sample.find("name=\"passes\"") || committed == 2);
  }
  EXPECT_EQ(committed, 5u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(CatalogueTest, LoaderLongAttributes) {
  const std::string id255 = std::string(252, '0') + "105", id256 = std::string(253, '0') + "107", text300(300, 'd');
  load(document(R"(<nodetype-spec name="RGB" is-gen="true" resource-id=")" + id255 + R"(" category="Simple"/>)" +
                R"(<nodetype-spec name="Gradient" is-gen="true" resource-id=")" + id256 + R"(" category="Noise">)" +
                R"(<params><param-group name="G"><param name=")" + text300 + R"(" type="string" default=")" +
                text300 + R"(" curveable=")" + std::string(256, 't') + R"("/></param-group></params>)" +
                "</nodetype-spec>"));
  ASSERT_EQ(nodetype_specs().size(), 2u);
  // 255 characters fit; 256 leave the scratch buffer empty, and the next word fits again.
  const std::vector<nodetype_spec_t>& s = nodetype_specs();
  EXPECT_EQ(std::make_tuple(s[0].resource_id, s[1].resource_id, s[1].category), std::make_tuple(105u, 0u, 1u));
  const param_spec_t& p = s[1].param_groups.at(0).params.at(0);
  EXPECT_EQ(p.name.size() + p.default_value.size(), 600u);  // names and defaults are stored whole
  EXPECT_TRUE(p.type == param_string && !p.curveable);
}
TEST_F(CatalogueTest, QueriesGiveNeutralResultsAndReadTheFirstRecord) {
  shadetree_node_t unknown(777), group(type_id_group), blur(1005), rgb(0);
  for (int loaded = 0; loaded < 2; ++loaded) {  // an empty catalogue, then one without this type
    EXPECT_EQ(std::make_tuple(node_bmpresource_id(&unknown), node_type_is_disabled(&unknown),
                              node_is_generator(&unknown), node_category(&unknown)),
              std::make_tuple(105u, 1u, 0u, 0u));
    EXPECT_EQ(TEXT(node_type_name(&unknown, b, c)) + TEXT(node_category_name(&unknown, b, c)), u"");
    EXPECT_EQ(TEXT(node_type_name(&group, b, c)), u"Group");
    EXPECT_EQ(TEXT(node_type_description(b, c, 777)) + TEXT(node_input_name(&unknown, b, c, 0)), u"");
    EXPECT_EQ(node_output_count(&unknown) + node_input_count(&unknown) + node_output_type(&unknown, 0) +
                  node_formal_param_group_count(&unknown) + node_formal_param_count(&unknown, 0) +
                  node_formal_param_type_keyed(&unknown, u"size") +
                  node_formal_param_time_curveable_keyed(&unknown, u"size"), 0u);
    EXPECT_EQ(node_formal_param_float_maxval(&unknown, 0, 0), 0.0f);
    EXPECT_EQ(node_max_output_connections(), 16u);
    if (!loaded) load(sample);
  }
  EXPECT_EQ(TEXT(node_all_categories_name(b, c, 1, 3)) + TEXT(node_all_categories_description(b, c, 0, 2)), u"");
  EXPECT_EQ(node_output_type(&blur, 0) + node_input_type(&blur, 0) + node_formal_param_count(&blur, 2), 0u);
  EXPECT_EQ(node_formal_param_type_indexed(&blur, 1, 2) + node_formal_param_type_keyed(&blur, u"none"), 0u);
  EXPECT_EQ(TEXT(node_output_name(&blur, b, c, 0)) + TEXT(node_formal_param_group_name(&blur, 2, b, c)) +
                TEXT(node_formal_param_name(&blur, 1, 2, b, c)) +
                TEXT(node_formal_param_enum_name(&blur, 0, 2, 3, b, c)), u"");
  // Bounds and enum values answer only for their own parameter type.
  EXPECT_EQ(node_formal_param_uint_has_minval(&blur, 0, 0) + node_formal_param_uint_maxval(&blur, 0, 0), 0u);
  EXPECT_EQ(node_formal_param_float_maxval(&blur, 0, 1) + float(node_formal_param_enum_count(&blur, 0, 1)), 0.0f);
  // A buffer too small for the text receives the empty string.
  auto name = [&](int32_t cap) { return text_of([&](auto* b, auto c) { node_type_name(&blur, b, c); }, cap); };
  EXPECT_EQ(name(4) + u"|" + name(5), u"|Blur");

  EXPECT_EQ(node_bmpresource_id(&rgb), 105u);  // the first record of a type wins
  // By name: the type of the first parameter of that name, but curveable if any group says so.
  EXPECT_EQ(std::make_tuple(node_formal_param_type_keyed(&blur, u"size"),
                            node_formal_param_time_curveable_keyed(&blur, u"size"),
                            node_formal_param_time_curveable_indexed(&blur, 0, 0)),
            std::make_tuple(param_float, 1u, 0u));
  uint32_t lo = 0, hi = 0;
  EXPECT_TRUE(uint_bounds(find_spec(1005), u"steps", lo, hi) && lo == 1 && hi == 9);
  // The first "size" is a float; "passes" has one bound only.
  EXPECT_FALSE(uint_bounds(find_spec(1005), u"size", lo, hi) || uint_bounds(find_spec(1005), u"passes", lo, hi));
  // A group's ports are its own.
  group.group_inputs.push_back(port_spec_t{u"Source", u"The image", port_scalar});
  EXPECT_EQ(std::make_tuple(node_input_count(&group), node_output_count(&group), node_input_type(&group, 0)),
            std::make_tuple(1u, 0u, port_scalar));
  EXPECT_EQ(TEXT(node_input_description(&group, b, c, 0)), u"The image");
}

// cleanup leaves dangling pointers behind on purpose; the tests put them back to null.
void forget_tables() {
  box_weights = gaussian_weights = bartlett_weights = nullptr;
  seed_tables_marker = nullptr;
  seed_value_tables[7] = nullptr;
}

TEST_F(CatalogueTest, InitBuildsTablesOnlyWithADocumentAndASecondInitAppends) {
  forget_tables();
  EXPECT_FALSE(init_with_resource(nullptr, 0) || init_with_resource(bytes(sample), 0));
  EXPECT_TRUE(nodetype_specs().empty() && !box_weights && !gaussian_weights && !bartlett_weights &&
              !seed_tables_marker);
  cleanup();  // nothing was built: must not touch anything

  const std::string doc = "\xEF\xBB\xBF" + sample;
  float stale[256];
  seed_value_tables[7] = stale;  // init clears the slots without freeing them
  ASSERT_TRUE(init_with_resource(bytes(doc), doc.size()));
  ASSERT_EQ(nodetype_specs().size(), 5u);  // the byte order mark was stepped over
  for (blur_weight_table* t : {box_weights, gaussian_weights, bartlett_weights}) {
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(std::make_tuple(t->head_guard, t->tail_guard, std::count(t->slots, std::end(t->slots), nullptr)),
              std::make_tuple(0xfeedcafeu, 0xcafefeedu, 255));
  }
  EXPECT_NE(seed_tables_marker, nullptr);
  EXPECT_EQ(std::count(std::begin(seed_value_tables), std::end(seed_value_tables), nullptr), seed_table_slots);
  seed_value_tables[7] = new float[256];
  cleanup();  // frees the slot; the catalogue stays
  forget_tables();

  ASSERT_TRUE(init_with_resource(bytes(doc), doc.size()));
  cleanup();
  forget_tables();
  ASSERT_EQ(nodetype_specs().size(), 10u);
  EXPECT_EQ(operator_categories().size(), 4u);
  EXPECT_TRUE(find_spec(1005) == &nodetype_specs()[2] && find_spec_by_name(u"Blur") == &nodetype_specs()[2]);
  EXPECT_EQ(nodetype_specs()[8].category, 1u);  // positions in the load's own category lists
}

// ---- The engine's own document -------------------------------------------------------------------

// The id table: id, name, category, resource id, disabled. Ids below 1000 are the generators.
struct expected_type { uint32_t id; const char16_t* name; const char16_t* category; uint32_t resource; int disabled; };
const expected_type expected_types[] = {
    {0, u"RGB", u"Simple", 105, 0},
    {1, u"SinePlasma", u"Noise", 106, 0},
    {2, u"Gradient", u"Gradient", 107, 0},
    {3, u"CircGradient", u"Gradient", 108, 0},
    {4, u"Checkerboard", u"Pattern", 109, 0},
    {5, u"Grid", u"Pattern", 110, 1},
    {6, u"Stairs", u"Pattern", 111, 1},
    {7, u"Bricks", u"Pattern", 112, 0},
    {8, u"Hexagons", u"Pattern", 113, 1},
    {9, u"Octogons", u"Pattern", 114, 1},
    {10, u"Stripes", u"Pattern", 115, 0},
    {11, u"FractalMandelbrot", u"Fractal", 116, 0},
    {12, u"FractalJulia", u"Fractal", 117, 0},
    {13, u"Squares", u"Pattern", 118, 1},
    {14, u"Turbulence", u"Noise", 119, 0},
    {15, u"FractalSum", u"Noise", 120, 0},
    {16, u"Marble", u"Noise", 121, 0},
    {17, u"Constant", u"Simple", 122, 0},
    {18, u"Voronoi", u"Pattern", 123, 1},
    {19, u"Worley", u"Pattern", 124, 1},
    {20, u"Dots", u"Pattern", 125, 1},
    {21, u"UniversalConstant", u"Simple", 126, 0},
    {22, u"SimpleConstant", u"Simple", 127, 0},
    {23, u"RadialSine", u"Pattern", 128, 0},
    {24, u"Mask", u"Simple", 129, 1},
    {25, u"FractalLyapunov", u"Fractal", 130, 1},
    {26, u"Time", u"Simple", 131, 1},
    {27, u"WoodRings", u"Noise", 132, 0},
    {28, u"Input", u"Simple", 133, 1},
    {29, u"LoadAsset", u"Simple", 134, 0},
    {30, u"StringConstant", u"String", 135, 1},
    {31, u"UserInput", u"String", 136, 1},
    {32, u"Text", u"Misc", 137, 1},
    {33, u"Noise", u"Noise", 138, 0},
    {34, u"BitGlitch", u"Noise", 139, 1},
    {35, u"VectorGraphics", u"Misc", 140, 1},
    {1000, u"PassThru", u"Simple", 300, 0},
    {1001, u"AlphaBlend", u"Blend", 301, 0},
    {1002, u"ImageOperation", u"Blend", 302, 0},
    {1003, u"ImageConstOperation", u"Dynamic Range", 303, 0},
    {1004, u"Invert", u"Misc", 304, 0},
    {1005, u"Blur", u"Blur", 305, 0},
    {1006, u"MotionBlur", u"Blur", 306, 1},
    {1007, u"Whirl", u"Distort", 307, 1},
    {1008, u"MapDistort", u"Distort", 308, 0},
    {1009, u"Saturate", u"Dynamic Range", 309, 0},
    {1010, u"EdgeDetect", u"EdgeDetect", 310, 0},
    {1011, u"Emboss", u"EdgeDetect", 311, 1},
    {1012, u"Dilation", u"General", 312, 0},
    {1013, u"Erosion", u"General", 313, 0},
    {1014, u"BiasChannel", u"Dynamic Range", 314, 0},
    {1015, u"GammaChannel", u"Dynamic Range", 315, 0},
    {1016, u"GainChannel", u"Dynamic Range", 316, 0},
    {1017, u"Flip", u"Transform", 317, 0},
    {1018, u"Translate", u"Transform", 318, 0},
    {1019, u"Rotate", u"Transform", 319, 0},
    {1020, u"Scale", u"Transform", 320, 0},
    {1021, u"AffineTransform", u"Transform", 321, 0},
    {1022, u"ColorKey", u"Dynamic Range", 322, 0},
    {1023, u"Blend", u"Blend", 323, 0},
    {1024, u"Pixelize", u"Effects", 324, 0},
    {1025, u"Luminance", u"Dynamic Range", 325, 0},
    {1026, u"BiasScalar", u"Dynamic Range", 326, 1},
    {1027, u"GammaScalar", u"Dynamic Range", 327, 1},
    {1028, u"GainScalar", u"Dynamic Range", 328, 1},
    {1029, u"ColorBlend", u"Misc", 329, 0},
    {1030, u"ScalarOperation", u"Misc", 330, 0},
    {1031, u"Switch", u"Misc", 331, 0},
    {1032, u"ScalarUnaryOperation", u"Misc", 332, 0},
    {1033, u"ScalarCompare", u"Misc", 333, 0},
    {1034, u"ScalarClamp", u"Misc", 334, 0},
    {1035, u"Reflect", u"Transform", 335, 0},
    {1036, u"ColorReduce", u"Misc", 336, 1},
    {1037, u"ColorMap", u"Simple", 337, 0},
    {1038, u"ScalarTrigFunc", u"Simple", 338, 0},
    {1039, u"Distort", u"Distort", 339, 1},
    {1040, u"Output", u"Simple", 340, 1},
    {1041, u"MapValue", u"Simple", 341, 0},
    {1042, u"ImageSample", u"Misc", 342, 0},
    {1043, u"Sharpen", u"Misc", 343, 1},
    {1044, u"StrMid", u"String", 344, 1},
    {1045, u"StrLeft", u"String", 345, 1},
    {1046, u"StrRight", u"String", 346, 1},
    {1047, u"StrLength", u"String", 347, 1},
    {1048, u"Str2Num", u"String", 348, 1},
    {1049, u"StrLower", u"String", 349, 1},
    {1050, u"StrUpper", u"String", 350, 1},
    {1051, u"StrCat", u"String", 351, 1},
    {1052, u"ScalarInterpolation", u"Misc", 352, 0},
    {1053, u"ScalarExpr", u"Misc", 353, 1},
    {1054, u"ChannelCurves", u"Dynamic Range", 354, 1},
    {1055, u"ChannelCorrection", u"Dynamic Range", 355, 0},
    {1056, u"ThresholdMask", u"Dynamic Range", 356, 0},
    {1057, u"GreyTrigFunc", u"Dynamic Range", 357, 0},
    {1058, u"ChannelDemux", u"Misc", 358, 0},
    {1059, u"ChannelMux", u"Misc", 359, 0},
    {1060, u"Lighting", u"Misc", 360, 1},
    {1061, u"GreyConstOperation", u"Dynamic Range", 361, 0},
    {1062, u"BiasGrey", u"Dynamic Range", 362, 0},
    {1063, u"GammaGrey", u"Dynamic Range", 363, 0},
    {1064, u"GainGrey", u"Dynamic Range", 364, 0},
    {1065, u"GreyCurve", u"Dynamic Range", 365, 1},
    {1066, u"GreyCorrection", u"Dynamic Range", 366, 0},
    {1067, u"GreyAlphaBlend", u"Blend", 367, 0},
    {1068, u"GreyBlend", u"Blend", 368, 0},
    {1069, u"GreyOperation", u"Misc", 369, 0},
    {1070, u"VarBlur", u"Blur", 370, 0},
    {1071, u"Luminance2Grey", u"Dynamic Range", 371, 0},
    {1072, u"ChannelTrigFunc", u"Dynamic Range", 372, 0},
    {1073, u"SelectiveBlur", u"Blur", 373, 0},
    {1074, u"SelectiveVarBlur", u"Blur", 374, 0},
    {1075, u"Highpass", u"Misc", 375, 1},
    {1076, u"ShiftDistort", u"Distort", 376, 1},
    {1077, u"Brightness", u"Dynamic Range", 377, 1},
    {1078, u"MatrixDistort", u"Transform", 378, 1},
    {1079, u"GreyInvert", u"Misc", 379, 0},
    {1080, u"GreyMux", u"Misc", 380, 0},
    {1081, u"ApplyAlphaGrey", u"Blend", 381, 0},
    {1082, u"ApplyAlpha", u"Blend", 382, 0},
    {1083, u"GreyReduce", u"Misc", 383, 1},
    {1084, u"HSVDemux", u"Misc", 384, 1},
    {1085, u"HSVMux", u"Misc", 385, 1},
    {1086, u"NormalMap", u"Misc", 386, 1},
    {1087, u"ImageMapValue", u"Simple", 387, 0},
    {1088, u"NormalMapCopper", u"Misc", 386, 1},
    {1089, u"AOMapCopper", u"Misc", 386, 1},
    {1090, u"RegionGrowGrey", u"Simple", 388, 1},
    {1091, u"IrregularBlur", u"Blur", 388, 1},
    {10000, u"Group", u"Misc", 105, 1},
};

struct EngineDocument : ::testing::Test {
  void SetUp() override { if (nodetype_specs().empty()) init(); }
};

const param_spec_t& param(uint32_t type_id, const char16_t* name) {
  if (const param_spec_t* p = find_param(find_spec(type_id), name)) return *p;
  throw std::runtime_error("no parameter " + to_utf8(name));
}

names enum_names(uint32_t type_id, const char16_t* name) {
  names out;
  for (const enum_value_spec_t& v : param(type_id, name).enum_values) out.push_back(v.name);
  return out;
}

TEST_F(EngineDocument, IsWellFormedAndEveryTypeIsInTheIdTable) {
  xmlDoc* doc = xmlReadFile(QUORIN_SOURCE_DIR "/engine/catalogue/resources/nodetypespecs.xml", nullptr, 0);
  ASSERT_NE(doc, nullptr) << "the document is not well-formed XML";
  std::set<std::u16string> table, seen;
  for (const type_id_entry& e : type_id_table()) table.insert(e.name);
  for (xmlNode* n = xmlDocGetRootElement(doc)->children; n; n = n->next) {
    if (n->type != XML_ELEMENT_NODE) continue;
    if (!xmlStrEqual(n->name, BAD_CAST "nodetype-spec")) continue;
    xmlChar* v = xmlGetProp(n, BAD_CAST "name");
    const std::u16string name = from_utf8(reinterpret_cast<const char*>(v));
    xmlFree(v);
    EXPECT_TRUE(table.count(name)) << to_utf8(name) << " is not in the id table";
    seen.insert(name);
  }
  xmlFreeDoc(doc);
  EXPECT_EQ(std::make_pair(table.size(), seen.size()), std::make_pair(std::size_t{129}, std::size_t{129}));
}

TEST_F(EngineDocument, CatalogueHoldsEveryTypeOfTheIdTable) {
  const names categories[2] = {{u"Simple", u"Blend", u"Dynamic Range", u"Misc", u"Blur", u"Distort", u"EdgeDetect",
                                u"General", u"Transform", u"Effects", u"String"},
                               {u"Simple", u"Noise", u"Gradient", u"Pattern", u"Fractal", u"Misc", u"String"}};
  for (uint32_t gen = 0; gen < 2; ++gen) {
    ASSERT_EQ(node_all_categories_count(gen), categories[gen].size());
    for (uint32_t i = 0; i < categories[gen].size(); ++i)
      EXPECT_EQ(TEXT(node_all_categories_name(b, c, gen, i)), categories[gen][i]);
  }
  uint32_t gens = 0, disabled = 0, params = 0, enum_values = 0;
  for (const expected_type& t : expected_types) {
    shadetree_node_t n(t.id);
    const names& cats = categories[t.id < 1000];
    const auto category = uint32_t(std::find(cats.begin(), cats.end(), t.category) - cats.begin());
    EXPECT_EQ(std::make_tuple(TEXT(node_type_name(&n, b, c)), node_is_generator(&n), node_category(&n),
                              TEXT(node_category_name(&n, b, c)), node_bmpresource_id(&n), node_type_is_disabled(&n)),
              std::make_tuple(std::u16string(t.name), t.id < 1000 ? 1u : 0u, category, std::u16string(t.category),
                              t.resource, uint32_t(t.disabled)));
    gens += node_is_generator(&n);
    disabled += node_type_is_disabled(&n);
    decltype(n.params) defaults;
    std::set<std::u16string> curves;
    for (uint32_t g = 0; g < node_formal_param_group_count(&n); ++g)
      for (uint32_t p = 0; p < node_formal_param_count(&n, g); ++p, ++params) {
        enum_values += node_formal_param_enum_count(&n, g, p);
        const param_spec_t* spec = spec_param(find_spec(t.id), g, p);
        if (spec->type == param_curve) curves.insert(spec->name);
        else if (!spec->default_value.empty()) defaults[spec->name] = spec->default_value;
      }
    EXPECT_EQ(n.params, defaults) << to_utf8(t.name);
    EXPECT_EQ(n.param_curves.size(), curves.size()) << to_utf8(t.name);
    for (const std::u16string& name : curves) EXPECT_TRUE(n.param_curves.count(name)) << to_utf8(name);
  }
  EXPECT_EQ(std::make_tuple(nodetype_specs().size(), gens, disabled, params, enum_values),
            std::make_tuple(std::size_t{129}, 36u, 52u, 411u, 575u));
}

TEST_F(EngineDocument, EnumsBoundsAndCurveableFlags) {
  shadetree_node_t blur(1005);  // Blur's first parameter is its kernel type
  for (uint32_t v = 0; v < 3; ++v)
    EXPECT_EQ(TEXT(node_formal_param_enum_name(&blur, 0, 0, v, b, c)), (names{u"Box", u"Gaussian", u"Bartlett"})[v]);
  EXPECT_EQ(enum_names(1023, u"mode"),
            (names{u"Normal", u"Multiply", u"Screen", u"Overlay", u"Darken", u"Lighten", u"Dodge", u"ColorBurn",
                   u"LinearBurn", u"HardLight", u"SoftLight", u"Difference", u"Exclusion", u"Addition",
                   u"Subtraction", u"Divide", u"LinearLight", u"VividLight", u"PinLight", u"Hue", u"Saturation",
                   u"Color", u"Luminance"}));
  EXPECT_EQ(enum_names(1023, u"alpha"),
            (names{u"Input1", u"Input2", u"Set", u"Clear", u"Multiply", u"Add", u"Subtract", u"Min", u"Max"}));
  EXPECT_EQ(enum_names(2, u"repeat"),
            (names{u"none (clear)", u"none (fill)", u"min->max->min->...", u"min->max,min->max,..."}));
  EXPECT_EQ(enum_names(24, u"tri-verts"),
            (names{u"1-2-5", u"1-5-4", u"2-3-5", u"3-6-5", u"1-2-4", u"2-3-6", u"2-5-4", u"2-6-5", u"4-5-7",
                   u"5-6-9", u"5-8-7", u"5-9-8", u"4-5-8", u"5-6-8", u"4-8-7", u"6-9-8"}));

  // Turbulence's bounds, both ends given.
  struct bounds { const char16_t* name; uint32_t type; float lo, hi; };
  for (bounds e : {bounds{u"size", param_float, 1, 250}, bounds{u"lacunarity", param_float, 1.5f, 4},
                   bounds{u"persistence", param_float, 0, 1}, bounds{u"lofreq", param_uint, 1, 15},
                   bounds{u"hifreq", param_uint, 1, 15}, bounds{u"seed", param_uint, 0, 5000}}) {
    const param_spec_t& p = param(14, e.name);
    const bool u = p.type == param_uint;
    EXPECT_EQ(std::make_tuple(p.type, p.has_min, p.has_max, u ? float(p.min.u) : p.min.f, u ? float(p.max.u) : p.max.f),
              std::make_tuple(e.type, true, true, e.lo, e.hi))
        << to_utf8(e.name);
  }
  shadetree_node_t marble(16);
  EXPECT_TRUE(node_formal_param_time_curveable_keyed(&marble, u"amplitude") &&
              !node_formal_param_time_curveable_keyed(&marble, u"size"));
  EXPECT_TRUE(param(1035, u"position").curveable && !param(1035, u"fill-color").curveable);  // Reflect
}

}  // namespace
