// The report of a burst test: the capture with its bursts, one of them enlarged, and the numbers.
#ifndef VOMO_APP_LF_REPORT_H
#define VOMO_APP_LF_REPORT_H

#include <string>
#include <vector>

#include "burst_measurement.h"
#include "burst_rows.h"

namespace app {

struct BurstsReportSource {
  const BurstSignal &signal;
  const BurstSettings &settings;
  const BurstOutcome &outcome;
  const std::vector<BurstRow> &rows;
};

// The whole page.
std::string BurstsReport(const BurstsReportSource &source, const std::vector<Capture> &captures,
                         const Json &settings);

}  // namespace app

#endif
