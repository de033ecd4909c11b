// Writes a project as an XML document through libxml2's text writer: indented, UTF-8 without a
// byte order mark, standalone. Any failing step stops the writing and leaves what was written.
#include <libxml/xmlwriter.h>

#include <cstdio>
#include <string>

#include "catalogue/catalogue.h"
#include "core/text.h"
#include "document/asset.h"
#include "document/curve.h"
#include "document/graph.h"
#include "document/node.h"
#include "document/project.h"
#include "persistence/base64.h"
#include "persistence/project_format.h"
#include "quorin/project.h"

namespace quorin_engine {
namespace {

class project_writer {
 public:
  explicit project_writer(xmlTextWriterPtr w) : w_(w) {}

  bool document(const project& p) {
    // The declaration is written as it stands: the serialiser would spell the encoding "UTF-8".
    // Its output is UTF-8 without a byte order mark in any case.
    if (xmlTextWriterWriteRaw(w_, BAD_CAST "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n") < 0)
      return false;
    if (!start("project")) return false;
    if (!attribute("xmlns", project_namespace_uri) || !attribute("xmlns:xsi", xml_schema_instance_uri) ||
        !attribute("xsi:schemaLocation", std::string(project_namespace_uri) + " " + project_schema_file))
      return false;
    if (!start("version") || xmlTextWriterWriteString(w_, BAD_CAST "1") < 0 || !end()) return false;
    if (!p.settings.empty()) {
      if (!start("settings")) return false;
      for (const auto& [name, value] : p.settings)
        if (!start("setting") || !attribute("name", name) || !attribute("value", value) || !end()) return false;
      if (!end()) return false;
    }
    if (!start("graphs")) return false;
    for (const graph* g : p.graphs)
      if (!write_graph(*g)) return false;
    if (!end()) return false;
    if (!start("assets")) return false;
    for (const asset* a : p.assets.items)
      if (!write_asset(*a)) return false;
    if (!end() || !end()) return false;  // assets, project
    return xmlTextWriterEndDocument(w_) >= 0;
  }

 private:
  bool start(const char* name) { return xmlTextWriterStartElement(w_, BAD_CAST name) >= 0; }
  bool end() { return xmlTextWriterEndElement(w_) >= 0; }
  // Attribute values are escaped here and handed over as they stand, so that text outside ASCII
  // stays UTF-8 in the file instead of becoming character references. Blanks other than the
  // space are references, so that a reader's normalisation of attribute values keeps them.
  bool attribute(const char* name, const std::string& value) {
    std::string escaped;
    escaped.reserve(value.size());
    for (char c : value) {
      switch (c) {
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        case '"': escaped += "&quot;"; break;
        case '\t': escaped += "&#9;"; break;
        case '\n': escaped += "&#10;"; break;
        case '\r': escaped += "&#13;"; break;
        default: escaped += c;
      }
    }
    return xmlTextWriterStartAttribute(w_, BAD_CAST name) >= 0 &&
           xmlTextWriterWriteRaw(w_, BAD_CAST escaped.c_str()) >= 0 && xmlTextWriterEndAttribute(w_) >= 0;
  }
  bool attribute(const char* name, const wstring& value) { return attribute(name, to_utf8(value)); }

  bool write_graph(const graph& g) {
    if (!start("graph")) return false;
    if (!g.name.empty() && !attribute("name", g.name)) return false;
    if (!start("nodes")) return false;
    for (uint32_t i = 0; i < g.nodes.size(); ++i)
      if (!write_node(*g.nodes[i], i)) return false;
    if (!end() || !start("node-conns") || !start("input-conns")) return false;
    for (uint32_t i = 0; i < g.nodes.size(); ++i) {
      const shadetree_node_t& n = *g.nodes[i];
      const std::vector<port_spec_t>* inputs = n.input_ports();
      if (!inputs) continue;
      for (const port_spec_t& in : *inputs) {
        const shadetree_node_t* src = n.connected(in.name);
        if (!src) continue;
        uint32_t src_idx = 0;
        while (src_idx < g.nodes.size() && g.nodes[src_idx] != src) ++src_idx;
        if (src_idx == g.nodes.size()) continue;  // fed from outside this graph: nothing to point at
        if (!start("input-conn") || !attribute("node-idx", to_utf8(format_u(i))) ||
            !attribute("input-name", in.name) || !attribute("conn-node-idx", to_utf8(format_u(src_idx))) || !end())
          return false;
      }
    }
    return end() && end() && end();  // input-conns, node-conns, graph
  }

  bool write_node(const shadetree_node_t& n, uint32_t idx) {
    const type_id_entry* type = nullptr;
    for (const type_id_entry& e : type_id_table())
      if (e.id == n.type_id) {
        type = &e;
        break;
      }
    if (!type) return false;
    if (!start("node") || !attribute("idx", to_utf8(format_u(idx))) || !attribute("type", wstring(type->name)))
      return false;
    if (n.disabled && !attribute("disabled", std::string("true"))) return false;
    wstring display = format_u(uint32_t(n.display_x)) + u"," + format_u(uint32_t(n.display_y)) + u"," +
                      format_u(uint32_t(n.display_w)) + u"," + format_u(uint32_t(n.display_h));
    if (!attribute("display", display)) return false;
    if (!n.name.empty() && !attribute("name", n.name)) return false;
    if (!start("params")) return false;
    if (const nodetype_spec_t* spec = find_spec(n.type_id)) {
      for (const param_group_spec_t& group : spec->param_groups)
        for (const param_spec_t& p : group.params)
          if (!write_param(n, p)) return false;
    }
    if (n.type_id == 32) {
      if (!start("param") || !attribute("name", std::string("font")) || !start("binary") ||
          !attribute("size", std::to_string(n.binary_data.size())) || !start("data") ||
          !write_base64(n.binary_data.data(), n.binary_data.size()) || !end() || !end() || !end())
        return false;
    }
    return end() && end();  // params, node
  }

