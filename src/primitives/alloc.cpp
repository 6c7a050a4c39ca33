#include "primitives/alloc.h"

#include <cstdlib>

namespace vomo {
namespace {

constexpr std::size_t kAlignment = 32;

void *AllocateAligned(int64_t size_in_bytes) {
  if (size_in_bytes <= 0) return nullptr;
  const auto size = static_cast<std::size_t>(size_in_bytes);
  return std::aligned_alloc(kAlignment, (size + kAlignment - 1) / kAlignment * kAlignment);
}

template <class T>
T *AllocateElements(int32_t count) {
  return static_cast<T *>(AllocateAligned(int64_t{count} * int64_t{sizeof(T)}));
}

}  // namespace

void *VecAllocBytes(int32_t iSizeInBytes) {
  return AllocateAligned(iSizeInBytes);
}
float *VecAlloc_32f(int32_t iCount) {
  return AllocateElements<float>(iCount);
}
double *VecAlloc_64f(int32_t iCount) {
  return AllocateElements<double>(iCount);
}
VomoComplexFloat *VecAlloc_32fc(int32_t iCount) {
  return AllocateElements<VomoComplexFloat>(iCount);
}

void VecFree(void *pBlock) {
  std::free(pBlock);
}

}  // namespace vomo
