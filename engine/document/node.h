// The node of a graph: one class for all node types.
#pragma once
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>
#include "catalogue/catalogue.h"
#include "core/text.h"
#include "document/curve.h"
#include "eval/expr/expr_tree.h"

namespace quorin_engine {

constexpr uint32_t max_output_connections = 16;

struct supports_caching_dirty_t {
  virtual ~supports_caching_dirty_t() = default;
  virtual bool is_caching_dirty(bool for_thumbnail) const = 0;
  virtual bool dirty() const = 0;
  virtual void reset_dirty() = 0;
};

struct shadetree_node_t : supports_caching_dirty_t {
  uint32_t head_guard = 0xfeedcafe;
  std::unordered_map<wstring, wstring> params;
  std::map<wstring, curve> time_curves;
  std::map<wstring, curve> param_curves;
  std::map<wstring, shadetree_node_t*> input_connections;  // only connected inputs, never null
  std::array<std::vector<shadetree_node_t*>, max_output_connections> output_connections;
  uint32_t type_id = 0;
  bool disabled = false;
  int32_t display_x = 10;
  int32_t display_y = 10;
  int32_t display_w = 175;
  int32_t display_h = 200;
  bool primary_selected = false;
  bool secondary_selected = false;
  bool minimized = false;
  wstring name;
  bool caching_dirty = true;
  bool thumbnail_caching_dirty = true;
  bool dirty_flag = false;                 // changed since the last save
  std::vector<uint8_t> binary_data;        // the binary value; its size is binary_size
  std::shared_ptr<impl::expr_tree_t> expression;
  std::vector<port_spec_t> group_inputs;
  std::vector<port_spec_t> group_outputs;
  std::vector<shadetree_node_t*> group_nodes;  // owned
  std::vector<std::map<wstring, shadetree_node_t*>> group_output_map;
  std::map<wstring, shadetree_node_t*> group_input_map;
  uint32_t tail_guard = 0xcafefeed;

  // A new node of the type, with the catalogue's defaults.
  explicit shadetree_node_t(uint32_t type_id = 0);
  // The copy with connections (node_deep_copy).
  shadetree_node_t(const shadetree_node_t& other);
  // The assignment without connections (node_copy_from_without_connections).
  shadetree_node_t& operator=(const shadetree_node_t& other);
  ~shadetree_node_t() override;

  bool is_caching_dirty(bool for_thumbnail) const override;
  bool dirty() const override { return dirty_flag; }
  void reset_dirty() override { dirty_flag = false; }

  uint32_t binary_size() const { return static_cast<uint32_t>(binary_data.size()); }
  const nodetype_spec_t* spec() const { return find_spec(type_id); }
  // The input and output lists: the catalogue's, or the node's own for a Group.
  const std::vector<port_spec_t>* input_ports() const;
  const std::vector<port_spec_t>* output_ports() const;
  uint32_t output_count() const;
  uint32_t input_count() const;
  shadetree_node_t* connected(const wstring& input_name) const;  // null if not connected
};

// Pushes the caching flags to the node and everything downstream.
void mark_caching_dirty(shadetree_node_t* node);

// Writes the catalogue's defaults of the node's type on top of what it stores (parameter texts,
// default curves for curve parameters).
void apply_catalogue_defaults(shadetree_node_t& node);

// The 256-byte font block of a new Text node: the default GUI font and its size in tenths of a point.
void apply_default_font_block(shadetree_node_t& node);

}  // namespace quorin_engine
