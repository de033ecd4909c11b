// The cellular generators against plain nearest-point and F2 - F1 loops written out here.
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "generator_test_support.h"
#include "nodes/generators/cellular.h"
#include "nodes/generators/noise_core.h"

namespace {

using namespace gentest;

struct point {
  int32_t x, y;
};

// Point i at t = i / 16 from two octaves of the base turbulence, in the 256-pixel square.
std::vector<point> reference_points() {
  std::vector<point> pts;
  for (int i = 0; i < 32; ++i) {
    float t = float(i) * 0.0625f, u = t + 0.375f;
    pts.push_back({int32_t(base_turbulence(t, t, 4.0f) * 255.0f) & 255, int32_t(base_turbulence(u, u, 4.0f) * 255.0f) & 255});
  }
  return pts;
}

float distance(uint32_t method, int32_t dx, int32_t dy) {
  switch (method) {
    case 0: return std::sqrt(float(dx * dx + dy * dy));
    case 1: return float(dx * dx + dy * dy);
    case 2: return float(std::abs(dx) + std::abs(dy));
    default: return float(std::max(std::abs(dx), std::abs(dy)));
  }
}

px4 mix(const px4& a, const px4& b, float t) {
  px4 r;
  for (int k = 0; k < 4; ++k) r[k] = (1.0f - t) * a[k] + t * b[k];
  return r;
}

// The expected image: the nearest index (lowest on ties), or for Worley Euclidean the gap between
// the two smallest distances; then the points inside the image marked white.
auto cellular_ref(bool worley, uint32_t method, px4 c1, px4 c2, uint32_t w, uint32_t h) {
  std::vector<point> pts = reference_points();
  std::vector<px4> img(size_t(w) * h);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x) {
      std::vector<float> d;
      for (const point& p : pts) d.push_back(distance(method, p.x - int32_t(x), p.y - int32_t(y)));
      float t;
      if (worley && method == 0) {
        std::vector<float> s = d;
        std::sort(s.begin(), s.end());
        t = (s[1] - s[0]) * 4.0f / 360.62445f;
      } else {
        t = float(std::min_element(d.begin(), d.end()) - d.begin()) * 0.032258064f;
      }
      img[size_t(y) * w + x] = mix(c1, c2, t);
    }
  for (const point& p : pts)
    if (uint32_t(p.x) < w && uint32_t(p.y) < h) {
      px4& q = img[size_t(p.y) * w + p.x];
      q = {1, 1, 1, q[3]};
    }
  return [img, w](uint32_t x, uint32_t y) { return img[size_t(y) * w + x]; };
}

const char16_t* const method_names[] = {u"Euclidean", u"Squared Euclidean", u"Manhattan", u"Chebyshev"};

TEST(CellularGenerators, EveryMethodOnSmallAndLargeImages) {
  const px4 c1{0.1f, 0.2f, 0.3f, 0.4f}, c2{0.9f, 0.7f, 0.5f, 1.0f};
  for (uint32_t type : {18u, 19u})
    for (uint32_t m = 0; m < 4; ++m) {
      // 128 pixels: points beyond the image take part in the distances but leave no mark.
      auto routine = type == 18 ? render_Voronoi : render_Worley;
      params_list params{{u"dist-method", method_names[m]}, {u"color1", u"(0.1,0.2,0.3,0.4)"},
                         {u"color2", u"(0.9,0.7,0.5,1.0)"}};
      EXPECT_TRUE(same_image(*render_node(type, params, routine, 128, 96), cellular_ref(type == 19, m, c1, c2, 128, 96)))
          << type << " method " << m;
    }
  // 512 pixels: the cells grow past the 256-pixel square; the picture repeats on every render.
  image_ptr big = render_node(19, {}, render_Worley, 512, 512);
  EXPECT_TRUE(same_image(*big, cellular_ref(true, 0, {0, 0, 0, 1}, {1, 1, 1, 1}, 512, 512)));
  EXPECT_TRUE(same_image(*render_node(19, {}, render_Worley, 512, 512), *big));
  image_ptr vor = render_node(18, {{u"dist-method", u"Manhattan"}}, render_Voronoi, 512, 300);
  EXPECT_TRUE(same_image(*vor, cellular_ref(false, 2, {0, 0, 0, 1}, {1, 1, 1, 1}, 512, 300)));
}

TEST(CellularGenerators, IndexColoursTiesAndMarks) {
  const std::vector<point> pts = reference_points();
  for (const point& p : pts) EXPECT_TRUE(p.x < 256 && p.y < 256);
  image_ptr img = render_node(18, {{u"color1", u"(0,0,0)"}, {u"color2", u"(1,0,0)"}}, render_Voronoi, 300, 300);
  // Every feature point is marked white; the other pixels show the index of their cell in red.
  std::map<std::pair<int32_t, int32_t>, int> first_at;
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(pixel(*img, pts[i].x, pts[i].y), (px4{1, 1, 1, 1}));
    first_at.emplace(std::pair{pts[i].x, pts[i].y}, i);
  }
  std::vector<bool> seen(32, false);
  for (uint32_t y = 0; y < 300; ++y)
    for (uint32_t x = 0; x < 300; ++x) {
      px4 p = pixel(*img, x, y);
      if (p[1] != 0.0f) continue;
      int index = int(std::lround(p[0] * 31.0f));
      EXPECT_EQ(p, mix({0, 0, 0, 1}, {1, 0, 0, 1}, float(index) * 0.032258064f));
      seen[index] = true;
    }
  // A point that shares its position with a lower index never wins a pixel; all others do.
  for (int i = 0; i < 32; ++i) {
    bool owns = first_at[std::pair{pts[i].x, pts[i].y}] == i;
    EXPECT_EQ(seen[i], owns) << "index " << i;
  }
  // Worley Euclidean: where the two nearest points are equally far the pixel is color1.
  image_ptr wor = render_node(19, {{u"color1", u"(0.2,0.2,0.2)"}}, render_Worley, 256, 256);
  auto ref = cellular_ref(true, 0, {0.2f, 0.2f, 0.2f, 1}, {1, 1, 1, 1}, 256, 256);
  uint32_t borders = 0;
  for (uint32_t y = 0; y < 256; ++y)
    for (uint32_t x = 0; x < 256; ++x)
      if (ref(x, y) == px4{0.2f, 0.2f, 0.2f, 1}) {
        ++borders;
        EXPECT_EQ(pixel(*wor, x, y), ref(x, y));
      }
  EXPECT_GT(borders, 0u);
}

}  // namespace
