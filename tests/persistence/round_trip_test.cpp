// A project with every kind of content the file carries, written and read back: it compares equal
// field by field apart from what the format drops on purpose, and damaged copies of its file never
// crash the reader.
#include <cstdlib>

#include "../common/mutate.h"
#include "core/imgbuf.h"
#include "persistence_support.h"

using namespace persistence_test;

namespace {

void fill_sample(project& p) {
  p.settings[u"custom & <setting>"] = u"\"quoted\"\ttab";
  project_set_width(&p, 640);
  p.renderthreads_spectype_runtime = 0, p.settings[u"renderthreads-spectype-runtime"] = u"absolute";
  graph* g = p.graphs.emplace_back(new graph());
  g->name = u"Main & <more>";
  shadetree_node_t* noise = add(g, u"Turbulence");
  noise->disabled = true;
  noise->display_x = 5, noise->display_y = 6, noise->display_w = 300, noise->display_h = 7;
  noise->name = u"noise \"\u00e9\u20ac\"\r\nsecond line";
  shadetree_node_t* marble = add(g, u"Marble");
  marble->params[u"amplitude"] = u"0.250000";  // lost under the time curve
  marble->time_curves[u"amplitude"] = make_curve({{0, 0.125f, 0.5f, 1}, {0.5f, 1, 0.6f, 0.9f, 0.8f, 0.1f, 1, 0.3f}});
  shadetree_node_t* blend = add(g, u"AlphaBlend");
  connect(noise, 0, blend, u"RGB-1");
  connect(marble, 0, blend, u"RGB-2");
  connect(add(g, u"Constant"), 0, blend, u"opacity");
  shadetree_node_t* channels = add(g, u"ChannelCurves");
  channels->param_curves[u"red"] = make_curve({{0, 0, 0.25f, 0.5f, 0.75f, 0.5f, 1, 1}});
  channels->param_curves[u"green"] = make_curve({{0, 0, 0.5f, 0.25f}, {0.5f, 0.25f, 1, 1}}, false);
  channels->param_curves.erase(u"blue");  // written as an empty curve
  shadetree_node_t* text = add(g, u"Text");
  for (int i = 0; i < 256; ++i) text->binary_data.push_back(static_cast<uint8_t>(i * 31 + 7));
  add(g, u"ScalarExpr")->params[u"expression"] = u"_1 * 2 + sin(_2)";
  shadetree_node_t* user = add(g, u"UserInput");
  connect(user, 1, add(g, u"Blur"), u"size");  // comes back on output 0
  connect(blend, 0, g->nodes.back(), u"RGB");

  graph* second = p.graphs.emplace_back(new graph());  // no name
  shadetree_node_t* marble2 = add(second, u"Marble");
  connect(add(second, u"Constant"), 0, marble2, u"amplitude");
  marble2->time_curves[u"amplitude"] = make_curve({{0, 1, 1, 0}}, false);
  marble2->time_curves[u"size"] = make_curve({{0, 0, 1, 1}});  // not curveable: not written
  p.graphs.emplace_back(new graph())->name = u"empty";  // several graphs, one of them empty

  add_asset(p, 1, u"bytes", std::string(text->binary_data.begin(), text->binary_data.begin() + 200));
  add_asset(p, 0, u"wood")->filepath = u"textures/wood & stone.png";
  p.assets.items.back()->link_filepath = 0;
  add_asset(p, 0, u"")->filepath = u"/data/absolute.png";  // a new asset's "absolute": not read back
  add_asset(p, 1, u"picture", read_file(QUORIN_SOURCE_DIR "/tests/codecs/fixtures/png_g8.png"));  // 13 x 7
  add_asset(p, 1, u"");
}

curve curve_of(const std::map<wstring, curve>& m, const wstring& name) { return m.count(name) ? m.at(name) : curve{}; }

void expect_same_node(const graph& gw, const shadetree_node_t& w, const graph& gr, const shadetree_node_t& r) {
  EXPECT_EQ(std::tie(r.type_id, r.disabled, r.name, r.display_x, r.display_y, r.display_w, r.display_h),
            std::tie(w.type_id, w.disabled, w.name, w.display_x, w.display_y, w.display_w, w.display_h));
  // Each specified parameter keeps its time curve (in place of its text), its curve value, or its text.
  std::unordered_map<wstring, wstring> texts;
  std::size_t time_curves = 0, curve_values = 0;
  for (const param_group_spec_t& group : w.spec()->param_groups)
    for (const param_spec_t& ps : group.params)
      if (ps.curveable && w.time_curves.count(ps.name) && ++time_curves)
        expect_curve_near(curve_of(r.time_curves, ps.name), w.time_curves.at(ps.name));
      else if (ps.type == param_curve && ++curve_values)
        expect_curve_near(curve_of(r.param_curves, ps.name), curve_of(w.param_curves, ps.name));
      else
        texts[ps.name] = w.params.count(ps.name) ? w.params.at(ps.name) : wstring();
  EXPECT_EQ(std::tie(r.params, r.binary_data), std::tie(texts, w.binary_data));
  EXPECT_EQ(std::make_pair(r.time_curves.size(), r.param_curves.size()), std::make_pair(time_curves, curve_values));
  EXPECT_EQ(r.expression->root, nullptr);  // an expression comes back as text alone
  // Connections by position, every feeder listing its consumer on output 0.
  ASSERT_EQ(r.input_connections.size(), w.input_connections.size());
  for (const auto& [input, feeder] : w.input_connections) {
    const shadetree_node_t* got = r.connected(input);
    ASSERT_NE(got, nullptr) << to_utf8(input);
    EXPECT_EQ(index_in(gr, got), index_in(gw, feeder)) << to_utf8(input);
    EXPECT_EQ(got->output_connections[0], std::vector<shadetree_node_t*>{const_cast<shadetree_node_t*>(&r)});
  }
}


class RoundTrip : public EngineTest {};

}  // namespace

