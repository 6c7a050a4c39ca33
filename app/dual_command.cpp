// vomo dual: data measured against a captured clock through each PLL of a list.
#include <fmt/format.h>
#include <unistd.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "dual_report.h"
#include "engineering.h"
#include "json_output.h"
#include "measurement.h"
#include "page_output.h"
#include "result_json.h"
#include "result_options.h"
#include "result_rows.h"
#include "settings_command.h"

namespace app {
namespace {

struct DualOptions : ResultOptions {
  CaptureOptions data;  // paths: data, clock and the data's negative half
  std::optional<double> clock_interval_s;
  SettingsRequest settings;
};

struct DualRun {
  ResultsRecord record;
  VomoDualPortClockResults clock = {};
  std::vector<VomoDualPortTrial> trials;

  explicit DualRun(const VomoComplianceParams &params) : record(params) {}
};

std::string DualAdvice(VomoStatus status, const RunSettings &settings) {
  switch (status) {
    case Vomo_STATUS_NOT_ENOUGH_UI:
      return fmt::format("longer captures, or --set ulMinUIForOfficialTest below {}",
                         settings.params().ulMinUIForOfficialTest);
    case Vomo_STATUS_PARAM_OUT_OF_RANGE:
      return fmt::format(
          "check that both captures cross 0 V, that they cover the same time, and that the clock's "
          "crossovers are {} apart (sDualPort.dClockTargetUI for sDualPort.eClockCrossoverTypes)",
          Engineering(settings.dual_port()->dClockTargetUI, "s", 4));
    case Vomo_STATUS_PARAM_NOT_VALID:
      return "a smaller sDualPort.ulClockDataOffsetUI or dPointsToTrimPercent, or longer captures";
    default:
      return "vomo settings --dual shows what the run is made with";
  }
}

void RunDualPort(const std::vector<Capture> &data, const Capture &clock,
                 const RunSettings &settings, DualRun *run, StageTimes &times) {
  const auto filters = static_cast<size_t>(settings.dual_port()->iPLLFilterCount);
  run->trials.resize(3 * filters);
  VomoWaveform *waveform = data[0].waveform();
  VomoWaveform *complement = data.size() > 1 ? data[1].waveform() : nullptr;
  uint32_t count = 0;
  const VomoStatus status = times.Time("dual", waveform->ulNumSamples, [&] {
    const ProgressLine progress(fmt::format("measuring against the clock through {} PLL{}", filters,
                                            filters == 1 ? "" : "s"));
    return Vomo_DUAL_PORT_COMPLIANCE_TRIALS(waveform, clock.waveform(), complement,
                                            settings.params(), *settings.dual_port(),
                                            &run->record.results, &run->clock, run->trials.data(),
                                            static_cast<uint32_t>(run->trials.size()), &count);
  });
  run->trials.resize(count);
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "measuring", data[0].path(),
                        DualAdvice(status, settings));
  }
  WarnOfResults(status, settings.params(), run->record.results);
}

bool IsWorst(const VomoDualPortTrial &trial, const VomoComplianceResults &results) {
  return trial.iPLLFilterIndex == results.iPLLFilterIndex &&
         trial.iClockDataOffsetUI == results.iClockDataOffsetUI;
}

void PrintTrials(const DualRun &run, const RunSettings &settings) {
  const VomoComplianceResults &results = run.record.results;
  const bool filtered = settings.dual_port()->iUseClockCrossovers == 0;
  fmt::print("\n{:<4} {:>10} {:>8}  {:<24} {:>10} {:>10} {:>10}\n", "PLL", "3 dB at", "damping",
             "alignment", "Tj", "Dj", "Rj, rms");
  for (const VomoDualPortTrial &trial : run.trials) {
    const VomoFilterParams &pll = settings.dual_port()->psPLLFilterParams[trial.iPLLFilterIndex];
    fmt::print("{:<4} {:>10} {:>8}  {:<24} {:>10} {:>10} {:>10}{}\n", trial.iPLLFilterIndex,
               filtered ? Engineering(pll.dFc, "Hz", 4) : "no filter",
               filtered ? fmt::format("{:.4g}", pll.dZ) : "",
               AlignmentText(trial.iClockDataOffsetUI), Engineering(trial.dTjPeakPeak, "s", 4),
               Engineering(trial.dDjDeltaDelta, "s", 4), Engineering(trial.dRjRMS, "s", 4),
               IsWorst(trial, results) ? "  worst" : "");
  }
}

