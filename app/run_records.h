// The field tables of the library's run records.
#ifndef VOMO_APP_RUN_RECORDS_H
#define VOMO_APP_RUN_RECORDS_H

#include <vomo.h>

#include "record_fields.h"

namespace app {

// VomoComplianceParams. Left out is what isn't a setting of its own: the counts, which follow from
// their lists, and the pass/fail records, which follow from the templates.
extern const RecordType kComplianceParamsType;

// VomoCTLEParams.
extern const RecordType kCtleParamsType;

// VomoComplianceResults without handles and reserved space.
extern const RecordType kComplianceResultsType;

// The settings document: the fields of the parameters, and those of a kind of run that needs more.
struct RunSettingsRecord {
  VomoComplianceParams params;
  const VomoDualPortParams *sDualPort;  // NULL unless data is measured against a captured clock
};
extern const RecordType kRunSettingsType;

// What a dual-port run tells beside the results.
extern const RecordType kDualPortClockType;
extern const RecordType kDualPortTrialType;

}  // namespace app

#endif
