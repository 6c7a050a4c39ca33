// The vector operations: loops over whole arrays, without state and without allocation.
//
// Each returns a status number (status_text.h). A length of 0 or below gives -6 and a NULL pointer
// -8, tested in this order before anything is written. Lengths count elements. Sources are not
// changed; a destination may be the very same array as a source, but not overlap it otherwise.
#ifndef VOMO_PRIMITIVES_VEC_H
#define VOMO_PRIMITIVES_VEC_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// Fill, copy and conversion.
int32_t VecSet_32f(float value, float *pDst, int32_t iLen);
int32_t VecSet_64f(double value, double *pDst, int32_t iLen);
int32_t VecCopy_32f(const float *pSrc, float *pDst, int32_t iLen);
int32_t VecConvert_32f64f(const float *pSrc, double *pDst, int32_t iLen);

// Rounds; beyond the float range the result is the largest float of that sign, not infinity.
int32_t VecConvert_64f32f(const double *pSrc, float *pDst, int32_t iLen);

// dst[i] = (re[i], im[i]); one of the two may be NULL, its part is then 0.
int32_t VecToComplex_32f(const float *pRe, const float *pIm, VomoComplexFloat *pDst, int32_t iLen);
int32_t VecToComplex_64f(const double *pRe, const double *pIm, VomoComplexDouble *pDst,
                         int32_t iLen);

// dst[i] = (double)offset + (double)i * (double)slope.
int32_t VecRamp_64f(double *pDst, int32_t iLen, float fOffset, float fSlope);

// Element-wise arithmetic: dst = a + b.
int32_t VecAdd_32f(const float *pA, const float *pB, float *pDst, int32_t iLen);
int32_t VecAdd_32fc(const VomoComplexFloat *pA, const VomoComplexFloat *pB, VomoComplexFloat *pDst,
                    int32_t iLen);
int32_t VecAdd_64fc(const VomoComplexDouble *pA, const VomoComplexDouble *pB,
                    VomoComplexDouble *pDst, int32_t iLen);

// srcdst = srcdst + src.
int32_t VecAddInPlace_32f(const float *pSrc, float *pSrcDst, int32_t iLen);
int32_t VecAddInPlace_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pSrcDst, int32_t iLen);

// The first array is subtracted from the second: dst = b - a.
int32_t VecSub_32f(const float *pA, const float *pB, float *pDst, int32_t iLen);
int32_t VecSub_64f(const double *pA, const double *pB, double *pDst, int32_t iLen);
int32_t VecSub_32fc(const VomoComplexFloat *pA, const VomoComplexFloat *pB, VomoComplexFloat *pDst,
                    int32_t iLen);
int32_t VecSub_64fc(const VomoComplexDouble *pA, const VomoComplexDouble *pB,
                    VomoComplexDouble *pDst, int32_t iLen);

// srcdst = srcdst - src.
int32_t VecSubInPlace_32f(const float *pSrc, float *pSrcDst, int32_t iLen);

// dst = a * b.
int32_t VecMul_64f(const double *pA, const double *pB, double *pDst, int32_t iLen);
int32_t VecMul_32fc(const VomoComplexFloat *pA, const VomoComplexFloat *pB, VomoComplexFloat *pDst,
                    int32_t iLen);
int32_t VecMul_64fc(const VomoComplexDouble *pA, const VomoComplexDouble *pB,
                    VomoComplexDouble *pDst, int32_t iLen);

// srcdst = srcdst * src.
int32_t VecMulInPlace_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pSrcDst, int32_t iLen);
int32_t VecMulInPlace_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pSrcDst, int32_t iLen);

// srcdst = srcdst / src; a zero divisor gives the IEEE result and status 0.
int32_t VecDivInPlace_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pSrcDst, int32_t iLen);

// dst = src * src.
int32_t VecSquare_64f(const double *pSrc, double *pDst, int32_t iLen);

// Operations with a constant, dst = src * value.
int32_t VecScale_32f(const float *pSrc, float value, float *pDst, int32_t iLen);
int32_t VecScale_64f(const double *pSrc, double value, double *pDst, int32_t iLen);

// srcdst = srcdst * value.
int32_t VecScaleInPlace_32f(float value, float *pSrcDst, int32_t iLen);
int32_t VecScaleInPlace_64f(double value, double *pSrcDst, int32_t iLen);
int32_t VecScaleInPlace_32fc(VomoComplexFloat value, VomoComplexFloat *pSrcDst, int32_t iLen);
int32_t VecScaleInPlace_64fc(VomoComplexDouble value, VomoComplexDouble *pSrcDst, int32_t iLen);

