// Hand-written documents through the reader: what it takes, what it passes over, what it drops.
#include "persistence_support.h"

#include <memory>

using namespace persistence_test;

namespace {

class Reader : public EngineTest {
 protected:
  project p;

  // Attributes a node needs to be kept.
  static std::string node(const std::string& type, int idx, const std::string& more = "",
                          const std::string& content = "") {
    return "<node idx=\"" + std::to_string(idx) + "\" type=\"" + type + "\" display=\"1,2,3,4\" " + more + ">" +
           content + "</node>";
  }
  static std::string conn(int to, const std::string& input, int from) {
    return "<input-conn node-idx=\"" + std::to_string(to) + "\" input-name=\"" + input + "\" conn-node-idx=\"" +
           std::to_string(from) + "\"/>";
  }
  static std::string graph_of(const std::string& nodes, const std::string& conns = "") {
    return "<graph><nodes>" + nodes + "</nodes><node-conns><input-conns>" + conns +
           "</input-conns></node-conns></graph>";
  }
  const graph& only_graph() const {
    EXPECT_EQ(p.graphs.size(), 1u);
    return *p.graphs.at(0);
  }
};

}  // namespace

TEST_F(Reader, VersionOrderAndUnknownElementsDoNotMatter) {
  // An empty version, the assets first, and the graphs inside an element the reader doesn't know:
  // its children are seen at its own level.
  ASSERT_TRUE(read_text(p,
      "<?xml version=\"1.0\"?><project><version/>"
      "<assets><asset linkage=\"embedded\" name=\"first\"><embedded size=\"1\"><data>QQ==</data></embedded>"
      "</asset></assets>"
      "<extra kind=\"newer\"><graphs><graph name=\"inside extra\"><nodes>" + node("Constant", 0) +
      "</nodes></graph></graphs></extra></project>"));
  ASSERT_EQ(p.graphs.size(), 1u);
  EXPECT_EQ(p.graphs[0]->name, u"inside extra");
  EXPECT_EQ(p.graphs[0]->nodes.size(), 1u);
  ASSERT_EQ(p.assets.items.size(), 1u);
  EXPECT_EQ(p.assets.items[0]->data[0], 'A');

  project q;
  ASSERT_TRUE(read_text(q, "<project><version>99</version><graphs>" + graph_of(node("Marble", 0)) +
                               "</graphs></project>"));
  ASSERT_EQ(q.graphs.size(), 1u);
  EXPECT_EQ(q.graphs[0]->nodes[0]->type_id, 16u);

  // Names are compared over the expected length only, and namespaces are not looked at.
  project r;
  ASSERT_TRUE(read_text(r,
      "<project xmlns:x=\"urn:x\"><x:graphsAndMore><graph-like name=\"g\"><nodes>"
      "<node-ish idx=\"0\" type=\"Constant\" display=\"1,2,3,4\"/></nodes></graph-like></x:graphsAndMore>"
      "<settingsX><settingY name=\"k\" value=\"v\"/></settingsX></project>"));
  ASSERT_EQ(r.graphs.size(), 1u);
  EXPECT_EQ(r.graphs[0]->name, u"g");
  EXPECT_EQ(r.graphs[0]->nodes.size(), 1u);
  EXPECT_EQ(r.settings.at(u"k"), u"v");
}

