// Filters of first and second order, applied to a whole waveform in the frequency domain.
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/run_transform.h"
#include "core/waveform.h"
#include "primitives/dft.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

struct Filter {
  int32_t order;
  double fc, damping;
  int32_t high_pass;

  VomoStatus Generate(double delta_f, uint32_t count, Received<VomoComplexDouble> &response) const {
    if (order == 1) {
      return VomoGENERATE_FIRST_ORDER_FILTER(delta_f, count, high_pass, fc, response.pointer(),
                                             response.handle_out());
    }
    return VomoGENERATE_SECOND_ORDER_FILTER(delta_f, count, high_pass, fc, damping,
                                            response.pointer(), response.handle_out());
  }
};

VomoStatus FilterSpectrum(const Filter &filter, double delta_f, VomoComplexDouble *bins,
                          uint32_t bin_count) {
  Received<VomoComplexDouble> response;
  const VomoStatus status = filter.Generate(delta_f, bin_count, response);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const int32_t product = VecMulInPlace_64fc(response.get(), bins, static_cast<int32_t>(bin_count));
  return product == 0 ? Vomo_STATUS_SUCCESS : Vomo_STATUS_COMPUTATION_ERROR;
}

// Samples and spectrum share one array; what the filter makes of the samples goes to the result.
VomoStatus Apply(const Filter &filter, const VomoWaveform &input, VomoWaveform &result) {
  const auto count = static_cast<int32_t>(input.ulNumSamples);
  const uint32_t bin_count = input.ulNumSamples / 2 + 1;
  constexpr int32_t kAccurate = 2;
  const Scratch<VomoComplexDouble> bins(bin_count);
  auto *const samples = reinterpret_cast<double *>(bins.get());
  int32_t conversion = VecConvert_32f64f(input.pfSamples, samples, count);
  if (conversion != kNoError) return PrimitiveFailure(conversion, Vomo_STATUS_FFT_COMPUTE_ERROR);
  DftSpec *created = nullptr;
  if (DftSpecCreate_R_64f(&created, count, kDftDivideForward, kAccurate) != kNoError) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  }
  const DftSpecOwner spec(created);
  VomoStatus status = RunTransform(DftForward_R_64f, samples, bins.get(), spec);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const double delta_f = 1.0 / (input.ulNumSamples * input.dSampleInterval);
  status = FilterSpectrum(filter, delta_f, bins.get(), bin_count);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = RunTransform(DftInverse_R_64f, bins.get(), samples, spec);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  conversion = VecConvert_64f32f(samples, result.pfSamples, count);
  if (conversion != kNoError) return PrimitiveFailure(conversion, Vomo_STATUS_FFT_COMPUTE_ERROR);
  return Vomo_STATUS_SUCCESS;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM(const VomoWaveform *psWaveform,
                                                          int32_t iOrder, double dFc, double dZ,
                                                          int32_t iHighPass,
                                                          VomoWaveform **ppsFiltered,
                                                          VomoHandle *phFiltered) noexcept {
  if (psWaveform == nullptr || ppsFiltered == nullptr || phFiltered == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const bool known_order = iOrder == 1 || (iOrder == 2 && dZ > 0);
  if (!(dFc > 0) || !known_order || !(psWaveform->dSampleInterval > 0)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  // Nothing to transform: a work block of no bytes can't be had.
  if (psWaveform->ulNumSamples == 0) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  if (psWaveform->pfSamples == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    auto result = NewWaveform(psWaveform->ulNumSamples, psWaveform->dSampleInterval);
    const VomoStatus status = Apply({iOrder, dFc, dZ, iHighPass}, *psWaveform, *result);
    if (!Vomo_STATUS_IS_ERROR(status)) result.Deliver(ppsFiltered, phFiltered);
    return status;
  });
}

extern "C" VomoStatus VomoAPPLY_FIRST_ORDER_FILTER_TO_WAVEFORM(const VomoWaveform *psWaveform,
                                                               double dFc, int32_t iHighPass,
                                                               VomoWaveform **ppsFiltered,
                                                               VomoHandle *phFiltered) noexcept {
  return VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM(psWaveform, 1, dFc, 0.0, iHighPass, ppsFiltered,
                                             phFiltered);
}
