// Test support: a fixed-seed generator and byte-level damage for the files that readers and
// decoders are fed, so that every run sees the same damaged copies.
#pragma once
#include <algorithm>
#include <cstdint>
#include <string>

namespace quorin_test {

struct splitmix64 {
  uint64_t state;
  uint64_t next() {
    uint64_t z = (state += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  uint64_t below(uint64_t n) { return n ? next() % n : 0; }  // 0 when n is 0
};

// One to three edits of a byte container (std::string, std::vector<uint8_t>): bits flipped, cut
// short, a span of up to 400 bytes repeated, removed or moved, or a byte replaced by one of
// `specials`, characters that matter to the format.
template <class Bytes>
Bytes mutate(Bytes b, splitmix64& rng, const std::string& specials = "") {
  using T = typename Bytes::value_type;
  for (uint64_t s = 0, steps = 1 + rng.below(3); s < steps && !b.empty(); ++s) {
    const std::size_t n = b.size(), at = rng.below(n), len = 1 + rng.below(std::min<std::size_t>(n, 400));
    const Bytes span(b.begin() + at, b.begin() + std::min(n, at + len));
    const uint64_t kind = rng.below(specials.empty() ? 5 : 6);
    switch (kind) {
      case 0:
        for (uint64_t k = 0, m = 1 + rng.below(8); k < m; ++k) b[rng.below(n)] ^= T(1u << rng.below(8));
        break;
      case 1: b.resize(at); break;
      case 2: b.insert(b.begin() + rng.below(n + 1), span.begin(), span.end()); break;
      case 3:
      case 4:
        b.erase(b.begin() + at, b.begin() + at + span.size());
        if (kind == 4) b.insert(b.begin() + rng.below(b.size() + 1), span.begin(), span.end());
        break;
      default: b[at] = T(specials[rng.below(specials.size())]);
    }
  }
  return b;
}

}  // namespace quorin_test
