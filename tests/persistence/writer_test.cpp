// The document the writer produces, and when it refuses to write.
#include "persistence_support.h"

using namespace persistence_test;

namespace {

class Writer : public EngineTest {
 protected:
  static shadetree_node_t* add(graph* g, const char16_t* type) {
    shadetree_node_t* n = make_node(type);
    g->nodes.push_back(n);
    return n;
  }
  static void connect(shadetree_node_t* from, shadetree_node_t* to, const char16_t* input) {
    node_set_output_for_input_keyed(to, input, from);
    node_add_input_for_output(from, 0, to);
  }
  static std::string write(project& p, const std::string& name) {
    std::string path = scratch(name);
    EXPECT_TRUE(write_project(p, path));
    return read_file(path);
  }
  // The content of each `data` element, in order.
  static std::vector<std::string> data_contents(const std::string& doc) {
    std::vector<std::string> out;
    for (std::size_t at = doc.find("<data>"); at != std::string::npos; at = doc.find("<data>", at + 1))
      out.push_back(doc.substr(at + 6, doc.find("</data>", at) - at - 6));
    return out;
  }
};

const char* const head =
    "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n"
    "<project xmlns=\"http://quorin.invalid/schema/procgen\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"http://quorin.invalid/schema/procgen ../engine/project-format.xsd\">\n"
    "\t<version>1</version>\n";

}  // namespace

