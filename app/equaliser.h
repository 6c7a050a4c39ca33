// What the equalisers of a run make of its signal: how good each CTLE setting is, and the signal
// behind them.
#ifndef VOMO_APP_EQUALISER_H
#define VOMO_APP_EQUALISER_H

#include <vomo.h>

#include <optional>
#include <string>
#include <vector>

#include "library_block.h"
#include "record_fields.h"

namespace app {

// Whether a run with these settings has any; a transmitter's run passes them over.
bool UsesCtle(const VomoComplianceParams &params);
bool UsesDfe(const VomoComplianceParams &params);
VomoComplianceParams WithoutEqualisers(const VomoComplianceParams &params);

struct CtleTrial {
  int32_t number;               // counted from 1, as in the results; 0 for the signal as it is
  VomoCTLEParams setting;       // not of number 0
  bool competes;                // the signal as it is only does when the settings say so
  std::optional<double> score;  // none when the eye can't be measured
};

// Every setting of a family on the beginning of the signal, judged as the choice among them does,
// behind the DFE if they are chosen together. Without it the eye is looked at from 0.4 to 0.6 UI,
// whatever the settings say, which matters for criteria other than the width.
struct CtleTable {
  uint32_t criterion;  // OPT_EYE_WIDTH and so on
  bool behind_dfe;
  double trial_ui;  // that the trials are long
  std::vector<CtleTrial> trials;

  const CtleTrial *Find(int32_t number) const;
  const char *unit() const;            // of the scores
  const char *criterion_name() const;  // for readers: "eye width"
};

// Shows on a terminal which setting it is at. None without a family.
std::optional<CtleTable> TryCtleSettings(const VomoWaveform &signal,
                                         const VomoComplianceParams &params);

// "-6.0 dB at DC, zero 1.00 GHz, poles 2.00 GHz and 8.00 GHz".
std::string DescribeCtle(const VomoCTLEParams &setting);

// The signal behind the CTLE setting that a run has chosen and the DFE with the taps that it has
// left in the settings. Throws Failure.
OwnedWaveform Equalise(const VomoWaveform &signal, const VomoComplianceParams &params,
                       int32_t ctle_index);

// Under the names of the records' fields.
Json EqualiserJson(const std::optional<CtleTable> &table, const VomoComplianceParams &params,
                   const VomoComplianceResults &results);

}  // namespace app

#endif
