// vomo levels: a transmitter's voltage levels, and how long its edges take.
#include <fmt/format.h>
#include <unistd.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "edge_times.h"
#include "engineering.h"
#include "json_output.h"
#include "measure_report.h"
#include "measurement.h"
#include "page_output.h"
#include "recovered_clock.h"
#include "report_parts.h"
#include "result_json.h"
#include "result_options.h"
#include "synth_signal.h"
#include "text_table.h"

namespace app {
namespace {

constexpr double kPico = 1e12, kMilli = 1e3;
constexpr int kTimeDigits = 4;
constexpr double kRounding_s = 1e-18;  // a spread below it is no spread of the signal

struct LevelsOptions : ResultOptions {
  CaptureOptions captures;
  double rate = 8e9;
  double low = 0.2, high = 0.8;  // of the swing
};

std::vector<ResultRow> LevelRows(const std::array<float, kLevels> &levels_v) {
  const double peak_swing = double{levels_v[kPeakHigh]} - levels_v[kPeakLow];
  const double steady_swing = double{levels_v[kSteadyHigh]} - levels_v[kSteadyLow];
  const auto peak = [&](const char *name, Level level, Level steady) {
    return ResultRow{name,
                     levels_v[level],
                     "V",
                     4,
                     levels_v[level] == levels_v[steady]
                         ? "none beyond 1.3 times the steady level: that level"
                         : "median of the extremes beyond 1.3 times the steady level",
                     0,
                     {}};
  };
  const char *flat = "median of stretches of 2 UI that move by less than 50 mV";
  return {
      peak("Peak high", kPeakHigh, kSteadyHigh),
      peak("Peak low", kPeakLow, kSteadyLow),
      {"Steady high", levels_v[kSteadyHigh], "V", 4, flat, 0, {}},
      {"Steady low", levels_v[kSteadyLow], "V", 4, flat, 0, {}},
      {"Peak swing", peak_swing, "V", 4, "peak high less peak low", 0, {}},
      {"Steady swing", steady_swing, "V", 4, "steady high less steady low", 0, {}},
      {"De-emphasis",
       20 * std::log10(steady_swing / peak_swing),
       "dB",
       3,
       "steady swing against peak swing",
       0,
       {}},
  };
}

struct EdgeStatistics {
  const EdgeKind *kind;
  const char *method;
  SequenceStats stats;
  double median_s;  // NaN without edges
};

EdgeStatistics StatisticsOf(size_t kind, size_t method, const std::vector<double> &times_s) {
  EdgeStatistics result{&kEdgeKinds[kind], kEdgeMethodNames[method], {}, NAN};
  for (const double time_s : times_s) result.stats.Add(time_s);
  if (times_s.empty()) return result;
  const VomoStatus status = Vomo_MEDIAN_DOUBLE(
      times_s.data(), 0, static_cast<uint32_t>(times_s.size() - 1), &result.median_s);
  if (Vomo_STATUS_IS_ERROR(status)) throw std::bad_alloc();  // all that it can lack
  return result;
}

std::vector<EdgeStatistics> AllStatistics(const EdgeMeasurement &edges) {
  std::vector<EdgeStatistics> all;
  for (size_t kind = 0; kind < kEdgeKinds.size(); ++kind) {
    for (size_t method = 0; method < kEdgeMethods; ++method) {
      all.push_back(StatisticsOf(kind, method, edges.times_s[kind][method]));
    }
  }
  return all;
}

// Of one kind of edge, by both methods over the same bins.
struct EdgeHistogram {
  double low_s = 0, bin_s = 0;
  std::array<std::vector<uint32_t>, kEdgeMethods> counts;
  uint64_t outside = 0;
};

// Some way beyond all but the 0.1 % at either end, so that a few edges that never reach a threshold
// don't leave the others in a single bin.
EdgeHistogram HistogramOf(const std::array<std::vector<double>, kEdgeMethods> &times_s) {
  constexpr size_t kBins = 120;
  constexpr double kTail = 0.001, kRoom = 0.1, kNarrowest = 1e-3;
  double low = INFINITY, high = -INFINITY;
  for (std::vector<double> values : times_s) {
    if (values.empty()) continue;
    const auto tail = static_cast<std::ptrdiff_t>(kTail * static_cast<double>(values.size()));
    std::nth_element(values.begin(), values.begin() + tail, values.end());
    low = std::min(low, values[static_cast<size_t>(tail)]);
    std::nth_element(values.begin(), values.end() - 1 - tail, values.end());
    high = std::max(high, *(values.end() - 1 - tail));
  }
  EdgeHistogram histogram;
  if (!(low <= high)) return histogram;
  const double room = std::max(kRoom * (high - low), kNarrowest * std::abs(low));
  histogram.low_s = low - room;
  histogram.bin_s = (high - low + 2 * room) / kBins;
  for (size_t method = 0; method < kEdgeMethods; ++method) {
    histogram.counts[method].resize(kBins);
    for (const double time_s : times_s[method]) {
      const double place = (time_s - histogram.low_s) / histogram.bin_s;
      if (place >= 0 && place < kBins) {
        ++histogram.counts[method][static_cast<size_t>(place)];
      } else {
        ++histogram.outside;
      }
    }
  }
  return histogram;
}

struct LevelsResult {
  EdgeMeasurement edges;
  std::vector<ResultRow> rows;
  std::vector<EdgeStatistics> statistics;
  std::vector<EdgeHistogram> histograms;  // by EdgeKind
};

LevelsResult MeasureLevels(const VomoWaveform &waveform, const LevelsOptions &options,
                           const std::string &name, StageTimes &times) {
  LevelsResult result{MeasureEdges(waveform,
                                   {1 / options.rate, static_cast<float>(options.low),
                                    static_cast<float>(options.high)},
                                   name, times),
                      {},
                      {},
                      {}};
  result.rows = LevelRows(result.edges.levels_v);
  times.Time("statistics", waveform.ulNumSamples, [&] {
    result.statistics = AllStatistics(result.edges);
    for (const auto &times_s : result.edges.times_s) {
      result.histograms.push_back(HistogramOf(times_s));
    }
  });
  return result;
}

std::vector<TextLine> EdgeLines(const std::vector<EdgeStatistics> &all) {
  std::vector<TextLine> lines = {{{"edge"},
                                  {"from"},
                                  {"method"},
                                  {"edges"},
                                  {"least"},
                                  {"median"},
                                  {"mean"},
                                  {"greatest"},
                                  {"std dev"}}};
  for (const EdgeStatistics &row : all) {
    TextLine line = {{row.kind->direction},
                     {row.kind->from},
                     {row.method},
                     {fmt::format("{}", row.stats.count())}};
    const bool any = row.stats.count() > 0;
    for (const double time_s :
         {row.stats.min(), row.median_s, row.stats.mean(), row.stats.max(), row.stats.rms()}) {
      const double shown_s = std::abs(time_s) < kRounding_s ? 0 : time_s;
      line.push_back({any ? Engineering(shown_s, "s", kTimeDigits) : ""});
    }
    lines.push_back(std::move(line));
  }
  return lines;
}
constexpr const char *kEdgeAlignment = "lllrrrrrr";

std::string FractionText(const LevelsOptions &options) {
  return fmt::format("from {:g} to {:g} % of the swing", 100 * options.low, 100 * options.high);
}

Json LevelsJson(Json json, const LevelsOptions &options, const LevelsResult &result) {
  for (const ResultRow &row : result.rows) json["rows"].push_back(RowJson(row));
  json["bit_rate"] = options.rate;
  json["fractions"] = {options.low, options.high};
  for (const EdgeStatistics &row : result.statistics) {
    const bool any = row.stats.count() > 0;
    const auto value = [&](double time_s) { return any ? NumberOrNull(time_s) : Json(nullptr); };
    json["edge_times"].push_back({{"edge", row.kind->direction},
                                  {"from", row.kind->from},
                                  {"method", row.method},
                                  {"unit", "s"},
                                  {"count", row.stats.count()},
                                  {"min", value(row.stats.min())},
                                  {"median", value(row.median_s)},
                                  {"mean", value(row.stats.mean())},
                                  {"max", value(row.stats.max())},
                                  {"standard_deviation", value(row.stats.rms())}});
  }
  for (size_t kind = 0; kind < kEdgeKinds.size(); ++kind) {
    const EdgeHistogram &histogram = result.histograms[kind];
    Json row = {{"edge", kEdgeKinds[kind].direction},
                {"from", kEdgeKinds[kind].from},
                {"unit", "s"},
                {"first_bin", histogram.low_s},
                {"bin_size", histogram.bin_s},
                {"outside", histogram.outside}};
    for (size_t method = 0; method < kEdgeMethods; ++method) {
      row[kEdgeMethodNames[method]] = histogram.counts[method];
    }
    json["histograms"].push_back(std::move(row));
  }
  return json;
}

report::Chart HistogramChart(const EdgeKind &kind, const EdgeHistogram &histogram) {
  report::Chart chart;
  chart.id = fmt::format("{}-{}", kind.direction, kind.from);
  chart.title = fmt::format("{}, from the {} level",
                            kind.flags & CROSSOVER_RISE ? "Rise times" : "Fall times", kind.from);
  if (histogram.outside > 0) {
    chart.caption = fmt::format("{} times lie outside of the picture", histogram.outside);
  }
  chart.x.label = "ps";
  chart.y.label = "edges";
  constexpr report::Ink kInks[] = {report::Ink::kOrange, report::Ink::kBlue};
  for (size_t method = 0; method < kEdgeMethods; ++method) {
    const std::vector<uint32_t> &counts = histogram.counts[method];
    report::Series series{kEdgeMethodNames[method], {}, {}, report::Style::kStep, kInks[method]};
    for (size_t i = 0; i <= counts.size(); ++i) {
      series.x.push_back((histogram.low_s + static_cast<double>(i) * histogram.bin_s) * kPico);
      series.y.push_back(i < counts.size() ? counts[i] : 0);
    }
    chart.series.push_back(std::move(series));
  }
  return chart;
}

// What stands around the first single bit, with the levels across.
report::Chart LevelsChart(const VomoWaveform &waveform, const EdgeMeasurement &edges,
                          double unit_interval_s) {
  constexpr double kBefore = 20, kShown = 60;
  const double first_s = std::max(0.0, edges.short_run_s - kBefore * unit_interval_s);
  report::Chart chart =
      StretchChart(waveform, static_cast<uint64_t>(first_s / waveform.dSampleInterval),
                   static_cast<uint64_t>(kShown * unit_interval_s / waveform.dSampleInterval));
  chart.title = "Signal and levels";
  chart.caption = "around the first run of a single bit";
  const char *const names[] = {"peak high", "peak low", "steady high", "steady low"};
  for (size_t level = 0; level < kLevels; ++level) {
    chart.guides.push_back({false, edges.levels_v[level] * kMilli, names[level],
                            level < kSteadyHigh ? report::Ink::kRed : report::Ink::kGreen});
  }
  return chart;
}

std::string Report(const LevelsOptions &options, const std::vector<Capture> &captures,
                   const VomoWaveform &waveform, const LevelsResult &result) {
  report::Page page(fmt::format("vomo levels: {}", NameOf(captures[0])));
  page.AddHeading("Voltage levels");
  page.AddTable(PageTable(PlainLines("level", result.rows), kPlainAlignment));
  page.AddChart(LevelsChart(waveform, result.edges, 1 / options.rate));
  page.AddHeading("Edge times");
  page.AddText("Times " + FractionText(options) +
               ". By slope: that share of the swing over the slope at 0 V. By waveform: from one "
               "threshold to the other on the samples.");
  page.AddTable(PageTable(EdgeLines(result.statistics), kEdgeAlignment));
  for (size_t kind = 0; kind < kEdgeKinds.size(); ++kind) {
    const EdgeHistogram &histogram = result.histograms[kind];
    if (histogram.bin_s > 0) page.AddChart(HistogramChart(kEdgeKinds[kind], histogram));
  }
  AddInput(page, captures);
  return page.Html();
}

ExitCode RunLevels(const LevelsOptions &options) {
  if (!(options.low < options.high)) {
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("--low {:g} is not below --high {:g}", options.low, options.high));
  }
  StageTimes times;
  VomoComplianceParams params = {};
  params.dTargetUI = 1 / options.rate;
  JsonOutput json_output(options.json_path);
  PageOutput report(options.report_path);
  const std::vector<Capture> captures = ReadCaptures(options.captures, params, times);
  const std::optional<double> correlation = CorrelationOf(captures);
  const Signal signal(captures);
  const LevelsResult result = MeasureLevels(signal.waveform(), options, NameOf(captures[0]), times);
  if (!json_output.OnStandardOutput()) {
    PrintCaptures(captures, correlation);
    fmt::print("\n{}\nedge times {}\n{}",
               AlignColumns(PlainLines("level", result.rows), kPlainAlignment, false),
               FractionText(options),
               AlignColumns(EdgeLines(result.statistics), kEdgeAlignment, false));
    std::fflush(stdout);
  }
  if (json_output.wanted()) {
    json_output.Write(
        LevelsJson(ResultHead("vomo.levels", captures, correlation), options, result));
  }
  if (report.wanted())
    report.Write([&] { return Report(options, captures, signal.waveform(), result); });
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  return ExitCode::kWithinLimits;
}

}  // namespace

void AddLevelsCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<LevelsOptions>();
  CLI::App *command = cli.add_subcommand(
      "levels", "A transmitter's voltage levels and the rise and fall times of its edges");
  AddCaptureOptions(command, &options->captures);
  command->add_option("--rate", options->rate, "nominal bit rate (bit/s)")
      ->capture_default_str()
      ->check(CLI::Range(1e3, 5e10));
  const struct {
    const char *name, *meaning;
    double LevelsOptions::*fraction;
  } fractions[] = {{"--low", "share of the swing where an edge begins", &LevelsOptions::low},
                   {"--high", "share of the swing where it ends", &LevelsOptions::high}};
  for (const auto &[name, meaning, fraction] : fractions) {
    command->add_option(name, (*options).*fraction, meaning)
        ->capture_default_str()
        ->check(CLI::Range(0.0, 1.0));
  }
  AddResultOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunLevels(*options); });
}

}  // namespace app
