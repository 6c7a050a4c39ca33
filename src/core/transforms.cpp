#include <algorithm>
#include <cstdint>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/run_transform.h"
#include "core/status.h"
#include "primitives/dft.h"
#include "primitives/status_text.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

struct Range {
  uint32_t first;
  uint64_t count;
};

// Both ends belong to the range; with ulMin above ulMax it is the one element at ulMax.
Range RangeOf(uint32_t ulMin, uint32_t ulMax) {
  const uint32_t first = std::min(ulMin, ulMax);
  return {first, uint64_t{ulMax} - first + 1};
}

uint64_t BinCount(uint64_t sample_count) {
  return sample_count / 2 + 1;
}

using CreateSpec = int32_t (*)(DftSpec **, int32_t, int32_t, int32_t);

constexpr CreateSpec CreateComplex(const VomoComplexDouble *) {
  return DftSpecCreate_C_64fc;
}
constexpr CreateSpec CreateComplex(const VomoComplexFloat *) {
  return DftSpecCreate_C_32fc;
}

// The complex transforms leave both directions unscaled. output_step turns the caller's step and
// the length into the step of the result.
template <class Complex, class OutputStep>
VomoStatus TransformComplex(int32_t (*run)(const Complex *, Complex *, DftSpec *, void *),
                            const Complex *source, uint32_t min, uint32_t max, double step,
                            Complex **out, double *out_step, VomoHandle *out_handle,
                            OutputStep output_step) {
  if (source == nullptr || out == nullptr || out_step == nullptr || out_handle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (!(step > 0)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    const Range range = RangeOf(min, max);
    DftSpecOwner spec;
    VomoStatus status =
        CreateTransform(CreateComplex(source), range.count, kDftDivideNeither, spec);
    if (status != Vomo_STATUS_SUCCESS) return status;
    auto result = BlockOf<Complex>::Allocate(range.count);
    status = RunTransform(run, source + range.first, result.get(), spec);
    if (status != Vomo_STATUS_SUCCESS) return status;
    result.Deliver(out, out_handle);
    *out_step = output_step(step, static_cast<double>(range.count));
    return status;
  });
}

// The complex functions take a rate where the real ones take an interval.
constexpr auto kForwardStep = [](double step, double count) { return step / count; };
constexpr auto kInverseStep = [](double step, double count) { return count / step; };

// 20 log10 of the magnitude of count bins.
VomoStatus BinsInDb(const VomoComplexFloat *bins, float *out, uint64_t count) {
  const int32_t length = PrimitiveLength(count);
  if (VecMagnitude_32fc(bins, out, length) != kNoError) return Vomo_STATUS_COMPUTATION_ERROR;
  // A bin of exactly 0 is minus infinity, which is only worth a warning.
  const int32_t logarithm = VecLog10_32f(out, out, length);
  if (logarithm != kNoError && logarithm != kSingularityWarning && logarithm != kDomainWarning) {
    return Vomo_STATUS_COMPUTATION_ERROR;
  }
  VecScaleInPlace_32f(20.0f, out, length);
  return Vomo_STATUS_SUCCESS;
}

// Bins 0 to n / 2 of a real float transform that is divided by its length. A specification that
// can't be had counts as missing memory here.
VomoStatus AmplitudeSpectrum(const float *samples, uint64_t count, VomoComplexFloat *bins) {
  constexpr int32_t kAccurate = 2;
  DftSpec *created = nullptr;
  if (DftSpecCreate_R_32f(&created, PrimitiveLength(count), kDftDivideForward, kAccurate) !=
      kNoError) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  }
  return RunTransform(DftForward_R_32f, samples, bins, DftSpecOwner(created));
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFFT_COMPLEX_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                             uint32_t ulMax, double dStep,
                                             VomoComplexDouble **ppOut, double *pdStep,
                                             VomoHandle *phOut) noexcept {
  return TransformComplex(DftForward_C_64fc, pSource, ulMin, ulMax, dStep, ppOut, pdStep, phOut,
                          kForwardStep);
}

extern "C" VomoStatus VomoFFT_COMPLEX_FLOAT(const VomoComplexFloat *pSource, uint32_t ulMin,
                                            uint32_t ulMax, double dStep, double *pdStep,
                                            VomoComplexFloat **ppOut, VomoHandle *phOut) noexcept {
  return TransformComplex(DftForward_C_32fc, pSource, ulMin, ulMax, dStep, ppOut, pdStep, phOut,
                          kForwardStep);
}

extern "C" VomoStatus VomoIFFT_COMPLEX_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                              uint32_t ulMax, double dStep,
                                              VomoComplexDouble **ppOut, double *pdStep,
                                              VomoHandle *phOut) noexcept {
  return TransformComplex(DftInverse_C_64fc, pSource, ulMin, ulMax, dStep, ppOut, pdStep, phOut,
                          kInverseStep);
}