TEST_F(Reader, NodesAttributesAndDroppedNodes) {
  ASSERT_TRUE(read_text(p, document(graph_of(
      node("Constant", 0, "name=\"a\" disabled=\"TrUe\"") +
      "<node idx=\"1\" type=\"PassThru\" display=\"1,2,3\" name=\"b\"/>" +  // three numbers: dropped
      node("PassThru", 2, "name=\"c\" disabled=\"yes\"") +
      "<node idx=\"3\" type=\"PassThru\" display=\"-5,6,-7,8\" name=\"d\"/>" +
      "<node idx=\"-1\" type=\"PassThru\" display=\"1,2,3,4\" name=\"negative idx\"/>" +
      "<node type=\"PassThru\" display=\"1,2,3,4\" name=\"no idx\"/>" +
      "<node idx=\"6\" display=\"1,2,3,4\" name=\"no type\"/>" +
      "<node idx=\"7\" type=\"PassThru\" name=\"no display\"/>",
      // Written against the positions in the file: after the drop, position 2 is "d", 3 is nobody.
      conn(2, "RGB", 0) + conn(3, "RGB", 2)))));
  const graph& g = only_graph();
  ASSERT_EQ(g.nodes.size(), 3u);
  EXPECT_EQ(g.nodes[0]->name, u"a");
  EXPECT_TRUE(g.nodes[0]->disabled);
  EXPECT_EQ(g.nodes[1]->name, u"c");
  EXPECT_FALSE(g.nodes[1]->disabled);
  const shadetree_node_t& d = *g.nodes[2];
  EXPECT_EQ(d.name, u"d");
  EXPECT_EQ(d.display_x, 10);  // negative numbers are not applied
  EXPECT_EQ(d.display_y, 6);
  EXPECT_EQ(d.display_w, 175);
  EXPECT_EQ(d.display_h, 8);
  EXPECT_TRUE(d.dirty_flag);

  EXPECT_TRUE(g.nodes[1]->input_connections.empty());
  ASSERT_EQ(d.input_connections.size(), 1u);
  EXPECT_EQ(d.input_connections.at(u"RGB"), g.nodes[0]);
  EXPECT_EQ(g.nodes[0]->output_connections[0], std::vector<shadetree_node_t*>{g.nodes[2]});
}

TEST_F(Reader, ParametersCurvesAndBlobs) {
  const std::string marble_params =
      "<params>"
      "<param name=\"amplitude\" value=\"0.5\"><curve><item type=\"line\"><point x=\"0\" y=\"0.25\"/>"
      "<point x=\"1\" y=\"0.75\"/></item></curve></param>"  // value and time curve: both kept
      "<param name=\"octaves\" value=\"4\"><curve disabled=\"true\"/></param>"  // not curveable, no curve type
      "<param name=\"unknown\" value=\"x\"><curve/></param>"
      "<param value=\"no name\"/>"
      "<param name=\"size\"><binary size=\"3\"><data>\r\nYWJj\r\n</data></binary></param>"
      "</params>";
  const std::string curve_params =
      "<params><param name=\"value\"><curve disabled=\"TRUE\">"
      "<item type=\"bezier\"><point x=\"0\" y=\"0\"/><point x=\"0.25\" y=\"0.5\"/><point x=\"0.5\"/>"
      "<point x=\"0.75\" y=\"0.5\"/><point x=\"1\" y=\"1\"/></item>"
      "<item><point x=\"0.9\" y=\"0.8\"/></item>"  // no type: no item; the point lands in the previous one
      "<item type=\"spline\"><point x=\"0.5\" y=\"0.5\"/></item>"  // read as a line
      "</curve></param></params>";
  const std::string expr_params = "<params><param name=\"expression\" value=\"_1 + 2 * _2\"/></params>";
  ASSERT_TRUE(read_text(p, document(graph_of(node("Marble", 0, "", marble_params) +
                                             node("GreyCurve", 1, "", curve_params) +
                                             node("ScalarExpr", 2, "", expr_params) + node("Constant", 3)))));
  const graph& g = only_graph();
  ASSERT_EQ(g.nodes.size(), 4u);

  const shadetree_node_t& marble = *g.nodes[0];
  std::unordered_map<wstring, wstring> params{{u"amplitude", u"0.5"}, {u"octaves", u"4"}, {u"unknown", u"x"}};
  EXPECT_EQ(marble.params, params);  // the file's texts replace the defaults
  ASSERT_EQ(marble.time_curves.size(), 1u);
  expect_curve_near(marble.time_curves.at(u"amplitude"), make_curve({line(0, 0.25f, 1, 0.75f)}), "amplitude");
  EXPECT_EQ(marble.param_curves.count(u"octaves"), 0u);
  EXPECT_EQ(marble.binary_data, (std::vector<uint8_t>{'a', 'b', 'c'}));  // a blob under any parameter

  const curve& c = g.nodes[1]->param_curves.at(u"value");
  EXPECT_TRUE(c.enabled);  // only "true" exactly disables
  ASSERT_EQ(c.items.size(), 2u);
  EXPECT_EQ(c.items[0].type, curve_item_bezier);
  // The point without y was overwritten by the next; the typeless item started again at place 0.
  const float want[5][2] = {{0.9f, 0.8f}, {0.25f, 0.5f}, {0.75f, 0.5f}, {1, 1}, {0, 0}};
  for (int k = 0; k < 5; ++k) {
    EXPECT_FLOAT_EQ(c.items[0].points[k][0], want[k][0]) << k;
    EXPECT_FLOAT_EQ(c.items[0].points[k][1], want[k][1]) << k;
  }
  EXPECT_EQ(c.items[1].type, curve_item_line);
  EXPECT_FLOAT_EQ(c.items[1].points[0][0], 0.5f);
  EXPECT_FLOAT_EQ(c.items[1].points[1][0], 1.0f);  // a new item's second point is (1, 1)

  const shadetree_node_t& expr = *g.nodes[2];
  EXPECT_EQ(expr.params.at(u"expression"), u"_1 + 2 * _2");
  EXPECT_EQ(expr.expression->root, nullptr);  // text alone, no tree

  std::unique_ptr<shadetree_node_t> fresh(make_node(u"Constant"));
  EXPECT_EQ(g.nodes[3]->params, fresh->params);  // no params element: the defaults stay
}

