#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "stats/jitter_slots.h"
#include "support/gaussian.h"

namespace {

using vomo::JitterSlots;
using vomo_test::Gaussian;
using vomo_test::GaussianTail;
using vomo_test::GaussianTailInverse;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kTargetQ = -7.0;

class DualDirac : public testing::Test {
 protected:
  void TearDown() override {
    Vomo_Handle_Free_All();
    JitterSlots() = vomo::VomoJitterSlots{};
  }
};

struct Fit {
  VomoStatus status = 0;
  double rj, left = -77.0, right = -77.0, dj = -77.0, tj = -77.0;

  Fit(const std::vector<double> &jitter, double bin_size, double given_rj, uint32_t points = 20,
      uint32_t trim = 0, uint32_t bin_trim = 1)
      : rj(given_rj) {
    VomoComplianceParams params{};
    params.dPDFBinSize = bin_size;
    params.dTargetBERQVal = kTargetQ;
    params.ulRemoveBinsNumPoints = bin_trim;
    params.ulNumPointsToUseInCdfFit = points;
    VomoComplianceResults results{};
    results.dDualDiracLeft = results.dDualDiracRight = -77.0;
    status = VomoFIT_DUAL_DIRAC(jitter.data(), static_cast<uint32_t>(jitter.size()), trim, params,
                                &rj, &results, &dj, &tj);
    left = results.dDualDiracLeft;
    right = results.dDualDiracRight;
  }
};

// The tails are clipped: what lies beyond kClip deviations of a Dirac is moved to that place and so
// falls into the outermost bin. No running sum within the fitted range notices, and no bin there is
// thinly populated.
constexpr double kClip = 2.5;

// The quantiles of a unit Gaussian, half a step off the ends: a sample without sampling error. A
// count of its values beyond any place is at most one off the count expected.
const std::vector<double> &IdealGaussian() {
  static const std::vector<double> ideal = [] {
    constexpr size_t kCount = 1 << 14;
    std::vector<double> z(kCount);
    for (size_t i = 0; i < kCount; ++i) {
      z[i] = -GaussianTailInverse((static_cast<double>(i) + 0.5) / kCount);
      z[i] = std::clamp(z[i], -kClip, kClip);
    }
    return z;
  }();
  return ideal;
}

// Error of Q, in deviations, where one hit of the ideal sample is missing at the edge of the
// clipped tail: there are 101 hits, and Q moves by the relative error of the tail over z (the tail
// is below density / z).
constexpr double kIdealError = 1.0 / 101 / kClip;

std::vector<double> IdealTwoDirac(double dj) {
  std::vector<double> jitter;
  for (const double z : IdealGaussian()) {
    jitter.push_back(-0.5 * dj + z);
    jitter.push_back(0.5 * dj + z);
  }
  return jitter;
}

// A running sum ends at the far edge of a bin and its abscissa is the near edge, on the right side
// only. That takes one bin from the distance of the Diracs.
TEST_F(DualDirac, IdealGaussianGivesItsOwnDeviation) {
  constexpr double kBin = 0.125;
  const Fit measured(IdealGaussian(), kBin, 0.0);
  ASSERT_EQ(measured.status, Vomo_STATUS_SUCCESS);
  // Errors of Q of at most E over abscissae spread evenly from -c to c turn a slope of 1 by
  // E (c / 2) / (c^2 / 3) = 1.5 E / c.
  EXPECT_NEAR(measured.rj, 1.0, 1.5 * kIdealError / kClip);
  EXPECT_NEAR(measured.left, 0.0, 3 * kIdealError);
  EXPECT_NEAR(measured.right, -kBin, 3 * kIdealError);
  EXPECT_DOUBLE_EQ(measured.dj, measured.left + measured.right);
  EXPECT_NEAR(measured.tj, measured.dj - 2 * kTargetQ * measured.rj, 1e-13);

  const Fit given(IdealGaussian(), kBin, 1.0);
  ASSERT_EQ(given.status, Vomo_STATUS_SUCCESS);
  EXPECT_EQ(given.rj, 1.0);
  EXPECT_NEAR(given.dj, -kBin, 2 * kIdealError);
  EXPECT_NEAR(given.tj, given.dj - 2 * kTargetQ, 1e-13);
}

// Half of the hits belong to each Dirac, but the Q scale is taken of the whole: where the tail of
// one Dirac alone is at z, the curve reads the z + delta whose tail is half of it. Each position
// comes out delta too small, between the delta of the innermost and of the outermost point used.
TEST_F(DualDirac, IdealTwoDiracComesOutSmallerByTheSharedTail) {
  constexpr double kBin = 1.0 / 16, kDj = 8.0;
  const auto delta = [](double z) { return GaussianTailInverse(0.5 * GaussianTail(z)) - z; };
  for (const uint32_t points : {1u, 4u, 12u}) {
    SCOPED_TRACE(points);
    const Fit fit(IdealTwoDirac(kDj), kBin, 1.0, points);
    ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS);
    const double outermost = delta(kClip - kBin), innermost = delta(kClip - points * kBin);
    EXPECT_LE(fit.dj, kDj - kBin - 2 * outermost + 2 * kIdealError);
    EXPECT_GE(fit.dj, kDj - kBin - 2 * innermost - 2 * kIdealError);
    EXPECT_NEAR(fit.left - fit.right, kBin, 2 * kIdealError);
    EXPECT_NEAR(fit.tj, fit.dj - 2 * kTargetQ, 1e-12);
  }
}

