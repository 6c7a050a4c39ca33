// A transmitter's pattern: its period, its jitter, a preset's voltage, and the whole Gen3 run.
// Sizes are unit intervals, at 10 samples each.
#include <benchmark/benchmark.h>

#include <cmath>
#include <map>
#include <vector>

#include "captures.h"
#include "core/handle_table.h"
#include "support/run_settings.h"

namespace {

using vomo_bench::kBitRate;
using vomo_bench::kSamplesPerUi;
using vomo_test::kUnitInterval;

constexpr uint32_t kPatternUi = 832;
constexpr double kPatternJitter = 3e-12, kNoise = 1e-12;

// The transmitter's compliance pattern, with pattern jitter and 1 ps of noise.
const app::SynthCapture &TransmitterCapture(uint64_t ui_count) {
  static std::map<uint64_t, app::SynthCapture> captures;
  const auto found = captures.find(ui_count);
  if (found != captures.end()) return found->second;
  app::SynthSpec spec;
  spec.bit_rate = kBitRate;
  spec.samples_per_ui = kSamplesPerUi;
  spec.pattern = app::Pattern::kTransmitter;
  spec.rj_rms = kNoise;
  spec.pattern_jitter = kPatternJitter;
  spec.ui_count = ui_count;
  return captures[ui_count] = app::Synthesize(spec);
}

// Crossovers of a capture with the unit intervals between them.
struct PatternEdges {
  explicit PatternEdges(const app::SynthCapture &capture) {
    for (const app::SynthEdge &edge : capture.edges) {
      times.push_back(edge.position / (kBitRate * kSamplesPerUi));
    }
    flags.assign(times.size(), 0);
    for (size_t k = 0; k + 1 < times.size(); ++k) {
      runs.push_back(static_cast<uint16_t>(std::lround((times[k + 1] - times[k]) * kBitRate)));
      if (runs[k] > 1) flags[k + 1] = CROSSOVER_DEEMPH;
    }
    list.ulCount = static_cast<uint32_t>(times.size());
    list.pdTimes = times.data();
    list.pucFlags = flags.data();
    gen3.psPatternDDj = &ddj;
  }
  PatternEdges(const PatternEdges &) = delete;
  PatternEdges &operator=(const PatternEdges &) = delete;

  uint32_t run_count() const { return static_cast<uint32_t>(runs.size()); }
  bool Find() { return VomoFIND_REPEAT_PATTERN_LENGTH(runs.data(), run_count(), &gen3) == 0; }
  bool Remove() {
    return VomoREMOVE_REPEAT_PATTERN_DDj(&list, 0, run_count(), runs.data(), &gen3) == 0;
  }

