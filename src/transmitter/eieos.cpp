// Mean voltage inside the runs of the electrical-idle exit pattern: sixteen runs of eight UI.
#include "transmitter/pattern_signal.h"

namespace vomo {
namespace {

constexpr uint64_t kRuns = 16;
constexpr int kRunUi = 8, kStretchUi = 128;

struct EieosSearch {
  double ui_s;
  float ui_ratio, ui_tolerance;
  uint16_t window_first, window_last;

  EieosSearch WithDefaults() const {
    EieosSearch search = *this;
    search.ui_ratio = UiRatioOrDefault(ui_ratio);
    search.ui_tolerance = UiToleranceOrDefault(ui_tolerance);
    if (window_first < 2 || window_first > kRunUi) search.window_first = 3;
    if (window_last < search.window_first) {
      search.window_last = search.window_first;
    } else if (window_last > kRunUi) {
      search.window_last = 7;
    }
    return search;
  }
  double ShortestSpan(int span_ui) const {
    return double{ui_ratio} * ui_s * span_ui - double{ui_tolerance} * ui_s;
  }
};

struct EieosLevels {
  LevelSum low, high;
  uint32_t found = 0;

  void Add(const PatternSignal &signal, uint64_t crossover, const EieosSearch &search) {
    for (uint64_t k = crossover; k < crossover + kRuns; ++k) {
      const Stretch stretch = signal.InRun(k, search.window_first - 1, search.window_last, kRunUi);
      if (stretch) (stretch.IsHigh() ? high : low).Add(stretch);
    }
    ++found;
  }
};

// First span from here on that is too short, or the last of the stretch.
uint64_t ShortOrLastSpan(const double *crossings_s, uint64_t begin, double shortest_s) {
  uint64_t span = begin;
  while (span < begin + kRuns - 1 && !(crossings_s[span + 1] - crossings_s[span] < shortest_s)) {
    ++span;
  }
  return span;
}

EieosLevels MeasureEieos(const PatternSignal &signal, uint32_t first, uint32_t last,
                         const EieosSearch &search) {
  const double *const t = signal.crossings_s;
  const double shortest_run_s = search.ShortestSpan(kRunUi);
  const double shortest_stretch_s = search.ShortestSpan(kStretchUi);
  EieosLevels levels;
  // A stretch ends at crossover i, which is never the last one.
  for (uint64_t i = uint64_t{first} + kRuns; i < last;) {
    const uint64_t begin = i - kRuns;
    if (!(t[i] - t[begin] >= shortest_stretch_s)) {
      ++i;
      continue;
    }
    // The length of the last run is not looked at.
    const uint64_t span = ShortOrLastSpan(t, begin, shortest_run_s);
    if (span < i - 1) {
      i = span + kRuns + 1;
      continue;
    }
    levels.Add(signal, begin, search);
    i += kRuns;
  }
  return levels;
}

// averages: low, then high.
int32_t AverageEieos(const PatternSignal &signal, uint32_t first, uint32_t last,
                     const EieosSearch &search, float *averages, uint32_t *found) {
  if (signal.samples == nullptr || signal.crossings_s == nullptr || averages == nullptr ||
      !(search.ui_s >= kShortestUiS) || !IsPatternInterval(signal.interval_s, search.ui_s)) {
    return 1;
  }
  const EieosLevels levels = MeasureEieos(signal, first, last, search.WithDefaults());
  averages[0] = levels.low.Mean();
  averages[1] = levels.high.Mean();
  if (found != nullptr) *found = levels.found;
  return 0;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" int32_t Meas_VTxDiffPkPk_EIEOS(const float *pfSamples, double dStartTime,
                                          double dSampleInterval, const double *pdCrossTimes,
                                          uint32_t ulFirst, uint32_t ulLast, double dUI,
                                          float fUIRatio, float fUITolerance,
                                          uint16_t usWindowFirst, uint16_t usWindowLast,
                                          float *pfAverages, uint32_t *pulFound) noexcept {
  return AverageEieos(
      {pfSamples, PatternSignal::kUnknownCount, dStartTime, dSampleInterval, pdCrossTimes}, ulFirst,
      ulLast, {dUI, fUIRatio, fUITolerance, usWindowFirst, usWindowLast}, pfAverages, pulFound);
}

extern "C" VomoStatus VomoCOMPUTE_EIEOS_AVERAGE_VOLTAGE(
    const VomoWaveform *psWaveform, const VomoCrossoverData *psClock, uint32_t ulFirst,
    uint32_t ulLast, const void *pvPassThrough, double dUI, uint32_t ulWindowFirst,
    uint32_t ulWindowLast, float *pfHighAverage, float *pfLowAverage, uint32_t *pulFound) noexcept {
  if (pvPassThrough == nullptr || pfHighAverage == nullptr || pfLowAverage == nullptr ||
      pulFound == nullptr || !IsPatternSignal(psWaveform, psClock, ulFirst, ulLast, dUI) ||
      ulWindowFirst >= ulWindowLast || ulWindowLast > kRunUi) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  float averages[2];
  uint32_t found = 0;
  if (AverageEieos(PatternSignal::Of(*psWaveform, *psClock), ulFirst, ulLast,
                   {dUI, 0.99f, 0.09f, static_cast<uint16_t>(ulWindowFirst),
                    static_cast<uint16_t>(ulWindowLast)},
                   averages, &found) != 0) {
    return Vomo_STATUS_COMPUTATION_ERROR;
  }
  *pfHighAverage = averages[1];
  *pfLowAverage = averages[0];
  *pulFound = found;
  return found != 0 ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PATTERN_NOT_FOUND;
}
