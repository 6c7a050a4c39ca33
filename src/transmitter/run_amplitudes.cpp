// Mean voltage inside the long runs of equal bits of a pattern, high and low.
#include <algorithm>
#include <cmath>

#include "core/status.h"
#include "transmitter/pattern_signal.h"

namespace vomo {
namespace {

struct RunSearch {
  double ui_s;
  float ui_ratio, ui_tolerance;
  uint16_t run_min, run_max, window_first, window_last;
  double max_mean_spread;

  // With the values that can't be meant replaced.
  RunSearch WithDefaults() const {
    RunSearch search = *this;
    if (!(ui_s >= kShortestUiS)) search.ui_s = 1.25e-10;  // 8 Gb/s
    if (run_max <= 1) search.run_max = 64;
    if (run_min <= 1) search.run_min = 64;
    search.ui_ratio = UiRatioOrDefault(ui_ratio);
    search.ui_tolerance = UiToleranceOrDefault(ui_tolerance);
    if (!(max_mean_spread >= 0.0001 && max_mean_spread <= 1.0)) search.max_mean_spread = 0.02;
    return search;
  }
  double ShortestRun() const {
    return run_min * double{ui_ratio} * ui_s - double{ui_tolerance} * ui_s;
  }
  double LongestRun() const {
    return (2 * ui_s - double{ui_ratio} * ui_s) * std::max(run_min, run_max) +
           double{ui_tolerance} * ui_s;
  }
};

struct RunLevel {
  LevelSum level;
  uint32_t runs = 0;

  void Add(const Stretch &stretch) {
    level.Add(stretch);
    ++runs;
  }
};

struct RunLevels {
  RunLevel low, high;
  double low_squares = 0.0;

  void Add(const Stretch &stretch) {
    (stretch.IsHigh() ? high : low).Add(stretch);
    if (!stretch.IsHigh()) AddSquares(stretch);
  }
  bool HasBoth() const { return low.level.samples > 0 && high.level.samples > 0; }

  // Whether the mean of the low level, give or take 1.95 times its standard error, is known well
  // enough for the swing. How far the high level scatters plays no part.
  bool IsSteady(double max_mean_spread) const {
    const float m = low.level.Mean();
    const auto n = static_cast<double>(low.level.samples);
    const float mean_squares = m * m * static_cast<float>(low.level.samples);
    double variance = (double{mean_squares} + low_squares - 2.0 * double{m} * low.level.sum_v) / n;
    if (variance < 0.0) variance = 0.0;  // rounding, for a level without noise
    const double half_width = 1.95 * std::sqrt(variance) / std::sqrt(n);
    const float swing = high.level.Mean() - m;
    return (m + half_width) - (m - half_width) < double{swing} * max_mean_spread;
  }

