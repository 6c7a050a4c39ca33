// The clock that a receiver would sample with, and the signal that it samples.
#ifndef VOMO_APP_RECOVERED_CLOCK_H
#define VOMO_APP_RECOVERED_CLOCK_H

#include <vomo.h>

#include <memory>
#include <span>
#include <vector>

#include "run_input.h"

namespace app {

// The differential signal of one capture or of a pair; refers to what the input refers to.
class Signal {
 public:
  explicit Signal(const RunInput &input);
  const VomoWaveform &waveform() const { return waveform_; }
  std::span<const float> samples() const { return {waveform_.pfSamples, waveform_.ulNumSamples}; }

 private:
  std::vector<float> difference_;
  VomoWaveform waveform_;
};

// Of a pair: half of the sum of its halves.
std::vector<float> CommonModeOf(const std::vector<Capture> &pair);

struct RecoveredClock {
  // Clock edges of the run, seconds from sample 0: crossings and the virtual edges between them.
  std::vector<double> edges_s;
  // The same less their filtered jitter, in samples. What is left in the jitter is what the clock
  // recovery did not follow, so these are the edges that it would sample by.
  std::vector<double> positions;
};

// How many samples a crossing must stay beyond the threshold in a run with these settings.
double SettlingSamples(const VomoComplianceParams &params, double sample_interval_s);

// jitter: seconds, one value for each clock edge, from the run with these settings. Throws Failure
// when the signal has no clock.
RecoveredClock RecoverClock(const Signal &signal, const VomoComplianceParams &params,
                            std::span<const double> jitter);

}  // namespace app

#endif
