#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/handle_table.h"
#include "support/crossovers.h"

namespace {

using vomo_test::CrossoverList;

constexpr VomoStatus kOutOfRange = Vomo_STATUS_PARAM_OUT_OF_RANGE;
constexpr VomoStatus kNotValid = Vomo_STATUS_PARAM_NOT_VALID;

std::vector<double> IntervalsOf(CrossoverList &list, uint32_t start, uint32_t stop,
                                VomoStatus expected = Vomo_STATUS_SUCCESS) {
  vomo::Received<double> intervals;
  uint32_t count = 0;
  EXPECT_EQ(Vomo_CONVERT_CROSSOVER_TO_INTERVAL(list.get(), start, stop, &count, intervals.pointer(),
                                               intervals.handle_out()),
            expected);
  return {intervals.get(), intervals.get() + count};
}

TEST(Intervals, AreGapsOfTheStretch) {
  CrossoverList list({1.0, 2.5, 3.0, 5.0});
  EXPECT_EQ(IntervalsOf(list, 0, 3), (std::vector<double>{1.5, 0.5, 2.0}));
  EXPECT_EQ(IntervalsOf(list, 1, 2), (std::vector<double>{0.5}));
  IntervalsOf(list, 1, 1, kOutOfRange);
  IntervalsOf(list, 0, 4, kOutOfRange);
  IntervalsOf(list, 2, 1, kOutOfRange);
}

// The stretch is mapped to the nearest elements; each interval is one element's span.
TEST(Intervals, TwoPartElementsNearestToTheStretch) {
  const std::vector<VomoTwoPartCrossover> elements = {
      {1, 2, 0, 0, 0}, {2, 3.5, 0, 0, 0}, {3.5, 4.5, 0, 0, 0}, {4.5, 7, 0, 0, 0}};
  const struct {
    const char *name;
    double begin, end;
    std::vector<double> spans;
  } cases[] = {
      {"all", 1.0, 7.0, {1, 1.5, 1, 2.5}},
      {"before the first and past the last", 0.5, 9.0, {1, 1.5, 1, 2.5}},
      {"begin nearer to the earlier", 2.5, 4.5, {1.5, 1}},
      {"begin halfway keeps the later", 2.75, 4.5, {1}},
      {"end halfway keeps the earlier", 1.0, 4.0, {1, 1.5}},
      {"end nearer to the later", 1.0, 4.1, {1, 1.5, 1}},
      {"behind all elements", 8.0, 9.0, {2.5}},
  };
  for (const auto &c : cases) {
    CrossoverList list({c.begin, c.end});
    list.two_part = elements;
    EXPECT_EQ(IntervalsOf(list, 0, 1), c.spans) << c.name;
  }
  CrossoverList inside({3.6, 3.7});
  inside.two_part = {{0, 1, 0, 0, 0}, {1, 9, 0, 0, 0}, {9, 10, 0, 0, 0}};
  IntervalsOf(inside, 0, 1, kNotValid);  // first element 1, last element 0
  CrossoverList early({-2.0, 0.0});
  early.two_part = elements;
  IntervalsOf(early, 0, 1, kNotValid);
  early.get();
  early.record.ulTwoPartCount = 0;
  uint32_t count = 0;
  double *values = nullptr;
  VomoHandle handle = 0;
  early.times[1] = 1.0;
  EXPECT_EQ(Vomo_CONVERT_CROSSOVER_TO_INTERVAL(&early.record, 0, 1, &count, &values, &handle),
            kNotValid);
}

TEST(IntervalError, TakesTheMeanOffTheInclusiveRange) {
  const double intervals[] = {100, 1, 2, 6, 100};
  vomo::Received<double> errors;
  uint32_t count = 0;
  ASSERT_EQ(
      Vomo_FIND_INTERVAL_ERROR(5, intervals, 1, 3, &count, errors.pointer(), errors.handle_out()),
      0u);
  ASSERT_EQ(count, 3u);
  EXPECT_EQ(errors[0], -2);
  EXPECT_EQ(errors[1], -1);
  EXPECT_EQ(errors[2], 3);
  double *out = nullptr;
  VomoHandle handle = 5;
  const struct {
    uint32_t length, start, stop;
    VomoStatus status;
  } cases[] = {{5, 2, 2, kOutOfRange},
               {5, 3, 2, kOutOfRange},
               {5, 0, 5, kOutOfRange},
               {1, 0, 0, kOutOfRange},
               {0, 0, 0, kOutOfRange}};
  for (const auto &c : cases) {
    EXPECT_EQ(Vomo_FIND_INTERVAL_ERROR(c.length, intervals, c.start, c.stop, &count, &out, &handle),
              c.status);
  }
  EXPECT_EQ(Vomo_FIND_INTERVAL_ERROR(5, nullptr, 0, 1, &count, &out, &handle), kNotValid);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(handle, 5u);
  EXPECT_EQ(count, 3u);
}

TEST(RunLengths, RoundNeverBelowOneAndWrap) {
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    double gap;
    int16_t run;
  } cases[] = {
      {0.49, 1},       {1.49, 1},  {1.5, 2},      {3.2, 3},
      {0.0, 1},        {-1.0, 1},  {-2.6, -2},    {32767.2, 32767},
      {32768, -32768}, {65536, 1}, {65538.4, 2},  {2147483647.2, -1},
      {3e9, 1},        {-3e9, 1},  {infinity, 1}, {std::nan(""), 1},
  };
  for (const auto &c : cases) {
    CrossoverList list({0.0, c.gap});
    vomo::Received<int16_t> runs;
    ASSERT_EQ(VomoFIND_RUN_LENGTHS(list.get(), 1.0, runs.pointer(), runs.handle_out()), 0u);
    EXPECT_EQ(runs[0], c.run) << c.gap;
  }
}

TEST(RunLengths, FillTheCallersArrayOrMakeOne) {
  CrossoverList list = CrossoverList::FromRuns({3, 1, 5}, 2e-10);
  int16_t own[3] = {};
  int16_t *array = own;
  VomoHandle handle = 99;
  EXPECT_EQ(VomoFIND_RUN_LENGTHS(list.get(), 2e-10, &array, &handle), 0u);
  EXPECT_EQ(own[0] * 100 + own[1] * 10 + own[2], 315);
  EXPECT_EQ(array, own);
  EXPECT_EQ(handle, 99u);

  CrossoverList single({1.0}), empty(std::vector<double>{});
  array = nullptr;
  EXPECT_EQ(VomoFIND_RUN_LENGTHS(single.get(), 1.0, &array, &handle), 0u);
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(handle, 0u);
  handle = 98;
  EXPECT_EQ(VomoFIND_RUN_LENGTHS(empty.get(), 1.0, &array, &handle), kNotValid);
  EXPECT_EQ(VomoFIND_RUN_LENGTHS(nullptr, 1.0, &array, &handle), kNotValid);
  EXPECT_EQ(VomoFIND_RUN_LENGTHS(list.get(), 0.0, &array, &handle), kNotValid);
  EXPECT_EQ(VomoFIND_RUN_LENGTHS(list.get(), std::nan(""), &array, &handle), kNotValid);
  EXPECT_EQ(VomoFIND_RUN_LENGTHS(list.get(), 1.0, &array, nullptr), kNotValid);
  EXPECT_EQ(handle, 98u);
}

}  // namespace
