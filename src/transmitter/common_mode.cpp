// Common mode of a pair: its direct voltage, and what is left of it in a band and below a corner.
#include <algorithm>
#include <cmath>

#include "core/array_range.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/run_transform.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

double Distance(float a, float b) {
  return std::fabs(static_cast<double>(a - b));
}

// A stretch whose ends nearly meet: it begins where the magnitude stops falling and ends where the
// distance from its first sample stops falling, seen from the last sample backwards.
IndexRange ClosedStretch(const float *samples, uint32_t count) {
  uint32_t start = 0, end = count - 1;
  while (start < end && std::fabs(samples[start]) > std::fabs(samples[start + 1])) ++start;
  const float first = samples[start];
  while (end > start && Distance(first, samples[end - 1]) < Distance(first, samples[end])) --end;
  return {start, end};
}

// The samples of a stretch as a period, and what filters of first order leave of it. One
// specification, with its tables, serves all transforms.
class PeriodSpectrum {
 public:
  explicit PeriodSpectrum(uint32_t count) : count_(count), bins_(BinCount()) {}

  // Of the samples less their mean.
  VomoStatus Transform(const float *samples, double interval_s) {
    auto *const values = reinterpret_cast<double *>(bins_.get());
    const int32_t length = PrimitiveLength(count_);
    double mean = 0.0;
    int32_t result = VecConvert_32f64f(samples, values, length);
    if (result == 0) result = VecMean_64f(values, length, &mean);
    if (result == 0) result = VecSubConstInPlace_64f(mean, values, length);
    if (result != 0) return PrimitiveFailure(result, Vomo_STATUS_COMPUTATION_ERROR);
    step_hz_ = 1.0 / (static_cast<double>(count_) * interval_s);
    if (!(interval_s > 0.0) || !(step_hz_ > 0.0)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
    const VomoStatus status =
        CreateTransform(DftSpecCreate_R_64f, count_, kDftDivideInverse, spec_);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    return RunTransform(DftForward_R_64f, values, bins_.get(), spec_);
  }

  VomoStatus LowPassPeakToPeak(double fc, uint32_t guard, double &volts) const {
    Received<VomoComplexDouble> response;
    const VomoStatus status = FirstOrder(0, fc, response);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    return FilteredPeakToPeak(response, guard, volts);
  }

  VomoStatus BandPeakToPeak(double high_pass_fc, double low_pass_fc, uint32_t guard,
                            double &volts) const {
    Received<VomoComplexDouble> band, high;
    VomoStatus status = FirstOrder(0, low_pass_fc, band);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = FirstOrder(1, high_pass_fc, high);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY_INPLACE(band.get(), high.get(), 0, LastBin());
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    high.Free();
    return FilteredPeakToPeak(band, guard, volts);
  }

 private:
  uint32_t BinCount() const { return count_ / 2 + 1; }
  uint32_t LastBin() const { return count_ / 2; }

  VomoStatus FirstOrder(int32_t high_pass, double fc, Received<VomoComplexDouble> &response) const {
    return VomoGENERATE_SIMPLE_FILTER(step_hz_, BinCount(), high_pass, FIRST_ORDER, 0.0f, fc, 0.0f,
                                      response.pointer(), response.handle_out());
  }

  // The response's array takes the filtered spectrum and then the filtered period.
  VomoStatus FilteredPeakToPeak(const Received<VomoComplexDouble> &response, uint32_t guard,
                                double &volts) const {
    VomoStatus status =
        VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY_INPLACE(response.get(), bins_.get(), 0, LastBin());
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    auto *const values = reinterpret_cast<double *>(response.get());
    status = RunTransform(DftInverse_R_64f, response.get(), values, spec_);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    return PeakToPeak(values, guard, volts);
  }

  VomoStatus PeakToPeak(const double *values, uint32_t guard, double &volts) const {
    const uint32_t skipped = std::min(guard, count_);
    const int64_t length = int64_t{count_} - 2 * int64_t{skipped};
    double least, greatest;
    int32_t least_index, greatest_index;
    // Nothing left between the guards is for the primitive to refuse.
    const int32_t result =
        VecMinMaxIndex_64f(values + skipped, length > 0 ? static_cast<int32_t>(length) : 0, &least,
                           &least_index, &greatest, &greatest_index);
    if (result != 0) return PrimitiveFailure(result, Vomo_STATUS_COMPUTATION_ERROR);
    volts = greatest - least;
    return Vomo_STATUS_SUCCESS;
  }

  uint32_t count_;
  Scratch<VomoComplexDouble> bins_;
  double step_hz_ = 0.0;
  DftSpecOwner spec_;
};

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_DC_COMMON_MODE(uint32_t ulSampleCount, const float *pfSamples,
                                          uint32_t ulFirst, uint32_t ulLast, double *pdMax,
                                          double *pdMin, double *pdMean) noexcept {
  if (pfSamples == nullptr || pdMax == nullptr || pdMin == nullptr || pdMean == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulFirst > ulLast || ulLast >= ulSampleCount) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  constexpr int32_t kAccurate = 2;
  const int32_t length = IndexRange{ulFirst, ulLast}.SignedCount();
  float least, greatest, mean;
  int32_t result = VecMinMax_32f(pfSamples + ulFirst, length, &least, &greatest);
  if (result == 0) result = VecMean_32f(pfSamples + ulFirst, length, &mean, kAccurate);
  if (result != 0) return PrimitiveFailure(result, Vomo_STATUS_COMPUTATION_ERROR);
  *pdMax = double{greatest};
  *pdMin = double{least};
  *pdMean = double{mean};
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_AC_COMMON_MODE_VOLTAGE(const float *pfSamples, uint32_t ulSampleCount,
                                                  float fGuardFraction, double dHighPassFc,
                                                  double dBandLowPassFc, double dLowPassFc,
                                                  double dSampleInterval, double *pdBandPeakPeak,
                                                  double *pdLowPassPeakPeak) noexcept {
  if (pfSamples == nullptr || pdBandPeakPeak == nullptr || pdLowPassPeakPeak == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulSampleCount == 0 || !(fGuardFraction >= 0.0f)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    const IndexRange stretch = ClosedStretch(pfSamples, ulSampleCount);
    const float guard_samples = static_cast<float>(stretch.Count()) * fGuardFraction;
    const auto guard = static_cast<uint32_t>(VomoToI32(double{guard_samples}));
    PeriodSpectrum spectrum(stretch.Count());
    double band = 0.0, low_pass = 0.0;
    VomoStatus status = spectrum.Transform(pfSamples + stretch.first, dSampleInterval);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = spectrum.LowPassPeakToPeak(dLowPassFc, guard, low_pass);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = spectrum.BandPeakToPeak(dHighPassFc, dBandLowPassFc, guard, band);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    *pdBandPeakPeak = band;
    *pdLowPassPeakPeak = low_pass;
    return status;
  });
}
