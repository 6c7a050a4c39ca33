#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "core/handle_table.h"
#include "support/crossovers.h"
#include "support/handle_pressure.h"
#include "support/waveforms.h"

namespace {

using vomo::Received;
using vomo_test::CrossoverList;
using vomo_test::Samples;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
// Peak high, peak low, steady high, steady low.
constexpr float kLevels[]{0.6f, -0.6f, 0.4f, -0.4f};

// From the samples, in samples.
std::vector<double> SampledTimes(CrossoverList &edges, Samples &waveform, uint32_t first,
                                 uint32_t last, const float *levels, float low, float high) {
  Received<double> times;
  uint32_t count = 0;
  EXPECT_EQ(
      Vomo_FIND_RISE_FALL_TIMES_WAVEFORM(edges.get(), waveform.get(), first, last, levels, low,
                                         high, &count, times.pointer(), times.handle_out()),
      Vomo_STATUS_SUCCESS);
  EXPECT_EQ(count, last - first + 1);
  std::vector<double> result(times.get(), times.get() + count);
  for (double &t : result) t /= waveform.record.dSampleInterval;
  return result;
}

struct Trapezoid {
  uint8_t flags;
  double from, to;  // volts
  double duration;  // samples
};

// Straight edges between all kinds of levels, each of a duration of its own and at no round place.
// From 20 % to 80 % it takes 0.6 of its duration, by either method.
TEST(EdgeTimes, Trapezoids) {
  constexpr uint8_t kSteadyRise = CROSSOVER_RISE | CROSSOVER_DEEMPH,
                    kSteadyFall = CROSSOVER_FALL | CROSSOVER_DEEMPH;
  const Trapezoid shapes[] = {
      {CROSSOVER_RISE, -0.6, 0.6, 10.3}, {CROSSOVER_FALL, 0.6, -0.6, 17.9},
      {kSteadyRise, -0.4, 0.6, 12.6},    {kSteadyFall, 0.4, -0.6, 23.7},
      {CROSSOVER_RISE, -0.6, 0.6, 30.1}, {kSteadyFall, 0.4, -0.6, 9.2},
  };
  constexpr double kInterval = 2e-12;
  std::vector<float> samples;
  std::vector<double> crossings, slopes;
  double previous = shapes[0].from, place = 40.37;
  for (const Trapezoid &s : shapes) {
    const double begin = place, slope = (s.to - s.from) / s.duration;
    // From the level behind the last edge to the one in front of this one in small steps.
    const size_t glide_from = samples.size();
    const auto glide_to = static_cast<size_t>(begin);
    for (size_t i = glide_from; i <= glide_to; ++i) {
      const double share =
          static_cast<double>(i - glide_from + 1) / static_cast<double>(glide_to - glide_from + 1);
      samples.push_back(static_cast<float>(previous + (s.from - previous) * share));
    }
    while (static_cast<double>(samples.size()) < begin + s.duration) {
      const double along = static_cast<double>(samples.size()) - begin;
      samples.push_back(static_cast<float>(s.from + slope * along));
    }
    crossings.push_back((begin - s.from / slope) * kInterval);
    slopes.push_back(slope / kInterval);
    previous = s.to;
    place += 80.61;
  }
  samples.insert(samples.end(), 20, static_cast<float>(previous));

  CrossoverList edges(crossings);
  for (size_t k = 0; k < crossings.size(); ++k) edges.flags[k] = shapes[k].flags;
  Samples waveform(samples, kInterval);
  const auto last = static_cast<uint32_t>(crossings.size()) - 1;
  for (const uint32_t first : {0u, 2u}) {
    const auto sampled = SampledTimes(edges, waveform, first, last, kLevels, 0.2f, 0.8f);
    Received<double> from_slopes;
    uint32_t count = 0;
    ASSERT_EQ(Vomo_FIND_RISE_FALL_TIMES_SLOPE(edges.get(), slopes.data(), first, last, kLevels,
                                              0.2f, 0.8f, &count, from_slopes.pointer(),
                                              from_slopes.handle_out()),
              Vomo_STATUS_SUCCESS);
    ASSERT_EQ(count, last - first + 1);
    for (uint32_t k = 0; k < count; ++k) {
      SCOPED_TRACE(first + k);
      const double expected = 0.6 * shapes[first + k].duration;
      // Samples, levels and fractions are floats, good to 6e-8 of 0.6 V or of 1; a slope of 1/30 V
      // for each sample makes 1e-6 samples of each of the four that meet.
      EXPECT_NEAR(sampled[k], expected, 1e-5);
      EXPECT_NEAR(from_slopes[k] / kInterval, expected, expected * 4e-7);
    }
  }
}

// Samples and thresholds in whole volts: levels of 8 V and 0 V with fractions of eighths.
TEST(EdgeTimes, WalksAndTheirEnds) {
  const float levels[]{8, 0, 8, 0};
  const struct {
    const char *what;
    std::vector<float> samples;
    double at;
    bool rises;
    float low, high;
    double expected;
  } cases[] = {
      {"through samples on the thresholds", {0, 2, 4, 6, 8}, 2, true, 0.25f, 0.75f, 2},
      {"between samples", {0, 2, 4, 6, 8}, 2.9, true, 0.375f, 0.875f, 2},
      {"falling", {8, 6, 4, 2, 0}, 2.9, false, 0.375f, 0.875f, 2},
      {"an edge before its crossing", {0, 0, 1, 3, 8}, 1, true, 0.125f, 0.75f, 1 + 0.6},
      {"the start is never reached", {1, 2, 3, 4, 5}, 3, true, 0, 0.5f, 3 + 1},
      {"the start is never reached falling", {7, 6, 5, 4, 3}, 3, false, 0.5f, 1, 3 + 1},
      {"the end is never reached", {1, 2, 3, 4, 5}, 3, true, 0.25f, 1, 7 - 1},
      {"the end is never reached falling", {7, 6, 5, 4, 3}, 3, false, 0, 0.75f, 7 - 1},
      {"equal neighbours", {1, 1, 1}, 1, true, 0, 1, 2},
      {"a single sample", {3}, 0, true, 0.25f, 0.75f, 0},
      {"no sample behind the last", {8, 0}, 1, true, 0.25f, 0.75f, 0.25 - 1},
      {"no sample in front of the first", {8, 9}, 0, true, 0.25f, 0.75f, 0 - -6},
      {"a time behind the samples", {0, 2, 4, 6, 8}, 1e30, true, 0.25f, 0.75f, 2},
      {"a time before them", {0, 2, 4, 6, 8}, -5, true, 0.25f, 0.75f, 3 - 1},
      {"no time", {0, 2, 4, 6, 8}, kNan, true, 0.25f, 0.75f, 3 - 1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    CrossoverList edges({c.at, c.at});
    edges.flags.assign(2, c.rises ? CROSSOVER_RISE : CROSSOVER_FALL);
    Samples waveform(c.samples);
    // The second edge is the first one again: what is known already doesn't change it.
    EXPECT_EQ(SampledTimes(edges, waveform, 0, 1, levels, c.low, c.high),
              (std::vector<double>{c.expected, c.expected}));
  }
}

// The walk over every sample, as one would write it down.
double PlainWalk(const std::vector<float> &s, int64_t i, bool rises, float low, float high) {
  const float begin_v = rises ? low : high, end_v = rises ? high : low;
  const auto n = static_cast<int64_t>(s.size());
  const auto at = [&](int64_t k) { return double{s[static_cast<size_t>(k)]}; };
  const auto step = [](double part, double whole) { return whole == 0 ? 0 : part / whole; };
  while (i > 0 && (rises ? at(i) > begin_v : begin_v > at(i))) --i;
  const double start =
      static_cast<double>(i) + (i == n - 1 ? 0 : step(begin_v - at(i), at(i + 1) - at(i)));
  while (i < n - 1 && (rises ? end_v > at(i) : at(i) > end_v)) ++i;
  return static_cast<double>(i) - (i == 0 ? 0 : step(at(i) - end_v, at(i) - at(i - 1))) - start;
}

// Walks use what earlier ones of their kind have seen. That may not show: not with thresholds that
// are seldom or never reached, and not with edges in any order.
TEST(EdgeTimes, EarlierWalksDoNotShow) {
  std::mt19937 random(5);
  for (int round = 0; round < 200; ++round) {
    std::vector<float> samples(60);
    for (float &v : samples) v = static_cast<float>(random() % 17) - 8;
    // Fractions of 0 and 1 make the levels the thresholds.
    const float low = static_cast<float>(random() % 20) - 10;
    const float levels[]{low + static_cast<float>(random() % 12), low, 0, 0};
    std::vector<double> times;
    for (int k = 0; k < 40; ++k) times.push_back(static_cast<double>(random() % 60));
    if (round % 2 == 0) std::sort(times.begin(), times.end());
    CrossoverList edges(times);
    Samples waveform(samples);
    const auto measured = SampledTimes(edges, waveform, 0, 39, levels, 0.0f, 1.0f);
    for (size_t k = 0; k < times.size(); ++k) {
      EXPECT_EQ(measured[k], PlainWalk(samples, static_cast<int64_t>(times[k]), k % 2 == 0,
                                       levels[1], levels[0]))
          << round << ", " << k;
    }
  }
}

// An edge of neither direction, or of both, falls; a slope of 0 takes for ever, its sign is
// nothing.
TEST(EdgeTimes, SlopesAndFlags) {
  CrossoverList edges({0, 1, 2, 3, 4, 5});
  edges.flags = {0, 3, CROSSOVER_DEEMPH, 7, CROSSOVER_RISE, CROSSOVER_RISE | CROSSOVER_DEEMPH};
  const double slopes[]{1, -1, 2, -2, 0, 0.5};
  const float levels[]{2, -1, 1, 0.5f};
  const double expected[]{3 * 0.5, 3 * 0.5, 2 * 0.25, 2 * 0.25, INFINITY, 1.5};
  Received<double> times;
  uint32_t count = 0;
  ASSERT_EQ(Vomo_FIND_RISE_FALL_TIMES_SLOPE(edges.get(), slopes, 0, 5, levels, 0.25f, 0.75f, &count,
                                            times.pointer(), times.handle_out()),
            Vomo_STATUS_SUCCESS);
  for (uint32_t k = 0; k < count; ++k) EXPECT_EQ(times[k], expected[k]) << k;
}

struct Call {
  CrossoverList edges{{0, 1, 2}};
  Samples waveform{{0, 1, 0}};
  std::vector<double> slopes{1, 1, 1};
  VomoCrossoverData list = *edges.get();
  const VomoCrossoverData *edges_argument = &list;
  const VomoWaveform *waveform_argument = waveform.get();
  const double *slopes_argument = slopes.data();
  const float *levels = kLevels;
  uint32_t first = 0, last = 2;
  uint32_t count = 77;
  double *times = nullptr;
  VomoHandle handle = 77;
  uint32_t *count_argument = &count;
  double **times_argument = &times;
  VomoHandle *handle_argument = &handle;

  VomoStatus Sampled() {
    return Vomo_FIND_RISE_FALL_TIMES_WAVEFORM(edges_argument, waveform_argument, first, last,
                                              levels, 0.2f, 0.8f, count_argument, times_argument,
                                              handle_argument);
  }
  VomoStatus Sloped() {
    return Vomo_FIND_RISE_FALL_TIMES_SLOPE(edges_argument, slopes_argument, first, last, levels,
                                           0.2f, 0.8f, count_argument, times_argument,
                                           handle_argument);
  }
};

TEST(EdgeTimes, Refusals) {
  const auto not_valid = Vomo_STATUS_PARAM_NOT_VALID, out_of_range = Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const struct {
    std::function<void(Call &)> spoil;
    VomoStatus sampled, sloped;  // 0: of no concern to this method
  } cases[] = {
      {[](Call &c) { c.edges_argument = nullptr; }, not_valid, not_valid},
      {[](Call &c) { c.list.pucFlags = nullptr; }, not_valid, not_valid},
      {[](Call &c) { c.list.pdTimes = nullptr; }, not_valid, 0},
      {[](Call &c) { c.waveform_argument = nullptr; }, not_valid, 0},
      {[](Call &c) { c.waveform.record.pfSamples = nullptr; }, not_valid, 0},
      {[](Call &c) { c.waveform.record.ulNumSamples = 0; }, not_valid, 0},
      {[](Call &c) { c.slopes_argument = nullptr; }, 0, not_valid},
      {[](Call &c) { c.levels = nullptr; }, not_valid, not_valid},
      {[](Call &c) { c.count_argument = nullptr; }, not_valid, not_valid},
      {[](Call &c) { c.times_argument = nullptr; }, not_valid, not_valid},
      {[](Call &c) { c.handle_argument = nullptr; }, not_valid, not_valid},
      {[](Call &c) { c.list.ulCount = 1; }, out_of_range, out_of_range},
      {[](Call &c) { c.last = 3; }, out_of_range, out_of_range},
      {[](Call &c) { c.first = c.last; }, out_of_range, out_of_range},
      {[](Call &c) { c.last = 0xFFFFFFFF; }, out_of_range, out_of_range},
  };
  for (size_t k = 0; k < std::size(cases); ++k) {
    for (const bool sampled : {true, false}) {
      const VomoStatus expected = sampled ? cases[k].sampled : cases[k].sloped;
      if (expected == Vomo_STATUS_SUCCESS) continue;
      Call call;
      cases[k].spoil(call);
      EXPECT_EQ(sampled ? call.Sampled() : call.Sloped(), expected) << k;
      EXPECT_EQ(call.count, 77u);
      EXPECT_EQ(call.handle, 77u);
    }
  }
  const auto run = [](VomoStatus (Call::*method)()) {
    Call call;
    const VomoStatus status = (call.*method)();
    if (status == Vomo_STATUS_SUCCESS) Vomo_HANDLE_FREE(call.handle);
    return status;
  };
  vomo_test::ExpectSlotsNeeded(1, [&] { return run(&Call::Sampled); });
  vomo_test::ExpectSlotsNeeded(1, [&] { return run(&Call::Sloped); });
}

}  // namespace
