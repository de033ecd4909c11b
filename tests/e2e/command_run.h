// Runs the quorin command of this build and reads what it writes, for the end-to-end tests.
#pragma once
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace quorin_e2e {

namespace fs = std::filesystem;

inline const std::string examples = QUORIN_SOURCE_DIR "/examples/";
inline const fs::path dir = fs::temp_directory_path() / ("quorin_e2e_" + std::to_string(::getpid()));

struct result { int status; std::string out, err; };

inline std::string scratch(const std::string& name) {
  fs::create_directories(dir);
  return (dir / name).string();
}
inline result run(const std::string& args) {
  const std::string err_file = scratch("stderr");
  result r{-1, {}, {}};
  FILE* p = popen((QUORIN_BINARY_DIR "/bin/quorin " + args + " 2>" + err_file).c_str(), "r");
  if (!p) return r;
  char buf[4096];
  for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) r.out.append(buf, n);
  const int status = pclose(p);
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream e(err_file);
  r.err.assign(std::istreambuf_iterator<char>(e), {});
  return r;
}
inline std::string read_file(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), {});
}

}  // namespace quorin_e2e
