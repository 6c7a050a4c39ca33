// Array-producing members of the array family: a sub-range in, a new block out.
#include <cmath>

#include "core/array_range.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

template <class T>
using Binary = int32_t (*)(const T *, const T *, T *, int32_t);

// Element-wise combination of two ranges. What the operation says is not tested: the arguments it
// could object to have been tested here.
template <class T>
VomoStatus Combine(Binary<T> operation, const T *a, const T *b, IndexRange range, T **out,
                   VomoHandle *handle) noexcept {
  if (a == nullptr || b == nullptr || !range.HoldsSeveral() || out == nullptr ||
      handle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    auto result = BlockOf<T>::Allocate(range.Count());
    operation(a + range.first, b + range.first, result.get(), range.SignedCount());
    result.Deliver(out, handle);
    return Vomo_STATUS_SUCCESS;
  });
}

// A block filled from one source by fill(source, destination, count), which says success or not.
template <class T, class Fill>
VomoStatus Transform(const T *source, IndexRange range, T **out, VomoHandle *handle,
                     Fill &&fill) noexcept {
  if (source == nullptr || !range.HoldsSeveral() || out == nullptr || handle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    auto result = BlockOf<T>::Allocate(range.Count());
    const VomoStatus status = fill(source + range.first, result.get(), range.Count());
    if (status == Vomo_STATUS_SUCCESS) result.Deliver(out, handle);
    return status;
  });
}

template <class T>
VomoStatus MultiplyInPlace(int32_t (*operation)(const T *, T *, int32_t), T *a, const T *b,
                           IndexRange range, int32_t *primitive_status) {
  if (a == nullptr || b == nullptr || !range.HoldsSeveral()) return Vomo_STATUS_PARAM_NOT_VALID;
  *primitive_status = operation(b + range.first, a + range.first, range.SignedCount());
  return Vomo_STATUS_SUCCESS;
}

VomoStatus RunningSum(const double *source, double *sums, uint32_t count) {
  double sum = 0.0;
  for (uint32_t i = 0; i < count; ++i) sums[i] = sum += source[i];
  return Vomo_STATUS_SUCCESS;
}

VomoStatus Log10Doubles(const double *source, double *logarithms, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) logarithms[i] = std::log10(source[i]);
  return Vomo_STATUS_SUCCESS;
}

// A warning about an element is a failure here, unlike in the double form.
VomoStatus Log10Floats(const float *source, float *logarithms, uint32_t count) {
  const int32_t result = VecLog10_32f(source, logarithms, static_cast<int32_t>(count));
  return result == 0 ? Vomo_STATUS_SUCCESS
                     : PrimitiveFailure(result, Vomo_STATUS_COMPUTATION_ERROR);
}

// a - b: the primitive subtracts its first array from its second.
int32_t FirstMinusSecond(const double *a, const double *b, double *out, int32_t count) {
  return VecSub_64f(b, a, out, count);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoACCUMULATE_ARRAY(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                           double **ppOut, VomoHandle *phOut) noexcept {
  return Transform(pdSource, {ulBegin, ulEnd}, ppOut, phOut, RunningSum);
}

extern "C" VomoStatus VomoADD_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                   const VomoComplexDouble *pB, uint32_t ulBegin,
                                                   uint32_t ulEnd, VomoComplexDouble **ppOut,
                                                   VomoHandle *phOut) noexcept {
  return Combine<VomoComplexDouble>(VecAdd_64fc, pA, pB, {ulBegin, ulEnd}, ppOut, phOut);
}

extern "C" VomoStatus VomoADD_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                  const VomoComplexFloat *pB, uint32_t ulBegin,
                                                  uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                  VomoHandle *phOut) noexcept {
  return Combine<VomoComplexFloat>(VecAdd_32fc, pA, pB, {ulBegin, ulEnd}, ppOut, phOut);
}

extern "C" VomoStatus VomoSUBTRACT_ARRAYS(const double *pA, const double *pB, uint32_t ulBegin,
                                          uint32_t ulEnd, double **ppOut,
                                          VomoHandle *phOut) noexcept {
  return Combine<double>(FirstMinusSecond, pA, pB, {ulBegin, ulEnd}, ppOut, phOut);
}

