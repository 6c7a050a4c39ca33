// What the general and the dual-port run have in common, each piece once.
#ifndef VOMO_COMPLIANCE_RUN_STAGES_H
#define VOMO_COMPLIANCE_RUN_STAGES_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// The caller's places for what the eye stage puts out.
struct EyeOutputs {
  void *pass_through;
  uint8_t **point_status;
  VomoTemplate *plots;
  VomoTemplate *transition_plots;
  VomoHistogramData *histogram;
  VomoHandle *handle;
};

// The caller's places for the cleaned jitter sequence; values NULL: not wanted.
struct JitterOutputs {
  uint32_t *count;
  double **values;
  VomoHandle *handle;

  // Whoever wants the sequence needs all three.
  bool AreComplete() const { return values == nullptr || (count != nullptr && handle != nullptr); }
};

// Samples for which a crossing must stay beyond the band.
uint32_t SettlingCount(double settling_time_s, double sample_interval_s);

// What the preparation takes as its start: the equaliser's own count of samples, if there is one.
uint32_t StartArgument(const VomoComplianceParams &parameters, uint32_t settling_count);

// The crossovers of the whole waveform.
VomoStatus FindRunCrossovers(const VomoWaveform &waveform, uint32_t settling_count,
                             double unit_interval_s, uint32_t types,
                             Received<VomoCrossoverData> &crossovers, double *smallest_s);

// Decodes blocks where the results ask for it. A side result: its status does not touch the run.
void CheckGen3Blocks(const VomoCrossoverData &crossovers, double unit_interval_s,
                     VomoComplianceResults &results);

// Copies what the pattern check has found, if the run has one.
void CopyPatternResults(const VomoComplianceParams &parameters, VomoComplianceResults &results);

// A caller without a place for the stage's handle gets none of what would lie in that block.
VomoStatus RunEyeStage(const VomoComplianceParams &parameters, VomoComplianceResults &results,
                       const VomoWaveform &waveform, const VomoCrossoverData &clock,
                       const double *jitter, const EyeOutputs &eye);

void DeliverJitter(Received<double> &sequence, uint32_t count, const JitterOutputs &outputs);

// Makes the working curves the published ones.
void PublishCurves();

// Points the results at the published curves, which stay the library's.
void CopyPublishedCurves(VomoComplianceResults &results);

}  // namespace vomo

#endif
