// The period of a compliance pattern, found in the run lengths of its crossovers.
#include <algorithm>
#include <cstdint>
#include <numeric>
#include <optional>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/status.h"

namespace vomo {
namespace {

struct RepeatPattern {
  uint32_t repeats = 0, length_ui = 0, length_runs = 0;
};

// Runs of one polarity, thus every second one: their longest and its first place.
struct RunClass {
  uint16_t longest = 0;
  uint32_t at = 0;
};

struct RunExtremes {
  RunClass even, odd;
  uint16_t shortest = 0xFFFF;
};

RunExtremes FindExtremes(const uint16_t *runs, uint32_t count) {
  RunExtremes extremes;
  for (uint32_t k = 0; k < count; ++k) {
    RunClass &run_class = k % 2 == 0 ? extremes.even : extremes.odd;
    if (runs[k] > run_class.longest) run_class = {runs[k], k};
    extremes.shortest = std::min(extremes.shortest, runs[k]);
  }
  return extremes;
}

// Tells how many runs from the start on equal those a distance later. All distances up to the
// largest one cost a single pass over the list: what is known of one stretch of agreement answers
// for the distances inside it.
class SelfAgreement {
 public:
  SelfAgreement(const uint16_t *runs, uint32_t count, uint32_t largest_distance)
      : runs_(runs), count_(count), lengths_(uint64_t{largest_distance} + 1) {}

  uint32_t At(uint32_t distance) {
    while (known_ < distance) Extend();
    return lengths_[distance];
  }

 private:
  void Extend() {
    const uint32_t distance = ++known_;
    uint32_t length = distance < end_ ? std::min(end_ - distance, lengths_[distance - begin_]) : 0;
    while (distance + length < count_ && runs_[length] == runs_[distance + length]) ++length;
    lengths_[distance] = length;
    if (distance + length <= end_) return;
    begin_ = distance;
    end_ = distance + length;
  }

  const uint16_t *runs_;
  uint32_t count_;
  Scratch<uint32_t> lengths_;
  uint32_t known_ = 0;
  // The stretch that reaches furthest.
  uint32_t begin_ = 0, end_ = 0;
};

class PatternSearch {
 public:
  PatternSearch(const uint16_t *runs, uint32_t count, const RunExtremes &extremes)
      : runs_(runs),
        count_(count),
        limit_(count >> 1 & ~uint32_t{1}),
        use_even_(extremes.even.longest >= extremes.odd.longest),
        use_odd_(extremes.odd.longest >= extremes.even.longest),
        extremes_(extremes) {}

  // Nothing: no period up to half of the list repeats. No repeats: the longest runs lie too far
  // apart for two of them.
  std::optional<RepeatPattern> Find() const {
    const uint64_t shortest = ShortestPeriod();
    if (shortest > limit_) return RepeatPattern{};
    SelfAgreement agreement(runs_, count_, limit_);
    for (uint64_t period = shortest; period <= limit_; period += 2) {
      const auto runs = static_cast<uint32_t>(period);
      if (Repeats(runs, agreement)) {
        return RepeatPattern{count_ / runs, std::accumulate(runs_, runs_ + runs, uint32_t{0}),
                             runs};
      }
    }
    return std::nullopt;
  }

 private:
  // The run whose every repetition is looked at first.
  uint32_t Anchor() const {
    if (use_even_ && use_odd_) return std::max(extremes_.even.at, extremes_.odd.at);
    return use_even_ ? extremes_.even.at : extremes_.odd.at;
  }

  // A period holds the anchor and is no shorter than the widest gap between longest runs.
  uint64_t ShortestPeriod() const {
    uint64_t shortest = (uint64_t{Anchor()} | 1) + 1;
    if (use_even_) shortest = std::max(shortest, WidestGap(extremes_.even, 2));
    if (use_odd_) shortest = std::max(shortest, WidestGap(extremes_.odd, 1));
    return shortest;
  }

