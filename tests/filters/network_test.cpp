#include <gtest/gtest.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <filesystem>
#include <numbers>
#include <vector>

#include "core/handle_table.h"
#include "filters/network_resample.h"
#include "support/gaussian.h"
#include "support/handle_pressure.h"
#include "support/network.h"
#include "support/temp_dir.h"
#include "support/waveforms.h"

namespace {

using vomo::Received;
using vomo_test::Counts;
using vomo_test::Network;
using vomo_test::Samples;
using Complex = std::complex<double>;

constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr double kInterval = 12.5e-12;
const double kNyquist = double{0.5f / static_cast<float>(kInterval)};

VomoStatus Embed(VomoWaveform *positive, VomoWaveform *negative, const Network &network,
                 Received<VomoWaveform> &out) {
  return VomoAPPLY_SPARAM_TO_WAVEFORM(positive, negative, &network.record, out.pointer(),
                                      out.handle_out());
}

constexpr auto kOne = [](double) { return Complex(1, 0); };

// A cosine that begins on a crest, in both polarities.
struct TonePair {
  TonePair(double period, size_t count, double interval_s = kInterval)
      : positive(Tone(period, count, 1), interval_s),
        negative(Tone(period, count, -1), interval_s) {}
  static std::vector<float> Tone(double period, size_t count, double amplitude) {
    std::vector<float> samples(count);
    for (size_t i = 0; i < count; ++i) {
      samples[i] =
          static_cast<float>(amplitude * std::cos(kTwoPi * static_cast<double>(i) / period));
    }
    return samples;
  }
  Samples positive, negative;
};

// What the transforms make of samples and of a factor that is the same at all frequencies, in
// double and term by term: the spectrum of n samples, back as one of n + 1.
std::vector<double> ThereAndBack(const std::vector<float> &samples) {
  const int n = static_cast<int>(samples.size());
  std::vector<double> out(samples.size() + 1);
  for (int k = 0; k <= n / 2; ++k) {
    Complex bin = 0;
    for (int i = 0; i < n; ++i) {
      bin +=
          double{samples[static_cast<size_t>(i)]} * std::polar(1.0 / n, -kTwoPi * (k * i % n) / n);
    }
    for (int i = 0; i <= n; ++i) {
      const Complex turn = std::polar(k == 0 ? 1.0 : 2.0, kTwoPi * (k * i % (n + 1)) / (n + 1));
      out[static_cast<size_t>(i)] += (bin * turn).real();
    }
  }
  return out;
}

// Each path with a factor of its own. The curves of constant points stay constant up to a few
// roundings of 2^-24, and so do the transforms of values up to 6.
TEST(Network, AddsUpItsPaths) {
  vomo_test::Gaussian noise(31);
  for (const size_t count : {3u, 5u, 101u, 301u}) {
    for (const uint32_t points : {10u, 37u, 400u, 2000u}) {
      SCOPED_TRACE(testing::Message() << count << " " << points);
      std::vector<float> p(count), n(count);
      for (float &s : p) s = static_cast<float>(0.4 * noise());
      for (float &s : n) s = static_cast<float>(0.4 * noise());
      p.front() = p.back() = 3;  // the ends meet
      p[count - 2] = 1;
      Samples positive(p, kInterval), negative(n, kInterval);
      Network network(points, kNyquist);
      network.Set(0, 1, [](double) { return Complex(1, 0); });
      network.Set(2, 1, [](double) { return Complex(0.25, 0); });
      network.Set(2, 3, [](double) { return Complex(0.5, 0); });
      network.Set(0, 3, [](double) { return Complex(0.125, 0); });
      network.Set(1, 0, [](double) { return Complex(7, 7); });  // of no use
      Received<VomoWaveform> out;
      ASSERT_EQ(Embed(positive.get(), negative.get(), network, out), 0u);
      ASSERT_EQ(out->ulNumSamples, count + 1);
      const auto at2 = ThereAndBack(p), at4 = ThereAndBack(n);
      for (size_t i = 0; i <= count; ++i) {
        const double expected = (1 - 0.125) * at2[i] + (0.25 - 0.5) * at4[i];
        EXPECT_NEAR(out->pfSamples[i], expected, 6 * 16 * 0x1p-24) << i;
      }
      EXPECT_EQ(positive.stored, p);
      EXPECT_EQ(negative.stored, n);
    }
  }
}

// A tone in the middle of a long capture, behind a delay. What is known to be a little off is in
// the expectation: the time is stretched by (n + 1) / n, and curves from 0 to point L are read as
// if point L + 1 lay at the Nyquist frequency, which makes delays longer by (L + 1) / L. A Kaiser
// window of shape 9 over 8 points is 90 dB down from 0.38 cycles a point beyond the cut-off of
// 0.475 on: a curve that turns by less than 0.095 cycles a point keeps its values within 3e-5 at
// each of up to 10 steps. The spectrum's leakage from the ends, where a crest stands twice, is a
// second difference of (2 pi / period)^2 at a distance of more than 1000 samples.
TEST(Network, DelaysATone) {
  for (const double delay : {0.0, 1.0, 40.5}) {
    for (const double period : {5.0, 16.0, 64.0}) {
      for (const uint32_t points : {500u, 1999u}) {
        SCOPED_TRACE(testing::Message() << delay << " " << period << " " << points);
        TonePair pair(period, 3841);
        Network network(points, kNyquist);
        network.SetThrough(
            [delay](double f) { return std::polar(1.0, -kTwoPi * f * delay * kInterval); });
        Received<VomoWaveform> out;
        ASSERT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out), 0u);
        const double n = out->ulNumSamples - 1, shift = delay * (points + 1) / points;
        const double leakage = std::pow(kTwoPi / period, 2) / 1000;
        for (uint32_t i = 1200; i < 2600; ++i) {
          const double place = (i - shift) * n / (n + 1);
          ASSERT_NEAR(out->pfSamples[i], 2 * std::cos(kTwoPi * place / period),
                      2 * 10 * 3e-5 + leakage)
              << i;
        }
      }
    }
  }
}

