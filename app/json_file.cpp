#include "json_file.h"

#include <fmt/format.h>

#include <fstream>

#include "failure.h"

namespace app {

Json ReadJsonFile(const std::string &path, const std::string &what, const std::string &advice) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw Failure(ExitCode::kWrongUsage, fmt::format("cannot read {} {}", what, path), advice);
  }
  try {
    return Json::parse(file, nullptr, true, /*ignore_comments=*/true);
  } catch (const Json::parse_error &error) {
    throw Failure(ExitCode::kWrongUsage, fmt::format("{} {}: {}", what, path, error.what()));
  }
}

}  // namespace app
