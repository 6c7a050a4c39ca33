#include "lf_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "engineering.h"
#include "measure_report.h"

namespace app {
namespace {

using report::Chart;
using report::Gather;
using report::Ink;
using report::Series;
using report::Style;
using Source = BurstsReportSource;

constexpr double kMicro = 1e6, kNano = 1e9, kMilli = 1e3;
// Marks and table rows beyond these help nobody.
constexpr size_t kMostMarked = 500, kMostListed = 200;

// The samples of an index range, each at (its time - origin) x scale.
Series Samples(const Source &source, uint32_t first, uint32_t last, double origin_s, double scale) {
  const VomoWaveform &waveform = source.signal.waveform();
  return Gather(
      "signal", size_t{last} - first + 1,
      [&](size_t i) {
        return (static_cast<double>(first + i) * waveform.dSampleInterval - origin_s) * scale;
      },
      [&](size_t i) { return waveform.pfSamples[first + i] * kMilli; });
}

report::Outline Box(double from, double to, std::pair<double, double> heights, Ink ink) {
  const auto [low, high] = heights;
  return {{{from, low}, {to, low}, {to, high}, {from, high}}, true, "", ink};
}

// The whole capture. Bursts are shaded, prepare phases framed, and stalls with them.
Chart Overview(const Source &source) {
  const VomoWaveform &waveform = source.signal.waveform();
  Chart chart{};
  chart.id = "overview";
  chart.title = fmt::format("The capture and its bursts: {} found", source.outcome.bursts.size());
  chart.size = report::Size::kWide;
  chart.x.label = "time (us)";
  chart.y.label = "signal (mV)";
  chart.series.push_back(Samples(source, 0, waveform.ulNumSamples - 1, 0, kMicro));
  const auto &y = chart.series[0].y;
  const auto [low, high] = std::minmax_element(y.begin(), y.end());
  const std::pair heights{1.03 * *low, 1.03 * *high};
  const double to_us = waveform.dSampleInterval * kMicro;
  for (const Burst &burst : source.outcome.bursts) {
    if (chart.bands.size() == kMostMarked) break;
    chart.bands.push_back({burst.first_sample * to_us, burst.last_sample * to_us});
    if (!burst.prepare) continue;
    const auto &[stall_start, prepare_start, prepare_end] = *burst.prepare;
    chart.outlines.push_back(
        Box(stall_start * kMicro, prepare_start * kMicro, heights, Ink::kViolet));
    chart.outlines.push_back(
        Box(prepare_start * kMicro, prepare_end * kMicro, heights, Ink::kOrange));
  }
  if (!chart.outlines.empty()) {
    chart.outlines[0].name = "stall";
    chart.outlines[1].name = "prepare phase";
  }
  chart.caption = "Shaded: the bursts as found, with the quiet time or stall that ends them.";
  return chart;
}

struct Enlarged {
  size_t index;
  const Burst &burst;
  BurstDetail detail;
};

// The burst of the first extreme that fails, or else the first burst.
size_t BurstToEnlarge(const std::vector<BurstRow> &rows) {
  for (const BurstRow &row : rows) {
    for (const auto &extreme : {row.min, row.max}) {
      if (extreme && !extreme->passed) return extreme->burst - 1;
    }
  }
  return 0;
}

void AddLevels(const Source &source, const BurstDetail &detail, Chart &chart) {
  const VomoLFTestParams &p = source.settings.params;
  const double swing = detail.high_v - detail.low_v;
  const auto add = [&](double volts, const std::string &label, Ink ink) {
    if (!std::isfinite(volts)) return;  // two edges have one level between them
    chart.guides.push_back({false, volts * kMilli, label, ink});
  };
  add(detail.high_v, "high", Ink::kGreen);
  add(detail.low_v, "low", Ink::kGreen);
  for (const double fraction : {p.fLowLevelFraction, p.fHighLevelFraction}) {
    add(detail.low_v + fraction * swing, fmt::format("{:g} %", 100 * fraction), Ink::kGrey);
  }
}

// A stretch of the burst with its edges and levels.
Chart Stretch(const Source &source, const Enlarged &burst, double from_s, double to_s) {
  const VomoWaveform &waveform = source.signal.waveform();
  const double origin_s = burst.burst.first_sample * waveform.dSampleInterval;
  const auto sample_at = [&](double time_s) {
    const double index = time_s / waveform.dSampleInterval;
    return static_cast<uint32_t>(std::clamp(index, 0.0, waveform.ulNumSamples - 1.0));
  };
  Chart chart{};
  chart.x.label = "time from the burst's start (ns)";
  chart.y.label = "signal (mV)";
  chart.series.push_back(Samples(source, sample_at(from_s), sample_at(to_s), origin_s, kNano));
  Series edges{"edges", {}, {}, Style::kPoints, Ink::kOrange};
  for (const double edge_s : burst.detail.edges_s) {
    if (edge_s < from_s || edge_s > to_s) continue;
    edges.x.push_back((edge_s - origin_s) * kNano);
    edges.y.push_back(0);
  }
  chart.series.push_back(std::move(edges));
  AddLevels(source, burst.detail, chart);
  chart.bands.push_back(
      {(burst.detail.first_s - origin_s) * kNano, (burst.detail.last_s - origin_s) * kNano});
  return chart;
}

Chart WholeBurst(const Source &source, const Enlarged &burst) {
  const double interval_s = source.signal.waveform().dSampleInterval;
  const double begin_s = burst.burst.first_sample * interval_s;
  const double end_s = burst.burst.last_sample * interval_s;
  const double margin_s = 0.05 * (end_s - begin_s);
  Chart chart = Stretch(source, burst, begin_s - margin_s, end_s + margin_s);
  chart.id = "burst";
  chart.title = fmt::format("Burst {} at {}", burst.index + 1, Engineering(begin_s, "s", 5));
  chart.size = report::Size::kWide;
  chart.caption = "Shaded: what the trim leaves to be measured.";
  return chart;
}

Chart FirstPeriods(const Source &source, const Enlarged &burst) {
  const auto &edges = burst.detail.edges_s;
  const double last_s = edges[std::min<size_t>(6, edges.size() - 1)];
  const double margin_s = 0.1 * (last_s - edges[0]);
  Chart chart = Stretch(source, burst, edges[0] - margin_s, last_s + margin_s);
  chart.id = "edges";
  chart.title = fmt::format("First edges of burst {}", burst.index + 1);
  chart.bands.clear();
  chart.caption = "Edges are crossings of 0 V; ramps are timed between the grey levels.";
  return chart;
}

Chart Periods(const Source &source, const Enlarged &burst) {
  const auto &edges = burst.detail.edges_s;
  const VomoLFTestResults &limits = source.settings.sLimits;
  Chart chart{};
  chart.id = "periods";
  chart.title = fmt::format("Periods of burst {}", burst.index + 1);
  chart.x.label = "period";
  chart.y.label = "length (ns)";
  Series series = Gather(
      "period", (edges.size() - 1) / 2, [](size_t j) { return static_cast<double>(j + 1); },
      [&](size_t j) { return (edges[2 * j + 2] - edges[2 * j]) * kNano; });
  series.style = Style::kPoints;
  chart.series.push_back(std::move(series));
  if (limits.dPeriodMin > 0) {
    chart.guides.push_back({false, limits.dPeriodMin * kNano, "at least", Ink::kRed});
  }
  if (limits.dPeriodMax > 0) {
    chart.guides.push_back({false, limits.dPeriodMax * kNano, "at most", Ink::kRed});
  }
  return chart;
}

void AddExtreme(const std::optional<Extreme> &extreme, const BurstRow &row,
                std::vector<report::Cell> &cells) {
  if (!extreme) {
    cells.resize(cells.size() + 3);
    return;
  }
  cells.push_back({Engineering(extreme->value, row.unit, row.digits)});
  cells.push_back({fmt::format("{}", extreme->burst)});
  cells.push_back({extreme->limit ? Engineering(*extreme->limit, row.unit, row.digits) : ""});
}

void AddResults(report::Page &page, const std::vector<BurstRow> &rows) {
  std::string failed;
  report::Table table{
      {"quantity", "minimum", "burst", "at least", "maximum", "burst", "at most", "", "method"},
      {},
      {false, false, false, false, false, false, false, false, true}};
  for (const BurstRow &row : rows) {
    std::vector<report::Cell> cells = {{row.quantity}};
    AddExtreme(row.min, row, cells);
    AddExtreme(row.max, row, cells);
    const std::optional<bool> passed = row.passed();
    if (passed == false) failed += (failed.empty() ? "" : ", ") + row.quantity;
    cells.push_back(!passed   ? report::Cell{}
                    : *passed ? report::Cell{"pass", report::Mark::kPass}
                              : report::Cell{"FAIL", report::Mark::kFail});
    cells.push_back({row.method});
    table.rows.push_back(std::move(cells));
  }
  page.AddVerdict(failed.empty(), failed.empty() ? "all limits of the settings are met"
                                                 : "outside its limits: " + failed);
  page.AddHeading("Results over all bursts");
  page.AddTable(table);
}

void AddBursts(report::Page &page, const Source &source) {
  const double interval_s = source.signal.waveform().dSampleInterval;
  const auto text = [](double value, const char *unit) {
    return std::isnan(value) ? std::string() : Engineering(value, unit, 5);
  };
  report::Table table{
      {"burst", "start", "end", "prepare time", "shortest period", "longest period"}, {}};
  const auto &bursts = source.outcome.bursts;
  for (size_t i = 0; i < std::min(bursts.size(), kMostListed); ++i) {
    const Burst &burst = bursts[i];
    table.rows.push_back({{fmt::format("{}", i + 1)},
                          {text(burst.first_sample * interval_s, "s")},
                          {text(burst.last_sample * interval_s, "s")},
                          {text(burst.results.dPrepareTimeMax, "s")},
                          {text(burst.results.dPeriodMin, "s")},
                          {text(burst.results.dPeriodMax, "s")}});
  }
  page.AddHeading("Each burst");
  page.AddTable(table);
  if (bursts.size() > kMostListed) {
    page.AddText(
        fmt::format("And {} more; vomo lf --json lists all.", bursts.size() - kMostListed));
  }
}

}  // namespace

std::string BurstsReport(const BurstsReportSource &source, const std::vector<Capture> &captures,
                         const Json &settings) {
  const size_t index = BurstToEnlarge(source.rows);
  const Burst &burst = source.outcome.bursts[index];
  const Enlarged enlarged{index, burst, DetailOf(source.signal, source.settings.params, burst)};
  report::Page page(
      fmt::format("{}, {} low-frequency bursts", captures[0].path(), source.outcome.bursts.size()));
  AddResults(page, source.rows);
  page.AddChart(Overview(source));
  page.AddChart(WholeBurst(source, enlarged));
  page.AddChart(FirstPeriods(source, enlarged));
  page.AddChart(Periods(source, enlarged));
  AddBursts(page, source);
  AddInput(page, captures);
  page.AddHeading("Settings");
  page.AddDetails("Settings of the run",
                  settings.dump(2, ' ', false, Json::error_handler_t::replace));
  return page.Html();
}

}  // namespace app
