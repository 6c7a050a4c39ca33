// Crossover lists as gaps in seconds, as gaps less their mean, and as whole numbers of UI.
#include <cmath>

#include "core/array_range.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/status.h"
#include "primitives/vec.h"
#include "timing/crossover_block.h"

namespace vomo {
namespace {

// Whether the stretch from start to stop holds at least one gap of a list of the given length.
bool IsStretch(uint32_t count, uint32_t start, uint32_t stop) {
  return count >= 2 && stop < count && stop > start;
}

// The element whose begin is nearest to the time; at equal distance the later one. A time before
// the first element maps to it, one behind all to the last.
uint32_t FirstElementFrom(const VomoTwoPartCrossover *elements, uint32_t count, double begin_s) {
  uint32_t index = 0;
  while (index < count - 1 && begin_s > elements[index].dBegin) ++index;
  const bool moved = index > 0;
  if (moved && std::fabs(elements[index].dBegin - begin_s) >
                   std::fabs(begin_s - elements[index - 1].dBegin)) {
    --index;
  }
  return index;
}

// The element whose end is nearest to the time; at equal distance the earlier one.
uint32_t LastElementTo(const VomoTwoPartCrossover *elements, uint32_t count, double end_s) {
  uint32_t index = count - 1;
  while (index > 0 && elements[index].dEnd > end_s) --index;
  if (index < count - 1 && end_s - elements[index].dEnd > elements[index + 1].dEnd - end_s) {
    ++index;
  }
  return index;
}

struct Intervals {
  BlockOf<double> values;
  uint32_t count;
};

Intervals GapsBetween(const VomoCrossoverData &list, uint32_t start, uint32_t stop) {
  const uint32_t count = stop - start;
  Intervals result{BlockOf<double>::Allocate(count), count};
  const double *times = list.pdTimes + start;
  for (uint32_t k = 0; k < count; ++k) result.values[k] = times[k + 1] - times[k];
  return result;
}

// With two-part elements an interval is the span of one element, not a difference of neighbours.
VomoStatus SpansOfElements(const VomoCrossoverData &list, uint32_t start, uint32_t stop,
                           Intervals &result) {
  const double begin_s = list.pdTimes[start], end_s = list.pdTimes[stop];
  if (list.ulTwoPartCount == 0 || !(end_s > 0)) return Vomo_STATUS_PARAM_NOT_VALID;
  const VomoTwoPartCrossover *elements = list.psTwoPartArray;
  const uint32_t first = FirstElementFrom(elements, list.ulTwoPartCount, begin_s);
  const uint32_t last = LastElementTo(elements, list.ulTwoPartCount, end_s);
  if (last < first) return Vomo_STATUS_PARAM_NOT_VALID;
  result = {BlockOf<double>::Allocate(RangeCount(first, last)), RangeCount(first, last)};
  for (uint32_t k = 0; k < result.count; ++k) {
    result.values[k] = elements[first + k].dEnd - elements[first + k].dBegin;
  }
  return Vomo_STATUS_SUCCESS;
}

// A gap as whole UI: the low 16 bits of the rounded quotient, never 0. A quotient that is no 32-bit
// number counts as 0 and so becomes 1.
int16_t RunLengthOf(double gap_s, double unit_interval_s) {
  const double rounded = gap_s / unit_interval_s + 0.5;
  const bool fits = rounded > -2147483649.0 && rounded < 2147483648.0;
  const auto stored = static_cast<int16_t>(fits ? static_cast<int32_t>(rounded) : 0);
  return stored == 0 ? int16_t{1} : stored;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_CONVERT_CROSSOVER_TO_INTERVAL(const VomoCrossoverData *psCrossovers,
                                                         uint32_t ulStartIdx, uint32_t ulStopIdx,
                                                         uint32_t *pulIntervalCount,
                                                         double **ppdIntervals,
                                                         VomoHandle *phIntervals) noexcept {
  if (!HasTimes(psCrossovers) || pulIntervalCount == nullptr || ppdIntervals == nullptr ||
      phIntervals == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (!IsStretch(psCrossovers->ulCount, ulStartIdx, ulStopIdx)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Guarded([&] {
    Intervals intervals{};
    if (psCrossovers->psTwoPartArray == nullptr) {
      intervals = GapsBetween(*psCrossovers, ulStartIdx, ulStopIdx);
    } else {
      const VomoStatus status = SpansOfElements(*psCrossovers, ulStartIdx, ulStopIdx, intervals);
      if (Vomo_STATUS_IS_ERROR(status)) return status;
    }
    intervals.values.Deliver(ppdIntervals, phIntervals);
    *pulIntervalCount = intervals.count;
    return Vomo_STATUS_SUCCESS;
  });
}

extern "C" VomoStatus Vomo_FIND_INTERVAL_ERROR(uint32_t ulIntervalCount, const double *pdIntervals,
                                               uint32_t ulStartIdx, uint32_t ulStopIdx,
                                               uint32_t *pulErrorCount, double **ppdErrors,
                                               VomoHandle *phErrors) noexcept {
  if (pdIntervals == nullptr || pulErrorCount == nullptr || ppdErrors == nullptr ||
      phErrors == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (!IsStretch(ulIntervalCount, ulStartIdx, ulStopIdx)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    const IndexRange range{ulStartIdx, ulStopIdx};
    auto errors = BlockOf<double>::Allocate(range.Count());
    const double *intervals = pdIntervals + ulStartIdx;
    double mean = 0.0;
    int32_t primitive = VecMean_64f(intervals, range.SignedCount(), &mean);
    if (primitive == 0) {
      primitive = VecSubConst_64f(intervals, mean, errors.get(), range.SignedCount());
    }
    if (primitive != 0) return PrimitiveFailure(primitive, Vomo_STATUS_COMPUTATION_ERROR);
    errors.Deliver(ppdErrors, phErrors);
    *pulErrorCount = range.Count();
    return Vomo_STATUS_SUCCESS;
  });
}

extern "C" VomoStatus VomoFIND_RUN_LENGTHS(const VomoCrossoverData *psCrossovers,
                                           double dUnitInterval, int16_t **ppsRunLengths,
                                           VomoHandle *phRunLengths) noexcept {
  if (!HasTimes(psCrossovers) || phRunLengths == nullptr || ppsRunLengths == nullptr ||
      !(dUnitInterval > 0) || psCrossovers->ulCount == 0) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    const uint32_t count = psCrossovers->ulCount - 1;
    const bool own_array = *ppsRunLengths == nullptr;
    BlockOf<int16_t> block;
    if (own_array && count > 0) block = BlockOf<int16_t>::Allocate(count);
    int16_t *run_lengths = own_array ? block.get() : *ppsRunLengths;
    for (uint32_t i = 0; i < count; ++i) {
      run_lengths[i] =
          RunLengthOf(psCrossovers->pdTimes[i + 1] - psCrossovers->pdTimes[i], dUnitInterval);
    }
    // One crossover has no gap: its array is empty, NULL and handle 0.
    if (own_array) block.Deliver(ppsRunLengths, phRunLengths);
    return Vomo_STATUS_SUCCESS;
  });
}
