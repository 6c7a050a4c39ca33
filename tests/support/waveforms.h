// Waveform records for the tests: built over plain vectors, and read back into them.
#ifndef VOMO_TESTS_SUPPORT_WAVEFORMS_H
#define VOMO_TESTS_SUPPORT_WAVEFORMS_H

#include <vomo.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace vomo_test {

// A record over samples of its own, some of them hidden at either end.
struct Samples {
  explicit Samples(std::vector<float> stored_samples, double interval_s = 1.0, uint32_t front = 0,
                   uint32_t back = 0)
      : stored(std::move(stored_samples)),
        record{static_cast<uint32_t>(stored.size()) - front - back, interval_s,
               stored.data() + front, front, back} {}
  Samples(const Samples &) = delete;
  Samples &operator=(const Samples &) = delete;

  VomoWaveform *get() { return &record; }

  std::vector<float> stored;
  VomoWaveform record;
};

inline std::vector<float> Visible(const VomoWaveform &waveform) {
  return {waveform.pfSamples, waveform.pfSamples + waveform.ulNumSamples};
}

inline std::vector<float> Stored(const VomoWaveform &waveform) {
  return {waveform.pfSamples - waveform.ulTrimFront,
          waveform.pfSamples + waveform.ulNumSamples + waveform.ulTrimBack};
}

// The three counts: hidden in front, visible, hidden behind.
inline std::vector<uint32_t> Counts(const VomoWaveform &waveform) {
  return {waveform.ulTrimFront, waveform.ulNumSamples, waveform.ulTrimBack};
}

}  // namespace vomo_test

#endif
