#include "nodes/operators/channel.h"

#include <math.h>

#include <algorithm>
#include <cmath>

#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/operators/pixel_loops.h"

namespace quorin_engine {

using namespace pixops;
using gen::fetch_enum;
using gen::fetch_float;
using gen::fetch_uint;

namespace {

// ---- inversion and reduction -------------------------------------------------------------------

// clamp(1 - v).
struct invert_fn {
  float operator()(float v) const { return clamp01(1.0f - v); }
};

// truncf(L v) / L: L + 1 levels over 0..1.
struct reduce_fn {
  float levels;
  float operator()(float v) const { return truncf(levels * v) / levels; }
};

float fetch_levels(shadetree_node_t& node, const renderctx& ctx) {
  return static_cast<float>(std::clamp<uint32_t>(fetch_uint(node, ctx, u"levels", 1000), 1, 1000));
}

// ---- ChannelMux, GreyMux -----------------------------------------------------------------------

// Each target float takes 0.0, 1.0 or the red float of one of the four inputs, by its selector.
void render_mux(shadetree_node_t& node, const renderctx& ctx, const char16_t* const names[4]) {
  held_input in1(ctx, node.connected(names[0]));
  held_input in2(ctx, node.connected(names[1]));
  render_pair(ctx, in1, in2);
  held_input in3(ctx, node.connected(names[2]));
  held_input in4(ctx, node.connected(names[3]));
  render_pair(ctx, in3, in4);
  const imgbuf4f* inputs[4] = {in1.buffer, in2.buffer, in3.buffer, in4.buffer};
  imgbuf4f& target = *ctx.target_buf;
  for (const imgbuf4f* in : inputs)
    if (!same_size(target, *in)) return clear(target);

  // A selector is a source of floats with a stride: a constant (stride 0) or an input's red floats.
  static const float constants[2] = {0.0f, 1.0f};
  static const char16_t* const selectors[4] = {u"red", u"green", u"blue", u"alpha"};
  const float* from[4];
  std::size_t stride[4];
  for (int c = 0; c < 4; ++c) {
    const uint32_t sel = limit_enum(fetch_enum(node, ctx, selectors[c], 0), 5);
    from[c] = sel < 2 ? &constants[sel] : inputs[sel - 2]->pixels;
    stride[c] = sel < 2 ? 0 : 4;
  }
  const std::size_t w = target.width;
  for_row_bands(target.height, [&](uint32_t first, uint32_t last) {
    for (std::size_t i = first * w; i < last * w; ++i) {
      float* d = target.pixels + i * 4;
      for (int c = 0; c < 4; ++c) d[c] = from[c][i * stride[c]];
    }
  });
}

// ---- ColorMap ------------------------------------------------------------------------------------

wstring indexed(const char16_t* stem, uint32_t i) {
  wstring name = stem;
  if (i >= 10) name += static_cast<char16_t>(u'0' + i / 10);
  name += static_cast<char16_t>(u'0' + i % 10);
  return name;
}

// The gradient's points as prepared before the loop.
struct color_map_t {
  uint32_t n = 0;
  float u[16];
  uint32_t t[16];
  float c[16][4];
  float q[16];  // 1 / (u[i] - u[i - 1]); q[0] = 1 / u[0]
  bool first_is_flat = false;
};

color_map_t fetch_color_map(shadetree_node_t& node, const renderctx& ctx, uint32_t n) {
  color_map_t m;
  m.n = n;
  for (uint32_t i = 0; i < n; ++i) {
    m.u[i] = clamp01(fetch_float(node, ctx, indexed(u"upper", i).c_str(), 0.2f * static_cast<float>(i)));
    m.t[i] = limit_enum(fetch_enum(node, ctx, indexed(u"type", i).c_str(), 0), 2);
    const wstring color = indexed(u"color", i);
    if (!fetch_color_input(node, ctx, color, node.connected(color), m.c[i])) {
      const float fallback[3][4] = {{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 0, 1}};
      copy4(fallback[std::min<uint32_t>(i, 2)], m.c[i]);
    }
    m.c[i][3] = 1.0f;
  }
  m.u[n - 1] = 1.0f;
  if (m.u[0] >= -0x1p-23f && m.u[0] <= 0x1p-23f) {
    m.u[0] = 0.01f;
    m.first_is_flat = true;
  }
  m.q[0] = 1.0f / m.u[0];
  for (uint32_t i = 1; i < n; ++i) m.q[i] = 1.0f / (m.u[i] - m.u[i - 1]);
  return m;
}

// The easing of a segment: linear, cubic, or this engine's clamped fifth-degree polynomial.
inline float ease(float s, uint32_t type) {
  if (type == 0) return s;
  if (type == 1) return (3.0f - 2.0f * s) * s * s;
  return clamp01((((12.0f * s - 30.0f) * s + 22.0f) * s - 3.0f) * s * s);
}

inline void mix_points(const float* a, const float* b, float w, float* d) {
  for (int c = 0; c < 4; ++c) d[c] = clamp01((1.0f - w) * a[c] + w * b[c]);
}

inline void color_map_pixel(const color_map_t& m, float v, float* d) {
  for (uint32_t i = 0; i + 1 < m.n; ++i) {
    if (v >= m.u[i] && v < m.u[i + 1]) {
      const float s = (v - m.u[i]) * m.q[i + 1];
      return mix_points(m.c[i], m.c[i + 1], ease(s, m.t[i]), d);
    }
  }
  if (v >= m.u[0] && m.n >= 2) {
    // At and above the last point: measured from 0, not from the lower point.
    const uint32_t last = m.n - 1;
    return mix_points(m.c[last - 1], m.c[last], ease(v * m.q[last], m.t[last]), d);
  }
  if (m.first_is_flat && v < 0.01f) {
    for (int c = 0; c < 4; ++c) d[c] = clamp01(m.c[0][c]);
    return;
  }
  static const float black[4] = {0.0f, 0.0f, 0.0f, 1.0f};
  mix_points(black, m.c[0], ease(v * m.q[0], m.t[0]), d);
}

// ---- HSV -----------------------------------------------------------------------------------------

enum : uint32_t { hsv_hue, hsv_saturation, hsv_value };

template <uint32_t Channel>
inline float hsv_of(float r, float g, float b) {
  const float mx = std::max(std::max(r, g), b);
  const float mn = std::min(std::min(r, g), b);
  const float d = mx - mn;
  if constexpr (Channel == hsv_value) return mx;
  const float s = mx == 0.0f ? 0.0f : d / mx;
  if constexpr (Channel == hsv_saturation) return s;
  if (s == 0.0f) return 0.0f;
  float h;
  if (r == mx)
    h = (g - b) / d;
  else if (g != mx)
    h = (r - g) / d + 4.0f;
  else
    h = (b - r) / d + 2.0f;
  h = 60.0f * h;
  if (h < 0.0f) h += 360.0f;
  return h / 360.0f;
}

inline void hsv_to_rgb(float H, float S, float V, float* d) {
  d[3] = 1.0f;
  if (S == 0.0f) {
    d[0] = d[1] = d[2] = V;
    return;
  }
  if (H >= 359.999f && H <= 360.001f) H = 0.0f;
  const float x = H / 60.0f;
  const float i = floorf(x);
  const float f = x - i;
  const float p = (1.0f - S) * V, q = (1.0f - f * S) * V, t = (1.0f - (1.0f - f) * S) * V;
  // Sectors 0 to 5; any other (hues outside 0..360, not-a-number) gives black.
  const float sectors[7][3] = {{V, t, p}, {q, V, p}, {p, V, t}, {p, q, V}, {t, p, V}, {V, p, q}, {0, 0, 0}};
  const int k = (i >= 0.0f && i <= 5.0f) ? static_cast<int>(i) : 6;
  d[0] = sectors[k][0];
  d[1] = sectors[k][1];
  d[2] = sectors[k][2];
}

}  // namespace

void render_Invert(shadetree_node_t& node, const renderctx& ctx) {
  const char16_t* input = node.connected(u"RGB") ? u"RGB" : u"Grey";
  with_input(node, ctx, input, [&](const imgbuf4f& src) {
    const uint32_t channel = limit_enum(fetch_enum(node, ctx, u"Channel", 4), 11);
    with_twelve_sets(channel, [&](auto set) { remap_channels<decltype(set)::value>(*ctx.target_buf, src, invert_fn{}); });
  });
}

void render_GreyInvert(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"Grey", [&](const imgbuf4f& src) { remap_channels<grey_set>(*ctx.target_buf, src, invert_fn{}); });
}

