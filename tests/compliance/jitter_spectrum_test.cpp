#include "compliance/jitter_spectrum.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Slot = vomo::JitterSlot<VomoJitterSpectrumRecord>;

TEST(JitterSpectrum, ScalesEachByItsOwnCount) {
  // More bins than fit one piece of the conversion.
  std::vector<VomoComplexDouble> raw(3000, {3, 4}), diff(2, {0, -2});
  raw[2999] = {-5, 12};
  Slot slot;
  ASSERT_EQ(
      vomo::Vomo_RecordJitterSpectrum(3000, raw.data(), nullptr, 1e6, 2, diff.data(), 2e6, slot),
      0u);
  EXPECT_EQ(slot.record.ulBinCount, 3000u);
  EXPECT_EQ(slot.record.dBinSpacing, 1e6);
  EXPECT_EQ(slot.record.pdRawMagnitude[0], 15000);
  EXPECT_EQ(slot.record.pdRawMagnitude[2998], 15000);
  EXPECT_EQ(slot.record.pdRawMagnitude[2999], 39000);
  EXPECT_EQ(slot.record.pdFilteredMagnitude, nullptr);
  EXPECT_EQ(slot.record.pdDiffMagnitude, slot.record.pdRawMagnitude + 3000);
  EXPECT_EQ(slot.record.pdDiffMagnitude[1], 4);
  EXPECT_EQ(slot.record.ulDiffBinCount, 2u);

  // The next record replaces it; a spectrum not given counts as none.
  ASSERT_EQ(vomo::Vomo_RecordJitterSpectrum(2, nullptr, diff.data(), 1e6, 9, nullptr, 2e6, slot),
            0u);
  EXPECT_EQ(slot.record.pdRawMagnitude, nullptr);
  EXPECT_EQ(slot.record.pdFilteredMagnitude[0], 4);
  EXPECT_EQ(slot.record.ulDiffBinCount, 0u);
  EXPECT_EQ(slot.record.dDiffBinSpacing, 0.0);
  slot.Drop();
}

TEST(JitterSpectrum, FailureLeavesNoCurves) {
  VomoComplexDouble bin{3, 4};
  Slot slot;
  const struct {
    uint32_t count;
    const VomoComplexDouble *bins;
    VomoStatus status;
  } cases[] = {{1, nullptr, Vomo_STATUS_PARAM_NOT_VALID},
               {0, &bin, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
               {0xFFFFFFFFu, &bin, Vomo_STATUS_MEMORY_ALLOCATION_FAILED}};
  for (const auto &c : cases) {
    ASSERT_EQ(vomo::Vomo_RecordJitterSpectrum(1, &bin, nullptr, 1e6, 0, nullptr, 0, slot), 0u);
    EXPECT_EQ(vomo::Vomo_RecordJitterSpectrum(c.count, c.bins, nullptr, 1e6, 0, nullptr, 0, slot),
              c.status);
    EXPECT_EQ(slot.record.pdRawMagnitude, nullptr);
    EXPECT_EQ(slot.record.ulBinCount, 0u);
    EXPECT_EQ(slot.record.dBinSpacing, 0.0);
  }
}

}  // namespace
