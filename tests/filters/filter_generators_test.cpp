#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <complex>
#include <functional>
#include <numbers>

#include "core/handle_table.h"

namespace {

using Complex = std::complex<long double>;
constexpr long double kTwoPi = 2 * std::numbers::pi_v<long double>;
constexpr Complex kJ{0, 1};

// A generator with everything but the outputs bound.
using Generator = std::function<VomoStatus(uint32_t, VomoComplexDouble **, VomoHandle *)>;

struct Response {
  VomoComplexDouble *values = nullptr;
  VomoHandle handle = 77;
  VomoStatus status = 0;

  Response(const Generator &generator, uint32_t count) {
    status = generator(count, &values, &handle);
  }
  ~Response() { Vomo_HANDLE_FREE(handle); }

  std::complex<double> operator[](uint32_t i) const { return {values[i].dRe, values[i].dIm}; }
};

Generator FirstOrder(double df, int high_pass, double fc) {
  return [=](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
    return VomoGENERATE_FIRST_ORDER_FILTER(df, n, high_pass, fc, out, handle);
  };
}
Generator SecondOrder(double df, int high_pass, double fc, double z) {
  return [=](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
    return VomoGENERATE_SECOND_ORDER_FILTER(df, n, high_pass, fc, z, out, handle);
  };
}
Generator H3(double df, double fc, float z) {
  return [=](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
    return VomoGENERATE_SECOND_ORDER_H3_FILTER(df, n, fc, z, out, handle);
  };
}
Generator Pll(double df, double fc, float z) {
  return [=](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
    return VomoGENERATE_PLL_FILTER(df, n, fc, z, out, handle);
  };
}
Generator DelayedPll(double df, double fc, float z, float delay) {
  return [=](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
    return VomoGENERATE_PLL_FILTER_WITH_DELAY(df, n, fc, z, delay, out, handle);
  };
}
Generator Simple(double df, int high_pass, uint32_t order, double fc, float z, float floor = 0.0f) {
  return [=](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
    return VomoGENERATE_SIMPLE_FILTER(df, n, high_pass, order, floor, fc, z, out, handle);
  };
}

// The closed loop with natural frequency and damping, in the form of the textbooks.
Complex ClosedLoop(long double f, long double fc, long double z) {
  const long double c = 1 + 2 * z * z;
  const long double wn = kTwoPi * fc / std::sqrt(c + std::sqrt(c * c + 1));
  const Complex s = kJ * kTwoPi * f;
  return (2 * z * wn * s + wn * wn) / (s * s + 2 * z * wn * s + wn * wn);
}

// A delay put behind a loop that was made without one.
Generator PllThenDelay(double df, double fc, float z, float delay) {
  return [=](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
    const Response loop(Pll(df, fc, z), n);
    return VomoADD_PLL_FILTER_DELAY(loop.values, df, n, delay, out, handle);
  };
}

// The grid is a binary fraction of the corner, so that the frequencies are exact. A response is a
// handful of rounded operations; where it resonates to |H| above 1, its denominator is a difference
// that has lost |H| of its digits, so the error grows with |H|^2. The angle of the delay, up to
// 101 rad, is rounded besides.
TEST(FilterGenerators, FollowTheirClosedForms) {
  constexpr double kDf = 1 << 20;
  constexpr double kFc = 5 * kDf;
  constexpr double kZ = 0.75;  // exact as float
  constexpr float kDelay = 0x1p-22f;
  static constexpr long double fc = kFc, z = kZ, fc2 = fc * fc, delay = kDelay;
  const auto delayed_loop = [](long double f) {
    return ClosedLoop(f, fc, z) * std::exp(-kJ * kTwoPi * f * delay);
  };
  const struct {
    const char *what;
    Generator generator;
    std::function<Complex(long double)> expected;
    double rounding_steps = 16;
  } cases[] = {
      {"first order low pass", FirstOrder(kDf, 0, kFc),
       [](long double f) { return fc / (fc + kJ * f); }},
      {"first order high pass", FirstOrder(kDf, 1, kFc),
       [](long double f) { return kJ * f / (fc + kJ * f); }},
      {"second order low pass", SecondOrder(kDf, 0, kFc, kZ),
       [](long double f) { return fc2 / (fc2 - f * f + kJ * (2 * z * fc * f)); }},
      {"second order high pass, of opposite phase", SecondOrder(kDf, -1, kFc, kZ),
       [](long double f) { return -f * f / (fc2 - f * f - kJ * (2 * z * fc * f)); }},
      {"first order by number", Simple(kDf, 1, FIRST_ORDER, kFc, 0.0f),
       [](long double f) { return kJ * f / (fc + kJ * f); }},
      {"second order by number", Simple(kDf, 0, SECOND_ORDER, kFc, 0.25f),
       [](long double f) { return fc2 / (fc2 - f * f + kJ * (0.5L * fc * f)); }},
      {"H3", H3(kDf, kFc, 0.75f),
       [](long double f) {
         const long double fn = fc / std::sqrt(1 - z * z);
         return -f * f / (fn * fn - f * f + kJ * (2 * z * fn * f));
       }},
      {"PLL", Pll(kDf, kFc, 0.75f), [](long double f) { return ClosedLoop(f, fc, z); }},
      {"PLL without damping keeps a natural frequency", Pll(kDf, kFc * 1.25, 0.0f),
       [](long double f) { return ClosedLoop(f, 1.25L * fc, 0); }},
      {"PLL with delay", DelayedPll(kDf, kFc, 0.75f, kDelay), delayed_loop, 16 + 101},
      {"PLL with added delay", PllThenDelay(kDf, kFc, 0.75f, kDelay), delayed_loop, 16 + 101},
  };
  constexpr uint32_t kCount = 64;
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Response response(c.generator, kCount);
    ASSERT_EQ(response.status, Vomo_STATUS_SUCCESS);
    for (uint32_t i = 0; i < kCount; ++i) {
      const Complex expected = c.expected(static_cast<long double>(i) * kDf);
      const double limit =
          c.rounding_steps * 0x1p-52 * std::max(1.0, static_cast<double>(norm(expected)));
      EXPECT_NEAR(response[i].real(), static_cast<double>(expected.real()), limit) << i;
      EXPECT_NEAR(response[i].imag(), static_cast<double>(expected.imag()), limit) << i;
    }
  }
}

