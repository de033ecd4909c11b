// Hand-written documents through the reader: what it takes, what it passes over, what it drops.
#include <tuple>

#include "persistence_support.h"

using namespace persistence_test;

namespace {

std::string node(const std::string& type, int idx, const std::string& content = "", const std::string& more = "") {
  return "<node idx=\"" + std::to_string(idx) + "\" type=\"" + type + "\" display=\"1,2,3,4\"" + more + ">" + content +
         "</node>";
}
std::string conn(const std::string& to, const std::string& from) {
  return "<input-conn node-idx=\"" + to + "\" input-name=\"RGB\" conn-node-idx=\"" + from + "\"/>";
}
std::string document(const std::string& nodes, const std::string& conns = "", const std::string& rest = "") {
  return "<project><version>1</version><graphs><graph><nodes>" + nodes + "</nodes><node-conns><input-conns>" + conns +
         "</input-conns></node-conns></graph></graphs>" + rest + "</project>";
}

class Reader : public EngineTest {
 protected:
  project p;
};

}  // namespace

TEST_F(Reader, VersionOrderAndUnknownElementsDoNotMatter) {
  // Empty version, assets first, graphs inside an unknown element: its children count at its level.
  ASSERT_TRUE(read_text(p, "<project><version/><assets><asset linkage=\"embedded\"><embedded size=\"1\"><data>QQ=="
                           "</data></embedded></asset></assets><extra><graphs><graph name=\"in extra\"><nodes>" +
                               node("Constant", 0) + "</nodes></graph></graphs></extra></project>"));
  EXPECT_EQ(std::tie(p.graphs.at(0)->name, p.graphs[0]->nodes.at(0)->type_id), std::make_tuple(u"in extra", 17u));
  EXPECT_EQ(bytes_of(p.assets.items.at(0)), "A");
  project q;  // a version of "99"; names compared over the expected length only, namespaces not looked at
  ASSERT_TRUE(read_text(q, "<project xmlns:x=\"urn:x\"><version>99</version><x:graphsAndMore><graph-like><nodes>"
                           "<node-ish idx=\"0\" type=\"Marble\" display=\"1,2,3,4\"/></nodes></graph-like>"
                           "</x:graphsAndMore></project>"));
  EXPECT_EQ(q.graphs.at(0)->nodes.at(0)->type_id, 16u);
}

TEST_F(Reader, ReadingAppendsAndKeepsWhatWasFinished) {
  const std::string doc = document(node("Constant", 0), "", "<assets><asset linkage=\"linked\" "
                                   "link-filepath=\"relative\"><path>\n  some/file.png \t</path></asset></assets>");
  ASSERT_TRUE(read_text(p, doc));
  ASSERT_TRUE(read_text(p, doc));
  EXPECT_EQ(p.graphs.size(), 2u);
  EXPECT_TRUE(project_dirty(&p));
  EXPECT_EQ(project_active_graph(&p), nullptr);  // the active graph is not in the file
  EXPECT_EQ(p.assets.items.at(1)->filepath, u"some/file.png");
  EXPECT_TRUE(p.assets.dirty);

  project q;
  EXPECT_FALSE(read_text(q, "<project><graphs><graph name=\"done\"/><graph name=\"open\"><nodes>" + node("Marble", 0)));
  EXPECT_EQ(q.graphs.at(0)->name, u"done");
  EXPECT_EQ(q.graphs.size(), 1u);
  EXPECT_FALSE(read_path(q, scratch("missing.xml")));
}

