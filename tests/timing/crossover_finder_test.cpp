#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "core/handle_table.h"
#include "primitives/cpu_level.h"
#include "support/crossovers.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr double kNoSpacing = 1e12;
using vomo_test::FlagsOf;
using vomo_test::TimesOf;

struct Search {
  std::vector<float> samples;
  float threshold = 0.0f;
  uint32_t filter_count = 1;
  uint32_t types = Vomo_CROSSOVERS_RISE_FALL;
  double unit_interval = 1.0;
  uint32_t start = 0;
  uint32_t stop = 0;    // 0: the last sample
  uint32_t hidden = 0;  // of the samples, hidden behind the visible ones
  double interval = 1.0;
  const VomoCrossoverLimits *limits = nullptr;
  bool with_slopes = false;
};

struct Found {
  VomoStatus status;
  std::vector<double> times;
  std::vector<int> flags;
  double smallest = -1.0;
  std::vector<double> slopes;
};

Found Find(Search s) {
  const auto visible = static_cast<uint32_t>(s.samples.size()) - s.hidden;
  const VomoWaveform waveform{visible, s.interval, s.samples.data(), 0, s.hidden};
  vomo::Received<VomoCrossoverData> list;
  vomo::Received<double> slopes;
  Found found{};
  found.status = Vomo_FIND_CROSSOVERS_FILT(
      &waveform, s.threshold, s.filter_count, s.limits, s.start, s.stop != 0 ? s.stop : visible - 1,
      s.unit_interval, s.types, list.pointer(), list.handle_out(),
      s.with_slopes ? slopes.pointer() : nullptr, s.with_slopes ? slopes.handle_out() : nullptr,
      &found.smallest);
  if (!list) return found;
  found.times = TimesOf(*list.get());
  found.flags = FlagsOf(*list.get());
  EXPECT_EQ(list->psPatChkData, nullptr);
  if (slopes) found.slopes = {slopes.get(), slopes.get() + list->ulCount};
  return found;
}

TEST(CrossoverFinder, TimesAreExactOnStraightLines) {
  struct Case {
    const char *name;
    Search search;
    std::vector<double> times;
    std::vector<int> flags;
    double smallest;
  };
  const Case cases[] = {
      {"line through zero", {{-1, 3, 1, -1}}, {0.25, 2.5}, {1, 4 | 2}, 2.25},
      {"band: level zero, not the threshold", {{-3, 1, 5, 5}, 0.5f}, {0.75}, {1}, kNoSpacing},
      {"extrapolated before the pair", {{1, 3, 1}, 2.0f}, {-0.5}, {1}, kNoSpacing},
      {"extrapolated behind the pair", {{-3, -2, 3, 3}, -2.5f}, {3.0}, {1}, kNoSpacing},
      {"exact zero then up", {{0, 1, 1}}, {0.0}, {1}, kNoSpacing},
      {"exact zero then down", {{0, -1, -1}}, {0.0}, {2}, kNoSpacing},
      {"times count from sample 0", {{9, 9, -1, 1, 1}, 0, 1, 3, 1, 2}, {2.5}, {1}, kNoSpacing},
      {"within the band and out again on the same side",
       {{-2, 2, 0.5f, 2, -2}, 1.0f},
       {0.5, 2 - 1.0 / 3, 3.5},
       {1, 1, 4 | 2},
       1 + 1.0 / 6},
      {"no crossing", {{1, 2, 3}}, {}, {}, kNoSpacing},
      {"NaN is on no side", {{-1, kNaN, 1, -1}}, {2.5}, {2}, kNoSpacing},
      {"interval scales",
       {{-1, 3, 1, -1}, 0, 1, 3, 4e-12, 0, 0, 0, 4e-12},
       {1e-12, 1e-11},
       {1, 6},
       9e-12},
      {"filter drops a glitch", {{-1, 1, -1, -1, -1, 1, 1, 1}, 0, 3}, {1.5, 4.5}, {2, 4 | 1}, 3},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const Found found = Find(c.search);
    EXPECT_EQ(found.status, 0u);
    ASSERT_EQ(found.times.size(), c.times.size());
    for (size_t i = 0; i < c.times.size(); ++i) EXPECT_DOUBLE_EQ(found.times[i], c.times[i]);
    EXPECT_EQ(found.flags, c.flags);
    EXPECT_DOUBLE_EQ(found.smallest, c.smallest);
  }
}

