// A text file that the library writes lines to.
#ifndef VOMO_CORE_TEXT_OUTPUT_H
#define VOMO_CORE_TEXT_OUTPUT_H

#include <cstdarg>
#include <cstdio>
#include <memory>

namespace vomo {

// Owns the open file and closes it at the end of its life.
class TextOutput {
 public:
  // mode as fopen takes it, "a" or "w". A NULL name is one that can't be opened.
  TextOutput(const char *name, const char *mode)
      : file_(name != nullptr ? std::fopen(name, mode) : nullptr) {}

  explicit operator bool() const { return file_ != nullptr; }

  // As fprintf. False if the text could not be written.
  __attribute__((format(printf, 2, 3))) bool Print(const char *format, ...) {
    va_list values;
    va_start(values, format);
    const int written = std::vfprintf(file_.get(), format, values);
    va_end(values);
    return written >= 0;
  }

 private:
  struct Close {
    void operator()(std::FILE *file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace vomo

#endif
