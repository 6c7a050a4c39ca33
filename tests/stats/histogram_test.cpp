#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/handle_table.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Histogram {
  VomoStatus status = 0;
  double first = -77.0;
  uint32_t count = 77;
  double *pdf = nullptr, *from_right = nullptr, *from_left = nullptr;
  VomoHandle handle = 0;
  std::vector<double> bins;

  Histogram(const std::vector<double> &values, double bin_size, uint32_t trim) {
    status = VomoCREATE_PDF_CDF(values.data(), static_cast<uint32_t>(values.size()), bin_size, trim,
                                &first, &count, &pdf, &from_right, &from_left, &handle);
    if (status == Vomo_STATUS_SUCCESS) bins.assign(pdf, pdf + count);
  }
  ~Histogram() { Vomo_HANDLE_FREE(handle); }
};

// Eight values each, so that a hit weighs 1/8 and every sum below is exact.
TEST(Histogram, HandComputedCases) {
  const struct {
    const char *what;
    std::vector<double> values;
    double bin_size;
    uint32_t trim;
    double first;
    std::vector<double> bins;
  } cases[] = {
      {"the maximum falls into the last bin, not behind it",
       {0.0, 0.25, 1.0, 1.5, 1.5, 2.0, 3.0, 4.0},
       1.0,
       0,
       0.0,
       {.25, .375, .125, .25}},
      {"bins begin at the minimum, the abscissa is that of the grid through zero",
       {0.75, 0.8, 1.2, 1.3, 1.3, 1.7, 1.7, 1.8},
       0.5,
       0,
       0.5,
       {.375, .5, .125}},
      {"the grid continues below zero",
       {-0.3, -0.2, 0.1, 0.3, 0.3, 0.6, 0.6, 0.6},
       0.5,
       0,
       -0.5,
       {.375, .625}},
      {"a trim of 1 keeps empty bins between populated ones",
       {0.0, 0.5, 0.5, 0.5, 3.5, 3.5, 3.5, 4.0},
       1.0,
       1,
       0.0,
       {.5, 0, 0, .5}},
      {"a bin with exactly the trim count stays, and the kept bins sum to 1",
       {0.0, 1.5, 1.5, 2.5, 2.5, 3.5, 3.5, 4.5},
       1.0,
       2,
       1.0,
       {1.0 / 3, 1.0 / 3, 1.0 / 3}},
      {"bin 0 alone remains", {0.0, 0.5, 0.5, 0.5, 0.5, 1.5, 2.5, 3.5}, 1.0, 3, 0.0, {1.0}},
      {"an interval below one bin makes one bin",
       {3, 3, 3, 3, 3.5, 3.5, 3.5, 3.5},
       1.0,
       0,
       3.0,
       {1.0}},
      {"a NaN behind the first value counts in bin 0",
       {0.0, kNaN, 1.5, 1.5, 1.5, 1.5, 1.5, 2.0},
       1.0,
       0,
       0.0,
       {.25, .75}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Histogram h(c.values, c.bin_size, c.trim);
    ASSERT_EQ(h.status, Vomo_STATUS_SUCCESS);
    EXPECT_DOUBLE_EQ(h.first, c.first);
    ASSERT_EQ(h.bins.size(), c.bins.size());
    double left = 0.0, right = 0.0;
    for (size_t k = 0; k < c.bins.size(); ++k) {
      EXPECT_DOUBLE_EQ(h.bins[k], c.bins[k]) << "bin " << k;
      EXPECT_DOUBLE_EQ(h.from_left[k], left += c.bins[k]) << "from left " << k;
      EXPECT_DOUBLE_EQ(h.from_right[k], right += c.bins[c.bins.size() - 1 - k]) << "right " << k;
    }
  }
}

// A value a hair below a bin edge is binned by the product with the reciprocal of the bin size:
// 3 x 0.1 is above 0.3, and 0.3 * (1 / 0.1) is 3, though 0.3 / 0.1 is just below it.
TEST(Histogram, PositionsAreProductsWithTheReciprocal) {
  ASSERT_LT(0.3 / 0.1, 3.0);
  const Histogram h({0.0, 0.3, 0.35, 0.4}, 0.1, 0);
  ASSERT_EQ(h.bins.size(), 4u);
  EXPECT_EQ(h.bins[2], 0.0);
  EXPECT_EQ(h.bins[3], 0.75);
}

// A long sequence, far beyond any internal portion, that fills each of its bins equally.
TEST(Histogram, EveryValueOfALongSequenceCountsOnce) {
  constexpr uint32_t kCount = 1 << 16, kPerBin = 1 << 12;
  std::vector<double> values(kCount);
  for (uint32_t i = 0; i < kCount; ++i) values[i] = i * 40503u % kCount;  // odd: a permutation
  const Histogram h(values, kPerBin, kPerBin);
  ASSERT_EQ(h.bins.size(), kCount / kPerBin);
  for (const double bin : h.bins) EXPECT_EQ(bin, 1.0 / 16);
}

TEST(Histogram, TheBlockHoldsOnlyWhatIsAskedFor) {
  const std::vector<double> values{0.0, 1.5, 2.5, 3.0};
  for (const bool want_left : {false, true}) {
    for (const bool want_right : {false, true}) {
      double first, *pdf, *left = nullptr, *right = nullptr;
      uint32_t count;
      VomoHandle handle;
      ASSERT_EQ(
          VomoCREATE_PDF_CDF(values.data(), 4, 1.0, 0, &first, &count, &pdf,
                             want_right ? &right : nullptr, want_left ? &left : nullptr, &handle),
          Vomo_STATUS_SUCCESS);
      EXPECT_EQ(vomo::Vomo_Handle_Lookup(handle), pdf);
      EXPECT_EQ(left, want_left ? pdf + 3 : nullptr);
      EXPECT_EQ(right, want_right ? pdf + (want_left ? 6 : 3) : nullptr);
      if (want_right) {
        EXPECT_EQ(right[2], 1.0);
      }
      Vomo_HANDLE_FREE(handle);
    }
  }
}

TEST(Histogram, Refusals) {
  const std::vector<double> good{0.0, 1.0, 2.0, 4.0};
  const struct {
    const char *what;
    std::vector<double> values;
    double bin_size;
    uint32_t trim;
    VomoStatus status;
  } cases[] = {
      {"no values", {}, 1.0, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"bin size 0", good, 0.0, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"negative bin size", good, -1.0, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"bin size NaN", good, kNaN, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"infinite bin size", good, kInf, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"all values equal", {2.0, 2.0, 2.0}, 1.0, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"NaN first", {kNaN, 1.0}, 1.0, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"every bin below the trim", good, 1.0, 3, Vomo_STATUS_PARAM_NOT_VALID},
      {"an infinite value", {0.0, kInf}, 1.0, 0, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {"too many bins", good, 1e-9, 0, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {"reciprocal of the bin size infinite", good, 1e-310, 0,
       Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Histogram h(c.values.empty() ? std::vector<double>(0) : c.values, c.bin_size, c.trim);
    EXPECT_EQ(h.status, c.status);
    EXPECT_EQ(h.first, -77.0);
    EXPECT_EQ(h.count, 77u);
    EXPECT_EQ(h.pdf, nullptr);
    EXPECT_EQ(h.from_right, nullptr);
    EXPECT_EQ(h.from_left, nullptr);
    EXPECT_EQ(h.handle, 0u);
  }
}

}  // namespace
