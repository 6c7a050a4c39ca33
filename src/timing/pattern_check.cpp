#include "timing/pattern_check.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/numeric.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

constexpr uint32_t kLongestDefinedRun = 66;

// Entry k counts the runs of length k, entry 0 the longer ones.
using RunHistogram = std::array<double, kLongestDefinedRun + 1>;

struct Repetitions {
  double count;
  uint64_t runs_to_count;
};

// How many repetitions of the pattern the histogram is scaled to, and how many runs go into it.
Repetitions RepetitionsOf(const VomoPatDef &definition, uint32_t length, uint32_t wanted,
                          uint32_t total) {
  double repetitions = wanted;
  if (wanted == 0 || uint64_t{length} * wanted > total) {
    repetitions = static_cast<double>(total) / length;
  }
  int64_t runs_in_pattern = 0;
  for (uint32_t k = 1; k <= length; ++k) {
    runs_in_pattern += VomoToI32(definition.pdPatDefCounts[k] + 0.5);
  }
  // Beyond 2^33 runs a pattern exceeds any data; held there, the product below can't overflow.
  const auto bounded = static_cast<uint64_t>(std::clamp<int64_t>(runs_in_pattern, 0, 1ll << 33));
  const uint64_t whole = std::min<uint64_t>(VomoToU32(repetitions), 1u << 30);
  if (bounded * whole <= total) return {repetitions, bounded * whole};
  return {1.0, total};
}

RunHistogram CountRuns(const int16_t *run_lengths, uint64_t count, uint32_t longest) {
  RunHistogram histogram{};
  for (uint64_t i = 0; i < count; ++i) {
    const auto run = static_cast<uint16_t>(run_lengths[i]);
    histogram[run <= longest ? run : 0] += 1;
  }
  return histogram;
}

// PATCHK_... bits of one definition.
uint32_t CheckDefinition(const VomoPatDef &definition, const VomoPatChkData &check,
                         const int16_t *run_lengths, uint32_t total) {
  const uint32_t length = std::min(definition.ulPatDefLength, kLongestDefinedRun);
  const Repetitions repetitions = RepetitionsOf(definition, length, check.ulPatChkCount, total);
  RunHistogram observed = CountRuns(run_lengths, repetitions.runs_to_count, length);
  VecDivConstInPlace_64f(repetitions.count, observed.data(), static_cast<int32_t>(length) + 1);

  uint32_t flags = PATCHK_OK;
  for (uint32_t k = 0; k <= length; ++k) {
    const double expected = definition.pdPatDefCounts[k];
    if (expected == 0) {
      if (observed[k] != 0) flags |= PATCHK_ZERO;
    } else if (std::fabs((expected - observed[k]) / expected) > check.dPatRatioMax) {
      flags |= PATCHK_RATIO;
    }
  }
  return flags;
}

}  // namespace

VomoStatus VomoCheckRunLengthPattern(uint32_t ulRunCount, const int16_t *psRunLengths,
                                     VomoPatChkData *psPatChkData) {
  VomoPatChkData &check = *psPatChkData;
  check.ePatChkResult = PATCHK_OK;
  if (check.psPatDefArray == nullptr) return Vomo_STATUS_SUCCESS;
  for (uint32_t i = 0; i < check.ulPatDefCount; ++i) {
    const VomoPatDef &definition = check.psPatDefArray[i];
    if (definition.pdPatDefCounts == nullptr) continue;
    const uint32_t flags = CheckDefinition(definition, check, psRunLengths, ulRunCount);
    // One definition that fits clears the result for good; failures of all of them add up.
    if (flags == PATCHK_OK) {
      check.ePatChkResult = PATCHK_OK;
    } else if (check.ePatChkResult != PATCHK_OK || i == 0) {
      check.ePatChkResult |= flags;
    }
  }
  return Vomo_STATUS_SUCCESS;
}

}  // namespace vomo
