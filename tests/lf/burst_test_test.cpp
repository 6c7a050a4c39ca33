#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <numeric>

#include "core/handle_table.h"
#include "trace.h"

namespace {

using vomo_test::kInterval;
using vomo_test::Trace;

// Slopes are 0.08 V a sample or more and float samples off by 2^-26 at most, so that a crossing is
// off by 4e-7 samples at most, and a time between two by twice that.
constexpr double kTolerance = 1e-6 * kInterval;
// Times that are rounded to float, of up to 10 samples.
constexpr double kEdgeTolerance = 5e-6 * kInterval;
constexpr float kThreshold = 0.15f;
constexpr uint32_t kIdle = 50;
constexpr uint32_t kTrimStart = 30, kTrimEnd = 60;

uint32_t SampleBehind(double position) {
  return static_cast<uint32_t>(std::floor(position)) + 1;
}

VomoLFTestParams Settings(int32_t type, int32_t count) {
  VomoLFTestParams p;
  std::memset(&p, 0x5A, sizeof p);
  p.eLFTestType = type;
  p.iBurstCount = count;
  p.iPolaritySampleOffset = 6;
  p.iEdgeSearchSamples = 10;
  p.iUseTransmitRatio = 1;
  p.iMinPeriods = 2;
  p.iAveragePeriods = 2;
  p.eBurstPolarity = 0;
  p.ulFilterCount = 2;
  p.fBurstThreshold = kThreshold;
  p.fTrimStart = static_cast<float>(kTrimStart * kInterval);
  p.fTrimEnd = static_cast<float>(kTrimEnd * kInterval);
  p.fLowLevelFraction = 0.2f;
  p.fHighLevelFraction = 0.8f;
  p.dIdleTime = kIdle * kInterval;
  p.dUnitInterval = 20 * kInterval;
  return p;
}

VomoLFTestResults Untouched() {
  VomoLFTestResults r;
  std::fill_n(reinterpret_cast<double *>(&r), sizeof r / sizeof(double), -77.0);
  return r;
}

void ExpectRange(const char *what, double min, double max, std::vector<double> values,
                 double tolerance) {
  EXPECT_NEAR(min, *std::min_element(values.begin(), values.end()), tolerance) << what;
  EXPECT_NEAR(max, *std::max_element(values.begin(), values.end()), tolerance) << what;
}

double Mean(const std::vector<double> &values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return sum / static_cast<double>(values.size());
}

// ---- Burst trains ----

// From 0 V up to the level at the begin and a fall 20 samples behind it; then edges at these
// distances, beginning with a rise 25 samples later, and 20 samples behind the last edge back to
// 0 V. The trim cuts the fall off, and what follows the last edge.
struct TrainBurst {
  double begin, level;
  std::vector<double> gaps;  // high, low, high, ... in samples

  static constexpr double kRise = 8, kFall = 6, kRamp = 4;

  void Draw(Trace &trace) const {
    trace.Hold(begin).To(begin + kRamp, level).Edge(begin + 20, -level, kFall);
    double edge = begin + 45;
    bool high = true;
    trace.Edge(edge, level, kRise);
    for (const double gap : gaps) {
      high = !high;
      trace.Edge(edge += gap, high ? level : -level, high ? kRise : kFall);
    }
    trace.Hold(edge + 20).To(edge + 20 + kRamp, 0);
  }
  uint32_t Start() const { return SampleBehind(begin + kRamp * kThreshold / level); }
  uint32_t End() const {
    double last_edge = begin + 45;
    for (const double gap : gaps) last_edge += gap;
    return SampleBehind(last_edge + 20 + kRamp * (1 - kThreshold / level)) + kIdle;
  }
};

const std::vector<TrainBurst> kTrain = {
    {100.3, 0.4, {24.2, 15.9, 25.0, 16.3, 23.7}},
    {520.8, 0.5, {20.4, 20.1, 28.2, 14.8}},
    {900.5, 0.35, {26, 14, 24.5, 15.25, 25.5, 14.5, 24}},
};

Trace DrawTrain(const std::vector<TrainBurst> &bursts, double behind = 200) {
  Trace trace;
  for (const TrainBurst &burst : bursts) burst.Draw(trace);
  return trace.Hold(static_cast<double>(trace.samples().size()) + behind);
}

struct TrainTruth {
  std::vector<double> periods, duties, means, swings, times, repeats;

