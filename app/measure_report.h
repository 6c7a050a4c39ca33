// The report of a measurement: what an engineer would otherwise draw by hand.
#ifndef VOMO_APP_MEASURE_REPORT_H
#define VOMO_APP_MEASURE_REPORT_H

#include <span>
#include <string>
#include <vector>

#include "capture_reader.h"
#include "decision_signal.h"
#include "density_eye.h"
#include "record_fields.h"
#include "recovered_clock.h"
#include "report_page.h"
#include "result_rows.h"

namespace app {

// All that a report's sections draw from. jitter: the run's filtered sequence, one value for each
// clock edge, seconds. clock: NULL for a run without an eye, whose jitter has other edges.
struct ReportSource {
  const RunOutcome &outcome;
  const Signal &signal;
  const RecoveredClock *clock;
  std::span<const double> jitter;
  std::optional<UnequalisedSignal> unequalised;

  double unit_interval_s() const { return outcome.results.dUnitInterval; }
};

// The whole page.
std::string MeasureReport(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                          const std::vector<Capture> &captures, const Signal &signal,
                          const RecoveredClock *clock, std::span<const double> jitter,
                          const std::optional<UnequalisedSignal> &unequalised,
                          const Json &settings);

// Of any report: whether all limits are met, the rows as a table, and where the captures come from.
void AddVerdict(report::Page &page, const std::vector<ResultRow> &rows);
void AddResults(report::Page &page, const std::vector<ResultRow> &rows, double unit_interval_s);
void AddInput(report::Page &page, const std::vector<Capture> &captures);

// An eye with its axes and nothing on it.
report::Chart BareEyeChart(const EyeGrid &grid, double unit_interval_s);

// The sections of a measurement's, in the order of the page.
void AddEqualisers(report::Page &page, const ReportSource &source);
void AddEyes(report::Page &page, const ReportSource &source);
void AddJitterCharts(report::Page &page, const ReportSource &source);
void AddWorstIntervals(report::Page &page, const ReportSource &source);

}  // namespace app

#endif
