// The heart of the jitter separation: a time interval error sequence, taken apart through its
// spectrum into what is filtered and what is left when the spectral lines are gone.
#include <algorithm>
#include <cmath>

#include "compliance/jitter_spectrum.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "primitives/vec.h"
#include "stats/jitter_slots.h"

namespace vomo {
namespace {

constexpr int32_t kHighPass = 1;

// A one-sided spectrum of a real sequence.
struct Spectrum {
  Received<VomoComplexDouble> bins;
  uint32_t count = 0;
  double spacing_hz = 0.0;
  uint32_t odd_length = 0;

  void Transform(const double *values, uint32_t value_count, double sample_spacing_s) {
    VomoFFT_REAL_DOUBLE(values, 0, value_count - 1, sample_spacing_s, &count, bins.pointer(),
                        &spacing_hz, &odd_length, bins.handle_out());
  }
};

// A sequence in time, in its own block.
struct Sequence {
  Received<double> values;
  uint32_t count = 0;

  void TransformBack(const VomoComplexDouble *bins, const Spectrum &like) {
    double spacing_s = 0.0;
    VomoIFFT_REAL_DOUBLE(bins, 0, like.count - 1, like.spacing_hz, like.odd_length, &count,
                         values.pointer(), &spacing_s, values.handle_out());
  }
};

// Differences of neighbouring real edges, with the trim that goes with them.
struct BitToBit {
  Scratch<double> values;
  uint32_t count = 0;
  uint32_t trim = 0;
};

// Root of the mean square of values first to last - 1.
double RootMeanSquare(const double *values, uint32_t first, uint32_t last) {
  double sum = 0.0;
  for (uint32_t i = first; i < last; ++i) sum += values[i] * values[i];
  return std::sqrt(sum / (last - first));
}

class IntervalAnalysis {
 public:
  IntervalAnalysis(const VomoComplianceParams &parameters, VomoComplianceResults &results)
      : parameters_(parameters),
        results_(results),
        gen3_(parameters.psGen3BaseCompParameters != nullptr && results.psGen3Results != nullptr) {}

  // All up to the fit. A stage that leaves nothing to go on with ends it.
  VomoStatus Separate(const double *sequence, uint32_t count);
  VomoStatus Fit();
  Sequence &filtered() { return filtered_; }

 private:
  VomoStatus FilterSpectrum();
  void RecordSpectra();
  void CutSpikes();
  VomoStatus TrimFiltered();
  VomoStatus SplitBitToBit();
  void PutBackFOver2();
  void MeasureFiltered();
  VomoStatus MeasureRandom();
  void FitBitToBit();

  uint32_t ClockedCount(const Sequence &sequence) const;
  BitToBit Differences(const Sequence &sequence) const;
  void KeepRealEdges(Sequence &sequence, uint32_t *trim) const;
  VomoGen3Results &Gen3() const { return *results_.psGen3Results; }
  // Whether values are left between the trimmed ends.
  bool RangeIsLeft(uint32_t count) const { return count > 2 * uint64_t{trim_}; }