// The complex differences are second minus first, unlike the real one.
extern "C" VomoStatus VomoSUBTRACT_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                        const VomoComplexDouble *pB,
                                                        uint32_t ulBegin, uint32_t ulEnd,
                                                        VomoComplexDouble **ppOut,
                                                        VomoHandle *phOut) noexcept {
  return Combine<VomoComplexDouble>(VecSub_64fc, pA, pB, {ulBegin, ulEnd}, ppOut, phOut);
}

extern "C" VomoStatus VomoSUBTRACT_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                       const VomoComplexFloat *pB, uint32_t ulBegin,
                                                       uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                       VomoHandle *phOut) noexcept {
  return Combine<VomoComplexFloat>(VecSub_32fc, pA, pB, {ulBegin, ulEnd}, ppOut, phOut);
}

extern "C" VomoStatus VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                        const VomoComplexDouble *pB,
                                                        uint32_t ulBegin, uint32_t ulEnd,
                                                        VomoComplexDouble **ppOut,
                                                        VomoHandle *phOut) noexcept {
  return Combine<VomoComplexDouble>(VecMul_64fc, pA, pB, {ulBegin, ulEnd}, ppOut, phOut);
}

extern "C" VomoStatus VomoMULTIPLY_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                       const VomoComplexFloat *pB, uint32_t ulBegin,
                                                       uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                       VomoHandle *phOut) noexcept {
  return Combine<VomoComplexFloat>(VecMul_32fc, pA, pB, {ulBegin, ulEnd}, ppOut, phOut);
}

extern "C" VomoStatus VomoLOG10_DOUBLE_ARRAY(const double *pdSource, uint32_t ulBegin,
                                             uint32_t ulEnd, double **ppOut,
                                             VomoHandle *phOut) noexcept {
  return Transform(pdSource, {ulBegin, ulEnd}, ppOut, phOut, Log10Doubles);
}

extern "C" VomoStatus VomoLOG10_FLOAT_ARRAY(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                            float **ppOut, VomoHandle *phOut) noexcept {
  return Transform(pfSource, {ulBegin, ulEnd}, ppOut, phOut, Log10Floats);
}

extern "C" VomoStatus VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY_INPLACE(VomoComplexDouble *pA,
                                                                const VomoComplexDouble *pB,
                                                                uint32_t ulBegin,
                                                                uint32_t ulEnd) noexcept {
  int32_t primitive = 0;
  const VomoStatus status =
      MultiplyInPlace(VecMulInPlace_64fc, pA, pB, {ulBegin, ulEnd}, &primitive);
  return primitive == 0 ? status : PrimitiveFailure(primitive, Vomo_STATUS_COMPUTATION_ERROR);
}

// Success whatever the primitive says, unlike the double form.
extern "C" VomoStatus VomoMULTIPLY_COMPLEX_FLOAT_ARRAY_INPLACE(VomoComplexFloat *pA,
                                                               const VomoComplexFloat *pB,
                                                               uint32_t ulBegin,
                                                               uint32_t ulEnd) noexcept {
  int32_t ignored = 0;
  return MultiplyInPlace(VecMulInPlace_32fc, pA, pB, {ulBegin, ulEnd}, &ignored);
}

extern "C" VomoStatus VomoGET_MAGNITUDE(const VomoComplexDouble *pComplexSource, uint32_t ulCount,
                                        double **ppdOut, VomoHandle *phOut) noexcept {
  if (pComplexSource == nullptr || ppdOut == nullptr || phOut == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulCount == 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    auto magnitudes = BlockOf<double>::Allocate(ulCount);
    const int32_t result =
        VecMagnitude_64fc(pComplexSource, magnitudes.get(), static_cast<int32_t>(ulCount));
    if (result != 0) return PrimitiveFailure(result, Vomo_STATUS_COMPUTATION_ERROR);
    magnitudes.Deliver(ppdOut, phOut);
    return Vomo_STATUS_SUCCESS;
  });
}
