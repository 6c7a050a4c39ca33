// Data measured against a second waveform, its clock, through each PLL of a list.
#include <algorithm>
#include <cmath>

#include "compliance/dual_port_filter.h"
#include "compliance/parameter_dump.h"
#include "compliance/run_stages.h"
#include "compliance/waveform_preparation.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"

namespace vomo {
namespace {

constexpr double kClockFilterHz = 5000000000.0;

// What of a waveform is visible; puts it back as it was.
class VisibleRange {
 public:
  explicit VisibleRange(VomoWaveform &waveform) : waveform_(waveform), saved_(waveform) {}
  void Restore() const { waveform_ = saved_; }

 private:
  VomoWaveform &waveform_;
  VomoWaveform saved_;
};

double StartTime(const VomoWaveform &w) {
  return w.ulTrimFront * w.dSampleInterval;
}
double Duration(const VomoWaveform &w) {
  return w.ulNumSamples * w.dSampleInterval;
}

// False, and no change, if nothing would stay visible.
bool HideFront(VomoWaveform &waveform, uint32_t count) {
  if (count >= waveform.ulNumSamples) return false;
  waveform.pfSamples += count;
  waveform.ulNumSamples -= count;
  waveform.ulTrimFront += count;
  return true;
}

bool HideBack(VomoWaveform &waveform, uint32_t count) {
  if (count >= waveform.ulNumSamples) return false;
  waveform.ulNumSamples -= count;
  waveform.ulTrimBack += count;
  return true;
}

// Hides what lies before the later start, rounded, and behind the earlier end, truncated. The
// excess of the data counts in samples of the waveform that the caller gave.
bool Align(VomoWaveform &data, VomoWaveform &clock, double given_interval_s) {
  const double lead_s = StartTime(data) - StartTime(clock);
  if (lead_s > 0 && !HideFront(clock, VomoToU32(lead_s / clock.dSampleInterval + 0.5))) {
    return false;
  }
  if (lead_s < 0 && !HideFront(data, VomoToU32(-lead_s / data.dSampleInterval + 0.5))) {
    return false;
  }
  const double excess_s = Duration(data) - Duration(clock);
  if (excess_s > 0) return HideBack(data, VomoToU32(excess_s / given_interval_s));
  return !(excess_s < 0) || HideBack(clock, VomoToU32(-excess_s / clock.dSampleInterval));
}

class DualPortRun {
 public:
  DualPortRun(const VomoComplianceParams &parameters, const VomoDualPortParams &dual_port,
              VomoComplianceResults &results, VomoDualPortClockResults &clock_results,
              TrialLog &log)
      : parameters_(parameters),
        dual_port_(dual_port),
        results_(results),
        clock_results_(clock_results),
        log_(log) {}

  VomoStatus Run(VomoWaveform &waveform, VomoWaveform &clock, VomoWaveform *complement,
                 const EyeOutputs &eye, const JitterOutputs &jitter);

 private:
  VomoStatus MeasureDataInterval(VomoWaveform &clock);
  VomoStatus PrepareData(VomoWaveform &waveform, VomoWaveform *complement);
  VomoStatus FindClockEdges(VomoWaveform &clock, double given_interval_s);
  VomoStatus MakeClockOfClock();
  VomoStatus MakeClockOfData();
  VomoStatus CutToSameLength();
  VomoStatus FindIntervals();
  VomoStatus TransformClockJitter();
  VomoStatus TryFilters();
  void CarryOver();

