#include <gtest/gtest.h>
#include <vomo.h>

#include <vector>

#include "pattern_entry.h"

namespace {

using namespace vomo_test;

// Runs of these numbers of samples, high ones first.
RunSignal SignalOf(const std::vector<size_t> &lengths) {
  RunSignal signal;
  double sign = 1;
  for (const size_t length : lengths) {
    signal.RunOf(length, [&](size_t i) { return sign * Rising(i); });
    sign = -sign;
  }
  return signal;
}

std::vector<size_t> operator+(std::vector<size_t> a, const std::vector<size_t> &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::vector<size_t> Times(size_t count, size_t samples) {
  return std::vector<size_t>(count, samples);
}

struct Worker {
  double start_s = 0, interval_s = kStep, ui_s = kUi;
  float ratio = 0.99f, tolerance = 0.02f;
  uint16_t first = 3, last = 5;
  uint32_t from = 0, found = 77;
  float averages[2]{77, 77};

  int32_t operator()(RunSignal &signal) {
    return Meas_VTxDiffPkPk_EIEOS(signal.samples().data(), start_s, interval_s,
                                  signal.crossings().data(), from, signal.last(), ui_s, ratio,
                                  tolerance, first, last, averages, &found);
  }
  bool Untouched() const { return averages[0] == 77 && averages[1] == 77 && found == 77; }
};

// Eight UI are 64 samples. A span needs 8 * 0.99 - 0.02 UI, 63.2 samples, a stretch 128 * 0.99 -
// 0.02 UI, 1013.6 samples.
TEST(Eieos, Walk) {
  const struct {
    const char *what;
    std::vector<size_t> lengths;
    uint32_t from, found;
    float ratio = 0.99f, tolerance = 0.02f;
  } cases[] = {
      {"a stretch that ends on the last crossover", Times(16, 64), 0, 0},
      {"one crossover more", Times(17, 64), 0, 1},
      {"fewer crossovers than a stretch has", Times(15, 64), 0, 0},
      {"two in a row", Times(33, 64), 0, 2},
      {"the second one ends on the last crossover", Times(32, 64), 0, 1},
      {"a later first crossover", Times(20, 64), 4, 0},
      {"behind short runs", Times(9, 8) + Times(17, 64), 0, 1},
      {"the search goes on behind a short span", Times(5, 70) + Times(1, 63) + Times(17, 64), 0, 1},
      {"nothing is left behind a short span", Times(5, 70) + Times(1, 63) + Times(16, 64), 0, 0},
      {"a short last span", Times(15, 65) + Times(2, 60), 0, 1},
      {"a short span before the last", Times(14, 66) + Times(1, 60) + Times(2, 66), 0, 0},
      {"long enough spans, too short together", Times(14, 64) + Times(4, 50), 0, 0},
      {"very long runs", Times(17, 640), 0, 1},
      // With 3/4 and 1/4 a span needs 46 samples and a stretch 766.
      {"a shortest span", Times(10, 50) + Times(1, 46) + Times(6, 60), 0, 1, 0.75f, 0.25f},
      {"one too short", Times(10, 50) + Times(1, 45) + Times(6, 60), 0, 0, 0.75f, 0.25f},
      {"a shortest stretch", Times(15, 46) + Times(2, 76), 0, 1, 0.75f, 0.25f},
      {"one too short", Times(15, 46) + Times(2, 75), 0, 0, 0.75f, 0.25f},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    RunSignal signal = SignalOf(c.lengths);
    Worker worker;
    worker.from = c.from;
    worker.ratio = c.ratio;
    worker.tolerance = c.tolerance;
    ASSERT_EQ(worker(signal), 0);
    EXPECT_EQ(worker.found, c.found);
    if (c.found == 0) {
      EXPECT_EQ(worker.averages[0], 0.0f);
      EXPECT_EQ(worker.averages[1], 0.0f);
    }
  }
}

TEST(Eieos, WindowsAndTheirDefaults) {
  const struct {
    uint16_t first, last;
    double a, b;
  } cases[] = {
      {3, 5, 16, 40}, {2, 8, 8, 64},  {8, 8, 56, 64}, {0, 5, 16, 40},
      {1, 7, 16, 56}, {9, 9, 16, 56}, {5, 2, 32, 40}, {8, 9, 56, 56},
  };
  for (const auto &c : cases) {
    // The sample behind a run continues it, so that windows may end there.
    RunSignal signal;
    for (int k = 0; k < 17; ++k) {
      const double sign = k % 2 == 0 ? 1 : -1;
      signal.RunOf(64, [&](size_t i) { return i == 0 ? -sign * Rising(64) : sign * Rising(i); });
    }
    Worker worker;
    worker.first = c.first;
    worker.last = c.last;
    ASSERT_EQ(worker(signal), 0);
    EXPECT_EQ(worker.averages[0], -MeanOfRise(c.a, c.b)) << c.first << ", " << c.last;
    EXPECT_EQ(worker.averages[1], MeanOfRise(c.a, c.b)) << c.first << ", " << c.last;
  }
}

// Of sixteen runs the first begins its window half a sample before sample 0 and is left out.
TEST(Eieos, ARunOutsideTheSamplesIsLeftOut) {
  RunSignal signal;
  signal.Run(8, 1.0);
  for (int k = 0; k < 8; ++k) signal.Run(8, -0.5).Run(8, 0.25);
  signal.samples().erase(signal.samples().begin(), signal.samples().begin() + 17);
  Worker worker;
  worker.start_s = 16.5 * kStep;
  ASSERT_EQ(worker(signal), 0);
  EXPECT_EQ(worker.found, 1u);
  EXPECT_EQ(worker.averages[0], -0.5f);
  EXPECT_EQ(worker.averages[1], 0.25f);
}

struct Entry : PatternEntry {
  const void *pass_through = this;
  uint32_t window_first = 3, window_last = 5;
  float high = 77, low = 77;
  uint32_t found = 77;
  float *high_argument = &high, *low_argument = &low;
  uint32_t *found_argument = &found;

  using PatternEntry::PatternEntry;
  explicit Entry(const std::vector<size_t> &lengths) : PatternEntry(SignalOf(lengths)) {}
  VomoStatus operator()() {
    return VomoCOMPUTE_EIEOS_AVERAGE_VOLTAGE(waveform_argument, clock_argument, first, last,
                                             pass_through, ui_s, window_first, window_last,
                                             high_argument, low_argument, found_argument);
  }
  bool Untouched() const { return high == 77 && low == 77 && found == 77; }
};

TEST(Eieos, CheckedEntry) {
  Entry entry(Times(17, 64));
  ASSERT_EQ(entry(), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(entry.high, MeanOfRise(16, 40));
  EXPECT_EQ(entry.low, -MeanOfRise(16, 40));
  EXPECT_EQ(entry.found, 1u);

  Entry none(Times(16, 64));
  EXPECT_EQ(none(), Vomo_STATUS_PATTERN_NOT_FOUND);
  EXPECT_EQ(none.high, 0.0f);
  EXPECT_EQ(none.low, 0.0f);
  EXPECT_EQ(none.found, 0u);

  // Its tolerance of 0.09 UI lets runs of 7.83 UI pass that are 7.9 UI to the default.
  Entry tolerant(Times(4, 64) + Times(1, 63) + Times(12, 65));
  EXPECT_EQ(tolerant(), Vomo_STATUS_SUCCESS);

  // The last run's window is cut to a sample, and then there is none.
  for (const auto &[samples, mean] :
       {std::pair{15 * 64 + 17, (7 * MeanOfRise(16, 40) * 25 + MeanOfRise(16, 16)) / (7 * 25 + 1)},
        std::pair{15 * 64 + 16, MeanOfRise(16, 40)}}) {
    Entry cut(Times(17, 64));
    cut.KeepSamples(static_cast<size_t>(samples));
    EXPECT_EQ(cut(), Vomo_STATUS_SUCCESS);
    EXPECT_FLOAT_EQ(cut.low, -mean);
    EXPECT_EQ(cut.high, MeanOfRise(16, 40));
  }
}

TEST(Eieos, Refusals) {
  RunSignal signal = SignalOf(Times(17, 64));
  ExpectRefusals<Entry>(signal, {
                                    [](Entry &e) { e.pass_through = nullptr; },
                                    [](Entry &e) { e.high_argument = nullptr; },
                                    [](Entry &e) { e.low_argument = nullptr; },
                                    [](Entry &e) { e.found_argument = nullptr; },
                                    [](Entry &e) { e.window_first = e.window_last; },
                                    [](Entry &e) { e.window_last = 9; },
                                });
  ExpectIntervalsRefused<Worker>(signal, {0, 1.99e-11, kNan});
  const float *const samples = signal.samples().data();
  const double *const times = signal.crossings().data();
  float averages[2]{77, 77};
  const auto call = [&](const float *s, const double *t, float *a) {
    return Meas_VTxDiffPkPk_EIEOS(s, 0, kStep, t, 0, signal.last(), kUi, 0.99f, 0.02f, 3, 5, a,
                                  nullptr);
  };
  EXPECT_EQ(call(nullptr, times, averages), 1);
  EXPECT_EQ(call(samples, nullptr, averages), 1);
  EXPECT_EQ(call(samples, times, nullptr), 1);
  EXPECT_EQ(averages[0], 77.0f);
  EXPECT_EQ(call(samples, times, averages), 0);
}

}  // namespace