TEST_F(Reader, SettingsBecomeFieldsByTheirRules) {
  p.width = 300, p.height = 200;
  p.settings[u"kept"] = u"from before";
  p.settings[u"k"] = u"old";
  const std::string settings =
      "<settings>"
      "<setting name=\"k\" value=\"new\"/>"
      "<setting name=\"\" value=\"empty name\"/><setting name=\"no value\"/><setting value=\"no name\"/>"
      "<setting name=\"render-size-x\" value=\"0\"/><setting name=\"render-size-y\" value=\"512\"/>"
      "<setting name=\"preview-percent\" value=\"-3\"/><setting name=\"preview-showalpha\" value=\"TRUE\"/>"
      "<setting name=\"renderthreads-spectype-editor\" value=\"bogus\"/>"
      "<setting name=\"renderthreads-editor\" value=\"7\"/>"
      "<setting name=\"renderthreads-spectype-editor-preview\" value=\"absolute\"/>"
      "<setting name=\"renderthreads-editor-preview\" value=\"0\"/>"
      "<setting name=\"renderthreads-spectype-runtime\" value=\"percentage\"/>"
      "<setting name=\"renderthreads-runtime\" value=\"80\"/>"
      "<setting name=\"max-undoredo-steps\" value=\"0\"/><setting name=\"animation-frames\" value=\"abc\"/>"
      "<setting name=\"preview-supersampling\" value=\"yes\"/>"
      "</settings>";
  p.renderthreads_spectype_editor = 1, p.renderthreads_editor = 1000;
  p.renderthreads_spectype_runtime = 0, p.renderthreads_runtime = 4;
  p.preview_showalpha = 1, p.preview_supersampling = 1;
  ASSERT_TRUE(read_text(p, "<project>" + settings + "</project>"));

  EXPECT_EQ(p.settings.at(u"kept"), u"from before");
  EXPECT_EQ(p.settings.at(u"k"), u"new");
  EXPECT_EQ(p.settings.count(u""), 0u);
  EXPECT_EQ(p.settings.count(u"no value"), 0u);
  EXPECT_EQ(p.width, 300u);
  EXPECT_EQ(p.settings.at(u"render-size-x"), u"0");
  EXPECT_EQ(p.height, 512u);
  EXPECT_EQ(p.preview_permille, 1000u);
  EXPECT_EQ(p.preview_showalpha, 0);
  EXPECT_EQ(p.renderthreads_spectype_editor, 1u);  // neither word: the pair stays
  EXPECT_EQ(p.renderthreads_editor, 1000u);
  EXPECT_EQ(p.renderthreads_spectype_editor_preview, 0u);
  EXPECT_EQ(p.renderthreads_editor_preview, 500u);  // 0 is no thread count
  EXPECT_EQ(p.renderthreads_spectype_runtime, 1u);
  EXPECT_EQ(p.renderthreads_runtime, 80u);
  // Refused numbers and words: the present value is set again, and its text replaces the bad one.
  EXPECT_EQ(p.max_undo_redo_steps, 10u);
  EXPECT_EQ(p.settings.at(u"max-undoredo-steps"), u"10");
  EXPECT_EQ(p.animation_frames, 25u);
  EXPECT_EQ(p.settings.at(u"animation-frames"), u"25");
  EXPECT_EQ(p.preview_supersampling, 1);
  EXPECT_EQ(p.settings.at(u"preview-supersampling"), u"true");

  ASSERT_TRUE(read_text(p, "<project><settings><setting name=\"preview-supersampling\" value=\"false\"/>"
                           "<setting name=\"animation-frames\" value=\"12\"/></settings></project>"));
  EXPECT_EQ(p.preview_supersampling, 0);
  EXPECT_EQ(p.animation_frames, 12u);

  // A document that breaks off is not applied, though its settings entered the map.
  EXPECT_FALSE(read_text(p, "<project><settings><setting name=\"render-size-y\" value=\"64\"/></settings>"));
  EXPECT_EQ(p.height, 512u);
}

