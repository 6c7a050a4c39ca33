// The eye of a capture of 1 and 10 million samples: folding, margins, voltages, and the whole stage
// beside the crossover search of the same capture.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "eye/eye_signal.h"
#include "eye/eye_stage.h"
#include "peak_memory.h"

namespace {

using vomo_test::EyeCapture;
using vomo_test::EyeSignal;

constexpr std::size_t kSamplesPerUI = 10;
// A little noise on the samples, so that columns keep finding new innermost voltages.
constexpr float kNoise = 0.02f;

// A capture whose opening is known: levels of 0.5 V and 0.4 V less the noise.
std::unique_ptr<EyeCapture> MakeCapture(std::size_t samples) {
  EyeSignal signal;
  signal.samples_per_ui = double{kSamplesPerUI};
  signal.repeated_v = 0.4;
  signal.bits = vomo_test::Prbs15(samples / kSamplesPerUI);
  signal.clock_error_s.resize(signal.bits.size());
  for (std::size_t k = 0; k < signal.bits.size(); ++k) {
    signal.clock_error_s[k] = 2e-12 * std::sin(0.01 * static_cast<double>(k));
  }
  auto capture = std::make_unique<EyeCapture>(signal);
  uint32_t state = 1;
  for (float &sample : capture->samples()) {
    state = state * 1664525u + 1013904223u;
    sample += kNoise * (static_cast<float>(state >> 8) * 0x1p-23f - 1.0f);
  }
  return capture;
}

EyeCapture &CaptureOf(int64_t samples) {
  static std::map<int64_t, std::unique_ptr<EyeCapture>> captures;
  auto &capture = captures[samples];
  if (capture == nullptr) capture = MakeCapture(static_cast<std::size_t>(samples));
  return *capture;
}

struct Run {
  explicit Run(int64_t samples) : capture(CaptureOf(samples)) {
    params.dTargetUI = capture.ui_s();
    params.eVoltageMarginType = Vomo_RANGE_MAX;
    params.fVoltageHistBinSize = 0.001f;
    params.sTransPassFailInfo = params.sNonTransPassFailInfo =
        vomo_test::Bounds(0.3, 0.7, -0.1f, 0.1f);
    params.fTransitionHighVoltageRail = params.fNonTransitionHighVoltageRail = 0.6f;
    params.fTransitionLowVoltageRail = params.NonTransitionLowVoltageRail = -0.6f;
    params.ulEyeDiagramOffset = 1000;
    params.dEyePlotWrapLeftValue = params.dEyePlotWrapRightValue = 0.5;
    const uint32_t last = capture.edges() - 1;
    results.ulFirstValidIndex = 10;
    results.ulLastValidIndex = last - 10;
    results.ulLastIndex = last;
    results.dUnitInterval = capture.ui_s();
    results.ulMaxJitterIndex = last / 3;
    results.ulMinJitterIndex = last / 2;
  }

  VomoStatus Fold(VomoTemplate &diagram, VomoHandle &handle) {
    return Vomo_SINGLE_DIAGRAM(1, 0, capture.ui_s(), &capture.waveform, 0, capture.edges() - 2,
                               &capture.clock, 0, capture.errors().data(), 0.0, 0.0, &diagram,
                               &handle);
  }
  VomoStatus Margins() {
    return VomoFIND_MARGINS(&params, &capture.waveform, results.ulFirstValidIndex,
                            results.ulLastValidIndex, &capture.clock, 0, capture.errors().data(),
                            &results, nullptr, nullptr, nullptr);
  }
  VomoStatus Stage() {
    VomoTemplate plots[5] = {};
    VomoHandle handle = 0;
    const VomoStatus status =
        vomo::Vomo_EyeStage(&params, &results, &capture.waveform, &capture.clock, nullptr, nullptr,
                            capture.errors().data(), plots, nullptr, nullptr, &handle);
    Vomo_HANDLE_FREE(handle);
    return status;
  }
  VomoStatus Crossovers() {
    VomoCrossoverData *found = nullptr;
    VomoHandle handle = 0;
    double spacing = 0.0;
    const VomoStatus status = Vomo_FIND_CROSSOVERS_EX(
        &capture.waveform, 0.001f, 3, 0, capture.waveform.ulNumSamples - 1, capture.ui_s(),
        Vomo_CROSSOVERS_ALL, &found, &handle, nullptr, nullptr, &spacing);
    Vomo_HANDLE_FREE(handle);
    return status;
  }

