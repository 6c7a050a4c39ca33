// Operations on small matrices of doubles.
//
// A matrix is given by its first element, the distance between rows and the distance between the
// elements of a row, both in bytes, and its width (elements in a row) and height (rows). Refusals,
// in this order, before anything is written: a size of 0 or below -6, NULL -8, a stride that is not
// positive or not a multiple of 8 -182, sizes that don't go together -204. A destination must not
// overlap a source, except that MatInvert_64f may work in place.
#ifndef VOMO_PRIMITIVES_MAT_H
#define VOMO_PRIMITIVES_MAT_H

#include <cstdint>

namespace vomo {

// dst = a times b transposed, of height A x height B; both have the same width.
int32_t MatMulTranspose_64f(const double *pA, int32_t iRowStrideA, int32_t iElementStrideA,
                            int32_t iWidthA, int32_t iHeightA, const double *pB,
                            int32_t iRowStrideB, int32_t iElementStrideB, int32_t iWidthB,
                            int32_t iHeightB, double *pDst, int32_t iRowStrideDst,
                            int32_t iElementStrideDst);

// dst = a times v; the width of a is the length of v.
int32_t MatVecMul_64f(const double *pA, int32_t iRowStride, int32_t iElementStride, int32_t iWidth,
                      int32_t iHeight, const double *pV, int32_t iStrideV, int32_t iLengthV,
                      double *pDst, int32_t iStrideDst);

// dst = inverse of the square src. -195, and nothing written, if it is singular: only a pivot of
// exactly 0, or one that is not finite, counts as such, however badly the matrix is scaled. -9 if
// the working copy can't be had.
int32_t MatInvert_64f(const double *pSrc, int32_t iRowStrideSrc, int32_t iElementStrideSrc,
                      double *pDst, int32_t iRowStrideDst, int32_t iElementStrideDst,
                      int32_t iSize);

// dst = a times v for a square a.
int32_t MatVecMulSquare_64f(const double *pA, int32_t iRowStride, int32_t iElementStride,
                            const double *pV, int32_t iStrideV, double *pDst, int32_t iStrideDst,
                            int32_t iSize);

}  // namespace vomo

#endif
