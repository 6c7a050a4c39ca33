// Signals of runs of equal bits with stated levels, edges as steps, and their crossovers.
#ifndef VOMO_TESTS_SUPPORT_RUN_SIGNAL_H
#define VOMO_TESTS_SUPPORT_RUN_SIGNAL_H

#include <vomo.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace vomo_test {

// Interval and unit interval are powers of two: times on the grid of samples, and positions
// computed from them, are exact.
constexpr double kStep = 0x1p-36;  // about 14.6 ps
constexpr int kSamplesPerUi = 8;
constexpr double kUi = kSamplesPerUi * kStep;

class RunSignal {
 public:
  // The first run begins behind so many samples of 0 V.
  explicit RunSignal(size_t lead = 0) : samples_(lead), crossings_{AtSample(lead)} {}

  // A run of volts(0), volts(1), ... behind the last crossover, and the crossover that ends it.
  template <class Volts>
  RunSignal &RunOf(size_t sample_count, Volts volts) {
    for (size_t i = 0; i < sample_count; ++i) samples_.push_back(static_cast<float>(volts(i)));
    crossings_.push_back(AtSample(samples_.size()));
    return *this;
  }
  RunSignal &Run(double ui, double volts) {
    return RunOf(static_cast<size_t>(std::lround(ui * kSamplesPerUi)),
                 [&](size_t) { return volts; });
  }
  RunSignal &Tail(size_t sample_count, double volts) {
    samples_.insert(samples_.end(), sample_count, static_cast<float>(volts));
    return *this;
  }

  VomoWaveform *waveform() {
    waveform_ = {static_cast<uint32_t>(samples_.size()), kStep, samples_.data(), 0, 0};
    return &waveform_;
  }
  VomoCrossoverData *clock() {
    clock_ = {};
    clock_.ulCount = static_cast<uint32_t>(crossings_.size());
    clock_.pdTimes = crossings_.data();
    return &clock_;
  }
  std::vector<float> &samples() { return samples_; }
  std::vector<double> &crossings() { return crossings_; }
  uint32_t last() const { return static_cast<uint32_t>(crossings_.size()) - 1; }

 private:
  static double AtSample(size_t index) { return static_cast<double>(index) * kStep; }

  std::vector<float> samples_;
  std::vector<double> crossings_;
  VomoWaveform waveform_{};
  VomoCrossoverData clock_{};
};

}  // namespace vomo_test

#endif
