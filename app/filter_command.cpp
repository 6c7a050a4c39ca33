// vomo filter: a capture behind one filter, equaliser or channel.
#include <fmt/format.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <optional>

#include "capture_writer.h"
#include "commands.h"
#include "equaliser.h"
#include "four_port.h"
#include "reading_options.h"
#include "settings.h"

namespace app {
namespace {

struct FilterOptions {
  CaptureRequest reading;
  std::string output, format, s4p_path;
  EqualiserRequest equalisers;
  std::optional<double> low_pass_hz, high_pass_hz, rate;
  int order = 1;
  double damping = 0.707;
};

void RequireOneStage(const FilterOptions &options) {
  const int stages = int{options.low_pass_hz.has_value()} + int{options.high_pass_hz.has_value()} +
                     int{!options.s4p_path.empty()} + int{!options.equalisers.ctle.empty()} +
                     int{!options.equalisers.dfe.empty()};
  if (stages == 1) return;
  throw Failure(ExitCode::kWrongUsage, fmt::format("{} stages are given, expected one", stages),
                "one of --low-pass, --high-pass, --ctle, --dfe and --s4p; a second vomo filter "
                "goes on with what the first one wrote");
}

OwnedWaveform ApplySimple(const FilterOptions &options, const RunInput &input) {
  OwnedWaveform result;
  const bool high_pass = options.high_pass_hz.has_value();
  const VomoStatus status = VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM(
      input.waveform, options.order, high_pass ? *options.high_pass_hz : *options.low_pass_hz,
      options.damping, high_pass, result.pointer(), result.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "filtering", input.name,
                        "a sample interval above 0 (--interval)");
  }
  return result;
}

OwnedWaveform ApplyEqualiser(const FilterOptions &options, const RunInput &input) {
  if (!options.equalisers.dfe.empty() && !options.rate) {
    throw Failure(ExitCode::kWrongUsage, "--dfe needs the bit rate", "--rate 8e9");
  }
  constexpr double kAnyRate = 8e9;  // scales the built-in family alone
  SettingsRequest request;
  request.rate = options.rate.value_or(kAnyRate);
  request.equalisers = options.equalisers;
  const RunSettings settings(ResolveSettings(request));
  const VomoComplianceParams &params = settings.params();
  if (params.iCTLEFilterParamsCount > 1) {
    throw Failure(
        ExitCode::kWrongUsage,
        fmt::format("--ctle gives {} settings, expected one", params.iCTLEFilterParamsCount),
        "vomo measure chooses the best of a family and names it");
  }
  return Equalise(*input.waveform, params, params.iCTLEFilterParamsCount);
}

OwnedWaveform ApplyFourPort(const FilterOptions &options, const RunInput &input) {
  const FourPort four_port(options.s4p_path);
  fmt::print("{}", four_port.Text());
  PrintWarnings(options.s4p_path, four_port.Warnings(input.waveform->dSampleInterval));
  return four_port.Embed(input);
}

ExitCode RunFilter(const FilterOptions &options) {
  RequireOneStage(options);
  const CaptureFormat &format = ChooseFormat(options.format, options.output);
  OutputFile output(options.output);
  const Capture capture = Capture::Read(options.reading);
  PrintNotes(capture.path(), capture.notes());
  const RunInput input(capture.waveform(), capture.path());
  OwnedWaveform result;
  if (!options.s4p_path.empty()) {
    result = ApplyFourPort(options, input);
  } else if (options.low_pass_hz || options.high_pass_hz) {
    result = ApplySimple(options, input);
  } else {
    result = ApplyEqualiser(options, input);
  }
  WriteWaveform(format, *result.get(), capture.path(), output);
  output.Commit();
  return ExitCode::kWithinLimits;
}

void AddStageOptions(CLI::App *command, FilterOptions *options) {
  for (const auto &[name, corner, meaning] :
       {std::tuple{"--low-pass", &options->low_pass_hz, "low pass with its corner here, Hz"},
        std::tuple{"--high-pass", &options->high_pass_hz, "high pass with its corner here, Hz"}}) {
    command->add_option(name, *corner, meaning)->check(CLI::PositiveNumber);
  }
  command->add_option("--order", options->order, "of the low or high pass")
      ->capture_default_str()
      ->check(CLI::Range(1, 2));
  command->add_option("--damping", options->damping, "of a low or high pass of order 2")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  command
      ->add_option("--ctle", options->equalisers.ctle,
                   "one CTLE setting: gain at DC, zero and two poles in Hz with commas between")
      ->expected(1);
  command->add_option("--dfe", options->equalisers.dfe,
                      "DFE taps in volts with commas between, or auto for one that is estimated");
  command->add_option("--rate", options->rate, "nominal bit rate, for a DFE")
      ->check(CLI::Range(1e3, 1e13));
  command->add_option("--s4p", options->s4p_path, "four-port file of a channel");
}

}  // namespace

void AddFilterCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<FilterOptions>();
  CLI::App *command =
      cli.add_subcommand("filter", "Write a capture behind one filter, equaliser or channel");
  command->add_option("IN", options->reading.path, "capture to read")->required();
  command->add_option("OUT", options->output, "capture to write")->required();
  AddStageOptions(command, options.get());
  command->add_option("--to", options->format, "format to write; without it OUT's suffix decides")
      ->check(CLI::IsMember(WritableFormatNames()));
  AddReadingOptions(command, &options->reading);
  command->callback([options, exit_code] { *exit_code = RunFilter(*options); });
}

}  // namespace app
