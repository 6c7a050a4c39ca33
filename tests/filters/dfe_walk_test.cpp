#include "filters/dfe_walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "filters/dfe_feedback.h"
#include "filters/sample_level.h"
#include "support/fir_channel.h"
#include "support/gaussian.h"
#include "support/temp_dir.h"
#include "support/waveforms.h"

namespace {

using vomo_test::FirChannel;
using vomo_test::kPerUi;
using vomo_test::Samples;

constexpr float kInf = std::numeric_limits<float>::infinity();

// One sample a second.
TEST(SampleLevel, HandWorkedCases) {
  const struct {
    const char *what;
    double begin, end;
    double min, max;
  } cases[] = {
      {"on a rising line", 0.25, 0.75, 1.5, 2.5},
      {"on a line that loses magnitude", 1.2, 1.4, 1.0, 2.0},
      {"one time", 3.5, 3.5, -0.5, -0.5},
      {"the end joins in where it is less than the samples", 0.5, 2.5, -2, -4},
      {"the begin joins in where it is more", 1.1, 3.2, -2, -6},
      {"the ends join in and are outdone", 0.9, 2.01, -2, 3},
      {"samples beyond those around the times stand alone", 5 + 2.0 / 7, 7.5, 0.5, 5},
      {"before the samples", -7, -7, -13, -13},
      {"behind the samples", 9, 9, 5.5, 5.5},
      {"NaN counts as 0 for the place", std::nan(""), std::nan(""), std::nan(""), std::nan("")},
  };
  Samples signal({1, 3, -2, -6, 5, -2, 5, 0.5f, 3});
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const auto level = [&](uint32_t type) {
      return vomo::VomoSampleLevel(signal.record, c.begin, c.end, type);
    };
    if (std::isnan(c.min)) {
      EXPECT_TRUE(std::isnan(level(Vomo_FIND_MIN)));
      continue;
    }
    EXPECT_NEAR(level(Vomo_FIND_MIN), c.min, 1e-12);
    EXPECT_NEAR(level(Vomo_FIND_MAX), c.max, 1e-12);
    EXPECT_NEAR(level(Vomo_FIND_AVG), (c.min + c.max) / 2, 1e-12);
    EXPECT_NEAR(level(7), (c.min + c.max) / 2, 1e-12);
  }
  signal.record.ulNumSamples = 1;
  EXPECT_EQ(vomo::VomoSampleLevel(signal.record, 0, 0, Vomo_FIND_MIN), 0.0);
}

// Against a history without end, most of it in steps of a few cells, some as far back as allowed.
TEST(DfeFeedback, EqualsAnEndlessHistory) {
  std::mt19937 random(5);
  for (int32_t count = -1; count <= 18; ++count) {
    constexpr uint64_t kFarthest = 100;
    std::vector<float> taps(18);
    for (float &t : taps) t = static_cast<float>(random() % 4001) / 1000.0f - 2.0f;
    const size_t used = static_cast<size_t>(std::min(std::max(count, 1), 16));
    vomo::DfeFeedback feedback(taps.data(), count, kFarthest);
    std::vector<float> history(used, 0.0f);
    const auto level = [&](float newest, size_t behind) {
      float sum = (count > 0 ? taps[0] : 0.0f) * newest;
      for (size_t k = 1; k < used; ++k) {
        sum += taps[k] * (behind + 1 >= k ? history[behind + 1 - k] : 0.0f);
      }
      return sum;
    };
    uint64_t back = 0;
    for (int step = 0; step < 3000; ++step) {
      const float decision = static_cast<float>(random() % 3) - 1.0f;
      ASSERT_EQ(feedback.Peek(decision), level(decision, history.size() - 1));
      int64_t repeats = static_cast<int64_t>(random() % 4);
      if (random() % 4 == 0) repeats = -static_cast<int64_t>(random() % 5);
      if (step % 500 == 499) repeats = -static_cast<int64_t>(kFarthest - back);
      back = repeats < 0 ? back + static_cast<uint64_t>(-repeats) : 0;
      if (back > kFarthest || history.size() < used + back) continue;
      const float current = history.back();
      if (repeats > 0) history.insert(history.end(), static_cast<size_t>(repeats), current);
      if (repeats > 0) history.push_back(decision);
      if (repeats == 0) history.back() = decision;
      if (repeats < 0) history.resize(history.size() - static_cast<size_t>(-repeats));
      ASSERT_EQ(feedback.Push(decision, repeats), level(history.back(), history.size() - 2))
          << count << " " << step;
    }
  }
}

struct WalkResult {
  VomoStatus status;
  std::vector<VomoTwoPartCrossover> elements;
};

