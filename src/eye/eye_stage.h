// The stage that ends a run with the eye: voltages, margins and the diagrams to plot.
#ifndef VOMO_EYE_EYE_STAGE_H
#define VOMO_EYE_EYE_STAGE_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// psParams and psResults as the drivers have filled them (valid range, jitter indices, unit
// interval). pdIntervalError: the cleaned jitter sequence, one value for each clock edge, seconds.
// psPlots, psTransPlots: five records each or NULL. pHandle receives the block that holds whatever
// was put out, 0 if there is nothing.
VomoStatus Vomo_EyeStage(const VomoComplianceParams *psParams, VomoComplianceResults *psResults,
                         const VomoWaveform *psWaveform, const VomoCrossoverData *psClock,
                         void *pvPassThrough, uint8_t **ppbyPointStatus,
                         const double *pdIntervalError, VomoTemplate *psPlots,
                         VomoTemplate *psTransPlots, VomoHistogramData *psHistogramData,
                         VomoHandle *pHandle);

}  // namespace vomo

#endif
