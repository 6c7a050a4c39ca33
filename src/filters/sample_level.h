// The level of a waveform between two times.
#ifndef VOMO_FILTERS_SAMPLE_LEVEL_H
#define VOMO_FILTERS_SAMPLE_LEVEL_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// The value of smallest or of largest magnitude between the times, with its sign, or the mean of
// the two: Vomo_FIND_MIN, Vomo_FIND_MAX, anything else. Times are seconds from sample 0; one that
// lies outside is read off the line through the two outermost samples. 0.0 with fewer than two
// samples.
double VomoSampleLevel(const VomoWaveform &waveform, double begin_s, double end_s,
                       uint32_t height_type);

// The same at one time, where all three are the line through the samples around it.
inline double VomoSampleLevel(const VomoWaveform &waveform, double time_s, uint32_t height_type) {
  return VomoSampleLevel(waveform, time_s, time_s, height_type);
}

}  // namespace vomo

#endif
