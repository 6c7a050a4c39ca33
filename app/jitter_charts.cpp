// The section of a report that shows the jitter: histogram, Q scale, bathtub, time, spectra.
#include <fmt/format.h>

#include <cmath>
#include <numbers>

#include "engineering.h"
#include "measure_report.h"

namespace app {
namespace {

using report::Chart;
using report::Gather;
using report::Ink;
using report::Series;
using report::Style;

constexpr double kPico = 1e12, kMicro = 1e6, kMega = 1e-6;
constexpr double kLeastLogBer = -16;

// One tail on the Q scale, on its own axis: rising x leads out of the eye's edge.
struct Tail {
  uint32_t count;
  double first_s, step_s;
  const double *q;
  double x0_s, x1_s, y1;  // the fitted line runs from Q 0 at x0 to y1 at x1

  double XAt(size_t k) const { return first_s + static_cast<double>(k) * step_s; }
  double LineX(double q_value) const { return x0_s + (x1_s - x0_s) * q_value / y1; }
  double LineQ(double x_s) const { return y1 * (x_s - x0_s) / (x1_s - x0_s); }
};

Tail RightTail(const VomoJitterQRecord &r) {
  return {r.ulFitCount,   r.dFirstBinValue, r.dPDFBinSize, r.pdQFromLeft,
          r.dRightLineX0, r.dRightLineX1,   r.dRightLineY1};
}
// On the mirrored axis.
Tail LeftTail(const VomoJitterQRecord &r) {
  return {r.ulFitCount,  -(r.ulFitCount * r.dPDFBinSize + r.dFirstBinValue),
          r.dPDFBinSize, r.pdQFromRight,
          r.dLeftLineX0, r.dLeftLineX1,
          r.dLeftLineY1};
}

double LogBer(double q) {
  return std::log10(0.5 * std::erfc(-q / std::numbers::sqrt2));
}

// Series are given by rising x; what a mirrored axis turns round is turned back.
void Turn(Series &series) {
  std::reverse(series.x.begin(), series.x.end());
  std::reverse(series.y.begin(), series.y.end());
}

Chart Histogram(const ReportSource &source) {
  const VomoComplianceResults &r = source.outcome.results;
  const VomoJitterPdfRecord &pdf = r.sJitterPdf;
  Chart chart{};
  chart.id = "histogram";
  chart.title = fmt::format("Jitter histogram: {} UI", r.ulPointsUsed);
  chart.caption =
      fmt::format("Dj = {} between the Diracs; bins of {}", Engineering(r.dDjDeltaDelta, "s", 4),
                  Engineering(pdf.dPDFBinSize, "s", 3));
  chart.x.label = "jitter (ps)";
  chart.y.label = "share of the UI in a bin";
  Series series = Gather(
      "filtered jitter", pdf.ulBinCount,
      [&](size_t k) {
        return (pdf.dFirstBinValue + static_cast<double>(k) * pdf.dPDFBinSize) * kPico;
      },
      [&](size_t k) { return pdf.pdPDF[k]; });
  series.style = Style::kStep;
  chart.series.push_back(std::move(series));
  chart.guides.push_back({true, -r.dDualDiracLeft * kPico, "left Dirac", Ink::kRed});
  chart.guides.push_back({true, r.dDualDiracRight * kPico, "right Dirac", Ink::kRed});
  return chart;
}

// sign: 1 for the right tail, -1 for the left one, whose own axis is mirrored.
void AddTail(Chart &chart, const Tail &tail, double sign, double highest_q, const char *name,
             Ink ink) {
  Series curve{fmt::format("{} tail", name), {}, {}, Style::kLine, ink};
  for (uint32_t k = 0; k < tail.count; ++k) {
    if (!(tail.q[k] <= highest_q) || !std::isfinite(tail.q[k])) continue;
    curve.x.push_back(sign * tail.XAt(k) * kPico);
    curve.y.push_back(tail.q[k]);
  }
  Series line{fmt::format("{} line", name), {}, {}, Style::kDashed, ink};
  for (const double q : {0.5, 0.0, tail.y1, 1.05 * tail.y1}) {
    line.x.push_back(sign * tail.LineX(q) * kPico);
    line.y.push_back(q);
  }
  if (sign < 0) {
    Turn(curve);
    Turn(line);
  }
  chart.series.push_back(std::move(curve));
  chart.series.push_back(std::move(line));
}

Chart QScale(const ReportSource &source) {
  const VomoComplianceResults &r = source.outcome.results;
  const VomoJitterQRecord &q = r.sJitterQ;
  Chart chart{};
  chart.id = "q-scale";
  chart.title = "Q scale with the fitted lines";
  chart.caption = fmt::format(
      "The lines meet Q = 0 at the Diracs, {} and {}: Dj = {}. They fall by 1 in each Rj = {}. "
      "At the target Q of {:.4g} they are Tj = {} apart.",
      Engineering(-r.dDualDiracLeft, "s", 4), Engineering(r.dDualDiracRight, "s", 4),
      Engineering(r.dDjDeltaDelta, "s", 4), Engineering(r.dRjRMS, "s", 4), q.dRightLineY1,
      Engineering(r.dTjPeakPeak, "s", 4));
  chart.x.label = "jitter (ps)";
  chart.y = {"Q", 1.08 * q.dRightLineY1, 1.0, false, 0, "", {}};
  AddTail(chart, LeftTail(q), -1, 1.0, "left", Ink::kBlue);
  AddTail(chart, RightTail(q), 1, 1.0, "right", Ink::kOrange);
  chart.guides.push_back({false, q.dRightLineY1, "target", Ink::kRed});
  chart.guides.push_back({true, -r.dDualDiracLeft * kPico, "", Ink::kGrey});
  chart.guides.push_back({true, r.dDualDiracRight * kPico, "", Ink::kGrey});
  return chart;
}

// One side of the bathtub: the tail that reaches into the bit from the edge at 0 UI, or mirrored
// from the one at 1 UI.
void AddWall(Chart &chart, const Tail &tail, bool from_left, double ui_s, const char *name,
             Ink ink) {
  const auto place = [&](double x_s) { return from_left ? x_s / ui_s : 1 - x_s / ui_s; };
  Series measured{fmt::format("{}, measured", name), {}, {}, Style::kLine, ink};
  double reached_s = std::max(0.0, tail.x0_s);
  for (uint32_t k = 0; k < tail.count; ++k) {
    if (!(tail.XAt(k) >= 0) || !std::isfinite(tail.q[k])) continue;
    reached_s = tail.XAt(k);
    measured.x.push_back(place(reached_s));
    measured.y.push_back(LogBer(tail.q[k]));
  }
  Series line{fmt::format("{}, extrapolated", name), {}, {}, Style::kDashed, ink};
  for (int i = 0; i <= 80; ++i) {
    constexpr double kLastQ = -8.3;
    const double x = reached_s + (tail.LineX(kLastQ) - reached_s) * i / 80;
    line.x.push_back(place(x));
    line.y.push_back(LogBer(tail.LineQ(x)));
  }
  if (!from_left) {
    Turn(measured);
    Turn(line);
  }
  chart.series.push_back(std::move(measured));
  chart.series.push_back(std::move(line));
}

Chart Bathtub(const ReportSource &source) {
  const VomoComplianceResults &r = source.outcome.results;
  const VomoJitterQRecord &q = r.sJitterQ;
  const double ui_s = r.dUnitInterval, target = LogBer(q.dRightLineY1);
  Chart chart{};
  chart.id = "bathtub";
  chart.title = "Bathtub";
  chart.size = report::Size::kWide;
  chart.caption = fmt::format(
      "Solid where it was measured, dashed where the fitted lines are "
      "followed. Open at the target: {}, the unit interval less Tj.",
      Engineering(ui_s - r.dTjPeakPeak, "s", 4));
  chart.x = {"UI", 0.0, 1.0, false, ui_s * kPico, "ps", {}};
  chart.y = {"log10 of the bit error ratio", kLeastLogBer, 0.0, false, 0, "", {}};
  AddWall(chart, RightTail(q), true, ui_s, "left", Ink::kOrange);
  AddWall(chart, LeftTail(q), false, ui_s, "right", Ink::kBlue);
  chart.guides.push_back(
      {false, target, fmt::format("BER {:.2g}", std::pow(10, target)), Ink::kRed});
  chart.outlines.push_back({{{q.dRightLineX1 / ui_s, target}, {1 - q.dLeftLineX1 / ui_s, target}},
                            false,
                            "eye width at the target",
                            Ink::kGreen});
  return chart;
}

Chart AgainstTime(const ReportSource &source) {
  Chart chart{};
  chart.id = "tie";
  chart.title = "Time interval error against time";
  chart.size = report::Size::kWide;
  chart.x.label = "time (us)";
  chart.y.label = "ps";
  const double ui_s = source.unit_interval_s();
  const std::span<const double> jitter = source.jitter;
  const auto time = [&](size_t k) {
    return (source.clock != nullptr
                ? source.clock->edges_s[k]
                : source.outcome.results.dFirstCrossoverTime + static_cast<double>(k) * ui_s) *
           kMicro;
  };
  if (source.clock != nullptr) {
    const std::vector<double> &edges = source.clock->edges_s;
    const auto error = [&](size_t k) {
      return edges[k] - edges[0] - static_cast<double>(k) * ui_s;
    };
    double mean = 0;
    for (size_t k = 0; k < edges.size(); ++k) mean += error(k) / static_cast<double>(edges.size());
    chart.series.push_back(Gather("TIE, unfiltered", edges.size(), time,
                                  [&](size_t k) { return (error(k) - mean) * kPico; }));
    chart.series.back().ink = Ink::kGrey;
  }
  chart.series.push_back(
      Gather("jitter, filtered", jitter.size(), time, [&](size_t k) { return jitter[k] * kPico; }));
  return chart;
}

// Of a bin's magnitude as the record has it: the amplitude of the sinusoid that it stands for.
double AmplitudePerMagnitude(const VomoJitterSpectrumRecord &spectrum) {
  const double values = 2.0 * (static_cast<double>(spectrum.ulBinCount) - 1);
  return 2 / values / spectrum.ulBinCount;
}

std::vector<double> NoiseFloor(const ReportSource &source) {
  const VomoJitterSpectrumRecord &spectrum = source.outcome.results.sJitterSpectrum;
  std::vector<VomoComplexDouble> bins(spectrum.ulBinCount);
  for (size_t k = 0; k < bins.size(); ++k) bins[k] = {spectrum.pdFilteredMagnitude[k], 0};
  std::vector<double> floor(bins.size());
  double *place = floor.data();
  VomoHandle none = 0;
  const VomoStatus status = VomoFIND_NOISE_FLOOR(bins.data(), spectrum.ulBinCount,
                                                 source.outcome.params.sNoiseFloorAlgParams,
                                                 source.unit_interval_s(), &place, &none);
  if (Vomo_STATUS_IS_ERROR(status)) floor.clear();
  return floor;
}

Chart Spectra(const ReportSource &source) {
  const VomoJitterSpectrumRecord &spectrum = source.outcome.results.sJitterSpectrum;
  const std::vector<double> floor = NoiseFloor(source);
  const double scale = AmplitudePerMagnitude(spectrum) * kPico;
  Chart chart{};
  chart.id = "spectrum";
  chart.title = "Jitter spectra";
  chart.caption =
      "Amplitude of the sinusoid in each bin. What stands above the noise floor is no "
      "part of Rj.";
  chart.size = report::Size::kWide;
  chart.x.label = "MHz";
  chart.x.logarithmic = true;
  chart.y.label = "ps";
  chart.y.logarithmic = true;
  const auto add = [&](const char *name, const double *magnitudes, size_t count, Ink ink) {
    chart.series.push_back(Gather(
        name, count,
        [&](size_t k) { return static_cast<double>(k) * spectrum.dBinSpacing * kMega; },
        [&](size_t k) { return magnitudes[k] * scale; }, true));
    chart.series.back().ink = ink;
  };
  add("raw", spectrum.pdRawMagnitude, spectrum.ulBinCount, Ink::kGrey);
  add("filtered", spectrum.pdFilteredMagnitude, spectrum.ulBinCount, Ink::kBlue);
  add("noise floor", floor.data(), floor.size(), Ink::kRed);
  // Bins next to empty would stretch the axis to nothing.
  double least = INFINITY, greatest = 0;
  for (const Series &series : chart.series) {
    for (const double y : series.y) {
      greatest = std::max(greatest, y);
      if (y > 0) least = std::min(least, y);
    }
  }
  if (greatest > 0) {
    chart.y.high = 2 * greatest;
    chart.y.low = std::max(least / 2, 1e-6 * greatest);
  }
  return chart;
}

}  // namespace

void AddJitterCharts(report::Page &page, const ReportSource &source) {
  const VomoComplianceResults &r = source.outcome.results;
  page.AddHeading("Jitter");
  if (r.sJitterPdf.ulBinCount > 0) page.AddChart(Histogram(source));
  if (r.sJitterQ.ulFitCount > 0) {
    page.AddChart(QScale(source));
    page.AddChart(Bathtub(source));
  }
  page.AddChart(AgainstTime(source));
  if (r.sJitterSpectrum.ulBinCount > 1) page.AddChart(Spectra(source));
}

}  // namespace app
