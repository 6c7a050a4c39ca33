#include "eye/pass_fail.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace {

struct Points {
  std::vector<double> x;
  std::vector<float> y;

  VomoTemplate View() {
    return {static_cast<uint32_t>(x.size()), x.data(), y.data(), nullptr, 0.0, 0.0f};
  }
};

const Points kHexagon{{.2, .4, .6, .8, .6, .4}, {0.f, .2f, .2f, 0.f, -.2f, -.2f}};
const Points kDiamond{{.2, .5, .8, .5}, {0.f, .25f, 0.f, -.25f}};
const Points kPentagon{{.2, .4, .6, .8, .5}, {0.f, .2f, .2f, 0.f, -.2f}};
const Points kTriangle{{.2, .5, .8}, {0.f, .2f, 0.f}};
const Points kSliver{{0, .9, 1, .1}, {0.f, 1.f, 1.f, 0.f}};
const Points kRectangle{{.25, .25, .75, .75}, {-.125f, .125f, .125f, -.125f}};

// The hexagon with its top and bottom divided by further vertices.
Points DividedHexagon(int top, int bottom) {
  Points p{{.2}, {0.f}};
  for (int k = 0; k < top; ++k) p.x.push_back(.4 + .2 * k / (top - 1)), p.y.push_back(.2f);
  p.x.push_back(.8), p.y.push_back(0.f);
  for (int k = 0; k < bottom; ++k) p.x.push_back(.6 - .2 * k / (bottom - 1)), p.y.push_back(-.2f);
  return p;
}

// How far inside a clockwise convex polygon a point lies: its distance from the nearest edge line.
double Depth(const Points &shape, double x, double y) {
  double depth = 1e9;
  for (std::size_t k = 0; k < shape.x.size(); ++k) {
    const std::size_t end = (k + 1) % shape.x.size();
    const double dx = shape.x[end] - shape.x[k], dy = double{shape.y[end]} - double{shape.y[k]};
    const double cross = dx * (y - double{shape.y[k]}) - dy * (x - shape.x[k]);
    depth = std::min(depth, -cross / std::hypot(dx, dy));
  }
  return depth;
}

struct Verdict {
  VomoStatus status;
  uint16_t pass = 7;
  uint32_t violations = 77;
  std::vector<uint8_t> bytes;
};

Verdict Judge(Points diagram, Points shape, uint32_t type, float high = 1e9f, float low = -1e9f,
              bool with_info = false) {
  VomoTemplate d = diagram.View(), t = shape.View();
  VomoPassFailInfo info{};
  if (with_info) Vomo_INIT_TEMPLATE_INFO_HELP(&t, &info);
  Verdict v;
  v.bytes.resize(diagram.x.size());
  v.status = Vomo_DIAGRAM_PASS_FAIL(&d, &t, high, low, type, with_info ? &info : nullptr, &v.pass,
                                    &v.violations, v.bytes.data());
  return v;
}

// Random points against the signed distance from each edge line; points so close to a line that
// rounding decides (floats near 0.3 are 3e-8 apart) are left out.
TEST(TemplatePassFail, CountsThePointsInsideTheShape) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> place(-0.1, 1.1), volts(-0.4, 0.4);
  for (const Points &shape :
       {kHexagon, kDiamond, kRectangle, DividedHexagon(3, 2), DividedHexagon(11, 11)}) {
    Points diagram;
    uint32_t inside = 0;
    while (diagram.x.size() < 20000) {
      const double x = place(random);
      const auto y = static_cast<float>(volts(random));
      const double depth = Depth(shape, x, double{y});
      if (std::fabs(depth) < 1e-6) continue;
      diagram.x.push_back(x);
      diagram.y.push_back(y);
      inside += depth > 0;
    }
    for (const bool with_info : {false, true}) {
      const Verdict v = Judge(diagram, shape, 2, 0, 0, with_info);
      EXPECT_EQ(v.status, 0u);
      EXPECT_EQ(v.violations, inside) << shape.x.size();
      EXPECT_EQ(v.pass, 0);
    }
  }
}

