#include "capture_writer.h"

#include <charconv>
#include <vector>

namespace app {
namespace {

// One line for each sample, in front of it the time where wanted. A sample has the fewest digits
// that read back as the same float.
class TextWriter : public CaptureWriter {
 public:
  TextWriter(const CaptureInfo &info, OutputFile &file, bool with_time)
      : info_(info), file_(file), with_time_(with_time), buffer_(kBufferBytes) {}

  void Write(std::span<const float> samples) override {
    for (const float sample : samples) {
      if (used_ + kLineBytes > buffer_.size()) Flush();
      char *end = buffer_.data() + buffer_.size();
      char *at = buffer_.data() + used_;
      if (with_time_) {
        const double time_s = static_cast<double>(count_) * info_.sample_interval_s;
        at = std::to_chars(at, end, time_s, std::chars_format::scientific, 12).ptr;
        *at++ = ' ';
      }
      at = std::to_chars(at, end, sample).ptr;
      *at++ = '\n';
      used_ = static_cast<size_t>(at - buffer_.data());
      ++count_;
    }
  }

  void Finish() override { Flush(); }

 private:
  static constexpr size_t kBufferBytes = 1 << 20, kLineBytes = 64;

  void Flush() {
    file_.Write({buffer_.data(), used_});
    used_ = 0;
  }

  CaptureInfo info_;
  OutputFile &file_;
  bool with_time_;
  std::vector<char> buffer_;
  size_t used_ = 0;
  uint64_t count_ = 0;
};

template <bool with_time>
std::unique_ptr<CaptureWriter> OpenText(const CaptureInfo &info, OutputFile &file) {
  return std::make_unique<TextWriter>(info, file, with_time);
}

constexpr CaptureFormat kFormats[] = {
    {"text", "one sample (volts) on each line", OpenText<false>},
    {"text2", "time (seconds) and sample (volts) on each line", OpenText<true>},
};

}  // namespace

std::span<const CaptureFormat> WritableFormats() {
  return kFormats;
}

}  // namespace app
