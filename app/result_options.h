// Where a measuring subcommand's result goes besides the terminal: the options they all have.
#ifndef VOMO_APP_RESULT_OPTIONS_H
#define VOMO_APP_RESULT_OPTIONS_H

#include <string>

namespace CLI {
class App;
}

namespace app {

struct ResultOptions {
  std::string json_path, report_path;  // empty for none, see JsonOutput and PageOutput
  bool timing = false;
};
void AddResultOptions(CLI::App *command, ResultOptions *options);

}  // namespace app

#endif
