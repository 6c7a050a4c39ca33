#include "eye/eye_stage.h"

namespace vomo {

// No eye is measured yet: the stage has no outputs.
VomoStatus Vomo_EyeStage(const VomoComplianceParams *, VomoComplianceResults *,
                         const VomoWaveform *, const VomoCrossoverData *, void *, uint8_t **,
                         const double *, VomoTemplate *, VomoTemplate *, VomoHistogramData *,
                         VomoHandle *pHandle) {
  *pHandle = 0;
  return Vomo_STATUS_SUCCESS;
}

}  // namespace vomo
