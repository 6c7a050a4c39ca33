#include "primitives/vec.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "primitives/erf_inverse.h"
#include "primitives/kernels.h"
#include "primitives/status_text.h"

namespace vomo {
namespace {

template <class T>
bool IsNull(T *pointer) {
  return pointer == nullptr;
}
template <class T>
bool IsNull(T) {
  return false;
}

// Length and pointers, the tests that come first; arguments of other kinds pass.
template <class... Arguments>
int32_t CheckArguments(int32_t length, Arguments... arguments) {
  if (length <= 0) return kSizeError;
  if ((IsNull(arguments) || ...)) return kNullPtrError;
  return kNoError;
}

// Kernels take complex arrays as their scalars; everything else as it is.
const float *ForKernel(const VomoComplexFloat *p) {
  return reinterpret_cast<const float *>(p);
}
const double *ForKernel(const VomoComplexDouble *p) {
  return reinterpret_cast<const double *>(p);
}
float *ForKernel(VomoComplexFloat *p) {
  return reinterpret_cast<float *>(p);
}
double *ForKernel(VomoComplexDouble *p) {
  return reinterpret_cast<double *>(p);
}
template <class T>
T ForKernel(T argument) {
  return argument;
}

// Tests length and pointers, then runs the kernel of the level in use over the arguments.
// scalars_per_element is 2 where a kernel for real arrays serves complex ones.
template <class Kernel, class... Arguments>
int32_t RunScalars(int scalars_per_element, Kernel Kernels::*kernel, int32_t length,
                   Arguments... arguments) {
  if (const int32_t status = CheckArguments(length, arguments...)) return status;
  (ActiveKernels().*kernel)(ForKernel(arguments)..., int64_t{length} * scalars_per_element);
  return kNoError;
}
template <class Kernel, class... Arguments>
int32_t Run(Kernel Kernels::*kernel, int32_t length, Arguments... arguments) {
  return RunScalars(1, kernel, length, arguments...);
}

template <class T, class Complex>
int32_t ToComplex(BinaryKernel<T> Kernels::*kernel, const T *re, const T *im, Complex *dst,
                  int32_t length) {
  if (length <= 0) return kSizeError;
  if (dst == nullptr || (re == nullptr && im == nullptr)) return kNullPtrError;
  (ActiveKernels().*kernel)(re, im, ForKernel(dst), length);
  return kNoError;
}

// One reciprocal instead of a division for each element.
template <class T>
int32_t DivideByConstant(ConstantKernel<T> Kernels::*scale, T value, T *srcdst, int32_t length) {
  if (const int32_t status = CheckArguments(length, srcdst)) return status;
  if (value == 0) return kDivByZeroError;
  (ActiveKernels().*scale)(srcdst, T{1} / value, srcdst, length);
  return kNoError;
}

template <class T, class Complex>
int32_t DivideByConstant(ComplexConstantKernel<T> Kernels::*divide, const Complex *src, T re, T im,
                         Complex *dst, int32_t length) {
  if (const int32_t status = CheckArguments(length, src, dst)) return status;
  if (re == 0 && im == 0) return kDivByZeroError;
  (ActiveKernels().*divide)(ForKernel(src), re, im, ForKernel(dst), length);
  return kNoError;
}

// The warning of a logarithm, which its first zero or negative element decides.
template <class T>
int32_t LogarithmWarning(SearchKernel<T> Kernels::*first_not_positive, const T *src,
                         int32_t length) {
  const int64_t first = (ActiveKernels().*first_not_positive)(src, length);
  if (first == length) return kNoError;
  return src[first] == 0 ? kSingularityWarning : kDomainWarning;
}

double NaturalLogarithm(double x) {
  return x < 0 ? std::numeric_limits<double>::quiet_NaN() : std::log(x);
}

template <class T>
int32_t Sum(SumKernel<T> Kernels::*sum, const T *src, int32_t length, T *result, double scale) {
  if (const int32_t status = CheckArguments(length, src, result)) return status;
  *result = static_cast<T>((ActiveKernels().*sum)(src, length) / scale);
  return kNoError;
}

template <class T>
int32_t IntegerSum(IntegerSumKernel<T> Kernels::*sum, const T *src, int32_t length, int32_t *result,
                   int32_t scale) {
  if (const int32_t status = CheckArguments(length, src, result)) return status;
  if (scale < 0 || scale > 63) return kBadArgError;
  using Limits = std::numeric_limits<int32_t>;
  const int64_t scaled = (ActiveKernels().*sum)(src, length) >> scale;
  *result = static_cast<int32_t>(std::clamp<int64_t>(scaled, Limits::min(), Limits::max()));
  return kNoError;
}

template <class T>
int32_t StandardDeviation(SumKernel<T> Kernels::*sum,
                          SquaredDeviationKernel<T> Kernels::*squared_deviations, const T *src,
                          int32_t length, T *result) {
  if (length < 2) return kSizeError;
  if (const int32_t status = CheckArguments(length, src, result)) return status;
  const Kernels &kernels = ActiveKernels();
  const double mean = (kernels.*sum)(src, length) / length;
  const double squares = (kernels.*squared_deviations)(src, mean, length);
  *result = static_cast<T>(std::sqrt(squares / (length - 1)));
  return kNoError;
}

template <class T>
struct Extreme {
  T value;
  int32_t index;
};
template <class T>
struct Extremes {
  Extreme<T> min, max;
};

template <class T>
Extremes<T> FindExtremes(ExtremesKernel<T> Kernels::*kernel, const T *src, int32_t length) {
  int64_t min_index, max_index;
  (ActiveKernels().*kernel)(src, length, &min_index, &max_index);
  return {{src[min_index], static_cast<int32_t>(min_index)},
          {src[max_index], static_cast<int32_t>(max_index)}};
}

template <class T>
int32_t MinMax(ExtremesKernel<T> Kernels::*kernel, const T *src, int32_t length, T *min, T *max) {
  if (const int32_t status = CheckArguments(length, src, min, max)) return status;
  const Extremes<T> found = FindExtremes(kernel, src, length);
  *min = found.min.value;
  *max = found.max.value;
  return kNoError;
}

template <class T>
int32_t MinMaxIndex(ExtremesKernel<T> Kernels::*kernel, const T *src, int32_t length, T *min,
                    int32_t *min_index, T *max, int32_t *max_index) {
  if (const int32_t status = CheckArguments(length, src, min, min_index, max, max_index)) {
    return status;
  }
  const Extremes<T> found = FindExtremes(kernel, src, length);
  *min = found.min.value;
  *min_index = found.min.index;
  *max = found.max.value;
  *max_index = found.max.index;
  return kNoError;
}

}  // namespace

int32_t VecSet_32f(float value, float *pDst, int32_t iLen) {
  return Run(&Kernels::set_32f, iLen, value, pDst);
}
int32_t VecSet_64f(double value, double *pDst, int32_t iLen) {
  return Run(&Kernels::set_64f, iLen, value, pDst);
}
int32_t VecCopy_32f(const float *pSrc, float *pDst, int32_t iLen) {
  if (const int32_t status = CheckArguments(iLen, pSrc, pDst)) return status;
  std::memmove(pDst, pSrc, static_cast<std::size_t>(iLen) * sizeof(float));
  return kNoError;
}
int32_t VecConvert_32f64f(const float *pSrc, double *pDst, int32_t iLen) {
  return Run(&Kernels::widen, iLen, pSrc, pDst);
}
int32_t VecConvert_64f32f(const double *pSrc, float *pDst, int32_t iLen) {
  return Run(&Kernels::narrow, iLen, pSrc, pDst);
}
int32_t VecToComplex_32f(const float *pRe, const float *pIm, VomoComplexFloat *pDst, int32_t iLen) {
  return ToComplex(&Kernels::to_complex_32f, pRe, pIm, pDst, iLen);
}
int32_t VecToComplex_64f(const double *pRe, const double *pIm, VomoComplexDouble *pDst,
                         int32_t iLen) {
  return ToComplex(&Kernels::to_complex_64f, pRe, pIm, pDst, iLen);
}
int32_t VecRamp_64f(double *pDst, int32_t iLen, float fOffset, float fSlope) {
  return Run(&Kernels::ramp, iLen, pDst, double{fOffset}, double{fSlope});
}

int32_t VecAdd_32f(const float *pA, const float *pB, float *pDst, int32_t iLen) {
  return Run(&Kernels::add_32f, iLen, pA, pB, pDst);
}
int32_t VecAdd_32fc(const VomoComplexFloat *pA, const VomoComplexFloat *pB, VomoComplexFloat *pDst,
                    int32_t iLen) {
  return RunScalars(2, &Kernels::add_32f, iLen, pA, pB, pDst);
}
int32_t VecAdd_64fc(const VomoComplexDouble *pA, const VomoComplexDouble *pB,
                    VomoComplexDouble *pDst, int32_t iLen) {
  return RunScalars(2, &Kernels::add_64f, iLen, pA, pB, pDst);
}
int32_t VecAddInPlace_32f(const float *pSrc, float *pSrcDst, int32_t iLen) {
  return VecAdd_32f(pSrcDst, pSrc, pSrcDst, iLen);
}
int32_t VecAddInPlace_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pSrcDst,
                           int32_t iLen) {
  return VecAdd_64fc(pSrcDst, pSrc, pSrcDst, iLen);
}
int32_t VecSub_32f(const float *pA, const float *pB, float *pDst, int32_t iLen) {
  return Run(&Kernels::subtract_32f, iLen, pA, pB, pDst);
}
int32_t VecSub_64f(const double *pA, const double *pB, double *pDst, int32_t iLen) {
  return Run(&Kernels::subtract_64f, iLen, pA, pB, pDst);
}
int32_t VecSub_32fc(const VomoComplexFloat *pA, const VomoComplexFloat *pB, VomoComplexFloat *pDst,
                    int32_t iLen) {
  return RunScalars(2, &Kernels::subtract_32f, iLen, pA, pB, pDst);
}
int32_t VecSub_64fc(const VomoComplexDouble *pA, const VomoComplexDouble *pB,
                    VomoComplexDouble *pDst, int32_t iLen) {
  return RunScalars(2, &Kernels::subtract_64f, iLen, pA, pB, pDst);
}
int32_t VecSubInPlace_32f(const float *pSrc, float *pSrcDst, int32_t iLen) {
  return VecSub_32f(pSrc, pSrcDst, pSrcDst, iLen);
}
int32_t VecMul_64f(const double *pA, const double *pB, double *pDst, int32_t iLen) {
  return Run(&Kernels::multiply_64f, iLen, pA, pB, pDst);
}
int32_t VecMul_32fc(const VomoComplexFloat *pA, const VomoComplexFloat *pB, VomoComplexFloat *pDst,
                    int32_t iLen) {
  return Run(&Kernels::multiply_32fc, iLen, pA, pB, pDst);
}
int32_t VecMul_64fc(const VomoComplexDouble *pA, const VomoComplexDouble *pB,
                    VomoComplexDouble *pDst, int32_t iLen) {
  return Run(&Kernels::multiply_64fc, iLen, pA, pB, pDst);
}
int32_t VecMulInPlace_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pSrcDst, int32_t iLen) {
  return VecMul_32fc(pSrcDst, pSrc, pSrcDst, iLen);
}
int32_t VecMulInPlace_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pSrcDst,
                           int32_t iLen) {
  return VecMul_64fc(pSrcDst, pSrc, pSrcDst, iLen);
}
int32_t VecDivInPlace_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pSrcDst,
                           int32_t iLen) {
  return Run(&Kernels::divide_64fc, iLen, static_cast<const VomoComplexDouble *>(pSrcDst), pSrc,
             pSrcDst);
}
int32_t VecSquare_64f(const double *pSrc, double *pDst, int32_t iLen) {
  return VecMul_64f(pSrc, pSrc, pDst, iLen);
}