void PrintDual(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
               const std::vector<Capture> &data, const Capture &clock, const DualRun &run,
               const RunSettings &settings) {
  const char *const roles[] = {"data", "data, negative half"};
  for (size_t i = 0; i < data.size(); ++i) {
    fmt::print("{}: {} ({})\n", roles[i], NameOf(data[i]), data[i].format());
  }
  fmt::print("clock: {} ({}), {} intervals of {}\n", NameOf(clock), clock.format(),
             run.clock.ulIntervalCount, Engineering(run.clock.dUnitInterval, "s", 7));
  fmt::print("worst case: PLL {} of {}, {}\n\n", outcome.results.iPLLFilterIndex,
             settings.dual_port()->iPLLFilterCount,
             AlignmentText(outcome.results.iClockDataOffsetUI));
  fmt::print("{}", FormatRows(rows, outcome.params.dTargetUI, WantsColour(STDOUT_FILENO)));
  PrintTrials(run, settings);
  std::fflush(stdout);
}

Json DualJson(Json json, const DualRun &run, const Capture &clock) {
  json["schema"] = "vomo.dual";
  json["clock_capture"] = CaptureJson(clock);
  json["clock_results"] = RecordToJson(kDualPortClockType, &run.clock);
  json["clock_results_units"] = RecordUnits(kDualPortClockType);
  for (const VomoDualPortTrial &trial : run.trials) {
    Json row = RecordToJson(kDualPortTrialType, &trial);
    row["worst"] = IsWorst(trial, run.record.results);
    json["trials"].push_back(std::move(row));
  }
  json["trials_units"] = RecordUnits(kDualPortTrialType);
  return json;
}

std::vector<Capture> ReadClock(const DualOptions &options, const VomoDualPortParams &dual,
                               const VomoComplianceParams &params, StageTimes &times) {
  CaptureOptions request = options.data;
  request.paths = {options.data.paths[1]};
  if (options.clock_interval_s) {
    request.samples_per_ui.reset();
    request.reading.sample_interval_s = options.clock_interval_s;
  }
  std::vector<Capture> clock = ReadCaptures(request, params, times);
  if (!(dual.dClockTargetUI > clock[0].waveform()->dSampleInterval)) {
    throw Failure(ExitCode::kWrongUsage,
                  "sDualPort.dClockTargetUI is not above the clock's sample interval",
                  "give the nominal time between the clock's crossovers in seconds");
  }
  return clock;
}

ExitCode RunDual(DualOptions options) {
  options.settings.kind = RunKind::kDualPort;
  StageTimes times;
  const Json document = ResolveSettings(options.settings);
  const RunSettings settings(document);
  if (settings.dual_port() == nullptr || settings.dual_port()->iPLLFilterCount < 1) {
    throw Failure(ExitCode::kWrongUsage, "sDualPort.psPLLFilterParams: at least one PLL is needed",
                  "vomo settings --dual prints the built-in list");
  }
  const VomoComplianceParams &params = settings.params();
  JsonOutput json_output(options.json_path);
  PageOutput report(options.report_path);
  CaptureOptions data_request = options.data;
  data_request.paths.erase(data_request.paths.begin() + 1);
  const std::vector<Capture> data = ReadCaptures(data_request, params, times);
  const std::vector<Capture> clock = ReadClock(options, *settings.dual_port(), params, times);
  const std::optional<double> correlation = CorrelationOf(data);
  const auto [lowest, highest] = VoltageRange(data);
  DualRun run(params);
  RunDualPort(data, clock[0], settings, &run, times);

  const RunOutcome outcome{params, run.record.results, lowest, highest, correlation};
  const std::vector<ResultRow> rows = ResultRows(outcome);
  if (!json_output.OnStandardOutput()) PrintDual(outcome, rows, data, clock[0], run, settings);
  if (json_output.wanted()) {
    json_output.Write(DualJson(ResultJson(outcome, rows, data, document), run, clock[0]));
  }
  if (report.wanted()) {
    report.Write([&] {
      return DualReport(outcome, rows, data, clock, *settings.dual_port(), run.trials, document);
    });
  }
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  return AllPassed(rows) ? ExitCode::kWithinLimits : ExitCode::kLimitFailed;
}

}  // namespace

void AddDualCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<DualOptions>();
  CLI::App *command = cli.add_subcommand(
      "dual", "Measure data against a captured clock through each PLL of a list");
  command
      ->add_option("CAPTURES", options->data.paths,
                   "DATA CLOCK [COMPLEMENT]: the data, the clock, and the data's negative half if "
                   "DATA is the positive one")
      ->required()
      ->expected(2, 3);
  AddIntervalOptions(command, &options->data);
  command
      ->add_option("--clock-interval", options->clock_interval_s,
                   "seconds between the clock's samples, where they are not as the data's")
      ->check(CLI::Range(1e-18, 1e3));
  AddSettingsOptions(command, &options->settings);
  AddDumpOption(command, &options->settings);
  AddResultOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunDual(*options); });
}

}  // namespace app
