#include "compliance/jitter_spectrum.h"

#include <algorithm>

#include "core/handle_table.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

struct Source {
  const VomoComplexDouble *bins;
  uint32_t count;
  double *VomoJitterSpectrumRecord::*magnitudes;
};

// Scales and takes magnitudes in pieces that stay in the cache. Primitive status.
int32_t ScaledMagnitudes(const Source &source, double *magnitudes) {
  constexpr uint32_t kPiece = 1024;
  VomoComplexDouble scaled[kPiece];
  const VomoComplexDouble scale{static_cast<double>(source.count), 0.0};
  for (uint32_t done = 0; done < source.count; done += kPiece) {
    const uint32_t count = std::min(kPiece, source.count - done);
    std::copy_n(source.bins + done, count, scaled);
    const auto length = static_cast<int32_t>(count);
    int32_t status = VecScaleInPlace_64fc(scale, scaled, length);
    if (status == 0) status = VecMagnitude_64fc(scaled, magnitudes + done, length);
    if (status != 0) return status;
  }
  return 0;
}

}  // namespace

VomoStatus Vomo_RecordJitterSpectrum(uint32_t ulBinCount, const VomoComplexDouble *psRaw,
                                     const VomoComplexDouble *psFiltered, double dBinSpacing,
                                     uint32_t ulDiffBinCount, const VomoComplexDouble *psDiff,
                                     double dDiffBinSpacing,
                                     JitterSlot<VomoJitterSpectrumRecord> &slot) {
  slot.block.Free();
  slot.record = {};
  const uint32_t diff_count = psDiff != nullptr ? ulDiffBinCount : 0;
  const Source sources[] = {
      {psRaw, ulBinCount, &VomoJitterSpectrumRecord::pdRawMagnitude},
      {psFiltered, ulBinCount, &VomoJitterSpectrumRecord::pdFilteredMagnitude},
      {psDiff, diff_count, &VomoJitterSpectrumRecord::pdDiffMagnitude},
  };
  uint64_t total = 0;
  for (const Source &source : sources) total += source.bins != nullptr ? source.count : 0;
  if (psRaw == nullptr && psFiltered == nullptr && psDiff == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }

  Block block = Block::TryAllocate(total, sizeof(double));
  if (!block) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  VomoJitterSpectrumRecord record{};
  record.ulBinCount = ulBinCount;
  record.dBinSpacing = dBinSpacing;
  record.ulDiffBinCount = diff_count;
  record.dDiffBinSpacing = psDiff != nullptr ? dDiffBinSpacing : 0.0;
  auto *place = static_cast<double *>(block.memory());
  for (const Source &source : sources) {
    if (source.bins == nullptr) continue;
    const int32_t status = ScaledMagnitudes(source, place);
    if (status != 0) return PrimitiveFailure(status, Vomo_STATUS_COMPUTATION_ERROR);
    record.*source.magnitudes = place;
    place += source.count;
  }
  slot.record = record;
  slot.block.Hold(block.Release());
  return Vomo_STATUS_SUCCESS;
}

}  // namespace vomo
