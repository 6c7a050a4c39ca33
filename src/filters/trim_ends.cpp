#include "filters/trim_ends.h"

#include <cmath>
#include <limits>

#include "core/boundary.h"
#include "core/waveform.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

// Index of the first sample outside the middle half of the range; count if there is none. A NaN is
// outside.
uint32_t FirstOutsideMiddle(const float *samples, uint32_t count) {
  float min = 0, max = 0;
  VecMinMax_32f(samples, static_cast<int32_t>(count), &min, &max);
  const float low = min + 0.25f * (max - min), high = min + 0.75f * (max - min);
  uint32_t i = 0;
  while (i < count && samples[i] >= low && samples[i] <= high) ++i;
  return i;
}

// Samples behind the last one to keep. From the last sample of the first one's sign the search goes
// backward for as long as samples come nearer to the first one's value; those of the other sign are
// passed, though the distance to them counts.
uint32_t CountBehindMatch(const float *samples, uint32_t count, uint32_t first) {
  const float value = samples[first];
  const auto same_sign = [positive = value >= 0](float x) { return (x >= 0) == positive; };
  uint32_t last = count - 1;
  while (!same_sign(samples[last])) --last;
  float distance = std::fabs(value - samples[last]);
  for (uint32_t i = last; i > first + 1; --i) {
    const float next = std::fabs(value - samples[i - 1]);
    if (same_sign(samples[i - 1]) && next > distance) return count - 1 - i;
    distance = next;
  }
  return count - 1 - last;
}

void TrimToMatch(VomoWaveform &waveform) {
  const uint32_t front = FirstOutsideMiddle(waveform.pfSamples, waveform.ulNumSamples);
  if (front == waveform.ulNumSamples) return;
  HideEnds(waveform, front, CountBehindMatch(waveform.pfSamples, waveform.ulNumSamples, front));
}

}  // namespace

VomoStatus VomoTrimWaveformEnds(VomoWaveform *psWaveform, VomoWaveform **ppsTrimmed,
                                VomoHandle *phTrimmed) {
  if (psWaveform->ulNumSamples == 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  if (psWaveform->ulNumSamples > std::numeric_limits<int32_t>::max()) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  }
  if (ppsTrimmed == nullptr) {
    TrimToMatch(*psWaveform);
    return Vomo_STATUS_SUCCESS;
  }
  return Guarded([&] {
    auto copy = CopyOfStored(*psWaveform);
    TrimToMatch(*copy);
    copy.Deliver(ppsTrimmed, phTrimmed);
    return Vomo_STATUS_SUCCESS;
  });
}

}  // namespace vomo