extern "C" VomoStatus VomoIFFT_COMPLEX_FLOAT(const VomoComplexFloat *pSource, uint32_t ulMin,
                                             uint32_t ulMax, double dStep, VomoComplexFloat **ppOut,
                                             double *pdStep, VomoHandle *phOut) noexcept {
  return TransformComplex(DftInverse_C_32fc, pSource, ulMin, ulMax, dStep, ppOut, pdStep, phOut,
                          kInverseStep);
}

extern "C" VomoStatus VomoFFT_REAL_DOUBLE(const double *pSource, uint32_t ulMin, uint32_t ulMax,
                                          double dSampleInterval, uint32_t *pulOutCount,
                                          VomoComplexDouble **ppOut, double *pdFrequencyStep,
                                          uint32_t *pulOddFlag, VomoHandle *phOut) noexcept {
  if (pSource == nullptr || pulOutCount == nullptr || ppOut == nullptr ||
      pdFrequencyStep == nullptr || pulOddFlag == nullptr || phOut == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (!(dSampleInterval > 0)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    const Range range = RangeOf(ulMin, ulMax);
    DftSpecOwner spec;
    VomoStatus status = CreateTransform(DftSpecCreate_R_64f, range.count, kDftDivideInverse, spec);
    if (status != Vomo_STATUS_SUCCESS) return status;
    // A pointer that is already there is the output, and the caller answers for its size.
    BlockOf<VomoComplexDouble> bins(*ppOut, 0);
    if (*ppOut == nullptr) bins = BlockOf<VomoComplexDouble>::Allocate(BinCount(range.count));
    status = RunTransform(DftForward_R_64f, pSource + range.first, bins.get(), spec);
    if (status != Vomo_STATUS_SUCCESS) return status;
    bins.Deliver(ppOut, phOut);
    *pulOutCount = static_cast<uint32_t>(BinCount(range.count));
    *pdFrequencyStep = 1.0 / (static_cast<double>(range.count) * dSampleInterval);
    *pulOddFlag = range.count & 1;
    return status;
  });
}

extern "C" VomoStatus VomoIFFT_REAL_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                           uint32_t ulMax, double dFrequencyStep,
                                           uint32_t ulOddFlag, uint32_t *pulOutCount,
                                           double **ppOut, double *pdTimeStep,
                                           VomoHandle *phOut) noexcept {
  if (pSource == nullptr || pulOutCount == nullptr || ppOut == nullptr || pdTimeStep == nullptr ||
      phOut == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (!(dFrequencyStep > 0)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    const Range range = RangeOf(ulMin, ulMax);
    const uint64_t count = 2 * (range.count - 1) + (ulOddFlag != 0 ? 1 : 0);
    DftSpecOwner spec;
    VomoStatus status = CreateTransform(DftSpecCreate_R_64f, count, kDftDivideInverse, spec);
    if (status != Vomo_STATUS_SUCCESS) return status;
    auto samples = BlockOf<double>::Allocate(count);
    status = RunTransform(DftInverse_R_64f, pSource + range.first, samples.get(), spec);
    if (status != Vomo_STATUS_SUCCESS) return status;
    samples.Deliver(ppOut, phOut);
    *pulOutCount = static_cast<uint32_t>(count);
    *pdTimeStep = 1.0 / (static_cast<double>(count) * dFrequencyStep);
    return status;
  });
}

extern "C" VomoStatus Vomo_DFT_OF_WAVEFORM_IN_DB(const VomoWaveform *psWaveform, uint32_t ulMin,
                                                 uint32_t ulMax, uint32_t *pulOutCount,
                                                 float **ppfOut, VomoHandle *phOut) noexcept {
  if (psWaveform == nullptr || pulOutCount == nullptr || ppfOut == nullptr || phOut == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulMax >= psWaveform->ulNumSamples) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  if (psWaveform->pfSamples == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    const Range range = RangeOf(ulMin, ulMax);
    Scratch<VomoComplexFloat> bins(BinCount(range.count));
    VomoStatus status =
        AmplitudeSpectrum(psWaveform->pfSamples + range.first, range.count, bins.get());
    if (status != Vomo_STATUS_SUCCESS) return status;
    const uint64_t out_count = (range.count + 1) / 2;
    auto decibels = BlockOf<float>::Allocate(out_count);
    status = BinsInDb(bins.get(), decibels.get(), out_count);
    if (status != Vomo_STATUS_SUCCESS) return status;
    decibels.Deliver(ppfOut, phOut);
    *pulOutCount = static_cast<uint32_t>(out_count);
    return status;
  });
}
