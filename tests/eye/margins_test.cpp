#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <random>

#include "eye/column_table.h"
#include "eye/eye_signal.h"
#include "eye/range_scan.h"

namespace {

using vomo_test::Bounds;
using vomo_test::EyeCapture;
using vomo_test::EyeSignal;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr float kUnfilledLevel = 3156.3293f;

struct Search {
  explicit Search(EyeCapture &c) : capture(c), last(c.edges() - 2) {
    params.dTargetUI = c.ui_s();
    params.eVoltageMarginType = Vomo_RANGE_MAX;
    params.fVoltageHistBinSize = 0.001f;
    params.iVoltageHistTrimCount = 1;
    params.sTransPassFailInfo = params.sNonTransPassFailInfo = Bounds(0.3, 0.7, -0.1f, 0.1f);
  }
  VomoStatus Run() {
    return VomoFIND_MARGINS(&params, &capture.waveform, first, last, &capture.clock, 0,
                            capture.errors().data(), &results, nullptr, nullptr, nullptr);
  }

  EyeCapture &capture;
  uint32_t first = 0, last;
  VomoComplianceParams params{};
  VomoComplianceResults results{};
  const VomoTemplateMargins &trans = results.sTransMargins;
  const VomoTemplateMargins &repeated = results.sNonTransMargins;
};

// Bits + + - - + + - - ..., every second one repeated; flat between 0.1 and 0.9 UI.
EyeSignal PairedBits(int count) {
  EyeSignal signal;
  signal.repeated_v = 0.4;
  for (int k = 0; k < count; ++k) signal.bits.push_back(k / 2 % 2 == 0 ? 1 : -1);
  return signal;
}

TEST(Margins, AtTheCenterAreTheWorstTrace) {
  EyeSignal signal = PairedBits(100);
  signal.special_v = {{20, 0.3}, {22, -0.25}, {41, 0.15}, {43, -0.2}, {44, 0.35}};
  EyeCapture capture(signal);
  Search search(capture);
  search.params.eVoltageMarginType = Vomo_CENTER_MIN;
  search.results.sTransMargins.ulLowMarginCount = 5;
  ASSERT_EQ(search.Run(), 0u);
  EXPECT_NEAR(search.trans.fHighMargin, 0.3 - 0.1, 1e-6);
  EXPECT_EQ(search.trans.ulHighMarginInterval, 20u);
  EXPECT_NEAR(search.trans.fLowMargin, -0.25 + 0.1, 1e-6);
  EXPECT_EQ(search.trans.ulLowMarginInterval, 22u);
  EXPECT_NEAR(search.repeated.fHighMargin, 0.15 - 0.1, 1e-6);
  EXPECT_EQ(search.repeated.ulHighMarginInterval, 41u);
  EXPECT_EQ(search.repeated.ulLowMarginInterval, 43u);
  EXPECT_EQ(search.trans.ulHighMarginCount, 0u);
  EXPECT_EQ(search.trans.ulLowMarginCount, 5u) << "counts go on from what stands there";

  // Templates that three of the five reach into.
  search.params.sTransPassFailInfo = Bounds(0.3, 0.7, -0.32f, 0.32f);
  search.params.sNonTransPassFailInfo = Bounds(0.3, 0.7, -0.17f, 0.17f);
  ASSERT_EQ(search.Run(), 0u);
  EXPECT_EQ(search.trans.ulHighMarginCount, 1u);
  EXPECT_EQ(search.trans.ulLowMarginCount, 6u);
  EXPECT_EQ(search.repeated.ulHighMarginCount, 1u);
  EXPECT_EQ(search.repeated.ulLowMarginCount, 0u);
  EXPECT_NEAR(search.repeated.fHighMargin, 0.15 - 0.17, 1e-6) << "inside the template";

  // A trace at 0 V is a high one here and a low one in the range.
  signal.special_v = {{20, 0.0}};
  EyeCapture zero(signal);
  Search at_zero(zero);
  at_zero.params.eVoltageMarginType = Vomo_CENTER_MIN;
  ASSERT_EQ(at_zero.Run(), 0u);
  EXPECT_EQ(at_zero.trans.fHighMargin, -0.1f);
  at_zero.params.eVoltageMarginType = Vomo_RANGE_MAX;
  ASSERT_EQ(at_zero.Run(), 0u);
  EXPECT_EQ(at_zero.trans.fLowLevel, 0.0f);
  EXPECT_NEAR(at_zero.trans.fHighLevel, 0.4, 1e-6);
}

// About 100 transition bits of either sign: 1 at 0.2 V, 3 at 0.3 V, the rest at 0.5 V.
TEST(Margins, OfTheRangeComeFromTrimmedLevels) {
  EyeSignal signal = PairedBits(400);
  signal.special_v = {{20, 0.2},  {40, 0.3},  {60, 0.3},  {80, 0.3},
                      {22, -0.2}, {42, -0.3}, {62, -0.3}, {82, -0.3}};
  EyeCapture capture(signal);
  struct Case {
    int32_t count;
    double factor;
    float high, low;
  };
  // Each sign has its half of the bins; a factor is taken of half its traces, rounded.
  const Case cases[] = {
      {1, 0, .2f, -.2f},
      {2, 0, .3f, -.3f},
      {3, 0, .3f, -.3f},
      {4, 0, .5f, -.5f},
      {1000, 0, kUnfilledLevel, kUnfilledLevel},
      {0, 0, .2f, -.2f},
      {-1, 0.029, .2f, -.2f},
      {0, 0.031, .3f, -.3f},
      {0, 0.06, .3f, -.3f},
      {0, 0.08, .5f, -.5f},
      {0, -3, .2f, -.2f},
      {0, kNaN, .2f, -.2f},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << c.count << ' ' << c.factor);
    Search search(capture);
    search.params.fVoltageHistBinSize = 0.01f;
    search.params.iVoltageHistTrimCount = c.count;
    search.params.dVoltageHistTrimFactor = c.factor;
    ASSERT_EQ(search.Run(), 0u);
    EXPECT_NEAR(search.trans.fHighMargin, c.high - 0.1f, 1e-6);
    EXPECT_NEAR(search.trans.fLowMargin, c.low + 0.1f, 1e-6);
    // The levels told are the innermost of all bits, whatever the trim.
    EXPECT_NEAR(search.trans.fHighLevel, 0.2, 1e-6);
    EXPECT_NEAR(search.repeated.fLowLevel, -0.2, 1e-6);
    EXPECT_EQ(search.trans.ulHighMarginInterval, 20u);
    EXPECT_EQ(search.trans.ulLowMarginInterval, 22u);
  }
}

