// The loader of the node type document: a SAX content handler walking one flat state machine, with
// no document tree. libxml2's SAX2 interface drives it with local names, attributes by local name
// and runs of character data.
//
// Matching rules, kept on purpose:
// - An element name matches when it begins with the expected name ("outputs" matches "output").
// - An element that the current state does not expect changes nothing; its children are looked at
//   in the same state.
// - Words that are compared or converted (types, flags, numbers, category names) pass through one
//   static scratch buffer of 256 characters; a value that does not fit leaves the buffer empty.
//   Names, descriptions and defaults are stored as they stand.
// - The enum-value's `value` attribute is only tested for presence: the conversion reads the scratch
//   buffer, which still holds the last word of the param element, so every enum value record holds
//   0. A value's meaning is its position in the list.
// - Errors are swallowed; a fatal one ends the parse and what was committed stays.
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <climits>
#include <cstring>
#include <string>
#include <string_view>

#include "catalogue/catalogue.h"

namespace quorin_engine {
namespace {

constexpr std::size_t attribute_scratch_size = 256;
char16_t attribute_scratch[attribute_scratch_size];

enum state_t : int {
  st_outside = 0,
  st_root = 1,
  st_version = 2,
  st_categories = 3,
  st_spec = 4,
  st_spec_description = 5,
  st_outputs = 6,
  st_inputs = 7,
  st_params = 8,
  st_generator_categories = 9,
  st_operator_categories = 10,
  st_generator_category = 11,
  st_generator_category_description = 12,
  st_operator_category = 13,
  st_operator_category_description = 14,
  st_output = 15,
  st_input = 16,
  st_input_description = 17,
  st_group = 18,
  st_param = 19,
  st_param_description = 20,
  st_uint_bounds = 21,
  st_float_bounds = 22,
  st_enum_values = 23,
  st_enum_value = 24,
  st_enum_value_description = 25,
};

// The element's name begins with the expected one.
bool named(const char* name, const char* expected) {
  return std::strncmp(name, expected, std::strlen(expected)) == 0;
}

uint32_t port_type_code(const wstring& word) {
  if (word == u"scalar") return port_scalar;
  if (word == u"greystream") return port_greystream;
  if (word == u"rgbstream") return port_rgbstream;
  if (word == u"scalar_color_rgb") return port_scalar_color_rgb;
  return port_string;
}

uint32_t param_type_code(const wstring& word) {
  static const char16_t* const names[] = {u"uint", u"float", u"color_rgb", u"enum",
                                          u"bool", u"string", u"font", u"curve"};
  for (uint32_t i = 0; i < 8; ++i)
    if (word == names[i]) return i + 1;
  return param_none;
}

// The attributes of one element as libxml2 hands them over: five pointers each (local name,
// prefix, namespace, value start, value end).
class attribute_list {
 public:
  attribute_list(const xmlChar** attrs, int count) : attrs_(attrs), count_(count) {}

  // The value of the first attribute with this local name.
  bool find(const char* local_name, std::string_view& value) const {
    for (int i = 0; i < count_; ++i) {
      const xmlChar* const* a = attrs_ + 5 * i;
      if (std::strcmp(reinterpret_cast<const char*>(a[0]), local_name) == 0) {
        value = std::string_view(reinterpret_cast<const char*>(a[3]), static_cast<std::size_t>(a[4] - a[3]));
        return true;
      }
    }
    return false;
  }

  // Stores the value as it stands; false if the attribute is absent.
  bool text(const char* local_name, wstring& out) const {
    std::string_view v;
    if (!find(local_name, v)) return false;
    out = from_utf8(std::string(v));
    return true;
  }

  // Copies the value into the scratch buffer; false (and the buffer untouched) if absent.
  bool word(const char* local_name) const {
    std::string_view v;
    if (!find(local_name, v)) return false;
    const wstring w = from_utf8(std::string(v));
    if (w.size() >= attribute_scratch_size) {
      attribute_scratch[0] = 0;  // does not fit with its terminator: the copy leaves it empty
      return true;
    }
    w.copy(attribute_scratch, w.size());
    attribute_scratch[w.size()] = 0;
    return true;
  }

