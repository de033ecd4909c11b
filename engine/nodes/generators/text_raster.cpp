#include "nodes/generators/text_raster.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H

#include <cstdlib>
#include <cstring>
#include <new>

#include "core/debug_output.h"
#include "core/row_bands.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine::text_raster {

// ---- font records --------------------------------------------------------------------------------

namespace {

// Offsets in the logical font record.
constexpr std::size_t height_offset = 0;
constexpr std::size_t weight_offset = 16;
constexpr std::size_t italic_offset = 20;
constexpr std::size_t underline_offset = 21;
constexpr std::size_t strike_offset = 22;
constexpr std::size_t face_offset = 28;
constexpr std::size_t face_units = 32;
constexpr std::size_t size_offset = 92;
constexpr int32_t default_gui_points = 8;

int32_t get_i32(const std::vector<uint8_t>& block, std::size_t offset) {
  int32_t v = 0;
  if (block.size() >= offset + sizeof v) std::memcpy(&v, block.data() + offset, sizeof v);
  return v;
}

bool get_flag(const std::vector<uint8_t>& block, std::size_t offset) {
  return block.size() > offset && block[offset] != 0;
}

}  // namespace

font_spec font_from_block(const std::vector<uint8_t>& block) {
  font_spec f;
  f.height = get_i32(block, height_offset);
  f.weight = get_i32(block, weight_offset);
  f.italic = get_flag(block, italic_offset);
  f.underline = get_flag(block, underline_offset);
  f.strike_out = get_flag(block, strike_offset);
  for (std::size_t i = 0; i < face_units && block.size() >= face_offset + 2 * (i + 1); ++i) {
    char16_t unit;
    std::memcpy(&unit, block.data() + face_offset + 2 * i, sizeof unit);
    if (unit == 0) break;
    f.face.push_back(unit);
  }
  return f;
}

int32_t size_word_of_block(const std::vector<uint8_t>& block) { return get_i32(block, size_offset); }

font_spec default_gui_font() {
  font_spec f;
  f.height = -mul_div(default_gui_points, pixels_per_inch, 72);
  return f;
}

int32_t mul_div(int32_t a, int32_t b, int32_t c) {
  if (c == 0) return -1;
  int64_t num = static_cast<int64_t>(a) * b;
  int64_t q = (std::llabs(num) + std::llabs(static_cast<int64_t>(c)) / 2) / std::llabs(static_cast<int64_t>(c));
  return static_cast<int32_t>((num < 0) != (c < 0) ? -q : q);
}

// ---- fonts ---------------------------------------------------------------------------------------

struct font_t::impl {
  FT_Library library = nullptr;
  FT_Face face = nullptr;
  int32_t ascent = 0, descent = 0;
  int32_t underline_y = 0, underline_thickness = 1;  // offsets below the baseline
  int32_t strike_y = 0, strike_thickness = 1;        // above the baseline
  bool underline = false, strike_out = false;

  ~impl() {
    if (face) FT_Done_Face(face);
    if (library) FT_Done_FreeType(library);
  }

  static int32_t round26_6(FT_Pos v) { return static_cast<int32_t>((v + 32) >> 6); }
  int32_t scaled(FT_Short font_units) const {
    return round26_6(FT_MulFix(font_units, face->size->metrics.y_scale));
  }

