// Plain figures of a waveform's visible samples, before anything is measured.
#ifndef VOMO_APP_SIGNAL_SUMMARY_H
#define VOMO_APP_SIGNAL_SUMMARY_H

#include <cstdint>
#include <optional>
#include <span>

namespace app {

struct SignalSummary {
  // Over the samples that are finite; NaN if there are none.
  double lowest, highest, mean;
  uint64_t not_finite = 0;
  // Unit interval in samples: none for a signal without the edges of a serial one.
  std::optional<double> samples_per_ui;
};
SignalSummary Summarize(std::span<const float> samples);

// Of two waveforms over the shorter one's length, -1 to 1: near -1 for the halves of a differential
// signal. NaN if one of them is constant or has samples that are not finite.
double Correlation(std::span<const float> a, std::span<const float> b);

}  // namespace app

#endif
