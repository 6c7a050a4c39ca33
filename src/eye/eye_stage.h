// The eye stage of the compliance drivers.
#ifndef VOMO_EYE_EYE_STAGE_H
#define VOMO_EYE_EYE_STAGE_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// Measures voltages, rail violations and margins, and makes the plots around the intervals where
// something extreme happened.
//
// psParams, psWaveform, psClock: read.
// psResults: ulFirstValidIndex, ulLastValidIndex, ulFirstIndex, ulLastIndex, dUnitInterval,
//   ulMaxJitterIndex and ulMinJitterIndex are read, voltages and margins written.
// ppbyPointStatus: optional. With usIndividualPointInfo, one byte for each sample, all 0.
// pdIntervalError: seconds, one for each clock edge from ulFirstIndex to ulLastIndex.
// psPlots, psTransPlots: five records each, or NULL. Without psPlots no diagram is made; without
//   psTransPlots the transition bits' points follow the others in psPlots. A record whose diagrams
//   can't be made keeps what it held.
// psHistogramData: optional. With usGetJitterHistogramData, three arrays of zeros.
// pHandle: the one block behind these outputs, 0 when nothing was asked for; the caller frees it.
//   When NULL no output is made. Written on success only.
VomoStatus Vomo_EyeStage(const VomoComplianceParams *psParams, VomoComplianceResults *psResults,
                         const VomoWaveform *psWaveform, const VomoCrossoverData *psClock,
                         void *pvPassThrough, uint8_t **ppbyPointStatus,
                         const double *pdIntervalError, VomoTemplate *psPlots,
                         VomoTemplate *psTransPlots, VomoHistogramData *psHistogramData,
                         VomoHandle *pHandle);

}  // namespace vomo

#endif
