#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/gaussian.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Line {
  double slope = -77.0, intercept = -77.0, goodness = -77.0;
};

VomoStatus Fit(const std::vector<double> &x, const std::vector<double> &y, uint32_t first,
               uint32_t last, Line &line) {
  return Vomo_Find_Linear_Fit(x.data(), y.data(), static_cast<uint32_t>(x.size()), first, last,
                              &line.slope, &line.intercept, &line.goodness);
}

// Points (0, 1), (1, 3), (2, 2), (3, 5): Sxx = 5, Sxy = 5.5, Syy = 8.75, so slope 1.1, intercept
// 1.1, r^2 = 30.25 / 43.75 = 121 / 175.
TEST(LinearFit, FourPointsByHand) {
  const std::vector<double> x{9, 0, 1, 2, 3, -4, 7}, y{9, 1, 3, 2, 5, 0, 2};
  Line line;
  ASSERT_EQ(Fit(x, y, 1, 4, line), Vomo_STATUS_SUCCESS);
  EXPECT_DOUBLE_EQ(line.slope, 1.1);
  EXPECT_DOUBLE_EQ(line.intercept, 1.1);
  // The whole length 7 is the sample size, the slice's length 4 the number of regressors.
  EXPECT_NEAR(line.goodness, 1.0 - 54.0 / 175 * 6 / 2, 1e-14);

  const std::vector<double> just_x(x.begin() + 1, x.begin() + 5),
      just_y(y.begin() + 1, y.begin() + 5);
  ASSERT_EQ(Fit(just_x, just_y, 0, 3, line), Vomo_STATUS_SUCCESS);
  EXPECT_NEAR(line.goodness, 1.0 - 54.0 / 175 * 3 / 4294967295.0, 1e-15);  // -1 wraps
  EXPECT_NE(line.goodness, 1.0);

  const std::vector<double> one_more_x(x.begin(), x.begin() + 5),
      one_more_y(y.begin(), y.begin() + 5);
  ASSERT_EQ(Fit(one_more_x, one_more_y, 1, 4, line), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(line.goodness, -std::numeric_limits<double>::infinity());  // divisor 0
  ASSERT_EQ(Fit(x, y, 2, 2, line), Vomo_STATUS_SUCCESS);
  EXPECT_TRUE(std::isnan(line.slope));
}

// Moving and scaling the axes moves and scales the line. Sums that are not centred lose a relative
// (offset / spread)^2 of their digits: 100^2 x 2^-52 x a few terms here.
TEST(LinearFit, FollowsShiftAndScaleOfTheAxes) {
  vomo_test::Gaussian noise(5);
  std::vector<double> x(500), y(500), moved_x(500), moved_y(500);
  for (size_t i = 0; i < x.size(); ++i) {
    x[i] = static_cast<double>(i) / 500;
    y[i] = 2 * x[i] + noise();
    moved_x[i] = 1e-12 * (x[i] + 30);
    moved_y[i] = 5 * y[i] - 3;
  }
  Line line, moved;
  ASSERT_EQ(Fit(x, y, 10, 480, line), Vomo_STATUS_SUCCESS);
  ASSERT_EQ(Fit(moved_x, moved_y, 10, 480, moved), Vomo_STATUS_SUCCESS);
  EXPECT_NEAR(moved.slope * 1e-12 / (5 * line.slope), 1.0, 1e-10);
  EXPECT_NEAR(moved.intercept, 5 * (line.intercept - 30 * line.slope) - 3, 1e-8);
  EXPECT_NEAR(moved.goodness, line.goodness, 1e-8);
}

TEST(LinearFit, Refusals) {
  const std::vector<double> x{0, 1, 2}, y{1, 2, 4};
  double out = -77.0;
  const struct {
    const char *what;
    const double *x, *y;
    uint32_t count, first, last;
    double *slope;
  } cases[] = {
      {"last below first", x.data(), y.data(), 3, 2, 1, &out},
      {"last outside", x.data(), y.data(), 3, 0, 3, &out},
      {"range that wraps", x.data(), y.data(), 3, 0xFFFFFFFF, 0, &out},
      {"whole 32 bits", x.data(), y.data(), 3, 0, 0xFFFFFFFF, &out},
      {"empty", x.data(), y.data(), 0, 0, 0, &out},
      {"no x", nullptr, y.data(), 3, 0, 2, &out},
      {"no y", x.data(), nullptr, 3, 0, 2, &out},
      {"no slope", x.data(), y.data(), 3, 0, 2, nullptr},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Vomo_Find_Linear_Fit(c.x, c.y, c.count, c.first, c.last, c.slope, &out, &out),
              Vomo_STATUS_PARAM_NOT_VALID);
    EXPECT_EQ(out, -77.0);
  }
}

