// vomo settings: prints a set of settings ready to edit.
#include "settings_command.h"

#include <cstdio>

#include "burst_settings.h"
#include "commands.h"

namespace app {

namespace {

struct SettingsOptions {
  SettingsRequest run;
  std::optional<int> burst_kind;  // the burst test's settings instead of a run's
};

Json Resolve(const SettingsOptions &options) {
  if (!options.burst_kind) return ResolveSettings(options.run);
  return ResolveBurstSettings({options.run, options.burst_kind});
}

}  // namespace

void AddChangeOptions(CLI::App *command, SettingsChanges *changes) {
  command->add_option("--settings", changes->file,
                      "JSON file with any of the fields that vomo settings prints");
  command
      ->add_option("--set", changes->assignments,
                   "one field as KEY=VALUE, with dots between nested keys")
      ->allow_extra_args(false);
}

CLI::Option *AddSettingsOptions(CLI::App *command, SettingsRequest *request) {
  AddChangeOptions(command, request);
  return command
      ->add_option("--rate", request->rate,
                   "nominal bit rate, chooses the built-in settings; made for 2.5e9, 5e9 and 8e9, "
                   "others take the nearest with all times in proportion")
      ->check(CLI::Range(1e3, 1e13));
}

void AddDumpOption(CLI::App *command, SettingsRequest *request) {
  command->add_option("--dump", request->dump_path,
                      "append the settings of the run to this file as text; vomo settings "
                      "--from-dump reads them back");
}

void AddEqualiserOptions(CLI::App *command, EqualiserRequest *request) {
  command->add_option(
      "--ctle", request->ctle,
      "CTLE settings to choose the best of, behind the captures: each as gain at "
      "DC, zero and two poles in Hz with commas between, a JSON file with a list of "
      "them, or built-in");
  command->add_option("--dfe", request->dfe,
                      "DFE taps in volts with commas between, or auto for one tap that is "
                      "estimated from the signal");
}

void AddSettingsCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<SettingsOptions>();
  CLI::App *command =
      cli.add_subcommand("settings", "Print the settings of a run as JSON, ready to edit");
  CLI::Option *rate = AddSettingsOptions(command, &options->run);
  CLI::Option *dump =
      command->add_option("--from-dump", options->run.dump,
                          "start from the last record of a dump that a run wrote (--dump)");
  CLI::Option *dual = command->add_flag_callback(
      "--dual", [options] { options->run.kind = RunKind::kDualPort; },
      "with the clock and the PLL list of a dual-port run (sDualPort)");
  CLI::Option *tx =
      command
          ->add_flag_callback(
              "--tx", [options] { options->run.kind = RunKind::kTransmitter; },
              "with the runs and windows of a transmitter run (psGen3BaseCompParameters)")
          ->excludes(dual);
  command
      ->add_option("--lf", options->burst_kind,
                   "the settings of vomo lf: 1 for a burst train, 2 for pulse-width coded bursts")
      ->check(CLI::Range(1, 2))
      ->excludes(rate, dump, dual, tx);
  AddEqualiserOptions(command, &options->run.equalisers);
  command->callback([options, exit_code] {
    const std::string text = Resolve(*options).dump(2) + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    *exit_code = ExitCode::kWithinLimits;
  });
}

}  // namespace app
