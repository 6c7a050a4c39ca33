// The library's main entry: from a captured signal to separated jitter and the eye.
#include <cmath>

#include "compliance/gen3_stages.h"
#include "compliance/parameter_dump.h"
#include "compliance/waveform_preparation.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "eye/eye_stage.h"
#include "primitives/vec.h"
#include "stats/jitter_slots.h"

namespace vomo {
namespace {

constexpr float kCrossoverThreshold = 0.001f;
constexpr uint32_t kFewestSettlingSamples = 3;

struct EyeOutputs {
  void *pass_through;
  uint8_t **point_status;
  VomoTemplate *plots;
  VomoTemplate *transition_plots;
  VomoHistogramData *histogram;
  VomoHandle *handle;
};

struct JitterOutputs {
  uint32_t *count;
  double **values;
  VomoHandle *handle;
};

// Samples for which a crossing must stay beyond the band.
uint32_t SettlingCount(double settling_time_s, double sample_interval_s) {
  if (3.0 * sample_interval_s > settling_time_s) return kFewestSettlingSamples;
  return VomoToU32(std::ceil(settling_time_s / sample_interval_s));
}

// The state of one run. Every temporary is owned and freed when the next stage has consumed it, or
// at the run's end.
class GeneralRun {
 public:
  GeneralRun(const VomoComplianceParams &parameters, VomoComplianceResults &results)
      : parameters_(parameters),
        results_(results),
        gen3_(parameters.psGen3BaseCompParameters != nullptr && results.psGen3Results != nullptr) {}
  GeneralRun(const GeneralRun &) = delete;
  GeneralRun &operator=(const GeneralRun &) = delete;

  ~GeneralRun() {
    if (!gen3_) return;
    results_.psGen3Results->psRunLengths = nullptr;
    results_.psGen3Results->ulRunLengthCount = 0;
    results_.psGen3Results->psClock = nullptr;
  }

  VomoStatus Run(VomoWaveform *waveform, VomoWaveform *complement, const EyeOutputs &eye,
                 const JitterOutputs &jitter);

 private:
  VomoStatus Prepare(VomoWaveform *waveform, VomoWaveform *complement);
  VomoStatus FindCrossovers();
  void CheckGen3Blocks();
  VomoStatus MakeClock();
  VomoStatus FitUnitInterval();
  VomoStatus FindIntervalErrors();
  VomoStatus AccumulateErrors();
  VomoStatus AnalyseJitter();
  VomoStatus LastStage(const EyeOutputs &eye);
  VomoStatus Eye(const EyeOutputs &eye);
  void Deliver(const JitterOutputs &jitter);

  bool LeastSquares() const {
    return parameters_.ePhaseErrorIntervalType == Vomo_PHASE_ERROR_LEAST_SQUARES;
  }
  VomoCrossoverData &Crossovers() { return *signal_.crossovers.get(); }
  VomoCrossoverData &Clock() { return *signal_.clock.get(); }

