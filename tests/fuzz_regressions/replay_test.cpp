// Inputs that made a reader fail under the fuzzers (a crash, a sanitizer report, minutes of work
// for a few bytes), replayed through the same reader as their fuzz target: fuzz_regressions/TARGET/*.
// Each must come back, and quickly; the sanitizer build of this suite shows any memory fault.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "../../fuzz/readers.h"

namespace fs = std::filesystem;

namespace {

using reader = void (*)(const uint8_t*, size_t);
const std::map<std::string, reader> readers = {
    {"project", quorin_fuzz::project}, {"decode", quorin_fuzz::decode}, {"dds", quorin_fuzz::dds},
    {"tga", quorin_fuzz::tga},         {"nodetypes", quorin_fuzz::nodetypes}, {"expr", quorin_fuzz::expr},
    {"color", quorin_fuzz::color}};

}  // namespace

TEST(FuzzRegressions, EveryInputComesBackQuickly) {
  init();
  // The node type loader empties the catalogue; it is put back afterwards.
  const auto specs = quorin_engine::nodetype_specs();
  const auto generators = quorin_engine::generator_categories(), operators = quorin_engine::operator_categories();
  uint32_t replayed = 0;
  for (const auto& folder : fs::directory_iterator(QUORIN_SOURCE_DIR "/tests/fuzz_regressions")) {
    if (!folder.is_directory()) continue;
    const auto it = readers.find(folder.path().filename().string());
    ASSERT_NE(it, readers.end()) << "no reader for " << folder.path();
    for (const auto& file : fs::directory_iterator(folder.path())) {
      std::ifstream in(file.path(), std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(in), {}};
      const auto start = std::chrono::steady_clock::now();
      it->second(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      // Seconds of work for a file this small means the reader loops over what the file only
      // claims to hold.
      EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 1.0) << file.path();
      ++replayed;
    }
  }
  quorin_engine::nodetype_specs() = specs;
  quorin_engine::generator_categories() = generators;
  quorin_engine::operator_categories() = operators;
  EXPECT_GT(replayed, 0u);
}
