// The report of a dual-port run.
#ifndef VOMO_APP_DUAL_REPORT_H
#define VOMO_APP_DUAL_REPORT_H

#include <vomo.h>

#include <span>
#include <string>
#include <vector>

#include "capture_reader.h"
#include "record_fields.h"
#include "result_rows.h"

namespace app {

// "data ahead by 96 UI"
std::string AlignmentText(int32_t offset_ui);

// clock: the clock's capture; data: the data's one or two.
std::string DualReport(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                       const std::vector<Capture> &data, const std::vector<Capture> &clock,
                       const VomoDualPortParams &dual, std::span<const VomoDualPortTrial> trials,
                       const Json &settings);

}  // namespace app

#endif
