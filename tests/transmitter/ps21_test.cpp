#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <functional>

#include "pattern_entry.h"

namespace {

using namespace vomo_test;

// Flat runs of 32 UI, 256 samples, and single bits. Their samples show which of them were used:
// sample i of a flat run is (256 + i) / 1024 V, and bit number k has its peak of (256 + k) / 1024 V
// in its fifth sample. Factors of powers of two keep all means exact.
struct Pattern {
  RunSignal signal;

  Pattern &Flat(double factor, size_t sample_count = 256) {
    signal.RunOf(sample_count,
                 [&](size_t i) { return factor * (256 + static_cast<double>(i)) / 1024; });
    return *this;
  }
  Pattern &Flats(double factor) { return Flat(factor).Flat(-factor); }
  // The first bit has the sign of the factor.
  Pattern &Toggle(double factor, int count = 32) {
    for (int k = 0; k < count; ++k) {
      const double peak = (k % 2 == 0 ? factor : -factor) * (256 + k) / 1024;
      Bit(peak);
    }
    return *this;
  }
  Pattern &Bit(double peak, size_t sample_count = kSamplesPerUi) {
    signal.RunOf(sample_count, [&](size_t i) { return i == 4 ? peak : peak / 2; });
    return *this;
  }
  // Runs that are neither flat nor single bits.
  Pattern &Other(int count = 1) {
    for (int k = 0; k < count; ++k) signal.Run(3, k % 2 == 0 ? -0.125 : 0.125);
    return *this;
  }
};

double FlatMean(double a, double b) {
  return (256 + (a + b) / 2) / 1024;
}
// Mean peak of the bits first, first + 2, ... last, counted from 0.
double PeakMean(double first, double last) {
  return (256 + (first + last) / 2) / 1024;
}

struct Worker {
  double start_s = 0, interval_s = kStep, ui_s = kUi;
  uint32_t from = 0;
  float ratio = 0.99f, tolerance = 0.02f;
  uint16_t mode = 0, flat = 32, flat_max = 32, toggle = 32;
  uint16_t flat_first = 3, flat_last = 30, toggle_first = 5, toggle_last = 30;
  float result = 77, statistics[20];
  uint32_t found = 77;

  Worker() { std::fill_n(statistics, 20, 77.0f); }
  int32_t operator()(RunSignal &signal) {
    return Meas_VTxDiff_PS21_wMinMax(signal.samples().data(), start_s, interval_s,
                                     signal.crossings().data(), from, signal.last(), ui_s, ratio,
                                     tolerance, mode, flat, flat_max, toggle, flat_first, flat_last,
                                     toggle_first, toggle_last, &result, statistics, &found);
  }
  int32_t operator()(Pattern &p) { return (*this)(p.signal); }
  bool Untouched() const { return result == 77 && statistics[0] == 77 && found == 77; }
};

// Window 3 to 30 of 32 UI: samples 16 to 240. Bits 5 to 30, from 0 the high ones 4, 6, ... 28 and
// the low ones 5, 7, ... 29.
const double kFlat = FlatMean(16, 240), kHigh = PeakMean(4, 28), kLow = PeakMean(5, 29);
const auto kRatio = static_cast<float>((kHigh + kLow) / (2 * kFlat));

TEST(Ps21, WindowsOfOnePattern) {
  const struct {
    uint16_t flat_first, flat_last, toggle_first, toggle_last;
    double a, b, first_bit, last_bit;  // the high ones; the low ones are one later
  } cases[] = {
      {3, 30, 5, 30, 16, 240, 4, 28},  {2, 31, 1, 32, 8, 248, 0, 30},  {4, 4, 1, 2, 24, 32, 0, 0},
      {0, 30, 0, 1, 192, 240, 24, 28}, {5, 0, 7, 0, 192, 240, 24, 28},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.flat_first);
    Pattern p;
    p.Flats(0.5).Toggle(0.25).signal.Tail(1, 0);
    Worker worker;
    worker.flat_first = c.flat_first;
    worker.flat_last = c.flat_last;
    worker.toggle_first = c.toggle_first;
    worker.toggle_last = c.toggle_last;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.found, 1u);
    const double high = 0.25 * PeakMean(c.first_bit, c.last_bit);
    const double low = -0.25 * PeakMean(c.first_bit + 1, c.last_bit + 1);
    const double flat = 0.5 * FlatMean(c.a, c.b);
    EXPECT_EQ(worker.result, static_cast<float>((high - low) / (2 * flat)));
    EXPECT_EQ(worker.statistics[2], static_cast<float>(low));
    EXPECT_EQ(worker.statistics[7], static_cast<float>(-flat));
    EXPECT_EQ(worker.statistics[12], static_cast<float>(high));
    EXPECT_EQ(worker.statistics[17], static_cast<float>(flat));
  }
}

