#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "core/handle_table.h"
#include "core/interpolate.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr uint32_t kWhole = 0xFFFFFFFFu;

using Pairs = std::vector<std::pair<double, double>>;

// Elements 1 and 2 of the two operands, with others around them that must not be touched.
const double kA[2][2] = {{5, 0}, {1, 2}}, kB[2][2] = {{3, 0}, {3, -4}};

void Set(VomoComplexDouble &z, const double (&value)[2]) {
  z = {value[0], value[1]};
}
void Set(VomoComplexFloat &z, const double (&value)[2]) {
  z = {static_cast<float>(value[0]), static_cast<float>(value[1])};
}

// Runs a complex member over the middle of four elements.
template <class Complex, class Member>
Pairs Middle(Member member) {
  Complex a[4] = {}, b[4] = {};
  for (int i = 0; i < 2; ++i) {
    Set(a[i + 1], kA[i]);
    Set(b[i + 1], kB[i]);
  }
  Pairs result;
  const auto add = [&](const Complex &z) {
    const auto [re, im] = z;
    result.emplace_back(re, im);
  };
  if constexpr (std::is_invocable_v<Member, Complex *, const Complex *, uint32_t, uint32_t>) {
    EXPECT_EQ(member(a, b, 1, 2), Vomo_STATUS_SUCCESS);
    add(a[1]);
    add(a[2]);
    const auto [re, im] = a[3];
    EXPECT_EQ(re, 0);
    EXPECT_EQ(im, 0);
    EXPECT_EQ(member(a, b, 2, 2), Vomo_STATUS_PARAM_NOT_VALID);
    EXPECT_EQ(member(a, nullptr, 1, 2), Vomo_STATUS_PARAM_NOT_VALID);
  } else {
    vomo::Received<Complex> out;
    EXPECT_EQ(member(a, b, 1, 2, out.pointer(), out.handle_out()), Vomo_STATUS_SUCCESS);
    add(out[0]);
    add(out[1]);
  }
  return result;
}

TEST(ComplexArrays, CombineTheRange) {
  const Pairs sum = {{8, 0}, {4, -2}}, product = {{15, 0}, {11, 2}};
  const Pairs second_minus_first = {{-2, 0}, {2, -6}};
  EXPECT_EQ(Middle<VomoComplexDouble>(VomoADD_COMPLEX_DOUBLE_ARRAY), sum);
  EXPECT_EQ(Middle<VomoComplexFloat>(VomoADD_COMPLEX_FLOAT_ARRAY), sum);
  EXPECT_EQ(Middle<VomoComplexDouble>(VomoSUBTRACT_COMPLEX_DOUBLE_ARRAY), second_minus_first);
  EXPECT_EQ(Middle<VomoComplexFloat>(VomoSUBTRACT_COMPLEX_FLOAT_ARRAY), second_minus_first);
  EXPECT_EQ(Middle<VomoComplexDouble>(VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY), product);
  EXPECT_EQ(Middle<VomoComplexFloat>(VomoMULTIPLY_COMPLEX_FLOAT_ARRAY), product);
  EXPECT_EQ(Middle<VomoComplexDouble>(VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY_INPLACE), product);
  EXPECT_EQ(Middle<VomoComplexFloat>(VomoMULTIPLY_COMPLEX_FLOAT_ARRAY_INPLACE), product);
}

TEST(ComplexArrays, WholeIndexSpaceIsARangeOfNothing) {
  VomoComplexDouble a{}, b{};
  EXPECT_EQ(VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY_INPLACE(&a, &b, 0, kWhole),
            Vomo_STATUS_COMPUTATION_ERROR);
  VomoComplexFloat c{}, d{};
  EXPECT_EQ(VomoMULTIPLY_COMPLEX_FLOAT_ARRAY_INPLACE(&c, &d, 0, kWhole), Vomo_STATUS_SUCCESS);
}

// Result of a real member that takes one array or two, over elements 1 to 3.
std::vector<double> Result(VomoStatus status, vomo::Received<double> &out) {
  EXPECT_EQ(status, Vomo_STATUS_SUCCESS);
  return {out.get(), out.get() + 3};
}

TEST(RealArrays, RunTheRange) {
  const double a[] = {100, 1, 10, 1000, 100}, b[] = {7, 3, 4, 5, 7};
  vomo::Received<double> sums, difference, logarithms;
  EXPECT_EQ(Result(VomoACCUMULATE_ARRAY(a, 1, 3, sums.pointer(), sums.handle_out()), sums),
            (std::vector<double>{1, 11, 1011}));
  EXPECT_EQ(Result(VomoSUBTRACT_ARRAYS(a, b, 1, 3, difference.pointer(), difference.handle_out()),
                   difference),
            (std::vector<double>{-2, 6, 995}));
  EXPECT_EQ(Result(VomoLOG10_DOUBLE_ARRAY(a, 1, 3, logarithms.pointer(), logarithms.handle_out()),
                   logarithms),
            (std::vector<double>{0, 1, 3}));
}