TEST(TemplatePassFail, PassesPointsOnTheOutline) {
  struct Case {
    const char *name;
    const Points &shape;
    double x;
    float y;
    uint32_t violations;
  };
  const Case cases[] = {
      {"middle", kHexagon, .5, 0.f, 1},
      {"on the top", kHexagon, .5, .2f, 0},
      {"on the bottom", kHexagon, .5, -.2f, 0},
      {"just below the top", kHexagon, .5, .1999f, 1},
      {"in the box, outside the slanted edge", kHexagon, .25, .15f, 0},
      {"inside the slanted edge", kHexagon, .35, .1f, 1},
      {"below the lower slanted edge", kHexagon, .25, -.15f, 0},
      {"on a vertical edge", kRectangle, .25, 0.f, 0},
      {"on the other vertical edge", kRectangle, .75, 0.f, 0},
      {"on a corner", kRectangle, .25, .125f, 0},
      {"beside it", kRectangle, .2500001, 0.f, 1},
      // Where the boxes of two edges hold a point the later edge decides.
      {"above a sliver's first edge", kSliver, .2, .8f, 1},
      {"below its third edge", kSliver, .8, .2f, 0},
      {"a point with no voltage", kRectangle, .5, std::nanf(""), 1},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(Judge({{c.x}, {c.y}}, c.shape, 2).violations, c.violations) << c.name;
  }
}

// Points by abscissa: outside, rail range only, and in the template's width too.
TEST(TemplatePassFail, CountsStatusBytesInEachPassByItself) {
  const Points diagram{{-.1, 0., .1, .5, .6, 1., 1.1, .3}, {9, 2, -2, 0, 1, 1, 9, .2f}};
  struct Case {
    uint32_t type;
    float high, low;
    uint32_t violations;
    std::array<uint8_t, 8> bytes;
  };
  const Case cases[] = {
      {1, 1, -1, 2, {2, 3, 0, 0, 0, 0, 0, 0}},
      {1, 2, -2, 0, {}},
      {2, 1, -1, 1, {1, 0, 0, 0, 0, 0, 0, 0}},
      {0, 1, -1, 3, {1, 3, 0, 0, 0, 0, 0, 0}},
      // A point beyond both rails fails twice and keeps the later byte.
      {1, -3, 3, 12, {3, 3, 3, 3, 3, 3, 0, 0}},
      {3, -3, 3, 0, {}},
  };
  for (const Case &c : cases) {
    const Verdict v = Judge(diagram, kHexagon, c.type, c.high, c.low);
    EXPECT_EQ(v.violations, c.violations) << c.type;
    EXPECT_EQ(v.pass, c.violations == 0);
    EXPECT_TRUE(std::equal(c.bytes.begin(), c.bytes.end(), v.bytes.begin())) << c.type;
  }
  const Verdict empty = Judge({}, kHexagon, 0);
  EXPECT_EQ(empty.pass, 1);
  EXPECT_EQ(empty.violations, 0u);
}

