// The document the writer produces, and when it refuses to write.
#include "persistence_support.h"

using namespace persistence_test;

namespace {

const std::string head =
    "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n"
    "<project xmlns=\"http://quorin.invalid/schema/procgen\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"http://quorin.invalid/schema/procgen ../engine/project-format.xsd\">\n"
    "\t<version>1</version>\n";
constexpr auto npos = std::string::npos;

std::string write(project& p) {
  EXPECT_TRUE(write_path(p, scratch("out.xml")));
  return read_file(scratch("out.xml"));
}

// Each fragment is found after the one before it.
void expect_in_order(const std::string& doc, const std::vector<std::string>& fragments) {
  std::size_t at = 0;
  for (const std::string& f : fragments) {
    const std::size_t found = doc.find(f, at);
    EXPECT_NE(found, npos) << "missing or out of order: " << f;
    if (found != npos) at = found + f.size();
  }
}

class Writer : public EngineTest {};

}  // namespace

TEST_F(Writer, ElementsAndAttributesInOrder) {
  project none;
  none.settings.clear();  // no settings element; empty graphs and assets
  EXPECT_EQ(write(none), head + "\t<graphs/>\n\t<assets/>\n</project>\n");

  project p;
  p.settings.clear();
  p.settings[u"render-size-x"] = u"999";  // written as the map holds it, whatever the field says
  p.settings[u"b & c"] = u"<1>";
  graph* g = p.graphs.emplace_back(new graph());
  g->name = u"main";
  shadetree_node_t* constant = add(g, u"Constant");
  constant->disabled = true;
  constant->name = u"k\u00e9\r\n";  // UTF-8, line ends as references
  constant->display_x = 1, constant->display_y = 2, constant->display_w = 3, constant->display_h = 4;
  constant->params[u"value"] = u"0.5";  // under the time curve: not written
  constant->time_curves[u"value"] = make_curve({{0, 0.25f, 1, 0.75f}}, false);
  constant->time_curves[u"elsewhere"] = make_curve({{0, 0, 1, 1}});  // no such parameter
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
  expect_in_order(doc, {
      "\t<settings>\n\t\t<setting name=\"b &amp; c\" value=\"&lt;1&gt;\"/>\n"
      "\t\t<setting name=\"render-size-x\" value=\"999\"/>\n\t</settings>\n\t<graphs>\n\t\t<graph name=\"main\">\n",
      "\t\t\t\t<node idx=\"0\" type=\"Constant\" disabled=\"true\" display=\"1,2,3,4\" name=\"k\xC3\xA9&#13;&#10;\">\n"
      "\t\t\t\t\t<params>\n\t\t\t\t\t\t<param name=\"value\">\n\t\t\t\t\t\t\t<curve disabled=\"true\">\n"
      "\t\t\t\t\t\t\t\t<item type=\"line\">\n\t\t\t\t\t\t\t\t\t<point x=\"0.000000\" y=\"0.250000\"/>\n"
      "\t\t\t\t\t\t\t\t\t<point x=\"1.000000\" y=\"0.750000\"/>\n\t\t\t\t\t\t\t\t</item>\n",
      "<node idx=\"1\" type=\"GreyCurve\" display=\"10,10,175,200\">\n",
      "<param name=\"value\">\n\t\t\t\t\t\t\t<curve>\n\t\t\t\t\t\t\t\t<item type=\"bezier\">\n",
      "<point x=\"0.000000\" y=\"0.000000\"/>", "<point x=\"0.250000\" y=\"0.100000\"/>",
      "<point x=\"0.750000\" y=\"0.900000\"/>", "<point x=\"1.000000\" y=\"1.000000\"/>\n\t\t\t\t\t\t\t\t</item>",
      "<node idx=\"2\" type=\"AlphaBlend\" display=\"10,10,175,200\">\n", "<param name=\"swap\" value=\"\"/>\n",
      "</nodes>\n\t\t\t<node-conns>\n\t\t\t\t<input-conns>\n",
      "\t<input-conn node-idx=\"1\" input-name=\"grey\" conn-node-idx=\"0\"/>\n"
      "\t\t\t\t\t<input-conn node-idx=\"2\" input-name=\"RGB-1\" conn-node-idx=\"0\"/>\n"
      "\t\t\t\t\t<input-conn node-idx=\"2\" input-name=\"RGB-2\" conn-node-idx=\"1\"/>\n\t\t\t\t</input-conns>\n",
      "\t\t<graph>\n\t\t\t<nodes/>\n\t\t\t<node-conns>\n\t\t\t\t<input-conns/>\n",
      "\t<assets>\n\t\t<asset linkage=\"linked\" link-filepath=\"relative\">\n\t\t\t<path>a/b.png</path>\n",
      "\t\t<asset linkage=\"embedded\" name=\"e\">\n\t\t\t<embedded size=\"3\">\n\t\t\t\t<data>\r\nYWJj\r\n</data>\n",
      "\t</assets>\n</project>\n"});
  EXPECT_EQ(doc.find("elsewhere"), npos);  // neither time curve nor text of an unspecified parameter
}

TEST_F(Writer, BlobsInLinesOf57BytesAndTheFontLast) {
  project p;
  shadetree_node_t* text = add(p.graphs.emplace_back(new graph()), u"Text");
  text->binary_data.assign(57, 0);
  add_asset(p, 1, u"", std::string(58, '\0'));
  add_asset(p, 1, u"");
  const std::string doc = write(p);
  EXPECT_EQ(doc.find("&#13;"), npos);  // real line ends in data
  std::vector<std::string> data;
  for (std::size_t at = doc.find("<data>"); at != npos; at = doc.find("<data>", at + 1))
    data.push_back(doc.substr(at + 6, doc.find("</data>", at) - at - 6));
  const std::string line = std::string(76, 'A') + "\r\n";
  EXPECT_EQ(data, (std::vector<std::string>{"\r\n" + line, "\r\n" + line + "AA==\r\n", "\r\n"}));

  std::vector<std::string> params;
  for (const param_group_spec_t& group : text->spec()->param_groups)
    for (const param_spec_t& ps : group.params) params.push_back("<param name=\"" + to_utf8(ps.name) + "\"");
  params.push_back("<param name=\"font\">\n\t\t\t\t\t\t\t<binary size=\"57\">\n\t\t\t\t\t\t\t\t<data>");
  params.push_back("</params>");
  expect_in_order(doc, params);
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

  add(p.graphs.emplace_back(new graph()), u"Marble");  // what came before the unknown type stays
  graph* second = p.graphs.emplace_back(new graph());
  add(second, u"Constant");
  second->nodes.push_back(node_create_with_type(999));
  add(second, u"PassThru");
  EXPECT_FALSE(write_path(p, scratch("partial.xml")));
  const std::string partial = read_file(scratch("partial.xml"));
  EXPECT_EQ(partial.rfind(head, 0), 0u);
  expect_in_order(partial, {"type=\"Marble\"", "type=\"Constant\""});
  EXPECT_EQ(partial.find("type=\"PassThru\""), npos);
  EXPECT_EQ(partial.find("</project>"), npos);
}
