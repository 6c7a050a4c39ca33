#include "result_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "engineering.h"
#include "measurement.h"

namespace app {
namespace {

uint64_t AllUi(const RunOutcome &run) {
  return uint64_t{run.results.ulLastIndex} + 1;
}
uint64_t TrimmedUi(const RunOutcome &run) {
  return run.results.ulPointsUsed;
}
uint64_t NoUi(const RunOutcome &) {
  return 0;
}

// Bit error ratio at the Q of the settings: one Gaussian tail.
double TargetBer(const RunOutcome &run) {
  return 0.5 * std::erfc(-run.params.dTargetBERQVal / std::numbers::sqrt2);
}

std::string ClockMethod(const RunOutcome &run) {
  return run.params.ePhaseErrorIntervalType == Vomo_PHASE_ERROR_LEAST_SQUARES
             ? "slope of a line through all edges"
             : "mean of all intervals";
}

std::string FilterMethod(const RunOutcome &run) {
  static constexpr const char *kOrders[] = {"brick-wall",  "first-order",  "second-order",
                                            "third-order", "fourth-order", "fifth-order",
                                            "sixth-order", "seventh-order"};
  const uint32_t order = std::min<uint32_t>(run.params.eFilterOrder, std::size(kOrders) - 1);
  return fmt::format("{} high pass at {}", kOrders[order],
                     Engineering(run.params.sFilterParams.dFc, "Hz", 3));
}

std::string RandomMethod(const RunOutcome &run) {
  return run.params.dRjRMSInput > 0 ? "as given" : "rms below the noise floor";
}

std::string AtTarget(const RunOutcome &run, const char *text) {
  return fmt::format("{} at BER {:.2g}", text, TargetBer(run));
}

std::string PatternMethod(const RunOutcome &run) {
  return run.results.ePatChkResult == PATCHK_OK ? "run lengths fit" : "run lengths do not fit";
}

std::string Rails(double low_v, double high_v) {
  return fmt::format("samples beyond {} and {}", Engineering(low_v, "V", 4),
                     Engineering(high_v, "V", 4));
}

std::string HitShare(const TemplateHits &hits) {
  return fmt::format("{:.3g} of {} points, inside the template", hits.ratio(), hits.points);
}

// Volts outside the template, negative inside it; NaN when no trace was there to be measured.
double Margin(uint32_t interval, double outside_v) {
  return interval == kNoInterval ? NAN : outside_v;
}

std::string MarginMethod(const RunOutcome &run) {
  return run.params.eVoltageMarginType == Vomo_RANGE_MAX
             ? "trimmed level where the eye is widest open"
             : "innermost trace at the template's centre";
}

bool HasEye(const RunOutcome &run) {
  return run.eye.has_value();
}
bool HasTemplate(const RunOutcome &run) {
  return HasEye(run) && run.params.sTransTemplate.ulArrayLength > 0;
}
bool HasNonTransTemplate(const RunOutcome &run) {
  return HasEye(run) && run.params.sNonTransTemplate.ulArrayLength > 0;
}

const CtleTrial *ChosenCtle(const RunOutcome &run) {
  return run.ctle ? run.ctle->Find(run.results.iCTLEIndexUsed) : nullptr;
}

bool HasCtle(const RunOutcome &run) {
  return UsesCtle(run.params);
}

std::string CtleMethod(const RunOutcome &run) {
  const int32_t chosen = run.results.iCTLEIndexUsed;
  if (chosen <= 0) return "the signal as it is has the best eye";
  return DescribeCtle(run.params.psCTLEFilterParams[chosen - 1]);
}

// What was to be chosen from, and what the signal would have had without.
std::string CtleScoreMethod(const RunOutcome &run) {
  const CtleTrial *none = run.ctle->Find(0);
  const std::string without =
      none->score ? Engineering(*none->score, run.ctle->unit(), 4) : "not measurable";
  return fmt::format("{} in the trial{}, of {} settings; without a CTLE {}",
                     run.ctle->criterion_name(), run.ctle->behind_dfe ? " behind the DFE" : "",
                     run.params.iCTLEFilterParamsCount, without);
}

// The DFE finds edges of its own, which nothing looks for patterns in.
bool HasPatternCheck(const RunOutcome &run) {
  return run.params.psPatChkData != nullptr && !UsesDfe(run.params);
}

bool HasDfe(const RunOutcome &run) {
  return UsesDfe(run.params);
}

std::string TapsMethod(const RunOutcome &run) {
  const VomoDFEParams &dfe = *run.params.psDFEFilterParams;
  std::string taps;
  for (int32_t k = 0; k < dfe.iDFETapCount; ++k) {
    taps +=
        fmt::format("{}{}", k == 0 ? "" : ", ", Engineering(double{dfe.afDFETapValues[k]}, "V", 4));
  }
  return taps;
}

using Value = double (*)(const RunOutcome &);
using Text = std::string (*)(const RunOutcome &);
using Count = uint64_t (*)(const RunOutcome &);

struct RowDefinition {
  const char *quantity;
  const char *unit;
  int digits;
  Value value;
  Text method;
  Count ui_count;
  Value limit = nullptr;  // a limit of 0 is none
  bool (*shown)(const RunOutcome &) = [](const RunOutcome &) { return true; };
  bool limit_is_least = false;
  const char *(*unit_of)(const RunOutcome &) = nullptr;  // where it depends on the run
};

#define VALUE(expression) \
  []([[maybe_unused]] const RunOutcome &run) -> double { return expression; }
#define TEXT(expression) \
  []([[maybe_unused]] const RunOutcome &run) -> std::string { return expression; }

const RowDefinition kRows[] = {
    {"Unit interval", "s", 7, VALUE(run.results.dUnitInterval), ClockMethod, AllUi},
    {"Bit rate", "bit/s", 7, VALUE(1 / run.results.dUnitInterval),
     TEXT("reciprocal of the unit interval"), AllUi},
    {"Rate offset", "ppm", 4, VALUE((run.params.dTargetUI / run.results.dUnitInterval - 1) * 1e6),
     TEXT(fmt::format("against {}", Engineering(1 / run.params.dTargetUI, "bit/s", 4))), AllUi},
    {"CTLE setting", "", 1, VALUE(run.results.iCTLEIndexUsed), CtleMethod, NoUi, nullptr, HasCtle},
    {"CTLE score", "", 4, VALUE(ChosenCtle(run)->score.value_or(NAN)), CtleScoreMethod,
     [](const RunOutcome &run) { return static_cast<uint64_t>(run.ctle->trial_ui); }, nullptr,
     [](const RunOutcome &run) { return ChosenCtle(run) != nullptr; }, false,
     [](const RunOutcome &run) { return run.ctle->unit(); }},
    {"DFE taps", "", 1, VALUE(run.params.psDFEFilterParams->iDFETapCount), TapsMethod, NoUi,
     nullptr, HasDfe},
    {"First crossover", "s", 4, VALUE(run.results.dFirstCrossoverTime), TEXT("from sample 0"),
     NoUi},
    {"Smallest edge spacing", "s", 4, VALUE(run.results.dMinCrossoverInterval),
     TEXT("between neighbouring crossovers"), AllUi},
    {"Edge density", "1/UI", 4, VALUE(run.results.dEdgeDensity), TEXT("crossovers in each UI"),
     AllUi, nullptr, HasPatternCheck},
    {"Pattern check", "", 1, VALUE(run.results.ePatChkResult == PATCHK_OK ? 0 : 1), PatternMethod,
     AllUi, VALUE(0),
     [](const RunOutcome &run) {
       return HasPatternCheck(run) && run.params.psPatChkData->ulPatDefCount > 0;
     }},
    {"TIE, peak to peak", "s", 4, VALUE(run.results.dTIEPeakPeak),
     TEXT("against a steady clock, unfiltered"), AllUi},
    {"Jitter, peak to peak", "s", 4, VALUE(run.results.dPeakPeakJitter), FilterMethod, TrimmedUi,
     VALUE(run.params.dPeakPeakJitterLimit)},
    {"Random jitter Rj, rms", "s", 4, VALUE(run.results.dRjRMS), RandomMethod, TrimmedUi,
     VALUE(run.params.dRjRMSMaxJitterLimit)},
    {"Rj, standard deviation", "s", 4, VALUE(run.results.dRjStdDev),
     TEXT("about the mean, below the noise floor"), TrimmedUi},
    {"Left Dirac", "s", 4, VALUE(-run.results.dDualDiracLeft), TEXT("dual-Dirac fit"), TrimmedUi},
    {"Right Dirac", "s", 4, VALUE(run.results.dDualDiracRight), TEXT("dual-Dirac fit"), TrimmedUi},
    {"Deterministic jitter Dj", "s", 4, VALUE(run.results.dDjDeltaDelta),
     TEXT("distance of the Diracs"), TrimmedUi, VALUE(run.params.dDjDeltaDeltaJitterLimit)},
    {"Total jitter Tj", "s", 4, VALUE(run.results.dTjPeakPeak),
     TEXT(AtTarget(run, "dual-Dirac fit")), TrimmedUi, VALUE(run.params.dTjPeakPeakJitterLimit)},
    {"Eye width", "s", 4, VALUE(run.results.dUnitInterval - run.results.dTjPeakPeak),
     TEXT(AtTarget(run, "unit interval less Tj")), TrimmedUi},
    {"Highest voltage", "V", 4, VALUE(run.highest_v), TEXT("greatest sample"), NoUi},
    {"Lowest voltage", "V", 4, VALUE(run.lowest_v), TEXT("least sample"), NoUi},
    {"Rail violations, transition", "", 1, VALUE(run.results.ulTransRailViolations),
     TEXT(Rails(run.params.fTransitionLowVoltageRail, run.params.fTransitionHighVoltageRail)), NoUi,
     VALUE(0), HasEye},
    {"Rail violations, non-transition", "", 1, VALUE(run.results.ulNonTransRailViolations),
     TEXT(Rails(run.params.NonTransitionLowVoltageRail, run.params.fNonTransitionHighVoltageRail)),
     NoUi, VALUE(0), HasEye},
    {"Template hits, transition", "", 1, VALUE(static_cast<double>(run.eye->transition.hits)),
     TEXT(HitShare(run.eye->transition)), NoUi, VALUE(0), HasTemplate},
    {"Template hits, non-transition", "", 1,
     VALUE(static_cast<double>(run.eye->non_transition.hits)),
     TEXT(HitShare(run.eye->non_transition)), NoUi, VALUE(0), HasNonTransTemplate},
    {"Upper margin, transition", "V", 4,
     VALUE(Margin(run.results.sTransMargins.ulHighMarginInterval,
                  run.results.sTransMargins.fHighMargin)),
     MarginMethod, NoUi, VALUE(0), HasTemplate, true},
    {"Lower margin, transition", "V", 4,
     VALUE(Margin(run.results.sTransMargins.ulLowMarginInterval,
                  -run.results.sTransMargins.fLowMargin)),
     MarginMethod, NoUi, VALUE(0), HasTemplate, true},
    {"Upper margin, non-transition", "V", 4,
     VALUE(Margin(run.results.sNonTransMargins.ulHighMarginInterval,
                  run.results.sNonTransMargins.fHighMargin)),
     MarginMethod, NoUi, VALUE(0), HasNonTransTemplate, true},
    {"Lower margin, non-transition", "V", 4,
     VALUE(Margin(run.results.sNonTransMargins.ulLowMarginInterval,
                  -run.results.sNonTransMargins.fLowMargin)),
     MarginMethod, NoUi, VALUE(0), HasNonTransTemplate, true},
};
#undef VALUE
#undef TEXT

TextLine LineOf(const ResultRow &row, double unit_interval_s) {
  TextLine line(7);
  line[0].text = row.quantity;
  line[1].text = Engineering(row.value, row.unit, row.digits);
  if (row.unit == "s")
    line[2].text = Engineering(row.value / unit_interval_s * 1e3, "", row.digits);
  if (row.ui_count > 0) line[3].text = fmt::format("{}", row.ui_count);
  if (row.limit) {
    line[4].text = LimitText(row);
    line[5] = VerdictCell(row.passed());
  }
  line[6].text = row.method;
  return line;
}

}  // namespace

std::string LimitText(const ResultRow &row) {
  if (!row.limit) return {};
  return (row.limit_is_least ? ">= " : "") + Engineering(*row.limit, row.unit, row.digits);
}

bool AllPassed(const std::vector<ResultRow> &rows) {
  return std::all_of(rows.begin(), rows.end(), [](const ResultRow &row) { return row.passed(); });
}

std::vector<ResultRow> ResultRows(const RunOutcome &outcome) {
  std::vector<ResultRow> rows;
  for (const RowDefinition &definition : kRows) {
    if (!definition.shown(outcome)) continue;
    const char *unit = definition.unit_of ? definition.unit_of(outcome) : definition.unit;
    ResultRow row{definition.quantity, definition.value(outcome),  unit,
                  definition.digits,   definition.method(outcome), definition.ui_count(outcome),
                  std::nullopt};
    row.of_eye = definition.shown == HasEye || definition.shown == HasTemplate ||
                 definition.shown == HasNonTransTemplate;
    if (definition.limit != nullptr) {
      const double limit = definition.limit(outcome);
      row.limit_is_least = definition.limit_is_least;
      const bool meant = limit > 0 || row.unit.empty() || row.limit_is_least;
      if (meant && std::isfinite(row.value)) row.limit = limit;
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string FormatRows(const std::vector<ResultRow> &rows, double unit_interval_s, bool colour) {
  std::vector<TextLine> lines = {
      {{"quantity"}, {"value"}, {"mUI"}, {"UI"}, {"limit"}, {""}, {"method"}}};
  for (const ResultRow &row : rows) lines.push_back(LineOf(row, unit_interval_s));
  return AlignColumns(lines, "lrrrrll", colour);
}

std::vector<TextLine> PlainLines(const char *head, const std::vector<ResultRow> &rows) {
  std::vector<TextLine> lines = {{{head}, {"value"}, {"method"}}};
  for (const ResultRow &row : rows) {
    lines.push_back({{row.quantity}, {Engineering(row.value, row.unit, row.digits)}, {row.method}});
  }
  return lines;
}

}  // namespace app
