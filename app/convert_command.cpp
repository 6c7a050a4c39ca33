// vomo convert: one waveform of a capture in another format.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "capture_writer.h"
#include "commands.h"
#include "reading_options.h"

namespace app {
namespace {

struct ConvertOptions {
  CaptureRequest reading;
  std::string output, format;
  int waveform = 1;
};

// By name, or else by the suffix of the output.
const CaptureFormat &ChooseFormat(const ConvertOptions &options) {
  const std::string suffix = std::filesystem::path(options.output).extension().string();
  std::string names;
  for (const CaptureFormat &format : WritableFormats()) {
    const bool chosen = options.format.empty() ? !suffix.empty() && suffix == format.suffix
                                               : options.format == format.name;
    if (chosen) return format;
    names += fmt::format("{}{} ({})", names.empty() ? "" : ", ", format.name, format.description);
  }
  throw Failure(ExitCode::kWrongUsage,
                fmt::format("{}: its suffix names no format to write", options.output),
                "--to with one of " + names);
}

Capture ReadOne(const ConvertOptions &options, const CaptureRequest &request) {
  const CaptureFile file = CaptureFile::Open(request, options.waveform);
  if (options.waveform == 2) return std::move(Capture::ReadTwo(file, request)[1]);
  if (file.inspection.waveforms > 1 && file.reader->read_two != nullptr) {
    PrintNotes(file.path,
               {fmt::format("this is the first of {} waveforms; --waveform 2 takes the second",
                            file.inspection.waveforms)});
  }
  return Capture::Read(file, request);
}

ExitCode RunConvert(const ConvertOptions &options) {
  const CaptureFormat &format = ChooseFormat(options);
  CaptureRequest request = options.reading;
  request.interval_needed = format.has_interval;
  const Capture capture = ReadOne(options, request);
  PrintNotes(capture.path(), capture.notes());
  const VomoWaveform &waveform = *capture.waveform();
  if (waveform.ulTrimFront + waveform.ulTrimBack > 0) {
    PrintNotes(capture.path(), {fmt::format("hidden samples are left out: {} in front, {} behind",
                                            waveform.ulTrimFront, waveform.ulTrimBack)});
  }
  const SampleSource samples = [&](const SampleSink &sink) {
    sink({waveform.pfSamples, waveform.ulNumSamples});
  };
  OutputFile output(options.output);
  WriteCapture(format, {waveform.ulNumSamples, waveform.dSampleInterval}, {&samples, 1}, output);
  output.Commit();
  return ExitCode::kWithinLimits;
}

}  // namespace

void AddConvertCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<ConvertOptions>();
  CLI::App *command = cli.add_subcommand("convert", "Write a capture in another format");
  command->add_option("IN", options->reading.path, "capture to read")->required();
  command->add_option("OUT", options->output, "capture to write")->required();
  std::vector<std::string> formats;
  for (const CaptureFormat &format : WritableFormats()) formats.emplace_back(format.name);
  command->add_option("--to", options->format, "format to write; without it OUT's suffix decides")
      ->check(CLI::IsMember(formats));
  command->add_option("--waveform", options->waveform, "which of a file's two waveforms")
      ->capture_default_str()
      ->check(CLI::Range(1, 2));
  AddReadingOptions(command, &options->reading);
  command->callback([options, exit_code] { *exit_code = RunConvert(*options); });
}

}  // namespace app
