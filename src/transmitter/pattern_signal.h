// Samples and the crossovers found in them, as the voltage measurements of known patterns see them.
#ifndef VOMO_TRANSMITTER_PATTERN_SIGNAL_H
#define VOMO_TRANSMITTER_PATTERN_SIGNAL_H

#include <vomo.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace vomo {

// Consecutive samples, NULL if they would begin outside the waveform. A stretch that ends before it
// begins holds none, but still has the polarity of the sample it would begin with.
struct Stretch {
  const float *begin = nullptr;
  uint64_t count = 0;

  explicit operator bool() const { return begin != nullptr; }
  bool IsHigh() const { return *begin > 0.0f; }
};

struct PatternSignal {
  // For callers that hand over bare samples: as many as the crossovers ask for.
  static constexpr uint32_t kUnknownCount = std::numeric_limits<uint32_t>::max();

  const float *samples;
  uint32_t sample_count;
  double start_time_s;  // of sample 0
  double interval_s;
  const double *crossings_s;

  static PatternSignal Of(const VomoWaveform &waveform, const VomoCrossoverData &crossovers) {
    return {waveform.pfSamples, waveform.ulNumSamples, 0.0, waveform.dSampleInterval,
            crossovers.pdTimes};
  }

  double PositionAt(double time_s) const { return (time_s - start_time_s) / interval_s; }
  bool Holds(double position) const { return position >= 0.0 && position < sample_count; }

  // The samples from one time to the other, both ends included, cut at the last one there is, and
  // so many in front of them as far as they exist.
  Stretch Between(double from_s, double to_s, uint32_t lead = 0) const {
    const double from = PositionAt(from_s), to = PositionAt(to_s);
    if (!Holds(from) || !(to >= 0.0)) return {};
    const uint32_t first =
        static_cast<uint32_t>(from) - std::min(static_cast<uint32_t>(from), lead);
    const uint32_t last = to < sample_count ? static_cast<uint32_t>(to) : sample_count - 1;
    return {samples + first, first <= last ? uint64_t{last} - first + 1 : 0};
  }

  Stretch At(double time_s) const { return Between(time_s, time_s); }

  // The part of the run behind a crossover from after skipped UIs to end_ui, when the run's real
  // duration counts as so many UIs.
  Stretch InRun(uint64_t crossover, int skipped_ui, int end_ui, int run_ui) const {
    const double start_s = crossings_s[crossover];
    const double length_s = crossings_s[crossover + 1] - start_s;
    return Between(length_s * skipped_ui / run_ui + start_s, length_s * end_ui / run_ui + start_s);
  }
};

// Sum over the samples of all runs of one polarity.
struct LevelSum {
  double sum_v = 0.0;
  uint64_t samples = 0;

  void Add(const Stretch &stretch) {
    for (uint64_t i = 0; i < stretch.count; ++i) sum_v += double{stretch.begin[i]};
    samples += stretch.count;
  }
  // 0 V without samples.
  float Mean() const {
    return samples == 0 ? 0.0f : static_cast<float>(sum_v / static_cast<double>(samples));
  }
};

constexpr double kShortestUiS = 2e-11;

// From 1 fs up to about a third of a unit interval. NaN is refused.
constexpr bool IsPatternInterval(double interval_s, double ui_s) {
  return interval_s >= 1e-15 && interval_s <= ui_s * 0.32;
}

// Shortest accepted unit interval of a run, as a share of the nominal one.
constexpr float UiRatioOrDefault(float ratio) {
  return ratio >= 0.7f && ratio <= 1.0f ? ratio : 0.99f;
}

constexpr float UiToleranceOrDefault(float tolerance) {
  return tolerance >= 0.001f ? tolerance : 0.02f;
}

// What every checked entry asks of its signal: the crossovers first to last, at least two.
inline bool IsPatternSignal(const VomoWaveform *waveform, const VomoCrossoverData *crossovers,
                            uint32_t first, uint32_t last, double ui_s) {
  return waveform != nullptr && waveform->pfSamples != nullptr && crossovers != nullptr &&
         crossovers->pdTimes != nullptr && first < last && last < crossovers->ulCount &&
         ui_s >= kShortestUiS && IsPatternInterval(waveform->dSampleInterval, ui_s);
}

}  // namespace vomo

#endif
