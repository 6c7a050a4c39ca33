#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <set>

#include "eye/eye_signal.h"

namespace {

using vomo_test::EyeCapture;
using vomo_test::EyeSignal;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Samples 0, 1, ... 15 volts, one a second.
class SingleDiagram : public testing::Test {
 protected:
  SingleDiagram() {
    for (int i = 0; i < 16; ++i) samples_.push_back(static_cast<float>(i));
    waveform_ = {16, 1.0, samples_.data(), 0, 0};
    clock_.ulCount = 4;
    clock_.pdTimes = times_.data();
  }
  ~SingleDiagram() override { Vomo_HANDLE_FREE(handle_); }

  VomoStatus Make() {
    Vomo_HANDLE_FREE(handle_);
    handle_ = 0;
    return Vomo_SINGLE_DIAGRAM(1, 1, ui_s_, &waveform_, first_, last_, &clock_, offset_,
                               errors_.data(), left_, right_, &diagram_, &handle_);
  }

  std::vector<float> samples_;
  std::vector<double> times_{2, 6, 10, 14}, errors_{0, 0, 0, 0};
  VomoWaveform waveform_{};
  VomoCrossoverData clock_{};
  double ui_s_ = 4.0, left_ = 0.0, right_ = 0.0;
  uint32_t first_ = 0, last_ = 1, offset_ = 0;
  VomoTemplate diagram_{};
  VomoHandle handle_ = 0;
};

struct ExpectedTrace {
  uint32_t interval;
  int first_sample, count;
  double first_x, step_x;
};

// All numbers are multiples of powers of two, so that the points are known exactly.
TEST_F(SingleDiagram, DrawsWhatIsDrawnByHand) {
  struct Case {
    const char *name;
    std::vector<double> times, errors;
    std::vector<ExpectedTrace> traces;
    uint32_t first = 0, last = 1, offset = 0;
    double left = 0.0, right = 0.0;
  };
  const std::vector<double> ideal{2, 6, 10, 14}, none{0, 0, 0, 0};
  const ExpectedTrace first{0, 2, 5, 0, .25}, second_cut{1, 6, 3, 0, .25}, third{2, 10, 5, 0, .25};
  const Case cases[] = {
      {"cut where the capacity of 8 points ends", ideal, none, {first, second_cut}},
      {"a late edge moves the axis only", {2, 7, 10, 14}, {0, 1, 0, 0}, {first, second_cut}},
      {"not the clock's error", ideal, {0, -4, 0, 0}, {{1, 8, 3, 0, .5}, third}, 0, 2},
      {"edges between samples",
       {2.5, 6.5, 10.5, 14.5},
       none,
       {{0, 2, 6, -.125, .25}, {1, 6, 2, -.125, .25}}},
      {"cut by the record's start, a trace begins at the left end all the same",
       {1, 5, 9, 13},
       none,
       {{0, 0, 10, -.5, .25}, {1, 3, 10, -.5, .25}},
       0,
       1,
       0,
       .5,
       1},
      {"the record's end", {9, 13, 17, 21}, none, {{0, 9, 5, 0, .25}, {1, 13, 3, 0, .25}}},
      {"intervals before the first error count as that one", ideal, {0, 0}, {third}, 1, 2, 2},
      {"the last edge begins no interval", ideal, none, {third}, 2, 3},
      {"an error that is no number", ideal, {0, kNaN, 0, 0}, {third}, 0, 2},
      {"edges that fall back", {6, 2, 10, 14}, {0, 0, -4, 0}, {{2, 12, 3, 0, .5}}, 0, 2},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    times_ = c.times;
    errors_ = c.errors;
    clock_.pdTimes = times_.data();
    first_ = c.first, last_ = c.last, offset_ = c.offset, left_ = c.left, right_ = c.right;
    ASSERT_EQ(Make(), 0u);
    uint32_t i = 0;
    for (const ExpectedTrace &trace : c.traces) {
      for (int k = 0; k < trace.count; ++k, ++i) {
        ASSERT_LT(i, diagram_.ulArrayLength);
        EXPECT_EQ(diagram_.adXArray[i], trace.first_x + k * trace.step_x) << i;
        EXPECT_EQ(diagram_.afYArray[i], static_cast<float>(trace.first_sample + k)) << i;
        EXPECT_EQ(diagram_.aulIntervalIdxArray[i], trace.interval) << i;
      }
    }
    EXPECT_EQ(i, diagram_.ulArrayLength);
    EXPECT_EQ(diagram_.dXMargin, -1.0);
    EXPECT_EQ(diagram_.fYMargin, 0.0f);
  }
}

TEST_F(SingleDiagram, RefusesWithoutWriting) {
  struct Case {
    const char *name;
    VomoStatus status;
    std::function<void()> spoil;
  };
  constexpr VomoStatus kRange = Vomo_STATUS_PARAM_OUT_OF_RANGE;
  constexpr VomoStatus kMemory = Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  const Case cases[] = {
      {"wraps of 1", 0, [&] { left_ = right_ = 1.0; }},
      {"left wrap", kRange, [&] { left_ = 1.0000001; }},
      {"right wrap NaN", kRange, [&] { right_ = kNaN; }},
      {"no width", kMemory, [&] { left_ = right_ = -0.6; }},
      {"sample interval 0", kRange, [&] { waveform_.dSampleInterval = 0; }},
      {"sample interval NaN", kRange, [&] { waveform_.dSampleInterval = kNaN; }},
      {"unit interval 0", kRange, [&] { ui_s_ = 0; }},
      {"no samples", kRange, [&] { waveform_.ulNumSamples = 0; }},
      {"no sample array", kRange, [&] { waveform_.pfSamples = nullptr; }},
      {"one interval", kRange, [&] { last_ = first_; }},
      {"last interval", kRange, [&] { last_ = 4; }},
      {"clock offset", kRange, [&] { offset_ = 4; }},
      {"no times", kRange, [&] { clock_.pdTimes = nullptr; }},
      // 2 intervals of 2^27 samples are 4 GB of points.
      {"too many points", kMemory, [&] { waveform_.dSampleInterval = 4.0 / (1 << 27); }},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    waveform_ = {16, 1.0, samples_.data(), 0, 0};
    clock_.pdTimes = times_.data();
    ui_s_ = 4.0, left_ = right_ = 0.0, first_ = 0, last_ = 1, offset_ = 0;
    diagram_ = {};
    c.spoil();
    EXPECT_EQ(Make(), c.status);
    EXPECT_EQ(handle_ != 0, c.status == 0);
    EXPECT_EQ(diagram_.adXArray != nullptr, c.status == 0);
  }
}

// The clock's errors are the edges' own, so a sample's place in the eye is its time less that of
// the ideal edge. Sums of up to 400 steps and times of up to 1e5 samples round to about 1e-11.
TEST(Diagram, PlacesEverySampleByItsTime) {
  for (const double samples_per_ui : {2.0, 2.5, 10.0, 10.37, 400.0}) {
    SCOPED_TRACE(samples_per_ui);
    EyeSignal signal;
    signal.samples_per_ui = samples_per_ui;
    signal.bits.resize(250, 1);
    for (int k = 0; k < 250; ++k) {
      signal.clock_error_s.push_back(0.2 * signal.ui_s * std::sin(1.7 * k));
    }
    EyeCapture capture(signal);
    for (std::size_t i = 0; i < capture.samples().size(); ++i) {
      capture.samples()[i] = static_cast<float>(i);
    }
    for (const double wrap : {0.1, 1.0}) {
      VomoTemplate d{};
      VomoHandle handle = 0;
      ASSERT_EQ(capture.Fold(1, 5, 200, wrap, d, handle), 0u);
      const double spacing = 1.0 / samples_per_ui;
      for (uint32_t i = 0; i < d.ulArrayLength; ++i) {
        const double k = d.aulIntervalIdxArray[i];
        ASSERT_NEAR(d.adXArray[i], d.afYArray[i] * spacing - k, 1e-9) << i;
        const bool begins = i == 0 || d.aulIntervalIdxArray[i - 1] != d.aulIntervalIdxArray[i];
        if (!begins) continue;
        ASSERT_LE(d.adXArray[i], -wrap + 1e-9);
        ASSERT_GT(d.adXArray[i], -wrap - spacing - 1e-9);
        if (i > 0) {
          ASSERT_NEAR(d.adXArray[i - 1], 1 + wrap, spacing / 2 + 1e-9);
        }
      }
      Vomo_HANDLE_FREE(handle);
    }
  }
}

TEST(Diagram, SortsBitsByTheSamplesAroundTheEdge) {
  EyeSignal signal;
  signal.bits = {1, 1, -1, -1, -1, 1, -1, 1, 1, 1, -1, -1};
  EyeCapture capture(signal);
  // Half a unit interval from edges 3 and 4: a product of 0 makes both transitions.
  capture.samples()[35] = 0.0f;
  const std::set<uint32_t> transitions{2, 3, 4, 5, 6, 7, 10}, others{0, 1, 8, 9};
  for (const uint32_t type : {0u, 1u, 2u, 3u, 4u}) {
    std::set<uint32_t> drawn;
    VomoTemplate d{};
    VomoHandle handle = 0;
    ASSERT_EQ(capture.Fold(type, 0, 11, 0.5, d, handle), 0u);
    drawn.insert(d.aulIntervalIdxArray, d.aulIntervalIdxArray + d.ulArrayLength);
    Vomo_HANDLE_FREE(handle);
    std::set<uint32_t> expected;
    if (type == 1 || type == 2) expected.insert(transitions.begin(), transitions.end());
    if (type == 1 || type == 3) expected.insert(others.begin(), others.end());
    EXPECT_EQ(drawn, expected) << type;
  }
}

}  // namespace
