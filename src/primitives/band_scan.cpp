#include "primitives/band_scan.h"

#include "primitives/kernels.h"

namespace vomo {

void BandMasks(const float *samples, uint32_t count, float threshold, uint64_t *not_above,
               uint64_t *above, uint64_t *not_below, uint64_t *below) {
  ActiveKernels().band_masks(samples, count, threshold, not_above, above, not_below, below);
}

}  // namespace vomo
