#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "core/handle_table.h"
#include "stats/jitter_slots.h"
#include "support/run_settings.h"

namespace {

using vomo_test::kUnitInterval;
using vomo_test::RunSettings;

constexpr double kSigma = 1.5e-12;

// Leaves no curves behind in the library's working records.
class IntervalAnalysis : public testing::Test {
 protected:
  void TearDown() override { Vomo_Handle_Free_All(); }
};

std::vector<double> WhiteNoise(size_t count, uint64_t seed = 3) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal(0.0, kSigma);
  std::vector<double> values(count);
  for (double &v : values) v = normal(random);
  return values;
}

void AddTone(std::vector<double> &values, double amplitude, int cycles) {
  const double step = 2 * std::numbers::pi * cycles / static_cast<double>(values.size());
  for (size_t i = 0; i < values.size(); ++i) {
    values[i] += amplitude * std::sin(step * static_cast<double>(i));
  }
}

struct Analysis {
  VomoStatus status;
  VomoComplianceResults results;
  std::vector<double> cleaned;
};

Analysis Analyse(const std::vector<double> &sequence, const VomoComplianceParams &parameters,
                 VomoComplianceResults results = {}) {
  Analysis analysis{0, results, {}};
  analysis.results.dUnitInterval = kUnitInterval;
  vomo::Received<double> cleaned;
  uint32_t count = 0;
  analysis.status = Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(
      sequence.data(), static_cast<uint32_t>(sequence.size()), parameters, &analysis.results,
      &count, cleaned.pointer(), cleaned.handle_out());
  if (cleaned) analysis.cleaned.assign(cleaned.get(), cleaned.get() + count);
  return analysis;
}

// Part of a white noise's rms that is left when each bin is taken down to a floor of three standard
// deviations above the median. Bin magnitudes are Rayleigh distributed: with unit parameter their
// median is sqrt(2 ln 2), their deviation sqrt(2 - pi / 2), and the mean of min(m, f)^2 is
// 2 (1 - exp(-f^2 / 2)), of 2 without a floor.
double KeptBelowFloor() {
  const double floor = std::sqrt(2 * std::numbers::ln2) + 3 * std::sqrt(2 - std::numbers::pi / 2);
  return std::sqrt(1 - std::exp(-floor * floor / 2));
}

TEST_F(IntervalAnalysis, SeparatesNoiseFromATone) {
  constexpr double kAmplitude = 5e-12;
  constexpr int kCycles = 1201;
  for (const size_t n : {100000u, 100003u}) {
    std::vector<double> sequence = WhiteNoise(n);
    AddTone(sequence, kAmplitude, kCycles);
    const Analysis a = Analyse(sequence, RunSettings());
    ASSERT_EQ(a.status, 0u);
    const auto [low, high] = std::minmax_element(sequence.begin(), sequence.end());
    EXPECT_EQ(a.results.dTIEPeakPeak, *high - *low);
    // A deviation estimated from n values is off by 1 / sqrt(2 n), 0.22 %; four of these.
    EXPECT_NEAR(a.results.dRjRMS / (kSigma * KeptBelowFloor()), 1, 0.009);
    EXPECT_NEAR(a.results.dRjStdDev / a.results.dRjRMS, 1, 1e-3);

    const VomoJitterSpectrumRecord &spectrum = vomo::JitterSlots().spectrum.working.record;
    ASSERT_EQ(spectrum.ulBinCount, n / 2 + 1);
    EXPECT_DOUBLE_EQ(spectrum.dBinSpacing, 1 / (static_cast<double>(n) * kUnitInterval));
    // n A / 2 and noise of sigma sqrt(n) beside it, a hundredth at five times its size.
    const double scale = spectrum.ulBinCount * static_cast<double>(n) / 2;
    EXPECT_NEAR(spectrum.pdRawMagnitude[kCycles] / scale, kAmplitude, kAmplitude / 100);
    EXPECT_EQ(spectrum.pdFilteredMagnitude[kCycles], spectrum.pdRawMagnitude[kCycles]);
    EXPECT_EQ(spectrum.pdFilteredMagnitude[5], 0.0);
    EXPECT_EQ(spectrum.pdDiffMagnitude, nullptr);
  }
}

