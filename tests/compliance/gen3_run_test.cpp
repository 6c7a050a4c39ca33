#include <gtest/gtest.h>
#include <synth_signal.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <numbers>
#include <vector>

#include "compliance/gen3_stages.h"
#include "core/handle_table.h"
#include "support/bit_signal.h"
#include "support/gaussian.h"
#include "support/handle_pressure.h"
#include "support/run_settings.h"
#include "support/run_signal.h"

namespace {

using vomo_test::BitSignal;
using vomo_test::kUnitInterval;
using vomo_test::LiveHandles;

// One repeat: data, sixteen runs of eight bits, 64 bits of each level, toggling bits.
std::vector<int> PatternBits(int data_bits) {
  app::SynthSpec spec;
  spec.pattern = app::Pattern::kPrbs7;
  app::BitSource data(spec);
  std::vector<int> bits;
  for (int i = 0; i < data_bits; ++i) bits.push_back(2 * data.Next() - 1);
  bits.back() = 1;
  for (int run = 0; run < 16; ++run) bits.insert(bits.end(), 8, run % 2 == 0 ? -1 : 1);
  bits.insert(bits.end(), 64, -1);
  bits.insert(bits.end(), 64, 1);
  for (int i = 0; i < 66; ++i) bits.push_back(i % 2 == 0 ? -1 : 1);
  return bits;
}

struct Jitter {
  double f2_s = 0;  // even edges late, odd ones early by this
  double noise_rms_s = 0;
};

// Repeats of the pattern, with jitter on every edge.
struct Gen3Capture {
  Gen3Capture(int data_bits, uint32_t repeat_count, double after_tap, const Jitter &jitter)
      : repeat(PatternBits(data_bits)), repeats(repeat_count) {
    signal.after = after_tap;
    for (uint32_t r = 0; r < repeats; ++r) {
      signal.bits.insert(signal.bits.end(), repeat.begin(), repeat.end());
    }
    vomo_test::Gaussian gaussian(31);
    for (size_t k = 0; k < signal.bits.size(); ++k) {
      signal.late_s.push_back((k % 2 == 0 ? 1 : -1) * jitter.f2_s +
                              jitter.noise_rms_s * gaussian());
    }
    samples = signal.Samples();
    waveform = {static_cast<uint32_t>(samples.size()), signal.interval_s(), samples.data(), 0, 0};
  }
  Gen3Capture(const Gen3Capture &) = delete;
  Gen3Capture &operator=(const Gen3Capture &) = delete;

  void SetBits(std::vector<int> bits) {
    signal.bits = std::move(bits);
    samples = signal.Samples();
    waveform.ulNumSamples = static_cast<uint32_t>(samples.size());
    waveform.pfSamples = samples.data();
  }
  uint32_t EdgeCount() const {
    uint32_t count = 0;
    for (size_t k = 1; k < signal.bits.size(); ++k) count += signal.bits[k] != signal.bits[k - 1];
    return count;
  }
  // The bit that the first edge leads into.
  size_t FirstEdge() const {
    size_t k = 1;
    while (signal.bits[k] == signal.bits[k - 1]) ++k;
    return k;
  }

  std::vector<int> repeat;
  uint32_t repeats;
  BitSignal signal;
  std::vector<float> samples;
  VomoWaveform waveform{};
};

struct Gen3Run {
  Gen3Run() {
    base = {3, 7, 60, 68, 40, 55, 40, 3, 38, 64, 64, 40, 60, 0.02};
    parameters.psGen3BaseCompParameters = &base;
    gen3.psPatternDDj = &ddj;
    results.psGen3Results = &gen3;
  }
  Gen3Run(const Gen3Run &) = delete;
  Gen3Run &operator=(const Gen3Run &) = delete;

  VomoStatus operator()(Gen3Capture &capture) {
    return Vomo_GENERAL_COMPLIANCE_NO_EYE(&capture.waveform, nullptr, parameters, &results,
                                          nullptr);
  }

