#include "compliance/waveform_preparation.h"

#include <algorithm>

#include "core/waveform.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

constexpr int32_t kNoCtle = -1;

// Positive less negative over the shorter of the two visible ranges, index 0 paired with index 0.
VomoStatus Subtract(const VomoWaveform *positive, const VomoWaveform *negative,
                    Received<VomoWaveform> &difference) {
  if (!HasSamples(positive) || !HasSamples(negative)) return Vomo_STATUS_PARAM_NOT_VALID;
  if (!(positive->dSampleInterval > 0) || positive->dSampleInterval != negative->dSampleInterval) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const uint32_t count = std::min(positive->ulNumSamples, negative->ulNumSamples);
  const VomoStatus status = Vomo_Get_Waveform(count, positive->pfSamples, positive->dSampleInterval,
                                              difference.pointer(), difference.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  VecSubInPlace_32f(negative->pfSamples, difference->pfSamples, static_cast<int32_t>(count));
  return Vomo_STATUS_SUCCESS;
}

}  // namespace

VomoStatus Vomo_PrepareWaveform(VomoWaveform *psWaveform, VomoWaveform *psComplement,
                                const VomoComplianceParams *, double, uint32_t,
                                VomoComplianceResults *psResults, PreparedSignal *psPrepared) {
  psPrepared->waveform = psWaveform;
  if (psComplement != nullptr) {
    const VomoStatus status = Subtract(psWaveform, psComplement, psPrepared->made);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    psPrepared->waveform = psPrepared->made.get();
  }
  psResults->iDFEApplied = 0;
  psResults->iCTLEIndexUsed = kNoCtle;
  return Vomo_STATUS_SUCCESS;
}

}  // namespace vomo