TEST_F(Reader, DroppedNodesShiftLaterConnections) {
  ASSERT_TRUE(read_text(p, document(
      node("Constant", 0, "", " disabled=\"TrUe\"") + "<node idx=\"1\" type=\"PassThru\" display=\"1,2,3\"/>" +
      node("PassThru", 2, "", " name=\"c\" disabled=\"yes\"") +
      "<node idx=\"3\" type=\"PassThru\" display=\"-5,6,-7,8\" name=\"d\"/><node type=\"PassThru\" display=\"1,2,3,4\""
      "/><node idx=\"-1\" type=\"PassThru\" display=\"1,2,3,4\"/><node idx=\"6\" display=\"1,2,3,4\"/><node idx=\"7\" "
      "type=\"PassThru\"/>",  // three numbers, no idx, a negative idx, no type, no display: dropped
      conn("2", "0") + conn("3", "2"))));  // file positions: now the node "d", and nobody
  const std::vector<shadetree_node_t*>& n = p.graphs.at(0)->nodes;
  ASSERT_EQ(n.size(), 3u);
  EXPECT_EQ(std::make_tuple(n[0]->disabled, n[1]->name, n[1]->disabled), std::make_tuple(true, u"c", false));
  EXPECT_EQ(std::tie(n[2]->name, n[2]->display_x, n[2]->display_y, n[2]->display_w, n[2]->display_h),
            std::make_tuple(u"d", 10, 6, 175, 8));  // negative numbers are not applied
  EXPECT_TRUE(n[2]->dirty_flag);
  EXPECT_TRUE(n[1]->input_connections.empty());
  EXPECT_EQ(n[2]->connected(u"RGB"), n[0]);
  EXPECT_EQ(n[0]->output_connections[0], std::vector<shadetree_node_t*>{n[2]});
}

TEST_F(Reader, ParametersCurvesAndBlobs) {
  ASSERT_TRUE(read_text(p, document(
      node("Marble", 0, "<params><param name=\"amplitude\" value=\"0.5\"><curve><item type=\"line\"><point x=\"0\" "
           "y=\"0.25\"/><point x=\"1\" y=\"0.75\"/></item></curve></param>"  // value and time curve: both kept
           "<param name=\"octaves\" value=\"4\"><curve/></param>"            // neither curveable nor a curve
           "<param name=\"unknown\" value=\"x\"/><param value=\"no name\"/>"
           "<param name=\"size\"><binary size=\"3\"><data>\r\nYWJj\r\n</data></binary></param></params>") +
      node("GreyCurve", 1, "<params><param name=\"value\"><curve disabled=\"TRUE\"><item type=\"bezier\">"
           "<point x=\"0\" y=\"0\"/><point x=\"0.25\" y=\"0.5\"/><point x=\"0.5\"/><point x=\"0.75\" y=\"0.5\"/>"
           "<point x=\"1\" y=\"1\"/></item><item><point x=\"0.9\" y=\"0.8\"/></item>"
           "<item type=\"spline\"><point x=\"0.5\" y=\"0.5\"/></item></curve></param></params>"))));
  const std::vector<shadetree_node_t*>& n = p.graphs.at(0)->nodes;
  ASSERT_EQ(n.size(), 2u);
  EXPECT_EQ(n[0]->params, (std::unordered_map<wstring, wstring>{{u"amplitude", u"0.5"}, {u"octaves", u"4"},
                                                                  {u"unknown", u"x"}}));
  ASSERT_EQ(n[0]->time_curves.size(), 1u);
  expect_curve_near(n[0]->time_curves.at(u"amplitude"), make_curve({{0, 0.25f, 1, 0.75f}}));
  EXPECT_TRUE(n[0]->param_curves.empty());
  EXPECT_EQ(n[0]->binary_data, (std::vector<uint8_t>{'a', 'b', 'c'}));  // a blob under any parameter
  // Only "true" exactly disables; a point without y is overwritten by the next; a point in an item
  // without type goes to the item before; a spline item reads as a line.
  expect_curve_near(n[1]->param_curves.at(u"value"),
                    make_curve({{0.9f, 0.8f, 0.25f, 0.5f, 0.75f, 0.5f, 1, 1}, {0.5f, 0.5f, 1, 1}}));
}

