#include "stats/jitter_slots.h"

#include <gtest/gtest.h>

namespace vomo {
namespace {

class JitterSlotsTest : public testing::Test {
 protected:
  void SetUp() override { Clear(); }
  void TearDown() override { Clear(); }

  static void Clear() {
    Vomo_Handle_Free_All();
    JitterSlots() = VomoJitterSlots{};
  }

  // Fills the working histogram with one bin that carries the given value.
  static VomoHandle Work(double value) {
    auto &working = JitterSlots().pdf.working;
    void *memory = nullptr;
    const VomoHandle handle = Vomo_AllocateElements(1, sizeof(double), &memory);
    working.record.pdPDF = static_cast<double *>(memory);
    working.record.pdPDF[0] = value;
    working.record.ulBinCount = 1;
    working.record.dPDFBinSize = value;
    working.block.Hold(handle);
    return handle;
  }
};

TEST_F(JitterSlotsTest, PublishingMovesTheBlockAndEndsTheFormerOne) {
  const VomoHandle first = Work(1.0);
  Vomo_PublishJitterPdf();
  EXPECT_EQ(JitterSlots().pdf.working.record.pdPDF, nullptr);
  EXPECT_EQ(JitterSlots().pdf.working.record.ulBinCount, 0u);
  EXPECT_NE(Vomo_Handle_Lookup(first), nullptr);

  const VomoHandle second = Work(2.0);
  ASSERT_NE(second, first);
  EXPECT_EQ(JitterSlots().pdf.published.record.pdPDF[0], 1.0);
  Vomo_PublishJitterPdf();
  EXPECT_EQ(Vomo_Handle_Lookup(first), nullptr);
  ASSERT_EQ(JitterSlots().pdf.published.record.ulBinCount, 1u);
  EXPECT_EQ(JitterSlots().pdf.published.record.pdPDF[0], 2.0);
  EXPECT_EQ(JitterSlots().pdf.published.record.dPDFBinSize, 2.0);

  // A working set dropped by a failed run is published as no curves, not as the old ones.
  Vomo_PublishJitterPdf();
  EXPECT_EQ(Vomo_Handle_Lookup(second), nullptr);
  EXPECT_EQ(JitterSlots().pdf.published.record.pdPDF, nullptr);
  EXPECT_EQ(JitterSlots().pdf.published.record.ulBinCount, 0u);
}

// After the application has emptied the table, the numbers held here belong to somebody else.
TEST_F(JitterSlotsTest, AStaleHandleFreesNobodyElsesBlock) {
  const VomoHandle published = Work(1.0);
  Vomo_PublishJitterPdf();
  const VomoHandle working = Work(2.0);
  Vomo_Handle_Free_All();

  void *memory = nullptr;
  ASSERT_EQ(Vomo_AllocateElements(8, 1, &memory), published);
  ASSERT_EQ(Vomo_AllocateElements(8, 1, &memory), working);
  Vomo_PublishJitterPdf();
  EXPECT_EQ(JitterSlots().pdf.published.record.pdPDF, nullptr);
  JitterSlots().pdf.working.Drop();
  JitterSlots().pdf.published.Drop();
  EXPECT_NE(Vomo_Handle_Lookup(published), nullptr);
  EXPECT_NE(Vomo_Handle_Lookup(working), nullptr);
}

}  // namespace
}  // namespace vomo
