// Captures drawn as straight lines between points, so that every crossing of 0 V is known exactly.
#ifndef VOMO_TESTS_LF_TRACE_H
#define VOMO_TESTS_LF_TRACE_H

#include <vomo.h>

#include <cstdint>
#include <vector>

namespace vomo_test {

// A power of two, so that positions in samples become seconds without rounding. 1 us is 134.2
// samples, 0.2 us are 26.8.
constexpr double kInterval = 0x1p-27;

// Begins at position 0 at 0 V. Positions count samples and need not be whole.
class Trace {
 public:
  // A line from the last point to this one; two points at one position make a step.
  Trace &To(double position, double volts) {
    for (double at; (at = static_cast<double>(samples_.size())) < position;) {
      const double share = (at - position_) / (position - position_);
      samples_.push_back(static_cast<float>(volts_ + share * (volts - volts_)));
    }
    position_ = position;
    volts_ = volts;
    return *this;
  }
  Trace &Hold(double position) { return To(position, volts_); }
  // A ramp of a length between the level so far and another one, which is at 0 V at the position.
  Trace &Edge(double crossing, double volts, double length) {
    const double share = volts_ / (volts_ - volts);
    return Hold(crossing - share * length).To(crossing + (1 - share) * length, volts);
  }

  VomoWaveform Waveform() {
    return {static_cast<uint32_t>(samples_.size()), kInterval, samples_.data(), 0, 0};
  }
  std::vector<float> &samples() { return samples_; }

 private:
  double position_ = 0, volts_ = 0;
  std::vector<float> samples_;
};

}  // namespace vomo_test

#endif
