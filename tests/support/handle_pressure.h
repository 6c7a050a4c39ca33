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

// Runs a call with no free slot, then with one, and so on until it succeeds, which must take the
// given number of slots. Each earlier call must fail for want of memory and leave nothing
// allocated. call: returns a status and frees what it was given.
template <class Call>
void ExpectSlotsNeeded(int needed, Call call) {
  for (int slots = 0; slots <= needed; ++slots) {
    const HandlePressure pressure(slots);
    const int before = LiveHandles();
    EXPECT_EQ(call(), slots < needed ? Vomo_STATUS_MEMORY_ALLOCATION_FAILED : Vomo_STATUS_SUCCESS)
        << slots << " free slots";
    EXPECT_EQ(LiveHandles(), before) << slots << " free slots";
  }
}

}  // namespace vomo_test

#endif