  void open(const std::string& file, int index, const font_spec& spec) {
    underline = spec.underline;
    strike_out = spec.strike_out;
    if (FT_Init_FreeType(&library) != 0) {
      library = nullptr;
      debug_output_a("Text: the font rasteriser could not start; no text is drawn\n");
      return;
    }
    if (FT_New_Face(library, file.c_str(), index, &face) != 0) {
      face = nullptr;
      debug_output_a(("Text: cannot read the font file \"" + file + "\"; no text is drawn\n").c_str());
      return;
    }
    FT_Error err;
    if (spec.height > 0) {
      // A positive height is that of the whole cell, ascent plus descent.
      FT_Size_RequestRec req{FT_SIZE_REQUEST_TYPE_REAL_DIM, 0, static_cast<FT_Long>(spec.height) << 6, 0, 0};
      err = FT_Request_Size(face, &req);
    } else {
      FT_UInt px = static_cast<FT_UInt>(spec.height < 0 ? -static_cast<int64_t>(spec.height)
                                                        : -default_gui_font().height);
      err = FT_Set_Pixel_Sizes(face, 0, px);
    }
    if (err != 0 || !face->size) {
      debug_output_a(("Text: the font \"" + file + "\" has no usable size; no text is drawn\n").c_str());
      FT_Done_Face(face);
      face = nullptr;
      return;
    }
    const FT_Size_Metrics& m = face->size->metrics;
    ascent = static_cast<int32_t>((m.ascender + 63) >> 6);
    descent = static_cast<int32_t>((-m.descender + 63) >> 6);
    underline_y = -scaled(face->underline_position);
    underline_thickness = scaled(face->underline_thickness);
    if (underline_thickness < 1) underline_thickness = 1;
    strike_thickness = underline_thickness;
    strike_y = ascent / 3;
    if (auto* os2 = static_cast<TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2)); os2 && os2->version != 0xFFFFu) {
      strike_y = scaled(os2->yStrikeoutPosition);
      strike_thickness = scaled(os2->yStrikeoutSize);
      if (strike_thickness < 1) strike_thickness = 1;
    }
  }

  bool load(char32_t code) const {
    return FT_Load_Char(face, code, FT_LOAD_DEFAULT) == 0 &&
           FT_Render_Glyph(face->glyph, FT_RENDER_MODE_NORMAL) == 0;
  }
};

