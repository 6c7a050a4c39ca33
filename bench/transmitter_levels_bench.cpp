// Voltages, common mode and edge times of a transmitter, beside one pass over the same samples.
#include <benchmark/benchmark.h>
#include <vomo.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "captures.h"
#include "core/handle_table.h"
#include "primitives/vec.h"
#include "support/gaussian.h"
#include "support/run_signal.h"

namespace {

using vomo::Received;
using vomo_test::kStep;
using vomo_test::kUi;
using vomo_test::RunSignal;

void SetRates(benchmark::State &state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 4);
}

// An exit pattern, two flat runs of 0.5 V and 64 single bits of 0.375 V, over and over: 256 UI of 8
// samples.
RunSignal &Patterns(int64_t sample_count) {
  static RunSignal signal;
  static int64_t made = 0;
  if (made == sample_count) return signal;
  made = sample_count;
  signal = RunSignal();
  while (static_cast<int64_t>(signal.samples().size()) < sample_count) {
    for (int k = 0; k < 16; ++k) signal.Run(8, k % 2 == 0 ? 0.25 : -0.25);
    signal.Run(32, 0.5).Run(32, -0.5);
    for (int k = 0; k < 64; ++k) signal.Run(1, k % 2 == 0 ? 0.375 : -0.375);
  }
  return signal;
}

void OnePassOverTheSamples(benchmark::State &state) {
  RunSignal &signal = Patterns(state.range(0));
  for (auto _ : state) {
    float mean;
    vomo::VecMean_32f(signal.samples().data(), static_cast<int32_t>(signal.samples().size()), &mean,
                      2);
    benchmark::DoNotOptimize(mean);
  }
  SetRates(state);
}

void RunLengthVoltage(benchmark::State &state) {
  RunSignal &signal = Patterns(state.range(0));
  for (auto _ : state) {
    float high, low;
    uint32_t high_runs, low_runs;
    const VomoStatus status = VomoCOMPUTE_TARGET_RUNLENGTH_AVERAGE_VOLTAGE(
        signal.waveform(), signal.clock(), 0, signal.last(), kUi, 8, 64, 3, 7, 1.0, &high, &low,
        &high_runs, &low_runs);
    if (status != Vomo_STATUS_SUCCESS || !(high > 0.25f && high < 0.5f) || low != -high) {
      state.SkipWithError("the averages are wrong");
      break;
    }
  }
  SetRates(state);
}

void ExitPatternVoltage(benchmark::State &state) {
  RunSignal &signal = Patterns(state.range(0));
  for (auto _ : state) {
    float high, low;
    uint32_t found;
    const VomoStatus status =
        VomoCOMPUTE_EIEOS_AVERAGE_VOLTAGE(signal.waveform(), signal.clock(), 0, signal.last(),
                                          &found, kUi, 3, 7, &high, &low, &found);
    if (status != Vomo_STATUS_SUCCESS || high != 0.25f || low != -0.25f) {
      state.SkipWithError("the averages are wrong");
      break;
    }
  }
  SetRates(state);
}

void Ps21Ratio(benchmark::State &state) {
  RunSignal &signal = Patterns(state.range(0));
  for (auto _ : state) {
    float ratio_db;
    uint32_t found;
    const VomoStatus status =
        VomoCOMPUTE_PS21_AVERAGE_VOLTAGE(signal.waveform(), signal.clock(), 0, signal.last(),
                                         &found, kUi, 32, 32, 64, 3, 30, 5, 60, &ratio_db, &found);
    if (status != Vomo_STATUS_SUCCESS || !(std::abs(ratio_db - 20 * std::log10(0.75)) < 1e-5)) {
      state.SkipWithError("the ratio is wrong");
      break;
    }
  }
  SetRates(state);
}

// A tone in noise. It begins and ends with 0 V, so that no sample is cut and the length is the one
// that is asked for.
const std::vector<float> &CommonMode(int64_t sample_count) {
  static std::vector<float> samples;
  const auto count = static_cast<size_t>(sample_count);
  if (samples.size() == count) return samples;
  samples.resize(count);
  vomo_test::Gaussian noise(7);
  for (size_t i = 0; i < count; ++i) {
    const double phase =
        2 * std::numbers::pi * 1000 * static_cast<double>(i) / static_cast<double>(count);
    samples[i] = static_cast<float>(0.05 * std::sin(phase) + 1e-4 * noise());
  }
  samples.front() = samples.back() = 0;
  return samples;
}

