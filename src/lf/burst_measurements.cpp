// The measurements of a burst that have one value for it: its times, its levels before it begins,
// its common mode, and the sense of its first edge.
#include <cmath>

#include "lf/arguments.h"
#include "lf/extremes.h"
#include "timing/crossover_block.h"

namespace vomo {
namespace {

// Time between two elements of the bounds, from burst 2 * iBurstIndex on. The difference of the
// indices wraps if they stand the other way round.
VomoStatus MeasureSpan(const RunningExtremes &running, double sample_interval_s,
                       const uint32_t *bounds, uint32_t elements_behind_start) {
  if (running.burst_index < 0 || AnyNull(bounds, running.min, running.max)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const uint32_t *start = bounds + 2 * static_cast<uint64_t>(running.burst_index);
  const uint32_t samples = start[elements_behind_start] - start[0];
  const auto time_s = static_cast<float>(samples * sample_interval_s);
  running.Fold({time_s, time_s});
  return Vomo_STATUS_SUCCESS;
}

// The three prepare values of a burst.
const double *PrepareOf(const double *prepare, int32_t burst_index) {
  return prepare + 3 * static_cast<uint64_t>(burst_index);
}

// Mean of the samples between two times. Both must truncate to indices inside the waveform, in
// order, which times that are not finite don't.
VomoStatus MeanBetween(const VomoWaveform &waveform, double from_s, double to_s, float *mean) {
  const double first = from_s / waveform.dSampleInterval, last = to_s / waveform.dSampleInterval;
  const auto inside = [&](double position) {
    return position > -1.0 && position < waveform.ulNumSamples;
  };
  if (!inside(first) || !inside(last)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return VomoFIND_MEAN_FLOAT(waveform.pfSamples, VomoToU32(first), VomoToU32(last), mean);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_LF_BURST_TIME(int32_t iBurstIndex, double dSampleInterval,
                                         const uint32_t *pulBounds, double *pdMin,
                                         double *pdMax) noexcept {
  return MeasureSpan({iBurstIndex, pdMin, pdMax}, dSampleInterval, pulBounds, 1);
}

extern "C" VomoStatus Vomo_LF_REPEAT_TIME(int32_t iBurstIndex, double dSampleInterval,
                                          const uint32_t *pulBounds, double *pdMin,
                                          double *pdMax) noexcept {
  return MeasureSpan({iBurstIndex, pdMin, pdMax}, dSampleInterval, pulBounds, 2);
}

extern "C" VomoStatus Vomo_LF_PREPARE_TIME(int32_t iBurstIndex, const double *pdPrepare,
                                           double *pdMin, double *pdMax) noexcept {
  if (iBurstIndex < 0 || AnyNull(pdPrepare, pdMin, pdMax)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const double *prepare = PrepareOf(pdPrepare, iBurstIndex);
  const double time_s = prepare[2] - prepare[1];
  RunningExtremes{iBurstIndex, pdMin, pdMax}.Fold({time_s, time_s});
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_LF_COMMON_MODE(int32_t iBurstIndex, const float *const *ppfCommonMode,
                                          uint32_t ulFirst, uint32_t ulLast,
                                          double *pdMax) noexcept {
  if (iBurstIndex < 0 || AnyNull(ppfCommonMode, pdMax) || *ppfCommonMode == nullptr ||
      ulFirst > ulLast) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  float lowest = 0.0f, highest = 0.0f;
  const VomoStatus status =
      VomoFIND_MIN_MAX_FLOAT(*ppfCommonMode, ulFirst, ulLast, &lowest, nullptr, &highest, nullptr);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const float range_v = highest - lowest;
  RunningExtremes{iBurstIndex, nullptr, pdMax}.Fold({range_v, range_v});
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_LF_DIFF_DC(int32_t iBurstIndex, const VomoWaveform *psWaveform,
                                      const double *pdPrepare, double dGuardStart, double dGuardEnd,
                                      float *pfLevelHigh, float *pfLevelLow, double *pdMin,
                                      double *pdMax) noexcept {
  if (iBurstIndex < 0 || !IsReadable(psWaveform) ||
      AnyNull(pdPrepare, pfLevelHigh, pfLevelLow, pdMin, pdMax)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const double *prepare = PrepareOf(pdPrepare, iBurstIndex);
  float high = 0.0f, low = 0.0f;
  VomoStatus status =
      MeanBetween(*psWaveform, prepare[1] + dGuardStart, prepare[2] - dGuardEnd, &high);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = MeanBetween(*psWaveform, prepare[0] + dGuardStart, prepare[1] - dGuardEnd, &low);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  *pfLevelHigh = high;
  *pfLevelLow = low;
  const float low_magnitude = std::fabs(low);
  RunningExtremes{iBurstIndex, pdMin, pdMax}.Fold(
      {std::min(high, low_magnitude), std::max(high, low_magnitude)});
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_LF_INITIAL_RISE_FALL(const VomoWaveform *psWaveform,
                                                const VomoCrossoverData *psCrossovers,
                                                int32_t iPolaritySampleOffset,
                                                int32_t *piFirstEdgeRising) noexcept {
  uint32_t edge;
  if (!IsReadable(psWaveform) || !HasTimes(psCrossovers) || psCrossovers->ulCount == 0 ||
      iPolaritySampleOffset < 1 || piFirstEdgeRising == nullptr ||
      !SampleAt(*psWaveform, psCrossovers->pdTimes[0], &edge)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const uint64_t index = uint64_t{edge} + static_cast<uint32_t>(iPolaritySampleOffset);
  if (index >= psWaveform->ulNumSamples) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const float sample = psWaveform->pfSamples[index];
  // A NaN tells no more than 0 V does.
  if (!(sample > 0) && !(sample < 0)) return Vomo_STATUS_COMPUTATION_ERROR;
  *piFirstEdgeRising = sample > 0 ? 1 : 0;
  return Vomo_STATUS_SUCCESS;
}
