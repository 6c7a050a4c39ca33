// Lets a function run out of handles at each of the places where it takes one.
#ifndef VOMO_TESTS_SUPPORT_HANDLE_PRESSURE_H
#define VOMO_TESTS_SUPPORT_HANDLE_PRESSURE_H

#include <gtest/gtest.h>
#include <vomo.h>

#include <vector>

#include "core/handle_table.h"

namespace vomo_test {

inline int LiveHandles() {
  int count = 0;
  for (VomoHandle h = 1; h <= vomo::kHandleCount; ++h) {
    count += vomo::Vomo_Handle_Lookup(h) != nullptr;
  }
  return count;
}

// Occupies all slots of the handle table but a few.
class HandlePressure {
 public:
  explicit HandlePressure(int free_slots) {
    void *block = nullptr;
    const int taken = static_cast<int>(vomo::kHandleCount) - LiveHandles() - free_slots;
    for (int i = 0; i < taken; ++i) handles_.push_back(Vomo_Handle_and_Memory_Allocate(1, &block));
  }
  HandlePressure(const HandlePressure &) = delete;
  HandlePressure &operator=(const HandlePressure &) = delete;
  ~HandlePressure() {
    for (const VomoHandle h : handles_) Vomo_HANDLE_FREE(h);
  }

 private:
  std::vector<VomoHandle> handles_;
};

// Frees every block but those of the given handles; returns their number.
inline int FreeAllBut(const std::vector<bool> &kept) {
  int freed = 0;
  for (VomoHandle h = 1; h <= vomo::kHandleCount; ++h) {
    if (kept[h] || vomo::Vomo_Handle_Lookup(h) == nullptr) continue;
    Vomo_HANDLE_FREE(h);
    ++freed;
  }
  return freed;
}

// Runs a call with no free slot, then with one, and so on until it succeeds, which must take the
// given number of slots. Each earlier call must fail for want of memory and leave nothing
// allocated; only where the clock conversion finds no slot, it leaves its run lengths: with this
// many slots. call: returns a status and frees what it was given.
template <class Call>
void ExpectSlotsNeeded(int needed, Call call, int slots_of_a_failed_clock = -1) {
  for (int slots = 0; slots <= needed; ++slots) {
    const HandlePressure pressure(slots);
    std::vector<bool> before(vomo::kHandleCount + 1);
    for (VomoHandle h = 1; h <= vomo::kHandleCount; ++h) {
      before[h] = vomo::Vomo_Handle_Lookup(h) != nullptr;
    }
    EXPECT_EQ(call(), slots < needed ? Vomo_STATUS_MEMORY_ALLOCATION_FAILED : Vomo_STATUS_SUCCESS)
        << slots << " free slots";
    EXPECT_EQ(FreeAllBut(before), slots == slots_of_a_failed_clock) << slots << " free slots";
  }
}

}  // namespace vomo_test

#endif
