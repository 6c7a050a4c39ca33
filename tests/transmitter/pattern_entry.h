// What the checked entries of the pattern voltages have in common, and what they all refuse.
#ifndef VOMO_TESTS_TRANSMITTER_PATTERN_ENTRY_H
#define VOMO_TESTS_TRANSMITTER_PATTERN_ENTRY_H

#include <gtest/gtest.h>
#include <vomo.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

#include "support/run_signal.h"

namespace vomo_test {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// The arguments that lead to the signal.
struct PatternEntry {
  RunSignal signal;
  VomoWaveform waveform{};
  VomoCrossoverData clock{};
  const VomoWaveform *waveform_argument = &waveform;
  const VomoCrossoverData *clock_argument = &clock;
  uint32_t first = 0, last = 0;
  double ui_s = kUi;

  explicit PatternEntry(RunSignal made) : signal(std::move(made)) {
    waveform = *signal.waveform();
    clock = *signal.clock();
    last = signal.last();
  }
  PatternEntry(const PatternEntry &) = delete;
  PatternEntry &operator=(const PatternEntry &) = delete;

  // Ends the waveform where it is; a read behind the end is one outside the array.
  void KeepSamples(size_t count) {
    signal.samples() = std::vector<float>(signal.samples().begin(),
                                          signal.samples().begin() + static_cast<long>(count));
    signal.samples().reserve(1);
    waveform = *signal.waveform();
  }
};

inline const std::function<void(PatternEntry &)> kBadSignals[] = {
    [](PatternEntry &e) { e.waveform_argument = nullptr; },
    [](PatternEntry &e) { e.waveform.pfSamples = nullptr; },
    [](PatternEntry &e) { e.clock_argument = nullptr; },
    [](PatternEntry &e) { e.clock.pdTimes = nullptr; },
    [](PatternEntry &e) { e.first = e.last; },
    [](PatternEntry &e) { ++e.last; },
    [](PatternEntry &e) { e.clock.ulCount = 0; },
    [](PatternEntry &e) { e.ui_s = -kUi; },
    [](PatternEntry &e) { e.ui_s = 1.99e-11; },
    [](PatternEntry &e) { e.ui_s = kNan; },
    [](PatternEntry &e) { e.waveform.dSampleInterval = 0.99e-15; },
    [](PatternEntry &e) { e.waveform.dSampleInterval = 0.3201 * kUi; },
    [](PatternEntry &e) { e.waveform.dSampleInterval = kNan; },
};

// Entry: a PatternEntry with a call and with Untouched(), which looks at its outputs.
template <class Entry>
void ExpectRefusals(const RunSignal &signal, const std::vector<std::function<void(Entry &)>> &own) {
  std::vector<std::function<void(Entry &)>> all(std::begin(kBadSignals), std::end(kBadSignals));
  all.insert(all.end(), own.begin(), own.end());
  for (size_t k = 0; k < all.size(); ++k) {
    Entry entry(signal);
    all[k](entry);
    EXPECT_EQ(entry(), Vomo_STATUS_PARAM_NOT_VALID) << k;
    EXPECT_TRUE(entry.Untouched()) << k;
  }
}

// Sample intervals and unit intervals that the workers refuse, the latter only where they don't
// replace them; nothing is written then.
template <class Worker>
void ExpectIntervalsRefused(RunSignal &signal, const std::vector<double> &bad_ui = {}) {
  for (const double interval : {0.99e-15, 0.3201 * kUi, kNan}) {
    Worker worker;
    worker.interval_s = interval;
    EXPECT_EQ(worker(signal), 1) << interval;
    EXPECT_TRUE(worker.Untouched()) << interval;
  }
  for (const double ui : bad_ui) {
    Worker worker;
    worker.ui_s = ui;
    EXPECT_EQ(worker(signal), 1) << ui;
    EXPECT_TRUE(worker.Untouched()) << ui;
  }
}

// Sample i of a run is (i + 1) / 256 V: sums are exact, and any sample more or less shows. From
// sample a to b of the run the mean is ((a + b) / 2 + 1) / 256.
inline double Rising(size_t i) {
  return (static_cast<double>(i) + 1) / 256;
}
inline double Falling(size_t i) {
  return -Rising(i);
}
inline float MeanOfRise(double a, double b) {
  return static_cast<float>(((a + b) / 2 + 1) / 256);
}

}  // namespace vomo_test

#endif
