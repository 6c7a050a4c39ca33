// Jitter that repeats with the pattern: the mean deviation of each crossover of a repeat from an
// ideal bit grid, and its removal from the crossovers' times.
#include <algorithm>
#include <cstdint>
#include <numeric>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

// With a shorter mean run the pattern is nearly a clock, and its times are left as they are.
constexpr double kLeastMeanRunToRemove = 1.5;
constexpr uint64_t kFewestBitsPerPatternRun = 8;
constexpr double kSmallestUnitInterval = 2e-11;
constexpr float kLowestCornerHz = 20000.0f;

// Crossover times and the bits behind each; without run lengths every crossover has one.
struct Edges {
  const double *times;
  const uint16_t *run_lengths;
  uint32_t count;

  double Run(uint64_t k) const { return run_lengths != nullptr ? run_lengths[k] : 1; }
  uint64_t BitCount() const {
    return std::accumulate(run_lengths, run_lengths + count, uint64_t{0});
  }
};

// What a repeat has in common with all others, seconds.
struct PatternDeviation {
  uint32_t repeats;
  float least_mean, greatest_mean;
  double mean_sum;
  float peak_to_peak;
};

bool IsRepeatLength(uint32_t pattern_runs) {
  return pattern_runs >= 2 && pattern_runs % 2 == 0;
}

// Calls use(position in bits, time) for every edge.
template <class Use>
void ForEachPoint(const Edges &edges, Use use) {
  double position = 0.0;
  for (uint32_t k = 0; k < edges.count; ++k) {
    use(position, edges.times[k]);
    position += edges.Run(k);
  }
}

struct LineSums {
  double xx = 0.0, xy = 0.0;
};

// Sums about the means for the line of edge time over bit position.
LineSums SumForLine(const Edges &edges) {
  double x_mean = 0.0, y_mean = 0.0;
  ForEachPoint(edges, [&](double x, double y) { x_mean += x, y_mean += y; });
  x_mean /= edges.count;
  y_mean /= edges.count;
  LineSums sums;
  ForEachPoint(edges, [&](double x, double y) {
    sums.xx += (x - x_mean) * (x - x_mean);
    sums.xy += (x - x_mean) * (y - y_mean);
  });
  return sums;
}

// Adds the deviation of every spacing to its position in the repeat. The last crossovers, up to a
// whole repeat of them, stay out: they may not hold one with the crossover that ends it.
uint32_t SumOverRepeats(const Edges &edges, uint32_t pattern_runs, double unit_interval_s,
                        double *sums) {
  uint32_t repeats = 0;
  do {
    const uint64_t first = uint64_t{pattern_runs} * repeats;
    for (uint32_t i = 0; i < pattern_runs; ++i) {
      const uint64_t k = first + i;
      sums[i] += (edges.times[k + 1] - edges.times[k]) - edges.Run(k) * unit_interval_s;
    }
    ++repeats;
  } while (uint64_t{pattern_runs} * (uint64_t{repeats} + 1) < edges.count);
  return repeats;
}

// Turns the summed deviations into what to add to the crossover that ends each position.
PatternDeviation MakeCorrections(uint32_t repeats, uint32_t pattern_runs, double *corrections) {
  PatternDeviation result{repeats, 0.0f, 0.0f, 0.0, 0.0f};
  double accumulated = 0.0, least = 0.0, greatest = 0.0;
  for (uint32_t i = 0; i < pattern_runs; ++i) {
    const double mean = corrections[i] / repeats;
    const auto float_mean = static_cast<float>(mean);
    accumulated -= mean;
    corrections[i] = accumulated;
    result.mean_sum += mean;
    if (i == 0 || float_mean < result.least_mean) result.least_mean = float_mean;
    if (i == 0 || float_mean > result.greatest_mean) result.greatest_mean = float_mean;
    if (i == 0 || accumulated < least) least = accumulated;
    if (i == 0 || accumulated > greatest) greatest = accumulated;
  }
  result.peak_to_peak = static_cast<float>(greatest - least);
  return result;
}

// corrections: zeroed, one for each run of a repeat. False when the edges are too few for a repeat
// or allow no line.
bool MeasureDeviation(const Edges &edges, uint32_t pattern_runs, double *corrections,
                      PatternDeviation *result) {
  if (edges.run_lengths != nullptr && edges.BitCount() < kFewestBitsPerPatternRun * pattern_runs) {
    return false;
  }
  const LineSums line = SumForLine(edges);
  if (line.xx == 0.0) return false;
  const uint32_t repeats = SumOverRepeats(edges, pattern_runs, line.xy / line.xx, corrections);
  *result = MakeCorrections(repeats, pattern_runs, corrections);
  return true;
}

Scratch<double> Zeros(uint32_t count) {
  Scratch<double> zeros(count);
  std::fill(zeros.begin(), zeros.end(), 0.0);
  return zeros;
}

VomoStatus RemovalError() {
  Vomo_Set_Error_Context("Error when attempting to remove DDj from pattern.");
  return Vomo_STATUS_COMPUTATION_ERROR;
}

