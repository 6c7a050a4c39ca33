#include "result_json.h"

#include <vomo.h>

#include <cmath>

#include "file_hash.h"
#include "run_records.h"

namespace app {

Json CaptureJson(const Capture &capture) {
  Json json = {{"file", capture.path()}, {"format", capture.format()}};
  json["bytes"] = capture.bytes() ? Json(*capture.bytes()) : Json(nullptr);
  json["sha256"] = capture.bytes() ? Json(FileSha256(capture.path())) : Json(nullptr);
  if (capture.number() != 0) json["waveform"] = capture.number();
  json["notes"] = capture.notes();
  json["samples"] = capture.waveform()->ulNumSamples;
  json["sample_interval"] = capture.waveform()->dSampleInterval;
  return json;
}

namespace {

Json HitsJson(const TemplateHits &hits) {
  return {{"points", hits.points}, {"template_hits", hits.hits}, {"hit_ratio", hits.ratio()}};
}

}  // namespace

Json RowJson(const ResultRow &row) {
  Json json = {{"quantity", row.quantity},
               {"value", NumberOrNull(row.value)},
               {"unit", row.unit},
               {"method", row.method}};
  if (row.ui_count > 0) json["ui_count"] = row.ui_count;
  if (row.limit) {
    json[row.limit_is_least ? "least" : "limit"] = NumberOrNull(*row.limit);
    json["passed"] = row.passed();
  }
  return json;
}

Json ResultHead(const char *schema, const std::vector<Capture> &captures,
                std::optional<double> pair_correlation) {
  Json json = {{"schema", schema}, {"version", 1}, {"library_version", VOMO_VERSION}};
  for (const Capture &capture : captures) json["captures"].push_back(CaptureJson(capture));
  if (captures.size() > 1) {
    json["captures"][0]["role"] = "positive";
    json["captures"][1]["role"] = "negative";
    json["pair"] = {{"signal", "positive - negative"},
                    {"correlation", NumberOrNull(pair_correlation.value_or(NAN))}};
  }
  return json;
}

Json ResultJson(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                const std::vector<Capture> &captures, const Json &settings, const Json &four_port) {
  Json json = ResultHead("vomo.measure", captures, outcome.pair_correlation);
  bool passed = true;
  for (const ResultRow &row : rows) {
    passed = passed && row.passed();
    json["rows"].push_back(RowJson(row));
  }
  json["within_limits"] = passed;
  if (outcome.eye) {
    json["eye"] = {{"transition", HitsJson(outcome.eye->transition)},
                   {"non_transition", HitsJson(outcome.eye->non_transition)}};
  }
  if (!four_port.is_null()) json["four_port"] = four_port;
  if (UsesCtle(outcome.params) || UsesDfe(outcome.params)) {
    json["equalisers"] = EqualiserJson(outcome.ctle, outcome.params, outcome.results);
  }
  json["results"] = RecordToJson(kComplianceResultsType, &outcome.results);
  json["results_units"] = RecordUnits(kComplianceResultsType);
  json["settings"] = settings;
  json["settings_units"] = RecordUnits(kRunSettingsType);
  return json;
}

}  // namespace app
