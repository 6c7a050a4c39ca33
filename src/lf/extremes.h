// How the measurements of a burst track their own minimum and maximum, and how these join the ones
// of the bursts before.
#ifndef VOMO_LF_EXTREMES_H
#define VOMO_LF_EXTREMES_H

#include <vomo.h>

#include <algorithm>
#include <cstdint>

namespace vomo {

// Of a burst in which nothing was measured both are 0.0.
struct Extremes {
  double min = 0.0, max = 0.0;
};

// Minimum and maximum over the bursts so far, where the caller keeps them; either may be absent.
struct RunningExtremes {
  int32_t burst_index;
  double *min, *max;

  // The first burst sets them.
  void Fold(const Extremes &burst) const {
    if (min != nullptr && (burst_index == 0 || burst.min < *min)) *min = burst.min;
    if (max != nullptr && (burst_index == 0 || burst.max > *max)) *max = burst.max;
  }
};

// ---- The rules within a burst ----
//
// First() takes the value of the first period, Next() one of a later period.

// A value either lowers the minimum or may raise the maximum.
struct MinimumElseMaximum {
  using Value = double;
  static Extremes First(double value) { return {value, value}; }
  static void Next(Extremes &so_far, double value) {
    if (value < so_far.min) {
      so_far.min = value;
    } else {
      so_far.max = std::max(so_far.max, value);
    }
  }
};

// A value either raises the maximum or may lower the minimum.
struct MaximumElseMinimum {
  using Value = double;
  static Extremes First(double value) { return {value, value}; }
  static void Next(Extremes &so_far, double value) {
    if (value > so_far.max) {
      so_far.max = value;
    } else {
      so_far.min = std::min(so_far.min, value);
    }
  }
};

// The first value is no maximum.
struct MaximumFromZero : MinimumElseMaximum {
  static Extremes First(double value) { return {value, 0.0}; }
};

// The minimum is the last value below the maximum, which need not be the smallest.
struct LastBelowMaximum : MaximumElseMinimum {
  static void Next(Extremes &so_far, double value) {
    if (value > so_far.max) {
      so_far.max = value;
    } else if (value < so_far.max) {
      so_far.min = value;
    }
  }
};

// The samples of one period.
struct Swing {
  float lowest_magnitude;  // of the lowest sample
  float highest;
};

// A period that lowers the minimum, by either of its two values, does not raise the maximum.
struct SwingRule {
  using Value = Swing;
  static Extremes First(Swing swing) { return {swing.lowest_magnitude, swing.highest}; }
  static void Next(Extremes &so_far, Swing swing) {
    if (so_far.min > swing.lowest_magnitude) {
      so_far.min = swing.lowest_magnitude;
    } else if (so_far.min > swing.highest) {
      so_far.min = swing.highest;
    } else {
      so_far.max = std::max({so_far.max, double{swing.lowest_magnitude}, double{swing.highest}});
    }
  }
};

// Which measurement goes by which rule.
using PeriodRule = MinimumElseMaximum;
using BitDurationRule = MinimumElseMaximum;
using DutyCycleRule = MaximumElseMinimum;
using VoltageRule = MaximumElseMinimum;
using MinorDurationRule = MaximumFromZero;
using TransmitRatioRule = LastBelowMaximum;
using AmplitudeRule = SwingRule;

// Periods of a list: two intervals each, hence one fewer than pairs of crossovers when the list
// ends with a whole pair.
constexpr uint32_t PeriodCount(const VomoCrossoverData &crossovers) {
  return crossovers.ulCount == 0 ? 0 : (crossovers.ulCount - 1) / 2;
}

// Walks the periods of a burst by a rule and folds the result into the running extremes.
// value_of(j, &value) writes the value of period j and returns a status word; a failure ends the
// walk and leaves the running extremes as they were.
template <class Rule, class ValueOf>
VomoStatus MeasurePeriods(const VomoCrossoverData &crossovers, const RunningExtremes &running,
                          ValueOf value_of) {
  Extremes burst;
  for (uint32_t j = 0; j < PeriodCount(crossovers); ++j) {
    typename Rule::Value value{};
    const VomoStatus status = value_of(j, &value);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    if (j == 0) {
      burst = Rule::First(value);
    } else {
      Rule::Next(burst, value);
    }
  }
  running.Fold(burst);
  return Vomo_STATUS_SUCCESS;
}

}  // namespace vomo

#endif