// Random sequences in picoseconds. The outermost point of a curve counts c hits, so its Q is off by
// 1 / sqrt(c) / z deviations (rms); points further in are better and share most of their error.
// Five times that, for both sides together sqrt(2) times, covers the sampling. The grid's offset
// moves both positions alike.
TEST_F(DualDirac, RandomSequencesWithKnownJitter) {
  constexpr uint32_t kCount = 1 << 18;
  constexpr double kPicosecond = 1e-12;
  const struct {
    double rj, dj, mean;  // ps
    double share;         // of the hits behind each tail
  } cases[] = {
      {1.0, 0.0, 0.0, 1.0}, {2.5, 0.0, -40.0, 1.0}, {1.0, 12.0, 3.0, 0.5}, {0.3, 30.0, 0.0, 0.5}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.dj);
    Gaussian noise(7);
    std::vector<double> jitter(kCount);
    for (double &t : jitter) {
      const double dirac = noise.Coin() ? 0.5 * c.dj : -0.5 * c.dj;
      t = (c.mean + dirac + c.rj * std::clamp(noise(), -kClip, kClip)) * kPicosecond;
    }
    const double bin = c.rj / 10 * kPicosecond;
    const double hits = kCount * c.share * GaussianTail(kClip);
    const double sampling = 5 * std::sqrt(2.0) / std::sqrt(hits) / kClip * c.rj;
    const double shared_tail =
        c.share == 1.0 ? 0.0 : 2 * (GaussianTailInverse(0.5 * GaussianTail(kClip)) - kClip);
    // Eight points reach 0.8 deviations into the curve, where the shared tail weighs at most half
    // as much again.
    const Fit given(jitter, bin, c.rj * kPicosecond, 8);
    ASSERT_EQ(given.status, Vomo_STATUS_SUCCESS);
    EXPECT_NEAR(given.dj / kPicosecond, c.dj - 0.1 * c.rj - 1.25 * shared_tail * c.rj,
                sampling + 0.25 * shared_tail * c.rj);
    EXPECT_NEAR(given.right / kPicosecond - c.mean, 0.5 * c.dj,
                0.2 * c.rj + sampling + shared_tail * c.rj);
    if (c.dj != 0.0) continue;
    const Fit measured(jitter, bin, 0.0, 8);
    ASSERT_EQ(measured.status, Vomo_STATUS_SUCCESS);
    EXPECT_NEAR(measured.rj / kPicosecond / c.rj, 1.0, 1.5 * sampling / c.rj / kClip);
    EXPECT_NEAR(measured.tj / kPicosecond, -2 * kTargetQ * c.rj,
                0.1 * c.rj + sampling * (1 - 2 * kTargetQ * 1.5 / kClip));
  }
}

// Turning the time axis round swaps the sides. The data keep clear of the bin edges, except for the
// extremes, and fill a whole number of bins, so that both histograms have the same bins.
TEST_F(DualDirac, MirroredDataGiveMirroredResults) {
  constexpr double kBin = 0.125, kEnd = 6.0;
  Gaussian noise(3);
  std::vector<double> jitter{-kEnd, kEnd};
  for (int i = 0; i < 50000; ++i) {
    const double t = noise() * (noise.Coin() ? 1.0 : 1.7);
    const double skewed = std::clamp(t > 0 ? 0.6 * t : t, -kEnd + kBin, kEnd - kBin);
    jitter.push_back((std::floor(skewed / kBin) + 0.5) * kBin);
  }
  std::vector<double> mirrored = jitter;
  for (double &t : mirrored) t = -t;
  for (const double rj : {0.0, 1.0}) {
    const Fit fit(jitter, kBin, rj, 20, 0, 0), turned(mirrored, kBin, rj, 20, 0, 0);
    ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS);
    ASSERT_EQ(turned.status, Vomo_STATUS_SUCCESS);
    EXPECT_NEAR(turned.left, fit.right + kBin, 1e-10);
    EXPECT_NEAR(turned.right, fit.left - kBin, 1e-10);
    EXPECT_NEAR(turned.dj, fit.dj, 1e-10);
    EXPECT_NEAR(turned.tj, fit.tj, 1e-10);
    EXPECT_NEAR(turned.rj, fit.rj, 1e-10);
    EXPECT_GT(std::abs(fit.left - fit.right - kBin), 0.1);  // the data are not symmetric themselves
  }
}

