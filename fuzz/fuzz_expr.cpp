// The expression parser and evaluator over arbitrary text. A parsed tree is evaluated with the
// four variables set and unset, and written out again.
#include <sstream>
#include <stdexcept>
#include <string>

#include "core/text.h"
#include "eval/expr/parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quorin_engine;
  using namespace quorin_engine::impl;
  const wstring text = from_utf8(std::string(reinterpret_cast<const char*>(data), size));
  expr_tree_t tree;
  try {
    if (!parse_expression(tree, text)) return 0;
  } catch (const std::runtime_error&) {
    return 0;  // an incomplete formula: the parser's expectation failure
  }
  tree.evaluate({});
  tree.evaluate({{u"_1", 0.5f}, {u"_2", -3.0f}, {u"_3", 1e30f}, {u"_4", 0.0f}});
  std::ostringstream dumped;
  tree.dump(dumped);
  return 0;
}
