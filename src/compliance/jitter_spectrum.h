// The spectra that a run keeps beside its jitter numbers.
#ifndef VOMO_COMPLIANCE_JITTER_SPECTRUM_H
#define VOMO_COMPLIANCE_JITTER_SPECTRUM_H

#include <vomo.h>

#include <cstdint>

#include "stats/jitter_slots.h"

namespace vomo {

// Rebuilds the record of the slot from one-sided spectra: each magnitude is multiplied by its own
// bin count. psRaw and psFiltered have ulBinCount bins dBinSpacing hertz apart, psDiff
// ulDiffBinCount. Each may be NULL, which leaves its pointer in the record NULL; with all three
// NULL the arguments are not valid. On any error the record is left without curves.
VomoStatus Vomo_RecordJitterSpectrum(uint32_t ulBinCount, const VomoComplexDouble *psRaw,
                                     const VomoComplexDouble *psFiltered, double dBinSpacing,
                                     uint32_t ulDiffBinCount, const VomoComplexDouble *psDiff,
                                     double dDiffBinSpacing,
                                     JitterSlot<VomoJitterSpectrumRecord> &slot);

}  // namespace vomo

#endif
