// The four voltage levels of a transmitter: steady ones from its flat stretches and peaks straight
// behind the edges.
#include <cmath>
#include <new>
#include <vector>

#include "core/boundary.h"
#include "core/numeric.h"
#include "core/run_transform.h"
#include "core/waveform.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

struct Polarities {
  std::vector<float> high, low;
};

struct Steady {
  float volts = 0.0f;
  bool known = false;
};

// Of no values at all the median is what the last even number of values gave.
float MedianOf(const std::vector<float> &values) {
  const float none = 0.0f;
  float median = 0.0f;
  const auto last = static_cast<uint32_t>(values.size()) - 1;
  // For want of memory alone it can fail.
  if (Vomo_MEDIAN_FLOAT(values.empty() ? &none : values.data(), 0, last, &median) !=
      Vomo_STATUS_SUCCESS) {
    throw std::bad_alloc();
  }
  return median;
}

// Median of the values within 20 % of the median of all.
Steady SteadyLevel(const std::vector<float> &means) {
  const float median = MedianOf(means);
  const float low = (median < 0.0f ? 1.2f : 0.8f) * median;
  const float high = (median < 0.0f ? 0.8f : 1.2f) * median;
  std::vector<float> near;
  for (const float mean : means) {
    if (mean > low && mean < high) near.push_back(mean);
  }
  return {MedianOf(near), !near.empty()};
}

// Means of the blocks that hardly move, by their sign.
VomoStatus FlatBlocks(const float *samples, uint64_t block_count, uint64_t block,
                      Polarities &means) {
  constexpr int32_t kAccurate = 2;
  constexpr double kFlat = double{0.05f};
  const int32_t length = PrimitiveLength(block);
  for (uint64_t k = 0; k < block_count; ++k, samples += block) {
    float mean = 0.0f, least = 0.0f, greatest = 0.0f;
    int32_t result = VecMean_32f(samples, length, &mean, kAccurate);
    if (result == 0) result = VecMinMax_32f(samples, length, &least, &greatest);
    if (result != 0) return PrimitiveFailure(result, Vomo_STATUS_COMPUTATION_ERROR);
    if (!(static_cast<double>(std::fabs(greatest - least)) < kFlat)) continue;
    if (mean > 0.0f) means.high.push_back(mean);
    if (mean < 0.0f) means.low.push_back(mean);
  }
  return Vomo_STATUS_SUCCESS;
}

// Middle samples of consecutive triples, beyond both of their neighbours and well beyond the steady
// level.
Polarities Peaks(const float *samples, uint64_t triples, float steady_high, float steady_low) {
  const float high = 1.3f * steady_high, low = 1.3f * steady_low;
  Polarities peaks;
  for (uint64_t k = 0; k < triples; ++k, samples += 3) {
    const float a = samples[0], b = samples[1], c = samples[2];
    if (a < b && c < b && b > high) {
      peaks.high.push_back(b);
    } else if (b < a && b < c && b < low) {
      peaks.low.push_back(b);
    }
  }
  return peaks;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_FIND_AVE_VOLTAGE_LEVELS(const VomoWaveform *psWaveform, uint32_t ulFirst,
                                                   uint32_t ulLast, double dUI,
                                                   float *afVoltageLevels) noexcept {
  if (!IsReadable(psWaveform) || afVoltageLevels == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  const uint64_t samples_per_ui = VomoToU32(std::ceil(dUI / psWaveform->dSampleInterval));
  if (!(psWaveform->dSampleInterval > 0.0) || ulLast >= psWaveform->ulNumSamples ||
      ulLast <= ulFirst || samples_per_ui < 2) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Guarded([&] {
    const float *const samples = psWaveform->pfSamples + ulFirst;
    const uint64_t block = 2 * samples_per_ui - 2;
    const uint64_t block_count = (uint64_t{ulLast} - ulFirst + 1) / block;
    Polarities means;
    const VomoStatus status = FlatBlocks(samples, block_count, block, means);
    if (status != Vomo_STATUS_SUCCESS) return status;
    const Steady high = SteadyLevel(means.high), low = SteadyLevel(means.low);
    const bool known = high.known && low.known;
    if (known) {
      const Polarities peaks = Peaks(samples, block_count * block / 3, high.volts, low.volts);
      const float peak_high = peaks.high.empty() ? high.volts : MedianOf(peaks.high);
      const float peak_low = peaks.low.empty() ? low.volts : MedianOf(peaks.low);
      afVoltageLevels[0] = peak_high;
      afVoltageLevels[1] = peak_low;
    }
    afVoltageLevels[2] = high.volts;
    afVoltageLevels[3] = low.volts;
    return known ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PATTERN_NOT_FOUND;
  });
}
