#include "reading_options.h"

#include <string>
#include <vector>

namespace app {

CLI::Option *AddReadingOptions(CLI::App *command, CaptureRequest *request) {
  std::vector<std::string> formats = {"auto"};
  for (const CaptureReader &reader : CaptureReaders()) formats.emplace_back(reader.name);
  command->add_option("--format", request->format, "file format; auto looks at the content")
      ->capture_default_str()
      ->check(CLI::IsMember(formats));
  command->add_option("--max-samples", request->max_samples, "read no more than this many samples");
  command->add_option("--skip-lines", request->skip_lines,
                      "pass over this many lines of a text file");
  return command
      ->add_option("--interval", request->sample_interval_s,
                   "seconds between samples, where the file does not tell")
      ->check(CLI::Range(1e-18, 1e3));
}

}  // namespace app
