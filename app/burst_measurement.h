// The burst test on a capture: all bursts together, and each by itself.
#ifndef VOMO_APP_BURST_MEASUREMENT_H
#define VOMO_APP_BURST_MEASUREMENT_H

#include <vomo.h>

#include <optional>
#include <vector>

#include "burst_settings.h"
#include "capture_reader.h"
#include "recovered_clock.h"
#include "terminal.h"

namespace app {

// The phases that lead up to a pulse-width coded burst, seconds from sample 0.
struct PreparePhases {
  double stall_start, prepare_start, prepare_end;
};

struct Burst {
  uint32_t first_sample, last_sample;    // as found, before anything is trimmed
  std::optional<PreparePhases> prepare;  // of a pulse-width coded one
  // What the burst test gives for this burst alone, and the time to the next one; NaN where it
  // gives nothing.
  VomoLFTestResults results;
};

struct BurstOutcome {
  VomoLFTestParams params;    // as written by the test
  VomoLFTestResults results;  // NaN where it gives nothing
  std::vector<Burst> bursts;
};

// What is to be measured; refers to the captures.
class BurstSignal {
 public:
  explicit BurstSignal(const std::vector<Capture> &captures);
  const VomoWaveform &waveform() const { return difference_.waveform(); }
  // Of a pair, else NULL.
  const float *common_mode() const { return common_mode_.empty() ? nullptr : common_mode_.data(); }

 private:
  Signal difference_;
  std::vector<float> common_mode_;
};

// What a burst's numbers are made from.
struct BurstDetail {
  double first_s, last_s;       // what the trim leaves of it, seconds from sample 0
  std::vector<double> edges_s;  // its crossings of 0 V in there
  double low_v, high_v;         // the levels that its ramps are measured against
};
BurstDetail DetailOf(const BurstSignal &signal, const VomoLFTestParams &params, const Burst &burst);

// Throws Failure when there is no burst or one can't be measured, and warns on the standard error
// output when there are fewer than asked for.
BurstOutcome MeasureBursts(const BurstSignal &signal, const VomoLFTestParams &params,
                           const std::string &name, StageTimes &times);

}  // namespace app

#endif
