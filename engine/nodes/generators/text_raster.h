// The text drawing layer of the Text generator and the group placeholder: a 24-bit off-screen
// bitmap, fonts described by the logical font record that Text nodes keep in their font block, and
// single lines of text drawn at a point or aligned in the bitmap. Fonts are found with fontconfig
// and rasterised with FreeType, anti-aliased. A font that cannot be found or read draws no ink and
// says so on the debug output.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "core/imgbuf.h"
#include "core/text.h"

namespace quorin_engine::text_raster {

constexpr int32_t pixels_per_inch = 96;
constexpr std::size_t font_block_size = 256;

// A logical font: the fields of the font block's record that drawing uses.
struct font_spec {
  int32_t height = 0;  // negative: character height in pixels; positive: cell height; 0: default
  int32_t weight = 400;
  bool italic = false;
  bool underline = false;
  bool strike_out = false;
  wstring face;  // empty: the system's sans-serif
};

// The record at the start of a font block and the size word behind it (tenths of a point).
font_spec font_from_block(const std::vector<uint8_t>& block);
int32_t size_word_of_block(const std::vector<uint8_t>& block);
// The default GUI font: sans-serif at 8 points.
font_spec default_gui_font();

// a * b / c rounded to the nearest, halves away from zero; -1 when c is 0.
int32_t mul_div(int32_t a, int32_t b, int32_t c);

// B, G, R bytes, top row first, three bytes a pixel and no padding; black when made.
struct bitmap_t {
  uint32_t width = 0, height = 0;
  std::vector<uint8_t> bgr;
  bitmap_t(uint32_t w, uint32_t h) : width(w), height(h), bgr(std::size_t(w) * h * 3, 0) {}
  uint8_t* row(uint32_t y) { return bgr.data() + std::size_t(y) * width * 3; }
  const uint8_t* row(uint32_t y) const { return bgr.data() + std::size_t(y) * width * 3; }
};

struct rgb8 {
  uint8_t r = 255, g = 255, b = 255;
};

// A font opened for drawing. A font that could not be opened stays usable and draws nothing.
class font_t {
 public:
  // Resolves the face, weight and slant through fontconfig.
  explicit font_t(const font_spec& spec);
  // Opens a given font file (face `index`).
  font_t(const std::string& file, int index, const font_spec& spec);
  ~font_t();
  font_t(const font_t&) = delete;
  font_t& operator=(const font_t&) = delete;

  bool ok() const;
  // The width of the line in pixels and the height of the text cell (ascent + descent).
  int32_t line_width(const wstring& text) const;
  int32_t cell_height() const;
  // Draws one line with the top left of its cell at (x, y).
  void draw(bitmap_t& bmp, const wstring& text, rgb8 colour, int32_t x, int32_t y) const;

 private:
  struct impl;
  std::unique_ptr<impl> d_;
};

// Alignment flags of draw_text_in; none means left and top.
enum align_flags : uint32_t { align_center = 1, align_right = 2, align_vcenter = 4, align_bottom = 8 };

// Draws one line aligned within the whole bitmap.
void draw_text_in(bitmap_t& bmp, const font_t& font, const wstring& text, rgb8 colour, uint32_t flags);

// The placeholder picture of a group node: "GROUP" in white, centred, in the default GUI font, on
// black; alpha 1. A target of exactly 32 by 32 is cleared instead.
void draw_group_placeholder(imgbuf4f& target);

}  // namespace quorin_engine::text_raster