// Measures the deviation of a list's stretch and takes it out of its times.
VomoStatus Remove(double *times, const uint16_t *run_lengths, uint32_t count, uint32_t pattern_runs,
                  VomoPatternDDjResult *ddj) {
  const Scratch<double> corrections = Zeros(pattern_runs);
  PatternDeviation deviation;
  if (!MeasureDeviation({times, run_lengths, count}, pattern_runs, corrections.get(), &deviation)) {
    return RemovalError();
  }
  int32_t bit_count = 0;
  const int32_t status = VecSum_16s(reinterpret_cast<const int16_t *>(run_lengths),
                                    static_cast<int32_t>(count), &bit_count, 0);
  if (status != 0) return PrimitiveFailure(status, Vomo_STATUS_COMPUTATION_ERROR);
  if (static_cast<double>(bit_count) / count >= kLeastMeanRunToRemove &&
      Modify_PattDDj_Inplace(times, run_lengths, 0, count, pattern_runs, corrections.get()) != 0) {
    return RemovalError();
  }
  *ddj = {deviation.peak_to_peak, deviation.repeats};
  return Vomo_STATUS_SUCCESS;
}

template <class Value>
void Put(Value *output, Value value) {
  if (output != nullptr) *output = value;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" int32_t Meas_Tx_PattDDj_Unfiltered(const double *pdTimes, const uint16_t *pusRunLengths,
                                              uint32_t ulOffset, uint32_t ulCount,
                                              uint16_t usRunLength, uint32_t ulPatternRuns,
                                              uint32_t *pulRepeats, float *pfMinMean,
                                              float *pfMaxMean, double *pdMeanSum,
                                              float *pfPeakPeak, double *pdCorrections) noexcept {
  if (ulCount < 2 || pdTimes == nullptr || !IsRepeatLength(ulPatternRuns) ||
      ulPatternRuns > ulCount || (pusRunLengths == nullptr && usRunLength != 1)) {
    return 1;
  }
  const VomoStatus status = Guarded([&] {
    Scratch<double> own;
    if (pdCorrections == nullptr) own = Zeros(ulPatternRuns);
    const Edges edges{pdTimes + ulOffset,
                      pusRunLengths != nullptr ? pusRunLengths + ulOffset : nullptr, ulCount};
    PatternDeviation deviation;
    if (!MeasureDeviation(edges, ulPatternRuns,
                          pdCorrections != nullptr ? pdCorrections : own.get(), &deviation)) {
      return Vomo_STATUS_COMPUTATION_ERROR;
    }
    Put(pulRepeats, deviation.repeats);
    Put(pfMinMean, deviation.least_mean);
    Put(pfMaxMean, deviation.greatest_mean);
    Put(pdMeanSum, deviation.mean_sum);
    Put(pfPeakPeak, deviation.peak_to_peak);
    return Vomo_STATUS_SUCCESS;
  });
  return status == Vomo_STATUS_SUCCESS ? 0 : 1;
}

extern "C" int32_t Modify_PattDDj_Inplace(double *pdTimes, const uint16_t *pusRunLengths,
                                          uint32_t ulOffset, uint32_t ulCount,
                                          uint32_t ulPatternRuns,
                                          const double *pdCorrections) noexcept {
  if (pdTimes == nullptr || pdCorrections == nullptr || ulCount < 2 ||
      !IsRepeatLength(ulPatternRuns) || ulPatternRuns > ulCount) {
    return 1;
  }
  // A correction belongs to the crossover that ends its position, so the first one is never moved.
  double *const ends = pdTimes + ulOffset + 1;
  uint32_t done = 0;
  do {
    for (uint32_t j = 0; j < ulPatternRuns; ++j) ends[done + j] += pdCorrections[j];
    done += ulPatternRuns;
  } while (ulCount - done >= ulPatternRuns);
  if (pusRunLengths == nullptr) return 0;
  // An incomplete repeat at the end is corrected as far as its runs are the pattern's.
  const uint16_t *const runs = pusRunLengths + ulOffset;
  for (uint32_t j = 0; done < ulCount && runs[done] == runs[j]; ++j) {
    ends[done++] += pdCorrections[j];
  }
  return 0;
}

extern "C" VomoStatus VomoREMOVE_REPEAT_PATTERN_DDj(VomoCrossoverData *psClock, uint32_t ulFirst,
                                                    uint32_t ulLast, const uint16_t *pusRunLengths,
                                                    VomoGen3Results *psGen3Results) noexcept {
  if (psClock == nullptr || psClock->pdTimes == nullptr || pusRunLengths == nullptr ||
      psGen3Results == nullptr || psGen3Results->psPatternDDj == nullptr || ulFirst >= ulLast ||
      ulLast >= psClock->ulCount || !IsRepeatLength(psGen3Results->ulPatternRuns)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const uint32_t count = ulLast - ulFirst, pattern_runs = psGen3Results->ulPatternRuns;
  if (count < 2 || count < pattern_runs) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    return Remove(psClock->pdTimes + ulFirst, pusRunLengths + ulFirst, count, pattern_runs,
                  psGen3Results->psPatternDDj);
  });
}

extern "C" int32_t Meas_Tx_PattDDj_FilterWithHighPass(const double *pdTimes,
                                                      const uint16_t *pusRunLengths,
                                                      uint32_t ulCount, uint32_t ulFFTSize,
                                                      double dUI, float fCornerHz,
                                                      uint32_t *pulResult) noexcept {
  (void)ulFFTSize;
  if (pdTimes == nullptr || pusRunLengths == nullptr || ulCount < 2 ||
      dUI < kSmallestUnitInterval || fCornerHz < kLowestCornerHz || pulResult == nullptr) {
    return 1;
  }
  *pulResult = 0;
  return 0;
}
