// WFM files: an oscilloscope's waveform behind a header with byte order mark and version.
//
// Supported: header versions 1, 2 and 3, both byte orders, samples of 8 to 64 bits, integers and
// floats. Invalid samples (NaN) at the ends of a record become hidden ones. Refused: other
// versions, samples whose width does not go with their format, a curve that ends before it begins.
// A file may end before its curve does: the missing bytes count as 0. Of the curve nothing before
// its data start or behind its post-data start is looked at.
#include "files/wfm_reader.h"

#include <algorithm>
#include <bit>

#include "files/sample_reader.h"

namespace vomo {
namespace {

// What all versions share.
constexpr size_t kFirstBytes = 10;
constexpr size_t kMarkOffset = 0;            // unsigned 16-bit, read little-endian
constexpr size_t kVersionDigitOffset = 9;    // last of the version text
constexpr size_t kBytesPerPointOffset = 15;  // signed 8-bit
constexpr size_t kCurveOffset = 16;          // unsigned 32-bit, from the start of the file
constexpr uint16_t kSwappedMark = 0xF0F0;

struct WfmLayout {
  size_t header_bytes;
  size_t scale, offset;           // doubles, volts
  size_t format;                  // unsigned 32-bit
  size_t interval;                // double, seconds
  size_t data_start, post_start;  // unsigned 32-bit, bytes within the curve
};

constexpr WfmLayout kLayouts[] = {
    {820, 166, 174, 238, 478, 804, 808},
    {822, 168, 176, 240, 480, 806, 810},
    {838, 168, 176, 240, 488, 822, 826},
};
constexpr size_t kLongestHeader = 838;

struct WfmHeader {
  uint64_t samples_start = 0;
  uint64_t sample_count = 0;
  double interval_s = 0;
  SampleCoding coding;
};

// NULL for a version that is not known.
const WfmLayout *LayoutOf(const FieldView &head) {
  const auto digit = head.At<char>(kVersionDigitOffset);
  return digit >= '1' && digit <= '3' ? &kLayouts[digit - '1'] : nullptr;
}

bool ProbeWfm(const FieldView &head) {
  return head.size() >= kFirstBytes && LayoutOf(head) != nullptr;
}

// A format that is not known takes nothing from the file: every sample is the one number whose bits
// are the format's.
SampleCoding UnknownCoding(uint32_t format, double scale, double offset) {
  const double volts = static_cast<double>(std::bit_cast<float>(format)) * scale + offset;
  const auto fill = [](const SampleCoding &coding, const uint8_t *, float *samples,
                       uint64_t count) {
    std::fill(samples, samples + count, static_cast<float>(coding.offset));
  };
  return {0, scale, volts, true, fill};
}

SampleCoding CodingOfFormat(uint32_t format, ByteOrder order, double scale, double offset) {
  switch (format) {
    case 0:
      return CodingOf<int16_t>(order, scale, offset);
    case 1:
      return CodingOf<int32_t>(order, scale, offset);
    case 2:
      return CodingOf<uint32_t>(order, scale, offset);
    case 4:
      return CodingOf<float>(order, scale, offset);
    case 5:
      return CodingOf<double>(order, scale, offset);
    case 6:
      return CodingOf<uint8_t>(order, scale, offset);
    case 7:
      return CodingOf<int8_t>(order, scale, offset);
    default:
      return UnknownCoding(format, scale, offset);
  }
}

// False if the file is shorter than its header or the header's contents are refused.
bool ReadHeader(FileCursor *file, WfmHeader *header) {
  uint8_t bytes[kLongestHeader];
  const auto read = static_cast<size_t>(file->Read(bytes, sizeof bytes));
  const FieldView head({bytes, read}, ByteOrder::kLittle);
  const WfmLayout *layout = LayoutOf(head);
  if (layout == nullptr || read < layout->header_bytes) return false;
  const ByteOrder order =
      head.At<uint16_t>(kMarkOffset) == kSwappedMark ? ByteOrder::kBig : ByteOrder::kLittle;
  const FieldView fields({bytes, read}, order);
  const auto bytes_per_point = fields.At<int8_t>(kBytesPerPointOffset);
  const auto data_start = fields.At<uint32_t>(layout->data_start);
  const auto post_start = fields.At<uint32_t>(layout->post_start);
  header->coding =
      CodingOfFormat(fields.At<uint32_t>(layout->format), order, fields.At<double>(layout->scale),
                     fields.At<double>(layout->offset));
  const bool widths_agree =
      header->coding.bytes == 0 || header->coding.bytes == static_cast<uint8_t>(bytes_per_point);
  if (bytes_per_point <= 0 || !widths_agree || post_start < data_start) return false;
  header->sample_count = (post_start - data_start) / static_cast<uint8_t>(bytes_per_point);
  header->samples_start = uint64_t{fields.At<uint32_t>(kCurveOffset)} + data_start;
  header->interval_s = fields.At<double>(layout->interval);
  return true;
}

// Counts of the samples that are not numbers: those before the first valid one, and all behind it,
// wherever they stand.
struct Invalid {
  uint32_t front = 0;
  uint32_t back = 0;
  bool valid_seen = false;
};

// Sets each NaN to 0 and counts it.
void ClearInvalid(float *samples, uint64_t count, Invalid *invalid) {
  uint32_t found = 0;
  for (uint64_t i = 0; i < count; ++i) found += samples[i] != samples[i];
  if (found == 0) {
    invalid->valid_seen = invalid->valid_seen || count != 0;
    return;
  }
  for (uint64_t i = 0; i < count; ++i) {
    if (samples[i] == samples[i]) {
      invalid->valid_seen = true;
    } else {
      samples[i] = 0;
      ++(invalid->valid_seen ? invalid->back : invalid->front);
    }
  }
}

Invalid ReadSamples(FileCursor *file, const SampleCoding &coding, VomoWaveform *waveform) {
  SampleReader samples(file, coding);
  Invalid invalid;
  const uint64_t count = waveform->ulNumSamples;
  for (uint64_t done = 0; done < count;) {
    const uint64_t block = std::min(samples.block_samples(), count - done);
    samples.ReadBlock(waveform->pfSamples + done, block);
    if (coding.may_give_nan) ClearInvalid(waveform->pfSamples + done, block, &invalid);
    done += block;
  }
  return invalid;
}

// A NaN amid the valid samples shortens the visible range at its far end.
void HideInvalid(const Invalid &invalid, VomoWaveform *waveform) {
  waveform->pfSamples += invalid.front;
  waveform->ulNumSamples -= invalid.front + invalid.back;
  waveform->ulTrimFront = invalid.front;
  waveform->ulTrimBack = invalid.back;
}

VomoStatus ReadWfm(const ReadRequest &request, Capture *capture) {
  FileCursor file;
  const VomoStatus opened = OpenCapture(kWfmFormat, request.file_name, &file);
  if (opened != Vomo_STATUS_SUCCESS) return opened;
  WfmHeader header;
  if (!ReadHeader(&file, &header)) return Vomo_STATUS_FILE_READ_ERROR;
  file.Seek(header.samples_start);
  MakeRecord(request, std::min(header.sample_count, request.limit), header.interval_s, capture);
  VomoWaveform *waveform = capture->waveform.get();
  HideInvalid(ReadSamples(&file, header.coding, waveform), waveform);
  return Vomo_STATUS_SUCCESS;
}

}  // namespace

const CaptureFormat kWfmFormat = {ProbeWfm, ReadWfm, true};

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Read_WFM_File(const char *pcFileName, double *pdSampleInterval,
                                         uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                         VomoHandle *phWaveform) noexcept {
  return ReadWithInterval(kWfmFormat, pcFileName, pdSampleInterval, pulNumSamples, ppsWaveform,
                          phWaveform);
}

extern "C" VomoStatus Vomo_Read_Combined_WFM_File(void) noexcept {
  return Vomo_STATUS_NOT_IMPLEMENTED;
}
