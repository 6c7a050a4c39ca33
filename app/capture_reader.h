// The capture formats that can be read, as one table.
#ifndef VOMO_APP_CAPTURE_READER_H
#define VOMO_APP_CAPTURE_READER_H

#include <vomo.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "failure.h"

namespace app {

struct CaptureRequest {
  std::string path;
  std::string format = "auto";
  std::optional<double> sample_interval_s;  // needed where the file has none
  uint32_t max_samples = 0;                 // 0: all
  uint32_t skip_lines = 0;                  // of a text file
};

struct CaptureReader {
  const char *name;
  const char *description;
  bool has_interval;
  // Whether a file that begins with these bytes is of this format.
  bool (*probe)(std::span<const unsigned char> head);
  VomoStatus (*read)(const CaptureRequest &request, VomoWaveform **waveform, VomoHandle *handle);
};
// In the order in which they are asked.
std::span<const CaptureReader> CaptureReaders();

// A capture in memory and where it came from.
class Capture {
 public:
  // Throws Failure with the library's message, the file and what to try.
  static Capture Read(const CaptureRequest &request);
  Capture(Capture &&other) noexcept;
  Capture &operator=(Capture &&) = delete;
  ~Capture();

  VomoWaveform *waveform() const { return waveform_; }
  const std::string &path() const { return path_; }
  const char *format() const { return reader_->name; }
  std::optional<uint64_t> bytes() const { return bytes_; }  // of a regular file

 private:
  Capture() = default;
  std::string path_;
  std::optional<uint64_t> bytes_;
  const CaptureReader *reader_ = nullptr;
  VomoWaveform *waveform_ = nullptr;
  VomoHandle handle_ = 0;
};

// The library's word on a step, the file and what to try.
Failure StatusFailure(ExitCode code, VomoStatus status, const std::string &step,
                      const std::string &path, const std::string &advice);

}  // namespace app

#endif
