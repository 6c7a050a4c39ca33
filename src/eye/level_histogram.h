// The voltage histogram of an eye at one abscissa, and the trimmed levels read from it.
#ifndef VOMO_EYE_LEVEL_HISTOGRAM_H
#define VOMO_EYE_LEVEL_HISTOGRAM_H

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace vomo {

// How many hits a bin needs to be taken for a level: the count, if that is 1 or more, otherwise the
// factor times half the hits in that half of the bins.
struct LevelTrim {
  int32_t count;
  double factor;
};

struct EyeLevels {
  float high_v, low_v;
};

class LevelHistogram {
 public:
  // Bins of the given width, volts, from min_v to max_v. Is of no use (false below) when that makes
  // no bin, for a range or width that is no number, and without memory.
  LevelHistogram(float min_v, float max_v, float bin_width_v);

  explicit operator bool() const { return counts_ != nullptr; }

  void Add(double volts);

  // The high level comes from the trimmed positive voltages, the low level from the others: the
  // voltage nearest to 0 in the innermost bin with enough hits. Without one it is 3156.3293, the
  // level of a bin that was never hit; 0.0 for a side without a single hit.
  EyeLevels Levels(const LevelTrim &trim) const;

 private:
  struct Free {
    void operator()(void *memory) const { std::free(memory); }
  };
  template <class T>
  using Cleared = std::unique_ptr<T[], Free>;

  // Bins in which voltages of one sign lie.
  struct Span {
    int64_t first = INT64_MAX, last = -1;
    void Extend(int64_t bin) {
      if (bin < first) first = bin;
      if (bin > last) last = bin;
    }
    bool IsEmpty() const { return last < first; }
  };

  float LevelOf(int64_t bin) const;
  int64_t Threshold(uint64_t hits, double factor) const;

  double min_v_;
  double bins_per_volt_;
  int64_t bin_count_ = 0;
  // Fresh memory from the system, touched only where a voltage falls: bins may be far more than
  // traces.
  Cleared<uint32_t> counts_;
  Cleared<float> levels_;
  Span positive_, not_positive_;
  uint64_t upper_half_hits_ = 0, lower_half_hits_ = 0;
};

}  // namespace vomo

#endif
