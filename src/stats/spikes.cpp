#include <algorithm>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

// Magnitudes are taken in portions that stay in the first-level cache.
constexpr uint32_t kPortion = 1024;

// Scales every point above the floor down to the floor less the offset and copies the others, also
// one without a magnitude (NaN).
void CutPortion(const VomoComplexDouble *spectrum, const double *floor, uint32_t count,
                double floor_offset, VomoComplexDouble *result) {
  double magnitude[kPortion];
  VecMagnitude_64fc(spectrum, magnitude, static_cast<int32_t>(count));
  for (uint32_t i = 0; i < count; ++i) {
    if (magnitude[i] > floor[i]) {
      const double factor = (floor[i] - floor_offset) / magnitude[i];
      result[i] = {spectrum[i].dRe * factor, spectrum[i].dIm * factor};
    } else {
      result[i] = spectrum[i];
    }
  }
}

void CutSpikes(const VomoComplexDouble *spectrum, const double *floor, uint32_t count,
               double floor_offset, VomoComplexDouble *result) {
  result[0] = spectrum[0];  // the mean is no spike
  for (uint32_t done = 1; done < count;) {
    const uint32_t portion = std::min(kPortion, count - done);
    CutPortion(spectrum + done, floor + done, portion, floor_offset, result + done);
    done += portion;
  }
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(const VomoComplexDouble *pcSpectrum,
                                                        const double *pdFloor, uint32_t ulCount,
                                                        double dFloorOffset,
                                                        VomoComplexDouble **ppcResult,
                                                        VomoHandle *pHandle) noexcept {
  if (pcSpectrum == nullptr || pdFloor == nullptr || ppcResult == nullptr || pHandle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulCount == 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    BlockOf<VomoComplexDouble> own;
    if (*ppcResult == nullptr) own = BlockOf<VomoComplexDouble>::Allocate(ulCount);
    CutSpikes(pcSpectrum, pdFloor, ulCount, dFloorOffset, own ? own.get() : *ppcResult);
    *pHandle = 0;
    if (own) own.Deliver(ppcResult, pHandle);
    return Vomo_STATUS_SUCCESS;
  });
}