namespace {

// fontconfig's file for the record's face, weight and slant; empty if there is none.
std::string match_font_file(const font_spec& spec, int& index) {
  std::string file;
  FcPattern* pattern = FcPatternCreate();
  if (!pattern) return file;
  std::string family = spec.face.empty() ? std::string("sans-serif") : to_utf8(spec.face);
  FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
  FcPatternAddInteger(pattern, FC_WEIGHT, FcWeightFromOpenType(spec.weight > 0 ? spec.weight : 400));
  FcPatternAddInteger(pattern, FC_SLANT, spec.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
  FcDefaultSubstitute(pattern);
  FcResult result = FcResultNoMatch;
  if (FcPattern* match = FcFontMatch(nullptr, pattern, &result)) {
    FcChar8* path = nullptr;
    if (FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch && path)
      file = reinterpret_cast<const char*>(path);
    if (FcPatternGetInteger(match, FC_INDEX, 0, &index) != FcResultMatch) index = 0;
    FcPatternDestroy(match);
  }
  FcPatternDestroy(pattern);
  return file;
}

// The code points of UTF-16 text; an unpaired surrogate stands for itself.
template <class F>
void for_each_code_point(const wstring& text, F&& f) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t u = text[i];
    if (u >= 0xD800 && u < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      u = 0x10000 + ((u - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    }
    f(u);
  }
}

// Lays coverage `cov` (0..255) of `colour` over the bitmap pixel.
inline void blend(uint8_t* px, rgb8 colour, uint32_t cov) {
  const uint32_t inv = 255u - cov;
  px[0] = static_cast<uint8_t>((px[0] * inv + colour.b * cov + 127u) / 255u);
  px[1] = static_cast<uint8_t>((px[1] * inv + colour.g * cov + 127u) / 255u);
  px[2] = static_cast<uint8_t>((px[2] * inv + colour.r * cov + 127u) / 255u);
}

void fill_rows(bitmap_t& bmp, rgb8 colour, int32_t x0, int32_t x1, int32_t y0, int32_t rows) {
  for (int32_t y = y0; y < y0 + rows; ++y) {
    if (y < 0 || y >= static_cast<int32_t>(bmp.height)) continue;
    for (int32_t x = x0 < 0 ? 0 : x0; x < x1 && x < static_cast<int32_t>(bmp.width); ++x)
      blend(bmp.row(static_cast<uint32_t>(y)) + std::size_t(x) * 3, colour, 255u);
  }
}

}  // namespace

font_t::font_t(const font_spec& spec) : d_(std::make_unique<impl>()) {
  int index = 0;
  std::string file = match_font_file(spec, index);
  if (file.empty()) {
    d_->underline = spec.underline;
    d_->strike_out = spec.strike_out;
    debug_output_a(("Text: no font found for \"" + to_utf8(spec.face) + "\"; no text is drawn\n").c_str());
    return;
  }
  d_->open(file, index, spec);
}

font_t::font_t(const std::string& file, int index, const font_spec& spec) : d_(std::make_unique<impl>()) {
  d_->open(file, index, spec);
}

font_t::~font_t() = default;

bool font_t::ok() const { return d_->face != nullptr; }

int32_t font_t::cell_height() const { return d_->ascent + d_->descent; }

int32_t font_t::line_width(const wstring& text) const {
  if (!ok()) return 0;
  int32_t w = 0;
  for_each_code_point(text, [&](char32_t u) {
    if (FT_Load_Char(d_->face, u, FT_LOAD_DEFAULT) == 0) w += impl::round26_6(d_->face->glyph->advance.x);
  });
  return w;
}

void font_t::draw(bitmap_t& bmp, const wstring& text, rgb8 colour, int32_t x, int32_t y) const {
  if (!ok()) return;
  const int32_t baseline = y + d_->ascent;
  const int32_t bw = static_cast<int32_t>(bmp.width), bh = static_cast<int32_t>(bmp.height);
  int32_t pen = x;
  for_each_code_point(text, [&](char32_t u) {
    if (!d_->load(u)) return;
    const FT_GlyphSlot g = d_->face->glyph;
    const FT_Bitmap& gb = g->bitmap;
    const int32_t left = pen + g->bitmap_left, top = baseline - g->bitmap_top;
    for (uint32_t gy = 0; gy < gb.rows; ++gy) {
      const int32_t by = top + static_cast<int32_t>(gy);
      if (by < 0 || by >= bh) continue;
      const uint8_t* src = gb.buffer + static_cast<std::ptrdiff_t>(gy) * gb.pitch;
      uint8_t* dst = bmp.row(static_cast<uint32_t>(by));
      for (uint32_t gx = 0; gx < gb.width; ++gx) {
        const int32_t bx = left + static_cast<int32_t>(gx);
        if (bx < 0 || bx >= bw || src[gx] == 0) continue;
        blend(dst + std::size_t(bx) * 3, colour, src[gx]);
      }
    }
    pen += impl::round26_6(g->advance.x);
  });
  if (d_->underline) fill_rows(bmp, colour, x, pen, baseline + d_->underline_y, d_->underline_thickness);
  if (d_->strike_out)
    fill_rows(bmp, colour, x, pen, baseline - d_->strike_y, d_->strike_thickness);
}

void draw_text_in(bitmap_t& bmp, const font_t& font, const wstring& text, rgb8 colour, uint32_t flags) {
  const int32_t w = font.line_width(text), h = font.cell_height();
  const int32_t bw = static_cast<int32_t>(bmp.width), bh = static_cast<int32_t>(bmp.height);
  int32_t x = 0, y = 0;
  if (flags & align_center)
    x = (bw - w) / 2;
  else if (flags & align_right)
    x = bw - w;
  if (flags & align_vcenter)
    y = (bh - h) / 2;
  else if (flags & align_bottom)
    y = bh - h;
  font.draw(bmp, text, colour, x, y);
}

// ---- the group placeholder -----------------------------------------------------------------------

void draw_group_placeholder(imgbuf4f& target) {
  if (!target.pixels) return;
  if (target.width == 32 && target.height == 32) {
    imgbuf4f_clear(&target);
    return;
  }
  std::unique_ptr<bitmap_t> bmp;
  try {
    bmp = std::make_unique<bitmap_t>(target.width, target.height);
  } catch (const std::bad_alloc&) {
    return;  // no bitmap: the target stays as it was
  }
  draw_text_in(*bmp, font_t(default_gui_font()), u"GROUP", rgb8{}, align_center | align_vcenter);
  for_row_bands(target.height, [&](uint32_t first, uint32_t last) {
    for (uint32_t y = first; y < last; ++y) {
      const uint8_t* src = bmp->row(y);
      float* px = pixel_at(target, 0, y);
      for (uint32_t x = 0; x < target.width; ++x, src += 3, px += 4) {
        px[0] = static_cast<float>(src[2] / 255.0);
        px[1] = static_cast<float>(src[1] / 255.0);
        px[2] = static_cast<float>(src[0] / 255.0);
        px[3] = 1.0f;
      }
    }
  });
}

}  // namespace quorin_engine::text_raster
