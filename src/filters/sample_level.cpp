#include "filters/sample_level.h"

#include <algorithm>
#include <cmath>

#include "core/numeric.h"

namespace vomo {
namespace {

bool IsSmaller(double a, double b) {
  return std::fabs(a) < std::fabs(b);
}

// Smallest and largest by magnitude.
struct Extent {
  double min, max;

  void Take(double level) {
    if (IsSmaller(level, min)) min = level;
    if (IsSmaller(max, level)) max = level;
  }
};

class Reader {
 public:
  Reader(const VomoWaveform &waveform, double begin_s, double end_s)
      : samples_(waveform.pfSamples),
        interval_s_(waveform.dSampleInterval),
        begin_s_(begin_s),
        end_s_(end_s),
        first_(SegmentOf(waveform, begin_s)),
        last_(SegmentOf(waveform, end_s)) {}

  Extent Levels() const { return first_ < last_ ? AcrossSamples() : WithinOneSegment(); }

 private:
  // Index of the sample before the time.
  static uint32_t SegmentOf(const VomoWaveform &waveform, double time_s) {
    return std::min(VomoToU32(time_s / waveform.dSampleInterval), waveform.ulNumSamples - 2);
  }

  double At(uint32_t index) const { return samples_[index]; }

  // What the line between a sample and the next one climbs from the sample on to the time.
  double Climb(uint32_t index, double time_s) const {
    return (time_s - index * interval_s_) * (At(index + 1) - At(index)) / interval_s_;
  }

  // The samples between the times; where those don't go beyond the two around them, the places on
  // the first and the last line count as well.
  Extent AcrossSamples() const {
    Extent extent{At(first_ + 1), At(first_ + 1)};
    for (uint32_t k = first_ + 2; k <= last_; ++k) {
      const double level = At(k);
      if (IsSmaller(level, extent.min)) {
        extent.min = level;
      } else if (IsSmaller(extent.max, level)) {
        extent.max = level;
      }
    }
    const double before = At(first_), behind = At(last_ + 1);
    const bool min_within = IsSmaller(extent.min, before) && IsSmaller(extent.min, behind);
    const bool max_within = IsSmaller(before, extent.max) && IsSmaller(behind, extent.max);
    if (min_within && max_within) return extent;
    extent.Take(before + Climb(first_, begin_s_));
    extent.Take(At(last_) + Climb(last_, end_s_));
    return extent;
  }

  Extent WithinOneSegment() const {
    const double start = At(first_);
    const double at_begin = start + Climb(first_, begin_s_);
    const double at_end = start + Climb(first_, end_s_);
    return IsSmaller(start, At(first_ + 1)) ? Extent{at_begin, at_end} : Extent{at_end, at_begin};
  }

  const float *samples_;
  double interval_s_;
  double begin_s_, end_s_;
  uint32_t first_, last_;
};

}  // namespace

double VomoSampleLevel(const VomoWaveform &waveform, double begin_s, double end_s,
                       uint32_t height_type) {
  if (waveform.ulNumSamples < 2) return 0.0;
  const Extent extent = Reader(waveform, begin_s, end_s).Levels();
  if (height_type == Vomo_FIND_MIN) return extent.min;
  if (height_type == Vomo_FIND_MAX) return extent.max;
  return (extent.max + extent.min) * 0.5;
}

}  // namespace vomo
