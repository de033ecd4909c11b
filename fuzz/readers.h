// What each fuzz target does with one input, shared with the test suite that replays the inputs of
// faults found earlier (tests/fuzz_regressions). Every reader must come back from any bytes; the
// checks that follow a successful read abort, so that the fuzzer records the input.
#pragma once
#include <unistd.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "catalogue/catalogue.h"
#include "codecs/decode.h"
#include "codecs/stages.h"
#include "core/color.h"
#include "eval/expr/parser.h"
#include "quorin/quorin.h"

namespace quorin_fuzz {

using namespace quorin_engine;

inline wstring text_of(const uint8_t* data, size_t size) {
  return from_utf8(std::string(reinterpret_cast<const char*>(data), size));
}

// The decoder chain: PNG, JPEG, JPEG XR, DDS, TGA.
inline void decode(const uint8_t* data, size_t size) {
  if (size <= UINT32_MAX) imgbuf4f_delete(decode_image(data, static_cast<uint32_t>(size)));
}

// The DDS and TGA loaders alone, whatever the stages before them would say of the bytes.
inline void dds(const uint8_t* data, size_t size) {
  std::string message;
  if (size <= UINT32_MAX) imgbuf4f_delete(dds_load(data, static_cast<uint32_t>(size), message));
}
inline void tga(const uint8_t* data, size_t size) {
  std::string message;
  if (size <= UINT32_MAX) imgbuf4f_delete(tga_load(data, static_cast<uint32_t>(size), message));
}

// The node type document loader, into an emptied catalogue.
inline void nodetypes(const uint8_t* data, size_t size) {
  nodetype_specs().clear();
  generator_categories().clear();
  operator_categories().clear();
  load_nodetype_specs(data, size);
}

// The expression parser; a parsed tree is evaluated with the four variables unset and set, and
// written out.
inline void expr(const uint8_t* data, size_t size) {
  impl::expr_tree_t tree;
  try {
    if (!impl::parse_expression(tree, text_of(data, size))) return;
  } catch (const std::runtime_error&) {
    return;  // an incomplete formula: the parser's expectation failure
  }
  tree.evaluate({});
  tree.evaluate({{u"_1", 0.5f}, {u"_2", -3.0f}, {u"_3", 1e30f}, {u"_4", 0.0f}});
  std::ostringstream dumped;
  tree.dump(dumped);
}

// The colour parser; a colour it reads must read back the same from the text it is written as,
// within the six decimals of that text.
inline void color(const uint8_t* data, size_t size) {
  float c[4], again[4];
  if (!parse_color(text_of(data, size), c)) return;
  if (!parse_color(format_color(c[0], c[1], c[2], c[3]), again)) std::abort();
  for (int i = 0; i < 4; ++i)
    if (std::isfinite(c[i]) && std::fabs(c[i]) < 1e6f && !(std::fabs(again[i] - c[i]) <= 1e-6f)) std::abort();
}

// The reader allocates an embedded asset or a binary value of the `size` its element declares,
// before the data come, as a project file says; a failed allocation raises std::bad_alloc, which
// the sanitizers report as a fault. So documents declaring more than 16 MB, or a size through an
// entity reference or a DTD default, are not read here.
inline bool declares_huge_size(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (text.find("ATTLIST") != std::string_view::npos) return true;
  for (size_t at = text.find("size"); at != std::string_view::npos; at = text.find("size", at + 4)) {
    size_t i = at + 4;
    auto skip_space = [&] {
      while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
    };
    skip_space();
    if (i >= text.size() || text[i] != '=') continue;
    ++i;
    skip_space();
    if (i >= text.size() || (text[i] != '"' && text[i] != '\'')) continue;
    const size_t end = text.find(text[i], i + 1);
    const std::string_view value = text.substr(i + 1, end == std::string_view::npos ? std::string_view::npos : end - i - 1);
    if (value.find('&') != std::string_view::npos) return true;
    uint64_t n = 0;
    for (char c : value)
      if (c >= '0' && c <= '9' && (n = n * 10 + uint64_t(c - '0')) > (16u << 20)) return true;
  }
  return false;
}

// The project reader. A project it reads is written back and read again, and the second writing
// must equal the first: what the writer puts out, the reader takes in whole. The catalogue must be
// loaded (init).
inline void project(const uint8_t* data, size_t size) {
  if (declares_huge_size(data, size)) return;
  static const std::string base =
      (std::filesystem::exists("/dev/shm") ? std::string("/dev/shm") : std::filesystem::temp_directory_path().string()) +
      "/quorin-fuzz-" + std::to_string(getpid());
  static const std::u16string in = from_utf8(base + "-in.xml"), first = from_utf8(base + "-first.xml"),
                              second = from_utf8(base + "-second.xml");
  static const struct cleanup {
    ~cleanup() {
      for (const char* s : {"-in.xml", "-first.xml", "-second.xml"}) std::remove((base + s).c_str());
    }
  } removes_files_at_exit;
  auto slurp = [](const std::u16string& path) {
    std::ifstream f(to_utf8(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
  };
  std::ofstream(to_utf8(in), std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  qr_project* p = project_create();
  if (project_read_from_file_xml(p, in.c_str()) && project_write_xml_to_file(p, first.c_str())) {
    qr_project* q = project_create();
    if (!project_read_from_file_xml(q, first.c_str())) std::abort();  // the writer's own file
    if (!project_write_xml_to_file(q, second.c_str()) || slurp(first) != slurp(second)) std::abort();
    project_delete(q);
  }
  project_delete(p);
}

}  // namespace quorin_fuzz
