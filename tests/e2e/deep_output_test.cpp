// 16-bit PNG and OpenEXR files from the quorin command, read back and compared with the floats the
// engine renders for the same node.
#include <gtest/gtest.h>
#include <png.h>

#include <Imath/half.h>
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "command_run.h"
#include "core/renderctx.h"
#include "quorin/quorin.h"

namespace {

using namespace quorin_e2e;

constexpr uint32_t width = 64, height = 48;
// A horizontal gradient from a colour outside 0..1 in two channels.
const std::string dusk = "render " + examples + "generators.xml --graph dusk --size 64x48 --alpha " +
                         "--set dusk.direction=horizontal --set \"dusk.mincolor-horz=(2.5,-0.5,0.3)\"";

// The floats the engine renders for that node, through its C interface.
std::vector<float> render_dusk() {
  init();
  qr_project* p = project_create();
  const std::string path = examples + "generators.xml";
  EXPECT_TRUE(project_read_from_file_xml(p, std::u16string(path.begin(), path.end()).c_str()));
  qr_node* n = graph_node_at(project_graph_at(p, 1), 0);
  node_set_param_value(n, u"direction", u"horizontal");
  node_set_param_value(n, u"mincolor-horz", u"(2.5,-0.5,0.3)");
  qr_pool4f* pool = pool4f_create(width, height, 8);
  qr_imgbuf4f* target = imgbuf4f_create(width, height);
  const quorin_engine::renderctx ctx{target, false, pool, false, false, false, false, p};
  node_render(n, &ctx);
  std::vector<float> out(imgbuf4f_buf(target), imgbuf4f_buf(target) + width * height * 4);
  imgbuf4f_delete(target);
  pool4f_delete(pool);
  project_delete(p);
  cleanup();
  return out;
}

// Channel values of a 16-bit RGBA PNG, read with libpng.
std::vector<uint16_t> read_png16(const std::string& path, png_byte& depth, png_byte& colour) {
  std::vector<uint16_t> out;
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return out;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (!setjmp(png_jmpbuf(png))) {
    png_init_io(png, f);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    depth = png_get_bit_depth(png, info);
    colour = png_get_color_type(png, info);
    png_bytepp rows = png_get_rows(png, info);
    for (uint32_t y = 0; y < png_get_image_height(png, info); ++y)
      for (std::size_t i = 0; i < png_get_rowbytes(png, info); i += 2)
        out.push_back(uint16_t(rows[y][i] << 8 | rows[y][i + 1]));
  }
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(f);
  return out;
}

// RGBA of an EXR file as floats, and the type of its R channel.
std::vector<float> read_exr(const std::string& path, Imf::PixelType& type, bool& has_alpha) {
  Imf::InputFile file(path.c_str());
  type = file.header().channels().findChannel("R")->type;
  has_alpha = file.header().channels().findChannel("A") != nullptr;
  std::vector<float> out(width * height * 4, -7.0f);
  Imf::FrameBuffer frame;
  const char* names[] = {"R", "G", "B", "A"};
  for (int c = 0; c < 4; ++c)
    frame.insert(names[c], Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(out.data() + c), 16, 16 * width));
  file.setFrameBuffer(frame);
  file.readPixels(0, height - 1);
  return out;
}

// The 16-bit rule written out: q = trunc(v * 65535 + 0.5), 65535 when bit 16 of q is set.
uint16_t expected16(float v) {
  const long long q = static_cast<long long>(std::trunc(double(v) * 65535.0 + 0.5));
  return (q & 0x10000) ? 65535 : uint16_t(q & 0xffff);
}

}  // namespace

TEST(QuorinDeepOutput, SixteenBitPngAndExrHoldTheRenderedValues) {
  const std::vector<float> ref = render_dusk();
  const std::string png16 = scratch("dusk16.png"), half_exr = scratch("dusk.exr"), float_exr = scratch("dusk32.exr");
  ASSERT_EQ(run(dusk + " --depth 16 -o " + png16).status, 0);
  ASSERT_EQ(run(dusk + " -o " + half_exr).status, 0);
  ASSERT_EQ(run(dusk + " --depth 32 -o " + float_exr).status, 0);

  png_byte depth = 0, colour = 0;
  const std::vector<uint16_t> png = read_png16(png16, depth, colour);
  ASSERT_EQ(png.size(), ref.size());
  EXPECT_EQ(depth, 16);
  EXPECT_EQ(colour, PNG_COLOR_TYPE_RGB_ALPHA);

  Imf::PixelType half_type, float_type;
  bool half_alpha = false, float_alpha = false;
  const std::vector<float> halves = read_exr(half_exr, half_type, half_alpha);
  const std::vector<float> floats = read_exr(float_exr, float_type, float_alpha);
  EXPECT_EQ(half_type, Imf::HALF);
  EXPECT_EQ(float_type, Imf::FLOAT);
  EXPECT_TRUE(half_alpha && float_alpha);

  // Corners and the middle: the left column holds values above 1 and below 0.
  bool above = false, below = false;
  for (auto [x, y] : {std::pair{0u, 0u}, {0u, height - 1}, {width - 1, 0u}, {width - 1, height - 1}, {31u, 20u}, {5u, 40u}}) {
    for (uint32_t c = 0; c < 4; ++c) {
      const std::size_t i = (std::size_t(y) * width + x) * 4 + c;
      SCOPED_TRACE("pixel " + std::to_string(x) + "," + std::to_string(y) + " channel " + std::to_string(c));
      above |= ref[i] > 1.0f;
      below |= ref[i] < 0.0f;
      EXPECT_EQ(floats[i], ref[i]);
      EXPECT_EQ(halves[i], float(half(ref[i])));
      EXPECT_EQ(png[i], expected16(ref[i]));
    }
  }
  EXPECT_TRUE(above && below) << "the chosen pixels should include values outside 0..1";

  // Without --alpha no A channel is written.
  const std::string rgb = scratch("rgb.exr");
  ASSERT_EQ(run("render " + examples + "generators.xml --size 8x8 -o " + rgb).status, 0);
  bool alpha = true;
  Imf::InputFile file(rgb.c_str());
  alpha = file.header().channels().findChannel("A") != nullptr;
  EXPECT_FALSE(alpha);
}

TEST(QuorinDeepOutput, DepthsAFormatCannotHoldAreRefused) {
  const std::string render = "render " + examples + "generators.xml --size 8x8 -o ";
  for (const auto& [args, message] : {std::pair<std::string, const char*>{render + scratch("a.exr") + " --depth 8", "EXR"},
                                      {render + scratch("a.png") + " --depth 32", "PNG"},
                                      {render + scratch("a.png") + " --depth 12", "--depth"}}) {
    const result r = run(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
  }
}
