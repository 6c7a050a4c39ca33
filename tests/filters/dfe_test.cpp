#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <vector>

#include "core/handle_table.h"
#include "filters/dfe_run.h"
#include "support/fir_channel.h"
#include "support/handle_pressure.h"
#include "support/temp_dir.h"
#include "support/waveforms.h"

namespace {

using vomo::Received;
using vomo_test::FirChannel;
using vomo_test::kPerUi;
using vomo_test::Samples;

constexpr double kUi = 125e-12, kInterval = kUi / kPerUi;
constexpr float kInf = std::numeric_limits<float>::infinity();

VomoDFEParams Settings(const std::vector<float> &taps) {
  VomoDFEParams p{};
  p.dUnitInterval = kUi;
  std::fill_n(p.afTapMin, 16, -1.0f);
  std::fill_n(p.afTapMax, 16, 1.0f);
  std::copy(taps.begin(), taps.end(), p.afDFETapValues);
  p.iDFETapCount = static_cast<int32_t>(taps.size());
  p.iPtsAboveThresh = 3;
  p.eOptValue = OPT_EYE_HEIGHT;
  p.eHeightType = Vomo_FIND_AVG;
  return p;
}

struct Eye {
  double min_interval = 7, max_interval = 7, score = 7;
  float high = 7, low = 7, trans_high = 7, trans_low = 7, non_trans_high = 7, non_trans_low = 7;

  VomoStatus Measure(const VomoWaveform *waveform, VomoDFEParams &p) {
    return VomoFIND_DFE_TAP(waveform, &p, &min_interval, &max_interval, &high, &low, &trans_high,
                            &trans_low, &non_trans_high, &non_trans_low, &score);
  }
};

VomoStatus Apply(VomoWaveform *waveform, VomoDFEParams &p, int find_taps,
                 Received<VomoWaveform> &filtered) {
  return VomoAPPLY_DFE_FILTER_TO_WAVEFORM(waveform, &p, find_taps, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, filtered.pointer(),
                                          filtered.handle_out());
}

const std::vector<double> kPostCursors = {0.25, -0.125};
const std::vector<float> kMatchingTaps = {0.25f, -0.125f};

// The channel takes 0.375 V off the 1 V of the bits in the worst case; the taps put it back.
TEST(Dfe, OpensTheEyeOfTheSentBits) {
  const FirChannel channel(kPostCursors, 2000, 5);
  Samples signal(channel.samples, kInterval);
  double shortest = 1, longest = 0;
  for (size_t k = 1, next = 2; next <= channel.LastEdge(); ++next) {
    if (channel.bits[next] == channel.bits[next - 1]) continue;
    const auto edge = [&](size_t bit) { return channel.Crossing(bit, channel.Interference(bit)); };
    const double span = (edge(next) - edge(k)) / static_cast<double>(next - k) * kInterval;
    shortest = std::min(shortest, span);
    longest = std::max(longest, span);
    k = next;
  }
  ASSERT_LT(shortest, 0.99 * kUi);
  const double width = (shortest - 0.5 * kUi) + (1.5 * kUi - longest);
  const struct {
    uint32_t option;
    double score;
  } cases[] = {{OPT_EYE_WIDTH, width},
               {OPT_EYE_HEIGHT, 2},
               {OPT_EYE_AREA, 2 * width},
               {OPT_EYE_RATIO, 2},
               {9, 0}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.option);
    VomoDFEParams p = Settings(kMatchingTaps);
    p.eOptValue = c.option;
    Eye eye;
    ASSERT_EQ(eye.Measure(signal.get(), p), 0u);
    EXPECT_NEAR(eye.min_interval, shortest, 1e-6 * kUi);
    EXPECT_NEAR(eye.max_interval, longest, 1e-6 * kUi);
    for (const float high : {eye.high, eye.trans_high, eye.non_trans_high}) {
      EXPECT_NEAR(high, 1, 1e-6);
    }
    for (const float low : {eye.low, eye.trans_low, eye.non_trans_low}) EXPECT_NEAR(low, -1, 1e-6);
    EXPECT_NEAR(eye.score / (c.score == 0 ? 1 : c.score), c.score == 0 ? 0 : 1, 2e-6);
  }
  // Highs are kept as maxima: without taps the eye looks larger, and its ratio is worse.
  VomoDFEParams raw = Settings({0.0f});
  raw.eOptValue = OPT_EYE_RATIO;
  Eye eye;
  ASSERT_EQ(eye.Measure(signal.get(), raw), 0u);
  EXPECT_NEAR(eye.trans_high, 1.0 - 0.25 + 0.125, 1e-6);
  EXPECT_NEAR(eye.non_trans_high, 1.0 + 0.25 + 0.125, 1e-6);
  EXPECT_LT(eye.score, 1.2);
}

