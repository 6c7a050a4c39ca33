// The crossover search and what follows it, against one pass over the samples.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>

#include "captures.h"
#include "core/handle_table.h"
#include "primitives/vec.h"

namespace {

using vomo_bench::Capture;
using vomo_bench::WaveformOf;

constexpr double kUnitInterval = 1 / vomo_bench::kBitRate;

struct Crossovers {
  vomo::Received<VomoCrossoverData> list;
  double smallest = 0;

  bool Find(const VomoWaveform &waveform) {
    list.Free();
    return Vomo_FIND_CROSSOVERS_EX(&waveform, 0.001f, 3, 0, waveform.ulNumSamples - 1,
                                   kUnitInterval, Vomo_CROSSOVERS_RISE_FALL, list.pointer(),
                                   list.handle_out(), nullptr, nullptr, &smallest) == 0;
  }
};

// Every edge that was put in is found, within a hundredth of a sample.
bool FindsEveryEdge(Crossovers &crossovers, const app::SynthCapture &capture) {
  const VomoWaveform waveform = WaveformOf(capture);
  if (!crossovers.Find(waveform) || crossovers.list->ulCount != capture.edges.size()) return false;
  for (size_t i = 0; i < capture.edges.size(); ++i) {
    const double position = crossovers.list->pdTimes[i] / waveform.dSampleInterval;
    if (std::fabs(position - capture.edges[i].position) > 0.01) return false;
  }
  return true;
}

void SetRate(benchmark::State &state) {
  state.counters["samples/s"] = benchmark::Counter(
      static_cast<double>(state.range(0)) * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate);
}

void OnePassOverTheSamples(benchmark::State &state) {
  const auto &samples = Capture(static_cast<uint64_t>(state.range(0))).samples;
  float low = 0, high = 0;
  for (auto _ : state) {
    vomo::VecMinMax_32f(samples.data(), static_cast<int32_t>(samples.size()), &low, &high);
    benchmark::DoNotOptimize(low);
  }
  if (!(low < 0 && high > 0)) state.SkipWithError("no signal");
  SetRate(state);
}

void CrossoverSearch(benchmark::State &state) {
  const app::SynthCapture &capture = Capture(static_cast<uint64_t>(state.range(0)));
  const VomoWaveform waveform = WaveformOf(capture);
  Crossovers crossovers;
  if (!FindsEveryEdge(crossovers, capture)) return state.SkipWithError("edges differ");
  for (auto _ : state) crossovers.Find(waveform);
  SetRate(state);
}

void ClockFromCrossovers(benchmark::State &state) {
  const app::SynthCapture &capture = Capture(static_cast<uint64_t>(state.range(0)));
  Crossovers crossovers;
  if (!FindsEveryEdge(crossovers, capture)) return state.SkipWithError("edges differ");
  uint32_t count = 0;
  for (auto _ : state) {
    vomo::Received<VomoCrossoverData> clock;
    Vomo_CONVERT_CROSSOVER_TO_CLOCK(crossovers.list.get(), 0, crossovers.list->ulCount - 1,
                                    kUnitInterval, nullptr, clock.pointer(), clock.handle_out());
    count = clock ? clock->ulCount : 0;
  }
  const double span =
      crossovers.list->pdTimes[crossovers.list->ulCount - 1] - crossovers.list->pdTimes[0];
  if (std::fabs(span / kUnitInterval + 1 - count) > 0.5) state.SkipWithError("edges missing");
  SetRate(state);
}

constexpr int64_t kSmall = 1'000'000, kMedium = 10'000'000, kLarge = 50'000'000;
BENCHMARK(OnePassOverTheSamples)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(CrossoverSearch)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(ClockFromCrossovers)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);

}  // namespace
