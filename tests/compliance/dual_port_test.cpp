#include <gtest/gtest.h>
#include <synth_signal.h>
#include <vomo.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "core/handle_table.h"
#include "support/run_settings.h"

namespace {

using vomo_test::kBitRate;
using vomo_test::kUnitInterval;

constexpr double kClockInterval = 5e-9;  // both edges of 100 MHz
constexpr double kSamplesPerUi = 8;
constexpr double kPllBandwidth = 5e6, kPllDamping = 0.707;
constexpr VomoFilterParams kPll{kPllBandwidth, kPllDamping, 0, 0};

struct Capture {
  Capture(double bit_rate, double duration, double tone, double tone_hz, double rj, uint64_t seed) {
    app::SynthSpec spec;
    spec.bit_rate = bit_rate;
    spec.samples_per_ui = kBitRate * kSamplesPerUi / bit_rate;
    spec.pattern = app::Pattern::kClock;
    spec.ui_count = static_cast<uint64_t>(std::llround(duration * bit_rate));
    spec.sj_amplitude = tone;
    spec.sj_frequency = tone_hz;
    spec.rj_rms = rj;
    spec.seed = seed;
    samples = app::Synthesize(spec).samples;
    waveform = {static_cast<uint32_t>(samples.size()), spec.sample_interval(), samples.data(), 0,
                0};
  }
  std::vector<float> samples;
  VomoWaveform waveform;
};

class DualPort : public testing::Test {
 protected:
  DualPort() {
    parameters_.dPointsToTrimPercent = 0.05;
    dual_.dClockTargetUI = kClockInterval;
    dual_.eClockCrossoverTypes = Vomo_CROSSOVERS_RISE_FALL;
    dual_.iPLLFilterCount = 1;
    dual_.psPLLFilterParams = &kPll;
  }
  void TearDown() override { Vomo_Handle_Free_All(); }

  VomoStatus Measure(Capture &data, Capture &clock) {
    return Vomo_DUAL_PORT_COMPLIANCE_NO_EYE(&data.waveform, &clock.waveform, nullptr, parameters_,
                                            dual_, &results_, &clock_results_, nullptr);
  }

