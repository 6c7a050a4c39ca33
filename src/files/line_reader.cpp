#include "files/line_reader.h"

#include <utility>

namespace vomo {

// Behind the block stands room for the 0.
LineReader::LineReader(InputFile file)
    : file_(std::move(file)), block_(kBlockBytes + 1), next_(block_.get()), filled_(block_.get()) {
  block_[0] = '\0';
}

// Moves what is left, less than a line, to the front and reads behind it; false at the end.
bool LineReader::Refill() {
  const auto left = static_cast<size_t>(filled_ - next_);
  std::memmove(block_.get(), next_, left);
  const int64_t read = file_.ReadSome(block_.get() + left, kBlockBytes - left);
  failed_ = read < 0;
  next_ = block_.get();
  filled_ = next_ + left + (read > 0 ? read : 0);
  block_[static_cast<uint64_t>(filled_ - next_)] = '\0';
  return read > 0;
}

bool LineReader::LastLine(TextLine *line) {
  *line = {next_, filled_};
  next_ = filled_;
  return !failed_ && line->begin != line->end;
}

}  // namespace vomo