// A candidate near the end is judged by the samples there are: visible ones, then one hidden one.
TEST(CrossoverFinder, FilterWalkAtTheEnd) {
  const std::vector<float> samples = {-1, -1, 1, 1, 1};
  const struct {
    uint32_t filter_count, stop, hidden;
    size_t edges;
  } cases[] = {
      {3, 4, 0, 1},          {4, 4, 0, 0},  // runs out of samples
      {3, 3, 0, 1},                         // one visible sample past the stop
      {4, 3, 0, 0},                         // but not two
      {3, 3, 1, 1},                         // one hidden sample
      {0, 2, 2, 1},          {1, 2, 2, 1},  // accepted at once
      {0xFFFFFFFF, 4, 0, 0},
  };
  for (const auto &c : cases) {
    const Found found = Find({samples, 0, c.filter_count, 3, 1, 0, c.stop, c.hidden});
    EXPECT_EQ(found.times.size(), c.edges) << c.filter_count << " " << c.stop << " " << c.hidden;
  }
  // The hidden sample lies inside the band: the edge does not hold.
  EXPECT_TRUE(Find({{-1, 1, 1, 0}, 0, 3, 3, 1, 0, 2, 1}).times.empty());
}

TEST(CrossoverFinder, DeemphasisFlagFromOneAndAHalfUi) {
  // Edges at 0.5, 3.5, 6 + 2/3: gaps of 3 and 3.17 samples.
  const std::vector<float> samples = {-1, 1, 1, 1, -1, -1, -2, 1, 1, 1};
  EXPECT_EQ(Find({samples, 0, 1, 3, 2.0}).flags, (std::vector<int>{1, 6, 5}));
  EXPECT_EQ(Find({samples, 0, 1, 3, 2.1}).flags, (std::vector<int>{1, 2, 5}));
  EXPECT_EQ(Find({samples, 0, 1, 3, 2.3}).flags, (std::vector<int>{1, 2, 1}));
}

TEST(CrossoverFinder, SlopesAreFloatDifferences) {
  Search search{{-0.1f, 0.3f, 0.3f, -0.2f}};
  search.with_slopes = true;
  search.interval = 3e-12;
  search.unit_interval = 3e-12;
  const Found found = Find(search);
  const double per_second = 1.0 / 3e-12;
  EXPECT_EQ(found.slopes, (std::vector<double>{double{0.3f - -0.1f} * per_second,
                                               double{-0.2f - 0.3f} * per_second}));
}

