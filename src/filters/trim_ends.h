// Trims a waveform so that its two ends meet: a circular transform then sees no step there.
#ifndef VOMO_FILTERS_TRIM_ENDS_H
#define VOMO_FILTERS_TRIM_ENDS_H

#include <vomo.h>

namespace vomo {

// The first visible sample becomes one that lies outside the middle half of the signal's range, the
// last one a local best match to it. Both go by the sign of a signal that swings about zero; where
// a signal doesn't, less or nothing is trimmed. At least one sample stays visible.
// ppsTrimmed, phTrimmed: a copy of all stored samples, trimmed in the waveform's stead; both NULL
// trim the waveform itself. PARAM_OUT_OF_RANGE without visible samples.
VomoStatus VomoTrimWaveformEnds(VomoWaveform *psWaveform, VomoWaveform **ppsTrimmed,
                                VomoHandle *phTrimmed);

}  // namespace vomo

#endif
