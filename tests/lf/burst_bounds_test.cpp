#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string_view>

#include "core/handle_table.h"
#include "primitives/vec_check.h"
#include "trace.h"

namespace {

using vomo_test::kInterval;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kThreshold = 0.5f;

// One letter a sample: H and L beyond the threshold, h and l on it, + and - between it and 0 V.
std::vector<float> Samples(std::string_view letters) {
  std::vector<float> samples;
  for (const char letter : letters) {
    constexpr std::string_view kLetters = "0HLhl+-n";
    constexpr float kVolts[] = {0, 1, -1, 0.5f, -0.5f, 0.25f, -0.25f, kNaN};
    samples.push_back(kVolts[kLetters.find(letter)]);
  }
  return samples;
}

VomoWaveform WaveformOf(std::vector<float> &samples, double interval_s) {
  return {static_cast<uint32_t>(samples.size()), interval_s, samples.data(), 0, 0};
}

struct Search {
  decltype(&Vomo_LF_BURST_BOUNDS) function = Vomo_LF_BURST_BOUNDS;
  int32_t count = 1, polarity = 0;
  float threshold = kThreshold;
  double idle_s = 2 * kInterval;

  struct Result {
    VomoStatus status;
    int32_t found = -7;
    std::vector<uint32_t> bounds;
  };
  Result Run(const VomoWaveform *waveform) const {
    Result result;
    vomo::Received<uint32_t> bounds;
    result.status = function(waveform, count, polarity, threshold, idle_s, &result.found,
                             bounds.pointer(), bounds.handle_out());
    if (bounds) result.bounds.assign(bounds.get(), bounds.get() + int64_t{2} * count);
    return result;
  }
};

struct Case {
  const char *what;
  std::string_view letters;
  Search search;
  VomoStatus status;
  int32_t found;
  std::vector<uint32_t> bounds;
};

void CheckBursts(const Case &c, double interval_s) {
  SCOPED_TRACE(c.what);
  std::vector<float> samples = Samples(c.letters);
  const VomoWaveform waveform = WaveformOf(samples, interval_s);
  const auto result = c.search.Run(&waveform);
  EXPECT_EQ(result.status, c.status);
  EXPECT_EQ(result.found, c.found);
  EXPECT_EQ(result.bounds, c.bounds);
}

constexpr VomoStatus kFewer = Vomo_STATUS_LF_FEWER_BURSTS, kUnended = Vomo_STATUS_COMPUTATION_ERROR;

// Three quiet samples in a row end a burst, on the third, unless a case says otherwise.
TEST(BurstBounds, Train) {
  const Case cases[] = {
      {"one", "000H00000", {}, 0, 1, {3, 6}},
      {"too short a pause", "H00H000", {}, 0, 1, {0, 6}},
      {"on the threshold: neither begins nor is quiet", "0hlHh00l000", {}, 0, 1, {3, 10}},
      {"nor is a NaN", "0nH0n00n000", {}, 0, 1, {2, 10}},
      {"two, either side", "H+-0L+++", {.count = 2}, 0, 2, {0, 3, 4, 7}},
      {"negative only", "H000HL000", {.polarity = 1}, 0, 1, {5, 8}},
      {"positive only", "L000LH0L000", {.polarity = 2}, 0, 1, {5, 10}},
      {"one of two", "0H000H000", {.count = 1}, 0, 1, {1, 4}},
      {"fewer", "H000000", {.count = 3}, kFewer, 1, {0, 3, 0, 0, 0, 0}},
      {"none", "00hl0", {.count = 1}, kFewer, 0, {0, 0}},
      {"no samples", "", {.count = 1}, kFewer, 0, {0, 0}},
      {"the last is cut off", "0H000H00", {.count = 3}, kUnended, 1, {1, 4, 5, 0, 0, 0}},
      {"the first is cut off", "0H00", {.count = 1}, kUnended, 0, {1, 0}},
      {"idle time is truncated", "H0000", {.idle_s = 2.99 * kInterval}, 0, 1, {0, 3}},
      {"no idle time", "HLH+H", {.count = 1, .idle_s = 0}, 0, 1, {0, 3}},
      {"endless idle time", "H000000", {.idle_s = kInfinity}, kUnended, 0, {0, 0}},
  };
  for (const Case &c : cases) CheckBursts(c, kInterval);
}

// 1 us is two and a half samples here: three in a row are a stall.
TEST(BurstBounds, PulseWidthCoded) {
  constexpr auto kPwm = Vomo_LF_BURST_BOUNDS_PWM;
  const Case cases[] = {
      {"starts at the last positive sample", "0HHH+L0H0LLLL", {kPwm}, 0, 1, {4, 11}},
      {"0 V ends the pulse", "HHHH0L0LLL", {kPwm}, 0, 1, {3, 9}},
      {"a positive stall ends a burst and prepares the next",
       "0HHH+L0H0HHH+L0LLL",
       {kPwm, 2},
       0,
       2,
       {4, 11, 12, 17}},
      {"a negative stall ends a burst",
       "0HHH+L0H0LLL0HHH+0L0LLL",
       {kPwm, 2},
       0,
       2,
       {4, 11, 16, 22}},
      {"a negative stall does not prepare", "LLLL0HH0H0", {kPwm}, kFewer, 0, {0, 0}},
      {"on the threshold", "HHhHHH0LLlLLL", {kPwm}, 0, 1, {5, 12}},
      {"edges without a sample in the band don't interrupt", "HHHLHLH", {kPwm}, 0, 1, {2, 4}},
      {"ends in the pulse", "0HHH+", {kPwm}, kFewer, 0, {0, 0}},
      {"no stall behind", "HHH0L0H0H", {kPwm, 2}, kUnended, 0, {2, 0, 0, 0}},
      {"polarity and idle time don't count",
       "HHH0LLL",
       {kPwm, 1, 1, kThreshold, kInfinity},
       0,
       1,
       {2, 6}},
  };
  for (const Case &c : cases) CheckBursts(c, 4e-7);
}

// Bursts of random pieces, with pauses up to the longest that does not end a burst and gaps from
// the shortest that does: bounds are known by construction, across all borders of blocks.
TEST(BurstBounds, LongCapturesAtEachLevel) {
  std::mt19937 random(5);
  const auto below = [&random](uint32_t end) { return static_cast<uint32_t>(random() % end); };
  for (const uint32_t idle : {1u, 63u, 64u, 65u, 200u, 4095u, 9000u}) {
    std::vector<float> samples(below(5000), 0.1f);
    std::vector<uint32_t> expected;
    const auto put = [&](uint32_t count, float volts) {
      samples.insert(samples.end(), count, volts);
    };
    constexpr int kBursts = 40;
    for (int burst = 0; burst < kBursts; ++burst) {
      expected.push_back(static_cast<uint32_t>(samples.size()));
      for (uint32_t pieces = below(8); pieces > 0; --pieces) {
        put(1 + below(100), pieces % 2 == 0 ? 0.7f : -0.7f);
        put(1 + below(idle), 0.1f);
      }
      put(1 + below(100), 0.7f);
      expected.push_back(static_cast<uint32_t>(samples.size()) + idle);
      put(idle + 1 + below(300), -0.1f);
    }
    const VomoWaveform waveform = WaveformOf(samples, kInterval);
    vomo::test::AtEachLevel([&] {
      const auto result = Search{.count = kBursts, .idle_s = idle * kInterval}.Run(&waveform);
      EXPECT_EQ(result.status, Vomo_STATUS_SUCCESS);
      EXPECT_EQ(result.bounds, expected) << "idle " << idle;
    });
  }
}

TEST(BurstBounds, Refuse) {
  std::vector<float> samples = Samples("0HHH0LLL00000");
  const struct {
    const char *what;
    std::function<void(VomoWaveform &, Search &)> spoil;
  } cases[] = {
      {"interval 0", [](auto &w, auto &) { w.dSampleInterval = 0; }},
      {"interval NaN", [](auto &w, auto &) { w.dSampleInterval = kNaN; }},
      {"count 0", [](auto &, auto &s) { s.count = 0; }},
      {"polarity -1", [](auto &, auto &s) { s.polarity = -1; }},
      {"polarity 3", [](auto &, auto &s) { s.polarity = 3; }},
      {"threshold 0", [](auto &, auto &s) { s.threshold = 0; }},
      {"threshold 5", [](auto &, auto &s) { s.threshold = 5; }},
      {"threshold NaN", [](auto &, auto &s) { s.threshold = kNaN; }},
      {"idle below 0", [](auto &, auto &s) { s.idle_s = -1e-300; }},
      {"idle NaN", [](auto &, auto &s) { s.idle_s = kNaN; }},
  };
  for (const auto function : {Vomo_LF_BURST_BOUNDS, Vomo_LF_BURST_BOUNDS_PWM}) {
    const VomoWaveform good = WaveformOf(samples, 4e-7);
    for (const auto &c : cases) {
      VomoWaveform waveform = good;
      Search search{.function = function};
      c.spoil(waveform, search);
      const auto result = search.Run(&waveform);
      EXPECT_EQ(result.status, Vomo_STATUS_PARAM_OUT_OF_RANGE) << c.what;
      EXPECT_EQ(result.found, -7) << c.what;
    }
    // More pairs than a block can hold.
    EXPECT_EQ((Search{.function = function, .count = 0x7FFFFFFF}.Run(&good).status),
              Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  }
}

TEST(TrimBounds, TruncatesAndStops) {
  const uint32_t bounds[] = {10, 100, 3, 2, 0xFFFFFFFE, 5};
  const auto trim = [&](int32_t count, double interval, float start, float end,
                        const uint32_t *source, std::vector<uint32_t> *result) {
    vomo::Received<uint32_t> trimmed;
    const VomoStatus status = Vomo_LF_TRIM_BOUNDS(count, interval, start, end, source,
                                                  trimmed.pointer(), trimmed.handle_out());
    if (trimmed) result->assign(trimmed.get(), trimmed.get() + 2 * count);
    return status;
  };
  std::vector<uint32_t> result;
  EXPECT_EQ(trim(3, 0.5, 1.9f, 5.25f, bounds, &result), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(result, (std::vector<uint32_t>{13, 90, 6, 0, 0xFFFFFFFF, 0}));
  EXPECT_EQ(trim(1, 1e-300, 1.0f, 1.0f, bounds, &result), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(result, (std::vector<uint32_t>{0xFFFFFFFF, 0}));

  EXPECT_EQ(trim(0, 1, 0, 0, bounds, &result), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(trim(1, 0, 0, 0, bounds, &result), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(trim(1, 1, -1e-30f, 0, bounds, &result), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(trim(1, 1, 0, -1e-30f, bounds, &result), Vomo_STATUS_PARAM_OUT_OF_RANGE);
}

class PrepareBounds : public testing::Test {
 protected:
  VomoStatus Find(const VomoWaveform &waveform, uint32_t limit, std::vector<uint32_t> starts) {
    std::vector<uint32_t> bounds(2 * starts.size());
    for (size_t k = 0; k < starts.size(); ++k) bounds[2 * k] = starts[k];
    prepare_.Free();
    return Vomo_STALL_PREPARE_BOUNDS(&waveform, static_cast<int32_t>(starts.size()), limit,
                                     bounds.data(), prepare_.pointer(), prepare_.handle_out());
  }
  void Expect(size_t burst, std::vector<double> positions) {
    for (size_t k = 0; k < 3; ++k) {
      EXPECT_NEAR(prepare_[3 * burst + k] / kInterval, positions[k], 1e-5) << burst << " " << k;
    }
  }

  vomo::Received<double> prepare_;
};

// Slopes of 0.1 V a sample, whose float samples are off by at most 2^-26: the line through two of
// them meets 0 V, at most four samples away, within 5 * 2 * 2^-26 / 0.1 = 1.5e-6 samples.
TEST_F(PrepareBounds, CrossingsLookingBack) {
  vomo_test::Trace trace;
  trace.To(0, 0.4).Edge(50.3, -0.4, 8).Edge(120.7, 0.4, 8).Edge(200.45, -0.4, 8);
  trace.Edge(260.2, 0.4, 8).Edge(300.6, -0.4, 8).Hold(350);
  const VomoWaveform waveform = trace.Waveform();
  // From the last positive sample, from below 0 behind it, and from a positive one before it.
  ASSERT_EQ(Find(waveform, 0, {300, 320, 280, 200}), Vomo_STATUS_SUCCESS);
  Expect(0, {200.45, 260.2, 299.6});
  Expect(1, {200.45, 260.2, 299.6});
  EXPECT_EQ(prepare_[6] / kInterval, prepare_[0] / kInterval);
  EXPECT_TRUE(std::isinf(prepare_[8]));  // a level crosses 0 V nowhere
  Expect(3, {50.3, 120.7, 199.45});
  // The limit counts from the last negative sample, 260.
  ASSERT_EQ(Find(waveform, 260 - 120, {300}), Vomo_STATUS_SUCCESS);
  Expect(0, {50.3, 260.2, 299.6});
  ASSERT_EQ(Find(waveform, 260 - 201, {300}), Vomo_STATUS_SUCCESS);
  EXPECT_NEAR(prepare_[0] / kInterval, 200.45, 1e-5);
  EXPECT_EQ(Find(waveform, 261, {300}), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  // Nothing before: the walk ends at sample 0.
  ASSERT_EQ(Find(waveform, 0, {45, 50, 0}), Vomo_STATUS_SUCCESS);
  Expect(1, {0, 0, 49.3});
  EXPECT_EQ(prepare_[3], 0.0);
  EXPECT_EQ(prepare_[6] + prepare_[7] + prepare_[8], 0.0);
  ASSERT_EQ(Find(waveform, 0, {100}), Vomo_STATUS_SUCCESS);
  Expect(0, {0, 0, 49.3});
}

// Walks that meet the stretch of an earlier one must end where they would without it.
TEST_F(PrepareBounds, OrderOfBurstsDoesNotMatter) {
  std::mt19937 random(11);
  std::vector<float> samples(400);
  float level = 0;
  for (float &sample : samples) {
    if (random() % 16 == 0) level = static_cast<float>(random() % 3) - 1;
    sample = level + static_cast<float>(random() % 1024) * 0x1p-14f;
  }
  const VomoWaveform waveform = WaveformOf(samples, kInterval);
  std::vector<uint32_t> starts;
  for (int k = 0; k < 300; ++k) starts.push_back(static_cast<uint32_t>(random() % 399));
  ASSERT_EQ(Find(waveform, 0, starts), Vomo_STATUS_SUCCESS);
  const std::vector<double> together(prepare_.get(), prepare_.get() + 3 * starts.size());
  for (size_t k = 0; k < starts.size(); ++k) {
    ASSERT_EQ(Find(waveform, 0, {starts[k]}), Vomo_STATUS_SUCCESS);
    for (size_t v = 0; v < 3; ++v) EXPECT_TRUE(vomo::test::Same(prepare_[v], together[3 * k + v]));
  }
}

TEST_F(PrepareBounds, Refuse) {
  std::vector<float> samples = Samples("0HHH0LLL00");
  VomoWaveform waveform = WaveformOf(samples, 1.0);
  EXPECT_EQ(Find(waveform, 0, {9}), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(Find(waveform, 0, {3, 0xFFFFFFFF}), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(Find(waveform, 4, {3}), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  waveform.dSampleInterval = 0;
  EXPECT_EQ(Find(waveform, 0, {3}), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_FALSE(prepare_);
}

}  // namespace
