// The shared library's interface is the exported C functions alone.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>

namespace {

bool run(const std::string& command, std::string& output) {
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return false;
  char chunk[4096];
  std::size_t n;
  while ((n = fread(chunk, 1, sizeof chunk, pipe)) > 0) output.append(chunk, n);
  return pclose(pipe) == 0;
}

}  // namespace

TEST(SharedLibrary, ExportsOnlyUnmangledCFunctions) {
  const std::string lib = std::string(QUORIN_BINARY_DIR) + "/bin/libquorin_engine.so";
  std::string ignored;
  if (!run("nm --version >/dev/null 2>&1", ignored)) GTEST_SKIP() << "nm is not available";
  if (!std::filesystem::exists(lib)) GTEST_SKIP() << lib << " has not been built";

  std::string listing;
  ASSERT_TRUE(run("nm -D --defined-only '" + lib + "'", listing));
  std::istringstream lines(listing);
  std::string line;
  std::set<std::string> text_symbols;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string address, kind, name;
    if (!(fields >> address >> kind >> name)) continue;
    if (kind == "T" || kind == "t" || kind == "W" || kind == "w" || kind == "i") text_symbols.insert(name);
    EXPECT_NE(name.rfind("_Z", 0), 0u) << "C++ symbol exported: " << name;
  }
  for (const char* expected : {"imgbuf4f_create", "engine_convertline_b8g8r8x8_withalpha", "pool4f_create",
                               "renderctx_shallow_copy", "node_render", "node_remove_all_inputs_for_output"})
    EXPECT_TRUE(text_symbols.count(expected)) << expected;
}
