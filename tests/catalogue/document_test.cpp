// The node type document delivered with the engine, checked as a document and as the catalogue
// that init builds from it.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>
#include "catalogue/catalogue.h"
#include "core/text.h"
#include "document/node.h"
#include "quorin/engine.h"
#include "quorin/node.h"

namespace {

using quorin_engine::shadetree_node_t;
using std::u16string;

const char* const document_path = QUORIN_SOURCE_DIR "/engine/catalogue/resources/nodetypespecs.xml";

struct expected_type {
  uint32_t id;
  const char16_t* name;
  bool is_gen;
  const char16_t* category;
  uint32_t resource_id;
  bool disabled;
};

// The id table of the engine's types, with kind, category, bitmap resource and the disabled flag.
const expected_type expected_types[] = {
    {0, u"RGB", true, u"Simple", 105, false},
    {1, u"SinePlasma", true, u"Noise", 106, false},
    {2, u"Gradient", true, u"Gradient", 107, false},
    {3, u"CircGradient", true, u"Gradient", 108, false},
    {4, u"Checkerboard", true, u"Pattern", 109, false},
    {5, u"Grid", true, u"Pattern", 110, true},
    {6, u"Stairs", true, u"Pattern", 111, true},
    {7, u"Bricks", true, u"Pattern", 112, false},
    {8, u"Hexagons", true, u"Pattern", 113, true},
    {9, u"Octogons", true, u"Pattern", 114, true},
    {10, u"Stripes", true, u"Pattern", 115, false},
    {11, u"FractalMandelbrot", true, u"Fractal", 116, false},
    {12, u"FractalJulia", true, u"Fractal", 117, false},
    {13, u"Squares", true, u"Pattern", 118, true},
    {14, u"Turbulence", true, u"Noise", 119, false},
    {15, u"FractalSum", true, u"Noise", 120, false},
    {16, u"Marble", true, u"Noise", 121, false},
    {17, u"Constant", true, u"Simple", 122, false},
    {18, u"Voronoi", true, u"Pattern", 123, true},
    {19, u"Worley", true, u"Pattern", 124, true},
    {20, u"Dots", true, u"Pattern", 125, true},
    {21, u"UniversalConstant", true, u"Simple", 126, false},
    {22, u"SimpleConstant", true, u"Simple", 127, false},
    {23, u"RadialSine", true, u"Pattern", 128, false},
    {24, u"Mask", true, u"Simple", 129, true},
    {25, u"FractalLyapunov", true, u"Fractal", 130, true},
    {26, u"Time", true, u"Simple", 131, true},
    {27, u"WoodRings", true, u"Noise", 132, false},
    {28, u"Input", true, u"Simple", 133, true},
    {29, u"LoadAsset", true, u"Simple", 134, false},
    {30, u"StringConstant", true, u"String", 135, true},
    {31, u"UserInput", true, u"String", 136, true},
    {32, u"Text", true, u"Misc", 137, true},
    {33, u"Noise", true, u"Noise", 138, false},
    {34, u"BitGlitch", true, u"Noise", 139, true},
    {35, u"VectorGraphics", true, u"Misc", 140, true},
    {1000, u"PassThru", false, u"Simple", 300, false},
    {1001, u"AlphaBlend", false, u"Blend", 301, false},
    {1002, u"ImageOperation", false, u"Blend", 302, false},
    {1003, u"ImageConstOperation", false, u"Dynamic Range", 303, false},
    {1004, u"Invert", false, u"Misc", 304, false},
    {1005, u"Blur", false, u"Blur", 305, false},
    {1006, u"MotionBlur", false, u"Blur", 306, true},
    {1007, u"Whirl", false, u"Distort", 307, true},
    {1008, u"MapDistort", false, u"Distort", 308, false},
    {1009, u"Saturate", false, u"Dynamic Range", 309, false},
    {1010, u"EdgeDetect", false, u"EdgeDetect", 310, false},
    {1011, u"Emboss", false, u"EdgeDetect", 311, true},
    {1012, u"Dilation", false, u"General", 312, false},
    {1013, u"Erosion", false, u"General", 313, false},
    {1014, u"BiasChannel", false, u"Dynamic Range", 314, false},
    {1015, u"GammaChannel", false, u"Dynamic Range", 315, false},
    {1016, u"GainChannel", false, u"Dynamic Range", 316, false},
    {1017, u"Flip", false, u"Transform", 317, false},
    {1018, u"Translate", false, u"Transform", 318, false},
    {1019, u"Rotate", false, u"Transform", 319, false},
    {1020, u"Scale", false, u"Transform", 320, false},
    {1021, u"AffineTransform", false, u"Transform", 321, false},
    {1022, u"ColorKey", false, u"Dynamic Range", 322, false},
    {1023, u"Blend", false, u"Blend", 323, false},
    {1024, u"Pixelize", false, u"Effects", 324, false},
    {1025, u"Luminance", false, u"Dynamic Range", 325, false},
    {1026, u"BiasScalar", false, u"Dynamic Range", 326, true},
    {1027, u"GammaScalar", false, u"Dynamic Range", 327, true},
    {1028, u"GainScalar", false, u"Dynamic Range", 328, true},
    {1029, u"ColorBlend", false, u"Misc", 329, false},
    {1030, u"ScalarOperation", false, u"Misc", 330, false},
    {1031, u"Switch", false, u"Misc", 331, false},
    {1032, u"ScalarUnaryOperation", false, u"Misc", 332, false},
    {1033, u"ScalarCompare", false, u"Misc", 333, false},
    {1034, u"ScalarClamp", false, u"Misc", 334, false},
    {1035, u"Reflect", false, u"Transform", 335, false},
    {1036, u"ColorReduce", false, u"Misc", 336, true},
    {1037, u"ColorMap", false, u"Simple", 337, false},
    {1038, u"ScalarTrigFunc", false, u"Simple", 338, false},
    {1039, u"Distort", false, u"Distort", 339, true},
    {1040, u"Output", false, u"Simple", 340, true},
    {1041, u"MapValue", false, u"Simple", 341, false},
    {1042, u"ImageSample", false, u"Misc", 342, false},
    {1043, u"Sharpen", false, u"Misc", 343, true},
    {1044, u"StrMid", false, u"String", 344, true},
    {1045, u"StrLeft", false, u"String", 345, true},
    {1046, u"StrRight", false, u"String", 346, true},
    {1047, u"StrLength", false, u"String", 347, true},
    {1048, u"Str2Num", false, u"String", 348, true},
    {1049, u"StrLower", false, u"String", 349, true},
    {1050, u"StrUpper", false, u"String", 350, true},
    {1051, u"StrCat", false, u"String", 351, true},
    {1052, u"ScalarInterpolation", false, u"Misc", 352, false},
    {1053, u"ScalarExpr", false, u"Misc", 353, true},
    {1054, u"ChannelCurves", false, u"Dynamic Range", 354, true},
    {1055, u"ChannelCorrection", false, u"Dynamic Range", 355, false},
    {1056, u"ThresholdMask", false, u"Dynamic Range", 356, false},
    {1057, u"GreyTrigFunc", false, u"Dynamic Range", 357, false},
    {1058, u"ChannelDemux", false, u"Misc", 358, false},
    {1059, u"ChannelMux", false, u"Misc", 359, false},
    {1060, u"Lighting", false, u"Misc", 360, true},
    {1061, u"GreyConstOperation", false, u"Dynamic Range", 361, false},
    {1062, u"BiasGrey", false, u"Dynamic Range", 362, false},
    {1063, u"GammaGrey", false, u"Dynamic Range", 363, false},
    {1064, u"GainGrey", false, u"Dynamic Range", 364, false},
    {1065, u"GreyCurve", false, u"Dynamic Range", 365, true},
    {1066, u"GreyCorrection", false, u"Dynamic Range", 366, false},
    {1067, u"GreyAlphaBlend", false, u"Blend", 367, false},
    {1068, u"GreyBlend", false, u"Blend", 368, false},
    {1069, u"GreyOperation", false, u"Misc", 369, false},
    {1070, u"VarBlur", false, u"Blur", 370, false},
    {1071, u"Luminance2Grey", false, u"Dynamic Range", 371, false},
    {1072, u"ChannelTrigFunc", false, u"Dynamic Range", 372, false},
    {1073, u"SelectiveBlur", false, u"Blur", 373, false},
    {1074, u"SelectiveVarBlur", false, u"Blur", 374, false},
    {1075, u"Highpass", false, u"Misc", 375, true},
    {1076, u"ShiftDistort", false, u"Distort", 376, true},
    {1077, u"Brightness", false, u"Dynamic Range", 377, true},
    {1078, u"MatrixDistort", false, u"Transform", 378, true},
    {1079, u"GreyInvert", false, u"Misc", 379, false},
    {1080, u"GreyMux", false, u"Misc", 380, false},
    {1081, u"ApplyAlphaGrey", false, u"Blend", 381, false},
    {1082, u"ApplyAlpha", false, u"Blend", 382, false},
    {1083, u"GreyReduce", false, u"Misc", 383, true},
    {1084, u"HSVDemux", false, u"Misc", 384, true},
    {1085, u"HSVMux", false, u"Misc", 385, true},
    {1086, u"NormalMap", false, u"Misc", 386, true},
    {1087, u"ImageMapValue", false, u"Simple", 387, false},
    {1088, u"NormalMapCopper", false, u"Misc", 386, true},
    {1089, u"AOMapCopper", false, u"Misc", 386, true},
    {1090, u"RegionGrowGrey", false, u"Simple", 388, true},
    {1091, u"IrregularBlur", false, u"Blur", 388, true},
    {10000, u"Group", false, u"Misc", 105, true},
};

// ---- helpers -------------------------------------------------------------------------------

template <class F>
u16string text_of(F&& query) {
  char16_t buf[512] = {};
  query(buf, 512);
  return u16string(buf);
}

std::string narrow(const u16string& s) { return quorin_engine::to_utf8(s); }

struct node_holder {
  qr_node* node;
  explicit node_holder(uint32_t type_id) : node(node_create_with_type(type_id)) {}
  ~node_holder() { node_delete(node); }
  node_holder(const node_holder&) = delete;
  node_holder& operator=(const node_holder&) = delete;
};

// Position of a parameter in the catalogue record of the node's type, found by name.
struct param_at {
  bool found = false;
  uint32_t group = 0, param = 0;
};

param_at find_param(qr_node* n, const u16string& name) {
  param_at at;
  uint32_t groups = node_formal_param_group_count(n);
  for (uint32_t g = 0; g < groups; ++g)
    for (uint32_t p = 0; p < node_formal_param_count(n, g); ++p)
      if (text_of([&](qr_char* b, int32_t c) { node_formal_param_name(n, g, p, b, c); }) == name)
        return {true, g, p};
  return at;
}

std::vector<u16string> enum_names(qr_node* n, const u16string& param) {
  std::vector<u16string> names;
  param_at at = find_param(n, param);
  if (!at.found) return names;
  uint32_t count = node_formal_param_enum_count(n, at.group, at.param);
  for (uint32_t v = 0; v < count; ++v)
    names.push_back(
        text_of([&](qr_char* b, int32_t c) { node_formal_param_enum_name(n, at.group, at.param, v, b, c); }));
  return names;
}

std::vector<u16string> input_names(qr_node* n) {
  std::vector<u16string> names;
  for (uint32_t i = 0; i < node_input_count(n); ++i)
    names.push_back(text_of([&](qr_char* b, int32_t c) { node_input_name(n, b, c, i); }));
  return names;
}

uint32_t type_id_of(const char16_t* name) {
  for (const expected_type& t : expected_types)
    if (u16string(t.name) == name) return t.id;
  ADD_FAILURE() << "no type " << narrow(name);
  return 0;
}

// The engine's catalogue as init builds it; other tests of this executable may have emptied it.
bool catalogue_up() {
  if (quorin_engine::nodetype_specs().empty()) init();
  return !quorin_engine::nodetype_specs().empty();
}

#define REQUIRE_CATALOGUE() ASSERT_TRUE(catalogue_up()) << "init loads nothing"

// ---- the document as a tree (libxml2) --------------------------------------------------------

bool named(xmlNode* n, const char* local) {
  return n->type == XML_ELEMENT_NODE && std::strcmp(reinterpret_cast<const char*>(n->name), local) == 0;
}

std::vector<xmlNode*> children(xmlNode* parent, const char* local) {
  std::vector<xmlNode*> out;
  if (!parent) return out;
  for (xmlNode* c = parent->children; c; c = c->next)
    if (named(c, local)) out.push_back(c);
  return out;
}

xmlNode* child(xmlNode* parent, const char* local) {
  std::vector<xmlNode*> c = children(parent, local);
  return c.empty() ? nullptr : c.front();
}

bool has_attr(xmlNode* n, const char* name) { return xmlHasProp(n, reinterpret_cast<const xmlChar*>(name)); }

u16string attr(xmlNode* n, const char* name) {
  xmlChar* v = xmlGetProp(n, reinterpret_cast<const xmlChar*>(name));
  if (!v) return u16string();
  u16string s = quorin_engine::from_utf8(reinterpret_cast<const char*>(v));
  xmlFree(v);
  return s;
}

struct parsed_document {
  xmlDoc* doc = nullptr;
  parsed_document() { doc = xmlReadFile(document_path, nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR); }
  ~parsed_document() { xmlFreeDoc(doc); }
  parsed_document(const parsed_document&) = delete;
  parsed_document& operator=(const parsed_document&) = delete;
  xmlNode* root() const { return doc ? xmlDocGetRootElement(doc) : nullptr; }
  std::vector<xmlNode*> specs() const { return children(root(), "nodetype-spec"); }
};

uint32_t type_code(const u16string& word, bool port) {
  static const char16_t* const param_words[] = {u"", u"uint", u"float", u"color_rgb", u"enum",
                                                u"bool", u"string", u"font", u"curve"};
  static const char16_t* const port_words[] = {u"", u"scalar", u"greystream", u"rgbstream", u"scalar_color_rgb"};
  const char16_t* const* words = port ? port_words : param_words;
  uint32_t n = port ? 5 : 9;
  for (uint32_t i = 1; i < n; ++i)
    if (word == words[i]) return i;
  return 0;
}

// ---- tests ------------------------------------------------------------------------------------

TEST(NodeTypeDocument, IsWellFormedAndEveryTypeIsInTheIdTable) {
  std::ifstream in(document_path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_GE(bytes.size(), 3u);
  EXPECT_EQ(bytes.substr(0, 3), "\xEF\xBB\xBF") << "the document starts with a UTF-8 byte order mark";

  parsed_document d;
  ASSERT_NE(d.doc, nullptr) << "the document is not well-formed XML";
  xmlNode* root = d.root();
  ASSERT_TRUE(named(root, "nodetype-specs"));
  ASSERT_NE(root->ns, nullptr);
  EXPECT_NE(std::string(reinterpret_cast<const char*>(root->ns->href)).find("/schema/procgen-nodetypespec"),
            std::string::npos);
  // Categories stand before the first type, since a type's category is resolved when it is read.
  xmlNode* first = root->children;
  while (first && !named(first, "categories") && !named(first, "nodetype-spec")) first = first->next;
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(named(first, "categories"));

  std::set<u16string> table;
  for (const quorin_engine::type_id_entry& e : quorin_engine::type_id_table()) table.insert(e.name);
  std::set<u16string> seen;
  uint32_t gens = 0, disabled = 0, params = 0, enum_values = 0;
  for (xmlNode* s : d.specs()) {
    u16string name = attr(s, "name");
    EXPECT_TRUE(table.count(name)) << narrow(name) << " is not in the id table and would be dropped";
    EXPECT_TRUE(seen.insert(name).second) << narrow(name) << " appears twice";
    gens += attr(s, "is-gen") == u"true";
    disabled += attr(s, "disabled") == u"true";
    for (xmlNode* g : children(child(s, "params"), "param-group"))
      for (xmlNode* p : children(g, "param")) {
        ++params;
        for (xmlNode* v : children(child(p, "enum-values"), "enum-value")) {
          ++enum_values;
          EXPECT_TRUE(has_attr(v, "value"));
        }
      }
  }
  EXPECT_EQ(seen.size(), 129u);
  EXPECT_EQ(gens, 36u);
  EXPECT_EQ(seen.size() - gens, 93u);
  EXPECT_EQ(disabled, 52u);
  EXPECT_EQ(params, 411u);
  EXPECT_EQ(enum_values, 575u);
  EXPECT_EQ(table.size(), 129u);
  for (const expected_type& t : expected_types) EXPECT_TRUE(seen.count(t.name)) << narrow(t.name) << " missing";
}

TEST(NodeTypeDocument, CatalogueHoldsEveryTypeOfTheIdTable) {
  REQUIRE_CATALOGUE();
  static const char16_t* const gen_cats[] = {u"Simple", u"Noise", u"Gradient", u"Pattern",
                                             u"Fractal", u"Misc", u"String"};
  static const char16_t* const op_cats[] = {u"Simple", u"Blend", u"Dynamic Range", u"Misc",
                                            u"Blur", u"Distort", u"EdgeDetect", u"General",
                                            u"Transform", u"Effects", u"String"};
  for (uint32_t gen = 0; gen < 2; ++gen) {
    const char16_t* const* names = gen ? gen_cats : op_cats;
    uint32_t count = gen ? 7 : 11;
    ASSERT_EQ(node_all_categories_count(gen), count);
    for (uint32_t i = 0; i < count; ++i) {
      EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_all_categories_name(b, c, gen, i); }), names[i]);
      u16string desc = text_of([&](qr_char* b, int32_t c) { node_all_categories_description(b, c, gen, i); });
      EXPECT_EQ(desc.empty(), u16string(names[i]) == u"Misc") << narrow(names[i]);
    }
  }

  uint32_t gens = 0, disabled = 0, params = 0, enum_values = 0;
  for (const expected_type& t : expected_types) {
    SCOPED_TRACE(narrow(t.name));
    node_holder h(t.id);
    qr_node* n = h.node;
    EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_type_name(n, b, c); }), t.name);
    EXPECT_EQ(node_is_generator(n), t.is_gen ? 1u : 0u);
    EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_category_name(n, b, c); }), t.category);
    EXPECT_EQ(node_bmpresource_id(n), t.resource_id);
    EXPECT_EQ(node_type_is_disabled(n), t.disabled ? 1u : 0u);
    EXPECT_FALSE(text_of([&](qr_char* b, int32_t c) { node_type_description(b, c, t.id); }).empty());
    gens += node_is_generator(n);
    disabled += node_type_is_disabled(n);
    for (uint32_t o = 0; o < node_output_count(n); ++o)
      EXPECT_TRUE(text_of([&](qr_char* b, int32_t c) { node_output_description(n, b, c, o); }).empty());
    for (uint32_t i = 0; i < node_input_count(n); ++i)
      EXPECT_FALSE(text_of([&](qr_char* b, int32_t c) { node_input_description(n, b, c, i); }).empty());
    for (uint32_t g = 0; g < node_formal_param_group_count(n); ++g)
      for (uint32_t p = 0; p < node_formal_param_count(n, g); ++p) {
        ++params;
        enum_values += node_formal_param_enum_count(n, g, p);
        EXPECT_FALSE(text_of([&](qr_char* b, int32_t c) { node_formal_param_description(n, g, p, b, c); }).empty());
      }
  }
  EXPECT_EQ(gens, 36u);
  EXPECT_EQ(std::size(expected_types) - gens, 93u);
  EXPECT_EQ(disabled, 52u);
  EXPECT_EQ(params, 411u);
  EXPECT_EQ(enum_values, 575u);
}

