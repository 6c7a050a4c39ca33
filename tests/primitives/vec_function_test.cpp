// Logarithms, inverse error function, magnitude and polar form, against long double.
#include <cstring>
#include <numbers>

#include "primitives/vec.h"
#include "vec_check.h"

namespace vomo::test {
namespace {

// Distance of a result from the true value, in units of the last place of the true value.
template <class T>
double UnitsOff(T actual, long double expected) {
  const int exponent = std::max(std::ilogb(expected), std::numeric_limits<T>::min_exponent - 1);
  const auto unit = std::ldexp(1.0L, exponent - std::numeric_limits<T>::digits + 1);
  return static_cast<double>(std::fabs(static_cast<long double>(actual) - expected) / unit);
}

std::vector<float> PositiveFloats(uint32_t first_bits, uint32_t last_bits, uint32_t step) {
  std::vector<float> values;
  for (uint32_t bits = first_bits; bits <= last_bits; bits += step) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    values.push_back(value);
  }
  return values;
}

// Over the whole range from the smallest denormal to the largest float, densely where the number is
// its own mantissa, from sqrt(1/2) to sqrt(2), and around 1, where the logarithm goes to zero. The
// kernel's own error is below 1e-4 of a float's unit.
TEST(VecFunction, Log10IsRoundedOnce) {
  for (const auto &values :
       {PositiveFloats(1, 0x7F7FFFFF, 19937), PositiveFloats(0x3F3504F3, 0x3FB504F3, 97),
        PositiveFloats(0x3F7F0000, 0x3F810000, 3)}) {
    std::vector<float> out(values.size());
    AtEachLevel([&] {
      ASSERT_EQ(VecLog10_32f(values.data(), out.data(), static_cast<int32_t>(out.size())), 0);
      for (std::size_t i = 0; i < out.size(); ++i) {
        const long double expected = std::log10(static_cast<long double>(values[i]));
        if (expected == 0 ? out[i] == 0 : UnitsOff(out[i], expected) <= 0.5001) continue;
        FAIL() << Text(double{values[i]}) << " expected " << Text(static_cast<double>(expected))
               << " actual " << Text(double{out[i]});
      }
    });
  }
}

TEST(VecFunction, Log10AtPowersOfTen) {
  float values[39], out[39];
  for (int k = 0; k <= 38; ++k)
    values[k] = std::strtof(("1e" + std::to_string(k)).c_str(), nullptr);
  AtEachLevel([&] {
    ASSERT_EQ(VecLog10_32f(values, out, 39), 0);
    for (int k = 0; k <= 38; ++k) EXPECT_EQ(out[k], static_cast<float>(k));
  });
}

// What each element gives and which warning the first offending one decides.
TEST(VecFunction, LogarithmWarnings) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const struct {
    std::vector<float> in;
    std::vector<float> expected;
    int32_t status;
  } kCases[] = {
      {{1, 0, 1}, {0, -kInfinity, 0}, 18},
      {{1, -0.0f}, {0, -kInfinity}, 18},
      {{-1, 1}, {kNaN, 0}, 19},
      {{0, -1}, {-kInfinity, kNaN}, 18},
      {{-1, 0}, {kNaN, -kInfinity}, 19},
      {{-kInfinity}, {kNaN}, 19},
      {{kNaN, kInfinity, 1}, {kNaN, kInfinity, 0}, 0},
      {{1, kNaN, -1, 0}, {0, kNaN, kNaN, -kInfinity}, 19},
  };
  for (const auto &[in, expected, status] : kCases) {
    const auto length = static_cast<int32_t>(in.size());
    AtEachLevel([&, &values = in, &results = expected, warning = status] {
      std::vector<float> out(values.size());
      std::vector<double> natural(values.begin(), values.end());
      EXPECT_EQ(VecLog10_32f(values.data(), out.data(), length), warning);
      EXPECT_EQ(VecLnInPlace_64f(natural.data(), length), warning);
      for (std::size_t i = 0; i < out.size(); ++i) {
        // All expected results are the same for both bases.
        EXPECT_TRUE(Same(out[i], results[i])) << i << ": log10 " << Text(double{out[i]});
        EXPECT_TRUE(Same(natural[i], double{results[i]})) << i << ": ln " << Text(natural[i]);
      }
    });
  }
}

// The first offender is found wherever it stands, also behind the first block of the search.
TEST(VecFunction, WarningFromAnyPlace) {
  for (std::size_t place : {0u, 15u, 1023u, 1024u, 3000u}) {
    std::vector<float> values(3001, 2.0f);
    values[place] = 0;
    if (place + 1 < values.size()) values[place + 1] = -1;
    AtEachLevel([&] {
      std::vector<float> in_place = values;
      EXPECT_EQ(VecLog10_32f(in_place.data(), in_place.data(), 3001), 18) << place;
      EXPECT_EQ(in_place[place], -std::numeric_limits<float>::infinity());
    });
  }
}

TEST(VecFunction, NaturalLogarithm) {
  std::vector<double> values;
  for (int exponent = -1074; exponent < 1024; exponent += 7)
    values.push_back(std::ldexp(1.1, exponent));
  std::vector<double> out = values;
  ASSERT_EQ(VecLnInPlace_64f(out.data(), static_cast<int32_t>(out.size())), 0);
  for (std::size_t i = 0; i < out.size(); ++i) {
    // The mathematical library is good to one unit.
    EXPECT_LE(UnitsOff(out[i], std::log(static_cast<long double>(values[i]))), 1.0) << values[i];
  }
}