  explicit TrainTruth(const std::vector<TrainBurst> &bursts) {
    for (const TrainBurst &burst : bursts) {
      const size_t before = periods.size();
      for (size_t j = 0; j + 1 < burst.gaps.size(); j += 2) {
        periods.push_back((burst.gaps[j] + burst.gaps[j + 1]) * kInterval);
        duties.push_back(100 * burst.gaps[j] / (burst.gaps[j] + burst.gaps[j + 1]));
      }
      means.push_back(Mean({periods.begin() + static_cast<int64_t>(before), periods.end()}));
      swings.push_back(2 * burst.level);
      times.push_back((burst.End() - burst.Start()) * kInterval);
      repeats.push_back(burst.Start() * kInterval);
    }
    std::adjacent_difference(repeats.begin(), repeats.end(), repeats.begin());
    repeats.erase(repeats.begin());
  }
};

TEST(BurstTest, TrainOfKnownBursts) {
  Trace trace = DrawTrain(kTrain);
  const VomoWaveform waveform = trace.Waveform();
  // Common mode: 0.1 V, wide of it outside of the trimmed bursts, 0.25 V of range in the second.
  std::vector<float> common_mode(waveform.ulNumSamples, 0.1f);
  common_mode[kTrain[1].Start() + kTrimStart - 1] = 9;
  common_mode[kTrain[1].Start() + kTrimStart] = 0.25f;
  common_mode[kTrain[1].End() - kTrimEnd] = 0;
  common_mode[kTrain[1].End() - kTrimEnd + 1] = -9;
  common_mode[kTrain[2].Start() + kTrimStart] = 0.2f;
  VomoLFTestParams p = Settings(1, 3);
  VomoLFTestResults r = Untouched();
  ASSERT_EQ(Vomo_LF_TEST(&waveform, common_mode.data(), &p, &r), Vomo_STATUS_SUCCESS);

  const TrainTruth truth(kTrain);
  EXPECT_EQ(p.iBurstsFound, 3);
  EXPECT_EQ(p.iFirstEdgeRising, 1);
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(p.aulBurstBounds[2 * k], kTrain[k].Start());
    EXPECT_EQ(p.aulBurstBounds[2 * k + 1], kTrain[k].End());
  }
  EXPECT_EQ(p.aulBurstBounds[6], 0x5A5A5A5Au);
  EXPECT_NEAR(p.dMeanPeriod, Mean(truth.means), kTolerance);
  ExpectRange("period", r.dPeriodMin, r.dPeriodMax, truth.periods, 2 * kTolerance);
  // A share of a period of 40 samples: 100 * 3e-6 / 40.
  ExpectRange("duty cycle", r.dDutyCycleMin, r.dDutyCycleMax, truth.duties, 1e-5);
  ExpectRange("swing", r.dVoltagePPMin, r.dVoltagePPMax, truth.swings, 1e-7);
  ExpectRange("burst time", r.dBurstTimeMin, r.dBurstTimeMax, truth.times, 1e-12);
  ExpectRange("repeat time", r.dRepeatTimeMin, r.dRepeatTimeMax, truth.repeats, 1e-12);
  EXPECT_NEAR(r.dRiseTimeMax, 0.6 * TrainBurst::kRise * kInterval, kEdgeTolerance);
  EXPECT_NEAR(r.dFallTimeMax, 0.6 * TrainBurst::kFall * kInterval, kEdgeTolerance);
  EXPECT_EQ(r.dCommonModeMax, 0.25);
  for (const double other : {r.dAmplitudeMin, r.dBitDurationMin, r.dTransmitRatioMin,
                             r.dMinorDurationMin, r.dDiffDCMin, r.dPrepareTimeMin}) {
    EXPECT_EQ(other, -77.0);
  }
}

