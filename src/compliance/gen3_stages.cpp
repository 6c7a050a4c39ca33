#include "compliance/gen3_stages.h"

#include <algorithm>

namespace vomo {
namespace {

// The one array of run lengths, as the measurements of patterns read it.
const uint16_t *Unsigned(const int16_t *run_lengths) {
  return reinterpret_cast<const uint16_t *>(run_lengths);
}

// What a known pattern's voltages are measured in.
struct MeasuredRange {
  const VomoWaveform *waveform;
  const VomoCrossoverData *crossovers;
  uint32_t first, last;
  double unit_interval_s;
};

VomoStatus MeasureTargetRuns(const MeasuredRange &range, const VomoGen3BaseCompParameters &settings,
                             VomoGen3Results &results) {
  float high_v = 0.0f, low_v = 0.0f;
  uint32_t high_runs = 0, low_runs = 0;
  const VomoStatus status = VomoCOMPUTE_TARGET_RUNLENGTH_AVERAGE_VOLTAGE(
      range.waveform, range.crossovers, range.first, range.last, range.unit_interval_s,
      static_cast<int32_t>(settings.ulTargetRunLength), settings.ulTargetRunMax,
      settings.ulTargetFirst, settings.ulTargetLast, settings.dTargetFraction, &high_v, &low_v,
      &high_runs, &low_runs);
  if (status == Vomo_STATUS_SUCCESS || status == Vomo_STATUS_NOT_ENOUGH_UI) {
    results.fTargetVoltage1 = high_v;
    results.fTargetVoltage2 = low_v;
    results.fTargetVoltage3 = static_cast<float>(high_runs);
    results.ucTargetFound = static_cast<uint8_t>(std::min<uint32_t>(low_runs, 255));
  }
  return status;
}

}  // namespace

VomoStatus Vomo_TakeOutGen3Jitter(VomoCrossoverData *psCrossovers, double dTargetUI,
                                  VomoGen3Results *psGen3Results, Received<int16_t> *pRunLengths) {
  VomoStatus status = VomoFIND_RUN_LENGTHS(psCrossovers, dTargetUI, pRunLengths->pointer(),
                                           pRunLengths->handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const uint16_t *const run_lengths = Unsigned(pRunLengths->get());
  const uint32_t last = psCrossovers->ulCount - 1;
  psGen3Results->psRunLengths = pRunLengths->get();
  psGen3Results->ulRunLengthCount = last;

  status = VomoFIND_REPEAT_PATTERN_LENGTH(run_lengths, last, psGen3Results);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = VomoF_OVER2_Dj(psCrossovers, 0, last, run_lengths, &psGen3Results->fFOver2Dj);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (psGen3Results->psPatternDDj == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return VomoREMOVE_REPEAT_PATTERN_DDj(psCrossovers, 0, last, run_lengths, psGen3Results);
}

VomoStatus Vomo_MeasureGen3Voltages(const VomoWaveform *psWaveform,
                                    const VomoCrossoverData *psCrossovers, uint32_t ulFirst,
                                    uint32_t ulLast, const int16_t *psRunLengths,
                                    const VomoComplianceParams *psParams,
                                    VomoComplianceResults *psResults) {
  const VomoGen3BaseCompParameters &settings = *psParams->psGen3BaseCompParameters;
  VomoGen3Results &results = *psResults->psGen3Results;
  const double unit_interval_s = psParams->dTargetUI;
  VomoCOMPUTE_EIEOS_AVERAGE_VOLTAGE(psWaveform, psCrossovers, ulFirst, ulLast, psRunLengths,
                                    unit_interval_s, settings.ulEIEOSFirst, settings.ulEIEOSLast,
                                    &results.fEIEOSVoltage1, &results.fEIEOSVoltage2,
                                    &results.ulEIEOSFound);
  VomoCOMPUTE_PS21_AVERAGE_VOLTAGE(
      psWaveform, psCrossovers, ulFirst, ulLast, psRunLengths, unit_interval_s,
      settings.ulPS21ShortRun, settings.ulPS21ShortRunMax, settings.ulPS21LongRun,
      settings.ulPS21ShortFirst, settings.ulPS21ShortLast, settings.ulPS21LongFirst,
      settings.ulPS21LongLast, &results.fPS21Ratio, &results.ulPS21Found);
  const VomoStatus status = MeasureTargetRuns(
      {psWaveform, psCrossovers, ulFirst, ulLast, unit_interval_s}, settings, results);
  return status == Vomo_STATUS_PATTERN_NOT_FOUND ? Vomo_STATUS_SUCCESS : status;
}

}  // namespace vomo
