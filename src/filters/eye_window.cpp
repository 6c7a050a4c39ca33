#include "filters/eye_window.h"

#include <algorithm>
#include <cmath>

#include "core/handle_table.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

constexpr float kNoHigh = 1e6f, kNoLow = -1e6f;

// The four kinds of bits, as 2 * (the bit before is high) + (this one is high).
enum Kind { kLowAfterLow, kHighAfterLow, kLowAfterHigh, kHighAfterHigh, kKinds };

// Extreme levels of one phase: highs as maxima, lows as minima, from 0 on.
struct PhaseLevels {
  float level[kKinds] = {};
  uint32_t count[kKinds] = {};

  void Take(float before, float value) {
    if (std::isnan(before) || std::isnan(value)) return;
    const bool high = value >= 0;
    const int kind = 2 * (before >= 0) + high;
    const float kept = level[kind];
    level[kind] = high ? std::max(kept, value) : std::min(kept, value);
    ++count[kind];
  }

  uint64_t SameSignCount() const { return uint64_t{count[kHighAfterHigh]} + count[kLowAfterLow]; }
  double TransitionHeight() const {
    return double{level[kHighAfterLow]} - double{level[kLowAfterHigh]};
  }
  double NonTransitionHeight() const {
    return double{level[kHighAfterHigh]} - double{level[kLowAfterLow]};
  }
  EyeLevels Levels() const {
    return {level[kHighAfterLow], level[kLowAfterHigh], level[kHighAfterHigh], level[kLowAfterLow]};
  }
};

// The bits of one clock, read at any phase.
class BitReader {
 public:
  BitReader(const VomoWaveform &waveform, const VomoCrossoverData &clock, const double *intervals,
            uint32_t interval_count)
      : waveform_(waveform),
        times_(clock.pdTimes),
        elements_(clock.psTwoPartArray),
        intervals_(intervals),
        count_(std::min(interval_count, clock.ulCount)),
        samples_per_s_(1.0 / waveform.dSampleInterval),
        last_(static_cast<double>(waveform.ulNumSamples) - 1) {}

  // A bit that lies outside the samples is passed over.
  PhaseLevels Read(double phase) const {
    PhaseLevels levels;
    if (waveform_.ulNumSamples == 0) return levels;
    float before = waveform_.pfSamples[0];
    for (uint32_t k = 0; k < count_; ++k) {
      const double position = (intervals_[k] * phase + times_[k]) * samples_per_s_;
      if (!(position >= 0) || !(position < last_)) continue;
      float value = LevelAt(position);
      if (elements_ != nullptr) value -= elements_[k].fEnterThresh;
      levels.Take(before, value);
      before = value;
    }
    return levels;
  }

 private:
  float LevelAt(double position) const {
    const auto index = static_cast<uint32_t>(position);
    const double first = waveform_.pfSamples[index], second = waveform_.pfSamples[index + 1];
    return static_cast<float>((second - first) * (position - index) + first);
  }

  const VomoWaveform &waveform_;
  const double *times_;
  const VomoTwoPartCrossover *elements_;
  const double *intervals_;
  uint32_t count_;
  double samples_per_s_;
  double last_;
};

// Height and score of phase after phase, and the one that is chosen.
class Contest {
 public:
  explicit Contest(PhaseChoice choice) : choice_(choice) {}

  void Judge(const PhaseLevels &phase) {
    const double transition = phase.TransitionHeight();
    double height = transition;
    if (phase.SameSignCount() > 2) {
      non_transition_ = phase.NonTransitionHeight();
      height = std::min(non_transition_, transition);
    }
    const double ratio =
        non_transition_ > transition ? transition / non_transition_ : non_transition_ / transition;
    const double score = ratio * height;
    const bool wins =
        choice_ == PhaseChoice::kBestScore ? score > best_score_ : height < best_height_;
    last_ = phase;
    if (!wins) return;
    best_height_ = height;
    best_score_ = score;
    best_ = phase.Levels();
  }

  // Levels of a kind of bit that the last phase did not see often enough give way to those of the
  // transition bits.
  void Tell(EyeOpening &opening) const {
    opening.high = std::min(best_.transition_high, best_.non_transition_high);
    opening.low = std::max(best_.transition_low, best_.non_transition_low);
    opening.levels = best_;
    if (last_.SameSignCount() < 2) opening.levels.non_transition_high = best_.transition_high;
    if (last_.count[kLowAfterLow] < 1) opening.levels.non_transition_low = best_.transition_low;
    opening.score = best_score_;
  }

 private:
  PhaseChoice choice_;
  double non_transition_ = 0;  // of the latest phase that had one
  double best_height_ = 1e6, best_score_ = 0;
  EyeLevels best_{kNoHigh, kNoLow, kNoHigh, kNoLow};
  PhaseLevels last_;
};

double SmallerOverLarger(double a, double b) {
  const double larger = std::max(a, b);
  return larger > 0 ? std::min(a, b) / larger : 0.0;
}

}  // namespace

VomoStatus VomoEyeWindow(const VomoWaveform &waveform, const VomoCrossoverData &clock, float begin,
                         float end, PhaseChoice choice, EyeOpening *opening) {
  Received<double> intervals;
  uint32_t count = 0;
  const VomoStatus status = Vomo_CONVERT_CROSSOVER_TO_INTERVAL(
      &clock, 0, clock.ulCount - 1, &count, intervals.pointer(), intervals.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  VecMinMax_64f(intervals.get(), static_cast<int32_t>(count), &opening->min_interval_s,
                &opening->max_interval_s);

  const double first = begin, last = end;
  const double width = (last - first) / 25.0;
  const double step = width > 0 ? width : 1.0;
  const BitReader bits(waveform, clock, intervals.get(), count);
  Contest contest(choice);
  for (double phase = first; phase < last * 1.1; phase += step) contest.Judge(bits.Read(phase));
  contest.Tell(*opening);
  return Vomo_STATUS_SUCCESS;
}

double VomoEyeScore(uint32_t eye_option, bool sum_of_sides, double unit_interval_s,
                    double min_interval_s, double max_interval_s, const EyeLevels &levels,
                    double *right_margin_s, double *left_margin_s) {
  const double left = min_interval_s - unit_interval_s * 0.5;
  const double right = unit_interval_s * 1.5 - max_interval_s;
  if (right_margin_s != nullptr) *right_margin_s = right;
  if (left_margin_s != nullptr) *left_margin_s = left;
  const double width = sum_of_sides ? left + right : std::min(left, right);
  const double high = std::min(levels.non_transition_high, levels.transition_high);
  const double low = std::max(levels.non_transition_low, levels.transition_low);
  const double height = sum_of_sides ? high - low : std::min(high, std::fabs(low));
  switch (eye_option) {
    case OPT_EYE_WIDTH:
      return width;
    case OPT_EYE_HEIGHT:
      return height;
    case OPT_EYE_AREA:
      return height * width;
    case OPT_EYE_RATIO:
      return SmallerOverLarger(
          double{levels.transition_high} - double{levels.transition_low},
          double{levels.non_transition_high} - double{levels.non_transition_low});
    default:
      return 0.0;
  }
}

}  // namespace vomo
