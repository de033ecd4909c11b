// Reads a project file into an existing project: a state machine over libxml2's SAX events that
// builds graphs, nodes, connections and assets as they come. Whatever the machine cannot use
// (unknown types, children of dropped objects, points without an item, connections to nowhere)
// is dropped; the rest of the file is read as usual.
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "catalogue/catalogue.h"
#include "codecs/decode.h"
#include "core/text.h"
#include "document/asset.h"
#include "document/curve.h"
#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "persistence/base64.h"
#include "quorin/asset.h"
#include "quorin/graph.h"
#include "quorin/node.h"
#include "quorin/project.h"

namespace quorin_engine {
namespace impl {
namespace {

// Node blobs only ever hold the 256-byte font block; a larger size in a file is treated as no size.
constexpr uint64_t max_node_blob = 1u << 20;

bool name_is(const xmlChar* name, const char* expected) {
  std::size_t n = std::char_traits<char>::length(expected);
  return std::strncmp(reinterpret_cast<const char*>(name), expected, n) == 0;
}

// Attribute values pass through one static buffer of 256 characters on their way to a number; a
// value that does not fit leaves the buffer empty, which reads as 0.
wstring attribute_scratch;

struct attributes_t {
  const xmlChar** list;
  int count;

  // The value of the attribute of that local name in no namespace, if present.
  bool get(const char* name, wstring& out) const {
    for (int i = 0; i < count; ++i) {
      const xmlChar* const* a = list + 5 * i;
      if (a[2] != nullptr) continue;
      if (std::strcmp(reinterpret_cast<const char*>(a[0]), name) != 0) continue;
      out = from_utf8(std::string(reinterpret_cast<const char*>(a[3]), reinterpret_cast<const char*>(a[4])));
      return true;
    }
    return false;
  }
  bool has(const char* name) const {
    wstring unused;
    return get(name, unused);
  }
};

int32_t to_number(const wstring& value) {
  attribute_scratch = value.size() < 256 ? value : wstring();
  return text_to_int(attribute_scratch);
}

// Sizes and indices that parse negative are taken as the length of their text.
uint32_t to_count(const wstring& value) {
  int32_t v = to_number(value);
  return v < 0 ? static_cast<uint32_t>(value.size()) : static_cast<uint32_t>(v);
}

float to_float(const wstring& value) {
  attribute_scratch = value.size() < 256 ? value : wstring();
  return static_cast<float>(text_to_double(attribute_scratch));
}

wstring trim(const wstring& s) {
  auto ws = [](char16_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  std::size_t b = 0, e = s.size();
  while (b < e && ws(s[b])) ++b;
  while (e > b && ws(s[e - 1])) --e;
  return s.substr(b, e - b);
}

class project_content_handler_t {
 public:
  explicit project_content_handler_t(project& p) : project_(p) {}
  ~project_content_handler_t() {
    // Objects under construction when a parse fails are not part of the project.
    delete current_graph_;
    delete current_node_;
    delete current_asset_;
  }

  void start_element(const xmlChar* name, const attributes_t& attrs) {
    switch (state_) {
      case 0:
        if (name_is(name, "project")) state_ = 1;
        break;
      case 1:
        if (name_is(name, "version")) state_ = 2;
        else if (name_is(name, "settings")) state_ = 3;
        else if (name_is(name, "graphs")) state_ = 4;
        else if (name_is(name, "assets")) state_ = 5;
        break;
      case 3:
        if (name_is(name, "setting")) start_setting(attrs);
        break;
      case 4:
        if (name_is(name, "graph")) {
          delete current_graph_;
          current_graph_ = new graph();
          wstring n;
          if (attrs.get("name", n)) current_graph_->name = n;
          state_ = 7;
        }
        break;
      case 5:
        if (name_is(name, "asset")) start_asset(attrs);
        break;
      case 7:
        if (name_is(name, "nodes")) state_ = 8;
        else if (name_is(name, "node-conns")) state_ = 9;
        break;
      case 8:
        if (name_is(name, "node")) start_node(attrs);
        break;
      case 9:
        if (name_is(name, "input-conns")) state_ = 18;
        break;
      case 10:
        if (name_is(name, "params")) state_ = 11;
        break;
      case 11:
        if (name_is(name, "param")) start_param(attrs);
        break;
      case 12:
        if (name_is(name, "binary")) {
          start_binary(attrs);
          state_ = 13;
        } else if (name_is(name, "curve")) {
          current_curve_ = std::make_unique<curve>();
          wstring d;
          if (attrs.get("disabled", d) && d == u"true") current_curve_->enabled = false;
          state_ = 15;
        }
        break;
      case 13:
        if (name_is(name, "data")) state_ = 14;
        break;
      case 15:
        if (name_is(name, "item")) {
          start_item(attrs);
          state_ = 16;
        }
        break;
      case 16:
        if (name_is(name, "point")) {
          start_point(attrs);
          state_ = 17;
        }
        break;
      case 18:
        if (name_is(name, "input-conn")) start_input_conn(attrs);
        break;
      case 19:
        if (!current_asset_) break;  // children of a dropped asset
        if (current_asset_->linkage == 0 && name_is(name, "path")) {
          state_ = 20;
        } else if (current_asset_->linkage == 1 && name_is(name, "embedded")) {
          wstring size;
          if (attrs.get("size", size)) {
            // Zeroed, so that data shorter than the size leaves the same bytes on every read.
            uint32_t n = to_count(size);
            delete[] current_asset_->data;
            current_asset_->data = new uint8_t[n ? n : 1]();
            current_asset_->data_size = n;
            current_asset_->data_write_pos = 0;
          }
          state_ = 21;
        }
        break;
      case 21:
        if (name_is(name, "data")) state_ = 22;
        break;
      default:
        break;
    }
  }

  void end_element(const xmlChar* name) {
    switch (state_) {
      case 1:
        if (name_is(name, "project")) state_ = 0;
        break;
      case 2:
        if (name_is(name, "version")) {
          text_.clear();
          state_ = 1;
        }
        break;
      case 3:
        if (name_is(name, "settings")) state_ = 1;
        break;
      case 4:
        if (name_is(name, "graphs")) state_ = 1;
        break;
      case 5:
        if (name_is(name, "assets")) state_ = 1;
        break;
      case 6:
        if (name_is(name, "setting")) state_ = 3;
        break;
      case 7:
        if (name_is(name, "graph")) {
          if (current_graph_) project_append_graph(&project_, current_graph_);
          current_graph_ = nullptr;
          state_ = 4;
        }
        break;
      case 8:
        if (name_is(name, "nodes")) state_ = 7;
        break;
      case 9:
        if (name_is(name, "node-conns")) state_ = 7;
        break;
      case 10:
        if (name_is(name, "node")) {
          if (current_node_ && current_graph_) graph_add_node(current_graph_, current_node_);
          else delete current_node_;
          current_node_ = nullptr;
          state_ = 8;
        }
        break;
      case 11:
        if (name_is(name, "params")) {
          if (current_node_) current_node_->params = pending_params_;
          pending_params_.clear();
          state_ = 10;
        }
        break;
      case 12:
        if (name_is(name, "param")) state_ = 11;
        break;
      case 13:
        if (name_is(name, "binary")) state_ = 12;
        break;
      case 14:
        if (name_is(name, "data")) {
          uint8_t* blob = current_node_ ? current_node_->binary_data.data() : nullptr;
          uint64_t size = current_node_ ? current_node_->binary_data.size() : 0;
          base64_.finish(blob, size, blob_write_pos_);
          state_ = 13;
        }
        break;
      case 15:
        if (name_is(name, "curve")) {
          attach_curve();
          state_ = 12;
        }
        break;
      case 16:
        if (name_is(name, "item")) state_ = 15;
        break;
      case 17:
        if (name_is(name, "point")) state_ = 16;
        break;
      case 18:
        if (name_is(name, "input-conns")) state_ = 9;
        break;
      case 19:
        if (name_is(name, "asset")) {
          if (current_asset_) assets_add(&project_.assets, current_asset_, 0);
          current_asset_ = nullptr;
          state_ = 5;
        }
        break;
      case 20:
        if (name_is(name, "path")) {
          if (current_asset_) current_asset_->filepath = trim(text_);
          text_.clear();
          state_ = 19;
        }
        break;
      case 21:
        if (name_is(name, "embedded")) state_ = 19;
        break;
      case 22:
        if (name_is(name, "data")) {
          if (current_asset_) {
            base64_.finish(current_asset_->data, current_asset_->data ? current_asset_->data_size : 0,
                           current_asset_->data_write_pos);
            if (current_asset_->data) {
              imgbuf4f* image = decode_image(current_asset_->data, static_cast<uint32_t>(current_asset_->data_size));
              asset_set_imgbuf(current_asset_, image);
            }
          }
          base64_.text.clear();
          state_ = 21;
        }
        break;
      default:
        break;
    }
  }

  void characters(const xmlChar* chars, int len) {
    if (state_ != 14 && state_ != 20 && state_ != 22) return;
    wstring run = from_utf8(std::string(reinterpret_cast<const char*>(chars), static_cast<std::size_t>(len)));
    if (state_ == 20) {
      text_ += run;
    } else if (state_ == 14) {
      uint8_t* blob = current_node_ ? current_node_->binary_data.data() : nullptr;
      uint64_t size = current_node_ ? current_node_->binary_data.size() : 0;
      base64_.feed(run.data(), run.size(), blob, size, blob_write_pos_);
    } else if (current_asset_) {
      base64_.feed(run.data(), run.size(), current_asset_->data, current_asset_->data ? current_asset_->data_size : 0,
                   current_asset_->data_write_pos);
    }
  }

 private:
  void start_setting(const attributes_t& attrs) {
    wstring name, value;
    if (attrs.get("name", name) && attrs.get("value", value) && !name.empty()) project_.settings[name] = value;
    state_ = 6;
  }

  void drop_node() {
    delete current_node_;
    current_node_ = nullptr;
    pending_params_.clear();
  }

  void start_node(const attributes_t& attrs) {
    state_ = 10;
    delete current_node_;
    current_node_ = nullptr;
    blob_write_pos_ = 0;  // each node's binary value is written from its start
    wstring idx, type;
    if (!attrs.get("idx", idx) || to_number(idx) < 0 || !attrs.get("type", type)) return drop_node();
    current_node_ = node_create_by_type_name(type.c_str());
    if (!current_node_) return drop_node();  // a type this engine does not know
    wstring disabled;
    if (attrs.get("disabled", disabled)) {
      wstring lower = disabled;
      for (char16_t& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char16_t>(c - 'A' + 'a');
      if (lower == u"true") current_node_->disabled = true;
    }
    wstring display;
    if (!attrs.get("display", display)) return drop_node();
    int32_t rect[4];
    std::size_t at = 0;
    for (int k = 0; k < 3; ++k) {
      std::size_t comma = display.find(u',', at);
      if (comma == wstring::npos) return drop_node();
      rect[k] = to_number(display.substr(at, comma - at));
      at = comma + 1;
    }
    rect[3] = to_number(display.substr(at));
    if (rect[0] >= 0) current_node_->display_x = rect[0];
    if (rect[1] >= 0) current_node_->display_y = rect[1];
    if (rect[2] >= 0) current_node_->display_w = rect[2];
    if (rect[3] >= 0) current_node_->display_h = rect[3];
    current_node_->dirty_flag = true;
    wstring name;
    if (attrs.get("name", name)) current_node_->name = name;
  }

  void start_param(const attributes_t& attrs) {
    wstring name;
    if (!attrs.get("name", name)) return;  // the content is read at this level
    current_param_name_ = name;
    wstring value;
    if (attrs.get("value", value)) pending_params_[name] = value;
    state_ = 12;
  }

  void start_binary(const attributes_t& attrs) {
    wstring size;
    if (!current_node_ || !attrs.get("size", size)) return;
    uint32_t n = to_count(size);
    current_node_->binary_data.clear();
    if (n <= max_node_blob) current_node_->binary_data.assign(n, 0);
    blob_write_pos_ = 0;
  }

  void start_item(const attributes_t& attrs) {
    point_index_ = 0;
    wstring type;
    if (!current_curve_ || !attrs.get("type", type)) return;
    curve_item item;
    for (auto& p : item.points) p[0] = p[1] = 0.0f;
    item.points[1][0] = item.points[1][1] = 1.0f;
    item.type = type == u"bezier" ? curve_item_bezier : curve_item_line;
    current_curve_->items.push_back(item);
  }

  void start_point(const attributes_t& attrs) {
    wstring x, y;
    if (!attrs.get("x", x)) return;
    bool has_y = attrs.get("y", y);
    // Points beyond an item's five, or with no item at all, are dropped.
    if (!current_curve_ || current_curve_->items.empty() || point_index_ >= 5) {
      if (has_y) ++point_index_;
      return;
    }
    curve_item& item = current_curve_->items.back();
    item.points[point_index_][0] = to_float(x);
    if (has_y) {
      item.points[point_index_][1] = to_float(y);
      ++point_index_;
    }
  }

  void attach_curve() {
    std::unique_ptr<curve> c = std::move(current_curve_);
    if (!c || !current_node_) return;
    const param_spec_t* p = find_param(find_spec(current_node_->type_id), current_param_name_);
    if (!p) return;
    if (p->curveable) current_node_->time_curves[current_param_name_] = *c;
    else if (p->type == param_curve) current_node_->param_curves[current_param_name_] = *c;
  }

  // True if `node` is `from` or is fed by it through any chain of connections. Pushing the caching
  // flags downstream never ends on a cycle, so a damaged file must not make one.
  static bool downstream_of(const shadetree_node_t* from, const shadetree_node_t* node) {
    std::vector<const shadetree_node_t*> todo{from};
    std::unordered_set<const shadetree_node_t*> seen;
    while (!todo.empty()) {
      const shadetree_node_t* n = todo.back();
      todo.pop_back();
      if (n == node) return true;
      if (!seen.insert(n).second) continue;
      for (const auto& list : n->output_connections)
        for (const shadetree_node_t* consumer : list)
          if (consumer) todo.push_back(consumer);
    }
    return false;
  }

  void start_input_conn(const attributes_t& attrs) {
    wstring node_idx, input_name, conn_idx;
    if (!attrs.get("node-idx", node_idx) || !attrs.get("input-name", input_name) ||
        !attrs.get("conn-node-idx", conn_idx) || !current_graph_)
      return;
    uint32_t consumer_at = to_count(node_idx), feeder_at = to_count(conn_idx);
    std::vector<shadetree_node_t*>& nodes = current_graph_->nodes;
    if (consumer_at >= nodes.size() || !nodes[consumer_at]) return;
    if (feeder_at >= nodes.size() || !nodes[feeder_at]) return;  // a connection to nowhere is dropped
    shadetree_node_t* consumer = nodes[consumer_at];
    shadetree_node_t* feeder = nodes[feeder_at];
    if (downstream_of(consumer, feeder)) return;  // a connection that would close a cycle is dropped
    node_set_output_for_input_keyed(consumer, input_name.c_str(), feeder);
    node_add_input_for_output(feeder, 0, consumer);
  }

  void start_asset(const attributes_t& attrs) {
    state_ = 19;
    delete current_asset_;
    current_asset_ = asset_create();
    wstring name, linkage, link;
    if (attrs.get("name", name)) current_asset_->name = name;
    bool keep = false;
    if (attrs.get("linkage", linkage)) {
      if (linkage == u"linked") {
        current_asset_->linkage = 0;
        if (attrs.get("link-filepath", link)) {
          if (link == u"relative") current_asset_->link_filepath = 0, keep = true;
          else if (link == u"embedded") current_asset_->link_filepath = 1, keep = true;
        }
      } else if (linkage == u"embedded") {
        current_asset_->linkage = 1;
        keep = true;
      }
    }
    if (!keep) {
      asset_delete(current_asset_);
      current_asset_ = nullptr;
    }
  }

  project& project_;
  graph* current_graph_ = nullptr;
  shadetree_node_t* current_node_ = nullptr;
  std::unordered_map<wstring, wstring> pending_params_;
  wstring current_param_name_;
  asset* current_asset_ = nullptr;
  std::unique_ptr<curve> current_curve_;
  uint32_t point_index_ = 0;
  wstring text_;
  uint32_t state_ = 0;
  base64_stream_decoder base64_;
  uint64_t blob_write_pos_ = 0;
};

// What the parser calls back with: the handler and the parser, and the exception a handler threw
// (an asset declared larger than memory gives bad_alloc). An exception never unwinds through the
// parser's own frames, which would leave its state behind: it is kept, the parse is stopped, and
// the reader throws it again once the parser is freed.
struct parse_state {
  project_content_handler_t& handler;
  xmlParserCtxtPtr parser;
  std::exception_ptr failure;
};

template <class Call>
void guarded(void* ctx, Call call) {
  auto* state = static_cast<parse_state*>(ctx);
  if (state->failure) return;
  try {
    call(state->handler);
  } catch (...) {
    state->failure = std::current_exception();
    xmlStopParser(state->parser);
  }
}

void on_start(void* ctx, const xmlChar* localname, const xmlChar*, const xmlChar*, int, const xmlChar**,
              int nb_attributes, int, const xmlChar** attributes) {
  guarded(ctx, [&](project_content_handler_t& h) { h.start_element(localname, attributes_t{attributes, nb_attributes}); });
}
void on_end(void* ctx, const xmlChar* localname, const xmlChar*, const xmlChar*) {
  guarded(ctx, [&](project_content_handler_t& h) { h.end_element(localname); });
}
void on_characters(void* ctx, const xmlChar* chars, int len) {
  guarded(ctx, [&](project_content_handler_t& h) { h.characters(chars, len); });
}
void on_message(void*, const char*, ...) {}
void on_structured_error(void*, xmlErrorPtr) {}

// The number text of a setting, if above 0 (or at least 1), goes into the field.
bool positive_setting(const project& p, const char16_t* key, uint32_t& field) {
  auto it = p.settings.find(key);
  if (it == p.settings.end()) return false;
  int32_t v = text_to_int(it->second);
  if (v > 0) field = static_cast<uint32_t>(v);
  return v > 0;
}

void apply_settings(project& p) {
  positive_setting(p, u"render-size-x", p.width);
  positive_setting(p, u"render-size-y", p.height);
  positive_setting(p, u"preview-percent", p.preview_permille);
  if (auto it = p.settings.find(u"preview-showalpha"); it != p.settings.end())
    p.preview_showalpha = it->second == u"true";

  struct thread_pair {
    const char16_t* spectype_key;
    const char16_t* number_key;
    uint32_t& spectype;
    uint32_t& number;
  };
  thread_pair pairs[] = {
      {u"renderthreads-spectype-editor", u"renderthreads-editor", p.renderthreads_spectype_editor,
       p.renderthreads_editor},
      {u"renderthreads-spectype-editor-preview", u"renderthreads-editor-preview",
       p.renderthreads_spectype_editor_preview, p.renderthreads_editor_preview},
      {u"renderthreads-spectype-runtime", u"renderthreads-runtime", p.renderthreads_spectype_runtime,
       p.renderthreads_runtime},
  };
  for (thread_pair& t : pairs) {
    auto it = p.settings.find(t.spectype_key);
    if (it == p.settings.end()) continue;
    if (it->second == u"absolute") t.spectype = 0;
    else if (it->second == u"percentage") t.spectype = 1;
    else continue;
    positive_setting(p, t.number_key, t.number);
  }

  if (p.settings.count(u"max-undoredo-steps") && !positive_setting(p, u"max-undoredo-steps", p.max_undo_redo_steps))
    project_set_max_undo_redo_steps(&p, p.max_undo_redo_steps);
  if (p.settings.count(u"animation-frames") && !positive_setting(p, u"animation-frames", p.animation_frames))
    project_set_animation_frames(&p, p.animation_frames);
  if (auto it = p.settings.find(u"preview-supersampling"); it != p.settings.end()) {
    if (it->second == u"true") p.preview_supersampling = 1;
    else if (it->second == u"false") p.preview_supersampling = 0;
    else project_set_preview_supersampling(&p, p.preview_supersampling);
  }
}

}  // namespace
}  // namespace impl

bool read_project_file(project& p, const wstring& path) {
  std::ifstream file(to_utf8(path), std::ios::binary);
  if (!file) return false;
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (bytes.size() > static_cast<std::size_t>(INT32_MAX)) return false;

  xmlSAXHandler sax{};
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = impl::on_start;
  sax.endElementNs = impl::on_end;
  sax.characters = impl::on_characters;
  sax.ignorableWhitespace = impl::on_characters;
  sax.cdataBlock = impl::on_characters;
  sax.warning = impl::on_message;
  sax.error = impl::on_message;
  sax.fatalError = impl::on_message;
  sax.serror = impl::on_structured_error;

  xmlParserCtxtPtr ctxt = xmlCreateMemoryParserCtxt(bytes.data(), static_cast<int>(bytes.size()));
  if (!ctxt) return false;
  xmlSAXHandlerPtr own_sax = ctxt->sax;
  ctxt->sax = &sax;
  // Entities are replaced, so that an attribute value with "&amp;" arrives as "&"; no entity of
  // the document's own is declared to the parser and nothing is fetched from a network.
  xmlCtxtUseOptions(ctxt, XML_PARSE_NOENT | XML_PARSE_NONET);
  bool ok;
  std::exception_ptr failure;
  {
    impl::project_content_handler_t handler(p);
    impl::parse_state state{handler, ctxt, nullptr};
    ctxt->userData = &state;
    xmlParseDocument(ctxt);
    ok = ctxt->wellFormed != 0;
    failure = state.failure;
  }
  ctxt->sax = own_sax;
  xmlFreeParserCtxt(ctxt);
  if (failure) std::rethrow_exception(failure);
  if (!ok) return false;
  impl::apply_settings(p);
  return true;
}

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API uint32_t project_read_from_file_xml(project* p, const char16_t* path) {
  return read_project_file(*p, from_caller(path)) ? 1 : 0;
}