// Odd lengths stay, even ones lose a sample; the result has one more; the trims add up.
TEST(Network, Counts) {
  const struct {
    const char *what;
    uint32_t count, negative_count, front, back;
    double percent;
    std::vector<uint32_t> input, negative, output;
  } cases[] = {
      // A period of 8 samples: the last crest of 41 is sample 40.
      {"odd", 41, 41, 0, 0, 0, {0, 41, 0}, {0, 41, 0}, {0, 42, 0}},
      {"what lies behind the last crest goes", 44, 44, 0, 0, 0, {0, 41, 3}, {0, 41, 3}, {0, 42, 2}},
      {"the shorter half decides", 49, 41, 0, 0, 0, {0, 41, 8}, {0, 41, 0}, {0, 42, 7}},
      {"hidden samples stay hidden", 57, 60, 8, 5, 0, {8, 41, 8}, {8, 41, 11}, {8, 42, 7}},
      {"a share of each end", 41, 41, 0, 0, 0.05, {0, 41, 0}, {0, 41, 0}, {2, 38, 2}},
      {"half leaves nothing", 41, 41, 0, 0, 0.5, {0, 41, 0}, {0, 41, 0}, {21, 0, 21}},
      {"a negative share is none", 41, 41, 0, 0, -1, {0, 41, 0}, {0, 41, 0}, {0, 42, 0}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Samples positive(TonePair::Tone(8, c.count, 1), kInterval, c.front, c.back);
    Samples negative(TonePair::Tone(8, c.negative_count, -1), kInterval, c.front, c.back);
    Network network(20, kNyquist);
    network.SetThrough(kOne);
    network.record.dPercentToTrim = c.percent;
    Received<VomoWaveform> out;
    ASSERT_EQ(Embed(positive.get(), negative.get(), network, out), 0u);
    EXPECT_EQ(Counts(positive.record), c.input);
    EXPECT_EQ(Counts(negative.record), c.negative);
    EXPECT_EQ(Counts(*out.get()), c.output);
    EXPECT_EQ(out->dSampleInterval, kInterval);
  }
  // An even number between the ends that meet: the one behind the last crest but one goes.
  Samples even({2, 1, -1, 0.5f, 1, 2}, kInterval), other({0, 0, 0, 0, 0, 0}, kInterval);
  Network network(20, kNyquist);
  Received<VomoWaveform> out;
  ASSERT_EQ(Embed(even.get(), other.get(), network, out), 0u);
  EXPECT_EQ(Counts(even.record), (std::vector<uint32_t>{0, 5, 1}));
  EXPECT_EQ(Counts(*out.get()), (std::vector<uint32_t>{0, 6, 0}));
}

// The straight line through the first ten points leads to the magnitude at DC, whatever follows.
// About a corner of the curve the 8 points of the interpolation mix in what lies beside it: 4 % of
// a step of 0.01 and less.
TEST(Network, DcComesFromTheFirstPoints) {
  std::vector<float> offset(401, 0.0f);
  for (size_t i = 0; i < offset.size(); ++i) offset[i] = i % 2 == 0 ? 1.5f : 0.5f;
  Samples positive(offset, kInterval), negative(std::vector<float>(401, 0.0f), kInterval);
  for (const double sign : {1.0, -1.0}) {
    Network network(100, kNyquist);
    // A phase of 180 degrees has a magnitude like any other, and at DC no phase.
    network.Set(0, 1, [&](double f) {
      const double point = f / kNyquist * 100;
      return Complex(sign * (point < 10.5 ? 0.9 - 0.01 * point : 0.5), 0);
    });
    Received<VomoWaveform> out;
    positive.record = {401, kInterval, positive.stored.data(), 0, 0};
    negative.record = {401, kInterval, negative.stored.data(), 0, 0};
    ASSERT_EQ(Embed(positive.get(), negative.get(), network, out), 0u);
    double mean = 0, in_mean = 0;
    for (const float s : vomo_test::Visible(*out.get())) mean += s / 402.0;
    for (const float s : vomo_test::Visible(positive.record)) in_mean += s / 401.0;
    // The step of a sign at DC leaves its mark on bin 0; it still has the sign of the fit.
    EXPECT_NEAR(mean / in_mean, 0.9, sign > 0 ? 1e-3 : 0.2);
  }
}

// The low pass reads its corner at half the bins' frequency.
TEST(Network, LowPass) {
  for (const double period : {8.0, 40.0}) {
    TonePair pair(period, 2801);
    Network network(200, kNyquist);
    network.SetThrough(kOne);
    network.record.dFLowPass = 3e9;
    Received<VomoWaveform> out;
    ASSERT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out), 0u);
    const double n = out->ulNumSamples - 1;
    const Complex h = 1.0 / Complex(1, 1 / (period * kInterval) / (2 * 3e9));
    for (uint32_t i = 1000; i < 1800; ++i) {
      const double angle = kTwoPi * i * n / (n + 1) / period + std::arg(h);
      // The filter's bins are fMax / (n - 1) apart, half of 2 fMax / n but for a part in n.
      ASSERT_NEAR(out->pfSamples[i], 2 * std::abs(h) * std::cos(angle), 3e-3) << i;
    }
  }
}