  EyeCapture &capture;
  VomoComplianceParams params{};
  VomoComplianceResults results{};
};

void Require(bool holds, const char *what) {
  if (holds) return;
  std::fprintf(stderr, "wrong result: %s\n", what);
  std::exit(1);
}

bool Near(double a, double b, double tolerance) {
  return std::fabs(a - b) <= tolerance;
}

// The innermost voltages of a class are its level less nearly the whole noise; a bin of the
// histogram is 1 mV.
void CheckMargins(const Run &run) {
  const VomoTemplateMargins &t = run.results.sTransMargins, &n = run.results.sNonTransMargins;
  Require(Near(t.fHighMargin, 0.5 - kNoise - 0.1, 2e-3), "upper margin of transition bits");
  Require(Near(n.fHighMargin, 0.4 - kNoise - 0.1, 2e-3), "upper margin of non-transition bits");
  Require(Near(n.fLowMargin, -0.4 + kNoise + 0.1, 2e-3), "lower margin of non-transition bits");
  Require(t.ulHighMarginCount == 0 && n.ulLowMarginCount == 0, "no trace in the template");
}

void SetRate(benchmark::State &state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Folding(benchmark::State &state) {
  Run run(state.range(0));
  VomoTemplate diagram{};
  VomoHandle handle = 0;
  Require(run.Fold(diagram, handle) == 0, "diagram");
  // Sample i of the ideal clock lies at i / 10 unit intervals, whatever its edges' error.
  for (uint32_t i = 0; i < 1000; ++i) {
    const double tenths = diagram.adXArray[i] * 10;
    Require(Near(tenths, std::round(tenths), 1e-6), "abscissae");
  }
  Vomo_HANDLE_FREE(handle);
  for (auto _ : state) {
    run.Fold(diagram, handle);
    Vomo_HANDLE_FREE(handle);
  }
  SetRate(state);
}

// Rails and a hexagon against the points of all bits.
void PassFail(benchmark::State &state) {
  Run run(state.range(0));
  VomoTemplate diagram{};
  VomoHandle handle = 0;
  Require(run.Fold(diagram, handle) == 0, "diagram");
  double x[] = {0.25, 0.4, 0.6, 0.75, 0.6, 0.4};
  float y[] = {0.0f, 0.1f, 0.1f, 0.0f, -0.1f, -0.1f};
  const VomoTemplate hexagon{6, x, y, nullptr, 0.0, 0.0f};
  uint16_t pass = 0;
  uint32_t violations = 0;
  const auto test = [&](float rail) {
    Vomo_DIAGRAM_PASS_FAIL(&diagram, &hexagon, rail, -1.0f, 0, nullptr, &pass, &violations,
                           nullptr);
  };
  // Of a trace's eleven points nine lie between the edges, half of them above 0.1 V; those on the
  // edges are on either side of 0 V or of the tested range.
  test(0.1f);
  const double share = violations / static_cast<double>(diagram.ulArrayLength);
  Require(share > 4.5 / 11 && share < 5.5 / 11, "rails");
  test(1.0f);
  Require(pass == 1 && violations == 0, "template");
  for (auto _ : state) test(1.0f);
  SetRate(state);
  Vomo_HANDLE_FREE(handle);
}

void Margins(benchmark::State &state, uint32_t type) {
  Run run(state.range(0));
  run.params.eVoltageMarginType = type;
  Require(run.Margins() == 0, "margins");
  CheckMargins(run);
  for (auto _ : state) run.Margins();
  SetRate(state);
}

void Voltages(benchmark::State &state) {
  Run run(state.range(0));
  const auto scan = [&run] {
    VomoFIND_VOLTAGES(&run.capture.waveform, &run.capture.clock, run.results.ulFirstValidIndex,
                      run.results.ulLastValidIndex, &run.params, &run.results);
  };
  scan();
  Require(Near(run.results.fTransMaxVoltage, 0.5 + kNoise, 1e-3), "highest voltage");
  Require(run.results.ulTransRailViolations == 0, "rails");
  for (auto _ : state) scan();
  SetRate(state);
}

void Crossovers(benchmark::State &state) {
  Run run(state.range(0));
  Require(run.Crossovers() == 0, "crossovers");
  for (auto _ : state) run.Crossovers();
  SetRate(state);
}

// Also tells how many crossover searches the stage's time is worth, and what memory it takes beside
// capture, clock and errors.
void Stage(benchmark::State &state) {
  Run run(state.range(0));
  Require(run.Stage() == 0, "stage");
  CheckMargins(run);
  state.counters["extra_MB"] = vomo_bench::MemoryTakenBy([&run] { run.Stage(); }) / 1e6;
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  run.Crossovers();
  const std::chrono::duration<double> search = Clock::now() - begin;
  const auto stage_begin = Clock::now();
  for (auto _ : state) run.Stage();
  const std::chrono::duration<double> stage = Clock::now() - stage_begin;
  state.counters["searches"] =
      stage.count() / static_cast<double>(state.iterations()) / search.count();
  SetRate(state);
}

constexpr int64_t kMillion = 1000000;

BENCHMARK(Folding)->Arg(kMillion)->Arg(10 * kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(PassFail)->Arg(kMillion)->Arg(10 * kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Margins, center_min, Vomo_CENTER_MIN)
    ->Arg(kMillion)
    ->Arg(10 * kMillion)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Margins, range_max, Vomo_RANGE_MAX)
    ->Arg(kMillion)
    ->Arg(10 * kMillion)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Voltages)->Arg(kMillion)->Arg(10 * kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(Crossovers)->Arg(kMillion)->Arg(10 * kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(Stage)->Arg(kMillion)->Arg(10 * kMillion)->Unit(benchmark::kMillisecond);

}  // namespace