TEST(Margins, WithoutAHistogramHaveNoLevels) {
  EyeSignal signal = PairedBits(100);
  EyeCapture capture(signal);
  for (const float bin : {0.0f, -1.0f, std::nanf(""), 2.0f}) {
    Search search(capture);
    search.params.fVoltageHistBinSize = bin;
    ASSERT_EQ(search.Run(), 0u);
    EXPECT_EQ(search.trans.fHighMargin, -0.1f) << bin;
    EXPECT_EQ(search.repeated.fLowMargin, 0.1f) << bin;
    EXPECT_NEAR(search.repeated.fHighLevel, 0.4, 1e-6);
  }
  // Far more bins than traces: only those with hits cost memory.
  Search fine(capture);
  fine.params.fVoltageHistBinSize = 1e-8f;
  ASSERT_EQ(fine.Run(), 0u);
  EXPECT_NEAR(fine.trans.fHighMargin, 0.4, 1e-6);
}

// One class of a stored diagram, searched by looking each column up in each trace.
struct Reference {
  Reference(const EyeCapture &capture, uint32_t type, uint32_t last, const VomoPassFailInfo &info,
            int columns)
      : high(static_cast<std::size_t>(columns), 1000.0),
        low(high.size(), -1000.0),
        high_interval(high.size()),
        low_interval(high.size()) {
    VomoTemplate d{};
    VomoHandle handle = 0;
    EXPECT_EQ(capture.Fold(type, 0, last, 0.0, d, handle), 0u);
    const double *x = d.adXArray, *end = x + d.ulArrayLength;
    for (const double *next; x < end; x = next) {
      next = std::is_sorted_until(x, end);
      if (next[-1] > info.dEyeXMax + 1e-9) TakeTrace(d, x, next, info);
    }
    Vomo_HANDLE_FREE(handle);
    best = 0;
    for (std::size_t j = 1; j < high.size(); ++j) {
      if (high[j] - low[j] > high[best] - low[best]) best = j;
    }
    best_x =
        info.dEyeXMin + (info.dEyeXMax - info.dEyeXMin) * static_cast<double>(best) / (columns - 1);
  }