TEST_F(Reader, SettingsBecomeFieldsByTheirRules) {
  // Name, file text, field, field after reading, map text after reading if not the file's.
  struct rule { std::string name, value; uint32_t project::*field; uint32_t want; std::string text; };
  const rule rules[] = {
      {"render-size-x", "0", &project::width, 256, ""}, {"render-size-y", "512", &project::height, 512, ""},
      {"renderthreads-spectype-editor", "bogus", &project::renderthreads_spectype_editor, 0, ""},
      {"renderthreads-editor", "7", &project::renderthreads_editor, 1000, ""},  // its pair stays
      {"renderthreads-spectype-runtime", "percentage", &project::renderthreads_spectype_runtime, 1, ""},
      {"renderthreads-runtime", "0", &project::renderthreads_runtime, 1000, ""},  // not at least 1
      {"renderthreads-spectype-editor-preview", "absolute", &project::renderthreads_spectype_editor_preview, 0, ""},
      {"renderthreads-editor-preview", "80", &project::renderthreads_editor_preview, 80, ""},
      {"max-undoredo-steps", "0", &project::max_undo_redo_steps, 10, "10"},  // the present value written back
      {"animation-frames", "abc", &project::animation_frames, 25, "25"},
      {"k", "new", nullptr, 0, ""}, {"kept", "", nullptr, 0, "before"}};
  p.renderthreads_spectype_editor = 0, p.renderthreads_spectype_runtime = 0;
  p.preview_showalpha = 1, p.preview_supersampling = 1;
  p.settings[u"kept"] = u"before", p.settings[u"k"] = u"old";
  std::string xml = "<project><settings><setting name=\"preview-showalpha\" value=\"TRUE\"/><setting name=\"\" "
                    "value=\"v\"/><setting name=\"kept\"/><setting name=\"preview-supersampling\" value=\"yes\"/>";
  for (const auto& r : rules)
    if (r.name != "kept") xml += "<setting name=\"" + r.name + "\" value=\"" + r.value + "\"/>";
  ASSERT_TRUE(read_text(p, xml + "</settings></project>"));
  for (const auto& r : rules) {
    EXPECT_TRUE(!r.field || p.*r.field == r.want) << r.name;
    EXPECT_EQ(to_utf8(p.settings.at(from_utf8(r.name))), r.text.empty() ? r.value : r.text) << r.name;
  }
  EXPECT_FALSE(project_dirty(&p));  // no graph in the file
  EXPECT_EQ(p.settings.count(u""), 0u);
  EXPECT_EQ(std::tie(p.preview_showalpha, p.preview_supersampling), std::make_tuple(uint8_t(0), uint8_t(1)));
  EXPECT_EQ(p.settings.at(u"preview-supersampling"), u"true");
  ASSERT_TRUE(read_text(p, "<project><settings><setting name=\"preview-supersampling\" value=\"false\"/>"
                           "</settings></project>") && p.preview_supersampling == 0);
  // A document that breaks off is not applied, though its settings entered the map.
  EXPECT_FALSE(read_text(p, "<project><settings><setting name=\"render-size-y\" value=\"64\"/></settings>"));
  EXPECT_EQ(p.height, 512u);
}

