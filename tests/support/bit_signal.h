// A transmitter's signal, bit by bit: what a 3-tap equaliser makes of them, with straight edges
// that may be displaced.
#ifndef VOMO_TESTS_SUPPORT_BIT_SIGNAL_H
#define VOMO_TESTS_SUPPORT_BIT_SIGNAL_H

#include <vomo.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vomo_test {

struct BitSignal {
  double ui_s = 125e-12;
  int samples_per_ui = 10;
  double edge_ui = 0.4;
  double amplitude_v = 0.4;
  // Taps beside the main one, which gets what they leave of 1: of the bit to come and the last one.
  double before = 0, after = 0;
  std::vector<int> bits;  // +1 or -1; before the first and behind the last bit it goes on like them
  // The edge into bit k comes late by late_s[k]; empty for none.
  std::vector<double> late_s;

  int Bit(int64_t k) const {
    const auto last = static_cast<int64_t>(bits.size()) - 1;
    return bits[static_cast<size_t>(k < 0 ? 0 : k > last ? last : k)];
  }
  double Level(int64_t k) const {
    const double main = 1 - std::fabs(before) - std::fabs(after);
    return amplitude_v * (before * Bit(k + 1) + main * Bit(k) + after * Bit(k - 1));
  }
  // Bit k lasts from k to k + 1 unit intervals, behind one that is left out.
  std::vector<float> Samples() const {
    std::vector<float> samples(bits.size() * static_cast<size_t>(samples_per_ui));
    for (size_t n = 0; n < samples.size(); ++n) {
      const double time_ui = static_cast<double>(n) / samples_per_ui;
      const auto edge = static_cast<int64_t>(std::floor(time_ui + 0.5));
      const size_t at = static_cast<size_t>(edge);
      const double late_ui = at < late_s.size() ? late_s[at] / ui_s : 0;
      const double place = (time_ui - static_cast<double>(edge) - late_ui) / edge_ui + 0.5;
      const double share = place < 0 ? 0 : place > 1 ? 1 : place;
      const double from = Level(edge - 1), to = Level(edge);
      samples[n] = static_cast<float>(share == 1 ? to : from + (to - from) * share);
    }
    return samples;
  }
  double interval_s() const { return ui_s / samples_per_ui; }
};

}  // namespace vomo_test

#endif
