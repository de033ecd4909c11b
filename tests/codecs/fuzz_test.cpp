// Feeds the decoders thousands of damaged copies of the fixtures: cut short, bits flipped, header
// fields overwritten, PNG chunks with their checksums repaired so that libpng reads on. Every
// decode must come back (image or null) without reading outside the buffer; run under
// AddressSanitizer to make that visible. QUORIN_FUZZ_ITERATIONS sets the count per seed file.
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "codec_test_util.h"
#include "codecs/stages.h"

using namespace codec_test;

// Decoders refuse impossible sizes by failing to allocate; let the sanitizer's allocator fail the
// same way instead of stopping the run.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

struct splitmix64 {
  uint64_t state;
  uint64_t next() {
    uint64_t z = (state += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  uint32_t below(uint64_t n) { return n ? uint32_t(next() % n) : 0; }
};

bool is_png(const std::vector<uint8_t>& b) {
  static const uint8_t sig[8] = {0x89, 'P', 'N', 'G', 0x0d, 0x0a, 0x1a, 0x0a};
  return b.size() >= 8 && std::memcmp(b.data(), sig, 8) == 0;
}

// Recomputes the CRC of every chunk that lies wholly inside the data.
void repair_png_crcs(std::vector<uint8_t>& b) {
  size_t pos = 8;
  while (pos + 12 <= b.size()) {
    const uint32_t len = uint32_t(b[pos]) << 24 | uint32_t(b[pos + 1]) << 16 | uint32_t(b[pos + 2]) << 8 | b[pos + 3];
    if (len > b.size() - pos - 12) break;
    const uint32_t crc = uint32_t(crc32(0, b.data() + pos + 4, len + 4));
    for (int i = 0; i < 4; ++i) b[pos + 8 + len + i] = uint8_t(crc >> (24 - 8 * i));
    pos += 12 + len;
  }
}

std::vector<uint8_t> mutate(const std::vector<uint8_t>& seed, splitmix64& rng) {
  std::vector<uint8_t> b = seed;
  const uint32_t mode = rng.below(5);
  if (mode == 0) {
    b.resize(rng.below(b.size()));
    return b;
  }
  const uint32_t flips = 1 + rng.below(4);
  for (uint32_t i = 0; i < flips && !b.empty(); ++i) b[rng.below(b.size())] ^= uint8_t(1u << rng.below(8));
  if (mode == 2 && b.size() >= 4) {
    // A header field set to a value decoders must not trust; mostly within the first 128 bytes.
    static const uint32_t values[] = {0, 1, 3, 4, 0x7fff, 0xffff, 0x10000, 0x7fffffff, 0x80000000, 0xffffffff};
    const size_t at = rng.below(std::min<size_t>(b.size(), 132) - 3);
    const uint32_t v = values[rng.below(std::size(values))];
    const bool big_endian = is_png(seed);
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (big_endian ? 24 - 8 * i : 8 * i));
  }
  if ((mode == 2 || mode == 3) && is_png(seed)) repair_png_crcs(b);
  if (mode == 4) b.resize(rng.below(b.size() + 1));
  return b;
}

// Seeds beyond the fixture files: formats that no tool wrote for us.
std::vector<std::vector<uint8_t>> built_seeds() {
  std::vector<std::vector<uint8_t>> seeds;
  auto dds = [&](uint32_t w, uint32_t h, uint32_t flags, uint32_t fourcc, uint32_t bits,
                 std::array<uint32_t, 4> masks, size_t payload) {
    std::vector<uint8_t> f(128 + payload, 0x5a);
    std::memset(f.data(), 0, 128);
    std::memcpy(f.data(), "DDS ", 4);
    put32(f, 4, 124);
    put32(f, 12, h);
    put32(f, 16, w);
    put32(f, 76, 32);
    put32(f, 80, flags);
    put32(f, 84, fourcc);
    put32(f, 88, bits);
    for (int i = 0; i < 4; ++i) put32(f, 92 + 4 * i, masks[i]);
    for (size_t i = 128; i < f.size(); ++i) f[i] = uint8_t(i * 7);
    seeds.push_back(f);
  };
  dds(8, 8, 0x4, 0x33545844 /* DXT3 */, 0, {}, 64);
  dds(6, 5, 0x20000, 0, 8, {0xff, 0, 0, 0}, 30);
  dds(5, 3, 0x41, 0, 16, {0xf00, 0xf0, 0xf, 0xf000}, 30);
  dds(3, 3, 0x4, 116, 0, {}, 144);
  dds(4, 2, 0x4, 36, 0, {}, 64);
  std::vector<uint8_t> tga(18 + 2 * 5 * 3, 0x33);
  std::memset(tga.data(), 0, 18);
  tga[2] = 2;
  put16(tga, 12, 5);
  put16(tga, 14, 3);
  tga[16] = 16;
  tga[17] = 0x31;
  seeds.push_back(tga);
  return seeds;
}

}  // namespace

TEST(DecoderFuzz, DamagedFilesNeverCrash) {
  std::vector<std::vector<uint8_t>> seeds = built_seeds();
  for (const auto& entry : std::filesystem::directory_iterator(fixture_path(""))) {
    const std::string name = entry.path().filename().string();
    const std::string ext = entry.path().extension().string();
    if (name.find(".ref.") != std::string::npos || ext == ".py") continue;
    if (const char* only = std::getenv("QUORIN_FUZZ_ONLY"); only && name.find(only) == std::string::npos) continue;
    seeds.push_back(read_fixture(name));
  }
  if (!std::getenv("QUORIN_FUZZ_ONLY")) {
    ASSERT_GT(seeds.size(), 30u);
  }

  uint32_t iterations = 120;
  if (const char* env = std::getenv("QUORIN_FUZZ_ITERATIONS")) iterations = uint32_t(std::strtoul(env, nullptr, 10));

  splitmix64 rng{0x5eed};
  if (const char* env = std::getenv("QUORIN_FUZZ_SEED")) rng.state = std::strtoull(env, nullptr, 10);
  uint64_t decoded = 0, total = 0;
  for (const auto& seed : seeds) {
    for (uint32_t i = 0; i < iterations; ++i) {
      const std::vector<uint8_t> bytes = mutate(seed, rng);
      // An exact-size copy, so that a read past the end leaves the allocation.
      std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size() + (bytes.empty() ? 1 : 0)]);
      std::memcpy(exact.get(), bytes.data(), bytes.size());
      const uint32_t size = uint32_t(bytes.size());

      image_ptr img(quorin_engine::decode_image(exact.get(), size));
      if (img) ++decoded;
      std::string message;
      image_ptr dds(quorin_engine::dds_load(exact.get(), size, message));
      image_ptr tga(quorin_engine::tga_load(exact.get(), size, message));
      ++total;
    }
  }
  // Some damaged files still decode (flipped pixel bits), most do not.
  EXPECT_GT(decoded, 0u);
  EXPECT_LT(decoded, total);
  std::printf("%llu damaged inputs from %zu seed files, %llu still decoded\n",
              static_cast<unsigned long long>(total), seeds.size(), static_cast<unsigned long long>(decoded));
}
