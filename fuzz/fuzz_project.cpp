// The project reader over arbitrary bytes. A project it reads is written back and read again, and
// the second writing must equal the first: what the writer puts out, the reader takes in whole.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "quorin/quorin.h"

namespace {

std::u16string path_in_tmp(const char* what) {
  const std::string p = "/dev/shm/quorin-fuzz-" + std::to_string(getpid()) + "-" + what + ".xml";
  return std::u16string(p.begin(), p.end());
}

std::string slurp(const std::u16string& path) {
  std::ifstream f(std::string(path.begin(), path.end()), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

const std::u16string input = path_in_tmp("in"), first = path_in_tmp("first"), second = path_in_tmp("second");

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  init();
  std::atexit([] {
    for (const auto* p : {&input, &first, &second}) std::remove(std::string(p->begin(), p->end()).c_str());
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    std::ofstream f(std::string(input.begin(), input.end()), std::ios::binary | std::ios::trunc);
    f.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  qr_project* p = project_create();
  const bool read = project_read_from_file_xml(p, input.c_str()) != 0;
  if (read && project_write_xml_to_file(p, first.c_str())) {
    qr_project* q = project_create();
    if (!project_read_from_file_xml(q, first.c_str())) std::abort();  // the writer's own file
    if (!project_write_xml_to_file(q, second.c_str()) || slurp(first) != slurp(second)) std::abort();
    project_delete(q);
  }
  project_delete(p);
  return 0;
}
