// The default font block of a Text node: the logical font record of the default GUI font (the
// system's "sans-serif" at 8 points, 96 pixels per inch) and its size in tenths of a point.
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "document/node.h"

namespace quorin_engine {

namespace {

constexpr std::size_t block_size = 256;
constexpr std::size_t height_offset = 0;
constexpr std::size_t weight_offset = 16;
constexpr std::size_t face_offset = 28;
constexpr std::size_t face_units = 32;  // the last one stays 0
constexpr std::size_t size_offset = 92;
constexpr int32_t default_points = 8;
constexpr int32_t pixels_per_inch = 96;
constexpr int32_t weight_normal = 400;

// The family name that the font system picks for "sans-serif"; empty if it has none.
wstring default_face_name() {
  wstring face;
  FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("sans-serif"));
  if (!pattern) return face;
  FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
  FcDefaultSubstitute(pattern);
  FcResult result = FcResultNoMatch;
  if (FcPattern* match = FcFontMatch(nullptr, pattern, &result)) {
    FcChar8* family = nullptr;
    if (FcPatternGetString(match, FC_FAMILY, 0, &family) == FcResultMatch && family)
      face = from_utf8(reinterpret_cast<const char*>(family));
    FcPatternDestroy(match);
  }
  FcPatternDestroy(pattern);
  return face;
}

void put_i32(std::vector<uint8_t>& block, std::size_t offset, int32_t value) {
  std::memcpy(block.data() + offset, &value, sizeof value);
}

}  // namespace

void apply_default_font_block(shadetree_node_t& node) {
  static const wstring face = default_face_name();
  std::vector<uint8_t> block(block_size, 0);

  // The record's height is the negative character height in pixels, rounded as the platform does.
  const int32_t height = -((default_points * pixels_per_inch + 36) / 72);
  put_i32(block, height_offset, height);
  put_i32(block, weight_offset, weight_normal);
  const std::size_t units = std::min(face.size(), face_units - 1);
  std::memcpy(block.data() + face_offset, face.data(), units * sizeof(char16_t));

  // abs(height) * 72 / pixels per inch, in integers, times 10.
  put_i32(block, size_offset, std::abs(height) * 72 / pixels_per_inch * 10);
  node.binary_data = std::move(block);
}

}  // namespace quorin_engine
