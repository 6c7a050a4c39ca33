#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "eye/eye_signal.h"

namespace {

using vomo_test::EyeCapture;
using vomo_test::EyeSignal;

// Two samples to a unit interval, one a second.
class Voltages : public testing::Test {
 protected:
  void Find(uint32_t first, uint32_t last) {
    waveform_ = {static_cast<uint32_t>(samples_.size()), 1.0, samples_.data(), 0, 0};
    clock_.ulCount = static_cast<uint32_t>(times_.size());
    clock_.pdTimes = times_.data();
    results_.dUnitInterval = 2.0;
    EXPECT_EQ(VomoFIND_VOLTAGES(&waveform_, &clock_, first, last, &params_, &results_), 0u);
  }

  struct Expected {
    float trans_min, trans_max, repeated_min, repeated_max;
    uint32_t trans_min_at, trans_max_at, repeated_min_at, repeated_max_at;
    uint32_t trans_violations = 0, repeated_violations = 0;
  };
  void Expect(const Expected &e) {
    const VomoComplianceResults &r = results_;
    EXPECT_EQ(r.fTransMinVoltage, e.trans_min);
    EXPECT_EQ(r.fTransMaxVoltage, e.trans_max);
    EXPECT_EQ(r.fNonTransMinVoltage, e.repeated_min);
    EXPECT_EQ(r.fNonTransMaxVoltage, e.repeated_max);
    EXPECT_EQ(r.ulTransMinIndex, e.trans_min_at);
    EXPECT_EQ(r.ulTransMaxIndex, e.trans_max_at);
    EXPECT_EQ(r.ulNonTransMinIndex, e.repeated_min_at);
    EXPECT_EQ(r.ulNonTransMaxIndex, e.repeated_max_at);
    EXPECT_EQ(r.ulTransRailViolations, e.trans_violations);
    EXPECT_EQ(r.ulNonTransRailViolations, e.repeated_violations);
  }

  // By class, against the sample two before (or the first): n n t t n n t t n n n.
  std::vector<float> samples_{1, 1, -1, -1, -2, -2, .5f, .5f, .75f, .625f, .25f};
  std::vector<double> times_{0, 2, 4.5, 6, 8};
  VomoWaveform waveform_{};
  VomoCrossoverData clock_{};
  VomoComplianceParams params_{};
  VomoComplianceResults results_{};
};

TEST_F(Voltages, AreFoundByHand) {
  params_.fTransitionHighVoltageRail = params_.fNonTransitionHighVoltageRail = 10;
  params_.fTransitionLowVoltageRail = params_.NonTransitionLowVoltageRail = -10;
  {
    SCOPED_TRACE("interval 0 is told as 1; the first of equal samples counts");
    Find(0, 4);
    Expect({-1, .5f, -2, 1, 1, 3, 1, 1});
  }
  {
    SCOPED_TRACE("a sample in front of the first edge; one behind the last; none of a class");
    Find(2, 3);
    Expect({0, .5f, -2, .75f, 0, 0, 1, 0});
  }
  {
    SCOPED_TRACE("a last index past the clock, rails");
    params_.fTransitionHighVoltageRail = .25f;
    params_.fTransitionLowVoltageRail = -1;
    params_.fNonTransitionHighVoltageRail = .75f;
    params_.NonTransitionLowVoltageRail = -1.5f;
    Find(0, 99);
    Expect({-1, .5f, -2, 1, 1, 3, 1, 1, 2, 4});
  }
  {
    SCOPED_TRACE("zero is on the negative side, a NaN on none");
    samples_ = {0, 0, 0, std::nanf(""), 1, 1};
    times_ = {0, 2};
    params_.NonTransitionLowVoltageRail = .125f;
    Find(0, 1);
    Expect({0, 0, 0, 1, 0, 0, 0, 0, 0, 4});
  }
}

TEST_F(Voltages, AreClearedWhenNothingCanBeMeasured) {
  uint32_t first = 0;
  const std::function<void()> spoilers[] = {
      [&] { first = 5; },
      [&] { waveform_.dSampleInterval = 0; },
      [&] { waveform_.pfSamples = nullptr; },
      [&] { clock_.pdTimes = nullptr; },
  };
  for (const auto &spoil : spoilers) {
    first = 0;
    Find(0, 4);
    ASSERT_EQ(results_.fNonTransMinVoltage, -2.0f);
    spoil();
    EXPECT_EQ(VomoFIND_VOLTAGES(&waveform_, &clock_, first, 6, &params_, &results_), 0u);
    Expect({});
  }
}

// The scan runs with the measured unit interval: at a wrong one the classes fall apart.
TEST(EyeVoltages, OfAKnownSignal) {
  EyeSignal signal;
  signal.repeated_v = 0.4;
  signal.edge_ui = 0.1;
  signal.bits = vomo_test::Prbs15(2000);
  int64_t transition = 500, repeated = 800;
  const auto repeats = [&](int64_t k) {
    const auto at = static_cast<std::size_t>(k);
    return signal.bits[at] == signal.bits[at - 1];
  };
  while (repeats(transition) || signal.bits[static_cast<std::size_t>(transition)] < 0) ++transition;
  while (!repeats(repeated) || signal.bits[static_cast<std::size_t>(repeated)] > 0) ++repeated;
  signal.special_v = {{transition, 0.7}, {repeated, -0.6}};
  EyeCapture capture(signal);
  VomoComplianceParams params{};
  params.fTransitionHighVoltageRail = params.fNonTransitionHighVoltageRail = 0.55f;
  params.fTransitionLowVoltageRail = params.NonTransitionLowVoltageRail = -0.55f;
  VomoComplianceResults r{};
  r.dUnitInterval = capture.ui_s();
  VomoFIND_VOLTAGES(&capture.waveform, &capture.clock, 10, 1990, &params, &r);
  EXPECT_NEAR(r.fTransMaxVoltage, 0.7, 1e-6);
  EXPECT_EQ(r.ulTransMaxIndex, transition);
  EXPECT_NEAR(r.fNonTransMinVoltage, -0.6, 1e-6);
  EXPECT_EQ(r.ulNonTransMinIndex, repeated);
  EXPECT_NEAR(r.fTransMinVoltage, -0.5, 1e-6);
  // 9 of 10 samples of a bit lie beyond its edges, and the one on an edge is no extreme.
  EXPECT_EQ(r.ulTransRailViolations, 9u);
  EXPECT_EQ(r.ulNonTransRailViolations, 9u);
}

}  // namespace
