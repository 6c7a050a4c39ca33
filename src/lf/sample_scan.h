// Looks for the first samples of a capture that lie on one side of a voltage, 64 samples at a time.
#ifndef VOMO_LF_SAMPLE_SCAN_H
#define VOMO_LF_SAMPLE_SCAN_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// Where a sample lies relative to the band of plus and minus a voltage: above it, below it, on
// either side of it, inside it (its edges included), or not above it. A NaN lies nowhere.
enum class Side { kAbove, kBelow, kBeyond, kWithin, kNotAbove };

struct SampleClass {
  Side side;
  float volts;  // 0 or above
};

// The class of samples whose magnitude is below the voltage, which is above 0.
SampleClass MagnitudeBelow(float volts);

class SampleScan {
 public:
  explicit SampleScan(const VomoWaveform &waveform)
      : samples_(waveform.pfSamples), count_(waveform.ulNumSamples) {}

  // What a search yields that finds nothing: the number of samples.
  uint64_t nowhere() const { return count_; }

  // Index of the first sample of the class from an index on.
  uint64_t First(SampleClass wanted, uint64_t from) const {
    uint64_t run = 0;
    return RunEnd(wanted, from, 1, run);
  }

  // Index of the first sample of the class from an index on with which the samples of the class in
  // a row are at least length many. run: how many there were just before, and at the end; only a
  // sample that is not of the class sets it to 0, so a run that is already long enough is found to
  // end at its next sample.
  uint64_t RunEnd(SampleClass wanted, uint64_t from, uint64_t length, uint64_t &run) const;

 private:
  const float *samples_;
  uint64_t count_;
};

}  // namespace vomo

#endif