TEST(CrossoverFinder, CapacityEndsTheScanWithAWarning) {
  // 8 samples of 1 s: 10 s of room in units of the interval given.
  const std::vector<float> samples = {-1, 1, -1, 1, -1, 1, -1, 1};
  const struct {
    uint32_t types;
    double unit_interval;
    VomoStatus status;
    size_t count;
  } cases[] = {
      {3, 1.25, Vomo_STATUS_SUCCESS, 7},                     // room for 8
      {3, 10.0 / 7, Vomo_STATUS_CROSSOVER_MEMORY_LIMIT, 7},  // full with the last edge
      {3, 2.0, Vomo_STATUS_CROSSOVER_MEMORY_LIMIT, 5},
      {0, 2.0, Vomo_STATUS_SUCCESS, 7},                 // twice the room
      {1, 5.0, Vomo_STATUS_CROSSOVER_MEMORY_LIMIT, 2},  // of 4, thinned
      {3, 11.0, Vomo_STATUS_CROSSOVER_MEMORY_LIMIT, 0},
      {3, -1.0, Vomo_STATUS_CROSSOVER_MEMORY_LIMIT, 0},
      {3, std::nan(""), Vomo_STATUS_CROSSOVER_MEMORY_LIMIT, 0},
  };
  for (const auto &c : cases) {
    const Found found = Find({samples, 0, 1, c.types, c.unit_interval});
    EXPECT_EQ(found.status, c.status) << c.types << " " << c.unit_interval;
    EXPECT_EQ(found.times.size(), c.count) << c.types << " " << c.unit_interval;
  }
  Search search{samples, 0, 1, 3, 11.0};
  search.with_slopes = true;
  EXPECT_EQ(Find(search).status, Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(Find({{1, 1}, 0, 1, 3, 1e-12}).status, Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(Find({{1, 1}, 0, 1, 3, 11.0}).status, Vomo_STATUS_SUCCESS);
}

TEST(CrossoverFinder, WidthLimitsAllowSoMany) {
  // Gaps of 1, 3, 1, 3 samples.
  const std::vector<float> samples = {-1, 1, -1, -1, -1, 1, -1, -1, -1, 1};
  const struct {
    VomoCrossoverLimits limits;
    VomoStatus status;
  } cases[] = {
      {{1.5, 0.0, 2, 0}, Vomo_STATUS_SUCCESS},
      {{1.5, 0.0, 1, 0}, Vomo_STATUS_INVALID_INTERVAL},
      {{1.0, 0.0, 0, 0}, Vomo_STATUS_SUCCESS},
      {{0.0, 2.5, 0, 2}, Vomo_STATUS_SUCCESS},
      {{0.0, 2.5, 0, 1}, Vomo_STATUS_INVALID_INTERVAL},
      {{-1.0, 3.0, 0, 0}, Vomo_STATUS_SUCCESS},
      {{0.0, 0.0, 0, 0}, Vomo_STATUS_SUCCESS},
  };
  for (const auto &c : cases) {
    Search search{samples};
    search.limits = &c.limits;
    const Found found = Find(search);
    EXPECT_EQ(found.status, c.status) << c.limits.dMinWidth << " " << c.limits.dMaxWidth;
    EXPECT_EQ(found.smallest, Vomo_STATUS_IS_ERROR(c.status) ? -1.0 : 1.0);
  }
}

TEST(CrossoverFinder, OneSidedRequestsThinByPosition) {
  const struct {
    const char *name;
    std::vector<float> samples;
    uint32_t types;
    std::vector<int> flags;
  } cases[] = {
      {"starts low, rising", {-1, 1, -1, 1}, 1, {1, 1}},
      {"starts low, falling", {-1, 1, -1, 1}, 2, {2}},
      {"starts high, rising", {1, -1, 1, -1}, 1, {1}},
      {"starts high, falling", {1, -1, 1, -1}, 2, {2, 2}},
      {"zero then high, rising", {0, 1, -1, 1}, 1, {1, 1}},
      {"zero then high, falling", {0, 1, -1, 1}, 2, {2}},
      {"zero then low, falling", {0, -1, 1, -1}, 2, {2, 2}},
      {"zero then zero, rising", {0, 0, 1, -1}, 1, {2}},
      {"NaN, rising", {kNaN, -1, 1, -1, 1}, 1, {2}},
      {"doubled edge turns the sense", {-2, 2, 0.5f, 2, -2, 2}, 1, {1, 2}},
      {"INVALID value acts as its low bits", {-1, 1, -1, 1}, 4 + 2, {2}},
  };
  for (const auto &c : cases) {
    const bool band = c.samples[0] == -2;
    EXPECT_EQ(Find({c.samples, band ? 1.0f : 0.0f, 1, c.types, 1.8}).flags, c.flags) << c.name;
  }
}

TEST(CrossoverFinder, TwoPartRequestReservesElements) {
  const float samples[] = {-1, 1, -1, 1};
  const VomoWaveform waveform{4, 1.0, const_cast<float *>(samples), 0, 0};
  vomo::Received<VomoCrossoverData> list;
  double smallest = 0;
  ASSERT_EQ(Vomo_FIND_CROSSOVERS_EX(&waveform, 0, 1, 0, 3, 1.0, Vomo_CROSSOVER_2PART_RISING,
                                    list.pointer(), list.handle_out(), nullptr, nullptr, &smallest),
            0u);
  EXPECT_EQ(list->ulCount, 2u);
  EXPECT_EQ(list->ulTwoPartCount, 10u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(list->psTwoPartArray) % 8, 0u);
  for (uint32_t i = 0; i < 10; ++i) list->psTwoPartArray[i] = {1, 2, 3, 4, 5};
  EXPECT_EQ(FlagsOf(*list.get()), (std::vector<int>{1, 1}));
}

TEST(CrossoverFinder, WrappersFixTheirArguments) {
  // 0.0005 V stays inside the default band; a run of two beyond it fails the default filter.
  float samples[] = {-1, 0.0005f, 0.0005f, 0.0005f, -1, 1, 1, -1, -1, -1, 1, 1, 1, 1};
  const VomoWaveform waveform{14, 1.0, samples, 0, 0};
  vomo::Received<VomoCrossoverData> list, filtered;
  double smallest = 0;
  ASSERT_EQ(Vomo_FIND_CROSSOVERS(&waveform, 0, 13, 1.0, 3, list.pointer(), list.handle_out(),
                                 nullptr, nullptr, &smallest),
            0u);
  EXPECT_EQ(TimesOf(*list.get()), (std::vector<double>{6.5, 9.5}));
  ASSERT_EQ(Vomo_FIND_CROSSOVERS_EX(&waveform, 0.0001f, 1, 0, 13, 1.0, 3, filtered.pointer(),
                                    filtered.handle_out(), nullptr, nullptr, &smallest),
            0u);
  EXPECT_EQ(filtered->ulCount, 5u);
}

TEST(CrossoverFinder, RefusesBadArguments) {
  float samples[4] = {-1, 1, -1, 1};
  const struct {
    VomoWaveform waveform;
    uint32_t start, stop;
    VomoStatus status;
  } cases[] = {
      {{4, 1.0, samples, 0, 0}, 2, 2, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {{4, 1.0, samples, 0, 0}, 3, 2, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {{4, 1.0, samples, 0, 0}, 0, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {{0, 1.0, samples, 0, 0}, 0, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {{4, 0.0, samples, 0, 0}, 0, 3, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {{4, std::nan(""), samples, 0, 0}, 0, 3, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {{4, 1.0, nullptr, 0, 0}, 0, 3, Vomo_STATUS_PARAM_NOT_VALID},
  };
  VomoCrossoverData *list = nullptr;
  VomoHandle handle = 33;
  double smallest = -1;
  for (const auto &c : cases) {
    EXPECT_EQ(Vomo_FIND_CROSSOVERS(&c.waveform, c.start, c.stop, 1.0, 3, &list, &handle, nullptr,
                                   nullptr, &smallest),
              c.status);
  }
  const VomoWaveform good{4, 1.0, samples, 0, 0};
  EXPECT_EQ(
      Vomo_FIND_CROSSOVERS(nullptr, 0, 3, 1.0, 3, &list, &handle, nullptr, nullptr, &smallest),
      Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(
      Vomo_FIND_CROSSOVERS(&good, 0, 3, 1.0, 3, nullptr, &handle, nullptr, nullptr, &smallest),
      Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_FIND_CROSSOVERS(&good, 0, 3, 1.0, 3, &list, &handle, nullptr, nullptr, nullptr),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(handle, 33u);
  EXPECT_EQ(smallest, -1);
}

// One sample after the other, straight from the definition.
std::vector<double> EdgesOneByOne(const std::vector<float> &s, double threshold,
                                  uint32_t filter_count, uint32_t start, uint32_t stop) {
  std::vector<double> times;
  for (uint32_t i = start; i < stop; ++i) {
    const double a = s[i], b = s[i + 1];
    int sense = 0;
    if (a <= threshold && b > threshold) {
      sense = 1;
    } else if (a >= -threshold && b < -threshold) {
      sense = -1;
    }
    if (sense == 0) continue;
    uint32_t beyond = 1;
    for (uint32_t j = i + 2; beyond < filter_count && j <= stop + 1 && j < s.size(); ++j) {
      const double v = s[j];
      if (!(sense > 0 ? v > threshold : v < -threshold)) break;
      ++beyond;
    }
    if (filter_count < 2 || beyond >= filter_count) times.push_back(i - a / (b - a));
  }
  return times;
}

TEST(CrossoverFinder, AgreesWithASampleByPlainSampleScanAtEveryLevel) {
  std::mt19937_64 random(20);
  std::normal_distribution<float> normal;
  const auto active = vomo::ActiveCpuLevel();
  for (const auto level :
       {vomo::CpuLevel::kBaseline, vomo::CpuLevel::kAvx2, vomo::CpuLevel::kAvx512}) {
    if (!vomo::ForceCpuLevel(level)) continue;
    for (const uint32_t count : {2u, 3u, 63u, 64u, 65u, 66u, 129u, 4096u, 4097u, 4098u, 9000u}) {
      std::vector<float> samples(count);
      float value = 0;
      for (float &s : samples) s = std::round(16 * (value = 0.8f * value + normal(random))) / 16;
      samples[count / 3] = kNaN;
      for (const float threshold : {0.0f, 0.25f, -0.25f}) {
        for (const uint32_t filter_count : {1u, 3u, 7u}) {
          const uint32_t start = count / 7, stop = count - 1 - count / 100;
          if (start >= stop) continue;
          const Found found =
              Find({samples, threshold, filter_count, Vomo_CROSSOVERS_ALL, 0.5, start, stop});
          EXPECT_EQ(found.times, EdgesOneByOne(samples, threshold, filter_count, start, stop))
              << count << " samples, threshold " << threshold << ", filter " << filter_count;
        }
      }
    }
  }
  vomo::ForceCpuLevel(active);
}

}  // namespace
