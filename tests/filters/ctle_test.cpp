#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "core/handle_table.h"
#include "core/waveform.h"
#include "filters/ctle.h"
#include "filters/trim_ends.h"
#include "primitives/vec.h"
#include "support/gaussian.h"
#include "support/handle_pressure.h"
#include "support/waveforms.h"

namespace {

using vomo::Received;
using vomo_test::Counts;
using vomo_test::Samples;
using Complex = std::complex<double>;

constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr double kInterval = 12.5e-12;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr VomoCTLEParams kSetting{0.5f, 1e9f, 2e9f, 8e9f};

VomoStatus Ctle(VomoWaveform *input, const VomoCTLEParams &s, Received<VomoWaveform> &output) {
  return VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(input, s.fAdc, s.fFz, s.fFp1, s.fFp2, output.pointer(),
                                           output.handle_out());
}

Complex Response(const VomoCTLEParams &s, double f) {
  const auto factor = [f](float corner) { return Complex(1, f / double{corner}); };
  return double{s.fAdc} * factor(s.fFz) / (factor(s.fFp1) * factor(s.fFp2));
}

// Worked out by hand: the middle half of the range, the first sample outside it, and backward from
// the end the nearest to that one.
TEST(TrimEnds, HandWorkedCases) {
  const struct {
    const char *what;
    std::vector<float> samples;
    uint32_t front, back;
  } cases[] = {
      {"begins and ends outside, equal", {1, 0, -1, 0, 1}, 0, 0},
      {"the middle in front goes", {0.1f, -0.2f, 1, -1, 1}, 2, 0},
      {"the bounds belong to the middle", {0.5f, -0.5f, 0.5f, -1, 1, -1}, 3, 0},
      {"the other sign at the end goes", {1, -1, 1, -1, -0.5f}, 0, 2},
      {"a nearer one behind a farther one", {1, -1, 0.4f, 0.7f, 0.9f, 0.6f, 0.5f}, 0, 2},
      {"an equal distance does not stop", {1, -1, 0.3f, 0.8f, 1.2f, 0.5f}, 0, 2},
      {"passed samples of the other sign set the distance", {1, -1, 0.2f, -0.4f, 0.9f}, 0, 0},
      {"and so let a far one pass", {1, 0.1f, 0.2f, -3, 0.9f}, 0, 2},
      {"with no stop before the front all stays", {1, 0.3f, 0.2f, -3, 0.9f}, 0, 0},
      {"a square wave ends where it began", {1, 1, -1, -1, 1, 1, -1, -1}, 0, 2},
      {"the sign never comes back", {1, -1, -1, -1}, 0, 3},
      {"the sign never leaves", {5, 4, 3, 4, 4.5f, 4}, 0, 1},
      {"flat", {2, 2, 2}, 0, 0},
      {"one sample", {7}, 0, 0},
      {"all zero", {0, 0}, 0, 0},
      {"NaN in front", {kNaN, 1, -1}, 0, 0},
      {"NaN within", {0, kNaN, 1, -1, 0.9f}, 1, 1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    // Hidden samples that would match even better must not be looked at.
    std::vector<float> stored = c.samples;
    stored.insert(stored.begin(), {9, 9, 9});
    stored.insert(stored.end(), {c.samples[0], c.samples[0]});
    Samples samples(stored, 1.0, 3, 2);
    Received<VomoWaveform> copy;
    ASSERT_EQ(vomo::VomoTrimWaveformEnds(samples.get(), copy.pointer(), copy.handle_out()), 0u);
    const auto left = static_cast<uint32_t>(c.samples.size()) - c.front - c.back;
    const std::vector<uint32_t> expected{3 + c.front, left, 2 + c.back};
    EXPECT_EQ(Counts(*copy.get()), expected);
    EXPECT_EQ(Counts(samples.record), (std::vector<uint32_t>{3, left + c.front + c.back, 2}));
    ASSERT_EQ(vomo_test::Stored(*copy.get()).size(), stored.size());
    EXPECT_EQ(copy->pfSamples - 3 - c.front, vomo::FirstStoredSample(*copy.get()));
    ASSERT_EQ(vomo::VomoTrimWaveformEnds(samples.get(), nullptr, nullptr), 0u);
    EXPECT_EQ(Counts(samples.record), expected);
    EXPECT_EQ(samples.record.pfSamples, samples.stored.data() + 3 + c.front);
  }
  Samples empty({1}, 1.0, 1, 0);
  EXPECT_EQ(vomo::VomoTrimWaveformEnds(empty.get(), nullptr, nullptr),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
}

// The samples that are left after trimming, by a direct transform, the closed form of the response
// and a direct inverse, in double. What the float ramps of the response accumulate is below
// count / 2 roundings of 2^-24 each, the float transforms add some 2^-24 of the whole.
std::vector<double> EqualiseDirectly(const VomoWaveform &trimmed, const VomoCTLEParams &s) {
  const int n = static_cast<int>(trimmed.ulNumSamples);
  std::vector<Complex> bins(static_cast<size_t>(n / 2 + 1));
  for (int k = 0; k <= n / 2; ++k) {
    for (int i = 0; i < n; ++i) {
      bins[static_cast<size_t>(k)] +=
          double{trimmed.pfSamples[i]} * std::polar(1.0, -kTwoPi * (k * i % n) / n);
    }
    bins[static_cast<size_t>(k)] *= Response(s, k / (n * kInterval));
  }
  std::vector<double> result(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    for (int k = 0; k <= n / 2; ++k) {
      const double weight = k == 0 || 2 * k == n ? 1.0 / n : 2.0 / n;
      const Complex bin =
          2 * k == n ? bins[static_cast<size_t>(k)].real() : bins[static_cast<size_t>(k)];
      result[static_cast<size_t>(i)] +=
          weight * (bin * std::polar(1.0, kTwoPi * (k * i % n) / n)).real();
    }
  }
  return result;
}

TEST(Ctle, FollowsItsFormula) {
  const VomoCTLEParams settings[] = {
      kSetting,
      {1.0f, 3e9f, 3e9f, 5e9f},  // a single pole
      {2.0f, 0.4e9f, 4e9f, 16e9f},
      {0.1f, 10e9f, 1e8f, 1e12f},
  };
  vomo_test::Gaussian noise(7);
  for (const auto &setting : settings) {
    for (const uint32_t count : {7u, 8u, 64u, 257u, 600u}) {
      SCOPED_TRACE(testing::Message() << setting.fAdc << " " << count);
      std::vector<float> stored(count + 5);
      for (float &s : stored) s = static_cast<float>(0.4 * noise() + 0.1);
      stored[2] = stored[count + 1] = 2;  // the first visible sample and its match
      stored[count] = 0.5f;               // behind which the search stops
      Samples samples(stored, kInterval, 2, 3);
      Received<VomoWaveform> trimmed, output;
      vomo::VomoTrimWaveformEnds(samples.get(), trimmed.pointer(), trimmed.handle_out());
      ASSERT_EQ(trimmed->ulNumSamples, count);
      ASSERT_EQ(Ctle(samples.get(), setting, output), 0u);
      EXPECT_EQ(Counts(*output.get()), (std::vector<uint32_t>{5, count - 6, 6}));
      EXPECT_EQ(samples.stored, stored);
      const std::vector<double> expected = EqualiseDirectly(*trimmed.get(), setting);
      const std::vector<float> all = vomo_test::Stored(*output.get());
      double largest = 0;
      for (const double e : expected) largest = std::max(largest, std::fabs(e));
      for (uint32_t i = 0; i < count; ++i) {
        EXPECT_NEAR(all[i + 2], expected[i], largest * (count / 2.0 + 8) * 0x1p-23) << i;
      }
      for (const uint32_t hidden : {0u, 1u, count + 2, count + 4}) {
        EXPECT_EQ(all[hidden], stored[hidden]);
      }
    }
  }
}

// A long tone in the middle of the capture, far from the trimmed ends: gain and phase. The circle
// closes with one sample too many of the crest, a dent of (pi / period)^2 / 2; what of it comes
// through half a capture falls off with the distance and is far below the tolerance, which the
// float ramps of 2000 steps take: 2000 * 2^-24.
TEST(Ctle, GainAndPhaseAtTones) {
  for (const double period : {8.0, 20.0, 160.0, 1600.0}) {
    std::vector<float> samples(4001);
    for (size_t i = 0; i < samples.size(); ++i) {
      samples[i] = static_cast<float>(std::cos(kTwoPi * static_cast<double>(i) / period));
    }
    Samples input(samples, kInterval);
    Received<VomoWaveform> output;
    ASSERT_EQ(Ctle(input.get(), kSetting, output), 0u);
    ASSERT_EQ(output->ulTrimFront, 3u);
    const Complex h = Response(kSetting, 1 / (period * kInterval));
    for (size_t i = 1500; i < 2500; ++i) {
      const double angle = kTwoPi * static_cast<double>(i) / period + std::arg(h);
      EXPECT_NEAR(output->pfSamples[i - 3], std::abs(h) * std::cos(angle), 2000 * 0x1p-24)
          << period << " " << i;
    }
  }
}

// The whole pass by the one-element operations; w and u of bin i by the given rule.
template <class Ramp>
std::vector<float> EqualiseBinByBin(const std::vector<float> &samples, Ramp ramp) {
  const auto count = static_cast<int32_t>(samples.size());
  vomo::DftSpec *created = nullptr;
  EXPECT_EQ(vomo::DftSpecCreate_R_32f(&created, count, vomo::kDftDivideForward, 2), 0);
  const vomo::DftSpecOwner spec(created);
  std::vector<VomoComplexFloat> bins(samples.size() / 2 + 1);
  vomo::DftForward_R_32f(samples.data(), bins.data(), spec.get(), nullptr);
  constexpr float kPi2 = 6.2831855f;
  const float p1 = kSetting.fFp1 * kPi2, p2 = kSetting.fFp2 * kPi2, z = kSetting.fFz * kPi2;
  const float dw = 1.0f / (static_cast<float>(kInterval) * static_cast<float>(count)) * kPi2;
  const float k = p1 * kSetting.fAdc * p2, du = k * dw / z;
  float w = 0, u = 0;
  for (size_t i = 0; i < bins.size(); ++i, w = ramp(w, dw, i), u = ramp(u, du, i)) {
    vomo::VecScaleInPlace_32fc({k, u}, &bins[i], 1);
    vomo::VecDivConstInPlace_32fc({p1, w}, &bins[i], 1);
    vomo::VecDivConstInPlace_32fc({p2, w}, &bins[i], 1);
  }
  std::vector<float> result(samples.size());
  vomo::DftInverse_R_32f(bins.data(), result.data(), spec.get(), nullptr);
  return result;
}

double LargestDifference(const std::vector<float> &a, const std::vector<float> &b) {
  double largest = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    largest = std::max(largest, std::fabs(double{a[i]} - double{b[i]}));
  }
  return largest;
}

// The two ramps add up in float, which takes them off their straight line. Two transforms of the
// same data may differ by some roundings of the largest value, 5 in 1 / H here.
TEST(Ctle, AccumulatesItsRampsInFloat) {
  std::vector<float> stored(100001);
  vomo_test::Gaussian noise(3);
  for (float &s : stored) s = static_cast<float>(0.4 * noise());
  stored.front() = stored.back() = 5;
  stored[stored.size() - 2] = 0.5f;
  Samples samples(stored, kInterval);
  Received<VomoWaveform> output;
  ASSERT_EQ(Ctle(samples.get(), kSetting, output), 0u);
  const auto result = vomo_test::Stored(*output.get());
  const auto added = EqualiseBinByBin(stored, [](float v, float dv, size_t) { return v + dv; });
  const auto straight = EqualiseBinByBin(
      stored, [](float, float dv, size_t i) { return static_cast<float>(i + 1) * dv; });
  constexpr double kRounding = 5 * 8 * 0x1p-24;
  EXPECT_LT(LargestDifference(result, added), kRounding);
  EXPECT_GT(LargestDifference(result, straight), 4 * kRounding);
}

// A stage that serves several settings gives each what the single call gives.
TEST(Ctle, OneTransformServesAllSettings) {
  std::vector<float> stored(500);
  vomo_test::Gaussian noise(11);
  for (float &s : stored) s = static_cast<float>(noise());
  Samples samples(stored, kInterval, 4, 1);
  vomo::CtleStage stage;
  ASSERT_EQ(stage.Prepare(samples.record), 0u);
  for (const VomoCTLEParams &setting :
       {kSetting, VomoCTLEParams{1, 1e9f, 1e9f, 3e9f}, VomoCTLEParams{3, 5e9f, 2e9f, 9e9f}}) {
    Received<VomoWaveform> single;
    ASSERT_EQ(Ctle(samples.get(), setting, single), 0u);
    ASSERT_EQ(stage.Apply(setting), 0u);
    EXPECT_EQ(Counts(*stage.result()), Counts(*single.get()));
    EXPECT_EQ(vomo_test::Stored(*stage.result()), vomo_test::Stored(*single.get()));
  }
}

int g_failures_left = 0;
void *FailsAtFirst(int32_t bytes) {
  return g_failures_left-- > 0 ? nullptr : vomo::VecAllocBytes(bytes);
}

// Without a work buffer the waveform's end is given up, sample by sample of what was to be
// transformed, until there is one or too little is left.
TEST(Ctle, ShortensTheWaveformForWantOfABuffer) {
  std::vector<float> square(40);
  for (size_t i = 0; i < square.size(); ++i) square[i] = i % 4 < 2 ? 1.0f : -1.0f;
  // The last kept sample is the second of a high pair, at index 37.
  const struct {
    int failures;
    VomoStatus status;
    std::vector<uint32_t> left, result;
  } cases[] = {
      {0, 0, {0, 40, 0}, {3, 32, 5}},
      {1, 0, {0, 37, 3}, {3, 31, 6}},
      {2, 0, {0, 36, 4}, {3, 28, 9}},
      {1000, Vomo_STATUS_MEMORY_ALLOCATION_FAILED, {0, 8, 32}, {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.failures);
    Samples samples(square, kInterval);
    g_failures_left = c.failures;
    vomo::CtleStage stage(FailsAtFirst);
    ASSERT_EQ(stage.Prepare(samples.record), c.status);
    EXPECT_EQ(Counts(samples.record), c.left);
    if (c.status != 0) continue;
    ASSERT_EQ(stage.ApplyOnce(kSetting), 0u);
    EXPECT_EQ(Counts(*stage.result()), c.result);
  }
}

TEST(Ctle, Refusals) {
  const float inf = std::numeric_limits<float>::infinity();
  const struct {
    const char *what;
    VomoCTLEParams setting;
    double interval;
    uint32_t count;
    VomoStatus status;
  } cases[] = {
      {"seven samples", kSetting, kInterval, 7, 0},
      {"six samples", kSetting, kInterval, 6, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"none", kSetting, kInterval, 0, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no gain", {0, 1, 1, 1}, kInterval, 7, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no zero", {1, -1, 1, 1}, kInterval, 7, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN for a pole", {1, 1, kNaN, 1}, kInterval, 7, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"no second pole", {1, 1, 1, 0}, kInterval, 7, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"an endless gain", {inf, 1, 1, 1}, kInterval, 7, 0},
      {"no interval", kSetting, 0, 7, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"NaN for an interval", kSetting, NAN, 7, Vomo_STATUS_PARAM_OUT_OF_RANGE},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Samples samples({1, -1, 1, -1, 1, -1, 1}, c.interval);
    samples.record.ulNumSamples = c.count;
    Received<VomoWaveform> output;
    *output.handle_out() = c.status == 0 ? 0 : 1279;
    EXPECT_EQ(Ctle(samples.get(), c.setting, output), c.status);
    EXPECT_EQ(output.get() != nullptr, c.status == 0);
    EXPECT_EQ(*output.handle_out() == 1279, c.status != 0);
  }
  Received<VomoWaveform> out;
  EXPECT_EQ(Ctle(nullptr, kSetting, out), Vomo_STATUS_PARAM_NOT_VALID);
  Samples good({1, -1, 1, -1, 1, -1, 1}, kInterval);
  EXPECT_EQ(VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(good.get(), 1, 1, 1, 1, nullptr, out.handle_out()),
            Vomo_STATUS_PARAM_NOT_VALID);
  VomoWaveform hollow{9, kInterval, nullptr, 0, 0};
  EXPECT_EQ(Ctle(&hollow, kSetting, out), Vomo_STATUS_PARAM_NOT_VALID);
  vomo_test::ExpectSlotsNeeded(1, [&] {
    Received<VomoWaveform> output;
    return Ctle(good.get(), kSetting, output);
  });
}

}  // namespace