  bool write_param(const shadetree_node_t& n, const param_spec_t& p) {
    if (!start("param") || !attribute("name", p.name)) return false;
    auto time_curve = n.time_curves.find(p.name);
    if (p.curveable && time_curve != n.time_curves.end()) {
      if (!write_curve(time_curve->second)) return false;
    } else if (p.type == param_curve) {
      auto value = n.param_curves.find(p.name);
      if (!write_curve(value != n.param_curves.end() ? value->second : curve{})) return false;
    } else {
      auto stored = n.params.find(p.name);
      if (!attribute("value", stored != n.params.end() ? stored->second : wstring())) return false;
    }
    return end();
  }

  bool write_curve(const curve& c) {
    if (!start("curve")) return false;
    if (!c.enabled && !attribute("disabled", std::string("true"))) return false;
    for (const curve_item& item : c.items) {
      if (!start("item") || !attribute("type", std::string(item.type == 0 ? "line" : "bezier"))) return false;
      int points = item.type == 0 ? 2 : item.type == 1 ? 4 : 5;
      for (int k = 0; k < points; ++k) {
        if (!start("point") || !attribute("x", to_utf8(format_f(item.points[k][0]))) ||
            !attribute("y", to_utf8(format_f(item.points[k][1]))) || !end())
          return false;
      }
      if (!end()) return false;
    }
    return end();
  }

  // "\r\n", then one line of 76 characters per 57 bytes, then the rest with padding; line ends are
  // written as they stand, not as character references.
  bool write_base64(const uint8_t* data, std::size_t size) {
    if (xmlTextWriterWriteRaw(w_, BAD_CAST "\r\n") < 0) return false;
    for (std::size_t at = 0; at < size; at += 57) {
      std::size_t run = size - at < 57 ? size - at : 57;
      std::string line = base64_encode_run(data + at, run);
      if (xmlTextWriterWriteString(w_, BAD_CAST line.c_str()) < 0 || xmlTextWriterWriteRaw(w_, BAD_CAST "\r\n") < 0)
        return false;
    }
    return true;
  }

  bool write_asset(const asset& a) {
    if (!start("asset") || !attribute("linkage", std::string(a.linkage == 1 ? "embedded" : "linked"))) return false;
    if (a.linkage != 1 && !attribute("link-filepath", std::string(a.link_filepath == 0 ? "relative" : "absolute")))
      return false;
    if (!a.name.empty() && !attribute("name", a.name)) return false;
    if (a.linkage != 1) {
      if (!start("path")) return false;
      if (!a.filepath.empty() && xmlTextWriterWriteString(w_, BAD_CAST to_utf8(a.filepath).c_str()) < 0) return false;
      if (!end()) return false;
    } else {
      if (!start("embedded") || !attribute("size", std::to_string(a.data_size)) || !start("data") ||
          !write_base64(a.data, a.data ? a.data_size : 0) || !end() || !end())
        return false;
    }
    return end();
  }

  xmlTextWriterPtr w_;
};

// A short write (a full disk, say) fails the serialiser, and with it the rest of the writing.
int write_to_file(void* context, const char* buffer, int len) {
  if (!buffer || len <= 0) return 0;
  std::size_t done = std::fwrite(buffer, 1, static_cast<std::size_t>(len), static_cast<FILE*>(context));
  return done == static_cast<std::size_t>(len) ? len : -1;
}

}  // namespace

bool write_project_file(const project& p, const wstring& path) {
  // A path must name a folder; one without a separator is refused before anything is created.
  if (path.find(u'/') == wstring::npos) return false;
  FILE* file = std::fopen(to_utf8(path).c_str(), "wb");
  if (!file) return false;
  xmlOutputBufferPtr out = xmlOutputBufferCreateIO(write_to_file, nullptr, file, nullptr);
  xmlTextWriterPtr w = out ? xmlNewTextWriter(out) : nullptr;
  bool ok = false;
  if (w) {
    xmlTextWriterSetIndent(w, 1);
    xmlTextWriterSetIndentString(w, BAD_CAST "\t");
    ok = project_writer(w).document(p);
    xmlTextWriterFlush(w);
    xmlFreeTextWriter(w);  // also frees the output buffer
  } else if (out) {
    xmlOutputBufferClose(out);
  }
  // Data still held by the C library is written out here; failing that, the file is incomplete.
  if (std::fclose(file) != 0) ok = false;
  return ok;
}

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API uint32_t project_write_xml_to_file(const project* p, const char16_t* path) {
  return write_project_file(*p, from_caller(path)) ? 1 : 0;
}
