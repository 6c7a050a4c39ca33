// What the exported functions of this family ask of their arguments.
#ifndef VOMO_LF_ARGUMENTS_H
#define VOMO_LF_ARGUMENTS_H

#include <vomo.h>

#include <cstdint>

#include "core/numeric.h"

namespace vomo {

template <class... T>
constexpr bool AnyNull(const T *...pointers) {
  return ((pointers == nullptr) || ...);
}

// A record without samples can be read: nothing is found in it.
inline bool IsReadable(const VomoWaveform *waveform) {
  return waveform != nullptr && (waveform->ulNumSamples == 0 || waveform->pfSamples != nullptr);
}

// Writes the sample at which a time lies; false outside the waveform. A NaN counts as time 0.
inline bool SampleAt(const VomoWaveform &waveform, double time_s, uint32_t *index) {
  *index = VomoToU32(time_s / waveform.dSampleInterval);
  return *index < waveform.ulNumSamples;
}

}  // namespace vomo

#endif