TEST_F(Reader, ReadingAppendsToTheProject) {
  const std::string doc = document(graph_of(node("Constant", 0)) + "<graph name=\"second\"/>",
                                    "<assets><asset linkage=\"linked\" link-filepath=\"relative\">"
                                    "<path>\n  some/file.png \t</path></asset></assets>");
  ASSERT_TRUE(read_text(p, doc));
  ASSERT_TRUE(read_text(p, doc));
  ASSERT_EQ(p.graphs.size(), 4u);
  EXPECT_EQ(p.graphs[3]->name, u"second");
  EXPECT_TRUE(p.dirty);
  EXPECT_TRUE(p.graphs[0]->dirty);
  EXPECT_EQ(p.active_graph_idx, -1);  // not in the file
  ASSERT_EQ(p.assets.items.size(), 2u);
  EXPECT_EQ(p.assets.items[1]->filepath, u"some/file.png");
  EXPECT_EQ(p.assets.items[1]->link_filepath, 0u);
  EXPECT_TRUE(p.assets.dirty);
  EXPECT_EQ(p.assets.active_asset_idx, -1);

  // A document that isn't well-formed keeps what was finished before the break.
  project q;
  EXPECT_FALSE(read_text(q, "<project><graphs><graph name=\"done\"/><graph name=\"open\"><nodes>" +
                                node("Constant", 0) + "</nodes"));
  ASSERT_EQ(q.graphs.size(), 1u);
  EXPECT_EQ(q.graphs[0]->name, u"done");
  EXPECT_FALSE(project_read_from_file_xml(&q, wide(scratch("missing.xml")).c_str()));
  EXPECT_FALSE(read_text(q, ""));
}

TEST_F(Reader, AssetsByLinkage) {
  ASSERT_TRUE(read_text(p, document("",
      "<assets>"
      "<asset linkage=\"linked\" link-filepath=\"embedded\" name=\"one\"><path>p1</path></asset>"
      "<asset linkage=\"linked\" link-filepath=\"absolute\" name=\"dropped\"><path>p2</path>"
      "<embedded size=\"2\"><data>QUI=</data></embedded></asset>"
      "<asset linkage=\"linked\" name=\"dropped, no label\"><path>p3</path></asset>"
      "<asset linkage=\"other\" name=\"dropped, other linkage\"><embedded size=\"1\"><data>QQ==</data></embedded>"
      "</asset>"
      "<asset name=\"dropped, no linkage\"/>"
      "<asset linkage=\"embedded\" name=\"no size\"><embedded><data>QUJD</data></embedded></asset>"
      "<asset linkage=\"embedded\" name=\"short\"><embedded size=\"4\"><path>ignored</path><data>\r\n"
      "QUJD\r\n</data></embedded></asset>"
      "<asset linkage=\"embedded\" name=\"negative\"><embedded size=\"-1\"><data>QUI=</data></embedded></asset>"
      "</assets>")));
  ASSERT_EQ(p.assets.items.size(), 4u);
  const asset& one = *p.assets.items[0];
  EXPECT_EQ(one.name, u"one");
  EXPECT_EQ(one.linkage, 0u);
  EXPECT_EQ(one.link_filepath, 1u);
  EXPECT_EQ(one.filepath, u"p1");
  EXPECT_EQ(one.image, nullptr);  // a linked asset's image is the host's to load

  const asset& no_size = *p.assets.items[1];
  EXPECT_EQ(no_size.name, u"no size");
  EXPECT_EQ(no_size.data, nullptr);
  EXPECT_EQ(no_size.data_size, 0u);

  const asset& short_data = *p.assets.items[2];
  EXPECT_TRUE(short_data.filepath.empty());
  ASSERT_EQ(short_data.data_size, 4u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(short_data.data), 4), std::string("ABC\0", 4));

  const asset& negative = *p.assets.items[3];
  ASSERT_EQ(negative.data_size, 2u);  // a negative size counts the characters of its text
  EXPECT_EQ(std::string(reinterpret_cast<char*>(negative.data), 2), "AB");
}

