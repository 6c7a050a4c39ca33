#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include "core/handle_table.h"
#include "support/handle_pressure.h"
#include "support/waveforms.h"

namespace {

using vomo::Received;
using vomo_test::Samples;

constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr double kInterval = 1e-12;

std::vector<float> StepAt(size_t edge, size_t count) {
  std::vector<float> samples(count);
  std::fill(samples.begin() + static_cast<std::ptrdiff_t>(edge), samples.end(), 1.0f);
  return samples;
}

// The recursion answers a step with 1 - b^i. Each store is off by 2^-25 at most, and what is off
// decays by b from step to step: 2^-25 / (1 - b) in all.
TEST(ApplyFilter, ClockFilterStepResponse) {
  for (const double fc : {1e9, 30e9, 499e9}) {
    Samples step(StepAt(1, 200), kInterval);
    ASSERT_EQ(VomoAPPLY_CLOCK_FILTER_TO_WAVEFORM(step.get(), fc), 0u);
    const double rc = 1 / (kTwoPi * fc), b = rc / (rc + kInterval);
    for (size_t i = 0; i < step.stored.size(); ++i) {
      EXPECT_NEAR(step.stored[i], 1 - std::pow(b, i), 0x1p-25 / (1 - b)) << fc << " " << i;
    }
  }
}

TEST(ApplyFilter, ClockFilterLimits) {
  constexpr double kNyquist = 1.0 / (2.0 * kInterval);
  const struct {
    const char *what;
    double interval, fc;
    uint32_t count;
    VomoStatus status;
  } cases[] = {
      {"one hertz below half the sample rate", kInterval, kNyquist - 1, 2, 0},
      {"half the sample rate", kInterval, kNyquist, 2, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no frequency", kInterval, 0, 2, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN", kInterval, NAN, 2, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no interval", 0, 1e9, 2, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"negative interval", -1e-12, 1e9, 2, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"one sample", kInterval, 1e9, 1, Vomo_STATUS_PARAM_NOT_VALID},
      {"one sample before the rest", 0, 0, 1, Vomo_STATUS_PARAM_NOT_VALID},
  };
  for (const auto &c : cases) {
    Samples samples({1, -1}, c.interval);
    samples.record.ulNumSamples = c.count;
    EXPECT_EQ(VomoAPPLY_CLOCK_FILTER_TO_WAVEFORM(samples.get(), c.fc), c.status) << c.what;
    EXPECT_EQ(samples.stored[1] == -1, c.status != 0) << c.what;
  }
  EXPECT_EQ(VomoAPPLY_CLOCK_FILTER_TO_WAVEFORM(nullptr, 1e9), Vomo_STATUS_PARAM_NOT_VALID);
}

struct SimpleCase {
  int32_t order;
  double fc, z;
  int32_t high_pass;

  VomoStatus Apply(const VomoWaveform *input, Received<VomoWaveform> &output) const {
    return VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM(input, order, fc, z, high_pass, output.pointer(),
                                               output.handle_out());
  }
  // The second order high pass has the conjugate phase.
  std::complex<double> Response(double f) const {
    const std::complex<double> j(0, 1);
    if (order == 1) return (high_pass ? j * f : fc) / (fc + j * f);
    const double sign = high_pass ? -1 : 1;
    return (high_pass ? -f * f : fc * fc) / (fc * fc - f * f + sign * j * 2.0 * z * fc * f);
  }
};

// Whole periods of a tone come back with the gain and phase of the closed form. The work between is
// double; samples are rounded to float on either side, 2^-25 each of an amplitude of 1, and those
// of the input come through times the sum of the impulse response's magnitudes at most. That is
// largest for the damping of 0.1, where it is about 2 / (0.1 pi) = 6.4.
TEST(ApplyFilter, SimpleFilterAtTones) {
  const SimpleCase cases[] = {
      {1, 20e9, 0, 0}, {1, 20e9, NAN, 1}, {2, 20e9, 0.5, 0}, {2, 20e9, 0.5, 1}, {2, 3e9, 0.1, 0}};
  for (const auto &c : cases) {
    for (const int count : {360, 361, 7, 1}) {
      for (const int periods : {0, 1, 3, 97}) {
        if (2 * periods >= count) continue;
        SCOPED_TRACE(testing::Message()
                     << c.order << " " << c.high_pass << " " << count << " " << periods);
        const auto tone = [&](double turn) { return std::cos(kTwoPi * turn + 0.4); };
        std::vector<float> input(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) {
          input[static_cast<size_t>(i)] = static_cast<float>(tone(1.0 * periods * i / count));
        }
        Samples samples(input, kInterval);
        Received<VomoWaveform> output;
        ASSERT_EQ(c.Apply(samples.get(), output), 0u);
        EXPECT_EQ(vomo_test::Counts(*output.get()),
                  (std::vector<uint32_t>{0, static_cast<uint32_t>(count), 0}));
        EXPECT_EQ(output->dSampleInterval, kInterval);
        EXPECT_EQ(samples.stored, input);
        const auto h = c.Response(periods / (count * kInterval));
        for (int i = 0; i < count; ++i) {
          const double turn = 1.0 * periods * i / count + std::arg(h) / kTwoPi;
          EXPECT_NEAR(output->pfSamples[i], std::abs(h) * tone(turn), 0x1p-25 * (6.4 + std::abs(h)))
              << i;
        }
      }
    }
  }
}

// Steps of a wave that is flat for long. Between samples 0 and 1 a step of a band-limited signal
// lies half a sample before the 1. The band ends at half the sample rate, 400 fc: a ripple of
// H(400 fc) about it, 1/400 for a low pass of first order, and the curvature over a sample,
// (2 pi / 800)^2 / 24, are what the continuous forms don't have.
TEST(ApplyFilter, SimpleFilterStepResponses) {
  constexpr double kFc = 1 / (800 * kInterval), kW = kTwoPi * kFc;
  constexpr size_t kEdge = 20000, kCount = 40000;
  const double damped = std::sqrt(1 - 0.25);  // of damping 0.5
  const struct {
    const char *what;
    SimpleCase filter;
    std::function<double(double)> answer;
  } cases[] = {
      {"first order low pass", {1, kFc, 0, 0}, [](double t) { return 1 - std::exp(-kW * t); }},
      {"first order high pass", {1, kFc, 0, 1}, [](double t) { return std::exp(-kW * t); }},
      {"second order low pass",
       {2, kFc, 0.5, 0},
       [damped](double t) {
         const double angle = damped * kW * t;
         return 1 - std::exp(-0.5 * kW * t) * (std::cos(angle) + 0.5 / damped * std::sin(angle));
       }},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Samples step(StepAt(kEdge, kCount), kInterval);
    Received<VomoWaveform> output;
    ASSERT_EQ(c.filter.Apply(step.get(), output), 0u);
    for (size_t i = kEdge + 20; i < kEdge + 4000; i += 7) {
      const double t = (static_cast<double>(i - kEdge) + 0.5) * kInterval;
      EXPECT_NEAR(output->pfSamples[i], c.answer(t), 2.0 / 400) << i;
    }
  }
}

TEST(ApplyFilter, SimpleFilterRefusals) {
  const struct {
    const char *what;
    SimpleCase filter;
    double interval;
    uint32_t count;
    VomoStatus status;
  } cases[] = {
      {"order 2 without damping", {2, 1e9, 0, 0}, 1e-12, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"order 2 with NaN damping", {2, 1e9, NAN, 0}, 1e-12, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"order 3", {3, 1e9, 1, 0}, 1e-12, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"order 0", {0, 1e9, 1, 0}, 1e-12, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no frequency", {1, 0, 1, 0}, 1e-12, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN frequency", {1, NAN, 1, 0}, 1e-12, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no interval", {1, 1e9, 1, 0}, 0, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN interval", {1, 1e9, 1, 0}, NAN, 4, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no samples", {1, 1e9, 1, 0}, 1e-12, 0, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {"more samples than a block can hold",
       {1, 1e9, 1, 0},
       1e-12,
       1u << 31,
       Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
  };
  for (const auto &c : cases) {
    Samples samples({1, 2, 3, 4}, c.interval);
    samples.record.ulNumSamples = c.count;
    VomoWaveform *output = nullptr;
    VomoHandle handle = 77;
    EXPECT_EQ(VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM(samples.get(), c.filter.order, c.filter.fc,
                                                  c.filter.z, 0, &output, &handle),
              c.status)
        << c.what;
    EXPECT_EQ(handle, 77u) << c.what;
    EXPECT_EQ(output, nullptr) << c.what;
  }
  Samples good({1, 2, 3, 4});
  Received<VomoWaveform> out;
  EXPECT_EQ(
      VomoAPPLY_FIRST_ORDER_FILTER_TO_WAVEFORM(nullptr, 1, 0, out.pointer(), out.handle_out()),
      Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoAPPLY_FIRST_ORDER_FILTER_TO_WAVEFORM(good.get(), 1, 0, nullptr, out.handle_out()),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoAPPLY_FIRST_ORDER_FILTER_TO_WAVEFORM(good.get(), 1, 0, out.pointer(), nullptr),
            Vomo_STATUS_PARAM_NOT_VALID);
  // The result and, while it works, the filter.
  vomo_test::ExpectSlotsNeeded(2, [&] {
    Received<VomoWaveform> output;
    return SimpleCase{1, 0.1, 0, 0}.Apply(good.get(), output);
  });
}

TEST(ApplyFilter, NarrowsAComplexArrayInPlace) {
  for (const size_t count : {size_t{0}, size_t{1}, size_t{127}, size_t{128}, size_t{1001}}) {
    std::vector<VomoComplexDouble> values(count + 1);
    for (size_t i = 0; i <= count; ++i) {
      values[i] = {0.1 * static_cast<double>(i), -1e-9 * static_cast<double>(i)};
    }
    if (count > 2) values[1] = {1e300, -std::numeric_limits<double>::infinity()};
    const auto before = values;
    ASSERT_EQ(VomoCONVERT_FC64_FC32_I(static_cast<uint32_t>(count), values.data()), 0u);
    for (size_t i = 0; i < count; ++i) {
      VomoComplexFloat narrow;
      std::memcpy(&narrow, reinterpret_cast<const char *>(values.data()) + i * sizeof narrow,
                  sizeof narrow);
      ASSERT_EQ(narrow.fRe, static_cast<float>(before[i].dRe)) << count << " " << i;
      ASSERT_EQ(narrow.fIm, static_cast<float>(before[i].dIm)) << count << " " << i;
    }
    EXPECT_EQ(values[count].dRe, before[count].dRe);
  }
  EXPECT_EQ(VomoCONVERT_FC64_FC32_I(5, nullptr), 0u);
}

}  // namespace