// Two patterns, of full and of half size; the second one with the signs turned and the toggling in
// front. Each single sample, each mean and the mean of the means is known.
TEST(Ps21, Statistics) {
  Pattern p;
  p.Flats(1).Toggle(0.5).Other().Toggle(-0.25).Flats(-0.5);
  Worker worker;
  ASSERT_EQ(worker(p), 0);
  EXPECT_EQ(worker.found, 2u);
  // High bits of the second pattern are the odd ones.
  const double high = 0.5 * kHigh, low = -0.5 * kLow, high2 = 0.25 * kLow, low2 = -0.25 * kHigh;
  const auto top = [](int k) { return (256.0 + k) / 1024; };
  const double expected[20]{
      -0.5 * top(29), low,         (low + low2) / 2,   low2,         -0.25 * top(4),
      -top(240),      -kFlat,      -0.75 * kFlat,      -0.5 * kFlat, -0.5 * top(16),
      0.25 * top(5),  high2,       (high + high2) / 2, high,         0.5 * top(28),
      0.5 * top(16),  0.5 * kFlat, 0.75 * kFlat,       kFlat,        top(240),
  };
  for (int k = 0; k < 20; ++k) {
    EXPECT_EQ(worker.statistics[k], static_cast<float>(expected[k])) << k;
  }
  EXPECT_EQ(worker.result,
            static_cast<float>(((high - low) / (2 * kFlat) + (high2 - low2) / kFlat) / 2));

  // The form without statistics finds the same.
  float ratio = 77;
  ASSERT_EQ(Meas_VTxDiff_PS21(p.signal.samples().data(), 0, kStep, p.signal.crossings().data(), 0,
                              p.signal.last(), kUi, 0.99f, 0.02f, 0, 32, 32, 3, 30, 5, 30, &ratio,
                              nullptr),
            0);
  EXPECT_EQ(ratio, worker.result);
}

// Toggling of half the size in front of the flat runs and of a quarter behind them.
TEST(Ps21, SearchModes) {
  const float before = kRatio / 2, behind = kRatio / 4;
  struct Layout {
    bool in_front, behind;
  };
  const struct {
    uint16_t mode;
    Layout layout;
    float ratio;
  } cases[] = {
      {0, {true, true}, behind}, {0, {true, false}, before}, {0, {false, true}, behind},
      {1, {true, true}, before}, {1, {true, false}, before}, {1, {false, true}, behind},
      {2, {true, true}, behind}, {2, {true, false}, 0},      {2, {false, true}, behind},
      {3, {true, true}, before}, {3, {true, false}, before}, {3, {false, true}, 0},
      {9, {true, true}, behind}, {9, {true, false}, before}, {0, {false, false}, 0},
  };
  for (const auto &c : cases) {
    Pattern p;
    if (c.layout.in_front)
      p.Toggle(0.5);
    else
      p.Other(32);
    p.Flats(1);
    if (c.layout.behind)
      p.Toggle(0.25);
    else
      p.Other(32);
    Worker worker;
    worker.mode = c.mode;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.result, c.ratio) << c.mode << c.layout.in_front << c.layout.behind;
    EXPECT_EQ(worker.found, c.ratio != 0);
  }
}

