#include <gtest/gtest.h>
#include <vomo.h>

#include <cstring>
#include <limits>
#include <vector>

namespace {

// Crossover times from the spacings between them.
std::vector<double> Times(const std::vector<double> &spacings) {
  std::vector<double> times{0.0};
  for (const double s : spacings) times.push_back(times.back() + s);
  return times;
}

struct Measured {
  int32_t result;
  float dj = -77, even = -77, odd = -77, mean = -77;

  Measured(const std::vector<double> &times, const std::vector<uint16_t> &runs, uint32_t offset,
           uint32_t count) {
    result = Meas_Tx_Dj_FOver2(times.data(), runs.empty() ? nullptr : runs.data(), offset, count,
                               runs.empty() ? 1 : 0, &dj, &even, &odd, &mean);
  }
};

// Spacings in binary fractions: all sums, also in single precision, are exact.
TEST(F2Jitter, ClassesOfSpacings) {
  const struct {
    const char *what;
    std::vector<double> spacings;
    std::vector<uint16_t> runs;
    uint32_t offset, count;
    float even, odd, mean;
  } cases[] = {
      // The first spacing is not used; the next one is odd.
      {"alternating", {9, 3, 2, 3, 2}, {}, 0, 6, 2, 3, 2.5f},
      {"a longer odd class", {9, 3, 2, 6}, {}, 0, 5, 2, 4.5f, 11.0f / 3},
      {"offset", {9, 9, 9, 3, 2, 3, 2}, {}, 2, 6, 2, 3, 2.5f},
      {"runs of ones start odd as well", {9, 3, 2, 3, 2}, {1, 1, 1, 1, 1, 1}, 0, 6, 2, 3, 2.5f},
      {"the offset moves the runs too", {9, 9, 3, 2}, {5, 1, 1, 1, 1}, 1, 4, 2, 3, 2.5f},
      // Bit positions before the spacings: 1, 2, 4, 5, 6; used are those at 1, 5 and 6 (run pairs
      // of ones), where the pair 1, 2 and the pair 2, 1 drop out.
      {"positions advance over unused spacings",
       {9, 3, 8, 8, 5, 2},
       {1, 1, 2, 1, 1, 1, 1},
       0,
       7,
       2,
       4,
       10.0f / 3},
      {"the first run's length sets the parity",
       {9, 9, 3, 2, 3},
       {2, 1, 1, 1, 1, 1},
       0,
       6,
       2,
       3,
       8.0f / 3},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Measured m(Times(c.spacings), c.runs, c.offset, c.count);
    ASSERT_EQ(m.result, 0);
    EXPECT_EQ(m.even, c.even);
    EXPECT_EQ(m.odd, c.odd);
    EXPECT_EQ(m.dj, c.even - c.odd);
    EXPECT_FLOAT_EQ(m.mean, c.mean);
  }
}

TEST(F2Jitter, NothingToMeasure) {
  const auto times = Times({9, 3, 2, 3, 2});
  const struct {
    const char *what;
    std::vector<uint16_t> runs;
    uint32_t count;
  } cases[] = {
      {"no class at all", {}, 2},
      {"odd only", {}, 3},
      {"no neighbouring single bits", {1, 2, 1, 3, 1, 1}, 6},
      {"two elements look at one spacing", {1, 1, 1}, 2},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Measured m(times, c.runs, 0, c.count);
    EXPECT_EQ(m.result, 1);
    EXPECT_EQ(m.dj, 0.0f);
    EXPECT_EQ(m.even, -77.0f);
    EXPECT_EQ(m.mean, -77.0f);
  }
  float dj = -77;
  const uint16_t runs[]{1, 1, 1};
  EXPECT_EQ(Meas_Tx_Dj_FOver2(nullptr, runs, 0, 6, 0, &dj, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(Meas_Tx_Dj_FOver2(times.data(), runs, 0, 1, 0, &dj, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(Meas_Tx_Dj_FOver2(times.data(), nullptr, 0, 6, 0, &dj, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(Meas_Tx_Dj_FOver2(times.data(), nullptr, 0, 6, 2, &dj, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(dj, -77.0f);  // cleared only behind the tests
  EXPECT_EQ(Meas_Tx_Dj_FOver2(times.data(), nullptr, 0, 6, 1, nullptr, nullptr, nullptr, nullptr),
            1);
  EXPECT_EQ(Meas_Tx_Dj_FOver2(times.data(), nullptr, 0, 6, 1, &dj, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(dj, -1.0f);
}

TEST(F2Jitter, CheckedEntry) {
  auto times = Times({9, 9, 3, 2, 3, 8});
  std::vector<uint16_t> ones(7, 1), mixed{1, 2, 1, 2, 1, 2, 1};
  VomoCrossoverData clock{};
  clock.ulCount = 7;
  clock.pdTimes = times.data();
  VomoCrossoverData empty{};
  float dj = -77;
  // Elements 1 to 6 without the first and the last spacing between them: 3, 2, 3.
  ASSERT_EQ(VomoF_OVER2_Dj(&clock, 1, 6, ones.data(), &dj), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(dj, -1.0f);

  EXPECT_EQ(VomoF_OVER2_Dj(&clock, 0, 6, mixed.data(), &dj), Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_NE(std::strstr(Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR),
                        "Error computing F/2 jitter."),
            nullptr);
  const struct {
    const VomoCrossoverData *clock;
    uint32_t first, last;
    const uint16_t *runs;
    float *dj;
  } refused[] = {
      {nullptr, 0, 6, ones.data(), &dj},         {&clock, 0, 6, nullptr, &dj},
      {&clock, 0, 6, ones.data(), nullptr},      {&clock, 4, 3, ones.data(), &dj},
      {&clock, 0, 7, ones.data(), &dj},          {&clock, 5, 6, ones.data(), &dj},
      {&clock, 0, 0xFFFFFFFF, ones.data(), &dj}, {&empty, 0, 5, ones.data(), &dj},
  };
  dj = -77;
  for (const auto &r : refused) {
    EXPECT_EQ(VomoF_OVER2_Dj(r.clock, r.first, r.last, r.runs, r.dj), Vomo_STATUS_PARAM_NOT_VALID);
  }
  EXPECT_EQ(dj, -77.0f);
}

// Taking the measured amount out leaves equal spacings, here 2.5 with exact quarters.
TEST(F2Jitter, RemovalCancelsTheMeasurement) {
  auto times = Times({2, 3, 2, 3, 2, 3});
  const Measured before(times, {}, 0, 7);
  ASSERT_EQ(before.dj, -1.0f);
  ASSERT_EQ(Modify_Dj_FOver2_Inplace_AllUIFrontTimes(times.data(), 7, before.dj), 0);
  for (uint32_t k = 1; k < 7; ++k) EXPECT_EQ(times[k] - times[k - 1], 2.5) << k;

  // Crossovers of the same edges, with runs of 1, 2, 1, 1 and 3 bits.
  const auto edges = Times({2, 3, 2, 3, 2, 3, 2, 3});
  std::vector<double> crossovers{edges[0], edges[1], edges[3], edges[4], edges[5], edges[8]};
  const uint16_t runs[]{7, 1, 2, 1, 1, 3, 1};
  crossovers.insert(crossovers.begin(), -5.0);
  ASSERT_EQ(Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(crossovers.data(), runs, 1, 6, 0, -1.0f), 0);
  const double steps[]{2.5, 5.0, 2.5, 2.5, 7.5};
  EXPECT_EQ(crossovers[0], -5.0);
  for (uint32_t k = 2; k < 7; ++k) EXPECT_EQ(crossovers[k] - crossovers[k - 1], steps[k - 2]) << k;

  // Without runs the parity is that of the element's number behind the offset.
  auto alternating = Times({2, 3, 2, 3});
  ASSERT_EQ(Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(alternating.data(), nullptr, 1, 4, 1, 1.0f), 0);
  EXPECT_EQ(alternating, (std::vector<double>{0, 2.25, 4.75, 7.25, 9.75}));
}

TEST(F2Jitter, RemovalRefusesAndLeavesAlone) {
  std::vector<double> times{0.1, std::numeric_limits<double>::denorm_min(), -0.0};
  const auto kept = times;
  const uint16_t runs[]{1, 1, 1};
  EXPECT_EQ(Modify_Dj_FOver2_Inplace_AllUIFrontTimes(times.data(), 3, 0.0f), 0);
  EXPECT_EQ(Modify_Dj_FOver2_Inplace_AllUIFrontTimes(times.data(), 1, 1.0f), 1);
  EXPECT_EQ(Modify_Dj_FOver2_Inplace_AllUIFrontTimes(nullptr, 3, 1.0f), 1);
  EXPECT_EQ(Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(times.data(), runs, 0, 3, 0, 0.0f), 0);
  EXPECT_EQ(Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(times.data(), runs, 0, 1, 0, 1.0f), 1);
  EXPECT_EQ(Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(nullptr, runs, 0, 3, 0, 1.0f), 1);
  EXPECT_EQ(Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(times.data(), nullptr, 0, 3, 0, 1.0f), 1);
  EXPECT_EQ(std::memcmp(times.data(), kept.data(), sizeof(double) * 3), 0);
}

}  // namespace
