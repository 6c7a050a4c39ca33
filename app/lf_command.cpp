// vomo lf: finds and measures the low-frequency bursts of a capture or of a single-ended pair.
#include <fmt/format.h>
#include <unistd.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>

#include "burst_rows.h"
#include "commands.h"
#include "json_output.h"
#include "lf_report.h"
#include "measurement.h"
#include "page_output.h"
#include "reading_options.h"
#include "result_json.h"
#include "result_options.h"
#include "settings_command.h"

namespace app {
namespace {

struct LfOptions : ResultOptions {
  CaptureOptions captures;
  BurstSettingsRequest settings;
};

ExitCode RunLf(const LfOptions &options) {
  StageTimes times;
  const Json document = ResolveBurstSettings(options.settings);
  const BurstSettings settings = LoadBurstSettings(document);
  JsonOutput json_output(options.json_path);
  PageOutput report(options.report_path);
  const std::vector<Capture> captures = ReadCaptures(options.captures, times);
  const std::optional<double> correlation = CorrelationOf(captures);
  const BurstSignal signal(captures);
  const BurstOutcome outcome = MeasureBursts(signal, settings.params, NameOf(captures[0]), times);
  const std::vector<BurstRow> rows =
      BurstRows(outcome, settings.sLimits, signal.common_mode() != nullptr);
  if (!json_output.OnStandardOutput()) {
    PrintCaptures(captures, correlation);
    fmt::print("{} of {} bursts found\n\n{}", outcome.bursts.size(), settings.params.iBurstCount,
               FormatBurstRows(rows, WantsColour(STDOUT_FILENO)));
    std::fflush(stdout);
  }
  if (json_output.wanted()) {
    json_output.Write(BurstsJson(ResultHead("vomo.lf", captures, correlation), outcome, rows,
                                 signal.waveform().dSampleInterval, document));
  }
  if (report.wanted()) {
    times.Time("report", signal.waveform().ulNumSamples, [&] {
      report.Write([&] {
        return BurstsReport({signal, settings, outcome, rows}, captures, document);
      });
    });
  }
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  return WithinLimits(rows) ? ExitCode::kWithinLimits : ExitCode::kLimitFailed;
}

}  // namespace

void AddLfCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<LfOptions>();
  CLI::App *command = cli.add_subcommand(
      "lf", "Measure the low-frequency bursts of a capture or a single-ended pair");
  AddFileOptions(command, &options->captures);
  AddReadingOptions(command, &options->captures.reading);
  command
      ->add_option(
          "--kind", options->settings.kind,
          "1 for a burst train, 2 for pulse-width coded bursts; not needed with --settings")
      ->check(CLI::Range(1, 2));
  AddChangeOptions(command, &options->settings);
  AddResultOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunLf(*options); });
}

}  // namespace app