// y with erf(y) = x for x above 0, by halving an interval in long double. Near 1 the complement is
// compared, which is exact there.
long double ErfInverseByBisection(double x) {
  const long double complement = 1.0L - x;
  long double low = 0, high = 7;
  for (int i = 0; i < 120; ++i) {
    const long double middle = (low + high) / 2;
    const bool below = x < 0.5 ? std::erf(middle) < x : std::erfc(middle) > complement;
    (below ? low : high) = middle;
  }
  return (low + high) / 2;
}

TEST(VecFunction, ErfInverse) {
  std::vector<double> values;
  for (int k = 1; k < 400; ++k) values.push_back(k / 400.0);
  // Down to where the long double of the bisection still resolves its interval from 0 to 7.
  for (int k = 1; k < 50; ++k) values.push_back(std::ldexp(1.3, -k));
  for (int k = 2; k <= 53; ++k) values.push_back(1 - std::ldexp(1.0, -k));
  for (int k = 2; k <= 52; ++k) values.push_back(1 - std::ldexp(1.5, -k));
  for (double x : {0.5, std::nextafter(0.5, 0), 1e-8, std::nextafter(1e-8, 0)}) values.push_back(x);
  const std::size_t positive = values.size();
  for (std::size_t i = 0; i < positive; ++i) values.push_back(-values[i]);
  std::vector<double> out(values.size());
  ASSERT_EQ(VecErfInv_64f(values.data(), out.data(), static_cast<int32_t>(out.size())), 0);
  for (std::size_t i = 0; i < positive; ++i) {
    const long double expected = ErfInverseByBisection(values[i]);
    // The error function in double is good to a unit, which moves its inverse by 1.2 units at most
    // (at x = 1/2), and the last step rounds.
    EXPECT_LE(UnitsOff(out[i], expected), 2.0) << Text(values[i]) << " gave " << Text(out[i]);
    EXPECT_EQ(out[positive + i], -out[i]);
  }
}

TEST(VecFunction, ErfInverseAtItsEnds) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const double tiny = 0x1p-1000;
  const double in[] = {1, -1, std::nextafter(1, 2), -1.5, kNaN, kInfinity, 0.0, -0.0, tiny};
  const double expected[] = {kInfinity, -kInfinity, kNaN,
                             kNaN,      kNaN,       kNaN,
                             0.0,       -0.0,       tiny * (std::sqrt(std::numbers::pi) / 2)};
  double out[std::size(in)];
  ASSERT_EQ(VecErfInv_64f(in, out, std::size(in)), 0);
  for (std::size_t i = 0; i < std::size(in); ++i) {
    EXPECT_TRUE(Same(out[i], expected[i])) << Text(in[i]) << " gave " << Text(out[i]);
  }
}

TEST(VecFunction, Magnitude) {
  CheckMap<VomoComplexFloat, float>(
      "VecMagnitude_32fc",
      [](auto *a, auto *, float *dst, int32_t n) { return VecMagnitude_32fc(a, dst, n); },
      [](VomoComplexFloat a, VomoComplexFloat, std::size_t) {
        const double re = a.fRe, im = a.fIm;
        return static_cast<float>(std::sqrt(re * re + im * im));
      });
  CheckMap<VomoComplexDouble, double>(
      "VecMagnitude_64fc",
      [](auto *a, auto *, double *dst, int32_t n) { return VecMagnitude_64fc(a, dst, n); },
      [](VomoComplexDouble a, VomoComplexDouble, std::size_t) {
        return std::sqrt(a.dRe * a.dRe + a.dIm * a.dIm);
      });
  // Squares beyond the float range, and squares that a float would lose.
  const VomoComplexFloat extreme[] = {{3e30f, 4e30f}, {-3e-30f, 4e-30f}};
  float magnitudes[2];
  ASSERT_EQ(VecMagnitude_32fc(extreme, magnitudes, 2), 0);
  EXPECT_FLOAT_EQ(magnitudes[0], 5e30f);
  EXPECT_FLOAT_EQ(magnitudes[1], 5e-30f);
}

TEST(VecFunction, PolarAndBack) {
  const auto pi = std::numbers::pi_v<float>;
  const VomoComplexFloat z[] = {{1, 0}, {0, 2}, {-3, 0}, {0, -4}, {-1, -0.0f}, {0, 0}, {1, 1}};
  const float expected_magnitude[] = {1, 2, 3, 4, 1, 0, std::sqrt(2.0f)};
  const float expected_phase[] = {0, pi / 2, pi, -pi / 2, -pi, 0, pi / 4};
  constexpr int32_t kCount = std::size(z);
  float magnitude[kCount], phase[kCount], re[kCount], im[kCount];
  ASSERT_EQ(VecToPolar_32fc(z, magnitude, phase, kCount), 0);
  ASSERT_EQ(VecFromPolar_32f(magnitude, phase, re, im, kCount), 0);
  for (int32_t i = 0; i < kCount; ++i) {
    EXPECT_EQ(magnitude[i], expected_magnitude[i]) << i;
    EXPECT_EQ(phase[i], expected_phase[i]) << i;
    // The phase is rounded to a float, half a unit of 2 at most: 1.2e-7 of the magnitude, and the
    // result another half unit.
    EXPECT_NEAR(re[i], z[i].fRe, 2e-7 * magnitude[i]) << i;
    EXPECT_NEAR(im[i], z[i].fIm, 2e-7 * magnitude[i]) << i;
  }
}

}  // namespace
}  // namespace vomo::test