  void TakeTrace(const VomoTemplate &d, const double *begin, const double *end,
                 const VomoPassFailInfo &info) {
    std::vector<double> volts;
    for (std::size_t j = 0; j < high.size(); ++j) {
      const double x = info.dEyeXMin + (info.dEyeXMax - info.dEyeXMin) * static_cast<double>(j) /
                                           static_cast<double>(high.size() - 1);
      const double *right = std::upper_bound(begin, end, x);
      const float *y = d.afYArray + (right - d.adXArray);
      const double share = (x - right[-1]) / (right[0] - right[-1]);
      volts.push_back(double{y[-1]} * (1 - share) + double{y[0]} * share);
    }
    const uint32_t interval = d.aulIntervalIdxArray[begin - d.adXArray];
    const auto [least, greatest] = std::minmax_element(volts.begin(), volts.end());
    if (volts[high.size() / 2] > 0) {
      high_count += *greatest < double{info.fEyeYMax};
      for (std::size_t j = 0; j < high.size(); ++j) {
        if (volts[j] < high[j]) high[j] = volts[j], high_interval[j] = interval;
      }
    } else {
      low_count += *least > double{info.fEyeYMin};
      for (std::size_t j = 0; j < high.size(); ++j) {
        if (volts[j] > low[j]) low[j] = volts[j], low_interval[j] = interval;
      }
    }
  }

  std::vector<double> high, low;
  std::vector<uint32_t> high_interval, low_interval;
  uint32_t high_count = 0, low_count = 0;
  std::size_t best;
  double best_x;
};

std::unique_ptr<EyeCapture> NoisyCapture(double samples_per_ui, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0.0, 0.06), jitter(0.0, 0.03);
  EyeSignal signal;
  signal.samples_per_ui = samples_per_ui;
  signal.edge_ui = 0.7;
  signal.repeated_v = 0.35;
  signal.bits = vomo_test::Prbs15(600);
  for (std::size_t k = 0; k < signal.bits.size(); ++k) {
    signal.clock_error_s.push_back(signal.ui_s * jitter(random));
  }
  auto capture = std::make_unique<EyeCapture>(signal);
  for (float &sample : capture->samples()) sample += static_cast<float>(noise(random));
  return capture;
}

// Classes with bounds of their own: the columns of all bits are as many as the transition eye's
// (101) across the non-transition eye's width, and the table grows between the classes (126).
TEST(Margins, AgreeWithALookUpInEveryTrace) {
  for (const double samples_per_ui : {2.0, 7.3, 10.0, 40.0}) {
    SCOPED_TRACE(samples_per_ui);
    const auto capture = NoisyCapture(samples_per_ui, 7);
    vomo::MarginColumns() = {};
    Search search(*capture);
    search.params.sTransPassFailInfo = Bounds(0.3, 0.7, -0.3f, 0.35f);
    search.params.sNonTransPassFailInfo = Bounds(0.25, 0.75, -0.35f, 0.3f);
    ASSERT_EQ(search.Run(), 0u);
    const Reference all(*capture, 1, search.last, search.params.sNonTransPassFailInfo, 101);
    const Reference trans(*capture, 2, search.last, search.params.sTransPassFailInfo, 101);
    const Reference repeated(*capture, 3, search.last, search.params.sNonTransPassFailInfo, 126);
    const auto agree = [&](const VomoTemplateMargins &m, const Reference &r,
                           const VomoPassFailInfo &info) {
      EXPECT_NEAR(m.dMarginX, all.best_x, 1e-9);
      EXPECT_NEAR(m.fHighLevel, all.high[all.best], 1e-6);
      EXPECT_NEAR(m.fLowLevel, all.low[all.best], 1e-6);
      // One hit makes a level, so it is the innermost voltage in the class's own best column.
      EXPECT_NEAR(m.fHighMargin, r.high[r.best] - double{info.fEyeYMax}, 1e-6);
      EXPECT_NEAR(m.fLowMargin, r.low[r.best] - double{info.fEyeYMin}, 1e-6);
      EXPECT_EQ(m.ulHighMarginInterval, r.high_interval[r.best]);
      EXPECT_EQ(m.ulLowMarginInterval, r.low_interval[r.best]);
    };
    agree(search.trans, trans, search.params.sTransPassFailInfo);
    agree(search.repeated, repeated, search.params.sNonTransPassFailInfo);
    EXPECT_EQ(search.trans.ulHighMarginCount, trans.high_count);
    EXPECT_EQ(search.trans.ulLowMarginCount, trans.low_count);
    EXPECT_EQ(search.repeated.ulHighMarginCount, all.high_count + repeated.high_count);
    EXPECT_EQ(search.repeated.ulLowMarginCount, all.low_count + repeated.low_count);
  }
}

