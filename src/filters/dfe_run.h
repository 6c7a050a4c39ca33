// One pass of the DFE over a waveform: its clock with one two-part element for each unit interval,
// and the levels that the bits then have.
#ifndef VOMO_FILTERS_DFE_RUN_H
#define VOMO_FILTERS_DFE_RUN_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// Extremes that no bit has shown are 1e6 for highs and -1e6 for lows.
struct VomoDFEResult {
  const VomoWaveform *psWaveform;
  const VomoCrossoverData *psClock;
  float *pfLevels;  // behind this record; of each unit interval, at its middle, less the feedback
  double dUnitInterval;
  double adTaps[16];
  double dMinUI, dMinUITime;  // shortest and longest element, and where they begin
  double dMaxUI, dMaxUITime;
  float fMinHigh, fMaxLow;  // smallest level of 0 or above, largest below, and the mid-points
  double dMinHighTime, dMaxLowTime;
  float fMinTransHigh, fMaxTransLow;        // of bits of another sign than the bit before
  float fMinNonTransHigh, fMaxNonTransLow;  // of bits of the same sign
};

// Takes the first tap from the waveform where it stands at exactly 0.0: half the difference between
// bits that follow an equal bit and bits that don't, summed over both signs. Taps 1 to count - 1
// are cleared in any case.
void VomoDfeEstimateFirstTap(const VomoWaveform &waveform, const VomoCrossoverData &clock,
                             int32_t count, uint32_t height_type, float *taps);

// ui_count: unit intervals to analyse, 0 for all. parameters: as in VomoFIND_DFE_TAP, except for
// iUICount; its taps are estimated if it says so, and clamped.
// crossovers, min_interval_s: optional; those of a plain search at 0 V and their smallest spacing.
// clock, result: made here; result refers to waveform and clock.
// A failed walk leaves crossovers and clock in the handle table, out of reach until it is emptied.
VomoStatus VomoDfeRun(const VomoWaveform &waveform, VomoDFEParams &parameters, int32_t ui_count,
                      Received<VomoCrossoverData> *crossovers, double *min_interval_s,
                      Received<VomoCrossoverData> &clock, BlockOf<VomoDFEResult> &result);

// Takes the feedback of each unit interval off the samples that lie in it, both ends included, in
// out, or in the waveform itself for NULL. out: with room for the visible samples.
void VomoDfeSubtractFeedback(VomoWaveform &waveform, const VomoCrossoverData &clock,
                             VomoWaveform *out);

}  // namespace vomo

#endif