// A pair without toggling in front of it makes the search before go on 3 + 32 crossovers later: a
// pair 34 crossovers on is missed, one 35 crossovers on is not.
TEST(Ps21, SearchBeforeSkipsBehindAMiss) {
  for (const int bits : {32, 33}) {
    Pattern p;
    p.Other(32).Flats(1).Toggle(0.5, bits).Flats(1);
    Worker worker;
    worker.mode = 3;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.found, bits == 33) << bits;
    // The other order finds the toggling for both pairs.
    worker.mode = 1;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.found, 2u) << bits;
  }
}

// There is no place for a stretch in front of the first pair: it is no candidate, and no miss.
TEST(Ps21, FirstAndLastCrossover) {
  Pattern p;
  p.Flats(1).Toggle(0.5).Flats(1);
  const struct {
    uint16_t mode;
    uint32_t from, found;
  } cases[] = {{3, 0, 1}, {3, 2, 1}, {3, 3, 0}, {1, 0, 2}, {1, 2, 1}, {1, 3, 0}};
  for (const auto &c : cases) {
    Worker worker;
    worker.mode = c.mode;
    worker.from = c.from;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.found, c.found) << c.mode << ", " << c.from;
  }
}

// Ratio 3/4 and tolerance 1/4 give limits that are exact in samples: flat runs of 32 * 3/4 - 1/4 to
// 32 * 5/4 + 1/4 UI, 190 to 322 samples, bits up to 1.75 UI, 14 samples, and 32 of them together up
// to 33 * 5/4 UI, 330 samples.
TEST(Ps21, Limits) {
  const struct {
    const char *what;
    size_t flat, other_flat, bit, last_bit;
    uint32_t found;
  } cases[] = {
      {"flat runs at their limits", 190, 322, 8, 8, 1},
      {"first too short", 189, 256, 8, 8, 0},
      {"second too short", 256, 189, 8, 8, 0},
      {"first too long", 323, 256, 8, 8, 0},
      {"second too long", 256, 323, 8, 8, 0},
      {"a wide bit", 256, 256, 14, 8, 1},
      {"too wide a bit", 256, 256, 15, 8, 0},
      {"a wide last bit", 256, 256, 8, 14, 1},
      {"a long last bit is left out", 256, 256, 8, 82, 1},
      {"all together too long", 256, 256, 8, 83, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Pattern p;
    p.Other(12).Flat(1, c.flat).Flat(-1, c.other_flat).Toggle(0.5, 29);
    p.Bit(-0.125, c.bit).Bit(0.125).Bit(-0.125, c.last_bit);
    Worker worker;
    worker.ratio = 0.75f;
    worker.tolerance = 0.25f;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.found, c.found);
  }
}

// The flat window is as long as so many mean bits: with 32 bits in 31 * 8 samples and 28 UI it
// begins 28 * 31/32 * 8 = 217 samples before its end.
TEST(Ps21, FlatWindowFollowsTheMeanBit) {
  Pattern p;
  p.Flats(0.5).Toggle(0.25, 31).Bit(-0.1, 9);
  for (const float tolerance : {0.02f, 0.2f}) {
    Worker worker;
    // One last bit of 9 samples is too long for the first tolerance; left out, it still counts.
    worker.tolerance = tolerance;
    ASSERT_EQ(worker(p), 0);
    const double window = tolerance < 0.1f ? 28 * 248 / 32.0 : 28 * 257 / 32.0;
    const double begin = std::floor(240 - window);
    EXPECT_EQ(worker.statistics[17], static_cast<float>(0.5 * FlatMean(begin, 240)));
  }
}

