// The capture formats that can be written, as one table.
#ifndef VOMO_APP_CAPTURE_WRITER_H
#define VOMO_APP_CAPTURE_WRITER_H

#include <cstdint>
#include <memory>
#include <span>

#include "output_file.h"

namespace app {

// Known before the first sample; a format whose header needs more adds it here.
struct CaptureInfo {
  uint64_t sample_count;
  double sample_interval_s;
};

// Takes the samples in order; Finish() writes what a format puts at its end.
class CaptureWriter {
 public:
  virtual ~CaptureWriter() = default;
  virtual void Write(std::span<const float> samples) = 0;
  virtual void Finish() = 0;
};

struct CaptureFormat {
  const char *name;
  const char *description;
  std::unique_ptr<CaptureWriter> (*open)(const CaptureInfo &info, OutputFile &file);
};
std::span<const CaptureFormat> WritableFormats();

}  // namespace app

#endif