 private:
  const xmlChar** attrs_;
  int count_;
};

wstring scratch() { return wstring(attribute_scratch); }

class nodetypespecs_content_handler_t {
 public:
  void start_element(const char* name, const attribute_list& attrs) {
    text_.clear();
    switch (state_) {
      case st_outside:
        if (named(name, "nodetype-specs")) state_ = st_root;
        break;
      case st_root:
        if (named(name, "nodetype-spec")) {
          read_spec_attributes(attrs);
          state_ = st_spec;
        } else if (named(name, "version")) {
          state_ = st_version;
        } else if (named(name, "categories")) {
          state_ = st_categories;
        }
        break;
      case st_categories:
        if (named(name, "generator-categories")) state_ = st_generator_categories;
        else if (named(name, "operator-categories")) state_ = st_operator_categories;
        break;
      case st_spec:
        if (named(name, "description")) state_ = st_spec_description;
        else if (named(name, "outputs")) state_ = st_outputs;
        else if (named(name, "inputs")) state_ = st_inputs;
        else if (named(name, "params")) state_ = st_params;
        break;
      case st_outputs:
        if (named(name, "output")) {
          read_port_attributes(attrs, output_);
          state_ = st_output;
        }
        break;
      case st_inputs:
        if (named(name, "input")) {
          read_port_attributes(attrs, input_);
          state_ = st_input;
        }
        break;
      case st_params:
        if (named(name, "param-group")) {
          attrs.text("name", group_.name);
          state_ = st_group;
        }
        break;
      case st_generator_categories:
        if (named(name, "category")) {
          attrs.text("name", category_.name);
          generator_names_.push_back(category_.name);
          state_ = st_generator_category;
        }
        break;
      case st_operator_categories:
        if (named(name, "category")) {
          attrs.text("name", category_.name);
          operator_names_.push_back(category_.name);
          state_ = st_operator_category;
        }
        break;
      case st_generator_category:
        if (named(name, "description")) state_ = st_generator_category_description;
        break;
      case st_operator_category:
        if (named(name, "description")) state_ = st_operator_category_description;
        break;
      case st_input:
        if (named(name, "description")) state_ = st_input_description;
        break;
      case st_group:
        if (named(name, "param")) {
          read_param_attributes(attrs);
          state_ = st_param;
        }
        break;
      case st_param:
        if (named(name, "description")) {
          state_ = st_param_description;
        } else if (named(name, "value-bounds-uint")) {
          read_uint_bounds(attrs);
          state_ = st_uint_bounds;
        } else if (named(name, "value-bounds-float")) {
          read_float_bounds(attrs);
          state_ = st_float_bounds;
        } else if (named(name, "enum-values")) {
          state_ = st_enum_values;
        }
        break;
      case st_enum_values:
        if (named(name, "enum-value")) {
          read_enum_value_attributes(attrs);
          state_ = st_enum_value;
        }
        break;
      case st_enum_value:
        if (named(name, "description")) state_ = st_enum_value_description;
        break;
      default:
        break;
    }
  }

  void end_element(const char* name) {
    switch (state_) {
      case st_root:
        if (named(name, "nodetype-specs")) state_ = st_outside;
        break;
      case st_version:
        if (named(name, "version")) state_ = st_root;
        break;
      case st_categories:
        if (named(name, "categories")) state_ = st_root;
        break;
      case st_spec:
        if (named(name, "nodetype-spec")) {
          commit_spec();
          state_ = st_root;
        }
        break;
      case st_spec_description:
        if (named(name, "description")) {
          spec_.description = kept_text();
          state_ = st_spec;
        }
        break;
      case st_outputs:
        if (named(name, "outputs")) state_ = st_spec;
        break;
      case st_inputs:
        if (named(name, "inputs")) state_ = st_spec;
        break;
      case st_params:
        if (named(name, "params")) state_ = st_spec;
        break;
      case st_generator_categories:
        if (named(name, "generator-categories")) state_ = st_categories;
        break;
      case st_operator_categories:
        if (named(name, "operator-categories")) state_ = st_categories;
        break;
      case st_generator_category:
        if (named(name, "category")) {
          generator_categories().push_back(category_);
          category_ = category_spec_t{};
          state_ = st_generator_categories;
        }
        break;
      case st_generator_category_description:
        if (named(name, "description")) {
          category_.description = kept_text();
          state_ = st_generator_category;
        }
        break;
      case st_operator_category:
        if (named(name, "category")) {
          operator_categories().push_back(category_);
          category_ = category_spec_t{};
          state_ = st_operator_categories;
        }
        break;
      case st_operator_category_description:
        if (named(name, "description")) {
          category_.description = kept_text();
          state_ = st_operator_category;
        }
        break;
      case st_output:
        if (named(name, "output")) {
          spec_.outputs.push_back(output_);
          output_ = port_spec_t{};
          state_ = st_outputs;
        }
        break;
      case st_input:
        if (named(name, "input")) {
          spec_.inputs.push_back(input_);
          input_ = port_spec_t{};
          state_ = st_inputs;
        }
        break;
      case st_input_description:
        if (named(name, "description")) {
          input_.description = kept_text();
          state_ = st_input;
        }
        break;
      case st_group:
        if (named(name, "param-group")) {
          spec_.param_groups.push_back(group_);
          group_ = param_group_spec_t{};
          state_ = st_params;
        }
        break;
      case st_param:
        if (named(name, "param")) {
          group_.params.push_back(param_);
          param_ = param_spec_t{};
          state_ = st_group;
        }
        break;
      case st_param_description:
        if (named(name, "description")) {
          param_.description = kept_text();
          state_ = st_param;
        }
        break;
      case st_uint_bounds:
        if (named(name, "value-bounds-uint")) state_ = st_param;
        break;
      case st_float_bounds:
        if (named(name, "value-bounds-float")) state_ = st_param;
        break;
      case st_enum_values:
        if (named(name, "enum-values")) state_ = st_param;
        break;
      case st_enum_value:
        if (named(name, "enum-value")) {
          param_.enum_values.push_back(enum_value_);
          enum_value_ = enum_value_spec_t{};
          state_ = st_enum_values;
        }
        break;
      case st_enum_value_description:
        if (named(name, "description")) {
          enum_value_.description = kept_text();
          state_ = st_enum_value;
        }
        break;
      default:
        break;
    }
  }

