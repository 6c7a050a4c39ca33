// Questions that many stages ask of a waveform.
#ifndef VOMO_CORE_WAVEFORM_H
#define VOMO_CORE_WAVEFORM_H

#include <vomo.h>

#include <cstdint>

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

}  // namespace vomo

#endif
