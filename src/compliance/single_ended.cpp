// Between a differential waveform and its two single-ended halves.
#include <algorithm>
#include <cstring>

#include "core/boundary.h"
#include "core/status.h"
#include "core/waveform.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

bool HasStoredSamples(const VomoWaveform *waveform) {
  return waveform != nullptr &&
         (waveform->pfSamples != nullptr || StoredSampleCount(*waveform) == 0);
}

// A record that the caller holds from an earlier call, all of its samples shown again; NULL for
// none and when it has too few. A handle without a record is none.
VomoWaveform *Reusable(VomoWaveform *held, VomoHandle handle, uint64_t total) {
  if (held == nullptr || handle == 0) return nullptr;
  held->pfSamples -= held->ulTrimFront;
  held->ulNumSamples += held->ulTrimFront + held->ulTrimBack;
  held->ulTrimFront = held->ulTrimBack = 0;
  return held->ulNumSamples >= total ? held : nullptr;
}

// Puts a new record in the place of a held one.
void Replace(BlockOf<VomoWaveform> &made, VomoWaveform **record, VomoHandle *handle) {
  if (*record != nullptr) Vomo_HANDLE_FREE(*handle);
  made.Deliver(record, handle);
}

// Halves all stored samples in place and writes their negatives.
VomoStatus Split(float *samples, float *negative, uint64_t total) {
  const auto length = static_cast<int32_t>(total);
  int32_t status = VecScaleInPlace_32f(0.5f, samples, length);
  if (status == 0) status = VecScale_32f(samples, -1.0f, negative, length);
  return Computed(status);
}

VomoStatus SplitInPlace(const VomoWaveform &waveform, VomoWaveform **negative,
                        VomoHandle *negative_handle) {
  const uint64_t total = StoredSampleCount(waveform);
  VomoWaveform *record = Reusable(*negative, *negative_handle, total);
  BlockOf<VomoWaveform> made;
  if (record == nullptr) {
    made = NewStoredLike(waveform);
    record = made.get();
  } else {
    record->ulNumSamples = static_cast<uint32_t>(total);
    record->dSampleInterval = waveform.dSampleInterval;
    HideEnds(*record, waveform.ulTrimFront, waveform.ulTrimBack);
  }
  const VomoStatus status = Split(FirstStoredSample(waveform), FirstStoredSample(*record), total);
  if (!Vomo_STATUS_IS_ERROR(status) && made) Replace(made, negative, negative_handle);
  return status;
}

// Fills a held record from the first visible sample on, which shifts a trimmed waveform against its
// hidden ones; what is missing at the end is 0.
void Refill(VomoWaveform &record, const VomoWaveform &waveform) {
  const uint64_t total = StoredSampleCount(waveform);
  const uint64_t copied = total - waveform.ulTrimFront;
  std::memmove(record.pfSamples, waveform.pfSamples, copied * sizeof(float));
  std::fill(record.pfSamples + copied, record.pfSamples + total, 0.0f);
  record.ulNumSamples = static_cast<uint32_t>(total);
  record.dSampleInterval = waveform.dSampleInterval;
  HideEnds(record, waveform.ulTrimFront, waveform.ulTrimBack);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoCONVERT_WFM_TO_SINGLE_ENDED_I(VomoWaveform *psWaveform,
                                                        VomoWaveform **ppsNegative,
                                                        VomoHandle *phNegative) noexcept {
  if (!HasStoredSamples(psWaveform) || ppsNegative == nullptr || phNegative == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] { return SplitInPlace(*psWaveform, ppsNegative, phNegative); });
}

extern "C" VomoStatus VomoCONVERT_WFM_TO_SINGLE_ENDED(const VomoWaveform *psDifferential,
                                                      VomoWaveform **ppsPositive,
                                                      VomoHandle *phPositive,
                                                      VomoWaveform **ppsNegative,
                                                      VomoHandle *phNegative) noexcept {
  if (!HasStoredSamples(psDifferential) || ppsPositive == nullptr || phPositive == nullptr ||
      ppsNegative == nullptr || phNegative == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    // As it is now: a held record may be the waveform itself.
    const VomoWaveform waveform = *psDifferential;
    VomoWaveform *record = Reusable(*ppsPositive, *phPositive, StoredSampleCount(waveform));
    BlockOf<VomoWaveform> made;
    if (record == nullptr) {
      made = CopyOfStored(waveform);
      record = made.get();
    } else {
      Refill(*record, waveform);
    }
    const VomoStatus status = SplitInPlace(*record, ppsNegative, phNegative);
    if (!Vomo_STATUS_IS_ERROR(status) && made) Replace(made, ppsPositive, phPositive);
    return status;
  });
}

extern "C" VomoStatus Vomo_CONVERT_SINGLE_TO_DIFF(const VomoWaveform *psPositive,
                                                  const VomoWaveform *psNegative,
                                                  VomoWaveform **ppsDifferential,
                                                  VomoHandle *phDifferential) noexcept {
  if (!HasSamples(psPositive) || !HasSamples(psNegative) || ppsDifferential == nullptr ||
      phDifferential == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (!(psPositive->dSampleInterval > 0) ||
      psPositive->dSampleInterval != psNegative->dSampleInterval) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Guarded([&] {
    const uint32_t count = std::min(psPositive->ulNumSamples, psNegative->ulNumSamples);
    auto difference = NewWaveform(count, psPositive->dSampleInterval);
    VecSub_32f(psNegative->pfSamples, psPositive->pfSamples, difference->pfSamples,
               static_cast<int32_t>(count));
    difference.Deliver(ppsDifferential, phDifferential);
    return Vomo_STATUS_SUCCESS;
  });
}
