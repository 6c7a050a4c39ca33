// The section of a report that shows what the equalisers of a run did.
#include <fmt/format.h>

#include <cmath>
#include <numbers>

#include "engineering.h"
#include "eye_picture.h"
#include "measure_report.h"

namespace app {
namespace {

// Where in the UI of the clock the signal crosses 0 V on average, on the circle, from -0.5 to 0.5.
double CrossingPhase(std::span<const float> samples, std::span<const double> clock) {
  double sine = 0, cosine = 0;
  size_t k = 0;
  for (size_t i = 0; i + 1 < samples.size(); ++i) {
    if ((samples[i] < 0) == (samples[i + 1] < 0)) continue;
    const double share = double{samples[i]} / (double{samples[i]} - double{samples[i + 1]});
    const double position = static_cast<double>(i) + share;
    while (k + 1 < clock.size() && clock[k + 1] <= position) ++k;
    if (k + 1 == clock.size()) break;
    if (position < clock[k]) continue;
    const double angle = 2 * std::numbers::pi * (position - clock[k]) / (clock[k + 1] - clock[k]);
    sine += std::sin(angle);
    cosine += std::cos(angle);
  }
  return std::atan2(sine, cosine) / (2 * std::numbers::pi);
}

// The clock of the equalised signal in samples of the unequalised one, moved to its crossings: the
// equalisers delay the signal, and a closed eye has no clock of its own.
std::vector<double> ClockOf(const UnequalisedSignal &before, const ReportSource &source) {
  std::vector<double> clock = source.clock->positions;
  for (double &edge : clock) edge += before.first;
  const double moved = CrossingPhase(before.samples, clock) * source.unit_interval_s() /
                       source.signal.waveform().dSampleInterval;
  for (double &edge : clock) edge += moved;
  return clock;
}

void AddEyesBeforeAndAfter(report::Page &page, const ReportSource &source) {
  const UnequalisedSignal &before = *source.unequalised;
  const auto [least, greatest] = std::ranges::minmax(before.samples);
  const auto [low_v, high_v] =
      EyeVoltages(std::min(least, source.outcome.lowest_v),
                  std::max(greatest, source.outcome.highest_v), source.outcome.params);
  const struct {
    const char *id, *title;
    DensityEye eye;
  } eyes[] = {{"eye-unequalised", "Before the equalisers",
               FoldDensityEye(before.samples, ClockOf(before, source), low_v, high_v)},
              {"eye-equalised", "Behind the equalisers",
               FoldDensityEye(source.signal.samples(), source.clock->positions, low_v, high_v)}};
  for (const auto &[id, title, eye] : eyes) {
    report::Chart chart = BareEyeChart(eye[BitClass::kAll], source.unit_interval_s());
    chart.id = id;
    chart.title = title;
    page.AddChart(chart);
  }
}

// The scale of scores on an axis.
struct Scale {
  double factor;
  const char *unit;
};
Scale ScaleOf(const CtleTable &table) {
  const std::string unit = table.unit();
  if (unit == "s") return {1e12, " (ps)"};
  if (unit == "V") return {1e3, " (mV)"};
  if (unit == "Vs") return {1e12, " (pVs)"};
  return {1, ""};
}

void AddScores(report::Page &page, const CtleTable &table, int32_t chosen) {
  const Scale scale = ScaleOf(table);
  report::Chart chart{};
  chart.id = "ctle-scores";
  chart.title = "Scores of the CTLE settings";
  chart.caption = fmt::format("{} on the first {:.0f} UI{}; 0 is the signal without a CTLE",
                              table.criterion_name(), table.trial_ui,
                              table.behind_dfe ? ", behind the DFE" : "");
  chart.y.label = std::string(table.criterion_name()) + scale.unit;
  report::Series others{"tried", {}, {}, report::Style::kBars, report::Ink::kGrey};
  report::Series winner{"chosen", {}, {}, report::Style::kBars, report::Ink::kBlue};
  report::Table rows{{"setting", "score", "", "response"}, {}, {false, false, true, true}};
  for (size_t i = 0; i < table.trials.size(); ++i) {
    const CtleTrial &trial = table.trials[i];
    const bool is_chosen = trial.number == chosen;
    chart.x.categories.push_back(fmt::format("{}", trial.number));
    for (report::Series *series : {&others, &winner}) {
      series->x.push_back(static_cast<double>(i));
      series->y.push_back(
          (series == &winner) == is_chosen && trial.score ? *trial.score * scale.factor : NAN);
    }
    rows.rows.push_back(
        {{fmt::format("{}", trial.number)},
         {trial.score ? Engineering(*trial.score, table.unit(), 4) : "not measurable"},
         {is_chosen        ? "chosen"
          : trial.competes ? ""
                           : "to compare"},
         {trial.number == 0 ? "none" : DescribeCtle(trial.setting)}});
  }
  chart.series = {others, winner};
  page.AddChart(chart);
  page.AddTable(rows);
}

}  // namespace

void AddEqualisers(report::Page &page, const ReportSource &source) {
  const RunOutcome &outcome = source.outcome;
  page.AddHeading("Equalisers");
  if (source.clock != nullptr) AddEyesBeforeAndAfter(page, source);
  if (outcome.ctle) AddScores(page, *outcome.ctle, outcome.results.iCTLEIndexUsed);
  if (!UsesDfe(outcome.params)) return;
  report::Table taps{{"DFE tap", "value"}, {}};
  for (int32_t k = 0; k < outcome.params.psDFEFilterParams->iDFETapCount; ++k) {
    taps.rows.push_back(
        {{fmt::format("{}", k + 1)},
         {Engineering(double{outcome.params.psDFEFilterParams->afDFETapValues[k]}, "V", 4)}});
  }
  page.AddTable(taps);
}

}  // namespace app