TEST_F(RoundTrip, ProjectComesBackFieldByField) {
  project w, r;
  fill_sample(w);
  ASSERT_TRUE(write_path(w, scratch("round_trip.xml")));
  ASSERT_TRUE(read_path(r, scratch("round_trip.xml")));
  EXPECT_EQ(r.settings, w.settings);
  EXPECT_EQ(std::tie(r.width, r.renderthreads_spectype_runtime), std::make_tuple(640u, 0u));
  ASSERT_EQ(r.graphs.size(), 3u);
  for (std::size_t gi = 0; gi < w.graphs.size(); ++gi) {
    const graph &gw = *w.graphs[gi], &gr = *r.graphs[gi];
    EXPECT_EQ(gr.name, gw.name);
    ASSERT_EQ(gr.nodes.size(), gw.nodes.size());
    for (std::size_t ni = 0; ni < gw.nodes.size(); ++ni) {
      SCOPED_TRACE("graph " + std::to_string(gi) + " node " + std::to_string(ni));
      expect_same_node(gw, *gw.nodes[ni], gr, *gr.nodes[ni]);
    }
  }
  // The linked asset with the default "absolute" is dropped; the others come back.
  ASSERT_EQ(r.assets.items.size(), 4u);
  const asset* want[] = {w.assets.items[0], w.assets.items[1], w.assets.items[3], w.assets.items[4]};
  for (std::size_t i = 0; i < 4; ++i) {
    const asset &got = *r.assets.items[i], &a = *want[i];
    EXPECT_EQ(std::tie(got.linkage, got.link_filepath, got.name, got.filepath),
              std::tie(a.linkage, a.link_filepath, a.name, a.filepath)) << i;
    EXPECT_EQ(bytes_of(&got), bytes_of(&a)) << i;
  }
  EXPECT_EQ(r.assets.items[0]->image, nullptr);  // not an image: the asset stays without one
  ASSERT_NE(r.assets.items[2]->image, nullptr);  // an embedded image is decoded as it is read
  EXPECT_EQ(r.assets.items[2]->image->width, 13u);
}

// QUORIN_MUTATIONS sets the number of damaged files, for long runs under a sanitizer.
TEST_F(RoundTrip, DamagedFilesNeverCrashTheReader) {
  project sample;
  fill_sample(sample);
  const std::string path = scratch("mutated.xml");
  ASSERT_TRUE(write_path(sample, path));
  const std::string seed = read_file(path);
  const uint64_t count = std::getenv("QUORIN_MUTATIONS") ? std::stoull(std::getenv("QUORIN_MUTATIONS")) : 1000;
  quorin_test::splitmix64 rng{0x5eedf11e};
  uint64_t accepted = 0;
  for (uint64_t i = 0; i < count && !HasFailure(); ++i) {
    SCOPED_TRACE("damaged copy " + std::to_string(i));
    write_file(path, quorin_test::mutate(seed, rng, "-9\"<>/=A0,&"));
    project p;
    accepted += read_path(p, path);
    for (const graph* g : p.graphs)  // connections join nodes of one graph, both ways
      for (const shadetree_node_t* n : g->nodes) {
        for (const auto& [input, feeder] : n->input_connections)
          EXPECT_TRUE(index_in(*g, feeder) < g->nodes.size() &&
                      std::count(feeder->output_connections[0].begin(), feeder->output_connections[0].end(), n));
        for (const auto& list : n->output_connections)
          for (const shadetree_node_t* consumer : list) EXPECT_LT(index_in(*g, consumer), g->nodes.size());
      }
  }
  EXPECT_GT(accepted, 0u);  // some damage leaves a well-formed document
  EXPECT_LT(accepted, count);
}