struct CdfFit {
  VomoStatus status = 0;
  double target = -77.0, slope = -77.0, intercept = -77.0;

  CdfFit(const std::vector<double> &q, double step, double first, double given, double target_q,
         uint32_t points) {
    const auto count = static_cast<uint32_t>(q.size());
    status = VomoFIT_CDF(&count, q.data(), step, first, given, target_q, points, &target, &slope,
                         &intercept);
  }
};

// With slope -1 over the abscissae 0, 1, 2, ... a point's own intercept is q[i] + i. The cases give
// these intercepts; binary fractions keep every sum exact.
TEST(CdfFit, InterceptComesFromTheEndOfTheCurve) {
  constexpr double kSmall = 1.0 / 128, kBig = 1.0 / 64;  // on either side of 0.01
  const struct {
    const char *what;
    std::vector<double> intercepts;
    uint32_t points;
    double expected;
  } cases[] = {
      {"two points: the last alone", {8, 2}, 99, 2},
      {"one point asked for", {1, 2, 3, 4}, 1, 4},
      {"none asked for", {1, 2, 3, 4}, 0, 4},
      {"more asked for than there are: the last alone", {1, 2, 2, 2, 4}, 6, 4},
      {"all asked for: point 0 is left out", {64, 5, 5, 5, 1}, 5, 4},
      {"two of many", {64, 64, 64, 5, 3}, 2, 4},
      {"a rise does not stop the walk", {64, 1000, 7, 7, 2}, 5, 254},
      {"a small drop does not stop it", {64, 4 - kSmall, 4, 4}, 4, 4 - kSmall / 3},
      {"a larger drop does, and is left out", {64, 64, 4 - kBig, 4, 4}, 5, 4},
      {"a drop after a rise is measured from the rise", {64, 64, 5, 6, 4}, 5, 5},
      {"NaN does not stop the walk", {64, kNaN, 4}, 3, kNaN},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<double> q = c.intercepts;
    for (size_t i = 0; i < q.size(); ++i) q[i] -= static_cast<double>(i);
    const CdfFit fit(q, 1.0, 0.0, -1.0, -6.0, c.points);
    ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS);
    EXPECT_EQ(fit.slope, -1.0);
    if (std::isnan(c.expected)) {
      EXPECT_TRUE(std::isnan(fit.intercept));
      continue;
    }
    EXPECT_DOUBLE_EQ(fit.intercept, c.expected);
    EXPECT_DOUBLE_EQ(fit.target, c.expected + 6.0);
  }
}

// A straight curve gives its own line back on any axis.
TEST(CdfFit, StraightCurve) {
  std::vector<double> q(200);
  const double deviation = 3e-12, mean = 5e-12, first = -4e-12, step = 1e-13;
  for (size_t i = 0; i < q.size(); ++i) {
    q[i] = (mean - (first + static_cast<double>(i) * step)) / deviation;
  }
  const CdfFit fit(q, step, first, -1.0 / deviation, -7.0, 50);
  ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS);
  EXPECT_NEAR(fit.intercept * deviation, mean, 1e-24);  // 200 additions of 1e-11 with eps 2e-16
  EXPECT_NEAR(fit.target, mean + 7.0 * deviation, 1e-24);
}

