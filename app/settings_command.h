// The options that choose the settings, shared by the subcommands that measure.
#ifndef VOMO_APP_SETTINGS_COMMAND_H
#define VOMO_APP_SETTINGS_COMMAND_H

#include <CLI/CLI.hpp>

#include "settings.h"

namespace app {

// --settings and --set.
void AddChangeOptions(CLI::App *command, SettingsChanges *changes);
// And --rate, which is returned, for others that exclude it.
CLI::Option *AddSettingsOptions(CLI::App *command, SettingsRequest *request);
// --dump, of the subcommands that run with the settings.
void AddDumpOption(CLI::App *command, SettingsRequest *request);

// --ctle and --dfe.
void AddEqualiserOptions(CLI::App *command, EqualiserRequest *request);

}  // namespace app

#endif