TEST_F(Reader, AssetsByLinkageAndTheirBytes) {
  const std::string embedded = "<asset linkage=\"embedded\"><embedded size=\"";
  ASSERT_TRUE(read_text(p, document("", "",
      "<assets><asset linkage=\"linked\" link-filepath=\"embedded\" name=\"one\"><path>p1</path></asset>"
      "<asset linkage=\"linked\" link-filepath=\"absolute\"><path>p2</path><embedded size=\"2\"><data>QUI=</data>"
      "</embedded></asset><asset linkage=\"linked\"><path>p3</path></asset><asset linkage=\"other\"><embedded "
      "size=\"1\"><data>QQ==</data></embedded></asset><asset name=\"x\"/><asset linkage=\"embedded\"><embedded>"
      "<data>QUJD</data></embedded></asset>" +
      embedded + "4\"><path>ignored</path><data>\r\nQUJD\r\n</data></embedded></asset>" +  // short data
      embedded + "-1\"><data>QUI=</data></embedded></asset>" +  // negative: the length of the size text
      embedded + "3\"><data>TQ==TWE=</data></embedded></asset>" +  // "=" ends a group's output
      embedded + "4\"><data>TW*uTWFu</data></embedded></asset>" +  // so does a character outside the alphabet
      embedded + "6\"><data>TW&#70;uTW&#70;u</data></embedded></asset></assets>")));  // groups across runs
  ASSERT_EQ(p.assets.items.size(), 7u);
  const asset& one = *p.assets.items[0];
  EXPECT_EQ(std::tie(one.name, one.linkage, one.link_filepath, one.filepath), std::make_tuple(u"one", 0u, 1u, u"p1"));
  EXPECT_EQ(one.image, nullptr);  // a linked asset's image is the host's to load
  EXPECT_EQ(std::tie(p.assets.items[1]->data, p.assets.items[1]->data_size), std::make_tuple(nullptr, 0u));
  EXPECT_TRUE(p.assets.items[2]->filepath.empty());
  const std::string want[] = {std::string("ABC\0", 4), "AB", "MMa", "MMan", "ManMan"};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(bytes_of(p.assets.items[2 + i]), want[i]) << i;
}

TEST_F(Reader, InputsLeftOpenAreDroppedContent) {
  ASSERT_TRUE(read_text(p, document(
      node("NoSuchType", 0, "<params><param name=\"font\"><binary size=\"3\"><data>YWJj</data></binary></param><param "
           "name=\"value\"><curve><item type=\"line\"><point x=\"0\" y=\"0\"/></item></curve></param></params>") +
      node("Constant", 1, "<params><param name=\"value\" value=\"0.25\"><curve><item><point x=\"0.5\" y=\"0.5\"/>"
           "</item><item type=\"line\"><point x=\"0\" y=\"0\"/><point x=\"1\" y=\"1\"/><point x=\"0.1\" y=\"0.1\"/>"
           "<point x=\"0.2\" y=\"0.2\"/><point x=\"0.3\" y=\"0.3\"/><point x=\"0.4\" y=\"0.4\"/>"
           "<point x=\"0.5\" y=\"0.5\"/></item></curve></param></params>") +  // no item; seven points for five
      node("Text", 2, "<params><param name=\"font\"><binary size=\"4\"><data>QUJDREVGR0g=</data></binary></param>"
           "</params>"),  // eight bytes into four
      conn("0", "99") + conn("99", "0") + conn("0", "1") + "<input-conn node-idx=\"1\" input-name=\"RGB\"/>" +
          conn("-7", "-1") +  // a negative index counts the characters of its text: 2, nobody
          conn("1", "0") + conn("0", "0"),  // connections that would close a cycle are dropped
      "<assets><asset linkage=\"linked\" link-filepath=\"absolute\"><path>x</path></asset></assets>")));
  const std::vector<shadetree_node_t*>& n = p.graphs.at(0)->nodes;
  ASSERT_EQ(n.size(), 2u);
  curve want = make_curve({{0, 0, 1, 1}});
  for (int k = 2; k < 5; ++k) want.items[0].points[k][0] = want.items[0].points[k][1] = 0.1f * float(k - 1);
  expect_curve_near(n[0]->time_curves.at(u"value"), want);
  EXPECT_EQ(n[0]->params.at(u"value"), u"0.25");
  EXPECT_EQ(n[1]->binary_data, (std::vector<uint8_t>{'A', 'B', 'C', 'D'}));
  EXPECT_EQ(n[0]->input_connections, (std::map<wstring, shadetree_node_t*>{{u"RGB", n[1]}}));
  EXPECT_TRUE(n[1]->input_connections.empty());
  EXPECT_TRUE(p.assets.items.empty());
}