TEST_F(Writer, WholeDocumentOfASmallProject) {
  project p;
  p.settings.clear();
  p.settings[u"render-size-x"] = u"999";  // written as the map holds it, whatever the field says
  p.settings[u"b & c"] = u"<1>";

  graph* g = new graph();
  g->name = u"main";
  p.graphs.push_back(g);
  shadetree_node_t* constant = add(g, u"Constant");
  constant->disabled = true;
  constant->name = u"k";
  constant->display_x = 1, constant->display_y = 2, constant->display_w = 3, constant->display_h = 4;
  constant->params[u"value"] = u"0.5";  // under the time curve: not written
  constant->time_curves[u"value"] = make_curve({line(0, 0.25f, 1, 0.75f)}, false);
  constant->time_curves[u"elsewhere"] = make_curve({line(0, 0, 1, 1)});  // no such parameter
  constant->params[u"elsewhere"] = u"1";                                 // nor here
  shadetree_node_t* curve_node = add(g, u"GreyCurve");
  curve_node->param_curves[u"value"] = make_curve({bezier({0, 0, 0.25f, 0.1f, 0.75f, 0.9f, 1, 1})});
  shadetree_node_t* blend = add(g, u"AlphaBlend");
  blend->params[u"opacity"] = u"0.300000";
  blend->params.erase(u"swap");  // specified but not stored: an empty value
  connect(curve_node, blend, u"RGB-2");
  connect(constant, blend, u"RGB-1");
  connect(constant, curve_node, u"grey");
  p.graphs.push_back(new graph());

  asset* linked = new asset();
  linked->link_filepath = 0;
  linked->filepath = u"a/b.png";
  p.assets.items.push_back(linked);
  asset* embedded = new asset();
  embedded->linkage = 1;
  embedded->name = u"e";
  embedded->data_size = 3;
  embedded->data = new uint8_t[3]{'a', 'b', 'c'};
  p.assets.items.push_back(embedded);

  std::string expected = std::string(head) +
      "\t<settings>\n"
      "\t\t<setting name=\"b &amp; c\" value=\"&lt;1&gt;\"/>\n"
      "\t\t<setting name=\"render-size-x\" value=\"999\"/>\n"
      "\t</settings>\n"
      "\t<graphs>\n"
      "\t\t<graph name=\"main\">\n"
      "\t\t\t<nodes>\n"
      "\t\t\t\t<node idx=\"0\" type=\"Constant\" disabled=\"true\" display=\"1,2,3,4\" name=\"k\">\n"
      "\t\t\t\t\t<params>\n"
      "\t\t\t\t\t\t<param name=\"value\">\n"
      "\t\t\t\t\t\t\t<curve disabled=\"true\">\n"
      "\t\t\t\t\t\t\t\t<item type=\"line\">\n"
      "\t\t\t\t\t\t\t\t\t<point x=\"0.000000\" y=\"0.250000\"/>\n"
      "\t\t\t\t\t\t\t\t\t<point x=\"1.000000\" y=\"0.750000\"/>\n"
      "\t\t\t\t\t\t\t\t</item>\n"
      "\t\t\t\t\t\t\t</curve>\n"
      "\t\t\t\t\t\t</param>\n"
      "\t\t\t\t\t</params>\n"
      "\t\t\t\t</node>\n"
      "\t\t\t\t<node idx=\"1\" type=\"GreyCurve\" display=\"10,10,175,200\">\n"
      "\t\t\t\t\t<params>\n"
      "\t\t\t\t\t\t<param name=\"value\">\n"
      "\t\t\t\t\t\t\t<curve>\n"
      "\t\t\t\t\t\t\t\t<item type=\"bezier\">\n"
      "\t\t\t\t\t\t\t\t\t<point x=\"0.000000\" y=\"0.000000\"/>\n"
      "\t\t\t\t\t\t\t\t\t<point x=\"0.250000\" y=\"0.100000\"/>\n"
      "\t\t\t\t\t\t\t\t\t<point x=\"0.750000\" y=\"0.900000\"/>\n"
      "\t\t\t\t\t\t\t\t\t<point x=\"1.000000\" y=\"1.000000\"/>\n"
      "\t\t\t\t\t\t\t\t</item>\n"
      "\t\t\t\t\t\t\t</curve>\n"
      "\t\t\t\t\t\t</param>\n"
      "\t\t\t\t\t</params>\n"
      "\t\t\t\t</node>\n"
      "\t\t\t\t<node idx=\"2\" type=\"AlphaBlend\" display=\"10,10,175,200\">\n"
      "\t\t\t\t\t<params>\n"
      "\t\t\t\t\t\t<param name=\"opacity\" value=\"0.300000\"/>\n"
      "\t\t\t\t\t\t<param name=\"swap\" value=\"\"/>\n"
      "\t\t\t\t\t</params>\n"
      "\t\t\t\t</node>\n"
      "\t\t\t</nodes>\n"
      "\t\t\t<node-conns>\n"
      "\t\t\t\t<input-conns>\n"
      "\t\t\t\t\t<input-conn node-idx=\"1\" input-name=\"grey\" conn-node-idx=\"0\"/>\n"
      "\t\t\t\t\t<input-conn node-idx=\"2\" input-name=\"RGB-1\" conn-node-idx=\"0\"/>\n"
      "\t\t\t\t\t<input-conn node-idx=\"2\" input-name=\"RGB-2\" conn-node-idx=\"1\"/>\n"
      "\t\t\t\t</input-conns>\n"
      "\t\t\t</node-conns>\n"
      "\t\t</graph>\n"
      "\t\t<graph>\n"
      "\t\t\t<nodes/>\n"
      "\t\t\t<node-conns>\n"
      "\t\t\t\t<input-conns/>\n"
      "\t\t\t</node-conns>\n"
      "\t\t</graph>\n"
      "\t</graphs>\n"
      "\t<assets>\n"
      "\t\t<asset linkage=\"linked\" link-filepath=\"relative\">\n"
      "\t\t\t<path>a/b.png</path>\n"
      "\t\t</asset>\n"
      "\t\t<asset linkage=\"embedded\" name=\"e\">\n"
      "\t\t\t<embedded size=\"3\">\n"
      "\t\t\t\t<data>\r\nYWJj\r\n</data>\n"
      "\t\t\t</embedded>\n"
      "\t\t</asset>\n"
      "\t</assets>\n"
      "</project>\n";
  EXPECT_EQ(write(p, "small.xml"), expected);

  // Nothing at all: no settings element, empty graphs and assets.
  project none;
  none.settings.clear();
  EXPECT_EQ(write(none, "none.xml"), std::string(head) + "\t<graphs/>\n\t<assets/>\n</project>\n");
}