int32_t VecScale_32f(const float *pSrc, float value, float *pDst, int32_t iLen) {
  return Run(&Kernels::scale_32f, iLen, pSrc, value, pDst);
}
int32_t VecScale_64f(const double *pSrc, double value, double *pDst, int32_t iLen) {
  return Run(&Kernels::scale_64f, iLen, pSrc, value, pDst);
}
int32_t VecScaleInPlace_32f(float value, float *pSrcDst, int32_t iLen) {
  return VecScale_32f(pSrcDst, value, pSrcDst, iLen);
}
int32_t VecScaleInPlace_64f(double value, double *pSrcDst, int32_t iLen) {
  return VecScale_64f(pSrcDst, value, pSrcDst, iLen);
}
int32_t VecScaleInPlace_32fc(VomoComplexFloat value, VomoComplexFloat *pSrcDst, int32_t iLen) {
  return Run(&Kernels::scale_32fc, iLen, pSrcDst, value.fRe, value.fIm, pSrcDst);
}
int32_t VecScaleInPlace_64fc(VomoComplexDouble value, VomoComplexDouble *pSrcDst, int32_t iLen) {
  return Run(&Kernels::scale_64fc, iLen, pSrcDst, value.dRe, value.dIm, pSrcDst);
}
int32_t VecDivConstInPlace_32f(float value, float *pSrcDst, int32_t iLen) {
  return DivideByConstant(&Kernels::scale_32f, value, pSrcDst, iLen);
}
int32_t VecDivConstInPlace_64f(double value, double *pSrcDst, int32_t iLen) {
  return DivideByConstant(&Kernels::scale_64f, value, pSrcDst, iLen);
}
int32_t VecDivConstInPlace_32fc(VomoComplexFloat value, VomoComplexFloat *pSrcDst, int32_t iLen) {
  return DivideByConstant(&Kernels::divide_const_32fc, pSrcDst, value.fRe, value.fIm, pSrcDst,
                          iLen);
}
int32_t VecDivConst_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble value,
                         VomoComplexDouble *pDst, int32_t iLen) {
  return DivideByConstant(&Kernels::divide_const_64fc, pSrc, value.dRe, value.dIm, pDst, iLen);
}
int32_t VecConstMinus_64f(const double *pSrc, double value, double *pDst, int32_t iLen) {
  return Run(&Kernels::const_minus_64f, iLen, pSrc, value, pDst);
}
int32_t VecSubConst_64f(const double *pSrc, double value, double *pDst, int32_t iLen) {
  return Run(&Kernels::add_const_64f, iLen, pSrc, -value, pDst);
}
int32_t VecSubConstInPlace_32f(float value, float *pSrcDst, int32_t iLen) {
  return Run(&Kernels::add_const_32f, iLen, pSrcDst, -value, pSrcDst);
}
int32_t VecSubConstInPlace_64f(double value, double *pSrcDst, int32_t iLen) {
  return VecSubConst_64f(pSrcDst, value, pSrcDst, iLen);
}
int32_t VecAddConstInPlace_64f(double value, double *pSrcDst, int32_t iLen) {
  return Run(&Kernels::add_const_64f, iLen, pSrcDst, value, pSrcDst);
}
int32_t VecAddConstInPlace_64fc(VomoComplexDouble value, VomoComplexDouble *pSrcDst, int32_t iLen) {
  return Run(&Kernels::add_const_64fc, iLen, pSrcDst, value.dRe, value.dIm, pSrcDst);
}

