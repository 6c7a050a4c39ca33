// NRZ signals whose eye is known in closed form, with the clock that belongs to them.
#ifndef VOMO_TESTS_EYE_EYE_SIGNAL_H
#define VOMO_TESTS_EYE_EYE_SIGNAL_H

#include <vomo.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <vector>

namespace vomo_test {

// Bits k = 0, 1, ... from edge k to edge k + 1; edge k lies at k unit intervals. Edges are
// straight, centred on their time.
struct EyeSignal {
  double ui_s = 100e-12;
  double samples_per_ui = 10.0;
  double edge_ui = 0.2;
  // Volts of bit k, by sign and, in a bit that repeats the one before, the smaller level.
  double transition_v = 0.5;
  double repeated_v = 0.5;
  std::vector<int> bits;  // +1 or -1
  // Bits with a voltage of their own.
  std::map<int64_t, double> special_v;
  // Edge k of the clock is late by clock_error_s[k]; empty for none.
  std::vector<double> clock_error_s;

  double Level(int64_t bit) const {
    const auto last = static_cast<int64_t>(bits.size()) - 1;
    const auto k = static_cast<std::size_t>(bit < 0 ? 0 : bit > last ? last : bit);
    const auto special = special_v.find(static_cast<int64_t>(k));
    if (special != special_v.end()) return special->second;
    const bool repeats = k > 0 && bits[k] == bits[k - 1];
    return bits[k] * (repeats ? repeated_v : transition_v);
  }

  // The voltage at a time in unit intervals.
  double At(double time_ui) const {
    const double edge = std::floor(time_ui + 0.5);
    const auto k = static_cast<int64_t>(edge);
    const double place = (time_ui - edge) / edge_ui;
    if (place <= -0.5) return Level(k - 1);
    if (place >= 0.5) return Level(k);
    return Level(k - 1) + (Level(k) - Level(k - 1)) * (place + 0.5);
  }
};

// The signal as the functions take it.
class EyeCapture {
 public:
  explicit EyeCapture(const EyeSignal &signal) : ui_s_(signal.ui_s) {
    const double count = static_cast<double>(signal.bits.size()) * signal.samples_per_ui;
    samples_.resize(static_cast<std::size_t>(count));
    interval_s_ = signal.ui_s / signal.samples_per_ui;
    for (std::size_t i = 0; i < samples_.size(); ++i) {
      samples_[i] = static_cast<float>(signal.At(static_cast<double>(i) / signal.samples_per_ui));
    }
    errors_ = signal.clock_error_s;
    errors_.resize(signal.bits.size(), 0.0);
    for (std::size_t k = 0; k < errors_.size(); ++k) {
      times_.push_back(static_cast<double>(k) * signal.ui_s + errors_[k]);
    }
    Refer();
  }
  EyeCapture(const EyeCapture &) = delete;
  EyeCapture &operator=(const EyeCapture &) = delete;

  // Intervals of the given type, with indices, folded over the signal's own unit interval.
  VomoStatus Fold(uint32_t type, uint32_t first, uint32_t last, double wrap_ui,
                  VomoTemplate &diagram, VomoHandle &handle) const {
    return Vomo_SINGLE_DIAGRAM(type, 1, ui_s_, &waveform, first, last, &clock, 0, errors_.data(),
                               wrap_ui, wrap_ui, &diagram, &handle);
  }

  double ui_s() const { return ui_s_; }
  uint32_t edges() const { return clock.ulCount; }
  std::vector<float> &samples() { return samples_; }
  std::vector<double> &times() { return times_; }
  std::vector<double> &errors() { return errors_; }

  // To be called after the vectors have changed.
  void Refer() {
    waveform = {static_cast<uint32_t>(samples_.size()), interval_s_, samples_.data(), 0, 0};
    clock = {};
    clock.ulCount = static_cast<uint32_t>(times_.size());
    clock.pdTimes = times_.data();
  }

  VomoWaveform waveform{};
  VomoCrossoverData clock{};

 private:
  double ui_s_;
  double interval_s_;
  std::vector<float> samples_;
  std::vector<double> times_;
  std::vector<double> errors_;
};

// Bits of the polynomial x^15 + x^14 + 1.
inline std::vector<int> Prbs15(std::size_t count) {
  std::vector<int> bits(count);
  uint32_t state = 0x7fff;
  for (int &bit : bits) {
    const uint32_t next = (state >> 14 ^ state >> 13) & 1;
    state = (state << 1 | next) & 0x7fff;
    bit = next != 0 ? 1 : -1;
  }
  return bits;
}

// A rectangular template's bounds.
inline VomoPassFailInfo Bounds(double x_min, double x_max, float y_min, float y_max) {
  VomoPassFailInfo info{};
  info.fEyeYMin = y_min;
  info.fEyeYMax = y_max;
  info.dEyeXMin = x_min;
  info.dEyeXMax = x_max;
  return info;
}

}  // namespace vomo_test

#endif
