#include <gtest/gtest.h>
#include <vomo.h>

#include <cstring>
#include <optional>
#include <random>
#include <vector>

#include "support/pattern_runs.h"

namespace {

using Runs = std::vector<uint16_t>;
using vomo_test::Repeated;

uint32_t SizeOf(const Runs &runs) {
  return static_cast<uint32_t>(runs.size());
}

struct Found {
  explicit Found(const Runs &list) {
    result = FindRepeatPatternLength(list.data(), SizeOf(list), &repeats, &length_ui, &length_runs);
  }
  int32_t result;
  uint32_t repeats = 77, length_ui = 77, length_runs = 77;
};

TEST(PatternSearch, ListsByHand) {
  const struct {
    const char *what;
    Runs runs;
    int32_t result;
    uint32_t repeats, length_ui, length_runs;
  } cases[] = {
      {"plain clock", {3, 3, 3, 3, 3}, 0, 2, 6, 2},
      {"fewest runs", {1, 1, 1}, 0, 1, 2, 2},
      {"a run of 0", {1, 2, 0, 2, 1, 2, 1, 2}, 1, 0, 0, 0},
      {"nothing but runs of 0", {0, 0, 0, 0}, 1, 0, 0, 0},
      {"too short", {1, 1}, 1, 0, 0, 0},
      {"longest in the even class", {3, 1, 2, 1, 3, 1, 2, 1, 3}, 0, 2, 7, 4},
      {"longest in the odd class", {1, 3, 2, 1, 1, 3, 2, 1, 1}, 0, 2, 7, 4},
      {"longest in both", {1, 2, 2, 1, 1, 1, 2, 2, 1, 1, 1, 2, 2, 1, 1, 1}, 1, 0, 0, 0},
      {"longest in both, even period", {1, 2, 2, 1, 1, 2, 2, 1, 1, 2}, 0, 2, 6, 4},
      {"a break in the last whole block", {3, 1, 2, 1, 3, 1, 2, 1, 3, 1, 2, 2}, 1, 0, 0, 0},
      {"an incomplete block counts only by its longest run",
       {3, 1, 2, 1, 3, 1, 2, 1, 3, 1, 1},
       0,
       2,
       7,
       4},
      {"and that one counts", {3, 1, 2, 1, 3, 1, 2, 1, 2}, 1, 0, 0, 0},
      {"of equally long runs the later one",
       {2, 1, 1, 2, 1, 1, 1, 1, 2, 1, 1, 2, 1, 1, 1, 1, 2, 1, 1, 1},
       1,
       0,
       0,
       0},
      {"longest run behind half of the list", {1, 1, 1, 1, 1, 1, 5, 1}, 0, 0, 0, 0},
      {"longest run only once", {5, 1, 1, 1, 1, 1, 1, 1}, 1, 0, 0, 0},
      {"one repeat and a half", {4, 1, 2, 1, 3, 1, 4, 1, 2}, 0, 0, 0, 0},
      // The gap from place 0 to place 6 rules the period of 4 out, although the odd runs bear it.
      {"a gap in the incomplete block", {2, 2, 1, 1, 2, 2, 1, 1, 1, 2, 2}, 0, 0, 0, 0},
      {"run lengths beyond a signed 16-bit number", {65535, 1, 65535, 1, 65535}, 0, 2, 65536, 2},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Found found(c.runs);
    EXPECT_EQ(found.result, c.result);
    EXPECT_EQ(found.repeats, c.repeats);
    EXPECT_EQ(found.length_ui, c.length_ui);
    EXPECT_EQ(found.length_runs, c.length_runs);
  }
}

bool Agrees(const Runs &runs, size_t period, size_t count) {
  return std::equal(runs.begin(), runs.begin() + static_cast<std::ptrdiff_t>(count - period),
                    runs.begin() + static_cast<std::ptrdiff_t>(period));
}

// The smallest even period of the whole list that fits into it twice.
std::optional<uint32_t> WholePeriod(const Runs &runs) {
  for (size_t period = 2; 2 * period <= runs.size(); period += 2) {
    if (Agrees(runs, period, runs.size())) return static_cast<uint32_t>(period);
  }
  return std::nullopt;
}

// What must hold of any list: a found period repeats over all whole blocks, and a period of the
// whole list, tried one by one, is not missed.
void ExpectConsistent(const Runs &runs) {
  const Found found(runs);
  const auto whole = WholePeriod(runs);
  if (whole) {
    ASSERT_EQ(found.result, 0);
    ASSERT_GT(found.repeats, 0u);
    EXPECT_LE(found.length_runs, *whole);
  }
  if (found.repeats == 0) return;
  EXPECT_EQ(found.result, 0);
  EXPECT_EQ(found.length_runs % 2, 0u);
  EXPECT_EQ(found.repeats, runs.size() / found.length_runs);
  EXPECT_TRUE(Agrees(runs, found.length_runs, size_t{found.repeats} * found.length_runs));
  uint32_t length_ui = 0;
  for (uint32_t k = 0; k < found.length_runs; ++k) length_ui += runs[k];
  EXPECT_EQ(found.length_ui, length_ui);
}

TEST(PatternSearch, AgainstBruteForce) {
  std::mt19937 random(20);
  const auto below = [&](uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
  for (int i = 0; i < 20000; ++i) {
    Runs runs(3 + below(30));
    const uint32_t longest = 1 + below(4);
    for (uint16_t &run : runs) run = static_cast<uint16_t>(1 + below(longest));
    ExpectConsistent(runs);
    // Periodic lists, the last repeat incomplete, with room for two repeats of twice an odd period.
    const Runs periodic = Repeated(runs, 4 * runs.size() + below(40));
    ExpectConsistent(periodic);
    const Found found(periodic);
    const auto whole = WholePeriod(periodic);
    ASSERT_TRUE(whole);
    EXPECT_EQ(found.length_runs, *whole);
    if (HasFailure()) {
      FAIL() << "list " << i;
    }
  }
}

// A long agreement that breaks in the middle: every period is tried, none may look at the whole
// list again. 400,000 runs are out of reach for that.
TEST(PatternSearch, LateBreakIsFoundInOnePass) {
  Runs runs = Repeated({2, 1}, 400000);
  runs[200000] = 1;
  EXPECT_EQ(Found(runs).result, 1);
}

TEST(PatternSearch, CheckedEntry) {
  const struct {
    const char *what;
    Runs runs;
    const char *text;
    uint32_t repeats, length_ui, length_runs;
  } cases[] = {
      {"an even number of UI stays", {3, 1, 3, 1, 3, 1}, nullptr, 3, 4, 2},
      {"an odd one is doubled", {2, 1, 2, 1, 2, 1, 2}, nullptr, 1, 6, 4},
      {"no repeat", {2, 1, 1, 1, 1, 1, 1}, "Error finding pattern repeat length.", 0, 0, 0},
      {"too far apart", {1, 1, 1, 1, 1, 1, 5, 1}, "No repeating pattern found.", 0, 0, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    VomoGen3Results results{};
    results.ulPatternRepeats = results.ulPatternLengthUI = results.ulPatternRuns = 77;
    const VomoStatus status =
        VomoFIND_REPEAT_PATTERN_LENGTH(c.runs.data(), SizeOf(c.runs), &results);
    EXPECT_EQ(results.ulPatternRepeats, c.repeats);
    EXPECT_EQ(results.ulPatternLengthUI, c.length_ui);
    EXPECT_EQ(results.ulPatternRuns, c.length_runs);
    if (c.text == nullptr) {
      EXPECT_EQ(status, Vomo_STATUS_SUCCESS);
    } else {
      EXPECT_EQ(status, Vomo_STATUS_COMPUTATION_ERROR);
      EXPECT_NE(std::strstr(Vomo_Status_Message(status), c.text), nullptr);
    }
  }
}

TEST(PatternSearch, Refusals) {
  const Runs runs{1, 1, 1};
  uint32_t a = 77, b = 77, c = 77;
  EXPECT_EQ(FindRepeatPatternLength(nullptr, 3, &a, &b, &c), 1);
  EXPECT_EQ(FindRepeatPatternLength(runs.data(), 3, nullptr, &b, &c), 1);
  EXPECT_EQ(FindRepeatPatternLength(runs.data(), 3, &a, nullptr, &c), 1);
  EXPECT_EQ(FindRepeatPatternLength(runs.data(), 3, &a, &b, nullptr), 1);
  EXPECT_EQ(a + b + c, 3 * 77u);
  VomoGen3Results results{};
  results.ulPatternRuns = 77;
  const auto refused = Vomo_STATUS_PARAM_NOT_VALID;
  EXPECT_EQ(VomoFIND_REPEAT_PATTERN_LENGTH(nullptr, 3, &results), refused);
  EXPECT_EQ(VomoFIND_REPEAT_PATTERN_LENGTH(runs.data(), 3, nullptr), refused);
  EXPECT_EQ(VomoFIND_REPEAT_PATTERN_LENGTH(runs.data(), 2, &results), refused);
  EXPECT_EQ(results.ulPatternRuns, 77u);
}

}  // namespace
