// Where --json writes to.
#ifndef VOMO_APP_JSON_OUTPUT_H
#define VOMO_APP_JSON_OUTPUT_H

#include <optional>
#include <string>

#include "output_file.h"
#include "record_fields.h"

namespace app {

// A file, opened before the work begins, so that a name that can't be written to costs no run; "-"
// for the standard output; empty for none.
class JsonOutput {
 public:
  explicit JsonOutput(const std::string &path);
  bool wanted() const { return !path_.empty(); }
  bool OnStandardOutput() const { return path_ == "-"; }
  void Write(const Json &json);

 private:
  std::string path_;
  std::optional<OutputFile> file_;
};

}  // namespace app

#endif
