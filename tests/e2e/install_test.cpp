// The installed engine as a C host sees it: installed into a fresh prefix, a small C program is
// built against it through pkg-config and through its CMake package, and renders an example.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "command_run.h"

namespace {

using namespace quorin_e2e;

// Runs a shell command line; its output goes to a log that a failure shows.
int sh(const std::string& line, std::string& log) {
  const std::string log_file = scratch("install.log");
  const int status = std::system(("(" + line + ") >" + log_file + " 2>&1").c_str());
  log = read_file(log_file);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST(QuorinInstall, CHostBuildsThroughPkgConfigAndCMakePackage) {
  const fs::path prefix = dir / "prefix", host = fs::path(QUORIN_SOURCE_DIR) / "tests/e2e/host";
  std::string log;
  ASSERT_EQ(sh("cmake --install " QUORIN_BINARY_DIR " --prefix " + prefix.string(), log), 0) << log;

  // What a packager looks for: a versioned library named by its SONAME, the headers, the command
  // (which finds the library beside it), its man page.
  for (const char* file : {"include/quorin/quorin.h", "include/quorin/api.h", "share/man/man1/quorin.1"})
    EXPECT_TRUE(fs::exists(prefix / file)) << file;
  ASSERT_EQ(sh("readelf -d $(find " + prefix.string() + " -name libquorin_engine.so) | grep SONAME", log), 0) << log;
  EXPECT_NE(log.find("[libquorin_engine.so.0]"), std::string::npos) << log;
  ASSERT_EQ(sh("env -u LD_LIBRARY_PATH " + (prefix / "bin/quorin").string() + " --version", log), 0) << log;
  EXPECT_EQ(log.rfind("quorin ", 0), 0u) << log;

  const std::string reference = scratch("reference.png"), via_pc = scratch("via_pc.png"), via_cmake = scratch("via_cmake.png");
  const std::string project = examples + "generators.xml";
  ASSERT_EQ(run("render " + project + " --graph 0 --size 40x30 -o " + reference).status, 0);

  // pkg-config, found through the installed .pc file wherever the prefix is.
  const std::string pc = "PKG_CONFIG_PATH=$(dirname $(find " + prefix.string() + " -name quorin.pc)) ";
  const std::string pc_host = (dir / "host_pc").string();
  ASSERT_EQ(sh("cc -std=c11 -Wall -Werror " + host.string() + "/host.c -o " + pc_host + " $(" + pc +
                   "pkg-config --cflags --libs quorin)",
               log),
            0)
      << log;
  ASSERT_EQ(sh("LD_LIBRARY_PATH=$(" + pc + "pkg-config --variable=libdir quorin) " + pc_host + " " + project + " " +
                   via_pc + " 40 30",
               log),
            0)
      << log;

  // find_package(Quorin) and the imported target Quorin::engine.
  const std::string build = (dir / "host_cmake").string();
  ASSERT_EQ(sh("cmake -S " + host.string() + " -B " + build + " -DCMAKE_PREFIX_PATH=" + prefix.string() +
                   " && cmake --build " + build,
               log),
            0)
      << log;
  ASSERT_EQ(sh(build + "/host " + project + " " + via_cmake + " 40 30", log), 0) << log;

  // Both hosts write the same file the command writes for that node.
  const std::string expected = read_file(reference);
  EXPECT_FALSE(expected.empty());
  EXPECT_EQ(read_file(via_pc), expected);
  EXPECT_EQ(read_file(via_cmake), expected);
  fs::remove_all(prefix);
}
