// The mean waveform of a repeating pattern.
#ifndef VOMO_APP_AVERAGE_PATTERN_H
#define VOMO_APP_AVERAGE_PATTERN_H

#include <vomo.h>

#include <cstdint>
#include <vector>

namespace app {

struct AveragePattern {
  double step_ui = 0;
  std::vector<double> volts;  // one repeat; NaN where no sample fell
  uint64_t repeats = 0;       // whole ones that went into it
};

// Folds the signal from a time on, seconds from sample 0, at the pattern's length on the mean
// clock: slow jitter smears the edges of the mean. No repeats for numbers that make none.
AveragePattern AverageOverRepeats(const VomoWaveform &waveform, double from_s,
                                  double unit_interval_s, uint32_t length_ui);

}  // namespace app

#endif
