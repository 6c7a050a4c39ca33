// Means, extremes and deviations of a sub-range.
#include "core/array_range.h"
#include "core/boundary.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

constexpr int32_t kAccurate = 2;

VomoStatus FromPrimitive(int32_t result) {
  return result == 0 ? Vomo_STATUS_SUCCESS
                     : PrimitiveFailure(result, Vomo_STATUS_COMPUTATION_ERROR);
}

// Runs reduce(source, count, &result) over the range and writes the result on success.
template <class T, class Reduce>
VomoStatus ReduceTo(T *result, const T *source, IndexRange range, Reduce &&reduce) {
  if (result == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  T value{};
  // A NULL source is left for the primitive to refuse.
  const T *begin = source == nullptr ? nullptr : source + range.first;
  const VomoStatus status = FromPrimitive(reduce(begin, range.SignedCount(), &value));
  if (status == Vomo_STATUS_SUCCESS) *result = value;
  return status;
}

template <class T>
bool CanReduce(const T *source, IndexRange range) {
  return source != nullptr && range.IsOrdered();
}

template <class T>
void WriteIfWanted(T *output, T value) {
  if (output != nullptr) *output = value;
}

template <class T>
VomoStatus FindExtremes(int32_t (*search)(const T *, int32_t, T *, int32_t *, T *, int32_t *),
                        const T *source, IndexRange range, T *minimum, uint32_t *minimum_index,
                        T *maximum, uint32_t *maximum_index) {
  if (!CanReduce(source, range)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  T low{}, high{};
  int32_t low_index = 0, high_index = 0;
  const VomoStatus status = FromPrimitive(
      search(source + range.first, range.SignedCount(), &low, &low_index, &high, &high_index));
  if (status != Vomo_STATUS_SUCCESS) return status;
  WriteIfWanted(minimum, low);
  WriteIfWanted(minimum_index, static_cast<uint32_t>(low_index));
  WriteIfWanted(maximum, high);
  WriteIfWanted(maximum_index, static_cast<uint32_t>(high_index));
  return Vomo_STATUS_SUCCESS;
}

int32_t AccurateMean(const float *source, int32_t count, float *mean) {
  return VecMean_32f(source, count, mean, kAccurate);
}

int32_t AccurateStdDev(const float *source, int32_t count, float *deviation) {
  return VecStdDev_32f(source, count, deviation, kAccurate);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIND_MEAN_DOUBLE(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                           double *pdMean) noexcept {
  const IndexRange range{ulBegin, ulEnd};
  if (!CanReduce(pdSource, range)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return ReduceTo(pdMean, pdSource, range, VecMean_64f);
}

extern "C" VomoStatus VomoFIND_MEAN_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                          float *pfMean) noexcept {
  const IndexRange range{ulBegin, ulEnd};
  if (!CanReduce(pfSource, range)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return ReduceTo(pfMean, pfSource, range, AccurateMean);
}

extern "C" VomoStatus VomoFIND_MIN_MAX_DOUBLE(const double *pdSource, uint32_t ulBegin,
                                              uint32_t ulEnd, double *pdMin, uint32_t *pulMinIndex,
                                              double *pdMax, uint32_t *pulMaxIndex) noexcept {
  return FindExtremes(VecMinMaxIndex_64f, pdSource, {ulBegin, ulEnd}, pdMin, pulMinIndex, pdMax,
                      pulMaxIndex);
}

extern "C" VomoStatus VomoFIND_MIN_MAX_FLOAT(const float *pfSource, uint32_t ulBegin,
                                             uint32_t ulEnd, float *pfMin, uint32_t *pulMinIndex,
                                             float *pfMax, uint32_t *pulMaxIndex) noexcept {
  return FindExtremes(VecMinMaxIndex_32f, pfSource, {ulBegin, ulEnd}, pfMin, pulMinIndex, pfMax,
                      pulMaxIndex);
}

extern "C" VomoStatus VomoFIND_STD_DEV_DOUBLE(const double *pdSource, uint32_t ulBegin,
                                              uint32_t ulEnd, double *pdStdDev) noexcept {
  const IndexRange range{ulBegin, ulEnd};
  if (pdSource == nullptr || !range.HoldsSeveral()) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReduceTo(pdStdDev, pdSource, range, VecStdDev_64f);
}

// No test of its own: the primitive refuses a NULL source and a range below two elements.
extern "C" VomoStatus VomoFIND_STD_DEV_FLOAT(const float *pfSource, uint32_t ulBegin,
                                             uint32_t ulEnd, float *pfStdDev) noexcept {
  return ReduceTo(pfStdDev, pfSource, {ulBegin, ulEnd}, AccurateStdDev);
}
