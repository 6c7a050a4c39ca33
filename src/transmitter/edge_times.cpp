// Rise and fall times of edges, from their slopes or from the samples around them.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "core/array_range.h"
#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/waveform.h"

namespace vomo {
namespace {

// High and low at the peak behind an edge, and steady.
struct Levels {
  explicit Levels(const float *four)
      : peak_high(four[0]), peak_low(four[1]), steady_high(four[2]), steady_low(four[3]) {}
  float peak_high, peak_low, steady_high, steady_low;
};

struct EdgeKind {
  bool rises, from_steady;

  static EdgeKind Of(uint8_t flags) {
    return {(flags & (CROSSOVER_RISE | CROSSOVER_FALL)) == CROSSOVER_RISE,
            (flags & CROSSOVER_DEEMPH) != 0};
  }
  // An edge from a steady level ends at a peak.
  float Top(const Levels &levels) const {
    return from_steady && !rises ? levels.steady_high : levels.peak_high;
  }
  float Bottom(const Levels &levels) const {
    return from_steady && rises ? levels.steady_low : levels.peak_low;
  }
};

// From each of the samples first to last a walk is known to end at the same stop; at the beginning
// there are none.
struct KnownWalk {
  uint32_t first = 1, last = 0;
  uint32_t stop = 0;

  bool Holds(uint32_t i) const { return i >= first && i <= last; }
};

// Walks from an edge to the two thresholds of its kind. What one walk has seen the next one of the
// same kind does not look at again: thresholds that the signal never reaches would else cost the
// whole waveform for every edge.
class EdgeWalk {
 public:
  EdgeWalk(const VomoWaveform &waveform, EdgeKind kind, const Levels &levels, float low_fraction,
           float high_fraction)
      : samples_(waveform.pfSamples),
        last_(waveform.ulNumSamples - 1),
        sign_(kind.rises ? 1.0f : -1.0f) {
    const float top = kind.Top(levels), bottom = kind.Bottom(levels);
    const double low = Threshold(low_fraction, top, bottom);
    const double high = Threshold(high_fraction, top, bottom);
    begin_v_ = kind.rises ? low : high;
    end_v_ = kind.rises ? high : low;
  }

  // From threshold to threshold, in samples.
  double Duration(uint32_t at) {
    const uint32_t begin = Walk(at, true, begin_v_, back_);
    const double start = begin + (begin == last_ ? 0.0 : ShareTo(begin_v_, begin, begin + 1));
    const uint32_t end = Walk(begin, false, end_v_, on_);
    return end - (end == 0 ? 0.0 : ShareTo(end_v_, end, end - 1)) - start;
  }

 private:
  static double Threshold(float fraction, float top, float bottom) {
    const float of_top = fraction * top, of_bottom = (1.0f - fraction) * bottom;
    return double{of_top} + double{of_bottom};
  }

  // Back while the edge is beyond its begin, on while it is short of its end.
  uint32_t Walk(uint32_t from, bool back, double threshold_v, KnownWalk &known) const {
    const float sign = back ? sign_ : -sign_;
    const float stop_v = sign * static_cast<float>(threshold_v);
    const uint32_t limit = back ? 0 : last_;
    uint32_t i = from;
    while (i != limit && sign * samples_[i] > stop_v && !known.Holds(i)) i += back ? -1u : 1u;
    if (known.Holds(i)) i = known.stop;
    if (i != from) known = {std::min(i, from), std::max(i, from), i};
    return i;
  }

  // Where the line from sample i to its neighbour meets the threshold, as a share of the way.
  double ShareTo(double threshold_v, uint32_t i, uint32_t neighbour) const {
    if (samples_[neighbour] == samples_[i]) return 0.0;
    const double v = double{samples_[i]};
    return (threshold_v - v) / (double{samples_[neighbour]} - v);
  }

  const float *samples_;
  uint32_t last_;
  float sign_;
  double begin_v_, end_v_;
  KnownWalk back_, on_;
};

// The tests that both methods share, and the block of their results.
bool IsEdgeRange(const VomoCrossoverData &edges, IndexRange range) {
  return edges.ulCount >= 2 && range.last < edges.ulCount && range.HoldsSeveral();
}

// time_of: seconds of an edge by its number.
template <class TimeOf>
VomoStatus DeliverTimes(IndexRange range, TimeOf time_of, uint32_t *count, double **times_out,
                        VomoHandle *handle_out) {
  return Guarded([&] {
    auto times = BlockOf<double>::Allocate(range.Count());
    for (uint32_t k = 0; k < range.Count(); ++k) times[k] = time_of(range.first + k);
    *count = range.Count();
    times.Deliver(times_out, handle_out);
    return Vomo_STATUS_SUCCESS;
  });
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_FIND_RISE_FALL_TIMES_SLOPE(const VomoCrossoverData *psEdges,
                                                      const double *pdSlopes, uint32_t ulFirst,
                                                      uint32_t ulLast, const float *afVoltageLevels,
                                                      float fLowFraction, float fHighFraction,
                                                      uint32_t *pulCount, double **ppdTimes,
                                                      VomoHandle *pHandle) noexcept {
  if (psEdges == nullptr || pdSlopes == nullptr || afVoltageLevels == nullptr ||
      pulCount == nullptr || ppdTimes == nullptr || pHandle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const IndexRange range{ulFirst, ulLast};
  if (!IsEdgeRange(*psEdges, range)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  if (psEdges->pucFlags == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  const Levels levels(afVoltageLevels);
  const double share = double{fHighFraction} - double{fLowFraction};
  const auto time_of = [&](uint32_t k) {
    const EdgeKind kind = EdgeKind::Of(psEdges->pucFlags[k]);
    const float swing = kind.Top(levels) - kind.Bottom(levels);
    return std::fabs(share * double{swing} / pdSlopes[k]);
  };
  return DeliverTimes(range, time_of, pulCount, ppdTimes, pHandle);
}

extern "C" VomoStatus Vomo_FIND_RISE_FALL_TIMES_WAVEFORM(
    const VomoCrossoverData *psEdges, const VomoWaveform *psWaveform, uint32_t ulFirst,
    uint32_t ulLast, const float *afVoltageLevels, float fLowFraction, float fHighFraction,
    uint32_t *pulCount, double **ppdTimes, VomoHandle *pHandle) noexcept {
  if (psEdges == nullptr || !HasSamples(psWaveform) || afVoltageLevels == nullptr ||
      pulCount == nullptr || ppdTimes == nullptr || pHandle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const IndexRange range{ulFirst, ulLast};
  if (!IsEdgeRange(*psEdges, range)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  if (psEdges->pucFlags == nullptr || psEdges->pdTimes == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const Levels levels(afVoltageLevels);
  const auto walk = [&](bool rises, bool from_steady) {
    return EdgeWalk(*psWaveform, {rises, from_steady}, levels, fLowFraction, fHighFraction);
  };
  std::array<EdgeWalk, 4> walks{walk(false, false), walk(false, true), walk(true, false),
                                walk(true, true)};
  const double interval_s = psWaveform->dSampleInterval;
  const auto time_of = [&](uint32_t k) {
    const EdgeKind kind = EdgeKind::Of(psEdges->pucFlags[k]);
    const uint32_t at =
        std::min(VomoToU32(psEdges->pdTimes[k] / interval_s), psWaveform->ulNumSamples - 1);
    return walks[2 * kind.rises + kind.from_steady].Duration(at) * interval_s;
  };
  return DeliverTimes(range, time_of, pulCount, ppdTimes, pHandle);
}