int32_t VecLnInPlace_64f(double *pSrcDst, int32_t iLen) {
  if (const int32_t status = CheckArguments(iLen, pSrcDst)) return status;
  const int32_t warning = LogarithmWarning(&Kernels::first_not_positive_64f, pSrcDst, iLen);
  std::transform(pSrcDst, pSrcDst + iLen, pSrcDst, NaturalLogarithm);
  return warning;
}
int32_t VecLog10_32f(const float *pSrc, float *pDst, int32_t iLen) {
  if (const int32_t status = CheckArguments(iLen, pSrc, pDst)) return status;
  const int32_t warning = LogarithmWarning(&Kernels::first_not_positive_32f, pSrc, iLen);
  ActiveKernels().log10_32f(pSrc, pDst, iLen);
  return warning;
}
int32_t VecErfInv_64f(const double *pSrc, double *pDst, int32_t iLen) {
  if (const int32_t status = CheckArguments(iLen, pSrc, pDst)) return status;
  std::transform(pSrc, pSrc + iLen, pDst, ErfInverse);
  return kNoError;
}
int32_t VecMagnitude_32fc(const VomoComplexFloat *pSrc, float *pDst, int32_t iLen) {
  return Run(&Kernels::magnitude_32fc, iLen, pSrc, pDst);
}
int32_t VecMagnitude_64fc(const VomoComplexDouble *pSrc, double *pDst, int32_t iLen) {
  return Run(&Kernels::magnitude_64fc, iLen, pSrc, pDst);
}
int32_t VecToPolar_32fc(const VomoComplexFloat *pSrc, float *pMagnitude, float *pPhase,
                        int32_t iLen) {
  if (const int32_t status = CheckArguments(iLen, pSrc, pMagnitude, pPhase)) return status;
  for (int32_t i = 0; i < iLen; ++i) {
    pPhase[i] = static_cast<float>(std::atan2(double{pSrc[i].fIm}, double{pSrc[i].fRe}));
  }
  return VecMagnitude_32fc(pSrc, pMagnitude, iLen);
}
int32_t VecFromPolar_32f(const float *pMagnitude, const float *pPhase, float *pRe, float *pIm,
                         int32_t iLen) {
  if (const int32_t status = CheckArguments(iLen, pMagnitude, pPhase, pRe, pIm)) return status;
  for (int32_t i = 0; i < iLen; ++i) {
    const double magnitude = pMagnitude[i], phase = pPhase[i];
    pRe[i] = static_cast<float>(magnitude * std::cos(phase));
    pIm[i] = static_cast<float>(magnitude * std::sin(phase));
  }
  return kNoError;
}
int32_t VecConjMirror_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pDst, int32_t iLen) {
  if (const int32_t status = CheckArguments(iLen, pSrc, pDst)) return status;
  // From both ends at once, so that an array can be mirrored onto itself.
  for (int32_t i = 0, j = iLen - 1; i <= j; ++i, --j) {
    const VomoComplexFloat first = pSrc[i], last = pSrc[j];
    pDst[i] = {last.fRe, -last.fIm};
    pDst[j] = {first.fRe, -first.fIm};
  }
  return kNoError;
}

