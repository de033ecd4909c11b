// Projects written and read back into an empty project compare equal, apart from what the file
// format drops on purpose.
#include "persistence_support.h"
#include "sample_project.h"
#include "codecs/decode.h"
#include "core/imgbuf.h"
#include "quorin/imgbuf4f.h"

#include <algorithm>
#include <map>

using namespace persistence_test;

namespace {

// What the file keeps of a node's parameter texts: one entry per specified parameter that is
// neither under a time curve nor a curve value, empty where nothing was stored.
std::unordered_map<wstring, wstring> kept_params(const shadetree_node_t& n) {
  std::unordered_map<wstring, wstring> kept;
  for (const param_group_spec_t& group : n.spec()->param_groups)
    for (const param_spec_t& ps : group.params) {
      if ((ps.curveable && n.time_curves.count(ps.name)) || ps.type == param_curve) continue;
      auto it = n.params.find(ps.name);
      kept[ps.name] = it != n.params.end() ? it->second : wstring();
    }
  return kept;
}

void expect_same_node(const graph& gw, const shadetree_node_t& w, const graph& gr, const shadetree_node_t& r) {
  EXPECT_EQ(r.type_id, w.type_id);
  EXPECT_EQ(r.disabled, w.disabled);
  EXPECT_EQ(r.display_x, w.display_x);
  EXPECT_EQ(r.display_y, w.display_y);
  EXPECT_EQ(r.display_w, w.display_w);
  EXPECT_EQ(r.display_h, w.display_h);
  EXPECT_EQ(r.name, w.name);
  EXPECT_EQ(r.params, kept_params(w));

  std::map<wstring, curve> want_time;
  for (const auto& [name, c] : w.time_curves) {
    const param_spec_t* ps = find_param(w.spec(), name);
    if (ps && ps->curveable) {
      want_time[name] = c;
    }
  }
  ASSERT_EQ(r.time_curves.size(), want_time.size());
  for (const auto& [name, c] : want_time) {
    ASSERT_TRUE(r.time_curves.count(name)) << to_utf8(name);
    expect_curve_near(r.time_curves.at(name), c, "time curve " + to_utf8(name));
  }
  for (const param_group_spec_t& group : w.spec()->param_groups)
    for (const param_spec_t& ps : group.params) {
      if (ps.type != param_curve) continue;
      auto it = w.param_curves.find(ps.name);
      ASSERT_TRUE(r.param_curves.count(ps.name)) << to_utf8(ps.name);
      expect_curve_near(r.param_curves.at(ps.name), it != w.param_curves.end() ? it->second : curve{},
                        "curve value " + to_utf8(ps.name));
    }

  if (w.type_id == 32) {
    EXPECT_EQ(r.binary_data, w.binary_data);
  }
  // A value of an expression node is text alone after reading.
  ASSERT_NE(r.expression, nullptr);
  EXPECT_EQ(r.expression->root, nullptr);

  // Connections by position; every feeder lists its consumer on output 0.
  ASSERT_EQ(r.input_connections.size(), w.input_connections.size());
  for (const auto& [input, feeder] : w.input_connections) {
    ASSERT_TRUE(r.input_connections.count(input)) << to_utf8(input);
    const shadetree_node_t* got = r.input_connections.at(input);
    EXPECT_EQ(index_in(gr, got), index_in(gw, feeder)) << to_utf8(input);
    const auto& out0 = got->output_connections[0];
    EXPECT_NE(std::find(out0.begin(), out0.end(), &r), out0.end());
  }
}

class RoundTrip : public EngineTest {};

}  // namespace

