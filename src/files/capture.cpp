#include "files/capture.h"

#include <cstring>
#include <new>

#include "core/boundary.h"
#include "core/status.h"

namespace vomo {

VomoStatus OpenCapture(const CaptureFormat &format, const char *file_name, FileCursor *file) {
  Vomo_Set_Error_Context(file_name);
  if (!file->Open(file_name)) return Vomo_STATUS_FILE_READ_ERROR;
  uint8_t head[kHeadBytes];
  const auto bytes = static_cast<size_t>(file->Read(head, sizeof head));
  file->Seek(0);
  const bool known = format.probe(FieldView({head, bytes}, ByteOrder::kLittle));
  return known ? Vomo_STATUS_SUCCESS : Vomo_STATUS_FILE_READ_ERROR;
}

void RequireRecordSize(uint64_t count) {
  constexpr uint64_t kMostBytes = std::numeric_limits<int32_t>::max();
  if (count > (kMostBytes - sizeof(VomoWaveform)) / sizeof(float)) throw std::bad_alloc();
}

void MakeRecord(const ReadRequest &request, uint64_t count, double interval_s, Capture *capture) {
  if (request.early_interval_s != nullptr) *request.early_interval_s = interval_s;
  if (count > std::numeric_limits<uint32_t>::max()) throw std::bad_alloc();
  capture->count = static_cast<uint32_t>(count);
  if (request.early_count != nullptr) *request.early_count = capture->count;
  capture->waveform = NewWaveform(capture->count, interval_s);
}

void MakeRecord(const ReadRequest &request, uint64_t count, double interval_s, const float *samples,
                Capture *capture) {
  MakeRecord(request, count, interval_s, capture);
  std::memcpy(capture->waveform->pfSamples, samples, count * sizeof(float));
}

VomoStatus ReadSingle(const CaptureFormat &format, const ReadRequest &request,
                      double *pdSampleInterval, uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                      VomoHandle *phWaveform) {
  if (pulNumSamples == nullptr || ppsWaveform == nullptr || phWaveform == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  Capture capture;
  const VomoStatus status = format.read(request, &capture);
  if (status != Vomo_STATUS_SUCCESS) return status;
  if (pdSampleInterval != nullptr) *pdSampleInterval = capture.waveform->dSampleInterval;
  *pulNumSamples = capture.count;
  capture.waveform.Deliver(ppsWaveform, phWaveform);
  return Vomo_STATUS_SUCCESS;
}

VomoStatus ReadWithInterval(const CaptureFormat &format, const char *pcFileName,
                            double *pdSampleInterval, uint32_t *pulNumSamples,
                            VomoWaveform **ppsWaveform, VomoHandle *phWaveform) noexcept {
  if (pdSampleInterval == nullptr || pulNumSamples == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    ReadRequest request;
    request.file_name = pcFileName;
    request.limit = LimitFromCount(*pulNumSamples);
    if (format.tells_interval_early) request.early_interval_s = pdSampleInterval;
    return ReadSingle(format, request, pdSampleInterval, pulNumSamples, ppsWaveform, phWaveform);
  });
}

}  // namespace vomo
