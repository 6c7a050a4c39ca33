// Rise and fall times of a burst's edges, between two levels of its swing.
#include "core/interpolate.h"
#include "lf/arguments.h"
#include "lf/extremes.h"
#include "lf/sample_walk.h"
#include "timing/crossover_block.h"

namespace vomo {
namespace {

// Volts, low to high.
struct Levels {
  float low, high;

  Levels At(float low_fraction, float high_fraction) const {
    const float swing = high - low;
    return {swing * low_fraction + low, swing * high_fraction + low};
  }
};

// The part of a half period whose mean counts, as fractions of it.
struct Window {
  float begin, end;
};

struct Burst {
  const VomoWaveform &waveform;
  const VomoCrossoverData &crossovers;
  bool first_edge_rising;

  // Writes the sample of a crossover; false outside the waveform.
  bool SampleOf(uint32_t crossover, uint32_t *index) const {
    return SampleAt(waveform, crossovers.pdTimes[crossover], index);
  }
  // Whether the signal is high behind a crossover.
  bool IsHighBehind(uint32_t crossover) const { return (crossover % 2 == 0) == first_edge_rising; }
};

struct MeanOfMeans {
  double sum = 0.0;
  uint32_t count = 0;

  void Add(float mean) {
    sum += mean;
    ++count;
  }
  float Value() const { return static_cast<float>(sum / count); }
};

// Mean of a half period's window.
VomoStatus WindowMean(const Burst &burst, uint32_t crossover, Window window, float *mean) {
  uint32_t begin, end;
  if (!burst.SampleOf(crossover, &begin) || !burst.SampleOf(crossover + 1, &end) || end < begin) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const auto length = static_cast<float>(end - begin);
  const uint64_t first = uint64_t{begin} + VomoToU32(length * window.begin);
  const uint64_t last = uint64_t{begin} + VomoToU32(length * window.end);
  if (first > last || last >= burst.waveform.ulNumSamples) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return VomoFIND_MEAN_FLOAT(burst.waveform.pfSamples, static_cast<uint32_t>(first),
                             static_cast<uint32_t>(last), mean);
}

// The levels that a burst's half periods settle at.
VomoStatus MeasureLevels(const Burst &burst, Window window, Levels *levels) {
  MeanOfMeans low, high;
  for (uint32_t j = 0; j + 1 < burst.crossovers.ulCount; ++j) {
    float mean = 0.0f;
    const VomoStatus status = WindowMean(burst, j, window, &mean);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    (burst.IsHighBehind(j) ? high : low).Add(mean);
  }
  *levels = {low.Value(), high.Value()};
  return Vomo_STATUS_SUCCESS;
}

// Times the edges of one kind. Each end of an edge is the crossing of a level, in samples, found by
// a walk from the crossover outwards; where a walk finds none the one of the previous edge stands.
template <bool kRises>
class EdgeTimer {
 public:
  EdgeTimer(const VomoWaveform &waveform, Levels levels, int32_t reach)
      : waveform_(waveform), levels_(levels), reach_(reach) {}

  float longest_s() const { return longest_s_; }

  void Time(uint32_t crossover_sample) {
    Follow<-1>(crossover_sample, walk_back_, &begin_);
    Follow<1>(crossover_sample, walk_on_, &end_);
    const auto time_s = static_cast<float>((end_ - begin_) * waveform_.dSampleInterval);
    if (time_s > longest_s_) longest_s_ = time_s;
  }

 private:
  // The edge ends behind the crossover at the high level if it rises, and begins before it there
  // if it falls.
  template <int kStep>
  void Follow(int64_t from, SampleWalk<kStep> &walk, double *crossing) {
    constexpr bool kToHigh = (kStep > 0) == kRises;
    const float level = kToHigh ? levels_.high : levels_.low;
    const float *samples = waveform_.pfSamples;
    const int64_t count = waveform_.ulNumSamples;
    const int64_t stop = kStep > 0 ? std::min(from + reach_, count) : std::max(from - reach_, -1L);
    const int64_t at = walk.Find(
        from, stop, [&](int64_t i) { return kToHigh ? samples[i] >= level : samples[i] <= level; });
    const int64_t nearer = at - kStep;
    if (at == stop || nearer < 0 || nearer >= count) return;
    Vomo_Interpolate_X(static_cast<double>(nearer), samples[nearer], static_cast<double>(at),
                       samples[at], crossing, level);
  }

  const VomoWaveform &waveform_;
  Levels levels_;
  int64_t reach_;
  SampleWalk<-1> walk_back_;
  SampleWalk<1> walk_on_;
  double begin_ = 0.0, end_ = 0.0;
  float longest_s_ = 0.0f;
};

// Longest rise and fall among all edges but the first and the last.
VomoStatus MeasureEdges(const Burst &burst, Levels levels, int32_t reach, float *rise_s,
                        float *fall_s) {
  EdgeTimer<true> rises(burst.waveform, levels, reach);
  EdgeTimer<false> falls(burst.waveform, levels, reach);
  for (uint32_t j = 1; j + 1 < burst.crossovers.ulCount; ++j) {
    uint32_t sample;
    if (!burst.SampleOf(j, &sample)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
    if (burst.IsHighBehind(j)) {
      rises.Time(sample);
    } else {
      falls.Time(sample);
    }
  }
  *rise_s = rises.longest_s();
  *fall_s = falls.longest_s();
  return Vomo_STATUS_SUCCESS;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_LF_RISE_FALL_TIME(const VomoWaveform *psWaveform, int32_t iBurstIndex,
                                             const VomoCrossoverData *psCrossovers,
                                             int32_t iFirstEdgeRising, int32_t iEdgeSearchSamples,
                                             float fLowFraction, float fHighFraction,
                                             float fWindowBegin, float fWindowEnd,
                                             const float *pfLevels, double *pdRiseMax,
                                             double *pdFallMax) noexcept {
  if (!IsReadable(psWaveform) || iBurstIndex < 0 || !HasTimes(psCrossovers) ||
      (iFirstEdgeRising != 0 && iFirstEdgeRising != 1) || iEdgeSearchSamples < 1 ||
      !(fLowFraction >= 0 && fLowFraction <= 1) || !(fHighFraction >= 0) || !(fWindowBegin >= 0) ||
      !(fWindowEnd >= 0) || AnyNull(pdRiseMax, pdFallMax)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  float rise_s = 0.0f, fall_s = 0.0f;
  if (psCrossovers->ulCount >= 3) {
    const Burst burst{*psWaveform, *psCrossovers, iFirstEdgeRising == 1};
    Levels levels{};
    VomoStatus status = Vomo_STATUS_SUCCESS;
    if (pfLevels != nullptr) {
      levels = {pfLevels[1], pfLevels[0]};
    } else {
      status = MeasureLevels(burst, {fWindowBegin, fWindowEnd}, &levels);
    }
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = MeasureEdges(burst, levels.At(fLowFraction, fHighFraction), iEdgeSearchSamples,
                          &rise_s, &fall_s);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  RunningExtremes{iBurstIndex, nullptr, pdRiseMax}.Fold({rise_s, rise_s});
  RunningExtremes{iBurstIndex, nullptr, pdFallMax}.Fold({fall_s, fall_s});
  return Vomo_STATUS_SUCCESS;
}
