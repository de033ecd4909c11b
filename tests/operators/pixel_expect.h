// Comparison of rendered pixels with values a test computes itself: exact, with not-a-number equal
// to not-a-number.
#pragma once
#include <gtest/gtest.h>

#include <cmath>
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

// Every pixel of the image equals the colour.
inline void expect_flat(const imgbuf4f& img, const px4& want, const std::string& where) {
  for (uint32_t r = 0; r < img.height; ++r)
    for (uint32_t x = 0; x < img.width; ++x) expect_px(pixel(img, x, r), want, where);
}

// A Constant value node, to drive an input.
inline shadetree_node_t* scalar(op_rig& rig, const char16_t* value) { return rig.node(17, {{u"value", value}}); }

}  // namespace optest
