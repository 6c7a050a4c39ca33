// vomo settings: prints a set of settings ready to edit.
#include "settings_command.h"

#include <cstdio>

#include "commands.h"

namespace app {

void AddSettingsOptions(CLI::App *command, SettingsRequest *request) {
  command
      ->add_option("--rate", request->rate,
                   "nominal bit rate, chooses the built-in settings; made for 2.5e9, 5e9 and 8e9, "
                   "others take the nearest with all times in proportion")
      ->check(CLI::Range(1e3, 1e13));
  command->add_option("--settings", request->file,
                      "JSON file with any of the fields that vomo settings prints");
  command
      ->add_option("--set", request->assignments,
                   "one field as KEY=VALUE, with dots between nested keys")
      ->allow_extra_args(false);
}

void AddDumpOption(CLI::App *command, SettingsRequest *request) {
  command->add_option("--dump", request->dump_path,
                      "append the settings of the run to this file as text; vomo settings "
                      "--from-dump reads them back");
}

void AddSettingsCommand(CLI::App &cli, ExitCode *exit_code) {
  auto request = std::make_shared<SettingsRequest>();
  CLI::App *command =
      cli.add_subcommand("settings", "Print the settings of a run as JSON, ready to edit");
  AddSettingsOptions(command, request.get());
  command->add_option("--from-dump", request->dump,
                      "start from the last record of a dump that a run wrote (--dump)");
  command->add_flag("--dual", request->dual_port,
                    "with the clock and the PLL list of a dual-port run (sDualPort)");
  command->callback([request, exit_code] {
    const std::string text = ResolveSettings(*request).dump(2) + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    *exit_code = ExitCode::kWithinLimits;
  });
}

}  // namespace app
