#include <gtest/gtest.h>
#include <vomo.h>

#include <functional>
#include <limits>

#include "support/crossovers.h"
#include "trace.h"

namespace {

using vomo_test::CrossoverList;
using vomo_test::kInterval;
using vomo_test::Trace;

constexpr auto kBad = Vomo_STATUS_PARAM_OUT_OF_RANGE;
constexpr double kUntouched = -77;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Running {
  double min = kUntouched, max = kUntouched;
  void Expect(double low, double high) const {
    EXPECT_EQ(min, low);
    EXPECT_EQ(max, high);
  }
};

TEST(LfBurstTimes, OfTheIndexedBurst) {
  const uint32_t bounds[] = {100, 200, 1000, 1060, 1700, 1650, 4000};
  Running r;
  ASSERT_EQ(Vomo_LF_BURST_TIME(0, 0.1, bounds, &r.min, &r.max), 0u);
  r.Expect(10.0f, 10.0f);
  ASSERT_EQ(Vomo_LF_BURST_TIME(1, 0.1, bounds, &r.min, &r.max), 0u);
  r.Expect(6.0f, 10.0f);
  // A turned pair: the difference wraps.
  ASSERT_EQ(Vomo_LF_BURST_TIME(2, 0.1, bounds, &r.min, &r.max), 0u);
  r.Expect(6.0f, static_cast<float>(4294967246.0 * 0.1));
  ASSERT_EQ(Vomo_LF_REPEAT_TIME(1, 0.3, bounds, &r.min, &r.max), 0u);
  EXPECT_EQ(r.min, 6.0f);
  ASSERT_EQ(Vomo_LF_REPEAT_TIME(0, 0.3, bounds, &r.min, &r.max), 0u);
  r.Expect(270.0f, 270.0f);
  ASSERT_EQ(Vomo_LF_REPEAT_TIME(2, 0.3, bounds, &r.min, &r.max), 0u);
  r.Expect(270.0f, 690.0f);
  const double prepare[] = {1, 2, 4, 11, 12, 17.5};
  ASSERT_EQ(Vomo_LF_PREPARE_TIME(0, prepare, &r.min, &r.max), 0u);
  r.Expect(2, 2);
  ASSERT_EQ(Vomo_LF_PREPARE_TIME(1, prepare, &r.min, &r.max), 0u);
  r.Expect(2, 5.5);
}

TEST(LfCommonMode, LargestRange) {
  const float samples[] = {9, 1, 3, 2, 5, 1e8f, -1, -9};
  const float *pointer = samples, *none = nullptr;
  double max = kUntouched;
  ASSERT_EQ(Vomo_LF_COMMON_MODE(0, &pointer, 1, 3, &max), 0u);
  EXPECT_EQ(max, 2);
  ASSERT_EQ(Vomo_LF_COMMON_MODE(1, &pointer, 3, 3, &max), 0u);
  EXPECT_EQ(max, 2);
  ASSERT_EQ(Vomo_LF_COMMON_MODE(2, &pointer, 3, 4, &max), 0u);
  EXPECT_EQ(max, 3);
  ASSERT_EQ(Vomo_LF_COMMON_MODE(3, &pointer, 5, 6, &max), 0u);
  EXPECT_EQ(max, 1e8);  // in float
  ASSERT_EQ(Vomo_LF_COMMON_MODE(0, &pointer, 1, 2, &max), 0u);
  EXPECT_EQ(max, 2);
  EXPECT_EQ(Vomo_LF_COMMON_MODE(0, &none, 0, 7, &max), kBad);
  EXPECT_EQ(Vomo_LF_COMMON_MODE(0, &pointer, 4, 3, &max), kBad);
  EXPECT_EQ(max, 2);
}

TEST(LfPolarity, OfTheSampleBehindTheFirstCrossover) {
  float samples[] = {0, 1, -1, 0, 0.5f, static_cast<float>(kNaN)};
  const VomoWaveform waveform{6, 0.5, samples, 0, 0};
  CrossoverList list({0.9, 77});  // sample 1
  int32_t rising = -7;
  const auto find = [&](CrossoverList &edges, int32_t offset) {
    return Vomo_LF_INITIAL_RISE_FALL(&waveform, edges.get(), offset, &rising);
  };
  EXPECT_EQ(find(list, 1), 0u);
  EXPECT_EQ(rising, 0);
  EXPECT_EQ(find(list, 3), 0u);
  EXPECT_EQ(rising, 1);
  rising = -7;
  EXPECT_EQ(find(list, 2), Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_EQ(find(list, 4), Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_EQ(find(list, 5), kBad);
  EXPECT_EQ(find(list, 0x7FFFFFFF), kBad);
  EXPECT_EQ(find(list, 0), kBad);
  CrossoverList outside({3.0}), empty({});
  EXPECT_EQ(find(outside, 1), kBad);
  EXPECT_EQ(find(empty, 1), kBad);
  EXPECT_EQ(rising, -7);
}

class LfPrepareLevels : public testing::Test {
 protected:
  VomoStatus Run(std::vector<double> prepare, double guard_start, double guard_end,
                 int32_t index = 0) {
    VomoWaveform waveform{static_cast<uint32_t>(samples_.size()), 0.5, samples_.data(), 0, 0};
    return Vomo_LF_DIFF_DC(index, &waveform, prepare.data(), guard_start, guard_end, &high_, &low_,
                           &r_.min, &r_.max);
  }
  void Expect(float high, float low, double min, double max) {
    EXPECT_EQ(high_, high);
    EXPECT_EQ(low_, low);
    r_.Expect(min, max);
  }

  std::vector<float> samples_{-1, -2, -3, -4, 2, 4, 6, 8};
  Running r_;
  float high_ = -77, low_ = -77;
};

TEST_F(LfPrepareLevels, MeansOfThePhases) {
  ASSERT_EQ(Run({0, 2, 3.5}, 0, 0), 0u);  // samples 4 to 7 and 0 to 4, ends included
  Expect(5, -8.0f / 5, 8.0f / 5, 5);
  ASSERT_EQ(Run({0, 2, 3.5}, 0.5, 1.0), 0u);  // 5 to 5 and 1 to 2
  Expect(4, -2.5f, 2.5, 4);
  ASSERT_EQ(Run({7, 8, 9, 0, 1.99, 3.99}, 0, 0, 1), 0u);  // 3 to 7 and 0 to 3: joins 2.5 and 4
  Expect(16.0f / 5, -2.5f, 2.5, 4);
  // A negative high level is no magnitude.
  ASSERT_EQ(Run({2, 0, 1.5}, 0, 4.0 - 3.5), kBad);
  samples_ = {3, 3, -1, -2};
  ASSERT_EQ(Run({0, 1, 1.5}, 0, 0.5), 0u);
  Expect(-1, 3, -1, 3);
}

TEST_F(LfPrepareLevels, RefuseRanges) {
  const std::vector<double> bad[] = {
      {0, kInfinity, 3}, {0, kNaN, 3},  {-kInfinity, 1, 3}, {0, 1, -kInfinity},
      {0, 1, 4.0},       {0, 2, 1},     {1.5, 0.5, 2},      {-0.5, 1, 2},
      {kNaN, 1, 2},      {0, 1, 1e300}, {0, 1, kNaN},       {0, -1e300, 3},
  };
  for (const auto &prepare : bad) {
    EXPECT_EQ(Run(prepare, 0, 0), kBad) << prepare[0] << " " << prepare[1] << " " << prepare[2];
  }
  Expect(-77, -77, kUntouched, kUntouched);
  EXPECT_EQ(Run({-0.4, 1, 2}, 0, 0), 0u);  // truncates to sample 0
}

// Five edges between 0.4 V and -0.2 V, slopes of 0.6 V over the given lengths.
class LfRiseFall : public testing::Test {
 protected:
  static constexpr double kEdges[] = {40.3, 80.1, 120.6, 160.4, 200.2};

  // The first edge rises.
  explicit LfRiseFall(std::vector<double> lengths = {6, 9, 12, 15, 6}) {
    trace_.To(0, -0.2);
    for (size_t k = 0; k < 5; ++k) trace_.Edge(kEdges[k], k % 2 == 0 ? 0.4 : -0.2, lengths[k]);
    trace_.Hold(240);
    SetCrossovers(0, 5);
  }
  void SetCrossovers(size_t from, size_t to) {
    std::vector<double> times;
    for (size_t k = from; k < to; ++k) times.push_back(kEdges[k] * kInterval);
    list_ = CrossoverList(times);
  }

  struct Arguments {
    int32_t index = 0, first_rising = 1, reach = 15;
    float low = 0.2f, high = 0.8f, begin = 0.5f, end = 0.75f;
    const float *levels = nullptr;
  };
  VomoStatus Run(const Arguments &a) {
    const VomoWaveform waveform = trace_.Waveform();
    return Vomo_LF_RISE_FALL_TIME(&waveform, a.index, list_.get(), a.first_rising, a.reach, a.low,
                                  a.high, a.begin, a.end, a.levels, &rise_, &fall_);
  }
  // Float samples are off by 2^-26 at most and levels by as much again, on slopes of 0.04 V a
  // sample or more: four such errors are 1.5e-6 samples. Times are rounded to float.
  void Expect(double rise_samples, double fall_samples) {
    EXPECT_NEAR(rise_ / kInterval, rise_samples, 5e-6);
    EXPECT_NEAR(fall_ / kInterval, fall_samples, 5e-6);
  }

  Trace trace_;
  CrossoverList list_{std::vector<double>{}};
  double rise_ = kUntouched, fall_ = kUntouched;
};

TEST_F(LfRiseFall, LongestBetweenTheLevels) {
  ASSERT_EQ(Run({}), 0u);
  Expect(0.6 * 12, 0.6 * 15);  // the first and the last edge don't count
  ASSERT_EQ(Run({.low = 0.1f, .high = 0.6f}), 0u);
  Expect(0.5 * 12, 0.5 * 15);
  // Given levels are high, low: -0.1 to 0.3 V here.
  const float levels[] = {0.4f, -0.6f};
  ASSERT_EQ(Run({.low = 0.5f, .high = 0.9f, .levels = levels}), 0u);
  Expect(12 * 0.4 / 0.6, 15 * 0.4 / 0.6);
  // Bursts join by their maxima.
  rise_ = 8 * kInterval;
  fall_ = 1 * kInterval;
  ASSERT_EQ(Run({.index = 2}), 0u);
  Expect(8, 0.6 * 15);
  // From an edge that falls.
  SetCrossovers(1, 5);
  ASSERT_EQ(Run({.first_rising = 0}), 0u);
  Expect(0.6 * 12, 0.6 * 15);
  SetCrossovers(1, 4);
  ASSERT_EQ(Run({.first_rising = 0}), 0u);
  Expect(0.6 * 12, 0);
  SetCrossovers(1, 3);
  ASSERT_EQ(Run({.first_rising = 0}), 0u);
  Expect(0, 0);
}

// The window decides which samples make the levels: a dent in front of it changes nothing, one at
// its first sample does.
TEST_F(LfRiseFall, LevelsComeFromTheWindow) {
  // The half period from sample 40 to 80 is 40 long: the window is 60 to 70, eleven samples.
  auto &samples = trace_.samples();
  samples[59] = samples[71] = 9;
  ASSERT_EQ(Run({}), 0u);
  Expect(0.6 * 12, 0.6 * 15);
  // The two high means are 0.4 V and 0.4 - 1.1 / 11 V: the high level is 0.35 V, the swing 0.55 V.
  samples[60] = 0.4f - 1.1f;
  ASSERT_EQ(Run({}), 0u);
  Expect(0.6 * 12 * 0.55 / 0.6, 0.6 * 15 * 0.55 / 0.6);
}

// The rise of 12 samples is at -0.14 V at 117.8 and at 0.1 V at 122.6. The first samples beyond are
// 117 and 123, four samples from 120 with 120 counted.
TEST_F(LfRiseFall, ReachCountsTheCrossoversSample) {
  const float levels[] = {0.4f, -0.2f};
  const auto run = [&](int32_t reach) {
    return Run({.reach = reach, .low = 0.1f, .high = 0.5f, .levels = levels});
  };
  ASSERT_EQ(run(4), 0u);
  EXPECT_NEAR(rise_ / kInterval, 0.4 * 12, 5e-6);
  ASSERT_EQ(run(3), 0u);  // both ends stay at 0.0
  EXPECT_EQ(rise_, 0.0);
  // The walks end with the waveform, too.
  const float beyond[] = {1.0f, 0.9f};
  ASSERT_EQ(Run({.reach = 0x7FFFFFFF, .levels = beyond}), 0u);
  EXPECT_EQ(rise_, 0.0);
}

// A sample that is beyond a level already but has no neighbour towards the crossover gives none.
TEST_F(LfRiseFall, EdgesAtTheEndsOfTheWaveform) {
  trace_.samples() = {-1, 1, 1, -1};
  list_ = CrossoverList({0, 0, 3 * kInterval, 3 * kInterval});
  const float levels[] = {0.4f, -0.2f};
  ASSERT_EQ(Run({.reach = 1, .levels = levels}), 0u);
  Expect(0, 0);
}

TEST_F(LfRiseFall, WhatIsNotReachedStandsFromTheEdgeBefore) {
  trace_ = Trace();
  trace_.To(0, -0.2).Edge(20, 0.4, 6).Edge(50, -0.2, 6).Edge(80, 0.4, 6).Edge(110, -0.05, 9);
  trace_.Edge(140, 0.4, 9).Edge(170, -0.2, 6).Hold(190);
  list_ = CrossoverList({20 * kInterval, 50 * kInterval, 80 * kInterval, 110 * kInterval,
                         140 * kInterval, 170 * kInterval});
  const float levels[] = {0.4f, -0.2f};
  ASSERT_EQ(Run({.levels = levels}), 0u);
  // The second rise comes from above the low level, -0.08 V: it counts from the first one's start
  // at 79.2 to its own end at 145.6. The second fall likewise ends before it begins.
  Expect(145.6 - 79.2, 0.6 * 6);
}

TEST_F(LfRiseFall, Refuse) {
  const float levels[] = {0.4f, -0.2f};
  const auto nan = static_cast<float>(kNaN);
  for (const Arguments &a : std::initializer_list<Arguments>{
           {.first_rising = 2},
           {.first_rising = -1},
           {.reach = 0},
           {.low = -0.1f},
           {.low = 1.1f},
           {.low = nan},
           {.high = -0.1f},
           {.high = nan},
           {.begin = -0.1f},
           {.end = -0.1f},
           {.begin = nan},
           {.begin = 0.8f, .end = 0.7f},
           {.end = 2.1f},
           {.begin = 1e30f, .end = 1e30f},
       }) {
    EXPECT_EQ(Run(a), kBad);
  }
  SetCrossovers(0, 5);
  list_.times[4] = list_.times[3] - 20 * kInterval;
  EXPECT_EQ(Run({}), kBad);
  EXPECT_EQ(Run({.levels = levels}), 0u);  // the last crossover bounds a window only
  rise_ = fall_ = kUntouched;
  list_.times[3] = 240 * kInterval;
  EXPECT_EQ(Run({.levels = levels}), kBad);
  EXPECT_EQ(rise_ + fall_, 2 * kUntouched);
}

}  // namespace