// A network that reaches to another frequency than the waveforms do changes their rate; trim counts
// and the number of stored samples are not scaled. The 4 taps of the interpolation meet a straight
// line within a twentieth of a step.
TEST(Network, ChangesTheRate) {
  const struct {
    const char *what;
    double ratio;
    uint32_t stored;
  } cases[] = {{"twice", 2, 1411}, {"half", 0.5, 706}, {"an odd one", 1.25, 1411}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    constexpr double kPeriod = 256;
    TonePair pair(kPeriod, 1411);
    for (VomoWaveform *w : {pair.positive.get(), pair.negative.get()}) {
      w->ulTrimFront = w->ulTrimBack = 3;
      w->ulNumSamples -= 6;
      w->pfSamples += 3;
    }
    Network network(200, kNyquist * c.ratio);
    network.SetThrough(kOne);
    Received<VomoWaveform> out;
    ASSERT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out), 0u);
    EXPECT_EQ(Counts(pair.positive.record), (std::vector<uint32_t>{3, 1405, 3}));
    EXPECT_EQ(out->dSampleInterval, double{0.5f / static_cast<float>(kNyquist * c.ratio)});
    EXPECT_GE(out->ulTrimFront, 3u);
    const auto counts = Counts(*out.get());
    EXPECT_EQ(counts[0] + counts[1] + counts[2], std::max(c.stored, counts[0] + counts[1]));
    const double n = out->ulNumSamples - 1, period = kPeriod * c.ratio;
    for (uint32_t i = 300; i + 300 < out->ulNumSamples; ++i) {
      const double place = i * n / (n + 1) + out->ulTrimFront;
      ASSERT_NEAR(out->pfSamples[i], 2 * std::cos(kTwoPi * place / period),
                  2 * 0.05 * kTwoPi / kPeriod + 1e-3)
          << i;
    }
  }
}