void render_Luminance(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    each_pixel(*ctx.target_buf, src, [](const float* s, float* d, uint32_t, uint32_t) {
      // Added in pairs, alpha weighed by zero (so a not-a-number alpha shows).
      const float lum = (0.299f * s[0] + 0.587f * s[1]) + (0.114f * s[2] + 0.0f * s[3]);
      d[0] = d[1] = d[2] = lum;
      d[3] = s[3];
    });
  });
}

void render_ChannelDemux(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const uint32_t k = limit_enum(fetch_enum(node, ctx, u"channel", 0), 3);
    each_pixel(*ctx.target_buf, src, [k](const float* s, float* d, uint32_t, uint32_t) {
      d[0] = s[k];
      d[1] = d[2] = 0.0f;
      d[3] = 1.0f;
    });
  });
}

void render_ChannelMux(shadetree_node_t& node, const renderctx& ctx) {
  static const char16_t* const names[4] = {u"RGB-1", u"RGB-2", u"RGB-3", u"RGB-4"};
  render_mux(node, ctx, names);
}

void render_GreyMux(shadetree_node_t& node, const renderctx& ctx) {
  static const char16_t* const names[4] = {u"Grey-1", u"Grey-2", u"Grey-3", u"Grey-4"};
  render_mux(node, ctx, names);
}

