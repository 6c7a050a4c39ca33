#include "primitives/resampler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

namespace vomo {
namespace {

struct Free {
  void operator()(ResamplerState *state) const { ResamplerFree(state); }
};
using State = std::unique_ptr<ResamplerState, Free>;
using Samples = std::vector<float>;

struct Design {
  int32_t in, out, length;
  float roll = 0.95f, alpha = 9.0f;
};

State Create(const Design &design) {
  ResamplerState *state = nullptr;
  EXPECT_EQ(
      ResamplerCreate(&state, design.in, design.out, design.length, design.roll, design.alpha, 2),
      0);
  return State(state);
}

// All outputs of one call from the given time on, with their count tested against the closed form.
Samples Resample(const Design &design, const Samples &input, double time = 0, float norm = 1) {
  const State state = Create(design);
  const auto length = static_cast<int32_t>(input.size());
  const double expected = std::ceil((length - time) * design.out / design.in);
  Samples output(static_cast<std::size_t>(expected) + 3, -77.0f);
  int32_t count = 1;
  EXPECT_EQ(ResamplerRun(state.get(), input.data(), length, output.data(), norm, &time, &count), 0);
  EXPECT_EQ(count, 1 + static_cast<int32_t>(expected));
  EXPECT_EQ(output.front(), -77.0f) << "written before *pOutLen";
  EXPECT_EQ(output[static_cast<std::size_t>(count)], -77.0f) << "written behind the end";
  EXPECT_GE(time, length);
  return Samples(output.begin() + 1, output.begin() + count);
}

long double Bessel(long double a) {
  long double term = 1, sum = 1;
  for (int i = 1; term > 1e-22L * sum; ++i) {
    term *= (a / 2 / i) * (a / 2 / i);
    sum += term;
  }
  return sum;
}

// One output by the definition in long double: a Kaiser-windowed sinc over the nearest samples, its
// sum of weights made 1.
long double Interpolated(const Design &design, const Samples &input, long double t) {
  const long double pi = std::numbers::pi_v<long double>;
  const auto ratio = static_cast<long double>(design.out) / design.in;
  const long double g = static_cast<long double>(design.roll) * std::min(1.0L, ratio);
  const auto base = static_cast<int64_t>(std::floor(t));
  const int64_t half = design.length / 2, last = static_cast<int64_t>(input.size()) - 1;
  long double sum = 0, weights = 0;
  for (int64_t k = base - half + 1; k <= base + half; ++k) {
    const long double tau = t - static_cast<long double>(k),
                      x = tau / static_cast<long double>(half);
    if (std::fabs(x) >= 1) continue;
    const long double sinc = tau == 0 ? 1 : std::sin(pi * g * tau) / (pi * g * tau);
    const long double w = sinc * Bessel(design.alpha * std::sqrt(1 - x * x));
    sum += w * static_cast<long double>(
                   input[static_cast<std::size_t>(std::clamp<int64_t>(k, 0, last))]);
    weights += w;
  }
  return sum / weights;
}

Samples Noise(std::size_t count) {
  std::mt19937 random(51);
  std::uniform_real_distribution<float> value(-1, 1);
  Samples samples(count);
  for (float &x : samples) x = value(random);
  return samples;
}

const Design kDesigns[] = {
    {1, 2, 8},
    {1, 2, 4},
    {2, 1, 8},
    {3, 2, 4},
    {441, 480, 32},
    {1000000007, 1234567891, 4},
    {1234567891, 1000000007, 8},
    {1, 1, 2},
    {1, 3, 2, 1.0f, 0.01f},
    {7, 11, 6, 0.3f, 700.0f},
    {7, 11, 2, 1.0f, 700.0f},
    {1, 100, 4},
};

TEST(Resampler, FollowsTheDefinition) {
  const Samples input = Noise(61);
  for (const Design &design : kDesigns) {
    for (double time : {0.0, 17.0, 0.3, 59.999}) {
      const Samples output = Resample(design, input, time);
      for (std::size_t m = 0; m < output.size(); ++m) {
        const double t =
            time + static_cast<double>(static_cast<int64_t>(m) * design.in) / design.out;
        const long double expected = Interpolated(design, input, t);
        // Half a float's unit, for a double that is good to some 1e-14 of the input's range.
        const double half_unit = std::ldexp(1.0, std::ilogb(expected) - 24);
        ASSERT_NEAR(output[m], static_cast<double>(expected), half_unit + 1e-13)
            << design.in << ":" << design.out << " length " << design.length << " output " << m
            << " time " << time;
      }
    }
  }
}

TEST(Resampler, ConstantStaysConstant) {
  for (float level : {0.1f, -3.3e7f, 1e-30f}) {
    for (const Design &design : kDesigns) {
      for (float y : Resample(design, Samples(23, level))) ASSERT_EQ(y, level);
    }
  }
}

// With the full band the sinc is zero at all other whole distances, so that outputs at input
// positions are the inputs; doubling has every other output there.
TEST(Resampler, KeepsTheSamplesOfTheFullBand) {
  const Samples input = Noise(40);
  const Samples output = Resample({1, 2, 8, 1.0f, 9.0f}, input);
  ASSERT_EQ(output.size(), 80u);
  for (std::size_t i = 0; i < input.size(); ++i) EXPECT_FLOAT_EQ(output[2 * i], input[i]) << i;
}

// A slow sine through a long filter comes out on the new grid. A Kaiser window of shape 9
// attenuates by 8.7 + 9 / 0.1102 = 90 dB, which leaves 3e-5; the rounding of input and output is
// far below.
TEST(Resampler, SineLandsOnTheNewGrid) {
  const Design design = {441, 480, 64};
  Samples input(600);
  const auto sine = [](double t) { return std::sin(0.3 * t + 0.4); };
  for (std::size_t i = 0; i < input.size(); ++i) input[i] = static_cast<float>(sine(double(i)));
  const Samples output = Resample(design, input);
  for (std::size_t m = 0; m < output.size(); ++m) {
    const double t = static_cast<double>(m) * 441 / 480;
    if (t < 32 || t > 567) continue;  // the ends see repeated samples
    ASSERT_NEAR(output[m], sine(t), 3e-5) << "output " << m;
  }
}

TEST(Resampler, EndsRepeatAndNormScales) {
  const Samples step = {1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0};
  const Samples output = Resample({1, 2, 4}, step, 0, -2.0f);
  EXPECT_EQ(output.front(), -2.0f);
  EXPECT_EQ(output.back(), 0.0f);
  EXPECT_EQ(output[15], -1.0f) << "half way up the step, by symmetry";
  EXPECT_EQ(Resample({1, 2, 8}, {3.5f}), (Samples{3.5f, 3.5f}));
}

TEST(Resampler, SecondCallWritesNothing) {
  const State state = Create({3, 7, 4});
  const Samples input = Noise(10);
  Samples output(30);
  double time = 0;
  int32_t count = 0;
  ASSERT_EQ(ResamplerRun(state.get(), input.data(), 10, output.data(), 1, &time, &count), 0);
  EXPECT_EQ(count, 24);  // 70 / 3 rounded up
  EXPECT_EQ(time, 24 * 3 / 7.0);
  const double first_unwritten = time;
  ASSERT_EQ(ResamplerRun(state.get(), input.data(), 10, output.data(), 1, &time, &count), 0);
  EXPECT_EQ(count, 24);
  EXPECT_EQ(time, first_unwritten);
}

TEST(Resampler, APairGetsWhatEachGetsAlone) {
  const State state = Create({3, 5, 8});
  const int32_t length = 40;
  std::vector<float> a(length), b(length);
  for (int32_t i = 0; i < length; ++i) {
    a[static_cast<size_t>(i)] = static_cast<float>(i * i % 11);
    b[static_cast<size_t>(i)] = static_cast<float>(7 - i * i * i % 13);
  }
  const size_t room = 70;
  std::vector<float> a_alone(room), b_alone(room), a_paired(room), b_paired(room);
  double time = 0, paired_time = 0, unused_time = 0;
  int32_t count = 0, paired_count = 0, unused_count = 0;
  ResamplerRun(state.get(), a.data(), length, a_alone.data(), 0.5f, &time, &count);
  ResamplerRun(state.get(), b.data(), length, b_alone.data(), 0.5f, &unused_time, &unused_count);
  ASSERT_EQ(ResamplerRunPair(state.get(), a.data(), b.data(), length, a_paired.data(),
                             b_paired.data(), 0.5f, &paired_time, &paired_count),
            0);
  EXPECT_EQ(a_paired, a_alone);
  EXPECT_EQ(b_paired, b_alone);
  EXPECT_EQ(paired_count, count);
  EXPECT_EQ(paired_time, time);
  EXPECT_EQ(ResamplerRunPair(state.get(), a.data(), nullptr, length, a_paired.data(),
                             b_paired.data(), 1, &paired_time, &paired_count),
            -8);
  EXPECT_EQ(ResamplerRunPair(state.get(), a.data(), b.data(), length, a_paired.data(), nullptr, 1,
                             &paired_time, &paired_count),
            -8);
}

TEST(Resampler, RefusedDesigns) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  const struct {
    Design design;
    int32_t expected;
  } kCases[] = {
      {{0, 1, 4}, -6},          {{1, -1, 4}, -6},
      {{1, 1, 0}, -6},          {{1, 1, 7, kNaN, 9}, -6},
      {{1, 1, 4, 0, 9}, -5},    {{1, 1, 4, 1.01f, 9}, -5},
      {{1, 1, 4, kNaN, 9}, -5}, {{1, 1, 4, 1, 0}, -5},
      {{1, 1, 4, 1, kNaN}, -5}, {{1, 1, 4, 1, std::numeric_limits<float>::infinity()}, -5},
      {{1, 1, 65538}, -9},      {{1, 1, std::numeric_limits<int32_t>::max() - 1}, -9},
  };
  for (const auto &[design, expected] : kCases) {
    ResamplerState *state = nullptr;
    EXPECT_EQ(
        ResamplerCreate(&state, design.in, design.out, design.length, design.roll, design.alpha, 2),
        expected)
        << design.in << ":" << design.out << " " << design.length << " " << design.roll << " "
        << design.alpha;
    EXPECT_EQ(state, nullptr);
  }
  EXPECT_EQ(ResamplerCreate(nullptr, 0, 0, 0, 0, 0, 2), -8);
  EXPECT_EQ(ResamplerFree(nullptr), -8);
}

TEST(Resampler, RefusedRuns) {
  const State state = Create({1, std::numeric_limits<int32_t>::max(), 4});
  ResamplerState *const s = state.get();
  const float input[2] = {1, 2};
  float output = 7;
  double time = 0, negative = -1, nan = std::numeric_limits<double>::quiet_NaN();
  int32_t count = 0, minus = -1;
  EXPECT_EQ(ResamplerRun(nullptr, input, 0, &output, 1, &time, &count), -6);
  EXPECT_EQ(ResamplerRun(nullptr, input, 2, &output, 1, &time, &count), -8);
  EXPECT_EQ(ResamplerRun(s, nullptr, 2, &output, 1, &time, &count), -8);
  EXPECT_EQ(ResamplerRun(s, input, 2, nullptr, 1, &time, &count), -8);
  EXPECT_EQ(ResamplerRun(s, input, 2, &output, 1, nullptr, &count), -8);
  EXPECT_EQ(ResamplerRun(s, input, 2, &output, 1, &time, nullptr), -8);
  EXPECT_EQ(ResamplerRun(s, input, 2, &output, 1, &negative, &count), -5);
  EXPECT_EQ(ResamplerRun(s, input, 2, &output, 1, &nan, &count), -5);
  EXPECT_EQ(ResamplerRun(s, input, 2, &output, 1, &time, &minus), -5);
  // Two inputs would give more outputs than 32 bits count.
  EXPECT_EQ(ResamplerRun(s, input, 2, &output, 1, &time, &count), -6);
  EXPECT_EQ(output, 7.0f);
  EXPECT_EQ(time, 0.0);
  EXPECT_EQ(count, 0);
  // A position far beyond the end is no position of an output.
  double beyond = 1e300;
  EXPECT_EQ(ResamplerRun(s, input, 2, &output, 1, &beyond, &count), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(beyond, 1e300);
}

}  // namespace
}  // namespace vomo
