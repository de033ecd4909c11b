// The shared library's interface is the exported C functions alone.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>

TEST(SharedLibrary, ExportsOnlyUnmangledCFunctions) {
  const std::string lib = std::string(QUORIN_BINARY_DIR) + "/bin/libquorin_engine.so";
  if (!std::filesystem::exists(lib)) GTEST_SKIP() << lib << " has not been built";
  FILE* pipe = popen(("nm -D --defined-only -j '" + lib + "' 2>/dev/null").c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::set<std::string> names;
  for (char line[1024]; fgets(line, sizeof line, pipe);) names.insert(std::string(line, strcspn(line, "@\n")));
  if (pclose(pipe) != 0 || names.empty()) GTEST_SKIP() << "nm is not available";
  for (const std::string& name : names) EXPECT_NE(name.rfind("_Z", 0), 0u) << "C++ symbol exported: " << name;
  for (const char* expected : {"imgbuf4f_create", "engine_convertline_b8g8r8x8_withalpha", "pool4f_create",
                               "renderctx_shallow_copy", "node_render", "node_remove_all_inputs_for_output"})
    EXPECT_TRUE(names.count(expected)) << expected;
}
