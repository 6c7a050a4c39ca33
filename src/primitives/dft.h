// Discrete Fourier transforms of any length from 1.
//
// Forward: bin k is the sum over j of input[j] * exp(-2 pi i j k / len), then scaled; the inverse
// has the plus sign. A specification settles length, scaling and element type once and serves one
// running transform at a time; different specifications can run at the same time.
//
// A real transform of length n has the bins 0 to n / 2 (rounded down) as complex numbers, so its
// spectrum takes n + 2 real slots for even n and n + 1 for odd n. The imaginary parts of bin 0 and,
// for even n, of the last bin are written as 0, and the inverse does not read them.
#ifndef VOMO_PRIMITIVES_DFT_H
#define VOMO_PRIMITIVES_DFT_H

#include <vomo.h>

#include <cstdint>
#include <memory>

namespace vomo {

// Opaque, and tied to one element type: an operation of another type answers -17.
struct DftSpec;

// What the flag of a specification divides by. Any other flag is refused with -16.
enum DftFlag : int32_t {
  kDftDivideForward = 1,  // forward by len
  kDftDivideInverse = 2,  // inverse by len
  kDftDivideBoth = 4,     // both by the square root of len
  kDftDivideNeither = 8,
};

// Tables are prepared by the first run. The hint (0 or 2, accuracy preferred) is accepted and not
// used: there is one, accurate, version. Refusals, in this order: length below 1 -6, NULL -8, flag
// -16, memory -9.
int32_t DftSpecCreate_C_32fc(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t iHint);
int32_t DftSpecCreate_C_64fc(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t iHint);
int32_t DftSpecCreate_R_32f(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t iHint);
int32_t DftSpecCreate_R_64f(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t iHint);

// NULL gives -8, a specification of another type -17; both stay as they are.
int32_t DftSpecFree_C_32fc(DftSpec *pSpec);
int32_t DftSpecFree_C_64fc(DftSpec *pSpec);
int32_t DftSpecFree_R_32f(DftSpec *pSpec);
int32_t DftSpecFree_R_64f(DftSpec *pSpec);

// Bytes of work buffer for the run operations: at least 32, so that it can be allocated.
int32_t DftScratchSize_R_32f(const DftSpec *pSpec, int32_t *pSize);

// The run operations keep their working memory to themselves: the buffer may be NULL and is not
// touched. Source and destination may be the same memory, otherwise the source is not changed.
// Refusals: NULL -8, type -17, working memory -9.
int32_t DftForward_C_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec,
                          void *pBuffer);
int32_t DftForward_C_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec,
                          void *pBuffer);
int32_t DftInverse_C_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec,
                          void *pBuffer);
int32_t DftInverse_C_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec,
                          void *pBuffer);

// len real samples to len / 2 + 1 bins, and back.
int32_t DftForward_R_32f(const float *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec, void *pBuffer);
int32_t DftForward_R_64f(const double *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec,
                         void *pBuffer);
int32_t DftInverse_R_32f(const VomoComplexFloat *pSrc, float *pDst, DftSpec *pSpec, void *pBuffer);
int32_t DftInverse_R_64f(const VomoComplexDouble *pSrc, double *pDst, DftSpec *pSpec,
                         void *pBuffer);

// Frees a specification of any type.
struct DftSpecDeleter {
  void operator()(DftSpec *spec) const;
};
using DftSpecOwner = std::unique_ptr<DftSpec, DftSpecDeleter>;

}  // namespace vomo

#endif