TEST(Margins, OfAMirroredSignalAreMirrored) {
  const auto capture = NoisyCapture(10.0, 3), mirrored = NoisyCapture(10.0, 3);
  for (float &sample : mirrored->samples()) sample = -sample;
  Search a(*capture), b(*mirrored);
  for (const uint32_t type : {Vomo_CENTER_MIN, Vomo_RANGE_MAX}) {
    a.params.eVoltageMarginType = b.params.eVoltageMarginType = type;
    ASSERT_EQ(a.Run(), 0u);
    ASSERT_EQ(b.Run(), 0u);
    EXPECT_EQ(a.trans.fHighMargin, -b.trans.fLowMargin);
    EXPECT_EQ(a.repeated.fLowMargin, -b.repeated.fHighMargin);
    EXPECT_EQ(a.trans.ulLowMarginInterval, b.trans.ulHighMarginInterval);
    EXPECT_EQ(a.repeated.dMarginX, b.repeated.dMarginX);
    EXPECT_EQ(a.trans.ulHighMarginCount, b.trans.ulLowMarginCount);
  }
}

// With a template higher than the signal every trace counts, once. Of 100 intervals the diagram of
// all bits holds 100 times the samples per UI, a trace one point more than that: the last traces
// don't reach the template's right end, the seventh point, at 8 samples (89 do) nor at 256 (99 do).
// Denser samples fall behind the columns, so that the last trace at 512 gets by with its first
// half.
TEST(Margins, CountEveryTraceOnce) {
  struct Case {
    double samples_per_ui;
    uint32_t of_all;
  };
  for (const Case &c : {Case{8, 89}, Case{256, 99}, Case{512, 100}}) {
    EyeSignal signal = PairedBits(101);
    signal.ui_s = 0x1p-33;  // all edges fall on samples, without rounding
    signal.samples_per_ui = c.samples_per_ui;
    EyeCapture capture(signal);
    Search search(capture);
    search.params.sTransPassFailInfo = search.params.sNonTransPassFailInfo =
        Bounds(0.3, 0.7, -2.0f, 2.0f);
    ASSERT_EQ(search.Run(), 0u);
    EXPECT_EQ(search.trans.ulHighMarginCount + search.trans.ulLowMarginCount, 49u);
    EXPECT_EQ(search.repeated.ulHighMarginCount + search.repeated.ulLowMarginCount, c.of_all + 51u)
        << c.samples_per_ui;
    // Traces that touch the template's top and bottom are not in it.
    search.params.sTransPassFailInfo = Bounds(0.3, 0.7, -0.5f, 0.5f);
    search.results = {};
    ASSERT_EQ(search.Run(), 0u);
    EXPECT_EQ(search.trans.ulHighMarginCount + search.trans.ulLowMarginCount, 0u);
  }
}

// Two traces of three points, columns at -0.5, 0 and 0.5. The second trace's first column is read
// from the segment that leads back to it, through (1, 12) and (0, 4), and so belongs to the
// interval of that segment's first point.
TEST(RangeScan, ReadsColumnsFromTheSegmentsAsTheyFollow) {
  double high[] = {1000, 1000, 1000}, low[] = {-1000, -1000, -1000};
  uint32_t high_interval[3], low_interval[3];
  VomoTemplateMargins margins{};
  vomo::RangeScan scan(Bounds(-0.5, 0.5, -1.0f, 5.0f), 3,
                       {{high, high_interval}, {low, low_interval}}, margins);
  const double x[] = {0, .5, 1};
  const float first[] = {10, 11, 12}, second[] = {4, 5, 6};
  scan.Take({x, first, 3, 7});
  EXPECT_EQ(high[0] + 2 * high[1] + 3 * high[2], 9 + 2 * 10 + 3 * 11);
  scan.Take({x, second, 3, 8});
  EXPECT_EQ(high[0], 0.0);
  EXPECT_EQ(high[1], 4.0);
  EXPECT_EQ(high[2], 5.0);
  EXPECT_EQ(high_interval[0], 7u);
  EXPECT_EQ(high_interval[1], 8u);
  EXPECT_EQ(margins.ulHighMarginCount, 0u) << "the highest value touches the template's top";

  // To the right of the template no trace begins, except from the very first segment.
  std::fill_n(high, 3, 1000.0);
  vomo::RangeScan left(Bounds(-0.5, -0.25, -1.0f, 1.0f), 2,
                       {{high, high_interval}, {low, low_interval}}, margins);
  left.Take({x, first, 3, 7});
  left.Take({x, second, 3, 8});
  EXPECT_EQ(high[0], 9.0);
  EXPECT_EQ(high[1], 9.5);
}

