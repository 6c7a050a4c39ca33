#include "core/handle_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/waveform.h"
#include "primitives/alloc.h"

namespace {

using vomo::Vomo_Handle_Lookup;

TEST(HandleTable, ReusesTheLowestSlotAndAligns) {
  void *block = nullptr;
  for (int i = 0; i < 5; ++i) {
    const VomoHandle handle = Vomo_Handle_and_Memory_Allocate(1 + 7 * i, &block);
    EXPECT_EQ(handle, static_cast<VomoHandle>(i + 1));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u);
    EXPECT_EQ(Vomo_Handle_Lookup(handle), block);
  }
  Vomo_HANDLE_FREE(4);
  Vomo_HANDLE_FREE(2);
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(8, &block), 2u);
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(8, &block), 4u);
  Vomo_Handle_Free_All();
}

TEST(HandleTable, FullTableGivesTheBlockBack) {
  void *block = nullptr;
  for (VomoHandle h = 1; h <= 1280; ++h) ASSERT_EQ(Vomo_Handle_and_Memory_Allocate(4, &block), h);
  // Under the sanitizer a block that were not given back would show as a leak.
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(64, &block), 0u);
  EXPECT_NE(block, nullptr);
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 77;
  EXPECT_EQ(Vomo_Get_Waveform(1, nullptr, 1.0, &waveform, &handle),
            Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(waveform, nullptr);
  EXPECT_EQ(handle, 77u);
  Vomo_HANDLE_FREE(700);
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(4, &block), 700u);
  Vomo_Handle_Free_All();
}

TEST(HandleTable, RefusesSizesThatTheAllocatorCannotSay) {
  void *block = &block;
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(0, &block), 0u);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(-1, &block), 0u);
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(8, nullptr), 0u);
  // 2^29 elements of 8 bytes wrap to 0 in 32 bits, 2^61 in 64.
  for (const uint64_t count : {uint64_t{1} << 29, uint64_t{1} << 61, uint64_t{0}}) {
    EXPECT_EQ(vomo::Vomo_AllocateElements(count, 8, &block), 0u) << count;
  }
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  EXPECT_EQ(Vomo_Get_Waveform(0xFFFFFFFFu, nullptr, 1.0, &waveform, &handle),
            Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
}

TEST(HandleTable, FreesByNumber) {
  void *block = nullptr;
  const VomoHandle handle = Vomo_Handle_and_Memory_Allocate(16, &block);
  const struct {
    VomoHandle handle;
    VomoStatus status;
  } cases[] = {{0, Vomo_STATUS_SUCCESS},
               {handle, Vomo_STATUS_SUCCESS},
               {handle, Vomo_STATUS_SUCCESS},
               {1280, Vomo_STATUS_SUCCESS},
               {1281, Vomo_STATUS_PARAM_OUT_OF_RANGE},
               {0x80000001u, Vomo_STATUS_PARAM_OUT_OF_RANGE}};
  for (const auto &c : cases) EXPECT_EQ(Vomo_HANDLE_FREE(c.handle), c.status) << c.handle;
  EXPECT_EQ(Vomo_Handle_Lookup(handle), nullptr);
  EXPECT_EQ(Vomo_Handle_Lookup(0), nullptr);
  EXPECT_EQ(Vomo_Handle_Lookup(1281), nullptr);
}

TEST(HandleTable, InitializeForgetsWithoutFreeing) {
  void *block = nullptr;
  const VomoHandle handle = Vomo_Handle_and_Memory_Allocate(16, &block);
  const uint64_t generation = vomo::HandleGeneration();
  EXPECT_EQ(Vomo_Handles_Initialize(), Vomo_STATUS_SUCCESS);
  EXPECT_NE(vomo::HandleGeneration(), generation);
  EXPECT_EQ(Vomo_HANDLE_FREE(handle), Vomo_STATUS_SUCCESS);
  std::memset(block, 1, 16);  // still allocated
  void *other = nullptr;
  EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(16, &other), handle);
  EXPECT_NE(other, block);
  Vomo_Handle_Free_All();
  vomo::VecFree(block);
}

TEST(Owners, FreeUnlessReleased) {
  {
    auto kept = vomo::BlockOf<double>::Allocate(3);
    auto moved = std::move(kept);
    EXPECT_FALSE(kept);
    EXPECT_EQ(moved.handle(), 1u);
  }
  EXPECT_EQ(Vomo_Handle_Lookup(1), nullptr);
  double *data = nullptr;
  VomoHandle handle = 0;
  vomo::BlockOf<double>::Allocate(3).Deliver(&data, &handle);
  EXPECT_EQ(Vomo_Handle_Lookup(handle), data);
  Vomo_HANDLE_FREE(handle);
}

