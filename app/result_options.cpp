#include "result_options.h"

#include <CLI/CLI.hpp>

namespace app {

void AddResultOptions(CLI::App *command, ResultOptions *options) {
  command->add_option("--json", options->json_path,
                      "write the whole result as JSON; - for the standard output, without a table");
  command->add_option("--report", options->report_path,
                      "write the result with its pictures as one HTML page");
  command->add_flag("--timing", options->timing, "tell seconds and samples a second of each stage");
}

}  // namespace app
