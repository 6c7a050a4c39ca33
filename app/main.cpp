// vomo: measures captures of high-speed serial signals.
#include <fmt/format.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "commands.h"
#include "output_file.h"

namespace {

int Run(int argc, char **argv) {
  app::ExitCode exit_code = app::ExitCode::kWithinLimits;
  CLI::App cli{"Vomo: signal analysis for high-speed serial links"};
  cli.set_version_flag("--version", VOMO_VERSION);
  cli.require_subcommand(1);
  app::AddInfoCommand(cli, &exit_code);
  app::AddConvertCommand(cli, &exit_code);
  app::AddFilterCommand(cli, &exit_code);
  app::AddMeasureCommand(cli, &exit_code);
  app::AddDualCommand(cli, &exit_code);
  app::AddEyeCommand(cli, &exit_code);
  app::AddLfCommand(cli, &exit_code);
  app::AddTransmitterCommand(cli, &exit_code);
  app::AddPresetsCommand(cli, &exit_code);
  app::AddLevelsCommand(cli, &exit_code);
  app::AddCommonModeCommand(cli, &exit_code);
  app::AddSettingsCommand(cli, &exit_code);
  app::AddSynthCommand(cli, &exit_code);
  try {
    cli.parse(argc, argv);
  } catch (const CLI::Success &request) {
    return cli.exit(request);
  } catch (const CLI::ParseError &error) {
    cli.exit(error);
    return static_cast<int>(app::ExitCode::kWrongUsage);
  }
  // Results that never arrived must not pass as delivered.
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw app::Failure(app::ExitCode::kWrongUsage, "cannot write to the standard output");
  }
  return static_cast<int>(exit_code);
}

}  // namespace

int main(int argc, char **argv) {
  app::RemoveOutputOnSignals();
  try {
    return Run(argc, argv);
  } catch (const app::Failure &failure) {
    app::PrintFailure(failure);
    return static_cast<int>(failure.code());
  } catch (const std::bad_alloc &) {
    fmt::print(stderr, "vomo: not enough memory\ntry: a shorter capture\n");
    return static_cast<int>(app::ExitCode::kNotMeasurable);
  } catch (const std::exception &error) {
    fmt::print(stderr, "vomo: {}\n", error.what());
    return static_cast<int>(app::ExitCode::kNotMeasurable);
  }
}