TEST(Dfe, GivesTheSentBitsBack) {
  const FirChannel channel(kPostCursors, 2000, 6);
  std::vector<float> stored = channel.samples;
  stored.insert(stored.begin(), 3, 9.0f);
  stored.insert(stored.end(), 2, 9.0f);
  Samples signal(stored, kInterval, 3, 2);
  VomoDFEParams p = Settings(kMatchingTaps);
  Received<VomoCrossoverData> crossovers, clock;
  Received<VomoWaveform> filtered;
  double smallest = 0;
  ASSERT_EQ(VomoAPPLY_DFE_FILTER_TO_WAVEFORM(signal.get(), &p, 0, crossovers.pointer(),
                                             crossovers.handle_out(), &smallest, nullptr,
                                             clock.pointer(), clock.handle_out(),
                                             filtered.pointer(), filtered.handle_out()),
            0u);
  EXPECT_EQ(signal.stored, stored);
  const size_t end = channel.LastEdge();
  for (size_t k = 0; k < channel.bits.size(); ++k) {
    const float middle = filtered->pfSamples[k * kPerUi + kPerUi / 2];
    if (k == 0 || k >= end) {
      EXPECT_EQ(middle, channel.samples[k * kPerUi + kPerUi / 2]) << k;
    } else {
      EXPECT_NEAR(middle, channel.bits[k], 1e-6) << k;
    }
  }
  EXPECT_EQ(vomo_test::Counts(*filtered.get()), vomo_test::Counts(signal.record));
  const auto all = vomo_test::Stored(*filtered.get());
  for (const size_t hidden : {size_t{0}, size_t{2}, all.size() - 1}) EXPECT_EQ(all[hidden], 0);

  // The crossovers are those at 0 V, the clock has the elements.
  std::vector<double> edges;
  for (size_t k = 1; k <= end; ++k) {
    if (channel.bits[k] != channel.bits[k - 1]) edges.push_back(channel.Crossing(k, 0));
  }
  ASSERT_EQ(crossovers->ulCount, edges.size());
  double spacing = 1;
  for (size_t i = 0; i < edges.size(); ++i) {
    ASSERT_NEAR(crossovers->pdTimes[i] / kInterval, edges[i], 1e-6);
    if (i > 0) spacing = std::min(spacing, (edges[i] - edges[i - 1]) * kInterval);
  }
  EXPECT_NEAR(smallest, spacing, 1e-6 * kUi);
  EXPECT_EQ(crossovers->psPatChkData, nullptr);
  EXPECT_EQ(clock->ulTwoPartCount, end - 1);
  EXPECT_EQ(clock->ulCount, end);

  // In place the same.
  ASSERT_EQ(VomoAPPLY_DFE_FILTER_TO_WAVEFORM(signal.get(), &p, 0, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr, nullptr, nullptr),
            0u);
  EXPECT_EQ(vomo_test::Visible(signal.record), vomo_test::Visible(*filtered.get()));
  EXPECT_EQ(signal.stored[2], 9);
}

TEST(Dfe, NoTapsChangeNothing) {
  const FirChannel channel(kPostCursors, 300, 7);
  Samples signal(channel.samples, kInterval);
  for (const std::vector<float> &taps : {std::vector<float>{}, {0.0f}, {0.0f, 0.0f, 0.0f}}) {
    VomoDFEParams p = Settings(taps);
    Received<VomoWaveform> filtered;
    ASSERT_EQ(Apply(signal.get(), p, 1, filtered), 0u);
    EXPECT_EQ(vomo_test::Visible(*filtered.get()), channel.samples);
  }
}

