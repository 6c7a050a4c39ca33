// Filters, CTLE search, DFE and four-port, in units of one pair of smooth-length transforms of the
// same size too: that is the least that anything in the frequency domain costs.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <map>
#include <numbers>
#include <random>
#include <vector>

#include "core/handle_table.h"
#include "filters/dfe_walk.h"
#include "peak_memory.h"
#include "primitives/dft.h"
#include "support/fir_channel.h"
#include "support/network.h"

namespace {

using vomo::Received;

constexpr double kUi = 125e-12;
constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr VomoCTLEParams kSetting{0.5f, 1e9f, 2e9f, 8e9f};

double Seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The best of three pairs of a real transform and its inverse, in float, at the next multiple of
// 100000: lengths of small factors.
double SecondsOfPair(int64_t count) {
  static std::map<int64_t, double> known;
  const int64_t length = (count + 99999) / 100000 * 100000;
  double &best = known[length];
  if (best > 0) return best;
  std::vector<float> samples(static_cast<size_t>(length), 1.0f);
  std::vector<VomoComplexFloat> bins(static_cast<size_t>(length / 2 + 1));
  vomo::DftSpec *created = nullptr;
  vomo::DftSpecCreate_R_32f(&created, static_cast<int32_t>(length), vomo::kDftDivideForward, 2);
  const vomo::DftSpecOwner spec(created);
  best = 1e9;
  for (int i = 0; i < 4; ++i) {  // the first one plans
    const double start = Seconds();
    vomo::DftForward_R_32f(samples.data(), bins.data(), spec.get(), nullptr);
    vomo::DftInverse_R_32f(bins.data(), samples.data(), spec.get(), nullptr);
    best = std::min(best, Seconds() - start);
  }
  return best;
}

// Times the call and tells rate, transform pairs and memory. check: whether the result is right.
template <class Call, class Check>
void Measure(benchmark::State &state, int64_t sample_count, Call call, Check check) {
  const double pair = SecondsOfPair(sample_count);
  VomoStatus status = 0;
  const double taken = vomo_bench::MemoryTakenBy([&] { status = call(); });
  if (status != 0 || !check()) return state.SkipWithError("wrong result");
  const double start = Seconds();
  for (auto _ : state) call();
  const double each = (Seconds() - start) / static_cast<double>(state.iterations());
  const auto samples = static_cast<double>(sample_count);
  state.counters["samples/s"] = samples / each;
  state.counters["pairs"] = each / pair;
  state.counters["taken/samples"] = taken / (4 * samples);
}

// A tone of 64 samples a period, its ends such that nothing is trimmed and the length is as asked.
struct Tone {
  explicit Tone(int64_t count, double amplitude = 1) : samples(static_cast<size_t>(count)) {
    for (size_t i = 0; i < samples.size(); ++i) {
      samples[i] =
          static_cast<float>(amplitude * std::cos(kTwoPi * static_cast<double>(i) / kPeriod));
    }
    samples.front() = samples.back() = static_cast<float>(2 * amplitude);
    samples[samples.size() - 2] = static_cast<float>(amplitude);
    record = {static_cast<uint32_t>(count), kInterval, samples.data(), 0, 0};
  }
  // Whether a result follows the tone behind a response, far from the ends.
  static bool Follows(const VomoWaveform &result, std::complex<double> response, double shift,
                      double scale) {
    for (uint32_t i = result.ulNumSamples / 2; i < result.ulNumSamples / 2 + 200; ++i) {
      const double place = (i + shift) * scale;
      const double expected =
          std::abs(response) * std::cos(kTwoPi * place / kPeriod + std::arg(response));
      if (!(std::fabs(result.pfSamples[i] - expected) < 0.01)) return false;
    }
    return true;
  }
  static constexpr double kPeriod = 64, kInterval = 12.5e-12;
  std::vector<float> samples;
  VomoWaveform record;
};

void Ctle(benchmark::State &state) {
  Tone tone(state.range(0));
  Received<VomoWaveform> out;
  const auto factor = [](float corner) {
    return std::complex<double>(1, 1 / (Tone::kPeriod * Tone::kInterval) / double{corner});
  };
  Measure(
      state, state.range(0),
      [&] {
        out.Free();
        return VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(&tone.record, kSetting.fAdc, kSetting.fFz,
                                                 kSetting.fFp1, kSetting.fFp2, out.pointer(),
                                                 out.handle_out());
      },
      [&] {
        const auto response =
            0.5 * factor(kSetting.fFz) / (factor(kSetting.fFp1) * factor(kSetting.fFp2));
        return out->ulNumSamples + 6 == tone.record.ulNumSamples &&
               Tone::Follows(*out.get(), response, 3, 1);
      });
}

void SecondOrderLowPass(benchmark::State &state) {
  Tone tone(state.range(0));
  Received<VomoWaveform> out;
  Measure(
      state, state.range(0),
      [&] {
        out.Free();
        return VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM(&tone.record, 2, 1e9, 0.7, 0, out.pointer(),
                                                   out.handle_out());
      },
      [&] {
        const double f = 1 / (Tone::kPeriod * Tone::kInterval) / 1e9;
        return Tone::Follows(*out.get(), 1.0 / std::complex<double>(1 - f * f, 1.4 * f), 0, 1);
      });
}

void ClockFilter(benchmark::State &state) {
  Tone tone(state.range(0));
  Measure(
      state, state.range(0), [&] { return VomoAPPLY_CLOCK_FILTER_TO_WAVEFORM(&tone.record, 1e9); },
      [&] { return std::fabs(tone.samples[tone.samples.size() / 2]) < 0.9; });
}

// Twenty settings over 100,000 unit intervals of 10 samples behind a channel of one pole; the one
// that inverts it must win.
void Search(benchmark::State &state) {
  constexpr double kPole = 1.5e9, kInterval = kUi / 10;
  constexpr int32_t kInverse = 13;
  const int64_t ui_count = 102100;
  std::mt19937 random(1);
  const double step = 1 - std::exp(-kTwoPi * kPole * kInterval);
  std::vector<float> samples;
  double level = 0;
  for (int64_t k = 0; k < ui_count; ++k) {
    const double bit = (random() >> 31) != 0 ? 0.4 : -0.4;
    for (int p = 0; p < 10; ++p)
      samples.push_back(static_cast<float>(level += (bit - level) * step));
  }
  VomoWaveform waveform{static_cast<uint32_t>(samples.size()), kInterval, samples.data(), 0, 0};
  std::vector<VomoCTLEParams> family;
  for (int i = 1; i <= 20; ++i) {
    const double zero = kPole * std::pow(1.2, i - kInverse);
    family.push_back({1, static_cast<float>(zero), 12e9f, 30e9f});
  }
  int32_t best = 0;
  Received<VomoWaveform> out;
  Measure(
      state, static_cast<int64_t>(samples.size()),
      [&] {
        out.Free();
        return VomoAPPLY_MULTIPLE_CTLE_FILTERS_TO_WAVEFORM(
            &waveform, 20, family.data(), nullptr, kUi, 3, 100000, 0.4f, 0.6f, OPT_EYE_RATIO, 0,
            &best, out.pointer(), out.handle_out());
      },
      [&] { return best == kInverse; });
}

const std::vector<double> kPostCursors = {0.25, -0.0625};
constexpr float kTaps[] = {0.25f, -0.03125f, -0.03125f};  // the second bit back is weighed twice

const vomo_test::FirChannel &Channel(int64_t sample_count) {
  static std::map<int64_t, vomo_test::FirChannel> channels;
  const auto bits = static_cast<size_t>(sample_count / vomo_test::kPerUi);
  return channels.try_emplace(sample_count, kPostCursors, bits, 1u).first->second;
}

// The walk alone: every bit must come out as it was sent.
void DfeWalk(benchmark::State &state) {
  const vomo_test::FirChannel &channel = Channel(state.range(0));
  const VomoWaveform waveform{static_cast<uint32_t>(channel.samples.size()),
                              kUi / vomo_test::kPerUi, const_cast<float *>(channel.samples.data()),
                              0, 0};
  std::vector<VomoTwoPartCrossover> elements(channel.bits.size() * 5 / 4);
  VomoCrossoverData clock{};
  clock.psTwoPartArray = elements.data();
  Measure(
      state, waveform.ulNumSamples,
      [&] {
        clock.ulTwoPartCount = static_cast<uint32_t>(elements.size());
        return vomo::VomoDfeWalk(waveform, {3, 0, waveform.ulNumSamples - 1, kUi, kTaps, 3}, clock);
      },
      [&] {
        if (clock.ulTwoPartCount != channel.LastEdge() - 1) return false;
        for (uint32_t k = 0; k < clock.ulTwoPartCount; ++k) {
          if (elements[k].cLevel != channel.bits[k + 1]) return false;
        }
        return true;
      });
}

// Crossovers, clock, walk, levels and subtraction.
void DfeFilter(benchmark::State &state) {
  const vomo_test::FirChannel &channel = Channel(state.range(0));
  VomoWaveform waveform{static_cast<uint32_t>(channel.samples.size()), kUi / vomo_test::kPerUi,
                        const_cast<float *>(channel.samples.data()), 0, 0};
  VomoDFEParams dfe{};
  dfe.dUnitInterval = kUi;
  dfe.iDFETapCount = 3;
  dfe.iPtsAboveThresh = 3;
  for (int k = 0; k < 3; ++k) {
    dfe.afDFETapValues[k] = kTaps[k];
    dfe.afTapMin[k] = -1;
    dfe.afTapMax[k] = 1;
  }
  Received<VomoWaveform> out;
  Measure(
      state, waveform.ulNumSamples,
      [&] {
        out.Free();
        return VomoAPPLY_DFE_FILTER_TO_WAVEFORM(&waveform, &dfe, 0, nullptr, nullptr, nullptr,
                                                nullptr, nullptr, nullptr, out.pointer(),
                                                out.handle_out());
      },
      [&] {
        for (size_t k = 1; k < channel.LastEdge(); ++k) {
          const float middle = out->pfSamples[k * vomo_test::kPerUi + vomo_test::kPerUi / 2];
          if (std::fabs(middle - static_cast<float>(channel.bits[k])) > 1e-5f) return false;
        }
        return true;
      });
}

// A pair through a network of 2000 points that delays it by 20 samples.
void Embedding(benchmark::State &state) {
  Tone positive(state.range(0), 0.5), negative(state.range(0), -0.5);
  constexpr double kDelay = 20;
  vomo_test::Network network(2000, double{0.5f / static_cast<float>(Tone::kInterval)});
  network.SetThrough(
      [](double f) { return std::polar(1.0, -kTwoPi * f * kDelay * Tone::kInterval); });
  Received<VomoWaveform> out;
  Measure(
      state, state.range(0),
      [&] {
        for (Tone *tone : {&positive, &negative}) {
          tone->record = {static_cast<uint32_t>(state.range(0)), Tone::kInterval,
                          tone->samples.data(), 0, 0};
        }
        out.Free();
        return VomoAPPLY_SPARAM_TO_WAVEFORM(&positive.record, &negative.record, &network.record,
                                            out.pointer(), out.handle_out());
      },
      [&] {
        const double n = out->ulNumSamples - 1;
        return Tone::Follows(*out.get(), 1, -kDelay * 2001 / 2000, n / (n + 1));
      });
}

// A smooth length and an awkward one beside it; the four-port takes odd lengths alone.
constexpr int64_t kSmall = 1'000'000, kMedium = 10'000'000, kLarge = 50'000'000;
#define TIMED(name) BENCHMARK(name)->Unit(benchmark::kMillisecond)
TIMED(Ctle)->Arg(kSmall)->Arg(1'000'003)->Arg(kMedium)->Arg(10'000'019)->Arg(kLarge);
TIMED(SecondOrderLowPass)->Arg(kMedium)->Arg(10'000'019);
TIMED(ClockFilter)->Arg(kMedium);
TIMED(Search);
TIMED(DfeWalk)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
TIMED(DfeFilter)->Arg(kMedium)->Arg(kLarge);
TIMED(Embedding)->Arg(1'000'001)->Arg(10'000'001)->Arg(10'000'019);

}  // namespace
