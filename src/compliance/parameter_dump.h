// The text record of a run's settings.
#ifndef VOMO_COMPLIANCE_PARAMETER_DUMP_H
#define VOMO_COMPLIANCE_PARAMETER_DUMP_H

#include <vomo.h>

namespace vomo {

// Appends the settings to pcParameterDumpFile, one "name = value" line each; does nothing if that
// is NULL or does not open. Never fails a run.
void Vomo_DumpParameters(const VomoComplianceParams &parameters);

}  // namespace vomo

#endif