  // The search for later longest runs starts at twice the first one's place: the first period's own
  // are passed over.
  uint64_t WidestGap(const RunClass &run_class, uint32_t step) const {
    uint64_t widest = uint64_t{run_class.at} + step, last = run_class.at;
    for (uint64_t k = 2 * uint64_t{run_class.at} + step; k < count_; k += 2) {
      if (runs_[k] != run_class.longest) continue;
      widest = std::max(widest, k - last);
      last = k;
    }
    return widest;
  }

  // Every whole block equals the first one, which is to say that the list agrees with itself up to
  // the last block's begin; of an incomplete block behind them only the anchor counts.
  bool Repeats(uint32_t period, SelfAgreement &agreement) const {
    const uint32_t whole = count_ - count_ % period;
    if (agreement.At(period) < whole - period) return false;
    const uint64_t last_anchor = uint64_t{whole} + Anchor();
    return last_anchor >= count_ || runs_[last_anchor] == runs_[Anchor()];
  }

  const uint16_t *runs_;
  uint32_t count_;
  uint32_t limit_;
  bool use_even_, use_odd_;
  RunExtremes extremes_;
};

std::optional<RepeatPattern> FindPattern(const uint16_t *runs, uint32_t count) {
  const RunExtremes extremes = FindExtremes(runs, count);
  const uint16_t longest = std::max(extremes.even.longest, extremes.odd.longest);
  if (extremes.shortest == 0) return std::nullopt;
  if (extremes.shortest == longest) return RepeatPattern{count >> 1, 2u * longest, 2};
  return PatternSearch(runs, count, extremes).Find();
}

VomoStatus SearchError(const char *text) {
  Vomo_Set_Error_Context(text);
  return Vomo_STATUS_COMPUTATION_ERROR;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" int32_t FindRepeatPatternLength(const uint16_t *pusRunLengths, uint32_t ulCount,
                                           uint32_t *pulRepeats, uint32_t *pulLengthUI,
                                           uint32_t *pulLengthRuns) noexcept {
  if (pusRunLengths == nullptr || pulRepeats == nullptr || pulLengthUI == nullptr ||
      pulLengthRuns == nullptr) {
    return 1;
  }
  *pulRepeats = *pulLengthUI = *pulLengthRuns = 0;
  if (ulCount < 3) return 1;
  const VomoStatus status = Guarded([&] {
    const std::optional<RepeatPattern> found = FindPattern(pusRunLengths, ulCount);
    if (!found) return Vomo_STATUS_COMPUTATION_ERROR;
    *pulRepeats = found->repeats;
    *pulLengthUI = found->length_ui;
    *pulLengthRuns = found->length_runs;
    return Vomo_STATUS_SUCCESS;
  });
  return status == Vomo_STATUS_SUCCESS ? 0 : 1;
}

extern "C" VomoStatus VomoFIND_REPEAT_PATTERN_LENGTH(const uint16_t *pusRunLengths,
                                                     uint32_t ulCount,
                                                     VomoGen3Results *psGen3Results) noexcept {
  if (pusRunLengths == nullptr || psGen3Results == nullptr || ulCount < 3) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  VomoGen3Results &results = *psGen3Results;
  results.ulPatternRepeats = results.ulPatternLengthUI = results.ulPatternRuns = 0;
  return Guarded([&] {
    const std::optional<RepeatPattern> found = FindPattern(pusRunLengths, ulCount);
    if (!found) return SearchError("Error finding pattern repeat length.");
    if (found->repeats == 0) return SearchError("No repeating pattern found.");
    // High and low bits alternate in parity, so a repeat must hold an even number of bits.
    const uint32_t doubling = found->length_ui % 2;
    results.ulPatternRepeats = found->repeats >> doubling;
    results.ulPatternLengthUI = found->length_ui << doubling;
    results.ulPatternRuns = found->length_runs << doubling;
    return Vomo_STATUS_SUCCESS;
  });
}
