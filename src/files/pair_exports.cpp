// The exported reads of pairs: each names its member of the family and hands its arguments on.
#include "core/boundary.h"
#include "files/pair_reader.h"

namespace vomo {
namespace {

using PairRead = VomoStatus (*)(const PairMember &, const PairInput &, const PairOutput &);

// Tests the outputs that every member needs. The interval of the reads that deliver it is tested by
// the caller, who alone knows them.
VomoStatus ReadPair(PairRead read, const PairMember &member, const PairInput &input,
                    const PairOutput &output) noexcept {
  const bool leg_b = output.waveform_b != nullptr && output.handle_b != nullptr;
  if (output.count == nullptr || output.waveform_a == nullptr || output.handle_a == nullptr ||
      (read == ReadTwoWaveforms && !leg_b)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] { return read(member, input, output); });
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Read_Single_Ended_BIN_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadTwoWaveforms, kBinPair, {pcFileNameA, pcFileNameB},
                  {pdSampleInterval, pulNumSamples, ppsWaveformA, phWaveformA, ppsWaveformB,
                   phWaveformB, ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_BIN_Files(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadDifferential, kBinPair, {pcFileNameA, pcFileNameB},
                  {pdSampleInterval, pulNumSamples, ppsWaveform, phWaveform, nullptr, nullptr,
                   ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_Combined_BIN_Two_Waveforms(
    const char *pcFileName, double *pdSampleInterval, uint32_t *pulNumSamples,
    VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA, VomoWaveform **ppsWaveformB,
    VomoHandle *phWaveformB, float **ppfCommonMode, VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadTwoWaveforms, kCombinedBinPair, {pcFileName, nullptr},
                  {pdSampleInterval, pulNumSamples, ppsWaveformA, phWaveformA, ppsWaveformB,
                   phWaveformB, ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_Combined_BIN_File(
    const char *pcFileName, double *pdSampleInterval, uint32_t *pulNumSamples,
    VomoWaveform **ppsWaveform, VomoHandle *phWaveform, float **ppfCommonMode,
    VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadDifferential, kCombinedBinPair, {pcFileName, nullptr},
                  {pdSampleInterval, pulNumSamples, ppsWaveform, phWaveform, nullptr, nullptr,
                   ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_Spice_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, const double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadTwoWaveforms, kSpicePair, {pcFileNameA, pcFileNameB, 0, *pdSampleInterval},
                  {nullptr, pulNumSamples, ppsWaveformA, phWaveformA, ppsWaveformB, phWaveformB,
                   ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_Spice_Files(
    const char *pcFileNameA, const char *pcFileNameB, const double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadDifferential, kSpicePair, {pcFileNameA, pcFileNameB, 0, *pdSampleInterval},
                  {nullptr, pulNumSamples, ppsWaveform, phWaveform, nullptr, nullptr, ppfCommonMode,
                   phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_TRC_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadTwoWaveforms, kTrcPair, {pcFileNameA, pcFileNameB},
                  {pdSampleInterval, pulNumSamples, ppsWaveformA, phWaveformA, ppsWaveformB,
                   phWaveformB, ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_TRC_Files(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadDifferential, kTrcPair, {pcFileNameA, pcFileNameB},
                  {pdSampleInterval, pulNumSamples, ppsWaveform, phWaveform, nullptr, nullptr,
                   ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_WFM_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadTwoWaveforms, kWfmPair, {pcFileNameA, pcFileNameB},
                  {pdSampleInterval, pulNumSamples, ppsWaveformA, phWaveformA, ppsWaveformB,
                   phWaveformB, ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_WFM_Files(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) noexcept {
  if (pdSampleInterval == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return ReadPair(ReadDifferential, kWfmPair, {pcFileNameA, pcFileNameB},
                  {pdSampleInterval, pulNumSamples, ppsWaveform, phWaveform, nullptr, nullptr,
                   ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_Text_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, uint32_t ulLinesToSkip,
    double dSampleInterval, uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA,
    VomoHandle *phWaveformA, VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB,
    float **ppfCommonMode, VomoHandle *phCommonMode) noexcept {
  return ReadPair(ReadTwoWaveforms, kTextPair,
                  {pcFileNameA, pcFileNameB, ulLinesToSkip, dSampleInterval},
                  {nullptr, pulNumSamples, ppsWaveformA, phWaveformA, ppsWaveformB, phWaveformB,
                   ppfCommonMode, phCommonMode});
}

extern "C" VomoStatus Vomo_Read_Single_Ended_Text_Files(
    const char *pcFileNameA, const char *pcFileNameB, uint32_t ulLinesToSkip,
    double dSampleInterval, uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
    VomoHandle *phWaveform, float **ppfCommonMode, VomoHandle *phCommonMode) noexcept {
  return ReadPair(ReadDifferential, kTextPair,
                  {pcFileNameA, pcFileNameB, ulLinesToSkip, dSampleInterval},
                  {nullptr, pulNumSamples, ppsWaveform, phWaveform, nullptr, nullptr, ppfCommonMode,
                   phCommonMode});
}