  const VomoComplianceParams &parameters_;
  VomoComplianceResults &results_;
  const bool gen3_;
  uint32_t settling_count_ = 0;
  double fitted_unit_interval_s_ = 0.0;
  PreparedSignal signal_;
  Received<int16_t> run_lengths_;
  Received<double> errors_;
  uint32_t error_count_ = 0;
  Scratch<double> jitter_sequence_;
  Received<double> cleaned_;
  uint32_t cleaned_count_ = 0;
};

VomoStatus GeneralRun::Run(VomoWaveform *waveform, VomoWaveform *complement, const EyeOutputs &eye,
                           const JitterOutputs &jitter) {
  using Step = VomoStatus (GeneralRun::*)();
  VomoStatus status = Prepare(waveform, complement);
  for (const Step step : {&GeneralRun::FindCrossovers, &GeneralRun::MakeClock,
                          &GeneralRun::FitUnitInterval, &GeneralRun::FindIntervalErrors,
                          &GeneralRun::AccumulateErrors, &GeneralRun::AnalyseJitter}) {
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = (this->*step)();
  }
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = LastStage(eye);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  Deliver(jitter);
  return status;
}

VomoStatus GeneralRun::Prepare(VomoWaveform *waveform, VomoWaveform *complement) {
  settling_count_ = SettlingCount(parameters_.dSettlingTime, waveform->dSampleInterval);
  const VomoDFEParams *dfe = parameters_.psDFEFilterParams;
  const uint32_t start_argument =
      dfe != nullptr ? static_cast<uint32_t>(dfe->iPtsAboveThresh) : settling_count_;
  Vomo_DumpParameters(parameters_);
  if (gen3_) {
    signal_.waveform = waveform;
    return Vomo_STATUS_SUCCESS;
  }
  return Vomo_PrepareWaveform(waveform, complement, &parameters_, parameters_.dTargetUI,
                              start_argument, &results_, &signal_);
}

VomoStatus GeneralRun::FindCrossovers() {
  if (!signal_.crossovers) {
    // Two-part elements are written by the equaliser alone; asking for them here would only have
    // later stages read what nobody wrote.
    const uint32_t types = parameters_.eCrossoverTypes & ~uint32_t{CROSSOVER_2PART};
    const VomoStatus status =
        Vomo_FIND_CROSSOVERS_EX(signal_.waveform, kCrossoverThreshold, settling_count_, 0,
                                signal_.waveform->ulNumSamples - 1, parameters_.dTargetUI, types,
                                signal_.crossovers.pointer(), signal_.crossovers.handle_out(),
                                nullptr, nullptr, &results_.dMinCrossoverInterval);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    Crossovers().psPatChkData = parameters_.psPatChkData;
  }
  if (Crossovers().ulCount > 0) results_.dFirstCrossoverTime = Crossovers().pdTimes[0];
  CheckGen3Blocks();
  return Vomo_STATUS_SUCCESS;
}

// A side result: what the check says does not touch the run.
void GeneralRun::CheckGen3Blocks() {
  if (results_.sGen3CheckData.ucEnable != 1) return;
  Vomo_Gen3Check(&Crossovers(), parameters_.dTargetUI, &results_.sGen3CheckData);
}

VomoStatus GeneralRun::MakeClock() {
  if (gen3_) {
    const VomoStatus status = Vomo_TakeOutGen3Jitter(&Crossovers(), parameters_.dTargetUI,
                                                     results_.psGen3Results, &run_lengths_);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  if (!signal_.clock) {
    const VomoStatus status = Vomo_CONVERT_CROSSOVER_TO_CLOCK(
        &Crossovers(), 0, Crossovers().ulCount - 1, parameters_.dTargetUI, run_lengths_.get(),
        signal_.clock.pointer(), signal_.clock.handle_out());
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  if (gen3_) results_.psGen3Results->psClock = signal_.clock.get();
  if (parameters_.psPatChkData != nullptr) {
    results_.dEdgeDensity = parameters_.psPatChkData->dEdgeDensity;
    results_.ePatChkResult = parameters_.psPatChkData->ePatChkResult;
  }
  return Clock().ulCount < parameters_.ulMinUIForOfficialTest ? Vomo_STATUS_NOT_ENOUGH_UI
                                                              : Vomo_STATUS_SUCCESS;
}

// The slope of a straight line through the clock edges.
VomoStatus GeneralRun::FitUnitInterval() {
  if (!LeastSquares()) return Vomo_STATUS_SUCCESS;
  const uint32_t count = Clock().ulCount;
  const Scratch<double> edge_numbers(count);
  VecRamp_64f(edge_numbers.get(), static_cast<int32_t>(count), 0.0f, 1.0f);
  double intercept_s = 0.0, goodness = 0.0;
  return Vomo_Find_Linear_Fit(edge_numbers.get(), Clock().pdTimes, count, 0, count - 1,
                              &fitted_unit_interval_s_, &intercept_s, &goodness);
}

VomoStatus GeneralRun::FindIntervalErrors() {
  Received<double> intervals;
  uint32_t interval_count = 0;
  VomoStatus status =
      Vomo_CONVERT_CROSSOVER_TO_INTERVAL(&Clock(), 0, Clock().ulCount - 1, &interval_count,
                                         intervals.pointer(), intervals.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = Vomo_FIND_INTERVAL_ERROR(interval_count, intervals.get(), 0, interval_count - 1,
                                    &error_count_, errors_.pointer(), errors_.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  results_.dUnitInterval = intervals[0] - errors_[0];
  if (LeastSquares()) {
    VecAddConstInPlace_64f(results_.dUnitInterval - fitted_unit_interval_s_, errors_.get(),
                           static_cast<int32_t>(error_count_));
    results_.dUnitInterval = fitted_unit_interval_s_;
  }
  return Vomo_STATUS_SUCCESS;
}

// The running sum of the interval errors is the time interval error at each edge. It loses its mean
// before the first edge's 0.0 goes in front, which therefore is off by that mean.
VomoStatus GeneralRun::AccumulateErrors() {
  Received<double> sums;
  const VomoStatus status =
      VomoACCUMULATE_ARRAY(errors_.get(), 0, error_count_ - 1, sums.pointer(), sums.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  errors_.Free();
  double mean = 0.0;
  VecMean_64f(sums.get(), static_cast<int32_t>(error_count_), &mean);
  jitter_sequence_ = Scratch<double>(uint64_t{error_count_} + 1);
  jitter_sequence_[0] = 0.0;
  VecSubConst_64f(sums.get(), mean, jitter_sequence_.get() + 1, static_cast<int32_t>(error_count_));
  return Vomo_STATUS_SUCCESS;
}

VomoStatus GeneralRun::AnalyseJitter() {
  const VomoStatus status = Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(
      jitter_sequence_.get(), static_cast<uint32_t>(jitter_sequence_.size()), parameters_,
      &results_, &cleaned_count_, cleaned_.pointer(), cleaned_.handle_out());
  jitter_sequence_ = Scratch<double>();
  return status;
}

VomoStatus GeneralRun::LastStage(const EyeOutputs &eye) {
  if (!gen3_) return Eye(eye);
  return Vomo_MeasureGen3Voltages(signal_.waveform, &Crossovers(), 0, Crossovers().ulCount - 1,
                                  run_lengths_.get(), &parameters_, &results_);
}

// A caller without a place for the stage's handle gets none of what would lie in that block.
VomoStatus GeneralRun::Eye(const EyeOutputs &eye) {
  const bool wanted = eye.handle != nullptr;
  VomoHandle own_handle = 0;
  const VomoStatus status =
      Vomo_EyeStage(&parameters_, &results_, signal_.waveform, signal_.clock.get(),
                    eye.pass_through, wanted ? eye.point_status : nullptr, cleaned_.get(),
                    wanted ? eye.plots : nullptr, wanted ? eye.transition_plots : nullptr,
                    wanted ? eye.histogram : nullptr, wanted ? eye.handle : &own_handle);
  Vomo_HANDLE_FREE(own_handle);
  return status;
}

void GeneralRun::Deliver(const JitterOutputs &jitter) {
  if (jitter.values != nullptr) {
    *jitter.count = cleaned_count_;
    cleaned_.Deliver(jitter.values, jitter.handle);
  }
  Vomo_PublishJitterPdf();
  Vomo_PublishJitterQ();
  Vomo_PublishJitterSpectrum();
  results_.sJitterPdf = JitterSlots().pdf.published.record;
  results_.sJitterQ = JitterSlots().q.published.record;
  results_.sJitterSpectrum = JitterSlots().spectrum.published.record;
}

}  // namespace
}  // namespace vomo

extern "C" VomoStatus Vomo_GENERAL_COMPLIANCE(VomoWaveform *psWaveform, VomoWaveform *psComplement,
                                              VomoComplianceParams sParameters,
                                              VomoComplianceResults *psResults, void *pvPassThrough,
                                              uint8_t **ppbyPointStatus, VomoTemplate *psPlots,
                                              VomoTemplate *psTransPlots,
                                              VomoHistogramData *psHistogramData,
                                              VomoHandle *pHandle, uint32_t *pulJitterCount,
                                              double **ppdJitter, VomoHandle *phJitter) noexcept {
  if (psWaveform == nullptr || psResults == nullptr ||
      (sParameters.psGen3BaseCompParameters == nullptr) != (psResults->psGen3Results == nullptr) ||
      (ppdJitter != nullptr && (pulJitterCount == nullptr || phJitter == nullptr))) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return vomo::Guarded([&] {
    vomo::GeneralRun run(sParameters, *psResults);
    return run.Run(
        psWaveform, psComplement,
        {pvPassThrough, ppbyPointStatus, psPlots, psTransPlots, psHistogramData, pHandle},
        {pulJitterCount, ppdJitter, phJitter});
  });
}

extern "C" VomoStatus Vomo_GENERAL_COMPLIANCE_NO_EYE(VomoWaveform *psWaveform,
                                                     VomoWaveform *psComplement,
                                                     VomoComplianceParams sParameters,
                                                     VomoComplianceResults *psResults,
                                                     void *pvPassThrough) noexcept {
  return Vomo_GENERAL_COMPLIANCE(psWaveform, psComplement, sParameters, psResults, pvPassThrough,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr);
}
