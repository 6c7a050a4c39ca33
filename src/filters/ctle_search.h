// The eye that a CTLE setting is judged by.
#ifndef VOMO_FILTERS_CTLE_SEARCH_H
#define VOMO_FILTERS_CTLE_SEARCH_H

#include <vomo.h>

#include <cstdint>

#include "filters/eye_window.h"

namespace vomo {

// Crossovers at 0 V, the clock that they make, and the phase of the window whose height is least.
// A step that fails ends it with its status; the opening is then not set.
VomoStatus VomoEyeForCTLE(const VomoWaveform &waveform, uint32_t filter_count,
                          double unit_interval_s, float begin, float end, EyeOpening *opening);

}  // namespace vomo

#endif
