// vomo tx: a transmitter's compliance pattern, its voltages and the jitter that belongs to it.
#include <fmt/format.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>

#include "average_pattern.h"
#include "commands.h"
#include "engineering.h"
#include "json_output.h"
#include "measure_report.h"
#include "measurement.h"
#include "page_output.h"
#include "recovered_clock.h"
#include "report_page.h"
#include "result_json.h"
#include "result_options.h"
#include "result_rows.h"
#include "settings_command.h"

namespace app {
namespace {

struct TransmitterOptions : ResultOptions {
  CaptureOptions captures;
  SettingsRequest settings;
};

// What was not found has no voltage.
double Found(uint32_t count, double value) {
  return count > 0 ? value : NAN;
}

std::vector<ResultRow> TransmitterRows(const VomoComplianceParams &params,
                                       const VomoComplianceResults &results) {
  const VomoGen3Results &gen3 = *results.psGen3Results;
  const VomoPatternDDjResult &pattern = *gen3.psPatternDDj;
  const VomoGen3BaseCompParameters &settings = *params.psGen3BaseCompParameters;
  const auto high_runs = static_cast<uint32_t>(gen3.fTargetVoltage3);
  const std::string eieos =
      fmt::format("UI {} to {} of runs of 8, in {} patterns", settings.ulEIEOSFirst,
                  settings.ulEIEOSLast, gen3.ulEIEOSFound);
  const std::string target = fmt::format("UI {} to {} of runs of {}", settings.ulTargetFirst,
                                         settings.ulTargetLast, settings.ulTargetRunLength);
  const uint64_t pattern_ui = uint64_t{gen3.ulPatternLengthUI} * gen3.ulPatternRepeats;
  const std::string low_count =
      gen3.ucTargetFound == 255 ? "255 or more" : fmt::format("{}", gen3.ucTargetFound);
  const std::string bits = "differences from bit to bit";
  return {
      {"Unit interval", results.dUnitInterval, "s", 7, "of the clock", 0, {}},
      {"Pattern length",
       double(gen3.ulPatternLengthUI),
       "UI",
       1,
       fmt::format("{} runs, {} repeats", gen3.ulPatternRuns, gen3.ulPatternRepeats),
       pattern_ui,
       {}},
      {"Pattern jitter DDj",
       pattern.fPeakPeak,
       "s",
       4,
       fmt::format("mean over {} repeats, peak to peak", pattern.ulRepeats),
       pattern_ui,
       {}},
      {"F/2 jitter", gen3.fFOver2Dj, "s", 4, "mean even less mean odd unit interval", 0, {}},
      {"Bit to bit Tj", gen3.dTj, "s", 4, bits, results.ulPointsUsed, {}},
      {"Bit to bit Dj", gen3.dDj, "s", 4, bits, results.ulPointsUsed, {}},
      {"Bit to bit Rj, rms", gen3.dRj, "s", 4, bits, results.ulPointsUsed, {}},
      {"Random jitter Rj, rms",
       results.dRjRMS,
       "s",
       4,
       "rms below the noise floor",
       results.ulPointsUsed,
       {}},
      {"Deterministic jitter Dj",
       results.dDjDeltaDelta,
       "s",
       4,
       "distance of the Diracs",
       results.ulPointsUsed,
       {}},
      {"Total jitter Tj", results.dTjPeakPeak, "s", 4, "dual-Dirac fit", results.ulPointsUsed, {}},
      {"EIEOS high", Found(gen3.ulEIEOSFound, gen3.fEIEOSVoltage1), "V", 4, eieos, 0, {}},
      {"EIEOS low", Found(gen3.ulEIEOSFound, gen3.fEIEOSVoltage2), "V", 4, eieos, 0, {}},
      {"EIEOS swing",
       Found(gen3.ulEIEOSFound, gen3.fEIEOSVoltage1 - gen3.fEIEOSVoltage2),
       "V",
       4,
       "high less low",
       0,
       {}},
      {"PS21 ratio",
       Found(gen3.ulPS21Found, gen3.fPS21Ratio),
       "dB",
       3,
       fmt::format("toggling against flat swing, in {} patterns", gen3.ulPS21Found),
       0,
       {}},
      {"Flat high",
       Found(high_runs, gen3.fTargetVoltage1),
       "V",
       4,
       fmt::format("{}, {} runs", target, high_runs),
       0,
       {}},
      {"Flat low",
       Found(gen3.ucTargetFound, gen3.fTargetVoltage2),
       "V",
       4,
       fmt::format("{}, {} runs", target, low_count),
       0,
       {}},
  };
}

std::string Report(const std::vector<Capture> &captures, const std::vector<ResultRow> &rows,
                   const RunOutcome &outcome, const Json &settings) {
  report::Page page(fmt::format("vomo tx: {}", NameOf(captures[0])));
  AddResults(page, rows, outcome.params.dTargetUI);
  const VomoGen3Results &gen3 = *outcome.results.psGen3Results;
  const Signal signal(captures);
  const AveragePattern average =
      AverageOverRepeats(signal.waveform(), outcome.results.dFirstCrossoverTime,
                         outcome.results.dUnitInterval, gen3.ulPatternLengthUI);
  report::Chart chart;
  chart.id = "pattern";
  chart.title = "Averaged pattern";
  chart.caption = fmt::format("mean of {} repeats, from the first crossover on", average.repeats);
  chart.x.label = "UI";
  chart.y.label = "mV";
  chart.size = report::Size::kWide;
  chart.series.push_back(report::Gather(
      "mean", average.volts.size(),
      [&](size_t i) { return static_cast<double>(i) * average.step_ui; },
      [&](size_t i) { return average.volts[i] * 1e3; }));
  page.AddChart(chart);
  AddInput(page, captures);
  page.AddDetails("Settings", settings.dump(2, ' ', false, Json::error_handler_t::replace));
  return page.Html();
}

void PrintTable(const std::vector<Capture> &captures, const std::vector<ResultRow> &rows,
                double unit_interval_s) {
  for (const Capture &capture : captures)
    fmt::print("{} ({})\n", NameOf(capture), capture.format());
  fmt::print("\n{}", FormatRows(rows, unit_interval_s, false));
  std::fflush(stdout);
}

ExitCode RunTransmitter(TransmitterOptions options) {
  options.settings.kind = RunKind::kTransmitter;
  StageTimes times;
  const Json document = ResolveSettings(options.settings);
  const RunSettings settings(document);
  const VomoComplianceParams &params = settings.params();
  if (params.psGen3BaseCompParameters == nullptr) {
    throw Failure(ExitCode::kWrongUsage, "psGen3BaseCompParameters: a transmitter run needs it",
                  "vomo settings --tx prints the built-in values");
  }
  JsonOutput json_output(options.json_path);
  PageOutput report(options.report_path);
  const std::vector<Capture> captures = ReadCaptures(options.captures, params, times);
  const std::optional<double> correlation = CorrelationOf(captures);
  ResultsRecord record(params);
  Measure(captures, params, &record.results, nullptr, times);

  const auto [lowest, highest] = VoltageRange(captures);
  const RunOutcome outcome{params, record.results, lowest, highest, correlation};
  const std::vector<ResultRow> rows = TransmitterRows(params, record.results);
  if (!json_output.OnStandardOutput()) PrintTable(captures, rows, params.dTargetUI);
  if (json_output.wanted()) {
    Json json = ResultJson(outcome, rows, captures, document);
    json["schema"] = "vomo.tx";
    json_output.Write(json);
  }
  if (report.wanted()) report.Write([&] { return Report(captures, rows, outcome, document); });
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  return ExitCode::kWithinLimits;
}

}  // namespace

void AddTransmitterCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<TransmitterOptions>();
  CLI::App *command = cli.add_subcommand(
      "tx", "Measure a transmitter's pattern: run-length voltages, pattern, F/2 and bit jitter");
  AddCaptureOptions(command, &options->captures);
  AddSettingsOptions(command, &options->settings);
  AddDumpOption(command, &options->settings);
  AddResultOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunTransmitter(*options); });
}

}  // namespace app
