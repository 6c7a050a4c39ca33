// The equalisers of a run, from the command line into the settings.
#ifndef VOMO_APP_EQUALISER_SETTINGS_H
#define VOMO_APP_EQUALISER_SETTINGS_H

#include <string>
#include <vector>

#include "record_fields.h"

namespace app {

struct EqualiserRequest {
  // Each "gain,zero,pole,pole", the name of a JSON file with a family, or "built-in".
  std::vector<std::string> ctle;
  // Taps in volts, separated by commas, or "auto": one tap that is estimated from the signal.
  std::string dfe;
};

// Twelve settings, from -1 to -12 dB at DC a decibel apart. The poles lie at a quarter of the bit
// rate and at the bit rate, the zero below the first pole by the gain at DC, so that the gain rises
// towards 1 between the poles. Made for 8 GT/s, where the poles are 2 and 8 GHz.
Json BuiltInCtleFamily(double rate);

// The settings that a request stands for; an empty request for none. Throws Failure for what can't
// be understood.
Json EqualiserSettings(const EqualiserRequest &request, double rate);

// What the settings need for any choice among CTLE settings.
constexpr int32_t kTrialUi = 20'000;

}  // namespace app

#endif
