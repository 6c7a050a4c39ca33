// vomo eye: the density eye of a capture as a picture and as numbers.
#include <fmt/format.h>
#include <unistd.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "commands.h"
#include "decision_signal.h"
#include "engineering.h"
#include "eye_picture.h"
#include "four_port.h"
#include "output_file.h"
#include "recovered_clock.h"
#include "result_rows.h"
#include "settings_command.h"
#include "template_test.h"

namespace app {
namespace {

struct EyeOptions {
  CaptureOptions captures;
  SettingsRequest settings;
  std::string s4p_path, png_path, csv_path, bits = "all";
  bool timing = false;
};

BitClass BitClassOf(const std::string &name) {
  for (const BitClass bits : {BitClass::kTransition, BitClass::kNonTransition}) {
    if (name == BitClassName(bits)) return bits;
  }
  return BitClass::kAll;
}

ExitCode RunEye(const EyeOptions &options) {
  StageTimes times;
  const RunSettings settings(ResolveSettings(options.settings));
  const VomoComplianceParams &params = settings.params();
  OutputFile png(options.png_path);
  std::optional<OutputFile> csv;
  if (!options.csv_path.empty()) csv.emplace(options.csv_path);
  std::optional<FourPort> four_port;
  if (!options.s4p_path.empty()) four_port.emplace(options.s4p_path);
  const std::vector<Capture> captures = ReadCaptures(options.captures, params, times);
  RunInput input(captures);
  OwnedWaveform received;
  if (four_port) {
    PrintWarnings(options.s4p_path, four_port->Warnings(input.waveform->dSampleInterval));
    received = times.Time("four-port", 0, [&] { return four_port->Embed(input); });
    input = RunInput(received.get(), input.name);
  }
  ResultsRecord record(params);
  JitterSequence jitter;
  Measure(input, params, &record.results, &jitter, times);

  const DecisionSignal decided(input, params, record.results, jitter, times);
  const Signal signal(decided.input());
  const auto [lowest, highest] = VoltageRange(decided.input());
  const std::pair<double, double> volts = EyeVoltages(lowest, highest, params);
  const uint64_t count = signal.samples().size();
  const EyeStep step =
      times.Time("template", count, [&] { return EyeStep(signal, params, decided.jitter()); });
  const DensityEye eye = times.Time("eye", count, [&] {
    return FoldDensityEye(signal.samples(), step.clock.positions, volts.first, volts.second);
  });
  const BitClass bits = BitClassOf(options.bits);
  const double unit_interval_s = record.results.dUnitInterval;
  const std::string title =
      fmt::format("{}: {} UI, {} bits, {}", captures[0].path(), eye[bits].bits, BitClassName(bits),
                  Engineering(1 / unit_interval_s, "bit/s", 4));
  png.Write(EyePng(eye[bits], OverlayOf(params, bits), title, unit_interval_s));
  if (csv) csv->Write(EyeCsv(eye[bits], unit_interval_s));
  png.Commit();
  if (csv) csv->Commit();
  std::vector<ResultRow> rows =
      ResultRows({params, record.results, lowest, highest, std::nullopt, step.hits});
  std::erase_if(rows, [](const ResultRow &row) { return !row.of_eye; });
  fmt::print("{}", FormatRows(rows, params.dTargetUI, WantsColour(STDOUT_FILENO)));
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  return AllPassed(rows) ? ExitCode::kWithinLimits : ExitCode::kLimitFailed;
}

}  // namespace

void AddEyeCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<EyeOptions>();
  CLI::App *command = cli.add_subcommand("eye", "Draw the density eye of a capture over two UI");
  AddCaptureOptions(command, &options->captures);
  AddSettingsOptions(command, &options->settings);
  AddEqualiserOptions(command, &options->settings.equalisers);
  AddChannelOption(command, &options->s4p_path);
  command->add_option("--png", options->png_path, "the picture to write")->required();
  command->add_option("--csv", options->csv_path,
                      "write the counts as well, with origin and step of both axes");
  command->add_option("--bits", options->bits, "the bits that are drawn")
      ->capture_default_str()
      ->check(CLI::IsMember({"all", "transition", "non-transition"}));
  command->add_flag("--timing", options->timing, "tell seconds and samples a second of each stage");
  command->callback([options, exit_code] { *exit_code = RunEye(*options); });
}

}  // namespace app
