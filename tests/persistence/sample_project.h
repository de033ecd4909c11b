// A project that uses every kind of content the file format carries, for round trips and as the
// seed of the mutation test.
#pragma once
#include <png.h>

#include "persistence_support.h"

namespace persistence_test {

// The bytes of a small RGBA PNG file, pixel (x, y) = (40x, 80y, 200, 255 - 50x).
inline std::vector<uint8_t> small_png(uint32_t width, uint32_t height) {
  std::vector<uint8_t> pixels(std::size_t(width) * height * 4);
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x) {
      uint8_t* px = &pixels[(std::size_t(y) * width + x) * 4];
      px[0] = static_cast<uint8_t>(40 * x), px[1] = static_cast<uint8_t>(80 * y), px[2] = 200;
      px[3] = static_cast<uint8_t>(255 - 50 * x);
    }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = height;
  image.format = PNG_FORMAT_RGBA;
  png_alloc_size_t size = 0;
  png_image_write_to_memory(&image, nullptr, &size, 0, pixels.data(), 0, nullptr);
  std::vector<uint8_t> bytes(size);
  EXPECT_TRUE(png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr));
  bytes.resize(size);
  return bytes;
}

struct sample_project {
  project p;
  // Nodes worth naming in the checks.
  shadetree_node_t* feeder_by_second_output = nullptr;
  shadetree_node_t* fed_by_second_output = nullptr;

  sample_project() {
    p.settings[u"custom & <setting>"] = u"\"quoted\"\ttab";
    project_set_width(&p, 640);
    project_set_height(&p, 480);
    project_set_preview_permille(&p, 750);
    project_set_preview_showalpha(&p, 1);
    p.renderthreads_spectype_runtime = 0, p.settings[u"renderthreads-spectype-runtime"] = u"absolute";
    p.renderthreads_runtime = 3, p.settings[u"renderthreads-runtime"] = u"3";  // no exported setter
    project_set_max_undo_redo_steps(&p, 50);
    project_set_animation_frames(&p, 100);
    project_set_preview_supersampling(&p, 1);

    graph* g = new graph();
    g->name = u"Main & <more>";
    p.graphs.push_back(g);

    shadetree_node_t* turbulence = add(g, u"Turbulence");
    turbulence->params[u"size"] = u"12.500000";
    turbulence->params[u"seed"] = u"42";
    turbulence->disabled = true;
    turbulence->display_x = 5, turbulence->display_y = 6, turbulence->display_w = 300, turbulence->display_h = 7;
    turbulence->name = u"noise \"one\"\nsecond line";

    shadetree_node_t* marble = add(g, u"Marble");
    marble->params[u"amplitude"] = u"0.250000";  // lost under the time curve
    marble->params[u"octaves"] = u"3";
    marble->time_curves[u"amplitude"] =
        make_curve({line(0, 0.125f, 0.5f, 1), bezier({0.5f, 1, 0.6f, 0.9f, 0.8f, 0.1f, 1, 0.333333f})});

    shadetree_node_t* gradient = add(g, u"Gradient");
    gradient->time_curves[u"start-horz"] = make_curve({line(0, 1, 1, 0)}, false);
    gradient->params[u"mincolor-horz"] = u"(0.100000,0.200000,0.300000,0.500000)";

    shadetree_node_t* constant = add(g, u"Constant");
    constant->params[u"value"] = u"0.750000";

    shadetree_node_t* blend = add(g, u"AlphaBlend");
    blend->name = u"blend";
    connect(turbulence, 0, blend, u"RGB-1");
    connect(marble, 0, blend, u"RGB-2");
    connect(constant, 0, blend, u"opacity");

    shadetree_node_t* grey_curve = add(g, u"GreyCurve");
    grey_curve->param_curves[u"value"] =
        make_curve({line(0, 0, 0.5f, 0.25f), line(0.5f, 0.25f, 1, 1)}, false);
    connect(turbulence, 0, grey_curve, u"grey");

    shadetree_node_t* channels = add(g, u"ChannelCurves");
    channels->param_curves[u"red"] = make_curve({bezier({0, 0, 0.25f, 0.5f, 0.75f, 0.5f, 1, 1})});
    channels->param_curves.erase(u"blue");  // written as an empty curve

    shadetree_node_t* text = add(g, u"Text");
    text->params[u"text"] = u"Hello\r\n\u00e9t\u00e9 \u20ac";
    text->binary_data.assign(256, 0);
    for (int i = 0; i < 256; ++i) text->binary_data[i] = static_cast<uint8_t>(i * 31 + 7);

    shadetree_node_t* expr = add(g, u"ScalarExpr");
    expr->params[u"expression"] = u"_1 * 2 + sin(_2)";

    feeder_by_second_output = add(g, u"UserInput");
    fed_by_second_output = add(g, u"Blur");
    connect(feeder_by_second_output, 1, fed_by_second_output, u"size");
    connect(blend, 0, fed_by_second_output, u"RGB");

    graph* second = new graph();  // no name
    p.graphs.push_back(second);
    shadetree_node_t* a = add(second, u"Constant");
    shadetree_node_t* b = add(second, u"Marble");
    connect(a, 0, b, u"amplitude");
    b->time_curves[u"size"] = make_curve({line(0, 0, 1, 1)});  // not curveable: not written

    graph* empty = new graph();
    empty->name = u"empty";
    p.graphs.push_back(empty);

    asset* embedded = new asset();
    embedded->linkage = 1;
    embedded->name = u"bytes";
    embedded->data_size = 200;
    embedded->data = new uint8_t[200];
    for (int i = 0; i < 200; ++i) embedded->data[i] = static_cast<uint8_t>(i ^ 0x5a);
    p.assets.items.push_back(embedded);

    asset* relative = new asset();
    relative->link_filepath = 0;
    relative->filepath = u"textures/wood & stone.png";
    relative->name = u"wood";
    p.assets.items.push_back(relative);

    asset* absolute = new asset();  // a new asset's label: "absolute", not read back
    absolute->filepath = u"/data/absolute.png";
    p.assets.items.push_back(absolute);

    std::vector<uint8_t> png = small_png(3, 2);
    asset* picture = new asset();
    picture->linkage = 1;
    picture->name = u"picture";
    picture->data_size = png.size();
    picture->data = new uint8_t[png.size()];
    std::copy(png.begin(), png.end(), picture->data);
    p.assets.items.push_back(picture);

    asset* unnamed = new asset();
    unnamed->linkage = 1;  // no bytes at all
    p.assets.items.push_back(unnamed);
  }

  static shadetree_node_t* add(graph* g, const char16_t* type) {
    shadetree_node_t* n = make_node(type);
    g->nodes.push_back(n);
    return n;
  }
  static void connect(shadetree_node_t* from, uint32_t output, shadetree_node_t* to, const char16_t* input) {
    node_set_output_for_input_keyed(to, input, from);
    node_add_input_for_output(from, output, to);
  }
};

}  // namespace persistence_test
