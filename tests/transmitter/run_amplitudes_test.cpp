#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "pattern_entry.h"

namespace {

using namespace vomo_test;

// One call of the worker with outputs that show what it wrote.
struct Worker {
  double start_s = 0, interval_s = kStep, ui_s = kUi;
  float ratio = 0.99f, tolerance = 0.02f;
  uint16_t run_min = 8, run_max = 8, first = 3, last = 5;
  double spread = 0.02;
  uint32_t pass = 77, counts[2]{77, 77};
  float averages[2]{77, 77};

  int32_t operator()(RunSignal &signal) {
    return FindTargetRunLen_Then_AverageAmplitudes_wPassFail(
        signal.samples().data(), start_s, interval_s, signal.crossings().data(), 0, signal.last(),
        ui_s, ratio, tolerance, run_min, run_max, first, last, spread, &pass, averages, counts);
  }
  bool Untouched() const { return pass == 77 && averages[0] == 77 && counts[1] == 77; }
};

TEST(RunAmplitudes, WindowOfAStretchedRun) {
  const struct {
    const char *what;
    size_t length;
    uint16_t run_min, run_max, first, last;
    double a, b;
  } cases[] = {
      {"three UI of eight, both end samples", 64, 8, 8, 3, 5, 16, 40},
      {"the whole run reaches into the next", 64, 8, 8, 1, 8, 0, 64},
      {"twice the least run stretches the window", 64, 4, 8, 2, 3, 16, 48},
      {"the least run is the nominal one also when it is the longer", 64, 8, 4, 3, 5, 16, 40},
      {"a single sample", 64, 8, 8, 4, 3, 24, 24},
      {"window 0 begins a UI early", 64, 8, 8, 0, 2, -8, 16},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    RunSignal signal(8);
    // The rise goes on for one sample behind the run and has begun before it.
    for (size_t i = 0; i < 8; ++i) signal.samples()[i] = static_cast<float>(Rising(i) - 8 / 256.0);
    signal.RunOf(c.length, Rising).Tail(1, Rising(c.length));
    Worker worker;
    worker.run_min = c.run_min;
    worker.run_max = c.run_max;
    worker.first = c.first;
    worker.last = c.last;
    ASSERT_EQ(worker(signal), 0);
    // The first sample of a window that begins early is below 0 V.
    const int high = c.a >= 0 ? 1 : 0;
    EXPECT_EQ(worker.averages[high], MeanOfRise(c.a, c.b));
    EXPECT_EQ(worker.averages[1 - high], 0.0f);
    EXPECT_EQ(worker.counts[high], 1u);
    EXPECT_EQ(worker.counts[1 - high], 0u);
    EXPECT_EQ(worker.pass, 77u);  // no verdict on one polarity
  }
}

// Low sums divide by low samples, high ones by theirs; a run without samples still counts.
TEST(RunAmplitudes, PolaritiesAreSeparate) {
  RunSignal signal;
  signal.RunOf(64, Rising).RunOf(64, Falling).Run(2, 0.5).Run(8, -0.25).Tail(1, 0);
  Worker worker;
  ASSERT_EQ(worker(signal), 0);
  EXPECT_EQ(worker.averages[0], (-MeanOfRise(16, 40) - 0.25f) / 2);
  EXPECT_EQ(worker.averages[1], MeanOfRise(16, 40));
  EXPECT_EQ(worker.counts[0], 2u);
  EXPECT_EQ(worker.counts[1], 1u);

  worker.first = 6;  // behind its end
  worker.last = 2;
  ASSERT_EQ(worker(signal), 0);
  EXPECT_EQ(worker.averages[0], 0.0f);
  EXPECT_EQ(worker.averages[1], 0.0f);
  EXPECT_EQ(worker.counts[0], 2u);
  EXPECT_EQ(worker.counts[1], 1u);
}

TEST(RunAmplitudes, TheFirstSampleSaysThePolarity) {
  RunSignal signal;
  signal.RunOf(64, [](size_t i) { return i == 16 ? 0.5 : -1.0; });
  signal.RunOf(64, [](size_t i) { return i == 16 ? 0.0 : 1.0; }).Tail(1, 0);
  Worker worker;
  ASSERT_EQ(worker(signal), 0);
  EXPECT_EQ(worker.counts[0], 1u);
  EXPECT_EQ(worker.counts[1], 1u);
  EXPECT_EQ(worker.averages[1], -23.5f / 25);
  EXPECT_EQ(worker.averages[0], 24.0f / 25);
}

// With ratio 3/4 and tolerance 1/4 runs of 8 to 10 UI may take from 23/4 to 51/4 UI, which is exact
// in eighths.
TEST(RunAmplitudes, LengthsBelongToTheRange) {
  const struct {
    size_t samples;
    bool counts;
  } cases[] = {{45, false}, {46, true}, {102, true}, {103, false}};
  for (const auto &c : cases) {
    RunSignal signal;
    signal.RunOf(c.samples, Rising).Tail(64, 0);
    Worker worker;
    worker.ratio = 0.75f;
    worker.tolerance = 0.25f;
    worker.run_max = 10;
    ASSERT_EQ(worker(signal), 0);
    EXPECT_EQ(worker.counts[1], c.counts) << c.samples;
  }
}

TEST(RunAmplitudes, ValuesOutOfRangeBecomeDefaults) {
  // 64 UI and a little less than the 0.99 and 0.02 that stand for bad ratios and tolerances let
  // pass: 64 * 0.99 - 0.02 UI is 63.34 UI, 506.7 samples, and 64 * 1.01 + 0.02 is 517.3.
  const std::function<void(Worker &)> same[] = {
      [](Worker &w) { w.run_min = w.run_max = 0; },
      [](Worker &w) { w.run_min = w.run_max = 1; },
      [](Worker &w) { w.ratio = 0.69f; },
      [](Worker &w) { w.ratio = 1.01f; },
      [](Worker &w) { w.ratio = static_cast<float>(kNan); },
      [](Worker &w) { w.tolerance = 0.0009f; },
      [](Worker &w) { w.tolerance = static_cast<float>(kNan); },
  };
  for (size_t k = 0; k < std::size(same); ++k) {
    for (const auto &[samples, counts] :
         {std::pair{506, 0u}, std::pair{507, 1u}, std::pair{517, 1u}, std::pair{518, 0u}}) {
      RunSignal signal;
      signal.RunOf(static_cast<size_t>(samples), Rising);
      Worker worker;
      worker.run_min = worker.run_max = 64;
      same[k](worker);
      ASSERT_EQ(worker(signal), 0);
      EXPECT_EQ(worker.counts[1], counts) << k << ", " << samples;
    }
  }
  // The end of each range is accepted as it is: 64 * 0.7 - 0.02 UI is 358.2 samples; 64 - 0.001 UI
  // is 511.99 samples.
  const struct {
    float ratio, tolerance;
    size_t samples;
    uint32_t counts;
  } ends[] = {
      {0.7f, 0.02f, 358, 0}, {0.7f, 0.02f, 359, 1}, {1.0f, 0.001f, 511, 0}, {1.0f, 0.001f, 512, 1}};
  for (const auto &e : ends) {
    RunSignal signal;
    signal.RunOf(e.samples, Rising);
    Worker worker;
    worker.run_min = worker.run_max = 64;
    worker.ratio = e.ratio;
    worker.tolerance = e.tolerance;
    ASSERT_EQ(worker(signal), 0);
    EXPECT_EQ(worker.counts[1], e.counts) << e.ratio << ", " << e.samples;
  }
  // A unit interval too short to be meant is that of 8 Gb/s; the sample interval has passed before.
  std::vector<float> samples(200, 1.0f);
  const double crossings[]{0, 1e-9};
  float averages[2];
  uint32_t counts[2];
  ASSERT_EQ(
      FindTargetRunLen_Then_AverageAmplitudes(samples.data(), 0, 6e-12, crossings, 0, 1, 1.99e-11,
                                              0.99f, 0.02f, 8, 3, 5, averages, counts),
      0);
  EXPECT_EQ(counts[1], 1u);
}

// The single-length form is the other one with both lengths the same.
TEST(RunAmplitudes, SingleLength) {
  RunSignal signal;
  signal.RunOf(64, Rising).Run(9, -1).RunOf(64, Falling).Tail(1, 0);
  float averages[2];
  ASSERT_EQ(FindTargetRunLen_Then_AverageAmplitudes(signal.samples().data(), 0, kStep,
                                                    signal.crossings().data(), 0, signal.last(),
                                                    kUi, 0.99f, 0.02f, 8, 3, 5, averages, nullptr),
            0);
  EXPECT_EQ(averages[0], -MeanOfRise(16, 40));
  EXPECT_EQ(averages[1], MeanOfRise(16, 40));
}

// Sample 0 at another time moves the window with the crossovers; a run that would begin before
// sample 0 is left out, by however little.
TEST(RunAmplitudes, StartTime) {
  for (const double shift : {3.0, -2.5}) {
    RunSignal signal;
    signal.RunOf(64, Rising).RunOf(64, Falling).Tail(1, 0);
    for (double &t : signal.crossings()) t += shift;
    Worker worker;
    worker.start_s = shift;
    ASSERT_EQ(worker(signal), 0);
    // Seconds are so much larger than a sample that positions are off by 2^-52 * 4 s / kStep.
    EXPECT_NEAR(worker.averages[1], MeanOfRise(16, 40), 0.5f / 256);
    EXPECT_EQ(worker.counts[0], 1u);
  }
  for (const auto &[steps, runs] : {std::pair{16.0, 2u}, std::pair{16.5, 1u}}) {
    RunSignal signal;
    signal.RunOf(64, Rising).RunOf(64, Falling).Tail(1, 0);
    Worker worker;
    worker.start_s = steps * kStep;
    ASSERT_EQ(worker(signal), 0);
    EXPECT_EQ(worker.counts[0] + worker.counts[1], runs);
  }
}

// Low samples alternate by plus and minus a around m, n of them: their deviation is a but for
// rounding and one sample of the odd window, and the interval is 2 * 1.95 * a / sqrt(n) wide.
TEST(RunAmplitudes, VerdictOnTheLowLevel) {
  constexpr int kRuns = 40;
  const double a = 0.1, m = -0.5, swing = 1.0;
  const double n = kRuns * (3 * kSamplesPerUi + 1);
  const double width_share = 2 * 1.95 * a / std::sqrt(n) / swing;
  const struct {
    const char *what;
    double low_noise, high_noise, spread;
    uint32_t pass;
  } cases[] = {
      // One sample of 25 is 4 % of the deviation's square at most, so 3 % decide.
      {"a little above the width", a, 0, width_share * 1.03, 1},
      {"a little below", a, 0, width_share * 0.97, 0},
      {"the high level's scatter does not count", 0, 0.4, 0.0001, 1},
      {"out of range stands for 0.02", a, 0, kNan, width_share < 0.02},
      {"out of range stands for 0.02", 4 * a, 0, 1.01, 4 * width_share < 0.02},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    RunSignal signal;
    for (int k = 0; k < kRuns; ++k) {
      signal.RunOf(64, [&](size_t i) { return m + (i % 2 == 0 ? 1 : -1) * c.low_noise; });
      signal.RunOf(64, [&](size_t i) { return m + swing + (i % 2 == 0 ? 1 : -1) * c.high_noise; });
    }
    signal.Tail(1, 0);
    Worker worker;
    worker.spread = c.spread;
    ASSERT_EQ(worker(signal), 0);
    EXPECT_EQ(worker.pass, c.pass);
  }
}

// Without noise the variance is nothing but rounding, of either sign; the level is perfectly known.
TEST(RunAmplitudes, NoiseFreeLevelsPass) {
  for (int millivolts = -900; millivolts < 0; millivolts += 7) {
    RunSignal signal;
    for (int k = 0; k < 20; ++k) signal.Run(8, millivolts * 1e-3).Run(8, 0.1);
    signal.Tail(1, 0);
    Worker worker;
    // Squares and their mean are rounded to float, by 3 * 2^-24 of the level's square at most: the
    // deviation seems at most 4.3e-4 of the level and the interval, over 500 samples, 7.4e-5 of it.
    worker.spread = 0.0001;
    ASSERT_EQ(worker(signal), 0);
    EXPECT_EQ(worker.pass, 1u) << millivolts;
  }
}

struct Entry : PatternEntry {
  int32_t run_min = 8;
  uint32_t run_max = 8, window_first = 3, window_last = 5;
  double spread = 0.02;
  float high = 77, low = 77;
  uint32_t high_runs = 77, low_runs = 77;
  float *high_argument = &high, *low_argument = &low;
  uint32_t *high_runs_argument = &high_runs, *low_runs_argument = &low_runs;

