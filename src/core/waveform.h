// Questions that many stages ask of a waveform.
#ifndef VOMO_CORE_WAVEFORM_H
#define VOMO_CORE_WAVEFORM_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// Visible and hidden samples together, in 64 bits.
constexpr uint64_t StoredSampleCount(const VomoWaveform &waveform) {
  return uint64_t{waveform.ulNumSamples} + waveform.ulTrimFront + waveform.ulTrimBack;
}

// The first stored sample, hidden or not.
inline float *FirstStoredSample(const VomoWaveform &waveform) {
  return waveform.pfSamples - waveform.ulTrimFront;
}

inline bool HasSamples(const VomoWaveform *waveform) {
  return waveform != nullptr && waveform->ulNumSamples != 0 && waveform->pfSamples != nullptr;
}

// A record that may be empty, but has samples if it says so.
inline bool IsReadable(const VomoWaveform *waveform) {
  return waveform != nullptr && (waveform->ulNumSamples == 0 || waveform->pfSamples != nullptr);
}

// Hides visible samples at either end, in the record alone; they must be there.
inline void HideEnds(VomoWaveform &waveform, uint32_t front, uint32_t back) {
  waveform.pfSamples += front;
  waveform.ulNumSamples -= front + back;
  waveform.ulTrimFront += front;
  waveform.ulTrimBack += back;
}

// A record and its samples in one block, the samples not set: for whoever writes all of them.
// Throws std::bad_alloc when there is no memory or no handle.
BlockOf<VomoWaveform> NewWaveform(uint32_t sample_count, double sample_interval_s);

// A record of the same interval with room for all stored samples, hidden to the same extent;
// without the samples or with a copy of them. Throws std::bad_alloc.
BlockOf<VomoWaveform> NewStoredLike(const VomoWaveform &waveform);
BlockOf<VomoWaveform> CopyOfStored(const VomoWaveform &waveform);

}  // namespace vomo

#endif
