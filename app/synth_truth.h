// What went into a synthesised capture, as the JSON file beside it.
#ifndef VOMO_APP_SYNTH_TRUTH_H
#define VOMO_APP_SYNTH_TRUTH_H

#include <string>

#include "burst_signal.h"
#include "record_fields.h"
#include "synth_signal.h"

namespace app {

// Where a synthesised signal goes.
struct SynthOutput {
  std::string path;
  std::string complement;  // of a pair in two files, or empty
  std::string format = "text";
  bool combined = false;  // a pair as the two waveforms of one file

  bool IsPair() const { return combined || !complement.empty(); }
};

// `pattern` is the name of spec.pattern.
Json SignalTruth(const SynthOutput &output, const SynthSpec &spec, const std::string &pattern,
                 const SynthTruth &truth);
Json BurstsTruth(const SynthOutput &output, const BurstSpec &spec, const std::string &pattern,
                 uint64_t sample_count);

}  // namespace app

#endif
