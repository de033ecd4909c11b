#include <unistd.h>

#include <filesystem>

#include "codec_test_util.h"

using namespace codec_test;
namespace fs = std::filesystem;

// Each channel value v gives the byte of q = int(v * 255 + 0.5): 255 if bit 8 of q is set, else its low 8 bits.
TEST(PngWrite, RoundTripAndMessages) {
  const fs::path dir = fs::temp_directory_path() / ("quorin_png_write_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const struct cleanup { fs::path p; ~cleanup() { fs::remove_all(p); } } cleanup_dir{dir};
  auto save = [](const fs::path& file, const image_ptr& img, uint32_t with_alpha) {
    char16_t msg[128] = u"?";
    engine_saveimage_png(msg, 128, quorin_engine::from_utf8(file.string()).c_str(), img.get(), with_alpha);
    return quorin_engine::to_utf8(msg);
  };
  const std::pair<float, uint8_t> cases[12] = {{0.5f, 128},  {1.0f, 255},  {1.5f, 255},          {0.0f, 0},
                                               {-0.5f, 255}, {-0.001f, 0}, {511 / 255.0f, 255},  {512 / 255.0f, 0},
                                               {2.01f, 1},   {-1.0f, 255}, {-2.0f, 3},           {std::nanf(""), 0}};
  image_ptr img(imgbuf4f_create(3, 1));
  for (int i = 0; i < 12; ++i) img->pixels[i] = cases[i].first;

  // A non-ASCII name reaches the file system as UTF-8, and an existing file is replaced.
  const fs::path file = dir / "bild-\xc3\xa9t\xc3\xa9.png";
  std::ofstream(file) << "old contents";
  for (uint32_t with_alpha : {0u, 1u}) {
    EXPECT_EQ(save(file, img, with_alpha), "");
    const bytes b = read_file(file.string());
    ASSERT_GT(b.size(), 33u);
    EXPECT_EQ(b[24], 8);                   // bit depth
    EXPECT_EQ(b[25], with_alpha ? 6 : 2);  // colour type
    EXPECT_TRUE(matches(decode(b), 3, 1, [&](uint32_t x, uint32_t) {
      const auto* q = &cases[4 * x];
      return rgba{f8(q[0].second), f8(q[1].second), f8(q[2].second), with_alpha ? f8(q[3].second) : 1.0f};
    })) << with_alpha;
  }

  EXPECT_EQ(save(dir / "no such folder" / "x.png", img, 1), "Could not open output file.");
  // An image libpng refuses (width 0) leaves no file behind and says why.
  message_capture m;
  const std::string message = save(dir / "zero.png", image_ptr(imgbuf4f_create(0, 2)), 1);
  EXPECT_EQ(message.rfind("pnglib error: ", 0), 0u);
  EXPECT_TRUE(!m.lines.empty() && m.lines.back() == message);  // also sent to the debug output
  EXPECT_FALSE(fs::exists(dir / "zero.png"));
}
