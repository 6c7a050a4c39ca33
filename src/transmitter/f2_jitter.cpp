// Even-odd jitter at half the bit rate, as a transmitter with two phases makes it.
#include "core/status.h"

#include <vomo.h>

#include <cstdint>

namespace vomo {
namespace {

// Sums of the spacings that begin at even and at odd bit positions.
struct ClassSums {
  double even = 0.0, odd = 0.0, total = 0.0;
  uint32_t even_count = 0, odd_count = 0;

  void Add(double spacing_s, bool is_odd) {
    (is_odd ? odd : even) += spacing_s;
    ++(is_odd ? odd_count : even_count);
    total += spacing_s;
  }
};

// A spacing counts only between two runs of one bit. Its class is the bit position reached, which
// moves on by every run, used or not. The third time and the second run are read even when the
// count is 2.
ClassSums SumByBitPosition(const double *times, const uint16_t *run_lengths, uint32_t count) {
  ClassSums sums;
  uint32_t position = run_lengths[0];
  uint64_t j = 2;
  do {
    if (run_lengths[j - 2] == 1 && run_lengths[j - 1] == 1) {
      sums.Add(times[j] - times[j - 1], (position & 1u) != 0);
    }
    position += run_lengths[j - 1];
  } while (++j < count);
  return sums;
}

// Every crossover one bit after the other: the spacings alternate, from the third time on.
ClassSums SumAlternating(const double *times, uint32_t count) {
  ClassSums sums;
  for (uint32_t j = 2; j < count; ++j) sums.Add(times[j] - times[j - 1], j % 2 == 0);
  return sums;
}

float FloatQuotient(double sum, uint32_t count) {
  return static_cast<float>(sum) / static_cast<float>(count);
}

bool BadArguments(const double *times, const uint16_t *run_lengths, uint32_t count,
                  uint16_t run_length) {
  return count < 2 || times == nullptr || (run_lengths == nullptr && run_length != 1);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" int32_t Meas_Tx_Dj_FOver2(const double *pdTimes, const uint16_t *pusRunLengths,
                                     uint32_t ulOffset, uint32_t ulCount, uint16_t usRunLength,
                                     float *pfDj, float *pfEvenMean, float *pfOddMean,
                                     float *pfMean) noexcept {
  if (BadArguments(pdTimes, pusRunLengths, ulCount, usRunLength) || pfDj == nullptr) return 1;
  *pfDj = 0.0f;
  const ClassSums sums =
      pusRunLengths != nullptr
          ? SumByBitPosition(pdTimes + ulOffset, pusRunLengths + ulOffset, ulCount)
          : SumAlternating(pdTimes + ulOffset, ulCount);
  if (sums.even_count == 0 || sums.odd_count == 0) return 1;

  const float even_mean = FloatQuotient(sums.even, sums.even_count);
  const float odd_mean = FloatQuotient(sums.odd, sums.odd_count);
  *pfDj = even_mean - odd_mean;
  if (pfEvenMean != nullptr) *pfEvenMean = even_mean;
  if (pfOddMean != nullptr) *pfOddMean = odd_mean;
  if (pfMean != nullptr) *pfMean = FloatQuotient(sums.total, sums.even_count + sums.odd_count);
  return 0;
}

extern "C" VomoStatus VomoF_OVER2_Dj(const VomoCrossoverData *psClock, uint32_t ulFirst,
                                     uint32_t ulLast, const uint16_t *pusRunLengths,
                                     float *pfDj) noexcept {
  if (psClock == nullptr || pusRunLengths == nullptr || pfDj == nullptr || ulLast < ulFirst ||
      ulLast >= psClock->ulCount || ulLast - ulFirst < 2) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (psClock->pdTimes == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  float even_mean, odd_mean, mean;
  if (Meas_Tx_Dj_FOver2(psClock->pdTimes + ulFirst, pusRunLengths + ulFirst, 0, ulLast - ulFirst, 0,
                        pfDj, &even_mean, &odd_mean, &mean) != 0) {
    Vomo_Set_Error_Context("Error computing F/2 jitter.");
    return Vomo_STATUS_COMPUTATION_ERROR;
  }
  return Vomo_STATUS_SUCCESS;
}

extern "C" int32_t Modify_Dj_FOver2_Inplace_AllUIFrontTimes(double *pdTimes, uint32_t ulCount,
                                                            float fDj) noexcept {
  if (ulCount < 2 || pdTimes == nullptr) return 1;
  if (fDj == 0.0f) return 0;
  // Neighbouring edges move towards each other by half of the jitter.
  const double shift_s = static_cast<double>(fDj) * 0.25;
  for (uint32_t k = 0; k < ulCount; ++k) pdTimes[k] += k % 2 == 0 ? shift_s : -shift_s;
  return 0;
}

extern "C" int32_t Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(double *pdTimes,
                                                        const uint16_t *pusRunLengths,
                                                        uint32_t ulOffset, uint32_t ulCount,
                                                        uint16_t usRunLength, float fDj) noexcept {
  if (BadArguments(pdTimes, pusRunLengths, ulCount, usRunLength)) return 1;
  double *const times = pdTimes + ulOffset;
  if (pusRunLengths == nullptr)
    return Modify_Dj_FOver2_Inplace_AllUIFrontTimes(times, ulCount, fDj);
  if (fDj == 0.0f) return 0;
  const double shift_s = static_cast<double>(fDj) * 0.25;
  uint32_t position = 0;
  for (uint32_t k = 0; k < ulCount; ++k) {
    times[k] += position % 2 == 0 ? shift_s : -shift_s;
    position += pusRunLengths[uint64_t{ulOffset} + k];
  }
  return 0;
}