// With a single post-cursor the estimate is exact. Half a percent for the mean with the levels of
// the bits whose predecessors' share the second one changes.
TEST(Dfe, FindsTheFirstTap) {
  const FirChannel single({0.3}, 1000, 8), two(kPostCursors, 20000, 8);
  const struct {
    const char *what;
    const FirChannel *channel;
    std::vector<float> taps;
    float max;
    int compute, find, ui_count;
    double tap0, tap1, tolerance;
  } cases[] = {
      {"estimated", &single, {0, 0.2f}, 1, 1, 0, 0, 0.3, 0, 1e-6},
      {"estimated on the beginning first", &single, {0, 0.2f}, 1, 1, 1, 200, 0.3, 0, 1e-6},
      {"a tap that stands is kept, the others go", &single, {0.1f, 0.2f}, 1, 1, 0, 0, 0.1, 0, 1e-8},
      {"not asked for", &single, {0, 0.2f}, 1, 0, 1, 200, 0, 0.2, 1e-8},
      {"clamped", &single, {0, 0.2f}, 0.25f, 1, 1, 200, 0.25, 0, 1e-8},
      {"a trial of nothing leaves the taps to the whole",
       &single,
       {0, 0},
       1,
       1,
       1,
       0,
       0.3,
       0,
       1e-6},
      {"behind a second post-cursor", &two, {0, 0}, 1, 1, 0, 0, 0.25, 0, 0.005},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Samples signal(c.channel->samples, kInterval);
    VomoDFEParams p = Settings(c.taps);
    p.afTapMax[0] = c.max;
    p.iDFEComputeTaps = c.compute;
    p.iUICount = c.ui_count;
    Received<VomoWaveform> filtered;
    ASSERT_EQ(Apply(signal.get(), p, c.find, filtered), 0u);
    EXPECT_NEAR(p.afDFETapValues[0], c.tap0, c.tolerance);
    EXPECT_NEAR(p.afDFETapValues[1], c.tap1, c.tolerance);
  }
}

TEST(Dfe, ClampsTheTapsInUse) {
  const FirChannel channel({}, 50, 9);
  Samples signal(channel.samples, kInterval);
  const struct {
    int32_t count;
    std::vector<float> first;
  } cases[] = {
      {3, {0.1f, -0.1f, 0.05f, 9}}, {-5, {9, -9, 0.05f, 9}}, {99, {0.1f, -0.1f, 0.05f, 0.1f}}};
  for (const auto &c : cases) {
    VomoDFEParams p = Settings({9, -9, 0.05f, 9});
    std::fill_n(p.afTapMin, 16, -0.1f);
    std::fill_n(p.afTapMax, 16, 0.1f);
    p.iDFETapCount = c.count;
    Eye eye;
    eye.Measure(signal.get(), p);
    EXPECT_TRUE(std::equal(c.first.begin(), c.first.end(), p.afDFETapValues)) << c.count;
  }
}

// iUICount cuts the analysis: 16 samples a unit interval, one and the sample behind it.
TEST(Dfe, AnalysesTheAskedUnitIntervals) {
  FirChannel channel({}, 400, 10);
  Samples signal(channel.samples, kInterval);
  for (size_t i = 100 * kPerUi; i < signal.stored.size(); ++i) signal.stored[i] *= 3;
  VomoDFEParams p = Settings({0});
  Eye all, first;
  ASSERT_EQ(all.Measure(signal.get(), p), 0u);
  p.iUICount = 90;
  ASSERT_EQ(first.Measure(signal.get(), p), 0u);
  EXPECT_NEAR(all.trans_high, 3, 1e-6);
  EXPECT_NEAR(first.trans_high, 1, 1e-6);
  p.iUICount = -3;
  EXPECT_EQ(first.Measure(signal.get(), p), Vomo_STATUS_PARAM_OUT_OF_RANGE);
}

