#include "compliance/gen3_stages.h"

namespace vomo {

// Gen3 base compliance runs are refused here, before the clock is made.
VomoStatus Vomo_TakeOutGen3Jitter(VomoCrossoverData *, double, VomoGen3Results *,
                                  Received<int16_t> *) {
  return Vomo_STATUS_NOT_IMPLEMENTED;
}

VomoStatus Vomo_MeasureGen3Voltages(const VomoWaveform *, const VomoCrossoverData *, uint32_t,
                                    uint32_t, const int16_t *, const VomoComplianceParams *,
                                    VomoComplianceResults *) {
  return Vomo_STATUS_NOT_IMPLEMENTED;
}

}  // namespace vomo