TEST_F(Writer, BlobsTravelInLinesOf57Bytes) {
  project p;
  graph* g = new graph();
  p.graphs.push_back(g);
  shadetree_node_t* text = add(g, u"Text");
  text->binary_data.assign(57, 0xab);
  for (uint64_t size : {57u, 58u, 114u, 0u}) {
    asset* a = new asset();
    a->linkage = 1;
    a->data_size = size;
    a->data = new uint8_t[size ? size : 1]();
    p.assets.items.push_back(a);
  }
  std::string doc = write(p, "lines.xml");
  EXPECT_EQ(doc.find("&#13;"), std::string::npos);  // real line ends, not references

  std::vector<std::string> data = data_contents(doc);
  ASSERT_EQ(data.size(), 5u);
  const std::size_t line_ends[] = {2, 2, 3, 3, 1};  // font 57, assets 57, 58, 114, 0
  for (std::size_t i = 0; i < data.size(); ++i) {
    EXPECT_EQ(count_of(data[i], "\r\n"), line_ends[i]) << "data " << i;
    EXPECT_EQ(data[i].substr(0, 2), "\r\n");
    EXPECT_EQ(count_of(data[i], "\n"), line_ends[i]);  // no other line break
  }
  EXPECT_EQ(data[1], "\r\n" + std::string(76, 'A') + "\r\n");
  EXPECT_EQ(data[2], "\r\n" + std::string(76, 'A') + "\r\nAA==\r\n");

  // The font follows every specified parameter of the Text node, under the name "font".
  std::size_t node = doc.find("type=\"Text\"");
  std::string params = doc.substr(node, doc.find("</params>", node) - node);
  std::vector<std::string> names;
  for (std::size_t at = params.find("<param name=\""); at != std::string::npos;
       at = params.find("<param name=\"", at + 1))
    names.push_back(params.substr(at + 13, params.find('"', at + 13) - at - 13));
  std::vector<std::string> specified;
  for (const param_group_spec_t& group : text->spec()->param_groups)
    for (const param_spec_t& ps : group.params) specified.push_back(to_utf8(ps.name));
  specified.push_back("font");
  EXPECT_EQ(names, specified);
  EXPECT_NE(params.find("<param name=\"font\">\n\t\t\t\t\t\t\t<binary size=\"57\">\n\t\t\t\t\t\t\t\t<data>"),
            std::string::npos);
}

TEST_F(Writer, RefusesPathsWithoutAFolderAndStopsAtAnUnknownType) {
  project p;
  const fs::path cwd = fs::current_path();
  fs::remove(cwd / "file.xml");
  EXPECT_FALSE(project_write_xml_to_file(&p, u"file.xml"));
  EXPECT_FALSE(fs::exists(cwd / "file.xml"));
  EXPECT_FALSE(project_write_xml_to_file(&p, u"file\\with\\backslashes.xml"));
  EXPECT_FALSE(fs::exists(cwd / "file\\with\\backslashes.xml"));

  EXPECT_FALSE(write_project(p, scratch("no-such-folder/p.xml")));
  EXPECT_FALSE(fs::exists(scratch("no-such-folder")));

  // A node whose type id has no name stops the writing; what came before stays in the file.
  graph* first = new graph();
  first->name = u"first";
  p.graphs.push_back(first);
  add(first, u"Marble");
  graph* second = new graph();
  p.graphs.push_back(second);
  add(second, u"Constant");
  second->nodes.push_back(node_create_with_type(999));
  add(second, u"PassThru");
  std::string path = scratch("partial.xml");
  EXPECT_FALSE(write_project(p, path));
  std::string partial = read_file(path);
  EXPECT_EQ(partial.rfind("<?xml", 0), 0u);
  EXPECT_NE(partial.find("type=\"Marble\""), std::string::npos);
  EXPECT_NE(partial.find("type=\"Constant\""), std::string::npos);
  EXPECT_EQ(partial.find("type=\"PassThru\""), std::string::npos);
  EXPECT_EQ(partial.find("</project>"), std::string::npos);
}