// Every port and parameter of the document reaches the catalogue in its order, and every new node
// stores exactly the defaults that its type's parameters declare.
TEST(NodeTypeDocument, CatalogueAndNewNodesCarryTheDocument) {
  REQUIRE_CATALOGUE();
  parsed_document d;
  ASSERT_NE(d.doc, nullptr);
  for (xmlNode* s : d.specs()) {
    u16string type_name = attr(s, "name");
    SCOPED_TRACE(narrow(type_name));
    node_holder h(type_id_of(type_name.c_str()));
    qr_node* n = h.node;

    std::vector<xmlNode*> outs = children(child(s, "outputs"), "output");
    std::vector<xmlNode*> ins = children(child(s, "inputs"), "input");
    ASSERT_EQ(node_output_count(n), outs.size());
    ASSERT_EQ(node_input_count(n), ins.size());
    for (uint32_t i = 0; i < outs.size(); ++i) {
      EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_output_name(n, b, c, i); }), attr(outs[i], "name"));
      EXPECT_EQ(node_output_type(n, i), type_code(attr(outs[i], "type"), true));
    }
    for (uint32_t i = 0; i < ins.size(); ++i) {
      EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_input_name(n, b, c, i); }), attr(ins[i], "name"));
      EXPECT_EQ(node_input_type(n, i), type_code(attr(ins[i], "type"), true));
    }

    const shadetree_node_t* node = n;
    std::vector<xmlNode*> groups = children(child(s, "params"), "param-group");
    ASSERT_EQ(node_formal_param_group_count(n), groups.size());
    size_t with_default = 0, curves = 0;
    for (uint32_t g = 0; g < groups.size(); ++g) {
      EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_formal_param_group_name(n, g, b, c); }),
                attr(groups[g], "name"));
      std::vector<xmlNode*> ps = children(groups[g], "param");
      ASSERT_EQ(node_formal_param_count(n, g), ps.size());
      for (uint32_t p = 0; p < ps.size(); ++p) {
        u16string pname = attr(ps[p], "name");
        SCOPED_TRACE(narrow(pname));
        uint32_t code = type_code(attr(ps[p], "type"), false);
        EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_formal_param_name(n, g, p, b, c); }), pname);
        EXPECT_EQ(node_formal_param_type_indexed(n, g, p), code);
        EXPECT_EQ(node_formal_param_time_curveable_indexed(n, g, p), attr(ps[p], "curveable") == u"true" ? 1u : 0u);
        std::vector<xmlNode*> values = children(child(ps[p], "enum-values"), "enum-value");
        ASSERT_EQ(node_formal_param_enum_count(n, g, p), values.size());
        for (uint32_t v = 0; v < values.size(); ++v)
          EXPECT_EQ(text_of([&](qr_char* b, int32_t c) { node_formal_param_enum_name(n, g, p, v, b, c); }),
                    attr(values[v], "name"));
        if (xmlNode* b = child(ps[p], "value-bounds-uint")) {
          EXPECT_EQ(node_formal_param_uint_has_minval(n, g, p), has_attr(b, "min-val") ? 1u : 0u);
          EXPECT_EQ(node_formal_param_uint_has_maxval(n, g, p), has_attr(b, "max-val") ? 1u : 0u);
          EXPECT_EQ(node_formal_param_uint_minval(n, g, p), uint32_t(quorin_engine::text_to_int(attr(b, "min-val"))));
          EXPECT_EQ(node_formal_param_uint_maxval(n, g, p), uint32_t(quorin_engine::text_to_int(attr(b, "max-val"))));
        }
        if (xmlNode* b = child(ps[p], "value-bounds-float")) {
          EXPECT_EQ(node_formal_param_float_has_minval(n, g, p), has_attr(b, "min-val") ? 1u : 0u);
          EXPECT_EQ(node_formal_param_float_has_maxval(n, g, p), has_attr(b, "max-val") ? 1u : 0u);
          EXPECT_EQ(node_formal_param_float_minval(n, g, p), float(quorin_engine::text_to_double(attr(b, "min-val"))));
          EXPECT_EQ(node_formal_param_float_maxval(n, g, p), float(quorin_engine::text_to_double(attr(b, "max-val"))));
        }

        // What a new node holds for this parameter.
        u16string def = attr(ps[p], "default");
        if (code == quorin_engine::param_curve) {
          ++curves;
          EXPECT_TRUE(node->param_curves.count(pname)) << "a curve parameter starts with a default curve";
        } else if (!def.empty()) {
          ++with_default;
          auto it = node->params.find(pname);
          ASSERT_NE(it, node->params.end()) << "no default stored";
          EXPECT_EQ(it->second, def);
        } else {
          EXPECT_FALSE(node->params.count(pname)) << "a parameter without default stores nothing";
        }
      }
    }
    EXPECT_EQ(node->params.size(), with_default);
    EXPECT_EQ(node->param_curves.size(), curves);
  }
}