// What the names promise, in numbers that need no formula.
TEST(FilterGenerators, CornersAndEnds) {
  const double root_half = std::sqrt(0.5);
  const Response low(FirstOrder(0.5, 0, 4.0), 4000), high(FirstOrder(0.5, 1, 4.0), 4000);
  EXPECT_NEAR(std::abs(low[8]), root_half, 1e-15);
  EXPECT_NEAR(std::abs(high[8]), root_half, 1e-15);
  EXPECT_NEAR(std::arg(low[8]), -std::numbers::pi / 4, 1e-15);
  EXPECT_NEAR(std::abs(high[3999]), 1.0, 4e-6);  // 1 - (4 / 2000)^2 / 2
  EXPECT_EQ(low[0], 1.0);
  EXPECT_EQ(high[0], 0.0);

  const Response second_low(SecondOrder(0.5, 0, 4.0, root_half), 9);
  const Response second_high(SecondOrder(0.5, 1, 4.0, root_half), 9);
  const Response h3(H3(0.5, 4.0, 0.5f), 9);
  EXPECT_NEAR(std::abs(second_low[8]), root_half, 1e-15);
  EXPECT_NEAR(std::abs(second_high[8]), root_half, 1e-15);
  EXPECT_EQ(second_low[0], 1.0);
  EXPECT_EQ(second_high[0], 0.0);
  EXPECT_EQ(h3[0], 0.0);
  EXPECT_LT(second_high[8].imag() * h3[8].imag(), 0.0);

  for (const float z : {0.0f, 0.3f, 1.0f, 4.0f}) {
    const Response loop(Pll(0.5, 4.0, z), 9);
    EXPECT_NEAR(std::abs(loop[8]), root_half, 1e-14) << z;
    EXPECT_EQ(loop[0], 1.0) << z;
  }
}

