#include "filters/eye_window.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <list>
#include <vector>

#include "support/crossovers.h"
#include "support/waveforms.h"

namespace {

using vomo::EyeLevels;
using vomo::EyeOpening;
using vomo::PhaseChoice;
using vomo_test::CrossoverList;
using vomo_test::Samples;

constexpr int kPerUi = 16;
constexpr double kUi = 1.0, kInterval = kUi / kPerUi;  // binary fractions: positions are exact

// Bits as levels of shape(p) at sample p of each unit interval, one shape for each kind of bit.
struct Shapes {
  std::function<double(int)> transition, same;
};

struct Eye {
  Eye(const std::vector<int> &bits, const Shapes &shapes) : clock(EveryUi(bits.size())) {
    std::vector<float> stored;
    for (size_t k = 0; k < bits.size(); ++k) {
      const bool changed = k > 0 && bits[k] != bits[k - 1];
      for (int p = 0; p < kPerUi; ++p) {
        stored.push_back(
            static_cast<float>(bits[k] * (changed ? shapes.transition(p) : shapes.same(p))));
      }
    }
    signal.emplace_back(stored, kInterval);
  }
  Eye(const Eye &) = delete;
  Eye &operator=(const Eye &) = delete;

  static std::vector<double> EveryUi(size_t count) {
    std::vector<double> times;
    for (size_t k = 0; k < count; ++k) times.push_back(kUi * static_cast<double>(k));
    return times;
  }

  EyeOpening Measure(float begin, float end, PhaseChoice choice) {
    EyeOpening opening{};
    EXPECT_EQ(
        vomo::VomoEyeWindow(signal.front().record, *clock.get(), begin, end, choice, &opening), 0u);
    return opening;
  }