TEST_F(RoundTrip, ProjectComesBackFieldByField) {
  sample_project sample;
  project& w = sample.p;
  std::string path = scratch("round_trip.xml");
  ASSERT_TRUE(write_project(w, path));

  project r;
  ASSERT_TRUE(project_read_from_file_xml(&r, wide(path).c_str()));

  EXPECT_EQ(r.settings, w.settings);
  EXPECT_EQ(r.width, 640u);
  EXPECT_EQ(r.height, 480u);
  EXPECT_EQ(r.preview_permille, 750u);
  EXPECT_EQ(r.preview_showalpha, 1);
  EXPECT_EQ(r.renderthreads_spectype_runtime, 0u);
  EXPECT_EQ(r.renderthreads_runtime, 3u);
  EXPECT_EQ(r.max_undo_redo_steps, 50u);
  EXPECT_EQ(r.animation_frames, 100u);
  EXPECT_EQ(r.preview_supersampling, 1);
  EXPECT_EQ(r.active_graph_idx, -1);
  EXPECT_TRUE(r.dirty);
  EXPECT_TRUE(r.assets.dirty);

  ASSERT_EQ(r.graphs.size(), w.graphs.size());
  for (std::size_t gi = 0; gi < w.graphs.size(); ++gi) {
    const graph& gw = *w.graphs[gi];
    const graph& gr = *r.graphs[gi];
    SCOPED_TRACE("graph " + std::to_string(gi));
    EXPECT_EQ(gr.name, gw.name);
    ASSERT_EQ(gr.nodes.size(), gw.nodes.size());
    for (std::size_t ni = 0; ni < gw.nodes.size(); ++ni) {
      SCOPED_TRACE("node " + std::to_string(ni));
      expect_same_node(gw, *gw.nodes[ni], gr, *gr.nodes[ni]);
    }
  }

  // The connection from the second output comes back on the first.
  const graph& main_read = *r.graphs[0];
  const shadetree_node_t* feeder = main_read.nodes[index_in(*w.graphs[0], sample.feeder_by_second_output)];
  const shadetree_node_t* fed = main_read.nodes[index_in(*w.graphs[0], sample.fed_by_second_output)];
  ASSERT_EQ(feeder->output_connections[0].size(), 1u);
  EXPECT_EQ(feeder->output_connections[0][0], fed);
  EXPECT_TRUE(feeder->output_connections[1].empty());

  // The linked asset with the default "absolute" label is dropped; the others come back.
  ASSERT_EQ(r.assets.items.size(), 4u);
  const asset* embedded = r.assets.items[0];
  EXPECT_EQ(embedded->linkage, 1u);
  EXPECT_EQ(embedded->name, u"bytes");
  ASSERT_EQ(embedded->data_size, 200u);
  EXPECT_TRUE(std::equal(embedded->data, embedded->data + 200, w.assets.items[0]->data));
  EXPECT_EQ(embedded->image, nullptr);  // not an image: the asset stays without one
  const asset* relative = r.assets.items[1];
  EXPECT_EQ(relative->linkage, 0u);
  EXPECT_EQ(relative->link_filepath, 0u);
  EXPECT_EQ(relative->filepath, u"textures/wood & stone.png");
  EXPECT_EQ(relative->name, u"wood");
  // An embedded image is decoded as it is read.
  const asset* picture = r.assets.items[2];
  const asset* picture_written = w.assets.items[3];
  ASSERT_EQ(picture->data_size, picture_written->data_size);
  EXPECT_TRUE(std::equal(picture->data, picture->data + picture->data_size, picture_written->data));
  ASSERT_NE(picture->image, nullptr);
  EXPECT_EQ(picture->image->width, 3u);
  EXPECT_EQ(picture->image->height, 2u);
  imgbuf4f* direct = decode_image(picture_written->data, static_cast<uint32_t>(picture_written->data_size));
  ASSERT_NE(direct, nullptr);
  EXPECT_TRUE(std::equal(direct->pixels, direct->pixels + 3 * 2 * 4, picture->image->pixels));
  imgbuf4f_delete(direct);
  const asset* unnamed = r.assets.items[3];
  EXPECT_EQ(unnamed->linkage, 1u);
  EXPECT_EQ(unnamed->data_size, 0u);
  EXPECT_TRUE(unnamed->name.empty());

  // Written again, the project read gives the same document, apart from the dropped asset.
  std::string again = scratch("round_trip_again.xml");
  ASSERT_TRUE(write_project(r, again));
  std::string first = read_file(path), second = read_file(again);
  // Text outside ASCII stays UTF-8; line ends in attributes are references.
  EXPECT_NE(first.find("value=\"Hello&#13;&#10;\xC3\xA9t\xC3\xA9 \xE2\x82\xAC\""), std::string::npos);
  std::size_t cut = first.find("<asset linkage=\"linked\" link-filepath=\"absolute\"");
  ASSERT_NE(cut, std::string::npos);
  std::size_t line_start = first.rfind('\n', cut), end = first.find("</asset>", cut) + 8;
  first.erase(line_start, end - line_start);
  EXPECT_EQ(second, first);
}
