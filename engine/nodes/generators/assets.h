// The asset, mask, text and vector generators: LoadAsset places a project asset in the target,
// Mask draws a white rectangle or ellipse on black, Text draws one line of text through the text
// layer, VectorGraphics draws a fixed path with the small line rasteriser below.
#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "core/imgbuf.h"
#include "core/renderctx.h"
#include "core/text.h"

namespace quorin_engine {

struct shadetree_node_t;

// ---- LoadAsset -----------------------------------------------------------------------------------

enum asset_mode : uint32_t { asset_position_crop = 0, asset_center = 1, asset_resample = 2 };

struct load_asset_params {
  uint32_t mode = asset_position_crop;
  float position_x = 0.0f, position_y = 0.0f;  // 0..1
  float fill[4] = {0.0f, 0.0f, 0.0f, 1.0f};     // alpha always 1
  uint32_t interpolation = 1;                   // 0 nearest, 1 bilinear
};

// The asset index: the `id` parameter, or its time curve's value rounded.
uint32_t fetch_asset_id(const shadetree_node_t& node, const renderctx& ctx);
load_asset_params fetch_load_asset_params(const shadetree_node_t& node, const renderctx& ctx);
// Places `src` in `out`: copied when the sizes agree, else positioned or cropped, centred, or
// resampled (upside down, with the fill colour beyond the edges).
void fill_from_asset(const load_asset_params& p, const imgbuf4f& src, imgbuf4f& out);

// ---- Mask ----------------------------------------------------------------------------------------

enum mask_shape : uint32_t { mask_rectangle = 0, mask_ellipse = 1, mask_triangle = 2 };

struct mask_params {
  uint32_t shape = mask_rectangle;
  float width = 1.0f, height = 1.0f;  // fractions of the image, 0..1
  float angle = 0.0f;                 // radians
  uint32_t supersampling = 0;         // 0 off, 1 2x2, 2 4x4
};

mask_params fetch_mask_params(const shadetree_node_t& node, const renderctx& ctx);
void fill_mask(const mask_params& p, imgbuf4f& out);

// ---- Text ----------------------------------------------------------------------------------------

struct text_params {
  wstring text;
  float color[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  bool position_mode = false;
  uint32_t align_x = 0;  // 0 left, 1 right, 2 centre
  uint32_t align_y = 0;  // 0 top, 1 bottom, 2 centre
  float pos_x = 0.0f, pos_y = 0.0f;
  uint32_t supersampling = 0;
  bool underline = false, strike_through = false;
  bool alpha = false;  // black pixels get alpha 0
};

text_params fetch_text_params(const shadetree_node_t& node, const renderctx& ctx);
// `font_block` is the node's font: used when it holds exactly 256 bytes.
void fill_text(const text_params& p, const std::vector<uint8_t>& font_block, imgbuf4f& out);

// ---- VectorGraphics ------------------------------------------------------------------------------

namespace vectorgraphics {

struct shape_t {
  virtual ~shape_t() = default;
  virtual void draw(imgbuf4f& target, const float colour[4]) const = 0;
};

// Commands of seven words: a kind, then up to six numbers (floats by their bits).
enum command_kind : uint32_t { cmd_move_to = 0, cmd_line_to = 5, cmd_quad_to = 6 };

struct path_t : shape_t {
  std::vector<std::array<uint32_t, 7>> commands;

  ~path_t() override = default;
  void move_to(float x, float y);
  void line_to(float x, float y);
  void quad_to(float cx, float cy, float x, float y);  // flattened into straight segments
  void draw(imgbuf4f& target, const float colour[4]) const override;
};

// A line between two points with y upward from the bottom row; coordinates round half up.
void draw_line(imgbuf4f& target, float x0, float y0, float x1, float y1, const float colour[4]);

}  // namespace vectorgraphics

void fill_vector_graphics(imgbuf4f& out);

void render_LoadAsset(shadetree_node_t& node, const renderctx& ctx);
void render_Mask(shadetree_node_t& node, const renderctx& ctx);
void render_Text(shadetree_node_t& node, const renderctx& ctx);
void render_VectorGraphics(shadetree_node_t& node, const renderctx& ctx);

}  // namespace quorin_engine
