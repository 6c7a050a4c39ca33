// Bits through a channel that adds a share of earlier bits to each: what a DFE with the same taps
// takes off again.
#ifndef VOMO_TESTS_SUPPORT_FIR_CHANNEL_H
#define VOMO_TESTS_SUPPORT_FIR_CHANNEL_H

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace vomo_test {

constexpr int kPerUi = 16;  // samples
constexpr int kRamp = 4;    // samples that an edge takes, centred on the unit interval's begin

// Bit k arrives as amplitude * bit k + the sum of post_cursors[m] * bit k - 1 - m, held for a unit
// interval. Before bit 0 there was nothing. The first edge lies at the begin of bit 1.
struct FirChannel {
  FirChannel(std::vector<double> channel_post_cursors, size_t bit_count, uint32_t seed,
             double channel_amplitude = 1)
      : amplitude(channel_amplitude), post_cursors(std::move(channel_post_cursors)) {
    std::mt19937 random(seed);
    for (size_t k = 0; k < bit_count; ++k) bits.push_back((random() >> 31) != 0 ? 1 : -1);
    bits[1] = -bits[0];
    for (size_t k = 0; k < bit_count; ++k) {
      for (int p = 0; p < kPerUi; ++p) {
        const double into = p + 0.5 * kRamp, left = kPerUi - p + 0.5 * kRamp;
        double level = Arriving(k);
        if (into < kRamp && k > 0) level = Between(Arriving(k - 1), level, into / kRamp);
        if (left < kRamp && k + 1 < bit_count) {
          level = Between(Arriving(k + 1), level, left / kRamp);
        }
        samples.push_back(static_cast<float>(level));
      }
    }
  }

  // What the earlier bits add to bit k.
  double Interference(size_t k) const {
    double sum = 0;
    for (size_t m = 0; m < post_cursors.size() && m < k; ++m) {
      sum += post_cursors[m] * bits[k - 1 - m];
    }
    return sum;
  }
  double Arriving(size_t k) const { return amplitude * bits[k] + Interference(k); }

  // Sample position at which the ramp into bit k crosses a level.
  double Crossing(size_t k, double level) const {
    const double share = (level - Arriving(k - 1)) / (Arriving(k) - Arriving(k - 1));
    return static_cast<double>(k) * kPerUi + (share - 0.5) * kRamp;
  }

  // The last bit that differs from the one before it.
  size_t LastEdge() const {
    size_t k = bits.size() - 1;
    while (bits[k] == bits[k - 1]) --k;
    return k;
  }

  double amplitude;
  std::vector<double> post_cursors;
  std::vector<int> bits;
  std::vector<float> samples;

 private:
  static double Between(double from, double to, double share) { return from + (to - from) * share; }
};

}  // namespace vomo_test

#endif
