#include "primitives/alloc.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <cstdint>
#include <cstdlib>

namespace vomo {
namespace {

constexpr std::size_t kAlignment = 32;
constexpr std::size_t kPageBytes = 4096;
// Blocks from here on come fresh from the system, and the first touch of their pages can take
// longer than the work on them.
constexpr std::size_t kLargeBytes = std::size_t{8} << 20;

// Asks for huge pages, which need one fault instead of 512. It is no more than a hint.
void AdviseHugePages([[maybe_unused]] void *memory, [[maybe_unused]] std::size_t size) {
#if defined(__linux__)
  if (size < kLargeBytes) return;
  const auto begin =
      (reinterpret_cast<std::uintptr_t>(memory) + kPageBytes - 1) & ~(kPageBytes - 1);
  const auto end = (reinterpret_cast<std::uintptr_t>(memory) + size) & ~(kPageBytes - 1);
  madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

void *AllocateAligned(int64_t size_in_bytes) {
  if (size_in_bytes <= 0) return nullptr;
  const auto size = static_cast<std::size_t>(size_in_bytes);
  void *memory = std::aligned_alloc(kAlignment, (size + kAlignment - 1) / kAlignment * kAlignment);
  if (memory != nullptr) AdviseHugePages(memory, size);
  return memory;
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
