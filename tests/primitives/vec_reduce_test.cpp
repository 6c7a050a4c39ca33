// Sums, deviations and extremes.
#include <algorithm>
#include <optional>

#include "primitives/vec.h"
#include "vec_check.h"

namespace vomo::test {
namespace {

// Ordinary numbers only, of one sign for a mean that means something.
template <class T>
std::vector<T> Levels(std::size_t count) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> value(0.5, 1.5);
  std::vector<T> values(count);
  for (T &x : values) x = static_cast<T>(value(random));
  return values;
}

// The result of an operation at the first level tried; at the others it must have the same bits.
template <class T>
class SameAtEachLevel {
 public:
  void Check(T value) {
    if (!first_) first_ = value;
    EXPECT_TRUE(Same(*first_, value)) << Text(*first_) << " became " << Text(value);
  }

 private:
  std::optional<T> first_;
};

// A sum of n positive terms in 16 lanes has at most n / 16 + 4 roundings on the way of each term.
double SumTolerance(std::size_t count) {
  return (static_cast<double>(count) / 16 + 5) * 0x1p-53;
}

TEST(VecReduce, SumsAndMeans) {
  std::vector<int32_t> lengths = Lengths();
  lengths.push_back(1000003);
  for (int32_t length : lengths) {
    const auto floats = Levels<float>(static_cast<std::size_t>(length) + 1);
    const auto doubles = Levels<double>(floats.size());
    long double float_sum = 0, double_sum = 0;
    for (std::size_t i = 1; i < floats.size(); ++i) {
      float_sum += floats[i];
      double_sum += doubles[i];
    }
    SameAtEachLevel<double> sums, means;
    SameAtEachLevel<float> float_means;
    AtEachLevel([&] {
      double sum = 0, mean = 0;
      float float_mean = 0;
      // One element in, so that the vectors lie across their natural borders.
      ASSERT_EQ(VecSum_64f(doubles.data() + 1, length, &sum), 0);
      ASSERT_EQ(VecMean_64f(doubles.data() + 1, length, &mean), 0);
      ASSERT_EQ(VecMean_32f(floats.data() + 1, length, &float_mean, 2), 0);
      const double expected = static_cast<double>(double_sum),
                   tolerance = SumTolerance(doubles.size());
      EXPECT_NEAR(sum, expected, tolerance * expected) << "length " << length;
      EXPECT_NEAR(mean, expected / length, tolerance * expected / length) << "length " << length;
      // Narrowed once from a double that is much closer than half a float's unit.
      const auto expected_float = static_cast<double>(float_sum / length);
      EXPECT_NEAR(float_mean, expected_float, 0x1.01p-24 * expected_float) << "length " << length;
      sums.Check(sum);
      means.Check(mean);
      float_means.Check(float_mean);
    });
  }
}

// Sixteen million ones and then a small number: a float accumulator would have stopped counting.
TEST(VecReduce, FloatMeanAccumulatesInDouble) {
  std::vector<float> values(20'000'000, 1.0f);
  values.back() = 20'000'001.0f;
  float mean = 0;
  ASSERT_EQ(VecMean_32f(values.data(), static_cast<int32_t>(values.size()), &mean, 2), 0);
  EXPECT_EQ(mean, 2.0f);
}

TEST(VecReduce, StandardDeviation) {
  const double by_hand[] = {1, 2, 3};
  const float pair[] = {-1, 1};
  AtEachLevel([&] {
    double deviation = 0;
    float float_deviation = 0;
    ASSERT_EQ(VecStdDev_64f(by_hand, 3, &deviation), 0);
    EXPECT_EQ(deviation, 1.0);
    ASSERT_EQ(VecStdDev_32f(pair, 2, &float_deviation, 2), 0);
    EXPECT_EQ(float_deviation, std::sqrt(2.0f));
    EXPECT_EQ(VecStdDev_64f(by_hand, 1, &deviation), -6);
    EXPECT_EQ(VecStdDev_32f(nullptr, 1, nullptr, 2), -6);
  });
  // The ramp 0 to n - 1 has the variance n (n + 1) / 12. On an offset of 1e9 a single pass of
  // squares would lose all of it, two passes lose nothing: the offset ramp is exact in double.
  SameAtEachLevel<double> results;
  for (int32_t length : {2, 3, 17, 1000, 4099}) {
    std::vector<double> ramp(static_cast<std::size_t>(length));
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = 1e9 + static_cast<double>(i);
    const double expected = std::sqrt(length * (length + 1.0) / 12);
    AtEachLevel([&] {
      double deviation = 0;
      ASSERT_EQ(VecStdDev_64f(ramp.data(), length, &deviation), 0);
      // The mean is known to 1e-7 of the ramp's step and enters squared.
      EXPECT_NEAR(deviation, expected, 1e-13 * expected) << "length " << length;
      if (length == 4099) results.Check(deviation);
    });
  }
}

TEST(VecReduce, IntegerSums) {
  // Each block of sums is at its very limit here, and the total far beyond 32 bits.
  const std::vector<int16_t> lowest(200'000, INT16_MIN), highest(200'000, INT16_MAX);
  const std::vector<int32_t> large(100'001, INT32_MAX);
  std::mt19937 random(11);
  std::vector<int16_t> shorts(4099);
  std::vector<int32_t> longs(4099);
  for (std::size_t i = 0; i < shorts.size(); ++i) {
    longs[i] = static_cast<int32_t>(random());
    shorts[i] = static_cast<int16_t>(longs[i]);
  }
  AtEachLevel([&] {
    int32_t sum = 0;
    ASSERT_EQ(VecSum_16s(lowest.data(), 200'000, &sum, 0), 0);
    EXPECT_EQ(sum, INT32_MIN);
    ASSERT_EQ(VecSum_16s(lowest.data(), 200'000, &sum, 10), 0);
    EXPECT_EQ(sum, -6'400'000);
    ASSERT_EQ(VecSum_16s(highest.data(), 200'000, &sum, 0), 0);
    EXPECT_EQ(sum, INT32_MAX);
    ASSERT_EQ(VecSum_32s(large.data(), 100'001, &sum, 1), 0);
    EXPECT_EQ(sum, INT32_MAX);
    ASSERT_EQ(VecSum_32s(large.data(), 100'001, &sum, 20), 0);
    EXPECT_EQ(sum, int64_t{100'001} * INT32_MAX >> 20);
    EXPECT_EQ(VecSum_32s(large.data(), 1, &sum, 64), -5);
    EXPECT_EQ(VecSum_16s(lowest.data(), 1, &sum, -1), -5);
    for (int32_t length : Lengths()) {
      const auto end = static_cast<std::ptrdiff_t>(length);
      int64_t expected_16 = 0, expected_32 = 0;
      for (std::ptrdiff_t i = 0; i < end; ++i) {
        expected_16 += shorts[static_cast<std::size_t>(i)];
        expected_32 += longs[static_cast<std::size_t>(i)];
      }
      ASSERT_EQ(VecSum_16s(shorts.data(), length, &sum, 0), 0);
      EXPECT_EQ(sum, expected_16) << "length " << length;
      // The shift rounds towards minus infinity.
      ASSERT_EQ(VecSum_32s(longs.data(), length, &sum, 8), 0);
      EXPECT_EQ(sum, expected_32 >> 8) << "length " << length;
      int16_t largest = 0;
      ASSERT_EQ(VecMax_16s(shorts.data(), length, &largest), 0);
      EXPECT_EQ(largest, *std::max_element(shorts.begin(), shorts.begin() + end));
    }
  });
  int32_t sum = 0;
  const int32_t minus_three[] = {-1, -2};
  ASSERT_EQ(VecSum_32s(minus_three, 2, &sum, 1), 0);
  EXPECT_EQ(sum, -2);
}

template <class T>
struct Operations;
template <>
struct Operations<float> {
  static constexpr auto kMinMax = VecMinMax_32f;
  static constexpr auto kMinMaxIndex = VecMinMaxIndex_32f;
};
template <>
struct Operations<double> {
  static constexpr auto kMinMax = VecMinMax_64f;
  static constexpr auto kMinMaxIndex = VecMinMaxIndex_64f;
};

template <class T>
struct Extremes {
  T min, max;
  int32_t min_index = 0, max_index = 0;
};

// The definition: begin with element 0 and move on strict comparison.
template <class T>
Extremes<T> Scan(const std::vector<T> &values) {
  Extremes<T> found = {values[0], values[0]};
  for (std::size_t i = 1; i < values.size(); ++i) {
    if (values[i] < found.min) found.min = values[i], found.min_index = static_cast<int32_t>(i);
    if (values[i] > found.max) found.max = values[i], found.max_index = static_cast<int32_t>(i);
  }
  return found;
}

template <class T>
void CheckExtremes(const std::string &what, const std::vector<T> &values) {
  const Extremes<T> expected = Scan(values);
  AtEachLevel([&] {
    Extremes<T> indexed = {}, plain = {};
    const auto length = static_cast<int32_t>(values.size());
    ASSERT_EQ(Operations<T>::kMinMaxIndex(values.data(), length, &indexed.min, &indexed.min_index,
                                          &indexed.max, &indexed.max_index),
              0);
    ASSERT_EQ(Operations<T>::kMinMax(values.data(), length, &plain.min, &plain.max), 0);
    const bool same = Same(indexed.min, expected.min) && Same(indexed.max, expected.max) &&
                      Same(plain.min, expected.min) && Same(plain.max, expected.max);
    EXPECT_TRUE(same && indexed.min_index == expected.min_index &&
                indexed.max_index == expected.max_index)
        << what << " length " << length << "\n  expected " << Text(expected.min) << " at "
        << expected.min_index << ", " << Text(expected.max) << " at " << expected.max_index
        << "\n  actual   " << Text(indexed.min) << " at " << indexed.min_index << ", "
        << Text(indexed.max) << " at " << indexed.max_index << "\n  plain    " << Text(plain.min)
        << ", " << Text(plain.max);
  });
}

// Few distinct values, so that each extreme occurs often and the first occurrence matters; both
// zeros among them, and now and then a NaN.
template <class T>
std::vector<T> CrowdedValues(std::size_t count, uint32_t seed) {
  constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
  constexpr T kChoices[] = {T{0}, -T{0}, T{1}, T{-1}, kNaN, T{0.5}, -T{0}, T{0}};
  std::mt19937 random(seed);
  const uint32_t choices = seed % 2 == 0 ? 2 : std::size(kChoices);
  std::vector<T> values(count);
  for (T &value : values) value = kChoices[random() % choices];
  return values;
}

TEST(VecReduce, ExtremesAndTheirFirstPlaces) {
  for (int32_t length : Lengths()) {
    const auto count = static_cast<std::size_t>(length);
    for (uint32_t seed = 0; seed < 4; ++seed) {
      CheckExtremes("crowded", CrowdedValues<float>(count, seed));
      CheckExtremes("crowded", CrowdedValues<double>(count, seed));
    }
    CheckExtremes("any", RandomArray<float>(count, 21));
    CheckExtremes("any", RandomArray<double>(count, 22));
  }
}

// A lone extreme at every place around the borders of vectors and blocks.
TEST(VecReduce, ExtremeAtEveryPlace) {
  for (std::size_t place = 0; place < 4200; place += place < 140 ? 1 : 61) {
    std::vector<float> values(4200, 0.0f);
    values[place] = -1;
    values[values.size() - 1 - place] = 1;
    CheckExtremes("lone", values);
  }
}

TEST(VecReduce, ExtremesWithNaNAndInfinity) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  std::vector<float> first(100, 1.0f), later = first, all(100, kNaN), infinite(100, kInfinity);
  first[0] = kNaN;  // stays, whatever follows
  first[50] = -5;
  later[1] = kNaN;
  later[50] = -5;
  infinite[70] = -kInfinity;
  CheckExtremes("NaN first", first);
  CheckExtremes("NaN later", later);
  CheckExtremes("only NaN", all);
  CheckExtremes("infinite", infinite);
}

}  // namespace
}  // namespace vomo::test