TEST_F(IntervalAnalysis, RangeFollowsTheTrim) {
  const std::vector<double> sequence = WhiteNoise(20001);
  VomoComplianceParams parameters = RunSettings();
  const struct {
    double fraction;
    uint32_t trim;
  } cases[] = {{0.0, 0}, {0.1, 2000}, {-0.5, 0}, {0.4999, 9998}};
  for (const auto &c : cases) {
    parameters.dPointsToTrimPercent = c.fraction;
    parameters.dRjRMSInput = kSigma;
    const Analysis a = Analyse(sequence, parameters);
    const VomoComplianceResults &r = a.results;
    EXPECT_EQ(r.ulFirstValidIndex, c.trim);
    EXPECT_EQ(r.ulLastValidIndex, 20000 - c.trim);
    EXPECT_EQ(r.ulFirstIndex, 0u);
    EXPECT_EQ(r.ulLastIndex, 20000u);
    EXPECT_EQ(r.ulPointsUsed, 20001 - 2 * c.trim);
    ASSERT_EQ(a.cleaned.size(), 20001u);
    const auto begin = a.cleaned.begin() + c.trim, end = a.cleaned.end() - c.trim;
    const auto [low, high] = std::minmax_element(begin, end);
    EXPECT_EQ(r.dPeakPeakJitter, *high - *low);
    EXPECT_EQ(a.cleaned[r.ulMinJitterIndex], *low);
    EXPECT_EQ(a.cleaned[r.ulMaxJitterIndex], *high);
    EXPECT_EQ(r.dRjRMS, kSigma);
  }
  for (const double fraction : {0.51, 1e300}) {
    parameters.dPointsToTrimPercent = fraction;
    const Analysis a = Analyse(sequence, parameters);
    EXPECT_EQ(a.status, Vomo_STATUS_PARAM_NOT_VALID);
    EXPECT_TRUE(a.cleaned.empty());
  }
}

TEST_F(IntervalAnalysis, FilterTakesOutWhatLiesBelowIt) {
  std::vector<double> sequence = WhiteNoise(40000);
  AddTone(sequence, 20e-12, 50);   // 10 MHz
  AddTone(sequence, 4e-12, 2500);  // 500 MHz
  VomoComplianceParams parameters = RunSettings();
  parameters.eFilterOrder = FIRST_ORDER;
  parameters.sFilterParams.dFc = 100e6;
  const Analysis a = Analyse(sequence, parameters);
  const VomoJitterSpectrumRecord &spectrum = vomo::JitterSlots().spectrum.working.record;
  const auto gain = [&](int bin) {
    return spectrum.pdFilteredMagnitude[bin] / spectrum.pdRawMagnitude[bin];
  };
  // f / sqrt(f^2 + fc^2) of a first-order high pass.
  EXPECT_NEAR(gain(50), 0.1 / std::sqrt(1.01), 1e-12);
  EXPECT_NEAR(gain(2500), 5 / std::sqrt(26), 1e-12);
  EXPECT_EQ(a.status, 0u);
}