TEST(BurstTest, OtherNumbersOfBursts) {
  const std::vector<TrainBurst> two(kTrain.begin(), kTrain.begin() + 2);
  Trace trace = DrawTrain(two);
  VomoWaveform waveform = trace.Waveform();
  VomoLFTestParams p = Settings(1, 3);
  VomoLFTestResults r = Untouched();
  EXPECT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), Vomo_STATUS_LF_FEWER_BURSTS);
  EXPECT_EQ(p.iBurstsFound, 2);
  EXPECT_NEAR(p.dMeanPeriod, Mean(TrainTruth(two).means), kTolerance);
  EXPECT_NEAR(r.dRepeatTimeMax, TrainTruth(two).repeats[0], 1e-12);
  EXPECT_EQ(r.dCommonModeMax, -77.0);

  p = Settings(1, 1);
  r = Untouched();
  EXPECT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(p.iBurstsFound, 1);
  EXPECT_EQ(r.dRepeatTimeMin, -77.0);
  EXPECT_EQ(r.dRepeatTimeMax, -77.0);
  EXPECT_GT(r.dDutyCycleMin, 0);

  // Cut off inside the second: nothing is measured.
  waveform.ulNumSamples = two[1].End() - 1;
  const VomoLFTestParams before = p = Settings(1, 2);
  r = Untouched();
  EXPECT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_EQ(std::memcmp(&p, &before, sizeof p), 0);
  EXPECT_EQ(r.dPeriodMin, -77.0);

  // None, for either kind.
  for (const int32_t type : {1, 2, 0}) {
    waveform.ulNumSamples = 90;
    p = Settings(type, 2);
    EXPECT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), Vomo_STATUS_LF_FEWER_BURSTS);
    EXPECT_EQ(p.iBurstsFound, 0);
    EXPECT_EQ(p.dMeanPeriod, 0.0);
    EXPECT_EQ(p.aulBurstBounds[0], 0x5A5A5A5Au);
    EXPECT_EQ(r.dPeriodMin, -77.0);
  }
}

// The record has room for the bounds of five.
TEST(BurstTest, MoreThanFiveBursts) {
  std::vector<TrainBurst> seven;
  for (int k = 0; k < 7; ++k) {
    seven.push_back({100.3 + 400 * k, 0.4, {20.0 + k, 20, 24, 16.0 + 2 * k}});
  }
  Trace trace = DrawTrain(seven);
  const VomoWaveform waveform = trace.Waveform();
  VomoLFTestParams p = Settings(1, 7);
  VomoLFTestResults r = Untouched();
  ASSERT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(p.iBurstsFound, 7);
  EXPECT_EQ(p.aulBurstBounds[8], seven[4].Start());
  EXPECT_EQ(p.aulBurstBounds[9], seven[4].End());
  EXPECT_EQ(p.fBurstThreshold, kThreshold);
  EXPECT_NEAR(r.dPeriodMax, 52 * kInterval, 2 * kTolerance);
}

// ---- Pulse-width coding ----

// A stall at the low level, a prepare phase at a high one from a rise on, and a burst of pulses
// from a fall on. The trim cuts the first pulse off: the fall behind it is the first crossover.
struct CodedBurst {
  double stall, rise, fall, prepare, high, low;
  double first_pulse[2];     // low, high
  std::vector<double> gaps;  // low, high, low, high, ... up to the fall into the next stall

  static constexpr double kEdge = 8;

  double FirstEdge() const { return fall + first_pulse[0] + first_pulse[1]; }
  void Draw(Trace &trace) const {
    trace.Edge(stall, low, kEdge).Edge(rise, prepare, kEdge).Edge(fall, low, kEdge);
    trace.Edge(fall + first_pulse[0], high, kEdge);
    double edge = FirstEdge();
    trace.Edge(edge, low, kEdge);
    for (size_t k = 0; k + 1 < gaps.size(); ++k) {
      trace.Edge(edge += gaps[k], k % 2 == 0 ? high : low, kEdge);
    }
  }
};

// Each burst ends with the stall of the next; the last stall stands alone.
const CodedBurst kCoded[] = {
    {60.2, 400.3, 640.7, 0.4, 0.4, -0.3, {15.3, 30.2}, {12, 24, 30, 10, 20, 16, 32, 16}},
    {846.2, 1300.9, 1480.6, 0.5, 0.45, -0.35, {17, 25}, {26, 13, 24, 16, 12, 30}},
};