TEST(Ps21, PolaritiesDecide) {
  Pattern one_sided;
  one_sided.Flat(1).Flat(1).Toggle(0.5);
  Worker worker;
  ASSERT_EQ(worker(one_sided), 0);
  EXPECT_EQ(worker.found, 0u);

  // The measured bits of a stretch begin and end with opposite signs.
  Pattern unipolar;
  unipolar.Flats(1);
  for (int k = 0; k < 32; ++k) unipolar.Bit(0.25);
  ASSERT_EQ(worker(unipolar), 0);
  EXPECT_EQ(worker.found, 0u);
  // Of flat runs the samples at the window's end decide, here 2 UI before the run's end.
  Pattern turned;
  turned.Flats(1).Toggle(0.5);
  turned.signal.samples()[240] = -1.0f;
  ASSERT_EQ(worker(turned), 0);
  EXPECT_EQ(worker.found, 0u);
}

// Flat runs that only end with their polarity have a swing below 0. The pattern doesn't count, but
// its levels do.
TEST(Ps21, PatternsWithoutSwing) {
  Pattern p;
  p.Flats(-1).Toggle(0.25);
  p.signal.samples()[240] = 1.0f;
  p.signal.samples()[256 + 240] = -1.0f;
  Worker worker;
  ASSERT_EQ(worker(p), 0);
  EXPECT_EQ(worker.found, 0u);
  EXPECT_EQ(worker.result, 0.0f);
  for (const float value : worker.statistics) EXPECT_EQ(value, 0.0f);

  p.Other().Flats(0.5).Toggle(0.25);
  ASSERT_EQ(worker(p), 0);
  EXPECT_EQ(worker.found, 1u);
  EXPECT_EQ(worker.result, kRatio / 2);
  EXPECT_EQ(worker.statistics[19], 1.0f);
  EXPECT_EQ(worker.statistics[18], static_cast<float>(0.5 * kFlat));
  EXPECT_LT(worker.statistics[16], 0.0f);
}

// A crossover is placed one sample late: the peak in front of it is still the bit's.
TEST(Ps21, PeakSearchBeginsOneSampleEarly) {
  Pattern p;
  p.Flats(1);
  for (int k = 0; k < 32; ++k) {
    const double sign = k % 2 == 0 ? 1 : -1;
    p.signal.RunOf(kSamplesPerUi, [&](size_t i) { return sign * (i == 0 ? 0.75 : 0.5); });
  }
  Worker worker;
  for (const int late : {1, 2}) {
    for (double &t : p.signal.crossings()) t += kStep;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.statistics[14], late == 1 ? 0.75f : 0.5f);
    EXPECT_EQ(worker.statistics[0], late == 1 ? -0.75f : -0.5f);
  }
}

// Both sides toggle, the front one before sample 0: it isn't passed over in favour of the other.
TEST(Ps21, OutsideTheSamples) {
  Pattern p;
  p.Toggle(0.5).Flats(1).Toggle(0.25);
  p.signal.samples().erase(p.signal.samples().begin(), p.signal.samples().begin() + 100);
  for (const uint16_t mode : {uint16_t{0}, uint16_t{1}, uint16_t{3}}) {
    Worker worker;
    worker.start_s = 100 * kStep;
    worker.mode = mode;
    ASSERT_EQ(worker(p), 0);
    EXPECT_EQ(worker.found, mode == 0) << mode;
  }
}

struct Entry : PatternEntry {
  const void *pass_through = this;
  uint32_t flat = 32, flat_max = 32, toggle = 32;
  uint32_t flat_first = 3, flat_last = 30, toggle_first = 5, toggle_last = 30;
  float ratio_db = 77;
  uint32_t found = 77;
  float *ratio_argument = &ratio_db;
  uint32_t *found_argument = &found;

  using PatternEntry::PatternEntry;
  VomoStatus operator()() {
    return VomoCOMPUTE_PS21_AVERAGE_VOLTAGE(
        waveform_argument, clock_argument, first, last, pass_through, ui_s, flat, flat_max, toggle,
        flat_first, flat_last, toggle_first, toggle_last, ratio_argument, found_argument);
  }
  bool Untouched() const { return ratio_db == 77 && found == 77; }
};

RunSignal OnePattern() {
  return Pattern().Flats(1).Toggle(0.5).signal;
}