TEST_F(Reader, InputsLeftOpenAreDroppedContent) {
  const std::string nodes =
      node("NoSuchType", 0, "",
           "<params><param name=\"font\"><binary size=\"3\"><data>YWJj</data></binary></param>"
           "<param name=\"value\"><curve><item type=\"line\"><point x=\"0\" y=\"0\"/></item></curve></param>"
           "</params>") +
      node("Constant", 1, "",
           "<params><param name=\"value\" value=\"0.25\"><curve>"
           "<item><point x=\"0.5\" y=\"0.5\"/></item>"  // a point with no item at all
           "<item type=\"line\"><point x=\"0\" y=\"0\"/><point x=\"1\" y=\"1\"/><point x=\"0.1\" y=\"0.1\"/>"
           "<point x=\"0.2\" y=\"0.2\"/><point x=\"0.3\" y=\"0.3\"/><point x=\"0.4\" y=\"0.4\"/>"
           "<point x=\"0.5\" y=\"0.5\"/></item>"  // seven points for five places
           "</curve></param></params>") +
      node("Text", 2, "",
           "<params><param name=\"font\"><binary size=\"4\"><data>QUJDREVGR0g=</data></binary></param>"
           "</params>");  // eight bytes into four
  const std::string conns = conn(0, "RGB", 99) + conn(99, "RGB", 0) + conn(0, "RGB", 1) +
                            "<input-conn node-idx=\"1\" input-name=\"RGB\"/>" +
                            "<input-conn node-idx=\"-7\" input-name=\"RGB\" conn-node-idx=\"-1\"/>";
  ASSERT_TRUE(read_text(p, document(graph_of(nodes, conns),
                                    "<assets><asset linkage=\"linked\" link-filepath=\"absolute\">"
                                    "<path>x</path></asset></assets>")));
  const graph& g = only_graph();
  ASSERT_EQ(g.nodes.size(), 2u);
  const shadetree_node_t& constant = *g.nodes[0];
  ASSERT_EQ(constant.time_curves.count(u"value"), 1u);
  const curve& c = constant.time_curves.at(u"value");
  ASSERT_EQ(c.items.size(), 1u);
  const float want[5] = {0, 1, 0.1f, 0.2f, 0.3f};
  for (int k = 0; k < 5; ++k) EXPECT_FLOAT_EQ(c.items[0].points[k][1], want[k]) << k;
  EXPECT_EQ(constant.params.at(u"value"), u"0.25");

  const shadetree_node_t& text = *g.nodes[1];
  EXPECT_EQ(text.binary_data, (std::vector<uint8_t>{'A', 'B', 'C', 'D'}));

  // The connection 0 <- 1 lands on the Constant (position 0) fed by the Text (position 1); the
  // text of "-7" and "-1" has two characters, so they name positions 2 and 2: nobody.
  ASSERT_EQ(constant.input_connections.size(), 1u);
  EXPECT_EQ(constant.input_connections.at(u"RGB"), &text);
  EXPECT_TRUE(text.input_connections.empty());
  EXPECT_TRUE(p.assets.items.empty());
}
