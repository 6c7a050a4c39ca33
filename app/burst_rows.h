// The results of the burst test as rows for readers: one table says what each row shows.
#ifndef VOMO_APP_BURST_ROWS_H
#define VOMO_APP_BURST_ROWS_H

#include <optional>
#include <string>
#include <vector>

#include "burst_measurement.h"

namespace app {

// A minimum or a maximum over the bursts.
struct Extreme {
  double value;
  uint32_t burst;  // the first one that gave it, counted from 1
  std::optional<double> limit;
  bool passed;
};

struct BurstRow {
  std::string quantity;
  std::string unit;
  int digits;
  std::optional<Extreme> min, max;
  std::string method;

  // Nothing without a limit.
  std::optional<bool> passed() const;
};

std::vector<BurstRow> BurstRows(const BurstOutcome &outcome, const VomoLFTestResults &limits,
                                bool with_common_mode);

// As aligned lines.
std::string FormatBurstRows(const std::vector<BurstRow> &rows, bool colour);

bool WithinLimits(const std::vector<BurstRow> &rows);

// Beside the rows: every field of the results with its unit, each burst by itself, the settings.
// `head` is what the JSON begins with.
Json BurstsJson(Json head, const BurstOutcome &outcome, const std::vector<BurstRow> &rows,
                double sample_interval_s, const Json &settings);

}  // namespace app

#endif