Trace DrawCoded() {
  Trace trace;
  trace.To(0, 0.4);
  for (const CodedBurst &burst : kCoded) burst.Draw(trace);
  double edge = kCoded[1].FirstEdge();
  for (const double gap : kCoded[1].gaps) edge += gap;
  return trace.Edge(edge, -0.3, CodedBurst::kEdge).Hold(edge + 200);
}

TEST(BurstTest, CodedBurstsOfKnownShape) {
  Trace trace = DrawCoded();
  const VomoWaveform waveform = trace.Waveform();
  VomoLFTestParams p = Settings(2, 2);
  VomoLFTestResults r = Untouched();
  ASSERT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), Vomo_STATUS_SUCCESS);
  EXPECT_EQ(p.iBurstsFound, 2);
  EXPECT_EQ(p.iFirstEdgeRising, 0);

  std::vector<double> periods, means, durations, minors, prepares;
  for (size_t k = 0; k < 2; ++k) {
    const CodedBurst &burst = kCoded[k];
    EXPECT_EQ(p.aulBurstBounds[2 * k], static_cast<uint32_t>(burst.fall));
    std::vector<double> own;
    for (size_t j = 0; j < burst.gaps.size(); j += 2) {
      own.push_back((burst.gaps[j] + burst.gaps[j + 1]) * kInterval);
      minors.push_back(std::min(burst.gaps[j], burst.gaps[j + 1]) * kInterval);
    }
    for (const double period : own) durations.push_back(period / Mean({own[0], own[1]}));
    periods.insert(periods.end(), own.begin(), own.end());
    means.push_back(Mean(own));
    // The end of a phase is taken one sample early.
    prepares.push_back((burst.fall - 1 - burst.rise) * kInterval);
  }
  ExpectRange("period", r.dPeriodMin, r.dPeriodMax, periods, 2 * kTolerance);
  EXPECT_NEAR(p.dMeanPeriod, Mean(means), kTolerance);
  // Extrapolated over up to four samples.
  ExpectRange("prepare", r.dPrepareTimeMin, r.dPrepareTimeMax, prepares, 5 * kTolerance);
  ExpectRange("amplitude", r.dAmplitudeMin, r.dAmplitudeMax, {0.3f, 0.45f}, 0);
  ExpectRange("levels", r.dDiffDCMin, r.dDiffDCMax, {0.3f, 0.5f}, 0);
  ExpectRange("durations", r.dBitDurationMin, r.dBitDurationMax, durations, 1e-6);
  // 2, 3, 1.25, 2 and 2, 1.5, 2.5: in each burst the last one below its maximum is the minimum.
  ExpectRange("ratio", r.dTransmitRatioMin, r.dTransmitRatioMax, {3, 2, 2.5, 1.5}, 1e-6);
  // The levels are shares of the prepare phases' swing: in the second burst that is 0.85 V, while
  // its own edges take 8 samples for 0.8 V.
  const double edge = 0.6 * 0.85 / 0.8 * CodedBurst::kEdge;
  EXPECT_NEAR(r.dRiseTimeMax, edge * kInterval, kEdgeTolerance);
  EXPECT_NEAR(r.dFallTimeMax, edge * kInterval, kEdgeTolerance);
  for (const double other : {r.dVoltagePPMin, r.dBurstTimeMin, r.dRepeatTimeMin, r.dDutyCycleMin,
                             r.dCommonModeMax, r.dMinorDurationMin}) {
    EXPECT_EQ(other, -77.0);
  }

  p.iUseTransmitRatio = 0;
  r = Untouched();
  ASSERT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), Vomo_STATUS_SUCCESS);
  ExpectRange("minor", r.dMinorDurationMin, r.dMinorDurationMax, minors, 2 * kTolerance);
  EXPECT_EQ(r.dTransmitRatioMin, -77.0);
}

// ---- What goes wrong ----

