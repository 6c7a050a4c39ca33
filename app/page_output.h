// Where --report writes to.
#ifndef VOMO_APP_PAGE_OUTPUT_H
#define VOMO_APP_PAGE_OUTPUT_H

#include <optional>
#include <string>

#include "output_file.h"
#include "terminal.h"

namespace app {

// An HTML file, opened before the work begins, so that a name that can't be written to costs no
// run; empty for none.
class PageOutput {
 public:
  explicit PageOutput(const std::string &path) : path_(path) {
    if (!path.empty()) file_.emplace(path);
  }
  bool wanted() const { return file_.has_value(); }
  // Makes the page, too, while a line says so.
  template <class MakeHtml>
  void Write(MakeHtml make_html) {
    const ProgressLine progress("writing " + path_);
    file_->Write(make_html());
    file_->Commit();
  }

 private:
  std::string path_;
  std::optional<OutputFile> file_;
};

}  // namespace app

#endif
