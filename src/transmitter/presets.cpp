// The equalisation presets of a transmitter: their table, the voltage of each, and what the ratios
// of these voltages say about preshoot and de-emphasis.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/status.h"

namespace vomo {
namespace {

constexpr uint32_t kPresetCount = 11;
constexpr uint32_t kNone = 0xFFFFFFFF;
constexpr double kMaxMeanSpread = 1.0;

enum PresetState : uint32_t { kFailed, kPassed, kNotEvaluated, kReferenceMissing };

struct PresetDefault {
  double preshoot_max_db, preshoot_min_db, deemphasis_max_db, deemphasis_min_db;
  uint32_t deemphasis_reference, preshoot_reference;
};

constexpr PresetDefault kDefaults[kPresetCount] = {
    {0, 0, -4.5, -7.5, 4, kNone},  // P0
    {0, 0, -2.5, -4.5, 4, kNone},  // P1
    {0, 0, -2.9, -5.9, 4, kNone},  // P2
    {0, 0, -1.5, -3.5, 4, kNone},  // P3
    {0, 0, 0, 0, kNone, kNone},    // P4
    {2.9, 0.9, 0, 0, kNone, 4},    // P5
    {3.5, 1.5, 0, 0, kNone, 4},    // P6
    {4.5, 2.5, -4.5, -7.5, 5, 2},  // P7
    {4.5, 2.5, -2.5, -4.5, 6, 3},  // P8
    {4.5, 2.5, 0, 0, kNone, 4},    // P9
    {0, 0, 1.5, -8.0, 4, kNone},   // P10
};
// Limits of the last preset's de-emphasis in the other set.
constexpr double kOtherMaxDb = -8.0, kOtherMinDb = -11.0;

void WriteDefaults(bool other_set, VomoPreset *presets) {
  for (uint32_t i = 0; i < kPresetCount; ++i) {
    const PresetDefault &values = kDefaults[i];
    VomoPreset &preset = presets[i];
    preset.ulState = kNotEvaluated;
    preset.dPreshootMax = values.preshoot_max_db;
    preset.dPreshootMin = values.preshoot_min_db;
    preset.dDeemphasisMax = values.deemphasis_max_db;
    preset.dDeemphasisMin = values.deemphasis_min_db;
    preset.ulDeemphasisRef = values.deemphasis_reference;
    preset.ulPreshootRef = values.preshoot_reference;
  }
  if (!other_set) return;
  presets[kPresetCount - 1].dDeemphasisMax = kOtherMaxDb;
  presets[kPresetCount - 1].dDeemphasisMin = kOtherMinDb;
}

void ClearRecords(VomoPreset *presets, uint32_t count) {
  std::memset(presets, 0, count * sizeof(VomoPreset));
}

// The decoded blocks stay the source's: two owners would free them twice.
void CopyRecords(const VomoPreset *source, uint32_t count, VomoPreset *presets) {
  std::memmove(presets, source, count * sizeof(VomoPreset));
  for (uint32_t i = 0; i < count; ++i) presets[i].ulClockHandle = 0;
}

// Decodes what the capture says of itself; the preset takes over the decoded blocks.
VomoStatus CheckBlocks(const VomoCrossoverData &crossovers, double unit_interval_s,
                       VomoPreset &preset) {
  VomoGen3CheckData check = preset.sGen3CheckBuf;
  check.pucBlocks = nullptr;
  check.hBlocks = 0;
  const VomoStatus status = Vomo_Gen3Check(&crossovers, unit_interval_s, &check);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  Vomo_HANDLE_FREE(preset.ulClockHandle);
  preset.ulClockHandle = std::exchange(check.hBlocks, 0u);
  preset.sGen3CheckBuf = check;
  return Vomo_STATUS_SUCCESS;
}

VomoStatus VoltageError() {
  Vomo_Set_Error_Context("Error computing Vb.");
  return Vomo_STATUS_PATTERN_NOT_FOUND;
}

// A window of unit intervals inside runs of equal bits.
struct RunWindow {
  int32_t run_min;
  uint32_t run_max, first, last;
};

VomoStatus MeasureVoltage(const VomoWaveform &waveform, double unit_interval_s,
                          const RunWindow &window, VomoPreset &preset) {
  Received<VomoCrossoverData> crossovers;
  double smallest_s = 0.0;
  VomoStatus status = Vomo_FIND_CROSSOVERS(&waveform, 0, waveform.ulNumSamples - 1, unit_interval_s,
                                           Vomo_CROSSOVERS_ALL, crossovers.pointer(),
                                           crossovers.handle_out(), nullptr, nullptr, &smallest_s);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (crossovers->ulCount < 2) return VoltageError();
  status = CheckBlocks(*crossovers.get(), unit_interval_s, preset);
  if (Vomo_STATUS_IS_ERROR(status)) return status;

  float high_v = 0.0f, low_v = 0.0f;
  uint32_t high_runs = 0, low_runs = 0;
  status = VomoCOMPUTE_TARGET_RUNLENGTH_AVERAGE_VOLTAGE(
      &waveform, crossovers.get(), 0, crossovers->ulCount - 1, unit_interval_s, window.run_min,
      window.run_max, window.first, window.last, kMaxMeanSpread, &high_v, &low_v, &high_runs,
      &low_runs);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (high_runs == 0 || low_runs == 0) return VoltageError();
  preset.dVb = high_v - low_v;
  return Vomo_STATUS_SUCCESS;
}

// The record of a reference, NULL if it has not been measured.
const VomoPreset *Measured(const VomoPreset *presets, uint32_t reference) {
  return reference < kPresetCount && presets[reference].dVb != 0.0 ? presets + reference : nullptr;
}

double Decibels(double voltage, double reference_v) {
  return 20.0 * std::log10(voltage / reference_v);
}

PresetState Judge(double value, double low, double high) {
  return low <= value && value <= high ? kPassed : kFailed;
}

void Evaluate(const VomoPreset *presets, VomoPreset &preset) {
  uint32_t state = kNotEvaluated;
  if (preset.ulPreshootRef != kNone) {
    const VomoPreset *reference = Measured(presets, preset.ulPreshootRef);
    state = kReferenceMissing;
    if (reference != nullptr) {
      preset.dPreshootDB = Decibels(reference->dVb, preset.dVb);
      state = Judge(preset.dPreshootDB, preset.dPreshootMin, preset.dPreshootMax);
    }
  }
  if (preset.ulDeemphasisRef != kNone) {
    const VomoPreset *reference = Measured(presets, preset.ulDeemphasisRef);
    if (reference == nullptr) {
      state = kReferenceMissing;
    } else {
      preset.dDeemphasisDB = Decibels(preset.dVb, reference->dVb);
      // A good de-emphasis does not undo what the preshoot has failed.
      if (state != kFailed && state != kReferenceMissing) {
        state = Judge(preset.dDeemphasisDB, preset.dDeemphasisMin, preset.dDeemphasisMax);
      }
    }
  }
  const bool no_reference = preset.ulPreshootRef == kNone && preset.ulDeemphasisRef == kNone;
  preset.ulState = no_reference ? kPassed : state;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_RESET_PRESETS(uint32_t bLimitSet, uint32_t ulPresetCount,
                                         const VomoPreset *psSource, VomoPreset **ppsPresets,
                                         VomoHandle *pHandle) noexcept {
  if (ulPresetCount > kPresetCount) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  if (ppsPresets == nullptr || pHandle == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    VomoPreset *presets = *ppsPresets;
    BlockOf<VomoPreset> table;
    if (presets == nullptr) {
      table = BlockOf<VomoPreset>::Allocate(kPresetCount);
      presets = table.get();
      ClearRecords(presets, kPresetCount);
    } else {
      Vomo_FREE_PRESETS(presets, 0);
    }
    if (psSource != nullptr) {
      CopyRecords(psSource, ulPresetCount, presets);
    } else {
      ClearRecords(presets, ulPresetCount);
      WriteDefaults(bLimitSet != 0, presets);
    }
    if (table) table.Deliver(ppsPresets, pHandle);
    return Vomo_STATUS_SUCCESS;
  });
}

extern "C" VomoStatus Vomo_FREE_PRESETS(VomoPreset *psPresets, VomoHandle hTable) noexcept {
  for (uint32_t i = 0; psPresets != nullptr && i < kPresetCount; ++i) {
    if (psPresets[i].ulClockHandle == 0) continue;
    Vomo_HANDLE_FREE(std::exchange(psPresets[i].ulClockHandle, 0u));
    psPresets[i].sGen3CheckBuf.pucBlocks = nullptr;
  }
  Vomo_HANDLE_FREE(hTable);
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_CALCULATE_Vb(VomoWaveform **ppsWaveforms, uint32_t ulPreset, double dUI,
                                        int32_t iRunMin, uint32_t ulRunMax, uint32_t ulWindowFirst,
                                        uint32_t ulWindowLast, VomoPreset *psPresets) noexcept {
  // A window that ends inside the run is no longer than it.
  if (ulPreset >= kPresetCount || ulWindowFirst >= ulWindowLast ||
      int64_t{ulWindowLast} > int64_t{iRunMin} || !(dUI > 0.0) || ppsWaveforms == nullptr ||
      *ppsWaveforms == nullptr || psPresets == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    return MeasureVoltage(**ppsWaveforms, dUI, {iRunMin, ulRunMax, ulWindowFirst, ulWindowLast},
                          psPresets[ulPreset]);
  });
}

extern "C" VomoStatus Vomo_CALCULATE_PRESET_RESULTS(int32_t iPresetCount,
                                                    VomoPreset *psPresets) noexcept {
  if (psPresets == nullptr) return Vomo_STATUS_SUCCESS;
  const int32_t count = std::min(iPresetCount, static_cast<int32_t>(kPresetCount));
  for (int32_t i = 0; i < count; ++i) {
    if (psPresets[i].dVb != 0.0) Evaluate(psPresets, psPresets[i]);
  }
  return Vomo_STATUS_SUCCESS;
}