TEST(RealArrays, LogarithmOfZeroFailsOnlyInFloat) {
  const double doubles[] = {0.0, 1.0};
  vomo::Received<double> of_doubles;
  EXPECT_EQ(VomoLOG10_DOUBLE_ARRAY(doubles, 0, 1, of_doubles.pointer(), of_doubles.handle_out()),
            Vomo_STATUS_SUCCESS);
  EXPECT_EQ(of_doubles[0], -kInfinity);

  const float floats[] = {100.0f, 1.0f, 0.0f, -1.0f};
  vomo::Received<float> of_floats;
  EXPECT_EQ(VomoLOG10_FLOAT_ARRAY(floats, 0, 2, of_floats.pointer(), of_floats.handle_out()),
            Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_STREQ(
      Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR),
      "Error during computation: qvsStsSingularity: Singularity occurred in the operation");
  EXPECT_EQ(VomoLOG10_FLOAT_ARRAY(floats, 1, 3, of_floats.pointer(), of_floats.handle_out()),
            Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_FALSE(of_floats);
  ASSERT_EQ(VomoLOG10_FLOAT_ARRAY(floats, 0, 1, of_floats.pointer(), of_floats.handle_out()),
            Vomo_STATUS_SUCCESS);
  EXPECT_EQ(of_floats[0], 2.0f);
}

TEST(RealArrays, RefuseBeforeAnythingIsWritten) {
  const double some[4] = {1, 2, 3, 4};
  double *out = nullptr;
  VomoHandle handle = 55;
  const struct {
    VomoStatus got, expected;
  } cases[] = {
      {VomoACCUMULATE_ARRAY(nullptr, 0, 1, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoACCUMULATE_ARRAY(some, 2, 2, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoACCUMULATE_ARRAY(some, 0, kWhole, &out, &handle), Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {VomoACCUMULATE_ARRAY(some, 0, 1, &out, nullptr), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoSUBTRACT_ARRAYS(some, nullptr, 0, 1, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoSUBTRACT_ARRAYS(some, some, 3, 1, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoSUBTRACT_ARRAYS(some, some, 0, 1, nullptr, &handle), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoGET_MAGNITUDE(nullptr, 0, &out, &handle), Vomo_STATUS_PARAM_NOT_VALID},
  };
  for (const auto &c : cases) EXPECT_EQ(c.got, c.expected);
  const VomoComplexDouble z{};
  EXPECT_EQ(VomoGET_MAGNITUDE(&z, 0, &out, &handle), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(handle, 55u);
}

TEST(Magnitude, OfEachElement) {
  const VomoComplexDouble z[] = {{3, 4}, {-5, 12}, {0, -2}};
  vomo::Received<double> out;
  EXPECT_EQ(Result(VomoGET_MAGNITUDE(z, 3, out.pointer(), out.handle_out()), out),
            (std::vector<double>{5, 13, 2}));
}

TEST(Extremes, CountTheirIndicesFromTheRange) {
  const double doubles[] = {5, 1, 7, 1, 7};
  const float floats[] = {5, 1, 7, 1, 7};
  double low = 0, high = 0;
  float low_float = 0, high_float = 0;
  uint32_t low_at = 9, high_at = 9;
  EXPECT_EQ(VomoFIND_MIN_MAX_DOUBLE(doubles, 1, 4, &low, &low_at, &high, &high_at), 0u);
  EXPECT_EQ(low, 1);
  EXPECT_EQ(high, 7);
  EXPECT_EQ(low_at, 0u);
  EXPECT_EQ(high_at, 1u);
  EXPECT_EQ(VomoFIND_MIN_MAX_FLOAT(floats, 2, 2, &low_float, &low_at, &high_float, nullptr), 0u);
  EXPECT_EQ(low_float, 7);
  EXPECT_EQ(high_float, 7);
  EXPECT_EQ(VomoFIND_MIN_MAX_DOUBLE(doubles, 0, 4, nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(VomoFIND_MIN_MAX_DOUBLE(doubles, 2, 1, &low, nullptr, nullptr, nullptr),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(VomoFIND_MIN_MAX_FLOAT(nullptr, 0, 1, &low_float, nullptr, nullptr, nullptr),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(VomoFIND_MIN_MAX_DOUBLE(doubles, 0, kWhole, &low, nullptr, nullptr, nullptr),
            Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_EQ(low, 1);
}

TEST(MeansAndDeviations, EachHasItsOwnRefusal) {
  const double doubles[] = {9, 1, 2, 3};
  const float floats[] = {9, 1, 2, 3};
  double value = -1;
  float value_float = -1;
  EXPECT_EQ(VomoFIND_MEAN_DOUBLE(doubles, 1, 3, &value), 0u);
  EXPECT_EQ(value, 2);
  EXPECT_EQ(VomoFIND_MEAN_FLOAT(floats, 0, 0, &value_float), 0u);
  EXPECT_EQ(value_float, 9);
  EXPECT_EQ(VomoFIND_STD_DEV_DOUBLE(doubles, 1, 3, &value), 0u);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(VomoFIND_STD_DEV_FLOAT(floats, 1, 3, &value_float), 0u);
  EXPECT_EQ(value_float, 1);
  const struct {
    VomoStatus got, expected;
  } cases[] = {
      {VomoFIND_MEAN_DOUBLE(nullptr, 0, 1, &value), Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {VomoFIND_MEAN_DOUBLE(doubles, 1, 0, &value), Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {VomoFIND_MEAN_DOUBLE(doubles, 0, 1, nullptr), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoFIND_MEAN_FLOAT(floats, 0, kWhole, &value_float), Vomo_STATUS_COMPUTATION_ERROR},
      {VomoFIND_STD_DEV_DOUBLE(doubles, 1, 1, &value), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoFIND_STD_DEV_DOUBLE(nullptr, 0, 1, &value), Vomo_STATUS_PARAM_NOT_VALID},
      {VomoFIND_STD_DEV_FLOAT(floats, 1, 1, &value_float), Vomo_STATUS_COMPUTATION_ERROR},
      {VomoFIND_STD_DEV_FLOAT(nullptr, 0, 1, &value_float), Vomo_STATUS_COMPUTATION_ERROR},
      {VomoFIND_STD_DEV_FLOAT(floats, 0, 1, nullptr), Vomo_STATUS_PARAM_NOT_VALID},
  };
  for (const auto &c : cases) EXPECT_EQ(c.got, c.expected);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(value_float, 1);
}

TEST(Median, AgreesWithASortAndKeepsTheSource) {
  std::mt19937_64 random(7);
  std::normal_distribution<double> normal;
  for (uint32_t count = 1; count <= 40; ++count) {
    std::vector<double> values(count + 2);
    for (double &v : values) v = std::floor(4 * normal(random));
    const std::vector<double> before = values;
    std::vector<double> sorted(values.begin() + 1, values.end() - 1);
    std::sort(sorted.begin(), sorted.end());
    const double expected =
        count % 2 != 0 ? sorted[count / 2] : (sorted[count / 2 - 1] + sorted[count / 2]) * 0.5;
    double median = kNaN;
    EXPECT_EQ(Vomo_MEDIAN_DOUBLE(values.data(), 1, count, &median), 0u);
    EXPECT_EQ(median, expected) << count;
    EXPECT_EQ(values, before);
    const std::vector<float> floats(values.begin(), values.end());
    float median_float = 0;
    EXPECT_EQ(Vomo_MEDIAN_FLOAT(floats.data(), 1, count, &median_float), 0u);
    EXPECT_EQ(median_float, static_cast<float>(expected)) << count;
  }
}

TEST(Median, WrappedCountRepeatsTheLastEvenResult) {
  const double values[] = {4, 1, 2, 3};
  double median = 0;
  EXPECT_EQ(Vomo_MEDIAN_DOUBLE(values, 0, 3, &median), 0u);
  EXPECT_EQ(median, 2.5);
  EXPECT_EQ(Vomo_MEDIAN_DOUBLE(values, 0, 2, &median), 0u);
  EXPECT_EQ(median, 2);
  EXPECT_EQ(Vomo_MEDIAN_DOUBLE(values, 0, kWhole, &median), 0u);
  EXPECT_EQ(median, 2.5);
  EXPECT_EQ(Vomo_MEDIAN_DOUBLE(values, 3, 2, &median), 0u);
  EXPECT_EQ(median, 2.5);
  EXPECT_EQ(Vomo_MEDIAN_DOUBLE(values, 3, 1, &median), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(Vomo_MEDIAN_DOUBLE(nullptr, 0, 1, &median), Vomo_STATUS_PARAM_NOT_VALID);
}

TEST(Median, EndsOnNaNs) {
  for (uint32_t nans = 0; nans <= 100; nans += 10) {
    std::vector<double> values(101, 1.0);
    std::fill_n(values.begin(), nans, kNaN);
    std::shuffle(values.begin(), values.end(), std::mt19937_64(nans));
    double median = 0;
    EXPECT_EQ(Vomo_MEDIAN_DOUBLE(values.data(), 0, 100, &median), 0u);
    EXPECT_EQ(std::isnan(median), nans > 50) << nans;
  }
}

TEST(Interpolation, SolvesForTheAbscissa) {
  double x = 0;
  vomo::Vomo_Interpolate_X(1, 10, 3, 20, &x, 15);
  EXPECT_EQ(x, 2);
  vomo::Vomo_Interpolate_X(1, 10, 3, 20, &x, 0);
  EXPECT_EQ(x, -1);
}

}  // namespace
