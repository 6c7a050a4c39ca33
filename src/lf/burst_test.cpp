// The burst test: finds the bursts of a capture, measures each, and gathers the extremes.
#include <algorithm>
#include <iterator>
#include <span>

#include "core/handle_table.h"

namespace vomo {
namespace {

constexpr int32_t kBurstTrain = 1, kPulseWidthCoded = 2;
constexpr double kPrepareGuard_s = 2e-7;
// The part of a half period in which its level is measured.
constexpr float kLevelWindowBegin = 0.5f, kLevelWindowEnd = 0.75f;

struct Capture {
  const VomoWaveform *waveform;
  const float *common_mode;  // NULL for none
};

// Where the bursts of a capture lie, as found and as measured, and what goes before them.
struct Bursts {
  int32_t count = 0;
  Received<uint32_t> bounds, trimmed;
  Received<double> prepare;
};

// Measures one burst. What it takes from the handle table lives as long as it does.
class BurstMeter {
 public:
  BurstMeter(const Capture &capture, const Bursts &bursts, int32_t index, VomoLFTestParams &params,
             VomoLFTestResults &results)
      : capture_(capture), bursts_(bursts), index_(index), p_(params), r_(results) {}

  double mean_period_s() const { return mean_period_s_; }

  VomoStatus Measure() {
    const VomoStatus status = Run(kEveryBurst);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    return p_.eLFTestType == kBurstTrain ? Run(kTrainBurst) : Run(kCodedBurst);
  }

 private:
  using Step = VomoStatus (BurstMeter::*)();
  static const Step kEveryBurst[4], kTrainBurst[6], kCodedBurst[6];

  VomoStatus Run(std::span<const Step> steps) {
    for (const Step step : steps) {
      const VomoStatus status = (this->*step)();
      if (Vomo_STATUS_IS_ERROR(status)) return status;
    }
    return Vomo_STATUS_SUCCESS;
  }

  uint32_t First() const { return bursts_.trimmed[2 * static_cast<uint64_t>(index_)]; }
  uint32_t Last() const { return bursts_.trimmed[2 * static_cast<uint64_t>(index_) + 1]; }

  VomoStatus FindCrossovers() {
    double smallest_spacing_s;
    return Vomo_FIND_CROSSOVERS_FILT(capture_.waveform, 0.0f, p_.ulFilterCount, nullptr, First(),
                                     Last(), p_.dUnitInterval, Vomo_CROSSOVERS_ALL,
                                     crossovers_.pointer(), crossovers_.handle_out(), nullptr,
                                     nullptr, &smallest_spacing_s);
  }
  VomoStatus FindIntervals() {
    uint32_t count;
    return Vomo_CONVERT_CROSSOVER_TO_INTERVAL(crossovers_.get(), 0, crossovers_->ulCount - 1,
                                              &count, intervals_.pointer(),
                                              intervals_.handle_out());
  }
  VomoStatus FindPolarity() {
    return Vomo_LF_INITIAL_RISE_FALL(capture_.waveform, crossovers_.get(), p_.iPolaritySampleOffset,
                                     &p_.iFirstEdgeRising);
  }
  VomoStatus MeasurePeriod() {
    return Vomo_LF_PERIOD(index_, crossovers_.get(), intervals_.get(), &mean_period_s_,
                          &r_.dPeriodMin, &r_.dPeriodMax);
  }

  VomoStatus MeasureCommonMode() {
    if (capture_.common_mode == nullptr) return Vomo_STATUS_SUCCESS;
    return Vomo_LF_COMMON_MODE(index_, &capture_.common_mode, First(), Last(), &r_.dCommonModeMax);
  }
  VomoStatus MeasureVoltage() {
    return Vomo_LF_VOLTAGE_PP(index_, capture_.waveform, bursts_.trimmed.get(), crossovers_.get(),
                              &r_.dVoltagePPMin, &r_.dVoltagePPMax);
  }
  VomoStatus MeasureRiseFall() {
    return Vomo_LF_RISE_FALL_TIME(
        capture_.waveform, index_, crossovers_.get(), p_.iFirstEdgeRising, p_.iEdgeSearchSamples,
        p_.fLowLevelFraction, p_.fHighLevelFraction, kLevelWindowBegin, kLevelWindowEnd,
        levels_known_ ? levels_ : nullptr, &r_.dRiseTimeMax, &r_.dFallTimeMax);
  }
  VomoStatus MeasureBurstTime() {
    return Vomo_LF_BURST_TIME(index_, capture_.waveform->dSampleInterval, bursts_.bounds.get(),
                              &r_.dBurstTimeMin, &r_.dBurstTimeMax);
  }
  VomoStatus MeasureRepeatTime() {
    if (index_ + 1 == bursts_.count) return Vomo_STATUS_SUCCESS;
    return Vomo_LF_REPEAT_TIME(index_, capture_.waveform->dSampleInterval, bursts_.bounds.get(),
                               &r_.dRepeatTimeMin, &r_.dRepeatTimeMax);
  }
  VomoStatus MeasureDutyCycle() {
    return Vomo_LF_DUTY_CYCLE(index_, crossovers_.get(), intervals_.get(), p_.iFirstEdgeRising,
                              &r_.dDutyCycleMin, &r_.dDutyCycleMax);
  }

