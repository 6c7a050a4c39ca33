// What all readers of capture files have in common: the question put to a reader, its answer, and
// the descriptor through which the single and the paired reads call it.
#ifndef VOMO_FILES_CAPTURE_H
#define VOMO_FILES_CAPTURE_H

#include <vomo.h>

#include <cstdint>
#include <limits>

#include "core/handle_table.h"
#include "core/waveform.h"
#include "files/byte_order.h"
#include "files/input_file.h"

namespace vomo {

constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();

// The exported functions take 0 for "all samples".
constexpr uint64_t LimitFromCount(uint32_t count) {
  return count == 0 ? kNoLimit : count;
}

struct ReadRequest {
  const char *file_name = nullptr;
  uint64_t limit = kNoLimit;                    // most samples wanted
  uint32_t lines_to_skip = 0;                   // text alone
  double caller_interval_s = 0;                 // for the formats without an interval of their own
  const double *required_interval_s = nullptr;  // another interval in the file is refused

  // Where set, written as soon as the value is known, before the record is made.
  uint32_t *early_count = nullptr;
  double *early_interval_s = nullptr;
};

// One waveform as read. The record carries the interval.
struct Capture {
  BlockOf<VomoWaveform> waveform;
  uint32_t count = 0;  // samples that the file gave, hidden ones included
};

struct CaptureFormat {
  // Whether the first bytes of a file are of this format; NULL if any content may be. The head is
  // the first kHeadBytes of the file, or fewer of a shorter one.
  bool (*probe)(const FieldView &head);

  // Stores the file name as error context, reads the file's (first) waveform. On failure the
  // capture is without record.
  VomoStatus (*read)(const ReadRequest &request, Capture *capture);

  // Whether a read that fails for want of memory has told the interval all the same.
  bool tells_interval_early = false;
};

constexpr uint64_t kHeadBytes = 512;

// Stores the file name as error context and opens the file; Vomo_STATUS_FILE_READ_ERROR if that
// fails or the file is of another format.
VomoStatus OpenCapture(const CaptureFormat &format, const char *file_name, FileCursor *file);

// Throws std::bad_alloc for more samples than a record's block can hold. Readers whose files may
// promise any number ask before they look whether the file keeps its promise.
void RequireRecordSize(uint64_t count);

// Writes the early outputs and makes the record, its samples not set. Throws std::bad_alloc.
void MakeRecord(const ReadRequest &request, uint64_t count, double interval_s, Capture *capture);

// As MakeRecord, with the samples.
void MakeRecord(const ReadRequest &request, uint64_t count, double interval_s, const float *samples,
                Capture *capture);

// Whether the interval is the one that the request demands, if it demands one. Equality is exact.
inline bool HasRequiredInterval(const ReadRequest &request, double interval_s) {
  return request.required_interval_s == nullptr || *request.required_interval_s == interval_s;
}

// The body of an exported read of one waveform: tests the outputs, reads, delivers. The interval
// output may be NULL.
VomoStatus ReadSingle(const CaptureFormat &format, const ReadRequest &request,
                      double *pdSampleInterval, uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                      VomoHandle *phWaveform);

// The whole of an exported read of one waveform whose file tells the interval.
VomoStatus ReadWithInterval(const CaptureFormat &format, const char *pcFileName,
                            double *pdSampleInterval, uint32_t *pulNumSamples,
                            VomoWaveform **ppsWaveform, VomoHandle *phWaveform) noexcept;

}  // namespace vomo

#endif