// Bit 3 arrives late and low, bit 7 high.
TEST(Dfe, LevelsAndSpansOfAPass) {
  std::vector<float> samples;
  for (const float level : {1.f, -1.f, 1.f, -0.5f, 1.f, 1.f, -1.f, -2.f, 1.f}) {
    samples.insert(samples.end(), kPerUi, level);
  }
  samples[3 * kPerUi] = samples[3 * kPerUi + 1] = 1;
  Samples signal(samples, kInterval);
  VomoDFEParams p = Settings({0.125f});
  Received<VomoCrossoverData> clock;
  vomo::BlockOf<vomo::VomoDFEResult> result;
  ASSERT_EQ(vomo::VomoDfeRun(signal.record, p, 0, nullptr, nullptr, clock, result), 0u);
  // The levels less 0.125 times the bit before; the first one as it stands.
  const float levels[] = {-1, 1.125f, -0.625f, 1.125f, 0.875f, -1.125f, -1.875f};
  ASSERT_EQ(clock->ulTwoPartCount, 7u);
  for (int k = 0; k < 7; ++k) EXPECT_FLOAT_EQ(result->pfLevels[k], levels[k]) << k;
  const auto middle = [&](int k) {
    return (clock->psTwoPartArray[k].dBegin + clock->psTwoPartArray[k].dEnd) / 2;
  };
  EXPECT_FLOAT_EQ(result->fMinHigh, 0.875f);
  EXPECT_DOUBLE_EQ(result->dMinHighTime, middle(4));
  EXPECT_FLOAT_EQ(result->fMaxLow, -0.625f);
  EXPECT_DOUBLE_EQ(result->dMaxLowTime, middle(2));
  EXPECT_FLOAT_EQ(result->fMinTransHigh, 1.125f);
  EXPECT_FLOAT_EQ(result->fMinNonTransHigh, 0.875f);
  EXPECT_FLOAT_EQ(result->fMaxTransLow, -0.625f);
  EXPECT_FLOAT_EQ(result->fMaxNonTransLow, -1.875f);
  const VomoTwoPartCrossover &late = clock->psTwoPartArray[1],
                             &short_one = clock->psTwoPartArray[2];
  EXPECT_EQ(result->dMaxUI, late.dEnd - late.dBegin);
  EXPECT_EQ(result->dMaxUITime, late.dBegin);
  EXPECT_EQ(result->dMinUI, short_one.dEnd - short_one.dBegin);
  EXPECT_EQ(result->dMinUITime, short_one.dBegin);
  EXPECT_EQ(result->adTaps[0], 0.125);
}

TEST(Dfe, SubtractsAlongTheElements) {
  std::vector<VomoTwoPartCrossover> elements = {
      {-3.5, -0.5, 100, 1, 1},  // before the samples
      {-1.0, 1.5, 1, 1, 1},     // cut at sample 0
      {2.0, 4.0, 10, 1, 1},     // both bounds are samples
      {4.0, 4.25, 1000, 1, 1},  // shares sample 4
      {5.25, 5.75, 7, 1, 1},    // holds none
      {7.5, 99.0, 1e4f, 1, 1},  // cut at the last
      {std::nan(""), 0.5, 3, 1, 1}, {20.0, 30.0, 5, 1, 1},
  };
  VomoCrossoverData clock{};
  clock.psTwoPartArray = elements.data();
  clock.ulTwoPartCount = static_cast<uint32_t>(elements.size());
  Samples signal(std::vector<float>(10, 0.0f), 1.0);
  vomo::VomoDfeSubtractFeedback(signal.record, clock, nullptr);
  const std::vector<float> expected{-4, -1, -10, -10, -1010, 0, 0, 0, -1e4f, -1e4f};
  EXPECT_EQ(signal.stored, expected);
}