  const VomoComplianceParams &parameters_;
  const VomoDualPortParams &dual_port_;
  VomoComplianceResults &results_;
  VomoDualPortClockResults &clock_results_;
  TrialLog &log_;
  double data_unit_interval_s_ = 0.0;
  uint32_t settling_count_ = 0;
  PreparedSignal data_;
  Received<VomoCrossoverData> clock_crossovers_, clock_;
  Received<double> data_intervals_, clock_intervals_;
  Received<VomoComplexDouble> spectrum_;
  DualPortInput input_{};
  VomoComplianceResults best_{};
  TrialJitter jitter_;
};

VomoStatus DualPortRun::Run(VomoWaveform &waveform, VomoWaveform &clock, VomoWaveform *complement,
                            const EyeOutputs &eye, const JitterOutputs &jitter) {
  if (dual_port_.iClockFilterEnable != 0) {
    VomoAPPLY_CLOCK_FILTER_TO_WAVEFORM(&clock, kClockFilterHz);
  }
  VomoStatus status = MeasureDataInterval(clock);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const double given_interval_s = waveform.dSampleInterval;
  status = PrepareData(waveform, complement);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = FindClockEdges(clock, given_interval_s);
  using Step = VomoStatus (DualPortRun::*)();
  for (const Step step : {&DualPortRun::MakeClockOfClock, &DualPortRun::MakeClockOfData,
                          &DualPortRun::CutToSameLength, &DualPortRun::FindIntervals,
                          &DualPortRun::TransformClockJitter, &DualPortRun::TryFilters}) {
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = (this->*step)();
  }
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  CarryOver();
  CopyPatternResults(parameters_, results_);
  status = RunEyeStage(parameters_, results_, *data_.waveform, *data_.clock.get(),
                       jitter_.values.get(), eye);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  DeliverJitter(jitter_.values, jitter_.count, jitter);
  CopyPublishedCurves(results_);
  return status;
}

// The data's unit interval as a first look at the clock says it is. The last interval has no part
// in the mean.
VomoStatus DualPortRun::MeasureDataInterval(VomoWaveform &clock) {
  const uint32_t settling_count =
      SettlingCount(dual_port_.dClockSettlingTime, clock.dSampleInterval);
  Received<VomoCrossoverData> crossovers;
  const VomoStatus status = FindRunCrossovers(clock, settling_count, dual_port_.dClockTargetUI,
                                              dual_port_.eClockCrossoverTypes, crossovers,
                                              &clock_results_.dMinCrossoverInterval);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  Received<double> intervals;
  uint32_t count = 0;
  Vomo_CONVERT_CROSSOVER_TO_INTERVAL(crossovers.get(), 0, crossovers->ulCount - 1, &count,
                                     intervals.pointer(), intervals.handle_out());
  if (count > 0) clock_results_.ulIntervalCount = count;
  if (count < 2) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  double mean_s = 0.0;
  VomoFIND_MEAN_DOUBLE(intervals.get(), 0, count - 2, &mean_s);
  data_unit_interval_s_ = parameters_.dTargetUI * mean_s / dual_port_.dClockTargetUI;
  const bool usable = data_unit_interval_s_ > 0 && std::isfinite(data_unit_interval_s_);
  return usable ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PARAM_OUT_OF_RANGE;
}

VomoStatus DualPortRun::PrepareData(VomoWaveform &waveform, VomoWaveform *complement) {
  settling_count_ = SettlingCount(parameters_.dSettlingTime, waveform.dSampleInterval);
  Vomo_DumpParameters(parameters_);
  return Vomo_PrepareWaveform(&waveform, complement, &parameters_, parameters_.dTargetUI,
                              StartArgument(parameters_, settling_count_), &results_, &data_);
}

// The clock's edges within what both captures cover. The clock's range is put back, the data's
// stays.
VomoStatus DualPortRun::FindClockEdges(VomoWaveform &clock, double given_interval_s) {
  const VisibleRange before(clock);
  if (!Align(*data_.waveform, clock, given_interval_s)) {
    before.Restore();
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const VomoStatus status = FindRunCrossovers(clock, settling_count_, dual_port_.dClockTargetUI,
                                              dual_port_.eClockCrossoverTypes, clock_crossovers_,
                                              &clock_results_.dMinCrossoverInterval);
  // A failed search leaves the clock as it was aligned.
  if (!Vomo_STATUS_IS_ERROR(status)) before.Restore();
  return status;
}

VomoStatus DualPortRun::MakeClockOfClock() {
  if (dual_port_.iUseClockCrossovers != 0) {
    clock_crossovers_.Deliver(clock_.pointer(), clock_.handle_out());
    return Vomo_STATUS_SUCCESS;
  }
  const VomoStatus status = Vomo_CONVERT_CROSSOVER_TO_CLOCK(
      clock_crossovers_.get(), 0, clock_crossovers_->ulCount - 1, data_unit_interval_s_, nullptr,
      clock_.pointer(), clock_.handle_out());
  clock_crossovers_.Free();
  return status;
}

VomoStatus DualPortRun::MakeClockOfData() {
  if (!data_.crossovers) {
    const VomoStatus status = FindRunCrossovers(*data_.waveform, settling_count_,
                                                data_unit_interval_s_, parameters_.eCrossoverTypes,
                                                data_.crossovers, &results_.dMinCrossoverInterval);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  VomoCrossoverData &crossovers = *data_.crossovers.get();
  CheckGen3Blocks(crossovers, data_unit_interval_s_, results_);
  if (crossovers.ulCount > 0) results_.dFirstCrossoverTime = crossovers.pdTimes[0];
  VomoStatus status = Vomo_STATUS_SUCCESS;
  if (!data_.clock) {
    crossovers.psPatChkData = parameters_.psPatChkData;
    status = Vomo_CONVERT_CROSSOVER_TO_CLOCK(&crossovers, 0, crossovers.ulCount - 1,
                                             data_unit_interval_s_, nullptr, data_.clock.pointer(),
                                             data_.clock.handle_out());
  }
  data_.crossovers.Free();
  return status;
}

VomoStatus DualPortRun::CutToSameLength() {
  const uint32_t shorter = std::min(data_.clock->ulCount, clock_->ulCount);
  if (shorter < parameters_.ulMinUIForOfficialTest) return Vomo_STATUS_NOT_ENOUGH_UI;
  data_.clock->ulCount = clock_->ulCount = shorter;
  return Vomo_STATUS_SUCCESS;
}

VomoStatus DualPortRun::FindIntervals() {
  VomoStatus status = Vomo_CONVERT_CROSSOVER_TO_INTERVAL(
      data_.clock.get(), 0, data_.clock->ulCount - 1, &results_.ulDataIntervalCount,
      data_intervals_.pointer(), data_intervals_.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = Vomo_CONVERT_CROSSOVER_TO_INTERVAL(
      clock_.get(), 0, clock_->ulCount - 1, &clock_results_.ulIntervalCount,
      clock_intervals_.pointer(), clock_intervals_.handle_out());
  clock_.Free();
  // Two-part data can have fewer intervals than edges; the trials read both alike.
  clock_results_.ulIntervalCount =
      std::min(clock_results_.ulIntervalCount, results_.ulDataIntervalCount);
  return status;
}

// The spectrum of the clock's accumulated interval errors, with their mean and without a leading 0.
VomoStatus DualPortRun::TransformClockJitter() {
  Received<double> errors, sums;
  uint32_t count = clock_results_.ulIntervalCount;
  VomoStatus status = Vomo_FIND_INTERVAL_ERROR(count, clock_intervals_.get(), 0, count - 1, &count,
                                               errors.pointer(), errors.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  clock_results_.dUnitInterval = clock_intervals_[0] - errors[0];
  clock_intervals_.Free();
  status = VomoACCUMULATE_ARRAY(errors.get(), 0, count - 1, sums.pointer(), sums.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  errors.Free();
  input_.data_intervals = data_intervals_.get();
  input_.clock_unit_interval_s = clock_results_.dUnitInterval;
  status = VomoFFT_REAL_DOUBLE(sums.get(), 0, count - 1, clock_results_.dUnitInterval,
                               &input_.bin_count, spectrum_.pointer(), &input_.bin_spacing_hz,
                               &input_.odd_length, spectrum_.handle_out());
  input_.clock_spectrum = spectrum_.get();
  return status;
}

// The worst filter of the list by Tj.
VomoStatus DualPortRun::TryFilters() {
  if (dual_port_.iPLLFilterCount <= 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  if (dual_port_.psPLLFilterParams == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  for (int32_t i = 0; i < dual_port_.iPLLFilterCount; ++i) {
    VomoComplianceResults trial{};
    TrialJitter jitter;
    const uint32_t noted = log_.count;
    const VomoStatus status = Vomo_AnalyseDualPortFilter(
        input_, dual_port_.psPLLFilterParams[i], parameters_, dual_port_, &trial, jitter, log_);
    for (uint32_t k = noted; k < log_.count; ++k) log_.trials[k].iPLLFilterIndex = i;
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    if (!(trial.dTjPeakPeak > best_.dTjPeakPeak)) continue;
    best_ = trial;
    best_.iPLLFilterIndex = i;
    jitter_.values.Free();
    jitter_.count = jitter.count;
    jitter.values.Deliver(jitter_.values.pointer(), jitter_.values.handle_out());
  }
  data_intervals_.Free();
  spectrum_.Free();
  return Vomo_STATUS_SUCCESS;
}

// What the run itself has found goes into the worst trial's record, which then is the result.
void DualPortRun::CarryOver() {
  best_.dMinCrossoverInterval = results_.dMinCrossoverInterval;
  best_.dFirstCrossoverTime = results_.dFirstCrossoverTime;
  best_.iCTLEIndexUsed = results_.iCTLEIndexUsed;
  best_.iDFEApplied = results_.iDFEApplied;
  best_.sGen3CheckData = results_.sGen3CheckData;
  results_ = best_;
}

struct DualPortRecords {
  VomoWaveform *waveform, *clock, *complement;
  const VomoComplianceParams &parameters;
  const VomoDualPortParams &dual_port;
  VomoComplianceResults *results;
  VomoDualPortClockResults *clock_results;
};

VomoStatus RunDualPort(const DualPortRecords &records, const EyeOutputs &eye,
                       const JitterOutputs &jitter, TrialLog &log) noexcept {
  if (records.waveform == nullptr || records.clock == nullptr || records.results == nullptr ||
      records.clock_results == nullptr || !jitter.AreComplete()) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    DualPortRun run(records.parameters, records.dual_port, *records.results, *records.clock_results,
                    log);
    return run.Run(*records.waveform, *records.clock, records.complement, eye, jitter);
  });
}

}  // namespace
}  // namespace vomo

extern "C" VomoStatus Vomo_DUAL_PORT_COMPLIANCE(
    VomoWaveform *psWaveform, VomoWaveform *psClockWaveform, VomoWaveform *psComplement,
    VomoComplianceParams sParameters, VomoDualPortParams sDualPort,
    VomoComplianceResults *psResults, VomoDualPortClockResults *psClockResults, void *pvPassThrough,
    uint8_t **ppbyPointStatus, VomoTemplate *psPlots, VomoTemplate *psTransPlots,
    VomoHistogramData *psHistogramData, VomoHandle *pHandle, uint32_t *pulJitterCount,
    double **ppdJitter, VomoHandle *phJitter) noexcept {
  vomo::TrialLog log;
  return vomo::RunDualPort(
      {psWaveform, psClockWaveform, psComplement, sParameters, sDualPort, psResults,
       psClockResults},
      {pvPassThrough, ppbyPointStatus, psPlots, psTransPlots, psHistogramData, pHandle},
      {pulJitterCount, ppdJitter, phJitter}, log);
}

extern "C" VomoStatus Vomo_DUAL_PORT_COMPLIANCE_NO_EYE(
    VomoWaveform *psWaveform, VomoWaveform *psClockWaveform, VomoWaveform *psComplement,
    VomoComplianceParams sParameters, VomoDualPortParams sDualPort,
    VomoComplianceResults *psResults, VomoDualPortClockResults *psClockResults,
    void *pvPassThrough) noexcept {
  return Vomo_DUAL_PORT_COMPLIANCE(psWaveform, psClockWaveform, psComplement, sParameters,
                                   sDualPort, psResults, psClockResults, pvPassThrough, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

extern "C" VomoStatus Vomo_DUAL_PORT_COMPLIANCE_TRIALS(
    VomoWaveform *psWaveform, VomoWaveform *psClockWaveform, VomoWaveform *psComplement,
    VomoComplianceParams sParameters, VomoDualPortParams sDualPort,
    VomoComplianceResults *psResults, VomoDualPortClockResults *psClockResults,
    VomoDualPortTrial *psTrials, uint32_t ulTrialCapacity, uint32_t *pulTrialCount) noexcept {
  if (psTrials == nullptr || pulTrialCount == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  vomo::TrialLog log{psTrials, ulTrialCapacity};
  const VomoStatus status = vomo::RunDualPort({psWaveform, psClockWaveform, psComplement,
                                               sParameters, sDualPort, psResults, psClockResults},
                                              {}, {}, log);
  *pulTrialCount = log.count;
  return status;
}
