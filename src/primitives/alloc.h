// Blocks for array work: aligned to 32 bytes, not cleared.
#ifndef VOMO_PRIMITIVES_ALLOC_H
#define VOMO_PRIMITIVES_ALLOC_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// Each yields NULL for a size or count of 0 or below, and when the memory can't be had.
void *VecAllocBytes(int32_t iSizeInBytes);
float *VecAlloc_32f(int32_t iCount);
double *VecAlloc_64f(int32_t iCount);
VomoComplexFloat *VecAlloc_32fc(int32_t iCount);

// Frees a block of any allocator above; NULL is accepted.
void VecFree(void *pBlock);

}  // namespace vomo

#endif
