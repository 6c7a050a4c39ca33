#include "compliance/parameter_dump.h"

namespace vomo {

// No settings are written yet.
void Vomo_DumpParameters(const VomoComplianceParams &) {}

}  // namespace vomo