TEST(NodeTypeDocument, EnumNamesAsTheUserSeesThem) {
  REQUIRE_CATALOGUE();
  using names = std::vector<u16string>;
  {
    node_holder blur(type_id_of(u"Blur"));
    EXPECT_EQ(enum_names(blur.node, u"type"), (names{u"Box", u"Gaussian", u"Bartlett"}));
    EXPECT_EQ(enum_names(blur.node, u"direction"), (names{u"horizontal", u"vertical", u"both"}));
  }
  const names modes = {u"Normal", u"Multiply", u"Screen", u"Overlay", u"Darken", u"Lighten",
                       u"Dodge", u"ColorBurn", u"LinearBurn", u"HardLight", u"SoftLight", u"Difference",
                       u"Exclusion", u"Addition", u"Subtraction", u"Divide", u"LinearLight", u"VividLight",
                       u"PinLight", u"Hue", u"Saturation", u"Color", u"Luminance"};
  const names alpha = {u"Input1", u"Input2", u"Set", u"Clear", u"Multiply",
                       u"Add", u"Subtract", u"Min", u"Max"};
  {
    node_holder blend(type_id_of(u"Blend"));
    EXPECT_EQ(enum_names(blend.node, u"mode"), modes);
    EXPECT_EQ(enum_names(blend.node, u"alpha"), alpha);
    node_holder grey(type_id_of(u"GreyBlend"));
    EXPECT_EQ(enum_names(grey.node, u"mode"), names(modes.begin(), modes.begin() + 19));
    EXPECT_EQ(enum_names(grey.node, u"alpha"), alpha);
  }
  {
    node_holder gradient(type_id_of(u"Gradient"));
    EXPECT_EQ(enum_names(gradient.node, u"repeat"),
              (names{u"none (clear)", u"none (fill)", u"min->max->min->...", u"min->max,min->max,..."}));
    EXPECT_EQ(enum_names(gradient.node, u"interp-vert"),
              (names{u"linear", u"bi-linear", u"spline (cubic)", u"spline (5th deg.)"}));
  }
  {
    node_holder mask(type_id_of(u"Mask"));
    EXPECT_EQ(enum_names(mask.node, u"tri-verts"),
              (names{u"1-2-5", u"1-5-4", u"2-3-5", u"3-6-5", u"1-2-4", u"2-3-6", u"2-5-4", u"2-6-5", u"4-5-7",
                     u"5-6-9", u"5-8-7", u"5-9-8", u"4-5-8", u"5-6-8", u"4-8-7", u"6-9-8"}));
  }
  {
    node_holder c(type_id_of(u"UniversalConstant"));
    EXPECT_EQ(enum_names(c.node, u"which"), (names{u"Pi", u"2*Pi", u"Pi/2", u"1/Pi", u"1/(2*Pi)", u"Euler",
                                                   u"Deg2Rad", u"Rad2Deg", u"sqrt(2)", u"Golden Ratio"}));
    node_holder s(type_id_of(u"SimpleConstant"));
    EXPECT_EQ(enum_names(s.node, u"which"),
              (names{u"0", u"1", u"1/2", u"1/4", u"2", u"3", u"4", u"8", u"10", u"12"}));
    node_holder u(type_id_of(u"ScalarUnaryOperation"));
    names ops = enum_names(u.node, u"operation");
    ASSERT_EQ(ops.size(), 13u);
    EXPECT_EQ(ops[1], u"1 Minus");
    EXPECT_EQ(ops[11], u"Clamp 0..1");
  }
  {
    // Disc and pentagon both carry the number 3 in the document; the position still tells them apart.
    node_holder b(type_id_of(u"IrregularBlur"));
    EXPECT_EQ(enum_names(b.node, u"shape"), (names{u"tridown", u"triup", u"diamond", u"disc", u"pentagon"}));
    node_holder m(type_id_of(u"MapDistort"));
    names maps = enum_names(m.node, u"mapping");
    ASSERT_EQ(maps.size(), 12u);
    EXPECT_EQ(maps[0], u"R->dx,G->dy");
    EXPECT_EQ(maps[11], u"G->angle,B->dist");
  }
}

