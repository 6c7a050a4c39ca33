// BIN files: one or more waveforms of floats that an oscilloscope saved, each with its interval.
//
// The file starts with a header that counts its waveforms. For each follow a waveform header and a
// data header, both of the length that stands in their own first field, and the samples.
//
// Supported: little-endian files (there are no others), headers of any length, the first two
// waveforms. Refused: buffers of other content than float samples, or of more samples than their
// waveform header counts; files that hold fewer samples than it counts. A waveform without data
// header reads as zeros.
#include "files/bin_reader.h"

#include <algorithm>
#include <cstring>

#include "core/boundary.h"

namespace vomo {
namespace {

constexpr char kCookie[] = "AG";
constexpr size_t kFileHeaderBytes = 12;
constexpr size_t kWaveformCountOffset = 8;  // signed 32-bit

// Waveform header: the part that is looked at.
constexpr size_t kWaveformHeaderBytes = 144;
constexpr size_t kPointCountOffset = 12;  // signed 32-bit
constexpr size_t kIntervalOffset = 32;    // double, seconds

// Data header.
constexpr size_t kDataHeaderBytes = 12;
constexpr size_t kBufferTypeOffset = 4;     // signed 16-bit
constexpr size_t kBytesPerPointOffset = 6;  // signed 16-bit
constexpr size_t kBufferBytesOffset = 8;    // unsigned 32-bit
constexpr int16_t kFirstSampleType = 1, kLastSampleType = 3;
constexpr int16_t kFloatBytes = 4;

struct WaveformHeader {
  int32_t points = 0;
  double interval_s = 0;
};

struct DataHeader {
  int16_t type = 0;
  int16_t bytes_per_point = 0;
  uint32_t buffer_bytes = 0;
};

// Where the samples of one waveform lie.
struct SamplePlace {
  uint64_t start = 0;    // position of the first
  uint64_t present = 0;  // how many of the wanted ones are to be read
  uint64_t count = 0;    // how many are delivered; 0 in the places of those not read
  uint64_t behind = 0;   // position behind the waveform
};

// Reads a header whose length stands in its first four bytes and moves behind it. Of a shorter one
// than is kept the rest is 0. False if there is no such header whole in the file.
template <size_t kKept>
bool ReadSizedHeader(FileCursor *file, uint8_t (&kept)[kKept]) {
  const uint64_t start = file->position();
  const uint64_t left = file->remaining();
  uint8_t raw_size[4];
  if (!file->ReadExactly(raw_size, sizeof raw_size)) return false;
  const auto size = FieldView(raw_size, ByteOrder::kLittle).At<int32_t>(0);
  if (size < 4 || static_cast<uint64_t>(size) > left) return false;
  const auto bytes = static_cast<uint64_t>(size);
  std::memset(kept, 0, kKept);
  file->Seek(start);
  if (!file->ReadExactly(kept, std::min(bytes, uint64_t{kKept}))) return false;
  file->Seek(start + bytes);
  return true;
}

// False without a header, and for a negative number of points.
bool ReadWaveformHeader(FileCursor *file, WaveformHeader *header) {
  uint8_t bytes[kWaveformHeaderBytes];
  if (!ReadSizedHeader(file, bytes)) return false;
  const FieldView fields(bytes, ByteOrder::kLittle);
  header->points = fields.At<int32_t>(kPointCountOffset);
  header->interval_s = fields.At<double>(kIntervalOffset);
  return header->points >= 0;
}

bool ReadDataHeader(FileCursor *file, DataHeader *header) {
  uint8_t bytes[kDataHeaderBytes];
  if (!ReadSizedHeader(file, bytes)) return false;
  const FieldView fields(bytes, ByteOrder::kLittle);
  header->type = fields.At<int16_t>(kBufferTypeOffset);
  header->bytes_per_point = fields.At<int16_t>(kBytesPerPointOffset);
  header->buffer_bytes = fields.At<uint32_t>(kBufferBytesOffset);
  return true;
}

// Finds the samples of the waveform whose header was read last; false if the buffer is refused. One
// that holds fewer points than the waveform header counts is read by that count.
bool FindSamples(FileCursor *file, const WaveformHeader &waveform, uint64_t wanted,
                 SamplePlace *place) {
  DataHeader data;
  *place = {file->position(), 0, wanted, file->position()};
  if (!ReadDataHeader(file, &data)) return true;
  if (data.bytes_per_point != kFloatBytes) return false;
  const auto points = static_cast<uint64_t>(waveform.points);
  const uint64_t buffer_points = data.buffer_bytes / uint64_t{kFloatBytes};
  const bool samples = data.type >= kFirstSampleType && data.type <= kLastSampleType;
  if (!samples || buffer_points > points) return false;
  const uint64_t count = std::min(wanted, points);
  *place = {file->position(), count, count, file->position() + points * kFloatBytes};
  return count * kFloatBytes <= file->remaining();
}

// Fills a record that was made for the wanted count.
bool ReadSamples(FileCursor *file, const SamplePlace &place, Capture *capture) {
  VomoWaveform &waveform = *capture->waveform;
  file->Seek(place.start);
  if (!file->ReadExactly(waveform.pfSamples, place.present * sizeof(float))) return false;
  if (!IsNative(ByteOrder::kLittle)) ReverseNumbers(waveform.pfSamples, place.present);
  std::fill(waveform.pfSamples + place.present, waveform.pfSamples + waveform.ulNumSamples, 0.0f);
  waveform.ulNumSamples = capture->count = static_cast<uint32_t>(place.count);
  return true;
}

bool ProbeBin(const FieldView &head) {
  return head.size() >= kFileHeaderBytes && head.HasText(0, kCookie);
}

VomoStatus ReadBin(const ReadRequest &request, Capture *capture) {
  FileCursor file;
  const VomoStatus opened = OpenCapture(kBinFormat, request.file_name, &file);
  if (opened != Vomo_STATUS_SUCCESS) return opened;
  file.Seek(kFileHeaderBytes);
  WaveformHeader waveform;
  if (!ReadWaveformHeader(&file, &waveform)) return Vomo_STATUS_FILE_READ_ERROR;
  if (!HasRequiredInterval(request, waveform.interval_s)) {
    return Vomo_STATUS_INCOMPATIBLE_SAMPLE_INTERVALS;
  }
  const uint64_t wanted = std::min(static_cast<uint64_t>(waveform.points), request.limit);
  RequireRecordSize(wanted);
  SamplePlace place;
  if (!FindSamples(&file, waveform, wanted, &place)) return Vomo_STATUS_FILE_READ_ERROR;
  MakeRecord(request, wanted, waveform.interval_s, capture);
  return ReadSamples(&file, place, capture) ? Vomo_STATUS_SUCCESS : Vomo_STATUS_FILE_READ_ERROR;
}

// Reads the headers of the first two waveforms, the second behind the buffer that the first data
// header describes.
VomoStatus ReadTwoHeaders(FileCursor *file, WaveformHeader (&waveforms)[2]) {
  uint8_t header[kFileHeaderBytes];
  DataHeader data;
  if (!file->ReadExactly(header, sizeof header)) return Vomo_STATUS_FILE_READ_ERROR;
  if (!ReadWaveformHeader(file, &waveforms[0])) return Vomo_STATUS_FILE_READ_ERROR;
  const auto count = FieldView(header, ByteOrder::kLittle).At<int32_t>(kWaveformCountOffset);
  if (count < 2) return Vomo_STATUS_NOT_ENOUGH_WAVEFORMS;
  if (!ReadDataHeader(file, &data)) return Vomo_STATUS_FILE_READ_ERROR;
  file->Skip(data.buffer_bytes);
  return ReadWaveformHeader(file, &waveforms[1]) ? Vomo_STATUS_SUCCESS
                                                 : Vomo_STATUS_FILE_READ_ERROR;
}

// Finds the samples of both waveforms as a reading goes through the file: the second waveform
// stands behind as many points as the first one's header counts, and is described by the header
// there.
bool FindBothSamples(FileCursor *file, const uint64_t (&wanted)[2], SamplePlace (&places)[2]) {
  file->Seek(kFileHeaderBytes);
  for (int i = 0; i < 2; ++i) {
    WaveformHeader waveform;
    if (!ReadWaveformHeader(file, &waveform)) return false;
    if (!FindSamples(file, waveform, wanted[i], &places[i])) return false;
    file->Seek(places[i].behind);
  }
  return true;
}

}  // namespace

const CaptureFormat kBinFormat = {ProbeBin, ReadBin};

VomoStatus ReadTwoBinWaveforms(const ReadRequest &request, BinWaveforms kind, Capture *first,
                               Capture *second) {
  FileCursor file;
  const VomoStatus opened = OpenCapture(kBinFormat, request.file_name, &file);
  if (opened != Vomo_STATUS_SUCCESS) return opened;
  WaveformHeader waveforms[2];
  const VomoStatus headers = ReadTwoHeaders(&file, waveforms);
  if (headers != Vomo_STATUS_SUCCESS) return headers;
  uint64_t wanted[2] = {static_cast<uint64_t>(waveforms[0].points),
                        static_cast<uint64_t>(waveforms[1].points)};
  if (kind == BinWaveforms::kPair) {
    if (!(waveforms[0].interval_s == waveforms[1].interval_s)) {
      return Vomo_STATUS_INCOMPATIBLE_SAMPLE_INTERVALS;
    }
    wanted[0] = wanted[1] = std::min({wanted[0], wanted[1], request.limit});
  }
  for (const uint64_t count : wanted) RequireRecordSize(count);
  SamplePlace places[2];
  if (!FindBothSamples(&file, wanted, places)) return Vomo_STATUS_FILE_READ_ERROR;
  MakeRecord(request, wanted[0], waveforms[0].interval_s, first);
  MakeRecord(request, wanted[1], waveforms[1].interval_s, second);
  const bool read = ReadSamples(&file, places[0], first) && ReadSamples(&file, places[1], second);
  return read ? Vomo_STATUS_SUCCESS : Vomo_STATUS_FILE_READ_ERROR;
}

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Read_BIN_File(const char *pcFileName, double *pdSampleInterval,
                                         uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                         VomoHandle *phWaveform) noexcept {
  return ReadWithInterval(kBinFormat, pcFileName, pdSampleInterval, pulNumSamples, ppsWaveform,
                          phWaveform);
}

extern "C" VomoStatus Vomo_Read_Combined_BIN_File(const char *pcFileName, double *pdSampleInterval,
                                                  uint32_t *pulNumSamples,
                                                  VomoWaveform **ppsWaveform1,
                                                  VomoHandle *phWaveform1,
                                                  VomoWaveform **ppsWaveform2,
                                                  VomoHandle *phWaveform2) noexcept {
  if (pdSampleInterval == nullptr || pulNumSamples == nullptr || ppsWaveform1 == nullptr ||
      phWaveform1 == nullptr || ppsWaveform2 == nullptr || phWaveform2 == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    ReadRequest request;
    request.file_name = pcFileName;
    Capture first, second;
    const VomoStatus status =
        ReadTwoBinWaveforms(request, BinWaveforms::kIndependent, &first, &second);
    if (status != Vomo_STATUS_SUCCESS) return status;
    *pdSampleInterval = first.waveform->dSampleInterval;
    *pulNumSamples = first.count;
    first.waveform.Deliver(ppsWaveform1, phWaveform1);
    second.waveform.Deliver(ppsWaveform2, phWaveform2);
    return status;
  });
}