TEST(Network, RateRatios) {
  const struct {
    float in, out;
    double tolerance;
  } cases[] = {{1, 2, 0},
               {2, 1, 0},
               {4e10f, 4e10f, 0},
               {11, 5000, 1e-6},
               {1e10f, 3e10f, 4e-9},
               {1e-3f, 5, 3e-6},
               {4e10f, 1.7e10f, 4e-9}};
  for (const auto &c : cases) {
    const vomo::RateRatio ratio = vomo::VomoRateRatio(c.in, c.out);
    EXPECT_NEAR(1.0 * ratio.out / ratio.in / (double{c.out} / double{c.in}), 1, c.tolerance)
        << c.in << " " << c.out;
  }
  // Powers of ten that both hold go.
  EXPECT_FALSE(vomo::VomoRateRatio(1e9f, 3e9f).in % 10 == 0 &&
               vomo::VomoRateRatio(1e9f, 3e9f).out % 10 == 0);
  EXPECT_EQ(vomo::VomoRateRatio(0, 1).in, 0);
  EXPECT_EQ(vomo::VomoRateRatio(1, -1).out, 0);
}

TEST(Network, WritesItsResult) {
  const vomo_test::TempDir here;
  const struct {
    int flags;
    std::ptrdiff_t lines;
  } cases[] = {{0, 0}, {2, 0}, {1, 42}, {3, 42}};
  for (const auto &c : cases) {
    TonePair pair(8, 41);
    Network network(20, kNyquist);
    network.SetThrough(kOne);
    network.record.iFlags = c.flags;
    Received<VomoWaveform> out;
    ASSERT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out), 0u);
    const std::string text = here.Read("EmbedWaveDiffOut.txt");
    EXPECT_EQ(std::ranges::count(text, '\n'), c.lines) << c.flags;
  }
  // That the file cannot be written is no failure.
  std::filesystem::remove("EmbedWaveDiffOut.txt");
  std::filesystem::create_directory("EmbedWaveDiffOut.txt");
  TonePair pair(8, 41);
  Network network(20, kNyquist);
  network.record.iFlags = 1;
  Received<VomoWaveform> out;
  EXPECT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out), 0u);
}

