// How the application ends, and the one exception by which any step of it gives up.
#ifndef VOMO_APP_FAILURE_H
#define VOMO_APP_FAILURE_H

#include <stdexcept>
#include <string>
#include <utility>

namespace app {

enum class ExitCode {
  kWithinLimits = 0,
  kLimitFailed = 1,
  kWrongUsage = 2,    // also: output that can't be written
  kUnreadable = 3,    // the capture can't be read or is damaged
  kNotMeasurable = 4  // it can be read, but not measured
};

// What is wrong, and on its own line what to try; the advice may be empty.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string &message, std::string advice = {})
      : std::runtime_error(message), code_(code), advice_(std::move(advice)) {}
  ExitCode code() const { return code_; }
  const std::string &advice() const { return advice_; }

 private:
  ExitCode code_;
  std::string advice_;
};

// On the standard error output, as every subcommand does it.
void PrintFailure(const Failure &failure);

}  // namespace app

#endif
