#include "decision_signal.h"

namespace app {

DecisionSignal::DecisionSignal(const RunInput &input, const VomoComplianceParams &params,
                               const VomoComplianceResults &results, const JitterSequence &jitter,
                               StageTimes &times)
    : input_(input), jitter_(jitter.values()) {
  if (!UsesCtle(params) && !UsesDfe(params)) return;
  captured_.emplace(input);
  equalised_ = times.Time("equalise", input.waveform->ulNumSamples, [&] {
    return Equalise(captured_->waveform(), params, results.iCTLEIndexUsed);
  });
  if (!equalised_) return;
  unequalised_ = {captured_->samples(),
                  equalised_.get()->ulTrimFront - captured_->waveform().ulTrimFront};
  input_ = RunInput(equalised_.get(), input.name);
  if (!UsesDfe(params)) return;
  ResultsRecord ignored(params);
  Measure(input_, WithoutEqualisers(params), &ignored.results, &behind_dfe_, times);
  jitter_ = behind_dfe_.values();
}

}  // namespace app