WalkResult RunWalk(const VomoWaveform &waveform, const std::vector<float> &taps, double ui,
                   uint32_t filter, uint32_t room, uint32_t stop) {
  // Behind the room lie elements that must stay as they are.
  constexpr VomoTwoPartCrossover kUntouched{-1, -2, -3, 77, 5};
  WalkResult result{0, std::vector<VomoTwoPartCrossover>(room + 3, kUntouched)};
  VomoCrossoverData clock{};
  clock.psTwoPartArray = result.elements.data();
  clock.ulTwoPartCount = room;
  result.status = vomo::VomoDfeWalk(
      waveform, {filter, 0, stop, ui, taps.data(), static_cast<int32_t>(taps.size())}, clock);
  for (uint32_t k = room; k < room + 3; ++k) {
    EXPECT_EQ(result.elements[k].ulRunLeft, kUntouched.ulRunLeft);
    EXPECT_EQ(result.elements[k].dBegin, kUntouched.dBegin);
    EXPECT_EQ(result.elements[k].fEnterThresh, kUntouched.fEnterThresh);
  }
  EXPECT_LE(clock.ulTwoPartCount, room);
  result.elements.resize(clock.ulTwoPartCount);
  return result;
}

// A channel's post-cursors as taps: the walk finds each bit, the level that the bits before it add,
// and the edges where the ramps cross those levels. Each earlier bit is weighed by two taps.
TEST(DfeWalk, FollowsAChannel) {
  const struct {
    const char *what;
    std::vector<float> taps;
    std::vector<double> post_cursors;
  } cases[] = {
      {"no channel", {}, {}},
      {"no taps in a plain channel", {0, 0}, {}},
      {"one", {0.4f}, {0.4}},
      {"two", {-0.25f, 0.125f}, {-0.25, 0.125}},
      {"four", {0.25f, 0.0625f, 0.0625f, -0.125f}, {0.25, 0.125, -0.125}},
      {"sixteen and one too many",
       {0.125f, 0.03125f, 0.03125f, 0, 0.0625f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0.0625f, 9},
       {0.125, 0.0625, 0.0625, 0, 0, 0, 0, 0, 0.0625}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const FirChannel channel(c.post_cursors, 500, 11);
    Samples signal(channel.samples, 0.5);
    const auto count = static_cast<uint32_t>(channel.samples.size());
    const WalkResult walk = RunWalk(signal.record, c.taps, kPerUi * 0.5, 3, 600, count - 1);
    ASSERT_EQ(walk.status, 0u);
    ASSERT_EQ(walk.elements.size(), channel.LastEdge() - 1);
    for (size_t k = 1; k <= walk.elements.size(); ++k) {
      const VomoTwoPartCrossover &element = walk.elements[k - 1];
      ASSERT_EQ(element.cLevel, channel.bits[k]) << k;
      ASSERT_NEAR(element.fEnterThresh, channel.Interference(k), 1e-6) << k;
      if (channel.bits[k] != channel.bits[k - 1]) {
        // A level between two floats of the ramp, some 2 V long in 4 samples: 2^-24 of it apart.
        ASSERT_NEAR(element.dBegin / 0.5, channel.Crossing(k, channel.Interference(k)), 1e-6) << k;
      }
      size_t next_edge = k + 1;
      while (channel.bits[next_edge] == channel.bits[k]) ++next_edge;
      ASSERT_EQ(element.ulRunLeft, next_edge - k) << k;
    }
  }
}

// Worked out by hand on a signal of 1 V in front and then -1 V, four samples a unit interval.
TEST(DfeWalk, HandWorkedCases) {
  const auto signal_of = [](std::vector<std::pair<int, float>> runs) {
    std::vector<float> samples;
    for (const auto &[length, level] : runs) {
      samples.insert(samples.end(), static_cast<size_t>(length), level);
    }
    return samples;
  };
  const auto square = signal_of({{4, 1}, {4, -1}, {8, 1}, {4, -1}, {8, 1}});
  const struct {
    const char *what;
    std::vector<float> samples;
    std::vector<float> taps;
    uint32_t filter, room, stop;
    std::vector<double> begins;
  } cases[] = {
      {"a plain square wave", square, {0}, 2, 9, 27, {3.5, 7.5, 11.5, 15.5}},
      {"the edge at 15.5 needs sample 18 before the last", square, {0}, 2, 9, 20, {3.5, 7.5, 11.5}},
      {"and has it not", square, {0}, 2, 9, 19, {3.5}},
      {"one more for a longer filter", square, {0}, 3, 9, 20, {3.5}},
      {"runs shorter than the filter are no edges", square, {0}, 4, 9, 27, {}},
      {"room for three elements gives two", square, {0}, 2, 3, 27, {3.5}},
      {"room for one", square, {0}, 2, 1, 27, {}},
      {"no room", square, {0}, 2, 0, 27, {}},
      {"nothing but zeros", signal_of({{20, 0}}), {0.5f}, 2, 9, 19, {}},
      {"no edge", signal_of({{20, 1}}), {0.5f}, 2, 9, 19, {}},
      {"one edge has no element", signal_of({{10, 1}, {10, -1}}), {0.5f}, 2, 9, 19, {}},
      {"a tap beyond reach", square, {kInf}, 2, 9, 27, {}},
      {"three samples", {1, -1, 1}, {0}, 0, 9, 2, {}},
      {"a stop at the first sample", square, {0}, 2, 9, 0, {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Samples signal(c.samples);
    const WalkResult walk = RunWalk(signal.record, c.taps, 4, c.filter, c.room, c.stop);
    EXPECT_EQ(walk.status, 0u);
    std::vector<double> begins;
    for (const auto &element : walk.elements) begins.push_back(element.dBegin);
    EXPECT_EQ(begins, c.begins);
  }
}

// The second tap raises the level to 2 V behind the edge at 3.5 and, when a unit interval has
// passed without another, to -2 V: the flat signal then lies beyond it, and no line crosses.
TEST(DfeWalk, LogsAnEdgeThatCannotBe) {
  const vomo_test::TempDir here;
  std::vector<float> samples(24, -1.0f);
  std::fill_n(samples.begin(), 4, 1.0f);
  Samples signal(samples);
  const std::string line =
      "Tap 0.000000, WaveIdx 9, Time             9, C2Idx 0, Begin           3.5, End          "
      "-inf, UICount 2, EnterThresh -2.000000\n";
  for (int run = 1; run <= 2; ++run) {
    EXPECT_EQ(RunWalk(signal.record, {0, 2}, 4, 1, 9, 23).status, Vomo_STATUS_DFE_SEARCH_FAILED);
    EXPECT_EQ(here.Read("DFE_Error.txt"), run == 1 ? line : line + line);
  }
  // Not even the first edge has a time.
  samples[2] = samples[3] = std::nanf("");
  Samples broken(samples);
  EXPECT_EQ(RunWalk(broken.record, {0}, 4, 0, 9, 23).status, Vomo_STATUS_DFE_SEARCH_FAILED);
  EXPECT_NE(here.Read("DFE_Error.txt").find("Begin             0, End"), std::string::npos);
}

// Whatever the samples and taps: the walk ends, stays inside its room, and leaves a chain of runs.
TEST(DfeWalk, AlwaysEnds) {
  const vomo_test::TempDir here;
  vomo_test::Gaussian noise(17);
  std::mt19937 random(17);
  const auto pick = [&random](auto... values) {
    const std::array choices{values...};
    return choices[random() % choices.size()];
  };
  size_t failed = 0, elements = 0;
  for (int run = 0; run < 3000; ++run) {
    std::vector<float> samples(3 + random() % 400);
    const double gain = pick(0.1, 1.0, 1e30);
    for (float &s : samples) s = static_cast<float>(gain * noise());
    if (run % 3 == 0) std::fill_n(samples.begin(), samples.size() / pick(1u, 2u, 9u), 0.0f);
    if (run % 7 == 0) samples[random() % samples.size()] = pick(std::nanf(""), kInf, -kInf);
    std::vector<float> taps(random() % 18);
    for (float &t : taps) t = static_cast<float>(gain * pick(0.1, 1.0, 1e9) * noise());
    if (run % 11 == 0 && !taps.empty()) taps.back() = pick(std::nanf(""), kInf);
    Samples signal(samples);
    const double ui = pick(0.9, 2.0, 7.3, 16.0);
    const WalkResult walk = RunWalk(signal.record, taps, ui, pick(0u, 1u, 3u, 20u, ~0u),
                                    pick(1u, 7u, 500u), static_cast<uint32_t>(samples.size()) - 1);
    failed += walk.status != 0;
    if (walk.status != 0) continue;
    elements += walk.elements.size();
    for (size_t k = 0; k < walk.elements.size(); ++k) {
      ASSERT_LE(walk.elements[k].dBegin, walk.elements[k].dEnd);
      if (k == 0) continue;
      const auto &before = walk.elements[k - 1];
      ASSERT_EQ(walk.elements[k].dBegin, before.dEnd);
      if (before.ulRunLeft == 1) continue;
      ASSERT_EQ(walk.elements[k].ulRunLeft, before.ulRunLeft - 1);
      ASSERT_EQ(walk.elements[k].cLevel, before.cLevel);
    }
    ASSERT_TRUE(walk.elements.empty() || walk.elements.back().ulRunLeft == 1);
  }
  EXPECT_GT(failed, 50u);
  EXPECT_GT(elements, 3000u);
}

}  // namespace