  VomoComplianceParams parameters_ = vomo_test::RunSettings();
  VomoDualPortParams dual_{};
  VomoComplianceResults results_{};
  VomoDualPortClockResults clock_results_{};
};

// |1 - H| of the closed loop whose 3 dB bandwidth is given.
double Left(double hz) {
  const double c = 1 + 2 * kPllDamping * kPllDamping;
  const double wn = 2 * std::numbers::pi * kPllBandwidth / std::sqrt(c + std::sqrt(c * c + 1));
  const std::complex<double> s(0, 2 * std::numbers::pi * hz),
      loop = 2 * kPllDamping * wn * s + wn * wn;
  return std::abs(1.0 - loop / (s * s + loop));
}

// A tone that data and clock share is left over by what the PLL does not pass.
TEST_F(DualPort, SharedJitterCancelsAsThePllPassesIt) {
  constexpr double kTone = 20e-12, kRj = 0.3e-12, kDuration = 20e-6;
  for (const double hz : {0.5e6, 2e6, 5e6, 20e6}) {
    SCOPED_TRACE(hz);
    Capture data(kBitRate, kDuration, kTone, hz, kRj, 1);
    Capture clock(1 / kClockInterval, kDuration, kTone, hz, 0, 2);
    ASSERT_EQ(Measure(data, clock), 0u);
    // The clock's list begins 39 unit intervals behind the data's: so much the two are out of step.
    // Noise adds five deviations on either side.
    const double out_of_step = 2 * std::numbers::pi * hz * 39 * kUnitInterval;
    const double expected = 2 * kTone * Left(hz);
    EXPECT_NEAR(results_.dTIEPeakPeak, expected,
                2 * kTone * out_of_step + 10 * kRj + 0.1 * expected);
    EXPECT_NEAR(clock_results_.dUnitInterval, kUnitInterval, kUnitInterval * 1e-4);
    EXPECT_EQ(results_.iPLLFilterIndex, 0);
    EXPECT_EQ(results_.ulDataIntervalCount, 0u);
    EXPECT_GT(results_.dTjPeakPeak, 0);
  }
}

TEST_F(DualPort, WorstFilterOfTheList) {
  Capture data(kBitRate, 10e-6, 20e-12, 5e6, 0.3e-12, 1);
  Capture clock(1 / kClockInterval, 10e-6, 20e-12, 5e6, 0, 2);
  // A loop of 50 kHz passes nothing of the tone and so leaves all of it in the data.
  const VomoFilterParams filters[] = {
      {50e6, 0.707, 0, 0}, {50e3, 0.707, 0, 0}, {20e6, 0.707, 0, 0}};
  dual_.psPLLFilterParams = filters;
  dual_.iPLLFilterCount = 3;
  uint32_t count = 0;
  double *jitter = nullptr;
  VomoHandle handle = 0, eye = 0;
  ASSERT_EQ(Vomo_DUAL_PORT_COMPLIANCE(&data.waveform, &clock.waveform, nullptr, parameters_, dual_,
                                      &results_, &clock_results_, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, &eye, &count, &jitter, &handle),
            0u);
  EXPECT_EQ(results_.iPLLFilterIndex, 1);
  EXPECT_NEAR(results_.dTIEPeakPeak, 40e-12, 8e-12);
  EXPECT_EQ(vomo::Vomo_Handle_Lookup(handle), jitter);
  EXPECT_GT(count, 1000u);
  EXPECT_NE(results_.sJitterPdf.pdPDF, nullptr);
  const VomoWaveform before = clock.waveform;
  EXPECT_EQ(before.ulTrimFront + before.ulTrimBack, 0u);
}

TEST_F(DualPort, TellsEachTrial) {
  Capture data(kBitRate, 10e-6, 20e-12, 5e6, 0.3e-12, 1);
  Capture clock(1 / kClockInterval, 10e-6, 20e-12, 5e6, 0, 2);
  const VomoFilterParams filters[] = {{50e6, 0.707, 0, 0}, {50e3, 0.707, 0, 0}};
  dual_.psPLLFilterParams = filters;
  dual_.iPLLFilterCount = 2;
  dual_.ulClockDataOffsetUI = 40;
  VomoDualPortTrial trials[7] = {};
  uint32_t count = 0;
  const auto run = [&](uint32_t room) {
    return Vomo_DUAL_PORT_COMPLIANCE_TRIALS(&data.waveform, &clock.waveform, nullptr, parameters_,
                                            dual_, &results_, &clock_results_, trials, room,
                                            &count);
  };
  ASSERT_EQ(run(7), 0u);
  ASSERT_EQ(count, 6u);
  const VomoDualPortTrial *worst = &trials[0];
  for (uint32_t i = 0; i < count; ++i) {
    EXPECT_EQ(trials[i].iPLLFilterIndex, static_cast<int32_t>(i / 3));
    EXPECT_EQ(trials[i].iClockDataOffsetUI, 40 - 40 * static_cast<int32_t>(i % 3));
    if (trials[i].dTjPeakPeak > worst->dTjPeakPeak) worst = &trials[i];
  }
  // The clock's list begins 39 unit intervals later than the data's, so that the clock ahead by 40
  // fits best.
  EXPECT_GT(trials[0].dTjPeakPeak, trials[1].dTjPeakPeak);
  EXPECT_GT(trials[1].dTjPeakPeak, trials[2].dTjPeakPeak);
  EXPECT_EQ(worst->iPLLFilterIndex, results_.iPLLFilterIndex);
  EXPECT_EQ(worst->iClockDataOffsetUI, results_.iClockDataOffsetUI);
  EXPECT_EQ(worst->dTjPeakPeak, results_.dTjPeakPeak);
  EXPECT_EQ(worst->dRjRMS, results_.dRjRMS);
  ASSERT_EQ(run(2), 0u);
  EXPECT_EQ(count, 2u);
}

TEST_F(DualPort, AlignsCapturesAndRestoresTheClock) {
  Capture data(kBitRate, 10e-6, 0, 1e6, 0.5e-12, 1);
  Capture clock(1 / kClockInterval, 12e-6, 0, 1e6, 0, 2);
  // The clock's capture began 1000 samples into the same time.
  clock.waveform.pfSamples += 1000;
  clock.waveform.ulNumSamples -= 1000;
  clock.waveform.ulTrimFront = 1000;
  const VomoWaveform clock_before = clock.waveform;
  ASSERT_EQ(Measure(data, clock), 0u);
  EXPECT_EQ(clock.waveform.pfSamples, clock_before.pfSamples);
  EXPECT_EQ(clock.waveform.ulNumSamples, clock_before.ulNumSamples);
  EXPECT_EQ(clock.waveform.ulTrimBack, 0u);
  EXPECT_EQ(data.waveform.ulTrimFront, 1000u);  // stays
  EXPECT_EQ(data.waveform.pfSamples, data.samples.data() + 1000);
  // Captures that share no time are refused, the clock's record as it was.
  data.waveform.ulTrimFront = 10'000'000;
  EXPECT_EQ(Measure(data, clock), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(clock.waveform.ulNumSamples, clock_before.ulNumSamples);
  EXPECT_EQ(clock.waveform.pfSamples, clock_before.pfSamples);
}

TEST_F(DualPort, OffsetMovesTheIndices) {
  Capture data(kBitRate, 10e-6, 10e-12, 20e6, 0.3e-12, 1);
  Capture clock(1 / kClockInterval, 10e-6, 10e-12, 20e6, 0, 2);
  dual_.ulClockDataOffsetUI = 100;
  ASSERT_EQ(Measure(data, clock), 0u);
  const int32_t offset = results_.iClockDataOffsetUI;
  EXPECT_TRUE(offset == 100 || offset == 0 || offset == -100);
  // Of N values the trim is 5 %; the clock-ahead trial counts from its own first interval.
  const auto n = clock_results_.ulIntervalCount;
  EXPECT_EQ(results_.ulFirstIndex, n / 20 + (offset < 0 ? 100 : 0));
  dual_.ulClockDataOffsetUI = n;
  EXPECT_EQ(Measure(data, clock), Vomo_STATUS_PARAM_NOT_VALID);
}

TEST_F(DualPort, ClockCrossoversAsTheyAre) {
  // A clock of the data's own rate needs no filling; no PLL stands in between.
  Capture data(kBitRate, 5e-6, 5e-12, 2e6, 0.3e-12, 1);
  Capture clock(kBitRate, 5e-6, 5e-12, 2e6, 0, 2);
  dual_.iUseClockCrossovers = 1;
  dual_.dClockTargetUI = kUnitInterval;
  ASSERT_EQ(Measure(data, clock), 0u);
  EXPECT_LT(results_.dTIEPeakPeak, 10 * 0.3e-12);
  EXPECT_EQ(clock_results_.ulIntervalCount, 39998u);
}

TEST_F(DualPort, RefusesAndLeavesNoHandle) {
  Capture data(kBitRate, 1e-6, 0, 1e6, 0.3e-12, 1);
  Capture clock(1 / kClockInterval, 1e-6, 0, 1e6, 0, 2);
  const auto refused = [&](VomoStatus status) {
    EXPECT_EQ(Measure(data, clock), status);
    for (VomoHandle h = 1; h <= vomo::kHandleCount; ++h) {
      ASSERT_EQ(vomo::Vomo_Handle_Lookup(h), nullptr) << h;
    }
  };
  dual_.iPLLFilterCount = 0;
  refused(Vomo_STATUS_PARAM_OUT_OF_RANGE);
  dual_.iPLLFilterCount = 1;
  dual_.psPLLFilterParams = nullptr;
  refused(Vomo_STATUS_PARAM_NOT_VALID);
  dual_.psPLLFilterParams = &kPll;
  parameters_.ulMinUIForOfficialTest = 1'000'000;
  refused(Vomo_STATUS_NOT_ENOUGH_UI);
  parameters_.ulMinUIForOfficialTest = 1000;
  parameters_.dTargetUI = 0;
  refused(Vomo_STATUS_PARAM_OUT_OF_RANGE);
  parameters_.dTargetUI = kUnitInterval;
  clock.waveform.ulNumSamples = 500;  // one edge at the most
  refused(Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(Vomo_DUAL_PORT_COMPLIANCE_NO_EYE(&data.waveform, nullptr, nullptr, parameters_, dual_,
                                             &results_, &clock_results_, nullptr),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_DUAL_PORT_COMPLIANCE_NO_EYE(&data.waveform, &clock.waveform, nullptr, parameters_,
                                             dual_, &results_, nullptr, nullptr),
            Vomo_STATUS_PARAM_NOT_VALID);
}

}  // namespace
