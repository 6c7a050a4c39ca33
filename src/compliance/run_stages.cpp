#include "compliance/run_stages.h"

#include <cmath>

#include "core/numeric.h"
#include "eye/eye_stage.h"
#include "stats/jitter_slots.h"

namespace vomo {
namespace {

constexpr float kCrossoverThreshold = 0.001f;
constexpr uint32_t kFewestSettlingSamples = 3;

}  // namespace

uint32_t SettlingCount(double settling_time_s, double sample_interval_s) {
  if (3.0 * sample_interval_s > settling_time_s) return kFewestSettlingSamples;
  return VomoToU32(std::ceil(settling_time_s / sample_interval_s));
}

uint32_t StartArgument(const VomoComplianceParams &parameters, uint32_t settling_count) {
  const VomoDFEParams *dfe = parameters.psDFEFilterParams;
  return dfe != nullptr ? static_cast<uint32_t>(dfe->iPtsAboveThresh) : settling_count;
}

VomoStatus FindRunCrossovers(const VomoWaveform &waveform, uint32_t settling_count,
                             double unit_interval_s, uint32_t types,
                             Received<VomoCrossoverData> &crossovers, double *smallest_s) {
  // Two-part elements are written by the equaliser alone; asking for them here would only have
  // later stages read what nobody wrote.
  return Vomo_FIND_CROSSOVERS_EX(&waveform, kCrossoverThreshold, settling_count, 0,
                                 waveform.ulNumSamples - 1, unit_interval_s,
                                 types & ~uint32_t{CROSSOVER_2PART}, crossovers.pointer(),
                                 crossovers.handle_out(), nullptr, nullptr, smallest_s);
}

void CheckGen3Blocks(const VomoCrossoverData &crossovers, double unit_interval_s,
                     VomoComplianceResults &results) {
  if (results.sGen3CheckData.ucEnable != 1) return;
  Vomo_Gen3Check(&crossovers, unit_interval_s, &results.sGen3CheckData);
}

void CopyPatternResults(const VomoComplianceParams &parameters, VomoComplianceResults &results) {
  if (parameters.psPatChkData == nullptr) return;
  results.dEdgeDensity = parameters.psPatChkData->dEdgeDensity;
  results.ePatChkResult = parameters.psPatChkData->ePatChkResult;
}

VomoStatus RunEyeStage(const VomoComplianceParams &parameters, VomoComplianceResults &results,
                       const VomoWaveform &waveform, const VomoCrossoverData &clock,
                       const double *jitter, const EyeOutputs &eye) {
  const bool wanted = eye.handle != nullptr;
  VomoHandle own_handle = 0;
  const VomoStatus status =
      Vomo_EyeStage(&parameters, &results, &waveform, &clock, eye.pass_through,
                    wanted ? eye.point_status : nullptr, jitter, wanted ? eye.plots : nullptr,
                    wanted ? eye.transition_plots : nullptr, wanted ? eye.histogram : nullptr,
                    wanted ? eye.handle : &own_handle);
  Vomo_HANDLE_FREE(own_handle);
  return status;
}

void DeliverJitter(Received<double> &sequence, uint32_t count, const JitterOutputs &outputs) {
  if (outputs.values == nullptr) return;
  *outputs.count = count;
  sequence.Deliver(outputs.values, outputs.handle);
}

void PublishCurves() {
  Vomo_PublishJitterPdf();
  Vomo_PublishJitterQ();
  Vomo_PublishJitterSpectrum();
}

void CopyPublishedCurves(VomoComplianceResults &results) {
  results.sJitterPdf = JitterSlots().pdf.published.record;
  results.sJitterQ = JitterSlots().q.published.record;
  results.sJitterSpectrum = JitterSlots().spectrum.published.record;
}

}  // namespace vomo
