#include "compliance/dual_port_filter.h"

#include <algorithm>

#include "compliance/run_stages.h"
#include "core/numeric.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

// The spectrum as the PLL passes it on.
VomoStatus ApplyPll(const DualPortInput &input, const VomoFilterParams &filter,
                    Received<VomoComplexDouble> &product) {
  Received<VomoComplexDouble> response;
  const VomoStatus status = VomoGENERATE_PLL_FILTER(input.bin_spacing_hz, input.bin_count,
                                                    filter.dFc, static_cast<float>(filter.dZ),
                                                    response.pointer(), response.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  return VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY(input.clock_spectrum, response.get(), 0,
                                           input.bin_count - 1, product.pointer(),
                                           product.handle_out());
}

// The clock's intervals with its filtered jitter in them.
VomoStatus ClockIntervals(const DualPortInput &input, const VomoFilterParams &filter,
                          bool use_as_it_is, Scratch<double> &intervals) {
  Received<VomoComplexDouble> product;
  if (!use_as_it_is) {
    const VomoStatus status = ApplyPll(input, filter, product);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  Received<double> jitter;
  uint32_t count = 0;
  double spacing_s = 0.0;
  const VomoStatus status =
      VomoIFFT_REAL_DOUBLE(use_as_it_is ? input.clock_spectrum : product.get(), 0,
                           input.bin_count - 1, input.bin_spacing_hz, input.odd_length, &count,
                           jitter.pointer(), &spacing_s, jitter.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  intervals = Scratch<double>(count);
  intervals[0] = jitter[0] + input.clock_unit_interval_s;
  for (uint32_t i = 1; i < count; ++i) {
    intervals[i] = jitter[i] - jitter[i - 1] + input.clock_unit_interval_s;
  }
  return status;
}

// One alignment of data and clock, in unit intervals that either is ahead.
struct Alignment {
  uint32_t data_ahead, clock_ahead;
  int32_t offset;
  bool takes_off_mean;  // the first of the three alone

  uint32_t shift() const { return std::max(data_ahead, clock_ahead); }
};

class FilterTrials {
 public:
  FilterTrials(const DualPortInput &input, const VomoComplianceParams &parameters,
               const VomoDualPortParams &dual_port, const Scratch<double> &clock_intervals)
      : input_(input),
        parameters_(parameters),
        clock_intervals_(clock_intervals),
        trim_(VomoToU32(static_cast<double>(clock_intervals.size()) *
                        parameters.dPointsToTrimPercent)),
        ratio_(VomoToU32(dual_port.dClockTargetUI / parameters.dTargetUI)),
        differences_(clock_intervals.size()) {
    trial_.dUnitInterval = input.clock_unit_interval_s;
  }

  VomoStatus Run(const Alignment &alignment, TrialJitter &jitter, TrialLog &log) {
    Received<double> sums;
    uint32_t last = 0;
    VomoStatus status = Accumulate(alignment, sums, last);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    TrialJitter trial_jitter;
    status = Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(
        sums.get(), last + 1, parameters_, &trial_, &trial_jitter.count,
        trial_jitter.values.pointer(), trial_jitter.values.handle_out());
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    log.Note({0, alignment.offset, trial_.dTjPeakPeak, trial_.dDjDeltaDelta, trial_.dRjRMS});
    if (trial_.dTjPeakPeak > best_.dTjPeakPeak) Keep(alignment, trial_jitter, jitter);
    return sums.Free();
  }

  const VomoComplianceResults &best() const { return best_; }

 private:
  // Running sum of the differences between data and clock intervals, elements 0 to last.
  VomoStatus Accumulate(const Alignment &alignment, Received<double> &sums, uint32_t &last) {
    const auto size = static_cast<int64_t>(clock_intervals_.size());
    const int64_t stop =
        std::min(size - alignment.shift() - trim_ - ratio_, size - 1 - alignment.shift());
    if (stop - trim_ < 1) return Vomo_STATUS_PARAM_NOT_VALID;
    last = static_cast<uint32_t>(stop - trim_);
    const double *data = input_.data_intervals + trim_ + alignment.clock_ahead;
    const double *clock = clock_intervals_.get() + trim_ + alignment.data_ahead;
    VecSub_64f(clock, data, differences_.get(), static_cast<int32_t>(last + 1));
    const VomoStatus status =
        VomoACCUMULATE_ARRAY(differences_.get(), 0, last, sums.pointer(), sums.handle_out());
    if (Vomo_STATUS_IS_ERROR(status) || !alignment.takes_off_mean) return status;
    // Off all but the last value.
    double mean = 0.0;
    VomoFIND_MEAN_DOUBLE(sums.get(), 0, last, &mean);
    VecSubConstInPlace_64f(mean, sums.get(), static_cast<int32_t>(last));
    return status;
  }

  // The trial becomes the best, its indices those of the untrimmed sequence.
  void Keep(const Alignment &alignment, TrialJitter &trial_jitter, TrialJitter &jitter) {
    best_ = trial_;
    for (uint32_t VomoComplianceResults::*index :
         {&VomoComplianceResults::ulMaxJitterIndex, &VomoComplianceResults::ulMinJitterIndex,
          &VomoComplianceResults::ulFirstValidIndex, &VomoComplianceResults::ulLastValidIndex,
          &VomoComplianceResults::ulFirstIndex, &VomoComplianceResults::ulLastIndex}) {
      best_.*index += trim_ + alignment.clock_ahead;
    }
    best_.iClockDataOffsetUI = alignment.offset;
    jitter.values.Free();
    jitter.count = trial_jitter.count;
    trial_jitter.values.Deliver(jitter.values.pointer(), jitter.values.handle_out());
    PublishCurves();
  }

  const DualPortInput &input_;
  const VomoComplianceParams &parameters_;
  const Scratch<double> &clock_intervals_;
  uint32_t trim_;
  uint32_t ratio_;
  Scratch<double> differences_;
  VomoComplianceResults trial_{}, best_{};
};

}  // namespace

VomoStatus Vomo_AnalyseDualPortFilter(const DualPortInput &input, const VomoFilterParams &filter,
                                      const VomoComplianceParams &parameters,
                                      const VomoDualPortParams &dual_port,
                                      VomoComplianceResults *psResults, TrialJitter &jitter,
                                      TrialLog &log) {
  Scratch<double> clock_intervals;
  VomoStatus status =
      ClockIntervals(input, filter, dual_port.iUseClockCrossovers != 0, clock_intervals);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const uint32_t shift = dual_port.ulClockDataOffsetUI;
  const auto ahead = static_cast<int32_t>(shift), behind = static_cast<int32_t>(0u - shift);
  FilterTrials trials(input, parameters, dual_port, clock_intervals);
  for (const Alignment &alignment : {Alignment{shift, 0, ahead, true}, Alignment{0, 0, 0, false},
                                     Alignment{0, shift, behind, false}}) {
    status = trials.Run(alignment, jitter, log);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  *psResults = trials.best();
  return status;
}

}  // namespace vomo
