#include "codec_test_util.h"
#include "codecs/stages.h"

using namespace codec_test;

// What each failed stage reports, and which stages come after it.
TEST(DecodeChain, FailuresAndTheStagesTriedAfterThem) {
  auto cut = [](bytes b, size_t size) { return b.resize(size), b; };
  bytes no_soi = fixture("jpeg_rgb.jpg");
  no_soi[1] = 0xD9;
  const std::string dds_small = "DDS image loader: File too small.", tga_small = "TGA image loader: File too small.",
                    not_dds = "DDS image loader: File is not a DDS file.",
                    colormap = "TGA image loader: Files with colormaps (palettes) are not supported.";
  const std::pair<bytes, std::vector<std::string>> cases[] = {
      // An interlaced PNG ends the chain.
      {fixture("png_interlaced.png"),
       {"create_prepare_png(): PNG is interlaced, which is not supported by this program currently"}},
      // Fewer than 8 bytes (a PNG signature cut short) skip the PNG stage.
      {cut(fixture("png_rgb8.png"), 7), {dds_small, tga_small}},
      // A damaged JPEG reports, and the later stages still see the data. Without its SOI marker the
      // JPEG stage isn't run at all.
      {cut(fixture("jpeg_rgb.jpg"), 2), {"jpeglib error", dds_small, tga_small}},
      {cut(fixture("jpeg_rgb.jpg"), 300), {"jpeglib error", not_dds, colormap}},
      {cut(fixture("jpeg_rgb.jpg"), 1500), {"jpeglib error", not_dds, colormap}},
      {no_soi, {not_dds, colormap}},
      // JPEG XR failures are silent.
      {cut(fixture("jxr_rgb24.jxr"), 600), {not_dds, colormap}},
      // 127 bytes are too few for DDS; its second byte, "D", is a colour map type to TGA.
      {cut(dds_file(2, 2, 0x20000, 0, 8, {0xff, 0, 0, 0}, {}), 127), {dds_small, colormap}},
      {tga_file(1, 1, 32, 0, {1, 2, 3, 4}), {dds_small, "TGA image loader: Unsupported pixel format."}}};
  for (const auto& [data, lines] : cases) {
    message_capture m;
    EXPECT_FALSE(decode(data)) << lines.back();
    EXPECT_EQ(m.lines, lines);
  }
  message_capture m;  // cut inside the image data: libpng's error ends the decode
  EXPECT_FALSE(decode(cut(fixture("png_rgb8.png"), 60)));
  ASSERT_FALSE(m.lines.empty());
  for (const auto& line : m.lines) EXPECT_EQ(line.rfind("pnglib", 0), 0u) << line;
  // CMYK JPEG output isn't converted: an image of the right size, left unfilled, and no message.
  m.lines.clear();
  const image_ptr img = decode(fixture("jpeg_cmyk.jpg"));
  EXPECT_TRUE(img && img->width == 8 && img->height == 8 && m.lines.empty());
  // A width whose 32-bit row stride wraps gets no buffer, so that no stage writes past its end.
  EXPECT_FALSE(image_ptr(quorin_engine::try_create_image(1u << 28, 1)));
}