TEST(Ps21, CheckedEntry) {
  Entry entry(OnePattern());
  ASSERT_EQ(entry(), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(entry.found, 1u);
  // One rounding of the ratio, one of the result.
  EXPECT_NEAR(entry.ratio_db, 20 * std::log10((kHigh + kLow) / (4 * kFlat)), 2e-6);

  Entry none(Pattern().Flats(1).Other(32).signal);
  EXPECT_EQ(none(), Vomo_STATUS_PATTERN_NOT_FOUND);
  EXPECT_EQ(none.found, 0u);
  EXPECT_EQ(none.ratio_db, 77.0f);
}

// The waveform ends anywhere: the pattern is there as long as the last measured bit, number 30,
// reaches its middle, from sample 512 + 29 * 8 + 4 on.
TEST(Ps21, TheWaveformEnds) {
  for (size_t count = 0; count < 512 + 256; ++count) {
    Entry entry(OnePattern());
    entry.KeepSamples(count);
    const bool found = count > 512 + 29 * 8 + 4;
    EXPECT_EQ(entry(), found ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PATTERN_NOT_FOUND) << count;
  }
}

TEST(Ps21, EntryRefusals) {
  ExpectRefusals<Entry>(
      OnePattern(),
      {
          [](Entry &e) { e.pass_through = nullptr; }, [](Entry &e) { e.ratio_argument = nullptr; },
          [](Entry &e) { e.found_argument = nullptr; }, [](Entry &e) { e.flat = 0; },
          [](Entry &e) { e.flat = 33; }, [](Entry &e) { e.flat_max = 65536; },
          [](Entry &e) { e.toggle = 31; }, [](Entry &e) { e.toggle = 65536; },
          [](Entry &e) { e.flat_first = e.flat_last; }, [](Entry &e) { e.flat_last = 33; },
          [](Entry &e) { e.toggle_first = 31; },
          [](Entry &e) { e.toggle_last = 33, e.toggle_first = 6; },
          [](Entry &e) { e.toggle_first = 6; },  // an even difference
      });
}

TEST(Ps21, WorkerRefusals) {
  Pattern p;
  p.Flats(1).Toggle(0.5);
  const std::function<void(Worker &)> bad[] = {
      [](Worker &w) { w.toggle_last = 29; },
      [](Worker &w) { w.toggle_first = 31; },
      [](Worker &w) { w.toggle_last = 33, w.toggle_first = 6; },
      [](Worker &w) { w.flat_first = 31; },
      [](Worker &w) { w.flat_last = 33; },
  };
  for (size_t k = 0; k < std::size(bad); ++k) {
    Worker worker;
    bad[k](worker);
    EXPECT_EQ(worker(p), 1) << k;
    EXPECT_EQ(worker.found, 0u);  // cleared all the same
    EXPECT_EQ(worker.result, 0.0f);
    EXPECT_EQ(worker.statistics[19], 0.0f);
  }
  // A short run below 16 and a stretch below 32 stand for 32, in the windows too.
  Worker worker;
  worker.flat = worker.flat_max = 15;
  worker.toggle = 31;
  worker.toggle_last = 32;
  worker.toggle_first = 1;
  ASSERT_EQ(worker(p), 0);
  EXPECT_EQ(worker.found, 1u);

  ExpectIntervalsRefused<Worker>(p.signal, {0, 1.99e-11, kNan});
  const float *const samples = p.signal.samples().data();
  const double *const times = p.signal.crossings().data();
  uint32_t found = 77;
  const auto call = [&](const float *s, const double *t) {
    return Meas_VTxDiff_PS21(s, 0, kStep, t, 0, p.signal.last(), kUi, 0.99f, 0.02f, 0, 32, 32, 3,
                             30, 5, 30, nullptr, &found);
  };
  EXPECT_EQ(call(nullptr, times), 1);
  EXPECT_EQ(call(samples, nullptr), 1);
  EXPECT_EQ(found, 77u);
  EXPECT_EQ(call(samples, times), 0);
}

}  // namespace