int32_t VecMean_32f(const float *pSrc, int32_t iLen, float *pResult, int32_t) {
  return Sum(&Kernels::sum_32f, pSrc, iLen, pResult, iLen);
}
int32_t VecMean_64f(const double *pSrc, int32_t iLen, double *pResult) {
  return Sum(&Kernels::sum_64f, pSrc, iLen, pResult, iLen);
}
int32_t VecSum_64f(const double *pSrc, int32_t iLen, double *pResult) {
  return Sum(&Kernels::sum_64f, pSrc, iLen, pResult, 1);
}
int32_t VecSum_16s(const int16_t *pSrc, int32_t iLen, int32_t *pResult, int32_t iScale) {
  return IntegerSum(&Kernels::sum_16s, pSrc, iLen, pResult, iScale);
}
int32_t VecSum_32s(const int32_t *pSrc, int32_t iLen, int32_t *pResult, int32_t iScale) {
  return IntegerSum(&Kernels::sum_32s, pSrc, iLen, pResult, iScale);
}
int32_t VecMax_16s(const int16_t *pSrc, int32_t iLen, int16_t *pResult) {
  if (const int32_t status = CheckArguments(iLen, pSrc, pResult)) return status;
  *pResult = ActiveKernels().max_16s(pSrc, iLen);
  return kNoError;
}
int32_t VecMinMax_32f(const float *pSrc, int32_t iLen, float *pMin, float *pMax) {
  return MinMax(&Kernels::extremes_32f, pSrc, iLen, pMin, pMax);
}
int32_t VecMinMax_64f(const double *pSrc, int32_t iLen, double *pMin, double *pMax) {
  return MinMax(&Kernels::extremes_64f, pSrc, iLen, pMin, pMax);
}
int32_t VecMinMaxIndex_32f(const float *pSrc, int32_t iLen, float *pMin, int32_t *pMinIndex,
                           float *pMax, int32_t *pMaxIndex) {
  return MinMaxIndex(&Kernels::extremes_32f, pSrc, iLen, pMin, pMinIndex, pMax, pMaxIndex);
}
int32_t VecMinMaxIndex_64f(const double *pSrc, int32_t iLen, double *pMin, int32_t *pMinIndex,
                           double *pMax, int32_t *pMaxIndex) {
  return MinMaxIndex(&Kernels::extremes_64f, pSrc, iLen, pMin, pMinIndex, pMax, pMaxIndex);
}
int32_t VecStdDev_32f(const float *pSrc, int32_t iLen, float *pResult, int32_t) {
  return StandardDeviation(&Kernels::sum_32f, &Kernels::squared_deviations_32f, pSrc, iLen,
                           pResult);
}
int32_t VecStdDev_64f(const double *pSrc, int32_t iLen, double *pResult) {
  return StandardDeviation(&Kernels::sum_64f, &Kernels::squared_deviations_64f, pSrc, iLen,
                           pResult);
}

}  // namespace vomo
