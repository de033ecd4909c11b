#include <unistd.h>

#include <cmath>
#include <filesystem>

#include "codec_test_util.h"
#include "codecs/png_common.h"

using namespace codec_test;
namespace fs = std::filesystem;

namespace {

struct temp_dir {
  fs::path path;
  temp_dir() {
    path = fs::temp_directory_path() / ("quorin_png_write_" + std::to_string(::getpid()));
    fs::create_directories(path);
  }
  ~temp_dir() { fs::remove_all(path); }
};

std::string save(const fs::path& file, const imgbuf4f* img, uint32_t with_alpha) {
  const std::u16string p = quorin_engine::from_utf8(file.string());
  char16_t msg[128];
  msg[0] = u'?';
  engine_saveimage_png(msg, 128, p.c_str(), img, with_alpha);
  return quorin_engine::to_utf8(msg);
}

std::vector<uint8_t> read_file(const fs::path& file) {
  std::ifstream f(file, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
}

}  // namespace

TEST(PngWrite, ByteRule) {
  using quorin_engine::png_output_byte;
  EXPECT_EQ(png_output_byte(0.5f), 128);
  EXPECT_EQ(png_output_byte(1.0f), 255);
  EXPECT_EQ(png_output_byte(1.5f), 255);
  EXPECT_EQ(png_output_byte(0.0f), 0);
  EXPECT_EQ(png_output_byte(2.0f), 255);            // q = 510, bit 8 set
  EXPECT_EQ(png_output_byte(511.0f / 255.0f), 255);  // q = 511
  EXPECT_EQ(png_output_byte(512.0f / 255.0f), 0);    // q = 512: wraps
  EXPECT_EQ(png_output_byte(2.01f), 1);              // q = 513
  EXPECT_EQ(png_output_byte(-0.5f), 255);            // q = -127, bit 8 set in two's complement
  EXPECT_EQ(png_output_byte(-0.001f), 0);            // q = 0
  EXPECT_EQ(png_output_byte(-1.0f), 255);            // q = -254 = ...ff02
  EXPECT_EQ(png_output_byte(-2.0f), 3);              // q = -509 = ...fe03: bit 8 clear
  EXPECT_EQ(png_output_byte(std::nanf("")), 0);
}

TEST(PngWrite, RoundTripWithAndWithoutAlpha) {
  temp_dir dir;
  image_ptr img(imgbuf4f_create(5, 3));
  const float values[] = {0.0f, 0.5f, 1.0f, 1.5f, -0.5f, -0.001f, 2.01f, 0.25f};
  for (uint32_t y = 0; y < 3; ++y)
    for (uint32_t x = 0; x < 5; ++x)
      for (int c = 0; c < 4; ++c) quorin_engine::pixel_at(*img, x, y)[c] = values[(x + 2 * y + 3 * c) % 8];

  for (uint32_t with_alpha : {0u, 1u}) {
    const fs::path file = dir.path / (with_alpha ? "rgba.png" : "rgb.png");
    EXPECT_EQ(save(file, img.get(), with_alpha), "");
    const std::vector<uint8_t> bytes = read_file(file);
    ASSERT_GT(bytes.size(), 33u);
    EXPECT_EQ(bytes[24], 8);                       // bit depth
    EXPECT_EQ(bytes[25], with_alpha ? 6 : 2);       // colour type
    image_ptr back = decode(bytes);
    EXPECT_TRUE(matches(back.get(), 5, 3, [&](uint32_t x, uint32_t y) {
      rgba want;
      for (int c = 0; c < 4; ++c) want[c] = f8(quorin_engine::png_output_byte(values[(x + 2 * y + 3 * c) % 8]));
      if (!with_alpha) want[3] = 1.0f;
      return want;
    })) << file;
  }
}

TEST(PngWrite, FailureMessages) {
  temp_dir dir;
  image_ptr img(imgbuf4f_create(2, 2));
  for (int i = 0; i < 16; ++i) img->pixels[i] = 0.5f;

  EXPECT_EQ(save(dir.path / "no such folder" / "x.png", img.get(), 1), "Could not open output file.");

  // A non-ASCII name reaches the file system as UTF-8, and an existing file is replaced.
  const fs::path named = dir.path / "bild-\xc3\xa9t\xc3\xa9.png";
  { std::ofstream(named) << "old contents"; }
  EXPECT_EQ(save(named, img.get(), 0), "");
  EXPECT_TRUE(decode(read_file(named)));

  // An image libpng refuses (width 0) leaves no file behind and says why.
  image_ptr empty(imgbuf4f_create(0, 2));
  const fs::path zero = dir.path / "zero.png";
  message_capture m;
  const std::string message = save(zero, empty.get(), 1);
  EXPECT_EQ(message.rfind("pnglib error: ", 0), 0u) << message;
  EXPECT_TRUE(m.any_starting_with("pnglib error: "));
  EXPECT_FALSE(fs::exists(zero));
}