TEST(Margins, KeepTheEyeOfNoTraceOpen) {
  EyeSignal signal = PairedBits(10);
  EyeCapture capture(signal);
  std::fill(capture.errors().begin(), capture.errors().end(), kNaN);
  Search search(capture);
  search.results.sTransMargins.fHighMargin = 7.0f;
  ASSERT_EQ(search.Run(), 0u);
  EXPECT_EQ(search.trans.dMarginX, -1.0);
  EXPECT_EQ(search.repeated.fHighLevel, 0.0f);
  EXPECT_EQ(search.trans.fHighMargin, 7.0f);
}

TEST(Margins, RefuseAndGoOnAfterwards) {
  EyeSignal signal = PairedBits(60);
  EyeCapture capture(signal);
  Search good(capture);
  ASSERT_EQ(good.Run(), 0u);
  struct Case {
    const char *name;
    VomoStatus status;
    std::function<void(Search &)> spoil;
  };
  constexpr VomoStatus kMemory = Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  const Case cases[] = {
      {"margin type", Vomo_STATUS_PARAM_NOT_VALID,
       [](Search &s) { s.params.eVoltageMarginType = 2; }},
      {"diagram before margin type", Vomo_STATUS_PARAM_OUT_OF_RANGE,
       [](Search &s) { s.params.eVoltageMarginType = 2, s.last = 60; }},
      {"no width in time", Vomo_STATUS_PARAM_OUT_OF_RANGE,
       [](Search &s) { s.params.dTargetUI = kNaN; }},
      {"first template too wide", kMemory,
       [](Search &s) { s.params.sTransPassFailInfo.dEyeXMax = kInfinity; }},
      {"second template too wide", kMemory,
       [](Search &s) { s.params.sNonTransPassFailInfo.dEyeXMax = 1e6; }},
      {"no points", kMemory, [](Search &s) { s.params.dTargetUI *= 1e-9; }},
      // 59 intervals of 2.5 million samples are more than a block of 2 GB takes.
      {"too many points", kMemory, [](Search &s) { s.params.dTargetUI *= 250000; }},
  };
  for (const Case &c : cases) {
    for (const uint32_t type : {Vomo_CENTER_MIN, Vomo_RANGE_MAX}) {
      Search bad(capture);
      bad.params.eVoltageMarginType = type;
      c.spoil(bad);
      EXPECT_EQ(bad.Run(), c.status) << c.name;
    }
    Search again(capture);
    EXPECT_EQ(again.Run(), 0u);
    EXPECT_EQ(again.repeated.fHighMargin, good.repeated.fHighMargin) << c.name;
  }

  void *memory = nullptr;
  while (Vomo_Handle_and_Memory_Allocate(1, &memory) != 0) {
  }
  EXPECT_EQ(good.Run(), kMemory);
  Vomo_Handle_Free_All();
}

// Templates that are none still end, within the diagram's points.
TEST(Margins, EndForAnyTemplate) {
  const auto capture = NoisyCapture(10.0, 5);
  const double bounds[] = {-3.0, -0.05, 0.0, 0.5, 1.0, 1.04, 3.0, kNaN, kInfinity, -kInfinity};
  for (const double left : bounds) {
    for (const double right : bounds) {
      Search search(*capture);
      search.params.sTransPassFailInfo = Bounds(0.3, 0.7, -0.1f, 0.1f);
      search.params.sNonTransPassFailInfo = Bounds(left, right, -0.1f, 0.1f);
      const VomoStatus status = search.Run();
      EXPECT_EQ(status, right - left == kInfinity ? Vomo_STATUS_MEMORY_ALLOCATION_FAILED : 0u);
      // Swapped roles: these bounds choose the number of columns.
      std::swap(search.params.sTransPassFailInfo, search.params.sNonTransPassFailInfo);
      EXPECT_EQ(search.Run(), status);
    }
  }
}

}  // namespace