  const VomoComplianceParams &parameters_;
  VomoComplianceResults &results_;
  const bool gen3_;
  Spectrum raw_;
  Received<VomoComplexDouble> filtered_bins_;
  Received<VomoComplexDouble> spike_free_bins_;
  Spectrum difference_spectrum_;
  Sequence filtered_;
  BitToBit differences_;
  uint32_t trim_ = 0;
};

VomoStatus IntervalAnalysis::Separate(const double *sequence, uint32_t count) {
  double smallest_s = 0.0, largest_s = 0.0;
  VomoFIND_MIN_MAX_DOUBLE(sequence, 0, count - 1, &smallest_s, nullptr, &largest_s, nullptr);
  results_.dTIEPeakPeak = largest_s - smallest_s;
  raw_.Transform(sequence, count, results_.dUnitInterval);
  VomoStatus status = FilterSpectrum();
  if (!gen3_) RecordSpectra();
  if (status != Vomo_STATUS_SUCCESS) return status;
  CutSpikes();
  filtered_.TransformBack(filtered_bins_.get(), raw_);
  status = TrimFiltered();
  if (status != Vomo_STATUS_SUCCESS) return status;
  raw_.bins.Free();
  filtered_bins_.Free();
  difference_spectrum_.bins.Free();
  if (!gen3_) MeasureFiltered();
  return MeasureRandom();
}

// Shapes the spectrum by the clock recovery's high pass.
VomoStatus IntervalAnalysis::FilterSpectrum() {
  if (!raw_.bins) return Vomo_STATUS_PARAM_NOT_VALID;
  Received<VomoComplexDouble> filter;
  VomoGENERATE_SIMPLE_FILTER(
      raw_.spacing_hz, raw_.count, kHighPass, parameters_.eFilterOrder,
      static_cast<float>(parameters_.dBrickFloor), parameters_.sFilterParams.dFc,
      static_cast<float>(parameters_.sFilterParams.dZ), filter.pointer(), filter.handle_out());
  VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY(raw_.bins.get(), filter.get(), 0, raw_.count - 1,
                                    filtered_bins_.pointer(), filtered_bins_.handle_out());
  return filtered_bins_ ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PARAM_NOT_VALID;
}

void IntervalAnalysis::RecordSpectra() {
  Vomo_RecordJitterSpectrum(raw_.count, raw_.bins.get(), filtered_bins_.get(), raw_.spacing_hz,
                            difference_spectrum_.count, difference_spectrum_.bins.get(),
                            difference_spectrum_.spacing_hz, JitterSlots().spectrum.working);
}

// Takes every bin but the first down to the noise floor of the filtered spectrum.
void IntervalAnalysis::CutSpikes() {
  Received<double> floor;
  VomoFIND_NOISE_FLOOR(filtered_bins_.get(), raw_.count, parameters_.sNoiseFloorAlgParams,
                       results_.dUnitInterval, floor.pointer(), floor.handle_out());
  VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(filtered_bins_.get(), floor.get(), raw_.count, 0.0,
                                    spike_free_bins_.pointer(), spike_free_bins_.handle_out());
}

// Settles how many values both ends lose, before and, in a Gen3 run, after the virtual edges go.
VomoStatus IntervalAnalysis::TrimFiltered() {
  if (!filtered_.values) return Vomo_STATUS_PARAM_NOT_VALID;
  trim_ = VomoToU32(filtered_.count * parameters_.dPointsToTrimPercent);
  if (gen3_) {
    const VomoStatus status = SplitBitToBit();
    if (status != Vomo_STATUS_SUCCESS) return status;
  }
  return RangeIsLeft(filtered_.count) ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PARAM_NOT_VALID;
}

VomoStatus IntervalAnalysis::SplitBitToBit() {
  const VomoCrossoverData *clock = Gen3().psClock;
  if (clock == nullptr || clock->pucFlags == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  PutBackFOver2();
  differences_ = Differences(filtered_);
  if (differences_.count > 0) {
    difference_spectrum_.Transform(differences_.values.get(), differences_.count,
                                   results_.dUnitInterval);
  }
  RecordSpectra();
  KeepRealEdges(filtered_, &trim_);
  return Vomo_STATUS_SUCCESS;
}

// Anything but a clock pattern gets back the F/2 jitter that the pattern's removal has taken out.
void IntervalAnalysis::PutBackFOver2() {
  const int16_t *run_lengths = Gen3().psRunLengths;
  const uint32_t count = Gen3().ulRunLengthCount;
  int16_t longest = 0;
  if (run_lengths != nullptr && RangeIsLeft(count)) {
    VecMax_16s(run_lengths + trim_, static_cast<int32_t>(count - 2 * trim_), &longest);
  }
  if (longest >= 1.5) {
    Modify_Dj_FOver2_Inplace_AllUIFrontTimes(filtered_.values.get(), filtered_.count,
                                             -Gen3().fFOver2Dj);
  }
}

uint32_t IntervalAnalysis::ClockedCount(const Sequence &sequence) const {
  return std::min(Gen3().psClock->ulCount, sequence.count);
}

BitToBit IntervalAnalysis::Differences(const Sequence &sequence) const {
  const uint8_t *flags = Gen3().psClock->pucFlags;
  const uint32_t count = ClockedCount(sequence);
  BitToBit result{Scratch<double>(sequence.count), 0, 0};
  for (uint32_t i = 0; uint64_t{i} + 1 < count; ++i) {
    if (uint64_t{i} == uint64_t{trim_} + 1) result.trim = result.count;
    if (flags[i] == CROSSOVER_VIRTUAL || flags[i + 1] == CROSSOVER_VIRTUAL) continue;
    result.values[result.count++] = sequence.values[i + 1] - sequence.values[i];
  }
  return result;
}

// Drops the values at virtual edges. The trim, if one is given, is recounted in kept values.
void IntervalAnalysis::KeepRealEdges(Sequence &sequence, uint32_t *trim) const {
  const uint8_t *flags = Gen3().psClock->pucFlags;
  const uint32_t count = ClockedCount(sequence);
  uint32_t kept = 0, kept_before_trim = trim != nullptr ? *trim : 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (trim != nullptr && uint64_t{i} == uint64_t{*trim} + 1) kept_before_trim = kept;
    if (flags[i] != CROSSOVER_VIRTUAL) sequence.values[kept++] = sequence.values[i];
  }
  sequence.count = kept;
  if (trim != nullptr) *trim = kept_before_trim;
}

void IntervalAnalysis::MeasureFiltered() {
  const uint32_t used = filtered_.count - 2 * trim_;
  double smallest_s = 0.0, largest_s = 0.0;
  VomoFIND_MIN_MAX_DOUBLE(filtered_.values.get(), trim_, trim_ + used - 1, &smallest_s,
                          &results_.ulMinJitterIndex, &largest_s, &results_.ulMaxJitterIndex);
  results_.dPeakPeakJitter = largest_s - smallest_s;
  results_.ulMinJitterIndex += trim_;
  results_.ulMaxJitterIndex += trim_;
  results_.ulFirstValidIndex = trim_;
  results_.ulLastValidIndex = filtered_.count - trim_ - 1;
  results_.ulFirstIndex = 0;
  results_.ulLastIndex = filtered_.count - 1;
  results_.ulPointsUsed = used;
}

// Rj from the sequence without spikes.
VomoStatus IntervalAnalysis::MeasureRandom() {
  Sequence spike_free;
  if (spike_free_bins_) spike_free.TransformBack(spike_free_bins_.get(), raw_);
  spike_free_bins_.Free();
  if (!spike_free.values) return Vomo_STATUS_PARAM_NOT_VALID;
  BitToBit spike_free_differences;
  if (gen3_) {
    spike_free_differences = Differences(spike_free);
    KeepRealEdges(spike_free, nullptr);
  }
  if (!RangeIsLeft(spike_free.count)) return Vomo_STATUS_PARAM_NOT_VALID;
  const double *values = spike_free.values.get();
  results_.dRjRMS = parameters_.dRjRMSInput > 0
                        ? parameters_.dRjRMSInput
                        : RootMeanSquare(values, trim_, spike_free.count - trim_);
  // One value more at its end than the range of Rj, as far as there is one.
  VomoFIND_STD_DEV_DOUBLE(values, trim_, std::min(spike_free.count - trim_, spike_free.count - 1),
                          &results_.dRjStdDev);
  if (gen3_ && spike_free_differences.count > 2 * uint64_t{differences_.trim}) {
    Gen3().dRj = RootMeanSquare(spike_free_differences.values.get(), differences_.trim,
                                spike_free_differences.count - differences_.trim);
  }
  return Vomo_STATUS_SUCCESS;
}

VomoStatus IntervalAnalysis::Fit() {
  if (gen3_) FitBitToBit();
  return VomoFIT_DUAL_DIRAC(filtered_.values.get(), filtered_.count, trim_, parameters_,
                            &results_.dRjRMS, &results_, &results_.dDjDeltaDelta,
                            &results_.dTjPeakPeak);
}

// A side result of the Gen3 run: its status does not count, and the second fit overwrites the Dirac
// positions.
void IntervalAnalysis::FitBitToBit() {
  if (differences_.count <= 2 * uint64_t{differences_.trim}) return;
  VomoFIT_DUAL_DIRAC(differences_.values.get(), differences_.count, differences_.trim, parameters_,
                     &Gen3().dRj, &results_, &Gen3().dDj, &Gen3().dTj);
}

}  // namespace
}  // namespace vomo

extern "C" VomoStatus Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(
    const double *pdSequence, uint32_t ulCount, VomoComplianceParams sParameters,
    VomoComplianceResults *psResults, uint32_t *pulCount, double **ppdSequence,
    VomoHandle *phSequence) noexcept {
  if (pdSequence == nullptr || psResults == nullptr ||
      (ppdSequence != nullptr && (pulCount == nullptr || phSequence == nullptr))) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulCount < 2) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return vomo::Guarded([&] {
    vomo::IntervalAnalysis analysis(sParameters, *psResults);
    VomoStatus status = analysis.Separate(pdSequence, ulCount);
    if (status != Vomo_STATUS_SUCCESS) return status;
    status = analysis.Fit();
    vomo::Sequence &filtered = analysis.filtered();
    // Without a place for the sequence the status of its release stands for the fit's.
    if (ppdSequence == nullptr) return filtered.values.Free();
    *pulCount = filtered.count;
    filtered.values.Deliver(ppdSequence, phSequence);
    return status;
  });
}
