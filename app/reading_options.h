// The options of how a capture is read, shared by the subcommands that read some.
#ifndef VOMO_APP_READING_OPTIONS_H
#define VOMO_APP_READING_OPTIONS_H

#include <CLI/CLI.hpp>

#include "capture_reader.h"

namespace app {

// Returns the option of the sample interval, for others that exclude it.
CLI::Option *AddReadingOptions(CLI::App *command, CaptureRequest *request);

}  // namespace app

#endif
