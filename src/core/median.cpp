// Medians of a sub-range; the caller's array keeps its order.
#include <algorithm>
#include <cmath>

#include "core/array_range.h"
#include "core/boundary.h"
#include "core/handle_table.h"

namespace vomo {
namespace {

// The last even-count median of each type: what a range of wrapped count 0 gives.
struct LastEvenMedians {
  double of_doubles;
  float of_floats;
};

LastEvenMedians g_last_even{};

double &LastEven(const double *) {
  return g_last_even.of_doubles;
}
float &LastEven(const float *) {
  return g_last_even.of_floats;
}

// NaNs take no part in an order; behind all numbers they can do no harm.
template <class T>
bool NumbersFirst(T a, T b) {
  return std::isnan(b) ? !std::isnan(a) : a < b;
}

template <class T>
T MedianOf(T *values, uint32_t count) {
  T *const upper = values + count / 2;
  std::nth_element(values, upper, values + count, NumbersFirst<T>);
  if (count % 2 != 0) return *upper;
  const T lower = *std::max_element(values, upper, NumbersFirst<T>);
  return LastEven(values) = (lower + *upper) * T(0.5);
}

template <class T>
VomoStatus Vomo_Median(const T *source, IndexRange range, T *median) noexcept {
  if (source == nullptr || median == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  const uint32_t count = range.Count();
  if (count == 0) {
    *median = LastEven(source);
    return Vomo_STATUS_SUCCESS;
  }
  if (!range.IsOrdered()) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    Scratch<T> values(count);
    std::copy_n(source + range.first, count, values.get());
    *median = MedianOf(values.get(), count);
    return Vomo_STATUS_SUCCESS;
  });
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_MEDIAN_DOUBLE(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                         double *pdMedian) noexcept {
  return Vomo_Median(pdSource, {ulBegin, ulEnd}, pdMedian);
}

extern "C" VomoStatus Vomo_MEDIAN_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                        float *pfMedian) noexcept {
  return Vomo_Median(pfSource, {ulBegin, ulEnd}, pfMedian);
}