TEST(TemplatePassFail, RefusesWhatItCannotHold) {
  const Verdict v = Judge({{.5}, {0.f}}, DividedHexagon(12, 11), 1);
  EXPECT_EQ(v.status, Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(v.pass, 7);
  EXPECT_EQ(v.violations, 77u);
  VomoTemplate no_arrays{1, nullptr, nullptr, nullptr, 0.0, 0.0f};
  Points shape = kDiamond;
  VomoTemplate diamond = shape.View();
  uint16_t pass = 0;
  uint32_t violations = 0;
  EXPECT_EQ(
      Vomo_DIAGRAM_PASS_FAIL(&no_arrays, &diamond, 1, -1, 0, nullptr, &pass, &violations, nullptr),
      Vomo_STATUS_PARAM_NOT_VALID);
}

TEST(TemplateInfo, HoldsBoxAndSlopes) {
  VomoPassFailInfo info{};
  Points hexagon = kHexagon;
  const VomoTemplate t = hexagon.View();
  EXPECT_EQ(Vomo_INIT_TEMPLATE_INFO_HELP(&t, &info), 0u);
  EXPECT_EQ(info.dEyeXMin, .2);
  EXPECT_EQ(info.dEyeXMax, .8);
  EXPECT_EQ(info.fEyeYMin, -.2f);
  EXPECT_EQ(info.fEyeYMax, .2f);
  const double slopes[] = {1, 0, -1, 1, 0, -1};
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(info.adSlopes[k], slopes[k], 1e-6) << k;
  // The rise is a float: 1 - 1e-9 is 1 there.
  Points steep{{0, 1}, {1e-9f, 1.f}};
  const VomoTemplate s = steep.View();
  Vomo_INIT_TEMPLATE_INFO_HELP(&s, &info);
  EXPECT_EQ(info.adSlopes[0], 1.0);
  EXPECT_EQ(info.adSlopes[1], 1.0);
  const VomoTemplate none{};
  Vomo_INIT_TEMPLATE_INFO_HELP(&none, &info);
  EXPECT_EQ(info.dEyeXMax, 0.0);
  EXPECT_EQ(info.fEyeYMin, 0.0f);
  EXPECT_EQ(info.adSlopes[0], 1.0);
}

// One point at a time. Expected distances by hand from the line that the point is measured from;
// the template's own floats are rounded to 3e-8.
TEST(TemplateMargins, MeasuresFromTheLineAboveOrBelow) {
  struct Case {
    const char *name;
    const Points &shape;
    double x;
    float y;
    bool upper;
    uint32_t bin;
    double distance;
  };
  const Case cases[] = {
      {"rising edge", kHexagon, .3, .25f, true, 3, .25 - .1},
      {"top", kHexagon, .5, .25f, true, 5, .05},
      {"falling edge", kHexagon, .7, .05f, true, 7, .05 - .1},
      {"lower left edge", kHexagon, .3, -.25f, false, 3, -.25 + .1},
      {"bottom", kHexagon, .5, -.15f, false, 5, .05},
      {"lower right edge", kHexagon, .7, -.3f, false, 7, -.3 + .1},
      {"0 V: the upper line, the lower margin", kHexagon, .5, 0.f, false, 5, -.2},
      {"lower left of a diamond", kDiamond, .35, -.3f, false, 4, -.3 + .125},
      {"lower right of a diamond", kDiamond, .65, -.3f, false, 7, -.3 + .125},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Points point{{c.x}, {c.y}}, shape = c.shape;
    VomoTemplateMargins m{};
    m.usCollectMargins = 1;
    m.dMarginBinWidth = 0.1;
    m.fHighMargin = m.afUpperMargin[c.bin] = 5.f;
    m.fLowMargin = m.afLowerMargin[c.bin] = -5.f;
    uint16_t pass = 0;
    uint32_t violations = 0;
    EXPECT_EQ(vomo::VomoDiagramPassFailWithMargins(point.View(), shape.View(), 0, 0, 2, nullptr,
                                                   &pass, &violations, nullptr, m),
              0u);
    EXPECT_NEAR(c.upper ? m.fHighMargin : m.fLowMargin, c.distance, 1e-6);
    EXPECT_NEAR(c.upper ? m.afUpperMargin[c.bin] : m.afLowerMargin[c.bin], c.distance, 1e-6);
    EXPECT_EQ(c.upper ? m.fLowMargin : m.fHighMargin, c.upper ? -5.f : 5.f);
  }
}

TEST(TemplateMargins, RefusesPointsWithoutABin) {
  struct Case {
    const char *name;
    Points shape;
    double width, x;
    VomoStatus status;
  };
  const Case cases[] = {
      {"99 bins reach", kHexagon, 1 / 128., 99 / 128., 0},
      {"100 do not", kHexagon, 1 / 128., 99.5 / 128., Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no width", kHexagon, 0, .5, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no lower side", kPentagon, .1, .5, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"triangle", kTriangle, .1, .5, Vomo_STATUS_PARAM_OUT_OF_RANGE},
  };
  for (const Case &c : cases) {
    Points point{{c.x}, {.3f}}, shape = c.shape;
    VomoTemplateMargins m{};
    m.usCollectMargins = 1;
    m.dMarginBinWidth = c.width;
    uint16_t pass = 0;
    uint32_t violations = 9;
    EXPECT_EQ(vomo::VomoDiagramPassFailWithMargins(point.View(), shape.View(), 0, 0, 2, nullptr,
                                                   &pass, &violations, nullptr, m),
              c.status)
        << c.name;
    EXPECT_EQ(violations, 0u);
  }
}

}  // namespace