TEST(NodeTypeDocument, BoundsCurvesDefaultsAndDeliberateNameMismatches) {
  REQUIRE_CATALOGUE();
  {
    node_holder t(type_id_of(u"Turbulence"));
    qr_node* n = t.node;
    struct fb { const char16_t* name; float lo, hi; };
    for (fb f : {fb{u"size", 1.0f, 250.0f}, fb{u"lacunarity", 1.5f, 4.0f}, fb{u"persistence", 0.0f, 1.0f}}) {
      param_at at = find_param(n, f.name);
      ASSERT_TRUE(at.found) << narrow(f.name);
      EXPECT_EQ(node_formal_param_float_minval(n, at.group, at.param), f.lo);
      EXPECT_EQ(node_formal_param_float_maxval(n, at.group, at.param), f.hi);
      EXPECT_EQ(node_formal_param_uint_minval(n, at.group, at.param), 0u) << "a float bound is no uint bound";
      EXPECT_EQ(node_formal_param_uint_has_maxval(n, at.group, at.param), 0u);
    }
    struct ub { const char16_t* name; uint32_t lo, hi; };
    for (ub u : {ub{u"lofreq", 1, 15}, ub{u"hifreq", 1, 15}, ub{u"seed", 0, 5000}}) {
      param_at at = find_param(n, u.name);
      ASSERT_TRUE(at.found) << narrow(u.name);
      EXPECT_EQ(node_formal_param_uint_has_minval(n, at.group, at.param), 1u);
      EXPECT_EQ(node_formal_param_uint_minval(n, at.group, at.param), u.lo);
      EXPECT_EQ(node_formal_param_uint_maxval(n, at.group, at.param), u.hi);
      EXPECT_EQ(node_formal_param_float_has_minval(n, at.group, at.param), 0u);
    }
    param_at noise = find_param(n, u"noise");
    EXPECT_EQ(node_formal_param_enum_count(n, noise.group, noise.param), 2u);
    param_at size = find_param(n, u"size");
    EXPECT_EQ(node_formal_param_enum_count(n, size.group, size.param), 0u);
    EXPECT_EQ(node_formal_param_time_curveable_keyed(n, u"size"), 0u);
  }
  {
    node_holder m(type_id_of(u"Marble"));
    EXPECT_EQ(node_formal_param_time_curveable_keyed(m.node, u"amplitude"), 1u);
    EXPECT_EQ(node_formal_param_time_curveable_keyed(m.node, u"size"), 0u);
    EXPECT_EQ(node_formal_param_time_curveable_keyed(m.node, u"direction"), 0u);
    node_holder r(type_id_of(u"Reflect"));
    param_at pos = find_param(r.node, u"position");
    ASSERT_TRUE(pos.found);
    EXPECT_EQ(node_formal_param_time_curveable_indexed(r.node, pos.group, pos.param), 1u);
    EXPECT_EQ(node_formal_param_time_curveable_keyed(r.node, u"rot-angle"), 1u);
    EXPECT_EQ(node_formal_param_time_curveable_keyed(r.node, u"fill-color"), 0u);
  }
  {
    // Names that a routine looks up under another name stay as the type declares them.
    node_holder cb(type_id_of(u"ColorBlend"));
    EXPECT_NE(find_param(cb.node, u"interpolation").found, false);
    EXPECT_FALSE(find_param(cb.node, u"interp").found);
    node_holder sw(type_id_of(u"Switch"));
    EXPECT_EQ(input_names(sw.node), (std::vector<u16string>{u"RGB-1", u"RGB-2", u"which"}));
    EXPECT_TRUE(find_param(sw.node, u"image").found);
    EXPECT_FALSE(find_param(sw.node, u"which").found);
    node_holder nm(type_id_of(u"NormalMapCopper"));
    EXPECT_EQ(input_names(nm.node), (std::vector<u16string>{u"hmap", u"size"}));
    EXPECT_TRUE(find_param(nm.node, u"blur-size").found);
    node_holder ck(type_id_of(u"ColorKey"));
    EXPECT_EQ(input_names(ck.node), (std::vector<u16string>{u"RGB-output", u"RGB-key", u"channel", u"threshold"}));
    node_holder rg(type_id_of(u"RegionGrowGrey"));
    EXPECT_EQ(input_names(rg.node), (std::vector<u16string>{u"grey"}));
    node_holder tx(type_id_of(u"Text"));
    EXPECT_EQ(input_names(tx.node),
              (std::vector<u16string>{u"text", u"color", u"mode", u"alignx", u"aligny", u"posx", u"posy"}));
    EXPECT_TRUE(find_param(tx.node, u"align-x").found);
    EXPECT_EQ(node_formal_param_type_keyed(tx.node, u"font"), uint32_t(quorin_engine::param_font));
  }
  {
    // A few defaults whose text a user sees first in a property page.
    struct def { const char16_t* type; const char16_t* param; const char16_t* text; };
    for (def d : {def{u"RGB", u"color", u"(0.0,0.0,0.0)"}, def{u"Blur", u"size", u"0.03"},
                  def{u"Blur", u"direction", u"both"}, def{u"Gradient", u"repeat", u"none (clear)"},
                  def{u"Blend", u"alpha", u"Set"}, def{u"Flip", u"axis", u"X"},
                  def{u"Reflect", u"fill-color", u"(0.0,0.0,0.0)"}, def{u"Rotate", u"fill-color", u"(1.0,1.0,1.0)"},
                  def{u"Distort", u"interpolation", u"None"}, def{u"ImageSample", u"interpolation", u"Bilinear"},
                  def{u"Mask", u"tri-verts", u"1-2-5"}, def{u"Bricks", u"brick-color", u"(0.5,0.15,0.14)"},
                  def{u"FractalJulia", u"cy", u"-0.2"}, def{u"Lighting", u"diffuse", u"true"},
                  def{u"Str2Num", u"string", u"0.0"}, def{u"SimpleConstant", u"which", u"0"}}) {
      node_holder h(type_id_of(d.type));
      const shadetree_node_t* node = h.node;
      auto it = node->params.find(d.param);
      ASSERT_NE(it, node->params.end()) << narrow(d.type) << "." << narrow(d.param);
      EXPECT_EQ(it->second, d.text) << narrow(d.type) << "." << narrow(d.param);
    }
    node_holder cm(type_id_of(u"ColorMap"));
    const shadetree_node_t* colormap = cm.node;
    EXPECT_FALSE(colormap->params.count(u"upper2")) << "the third point has no default position";
  }
  {
    // Groups named by the types themselves, in order.
    node_holder l(type_id_of(u"Lighting"));
    std::vector<u16string> groups;
    for (uint32_t g = 0; g < node_formal_param_group_count(l.node); ++g)
      groups.push_back(text_of([&](qr_char* b, int32_t c) { node_formal_param_group_name(l.node, g, b, c); }));
    EXPECT_EQ(groups, (std::vector<u16string>{u"Light Position and Color", u"Ambient Contribution",
                                              u"Diffuse Contribution", u"Specular Constribution"}));
    node_holder b(type_id_of(u"Blur"));
    EXPECT_EQ(text_of([&](qr_char* buf, int32_t c) { node_formal_param_group_name(b.node, 1, buf, c); }),
              u"Region Of Interest");
  }
}

}  // namespace
