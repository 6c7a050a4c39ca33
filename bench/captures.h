// Captures for the benchmarks: made once for each size and kept for the program's life.
#ifndef VOMO_BENCH_CAPTURES_H
#define VOMO_BENCH_CAPTURES_H

#include <synth_signal.h>
#include <vomo.h>

#include <cstdint>
#include <map>

namespace vomo_bench {

constexpr double kBitRate = 8e9;
constexpr double kSamplesPerUi = 10;

// PRBS15 at 8 Gb/s, 10 samples per UI, 1.5 ps of random and 3 ps of sinusoidal jitter.
inline const app::SynthCapture &Capture(uint64_t sample_count) {
  static std::map<uint64_t, app::SynthCapture> captures;
  const auto found = captures.find(sample_count);
  if (found != captures.end()) return found->second;
  app::SynthSpec spec;
  spec.bit_rate = kBitRate;
  spec.samples_per_ui = kSamplesPerUi;
  spec.pattern = app::Pattern::kPrbs15;
  spec.rj_rms = 1.5e-12;
  spec.sj_amplitude = 3e-12;
  spec.sj_frequency = 23e6;
  spec.ui_count = sample_count / static_cast<uint64_t>(kSamplesPerUi);
  return captures[sample_count] = app::Synthesize(spec);
}

inline VomoWaveform WaveformOf(const app::SynthCapture &capture) {
  return {static_cast<uint32_t>(capture.samples.size()), 1 / (kBitRate * kSamplesPerUi),
          const_cast<float *>(capture.samples.data()), 0, 0};
}

}  // namespace vomo_bench

#endif