TEST(Waveform, OneBlockHoldsRecordAndSamples) {
  const float source[] = {1.5f, -2.0f, 3.25f};
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  ASSERT_EQ(Vomo_Get_Waveform(3, source, 25e-12, &waveform, &handle), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(waveform->pfSamples) % 32, 0u);
  EXPECT_EQ(std::memcmp(waveform->pfSamples, source, sizeof source), 0);
  EXPECT_EQ(waveform->dSampleInterval, 25e-12);
  EXPECT_EQ(vomo::StoredSampleCount(*waveform), 3u);
  Vomo_HANDLE_FREE(handle);

  ASSERT_EQ(Vomo_Get_Waveform(1000, nullptr, -1.0, &waveform, &handle), Vomo_STATUS_SUCCESS);
  for (uint32_t i = 0; i < 1000; ++i) ASSERT_EQ(waveform->pfSamples[i], 0.0f);
  Vomo_HANDLE_FREE(handle);

  ASSERT_EQ(Vomo_Get_Waveform(0, source, 1.0, &waveform, &handle), Vomo_STATUS_SUCCESS);
  EXPECT_NE(waveform->pfSamples, nullptr);
  EXPECT_FALSE(vomo::HasSamples(waveform));
  Vomo_HANDLE_FREE(handle);
}

TEST(TimeData, StepHasSinglePrecision) {
  double *times = nullptr;
  VomoHandle handle = 0;
  ASSERT_EQ(Vomo_CREATE_TIME_DATA(1000, 0.1, &times, &handle), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(times[0], 0.0);
  // The float nearest to 0.1 is 0.100000001490116...; the products are formed in double.
  EXPECT_EQ(times[999], 999 * 0.10000000149011612);
  Vomo_HANDLE_FREE(handle);
  EXPECT_EQ(Vomo_CREATE_TIME_DATA(0, 0.1, &times, &handle), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(Vomo_CREATE_TIME_DATA(0x20000000u, 0.1, &times, &handle),
            Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
}

TEST(EstimateNumberUi, CountsSamplesNotGaps) {
  float samples[100] = {};
  VomoWaveform waveform{100, 12.5e-12, samples, 0, 0};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double interval, ui;
    uint32_t begin, end;
    VomoStatus status;
    uint32_t count;
  } cases[] = {
      {12.5e-12, 125e-12, 0, 99, Vomo_STATUS_SUCCESS, 10},
      {12.5e-12, 125e-12, 0, 95, Vomo_STATUS_SUCCESS, 10},  // 9.6
      {12.5e-12, 125e-12, 0, 93, Vomo_STATUS_SUCCESS, 9},   // 9.4
      {12.5e-12, 1e-30, 0, 99, Vomo_STATUS_SUCCESS, 0xFFFFFFFFu},
      {12.5e-12, 125e-12, 7, 7, Vomo_STATUS_PARAM_OUT_OF_RANGE, 99},
      {12.5e-12, 125e-12, 0, 100, Vomo_STATUS_PARAM_OUT_OF_RANGE, 99},
      {0.0, 125e-12, 0, 99, Vomo_STATUS_PARAM_OUT_OF_RANGE, 99},
      {nan, 125e-12, 0, 99, Vomo_STATUS_PARAM_OUT_OF_RANGE, 99},
      {12.5e-12, nan, 0, 99, Vomo_STATUS_PARAM_OUT_OF_RANGE, 99},
  };
  for (const auto &c : cases) {
    waveform.dSampleInterval = c.interval;
    uint32_t count = 99;
    EXPECT_EQ(Vomo_ESTIMATE_NUMBER_UI(&waveform, c.begin, c.end, c.ui, &count), c.status);
    EXPECT_EQ(count, c.count) << c.begin << " " << c.end;
  }
  uint32_t count = 99;
  EXPECT_EQ(Vomo_ESTIMATE_NUMBER_UI(nullptr, 0, 1, 1.0, &count), Vomo_STATUS_PARAM_NOT_VALID);
  waveform.pfSamples = nullptr;
  EXPECT_EQ(Vomo_ESTIMATE_NUMBER_UI(&waveform, 0, 1, 1.0, &count), Vomo_STATUS_PARAM_NOT_VALID);
}

}  // namespace
