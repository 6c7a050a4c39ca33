#include "eye/level_histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "core/numeric.h"

namespace vomo {
namespace {

// Four bytes of 0x45 read as a float, 3156.3293: the level of a bin without a hit.
constexpr float kUnfilledLevel = std::bit_cast<float>(0x45454545u);

template <class T>
T *AllocateCleared(int64_t count) {
  return static_cast<T *>(std::calloc(static_cast<std::size_t>(count), sizeof(T)));
}

}  // namespace

LevelHistogram::LevelHistogram(float min_v, float max_v, float bin_width_v) : min_v_(min_v) {
  const float range_v = max_v - min_v;
  bin_count_ = bin_width_v > 0 ? VomoToI32(double{range_v / bin_width_v}) : 0;
  bins_per_volt_ = static_cast<double>(bin_count_) / double{range_v};
  if (bin_count_ < 1) return;
  levels_.reset(AllocateCleared<float>(bin_count_));
  if (levels_ != nullptr) counts_.reset(AllocateCleared<uint32_t>(bin_count_));
}

void LevelHistogram::Add(double volts) {
  const int64_t bin =
      std::clamp<int64_t>(VomoToI32((volts - min_v_) * bins_per_volt_), 0, bin_count_ - 1);
  const float level = LevelOf(bin);
  const bool nearer = std::fabs(volts) < std::fabs(double{level});
  const auto index = static_cast<std::size_t>(bin);
  levels_[index] = nearer ? static_cast<float>(volts) : level;
  ++counts_[index];
  if (volts > 0.0) positive_.Extend(bin);
  if (volts <= 0.0) not_positive_.Extend(bin);
  // With an odd number of bins the last one belongs to neither half.
  const int64_t half = bin_count_ / 2;
  lower_half_hits_ += bin < half;
  upper_half_hits_ += bin >= half && bin < 2 * half;
}

float LevelHistogram::LevelOf(int64_t bin) const {
  if (bin < 0 || bin >= bin_count_) return kUnfilledLevel;
  const auto index = static_cast<std::size_t>(bin);
  return counts_[index] == 0 ? kUnfilledLevel : levels_[index];
}

int64_t LevelHistogram::Threshold(uint64_t hits, double factor) const {
  return VomoToI32(static_cast<double>(hits / 2) * factor + 0.5);
}

EyeLevels LevelHistogram::Levels(const LevelTrim &trim) const {
  int64_t upper = trim.count, lower = trim.count;
  if (trim.count < 1) {
    const double factor = trim.factor > 0 ? trim.factor : 0.0;
    upper = std::max<int64_t>(Threshold(upper_half_hits_, factor), 1);
    lower = factor > 0 ? Threshold(lower_half_hits_, factor) : upper;
  }
  EyeLevels levels{0.0f, 0.0f};
  const auto count_at = [this](int64_t bin) { return counts_[static_cast<std::size_t>(bin)]; };
  if (!positive_.IsEmpty()) {
    int64_t bin = positive_.first;
    while (bin <= positive_.last && count_at(bin) < upper) ++bin;
    levels.high_v = LevelOf(bin);
  }
  if (!not_positive_.IsEmpty()) {
    int64_t bin = not_positive_.last;
    while (bin >= not_positive_.first && count_at(bin) < lower) --bin;
    levels.low_v = LevelOf(bin);
  }
  return levels;
}

}  // namespace vomo
