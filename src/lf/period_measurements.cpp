// The measurements of a burst that go by its periods: their length and shape, and their samples.
#include <cmath>

#include "lf/arguments.h"
#include "lf/extremes.h"
#include "timing/crossover_block.h"

namespace vomo {
namespace {

// The two intervals of a period, seconds.
struct Period {
  double first, second;

  double Length() const { return first + second; }
  double Longer() const { return first > second ? first : second; }
  double Shorter() const { return first > second ? second : first; }
};

Period PeriodAt(const double *intervals, uint32_t j) {
  return {intervals[2 * uint64_t{j}], intervals[2 * uint64_t{j} + 1]};
}

// Mean length of the first so many periods; 0.0 of none.
double MeanPeriod(const double *intervals, uint32_t count) {
  double sum_s = 0.0;
  for (uint32_t j = 0; j < count; ++j) sum_s += PeriodAt(intervals, j).Length();
  return count == 0 ? 0.0 : sum_s / count;
}

bool CanMeasureIntervals(const VomoCrossoverData *crossovers, const double *intervals,
                         const RunningExtremes &running) {
  return running.burst_index >= 0 && !AnyNull(crossovers, intervals, running.min, running.max);
}

// Measures value_of(period) for each period.
template <class Rule, class ValueOf>
VomoStatus MeasureIntervals(const VomoCrossoverData *crossovers, const double *intervals,
                            const RunningExtremes &running, ValueOf value_of) {
  if (!CanMeasureIntervals(crossovers, intervals, running)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return MeasurePeriods<Rule>(*crossovers, running, [&](uint32_t j, double *value) {
    *value = value_of(PeriodAt(intervals, j));
    return Vomo_STATUS_SUCCESS;
  });
}

// Measures value_of(lowest sample, highest sample) for each period.
template <class Rule, class ValueOf>
VomoStatus MeasureSamples(const VomoWaveform *waveform, const uint32_t *bounds,
                          const VomoCrossoverData *crossovers, const RunningExtremes &running,
                          ValueOf value_of) {
  if (!IsReadable(waveform) || !HasTimes(crossovers) || running.burst_index < 0 ||
      AnyNull(bounds, running.min, running.max)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const double *times = crossovers->pdTimes;
  const auto measure = [&](uint32_t j, typename Rule::Value *value) -> VomoStatus {
    uint32_t first, last;
    if (!SampleAt(*waveform, times[2 * uint64_t{j}], &first) ||
        !SampleAt(*waveform, times[2 * uint64_t{j} + 2], &last)) {
      return Vomo_STATUS_PARAM_OUT_OF_RANGE;
    }
    float lowest = 0.0f, highest = 0.0f;
    const VomoStatus status = VomoFIND_MIN_MAX_FLOAT(waveform->pfSamples, first, last, &lowest,
                                                     nullptr, &highest, nullptr);
    *value = value_of(lowest, highest);
    return status;
  };
  return MeasurePeriods<Rule>(*crossovers, running, measure);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_LF_AMPLITUDE(int32_t iBurstIndex, const VomoWaveform *psWaveform,
                                        const uint32_t *pulBounds,
                                        const VomoCrossoverData *psCrossovers, double *pdMin,
                                        double *pdMax) noexcept {
  return MeasureSamples<AmplitudeRule>(psWaveform, pulBounds, psCrossovers,
                                       {iBurstIndex, pdMin, pdMax},
                                       [](float lowest, float highest) {
                                         return Swing{std::fabs(lowest), highest};
                                       });
}

extern "C" VomoStatus Vomo_LF_VOLTAGE_PP(int32_t iBurstIndex, const VomoWaveform *psWaveform,
                                         const uint32_t *pulBounds,
                                         const VomoCrossoverData *psCrossovers, double *pdMin,
                                         double *pdMax) noexcept {
  return MeasureSamples<VoltageRule>(psWaveform, pulBounds, psCrossovers,
                                     {iBurstIndex, pdMin, pdMax},
                                     [](float lowest, float highest) { return highest - lowest; });
}

extern "C" VomoStatus Vomo_LF_PERIOD(int32_t iBurstIndex, const VomoCrossoverData *psCrossovers,
                                     const double *pdIntervals, double *pdMean, double *pdMin,
                                     double *pdMax) noexcept {
  const RunningExtremes running{iBurstIndex, pdMin, pdMax};
  if (!CanMeasureIntervals(psCrossovers, pdIntervals, running) || pdMean == nullptr) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  *pdMean = MeanPeriod(pdIntervals, PeriodCount(*psCrossovers));
  return MeasureIntervals<PeriodRule>(psCrossovers, pdIntervals, running,
                                      [](Period period) { return period.Length(); });
}

extern "C" VomoStatus Vomo_LF_BIT_DURATION_TOLERANCE(int32_t iBurstIndex, int32_t iMinPeriods,
                                                     int32_t iAveragePeriods,
                                                     const VomoCrossoverData *psCrossovers,
                                                     const double *pdIntervals, double *pdMin,
                                                     double *pdMax) noexcept {
  const RunningExtremes running{iBurstIndex, pdMin, pdMax};
  if (!CanMeasureIntervals(psCrossovers, pdIntervals, running) || iMinPeriods < 1 ||
      iAveragePeriods < iMinPeriods) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const uint32_t periods = PeriodCount(*psCrossovers);
  if (periods < static_cast<uint32_t>(iMinPeriods)) return Vomo_STATUS_COMPUTATION_ERROR;
  const double mean_s =
      MeanPeriod(pdIntervals, std::min(periods, static_cast<uint32_t>(iAveragePeriods)));
  return MeasureIntervals<BitDurationRule>(
      psCrossovers, pdIntervals, running,
      [mean_s](Period period) { return period.Length() / mean_s; });
}

extern "C" VomoStatus Vomo_LF_DUTY_CYCLE(int32_t iBurstIndex, const VomoCrossoverData *psCrossovers,
                                         const double *pdIntervals, int32_t iFirstEdgeRising,
                                         double *pdMin, double *pdMax) noexcept {
  if (iFirstEdgeRising != 0 && iFirstEdgeRising != 1) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return MeasureIntervals<DutyCycleRule>(
      psCrossovers, pdIntervals, {iBurstIndex, pdMin, pdMax}, [iFirstEdgeRising](Period period) {
        const double high_s = iFirstEdgeRising == 1 ? period.first : period.second;
        return 100.0 * high_s / period.Length();
      });
}

extern "C" VomoStatus Vomo_LF_MINOR_DURATION(int32_t iBurstIndex,
                                             const VomoCrossoverData *psCrossovers,
                                             const double *pdIntervals, double *pdMin,
                                             double *pdMax) noexcept {
  return MeasureIntervals<MinorDurationRule>(psCrossovers, pdIntervals, {iBurstIndex, pdMin, pdMax},
                                             [](Period period) { return period.Shorter(); });
}

extern "C" VomoStatus Vomo_LF_TRANSMIT_RATIO(int32_t iBurstIndex,
                                             const VomoCrossoverData *psCrossovers,
                                             const double *pdIntervals, double *pdMin,
                                             double *pdMax) noexcept {
  return MeasureIntervals<TransmitRatioRule>(
      psCrossovers, pdIntervals, {iBurstIndex, pdMin, pdMax},
      [](Period period) { return period.Longer() / period.Shorter(); });
}
