// The walk of a DFE over a waveform, from decision to decision.
#ifndef VOMO_FILTERS_DFE_WALK_H
#define VOMO_FILTERS_DFE_WALK_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// -1, 0 or +1: below, at or above the threshold. A NaN gives 0.
inline float VomoSign3(float x, float threshold) {
  if (x < threshold) return -1.0f;
  if (x > threshold) return 1.0f;
  return 0.0f;
}

struct DfeWalkSettings {
  uint32_t filter_count;  // samples that a crossing must persist
  uint32_t start, stop;   // first sample, and one past the last that is read ahead of an edge
  double unit_interval_s;
  const float *taps;
  int32_t tap_count;
};

// Walks as a receiver does: with a decision in force and the feedback level that the decisions
// before make, it takes an edge where the signal crosses that level and not zero. Writes one
// element of the clock's two-part array for each unit interval between edges and sets
// ulTwoPartCount, which holds the array's room on entry, to their number; the run behind the last
// edge has no elements. A full array ends the walk like the end of the data. DFE_SEARCH_FAILED,
// with a line in the failure log, when an edge does not come later than the one before it.
VomoStatus VomoDfeWalk(const VomoWaveform &waveform, const DfeWalkSettings &settings,
                       VomoCrossoverData &clock);

}  // namespace vomo

#endif
