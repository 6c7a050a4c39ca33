#include "failure.h"

#include <fmt/format.h>

namespace app {

void PrintFailure(const Failure &failure) {
  fmt::print(stderr, "vomo: {}\n", failure.what());
  if (!failure.advice().empty()) fmt::print(stderr, "try: {}\n", failure.advice());
}

}  // namespace app