  using PatternEntry::PatternEntry;
  VomoStatus operator()() {
    return VomoCOMPUTE_TARGET_RUNLENGTH_AVERAGE_VOLTAGE(
        waveform_argument, clock_argument, first, last, ui_s, run_min, run_max, window_first,
        window_last, spread, high_argument, low_argument, high_runs_argument, low_runs_argument);
  }
  bool Untouched() const { return high == 77 && low == 77 && high_runs == 77 && low_runs == 77; }
};

RunSignal SteadyRuns() {
  RunSignal signal;
  for (int k = 0; k < 4; ++k) signal.Run(8, 0.5).Run(1, -0.5).Run(8, 0.5).Run(8, -0.25);
  signal.Tail(1, 0);
  return signal;
}

TEST(RunAmplitudes, CheckedEntry) {
  Entry steady(SteadyRuns());
  ASSERT_EQ(steady(), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(steady.high, 0.5f);
  EXPECT_EQ(steady.low, -0.25f);
  EXPECT_EQ(steady.high_runs, 8u);
  EXPECT_EQ(steady.low_runs, 4u);

  const char text[] = "Error computing run length average voltage.";
  Entry high_only(RunSignal().Run(8, 0.5).Tail(1, 0));
  EXPECT_EQ(high_only(), Vomo_STATUS_NOT_ENOUGH_UI);
  EXPECT_NE(std::strstr(Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR), text), nullptr);
  EXPECT_EQ(high_only.high, 0.5f);
  EXPECT_EQ(high_only.low, 0.0f);
  EXPECT_EQ(high_only.high_runs, 1u);
  EXPECT_EQ(high_only.low_runs, 0u);

  Entry none(RunSignal().Run(4, 0.5).Run(4, -0.5));
  EXPECT_EQ(none(), Vomo_STATUS_PATTERN_NOT_FOUND);
  EXPECT_TRUE(none.Untouched());
}

// The last window ends outside the waveform: cut to the samples there are, or left out.
TEST(RunAmplitudes, TheWaveformEnds) {
  const struct {
    uint32_t kept;
    float mean;
    uint32_t runs;
  } cases[] = {{20, MeanOfRise(16, 19), 1}, {17, MeanOfRise(16, 16), 1}, {16, 77, 77}, {0, 77, 77}};
  for (const auto &c : cases) {
    Entry entry(RunSignal().RunOf(64, Rising));
    entry.KeepSamples(c.kept);
    EXPECT_EQ(entry(), c.runs == 1 ? Vomo_STATUS_NOT_ENOUGH_UI : Vomo_STATUS_PATTERN_NOT_FOUND);
    EXPECT_EQ(entry.high, c.mean) << c.kept;
    EXPECT_EQ(entry.high_runs, c.runs);
  }
}

TEST(RunAmplitudes, Refusals) {
  ExpectRefusals<Entry>(SteadyRuns(), {
                                          [](Entry &e) { e.high_argument = nullptr; },
                                          [](Entry &e) { e.low_argument = nullptr; },
                                          [](Entry &e) { e.high_runs_argument = nullptr; },
                                          [](Entry &e) { e.low_runs_argument = nullptr; },
                                          [](Entry &e) { e.window_first = 1; },
                                          [](Entry &e) { e.window_first = e.window_last; },
                                          [](Entry &e) { e.window_last = 9; },
                                          [](Entry &e) { e.window_last = 0xFFFFFFFF; },
                                          [](Entry &e) { e.run_min = 9; },  // above the longest
                                          [](Entry &e) { e.run_min = -8; },
                                          [](Entry &e) { e.run_min = 1; },
                                          [](Entry &e) { e.run_max = 65536; },
                                          [](Entry &e) { e.run_min = 65536, e.run_max = 65536; },
                                          [](Entry &e) { e.spread = 0.000099; },
                                          [](Entry &e) { e.spread = 1.01; },
                                          [](Entry &e) { e.spread = kNan; },
                                      });
  // The ends of the ranges are in.
  Entry ends(SteadyRuns());
  ends.window_first = 2;
  ends.window_last = 8;
  ends.run_max = 65535;
  ends.spread = 1.0;
  EXPECT_EQ(ends(), Vomo_STATUS_SUCCESS);

  RunSignal signal = SteadyRuns();
  ExpectIntervalsRefused<Worker>(signal);
  float averages[2]{77, 77};
  const auto call = [&](const float *samples, const double *crossings, float *out) {
    return FindTargetRunLen_Then_AverageAmplitudes(samples, 0, kStep, crossings, 0, signal.last(),
                                                   kUi, 0.99f, 0.02f, 8, 3, 5, out, nullptr);
  };
  EXPECT_EQ(call(nullptr, signal.crossings().data(), averages), 1);
  EXPECT_EQ(call(signal.samples().data(), nullptr, averages), 1);
  EXPECT_EQ(call(signal.samples().data(), signal.crossings().data(), nullptr), 1);
  EXPECT_EQ(averages[0], 77.0f);
}

}  // namespace
