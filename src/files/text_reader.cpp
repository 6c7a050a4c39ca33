// Captures as plain text: one sample a line, in the line's second numeric column or, if there is
// but one, in that.
//
// Columns are separated by white space or by a comma directly behind the first number. Lines
// without a digit, sign or point are passed over, and scanning starts at the first such character,
// so that most headers, comments and units need no marking. Whatever "%f" reads is read: exponents,
// infinity, NaN, hexadecimal numbers. Nothing of a text is refused but a file without any sample;
// the file may be a pipe. Lines are cut at 2047 characters. The interval is the caller's.
#include "files/text_reader.h"

#include <cstring>
#include <utility>

#include "core/boundary.h"
#include "core/status.h"
#include "files/float_buffer.h"
#include "files/line_reader.h"
#include "files/number_scan.h"

namespace vomo {
namespace {

constexpr char kNumberStarts[] = "+-.0123456789";

// Scans the everyday forms: "1.5", "1.5, 2.5" and "1.5 2.5", with or without further columns. The
// field outputs are as those of ScanAnyLine. False, and nothing changed, if the line is of any
// other kind.
bool ScanPlainLine(const TextLine &line, float *first, float *sample) {
  const auto at_end = [&](const char *text) { return *text == '\n' || text == line.end; };
  float fields[2];
  const char *text = ReadDecimal(SkipBlanks(line.begin), &fields[0]);
  if (text == nullptr) return false;
  const bool comma = *text == ',';
  const char *behind = SkipBlanks(text + comma);
  if (behind == text && !at_end(behind)) return false;
  const bool single = at_end(behind);
  if (!single) {
    text = ReadDecimal(behind, &fields[1]);
    if (text == nullptr) return false;
    behind = SkipBlanks(text);
    // What follows may belong to the number, or be a comma that makes the line one of a comma.
    const bool apart = at_end(behind) || behind != text || (comma && *text == ',');
    const auto left = static_cast<size_t>(line.end - behind);
    if (!apart || (!comma && std::memchr(behind, ',', left) != nullptr)) return false;
  }
  *first = fields[0];
  *sample = fields[single ? 0 : 1];
  return true;
}

// The same for any line, as sscanf reads it. The first field stays as it was if nothing converts;
// false if the line is no data.
bool ScanAnyLine(const TextLine &line, float *first, float *sample) {
  const LineCopy copy(line);
  const char *start = std::strpbrk(copy.text, kNumberStarts);
  if (start == nullptr) return false;
  const char *format = std::strchr(start, ',') != nullptr ? "%f, %f" : "%f %f";
  float second;
  const int fields = ScanText(start, format, first, &second);
  *sample = fields == 2 ? second : *first;
  return true;
}

// Samples as they come. One that finds no room, because the array can't grow, is lost.
class SampleList {
 public:
  explicit SampleList(const TextGrowth &growth) : growth_(growth) {}

  bool Grow() {
    const uint64_t capacity = buffer_.capacity();
    return buffer_.Resize(capacity + (capacity == 0 ? growth_.first : growth_.further));
  }
  void Append(float sample) {
    if (count_ == buffer_.capacity() && !Grow()) return;
    buffer_.data()[count_++] = sample;
  }
  bool CutToCount() { return buffer_.Resize(count_); }

  const float *data() const { return buffer_.data(); }
  uint64_t count() const { return count_; }

 private:
  TextGrowth growth_;
  FloatBuffer buffer_;
  uint64_t count_ = 0;
};

VomoStatus SkipLines(LineReader *lines, uint32_t count) {
  TextLine line;
  for (uint32_t i = 0; i < count; ++i) {
    if (!lines->Next(&line)) {
      return lines->failed() ? Vomo_STATUS_FILE_READ_ERROR : Vomo_STATUS_UNEXPECTED_EOF;
    }
  }
  return Vomo_STATUS_SUCCESS;
}

void ReadSamples(LineReader *lines, uint64_t limit, SampleList *samples) {
  TextLine line;
  float first = 0;  // a line on which nothing converts gives what an earlier line left here
  while (samples->count() < limit && lines->Next(&line)) {
    float sample;
    const bool plain = line.IsDelimited() && ScanPlainLine(line, &first, &sample);
    if (plain || ScanAnyLine(line, &first, &sample)) samples->Append(sample);
  }
}

}  // namespace

VomoStatus ReadText(const ReadRequest &request, const TextGrowth &growth, Capture *capture) {
  Vomo_Set_Error_Context(request.file_name);
  InputFile file(request.file_name);
  if (!file) return Vomo_STATUS_FILE_READ_ERROR;
  SampleList samples(growth);
  if (!samples.Grow()) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  LineReader lines(std::move(file));
  const VomoStatus skipped = SkipLines(&lines, request.lines_to_skip);
  if (skipped != Vomo_STATUS_SUCCESS) return skipped;
  ReadSamples(&lines, request.limit, &samples);
  if (samples.count() == 0) return Vomo_STATUS_UNEXPECTED_EOF;
  if (!samples.CutToCount()) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  MakeRecord(request, samples.count(), request.caller_interval_s, samples.data(), capture);
  return Vomo_STATUS_SUCCESS;
}

const CaptureFormat kTextFormat = {nullptr, [](const ReadRequest &request, Capture *capture) {
                                     return ReadText(request, TextGrowth(), capture);
                                   }};

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Read_Text_File(const char *pcFileName, uint32_t ulLinesToSkip,
                                          double dSampleInterval, uint32_t *pulNumSamples,
                                          VomoWaveform **ppsWaveform,
                                          VomoHandle *phWaveform) noexcept {
  return Guarded([&] {
    ReadRequest request;
    request.file_name = pcFileName;
    request.lines_to_skip = ulLinesToSkip;
    request.caller_interval_s = dSampleInterval;
    request.limit = pulNumSamples != nullptr ? LimitFromCount(*pulNumSamples) : kNoLimit;
    request.early_count = pulNumSamples;
    return ReadSingle(kTextFormat, request, nullptr, pulNumSamples, ppsWaveform, phWaveform);
  });
}
