#include "core/handle_table.h"

#include "primitives/alloc.h"

namespace {

struct HandleTable {
  void *slots[vomo::kHandleCount];
  uint64_t generation;
};

HandleTable g_table{};

// Lowest free slot's handle, or 0 when the table is full.
VomoHandle TakeSlot(void *memory) {
  for (uint32_t slot = 0; slot < vomo::kHandleCount; ++slot) {
    if (g_table.slots[slot] == nullptr) {
      g_table.slots[slot] = memory;
      return slot + 1;
    }
  }
  return 0;
}

}  // namespace

extern "C" VomoHandle Vomo_Handle_and_Memory_Allocate(int32_t iSizeInBytes,
                                                      void **ppMemory) noexcept {
  if (ppMemory == nullptr) return 0;
  *ppMemory = vomo::VecAllocBytes(iSizeInBytes);
  if (*ppMemory == nullptr) return 0;
  const VomoHandle handle = TakeSlot(*ppMemory);
  // With a full table the pointer keeps the address of the block that is given back here: callers
  // judge by the handle.
  if (handle == 0) vomo::VecFree(*ppMemory);
  return handle;
}

extern "C" VomoStatus Vomo_HANDLE_FREE(VomoHandle hHandle) noexcept {
  if (hHandle == 0) return Vomo_STATUS_SUCCESS;
  if (hHandle > vomo::kHandleCount) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  vomo::VecFree(std::exchange(g_table.slots[hHandle - 1], nullptr));
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_Handle_Free_All(void) noexcept {
  for (VomoHandle handle = 1; handle <= vomo::kHandleCount; ++handle) Vomo_HANDLE_FREE(handle);
  ++g_table.generation;
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_Handles_Initialize(void) noexcept {
  for (void *&slot : g_table.slots) slot = nullptr;
  ++g_table.generation;
  return Vomo_STATUS_SUCCESS;
}

namespace vomo {

VomoHandle Vomo_AllocateElements(uint64_t ulCount, uint64_t ulElementSize, void **ppMemory) {
  constexpr uint64_t kMostBytes = std::numeric_limits<int32_t>::max();
  const bool fits = ulElementSize != 0 && ulCount <= kMostBytes / ulElementSize;
  return Vomo_Handle_and_Memory_Allocate(fits ? static_cast<int32_t>(ulCount * ulElementSize) : 0,
                                         ppMemory);
}

void *Vomo_Handle_Lookup(VomoHandle hHandle) {
  return hHandle - 1 < kHandleCount ? g_table.slots[hHandle - 1] : nullptr;
}

uint64_t HandleGeneration() {
  return g_table.generation;
}

Block Block::TryAllocate(uint64_t count, uint64_t element_size) {
  void *memory = nullptr;
  const VomoHandle handle = Vomo_AllocateElements(count, element_size, &memory);
  return handle != 0 ? Block(memory, handle) : Block();
}

Block Block::Allocate(uint64_t count, uint64_t element_size) {
  Block block = TryAllocate(count, element_size);
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace vomo
