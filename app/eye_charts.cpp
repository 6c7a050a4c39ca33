// The sections of a report that show the signal: its eyes and its worst intervals.
#include <fmt/format.h>

#include <cmath>

#include "engineering.h"
#include "eye_picture.h"
#include "measure_report.h"
#include "measurement.h"

namespace app {
namespace {

using report::Chart;
using report::Ink;

constexpr double kMilli = 1e3, kPico = 1e12;

struct ClassMargins {
  const VomoTemplateMargins &margins;
  const VomoPassFailInfo &bounds;
  uint32_t vertices;
};

// Distances from the template to the levels that the margins were taken at.
void AddMargins(Chart &chart, const ClassMargins &of, const VomoComplianceParams &params) {
  if (of.vertices == 0) return;
  const bool widest = params.eVoltageMarginType == Vomo_RANGE_MAX;
  const double ui = widest ? of.margins.dMarginX : 0.5 * (of.bounds.dEyeXMin + of.bounds.dEyeXMax);
  const auto add = [&](uint32_t interval, double from_v, double margin_v, const char *name) {
    if (interval == kNoInterval) return;
    const double level_v = from_v + margin_v;
    chart.outlines.push_back(
        {{{ui, from_v * kMilli}, {ui, level_v * kMilli}},
         false,
         fmt::format("{} margin {}", name, Engineering(std::abs(margin_v), "V", 4)),
         Ink::kViolet});
    chart.outlines.push_back(
        {{{ui - 0.03, level_v * kMilli}, {ui + 0.03, level_v * kMilli}}, false, "", Ink::kViolet});
  };
  add(of.margins.ulHighMarginInterval, of.bounds.fEyeYMax, of.margins.fHighMargin, "upper");
  add(of.margins.ulLowMarginInterval, of.bounds.fEyeYMin, of.margins.fLowMargin, "lower");
}

report::Backdrop BackdropOf(const EyeGrid &grid) {
  const ColourRange range = ColourRangeOf(grid);
  report::Backdrop backdrop{EyeGrid::kFirstUi,
                            EyeGrid::kFirstUi + EyeGrid::kColumns * EyeGrid::kUiStep,
                            grid.lowest_v * kMilli,
                            grid.highest_v * kMilli,
                            BareEyePng(grid),
                            {},
                            range.least_hits,
                            range.most_hits,
                            "hits"};
  for (int i = 0; i < 256; ++i) {
    const Colour colour = MapColour(i / 255.0);
    backdrop.ramp.push_back(fmt::format("#{:02x}{:02x}{:02x}", std::lround(colour[0] * 255),
                                        std::lround(colour[1] * 255),
                                        std::lround(colour[2] * 255)));
  }
  return backdrop;
}

}  // namespace

report::Chart BareEyeChart(const EyeGrid &grid, double unit_interval_s) {
  Chart chart{};
  chart.x = {"UI", EyeGrid::kFirstUi, EyeGrid::kFirstUi + 2.0, false, unit_interval_s * kPico, "ps",
             {}};
  chart.y = {"mV", grid.lowest_v * kMilli, grid.highest_v * kMilli, false, 0, "", {}};
  chart.backdrop = BackdropOf(grid);
  return chart;
}

namespace {

Chart EyeChart(const EyeGrid &grid, BitClass bits, const ReportSource &source) {
  const VomoComplianceParams &params = source.outcome.params;
  const VomoComplianceResults &results = source.outcome.results;
  Chart chart = BareEyeChart(grid, source.unit_interval_s());
  chart.id = fmt::format("eye-{}", BitClassName(bits));
  chart.title = fmt::format("Eye of {} bits: {} UI", BitClassName(bits), grid.bits);
  if (bits == BitClass::kAll) chart.size = report::Size::kWide;
  for (const EyeOverlay::Line &line : OverlayOf(params, bits).lines) {
    report::Outline outline{{}, line.closed, line.name, line.closed ? Ink::kRed : Ink::kOrange};
    for (const auto &[ui, v] : line.points) outline.points.emplace_back(ui, v * kMilli);
    chart.outlines.push_back(std::move(outline));
  }
  if (bits != BitClass::kNonTransition) {
    AddMargins(
        chart,
        {results.sTransMargins, params.sTransPassFailInfo, params.sTransTemplate.ulArrayLength},
        params);
  }
  if (bits != BitClass::kTransition) {
    AddMargins(chart,
               {results.sNonTransMargins, params.sNonTransPassFailInfo,
                params.sNonTransTemplate.ulArrayLength},
               params);
  }
  return chart;
}

// What a worst interval is worst in.
struct Worst {
  const char *name;
  uint32_t interval;
  std::string value;
};

std::vector<Worst> WorstIntervals(const ReportSource &source) {
  const VomoComplianceResults &r = source.outcome.results;
  std::vector<Worst> worst;
  for (const auto &[name, index] : {std::pair{"Latest edge", r.ulMaxJitterIndex},
                                    std::pair{"Earliest edge", r.ulMinJitterIndex}}) {
    if (index < source.jitter.size()) {
      worst.push_back({name, index, Engineering(source.jitter[index], "s", 4)});
    }
  }
  const auto voltage = [&](const char *name, uint32_t index, float volts) {
    if (index != 0) worst.push_back({name, index, Engineering(volts, "V", 4)});
  };
  voltage("Highest voltage, transition", r.ulTransMaxIndex, r.fTransMaxVoltage);
  voltage("Lowest voltage, transition", r.ulTransMinIndex, r.fTransMinVoltage);
  voltage("Highest voltage, non-transition", r.ulNonTransMaxIndex, r.fNonTransMaxVoltage);
  voltage("Lowest voltage, non-transition", r.ulNonTransMinIndex, r.fNonTransMinVoltage);
  const auto margins = [&](const char *upper, const char *lower, const VomoTemplateMargins &m,
                           uint32_t vertices) {
    if (vertices == 0) return;
    worst.push_back({upper, m.ulHighMarginInterval, Engineering(m.fHighMargin, "V", 4)});
    worst.push_back({lower, m.ulLowMarginInterval, Engineering(-m.fLowMargin, "V", 4)});
  };
  margins("Least upper margin, transition", "Least lower margin, transition", r.sTransMargins,
          source.outcome.params.sTransTemplate.ulArrayLength);
  margins("Least upper margin, non-transition", "Least lower margin, non-transition",
          r.sNonTransMargins, source.outcome.params.sNonTransTemplate.ulArrayLength);
  return worst;
}

// The signal from some UI before an interval to some behind it.
Chart IntervalChart(const Worst &worst, const ReportSource &source) {
  constexpr double kUiAround = 4;
  const VomoWaveform &waveform = source.signal.waveform();
  const std::vector<double> &edges = source.clock->edges_s;
  const double begin_s = edges[worst.interval], step_s = waveform.dSampleInterval;
  const double around_s = kUiAround * source.unit_interval_s();
  const double last = static_cast<double>(waveform.ulNumSamples) - 1;
  const auto sample_at = [&](double time_s) {
    return static_cast<size_t>(std::clamp(time_s / step_s, 0.0, last));
  };
  const size_t first = sample_at(begin_s - around_s);
  const size_t count = sample_at(begin_s + source.unit_interval_s() + around_s) - first + 1;

  Chart chart{};
  chart.title = fmt::format("{}: {}", worst.name, worst.value);
  chart.caption =
      fmt::format("interval {}, {} into the capture", worst.interval, Engineering(begin_s, "s", 8));
  chart.size = report::Size::kSmall;
  chart.x.label = "ps from its beginning";
  chart.y.label = "mV";
  chart.series.push_back(report::Gather(
      "", count,
      [&](size_t i) { return (static_cast<double>(first + i) * step_s - begin_s) * kPico; },
      [&](size_t i) { return double{waveform.pfSamples[first + i]} * kMilli; }));
  const double end_s = worst.interval + 1 < edges.size() ? edges[worst.interval + 1]
                                                         : begin_s + source.unit_interval_s();
  chart.bands.push_back({0, (end_s - begin_s) * kPico});
  chart.guides.push_back({false, 0, "", Ink::kGrey, true});
  return chart;
}

}  // namespace

void AddEyes(report::Page &page, const ReportSource &source) {
  const RunOutcome &outcome = source.outcome;
  const auto [low_v, high_v] = EyeVoltages(outcome.lowest_v, outcome.highest_v, outcome.params);
  const DensityEye eye =
      FoldDensityEye(source.signal.samples(), source.clock->positions, low_v, high_v);
  page.AddHeading("Eyes");
  page.AddText(
      "Folded on the recovered clock: 0 to 1 UI is the bit itself, the rest half of each "
      "neighbour. A hit is one bit's whole passage through the column of a cell; the lines between "
      "samples count with the share of it that they spend in the cell.");
  for (const BitClass bits : {BitClass::kAll, BitClass::kTransition, BitClass::kNonTransition}) {
    page.AddChart(EyeChart(eye[bits], bits, source));
  }
}

void AddWorstIntervals(report::Page &page, const ReportSource &source) {
  page.AddHeading("Worst intervals");
  int number = 0;
  for (const Worst &worst : WorstIntervals(source)) {
    if (worst.interval >= source.clock->edges_s.size()) continue;
    Chart chart = IntervalChart(worst, source);
    chart.id = fmt::format("worst-{}", ++number);
    page.AddChart(chart);
  }
}

}  // namespace app
