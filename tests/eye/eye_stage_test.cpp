#include "eye/eye_stage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <numeric>

#include "core/handle_table.h"
#include "eye/eye_signal.h"

namespace {

using vomo_test::EyeCapture;
using vomo_test::EyeSignal;

constexpr uint32_t kReach = 6;

// Paired bits, so that every second one is repeated, with an extreme in a known interval for each
// of the plots.
EyeSignal KnownExtremes() {
  EyeSignal signal;
  signal.repeated_v = 0.4;
  signal.edge_ui = 0.1;
  for (int k = 0; k < 300; ++k) signal.bits.push_back(k / 2 % 2 == 0 ? 1 : -1);
  signal.special_v = {{40, .7},   {81, .6},    // highest
                      {62, -.7},  {103, -.6},  // lowest
                      {120, .3},  {141, .2},   // smallest upper margins
                      {182, -.3}, {203, -.2}};
  return signal;
}

class EyeStage : public testing::Test {
 protected:
  EyeStage() : capture_(KnownExtremes()) {
    params_.dTargetUI = capture_.ui_s();
    params_.eVoltageMarginType = Vomo_CENTER_MIN;
    params_.sTransPassFailInfo = params_.sNonTransPassFailInfo =
        vomo_test::Bounds(0.3, 0.7, -0.1f, 0.1f);
    params_.dEyePlotWrapLeftValue = 0.25;
    params_.dEyePlotWrapRightValue = 0.5;
    params_.ulEyeDiagramOffset = kReach;
    params_.usIndividualPointInfo = params_.usGetJitterHistogramData = 1;
    params_.ulHistogramBinSizeUI = 7;
    results_.ulFirstValidIndex = 10;
    // The jitter sequence ends before the clock does: interval 250 has no error of its end.
    results_.ulLastValidIndex = results_.ulLastIndex = 250;
    capture_.errors() = std::vector<double>(251);
    results_.dUnitInterval = capture_.ui_s();
    results_.ulMaxJitterIndex = 5;  // in front of the valid range
    results_.ulMinJitterIndex = 248;
    for (int k = 0; k < 5; ++k) plots_[k].dXMargin = transition_plots_[k].dXMargin = 77.0;
  }
  ~EyeStage() override { Vomo_HANDLE_FREE(handle_); }

  VomoStatus Run(uint8_t **status, VomoTemplate *plots, VomoTemplate *transition_plots,
                 VomoHistogramData *histogram, VomoHandle *handle) {
    return vomo::Vomo_EyeStage(&params_, &results_, &capture_.waveform, &capture_.clock, nullptr,
                               status, capture_.errors().data(), plots, transition_plots, histogram,
                               handle);
  }

