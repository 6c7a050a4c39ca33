#include "dual_report.h"

#include <fmt/format.h>

#include <cmath>

#include "engineering.h"
#include "failure.h"
#include "measure_report.h"
#include "measurement.h"
#include "report_page.h"

namespace app {
namespace {

using report::Ink;

constexpr Ink kInks[] = {Ink::kBlue,   Ink::kOrange, Ink::kGreen,
                         Ink::kViolet, Ink::kRed,    Ink::kGrey};
// The frequencies that are drawn, as parts of a PLL's bandwidth.
constexpr double kLowest = 0.01, kHighest = 30;
constexpr uint32_t kPoints = 30'000;

// The response of a PLL as the run itself made it.
class PllResponse {
 public:
  PllResponse(const VomoFilterParams &pll, double step_hz) : step_hz_(step_hz) {
    const VomoStatus status = VomoGENERATE_PLL_FILTER(
        step_hz, kPoints, pll.dFc, static_cast<float>(pll.dZ), &values_, &handle_);
    if (Vomo_STATUS_IS_ERROR(status)) throw std::bad_alloc();
  }
  PllResponse(const PllResponse &) = delete;
  PllResponse &operator=(const PllResponse &) = delete;
  ~PllResponse() { Vomo_HANDLE_FREE(handle_); }

  double MegahertzOf(size_t i) const { return static_cast<double>(i) * step_hz_ * 1e-6; }
  double PassedDecibels(size_t i) const {
    return 20 * std::log10(std::hypot(values_[i].dRe, values_[i].dIm));
  }
  double LeftDecibels(size_t i) const {
    return 20 * std::log10(std::hypot(1 - values_[i].dRe, values_[i].dIm));
  }

 private:
  double step_hz_;
  VomoComplexDouble *values_ = nullptr;
  VomoHandle handle_ = 0;
};

std::string PllName(const VomoFilterParams &pll, int32_t index) {
  return fmt::format("PLL {}: {}, damping {:.4g}", index, Engineering(pll.dFc, "Hz", 3), pll.dZ);
}

void AddTransfers(report::Page &page, const VomoDualPortParams &dual) {
  double least = INFINITY, greatest = 0;
  for (int32_t i = 0; i < dual.iPLLFilterCount; ++i) {
    least = std::min(least, dual.psPLLFilterParams[i].dFc);
    greatest = std::max(greatest, dual.psPLLFilterParams[i].dFc);
  }
  report::Chart passed, left;
  passed.id = "transfer";
  passed.title = "What each PLL passes of the clock's jitter, |H|";
  left.id = "left";
  left.title = "What stays of jitter that data and clock share, |1 - H|";
  for (report::Chart *chart : {&passed, &left}) {
    chart->x.label = "MHz";
    chart->x.logarithmic = true;
    chart->x.low = least * kLowest * 1e-6;
    chart->x.high = greatest * kHighest * 1e-6;
    chart->y.label = "dB";
    chart->y.low = -40;
  }
  const double step_hz = greatest * kHighest / kPoints;
  for (int32_t i = 0; i < dual.iPLLFilterCount; ++i) {
    const VomoFilterParams &pll = dual.psPLLFilterParams[i];
    const PllResponse response(pll, step_hz);
    const auto x = [&](size_t k) { return response.MegahertzOf(k); };
    const auto add = [&](report::Chart &chart, auto y) {
      chart.series.push_back(report::Gather(PllName(pll, i), kPoints, x, y, true));
      chart.series.back().ink = kInks[static_cast<size_t>(i) % std::size(kInks)];
    };
    add(passed, [&](size_t k) { return response.PassedDecibels(k); });
    add(left, [&](size_t k) { return response.LeftDecibels(k); });
  }
  page.AddChart(passed);
  page.AddChart(left);
}

report::Chart TrialChart(std::span<const VomoDualPortTrial> trials) {
  report::Chart chart;
  chart.id = "trials";
  chart.title = "Total jitter of each trial";
  chart.caption = "below each bar: the PLL, and by how many UI the data was ahead";
  chart.size = report::Size::kWide;
  chart.y.label = "ps";
  report::Series bars{"Tj", {}, {}, report::Style::kBars, Ink::kBlue};
  for (const VomoDualPortTrial &trial : trials) {
    bars.x.push_back(static_cast<double>(bars.x.size()));
    bars.y.push_back(trial.dTjPeakPeak * 1e12);
    chart.x.categories.push_back(
        fmt::format("{}, {:+d}", trial.iPLLFilterIndex, trial.iClockDataOffsetUI));
  }
  chart.series.push_back(std::move(bars));
  return chart;
}

report::Table TrialTable(std::span<const VomoDualPortTrial> trials,
                         const VomoDualPortParams &dual) {
  report::Table table{{"PLL", "alignment", "Tj", "Dj", "Rj, rms"}, {}, {true, true}};
  for (const VomoDualPortTrial &trial : trials) {
    table.rows.push_back(
        {{PllName(dual.psPLLFilterParams[trial.iPLLFilterIndex], trial.iPLLFilterIndex)},
         {AlignmentText(trial.iClockDataOffsetUI)},
         {Engineering(trial.dTjPeakPeak, "s", 4)},
         {Engineering(trial.dDjDeltaDelta, "s", 4)},
         {Engineering(trial.dRjRMS, "s", 4)}});
  }
  return table;
}

}  // namespace

std::string AlignmentText(int32_t offset_ui) {
  if (offset_ui == 0) return "aligned";
  return fmt::format("{} ahead by {} UI", offset_ui > 0 ? "data" : "clock",
                     std::abs(int64_t{offset_ui}));
}

std::string DualReport(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                       const std::vector<Capture> &data, const std::vector<Capture> &clock,
                       const VomoDualPortParams &dual, std::span<const VomoDualPortTrial> trials,
                       const Json &settings) {
  report::Page page(fmt::format("{} against {}", NameOf(data[0]), NameOf(clock[0])));
  AddVerdict(page, rows);
  page.AddText(fmt::format("Worst case: {}, {}.",
                           PllName(dual.psPLLFilterParams[outcome.results.iPLLFilterIndex],
                                   outcome.results.iPLLFilterIndex),
                           AlignmentText(outcome.results.iClockDataOffsetUI)));
  AddResults(page, rows, outcome.params.dTargetUI);
  page.AddHeading("Trials");
  page.AddChart(TrialChart(trials));
  page.AddTable(TrialTable(trials, dual));
  if (dual.iUseClockCrossovers == 0) {
    page.AddHeading("PLLs");
    AddTransfers(page, dual);
  }
  page.AddHeading("Data");
  AddInput(page, data);
  page.AddHeading("Clock");
  AddInput(page, clock);
  page.AddDetails("Settings of the run",
                  settings.dump(2, ' ', false, Json::error_handler_t::replace));
  return page.Html();
}

}  // namespace app
