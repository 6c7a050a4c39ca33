#include "filters/ctle_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "core/handle_table.h"
#include "support/fir_channel.h"
#include "support/handle_pressure.h"
#include "support/waveforms.h"

namespace {

using vomo::Received;
using vomo_test::Samples;

constexpr double kUi = 125e-12;
constexpr int kPerUi = 16;
constexpr double kInterval = kUi / kPerUi;
constexpr VomoStatus kRange = Vomo_STATUS_PARAM_OUT_OF_RANGE;

// Random bits behind a pole, sample by sample the exact answer to a signal that is constant between
// samples.
std::vector<float> BehindPole(double pole_hz, size_t bit_count, uint32_t seed) {
  std::mt19937 random(seed);
  const double step = 1 - std::exp(-2 * std::numbers::pi * pole_hz * kInterval);
  std::vector<float> samples;
  double level = 0;
  for (size_t k = 0; k < bit_count; ++k) {
    const double bit = (random() >> 31) != 0 ? 0.5 : -0.5;
    for (int p = 0; p < kPerUi; ++p) {
      level += (bit - level) * step;
      samples.push_back(static_cast<float>(level));
    }
  }
  return samples;
}

// A setting whose zero is given and whose poles are out of the way of 8 Gb/s.
VomoCTLEParams WithZero(double hz) {
  return {1.0f, static_cast<float>(hz), 12e9f, 30e9f};
}

struct Search {
  std::vector<VomoCTLEParams> family;
  VomoDFEParams *dfe = nullptr;
  uint32_t option = OPT_EYE_RATIO;
  int allow_none = 0;
  int32_t ui_count = 1500;
  int32_t best = -7;
  float begin = 0.4f, end = 0.6f;