// Seven points leave the slices 1 to 3 (n = 3) and 2 to 3, which any line fits (goodness 1): the
// smaller goodness wins. Points (1, 0), (2, 2), (3, 3): slope 3/2, intercept -4/3.
TEST(CdfFit, SearchKeepsTheSmallestPositiveGoodness) {
  const CdfFit fit({50, 0, 2, 3, -8, 40, 9}, 1.0, 0.0, 0.0, 6.0, 3);
  ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS);
  EXPECT_NEAR(fit.slope, 1.5, 1e-14);
  EXPECT_NEAR(fit.intercept, -4.0 / 3, 1e-14);
  EXPECT_NEAR(fit.target, (6.0 + 4.0 / 3) / 1.5, 1e-13);
}

// On a longer curve the search must end at what the fit of every single slice, in turn, decides.
TEST(CdfFit, SearchAgreesWithTheFitsOfAllSlices) {
  vomo_test::Gaussian noise(11);
  for (const uint32_t count : {8u, 9u, 20u, 41u}) {
    std::vector<double> q(count), x(count);
    for (uint32_t i = 0; i < count; ++i) {
      x[i] = 0.25 * i - 3.0;
      q[i] = -x[i] + noise();
    }
    Line best;
    double smallest = 1e100;
    for (uint32_t first = count - 3; first >= 1; --first) {
      for (uint32_t last = 3; last < count - 3 && first + last < count; ++last) {
        Line line;
        if (Fit(x, q, first, last, line) != Vomo_STATUS_SUCCESS) continue;
        if (!(line.goodness > 0 && line.goodness < smallest)) continue;
        smallest = line.goodness;
        best = line;
      }
    }
    const CdfFit fit(q, 0.25, -3.0, 0.0, -7.0, 3);
    ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS) << count;
    EXPECT_NEAR(fit.slope, best.slope, 1e-9) << count;
    EXPECT_NEAR(fit.intercept, best.intercept, 1e-9) << count;
  }
}

TEST(CdfFit, Refusals) {
  const std::vector<double> q{3, 2, 1, 0, -1, -2};
  const struct {
    const char *what;
    std::vector<double> q;
    double step, slope;
    VomoStatus status;
  } cases[] = {
      {"one point", {1}, 1.0, -1.0, Vomo_STATUS_PARAM_NOT_VALID},
      {"no point", {}, 1.0, -1.0, Vomo_STATUS_PARAM_NOT_VALID},
      {"step 0", q, 0.0, -1.0, Vomo_STATUS_PARAM_NOT_VALID},
      {"negative step", q, -1.0, -1.0, Vomo_STATUS_PARAM_NOT_VALID},
      {"a NaN step passes", q, kNaN, -1.0, Vomo_STATUS_SUCCESS},
      {"search in two points", {1, 0}, 1.0, 0.0, Vomo_STATUS_PARAM_NOT_VALID},
      {"search in three points", {1, 0, 3}, 1.0, 0.0, Vomo_STATUS_PARAM_NOT_VALID},
      {"search without a slice", q, 1.0, 0.0, Vomo_STATUS_PARAM_NOT_VALID},
      {"search of a constant", std::vector<double>(9, 1.0), 1.0, -0.0, Vomo_STATUS_PARAM_NOT_VALID},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const CdfFit fit(c.q, c.step, 0.0, c.slope, -7.0, 3);
    EXPECT_EQ(fit.status, c.status);
    if (c.status == Vomo_STATUS_SUCCESS) continue;
    EXPECT_EQ(fit.target, -77.0);
    EXPECT_EQ(fit.slope, -77.0);
    EXPECT_EQ(fit.intercept, -77.0);
  }
  const uint32_t count = 6;
  double out;
  EXPECT_EQ(VomoFIT_CDF(nullptr, q.data(), 1, 0, -1, -7, 3, &out, &out, &out),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoFIT_CDF(&count, nullptr, 1, 0, -1, -7, 3, &out, &out, &out),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoFIT_CDF(&count, q.data(), 1, 0, -1, -7, 3, &out, nullptr, &out),
            Vomo_STATUS_PARAM_NOT_VALID);
}

}  // namespace