TEST(BurstTest, Refuse) {
  Trace train = DrawTrain(kTrain), coded = DrawCoded();
  const VomoWaveform good[] = {train.Waveform(), coded.Waveform()};
  VomoLFTestResults r = Untouched();
  VomoLFTestParams settings = Settings(1, 3);
  EXPECT_EQ(Vomo_LF_TEST(nullptr, nullptr, &settings, &r), Vomo_STATUS_FILE_READ_ERROR);
  EXPECT_EQ(Vomo_LF_TEST(&good[0], nullptr, nullptr, &r), Vomo_STATUS_FILE_READ_ERROR);
  EXPECT_EQ(Vomo_LF_TEST(&good[0], nullptr, &settings, nullptr), Vomo_STATUS_FILE_READ_ERROR);

  const struct {
    const char *what;
    int32_t type;
    std::function<void(VomoWaveform &, VomoLFTestParams &)> spoil;
    VomoStatus status;
  } cases[] = {
      {"no such type", 1, [](auto &, auto &p) { p.eLFTestType = 0; }, 0xA0000005},
      {"no samples", 1, [](auto &w, auto &) { w.pfSamples = nullptr; }, 0xA0000005},
      {"interval", 1, [](auto &w, auto &) { w.dSampleInterval = 0; }, 0xA0000005},
      {"burst count", 1, [](auto &, auto &p) { p.iBurstCount = 0; }, 0xA0000005},
      {"trim", 1, [](auto &, auto &p) { p.fTrimEnd = -1; }, 0xA0000005},
      {"nothing left", 1, [](auto &, auto &p) { p.fTrimStart = 1; }, 0xA0000005},
      {"one crossover left", 1,
       [](auto &, auto &p) { p.fTrimEnd = static_cast<float>(170 * kInterval); }, 0xA0000005},
      {"offset", 1, [](auto &, auto &p) { p.iPolaritySampleOffset = 0; }, 0xA0000005},
      {"search", 1, [](auto &, auto &p) { p.iEdgeSearchSamples = 0; }, 0xA0000005},
      {"level", 2, [](auto &, auto &p) { p.fLowLevelFraction = 2; }, 0xA0000005},
      {"unit interval", 1, [](auto &, auto &p) { p.dUnitInterval = 1e-30; }, 0xA0020000},
      {"periods", 2, [](auto &, auto &p) { p.iMinPeriods = 0; }, 0xA0000005},
      {"too few periods", 2, [](auto &, auto &p) { p.iMinPeriods = p.iAveragePeriods = 5; },
       0xA0000009},
      {"begins in the stall", 2, [](auto &w, auto &) { w.pfSamples += 70, w.ulNumSamples -= 70; },
       Vomo_STATUS_SUCCESS},
  };
  for (const auto &c : cases) {
    VomoWaveform waveform = good[c.type - 1];
    VomoLFTestParams p = Settings(c.type, 2);
    c.spoil(waveform, p);
    EXPECT_EQ(Vomo_LF_TEST(&waveform, nullptr, &p, &r), c.status) << c.what;
    EXPECT_EQ(p.iBurstsFound, c.status == 0 ? 2 : 0x5A5A5A5A) << c.what;
  }
}

// However many handles are free, the test either succeeds or says that memory is short, and holds
// none of them afterwards.
TEST(BurstTest, ShortOfHandles) {
  Trace train = DrawTrain(kTrain), coded = DrawCoded();
  const VomoWaveform waveforms[] = {train.Waveform(), coded.Waveform()};
  void *memory;
  for (uint32_t k = 0; k < vomo::kHandleCount; ++k) Vomo_Handle_and_Memory_Allocate(1, &memory);
  for (const int32_t type : {1, 2}) {
    const uint32_t needed = type == 1 ? 4 : 5;
    for (uint32_t free = 0; free <= needed; ++free) {
      for (VomoHandle handle = 1; handle <= free; ++handle) Vomo_HANDLE_FREE(handle);
      VomoLFTestParams p = Settings(type, 2);
      VomoLFTestResults r = Untouched();
      EXPECT_EQ(Vomo_LF_TEST(&waveforms[type - 1], nullptr, &p, &r),
                free < needed ? Vomo_STATUS_MEMORY_ALLOCATION_FAILED : Vomo_STATUS_SUCCESS)
          << type << " " << free;
      for (VomoHandle handle = 1; handle <= free; ++handle) {
        EXPECT_EQ(Vomo_Handle_and_Memory_Allocate(1, &memory), handle);
      }
    }
  }
  Vomo_Handle_Free_All();
}

}  // namespace
