// Where samples lie relative to a band about zero volts, 64 samples to a word.
#ifndef VOMO_PRIMITIVES_BAND_SCAN_H
#define VOMO_PRIMITIVES_BAND_SCAN_H

#include <cstdint>

namespace vomo {

// Number of 64-bit words that hold one bit for each of count samples.
constexpr uint32_t BandMaskWords(uint32_t count) {
  return count / 64 + (count % 64 != 0);
}

// Writes BandMaskWords(count) words to each of the four masks. Bit k of word w stands for sample
// 64 w + k: not_above s <= +threshold, above s > +threshold, not_below s >= -threshold, below
// s < -threshold. A NaN on either side sets none of them, nor do bits past the last sample. A
// count of 0 writes nothing.
void BandMasks(const float *samples, uint32_t count, float threshold, uint64_t *not_above,
               uint64_t *above, uint64_t *not_below, uint64_t *below);

}  // namespace vomo

#endif
