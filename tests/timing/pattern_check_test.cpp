#include "timing/pattern_check.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/handle_table.h"
#include "support/crossovers.h"

namespace {

using vomo_test::CrossoverList;

// Entry k: runs of length k in one repetition; entry 0: longer runs.
struct Definition {
  std::vector<double> counts;
  VomoPatDef get() const { return {static_cast<uint32_t>(counts.size() - 1), counts.data()}; }
};

uint32_t Check(const std::vector<int16_t> &runs, const std::vector<Definition> &definitions,
               uint32_t repetitions = 0, double ratio = 0.1) {
  std::vector<VomoPatDef> defs;
  for (const Definition &d : definitions) defs.push_back(d.get());
  VomoPatChkData check{repetitions, static_cast<uint32_t>(defs.size()), ratio, defs.data(), 0, 77};
  EXPECT_EQ(
      vomo::VomoCheckRunLengthPattern(static_cast<uint32_t>(runs.size()), runs.data(), &check), 0u);
  return check.ePatChkResult;
}

std::vector<int16_t> Repeat(const std::vector<int16_t> &pattern, int times) {
  std::vector<int16_t> runs;
  for (int i = 0; i < times; ++i) runs.insert(runs.end(), pattern.begin(), pattern.end());
  return runs;
}

TEST(PatternCheck, ComparesHistograms) {
  // PRBS3's seven bits 1110100: runs of 3, 1, 1, 2. Four runs a repetition, lengths up to 3.
  const std::vector<int16_t> prbs3 = {3, 1, 1, 2};
  const Definition good{{0, 2, 1, 1}};
  const struct {
    const char *name;
    std::vector<int16_t> runs;
    std::vector<Definition> definitions;
    uint32_t repetitions;
    uint32_t result;
  } cases[] = {
      {"fits, repetitions counted", Repeat(prbs3, 30), {good}, 20, PATCHK_OK},
      // By the number of definition entries: 30 * 4 / 3 = 40 repetitions hold 160 runs, more than
      // there are; all 120 are counted and none is scaled.
      {"as many as there are: unscaled", Repeat(prbs3, 30), {good}, 0, PATCHK_RATIO},
      {"too many asked for falls back", Repeat(prbs3, 30), {good}, 41, PATCHK_RATIO},
      {"runs not allowed", Repeat(prbs3, 30), {{{0, 2, 0, 1}}}, 20, PATCHK_ZERO | PATCHK_RATIO},
      {"longer runs not allowed", Repeat({4, 1, 1, 2}, 30), {good}, 20, PATCHK_ZERO | PATCHK_RATIO},
      {"counts off", Repeat({3, 3, 1, 2}, 30), {good}, 20, PATCHK_RATIO},
      {"second fits", Repeat(prbs3, 30), {{{0, 9, 1, 1}}, good}, 20, PATCHK_OK},
      {"failure after a fit does not count",
       Repeat(prbs3, 30),
       {{{0, 9, 1, 1}}, good, {{0, 2, 0, 1}}},
       20,
       PATCHK_OK},
      {"failures add up",
       Repeat(prbs3, 30),
       {{{0, 9, 1, 1}}, {{0, 2, 0, 1}}},
       20,
       PATCHK_ZERO | PATCHK_RATIO},
      {"no definitions", prbs3, {}, 0, PATCHK_OK},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(Check(c.runs, c.definitions, c.repetitions), c.result) << c.name;
  }
}

// Longer runs have no part in the number of runs to count: 3 for each of 40 repetitions are all 120
// runs, of which each count is a quarter short.
TEST(PatternCheck, LongerRunsAreExpectedInEntryZero) {
  const std::vector<int16_t> runs = Repeat({9, 1, 1, 2}, 30);
  EXPECT_EQ(Check(runs, {{{1, 2, 1, 0}}}, 40, 0.25), static_cast<uint32_t>(PATCHK_OK));
  EXPECT_EQ(Check(runs, {{{1, 2, 1, 0}}}, 40, 0.24), static_cast<uint32_t>(PATCHK_RATIO));
}

TEST(PatternCheck, CountsByUnsignedLength) {
  // A 0 and a negative length both land with the longer runs.
  const std::vector<int16_t> runs = {0, -1, 70, 1};
  EXPECT_EQ(Check(runs, {{{3, 1}}}, 1, 0.0),
            static_cast<uint32_t>(PATCHK_RATIO));  // only 1 counted
  EXPECT_EQ(Check(runs, {{{3, 4}}}, 1, 0.75), static_cast<uint32_t>(PATCHK_OK));
  EXPECT_EQ(Check(runs, {{{3, 4}}}, 1, 0.74), static_cast<uint32_t>(PATCHK_RATIO));
}

TEST(PatternCheck, LongDefinitionsAreCutAndHostileOnesEnd) {
  std::vector<double> counts(200, 0.0);
  counts[1] = 4;
  EXPECT_EQ(Check({1, 1, 1, 1, 1, 1, 1, 1}, {{counts}}, 2, 0.1),
            static_cast<uint32_t>(PATCHK_RATIO));
  counts.assign(67, 1e300);
  EXPECT_EQ(Check({1, 2}, {{counts}}, 0xFFFFFFFFu, 0.1), static_cast<uint32_t>(PATCHK_RATIO));
  counts.assign(67, -5.0);
  Check({1, 2}, {{counts}}, 1);
  counts.assign(67, std::nan(""));
  Check({1, 2}, {{counts}}, 0);
  Check({1, 2}, {{{0.0}}}, 0);
}

// Bits as a receiver sees them: the first bit of a byte is its least significant one.
class Bits {
 public:
  void Byte(int value) {
    for (int i = 0; i < 8; ++i) bits_.push_back(value >> i & 1);
  }
  void Sync(int first, int second) {
    bits_.push_back(first);
    bits_.push_back(second);
  }
  void Run(int level, int count) { bits_.insert(bits_.end(), static_cast<size_t>(count), level); }
  CrossoverList Edges() const {
    std::vector<int> runs;
    int run = 1;
    for (size_t i = 1; i < bits_.size(); ++i, ++run) {
      if (bits_[i] == bits_[i - 1]) continue;
      runs.push_back(run);
      run = 0;
    }
    return CrossoverList::FromRuns(runs, 125e-12);
  }