  void characters(const char* data, int length) {
    switch (state_) {
      case st_version:
      case st_spec_description:
      case st_generator_category_description:
      case st_operator_category_description:
      case st_input_description:
      case st_param_description:
      case st_enum_value_description:
        text_.append(data, static_cast<std::size_t>(length));
        break;
      default:
        break;
    }
  }

 private:
  // The text is gathered as UTF-8 and converted when kept, so that a character split over two
  // runs stays whole.
  wstring kept_text() const { return from_utf8(text_); }

  void read_spec_attributes(const attribute_list& attrs) {
    spec_.disabled = attrs.word("disabled") && scratch() == u"true";
    if (!attrs.text("name", spec_.name)) return;
    if (!attrs.word("is-gen")) return;
    spec_.is_gen = scratch() == u"true";
    if (!attrs.word("resource-id")) return;
    const int32_t resource_id = text_to_int(scratch());
    if (resource_id >= 0) spec_.resource_id = static_cast<uint32_t>(resource_id);
    if (!attrs.word("category")) return;
    const std::vector<wstring>& names = spec_.is_gen ? generator_names_ : operator_names_;
    const wstring category = scratch();
    spec_.category = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (names[i] == category) {
        spec_.category = static_cast<uint32_t>(i);
        break;
      }
    }
  }

  static void read_port_attributes(const attribute_list& attrs, port_spec_t& port) {
    attrs.text("name", port.name);
    if (attrs.word("type")) port.type = port_type_code(scratch());
  }

  void read_param_attributes(const attribute_list& attrs) {
    attrs.text("name", param_.name);
    if (attrs.word("type")) param_.type = param_type_code(scratch());
    attrs.text("default", param_.default_value);
    param_.curveable = attrs.word("curveable") && scratch() == u"true";
  }

  void read_uint_bounds(const attribute_list& attrs) {
    if (attrs.word("min-val")) {
      const int32_t v = text_to_int(scratch());
      if (v >= 0) {
        param_.min.u = static_cast<uint32_t>(v);
        param_.has_min = true;
      }
    }
    if (attrs.word("max-val")) {
      const int32_t v = text_to_int(scratch());
      if (v >= 0) {
        param_.max.u = static_cast<uint32_t>(v);
        param_.has_max = true;
      }
    }
  }

  void read_float_bounds(const attribute_list& attrs) {
    if (attrs.word("min-val")) {
      param_.min.f = static_cast<float>(text_to_double(scratch()));
      param_.has_min = true;
    }
    if (attrs.word("max-val")) {
      param_.max.f = static_cast<float>(text_to_double(scratch()));
      param_.has_max = true;
    }
  }

  void read_enum_value_attributes(const attribute_list& attrs) {
    attrs.text("name", enum_value_.name);
    std::string_view present;
    if (attrs.find("value", present)) {
      // Converts the scratch buffer, not the attribute (see the note at the top).
      const int32_t v = text_to_int(scratch());
      if (v >= 0) enum_value_.value = static_cast<uint32_t>(v);
    }
  }

