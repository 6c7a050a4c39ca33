// The density eye of 10 million samples, at few and at many samples in a bit.
#include <benchmark/benchmark.h>

#include <map>

#include "density_eye.h"
#include "synth_signal.h"

namespace {

struct Source {
  std::vector<float> samples;
  std::vector<double> clock;  // even: the edges of the jittered signal lie around it
};

// Tenths of samples in a bit, so that the ratio may be a fraction.
const Source &SourceOf(int64_t tenths) {
  static std::map<int64_t, Source> sources;
  const auto found = sources.find(tenths);
  if (found != sources.end()) return found->second;
  app::SynthSpec spec;
  spec.samples_per_ui = static_cast<double>(tenths) / 10;
  spec.pattern = app::Pattern::kPrbs15;
  spec.rj_rms = 1.5e-12;
  spec.sj_amplitude = 3e-12;
  spec.sj_frequency = 23e6;
  spec.ui_count = static_cast<uint64_t>(1e7 / spec.samples_per_ui);
  Source source{app::Synthesize(spec).samples, {}};
  // Noise, so that the flat parts of the bits cross cells too.
  app::RandomStream noise(1, 0);
  for (float &sample : source.samples) sample += static_cast<float>(0.01 * noise.Gaussian());
  for (double edge = 0; edge < static_cast<double>(source.samples.size() - 1);
       edge += spec.samples_per_ui) {
    source.clock.push_back(edge);
  }
  return sources[tenths] = std::move(source);
}

void FoldDensityEye(benchmark::State &state) {
  const Source &source = SourceOf(state.range(0));
  const auto fold = [&] { return app::FoldDensityEye(source.samples, source.clock, -0.6, 0.6); };
  const app::EyeGrid grid = fold()[app::BitClass::kAll];
  uint64_t sum = 0;
  for (const uint64_t cell : grid.cells) sum += cell;
  // All bits but those at the ends, and all of their weight.
  if (grid.bits + 5 < source.clock.size() ||
      sum != grid.bits * app::EyeGrid::kWeight * app::EyeGrid::kColumns) {
    return state.SkipWithError("bits are missing from the eye");
  }
  for (auto _ : state) benchmark::DoNotOptimize(fold());
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(source.samples.size()));
}
BENCHMARK(FoldDensityEye)
    ->ArgName("tenth_samples_per_ui")
    ->Arg(30)
    ->Arg(100)
    ->Arg(256)
    ->Arg(400)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
