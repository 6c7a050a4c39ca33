// The library's main entry: from a captured signal to separated jitter and the eye.
#include "compliance/gen3_stages.h"
#include "compliance/parameter_dump.h"
#include "compliance/run_stages.h"
#include "compliance/waveform_preparation.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

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
  VomoStatus MakeClock();
  VomoStatus FitUnitInterval();
  VomoStatus FindIntervalErrors();
  VomoStatus AccumulateErrors();
  VomoStatus AnalyseJitter();
  VomoStatus LastStage(const EyeOutputs &eye);

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
  DeliverJitter(cleaned_, cleaned_count_, jitter);
  PublishCurves();
  CopyPublishedCurves(results_);
  return status;
}

VomoStatus GeneralRun::Prepare(VomoWaveform *waveform, VomoWaveform *complement) {
  settling_count_ = SettlingCount(parameters_.dSettlingTime, waveform->dSampleInterval);
  Vomo_DumpParameters(parameters_);
  if (gen3_) {
    signal_.waveform = waveform;
    return Vomo_STATUS_SUCCESS;
  }
  return Vomo_PrepareWaveform(waveform, complement, &parameters_, parameters_.dTargetUI,
                              StartArgument(parameters_, settling_count_), &results_, &signal_);
}

VomoStatus GeneralRun::FindCrossovers() {
  if (!signal_.crossovers) {
    const VomoStatus status = FindRunCrossovers(
        *signal_.waveform, settling_count_, parameters_.dTargetUI, parameters_.eCrossoverTypes,
        signal_.crossovers, &results_.dMinCrossoverInterval);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    Crossovers().psPatChkData = parameters_.psPatChkData;
  }
  if (Crossovers().ulCount > 0) results_.dFirstCrossoverTime = Crossovers().pdTimes[0];
  CheckGen3Blocks(Crossovers(), parameters_.dTargetUI, results_);
  return Vomo_STATUS_SUCCESS;
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
  CopyPatternResults(parameters_, results_);
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
  if (!gen3_) {
    return RunEyeStage(parameters_, results_, *signal_.waveform, Clock(), cleaned_.get(), eye);
  }
  return Vomo_MeasureGen3Voltages(signal_.waveform, &Crossovers(), 0, Crossovers().ulCount - 1,
                                  run_lengths_.get(), &parameters_, &results_);
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
      !vomo::JitterOutputs{pulJitterCount, ppdJitter, phJitter}.AreComplete()) {
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
