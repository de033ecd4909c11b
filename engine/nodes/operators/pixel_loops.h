// What the per-pixel operators (blend, dynamic range, channel and colour) share: their input images
// rendered into pool buffers, the row loops that run a pixel body over the target in row bands,
// the channel sets that say which floats a body changes, and the compile-time choice of body.
//
// A pixel body is a small inlined function of the pixels at one position; the parameters it needs
// are fetched and prepared before the loop, and every choice among bodies (mode, channel set, flag)
// is made once per render by instantiating the loop for each choice.
#pragma once
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "core/imgbuf.h"
#include "core/renderctx.h"
#include "core/row_bands.h"
#include "document/node.h"
#include "eval/fetch.h"
#include "nodes/generators/generator_common.h"
#include "quorin/imgbuf4f.h"

namespace quorin_engine::pixops {

using gen::clamp01;
using gen::limit_enum;

inline float* row_of(imgbuf4f& b, uint32_t r) { return b.pixels + static_cast<std::size_t>(r) * b.width * 4; }
inline const float* row_of(const imgbuf4f& b, uint32_t r) {
  return b.pixels + static_cast<std::size_t>(r) * b.width * 4;
}

inline bool same_size(const imgbuf4f& a, const imgbuf4f& b) { return a.width == b.width && a.height == b.height; }

inline void clear(imgbuf4f& target) { imgbuf4f_clear(&target); }

inline void copy4(const float* s, float* d) {
  d[0] = s[0];
  d[1] = s[1];
  d[2] = s[2];
  d[3] = s[3];
}

// ---- inputs ------------------------------------------------------------------------------------

// An image input held for the time of a routine; an unconnected one renders as all zeros.
struct held_input : input_render_buffer_t {
  held_input(const renderctx& ctx, shadetree_node_t* source)
      : input_render_buffer_t(ctx.pool, source, ctx.for_thumbnail) {}
  const imgbuf4f& image() const { return *buffer; }
};

// Renders two held inputs, first a then b: together, or one after the other for a thumbnail.
inline void render_pair(const renderctx& ctx, held_input& a, held_input& b) {
  if (ctx.for_thumbnail) {
    a.render(ctx);
    b.render(ctx);
  } else {
    render_two_inputs(ctx, a.source, a.buffer, a.from_cache, b.source, b.buffer, b.from_cache);
  }
}

// Renders the image input `name` and runs run(image); with nothing connected the target is cleared.
template <class Run>
inline void with_input(shadetree_node_t& node, const renderctx& ctx, const char16_t* name, Run run) {
  shadetree_node_t* source = node.connected(name);
  if (!source) return clear(*ctx.target_buf);
  held_input in(ctx, source);
  in.render(ctx);
  run(in.image());
}

// ---- row loops ---------------------------------------------------------------------------------
// Each runs body(sources..., destination, column, memory row) over every pixel of the target, rows
// in bands. Sources and target are of one size (the pool's); a target of another size is a host's
// mistake and comes out cleared rather than read or written out of bounds.
//
// A target much larger than the caches is written around them: each stretch of a row is made in a
// small buffer and streamed to memory, which spares memory the read of every target line before it
// is overwritten. A smaller target, which the next operator may still find in the cache, is written
// in place. Either way every pixel is computed by the same body from the same floats.
constexpr std::size_t streamed_target_bytes = std::size_t(48) << 20;

// row(r, x0, n, out) writes the n pixels of memory row r from column x0 into out.
template <class Row>
inline void each_target_stretch(imgbuf4f& dst, Row row) {
  const uint32_t w = dst.width;
  if (std::size_t(w) * dst.height * 16u < streamed_target_bytes) {
    for_row_bands(dst.height, [&](uint32_t first, uint32_t last) {
      for (uint32_t r = first; r < last; ++r) row(r, 0, w, row_of(dst, r));
    });
    return;
  }
  for_row_bands(dst.height, [&](uint32_t first, uint32_t last) {
    constexpr uint32_t stretch = 64;
    alignas(16) float made[4 * stretch];
    for (uint32_t r = first; r < last; ++r) {
      float* d = row_of(dst, r);  // pixels are 16-byte aligned
      for (uint32_t x0 = 0; x0 < w; x0 += stretch) {
        const uint32_t n = w - x0 < stretch ? w - x0 : stretch;
        row(r, x0, n, made);
        for (uint32_t i = 0; i < n; ++i) _mm_stream_ps(d + 4 * (x0 + i), _mm_load_ps(made + 4 * i));
      }
    }
    _mm_sfence();  // the streamed pixels are in memory before the band ends
  });
}

template <class Body>
inline void each_pixel(imgbuf4f& dst, const imgbuf4f& a, Body body) {
  if (!same_size(dst, a)) return clear(dst);
  each_target_stretch(dst, [&](uint32_t r, uint32_t x0, uint32_t n, float* d) {
    const float* s = row_of(a, r) + 4 * std::size_t(x0);
    for (uint32_t i = 0; i < n; ++i, s += 4, d += 4) body(s, d, x0 + i, r);
  });
}

template <class Body>
inline void each_pixel(imgbuf4f& dst, const imgbuf4f& a, const imgbuf4f& b, Body body) {
  if (!same_size(dst, a) || !same_size(dst, b)) return clear(dst);
  each_target_stretch(dst, [&](uint32_t r, uint32_t x0, uint32_t n, float* d) {
    const float* s1 = row_of(a, r) + 4 * std::size_t(x0);
    const float* s2 = row_of(b, r) + 4 * std::size_t(x0);
    for (uint32_t i = 0; i < n; ++i, s1 += 4, s2 += 4, d += 4) body(s1, s2, d);
  });
}

template <class Body>
inline void each_pixel(imgbuf4f& dst, const imgbuf4f& a, const imgbuf4f& b, const imgbuf4f& c, Body body) {
  if (!same_size(dst, a) || !same_size(dst, b) || !same_size(dst, c)) return clear(dst);
  each_target_stretch(dst, [&](uint32_t r, uint32_t x0, uint32_t n, float* d) {
    const float* s1 = row_of(a, r) + 4 * std::size_t(x0);
    const float* s2 = row_of(b, r) + 4 * std::size_t(x0);
    const float* s3 = row_of(c, r) + 4 * std::size_t(x0);
    for (uint32_t i = 0; i < n; ++i, s1 += 4, s2 += 4, s3 += 4, d += 4) body(s1, s2, s3, d);
  });
}

// ---- body choice -------------------------------------------------------------------------------

// Calls f(std::integral_constant<uint32_t, V>{}) for the value of the list at `index` (which the
// caller has limited to the list's length), so that the loop f runs is built for that value.
template <uint32_t... Values, class F>
inline void with_value(uint32_t index, F&& f) {
  uint32_t i = 0;
  (void)((i++ == index ? (f(std::integral_constant<uint32_t, Values>{}), true) : false) || ...);
}

// The same for 0 .. N-1.
template <uint32_t N, class F>
inline void with_index(uint32_t index, F&& f) {
  [&]<uint32_t... I>(std::integer_sequence<uint32_t, I...>) { with_value<I...>(index, f); }(
      std::make_integer_sequence<uint32_t, N>{});
}

template <class F>
inline void with_bool(bool b, F&& f) {
  if (b)
    f(std::true_type{});
  else
    f(std::false_type{});
}

// ---- channel sets ------------------------------------------------------------------------------
// A set of floats that a body changes: bits 1 red, 2 green, 4 blue, 8 alpha. `grey_set` reads red
// and writes red, green and blue, as the grey operators do.

enum : uint32_t { ch_r = 1, ch_g = 2, ch_b = 4, ch_a = 8, ch_rgb = 7, ch_rgba = 15, grey_set = 16 };

// The twelve sets offered by Invert and ChannelTrigFunc, in their enum order.
template <class F>
inline void with_twelve_sets(uint32_t index, F&& f) {
  with_value<ch_r, ch_g, ch_b, ch_a, ch_rgb, ch_rgba, ch_r | ch_g, ch_g | ch_b, ch_r | ch_b,
             ch_r | ch_g | ch_a, ch_g | ch_b | ch_a, ch_r | ch_b | ch_a>(index, f);
}

// Replaces the floats of `Set` in p by fn of the matching float of `sample` (of red for grey_set).
template <uint32_t Set, class Fn>
inline void map_set(const float* sample, float* p, const Fn& fn) {
  if constexpr (Set == grey_set) {
    float v = fn(sample[0]);
    p[0] = v;
    p[1] = v;
    p[2] = v;
  } else {
    if constexpr ((Set & ch_r) != 0) p[0] = fn(sample[0]);
    if constexpr ((Set & ch_g) != 0) p[1] = fn(sample[1]);
    if constexpr ((Set & ch_b) != 0) p[2] = fn(sample[2]);
    if constexpr ((Set & ch_a) != 0) p[3] = fn(sample[3]);
  }
}

// The samples a remap reads at a pixel: the pixel itself.
struct own_pixel {
  void operator()(const float* s, uint32_t, uint32_t, float* out) const { copy4(s, out); }
};

// The one row kernel of every operator that passes the floats of a channel set through a function
// of one sample and copies the others: target = source with the set's floats replaced by fn of the
// samples that `sampler` gives for the pixel. The target may be the source itself.
template <uint32_t Set, class Fn, class Sampler = own_pixel>
inline void remap_channels(imgbuf4f& dst, const imgbuf4f& src, const Fn& fn, const Sampler& sampler = {}) {
  each_pixel(dst, src, [&](const float* s, float* d, uint32_t x, uint32_t r) {
    float p[4] = {s[0], s[1], s[2], s[3]};
    float smp[4];
    sampler(s, x, r, smp);
    map_set<Set>(smp, p, fn);
    copy4(p, d);
  });
}

}  // namespace quorin_engine::pixops