  std::list<Samples> signal;
  CrossoverList clock;
};

const std::vector<int> kBits = {1, 1, -1, -1, -1, 1, -1, 1, 1, 1, -1, 1, 1, -1, -1, 1, -1, -1};

void ExpectLevels(const EyeLevels &levels, double th, double tl, double nh, double nl) {
  EXPECT_NEAR(levels.transition_high, th, 1e-6);
  EXPECT_NEAR(levels.transition_low, tl, 1e-6);
  EXPECT_NEAR(levels.non_transition_high, nh, 1e-6);
  EXPECT_NEAR(levels.non_transition_low, nl, 1e-6);
}

// Levels that fall along the unit interval, from 1 at its begin to 0 at its end for transition bits
// and from 0.5 to 0.25 for the others. Steps of 0.008 from 0.4 stop before 0.66, at 0.656.
TEST(EyeWindow, ChoosesAPhase) {
  const Shapes falling{[](int p) { return 1 - p / 16.0; }, [](int p) { return 0.5 - p / 64.0; }};
  Eye eye(kBits, falling);
  const auto worst = eye.Measure(0.4f, 0.6f, PhaseChoice::kSmallestHeight);
  ExpectLevels(worst.levels, 1 - 0.656, -(1 - 0.656), 0.5 - 0.164, -(0.5 - 0.164));
  EXPECT_NEAR(worst.high, 0.5 - 0.164, 1e-6);
  EXPECT_NEAR(worst.low, -(0.5 - 0.164), 1e-6);
  EXPECT_EQ(worst.min_interval_s, kUi);
  EXPECT_EQ(worst.max_interval_s, kUi);
  // Ratio times the smaller height: 2 (0.5 - x / 4)^2 / (1 - x) rises up to where both are equal,
  // at 2/3, which the last phase comes nearest to.
  const auto best = eye.Measure(0.4f, 0.6f, PhaseChoice::kBestScore);
  ExpectLevels(best.levels, 1 - 0.656, -(1 - 0.656), 0.5 - 0.164, -(0.5 - 0.164));
  EXPECT_NEAR(best.score, 2 * 0.336 * 0.336 / 0.344, 1e-6);
  // Of a window behind that point the first phase has the better ratio and height.
  const auto first = eye.Measure(0.7f, 0.8f, PhaseChoice::kBestScore);
  ExpectLevels(first.levels, 0.3, -0.3, 0.325, -0.325);
  EXPECT_NEAR(first.score, 0.6 * 0.6 / 0.65, 1e-6);
}

TEST(EyeWindow, PhasesOfNarrowWindows) {
  const Shapes falling{[](int p) { return 1 - p / 16.0; }, [](int) { return 0.5; }};
  Eye eye(kBits, falling);
  // One step of 1 from begin on, as far as 1.1 of the end.
  ExpectLevels(eye.Measure(0.25f, 0.25f, PhaseChoice::kSmallestHeight).levels, 0.75, -0.75, 0.5,
               -0.5);
  ExpectLevels(eye.Measure(0.75f, 0.7f, PhaseChoice::kSmallestHeight).levels, 0.25, -0.25, 0.5,
               -0.5);
  // No phase at all.
  for (const float end : {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()}) {
    const auto none = eye.Measure(0.0f, end, PhaseChoice::kBestScore);
    ExpectLevels(none.levels, 1e6, -1e6, 1e6, -1e6);
    EXPECT_EQ(none.high, 1e6f);
    EXPECT_EQ(none.low, -1e6f);
    EXPECT_EQ(none.score, 0);
  }
}

// Bits of 1 V, and of 0.2 V where the sign stays.
TEST(EyeWindow, KindsOfBits) {
  const Shapes flat{[](int) { return 1.0; }, [](int) { return 0.2; }};
  const struct {
    const char *what;
    std::vector<int> bits;
    double nh, nl;     // delivered levels of non-transition bits
    double high, low;  // the less open ones
    double score;
  } cases[] = {
      // The last entry of the clock begins no interval.
      {"both kinds", {1, -1, -1, -1, 1, 1, 1, 0}, 0.2, -0.2, 0.2, -0.2, 0.2 * 0.4},
      {"two bits that stay are too few to judge by",
       {1, -1, -1, 1, 1, -1, 0},
       0.2,
       -0.2,
       0.2,
       -0.2,
       0},
      {"one that stays low", {1, -1, -1, 1, -1, 0}, 1, -0.2, 0, -0.2, 0},
      {"transitions alone", {1, -1, 1, -1, 1, 0}, 1, -1, 0, 0, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Eye eye(c.bits, flat);
    // The first bit counts as one that stays: sample 0 is its own predecessor.
    eye.signal.front().stored[0] = -1;
    eye.signal.front().stored[7] = eye.signal.front().stored[8] = 1;
    const auto opening = eye.Measure(0.5f, 0.5f, PhaseChoice::kSmallestHeight);
    ExpectLevels(opening.levels, 1, -1, c.nh, c.nl);
    EXPECT_NEAR(opening.high, c.high, 1e-6);
    EXPECT_NEAR(opening.low, c.low, 1e-6);
    EXPECT_NEAR(opening.score, c.score, 1e-6);
  }
}

// A reading that can't be made leaves the bit before it in force, and a NaN is of no kind.
TEST(EyeWindow, BitsThatCannotBeRead) {
  const Shapes flat{[](int) { return 1.0; }, [](int) { return 0.5; }};
  Eye eye({1, -1, 1, 1, 1, 1, -1, -1}, flat);
  eye.clock.times = {-0.75, 0, 1, 2, std::nan(""), 4, 1e300, 5};
  auto &stored = eye.signal.front().stored;
  stored[2 * kPerUi + 8] = std::nanf("");
  const auto opening = eye.Measure(0.5f, 0.5f, PhaseChoice::kSmallestHeight);
  // Read are: bit 0 (0.5, as it stays), 1 (-1), 2 (NaN, of no kind), 4 at 4.5 (behind a NaN: none).
  ExpectLevels(opening.levels, 0, -1, 0, -1);
  EXPECT_EQ(opening.high, 0);
}

// The DFE's level is taken off after the reading has been rounded to float.
TEST(EyeWindow, TakesTheFeedbackOff) {
  const Shapes flat{[](int) { return 0.25; }, [](int) { return 0.25; }};
  Eye eye(kBits, flat);
  for (size_t k = 0; k + 1 < kBits.size(); ++k) {
    const double begin = static_cast<double>(k), end = begin + (k % 2 == 0 ? 0.75 : 1.0);
    eye.clock.two_part.push_back({begin, end, kBits[k] > 0 ? -0.5f : 0.5f, 1, 1});
  }
  const auto opening = eye.Measure(0.5f, 0.5f, PhaseChoice::kSmallestHeight);
  ExpectLevels(opening.levels, 0.75, -0.75, 0.75, -0.75);
  EXPECT_EQ(opening.min_interval_s, 0.75);
  EXPECT_EQ(opening.max_interval_s, 1.0);
}

TEST(EyeWindow, WantsTwoEdges) {
  Samples signal({1, -1}, kInterval);
  for (const size_t count : {0u, 1u}) {
    CrossoverList clock(std::vector<double>(count, 0.0));
    EyeOpening opening{};
    EXPECT_EQ(vomo::VomoEyeWindow(signal.record, *clock.get(), 0.4f, 0.6f,
                                  PhaseChoice::kSmallestHeight, &opening),
              Vomo_STATUS_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(opening.high, 0);
  }
}

TEST(EyeScore, HandWorkedCases) {
  // Unit interval 10, intervals 9 to 12: 4 and 3 are left of the two halves.
  const EyeLevels levels{0.5f, -0.25f, 0.375f, -0.5f};
  const struct {
    uint32_t option;
    bool sum;
    double score;
  } cases[] = {
      {OPT_EYE_WIDTH, true, 7},
      {OPT_EYE_WIDTH, false, 3},
      {OPT_EYE_HEIGHT, true, 0.625},
      {OPT_EYE_HEIGHT, false, 0.25},
      {OPT_EYE_AREA, true, 4.375},
      {OPT_EYE_AREA, false, 0.75},
      {OPT_EYE_RATIO, true, 0.75 / 0.875},
      {OPT_EYE_RATIO, false, 0.75 / 0.875},
      {4, true, 0},
  };
  for (const auto &c : cases) {
    double right = 0, left = 0;
    EXPECT_EQ(vomo::VomoEyeScore(c.option, c.sum, 10, 9, 12, levels, &right, &left), c.score)
        << c.option << c.sum;
    EXPECT_EQ(right, 3);
    EXPECT_EQ(left, 4);
  }
  const EyeLevels closed{0, 0, 0, 0}, crossed{-1, 1, -2, 1};
  EXPECT_EQ(vomo::VomoEyeScore(OPT_EYE_RATIO, true, 10, 9, 12, closed), 0);
  EXPECT_EQ(vomo::VomoEyeScore(OPT_EYE_RATIO, true, 10, 9, 12, crossed), 0);
}

}  // namespace
