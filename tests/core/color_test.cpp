#include <gtest/gtest.h>

#include "core/color.h"

using namespace quorin_engine;

namespace {

struct parsed {
  bool ok;
  float c[4];
};

parsed parse(const char16_t* text) {
  parsed p{false, {-7.0f, -7.0f, -7.0f, -7.0f}};
  p.ok = parse_color(text, p.c);
  return p;
}

void expect_color(const char16_t* text, float r, float g, float b, float a) {
  parsed p = parse(text);
  SCOPED_TRACE(to_utf8(text));
  EXPECT_TRUE(p.ok);
  EXPECT_EQ(p.c[0], r);
  EXPECT_EQ(p.c[1], g);
  EXPECT_EQ(p.c[2], b);
  EXPECT_EQ(p.c[3], a);
}

}  // namespace

TEST(ColorText, FloatAndByteForms) {
  expect_color(u"(0.25,0.5,0.75)", 0.25f, 0.5f, 0.75f, 1.0f);
  expect_color(u"(0.1,0.2,0.3,0.4)", 0.1f, 0.2f, 0.3f, 0.4f);
  expect_color(u"( 0.5, 1, 2 )", 0.5f, 1.0f, 2.0f, 1.0f);
  expect_color(u"bytes(255,0,128)", 1.0f, 0.0f, static_cast<float>(128 / 255.0), 1.0f);
  expect_color(u"bytes(0,0,0,51)", 0.0f, 0.0f, 0.0f, 0.2f);
  // Only the exact prefix "bytes" selects integers; anything else reads floats.
  expect_color(u"Bytes(128,0.5,0)", 128.0f, 0.5f, 0.0f, 1.0f);
  expect_color(u"rgb(0.5,0.5,0.5)", 0.5f, 0.5f, 0.5f, 1.0f);
  expect_color(u"bytes(0.9,255,255)", 0.0f, 1.0f, 1.0f, 1.0f);
}

TEST(ColorText, IncompleteTexts) {
  // Two components set red alone; one component sets red.
  expect_color(u"(0.5,0.5)", 0.5f, 0.0f, 0.0f, 1.0f);
  expect_color(u"(0.5)", 0.5f, 0.0f, 0.0f, 1.0f);
  // No closing bracket: success with black.
  expect_color(u"(0.1,0.2,0.3", 0.0f, 0.0f, 0.0f, 1.0f);
  // Nothing between the second comma and ")": blue stays 0.
  expect_color(u"(0.1,0.2,)", 0.1f, 0.2f, 0.0f, 1.0f);
  expect_color(u"()", 0.0f, 0.0f, 0.0f, 1.0f);
  expect_color(u"(x,y,z,w)", 0.0f, 0.0f, 0.0f, 0.0f);

  // No "(": failure, and the output is left alone.
  parsed p = parse(u"0.1,0.2,0.3");
  EXPECT_FALSE(p.ok);
  EXPECT_EQ(p.c[0], -7.0f);
  EXPECT_EQ(p.c[3], -7.0f);
  EXPECT_FALSE(parse(u"").ok);
}

TEST(ColorText, WrittenFormAndAlphaWindow) {
  EXPECT_EQ(format_color(0.25f, 0.5f, 1.0f, 1.0f), u"(0.250000,0.500000,1.000000)");
  EXPECT_EQ(format_color(0.0f, 0.0f, 0.0f, 1.0000001f), u"(0.000000,0.000000,0.000000)");
  EXPECT_EQ(format_color(0.0f, 0.0f, 0.0f, 0.9999999f), u"(0.000000,0.000000,0.000000)");
  EXPECT_EQ(format_color(0.0f, 0.0f, 0.0f, 0.5f), u"(0.000000,0.000000,0.000000,0.500000)");
  EXPECT_EQ(format_color(0.0f, 0.0f, 0.0f, 1.0000003f), u"(0.000000,0.000000,0.000000,1.000000)");
  // What is written reads back.
  expect_color(format_color(0.125f, 0.5f, 0.75f, 0.25f).c_str(), 0.125f, 0.5f, 0.75f, 0.25f);
}
