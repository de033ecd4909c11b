// Feeds the decoders damaged copies of the fixtures. Every decode must come back (image or null)
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

// Decoders refuse impossible sizes by failing to allocate; let the sanitizer's allocator fail the
// same way instead of stopping the run.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

// The shared damage; then, now and then, a header field set to a value decoders must not trust
// (mostly within the first 128 bytes), and the CRC of every PNG chunk that lies wholly inside the
// data made right again, so that libpng reads on.
bytes damage(const bytes& seed, quorin_test::splitmix64& rng) {
  bytes b = quorin_test::mutate(seed, rng);
  const bool png = seed.size() >= 8 && std::memcmp(seed.data() + 1, "PNG", 3) == 0;
  if (rng.below(2) && b.size() >= 4) {
    static const uint32_t values[] = {0, 1, 3, 4, 0x7fff, 0xffff, 0x10000, 0x7fffffff, 0x80000000, 0xffffffff};
    const size_t at = rng.below(std::min<size_t>(b.size(), 132) - 3);
    const uint32_t v = values[rng.below(std::size(values))];
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (png ? 24 - 8 * i : 8 * i));
  }
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
  // Seeds beyond the fixture files: formats that no tool wrote for us.
  bytes px(144);  // longer than most of them need
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
  uint64_t decoded = 0, total = 0;
  for (const bytes& seed : seeds)
    for (uint32_t i = 0; i < iterations; ++i, ++total) {
      const bytes b = damage(seed, rng);
      // An exact-size copy, so that a read past the end leaves the allocation.
      const std::unique_ptr<uint8_t[]> exact(new uint8_t[b.size() + b.empty()]);
      std::memcpy(exact.get(), b.data(), b.size());
      const uint32_t size = uint32_t(b.size());
      decoded += image_ptr(quorin_engine::decode_image(exact.get(), size)) != nullptr;
      std::string message;
      const image_ptr dds(quorin_engine::dds_load(exact.get(), size, message)),
          tga(quorin_engine::tga_load(exact.get(), size, message));
    }
  // Some damaged files still decode (flipped pixel bits), most do not.
  EXPECT_GT(decoded, 0u);
  EXPECT_LT(decoded, total);
}
