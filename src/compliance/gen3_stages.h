// The two stages that a Gen3 base compliance run has in place of preparation and eye.
#ifndef VOMO_COMPLIANCE_GEN3_STAGES_H
#define VOMO_COMPLIANCE_GEN3_STAGES_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// Finds run lengths, pattern repeat, F/2 jitter and pattern DDj and takes the latter out of the
// crossovers' times. The run lengths' block goes to the caller also when a later step fails.
VomoStatus Vomo_TakeOutGen3Jitter(VomoCrossoverData *psCrossovers, double dTargetUI,
                                  VomoGen3Results *psGen3Results, Received<int16_t> *pRunLengths);

// Measures the voltages of the known patterns between two crossover indices. Only the target runs
// decide the status, and a pattern that is not there fails nothing.
VomoStatus Vomo_MeasureGen3Voltages(const VomoWaveform *psWaveform,
                                    const VomoCrossoverData *psCrossovers, uint32_t ulFirst,
                                    uint32_t ulLast, const int16_t *psRunLengths,
                                    const VomoComplianceParams *psParams,
                                    VomoComplianceResults *psResults);

}  // namespace vomo

#endif
