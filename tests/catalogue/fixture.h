// Shared helpers of the catalogue tests. The catalogue vectors are process-wide: every test that
// loads a document of its own starts and ends with them empty.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "catalogue/catalogue.h"
#include "document/node.h"

namespace quorin_test {

using namespace quorin_engine;

inline void clear_catalogue() {
  nodetype_specs().clear();
  generator_categories().clear();
  operator_categories().clear();
}

inline void load(const std::string& xml) {
  load_nodetype_specs(reinterpret_cast<const unsigned char*>(xml.data()), xml.size());
}

// The engine's own document, loaded alone (as init would, without building any tables).
inline void load_engine_document() {
  clear_catalogue();
  load_nodetype_specs(nodetypespecs_resource + 3, nodetypespecs_resource_size - 3);
}

// Text out of a query, from a buffer filled with junk beforehand.
template <typename F>
std::u16string text_of(F&& query, int32_t cap = 256) {
  std::u16string buf(static_cast<std::size_t>(std::max(cap, 1)), u'#');
  query(buf.data(), cap);
  return std::u16string(buf.c_str());
}

// Two generator and two operator categories, ahead of the specs of each test.
inline const char* const document_head = R"(<?xml version="1.0" encoding="utf-8"?>
<nodetype-specs xmlns="http://quorin.invalid/schema/procgen-nodetypespec">
  <version>1</version>
  <categories>
    <generator-categories>
      <category name="Simple"><description>Plain values</description></category>
      <category name="Noise"><description>Random things</description></category>
      <category name="Misc"/>
    </generator-categories>
    <operator-categories>
      <category name="Simple"/>
      <category name="Blend"><description>Mixing</description></category>
    </operator-categories>
  </categories>
)";
inline const char* const document_tail = "</nodetype-specs>\n";

inline std::string document(const std::string& specs) { return document_head + specs + document_tail; }

class CatalogueTest : public ::testing::Test {
 protected:
  void SetUp() override { clear_catalogue(); }
  void TearDown() override { clear_catalogue(); }
};

}  // namespace quorin_test
