#include "burst_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "engineering.h"
#include "text_table.h"

namespace app {
namespace {

// What decides whether a row is measured.
struct Run {
  const VomoLFTestParams &params;
  size_t bursts;
  bool common_mode;

  bool IsTrain() const { return params.eLFTestType == 1; }
  bool UsesRatio() const { return params.iUseTransmitRatio != 0; }
};

using Member = double VomoLFTestResults::*;

struct RowDefinition {
  const char *quantity;
  const char *unit;
  int digits;
  Member min, max;  // min may be NULL
  bool (*measured)(const Run &);
  std::string (*method)(const Run &);
};

bool Always(const Run &) {
  return true;
}
bool OfTrain(const Run &run) {
  return run.IsTrain();
}
bool OfCoded(const Run &run) {
  return !run.IsTrain();
}

std::string EdgeMethod(const Run &run) {
  return fmt::format("{:g} % to {:g} % of the swing, longest of all edges",
                     100 * run.params.fLowLevelFraction, 100 * run.params.fHighLevelFraction);
}

#define TEXT(expression) []([[maybe_unused]] const Run &run) -> std::string { return expression; }
#define MEMBERS(name) &VomoLFTestResults::name##Min, &VomoLFTestResults::name##Max

const RowDefinition kRows[] = {
    {"Period", "s", 5, MEMBERS(dPeriod), Always,
     TEXT(fmt::format("two intervals; mean of the bursts {}",
                      Engineering(run.params.dMeanPeriod, "s", 5)))},
    {"Duty cycle", "%", 4, MEMBERS(dDutyCycle), OfTrain, TEXT("high part of each period")},
    {"Burst time", "s", 5, MEMBERS(dBurstTime), OfTrain,
     TEXT(fmt::format("with the {} of quiet that end it",
                      Engineering(run.params.dIdleTime, "s", 4)))},
    {"Repeat time", "s", 5, MEMBERS(dRepeatTime),
     [](const Run &run) { return run.IsTrain() && run.bursts > 1; },
     TEXT("from a burst's start to the next one's")},
    {"Prepare time", "s", 5, MEMBERS(dPrepareTime), OfCoded,
     TEXT("phase that leads up to the burst")},
    {"Bit duration", "", 5, MEMBERS(dBitDuration), OfCoded,
     TEXT("each period over the burst's mean")},
    {"Transmit ratio", "", 4, MEMBERS(dTransmitRatio),
     [](const Run &run) { return !run.IsTrain() && run.UsesRatio(); },
     TEXT("longer over shorter part of a bit")},
    {"Minor duration", "s", 4, MEMBERS(dMinorDuration),
     [](const Run &run) { return !run.IsTrain() && !run.UsesRatio(); },
     TEXT("shorter part of a bit")},
    {"Rise time", "s", 4, nullptr, &VomoLFTestResults::dRiseTimeMax, Always, EdgeMethod},
    {"Fall time", "s", 4, nullptr, &VomoLFTestResults::dFallTimeMax, Always, EdgeMethod},
    {"Voltage, peak to peak", "V", 4, MEMBERS(dVoltagePP), OfTrain,
     TEXT("extreme samples of each period")},
    {"Amplitude", "V", 4, MEMBERS(dAmplitude), OfCoded, TEXT("extreme samples of each period")},
    {"Levels before it", "V", 4, MEMBERS(dDiffDC), OfCoded,
     TEXT("means of stall and prepare phase, 200 ns from their ends")},
    {"Common mode, range", "V", 4, nullptr, &VomoLFTestResults::dCommonModeMax,
     [](const Run &run) { return run.IsTrain() && run.common_mode; },
     TEXT("largest less smallest sample of a burst")},
};
#undef TEXT
#undef MEMBERS

// before(a, b) says whether a is the more extreme one; the limit must not be exceeded that way.
template <class Before>
Extreme ExtremeOf(const BurstOutcome &outcome, Member member, double limit, Before before) {
  const auto first = std::min_element(
      outcome.bursts.begin(), outcome.bursts.end(), [&](const Burst &a, const Burst &b) {
        // A burst without a value comes last: the last one of a train has no time to the next.
        if (std::isnan(a.results.*member)) return false;
        return std::isnan(b.results.*member) || before(a.results.*member, b.results.*member);
      });
  Extreme extreme;
  extreme.value = outcome.results.*member;
  extreme.burst = static_cast<uint32_t>(first - outcome.bursts.begin()) + 1;
  if (limit != 0) extreme.limit = limit;
  extreme.passed = limit == 0 || extreme.value == limit || before(limit, extreme.value);
  return extreme;
}

Json ExtremeJson(const Extreme &extreme) {
  Json json = {{"value", NumberOrNull(extreme.value)}, {"burst", extreme.burst}};
  if (extreme.limit) {
    json["limit"] = *extreme.limit;
    json["passed"] = extreme.passed;
  }
  return json;
}

Json RowJson(const BurstRow &row) {
  Json json = {{"quantity", row.quantity}, {"unit", row.unit}, {"method", row.method}};
  if (row.min) json["min"] = ExtremeJson(*row.min);
  if (row.max) json["max"] = ExtremeJson(*row.max);
  return json;
}

Json BurstJson(const Burst &burst, double sample_interval_s) {
  Json json = {{"first_sample", burst.first_sample},
               {"last_sample", burst.last_sample},
               {"start", burst.first_sample * sample_interval_s},
               {"end", burst.last_sample * sample_interval_s}};
  if (burst.prepare) {
    json["stall_start"] = NumberOrNull(burst.prepare->stall_start);
    json["prepare_start"] = NumberOrNull(burst.prepare->prepare_start);
    json["prepare_end"] = NumberOrNull(burst.prepare->prepare_end);
  }
  json["results"] = RecordToJson(kBurstResultsType, &burst.results);
  return json;
}

// Value, burst and limit of an extreme, in three cells.
void PutExtreme(const std::optional<Extreme> &extreme, const BurstRow &row, TextCell *cells) {
  if (!extreme) return;
  cells[0].text = Engineering(extreme->value, row.unit, row.digits);
  cells[1].text = fmt::format("{}", extreme->burst);
  if (extreme->limit) cells[2].text = Engineering(*extreme->limit, row.unit, row.digits);
}

}  // namespace

std::optional<bool> BurstRow::passed() const {
  const bool limited = (min && min->limit) || (max && max->limit);
  if (!limited) return std::nullopt;
  return (!min || min->passed) && (!max || max->passed);
}

std::vector<BurstRow> BurstRows(const BurstOutcome &outcome, const VomoLFTestResults &limits,
                                bool with_common_mode) {
  const Run run{outcome.params, outcome.bursts.size(), with_common_mode};
  std::vector<BurstRow> rows;
  for (const RowDefinition &row : kRows) {
    if (!row.measured(run)) continue;
    BurstRow result{row.quantity, row.unit, row.digits, {}, {}, row.method(run)};
    if (row.min != nullptr) {
      result.min = ExtremeOf(outcome, row.min, limits.*row.min, std::less());
    }
    result.max = ExtremeOf(outcome, row.max, limits.*row.max, std::greater());
    rows.push_back(std::move(result));
  }
  return rows;
}

std::string FormatBurstRows(const std::vector<BurstRow> &rows, bool colour) {
  std::vector<TextLine> lines = {{{"quantity"},
                                  {"minimum"},
                                  {"burst"},
                                  {"at least"},
                                  {"maximum"},
                                  {"burst"},
                                  {"at most"},
                                  {""},
                                  {"method"}}};
  for (const BurstRow &row : rows) {
    TextLine line(9);
    line[0].text = row.quantity;
    PutExtreme(row.min, row, &line[1]);
    PutExtreme(row.max, row, &line[4]);
    if (row.passed()) line[7] = VerdictCell(*row.passed());
    line[8].text = row.method;
    lines.push_back(std::move(line));
  }
  return AlignColumns(lines, "lrrrrrrll", colour);
}

bool WithinLimits(const std::vector<BurstRow> &rows) {
  return std::all_of(rows.begin(), rows.end(),
                     [](const BurstRow &row) { return row.passed().value_or(true); });
}

Json BurstsJson(Json head, const BurstOutcome &outcome, const std::vector<BurstRow> &rows,
                double sample_interval_s, const Json &settings) {
  Json json = std::move(head);
  for (const BurstRow &row : rows) json["rows"].push_back(RowJson(row));
  json["within_limits"] = WithinLimits(rows);
  json["mean_period"] = NumberOrNull(outcome.params.dMeanPeriod);
  json["results"] = RecordToJson(kBurstResultsType, &outcome.results);
  json["results_units"] = RecordUnits(kBurstResultsType);
  for (const Burst &burst : outcome.bursts) {
    json["bursts"].push_back(BurstJson(burst, sample_interval_s));
  }
  json["settings"] = settings;
  json["settings_units"] = RecordUnits(kBurstSettingsType);
  return json;
}

}  // namespace app
