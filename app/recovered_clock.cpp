#include "recovered_clock.h"

#include <algorithm>
#include <cmath>

#include "library_block.h"

namespace app {
namespace {

constexpr float kThresholdV = 0.001f;
constexpr double kFewestSettlingSamples = 3, kMostSettlingSamples = 4294967295.0;

void Require(VomoStatus status, const char *step) {
  if (!Vomo_STATUS_IS_ERROR(status)) return;
  throw StatusFailure(ExitCode::kNotMeasurable, status, step, "the signal",
                      "vomo measure tells more");
}

}  // namespace

double SettlingSamples(const VomoComplianceParams &params, double sample_interval_s) {
  return std::clamp(std::ceil(params.dSettlingTime / sample_interval_s), kFewestSettlingSamples,
                    kMostSettlingSamples);
}

Signal::Signal(const RunInput &input) : waveform_(*input.waveform) {
  if (input.complement == nullptr) return;
  const float *a = waveform_.pfSamples, *b = input.complement->pfSamples;
  difference_.resize(waveform_.ulNumSamples);
  std::transform(a, a + difference_.size(), b, difference_.begin(), std::minus<float>());
  waveform_.pfSamples = difference_.data();
  waveform_.ulTrimFront = waveform_.ulTrimBack = 0;
}

std::vector<float> CommonModeOf(const std::vector<Capture> &pair) {
  const float *a = pair[0].waveform()->pfSamples, *b = pair[1].waveform()->pfSamples;
  std::vector<float> common_mode(pair[0].waveform()->ulNumSamples);
  std::transform(a, a + common_mode.size(), b, common_mode.begin(),
                 [](float positive, float negative) { return 0.5f * (positive + negative); });
  return common_mode;
}

RecoveredClock RecoverClock(const Signal &signal, const VomoComplianceParams &params,
                            std::span<const double> jitter) {
  const VomoWaveform &waveform = signal.waveform();
  const double settling = SettlingSamples(params, waveform.dSampleInterval);
  LibraryBlock<VomoCrossoverData> crossovers, clock;
  double smallest_s = 0;
  Require(Vomo_FIND_CROSSOVERS_EX(
              &waveform, kThresholdV, static_cast<uint32_t>(settling), 0, waveform.ulNumSamples - 1,
              params.dTargetUI, params.eCrossoverTypes & ~uint32_t{CROSSOVER_2PART},
              crossovers.pointer(), crossovers.handle_out(), nullptr, nullptr, &smallest_s),
          "finding the edges of");
  const uint32_t count = crossovers->ulCount;
  Require(Vomo_CONVERT_CROSSOVER_TO_CLOCK(crossovers.get(), 0, count > 0 ? count - 1 : 0,
                                          params.dTargetUI, nullptr, clock.pointer(),
                                          clock.handle_out()),
          "making a clock of");
  RecoveredClock result;
  result.edges_s.assign(clock->pdTimes, clock->pdTimes + clock->ulCount);
  if (jitter.size() != result.edges_s.size()) {
    throw Failure(ExitCode::kNotMeasurable, "the clock and its jitter are not equally long");
  }
  result.positions.resize(result.edges_s.size());
  std::transform(
      result.edges_s.begin(), result.edges_s.end(), jitter.begin(), result.positions.begin(),
      [&](double edge_s, double off_s) { return (edge_s - off_s) / waveform.dSampleInterval; });
  return result;
}

}  // namespace app
