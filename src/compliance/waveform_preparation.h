// Turns the captured signal into the differential waveform that the measurement works on.
#ifndef VOMO_COMPLIANCE_WAVEFORM_PREPARATION_H
#define VOMO_COMPLIANCE_WAVEFORM_PREPARATION_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// What the preparation hands on. An equaliser that decides bit by bit finds crossovers and clock on
// its way; without it these stay empty.
struct PreparedSignal {
  // The waveform to work on: the caller's own, or the one that `made` owns.
  VomoWaveform *waveform = nullptr;
  Received<VomoWaveform> made;
  Received<VomoCrossoverData> crossovers;
  Received<VomoCrossoverData> clock;
};

// psComplement is the negative half of a single-ended pair, or NULL. ulStartArgument: samples that
// must lie beyond the band behind a crossover. On an error nothing is handed on and everything made
// here is freed.
VomoStatus Vomo_PrepareWaveform(VomoWaveform *psWaveform, VomoWaveform *psComplement,
                                const VomoComplianceParams *psParameters, double dTargetUI,
                                uint32_t ulStartArgument, VomoComplianceResults *psResults,
                                PreparedSignal *psPrepared);

}  // namespace vomo

#endif
