// vomo convert: one waveform of a capture in another format.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

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
  const CaptureFormat &format = ChooseFormat(options.format, options.output);
  CaptureRequest request = options.reading;
  request.interval_needed = format.has_interval;
  const Capture capture = ReadOne(options, request);
  PrintNotes(capture.path(), capture.notes());
  OutputFile output(options.output);
  WriteWaveform(format, *capture.waveform(), capture.path(), output);
  output.Commit();
  return ExitCode::kWithinLimits;
}

}  // namespace

void AddConvertCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<ConvertOptions>();
  CLI::App *command = cli.add_subcommand("convert", "Write a capture in another format");
  command->add_option("IN", options->reading.path, "capture to read")->required();
  command->add_option("OUT", options->output, "capture to write")->required();
  command->add_option("--to", options->format, "format to write; without it OUT's suffix decides")
      ->check(CLI::IsMember(WritableFormatNames()));
  command->add_option("--waveform", options->waveform, "which of a file's two waveforms")
      ->capture_default_str()
      ->check(CLI::Range(1, 2));
  AddReadingOptions(command, &options->reading);
  command->callback([options, exit_code] { *exit_code = RunConvert(*options); });
}

}  // namespace app
