// The whole run and its heart, the interval analysis.
#include <benchmark/benchmark.h>

#include <cmath>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "captures.h"
#include "core/handle_table.h"
#include "peak_memory.h"
#include "support/run_settings.h"

namespace {

using vomo_bench::Capture;
using vomo_bench::WaveformOf;
using vomo_test::RunSettings;

void WholeRun(benchmark::State &state) {
  const app::SynthCapture &capture = Capture(static_cast<uint64_t>(state.range(0)));
  VomoWaveform waveform = WaveformOf(capture);
  VomoComplianceResults results{};
  const auto run = [&] {
    return Vomo_GENERAL_COMPLIANCE_NO_EYE(&waveform, nullptr, RunSettings(), &results, nullptr);
  };
  Vomo_Handle_Free_All();
  VomoStatus status = 0;
  const double taken = vomo_bench::MemoryTakenBy([&] { status = run(); });
  if (status != 0 || std::fabs(results.dRjRMS / 1.5e-12 - 1) > 0.2) {
    return state.SkipWithError("not measured");
  }
  for (auto _ : state) run();
  state.counters["samples/s"] = benchmark::Counter(
      static_cast<double>(state.range(0) * state.iterations()), benchmark::Counter::kIsRate);
  state.counters["taken/samples"] = taken / (4.0 * static_cast<double>(state.range(0)));
  state.counters["taken_MB"] = taken / 1e6;
}

void IntervalAnalysis(benchmark::State &state) {
  constexpr double kSigma = 1.5e-12;
  std::mt19937_64 random(1);
  std::normal_distribution<double> normal(0, kSigma);
  std::vector<double> sequence(static_cast<size_t>(state.range(0)));
  for (double &v : sequence) v = normal(random);
  VomoComplianceResults results{};
  results.dUnitInterval = vomo_test::kUnitInterval;
  const auto run = [&] {
    return Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(
        sequence.data(), static_cast<uint32_t>(sequence.size()), RunSettings(), &results, nullptr,
        nullptr, nullptr);
  };
  if (run() != 0 || std::fabs(results.dRjRMS / kSigma - 1) > 0.02) {
    return state.SkipWithError("not measured");
  }
  for (auto _ : state) run();
  state.counters["UI/s"] = benchmark::Counter(
      static_cast<double>(state.range(0) * state.iterations()), benchmark::Counter::kIsRate);
}

// Data and a 100 MHz clock of the same time, through four PLLs at three alignments each.
void DualPort(benchmark::State &state) {
  constexpr double kHalfPeriodUi = 40, kSamplesPerUi = 10;
  app::SynthSpec spec;
  spec.samples_per_ui = kSamplesPerUi;
  spec.ui_count = static_cast<uint64_t>(state.range(0)) / 10;
  spec.rj_rms = 1e-12;
  app::SynthSpec clock_spec = spec;
  clock_spec.pattern = app::Pattern::kClock;
  clock_spec.bit_rate /= kHalfPeriodUi;
  clock_spec.samples_per_ui *= kHalfPeriodUi;
  clock_spec.ui_count = static_cast<uint64_t>(static_cast<double>(spec.ui_count) / kHalfPeriodUi);
  clock_spec.seed = 2;
  const app::SynthCapture data = app::Synthesize(spec), clock = app::Synthesize(clock_spec);
  VomoWaveform data_waveform = WaveformOf(data), clock_waveform = WaveformOf(clock);
  const VomoFilterParams plls[] = {
      {2e6, 0.707, 0, 0}, {2e6, 2, 0, 0}, {5e6, 0.707, 0, 0}, {5e6, 2, 0, 0}};
  VomoDualPortParams dual{};
  dual.dClockTargetUI = 10e-9;
  dual.eClockCrossoverTypes = Vomo_CROSSOVERS_RISING;
  dual.ulClockDataOffsetUI = 96;
  dual.iPLLFilterCount = std::size(plls);
  dual.psPLLFilterParams = plls;
  VomoComplianceResults results{};
  VomoDualPortClockResults clock_results{};
  const auto run = [&] {
    return Vomo_DUAL_PORT_COMPLIANCE_NO_EYE(&data_waveform, &clock_waveform, nullptr, RunSettings(),
                                            dual, &results, &clock_results, nullptr);
  };
  if (run() != 0 || !(results.dTjPeakPeak > 0)) return state.SkipWithError("not measured");
  for (auto _ : state) run();
  state.counters["samples/s"] = benchmark::Counter(
      static_cast<double>(state.range(0) * state.iterations()), benchmark::Counter::kIsRate);
}

constexpr int64_t kSmall = 1'000'000, kMedium = 10'000'000, kLarge = 50'000'000;
BENCHMARK(WholeRun)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge)->Unit(benchmark::kMillisecond);
BENCHMARK(DualPort)->Arg(kMedium)->Unit(benchmark::kMillisecond);
// A smooth length, the awkward one beside it, and larger ones of both kinds.
BENCHMARK(IntervalAnalysis)
    ->Arg(1'000'000)
    ->Arg(1'000'003)
    ->Arg(5'000'000)
    ->Arg(5'000'011)
    ->Unit(benchmark::kMillisecond);

}  // namespace
