// The signal that the decisions of a run are made on.
#ifndef VOMO_APP_DECISION_SIGNAL_H
#define VOMO_APP_DECISION_SIGNAL_H

#include <cstdint>
#include <optional>
#include <span>

#include "equaliser.h"
#include "measurement.h"
#include "recovered_clock.h"

namespace app {

// What the equalisers were given: sample 0 of what they made is its sample `first`.
struct UnequalisedSignal {
  std::span<const float> samples;
  uint32_t first;
};

// What went into a run, behind the equalisers that the run has chosen, and the filtered jitter of
// that signal's clock. A DFE finds its edges at levels that change from bit to bit; behind it the
// edges are at 0 V again, and one more run is made for their jitter. Throws Failure.
class DecisionSignal {
 public:
  // jitter: of the run, which goes on belonging to the caller.
  DecisionSignal(const RunInput &input, const VomoComplianceParams &params,
                 const VomoComplianceResults &results, const JitterSequence &jitter,
                 StageTimes &times);
  const RunInput &input() const { return input_; }
  std::span<const double> jitter() const { return jitter_; }
  // None of a run without equalisers.
  const std::optional<UnequalisedSignal> &unequalised() const { return unequalised_; }

 private:
  std::optional<Signal> captured_;
  RunInput input_;
  std::span<const double> jitter_;
  OwnedWaveform equalised_;
  std::optional<UnequalisedSignal> unequalised_;
  JitterSequence behind_dfe_;
};

}  // namespace app

#endif
