// The results of a run as rows for readers: one table says what each row shows.
#ifndef VOMO_APP_RESULT_ROWS_H
#define VOMO_APP_RESULT_ROWS_H

#include <vomo.h>

#include <optional>
#include <string>
#include <vector>

#include "equaliser.h"
#include "template_test.h"
#include "text_table.h"

namespace app {

struct RunOutcome {
  const VomoComplianceParams &params;
  const VomoComplianceResults &results;
  float lowest_v, highest_v;               // of the signal as measured
  std::optional<double> pair_correlation;  // of the halves of a pair
  std::optional<EyeHits> eye = {};         // unless the run measures no eye
  std::optional<CtleTable> ctle = {};      // when there is a family of settings
};

struct ResultRow {
  std::string quantity;
  double value;
  std::string unit;
  int digits;
  std::string method;
  uint64_t ui_count;            // how many unit intervals stand behind it, 0 if not counted in them
  std::optional<double> limit;  // the greatest value that passes
  bool limit_is_least = false;  // or the least one
  bool of_eye = false;          // template, rails, margins

  bool passed() const { return !limit || (limit_is_least ? value >= *limit : value <= *limit); }
};

std::vector<ResultRow> ResultRows(const RunOutcome &outcome);
bool AllPassed(const std::vector<ResultRow> &rows);

// The limit of a row as readers see it; empty without one.
std::string LimitText(const ResultRow &row);

// The rows as aligned lines; times also in thousandths of the nominal unit interval.
std::string FormatRows(const std::vector<ResultRow> &rows, double unit_interval_s, bool colour);

// The rows as quantity, value and method alone, for AlignColumns; `head` stands above the
// quantities.
std::vector<TextLine> PlainLines(const char *head, const std::vector<ResultRow> &rows);
inline constexpr const char *kPlainAlignment = "lrl";

}  // namespace app

#endif
