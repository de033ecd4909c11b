// Damaged copies of the fixtures through the decoders: every decode must come back (image or null)
// without reading outside the buffer, which AddressSanitizer makes visible.
// QUORIN_FUZZ_ITERATIONS sets the count per seed file.
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "../common/mutate.h"
#include "codec_test_util.h"
#include "codecs/stages.h"

using namespace codec_test;

// Decoders refuse impossible sizes by failing to allocate; so must the sanitizer's allocator.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

// The shared damage; now and then a header field (within the first 132 bytes) set to a value decoders
// must not trust; mostly, the CRC of every PNG chunk inside the data made right, so that libpng reads on.
bytes damage(const bytes& seed, quorin_test::splitmix64& rng) {
  bytes b = quorin_test::mutate(seed, rng);
  const bool png = seed.size() >= 8 && std::memcmp(seed.data() + 1, "PNG", 3) == 0;
  static const uint32_t values[] = {0, 1, 3, 4, 0x7fff, 0xffff, 0x10000, 0x7fffffff, 0x80000000, 0xffffffff};
  if (rng.below(2) && b.size() >= 4)
    for (size_t i = 0, at = rng.below(std::min<size_t>(b.size(), 132) - 3), v = values[rng.below(10)]; i < 4; ++i)
      b[at + i] = uint8_t(v >> (png ? 24 - 8 * i : 8 * i));
  const bool repair = png && rng.below(4) != 0;
  for (size_t pos = 8, len; repair && pos + 12 <= b.size(); pos += 12 + len) {
    len = size_t(b[pos]) << 24 | b[pos + 1] << 16 | b[pos + 2] << 8 | b[pos + 3];
    if (len > b.size() - pos - 12) break;
    const uint32_t crc = uint32_t(crc32(0, b.data() + pos + 4, uint32_t(len + 4)));
    for (int i = 0; i < 4; ++i) b[pos + 8 + len + i] = uint8_t(crc >> (24 - 8 * i));
  }
  return b;
}

}  // namespace

TEST(DecoderFuzz, DamagedFilesNeverCrash) {
  bytes px(144);  // seeds for formats that no tool wrote for us
  for (size_t i = 0; i < px.size(); ++i) px[i] = uint8_t(i * 7);
  std::vector<bytes> seeds = {dds_file(8, 8, 0x4, 0x33545844 /* DXT3 */, 0, {}, px), dds_file(3, 3, 0x4, 116, 0, {}, px),
                              dds_file(6, 5, 0x20000, 0, 8, {0xff, 0, 0, 0}, px), dds_file(4, 2, 0x4, 36, 0, {}, px),
                              dds_file(5, 3, 0x41, 0, 16, {0xf00, 0xf0, 0xf, 0xf000}, px), tga_file(5, 3, 16, 0x31, px)};
  for (const auto& entry : std::filesystem::directory_iterator(fixture_path("")))
    if (const std::string name = entry.path().filename().string();
        name.find(".ref.") == std::string::npos && entry.path().extension() != ".py")
      seeds.push_back(fixture(name));
  ASSERT_GT(seeds.size(), 30u);

  const char* env = std::getenv("QUORIN_FUZZ_ITERATIONS");
  const uint32_t iterations = env ? uint32_t(std::strtoul(env, nullptr, 10)) : 120;
  quorin_test::splitmix64 rng{0x5eed};
  uint64_t decoded = 0;
  for (const bytes& seed : seeds)
    for (uint32_t i = 0; i < iterations; ++i) {
      const bytes b = damage(seed, rng);
      const std::unique_ptr<uint8_t[]> exact(new uint8_t[b.size() + b.empty()]);  // exact: no slack
      std::memcpy(exact.get(), b.data(), b.size());
      const uint32_t size = uint32_t(b.size());
      decoded += image_ptr(quorin_engine::decode_image(exact.get(), size)) != nullptr;
      std::string message;  // the loaders also directly, whatever the earlier stages say
      imgbuf4f_delete(quorin_engine::dds_load(exact.get(), size, message));
      imgbuf4f_delete(quorin_engine::tga_load(exact.get(), size, message));
    }
  // Some damaged files still decode (flipped pixel bits), most do not.
  EXPECT_GT(decoded, 0u);
  EXPECT_LT(decoded, seeds.size() * iterations);
}