// The abscissae of an Rj measurement step by the bin size in single precision, 1.5e-8 above 0.1:
// against a line over the bin numbers, in double, the slope shows it.
TEST_F(DualDirac, RjIsMeasuredOverSinglePrecisionSteps) {
  const Fit fit(IdealTwoDirac(2.0), 0.1, 0.0);
  ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS);
  const auto &q = JitterSlots().q.working.record;
  std::vector<double> number(q.ulFitCount);
  for (size_t i = 0; i < number.size(); ++i) number[i] = static_cast<double>(i);
  double rj = 0.0;
  for (const double *curve : {q.pdQFromLeft, q.pdQFromRight}) {
    double slope, intercept, goodness;
    ASSERT_EQ(Vomo_Find_Linear_Fit(number.data(), curve, q.ulFitCount, 10, q.ulFitCount - 1, &slope,
                                   &intercept, &goodness),
              Vomo_STATUS_SUCCESS);
    rj += 0.5 * -static_cast<double>(0.1f) / slope;
  }
  EXPECT_NEAR(fit.rj / rj, 1.0, 1e-11);
}

TEST_F(DualDirac, LeavesOutTheEndsOfTheSequence) {
  const Fit plain(IdealGaussian(), 0.125, 0.0);
  std::vector<double> longer = IdealGaussian();
  longer.insert(longer.begin(), {900.0, -50.0, 3e9});
  longer.insert(longer.end(), {-1e6, kInf, 12.0});
  const Fit trimmed(longer, 0.125, 0.0, 20, 3);
  ASSERT_EQ(trimmed.status, Vomo_STATUS_SUCCESS);
  EXPECT_EQ(trimmed.dj, plain.dj);
  EXPECT_EQ(trimmed.tj, plain.tj);
}

// An Rj without end has the slope 0, which asks for a search along the curve.
TEST_F(DualDirac, InfiniteRjSearchesTheLine) {
  const Fit fit(IdealGaussian(), 0.125, kInf);
  ASSERT_EQ(fit.status, Vomo_STATUS_SUCCESS);
  EXPECT_TRUE(std::isfinite(fit.tj));
  EXPECT_EQ(fit.rj, kInf);
}

