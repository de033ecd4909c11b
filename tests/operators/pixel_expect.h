// Comparison of rendered pixels with values a test computes itself: exact, with not-a-number equal
// to not-a-number.
#pragma once
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "operator_test_support.h"

namespace optest {

constexpr float nan_f = std::numeric_limits<float>::quiet_NaN();

inline bool same_value(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

inline void expect_px(const px4& got, const px4& want, const std::string& where) {
  for (int c = 0; c < 4; ++c)
    if (!same_value(got[c], want[c])) {
      ADD_FAILURE() << where << ": float " << c << " is " << got[c] << ", expected " << want[c] << " (pixel "
                    << got[0] << ", " << got[1] << ", " << got[2] << ", " << got[3] << ")";
      return;
    }
}

using pixel_fn = std::function<px4(uint32_t x, uint32_t row)>;

// Every pixel of the image equals want(x, row).
inline void expect_image(const imgbuf4f& img, const pixel_fn& want, const std::string& what) {
  for (uint32_t r = 0; r < img.height; ++r)
    for (uint32_t x = 0; x < img.width; ++x)
      expect_px(pixel(img, x, r), want(x, r), what + " at " + std::to_string(x) + "," + std::to_string(r));
}
inline void expect_flat(const imgbuf4f& img, const px4& want, const std::string& what) {
  expect_image(img, [&](uint32_t, uint32_t) { return want; }, what);
}

// A Constant value node, to drive an input.
inline shadetree_node_t* scalar(op_rig& rig, const char16_t* value) { return rig.node(17, {{u"value", value}}); }

// A rig with one source image whose pixels `source` gives.
struct source_rig {
  op_rig rig;
  pixel_fn source;
  shadetree_node_t* src;
  source_rig(uint32_t w, uint32_t h, pixel_fn f)
      : rig(w, h), source(f), src(rig.image([f](uint32_t x, uint32_t r, float* px) { std::copy_n(f(x, r).begin(), 4, px); })) {}

  // A node of the type fed by the source (or by `from`) on `input`, its image checked against
  // want(source pixel).
  void check(uint32_t type, const char16_t* input, params_list params, const std::function<px4(px4)>& want,
             const std::string& what, shadetree_node_t* from = nullptr) {
    shadetree_node_t* op = rig.node(type, params);
    op_rig::connect(op, input, from ? from : src);
    expect_image(*rig.render(op), [&](uint32_t x, uint32_t r) { return want(source(x, r)); }, what);
  }
};

}  // namespace optest