TEST(Dfe, WithoutAnEdgeOfItsOwn) {
  const FirChannel channel({}, 50, 12);
  Samples signal(channel.samples, kInterval);
  VomoDFEParams p = Settings({5});
  p.afTapMax[0] = 9;
  Received<VomoWaveform> filtered;
  ASSERT_EQ(Apply(signal.get(), p, 0, filtered), 0u);
  EXPECT_EQ(vomo_test::Visible(*filtered.get()), channel.samples);
  Eye eye;
  EXPECT_EQ(eye.Measure(signal.get(), p), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(eye.score, 0);
  EXPECT_EQ(eye.high, 0);
}

TEST(Dfe, Refusals) {
  const vomo_test::TempDir here;
  const FirChannel channel({}, 40, 13);
  const struct {
    const char *what;
    uint32_t count;
    double interval, ui;
    float level;
    VomoStatus status;
  } cases[] = {
      {"no samples", 0, kInterval, kUi, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"one sample", 1, kInterval, kUi, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"two samples", 2, kInterval, kUi, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"ten samples", 10, kInterval, kUi, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no interval", 640, 0, kUi, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN interval", 640, NAN, kUi, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no unit interval", 640, kInterval, 0, 1, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {"negative unit interval", 640, kInterval, -kUi, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN unit interval", 640, kInterval, NAN, 1, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"all zero", 640, kInterval, kUi, 0, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"all NaN", 640, kInterval, kUi, NAN, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"endless", 640, kInterval, kUi, kInf, Vomo_STATUS_PARAM_OUT_OF_RANGE},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Samples signal(channel.samples, c.interval);
    for (float &s : signal.stored) s = c.level == kInf ? kInf : s * c.level;
    signal.record.ulNumSamples = c.count;
    VomoDFEParams p = Settings({0.1f});
    p.dUnitInterval = c.ui;
    p.iDFEComputeTaps = 1;
    Eye eye;
    EXPECT_EQ(eye.Measure(signal.get(), p), c.status);
    EXPECT_EQ(std::fabs(eye.score) + std::fabs(eye.min_interval) + std::fabs(eye.high), 0);
    for (const int find_taps : {0, 1}) {
      VomoWaveform *filtered = nullptr;
      VomoHandle handle = 77;
      EXPECT_EQ(
          VomoAPPLY_DFE_FILTER_TO_WAVEFORM(signal.get(), &p, find_taps, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, &filtered, &handle),
          c.status);
      EXPECT_EQ(handle, 77u);
    }
  }
  Samples signal(channel.samples, kInterval);
  VomoDFEParams p = Settings({0.1f});
  Eye eye;
  double d = 0;
  float f = 0;
  EXPECT_EQ(eye.Measure(nullptr, p), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(eye.score, 7);
  EXPECT_EQ(VomoFIND_DFE_TAP(signal.get(), nullptr, &d, &d, &f, &f, &f, &f, &f, &f, &d),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoFIND_DFE_TAP(signal.get(), &p, &d, nullptr, &f, &f, &f, &f, &f, &f, &d),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoFIND_DFE_TAP(signal.get(), &p, &d, &d, &f, &f, nullptr, nullptr, nullptr, nullptr,
                             nullptr),
            0u);
  Received<VomoWaveform> filtered;
  EXPECT_EQ(Apply(nullptr, p, 0, filtered), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_FALSE(std::filesystem::exists("DFE_Error.txt"));
}

// A search that fails in the walk leaves crossovers and clock in the table, and nothing else.
TEST(Dfe, AFailedWalkLeavesItsBlocks) {
  const vomo_test::TempDir here;
  std::vector<float> samples(64, -1.0f);
  std::fill_n(samples.begin(), 4, 1.0f);
  std::fill_n(samples.begin() + 40, 10, 1.0f);
  Samples signal(samples, kInterval);
  VomoDFEParams p = Settings({0, 2});
  p.afTapMax[1] = 9;
  p.dUnitInterval = 4 * kInterval;
  Eye eye;
  EXPECT_EQ(eye.Measure(signal.get(), p), Vomo_STATUS_DFE_SEARCH_FAILED);
  EXPECT_EQ(eye.score, 0);
  EXPECT_EQ(vomo_test::LiveHandles(), 2);
  Vomo_Handle_Free_All();
  Received<VomoWaveform> filtered;
  p.iUICount = 10;
  EXPECT_EQ(Apply(signal.get(), p, 1, filtered), Vomo_STATUS_DFE_SEARCH_FAILED);
  EXPECT_EQ(filtered.get(), nullptr);
  EXPECT_EQ(vomo_test::LiveHandles(), 2);  // the trial has but one edge and fails before its walk
  Vomo_Handle_Free_All();
  EXPECT_EQ(std::ranges::count(here.Read("DFE_Error.txt"), '\n'), 2);
}

TEST(Dfe, RunsOutOfHandles) {
  const FirChannel channel(kPostCursors, 60, 14);
  Samples signal(channel.samples, kInterval);
  VomoDFEParams p = Settings(kMatchingTaps);
  vomo_test::ExpectSlotsNeeded(
      3,
      [&] {
        Eye eye;
        return eye.Measure(signal.get(), p);
      },
      2);
  for (const int find_taps : {0, 1}) {
    vomo_test::ExpectSlotsNeeded(
        4,
        [&] {
          Received<VomoWaveform> filtered;
          return Apply(signal.get(), p, find_taps, filtered);
        },
        3);
  }
}

}  // namespace