TEST_F(DualDirac, CurvesStayUntilTheNextFit) {
  constexpr double kBin = 0.125;
  const Fit fit(IdealGaussian(), kBin, 0.0);
  const auto &pdf = JitterSlots().pdf.working.record;
  const auto &q = JitterSlots().q.working.record;
  ASSERT_EQ(pdf.ulBinCount, 40u);  // 5 deviations
  EXPECT_EQ(q.ulFitCount, 39u);
  EXPECT_EQ(pdf.dFirstBinValue, -kClip);
  EXPECT_EQ(q.dFirstBinValue, -kClip);
  EXPECT_EQ(pdf.dPDFBinSize, kBin);
  EXPECT_EQ(q.dPDFBinSize, kBin);
  // In the middle of both curves stands Q 0; the abscissae of the left one are mirrored.
  EXPECT_NEAR(q.pdQFromLeft[19], 0.0, 1e-3);
  EXPECT_NEAR(q.pdQFromRight[19], 0.0, 1e-3);
  EXPECT_NEAR(q.pdQFromLeft[38], -(kClip - kBin), 2 * kIdealError);
  // Each line goes from its Dirac position at Q 0 to the target Q.
  EXPECT_EQ(q.dLeftLineX0, fit.left);
  EXPECT_EQ(q.dRightLineX0, fit.right);
  EXPECT_DOUBLE_EQ(q.dLeftLineX1 + q.dRightLineX1, fit.tj);
  EXPECT_EQ(q.dLeftLineY0, 0.0);
  EXPECT_EQ(q.dRightLineY0, 0.0);
  EXPECT_EQ(q.dLeftLineY1, kTargetQ);
  EXPECT_EQ(q.dRightLineY1, kTargetQ);

  // A fit without a take-over in between frees the former's two blocks and takes their places.
  const Fit second(IdealTwoDirac(4.0), kBin, 1.0);
  EXPECT_NE(vomo::Vomo_Handle_Lookup(1), nullptr);
  EXPECT_NE(vomo::Vomo_Handle_Lookup(2), nullptr);
  EXPECT_EQ(vomo::Vomo_Handle_Lookup(3), nullptr);

  // Published curves are safe from further fits.
  vomo::Vomo_PublishJitterPdf();
  vomo::Vomo_PublishJitterQ();
  const double published = JitterSlots().pdf.published.record.pdPDF[0];
  const Fit third(IdealGaussian(), kBin, 1.0);
  EXPECT_EQ(JitterSlots().pdf.published.record.pdPDF[0], published);
  EXPECT_EQ(JitterSlots().pdf.published.record.ulBinCount, 72u);  // 4 more

  // A failing fit leaves none behind, and nothing of the published ones changes.
  const Fit failed({1.0, 1.0}, kBin, 1.0);
  EXPECT_EQ(failed.status, Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(pdf.pdPDF, nullptr);
  EXPECT_EQ(pdf.ulBinCount, 0u);
  EXPECT_EQ(q.pdQFromLeft, nullptr);
  EXPECT_EQ(q.pdQFromRight, nullptr);
  EXPECT_EQ(q.ulFitCount, 0u);
  EXPECT_EQ(JitterSlots().pdf.published.record.pdPDF[0], published);
}

TEST_F(DualDirac, Refusals) {
  std::vector<double> bins12, bins13, bins3{0.5, 1.5, 2.5, 0, 3}, bins2{0.5, 1.5, 0, 2};
  for (int i = 0; i <= 13; ++i) {
    if (i <= 12) bins12.push_back(i);
    bins13.push_back(i);
  }
  const auto &good = IdealGaussian();
  const auto whole = static_cast<uint32_t>(good.size());
  const struct {
    const char *what;
    std::vector<double> jitter;
    double bin_size, rj;
    uint32_t trim, bin_trim;
    VomoStatus status;
  } cases[] = {
      {"trim of half", good, 0.125, 1.0, whole / 2, 1, Vomo_STATUS_PARAM_NOT_VALID},
      {"trim that wraps twofold", good, 0.125, 1.0, 0x80000001, 1, Vomo_STATUS_PARAM_NOT_VALID},
      {"all values equal", {1, 1, 1}, 0.125, 1.0, 0, 1, Vomo_STATUS_PARAM_NOT_VALID},
      {"bin size 0", good, 0.0, 1.0, 0, 1, Vomo_STATUS_PARAM_NOT_VALID},
      {"no bin full enough", good, 0.125, 1.0, 0, whole, Vomo_STATUS_PARAM_NOT_VALID},
      {"too many bins", good, 1e-9, 1.0, 0, 1, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {"12 bins, Rj to measure", bins12, 1.0, 0.0, 0, 1, Vomo_STATUS_PARAM_NOT_VALID},
      {"13 bins, Rj to measure", bins13, 1.0, 0.0, 0, 1, Vomo_STATUS_SUCCESS},
      {"2 bins, Rj given", bins2, 1.0, 1.0, 0, 1, Vomo_STATUS_PARAM_NOT_VALID},
      {"3 bins, Rj given", bins3, 1.0, 1.0, 0, 1, Vomo_STATUS_SUCCESS},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Fit fit(c.jitter, c.bin_size, c.rj, 20, c.trim, c.bin_trim);
    EXPECT_EQ(fit.status, c.status);
    if (c.status == Vomo_STATUS_SUCCESS) continue;
    EXPECT_EQ(fit.rj, c.rj);
    EXPECT_EQ(fit.left, -77.0);
    EXPECT_EQ(fit.right, -77.0);
    EXPECT_EQ(fit.dj, -77.0);
    EXPECT_EQ(fit.tj, -77.0);
    for (VomoHandle h = 1; h <= 3; ++h) EXPECT_EQ(vomo::Vomo_Handle_Lookup(h), nullptr);
  }
  double rj = 1.0, dj, tj;
  VomoComplianceResults results{};
  const VomoComplianceParams params{};
  for (int missing = 0; missing < 5; ++missing) {
    EXPECT_EQ(VomoFIT_DUAL_DIRAC(missing == 0 ? nullptr : good.data(), 9, 0, params,
                                 missing == 1 ? nullptr : &rj, missing == 2 ? nullptr : &results,
                                 missing == 3 ? nullptr : &dj, missing == 4 ? nullptr : &tj),
              Vomo_STATUS_PARAM_NOT_VALID);
  }
}

}  // namespace
