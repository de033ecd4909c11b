// The document the writer produces, and when it refuses to write.
#include "persistence_support.h"

using namespace persistence_test;

namespace {

const std::string head =
    "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n<project xmlns=\"http://quorin.invalid/schema/"
    "procgen\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:schemaLocation=\"http://quorin.invalid/"
    "schema/procgen ../engine/project-format.xsd\">\n\t<version>1</version>\n";
constexpr auto npos = std::string::npos;

std::string write(project& p) {
  EXPECT_TRUE(write_path(p, scratch("out.xml")));
  return read_file(scratch("out.xml"));
}
// The document without its indentation: tabs, and line ends other than those of base64 content.
std::string flat(const std::string& doc) {
  std::string out;
  for (std::size_t i = 0; i < doc.size(); ++i)
    if (doc[i] != '\t' && (doc[i] != '\n' || (i > 0 && doc[i - 1] == '\r'))) out += doc[i];
  return out;
}

class Writer : public EngineTest {};

}  // namespace

TEST_F(Writer, ElementsAndAttributesInOrder) {
  project p;
  p.settings.clear();  // no settings element; empty graphs and assets
  EXPECT_EQ(write(p), head + "\t<graphs/>\n\t<assets/>\n</project>\n");

  p.settings[u"render-size-x"] = u"999";  // written as the map holds it, whatever the field says
  p.settings[u"b & c"] = u"<1>";
  graph* g = p.graphs.emplace_back(new graph());
  g->name = u"main";
  shadetree_node_t* constant = add(g, u"Constant");
  constant->disabled = true;
  constant->name = u"k\u00e9\r\n";
  constant->display_x = 1, constant->display_y = 2, constant->display_w = 3, constant->display_h = 4;
  constant->params[u"value"] = u"0.5";  // under the time curve: not written
  constant->time_curves[u"value"] = make_curve({{0, 0.25f, 1, 0.75f}}, false);
  constant->time_curves[u"elsewhere"] = make_curve({{0, 0, 1, 1}});  // not a parameter of the type
  constant->params[u"elsewhere"] = u"1";
  shadetree_node_t* curve_node = add(g, u"GreyCurve");
  curve_node->param_curves[u"value"] = make_curve({{0, 0, 0.25f, 0.1f, 0.75f, 0.9f, 1, 1}});
  shadetree_node_t* blend = add(g, u"AlphaBlend");
  blend->params.erase(u"swap");  // specified but not stored: an empty value
  connect(curve_node, 0, blend, u"RGB-2");
  connect(constant, 0, blend, u"RGB-1");
  connect(constant, 0, curve_node, u"grey");
  p.graphs.emplace_back(new graph());
  add_asset(p, 0, u"")->filepath = u"a/b.png";
  p.assets.items.back()->link_filepath = 0;
  add_asset(p, 1, u"e", "abc");
  const std::string doc = write(p);
  EXPECT_EQ(doc.rfind(head, 0), 0u);
  EXPECT_EQ(flat(doc.substr(head.size())),
            "<settings><setting name=\"b &amp; c\" value=\"&lt;1&gt;\"/><setting name=\"render-size-x\" value=\"999\"/>"
            "</settings><graphs><graph name=\"main\"><nodes><node idx=\"0\" type=\"Constant\" disabled=\"true\" "
            "display=\"1,2,3,4\" name=\"k\xC3\xA9&#13;&#10;\"><params><param name=\"value\"><curve disabled=\"true\">"
            "<item type=\"line\"><point x=\"0.000000\" y=\"0.250000\"/><point x=\"1.000000\" y=\"0.750000\"/></item>"
            "</curve></param></params></node><node idx=\"1\" type=\"GreyCurve\" display=\"10,10,175,200\"><params>"
            "<param name=\"value\"><curve><item type=\"bezier\"><point x=\"0.000000\" y=\"0.000000\"/><point "
            "x=\"0.250000\" y=\"0.100000\"/><point x=\"0.750000\" y=\"0.900000\"/><point x=\"1.000000\" y=\"1.000000\""
            "/>"
            "</item></curve></param></params></node><node idx=\"2\" type=\"AlphaBlend\" display=\"10,10,175,200\">"
            "<params><param name=\"opacity\" value=\"0.5\"/><param name=\"swap\" value=\"\"/></params></node></nodes>"
            "<node-conns><input-conns><input-conn node-idx=\"1\" input-name=\"grey\" conn-node-idx=\"0\"/><input-conn "
            "node-idx=\"2\" input-name=\"RGB-1\" conn-node-idx=\"0\"/><input-conn node-idx=\"2\" input-name=\"RGB-2\" "
            "conn-node-idx=\"1\"/></input-conns></node-conns></graph><graph><nodes/><node-conns><input-conns/>"
            "</node-conns></graph></graphs><assets><asset linkage=\"linked\" link-filepath=\"relative\"><path>a/b.png"
            "</path></asset><asset linkage=\"embedded\" name=\"e\"><embedded size=\"3\"><data>\r\nYWJj\r\n</data>"
            "</embedded></asset></assets></project>");
}

TEST_F(Writer, BlobsInLinesOf57BytesAndTheFontLast) {
  project p;
  shadetree_node_t* text = add(p.graphs.emplace_back(new graph()), u"Text");
  text->binary_data.assign(57, 0);
  add_asset(p, 1, u"", std::string(58, '\0'));
  add_asset(p, 1, u"");
  const std::string doc = write(p);
  const std::string line = std::string(76, 'A') + "\r\n";  // 57 bytes: two line ends, 58: three, none: one
  EXPECT_LT(doc.find("<data>\r\n" + line + "</data>"), doc.find("<data>\r\n" + line + "AA==\r\n</data>"));
  EXPECT_LT(doc.find("<data>\r\n" + line + "AA==\r\n</data>"), doc.find("<data>\r\n</data>"));
  EXPECT_NE(doc.find("<data>\r\n</data>"), npos);
  // The font comes right after the last specified parameter.
  const std::string f = flat(doc), last = to_utf8(text->spec()->param_groups.back().params.back().name);
  const std::size_t font = f.find("<param name=\"font\"><binary size=\"57\"><data>\r\n");
  ASSERT_NE(font, npos);
  EXPECT_EQ(f.rfind("<param name=\"", font - 1), f.find("<param name=\"" + last + "\""));
}

TEST_F(Writer, RefusesPathsWithoutAFolderAndStopsAtAnUnknownType) {
  project p;
  for (const char* name : {"file.xml", "file\\with\\backslashes.xml"}) {
    fs::remove(name);
    EXPECT_FALSE(write_path(p, name));
    EXPECT_FALSE(fs::exists(name));
  }
  EXPECT_FALSE(write_path(p, scratch("no-such-folder/p.xml")));
  EXPECT_FALSE(fs::exists(scratch("no-such-folder")));

  graph* g = p.graphs.emplace_back(new graph());
  add(g, u"Marble");  // what came before the type without a name stays in the file
  g->nodes.push_back(node_create_with_type(999));
  add(g, u"PassThru");
  EXPECT_FALSE(write_path(p, scratch("partial.xml")));
  const std::string partial = read_file(scratch("partial.xml"));
  EXPECT_EQ(partial.rfind(head, 0), 0u);
  EXPECT_NE(partial.find("type=\"Marble\""), npos);
  EXPECT_EQ(partial.find("type=\"PassThru\""), npos);
  EXPECT_EQ(partial.find("</project>"), npos);
}
