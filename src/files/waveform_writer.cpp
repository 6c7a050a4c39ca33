// Waveforms as text, the only text of samples that the library writes: a line of time and voltage
// for each visible sample, which the text reader takes back.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/status.h"

namespace vomo {
namespace {

// Owns a file opened for writing; empty after a failure, and for a name that is NULL or empty.
class OutputFile {
 public:
  explicit OutputFile(const char *name)
      : file_(name != nullptr && *name != '\0' ? std::fopen(name, "w") : nullptr) {}

  explicit operator bool() const { return file_ != nullptr; }
  void Write(const char *text, uint64_t bytes) { std::fwrite(text, 1, bytes, file_.get()); }

 private:
  struct Close {
    void operator()(std::FILE *file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
};

// Lines of "%13.12lg\t%7.6e\n", as printf writes them in the "C" locale whatever the application's
// locale is, and several times faster.
class LineWriter {
 public:
  explicit LineWriter(OutputFile *file)
      : file_(file), block_(kBlockBytes), next_(block_.get()), end_(next_ + kBlockBytes) {}

  void Line(double time_s, float volts) {
    if (end_ - next_ < kLongestLine) Flush();
    Number(time_s, std::chars_format::general, 12, 13);
    *next_++ = '\t';
    Number(double{volts}, std::chars_format::scientific, 6, 7);
    *next_++ = '\n';
  }

  void Flush() {
    file_->Write(block_.get(), static_cast<uint64_t>(next_ - block_.get()));
    next_ = block_.get();
  }

 private:
  static constexpr uint64_t kBlockBytes = 65536;
  static constexpr ptrdiff_t kLongestLine = 64;

  void Number(double value, std::chars_format format, int precision, ptrdiff_t width) {
    char *end = std::to_chars(next_, end_, value, format, precision).ptr;
    const ptrdiff_t length = end - next_;
    if (length < width) {
      std::memmove(next_ + (width - length), next_, static_cast<size_t>(length));
      std::memset(next_, ' ', static_cast<size_t>(width - length));
    }
    next_ += length < width ? width : length;
  }

  OutputFile *file_;
  Scratch<char> block_;
  char *next_;
  char *end_;
};

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Write_File(const char *pcFileName,
                                      const VomoWaveform *psWaveform) noexcept {
  Vomo_Set_Error_Context(pcFileName);
  if (psWaveform == nullptr ||
      (psWaveform->pfSamples == nullptr && psWaveform->ulNumSamples != 0)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&]() -> VomoStatus {
    OutputFile file(pcFileName);
    if (!file) return Vomo_STATUS_FILE_READ_ERROR;
    LineWriter lines(&file);
    // The time runs up step by step: so it does in what other tools have made of such a file.
    double time_s = 0;
    for (uint32_t i = 0; i < psWaveform->ulNumSamples; ++i) {
      lines.Line(time_s, psWaveform->pfSamples[i]);
      time_s += psWaveform->dSampleInterval;
    }
    // A full disk is not told: what could be written stands in the file.
    lines.Flush();
    return Vomo_STATUS_SUCCESS;
  });
}
