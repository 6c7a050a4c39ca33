#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <vector>

namespace {

constexpr uint8_t kDeemph = CROSSOVER_DEEMPH | CROSSOVER_RISE, kFull = CROSSOVER_FALL;

// Half swings of 0.75 V and 0.25 V: the shift is a quarter of the mean.
constexpr float kLevels[4] = {0.75f, -0.75f, 0.25f, -0.25f};

TEST(DeemphasisDerating, ByHand) {
  const struct {
    const char *what;
    std::vector<uint8_t> flags;
    std::vector<double> values;
    uint32_t first, last;
    const float (&levels)[4];
    std::vector<double> added;
  } cases[] = {
      {"mean of the others",
       {kFull, kDeemph, kFull, kDeemph},
       {2, 100, 6, 100},
       0,
       3,
       kLevels,
       {0, 1, 0, 1}},
      {"the first place is never corrected",
       {kDeemph, kFull, kDeemph},
       {100, 8, 100},
       0,
       2,
       kLevels,
       {0, 0, 2}},
      {"a stretch",
       {kDeemph, kFull, kDeemph, kDeemph},
       {50, 4, 50, 50},
       1,
       2,
       kLevels,
       {0, 0, 1, 0}},
      {"nothing flagged", {kFull, kFull}, {3, 5}, 0, 1, kLevels, {0, 0}},
      {"the bit counts, not the byte",
       {kFull, CROSSOVER_DEEMPH, 0xFF, 0xFB},
       {3, 9, 9, 5},
       0,
       3,
       kLevels,
       {0, 1, 1, 0}},
      {"all flagged", {kDeemph, kDeemph}, {3, 5}, 0, 1, kLevels, {0, NAN}},
      {"swings that cancel",
       {kFull, kDeemph},
       {3, 5},
       0,
       1,
       {0.5f, -0.5f, -0.5f, 0.5f},
       {0, INFINITY}},
      // 1 - -2^-25 is 1 in single precision: both half swings are 0.5 V and nothing moves.
      {"differences in single precision",
       {kFull, kDeemph},
       {3, 5},
       0,
       1,
       {1, -0x1p-25f, 1, 0},
       {0, 0}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<uint8_t> flags = c.flags;
    std::vector<double> times(flags.size());
    VomoCrossoverData edges{};
    edges.ulCount = static_cast<uint32_t>(flags.size());
    edges.pdTimes = times.data();
    edges.pucFlags = flags.data();
    ASSERT_EQ(Vomo_DERATE_DEMPHASIS_JITTER(&edges, c.values.data(), c.first, c.last, c.levels),
              Vomo_STATUS_SUCCESS);
    for (size_t k = 0; k < times.size(); ++k) {
      if (std::isnan(c.added[k])) {
        EXPECT_TRUE(std::isnan(times[k])) << k;
      } else {
        EXPECT_EQ(times[k], c.added[k]) << k;
      }
    }
  }
}

TEST(DeemphasisDerating, Refusals) {
  std::vector<uint8_t> flags(4, kDeemph);
  std::vector<double> times(4), values(4, 1.0);
  VomoCrossoverData good{}, short_one{}, no_times{}, no_flags{};
  good.ulCount = 4;
  good.pdTimes = times.data();
  good.pucFlags = flags.data();
  short_one = no_times = no_flags = good;
  short_one.ulCount = 1;
  no_times.pdTimes = nullptr;
  no_flags.pucFlags = nullptr;
  const auto invalid = Vomo_STATUS_PARAM_NOT_VALID, range = Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const struct {
    VomoCrossoverData *edges;
    const double *values;
    uint32_t first, last;
    const float *levels;
    VomoStatus status;
  } cases[] = {
      {nullptr, values.data(), 0, 3, kLevels, invalid},
      {&good, nullptr, 0, 3, kLevels, invalid},
      {&good, values.data(), 0, 3, nullptr, invalid},
      {&no_times, values.data(), 0, 3, kLevels, invalid},
      {&no_flags, values.data(), 0, 3, kLevels, invalid},
      {&short_one, values.data(), 0, 0, kLevels, range},
      {&good, values.data(), 0, 4, kLevels, range},
      {&good, values.data(), 0, 0xFFFFFFFF, kLevels, range},
      {&good, values.data(), 2, 2, kLevels, range},
      {&good, values.data(), 3, 2, kLevels, range},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(Vomo_DERATE_DEMPHASIS_JITTER(c.edges, c.values, c.first, c.last, c.levels), c.status);
  }
  EXPECT_EQ(times, std::vector<double>(4));
}

}  // namespace
