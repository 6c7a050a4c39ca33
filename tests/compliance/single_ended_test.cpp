#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/handle_table.h"
#include "support/handle_pressure.h"
#include "support/waveforms.h"

namespace {

using vomo::Received;
using vomo_test::Counts;
using vomo_test::Samples;
using vomo_test::Stored;

constexpr double kInterval = 12.5e-12;

struct Pair {
  VomoStatus Split(const VomoWaveform *waveform) {
    return VomoCONVERT_WFM_TO_SINGLE_ENDED(waveform, positive.pointer(), positive.handle_out(),
                                           negative.pointer(), negative.handle_out());
  }
  Received<VomoWaveform> positive, negative;
};

std::vector<float> Times(float factor, std::vector<float> values) {
  for (float &v : values) v *= factor;
  return values;
}

TEST(SingleEnded, HalvesOfAllStoredSamples) {
  const std::vector<float> stored{9, 1, -2, 3, 8, 7};
  Samples differential(stored, kInterval, 1, 2);
  Pair pair;
  ASSERT_EQ(pair.Split(differential.get()), 0u);
  EXPECT_EQ(differential.stored, stored);
  EXPECT_EQ(Stored(*pair.positive.get()), Times(0.5f, stored));
  EXPECT_EQ(Stored(*pair.negative.get()), Times(-0.5f, stored));
  EXPECT_EQ(Counts(*pair.positive.get()), Counts(differential.record));
  EXPECT_EQ(Counts(*pair.negative.get()), Counts(differential.record));
  EXPECT_EQ(pair.negative->dSampleInterval, kInterval);
  // The difference of the halves is the waveform again, what it hides apart.
  Received<VomoWaveform> back;
  ASSERT_EQ(Vomo_CONVERT_SINGLE_TO_DIFF(pair.positive.get(), pair.negative.get(), back.pointer(),
                                        back.handle_out()),
            0u);
  EXPECT_EQ(Stored(*back.get()), (std::vector<float>{1, -2, 3}));
  EXPECT_EQ(Counts(*back.get()), (std::vector<uint32_t>{0, 3, 0}));
  // In place the waveform is the positive half.
  Received<VomoWaveform> negative;
  ASSERT_EQ(VomoCONVERT_WFM_TO_SINGLE_ENDED_I(differential.get(), negative.pointer(),
                                              negative.handle_out()),
            0u);
  EXPECT_EQ(differential.stored, Times(0.5f, stored));
  EXPECT_EQ(Stored(*negative.get()), Times(-0.5f, stored));
}

// Held records are used again where they have the room. They are then filled from the first visible
// sample on, and stay as short as they get.
TEST(SingleEnded, HeldRecordsServeAgain) {
  Samples first({1, 2, 3, 4, 5, 6, 7, 8}, kInterval, 2, 1);
  Samples trimmed({10, 20, 30, 40, 50, 60}, 2 * kInterval, 2, 1);
  Samples eight({1, 1, 1, 1, 1, 1, 1, 1}, kInterval);
  Pair pair;
  ASSERT_EQ(pair.Split(first.get()), 0u);
  const VomoWaveform *positive = pair.positive.get(), *negative = pair.negative.get();
  ASSERT_EQ(pair.Split(trimmed.get()), 0u);
  EXPECT_EQ(pair.positive.get(), positive);
  EXPECT_EQ(pair.negative.get(), negative);
  EXPECT_EQ(Stored(*positive), (std::vector<float>{15, 20, 25, 30, 0, 0}));
  EXPECT_EQ(Stored(*negative), (std::vector<float>{-15, -20, -25, -30, 0, 0}));
  EXPECT_EQ(Counts(*positive), (std::vector<uint32_t>{2, 3, 1}));
  EXPECT_EQ(Counts(*negative), (std::vector<uint32_t>{2, 3, 1}));
  EXPECT_EQ(positive->dSampleInterval, 2 * kInterval);
  EXPECT_EQ(negative->dSampleInterval, 2 * kInterval);
  EXPECT_EQ(vomo_test::LiveHandles(), 2);
  // Six samples have no room for eight, though there once were as many.
  ASSERT_EQ(pair.Split(eight.get()), 0u);
  EXPECT_EQ(vomo_test::LiveHandles(), 2);
  EXPECT_EQ(Stored(*pair.positive.get()), std::vector<float>(8, 0.5f));
  EXPECT_EQ(Stored(*pair.negative.get()), std::vector<float>(8, -0.5f));
  // A handle without a record is none, and a record splits itself.
  VomoWaveform *none = nullptr;
  VomoHandle stale = *pair.negative.handle_out();
  ASSERT_EQ(VomoCONVERT_WFM_TO_SINGLE_ENDED_I(eight.get(), &none, &stale), 0u);
  EXPECT_EQ(vomo_test::LiveHandles(), 3);
  Vomo_HANDLE_FREE(stale);
  ASSERT_EQ(pair.Split(pair.positive.get()), 0u);
  EXPECT_EQ(Stored(*pair.positive.get()), std::vector<float>(8, 0.25f));
}

TEST(SingleEnded, DifferenceOfTwo) {
  Samples positive({9, 5, 4, 3}, kInterval, 1, 0), negative({1, 2, 3, 7, 7}, kInterval, 0, 2);
  Received<VomoWaveform> difference;
  ASSERT_EQ(Vomo_CONVERT_SINGLE_TO_DIFF(positive.get(), negative.get(), difference.pointer(),
                                        difference.handle_out()),
            0u);
  EXPECT_EQ(Stored(*difference.get()), (std::vector<float>{4, 2, 0}));
  const struct {
    const char *what;
    double positive_interval, negative_interval;
    uint32_t positive_count, negative_count;
    VomoStatus status;
  } cases[] = {
      {"no positive samples", kInterval, kInterval, 0, 3, Vomo_STATUS_PARAM_NOT_VALID},
      {"no negative samples", 0, 1, 3, 0, Vomo_STATUS_PARAM_NOT_VALID},
      {"no interval", 0, 0, 3, 3, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN interval", NAN, NAN, 3, 3, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"intervals apart", kInterval, kInterval * (1 + 3e-16), 3, 3, Vomo_STATUS_PARAM_OUT_OF_RANGE},
  };
  for (const auto &c : cases) {
    positive.record.dSampleInterval = c.positive_interval;
    negative.record.dSampleInterval = c.negative_interval;
    positive.record.ulNumSamples = c.positive_count;
    negative.record.ulNumSamples = c.negative_count;
    VomoHandle handle = 77;
    EXPECT_EQ(
        Vomo_CONVERT_SINGLE_TO_DIFF(positive.get(), negative.get(), difference.pointer(), &handle),
        c.status)
        << c.what;
    EXPECT_EQ(handle, 77u);
  }
  EXPECT_EQ(Vomo_CONVERT_SINGLE_TO_DIFF(nullptr, negative.get(), difference.pointer(),
                                        difference.handle_out()),
            Vomo_STATUS_PARAM_NOT_VALID);
}

TEST(SingleEnded, FailuresKeepWhatIsHeld) {
  Samples small({1, 2}, kInterval), large({1, 2, 3, 4}, kInterval), empty({}, kInterval);
  Pair pair;
  EXPECT_EQ(pair.Split(empty.get()), Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_NE(std::string(Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR)).find("data size"),
            std::string::npos);
  EXPECT_EQ(vomo_test::LiveHandles(), 0);
  VomoWaveform hollow{3, kInterval, nullptr, 0, 0};
  EXPECT_EQ(pair.Split(&hollow), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(pair.Split(nullptr), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoCONVERT_WFM_TO_SINGLE_ENDED(small.get(), pair.positive.pointer(), nullptr,
                                            pair.negative.pointer(), pair.negative.handle_out()),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoCONVERT_WFM_TO_SINGLE_ENDED_I(small.get(), nullptr, pair.negative.handle_out()),
            Vomo_STATUS_PARAM_NOT_VALID);
  ASSERT_EQ(pair.Split(small.get()), 0u);
  VomoWaveform *const positive = pair.positive.get(), *const negative = pair.negative.get();
  for (const int slots : {0, 1}) {
    const vomo_test::HandlePressure pressure(slots);
    EXPECT_EQ(pair.Split(large.get()), Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
    EXPECT_EQ(pair.positive.get(), positive);
    EXPECT_EQ(pair.negative.get(), negative);
  }
  EXPECT_EQ(vomo_test::LiveHandles(), 2);
  EXPECT_EQ(Stored(*positive), (std::vector<float>{0.5f, 1}));
  vomo_test::ExpectSlotsNeeded(2, [&] {
    Pair fresh;
    return fresh.Split(large.get());
  });
}

}  // namespace
