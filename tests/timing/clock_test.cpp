#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <numeric>
#include <vector>

#include "core/handle_table.h"
#include "support/crossovers.h"

namespace {

using vomo_test::CrossoverList;
using vomo_test::FlagsOf;
using vomo_test::TimesOf;

TEST(Clock, FillsGapsWithVirtualEdges) {
  CrossoverList list({1.0, 4.0, 5.1, 7.1});
  list.flags[1] |= CROSSOVER_DEEMPH;
  vomo::Received<VomoCrossoverData> clock;
  ASSERT_EQ(Vomo_CONVERT_CROSSOVER_TO_CLOCK(list.get(), 0, 3, 1.0, nullptr, clock.pointer(),
                                            clock.handle_out()),
            0u);
  const std::vector<double> times = {1, 2, 3, 4, 5.1, 5.1 + (7.1 - 5.1) / 2, 7.1};
  EXPECT_EQ(TimesOf(*clock.get()), times);
  EXPECT_EQ(FlagsOf(*clock.get()), (std::vector<int>{1, 8, 8, 6, 1, 8, 2}));
  EXPECT_EQ(clock->psTwoPartArray, nullptr);
  EXPECT_EQ(clock->psPatChkData, nullptr);
}

TEST(Clock, VirtualTimesAccumulate) {
  CrossoverList list({0.0, 1.0});
  vomo::Received<VomoCrossoverData> clock;
  ASSERT_EQ(Vomo_CONVERT_CROSSOVER_TO_CLOCK(list.get(), 0, 1, 0.1, nullptr, clock.pointer(),
                                            clock.handle_out()),
            0u);
  ASSERT_EQ(clock->ulCount, 11u);
  double time = 0.0;
  for (uint32_t i = 0; i < 10; ++i, time += 0.1) EXPECT_EQ(clock->pdTimes[i], time);
  EXPECT_NE(clock->pdTimes[8], 8 * 0.1);
}

// A caller's run lengths belong to crossover indices; the ones found here are those of the list's
// beginning wherever the stretch starts.
TEST(Clock, StretchAndWhoseRunLengths) {
  CrossoverList list = CrossoverList::FromRuns({3, 1, 2, 1}, 1.0);
  const std::vector<int16_t> given = {3, 1, 2, 1};
  vomo::Received<VomoCrossoverData> with, without;
  ASSERT_EQ(Vomo_CONVERT_CROSSOVER_TO_CLOCK(list.get(), 1, 3, 1.0, given.data(), with.pointer(),
                                            with.handle_out()),
            0u);
  EXPECT_EQ(TimesOf(*with.get()), (std::vector<double>{3, 4, 5, 6}));
  ASSERT_EQ(Vomo_CONVERT_CROSSOVER_TO_CLOCK(list.get(), 1, 3, 1.0, nullptr, without.pointer(),
                                            without.handle_out()),
            0u);
  EXPECT_EQ(without->ulCount, 5u);
  EXPECT_EQ(FlagsOf(*without.get()), (std::vector<int>{2, 8, 8, 1, 2}));
}

TEST(Clock, RunLengthsBelowOneStillHoldTheirEdge) {
  CrossoverList list({0.0, 1.0, 2.0, 3.0});
  const std::vector<int16_t> given = {0, -7, 2};
  VomoPatChkData check{};
  list.get();
  list.record.psPatChkData = &check;
  vomo::Received<VomoCrossoverData> clock;
  ASSERT_EQ(Vomo_CONVERT_CROSSOVER_TO_CLOCK(list.get(), 0, 3, 1.0, given.data(), clock.pointer(),
                                            clock.handle_out()),
            0u);
  EXPECT_EQ(TimesOf(*clock.get()), (std::vector<double>{0, 1, 2, 2.5, 3}));
  EXPECT_EQ(check.dEdgeDensity, 3.0 / 5.0);
}

TEST(Clock, CopiesTwoPartElementsWhole) {
  CrossoverList list({0.0, 2.0});
  list.two_part = {{0.0, 0.5, 0.25f, 7, -1}, {0.5, 2.0, 0.75f, 9, 1}, {2, 3, 1, 2, 3}};
  vomo::Received<VomoCrossoverData> clock;
  ASSERT_EQ(Vomo_CONVERT_CROSSOVER_TO_CLOCK(list.get(), 0, 1, 1.0, nullptr, clock.pointer(),
                                            clock.handle_out()),
            0u);
  ASSERT_EQ(clock->ulTwoPartCount, 3u);
  EXPECT_EQ(clock->psTwoPartArray[1].fEnterThresh, 0.75f);
  EXPECT_EQ(clock->psTwoPartArray[2].dEnd, 3.0);
  EXPECT_NE(clock->psTwoPartArray, list.two_part.data());
}

TEST(Clock, RefusesAndLeavesOutputsAlone) {
  CrossoverList list({0.0, 1.0, 2.0}), single({0.0});
  VomoCrossoverData *clock = nullptr;
  VomoHandle handle = 12;
  const struct {
    const VomoCrossoverData *list;
    uint32_t start, stop;
    double ui;
    VomoStatus status;
  } cases[] = {
      {single.get(), 0, 0, 1.0, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {list.get(), 1, 1, 1.0, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {list.get(), 0, 3, 1.0, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {list.get(), 2, 1, 1.0, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {list.get(), 0, 2, 0.0, Vomo_STATUS_PARAM_NOT_VALID},
      {nullptr, 0, 2, 1.0, Vomo_STATUS_PARAM_NOT_VALID},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(
        Vomo_CONVERT_CROSSOVER_TO_CLOCK(c.list, c.start, c.stop, c.ui, nullptr, &clock, &handle),
        c.status);
  }
  EXPECT_EQ(clock, nullptr);
  EXPECT_EQ(handle, 12u);
}

}  // namespace
