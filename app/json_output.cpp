#include "json_output.h"

#include <cstdio>

#include "terminal.h"

namespace app {

JsonOutput::JsonOutput(const std::string &path) : path_(path) {
  if (wanted() && !OnStandardOutput()) file_.emplace(path);
}

void JsonOutput::Write(const Json &json) {
  const ProgressLine progress("writing " + path_);
  const std::string text = json.dump(1) + "\n";
  if (!file_) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return;
  }
  file_->Write(text);
  file_->Commit();
}

}  // namespace app