// H3 forms 1 - z^2 in single precision: 0.1f squared there is 0.010000001, and r = 0.99f.
TEST(FilterGenerators, DampingOfH3IsSinglePrecision) {
  const float zz = 0.1f * 0.1f;
  ASSERT_NE(static_cast<double>(1.0f - zz), 1.0 - static_cast<double>(0.1f) * 0.1f);
  const double fn = 1.0 / std::sqrt(static_cast<double>(1.0f - zz));
  const Response response(H3(1.0, 1.0, 0.1f), 2);
  const std::complex<double> expected =
      -1.0 / std::complex<double>(fn * fn - 1.0, 2.0 * fn * static_cast<double>(0.1f));
  EXPECT_NEAR(std::abs(response[1] - expected), 0.0, 1e-14);
}

// With a corner of 2^60 the first order high pass is f / 2^60 in its imaginary part, without a
// rounding of its own. Ten steps of 0.1 added up do not reach 1.
TEST(FilterGenerators, FrequencyIsAccumulated) {
  const Response response(FirstOrder(0.1, 1, 0x1p60), 11);
  EXPECT_EQ(response[10].imag() * 0x1p60, 0.9999999999999999);
}

TEST(FilterGenerators, BrickWallEdges) {
  const struct {
    const char *what;
    int high_pass;
    double fc;
    uint32_t edge;  // first entry above
  } cases[] = {
      {"between entries", 0, 4.2, 5}, {"exactly on an entry", 0, 4.0, 4},
      {"high pass", 1, 4.0, 4},       {"beyond the grid", 0, 1e300, 8},
      {"all high", 1, 0.0, 0},        {"negative", 0, -3.0, 0},
      {"NaN", 0, std::nan(""), 0},
  };
  const double floor = static_cast<double>(0.1f);
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Response response(Simple(1.0, c.high_pass, BRICK_WALL, c.fc, 9.0f, 0.1f), 8);
    ASSERT_EQ(response.status, Vomo_STATUS_SUCCESS);
    for (uint32_t i = 0; i < 8; ++i) {
      EXPECT_EQ(response[i], (i < c.edge) != (c.high_pass != 0) ? 1.0 : floor) << i;
    }
  }
}

// The slope is (f / corner)^e with e = 3 N / (20 log10(2)), about N / 2, and corner = fc 2^(1/N).
// Offset and step of the ramp are rounded to single precision, a relative 2^-24 each of x, at most
// doubled by their sum: the power is good to e 2^-23.
TEST(FilterGenerators, SlopedHighPass) {
  constexpr double kFc = 50.0, kGain = 0.5;
  for (uint32_t order = 3; order <= 8; ++order) {
    SCOPED_TRACE(order);
    const double exponent = 3.0 * order / (20.0 * std::log10(2.0));
    const double corner = kFc * std::pow(2.0, 1.0 / order);
    const double gain = order >= 4 ? kGain : 1.0;
    const Response response(Simple(1.0, 1, order, kFc, static_cast<float>(kGain)), 128);
    EXPECT_EQ(response[0], 0.0);
    for (uint32_t i = 1; i < 128; ++i) {
      const double expected = i < corner ? gain * std::pow(i / corner, exponent) : 1.0;
      EXPECT_NEAR(response[i].real() / expected, 1.0, exponent * 0x1p-23) << i;
      EXPECT_EQ(response[i].imag(), 0.0);
    }
    // 3 dB down at fc.
    EXPECT_NEAR(20 * std::log10(response[50].real() / gain), -3.0, 1e-5);
  }
}

