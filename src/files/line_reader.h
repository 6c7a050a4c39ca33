// Lines of a text file, as fgets gives them with a buffer of 2048 characters: a longer line goes on
// as a further line, and a last line needs no newline.
#ifndef VOMO_FILES_LINE_READER_H
#define VOMO_FILES_LINE_READER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "files/input_file.h"

namespace vomo {

constexpr size_t kLongestLine = 2047;

// A line with its newline, if it has one. One further character may be read behind the end; it is 0
// behind an unfinished last line.
struct TextLine {
  const char *begin = nullptr;
  const char *end = nullptr;

  // Whether whoever scans the line meets its end in the text itself: a newline, or a 0 behind it.
  bool IsDelimited() const { return end[-1] == '\n' || *end == '\0'; }
};

// A line as a text of its own, for what takes no end but a 0.
struct LineCopy {
  explicit LineCopy(const TextLine &line) {
    const auto length = static_cast<size_t>(line.end - line.begin);
    std::memcpy(text, line.begin, length);
    text[length] = '\0';
  }

  char text[kLongestLine + 1];
};

class LineReader {
 public:
  explicit LineReader(InputFile file);

  // The next line, good until the next call; false at the end of the file and on a read error, of
  // which an unfinished line is a part.
  bool Next(TextLine *line) {
    for (;;) {
      const auto left = static_cast<size_t>(filled_ - next_);
      const size_t most = left < kLongestLine ? left : kLongestLine;
      const void *newline = std::memchr(next_, '\n', most);
      if (newline != nullptr || left >= kLongestLine) {
        const char *begin = next_;
        next_ = newline != nullptr ? static_cast<const char *>(newline) + 1 : begin + kLongestLine;
        *line = {begin, next_};
        return true;
      }
      if (!Refill()) return LastLine(line);
    }
  }

  bool failed() const { return failed_; }

 private:
  static constexpr size_t kBlockBytes = 256 * 1024;

  bool Refill();
  bool LastLine(TextLine *line);

  InputFile file_;
  Scratch<char> block_;
  const char *next_;    // first character not yet given out
  const char *filled_;  // behind the last character read; a 0 stands there
  bool failed_ = false;
};

}  // namespace vomo

#endif
