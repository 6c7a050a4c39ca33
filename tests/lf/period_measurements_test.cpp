#include <gtest/gtest.h>
#include <vomo.h>

#include <functional>
#include <utility>

#include "support/crossovers.h"

namespace {

constexpr auto kBad = Vomo_STATUS_PARAM_OUT_OF_RANGE;
constexpr double kUntouched = -77;

// A burst by the intervals between its crossovers, in binary fractions: sums are exact.
struct Intervals {
  explicit Intervals(std::vector<double> gaps) : values(std::move(gaps)), list(Times(values)) {}

  static std::vector<double> Times(const std::vector<double> &gaps) {
    std::vector<double> times{8.0};
    for (const double gap : gaps) times.push_back(times.back() + gap);
    return times;
  }
  std::vector<double> values;
  vomo_test::CrossoverList list;
};

using Measure = std::function<VomoStatus(int32_t index, const VomoCrossoverData *, const double *,
                                         double *min, double *max)>;

const Measure kPeriod = [](int32_t i, auto *list, auto *gaps, double *min, double *max) {
  double mean;
  return Vomo_LF_PERIOD(i, list, gaps, &mean, min, max);
};
const Measure kDurations = [](int32_t i, auto *list, auto *gaps, double *min, double *max) {
  return Vomo_LF_BIT_DURATION_TOLERANCE(i, 1, 2, list, gaps, min, max);
};
const Measure kDutyHighFirst = [](int32_t i, auto *list, auto *gaps, double *min, double *max) {
  return Vomo_LF_DUTY_CYCLE(i, list, gaps, 1, min, max);
};
const Measure kDutyLowFirst = [](int32_t i, auto *list, auto *gaps, double *min, double *max) {
  return Vomo_LF_DUTY_CYCLE(i, list, gaps, 0, min, max);
};
const Measure kMinor = Vomo_LF_MINOR_DURATION;
const Measure kRatio = Vomo_LF_TRANSMIT_RATIO;

TEST(LfPeriods, TrackedByEachMeasurementsRule) {
  const struct {
    const char *what;
    const Measure &measure;
    std::vector<double> gaps;
    double min, max;
  } cases[] = {
      {"periods", kPeriod, {3, 1, 2, 4, 1, 2, 4, 1}, 3, 6},
      {"half a period more counts for nothing", kPeriod, {3, 1, 2, 4, 1}, 4, 6},
      {"durations over the mean of the first two", kDurations, {3, 1, 8, 4, 6, 6, 1, 1}, 0.25, 1.5},
      {"their last pair is incomplete", kDurations, {3, 1, 8, 4, 1}, 0.5, 1.5},
      {"the mean of all when there are fewer", kDurations, {3, 1}, 1, 1},
      {"duty, high first", kDutyHighFirst, {1, 3, 3, 5, 4, 4, 9}, 25, 50},
      {"duty, low first", kDutyLowFirst, {1, 3, 3, 5, 4, 4}, 50, 75},
      {"minor: either interval", kMinor, {2, 5, 4, 3}, 2, 3},
      {"minor: one period has no maximum", kMinor, {2, 5}, 2, 0},
      {"minor: a falling minimum leaves none either", kMinor, {4, 5, 3, 9, 7, 2}, 2, 0},
      {"minor: the first is no candidate", kMinor, {4, 5, 3, 9, 7, 3.5}, 3, 3.5},
      {"ratio: last below the maximum", kRatio, {1, 3, 5, 1, 1, 4, 2, 1, 4, 1}, 4, 5},
      {"ratio: a rising maximum keeps the first", kRatio, {1, 3, 4, 1, 5, 1}, 3, 5},
      {"ratio: another maximum is no minimum", kRatio, {1, 2, 4, 1, 1, 3, 1, 4}, 3, 4},
      {"no period", kPeriod, {3}, 0, 0},
      {"no duty of two crossovers", kDutyHighFirst, {3}, 0, 0},
      {"no minor", kMinor, {3}, 0, 0},
      {"no ratio", kRatio, {3}, 0, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Intervals burst(c.gaps);
    double min = 1e9, max = -1e9;  // replaced by the first burst
    ASSERT_EQ(c.measure(0, burst.list.get(), burst.values.data(), &min, &max), 0u);
    EXPECT_EQ(min, c.min);
    EXPECT_EQ(max, c.max);
    // Inside what the bursts before left nothing changes; beyond it both do.
    double low = c.min - 1, high = c.max + 1;
    ASSERT_EQ(c.measure(1, burst.list.get(), burst.values.data(), &low, &high), 0u);
    EXPECT_EQ(low, c.min - 1);
    EXPECT_EQ(high, c.max + 1);
    low = 1e9;
    high = -1e9;
    ASSERT_EQ(c.measure(7, burst.list.get(), burst.values.data(), &low, &high), 0u);
    EXPECT_EQ(low, c.min);
    EXPECT_EQ(high, c.max);
  }
}

TEST(LfPeriods, Mean) {
  double mean = kUntouched, min, max;
  for (const auto &[gaps, expected] : {std::pair{std::vector<double>{3, 1, 2, 4, 9}, 5.0},
                                       std::pair{std::vector<double>{3, 1, 2, 4, 1, 4}, 5.0},
                                       std::pair{std::vector<double>{3}, 0.0}}) {
    Intervals burst(gaps);
    ASSERT_EQ(Vomo_LF_PERIOD(3, burst.list.get(), burst.values.data(), &mean, &min, &max), 0u);
    EXPECT_EQ(mean, expected);
  }
}

// A list without intervals: nothing is read of it, and no count wraps.
TEST(LfPeriods, EmptyLists) {
  const double no_intervals[1] = {kUntouched};
  for (const uint32_t count : {0u, 1u, 2u}) {
    vomo_test::CrossoverList list(std::vector<double>(count, 1.0));
    for (const Measure &measure : {kPeriod, kDutyHighFirst, kDutyLowFirst, kMinor, kRatio}) {
      double min = kUntouched, max = kUntouched;
      EXPECT_EQ(measure(0, list.get(), no_intervals, &min, &max), 0u);
      EXPECT_EQ(min, 0.0);
      EXPECT_EQ(max, 0.0);
    }
    double min = kUntouched, max = kUntouched;
    EXPECT_EQ(kDurations(0, list.get(), no_intervals, &min, &max), Vomo_STATUS_COMPUTATION_ERROR);
    EXPECT_EQ(min, kUntouched);
  }
}

TEST(LfPeriods, RefuseIntervals) {
  Intervals burst({3, 1, 2, 4, 2, 2});
  const VomoCrossoverData *list = burst.list.get();
  const double *gaps = burst.values.data();
  double min = kUntouched, max = kUntouched;
  EXPECT_EQ(Vomo_LF_DUTY_CYCLE(0, list, gaps, 2, &min, &max), kBad);
  EXPECT_EQ(Vomo_LF_DUTY_CYCLE(0, list, gaps, -1, &min, &max), kBad);
  const auto durations = [&](int32_t fewest, int32_t average) {
    return Vomo_LF_BIT_DURATION_TOLERANCE(0, fewest, average, list, gaps, &min, &max);
  };
  EXPECT_EQ(durations(0, 2), kBad);
  EXPECT_EQ(durations(2, 1), kBad);
  EXPECT_EQ(durations(1, -1), kBad);
  EXPECT_EQ(durations(4, 9), Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_EQ(min + max, 2 * kUntouched);
  EXPECT_EQ(durations(3, 0x7FFFFFFF), 0u);
}

// Samples at 1 s and a crossover behind each of them: the samples 0 to 2 are the first period, 2 to
// 4 the second, and so on.
class LfPeriodSamples : public testing::Test {
 protected:
  using Function = decltype(&Vomo_LF_AMPLITUDE);

  VomoStatus Run(Function function, std::vector<float> samples) {
    std::vector<double> times;
    for (size_t k = 0; k < samples.size(); ++k) times.push_back(static_cast<double>(k) + 0.75);
    return Run(function, std::move(samples), std::move(times));
  }
  VomoStatus Run(Function function, std::vector<float> samples, std::vector<double> times) {
    const VomoWaveform waveform{static_cast<uint32_t>(samples.size()), 1.0, samples.data(), 0, 0};
    vomo_test::CrossoverList list(std::move(times));
    min_ = max_ = kUntouched;
    return function(0, &waveform, &kBounds, list.get(), &min_, &max_);
  }
  void Expect(double min, double max) {
    EXPECT_EQ(min_, min);
    EXPECT_EQ(max_, max);
  }

  static constexpr uint32_t kBounds = 0;
  double min_ = kUntouched, max_ = kUntouched;
};

TEST_F(LfPeriodSamples, TrackedByEachMeasurementsRule) {
  constexpr auto kAmplitude = Vomo_LF_AMPLITUDE, kVoltage = Vomo_LF_VOLTAGE_PP;
  const struct {
    const char *what;
    Function function;
    std::vector<float> samples;
    double min, max;
  } cases[] = {
      {"the first period sets both", kAmplitude, {0, 4, -3}, 3, 4},
      {"the lowest sample may be positive", kAmplitude, {2, 3, 2.5f}, 2, 3},
      {"lower low and higher high: only the low", kAmplitude, {-5, 6, -5, 6, -3, 9, -3}, 3, 6},
      {"a high below the low lowers it", kAmplitude, {-4, 5, -4, 3, -4.5f}, 3, 5},
      {"the low's magnitude raises the high", kAmplitude, {-4, 5, -4, 6, -7}, 4, 7},
      {"the high raises the high", kAmplitude, {-4, 5, -4, 6, -5}, 4, 6},
      {"neither", kAmplitude, {-4, 5, -4, 4.5f, -4}, 4, 5},
      {"no period", kAmplitude, {-4, 5}, 0, 0},
      {"peak to peak", kVoltage, {-1, 2, -1, 1, -1, 3, -2, 1}, 2, 5},
      {"in float", kVoltage, {-1, 1e8f, 0}, 1e8, 1e8},
      {"no period", kVoltage, {-4}, 0, 0},
      {"no crossover", kVoltage, {}, 0, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_EQ(Run(c.function, c.samples), 0u);
    Expect(c.min, c.max);
  }
}

TEST_F(LfPeriodSamples, RefusePlacesOutsideTheWaveform) {
  for (const Function function : {Vomo_LF_AMPLITUDE, Vomo_LF_VOLTAGE_PP}) {
    EXPECT_EQ(Run(function, {-1, 2, -1, 3, -2}, {0, 1, 4.99}), 0u);
    EXPECT_EQ(Run(function, {-1, 2, -1, 3, -2}, {0, 1, 5}), kBad);
    EXPECT_EQ(Run(function, {-1, 2, -1, 3, -2}, {1, 1, 3, 4, 0}), kBad);
    Expect(kUntouched, kUntouched);
  }
}

}  // namespace