  std::vector<double> times;
  std::vector<uint8_t> flags;
  std::vector<uint16_t> runs;
  VomoCrossoverData list{};
  VomoPatternDDjResult ddj{};
  VomoGen3Results gen3{};
};

void SetRate(benchmark::State &state) {
  state.counters["UI/s"] = benchmark::Counter(
      static_cast<double>(state.range(0) * state.iterations()), benchmark::Counter::kIsRate);
}

const app::SynthCapture &CaptureOf(const benchmark::State &state) {
  return TransmitterCapture(static_cast<uint64_t>(state.range(0)));
}

void PatternSearch(benchmark::State &state) {
  PatternEdges edges(CaptureOf(state));
  if (!edges.Find() || edges.gen3.ulPatternLengthUI != kPatternUi) {
    return state.SkipWithError("another pattern");
  }
  for (auto _ : state) edges.Find();
  SetRate(state);
}

// Alternating runs that break off in the middle: the search has to try every period.
void PatternSearchOfABrokenPattern(benchmark::State &state) {
  std::vector<uint16_t> runs(static_cast<size_t>(state.range(0)) * 2 / 3);
  for (size_t k = 0; k < runs.size(); ++k) runs[k] = k % 2 == 0 ? 2 : 1;
  runs[runs.size() / 4 * 2] = 1;
  uint32_t repeats = 0, length_ui = 0, length_runs = 0;
  int32_t result = 0;
  for (auto _ : state) {
    result = FindRepeatPatternLength(runs.data(), static_cast<uint32_t>(runs.size()), &repeats,
                                     &length_ui, &length_runs);
  }
  if (result != 1) state.SkipWithError("a period");
  SetRate(state);
}

void PatternJitterRemoval(benchmark::State &state) {
  PatternEdges edges(CaptureOf(state));
  // The noise of a mean adds a little to the largest and the smallest.
  if (!edges.Find() || !edges.Remove() ||
      std::fabs(edges.ddj.fPeakPeak - kPatternJitter) > kNoise) {
    return state.SkipWithError("not the jitter that was put in");
  }
  for (auto _ : state) edges.Remove();
  SetRate(state);
}

void F2Jitter(benchmark::State &state) {
  const PatternEdges edges(CaptureOf(state));
  float dj = 1;
  for (auto _ : state) {
    VomoF_OVER2_Dj(&edges.list, 0, edges.run_count(), edges.runs.data(), &dj);
  }
  if (std::fabs(dj) > kPatternJitter) state.SkipWithError("F/2 jitter");
  SetRate(state);
}

void DeemphasisDerating(benchmark::State &state) {
  PatternEdges edges(CaptureOf(state));
  const std::vector<double> values(edges.times.size(), 1e-12);
  const float levels[4] = {0.75f, -0.75f, 0.25f, -0.25f};
  const double first = edges.times[1], second = edges.times[2];
  const auto derate = [&] {
    Vomo_DERATE_DEMPHASIS_JITTER(&edges.list, values.data(), 0, edges.run_count(), levels);
  };
  derate();
  const double shift = 0.25e-12;
  if (std::fabs(edges.times[1] - first - shift) > 1e-18 || edges.times[2] != second) {
    return state.SkipWithError("another shift");
  }
  for (auto _ : state) derate();
  SetRate(state);
}

void PresetVoltage(benchmark::State &state) {
  VomoWaveform waveform = vomo_bench::WaveformOf(CaptureOf(state));
  VomoWaveform *waveforms[] = {&waveform};
  VomoPreset presets[11]{};
  const auto measure = [&] {
    return Vomo_CALCULATE_Vb(waveforms, 4, kUnitInterval, 64, 64, 40, 60, presets);
  };
  if (measure() != 0 || std::fabs(presets[4].dVb - 0.8) > 1e-6) {
    return state.SkipWithError("another voltage");
  }
  for (auto _ : state) measure();
  Vomo_FREE_PRESETS(presets, 0);
  SetRate(state);
}

void Gen3Run(benchmark::State &state) {
  VomoWaveform waveform = vomo_bench::WaveformOf(CaptureOf(state));
  const VomoGen3BaseCompParameters base{3, 7, 60, 68, 40, 55, 32, 3, 28, 64, 64, 40, 60, 0.02};
  VomoPatternDDjResult ddj{};
  VomoGen3Results gen3{};
  gen3.psPatternDDj = &ddj;
  VomoComplianceResults results{};
  results.psGen3Results = &gen3;
  VomoComplianceParams parameters = vomo_test::RunSettings();
  parameters.psGen3BaseCompParameters = &base;
  const auto run = [&] {
    return Vomo_GENERAL_COMPLIANCE_NO_EYE(&waveform, nullptr, parameters, &results, nullptr);
  };
  if (run() != 0 || std::fabs(results.dRjRMS / kNoise - 1) > 0.1 || gen3.ulPS21Found == 0 ||
      gen3.ulEIEOSFound == 0 || gen3.ucTargetFound == 0) {
    return state.SkipWithError("not measured");
  }
  for (auto _ : state) run();
  Vomo_Handle_Free_All();
  SetRate(state);
}

constexpr int64_t kSmall = 100'000, kMedium = 1'000'000, kLarge = 5'000'000;
BENCHMARK(PatternSearch)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(PatternSearchOfABrokenPattern)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(PatternJitterRemoval)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(F2Jitter)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(DeemphasisDerating)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(PresetVoltage)->Unit(benchmark::kMillisecond)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(Gen3Run)->Unit(benchmark::kMillisecond)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);

}  // namespace
