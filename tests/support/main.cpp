// Entry of every test program. Each test must leave the handle table as it found it: empty.
#include <gtest/gtest.h>

#include "core/handle_table.h"

namespace {

class EmptyHandleTable : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo &info) override {
    for (VomoHandle handle = 1; handle <= vomo::kHandleCount; ++handle) {
      if (vomo::Vomo_Handle_Lookup(handle) != nullptr) {
        ADD_FAILURE() << info.name() << " left handle " << handle << " allocated";
        Vomo_Handle_Free_All();
        return;
      }
    }
  }
};

}  // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new EmptyHandleTable);
  return RUN_ALL_TESTS();
}
