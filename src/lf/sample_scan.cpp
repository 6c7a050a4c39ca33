#include "lf/sample_scan.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "primitives/band_scan.h"

namespace vomo {
namespace {

// The masks of up to kMostWords * 64 samples.
struct Masks {
  static constexpr uint32_t kMostWords = 64;

  Masks(const float *samples, uint32_t count, float volts) {
    BandMasks(samples, count, volts, not_above, above, not_below, below);
  }

  uint64_t Word(Side side, uint32_t w) const {
    switch (side) {
      case Side::kAbove:
        return above[w];
      case Side::kBelow:
        return below[w];
      case Side::kBeyond:
        return above[w] | below[w];
      case Side::kWithin:
        return not_above[w] & not_below[w];
      case Side::kNotAbove:
        return not_above[w];
    }
    return 0;
  }

  uint64_t not_above[kMostWords], above[kMostWords], not_below[kMostWords], below[kMostWords];
};

// Adds the lowest `samples` bits of a word to the run of set bits. The place of the bit with which
// the run is at least length long ends the walk; 64 if there is none.
uint32_t RunEndInWord(uint64_t word, uint32_t samples, uint64_t length, uint64_t &run) {
  for (uint32_t bit = 0; bit < samples;) {
    const auto set = static_cast<uint32_t>(std::countr_one(word >> bit));
    if (set > 0 && run + set >= length) {
      const uint64_t needed = run < length ? length - run : 1;
      run += needed;
      return bit + static_cast<uint32_t>(needed) - 1;
    }
    run += set;
    bit += set;
    if (bit >= samples) break;
    run = 0;
    bit += static_cast<uint32_t>(std::countr_zero(word >> bit));
  }
  return 64;
}

}  // namespace

SampleClass MagnitudeBelow(float volts) {
  return {Side::kWithin, std::nextafter(volts, 0.0f)};
}

uint64_t SampleScan::RunEnd(SampleClass wanted, uint64_t from, uint64_t length,
                            uint64_t &run) const {
  // Begins with a single word, so that a search which ends at once costs little.
  uint64_t words = 1;
  while (from < count_) {
    const auto samples = static_cast<uint32_t>(std::min(words * 64, count_ - from));
    const Masks masks(samples_ + from, samples, wanted.volts);
    for (uint32_t w = 0; w * 64 < samples; ++w) {
      const uint32_t left = std::min(samples - w * 64, 64u);
      const uint32_t bit = RunEndInWord(masks.Word(wanted.side, w), left, length, run);
      if (bit < 64) return from + w * 64 + bit;
    }
    from += samples;
    words = std::min<uint64_t>(2 * words, Masks::kMostWords);
  }
  return count_;
}

}  // namespace vomo