  VomoComplianceParams parameters = vomo_test::RunSettings();
  VomoGen3BaseCompParameters base{};
  VomoPatternDDjResult ddj{77, 77};
  VomoGen3Results gen3{};
  VomoComplianceResults results{};
};

class Gen3 : public testing::Test {
 protected:
  void TearDown() override { Vomo_Handle_Free_All(); }
};

// What 60 repeats tell of an edge is off by the noise over the root of 59 averaged repeats.
constexpr uint32_t kRepeats = 60;
constexpr double kNoise = 1e-12;
const double kMeanNoise = kNoise / std::sqrt(kRepeats - 1.0);

TEST_F(Gen3, MeasuresWhatWasPutIn) {
  // An after tap of -0.2 leaves steady bits 0.6 of the level and bits behind an edge all of it. On
  // the way from 0.6 to -1 the edge, 0.4 UI long, crosses 0 V at 0.375 of it, otherwise in its
  // middle.
  const struct {
    const char *what;
    int data_bits;
    double after_tap, f2_s, ddj_s, steady_v, ps21_db;
  } cases[] = {
      {"random jitter", 130, 0, 0, 0, 0.4, 0},
      {"F/2 jitter", 130, 0, 4e-12, 8e-12, 0.4, 0},
      {"F/2 jitter, odd pattern", 131, 0, 4e-12, 8e-12, 0.4, 0},
      {"pattern jitter", 130, -0.2, 0, 0.125 * 0.4 * kUnitInterval, 0.24, -20 * std::log10(0.6)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Gen3Capture capture(c.data_bits, kRepeats, c.after_tap, {c.f2_s, kNoise});
    Gen3Run run;
    run.results.iCTLEIndexUsed = 55;
    // The other half of a pair is ignored.
    ASSERT_EQ(Vomo_GENERAL_COMPLIANCE_NO_EYE(&capture.waveform, &capture.waveform, run.parameters,
                                             &run.results, nullptr),
              0u);
    EXPECT_EQ(run.results.iCTLEIndexUsed, 55);

    // The last repeat lacks the edge that would end it; an odd one is taken twice.
    const uint32_t odd = static_cast<uint32_t>(c.data_bits) % 2;
    const auto length = static_cast<uint32_t>(capture.repeat.size());
    const auto edges = static_cast<double>(capture.EdgeCount());
    EXPECT_EQ(run.gen3.ulPatternLengthUI, length << odd);
    EXPECT_EQ(run.gen3.ulPatternRepeats, (kRepeats - 1) >> odd);
    EXPECT_EQ(run.ddj.ulRepeats, (kRepeats - 1) >> odd);
    EXPECT_EQ(run.gen3.ulPatternRuns, (capture.EdgeCount() + 1) / kRepeats << odd);

    // Each repeat has at least 32 even and 32 odd spacings, and an edge ends one and begins the
    // other: the variance is 8 / n of the noise's. Five deviations.
    const double first_is_even = capture.FirstEdge() % 2 == 0 ? 1 : -1;
    if (c.after_tap == 0) {
      EXPECT_NEAR(run.gen3.fFOver2Dj, -4 * first_is_even * c.f2_s,
                  5 * kNoise * std::sqrt(8.0 / (32 * kRepeats)));
    }
    // The largest and the smallest mean stand out by up to four deviations; twice the mean noise's
    // variance when only half of the repeats are there.
    EXPECT_GE(run.ddj.fPeakPeak, c.ddj_s);
    EXPECT_LE(run.ddj.fPeakPeak, c.ddj_s + 8 * kMeanNoise * std::sqrt(1.0 + odd));
    // Noise alone is left, within five deviations on each side.
    EXPECT_LT(run.results.dTIEPeakPeak, 10 * kNoise);
    EXPECT_NEAR(run.results.dUnitInterval, kUnitInterval, 10 * kNoise / edges);
    // The share of the noise that repeats is gone; 8800 values tell a deviation to 0.75 %.
    const double left = std::sqrt(1 - (1.0 + odd) / kRepeats);
    EXPECT_NEAR(run.results.dRjRMS / kNoise, left, 5 * 0.0075);
    // Neighbouring bits only, about half as many and each edge in two of them.
    EXPECT_NEAR(run.gen3.dRj / kNoise, std::sqrt(2) * left, std::sqrt(2) * 5 * 0.015);
    // F/2 jitter was put back: two Diracs. Half of the weight in each moves its line inwards by
    // ln 2 / Q, and so do the bins of fewer than five hits, cut off where as many are left; the
    // last ten bins lie at Q = 2 and above. Five hits are off by 0.45 / Q at Q = 3.
    const double dirac_distance = 2 * c.f2_s;
    const double inwards = (c.f2_s > 0 ? 2 : 1) * std::numbers::ln2 / 2;
    EXPECT_LE(run.results.dDjDeltaDelta, dirac_distance + 2 * 0.15 * kNoise);
    EXPECT_GE(run.results.dDjDeltaDelta, dirac_distance - 2 * (inwards + 0.15) * kNoise);

    const auto steady = static_cast<float>(c.steady_v);
    EXPECT_FLOAT_EQ(run.gen3.fEIEOSVoltage1, steady);
    EXPECT_FLOAT_EQ(run.gen3.fEIEOSVoltage2, -steady);
    EXPECT_EQ(run.gen3.ulEIEOSFound, kRepeats);
    EXPECT_NEAR(run.gen3.fPS21Ratio, c.ps21_db, 1e-6);
    EXPECT_EQ(run.gen3.ulPS21Found, kRepeats);
    EXPECT_FLOAT_EQ(run.gen3.fTargetVoltage1, steady);
    EXPECT_FLOAT_EQ(run.gen3.fTargetVoltage2, -steady);
    EXPECT_EQ(run.gen3.fTargetVoltage3, kRepeats);
    EXPECT_EQ(run.gen3.ucTargetFound, kRepeats);
    EXPECT_EQ(run.gen3.psClock, nullptr);
    EXPECT_EQ(run.gen3.psRunLengths, nullptr);
    EXPECT_EQ(run.gen3.ulRunLengthCount, 0u);
  }
}

TEST_F(Gen3, DeliversOneValueForEachEdge) {
  Gen3Capture capture(130, 20, 0, {0, kNoise});
  Gen3Run run;
  uint32_t count = 0;
  double *jitter = nullptr;
  VomoHandle jitter_handle = 0, eye_handle = 77;
  ASSERT_EQ(Vomo_GENERAL_COMPLIANCE(&capture.waveform, nullptr, run.parameters, &run.results,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, &eye_handle,
                                    &count, &jitter, &jitter_handle),
            0u);
  EXPECT_EQ(count, capture.EdgeCount());
  EXPECT_EQ(eye_handle, 77u);
  EXPECT_NE(run.results.sJitterSpectrum.ulDiffBinCount, 0u);
  Vomo_HANDLE_FREE(jitter_handle);
  // Histogram, Q curves and spectra of the run.
  EXPECT_EQ(LiveHandles(), 3);
}

TEST_F(Gen3, EveryEndLeavesTheTableAsItWas) {
  Gen3Capture good(130, 10, 0, {0, kNoise}), no_repeat(130, 1, 0, {0, kNoise}),
      no_edge(130, 1, 0, {}), one_edge(130, 1, 0, {}), no_single_bits(130, 1, 0, {0, kNoise});
  no_edge.SetBits(std::vector<int>(3000, 1));
  std::vector<int> step(3000, 1), threes;
  std::fill(step.begin(), step.begin() + 1000, -1);
  one_edge.SetBits(step);
  for (int k = 0; k < 400; ++k)
    threes.insert(threes.end(), k % 2 == 0 ? 2 : 4, k % 2 == 0 ? 1 : -1);
  no_single_bits.SetBits(threes);

  const auto none = [](Gen3Run &) {};
  const struct {
    const char *what;
    Gen3Capture &capture;
    std::function<void(Gen3Run &)> spoil;
    VomoStatus status;
    const char *text;
  } cases[] = {
      {"nothing wrong", good, none, 0, nullptr},
      {"no place for the pattern's jitter", good, [](Gen3Run &r) { r.gen3.psPatternDDj = nullptr; },
       Vomo_STATUS_PARAM_NOT_VALID, nullptr},
      {"no edge", no_edge, none, Vomo_STATUS_PARAM_NOT_VALID, nullptr},
      {"one edge", one_edge, none, Vomo_STATUS_PARAM_NOT_VALID, nullptr},
      {"no repeat", no_repeat, none, Vomo_STATUS_COMPUTATION_ERROR, "pattern"},
      {"no repeat, and no place", no_repeat, [](Gen3Run &r) { r.gen3.psPatternDDj = nullptr; },
       Vomo_STATUS_COMPUTATION_ERROR, "pattern"},
      {"no single bits", no_single_bits, none, Vomo_STATUS_COMPUTATION_ERROR,
       "Error computing F/2 jitter."},
      {"too few edges", good, [](Gen3Run &r) { r.parameters.ulMinUIForOfficialTest = 1 << 20; },
       Vomo_STATUS_NOT_ENOUGH_UI, nullptr},
      {"a trim that leaves nothing", good,
       [](Gen3Run &r) { r.parameters.dPointsToTrimPercent = 0.5; }, Vomo_STATUS_PARAM_NOT_VALID,
       nullptr},
      {"target runs that are not there", good,
       [](Gen3Run &r) { r.base.ulTargetRunLength = r.base.ulTargetRunMax = 100; }, 0, nullptr},
      {"bad target window", good, [](Gen3Run &r) { r.base.ulTargetFirst = 1; },
       Vomo_STATUS_PARAM_NOT_VALID, nullptr},
      {"target run above the longest", good, [](Gen3Run &r) { r.base.ulTargetRunMax = 63; },
       Vomo_STATUS_PARAM_NOT_VALID, nullptr},
      {"target run beyond all numbers", good,
       [](Gen3Run &r) { r.base.ulTargetRunLength = r.base.ulTargetRunMax = 0xFFFFFFFF; },
       Vomo_STATUS_PARAM_NOT_VALID, nullptr},
      {"target levels not steady enough", good,
       [](Gen3Run &r) { r.base.ulTargetLast = 64, r.base.dTargetFraction = 0.0001; },
       Vomo_STATUS_NOT_ENOUGH_UI, nullptr},
      {"bad windows of the others", good,
       [](Gen3Run &r) { r.base.ulEIEOSLast = 9, r.base.ulPS21LongLast = 39; }, 0, nullptr},
  };
  Gen3Run first;
  ASSERT_EQ(first(good), 0u);
  const int live = LiveHandles();
  for (int round = 0; round < 4; ++round) {
    for (const auto &c : cases) {
      SCOPED_TRACE(c.what);
      Gen3Run run;
      run.gen3.fTargetVoltage1 = run.gen3.fEIEOSVoltage1 = run.gen3.fPS21Ratio = 77;
      c.spoil(run);
      ASSERT_EQ(run(c.capture), c.status);
      if (c.text != nullptr) {
        EXPECT_NE(std::strstr(Vomo_Status_Message(c.status), c.text), nullptr);
      }
      EXPECT_EQ(run.gen3.psClock, nullptr);
      EXPECT_EQ(run.gen3.psRunLengths, nullptr);
      EXPECT_EQ(run.gen3.ulRunLengthCount, 0u);
      // Curves of a failed run wait for the next one.
      ASSERT_EQ(first(good), 0u);
      ASSERT_EQ(LiveHandles(), live);
    }
  }
}

// Of the voltage stage alone: 77 stands for what it does not write.
TEST_F(Gen3, TargetRunsAreReportedAsFarAsTheyGo) {
  const struct {
    const char *what;
    int runs_of_8;
    bool low;
    VomoStatus status;
    float high_v, low_v, high_runs;
    uint8_t low_runs;
  } cases[] = {
      {"more low runs than a byte holds", 300, true, 0, 0.5f, -0.25f, 300, 255},
      {"as many as it holds", 255, true, 0, 0.5f, -0.25f, 255, 255},
      {"only high ones", 2, false, Vomo_STATUS_NOT_ENOUGH_UI, 0.5f, 0, 2, 0},
      {"none", 0, true, 0, 77, 77, 77, 77},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    vomo_test::RunSignal signal;
    for (int k = 0; k < c.runs_of_8; ++k) signal.Run(8, 0.5).Run(c.low ? 8 : 1, -0.25);
    signal.Run(1, 0.5).Tail(1, 0);
    Gen3Run run;
    run.parameters.dTargetUI = vomo_test::kUi;
    run.base.ulTargetRunLength = run.base.ulTargetRunMax = 8;
    run.base.ulTargetFirst = 3;
    run.base.ulTargetLast = 6;
    run.gen3.fTargetVoltage1 = run.gen3.fTargetVoltage2 = run.gen3.fTargetVoltage3 = 77;
    run.gen3.ucTargetFound = 77;
    const int16_t run_lengths[1]{};
    EXPECT_EQ(vomo::Vomo_MeasureGen3Voltages(signal.waveform(), signal.clock(), 0, signal.last(),
                                             run_lengths, &run.parameters, &run.results),
              c.status);
    EXPECT_EQ(run.gen3.fTargetVoltage1, c.high_v);
    EXPECT_EQ(run.gen3.fTargetVoltage2, c.low_v);
    EXPECT_EQ(run.gen3.fTargetVoltage3, c.high_runs);
    EXPECT_EQ(run.gen3.ucTargetFound, c.low_runs);
  }
}

}  // namespace
