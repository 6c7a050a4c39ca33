// Interval errors behind de-emphasised bits: an edge that starts from a smaller level crosses 0 V
// earlier than one that starts from the full one.
#include <vomo.h>

#include <cstdint>

namespace vomo {
namespace {

constexpr bool IsDeemphasised(uint8_t flag) {
  return (flag & CROSSOVER_DEEMPH) != 0;
}

// Over the places that are not de-emphasised; NaN without any.
double MeanOfOthers(const double *values, const uint8_t *flags, uint32_t first, uint32_t last) {
  double sum = 0.0;
  uint32_t count = 0;
  for (uint64_t k = first; k <= last; ++k) {
    if (IsDeemphasised(flags[k])) continue;
    sum += values[k];
    ++count;
  }
  return sum / count;
}

double HalfSwing(float high_v, float low_v) {
  const float swing_v = high_v - low_v;
  return double{swing_v} * 0.5;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_DERATE_DEMPHASIS_JITTER(VomoCrossoverData *psRunInfo,
                                                   const double *pdValues, uint32_t ulFirst,
                                                   uint32_t ulLast,
                                                   const float *pfVoltages) noexcept {
  if (psRunInfo == nullptr || pdValues == nullptr || pfVoltages == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (psRunInfo->ulCount < 2 || ulLast >= psRunInfo->ulCount || ulLast <= ulFirst) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  if (psRunInfo->pdTimes == nullptr || psRunInfo->pucFlags == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const double mean = MeanOfOthers(pdValues, psRunInfo->pucFlags, ulFirst, ulLast);
  const double full_v = HalfSwing(pfVoltages[0], pfVoltages[1]);
  const double steady_v = HalfSwing(pfVoltages[2], pfVoltages[3]);
  const double shift = (full_v - steady_v) * mean / (2 * (full_v + steady_v));
  for (uint64_t k = uint64_t{ulFirst} + 1; k <= ulLast; ++k) {
    if (IsDeemphasised(psRunInfo->pucFlags[k])) psRunInfo->pdTimes[k] += shift;
  }
  return Vomo_STATUS_SUCCESS;
}
