// The stages of the jitter statistics, beside one pass over the same memory.
#include <benchmark/benchmark.h>
#include <vomo.h>

#include <cmath>
#include <vector>

#include "core/handle_table.h"
#include "primitives/vec.h"
#include "support/gaussian.h"

namespace {

using vomo::Received;

constexpr double kRj = 1e-12, kDj = 10e-12;

// Two Diracs with Gaussian tails, as a jitter sequence has them.
const std::vector<double> &Jitter(size_t count) {
  static std::vector<double> jitter;
  if (jitter.size() != count) {
    vomo_test::Gaussian noise(1);
    jitter.resize(count);
    for (double &t : jitter) t = (noise.Coin() ? 0.5 : -0.5) * kDj + kRj * noise();
  }
  return jitter;
}

void SetRates(benchmark::State &state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 8);
}

void OnePassOverTheSequence(benchmark::State &state) {
  const auto &jitter = Jitter(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    double minimum, maximum;
    vomo::VecMinMax_64f(jitter.data(), static_cast<int32_t>(jitter.size()), &minimum, &maximum);
    benchmark::DoNotOptimize(maximum);
  }
  SetRates(state);
}

// range(1): bins for each Rj.
void Histogram(benchmark::State &state) {
  const auto &jitter = Jitter(static_cast<size_t>(state.range(0)));
  const double bin_size = kRj / static_cast<double>(state.range(1));
  for (auto _ : state) {
    Received<double> pdf;
    double first, *from_right, *from_left;
    uint32_t count;
    VomoCREATE_PDF_CDF(jitter.data(), static_cast<uint32_t>(jitter.size()), bin_size, 1, &first,
                       &count, pdf.pointer(), &from_right, &from_left, pdf.handle_out());
    if (!(std::abs(from_left[count - 1] - 1.0) < 1e-9) ||
        !(std::abs(from_left[count / 2] - 0.5) < 0.01)) {
      state.SkipWithError("the running sum is wrong");
      break;
    }
  }
  SetRates(state);
}

void DualDiracFit(benchmark::State &state) {
  const auto &jitter = Jitter(static_cast<size_t>(state.range(0)));
  VomoComplianceParams params{};
  params.dPDFBinSize = kRj / 10;
  params.dTargetBERQVal = -7.03;
  params.ulRemoveBinsNumPoints = 10;
  params.ulNumPointsToUseInCdfFit = 20;
  VomoComplianceResults results{};
  for (auto _ : state) {
    double rj = kRj, dj = 0.0, tj = 0.0;
    VomoFIT_DUAL_DIRAC(jitter.data(), static_cast<uint32_t>(jitter.size()), 1000, params, &rj,
                       &results, &dj, &tj);
    if (!(std::abs(dj - kDj) < kRj) || !(std::abs(tj - dj - 14.06 * kRj) < 1e-3 * kRj)) {
      state.SkipWithError("the fit is wrong");
      break;
    }
  }
  SetRates(state);
  Vomo_Handle_Free_All();
}

// A white spectrum with a line at every thousandth bin. range(1): bins in a segment, 0 for all of
// them; range(2): whether outliers are left out.
void NoiseFloorAndSpikes(benchmark::State &state) {
  const auto count = static_cast<uint32_t>(state.range(0));
  vomo_test::Gaussian noise(2);
  std::vector<VomoComplexDouble> spectrum(count);
  for (uint32_t i = 0; i < count; ++i) {
    spectrum[i] = {noise(), noise()};
    if (i % 1000 == 500) spectrum[i].dRe += 100.0;
  }
  const double step_s = 1.0 / (2.0 * count - 2.0);  // bins of 1 Hz
  const double range_hz = state.range(1) != 0 ? static_cast<double>(state.range(1)) : count;
  const VomoNoiseFloorAlgParams params{
      5.0f, state.range(2) != 0 ? 4.0f : 0.0f, 1e15, 1e15, range_hz, range_hz, range_hz};
  for (auto _ : state) {
    Received<double> floor;
    Received<VomoComplexDouble> cut;
    VomoFIND_NOISE_FLOOR(spectrum.data(), count, params, step_s, floor.pointer(),
                         floor.handle_out());
    VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(spectrum.data(), floor.get(), count, 0.0, cut.pointer(),
                                      cut.handle_out());
    // Long segments see the lines as the exception and cut them from 100 to the noise.
    const bool long_segments = state.range(1) == 0 || state.range(1) >= 1000;
    const double line = std::hypot(cut[500].dRe, cut[500].dIm);
    if (!(line <= floor[500] * (1 + 1e-9)) || (long_segments && !(line < 20.0))) {
      state.SkipWithError("a line stands above the floor");
      break;
    }
  }
  SetRates(state);
}

BENCHMARK(OnePassOverTheSequence)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(Histogram)
    ->ArgsProduct({{1'000'000, 10'000'000}, {2, 10, 100}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(DualDiracFit)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(NoiseFloorAndSpikes)
    ->ArgsProduct({{500'000, 5'000'000}, {1, 16, 5000, 0}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
