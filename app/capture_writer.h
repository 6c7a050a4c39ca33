// The capture formats that can be written, as one table.
#ifndef VOMO_APP_CAPTURE_WRITER_H
#define VOMO_APP_CAPTURE_WRITER_H

#include <vomo.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "output_file.h"

namespace app {

// Known before the first sample.
struct CaptureInfo {
  uint64_t sample_count;  // of each waveform
  double sample_interval_s;
  int waveforms = 1;              // 2 where a format takes two of them in one file
  float lowest = 0, highest = 0;  // of all samples, for formats that need to know
};

// Takes the samples of the waveforms, one waveform after the other, in pieces of any size; Finish()
// writes what a format puts at its end.
class CaptureWriter {
 public:
  virtual ~CaptureWriter() = default;
  virtual void Write(std::span<const float> samples) = 0;
  virtual void Finish() {}
};

struct CaptureFormat {
  const char *name;
  const char *suffix;  // of names for which this format is chosen, or empty
  const char *description;
  bool has_interval;      // keeps it
  bool needs_range;       // stores integers
  int most_waveforms;     // in one file
  uint64_t most_samples;  // that its counts can state
  std::unique_ptr<CaptureWriter> (*open)(const CaptureInfo &info, OutputFile &file);
};
std::span<const CaptureFormat> WritableFormats();
std::vector<std::string> WritableFormatNames();
// By name or, if that is empty, by the suffix of the file to write. Throws Failure.
const CaptureFormat &ChooseFormat(const std::string &name, const std::string &path);

using SampleSink = std::function<void(std::span<const float>)>;
// Gives a whole waveform to the sink, the same one at each call.
using SampleSource = std::function<void(const SampleSink &sink)>;

// Writes waveforms of one length into a file, without committing it. The sources are run once more
// beforehand for a format that needs the range. Throws Failure for what the format can't hold.
void WriteCapture(const CaptureFormat &format, CaptureInfo info,
                  std::span<const SampleSource> waveforms, OutputFile &file);

// The visible samples of a waveform as a file of its own; tells if there are hidden ones.
void WriteWaveform(const CaptureFormat &format, const VomoWaveform &waveform,
                   const std::string &name, OutputFile &file);

// Open functions of the binary formats.
// Samples are stored as this type: int16_t or float.
template <class Stored>
std::unique_ptr<CaptureWriter> OpenWfm(const CaptureInfo &info, OutputFile &file);
// int8_t or int16_t.
template <class Stored>
std::unique_ptr<CaptureWriter> OpenTrc(const CaptureInfo &info, OutputFile &file);
std::unique_ptr<CaptureWriter> OpenBin(const CaptureInfo &info, OutputFile &file);
std::unique_ptr<CaptureWriter> OpenSpice(const CaptureInfo &info, OutputFile &file);

}  // namespace app

#endif