void render_Switch(shadetree_node_t& node, const renderctx& ctx) {
  // Only the `which` input chooses; the stored `image` parameter is not read.
  const uint32_t which = fetch_enum_input(node, ctx, u"which", node.connected(u"which"), 0);
  with_input(node, ctx, which != 0 ? u"RGB-2" : u"RGB-1", [&](const imgbuf4f& src) {
    if (!same_size(*ctx.target_buf, src)) return clear(*ctx.target_buf);
    imgbuf4f_copy_buffer_content_from(ctx.target_buf, &src);
  });
}

void render_ColorMap(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"Grey", [&](const imgbuf4f& src) {
    const uint32_t n = std::min<uint32_t>(fetch_uint(node, ctx, u"point-count", 2), 16);
    if (n == 0) return clear(*ctx.target_buf);
    const color_map_t map = fetch_color_map(node, ctx, n);
    each_pixel(*ctx.target_buf, src, [&map](const float* s, float* d, uint32_t, uint32_t) { color_map_pixel(map, s[0], d); });
  });
}

void render_ImageMapValue(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const float scale = fetch_float(node, ctx, u"scale", 1.0f);
    const float offset = fetch_float(node, ctx, u"offset", 0.0f);
    const float low = fetch_float(node, ctx, u"low-value", 0.0f);
    const float high = fetch_float(node, ctx, u"high-value", 1.0f);
    auto flag = [&](const char16_t* name) {
      shadetree_node_t* in = node.connected(name);
      return in ? fetch_float_input(node, ctx, name, in, 0.0f) >= 0.5f : fetch_bool_param(node, ctx, name);
    };
    const bool low_clamp = flag(u"low-clamp"), high_clamp = flag(u"high-clamp");
    const uint32_t k = limit_enum(fetch_enum(node, ctx, u"channel", 0), 3);
    with_bool(low_clamp, [&](auto lo) {
      with_bool(high_clamp, [&](auto hi) {
        each_pixel(*ctx.target_buf, src, [&](const float* s, float* d, uint32_t, uint32_t) {
          float p[4] = {s[0], s[1], s[2], s[3]};
          float v = p[k] * scale + offset;
          if constexpr (decltype(lo)::value) v = std::max(low, v);
          if constexpr (decltype(hi)::value) v = std::min(v, high);
          p[k] = v;
          for (int c = 0; c < 4; ++c) d[c] = clamp01(p[c]);
        });
      });
    });
  });
}

void render_ColorReduce(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const reduce_fn fn{fetch_levels(node, ctx)};
    const uint32_t channel = limit_enum(fetch_enum(node, ctx, u"channel", 3), 6);
    with_value<ch_r, ch_g, ch_b, ch_rgb, ch_r | ch_g, ch_g | ch_b, ch_r | ch_b>(
        channel, [&](auto set) { remap_channels<decltype(set)::value>(*ctx.target_buf, src, fn); });
  });
}

void render_GreyReduce(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"Grey", [&](const imgbuf4f& src) {
    remap_channels<grey_set>(*ctx.target_buf, src, reduce_fn{fetch_levels(node, ctx)});
  });
}

void render_HSVDemux(shadetree_node_t& node, const renderctx& ctx) {
  with_input(node, ctx, u"RGB", [&](const imgbuf4f& src) {
    const uint32_t channel = limit_enum(fetch_enum(node, ctx, u"channel", hsv_hue), hsv_value);
    with_index<3>(channel, [&](auto ch) {
      each_pixel(*ctx.target_buf, src, [](const float* s, float* d, uint32_t, uint32_t) {
        d[0] = hsv_of<decltype(ch)::value>(s[0], s[1], s[2]);
        d[1] = d[2] = 0.0f;
        d[3] = s[3];
      });
    });
  });
}

void render_HSVMux(shadetree_node_t& node, const renderctx& ctx) {
  shadetree_node_t* h_source = node.connected(u"hchan");
  shadetree_node_t* s_source = node.connected(u"satchan");
  shadetree_node_t* v_source = node.connected(u"valchan");
  if (!h_source || !s_source || !v_source) return clear(*ctx.target_buf);
  held_input h(ctx, h_source);
  held_input s(ctx, s_source);
  render_pair(ctx, h, s);
  held_input v(ctx, v_source);
  v.render(ctx);
  each_pixel(*ctx.target_buf, h.image(), s.image(), v.image(),
             [](const float* hp, const float* sp, const float* vp, float* d) { hsv_to_rgb(hp[0] * 360.0f, sp[0], vp[0], d); });
}

}  // namespace quorin_engine