TEST(Network, Refusals) {
  constexpr VomoStatus kRange = Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const struct {
    const char *what;
    void (*change)(VomoWaveform &, VomoWaveform &, Network &);
    VomoStatus status;
  } cases[] = {
      {"good", [](VomoWaveform &, VomoWaveform &, Network &) {}, 0},
      {"no interval",
       [](VomoWaveform &p, VomoWaveform &n, Network &) {
         p.dSampleInterval = n.dSampleInterval = 0;
       },
       kRange},
      {"unequal intervals",
       [](VomoWaveform &p, VomoWaveform &, Network &) { p.dSampleInterval *= 1 + 1e-15; }, kRange},
      {"NaN interval",
       [](VomoWaveform &p, VomoWaveform &n, Network &) {
         p.dSampleInterval = n.dSampleInterval = NAN;
       },
       kRange},
      {"no positive samples",
       [](VomoWaveform &p, VomoWaveform &, Network &) { p.ulNumSamples = 0; }, kRange},
      {"no negative samples",
       [](VomoWaveform &, VomoWaveform &n, Network &) { n.ulNumSamples = 0; }, kRange},
      {"two samples", [](VomoWaveform &p, VomoWaveform &, Network &) { p.ulNumSamples = 2; },
       kRange},
      {"nine points",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.record.ulSArrayLength = 9; }, kRange},
      {"too many points",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.record.ulSArrayLength = 2001; }, kRange},
      {"the highest frequency 0",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.frequencies[20] = 0; }, kRange},
      {"or beyond float",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.frequencies[20] = 1e39; }, kRange},
      {"or NaN", [](VomoWaveform &, VomoWaveform &, Network &s) { s.frequencies[20] = NAN; },
       kRange},
      {"a share above a half",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.record.dPercentToTrim = 0.53; }, kRange},
      {"a share of five",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.record.dPercentToTrim = 5; }, kRange},
      {"equal frequencies",
       [](VomoWaveform &, VomoWaveform &, Network &s) {
         std::fill_n(s.frequencies.begin() + 1, 19, 0.0);
       },
       Vomo_STATUS_COMPUTATION_ERROR},
      {"a NaN among the first frequencies",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.frequencies[3] = NAN; },
       Vomo_STATUS_COMPUTATION_ERROR},
      {"falling frequencies",
       [](VomoWaveform &, VomoWaveform &, Network &s) {
         std::reverse(s.frequencies.begin() + 1, s.frequencies.end() - 1);
       },
       0},
      {"a rate beyond all ratios",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.frequencies[20] = 1e38; },
       Vomo_STATUS_COMPUTATION_ERROR},
      {"a rate that would take too much memory",
       [](VomoWaveform &, VomoWaveform &, Network &s) { s.frequencies[20] = 1e8 * kNyquist; },
       Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {"a rate that leaves less than is hidden",
       [](VomoWaveform &p, VomoWaveform &n, Network &s) {
         p.ulTrimFront = n.ulTrimFront = 20;
         p.pfSamples += 20, n.pfSamples += 20;
         p.ulNumSamples -= 20, n.ulNumSamples -= 20;
         for (double &f : s.frequencies) f *= 0.25;
       },
       kRange},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    TonePair pair(8, 41);
    Network network(20, kNyquist);
    network.SetThrough(kOne);
    c.change(pair.positive.record, pair.negative.record, network);
    Received<VomoWaveform> out;
    EXPECT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out), c.status);
    EXPECT_EQ(out.get() != nullptr, c.status == 0);
  }
  TonePair pair(8, 41);
  Network network(20, kNyquist);
  for (double &f : network.frequencies) f = 1;
  network.frequencies[20] = kNyquist;
  std::fill_n(network.frequencies.begin() + 1, 10, 0.0);
  Received<VomoWaveform> out;
  ASSERT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out),
            Vomo_STATUS_COMPUTATION_ERROR);
  EXPECT_NE(std::string(Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR)).find("singular"),
            std::string::npos);

  network.record.pdSfreq = nullptr;
  EXPECT_EQ(Embed(pair.positive.get(), pair.negative.get(), network, out),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Embed(nullptr, pair.negative.get(), network, out), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(VomoAPPLY_SPARAM_TO_WAVEFORM(pair.positive.get(), pair.negative.get(), nullptr,
                                         out.pointer(), out.handle_out()),
            Vomo_STATUS_PARAM_NOT_VALID);
}

// Two waveforms of another rate, the low pass, and the result.
TEST(Network, RunsOutOfHandles) {
  vomo_test::ExpectSlotsNeeded(3, [] {
    TonePair pair(8, 41);
    Network network(20, 2 * kNyquist);
    network.record.dFLowPass = 1e9;
    Received<VomoWaveform> out;
    return Embed(pair.positive.get(), pair.negative.get(), network, out);
  });
}

}  // namespace