  VomoStatus Run(VomoWaveform *input, Received<VomoWaveform> &output) {
    output.Free();
    return VomoAPPLY_MULTIPLE_CTLE_FILTERS_TO_WAVEFORM(
        input, static_cast<int32_t>(family.size()), family.data(), dfe, kUi, 3, ui_count, begin,
        end, option, allow_none, &best, output.pointer(), output.handle_out());
  }
};

// The zero that lies on the channel's pole puts the bits back: no other setting opens transition
// and other bits so alike, or leaves the edges so little of the bits before.
TEST(CtleSearch, FindsTheSettingThatInvertsAChannel) {
  for (const double pole : {0.7e9, 1.5e9, 3e9}) {
    Samples signal(BehindPole(pole, 4000, 21), kInterval);
    for (const uint32_t option : {OPT_EYE_RATIO, OPT_EYE_WIDTH}) {
      for (const size_t place : {0u, 2u, 4u}) {
        SCOPED_TRACE(testing::Message() << pole << " " << option << " " << place);
        Search search;
        search.option = option;
        search.allow_none = 1;
        for (const double off : {0.4, 0.7, 1.4, 2.5}) search.family.push_back(WithZero(pole * off));
        search.family.insert(search.family.begin() + static_cast<std::ptrdiff_t>(place),
                             WithZero(pole));
        Received<VomoWaveform> output, single;
        ASSERT_EQ(search.Run(signal.get(), output), 0u);
        EXPECT_EQ(search.best, static_cast<int32_t>(place) + 1);
        // The winner goes over the whole waveform.
        const VomoCTLEParams &s = search.family[place];
        ASSERT_EQ(VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(signal.get(), s.fAdc, s.fFz, s.fFp1, s.fFp2,
                                                    single.pointer(), single.handle_out()),
                  0u);
        EXPECT_EQ(vomo_test::Counts(*output.get()), vomo_test::Counts(*single.get()));
        EXPECT_EQ(vomo_test::Stored(*output.get()), vomo_test::Stored(*single.get()));
      }
    }
  }
}

// The score that a setting has by itself: filter the trial, measure, score.
double ScoreAlone(const Samples &signal, const VomoCTLEParams &s, const Search &search) {
  const auto count = static_cast<std::ptrdiff_t>(std::ceil(kPerUi * (search.ui_count * 1.02)));
  Samples trial({signal.stored.begin(), signal.stored.begin() + count}, kInterval);
  Received<VomoWaveform> filtered;
  EXPECT_EQ(VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(trial.get(), s.fAdc, s.fFz, s.fFp1, s.fFp2,
                                              filtered.pointer(), filtered.handle_out()),
            0u);
  vomo::EyeOpening eye{};
  EXPECT_EQ(vomo::VomoEyeForCTLE(*filtered.get(), 3, kUi, search.begin, search.end, &eye), 0u);
  return vomo::VomoEyeScore(search.option, true, kUi, eye.min_interval_s, eye.max_interval_s,
                            eye.levels);
}

// Families without a rule: the winner is the first of the largest scores.
TEST(CtleSearch, TheLargestScoreWins) {
  std::mt19937 random(4);
  const auto uniform = [&random](double low, double high) {
    return static_cast<float>(low + (high - low) * static_cast<double>(random()) / 4294967296.0);
  };
  Samples signal(BehindPole(1.2e9, 2500, 22), kInterval);
  for (const uint32_t option : {OPT_EYE_WIDTH, OPT_EYE_HEIGHT, OPT_EYE_AREA, OPT_EYE_RATIO}) {
    Search search;
    search.option = option;
    search.ui_count = 700;
    for (int i = 0; i < 6; ++i) {
      search.family.push_back(
          {uniform(0.3, 2), uniform(0.3e9, 3e9), uniform(2e9, 9e9), uniform(8e9, 20e9)});
      search.family.push_back(search.family.back());
    }
    std::vector<double> scores;
    for (const auto &s : search.family) scores.push_back(ScoreAlone(signal, s, search));
    const auto largest = std::max_element(scores.begin(), scores.end());
    Received<VomoWaveform> output;
    ASSERT_EQ(search.Run(signal.get(), output), 0u);
    EXPECT_EQ(search.best, largest - scores.begin() + 1) << option;
  }
}

VomoDFEParams Dfe(std::vector<float> taps) {
  VomoDFEParams p{};
  p.dUnitInterval = kUi;
  std::fill_n(p.afTapMin, 16, -1.0f);
  std::fill_n(p.afTapMax, 16, 1.0f);
  std::ranges::copy(taps, p.afDFETapValues);
  p.iDFETapCount = static_cast<int32_t>(taps.size());
  p.iPtsAboveThresh = 3;
  p.eOptValue = OPT_EYE_RATIO;
  p.eHeightType = Vomo_FIND_AVG;
  return p;
}

// A channel that the DFE alone makes whole, 2 V high. Settings that leave next to nothing of the
// signal leave little more than the DFE's own level, twice 0.25 V.
TEST(CtleSearch, TheUnequalisedSignalWinsOnlyBehindADfe) {
  const vomo_test::FirChannel channel({0.25}, 1200, 23);
  std::vector<float> stored = channel.samples;
  stored.insert(stored.begin(), 2, 9.0f);
  stored.push_back(-9);
  Samples signal(stored, kInterval, 2, 1);
  Search search;
  search.family = {{0.01f, 12e9f, 12e9f, 30e9f}, {0.02f, 12e9f, 12e9f, 30e9f}};
  search.allow_none = 1;
  search.ui_count = 900;
  Received<VomoWaveform> output;

  VomoDFEParams dfe = Dfe({0.25f});
  dfe.eOptValue = OPT_EYE_HEIGHT;
  search.dfe = &dfe;
  ASSERT_EQ(search.Run(signal.get(), output), 0u);
  EXPECT_EQ(search.best, 0);
  EXPECT_EQ(vomo_test::Counts(*output.get()), vomo_test::Counts(signal.record));
  EXPECT_EQ(vomo_test::Stored(*output.get()), stored);
  // The signal that is not allowed can't win.
  search.allow_none = 0;
  ASSERT_EQ(search.Run(signal.get(), output), 0u);
  EXPECT_GT(search.best, 0);
  // Without a DFE a first setting beats it, however bad.
  search.allow_none = 1;
  search.dfe = nullptr;
  search.option = OPT_EYE_HEIGHT;
  search.family.resize(1);
  ASSERT_EQ(search.Run(signal.get(), output), 0u);
  EXPECT_EQ(search.best, 1);
}

// Each trial estimates its own first tap as long as that stands at 0; here the bounds pull it back
// to 0 for the next one, but for the winner's.
TEST(CtleSearch, LeavesTheWinnersTaps) {
  Samples signal(BehindPole(1.5e9, 1500, 24), kInterval);
  Search search;
  for (const double off : {0.5, 1.0, 2.0}) search.family.push_back(WithZero(1.5e9 * off));
  VomoDFEParams dfe = Dfe({0.0f, 0.5f});
  dfe.iDFEComputeTaps = 1;
  search.dfe = &dfe;
  search.ui_count = 1000;
  Received<VomoWaveform> output;
  ASSERT_EQ(search.Run(signal.get(), output), 0u);
  const int32_t best = search.best;
  const float tap = dfe.afDFETapValues[0];
  EXPECT_NE(tap, 0);
  EXPECT_EQ(dfe.afDFETapValues[1], 0);
  EXPECT_GT(best, 0);
  // The tap of the first trial served all of them.
  search.family.resize(1);
  dfe = Dfe({0.0f, 0.5f});
  dfe.iDFEComputeTaps = 1;
  ASSERT_EQ(search.Run(signal.get(), output), 0u);
  EXPECT_EQ(dfe.afDFETapValues[0], tap);
  // Where no setting wins, the last trial's taps stay: clamped, though nothing was found.
  dfe = Dfe({5.0f});
  search.family.clear();
  search.allow_none = 1;
  ASSERT_EQ(search.Run(signal.get(), output), 0u);
  EXPECT_EQ(search.best, 0);
  EXPECT_EQ(dfe.afDFETapValues[0], 1);
}

TEST(CtleSearch, Refusals) {
  const VomoCTLEParams good = WithZero(1e9);
  VomoCTLEParams bad = good;
  bad.fFp2 = 0;
  const std::vector<float> flat(3000, 0.3f), zero(3000, 0.0f), nan(3000, NAN),
      signal = BehindPole(1e9, 100, 25);
  const struct {
    const char *what;
    const std::vector<float> *samples;
    uint32_t count;
    std::vector<VomoCTLEParams> family;
    int allow_none, ui_count;
    double interval;
    VomoStatus status, status_with_dfe;
  } cases[] = {
      {"an empty family copies", &signal, 1600, {}, 0, 50, kInterval, 0, 0},
      {"even without samples", &signal, 0, {}, 0, 50, kInterval, 0, 0},
      {"or unit intervals", &signal, 1600, {}, 0, 0, kInterval, 0, 0},
      {"unequalised without unit intervals", &signal, 1600, {}, 1, 0, kInterval, kRange, 0},
      {"no unit intervals", &signal, 1600, {good}, 0, -5, kInterval, kRange, kRange},
      {"no samples", &signal, 0, {good}, 0, 50, kInterval, kRange, kRange},
      {"six samples", &signal, 6, {good}, 0, 50, kInterval, kRange, kRange},
      {"ten samples have no eye", &signal, 10, {good}, 0, 50, kInterval, kRange, 0},
      {"a bad setting behind a good one",
       &signal,
       1600,
       {good, bad},
       0,
       50,
       kInterval,
       kRange,
       kRange},
      {"flat", &flat, 3000, {good}, 0, 50, kInterval, kRange, 0},
      {"zero", &zero, 3000, {good}, 1, 50, kInterval, kRange, 0},
      {"NaN", &nan, 3000, {good}, 0, 50, kInterval, kRange, 0},
      {"no interval", &signal, 1600, {good}, 0, 50, 0, kRange, kRange},
  };
  for (const auto &c : cases) {
    for (const bool with_dfe : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.what << with_dfe);
      Samples samples(*c.samples, c.interval);
      samples.record.ulNumSamples = c.count;
      VomoDFEParams dfe = Dfe({0.1f});
      Search search;
      search.family = c.family;
      search.allow_none = c.allow_none;
      search.ui_count = c.ui_count;
      search.dfe = with_dfe ? &dfe : nullptr;
      Received<VomoWaveform> output;
      const VomoStatus status = with_dfe ? c.status_with_dfe : c.status;
      EXPECT_EQ(search.Run(samples.get(), output), status);
      EXPECT_EQ(output.get() != nullptr, status == 0);
      EXPECT_EQ(search.best == -7, status != 0);
    }
  }
  Samples samples(signal, kInterval);
  VomoWaveform *out = nullptr;
  VomoHandle handle = 0;
  const auto call = [&](VomoWaveform *input, int32_t count, const VomoCTLEParams *family,
                        VomoWaveform **filtered) {
    return VomoAPPLY_MULTIPLE_CTLE_FILTERS_TO_WAVEFORM(input, count, family, nullptr, kUi, 3, 50,
                                                       0.4f, 0.6f, OPT_EYE_WIDTH, 0, nullptr,
                                                       filtered, &handle);
  };
  EXPECT_EQ(call(nullptr, 1, &good, &out), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(call(samples.get(), 1, nullptr, &out), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(call(samples.get(), 1, &good, nullptr), Vomo_STATUS_PARAM_NOT_VALID);
  ASSERT_EQ(call(samples.get(), -1, nullptr, &out), 0u);
  Vomo_HANDLE_FREE(handle);
  // Trial, its filtered copy, and crossovers, run lengths and clock of its eye.
  vomo_test::ExpectSlotsNeeded(
      5,
      [&] {
        Search search;
        search.family = {good};
        search.ui_count = 50;
        Received<VomoWaveform> output;
        return search.Run(samples.get(), output);
      },
      4);
}

}  // namespace
