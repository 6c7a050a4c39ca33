// The field tables of the library's run records.
#ifndef VOMO_APP_RUN_RECORDS_H
#define VOMO_APP_RUN_RECORDS_H

#include "record_fields.h"

namespace app {

// VomoComplianceParams. Left out is what isn't a setting of its own: the counts, which follow from
// their lists, and the pass/fail records, which follow from the templates.
extern const RecordType kComplianceParamsType;

// VomoComplianceResults without handles and reserved space.
extern const RecordType kComplianceResultsType;

}  // namespace app

#endif