TEST_F(IntervalAnalysis, StatusOfTheFitOrOfTheRelease) {
  const std::vector<double> constant(1000, 3e-12);
  const Analysis a = Analyse(constant, RunSettings());
  EXPECT_EQ(a.status, Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(a.results.dTIEPeakPeak, 0);
  EXPECT_EQ(a.cleaned.size(), 1000u);  // delivered although the fit failed
  VomoComplianceResults results{};
  results.dUnitInterval = kUnitInterval;
  EXPECT_EQ(Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(constant.data(), 1000, RunSettings(), &results,
                                                     nullptr, nullptr, nullptr),
            Vomo_STATUS_SUCCESS);
}

TEST_F(IntervalAnalysis, Refusals) {
  const std::vector<double> sequence = WhiteNoise(100);
  VomoComplianceResults results{};
  double *out = nullptr;
  uint32_t count = 7;
  VomoHandle handle = 8;
  const auto run = [&](const double *values, uint32_t n, VomoComplianceResults *r, uint32_t *pc,
                       double **po, VomoHandle *ph) {
    return Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(values, n, RunSettings(), r, pc, po, ph);
  };
  const double *values = sequence.data();
  EXPECT_EQ(run(nullptr, 100, &results, &count, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(run(values, 100, nullptr, &count, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(run(values, 100, &results, nullptr, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(run(values, 100, &results, &count, &out, nullptr), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(run(values, 1, &results, &count, &out, &handle), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(run(values, 0, &results, &count, &out, &handle), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  // A unit interval of 0 leaves no spectrum to go on with.
  EXPECT_EQ(run(values, 100, &results, &count, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(run(values, 100, &results, nullptr, nullptr, nullptr), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(count * 10 + handle, 78u);
}

// A Gen3 run: the clock with virtual edges that the sequence belongs to.
struct Gen3Case {
  explicit Gen3Case(const std::vector<int16_t> &pattern, uint32_t edges) {
    for (size_t i = 0; flags.size() + 64 < edges; ++i) {
      const int16_t run = pattern[i % pattern.size()];
      run_lengths.push_back(run);
      flags.push_back(CROSSOVER_RISE);
      flags.insert(flags.end(), static_cast<size_t>(run - 1), CROSSOVER_VIRTUAL);
    }
    flags.resize(edges, CROSSOVER_FALL);
    clock.ulCount = edges;
    clock.pucFlags = flags.data();
    gen3.psClock = &clock;
    gen3.psRunLengths = run_lengths.data();
    gen3.ulRunLengthCount = static_cast<uint32_t>(run_lengths.size());
    results.psGen3Results = &gen3;
    results.dPeakPeakJitter = -1;
    parameters.psGen3BaseCompParameters = &base;
  }

  std::vector<int16_t> run_lengths;
  std::vector<uint8_t> flags;
  VomoCrossoverData clock{};
  VomoGen3BaseCompParameters base{};
  VomoGen3Results gen3{};
  VomoComplianceResults results{};
  VomoComplianceParams parameters = RunSettings();
};

TEST_F(IntervalAnalysis, Gen3KeepsRealEdgesAndSeparatesBitToBit) {
  constexpr uint32_t kEdges = 60000;
  const std::vector<double> sequence = WhiteNoise(kEdges);
  Gen3Case gen3({1, 1, 3}, kEdges);
  const Analysis a = Analyse(sequence, gen3.parameters, gen3.results);
  ASSERT_EQ(a.status, 0u);
  const auto real = std::count(gen3.flags.begin(), gen3.flags.end(), CROSSOVER_VIRTUAL);
  EXPECT_EQ(a.cleaned.size(), kEdges - static_cast<size_t>(real));
  EXPECT_EQ(a.results.dPeakPeakJitter, -1);  // not measured in such a run
  EXPECT_NEAR(a.results.dRjRMS / (kSigma * KeptBelowFloor()), 1, 0.02);
  // Differences of neighbours that are both real: sqrt 2 of the deviation, from 24000 of them.
  EXPECT_NEAR(gen3.gen3.dRj / (std::numbers::sqrt2 * kSigma * KeptBelowFloor()), 1, 0.02);
  EXPECT_GT(gen3.gen3.dTj, 0);
  const VomoJitterSpectrumRecord &spectrum = vomo::JitterSlots().spectrum.working.record;
  EXPECT_NE(spectrum.pdDiffMagnitude, nullptr);
  size_t pairs = 0;
  for (size_t i = 0; i + 1 < kEdges; ++i) {
    pairs += gen3.flags[i] != CROSSOVER_VIRTUAL && gen3.flags[i + 1] != CROSSOVER_VIRTUAL;
  }
  EXPECT_EQ(spectrum.ulDiffBinCount, pairs / 2 + 1);
}

TEST_F(IntervalAnalysis, Gen3PutsFOver2BackUnlessItIsAClockPattern) {
  constexpr uint32_t kEdges = 4000;
  const std::vector<double> sequence = WhiteNoise(kEdges);
  for (const bool clock_pattern : {true, false}) {
    std::vector<int16_t> pattern = {1};
    if (!clock_pattern) pattern = {1, 1, 2};
    Gen3Case plain(pattern, kEdges), shifted(pattern, kEdges);
    shifted.gen3.fFOver2Dj = 4e-12f;
    const Analysis before = Analyse(sequence, plain.parameters, plain.results);
    const Analysis after = Analyse(sequence, shifted.parameters, shifted.results);
    ASSERT_EQ(before.cleaned.size(), after.cleaned.size());
    const double shift = clock_pattern ? 0.0 : -double{4e-12f} * 0.25;
    size_t kept = 0;
    for (size_t i = 0; i < kEdges; ++i) {
      if (plain.flags[i] == CROSSOVER_VIRTUAL) continue;
      EXPECT_NEAR(after.cleaned[kept] - before.cleaned[kept], i % 2 == 0 ? shift : -shift, 1e-24);
      ++kept;
    }
  }
}

TEST_F(IntervalAnalysis, Gen3NeedsItsClock) {
  const std::vector<double> sequence = WhiteNoise(1000);
  Gen3Case gen3({1, 2}, 1000);
  gen3.gen3.psClock = nullptr;
  EXPECT_EQ(Analyse(sequence, gen3.parameters, gen3.results).status, Vomo_STATUS_PARAM_NOT_VALID);
  // A clock of virtual edges alone leaves no difference and no value.
  Gen3Case none({1}, 1000);
  std::fill(none.flags.begin(), none.flags.end(), uint8_t{CROSSOVER_VIRTUAL});
  EXPECT_EQ(Analyse(sequence, none.parameters, none.results).status, Vomo_STATUS_PARAM_NOT_VALID);
}

}  // namespace
