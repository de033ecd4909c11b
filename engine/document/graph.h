// A graph: a named, ordered list of owned nodes, a selection and a dirty flag.
#pragma once
#include <cstdint>
#include <vector>
#include "core/text.h"

namespace quorin_engine {

struct shadetree_node_t;

struct graph {
  uint32_t head_guard = 0xeacfbd58;
  wstring name;
  std::vector<shadetree_node_t*> nodes;  // owned; the position is the node's index
  uint8_t dirty = 0;
  shadetree_node_t* primary_selection = nullptr;
  std::vector<shadetree_node_t*> secondary_selections;
  uint32_t tail_guard = 0x58cfeabd;

  graph() = default;
  ~graph();  // deletes all nodes
  graph(const graph&) = delete;
  graph& operator=(const graph&) = delete;

  bool is_dirty() const;  // dirty, or any node dirty
};

}  // namespace quorin_engine
