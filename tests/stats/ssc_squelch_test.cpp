#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using Spectrum = std::vector<VomoComplexDouble>;

constexpr uint32_t kCount = 400;
constexpr double kDeltaF = 1000;

// A fundamental at bin 30 in a band of bins 20 to 39, of half-width 2, its harmonics 3 and 5.
const VomoSSCSquelchParams kParams{20e3, 40e3, 1.0, 2e3, 1e3, 4e3, 5};

// Bin i holds (0.1 + i / 1000, i), conjugate mirrored, with lines at bins 30, 91 and 150.
Spectrum Lines() {
  Spectrum spectrum(kCount);
  for (uint32_t i = 0; i < kCount; ++i) spectrum[i] = {0.1 + i / 1000.0, static_cast<double>(i)};
  spectrum[30].dRe = -5;
  spectrum[91].dRe = 2;
  spectrum[150].dRe = -1;
  return spectrum;
}

Spectrum Squelched(const VomoSSCSquelchParams &params, Spectrum spectrum = Lines()) {
  EXPECT_EQ(
      Vomo_SSC_SQUELCH(spectrum.data(), static_cast<uint32_t>(spectrum.size()), kDeltaF, &params),
      0u);
  return spectrum;
}

bool Same(const Spectrum &a, const Spectrum &b, uint32_t first, uint32_t end) {
  for (uint32_t i = first; i < end; ++i) {
    if (a[i].dRe != b[i].dRe || a[i].dIm != b[i].dIm) return false;
  }
  return true;
}

TEST(SscSquelch, RampsTheFundamentalAndLevelsTheHarmonics) {
  const Spectrum s = Squelched(kParams);
  // From bin 27, 0.127, towards bin 33, 0.133, in four steps over five bins.
  for (uint32_t i = 28; i <= 32; ++i) {
    EXPECT_DOUBLE_EQ(s[i].dRe, std::fabs(0.133 - 0.127) * (i - 28) / 4 + 0.127);
    EXPECT_EQ(s[i].dIm, 27);
  }
  // The third is expected at 90 and found at 91: weight 1 - 91 + 90 + 4 + 1 of 2.
  for (uint32_t i = 90; i <= 92; ++i) {
    EXPECT_DOUBLE_EQ(s[i].dRe, std::fabs(0.193 - 0.189) * 5 / 2 + 0.189);
    EXPECT_EQ(s[i].dIm, 89);
  }
  // The fifth is expected two fundamentals above that, at 151, and found at 150.
  for (uint32_t i = 149; i <= 151; ++i) {
    EXPECT_DOUBLE_EQ(s[i].dRe, std::fabs(0.252 - 0.248) * 7 / 2 + 0.248);
  }
  const Spectrum before = Lines();
  EXPECT_TRUE(Same(s, before, 0, 28));
  EXPECT_TRUE(Same(s, before, 33, 90));
  EXPECT_TRUE(Same(s, before, 152, 201));
  for (uint32_t k = 1; k < 200; ++k) {
    EXPECT_EQ(s[kCount - k].dRe, s[k].dRe);
    EXPECT_EQ(s[kCount - k].dIm, -s[k].dIm);
  }
}

TEST(SscSquelch, LeavesAllAloneWithoutAFundamental) {
  VomoSSCSquelchParams weak = kParams, empty = kParams, low = kParams;
  weak.dSSC_min_fund_mag = 10;  // twice 5: not above
  empty.dSSC_max_freq = empty.dSSC_min_freq;
  low.dSSC_fund_squelch_range = 29e3;
  for (const auto &params : {weak, empty, low}) {
    EXPECT_TRUE(Same(Squelched(params), Lines(), 0, kCount));
  }
  // A step that rounds to 0 hertz makes the ranges endless.
  Spectrum spectrum = Lines();
  VomoSSCSquelchParams fine = kParams;
  fine.dSSC_min_freq = 8;
  fine.dSSC_max_freq = 16;
  Vomo_SSC_SQUELCH(spectrum.data(), kCount, 0.4, &fine);
  EXPECT_TRUE(Same(spectrum, Lines(), 0, kCount));
}

TEST(SscSquelch, HarmonicsAsFarAsAskedForAndHeld) {
  VomoSSCSquelchParams params = kParams;
  params.iSSC_max_harmonic = 2;
  Spectrum s = Squelched(params);
  EXPECT_EQ(s[91].dRe, 2);
  EXPECT_NE(s[30].dRe, -5);
  EXPECT_EQ(s[kCount - 91].dRe, 2);  // the upper half is rebuilt all the same
  params.iSSC_max_harmonic = std::numeric_limits<int32_t>::max();
  s = Squelched(params);
  EXPECT_NE(s[150].dRe, -1);
  EXPECT_EQ(s[kCount - 150].dRe, s[150].dRe);
  params.dSSC_look_range = 1e300;
  s = Squelched(params);
  EXPECT_EQ(s[91].dRe, 2);
  EXPECT_NE(s[30].dRe, -5);
}

TEST(SscSquelch, RangeBelowOneBinGivesNaN) {
  VomoSSCSquelchParams params = kParams;
  params.dSSC_fund_squelch_range = 999;
  EXPECT_TRUE(std::isnan(Squelched(params)[30].dRe));
}

TEST(SscSquelch, EndsInsideOnAnySpectrumAndSettings) {
  const double nan = std::nan(""), huge = 1e300;
  for (uint32_t count = 1; count < 12; ++count) {
    for (const double value : {0.0, 1e3, 2.5e3, -1e3, huge, nan}) {
      for (const double band : {0.0, 3e3, huge, nan}) {
        Spectrum spectrum(count, {1.0, 1.0});
        spectrum[count / 2].dRe = 7;
        const VomoSSCSquelchParams params{value, band, 0, value, value, band, 0x7FFFFFFF};
        EXPECT_EQ(Vomo_SSC_SQUELCH(spectrum.data(), count, kDeltaF, &params), 0u);
      }
    }
  }
  EXPECT_EQ(Vomo_SSC_SQUELCH(nullptr, 5, 1.0, &kParams), 0u);
  Spectrum spectrum = Lines();
  EXPECT_EQ(Vomo_SSC_SQUELCH(spectrum.data(), 0, 1.0, &kParams), 0u);
  EXPECT_EQ(Vomo_SSC_SQUELCH(spectrum.data(), kCount, 1.0, nullptr), 0u);
  EXPECT_TRUE(Same(spectrum, Lines(), 0, kCount));
}

}  // namespace
