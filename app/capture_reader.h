// The capture formats that can be read, as one table.
#ifndef VOMO_APP_CAPTURE_READER_H
#define VOMO_APP_CAPTURE_READER_H

#include <vomo.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "failure.h"
#include "inspection.h"

namespace app {

struct CaptureRequest {
  std::string path;
  std::string format = "auto";
  std::optional<double> sample_interval_s;  // needed where the file has none ...
  bool interval_needed = true;              // ... unless samples are all that is wanted
  uint32_t max_samples = 0;                 // 0: all
  uint32_t skip_lines = 0;                  // of a text file
};

// One waveform of a file, as the library delivers it.
struct ReadWaveform {
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
};

struct CaptureReader {
  const char *name;
  const char *description;
  const char *signature;  // what such a file begins with, for readers
  bool has_interval;
  // Whether a file that begins with these bytes is of this format.
  bool (*probe)(std::string_view head);
  Inspection (*inspect)(const FileBytes &file, const InspectionRequest &request);
  // NULL for a file that holds no samples.
  VomoStatus (*read)(const CaptureRequest &request, ReadWaveform *result);
  // The first two waveforms; NULL where a file holds one.
  VomoStatus (*read_two)(const CaptureRequest &request, ReadWaveform (&results)[2]);
};
// In the order in which they are asked.
std::span<const CaptureReader> CaptureReaders();

// A file whose format has been found.
struct CaptureFile {
  std::string path;
  std::optional<uint64_t> bytes;  // of a regular file; a pipe can't be looked into beforehand
  const CaptureReader *reader = nullptr;
  Inspection inspection;  // of a regular file

  // Throws Failure if there is no such file or it is of no known format.
  static CaptureFile Open(const CaptureRequest &request, int waveforms = 1);
};

// A capture in memory and where it came from.
class Capture {
 public:
  // Throw Failure with the library's message, the check that failed and what to try.
  static Capture Read(const CaptureRequest &request);
  static Capture Read(const CaptureFile &file, const CaptureRequest &request);
  // The two waveforms of one file.
  static std::vector<Capture> ReadTwo(const CaptureFile &file, const CaptureRequest &request);

  Capture(Capture &&other) noexcept;
  Capture &operator=(Capture &&) = delete;
  ~Capture();

  VomoWaveform *waveform() const { return read_.waveform; }
  const std::string &path() const { return path_; }
  const char *format() const { return reader_->name; }
  std::optional<uint64_t> bytes() const { return bytes_; }  // of a regular file
  int number() const { return number_; }  // of the file's two waveforms 1 or 2, else 0
  const std::vector<std::string> &notes() const { return notes_; }

 private:
  Capture(const CaptureFile &file, const ReadWaveform &read, int number);
  void RequireSamples() const;

  std::string path_;
  std::optional<uint64_t> bytes_;
  const CaptureReader *reader_ = nullptr;
  int number_;
  std::vector<std::string> notes_;
  ReadWaveform read_;
};

// Tells on the standard error output what a file's reader should know about it.
void PrintNotes(const std::string &path, const std::vector<std::string> &notes);
// And what makes results doubtful.
void PrintWarnings(const std::string &path, const std::vector<std::string> &warnings);

// The library's word on a step, the file, what to try and, if known, what exactly is wrong.
Failure StatusFailure(ExitCode code, VomoStatus status, const std::string &step,
                      const std::string &path, const std::string &advice,
                      const std::string &detail = "");

}  // namespace app

#endif
