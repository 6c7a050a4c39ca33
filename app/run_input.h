// What a run is made on.
#ifndef VOMO_APP_RUN_INPUT_H
#define VOMO_APP_RUN_INPUT_H

#include <vomo.h>

#include <string>
#include <vector>

#include "capture_reader.h"

namespace app {

// Refers to waveforms that somebody else owns.
struct RunInput {
  // One differential capture, or the positive and the negative half.
  RunInput(const std::vector<Capture> &captures)
      : waveform(captures[0].waveform()),
        complement(captures.size() > 1 ? captures[1].waveform() : nullptr),
        name(captures[0].path()) {}
  // A differential signal made of a capture.
  RunInput(VomoWaveform *differential, std::string capture_name)
      : waveform(differential), complement(nullptr), name(std::move(capture_name)) {}

  VomoWaveform *waveform;
  VomoWaveform *complement;  // NULL for a differential signal
  std::string name;          // in messages
};

}  // namespace app

#endif