 private:
  void AddSquares(const Stretch &stretch) {
    for (uint64_t i = 0; i < stretch.count; ++i) {
      const float square = stretch.begin[i] * stretch.begin[i];
      low_squares += double{square};
    }
  }
};

RunLevels MeasureRuns(const PatternSignal &signal, uint32_t first, uint32_t last,
                      const RunSearch &search) {
  const double shortest_s = search.ShortestRun(), longest_s = search.LongestRun();
  RunLevels levels;
  for (uint64_t k = first; k < last; ++k) {
    const double length_s = signal.crossings_s[k + 1] - signal.crossings_s[k];
    if (!(length_s >= shortest_s && length_s <= longest_s)) continue;
    const Stretch stretch =
        signal.InRun(k, search.window_first - 1, search.window_last, search.run_min);
    if (stretch) levels.Add(stretch);
  }
  return levels;
}

// averages, counts: low, then high. pass is written only when both polarities have samples.
int32_t AverageRuns(const PatternSignal &signal, uint32_t first, uint32_t last, RunSearch search,
                    uint32_t *pass, float *averages, uint32_t *counts) {
  if (signal.samples == nullptr || signal.crossings_s == nullptr || averages == nullptr ||
      !IsPatternInterval(signal.interval_s, search.ui_s)) {
    return 1;
  }
  search = search.WithDefaults();
  const RunLevels levels = MeasureRuns(signal, first, last, search);
  averages[0] = levels.low.level.Mean();
  averages[1] = levels.high.level.Mean();
  if (pass != nullptr && levels.HasBoth()) *pass = levels.IsSteady(search.max_mean_spread) ? 1 : 0;
  if (counts != nullptr) {
    counts[0] = levels.low.runs;
    counts[1] = levels.high.runs;
  }
  return 0;
}

VomoStatus RunFailure(VomoStatus word) {
  Vomo_Set_Error_Context("Error computing run length average voltage.");
  return word;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" int32_t FindTargetRunLen_Then_AverageAmplitudes_wPassFail(
    const float *pfSamples, double dStartTime, double dSampleInterval, const double *pdCrossTimes,
    uint32_t ulFirst, uint32_t ulLast, double dUI, float fUIRatio, float fUITolerance,
    uint16_t usRunMin, uint16_t usRunMax, uint16_t usWindowFirst, uint16_t usWindowLast,
    double dMaxMeanSpread, uint32_t *pulPass, float *pfAverages, uint32_t *pulRunCounts) noexcept {
  return AverageRuns(
      {pfSamples, PatternSignal::kUnknownCount, dStartTime, dSampleInterval, pdCrossTimes}, ulFirst,
      ulLast,
      {dUI, fUIRatio, fUITolerance, usRunMin, usRunMax, usWindowFirst, usWindowLast,
       dMaxMeanSpread},
      pulPass, pfAverages, pulRunCounts);
}

extern "C" int32_t FindTargetRunLen_Then_AverageAmplitudes(
    const float *pfSamples, double dStartTime, double dSampleInterval, const double *pdCrossTimes,
    uint32_t ulFirst, uint32_t ulLast, double dUI, float fUIRatio, float fUITolerance,
    uint16_t usRunMin, uint16_t usWindowFirst, uint16_t usWindowLast, float *pfAverages,
    uint32_t *pulRunCounts) noexcept {
  return FindTargetRunLen_Then_AverageAmplitudes_wPassFail(
      pfSamples, dStartTime, dSampleInterval, pdCrossTimes, ulFirst, ulLast, dUI, fUIRatio,
      fUITolerance, usRunMin, usRunMin, usWindowFirst, usWindowLast, 0.0, nullptr, pfAverages,
      pulRunCounts);
}

extern "C" VomoStatus VomoCOMPUTE_TARGET_RUNLENGTH_AVERAGE_VOLTAGE(
    const VomoWaveform *psWaveform, const VomoCrossoverData *psClock, uint32_t ulFirst,
    uint32_t ulLast, double dUI, int32_t iRunMin, uint32_t ulRunMax, uint32_t ulWindowFirst,
    uint32_t ulWindowLast, double dMaxMeanSpread, float *pfHighAverage, float *pfLowAverage,
    uint32_t *pulHighRuns, uint32_t *pulLowRuns) noexcept {
  if (pfHighAverage == nullptr || pfLowAverage == nullptr || pulHighRuns == nullptr ||
      pulLowRuns == nullptr || !IsPatternSignal(psWaveform, psClock, ulFirst, ulLast, dUI)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  // With 2 <= first < last <= run <= longest <= 65535 every number fits in 16 bits.
  const int64_t run_min = iRunMin;
  if (ulWindowFirst < 2 || ulWindowFirst >= ulWindowLast || ulWindowLast > run_min ||
      run_min > ulRunMax || ulRunMax > std::numeric_limits<uint16_t>::max() ||
      !(dMaxMeanSpread >= 0.0001 && dMaxMeanSpread <= 1.0)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const auto narrow = [](auto value) { return static_cast<uint16_t>(value); };
  uint32_t pass = 0, counts[2];
  float averages[2];
  if (AverageRuns(PatternSignal::Of(*psWaveform, *psClock), ulFirst, ulLast,
                  {dUI, 0.99f, 0.02f, narrow(iRunMin), narrow(ulRunMax), narrow(ulWindowFirst),
                   narrow(ulWindowLast), dMaxMeanSpread},
                  &pass, averages, counts) != 0) {
    return RunFailure(Vomo_STATUS_COMPUTATION_ERROR);
  }
  if (counts[0] == 0 && counts[1] == 0) return RunFailure(Vomo_STATUS_PATTERN_NOT_FOUND);
  *pfHighAverage = averages[1];
  *pfLowAverage = averages[0];
  *pulHighRuns = counts[1];
  *pulLowRuns = counts[0];
  return pass != 0 ? Vomo_STATUS_SUCCESS : RunFailure(Vomo_STATUS_NOT_ENOUGH_UI);
}