// srcdst = srcdst * (1 / value), the reciprocal formed once in the type; value 0 gives -10.
int32_t VecDivConstInPlace_32f(float value, float *pSrcDst, int32_t iLen);
int32_t VecDivConstInPlace_64f(double value, double *pSrcDst, int32_t iLen);

// Complex quotient by a constant; value 0 gives -10.
int32_t VecDivConstInPlace_32fc(VomoComplexFloat value, VomoComplexFloat *pSrcDst, int32_t iLen);
int32_t VecDivConst_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble value,
                         VomoComplexDouble *pDst, int32_t iLen);

// dst = value - src, and dst = src - value.
int32_t VecConstMinus_64f(const double *pSrc, double value, double *pDst, int32_t iLen);
int32_t VecSubConst_64f(const double *pSrc, double value, double *pDst, int32_t iLen);

// srcdst = srcdst - value, and srcdst = srcdst + value.
int32_t VecSubConstInPlace_32f(float value, float *pSrcDst, int32_t iLen);
int32_t VecSubConstInPlace_64f(double value, double *pSrcDst, int32_t iLen);
int32_t VecAddConstInPlace_64f(double value, double *pSrcDst, int32_t iLen);
int32_t VecAddConstInPlace_64fc(VomoComplexDouble value, VomoComplexDouble *pSrcDst, int32_t iLen);

// Logarithms. A zero gives minus infinity and the warning 18, a negative element NaN and the
// warning 19; with both present the first offending element decides the warning.
int32_t VecLnInPlace_64f(double *pSrcDst, int32_t iLen);
int32_t VecLog10_32f(const float *pSrc, float *pDst, int32_t iLen);

// Inverse error function: plus and minus 1 give the infinities, outside gives NaN, status 0.
int32_t VecErfInv_64f(const double *pSrc, double *pDst, int32_t iLen);

// sqrt(re * re + im * im); for floats in double, so that neither square leaves the range.
int32_t VecMagnitude_32fc(const VomoComplexFloat *pSrc, float *pDst, int32_t iLen);
int32_t VecMagnitude_64fc(const VomoComplexDouble *pSrc, double *pDst, int32_t iLen);

// Phase in radians, -pi to pi.
int32_t VecToPolar_32fc(const VomoComplexFloat *pSrc, float *pMagnitude, float *pPhase,
                        int32_t iLen);
int32_t VecFromPolar_32f(const float *pMagnitude, const float *pPhase, float *pRe, float *pIm,
                         int32_t iLen);

// dst[i] = conjugate of src[len - 1 - i].
int32_t VecConjMirror_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pDst, int32_t iLen);

// Reductions. Means and sums accumulate in double in a fixed number of lanes, so that the result
// does not depend on the processor. A hint is accepted and not used: there is one, accurate,
// version.
int32_t VecMean_32f(const float *pSrc, int32_t iLen, float *pResult, int32_t iHint);
int32_t VecMean_64f(const double *pSrc, int32_t iLen, double *pResult);
int32_t VecSum_64f(const double *pSrc, int32_t iLen, double *pResult);

// Sum in 64 bits, arithmetic shift right by the scale, saturated to 32 bits; a scale outside 0 to
// 63 gives -5.
int32_t VecSum_16s(const int16_t *pSrc, int32_t iLen, int32_t *pResult, int32_t iScale);
int32_t VecSum_32s(const int32_t *pSrc, int32_t iLen, int32_t *pResult, int32_t iScale);
int32_t VecMax_16s(const int16_t *pSrc, int32_t iLen, int16_t *pResult);

// Extremes start with element 0 and move on strict comparison: a NaN in first place stays, later
// ones are passed over. Indices are those of the first occurrence.
int32_t VecMinMax_32f(const float *pSrc, int32_t iLen, float *pMin, float *pMax);
int32_t VecMinMax_64f(const double *pSrc, int32_t iLen, double *pMin, double *pMax);
int32_t VecMinMaxIndex_32f(const float *pSrc, int32_t iLen, float *pMin, int32_t *pMinIndex,
                           float *pMax, int32_t *pMaxIndex);
int32_t VecMinMaxIndex_64f(const double *pSrc, int32_t iLen, double *pMin, int32_t *pMinIndex,
                           double *pMax, int32_t *pMaxIndex);

// Sample standard deviation, two passes in double, divided by len - 1; a length below 2 gives -6.
int32_t VecStdDev_32f(const float *pSrc, int32_t iLen, float *pResult, int32_t iHint);
int32_t VecStdDev_64f(const double *pSrc, int32_t iLen, double *pResult);

}  // namespace vomo

#endif