  VomoStatus MeasurePrepareTime() {
    return Vomo_LF_PREPARE_TIME(index_, bursts_.prepare.get(), &r_.dPrepareTimeMin,
                                &r_.dPrepareTimeMax);
  }
  VomoStatus MeasureAmplitude() {
    return Vomo_LF_AMPLITUDE(index_, capture_.waveform, bursts_.trimmed.get(), crossovers_.get(),
                             &r_.dAmplitudeMin, &r_.dAmplitudeMax);
  }
  VomoStatus MeasureBitDuration() {
    return Vomo_LF_BIT_DURATION_TOLERANCE(index_, p_.iMinPeriods, p_.iAveragePeriods,
                                          crossovers_.get(), intervals_.get(), &r_.dBitDurationMin,
                                          &r_.dBitDurationMax);
  }
  VomoStatus MeasurePrepareLevels() {
    levels_known_ = true;
    return Vomo_LF_DIFF_DC(index_, capture_.waveform, bursts_.prepare.get(), kPrepareGuard_s,
                           kPrepareGuard_s, &levels_[0], &levels_[1], &r_.dDiffDCMin,
                           &r_.dDiffDCMax);
  }
  VomoStatus MeasureCoding() {
    return p_.iUseTransmitRatio != 0
               ? Vomo_LF_TRANSMIT_RATIO(index_, crossovers_.get(), intervals_.get(),
                                        &r_.dTransmitRatioMin, &r_.dTransmitRatioMax)
               : Vomo_LF_MINOR_DURATION(index_, crossovers_.get(), intervals_.get(),
                                        &r_.dMinorDurationMin, &r_.dMinorDurationMax);
  }

  const Capture &capture_;
  const Bursts &bursts_;
  const int32_t index_;
  VomoLFTestParams &p_;
  VomoLFTestResults &r_;
  Received<VomoCrossoverData> crossovers_;
  Received<double> intervals_;
  double mean_period_s_ = 0.0;
  float levels_[2] = {};  // high, low
  bool levels_known_ = false;
};

constexpr BurstMeter::Step BurstMeter::kEveryBurst[] = {
    &BurstMeter::FindCrossovers,
    &BurstMeter::FindIntervals,
    &BurstMeter::FindPolarity,
    &BurstMeter::MeasurePeriod,
};
constexpr BurstMeter::Step BurstMeter::kTrainBurst[] = {
    &BurstMeter::MeasureCommonMode, &BurstMeter::MeasureVoltage,    &BurstMeter::MeasureRiseFall,
    &BurstMeter::MeasureBurstTime,  &BurstMeter::MeasureRepeatTime, &BurstMeter::MeasureDutyCycle,
};
constexpr BurstMeter::Step BurstMeter::kCodedBurst[] = {
    &BurstMeter::MeasurePrepareTime, &BurstMeter::MeasureAmplitude,
    &BurstMeter::MeasureBitDuration, &BurstMeter::MeasurePrepareLevels,
    &BurstMeter::MeasureRiseFall,    &BurstMeter::MeasureCoding,
};

VomoStatus FindBursts(const Capture &capture, VomoLFTestParams &params, Bursts &bursts) {
  const auto find =
      params.eLFTestType == kPulseWidthCoded ? Vomo_LF_BURST_BOUNDS_PWM : Vomo_LF_BURST_BOUNDS;
  return find(capture.waveform, params.iBurstCount, params.eBurstPolarity, params.fBurstThreshold,
              params.dIdleTime, &bursts.count, bursts.bounds.pointer(), bursts.bounds.handle_out());
}

// Trims the bursts and finds the phases before them.
VomoStatus LayOut(const Capture &capture, const VomoLFTestParams &params, Bursts &bursts) {
  const VomoStatus status = Vomo_LF_TRIM_BOUNDS(
      bursts.count, capture.waveform->dSampleInterval, params.fTrimStart, params.fTrimEnd,
      bursts.bounds.get(), bursts.trimmed.pointer(), bursts.trimmed.handle_out());
  if (Vomo_STATUS_IS_ERROR(status) || params.eLFTestType != kPulseWidthCoded) return status;
  return Vomo_STALL_PREPARE_BOUNDS(capture.waveform, bursts.count, 0, bursts.bounds.get(),
                                   bursts.prepare.pointer(), bursts.prepare.handle_out());
}

VomoStatus MeasureBursts(const Capture &capture, const Bursts &bursts, VomoLFTestParams &params,
                         VomoLFTestResults &results, double *mean_period_s) {
  double sum_s = 0.0;
  for (int32_t index = 0; index < bursts.count; ++index) {
    BurstMeter meter(capture, bursts, index, params, results);
    const VomoStatus status = meter.Measure();
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    sum_s += meter.mean_period_s();
  }
  *mean_period_s = sum_s / bursts.count;
  return Vomo_STATUS_SUCCESS;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_LF_TEST(const VomoWaveform *psWaveform, const float *pfCommonMode,
                                   VomoLFTestParams *psParams,
                                   VomoLFTestResults *psResults) noexcept {
  if (psWaveform == nullptr || psParams == nullptr || psResults == nullptr) {
    return Vomo_STATUS_FILE_READ_ERROR;
  }
  const Capture capture{psWaveform, pfCommonMode};
  Bursts bursts;
  const VomoStatus found = FindBursts(capture, *psParams, bursts);
  if (Vomo_STATUS_IS_ERROR(found)) return found;
  double mean_period_s = 0.0;
  if (bursts.count > 0) {
    const auto kept =
        std::min(2 * static_cast<std::size_t>(bursts.count), std::size(psParams->aulBurstBounds));
    std::copy_n(bursts.bounds.get(), kept, psParams->aulBurstBounds);
    VomoStatus status = LayOut(capture, *psParams, bursts);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = MeasureBursts(capture, bursts, *psParams, *psResults, &mean_period_s);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  psParams->iBurstsFound = bursts.count;
  psParams->dMeanPeriod = mean_period_s;
  return found;
}
