// The subcommands of `vomo`, one file each. Each adds itself with its options to the command line
// and, when it was the one asked for, runs and stores the program's end in exit_code.
#ifndef VOMO_APP_COMMANDS_H
#define VOMO_APP_COMMANDS_H

#include "failure.h"

namespace CLI {
class App;
}

namespace app {

void AddCommonModeCommand(CLI::App &cli, ExitCode *exit_code);
void AddConvertCommand(CLI::App &cli, ExitCode *exit_code);
void AddInfoCommand(CLI::App &cli, ExitCode *exit_code);
void AddDualCommand(CLI::App &cli, ExitCode *exit_code);
void AddEyeCommand(CLI::App &cli, ExitCode *exit_code);
void AddFilterCommand(CLI::App &cli, ExitCode *exit_code);
void AddLfCommand(CLI::App &cli, ExitCode *exit_code);
void AddLevelsCommand(CLI::App &cli, ExitCode *exit_code);
void AddMeasureCommand(CLI::App &cli, ExitCode *exit_code);
void AddPresetsCommand(CLI::App &cli, ExitCode *exit_code);
void AddSettingsCommand(CLI::App &cli, ExitCode *exit_code);
void AddSynthCommand(CLI::App &cli, ExitCode *exit_code);
void AddTransmitterCommand(CLI::App &cli, ExitCode *exit_code);

}  // namespace app

#endif