  // The points of one class from the intervals first to last, behind those already in the lists.
  struct Points {
    std::vector<double> x;
    std::vector<float> y;
  };
  void Append(Points &points, uint32_t type, uint32_t first, uint32_t last) {
    VomoTemplate d{};
    VomoHandle handle = 0;
    ASSERT_EQ(
        Vomo_SINGLE_DIAGRAM(type, 0, capture_.ui_s(), &capture_.waveform, first, last,
                            &capture_.clock, 0, capture_.errors().data(), 0.25, 0.5, &d, &handle),
        0u);
    points.x.insert(points.x.end(), d.adXArray, d.adXArray + d.ulArrayLength);
    points.y.insert(points.y.end(), d.afYArray, d.afYArray + d.ulArrayLength);
    Vomo_HANDLE_FREE(handle);
  }
  static void ExpectPoints(const VomoTemplate &plot, const Points &points) {
    ASSERT_EQ(plot.ulArrayLength, points.x.size());
    EXPECT_EQ(std::memcmp(plot.adXArray, points.x.data(), points.x.size() * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(plot.afYArray, points.y.data(), points.y.size() * sizeof(float)), 0);
  }
  void Around(Points &points, uint32_t type, uint32_t interval) {
    Append(points, type, interval - kReach, interval + kReach);
  }

  EyeCapture capture_;
  VomoComplianceParams params_{};
  VomoComplianceResults results_{};
  VomoTemplate plots_[5] = {}, transition_plots_[5] = {};
  VomoHandle handle_ = 0;
};

constexpr uint32_t kTransition = 2, kRepeated = 3;

TEST_F(EyeStage, PlotsTheWindowsAroundTheExtremes) {
  ASSERT_EQ(Run(nullptr, plots_, transition_plots_, nullptr, &handle_), 0u);
  Points jitter, transition_jitter;
  for (const auto &[first, last] : {std::pair{10u, 16u}, std::pair{242u, 249u}}) {
    Append(jitter, kRepeated, first, last);
    Append(transition_jitter, kTransition, first, last);
  }
  ExpectPoints(plots_[0], jitter);
  ExpectPoints(transition_plots_[0], transition_jitter);
  const uint32_t transition_at[] = {0, 40, 62, 120, 182}, repeated_at[] = {0, 81, 103, 141, 203};
  for (int k = 1; k < 5; ++k) {
    SCOPED_TRACE(k);
    Points transition, repeated;
    Around(transition, kTransition, transition_at[k]);
    Around(repeated, kRepeated, repeated_at[k]);
    ExpectPoints(plots_[k], repeated);
    ExpectPoints(transition_plots_[k], transition);
    // The plots lie one behind the other, the transition points behind the others.
    EXPECT_EQ(transition_plots_[k].adXArray, plots_[k].adXArray + plots_[k].ulArrayLength);
    EXPECT_EQ(plots_[k].afYArray,
              transition_plots_[k - 1].afYArray + transition_plots_[k - 1].ulArrayLength);
  }
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(plots_[k].dXMargin, -1.0);
    EXPECT_EQ(transition_plots_[k].fYMargin, 0.0f);
  }
}

TEST_F(EyeStage, TellsWhereTheMarginsWereTaken) {
  params_.eVoltageMarginType = Vomo_RANGE_MAX;
  params_.fVoltageHistBinSize = 0.001f;
  ASSERT_EQ(Run(nullptr, plots_, transition_plots_, nullptr, &handle_), 0u);
  EXPECT_NEAR(results_.sTransMargins.fHighMargin, .3 - .1, 1e-6);
  EXPECT_EQ(results_.sNonTransMargins.ulLowMarginInterval, 203u);
  for (const VomoTemplate *plots : {plots_, transition_plots_}) {
    EXPECT_NEAR(plots[3].dXMargin, 0.3, 1e-9);
    EXPECT_NEAR(plots[3].fYMargin, 0.2, 1e-6);
    EXPECT_NEAR(plots[4].dXMargin, 0.3, 1e-9);
    EXPECT_NEAR(plots[4].fYMargin, -0.2, 1e-6);
  }
}

TEST_F(EyeStage, PutsBothClassesInOnePlotWithoutASecondSet) {
  results_.ulMaxJitterIndex = 12;
  ASSERT_EQ(Run(nullptr, plots_, nullptr, nullptr, &handle_), 0u);
  Points jitter;
  for (const uint32_t type : {kRepeated, kTransition}) {
    Append(jitter, type, 10, 18);
    Append(jitter, type, 242, 249);
  }
  ExpectPoints(plots_[0], jitter);
  Points highest;
  Around(highest, kRepeated, 81);
  Around(highest, kTransition, 40);
  ExpectPoints(plots_[1], highest);
}

// Errors that are no numbers: no interval draws anything and no margin names one.
TEST_F(EyeStage, LeavesOutWhatCannotBeDrawn) {
  std::fill(capture_.errors().begin(), capture_.errors().end(), std::nan(""));
  // The failure of the last diagram is the stage's.
  results_.sNonTransMargins.ulLowMarginInterval = 0xFFFFFFFFu;
  handle_ = 99;
  EXPECT_EQ(Run(nullptr, plots_, transition_plots_, nullptr, &handle_),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(handle_, 99u);
  EXPECT_EQ(plots_[0].dXMargin, 77.0);
  // Any other is left out in silence; one without points is there all the same.
  results_.sNonTransMargins.ulLowMarginInterval = 50;
  results_.sNonTransMargins.ulHighMarginInterval = 0xFFFFFFFFu;
  results_.sTransMargins.ulLowMarginInterval = 0xFFFFFFFFu;
  EXPECT_EQ(Run(nullptr, plots_, transition_plots_, nullptr, &handle_), 0u);
  EXPECT_EQ(handle_, 0u) << "no points, no block";
  EXPECT_EQ(plots_[3].dXMargin, 77.0);
  EXPECT_EQ(transition_plots_[3].dXMargin, 0.0);
  EXPECT_EQ(plots_[4].dXMargin, 0.0);
  EXPECT_EQ(transition_plots_[4].dXMargin, 77.0);
  EXPECT_EQ(plots_[0].dXMargin, -1.0);
  EXPECT_EQ(plots_[0].ulArrayLength, 0u);
}

TEST_F(EyeStage, BeginsAPlotWithTheTransitionBitsWhenTheyAreAlone) {
  EyeSignal alternating = KnownExtremes();
  for (std::size_t k = 0; k < 300; ++k) alternating.bits[k] = k % 2 == 0 ? 1 : -1;
  alternating.special_v = {{100, .2}};
  capture_.samples() = EyeCapture(alternating).samples();
  capture_.Refer();
  results_.sNonTransMargins.ulHighMarginInterval = 0xFFFFFFFFu;  // as no trace will change it
  ASSERT_EQ(Run(nullptr, plots_, nullptr, nullptr, &handle_), 0u);
  Points alone;
  Around(alone, kTransition, 100);
  ExpectPoints(plots_[3], alone);
  EXPECT_EQ(plots_[3].dXMargin, 77.0);
  EXPECT_EQ(plots_[4].dXMargin, 0.0);
}

TEST_F(EyeStage, RefusesWindowsOfOneInterval) {
  params_.ulEyeDiagramOffset = 0;
  EXPECT_EQ(Run(nullptr, plots_, nullptr, nullptr, &handle_), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(Run(nullptr, nullptr, nullptr, nullptr, &handle_), 0u);
}

// Every combination of the outputs: the block holds what was asked for, in order, and nothing else.
TEST_F(EyeStage, DeliversWhatIsAskedFor) {
  for (int mask = 0; mask < 64; ++mask) {
    SCOPED_TRACE(mask);
    const bool with_status = mask & 1, with_histogram = mask & 2, with_plots = mask & 4;
    uint8_t *status = nullptr;
    VomoHistogramData histogram{};
    VomoHandle handle = 99;
    params_.usIndividualPointInfo = mask & 16 ? 0 : 1;
    params_.usGetJitterHistogramData = mask & 32 ? 0 : 1;
    std::fill_n(plots_, 5, VomoTemplate{});
    ASSERT_EQ(
        Run(with_status ? &status : nullptr, with_plots ? plots_ : nullptr,
            mask & 8 ? transition_plots_ : nullptr, with_histogram ? &histogram : nullptr, &handle),
        0u);
    const bool has_status = with_status && params_.usIndividualPointInfo;
    const bool has_histogram = with_histogram && params_.usGetJitterHistogramData;
    EXPECT_EQ(handle != 0, has_status || has_histogram || with_plots);
    EXPECT_EQ(status != nullptr, has_status);
    EXPECT_EQ(histogram.pdFirst != nullptr, has_histogram);
    EXPECT_EQ(plots_[0].adXArray, with_plots ? vomo::Vomo_Handle_Lookup(handle) : nullptr);
    if (has_status) {
      EXPECT_EQ(std::accumulate(status, status + 3000, 0), 0);
    }
    if (has_histogram) {
      // 2 * 3000 samples / (10 samples * 7 unit intervals) bins, 85.7.
      EXPECT_EQ(histogram.pdThird, histogram.pdSecond + 85);
      EXPECT_EQ(histogram.pdFirst, histogram.pdThird + 85);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(histogram.pdSecond) % 8, 0u);
      EXPECT_EQ(std::accumulate(histogram.pdSecond, histogram.pdFirst + 85, 0.0), 0.0);
    }
    Vomo_HANDLE_FREE(handle);
  }
}

TEST_F(EyeStage, FreesEverythingWhenItFails) {
  struct Case {
    const char *name;
    VomoStatus status;
    uint32_t free_handles;
    std::function<void()> spoil;
  };
  const Case cases[] = {
      {"histogram bins of no width", Vomo_STATUS_PARAM_OUT_OF_RANGE, 20,
       [&] { params_.ulHistogramBinSizeUI = 0; }},
      {"margins", Vomo_STATUS_PARAM_NOT_VALID, 20, [&] { params_.eVoltageMarginType = 9; }},
      {"no free handle", Vomo_STATUS_MEMORY_ALLOCATION_FAILED, 0, [] {}},
      {"handles for the diagrams, none for the block", Vomo_STATUS_HANDLES_EXHAUSTED, 12, [] {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    void *memory = nullptr;
    while (Vomo_Handle_and_Memory_Allocate(1, &memory) != 0) {
    }
    for (VomoHandle h = 1; h <= c.free_handles; ++h) Vomo_HANDLE_FREE(h);
    const VomoComplianceParams before = params_;
    c.spoil();
    uint8_t *status = nullptr;
    VomoHistogramData histogram{};
    VomoHandle handle = 99;
    EXPECT_EQ(Run(&status, plots_, nullptr, &histogram, &handle), c.status);
    EXPECT_EQ(handle, 99u);
    EXPECT_EQ(plots_[0].dXMargin, 77.0);
    EXPECT_EQ(status, nullptr);
    for (VomoHandle h = 1; h <= c.free_handles; ++h) {
      EXPECT_EQ(vomo::Vomo_Handle_Lookup(h), nullptr) << h;
    }
    Vomo_Handle_Free_All();
    params_ = before;
  }
  // Without a place for the handle nothing is delivered, and nothing stays.
  uint8_t *status = nullptr;
  EXPECT_EQ(Run(&status, plots_, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(plots_[0].dXMargin, 77.0);
  EXPECT_EQ(status, nullptr);
}

}  // namespace
