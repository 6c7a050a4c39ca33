// vomo measure: one run of the general flow on a capture or on a single-ended pair.
#include <fmt/format.h>
#include <unistd.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "capture_reader.h"
#include "commands.h"
#include "decision_signal.h"
#include "engineering.h"
#include "four_port.h"
#include "json_output.h"
#include "measure_report.h"
#include "measurement.h"
#include "output_file.h"
#include "page_output.h"
#include "reading_options.h"
#include "result_json.h"
#include "result_options.h"
#include "result_rows.h"
#include "settings_command.h"
#include "signal_summary.h"
#include "template_test.h"
#include "terminal.h"

namespace app {
namespace {

struct MeasureOptions : ResultOptions {
  CaptureOptions captures;
  SettingsRequest settings;
  std::string s4p_path;
};

void PrintTable(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                const std::vector<Capture> &captures) {
  PrintCaptures(captures, outcome.pair_correlation);
  fmt::print("\n");
  fmt::print("{}", FormatRows(rows, outcome.params.dTargetUI, WantsColour(STDOUT_FILENO)));
  std::fflush(stdout);
}

ExitCode RunMeasure(const MeasureOptions &options) {
  StageTimes times;
  const Json document = ResolveSettings(options.settings);
  const RunSettings settings(document);
  const VomoComplianceParams &params = settings.params();
  if (params.psGen3BaseCompParameters != nullptr) {
    throw Failure(ExitCode::kWrongUsage,
                  "psGen3BaseCompParameters: these settings are for a transmitter run",
                  "vomo tx, or set it to null");
  }
  JsonOutput json_output(options.json_path);
  PageOutput report(options.report_path);
  std::optional<FourPort> four_port;
  if (!options.s4p_path.empty()) four_port.emplace(options.s4p_path);
  const std::vector<Capture> captures = ReadCaptures(options.captures, params, times);
  const std::optional<double> correlation = CorrelationOf(captures);
  RunInput input(captures);
  OwnedWaveform received;
  if (four_port) {
    if (!json_output.OnStandardOutput()) fmt::print("{}\n", four_port->Text());
    PrintWarnings(options.s4p_path, four_port->Warnings(input.waveform->dSampleInterval));
    received = times.Time("four-port", input.waveform->ulNumSamples,
                          [&] { return four_port->Embed(input); });
    input = RunInput(received.get(), input.name);
  }
  // Before the run, which leaves its taps in the settings.
  std::optional<CtleTable> ctle;
  if (UsesCtle(params)) {
    ctle = times.Time("ctle", 0, [&] { return TryCtleSettings(Signal(input).waveform(), params); });
  }
  ResultsRecord record(params);
  JitterSequence jitter;
  Measure(input, params, &record.results, &jitter, times);

  if (UsesDfe(params)) record.KeepCurves();  // the decisions behind a DFE take another run
  const DecisionSignal decided(input, params, record.results, jitter, times);
  const Signal signal(decided.input());
  std::optional<EyeStep> eye;
  if (params.psGen3BaseCompParameters == nullptr) {
    eye = times.Time("template", signal.samples().size(),
                     [&] { return EyeStep(signal, params, decided.jitter()); });
  }
  const auto [lowest, highest] = VoltageRange(decided.input());
  const RunOutcome outcome{params,         record.results,
                           lowest,         highest,
                           correlation,    eye ? std::optional(eye->hits) : std::nullopt,
                           std::move(ctle)};
  const std::vector<ResultRow> rows = ResultRows(outcome);
  if (!json_output.OnStandardOutput()) PrintTable(outcome, rows, captures);
  if (json_output.wanted()) {
    times.Time("json", 0, [&] {
      json_output.Write(ResultJson(outcome, rows, captures, document,
                                   four_port ? four_port->ToJson() : Json(nullptr)));
    });
  }
  if (report.wanted()) {
    times.Time("report", signal.samples().size(), [&] {
      report.Write([&] {
        return MeasureReport(outcome, rows, captures, signal, eye ? &eye->clock : nullptr,
                             decided.jitter(), decided.unequalised(), document);
      });
    });
  }
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  return AllPassed(rows) ? ExitCode::kWithinLimits : ExitCode::kLimitFailed;
}

}  // namespace

void AddMeasureCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<MeasureOptions>();
  CLI::App *command = cli.add_subcommand(
      "measure", "Measure the unit interval and the jitter of a capture or a single-ended pair");
  AddCaptureOptions(command, &options->captures);
  AddSettingsOptions(command, &options->settings);
  AddDumpOption(command, &options->settings);
  AddEqualiserOptions(command, &options->settings.equalisers);
  AddChannelOption(command, &options->s4p_path);
  AddResultOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunMeasure(*options); });
}

}  // namespace app