TEST(FilterGenerators, SlopedFilterWithoutOneOfItsParts) {
  const struct {
    const char *what;
    int high_pass;
    double fc;
    uint32_t count;
    double first, last;
  } cases[] = {
      {"high pass without slope", 1, 0.0, 4, 1.0, 1.0},
      {"high pass with a slope of entry 0 alone", 1, 0.5, 4, 0.0, 1.0},
      {"low pass without slope", 0, 100.0, 4, 1.0, 1.0},
      // x = 2^7 / 2^(1/3) at entry 2^7, e log2(x) 20 log10(2) = 9 dB/octave over 7 - 1/3 octaves.
      {"a low pass rises", 0, 1.0, 129, 1.0, std::pow(10.0, 3.0)},
      {"a low pass that begins at entry 0", 0, -1.0, 1, 0.0, 0.0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Response response(Simple(1.0, c.high_pass, THIRD_ORDER, c.fc, 7.0f), c.count);
    ASSERT_EQ(response.status, Vomo_STATUS_SUCCESS);
    EXPECT_EQ(response[0], c.first);
    EXPECT_NEAR(response[c.count - 1].real(), c.last, c.last * 2e-7);
  }
}

TEST(FilterGenerators, PlaceholderDeliversABlockAndSaysSo) {
  VomoComplexDouble *filter = nullptr;
  VomoHandle handle = 0;
  EXPECT_EQ(VomoGENERATE_CLOCK_ANALYSIS_FILTER(1, 5, 1, 1, &filter, &handle), 0xA0000000u);
  ASSERT_EQ(vomo::Vomo_Handle_Lookup(handle), filter);
  filter[4] = {1, 1};
  Vomo_HANDLE_FREE(handle);
}

TEST(FilterGenerators, Refusals) {
  const VomoComplexDouble source{1, 0};
  const struct {
    const char *what;
    Generator generator;
    VomoHandle handle_after_failure;
    VomoStatus single_point;
  } cases[] = {
      {"first", FirstOrder(1, 1, 4), 0, Vomo_STATUS_SUCCESS},
      {"second", SecondOrder(1, 0, 4, 1), 0, Vomo_STATUS_SUCCESS},
      {"H3", H3(1, 4, 0.5f), 0, Vomo_STATUS_SUCCESS},
      {"PLL", Pll(1, 4, 1), 77, Vomo_STATUS_PARAM_NOT_VALID},
      {"delayed PLL", DelayedPll(1, 4, 1, 0.5f), 77, Vomo_STATUS_PARAM_NOT_VALID},
      {"brick wall", Simple(1, 1, BRICK_WALL, 4, 1), 77, Vomo_STATUS_SUCCESS},
      {"first by number", Simple(1, 1, FIRST_ORDER, 4, 1), 0, Vomo_STATUS_SUCCESS},
      {"slope", Simple(1, 1, SEVENTH_ORDER, 4, 1), 77, Vomo_STATUS_SUCCESS},
      {"added delay",
       [&](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
         return VomoADD_PLL_FILTER_DELAY(&source, 1.0, n, 1.0f, out, handle);
       },
       77, Vomo_STATUS_SUCCESS},
      {"placeholder",
       [](uint32_t n, VomoComplexDouble **out, VomoHandle *handle) {
         return VomoGENERATE_CLOCK_ANALYSIS_FILTER(1, n, 1, 1, out, handle);
       },
       77, Vomo_STATUS_NOT_IMPLEMENTED},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    for (const uint32_t count : {0u, 1u << 27}) {  // 2^31 bytes
      if (count != 0 && c.handle_after_failure == 77) continue;
      VomoComplexDouble *values = nullptr;
      VomoHandle handle = 77;
      EXPECT_EQ(c.generator(count, &values, &handle), Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
      EXPECT_EQ(handle, c.handle_after_failure);
      EXPECT_EQ(values, nullptr);
      EXPECT_EQ(c.generator(4, nullptr, &handle), Vomo_STATUS_PARAM_NOT_VALID);
      EXPECT_EQ(c.generator(4, &values, nullptr), Vomo_STATUS_PARAM_NOT_VALID);
    }
    const Response one(c.generator, 1);
    EXPECT_EQ(one.status, c.single_point);
  }
  VomoComplexDouble *values = nullptr;
  VomoHandle handle = 77;
  EXPECT_EQ(VomoADD_PLL_FILTER_DELAY(nullptr, 1.0, 4, 1.0f, &values, &handle),
            Vomo_STATUS_PARAM_NOT_VALID);
}

}  // namespace