 private:
  std::vector<int> bits_;
};

TEST(Gen3Check, DecodesBlocksBehindTheLongPair) {
  Bits bits;
  bits.Run(1, 5);
  bits.Run(0, 3);
  bits.Run(1, 64);
  bits.Run(0, 64);  // together the 16 bytes of the first block
  bits.Sync(0, 1);
  for (int i = 0; i < 16; ++i) bits.Byte(i == 7 ? 0xA5 : i == 8 ? 0x3C : 0x11 * i);
  bits.Sync(1, 0);
  for (int i = 0; i < 16; ++i) bits.Byte(i + 0x40);
  bits.Run(1, 1);
  bits.Run(0, 1);
  CrossoverList list = bits.Edges();
  VomoGen3CheckData check{1, 0, 0, 2, nullptr, 0};
  ASSERT_EQ(Vomo_Gen3Check(list.get(), 125e-12, &check), 0u);
  EXPECT_EQ(check.ucBlockCount, 2);
  // 0xA and 0x5 complement each other: the high nibble; 3 + C likewise.
  EXPECT_EQ(check.ucFirstValue, 0xA);
  EXPECT_EQ(check.ucSecondValue, 0x3);
  ASSERT_NE(check.pucBlocks, nullptr);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(check.pucBlocks[i], 0xFF);
  for (int i = 8; i < 16; ++i) EXPECT_EQ(check.pucBlocks[i], 0x00);
  EXPECT_EQ(check.pucBlocks[16 + 9], 0x99);
  EXPECT_EQ(check.pucBlocks[31], 0xFF);
  EXPECT_EQ(check.ucEnable, 1);
  EXPECT_EQ(Vomo_HANDLE_FREE(check.hBlocks), 0u);

  // The same bits hold three whole blocks; more can't be had, and the count says so.
  check = {0, 0, 0, 9, nullptr, 0};
  ASSERT_EQ(Vomo_Gen3Check(list.get(), 125e-12, &check), 0u);
  EXPECT_EQ(check.ucBlockCount, 3);
  EXPECT_EQ(check.pucBlocks[32 + 5], 0x45);
  EXPECT_EQ(Vomo_HANDLE_FREE(check.hBlocks), 0u);
}

TEST(Gen3Check, WithoutALongPairNothingIsDecoded) {
  CrossoverList list = CrossoverList::FromRuns({64, 63, 64, 1, 70}, 1.0);
  VomoGen3CheckData check{1, 5, 5, 4, nullptr, 44};
  ASSERT_EQ(Vomo_Gen3Check(list.get(), 1.0, &check), 0u);
  EXPECT_EQ(check.ucFirstValue, 0xFF);
  EXPECT_EQ(check.ucSecondValue, 0xFF);
  EXPECT_EQ(check.ucBlockCount, 0);
  EXPECT_EQ(check.hBlocks, 44u);
  check = {1, 5, 6, 7, nullptr, 44};
  EXPECT_EQ(Vomo_Gen3Check(list.get(), 0.0, &check), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_Gen3Check(list.get(), 1.0, nullptr), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(check.ucFirstValue * 100 + check.ucSecondValue * 10 + check.ucBlockCount, 567);
}

// Every truncation of a long pair and what follows ends, whatever the runs are.
TEST(Gen3Check, EndsOnAnyRuns) {
  for (int length = 1; length < 40; ++length) {
    std::vector<int> runs = {64, 64};
    for (int i = 0; i < length; ++i) runs.push_back(i % 7 == 0 ? 40000 : 1 + i * i % 17);
    CrossoverList list = CrossoverList::FromRuns(runs, 1.0);
    VomoGen3CheckData check{1, 0, 0, 255, nullptr, 0};
    ASSERT_EQ(Vomo_Gen3Check(list.get(), 1.0, &check), 0u);
    EXPECT_LE(check.ucBlockCount, 255);
    Vomo_HANDLE_FREE(check.hBlocks);
  }
}

}  // namespace
