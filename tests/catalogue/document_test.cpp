// The node type document compiled into the engine, checked against the fixed list of types.
#include "fixture.h"
#include "quorin/node.h"

namespace quorin_test {
namespace {

struct expected_type {
  const char16_t* name;
  uint32_t id;
  bool is_gen;
  const char16_t* category;
  uint32_t resource_id;
  bool disabled;
};

const expected_type expected_types[] = {
    {u"RGB", 0, true, u"Simple", 105, false},
    {u"SinePlasma", 1, true, u"Noise", 106, false},
    {u"Gradient", 2, true, u"Gradient", 107, false},
    {u"CircGradient", 3, true, u"Gradient", 108, false},
    {u"Checkerboard", 4, true, u"Pattern", 109, false},
    {u"Grid", 5, true, u"Pattern", 110, true},
    {u"Stairs", 6, true, u"Pattern", 111, true},
    {u"Bricks", 7, true, u"Pattern", 112, false},
    {u"Hexagons", 8, true, u"Pattern", 113, true},
    {u"Octogons", 9, true, u"Pattern", 114, true},
    {u"Stripes", 10, true, u"Pattern", 115, false},
    {u"FractalMandelbrot", 11, true, u"Fractal", 116, false},
    {u"FractalJulia", 12, true, u"Fractal", 117, false},
    {u"Squares", 13, true, u"Pattern", 118, true},
    {u"Turbulence", 14, true, u"Noise", 119, false},
    {u"FractalSum", 15, true, u"Noise", 120, false},
    {u"Marble", 16, true, u"Noise", 121, false},
    {u"Constant", 17, true, u"Simple", 122, false},
    {u"Voronoi", 18, true, u"Pattern", 123, true},
    {u"Worley", 19, true, u"Pattern", 124, true},
    {u"Dots", 20, true, u"Pattern", 125, true},
    {u"UniversalConstant", 21, true, u"Simple", 126, false},
    {u"SimpleConstant", 22, true, u"Simple", 127, false},
    {u"RadialSine", 23, true, u"Pattern", 128, false},
    {u"Mask", 24, true, u"Simple", 129, true},
    {u"FractalLyapunov", 25, true, u"Fractal", 130, true},
    {u"Time", 26, true, u"Simple", 131, true},
    {u"WoodRings", 27, true, u"Noise", 132, false},
    {u"Input", 28, true, u"Simple", 133, true},
    {u"LoadAsset", 29, true, u"Simple", 134, false},
    {u"StringConstant", 30, true, u"String", 135, true},
    {u"UserInput", 31, true, u"String", 136, true},
    {u"Text", 32, true, u"Misc", 137, true},
    {u"Noise", 33, true, u"Noise", 138, false},
    {u"BitGlitch", 34, true, u"Noise", 139, true},
    {u"VectorGraphics", 35, true, u"Misc", 140, true},
    {u"PassThru", 1000, false, u"Simple", 300, false},
    {u"AlphaBlend", 1001, false, u"Blend", 301, false},
    {u"ImageOperation", 1002, false, u"Blend", 302, false},
    {u"ImageConstOperation", 1003, false, u"Dynamic Range", 303, false},
    {u"Invert", 1004, false, u"Misc", 304, false},
    {u"Blur", 1005, false, u"Blur", 305, false},
    {u"MotionBlur", 1006, false, u"Blur", 306, true},
    {u"Whirl", 1007, false, u"Distort", 307, true},
    {u"MapDistort", 1008, false, u"Distort", 308, false},
    {u"Saturate", 1009, false, u"Dynamic Range", 309, false},
    {u"EdgeDetect", 1010, false, u"EdgeDetect", 310, false},
    {u"Emboss", 1011, false, u"EdgeDetect", 311, true},
    {u"Dilation", 1012, false, u"General", 312, false},
    {u"Erosion", 1013, false, u"General", 313, false},
    {u"BiasChannel", 1014, false, u"Dynamic Range", 314, false},
    {u"GammaChannel", 1015, false, u"Dynamic Range", 315, false},
    {u"GainChannel", 1016, false, u"Dynamic Range", 316, false},
    {u"Flip", 1017, false, u"Transform", 317, false},
    {u"Translate", 1018, false, u"Transform", 318, false},
    {u"Rotate", 1019, false, u"Transform", 319, false},
    {u"Scale", 1020, false, u"Transform", 320, false},
    {u"AffineTransform", 1021, false, u"Transform", 321, false},
    {u"ColorKey", 1022, false, u"Dynamic Range", 322, false},
    {u"Blend", 1023, false, u"Blend", 323, false},
    {u"Pixelize", 1024, false, u"Effects", 324, false},
    {u"Luminance", 1025, false, u"Dynamic Range", 325, false},
    {u"BiasScalar", 1026, false, u"Dynamic Range", 326, true},
    {u"GammaScalar", 1027, false, u"Dynamic Range", 327, true},
    {u"GainScalar", 1028, false, u"Dynamic Range", 328, true},
    {u"ColorBlend", 1029, false, u"Misc", 329, false},
    {u"ScalarOperation", 1030, false, u"Misc", 330, false},
    {u"Switch", 1031, false, u"Misc", 331, false},
    {u"ScalarUnaryOperation", 1032, false, u"Misc", 332, false},
    {u"ScalarCompare", 1033, false, u"Misc", 333, false},
    {u"ScalarClamp", 1034, false, u"Misc", 334, false},
    {u"Reflect", 1035, false, u"Transform", 335, false},
    {u"ColorReduce", 1036, false, u"Misc", 336, true},
    {u"ColorMap", 1037, false, u"Simple", 337, false},
    {u"ScalarTrigFunc", 1038, false, u"Simple", 338, false},
    {u"Distort", 1039, false, u"Distort", 339, true},
    {u"Output", 1040, false, u"Simple", 340, true},
    {u"MapValue", 1041, false, u"Simple", 341, false},
    {u"ImageSample", 1042, false, u"Misc", 342, false},
    {u"Sharpen", 1043, false, u"Misc", 343, true},
    {u"StrMid", 1044, false, u"String", 344, true},
    {u"StrLeft", 1045, false, u"String", 345, true},
    {u"StrRight", 1046, false, u"String", 346, true},
    {u"StrLength", 1047, false, u"String", 347, true},
    {u"Str2Num", 1048, false, u"String", 348, true},
    {u"StrLower", 1049, false, u"String", 349, true},
    {u"StrUpper", 1050, false, u"String", 350, true},
    {u"StrCat", 1051, false, u"String", 351, true},
    {u"ScalarInterpolation", 1052, false, u"Misc", 352, false},
    {u"ScalarExpr", 1053, false, u"Misc", 353, true},
    {u"ChannelCurves", 1054, false, u"Dynamic Range", 354, true},
    {u"ChannelCorrection", 1055, false, u"Dynamic Range", 355, false},
    {u"ThresholdMask", 1056, false, u"Dynamic Range", 356, false},
    {u"GreyTrigFunc", 1057, false, u"Dynamic Range", 357, false},
    {u"ChannelDemux", 1058, false, u"Misc", 358, false},
    {u"ChannelMux", 1059, false, u"Misc", 359, false},
    {u"Lighting", 1060, false, u"Misc", 360, true},
    {u"GreyConstOperation", 1061, false, u"Dynamic Range", 361, false},
    {u"BiasGrey", 1062, false, u"Dynamic Range", 362, false},
    {u"GammaGrey", 1063, false, u"Dynamic Range", 363, false},
    {u"GainGrey", 1064, false, u"Dynamic Range", 364, false},
    {u"GreyCurve", 1065, false, u"Dynamic Range", 365, true},
    {u"GreyCorrection", 1066, false, u"Dynamic Range", 366, false},
    {u"GreyAlphaBlend", 1067, false, u"Blend", 367, false},
    {u"GreyBlend", 1068, false, u"Blend", 368, false},
    {u"GreyOperation", 1069, false, u"Misc", 369, false},
    {u"VarBlur", 1070, false, u"Blur", 370, false},
    {u"Luminance2Grey", 1071, false, u"Dynamic Range", 371, false},
    {u"ChannelTrigFunc", 1072, false, u"Dynamic Range", 372, false},
    {u"SelectiveBlur", 1073, false, u"Blur", 373, false},
    {u"SelectiveVarBlur", 1074, false, u"Blur", 374, false},
    {u"Highpass", 1075, false, u"Misc", 375, true},
    {u"ShiftDistort", 1076, false, u"Distort", 376, true},
    {u"Brightness", 1077, false, u"Dynamic Range", 377, true},
    {u"MatrixDistort", 1078, false, u"Transform", 378, true},
    {u"GreyInvert", 1079, false, u"Misc", 379, false},
    {u"GreyMux", 1080, false, u"Misc", 380, false},
    {u"ApplyAlphaGrey", 1081, false, u"Blend", 381, false},
    {u"ApplyAlpha", 1082, false, u"Blend", 382, false},
    {u"GreyReduce", 1083, false, u"Misc", 383, true},
    {u"HSVDemux", 1084, false, u"Misc", 384, true},
    {u"HSVMux", 1085, false, u"Misc", 385, true},
    {u"NormalMap", 1086, false, u"Misc", 386, true},
    {u"ImageMapValue", 1087, false, u"Simple", 387, false},
    {u"NormalMapCopper", 1088, false, u"Misc", 386, true},
    {u"AOMapCopper", 1089, false, u"Misc", 386, true},
    {u"RegionGrowGrey", 1090, false, u"Simple", 388, true},
    {u"IrregularBlur", 1091, false, u"Blur", 388, true},
    {u"Group", 10000, false, u"Misc", 105, true},
};

class EngineDocumentTest : public CatalogueTest {
 protected:
  void SetUp() override {
    load_engine_document();
    if (nodetype_specs().empty()) GTEST_SKIP() << "the engine's document holds no node types yet";
  }
};

TEST_F(EngineDocumentTest, EveryTypeHasItsRecord) {
  const char16_t* gen[] = {u"Simple", u"Noise", u"Gradient", u"Pattern", u"Fractal", u"Misc", u"String"};
  const char16_t* op[] = {u"Simple", u"Blend", u"Dynamic Range", u"Misc", u"Blur", u"Distort",
                          u"EdgeDetect", u"General", u"Transform", u"Effects", u"String"};
  ASSERT_EQ(generator_categories().size(), std::size(gen));
  ASSERT_EQ(operator_categories().size(), std::size(op));
  for (std::size_t i = 0; i < std::size(gen); ++i) EXPECT_EQ(generator_categories()[i].name, gen[i]);
  for (std::size_t i = 0; i < std::size(op); ++i) EXPECT_EQ(operator_categories()[i].name, op[i]);

  ASSERT_EQ(nodetype_specs().size(), 129u);
  uint32_t generators = 0, disabled = 0, params = 0, enum_values = 0;
  for (const nodetype_spec_t& s : nodetype_specs()) {
    generators += s.is_gen;
    disabled += s.disabled;
    for (const param_group_spec_t& g : s.param_groups)
      for (const param_spec_t& p : g.params) {
        ++params;
        enum_values += static_cast<uint32_t>(p.enum_values.size());
      }
  }
  EXPECT_EQ(generators, 36u);
  EXPECT_EQ(disabled, 52u);
  EXPECT_EQ(params, 414u);
  EXPECT_EQ(enum_values, 585u);

  for (const expected_type& e : expected_types) {
    SCOPED_TRACE(to_utf8(e.name));
    const nodetype_spec_t* s = find_spec(e.id);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->name, e.name);
    EXPECT_EQ(s->is_gen, e.is_gen);
    EXPECT_EQ(s->resource_id, e.resource_id);
    EXPECT_EQ(s->disabled, e.disabled);
    const std::vector<category_spec_t>& cats = e.is_gen ? generator_categories() : operator_categories();
    ASSERT_LT(s->category, cats.size());
    EXPECT_EQ(cats[s->category].name, e.category);
  }
}

TEST_F(EngineDocumentTest, TellingEntriesAndSharedResourceIds) {
  shadetree_node_t normal_map(1086), normal_copper(1088), ao_copper(1089), region(1090), irregular(1091),
      group(10000), rgb(0), blur(1005);
  EXPECT_EQ(node_bmpresource_id(&normal_map), 386u);
  EXPECT_EQ(node_bmpresource_id(&normal_copper), 386u);
  EXPECT_EQ(node_bmpresource_id(&ao_copper), 386u);
  EXPECT_EQ(node_bmpresource_id(&region), 388u);
  EXPECT_EQ(node_bmpresource_id(&irregular), 388u);
  EXPECT_EQ(node_bmpresource_id(&group), 105u);
  EXPECT_EQ(node_bmpresource_id(&rgb), 105u);

  // RGB: one rgbstream output, a colour input and a colour parameter of the same name.
  ASSERT_EQ(node_output_count(&rgb), 1u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_output_name(&rgb, b, c, 0); }), u"RGB");
  EXPECT_EQ(node_output_type(&rgb, 0), port_rgbstream);
  ASSERT_EQ(node_input_count(&rgb), 1u);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_input_name(&rgb, b, c, 0); }), u"color");
  EXPECT_EQ(node_input_type(&rgb, 0), port_scalar_color_rgb);
  EXPECT_EQ(text_of([&](char16_t* b, int32_t c) { node_formal_param_group_name(&rgb, 0, b, c); }), u"General");
  EXPECT_EQ(node_formal_param_type_keyed(&rgb, u"color"), param_color_rgb);
  EXPECT_EQ(rgb.params.at(u"color"), u"(0.0,0.0,0.0)");

  // Blur's type: positions 0, 1, 2 name the three kernels.
  const param_spec_t* type = find_param(find_spec(1005), u"type");
  ASSERT_NE(type, nullptr);
  ASSERT_EQ(type->enum_values.size(), 3u);
  EXPECT_EQ(type->enum_values[0].name, u"Box");
  EXPECT_EQ(type->enum_values[1].name, u"Gaussian");
  EXPECT_EQ(type->enum_values[2].name, u"Bartlett");
  for (const nodetype_spec_t& s : nodetype_specs())
    for (const param_group_spec_t& g : s.param_groups)
      for (const param_spec_t& p : g.params)
        for (const enum_value_spec_t& v : p.enum_values) EXPECT_EQ(v.value, 0u);
}

}  // namespace
}  // namespace quorin_test