void DirectCommonMode(benchmark::State &state) {
  const auto &samples = CommonMode(state.range(0));
  const auto count = static_cast<uint32_t>(samples.size());
  for (auto _ : state) {
    double greatest, least, mean;
    Vomo_DC_COMMON_MODE(count, samples.data(), 0, count - 1, &greatest, &least, &mean);
    if (!(std::abs(mean) < 1e-5) || !(std::abs(greatest - 0.05) < 1e-3)) {
      state.SkipWithError("the voltages are wrong");
      break;
    }
  }
  SetRates(state);
}

void AlternatingCommonMode(benchmark::State &state) {
  const auto &samples = CommonMode(state.range(0));
  const double tone_hz = 1000 / (static_cast<double>(state.range(0)) * kStep);
  for (auto _ : state) {
    double band, low_pass;
    Vomo_AC_COMMON_MODE_VOLTAGE(samples.data(), static_cast<uint32_t>(samples.size()), 0.01f,
                                0.01 * tone_hz, 100 * tone_hz, 100 * tone_hz, kStep, &band,
                                &low_pass);
    if (!(std::abs(band - 0.1) < 1e-3) || !(std::abs(low_pass - 0.1) < 1e-3)) {
      state.SkipWithError("the voltages are wrong");
      break;
    }
  }
  SetRates(state);
}

void VoltageLevels(benchmark::State &state) {
  RunSignal &signal = Patterns(state.range(0));
  for (auto _ : state) {
    float levels[4];
    const VomoStatus status = Vomo_FIND_AVE_VOLTAGE_LEVELS(
        signal.waveform(), 0, static_cast<uint32_t>(signal.samples().size()) - 1, kUi, levels);
    if (status != Vomo_STATUS_SUCCESS || levels[2] != 0.25f || levels[3] != -0.25f) {
      state.SkipWithError("the levels are wrong");
      break;
    }
  }
  SetRates(state);
}

// Edges of a capture as the finder gives them, with their slopes.
struct Edges {
  explicit Edges(int64_t sample_count)
      : waveform(vomo_bench::WaveformOf(vomo_bench::Capture(static_cast<uint64_t>(sample_count)))) {
    double spacing;
    Vomo_FIND_CROSSOVERS(&waveform, 0, waveform.ulNumSamples - 1, 1 / vomo_bench::kBitRate,
                         Vomo_CROSSOVERS_ALL, list.pointer(), list.handle_out(), slopes.pointer(),
                         slopes.handle_out(), &spacing);
  }
  VomoWaveform waveform;
  Received<VomoCrossoverData> list;
  Received<double> slopes;
};

// sampled: from the samples, else from the slopes.
template <bool sampled>
void EdgeTimes(benchmark::State &state) {
  const Edges edges(state.range(0));
  const float levels[]{0.5f, -0.5f, 0.5f, -0.5f};
  const uint32_t last = edges.list->ulCount - 2;
  for (auto _ : state) {
    Received<double> times;
    uint32_t count = 0;
    const VomoStatus status =
        sampled ? Vomo_FIND_RISE_FALL_TIMES_WAVEFORM(edges.list.get(), &edges.waveform, 1, last,
                                                     levels, 0.4f, 0.6f, &count, times.pointer(),
                                                     times.handle_out())
                : Vomo_FIND_RISE_FALL_TIMES_SLOPE(edges.list.get(), edges.slopes.get(), 1, last,
                                                  levels, 0.4f, 0.6f, &count, times.pointer(),
                                                  times.handle_out());
    if (status != Vomo_STATUS_SUCCESS || count != last || !(times[count / 2] > 0) ||
        !(times[count / 2] < 50e-12)) {
      state.SkipWithError("the times are wrong");
      break;
    }
  }
  SetRates(state);
}

BENCHMARK(OnePassOverTheSamples)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(RunLengthVoltage)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(ExitPatternVoltage)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(Ps21Ratio)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(DirectCommonMode)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
// A length of small factors, and a prime one as captures have it.
BENCHMARK(AlternatingCommonMode)
    ->Arg(1'000'000)
    ->Arg(1'000'003)
    ->Arg(10'000'000)
    ->Arg(10'000'019)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(VoltageLevels)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(EdgeTimes<false>)
    ->Name("EdgeTimesFromSlopes")
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(EdgeTimes<true>)
    ->Name("EdgeTimesFromSamples")
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
