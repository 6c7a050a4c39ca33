#include "core/waveform.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {

BlockOf<VomoWaveform> NewWaveform(uint32_t sample_count, double sample_interval_s) {
  // The samples lie behind the record on the next 32-byte boundary of the block.
  constexpr uint64_t kRecordBytes = (sizeof(VomoWaveform) + 31) / 32 * 32;
  const uint64_t sample_bytes = uint64_t{sample_count} * sizeof(float);
  Block block = Block::Allocate(kRecordBytes + sample_bytes, 1);
  auto *samples = reinterpret_cast<float *>(static_cast<char *>(block.memory()) + kRecordBytes);
  auto *record = static_cast<VomoWaveform *>(block.memory());
  *record = {sample_count, sample_interval_s, samples, 0, 0};
  return BlockOf<VomoWaveform>(record, block.Release());
}

BlockOf<VomoWaveform> NewStoredLike(const VomoWaveform &waveform) {
  const uint64_t count = StoredSampleCount(waveform);
  if (count > std::numeric_limits<uint32_t>::max()) throw std::bad_alloc();
  auto made = NewWaveform(static_cast<uint32_t>(count), waveform.dSampleInterval);
  HideEnds(*made, waveform.ulTrimFront, waveform.ulTrimBack);
  return made;
}

BlockOf<VomoWaveform> CopyOfStored(const VomoWaveform &waveform) {
  auto copy = NewStoredLike(waveform);
  std::copy_n(FirstStoredSample(waveform), StoredSampleCount(waveform), FirstStoredSample(*copy));
  return copy;
}

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Get_Waveform(uint32_t ulNumSamples, const float *pfSource,
                                        double dSampleInterval, VomoWaveform **ppsWaveform,
                                        VomoHandle *phWaveform) noexcept {
  if (ppsWaveform == nullptr || phWaveform == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    auto waveform = NewWaveform(ulNumSamples, dSampleInterval);
    const uint64_t sample_bytes = uint64_t{ulNumSamples} * sizeof(float);
    if (pfSource != nullptr) {
      std::memcpy(waveform->pfSamples, pfSource, sample_bytes);
    } else {
      std::memset(waveform->pfSamples, 0, sample_bytes);
    }
    waveform.Deliver(ppsWaveform, phWaveform);
    return Vomo_STATUS_SUCCESS;
  });
}

extern "C" VomoStatus Vomo_CREATE_TIME_DATA(uint32_t ulNumSamples, double dSampleInterval,
                                            double **ppdTime, VomoHandle *phTime) noexcept {
  if (ppdTime == nullptr || phTime == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  if (ulNumSamples == 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    auto times = BlockOf<double>::Allocate(ulNumSamples);
    const int32_t ramp = VecRamp_64f(times.get(), static_cast<int32_t>(ulNumSamples), 0.0f,
                                     static_cast<float>(dSampleInterval));
    if (ramp != 0) return PrimitiveFailure(ramp, Vomo_STATUS_COMPUTATION_ERROR);
    times.Deliver(ppdTime, phTime);
    return Vomo_STATUS_SUCCESS;
  });
}

extern "C" VomoStatus Vomo_ESTIMATE_NUMBER_UI(const VomoWaveform *psWaveform, uint32_t ulBeginIndex,
                                              uint32_t ulEndIndex, double dUnitInterval,
                                              uint32_t *pulNumberUI) noexcept {
  if (!HasSamples(psWaveform) || pulNumberUI == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  if (!(psWaveform->dSampleInterval > 0) || !(dUnitInterval > 0) ||
      ulEndIndex >= psWaveform->ulNumSamples || ulBeginIndex >= ulEndIndex) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const double samples = RangeCount(ulBeginIndex, ulEndIndex);
  *pulNumberUI = VomoToU32(samples * psWaveform->dSampleInterval / dUnitInterval + 0.5);
  return Vomo_STATUS_SUCCESS;
}
