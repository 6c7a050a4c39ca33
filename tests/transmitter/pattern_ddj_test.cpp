#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "support/gaussian.h"
#include "support/pattern_runs.h"

namespace {

using vomo_test::Prbs7Runs;
using vomo_test::Repeated;

constexpr double kUi = 125e-12;

struct Measured {
  Measured(const std::vector<double> &times, const std::vector<uint16_t> &runs, uint32_t offset,
           uint32_t count, uint32_t pattern_runs)
      : corrections(pattern_runs) {
    result = Meas_Tx_PattDDj_Unfiltered(times.data(), runs.empty() ? nullptr : runs.data(), offset,
                                        count, runs.empty() ? 1 : 0, pattern_runs, &repeats, &least,
                                        &greatest, &sum, &peak_to_peak, corrections.data());
  }
  int32_t result;
  uint32_t repeats = 77;
  float least = 77, greatest = 77, peak_to_peak = 77;
  double sum = 77;
  std::vector<double> corrections;
};

TEST(PatternDDj, ListsByHand) {
  const struct {
    const char *what;
    std::vector<double> times;
    std::vector<uint16_t> runs;
    uint32_t offset, count, pattern_runs, repeats;
    float least, greatest;
    double sum;
    std::vector<double> corrections;
  } cases[] = {
      // Line of slope 2.2; the second repeat has nothing to end it.
      {"two repeats count one", {0, 3, 4, 7}, {}, 0, 4, 2, 1, -1.2f, 0.8f, -0.4, {-0.8, 0.4}},
      {"one crossover more", {0, 3, 4, 7, 8}, {}, 0, 5, 2, 2, -1, 1, 0, {-1, 0}},
      {"offset", {-9, -7, 0, 3, 4, 7, 8}, {}, 2, 5, 2, 2, -1, 1, 0, {-1, 0}},
      // Slope 2.9: no deviation and no correction comes near 0.
      {"all on one side", {0, 1, 3, 9}, {}, 0, 4, 2, 1, -1.9f, -0.9f, -2.8, {1.9, 2.8}},
      // The line knows two crossovers, the repeat a third.
      {"one repeat is all", {0, 3, 4}, {}, 0, 2, 2, 1, -2, 0, -2, {0, 2}},
      {"the same with runs", {0, 24, 24}, {8, 8}, 0, 2, 2, 1, -24, 0, -24, {0, 24}},
      {"the offset moves the runs", {9, 9, 24, 40}, {1, 12, 4}, 1, 2, 2, 1, 0, 11, 11, {0, -11}},
      // Both gaps are 20 UI, the line's slope 1.
      {"long runs", {0, 23, 40, 63, 80}, {20, 20, 20, 20, 20}, 0, 5, 2, 2, -3, 3, 0, {-3, 0}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Measured m(c.times, c.runs, c.offset, c.count, c.pattern_runs);
    ASSERT_EQ(m.result, 0);
    EXPECT_EQ(m.repeats, c.repeats);
    EXPECT_FLOAT_EQ(m.least, c.least);
    EXPECT_FLOAT_EQ(m.greatest, c.greatest);
    EXPECT_NEAR(m.sum, c.sum, 1e-13);
    const auto [low, high] = std::minmax_element(c.corrections.begin(), c.corrections.end());
    EXPECT_FLOAT_EQ(m.peak_to_peak, static_cast<float>(*high - *low));
    for (size_t i = 0; i < c.corrections.size(); ++i) {
      EXPECT_NEAR(m.corrections[i], c.corrections[i], 1e-13) << i;
    }
  }
}

// PRBS7 whose crossovers are displaced by their place in the repeat.
struct Pattern {
  Pattern(uint32_t whole_repeats, uint32_t more_runs, double displacement_s, double noise_rms_s = 0)
      : repeat(Prbs7Runs()),
        runs(Repeated(repeat, whole_repeats * repeat.size() + more_runs)),
        displacements(repeat.size()) {
    vomo_test::Gaussian gaussian(7);
    for (double &d : displacements) d = displacement_s * gaussian();
    for (size_t k = 0; k <= runs.size(); ++k) {
      grid.push_back(position * kUi);
      times.push_back(grid[k] + displacements[k % repeat.size()] + noise_rms_s * gaussian());
      if (k < runs.size()) position += runs[k];
    }
    clock.ulCount = static_cast<uint32_t>(times.size());
    clock.pdTimes = times.data();
    gen3.psPatternDDj = &ddj;
    gen3.ulPatternRuns = static_cast<uint32_t>(repeat.size());
  }
  Pattern(const Pattern &) = delete;
  Pattern &operator=(const Pattern &) = delete;

  double PeakToPeak() const {
    const auto [low, high] = std::minmax_element(displacements.begin(), displacements.end());
    return *high - *low;
  }
  uint32_t count() const { return static_cast<uint32_t>(runs.size()); }

  std::vector<uint16_t> repeat, runs;
  std::vector<double> displacements, grid, times;
  double position = 0;
  VomoCrossoverData clock{};
  VomoPatternDDjResult ddj{77, 77};
  VomoGen3Results gen3{};
};

// The displacements tilt the line a little. With P crossovers and L unit intervals in each of R
// repeats, the moment that one repeat adds is at most P L pp / 2 and the line's own is R P (R L)^2
// / 12, so the slope is off by 6 pp / (R^2 L) or less and the end of a repeat by L times that.
double TiltTolerance(double peak_to_peak, double repeats) {
  return 6 * peak_to_peak / (repeats * repeats);
}

TEST(PatternDDj, InjectedJitterComesBackAndIsGone) {
  constexpr uint32_t kRepeats = 60;
  for (const uint32_t more_runs : {0u, 1u, 23u, 63u}) {
    SCOPED_TRACE(more_runs);
    Pattern p(kRepeats, more_runs, 2e-12);
    const double pp = p.PeakToPeak(), tolerance = TiltTolerance(pp, kRepeats);
    ASSERT_EQ(VomoREMOVE_REPEAT_PATTERN_DDj(&p.clock, 0, p.count(), p.runs.data(), &p.gen3), 0u);
    EXPECT_NEAR(p.ddj.fPeakPeak, pp, tolerance);
    // A list that ends with a repeat leaves the last one out.
    EXPECT_EQ(p.ddj.ulRepeats, more_runs == 0 ? kRepeats - 1 : kRepeats);
    for (size_t k = 0; k < p.times.size(); ++k) {
      EXPECT_NEAR(p.times[k], p.grid[k] + p.displacements[0], tolerance) << k;
    }
    ASSERT_EQ(VomoREMOVE_REPEAT_PATTERN_DDj(&p.clock, 0, p.count(), p.runs.data(), &p.gen3), 0u);
    EXPECT_LT(p.ddj.fPeakPeak, 2 * tolerance);
  }
}

TEST(PatternDDj, AnIdealPatternHasNone) {
  const Pattern p(20, 5, 0);
  // Times reach 318 ns, where doubles lie 5e-23 s apart; the line averages that.
  const Measured m(p.times, p.runs, 0, p.count(), 64);
  ASSERT_EQ(m.result, 0);
  EXPECT_LT(m.peak_to_peak, 1e-20f);
}

// The mean over R repeats has the R-th part of the noise's variance, twice for two crossovers; the
// largest and smallest of 64 Gaussian values lie within 4 deviations with a chance of 0.996.
TEST(PatternDDj, NoiseIsLeftInAndAveragedOut) {
  constexpr uint32_t kRepeats = 400;
  constexpr double kNoise = 1e-12;
  Pattern p(kRepeats, 10, 3e-12, kNoise);
  const double mean_noise = kNoise * std::sqrt(2.0 / kRepeats);
  ASSERT_EQ(VomoREMOVE_REPEAT_PATTERN_DDj(&p.clock, 0, p.count(), p.runs.data(), &p.gen3), 0u);
  EXPECT_NEAR(p.ddj.fPeakPeak, p.PeakToPeak(), 2 * 4 * mean_noise);
  double squares = 0, sum = 0;
  for (size_t k = 0; k < p.times.size(); ++k) {
    sum += p.times[k] - p.grid[k];
    squares += (p.times[k] - p.grid[k]) * (p.times[k] - p.grid[k]);
  }
  const double n = static_cast<double>(p.times.size()), mean = sum / n;
  // 25600 values tell a deviation to 0.44 %, one part in 400 went with the mean: five deviations.
  EXPECT_NEAR(std::sqrt(squares / n - mean * mean) / kNoise, 1, 5 * 0.0044);
}

TEST(PatternDDj, StretchOfAList) {
  Pattern p(12, 30, 2e-12);
  const auto before = p.times;
  const uint32_t first = 5, last = 10 * 64 + 5 + 17;
  ASSERT_EQ(VomoREMOVE_REPEAT_PATTERN_DDj(&p.clock, first, last, p.runs.data(), &p.gen3), 0u);
  EXPECT_NEAR(p.ddj.fPeakPeak, p.PeakToPeak(), TiltTolerance(p.PeakToPeak(), 10));
  for (uint32_t k = 0; k < p.times.size(); ++k) {
    if (k <= first || k > last) {
      EXPECT_EQ(p.times[k], before[k]) << k;
    } else {
      EXPECT_NEAR(p.times[k] - p.grid[k], p.displacements[first], TiltTolerance(p.PeakToPeak(), 10))
          << k;
    }
  }
}

// Three runs of 1 and one of 2 or 3 make a mean of 1.25 or 1.5.
TEST(PatternDDj, NearlyAClockIsMeasuredOnly) {
  for (const bool removed : {false, true}) {
    SCOPED_TRACE(removed);
    const auto runs = Repeated({static_cast<uint16_t>(removed ? 3 : 2), 1, 1, 1}, 4 * 40);
    std::vector<double> times{0.0};
    for (size_t k = 0; k < runs.size(); ++k) {
      times.push_back(times.back() + runs[k] + (k % 4 == 0 ? 0.25 : k % 4 == 1 ? -0.25 : 0));
    }
    const auto before = times;
    VomoCrossoverData clock{};
    clock.ulCount = static_cast<uint32_t>(times.size());
    clock.pdTimes = times.data();
    VomoPatternDDjResult ddj{};
    VomoGen3Results gen3{};
    gen3.psPatternDDj = &ddj;
    gen3.ulPatternRuns = 4;
    ASSERT_EQ(VomoREMOVE_REPEAT_PATTERN_DDj(&clock, 0, clock.ulCount - 1, runs.data(), &gen3), 0u);
    EXPECT_NEAR(ddj.fPeakPeak, 0.25, TiltTolerance(0.25, 39));
    EXPECT_EQ(times == before, !removed);
  }
}

TEST(PatternDDj, Corrections) {
  const double corrections[]{10, 20, 30, 40};
  const struct {
    const char *what;
    std::vector<uint16_t> runs;
    uint32_t offset, count;
    std::vector<double> moved;
  } cases[] = {
      {"whole repeats", {3, 1, 2, 1, 3, 1, 2, 1}, 0, 8, {0, 10, 20, 30, 40, 10, 20, 30, 40}},
      {"one repeat", {3, 1, 2, 1}, 0, 4, {0, 10, 20, 30, 40}},
      {"a partial repeat", {3, 1, 2, 1, 3, 1, 2}, 0, 7, {0, 10, 20, 30, 40, 10, 20, 30}},
      {"as far as it matches", {3, 1, 2, 1, 3, 1, 1}, 0, 7, {0, 10, 20, 30, 40, 10, 20, 0}},
      {"not at all", {3, 1, 2, 1, 2, 1, 2}, 0, 7, {0, 10, 20, 30, 40, 0, 0, 0}},
      {"without runs", {}, 0, 7, {0, 10, 20, 30, 40, 0, 0, 0}},
      {"whole repeats without runs", {}, 0, 8, {0, 10, 20, 30, 40, 10, 20, 30, 40}},
      {"offset", {9, 9, 3, 1, 2, 1, 3, 9}, 2, 6, {0, 0, 0, 10, 20, 30, 40, 10, 0}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<double> times(c.moved.size());
    ASSERT_EQ(Modify_PattDDj_Inplace(times.data(), c.runs.empty() ? nullptr : c.runs.data(),
                                     c.offset, c.count, 4, corrections),
              0);
    EXPECT_EQ(times, c.moved);
  }
}

TEST(PatternDDj, WorkersRefuse) {
  std::vector<double> times{0, 3, 4, 7, 8, 11};
  const auto kept = times;
  const uint16_t runs[]{8, 8, 8, 8, 8, 8}, seven[]{8, 7, 8, 8, 8, 8}, none[]{0, 64, 0};
  double corrections[6]{};
  const struct {
    const char *what;
    const double *times;
    const uint16_t *runs;
    uint32_t count;
    uint16_t run_length;
    uint32_t pattern_runs;
    bool by_measurement, by_removal;
  } cases[] = {
      {"no times", nullptr, runs, 4, 0, 2, true, true},
      {"too few", times.data(), runs, 1, 0, 2, true, true},
      {"odd repeat", times.data(), runs, 5, 0, 3, true, true},
      {"empty repeat", times.data(), runs, 4, 0, 0, true, true},
      {"longer than the list", times.data(), runs, 2, 0, 4, true, true},
      {"neither runs nor their length", times.data(), nullptr, 4, 0, 2, true, false},
      {"another length", times.data(), nullptr, 4, 2, 2, true, false},
      {"fewer than eight bits for a run", times.data(), seven, 2, 0, 2, true, false},
      {"no extent", times.data(), none, 2, 0, 2, true, false},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    float peak_to_peak = 77;
    uint32_t repeats = 77;
    std::vector<double> scratch(6);
    EXPECT_EQ(
        Meas_Tx_PattDDj_Unfiltered(c.times, c.runs, 0, c.count, c.run_length, c.pattern_runs,
                                   &repeats, nullptr, nullptr, nullptr, &peak_to_peak, nullptr),
        c.by_measurement);
    EXPECT_EQ(peak_to_peak, 77);
    EXPECT_EQ(repeats, 77u);
    EXPECT_EQ(Modify_PattDDj_Inplace(c.times == nullptr ? nullptr : scratch.data(), c.runs, 0,
                                     c.count, c.pattern_runs, corrections),
              c.by_removal);
  }
  EXPECT_EQ(Modify_PattDDj_Inplace(times.data(), runs, 0, 4, 2, nullptr), 1);
  EXPECT_EQ(times, kept);
  // Every output and the corrections may be left out.
  EXPECT_EQ(Meas_Tx_PattDDj_Unfiltered(times.data(), runs, 0, 5, 0, 2, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr),
            0);
}

TEST(PatternDDj, CheckedEntryRefuses) {
  Pattern p(4, 3, 1e-12);
  const auto kept = p.times;
  VomoCrossoverData empty{};
  VomoGen3Results without_place = p.gen3, odd = p.gen3, none = p.gen3, longer = p.gen3;
  without_place.psPatternDDj = nullptr;
  odd.ulPatternRuns = 63;
  none.ulPatternRuns = 0;
  const uint32_t last = p.count();
  longer.ulPatternRuns = last + 1;
  const struct {
    const char *what;
    VomoCrossoverData *clock;
    uint32_t first, last;
    const uint16_t *runs;
    VomoGen3Results *gen3;
    VomoStatus status;
  } cases[] = {
      {"no clock", nullptr, 0, last, p.runs.data(), &p.gen3, Vomo_STATUS_PARAM_NOT_VALID},
      {"no times", &empty, 0, last, p.runs.data(), &p.gen3, Vomo_STATUS_PARAM_NOT_VALID},
      {"no runs", &p.clock, 0, last, nullptr, &p.gen3, Vomo_STATUS_PARAM_NOT_VALID},
      {"no results", &p.clock, 0, last, p.runs.data(), nullptr, Vomo_STATUS_PARAM_NOT_VALID},
      {"no place", &p.clock, 0, last, p.runs.data(), &without_place, Vomo_STATUS_PARAM_NOT_VALID},
      {"empty stretch", &p.clock, 9, 9, p.runs.data(), &p.gen3, Vomo_STATUS_PARAM_NOT_VALID},
      {"backwards", &p.clock, 9, 8, p.runs.data(), &p.gen3, Vomo_STATUS_PARAM_NOT_VALID},
      {"past the end", &p.clock, 0, last + 1, p.runs.data(), &p.gen3, Vomo_STATUS_PARAM_NOT_VALID},
      {"odd repeat", &p.clock, 0, last, p.runs.data(), &odd, Vomo_STATUS_PARAM_NOT_VALID},
      {"empty repeat", &p.clock, 0, last, p.runs.data(), &none, Vomo_STATUS_PARAM_NOT_VALID},
      {"one spacing", &p.clock, 3, 4, p.runs.data(), &p.gen3, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"short of a repeat", &p.clock, 0, 63, p.runs.data(), &p.gen3,
       Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"longer repeat", &p.clock, 0, last, p.runs.data(), &longer, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      // One repeat of PRBS7 has 127 of the 512 bits that 64 runs ask for.
      {"one repeat", &p.clock, 0, 64, p.runs.data(), &p.gen3, Vomo_STATUS_COMPUTATION_ERROR},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(VomoREMOVE_REPEAT_PATTERN_DDj(c.clock, c.first, c.last, c.runs, c.gen3), c.status);
  }
  EXPECT_NE(std::strstr(Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR),
                        "Error when attempting to remove DDj from pattern."),
            nullptr);
  EXPECT_EQ(p.times, kept);
  EXPECT_EQ(p.ddj.fPeakPeak, 77);
  EXPECT_EQ(p.ddj.ulRepeats, 77u);
}

TEST(PatternDDj, HighPassPlaceholder) {
  const double times[]{0, 1}, *const no_times = nullptr;
  const uint16_t runs[]{1, 1}, *const no_runs = nullptr;
  uint32_t result = 77;
  const struct {
    const double *times;
    const uint16_t *runs;
    uint32_t count;
    double ui;
    float corner;
    int32_t refused;
  } cases[] = {
      {no_times, runs, 2, 1e-10, 1e6f, 1},       {times, no_runs, 2, 1e-10, 1e6f, 1},
      {times, runs, 1, 1e-10, 1e6f, 1},          {times, runs, 2, 1.9e-11, 1e6f, 1},
      {times, runs, 2, 1e-10, 19999.998f, 1},    {times, runs, 2, 2e-11, 20000.0f, 0},
      {times, runs, 0xFFFFFFFF, 1e-10, 1e6f, 0},
  };
  for (const auto &c : cases) {
    result = 77;
    EXPECT_EQ(
        Meas_Tx_PattDDj_FilterWithHighPass(c.times, c.runs, c.count, 0, c.ui, c.corner, &result),
        c.refused);
    EXPECT_EQ(result, c.refused != 0 ? 77u : 0u);
  }
  EXPECT_EQ(Meas_Tx_PattDDj_FilterWithHighPass(times, runs, 2, 0, 1e-10, 1e6f, nullptr), 1);
}

}  // namespace
