// TRC files: an oscilloscope's trace, integer samples behind a "WAVEDESC" descriptor.
//
// Supported: files with and without the length prefix of a definite-length block ("#9000123456",
// "#0"), samples of 8 and 16 bits, user text behind the descriptor, files cut short. Refused:
// big-endian files, descriptors and user texts of 64 KB and more, files without a whole descriptor
// or without a sample. Of several arrays only the first is read; trigger times and other arrays are
// taken to stand behind it.
#include "files/trc_reader.h"

#include <algorithm>

#include "files/sample_reader.h"

namespace vomo {
namespace {

constexpr size_t kHeaderBytes = 346;  // from the start of the file

// The descriptor, from its text on.
constexpr char kDescriptorText[] = "WAVEDESC";
constexpr size_t kDataTypeOffset = 32;          // low byte: 1 for 16-bit samples
constexpr size_t kByteOrderOffset = 34;         // unsigned 16-bit: 1 for little-endian
constexpr size_t kDescriptorLengthOffset = 36;  // the lengths are unsigned 32-bit, in bytes
constexpr size_t kUserTextLengthOffset = 40;
constexpr size_t kArrayLengthOffset = 60;
constexpr size_t kGainOffset = 156;      // float, volts a step
constexpr size_t kVoltsOffset = 160;     // float, subtracted from the scaled samples
constexpr size_t kIntervalOffset = 176;  // float, seconds
constexpr uint32_t kLengthLimit = 65536;

struct TrcHeader {
  uint64_t samples_start = 0;
  uint64_t sample_count = 0;
  double interval_s = 0;
  SampleCoding coding;
};

// A # and a digit introduce a prefix: for 0 these two characters, else the digit says how many
// digits of a length follow.
size_t PrefixLength(const FieldView &head) {
  const auto digit = head.At<char>(1);
  if (head.At<char>(0) != '#' || digit < '0' || digit > '9') return 0;
  return 2 + static_cast<size_t>(digit - '0');
}

bool ProbeTrc(const FieldView &head) {
  return head.size() >= kHeaderBytes && head.HasText(PrefixLength(head), kDescriptorText);
}

// False if the header's contents are refused.
bool ReadHeader(FileCursor *file, TrcHeader *header) {
  uint8_t bytes[kHeaderBytes];
  if (!file->ReadExactly(bytes, sizeof bytes)) return false;
  const FieldView head(bytes, ByteOrder::kLittle);
  const size_t prefix = PrefixLength(head);
  const auto descriptor_bytes = head.At<uint32_t>(prefix + kDescriptorLengthOffset);
  const auto text_bytes = head.At<uint32_t>(prefix + kUserTextLengthOffset);
  if (head.At<uint16_t>(prefix + kByteOrderOffset) != 1) return false;
  if (descriptor_bytes >= kLengthLimit || text_bytes >= kLengthLimit) return false;
  const double gain = head.At<float>(prefix + kGainOffset);
  const double offset = head.At<float>(prefix + kVoltsOffset);
  const bool wide = head.At<uint8_t>(prefix + kDataTypeOffset) == 1;
  header->coding = wide ? CodingOf<int16_t>(ByteOrder::kLittle, gain, -offset)
                        : CodingOf<int8_t>(ByteOrder::kLittle, gain, -offset);
  header->samples_start = uint64_t{prefix} + descriptor_bytes + text_bytes;
  header->sample_count = head.At<uint32_t>(prefix + kArrayLengthOffset) / header->coding.bytes;
  header->interval_s = head.At<float>(prefix + kIntervalOffset);
  return true;
}

// Fills a record up to the end of the file and clears the rest; returns how many samples there
// were.
uint64_t ReadSamples(FileCursor *file, const SampleCoding &coding, VomoWaveform *waveform) {
  SampleReader samples(file, coding);
  float *const end = waveform->pfSamples + waveform->ulNumSamples;
  float *next = waveform->pfSamples;
  while (next != end) {
    const uint64_t block = std::min(samples.block_samples(), static_cast<uint64_t>(end - next));
    const uint64_t read = samples.ReadBlock(next, block);
    next += read;
    if (read != block) break;
  }
  std::fill(next, end, 0.0f);
  return static_cast<uint64_t>(next - waveform->pfSamples);
}

// A file that is cut short gives what it has: the record keeps the count that its header promises.
VomoStatus ReadTrc(const ReadRequest &request, Capture *capture) {
  FileCursor file;
  const VomoStatus opened = OpenCapture(kTrcFormat, request.file_name, &file);
  if (opened != Vomo_STATUS_SUCCESS) return opened;
  TrcHeader header;
  if (!ReadHeader(&file, &header)) return Vomo_STATUS_FILE_READ_ERROR;
  if (!HasRequiredInterval(request, header.interval_s)) {
    return Vomo_STATUS_INCOMPATIBLE_SAMPLE_INTERVALS;
  }
  const uint64_t count = std::min(header.sample_count, request.limit);
  RequireRecordSize(count);
  file.Seek(header.samples_start);
  if (std::min(count, file.remaining() / header.coding.bytes) == 0) {
    return Vomo_STATUS_FILE_READ_ERROR;
  }
  MakeRecord(request, count, header.interval_s, capture);
  const uint64_t read = ReadSamples(&file, header.coding, capture->waveform.get());
  capture->count = static_cast<uint32_t>(read);
  return read != 0 ? Vomo_STATUS_SUCCESS : Vomo_STATUS_FILE_READ_ERROR;
}

}  // namespace

const CaptureFormat kTrcFormat = {ProbeTrc, ReadTrc};

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Read_TRC_File(const char *pcFileName, double *pdSampleInterval,
                                         uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                         VomoHandle *phWaveform) noexcept {
  return ReadWithInterval(kTrcFormat, pcFileName, pdSampleInterval, pulNumSamples, ppsWaveform,
                          phWaveform);
}

extern "C" VomoStatus Vomo_Read_Combined_TRC_File(void) noexcept {
  return Vomo_STATUS_NOT_IMPLEMENTED;
}
