// The whole result of a run as JSON.
#ifndef VOMO_APP_RESULT_JSON_H
#define VOMO_APP_RESULT_JSON_H

#include <vector>

#include "capture_reader.h"
#include "record_fields.h"
#include "result_rows.h"

namespace app {

// Where a capture came from, with its size and SHA-256, and what was read of it.
Json CaptureJson(const Capture &capture);

// What the JSON of every result begins with: schema and version, and the captures. The correlation
// is that of the halves of a pair.
Json ResultHead(const char *schema, const std::vector<Capture> &captures,
                std::optional<double> pair_correlation);

Json RowJson(const ResultRow &row);

// Beside the rows that the terminal shows: every field of the results record with its unit, its
// curves and the settings; the four-port that the captures were sent through, or null.
Json ResultJson(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                const std::vector<Capture> &captures, const Json &settings,
                const Json &four_port = nullptr);

}  // namespace app

#endif