  void commit_spec() {
    uint32_t id = 0;
    if (type_id_for_name(spec_.name, id)) {
      spec_.type_id = id;
      nodetype_specs().push_back(spec_);
    }
    spec_ = nodetype_spec_t{};  // is_gen and disabled true, all else empty
  }

  int state_ = st_outside;
  std::vector<wstring> generator_names_;
  std::vector<wstring> operator_names_;
  category_spec_t category_;
  port_spec_t output_;
  port_spec_t input_;
  enum_value_spec_t enum_value_;
  param_spec_t param_;
  param_group_spec_t group_;
  nodetype_spec_t spec_;
  std::string text_;
};

// libxml2 callbacks.

void on_start_element(void* ctx, const xmlChar* local_name, const xmlChar*, const xmlChar*, int,
                      const xmlChar**, int nb_attributes, int, const xmlChar** attributes) {
  static_cast<nodetypespecs_content_handler_t*>(ctx)->start_element(
      reinterpret_cast<const char*>(local_name), attribute_list(attributes, nb_attributes));
}

void on_end_element(void* ctx, const xmlChar* local_name, const xmlChar*, const xmlChar*) {
  static_cast<nodetypespecs_content_handler_t*>(ctx)->end_element(reinterpret_cast<const char*>(local_name));
}

void on_characters(void* ctx, const xmlChar* data, int length) {
  static_cast<nodetypespecs_content_handler_t*>(ctx)->characters(reinterpret_cast<const char*>(data), length);
}

// The error handler: every report is swallowed.
void swallow_message(void*, const char*, ...) {}
void swallow_error(void*, xmlErrorPtr) {}

// Keeps libxml2's process-wide error reporting quiet while the loader runs, and restores it after.
class quiet_errors {
 public:
  quiet_errors()
      : generic_(xmlGenericError), generic_ctx_(xmlGenericErrorContext),
        structured_(xmlStructuredError), structured_ctx_(xmlStructuredErrorContext) {
    xmlSetGenericErrorFunc(nullptr, swallow_message);
    xmlSetStructuredErrorFunc(nullptr, swallow_error);
  }
  ~quiet_errors() {
    xmlSetGenericErrorFunc(generic_ctx_, generic_);
    xmlSetStructuredErrorFunc(structured_ctx_, structured_);
  }
  quiet_errors(const quiet_errors&) = delete;
  quiet_errors& operator=(const quiet_errors&) = delete;

 private:
  xmlGenericErrorFunc generic_;
  void* generic_ctx_;
  xmlStructuredErrorFunc structured_;
  void* structured_ctx_;
};

}  // namespace

void load_nodetype_specs(const unsigned char* bytes, std::size_t size) {
  xmlInitParser();
  quiet_errors quiet;

  xmlSAXHandler sax;
  std::memset(&sax, 0, sizeof sax);
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = on_start_element;
  sax.endElementNs = on_end_element;
  sax.characters = on_characters;
  sax.ignorableWhitespace = on_characters;
  sax.cdataBlock = on_characters;
  sax.warning = swallow_message;
  sax.error = swallow_message;
  sax.fatalError = swallow_message;
  sax.serror = swallow_error;

  nodetypespecs_content_handler_t handler;
  xmlParserCtxtPtr ctxt = xmlCreatePushParserCtxt(&sax, &handler, nullptr, 0, nullptr);
  if (!ctxt) return;
  // References are resolved, so that "&amp;" in an attribute value arrives as "&" (left alone,
  // libxml2 hands it over as "&#38;"); nothing is fetched from a network.
  xmlCtxtUseOptions(ctxt, XML_PARSE_NOENT | XML_PARSE_NONET);

  // The whole document in chunks that fit the parser's int sizes; a fatal error stops the parser
  // and the result is not looked at.
  const char* data = reinterpret_cast<const char*>(bytes);
  std::size_t left = bytes ? size : 0;
  do {
    const int chunk = static_cast<int>(left > INT_MAX / 2 ? INT_MAX / 2 : left);
    left -= static_cast<std::size_t>(chunk);
    xmlParseChunk(ctxt, data, chunk, left == 0 ? 1 : 0);
    data += chunk;
  } while (left > 0 && !ctxt->disableSAX);

  if (ctxt->myDoc) xmlFreeDoc(ctxt->myDoc);
  xmlFreeParserCtxt(ctxt);
}

}  // namespace quorin_engine
