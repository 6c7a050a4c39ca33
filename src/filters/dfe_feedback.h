// The feedback of a DFE: the level that its taps make of the last decisions.
#ifndef VOMO_FILTERS_DFE_FEEDBACK_H
#define VOMO_FILTERS_DFE_FEEDBACK_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <vector>

namespace vomo {

constexpr int32_t kMostTaps = 16;

// Decisions are +1, -1, or 0 for none. Each has a cell of the history, and the current one is the
// newest that counts: moving back makes newer ones as if they had not been. Before the first
// decision all cells are 0.
class DfeFeedback {
 public:
  // taps, count: volts; up to 16 are used, and none acts as a single one of 0 V.
  // farthest_back: the most cells that the history will be moved back by, in a row.
  DfeFeedback(const float *taps, int32_t count, uint64_t farthest_back)
      : tap_count_(std::clamp(count, 1, kMostTaps)),
        cells_(std::bit_ceil(farthest_back + 2 * kMostTaps)),
        mask_(cells_.size() - 1),
        position_(static_cast<uint64_t>(tap_count_) - 1) {
    std::copy_n(taps, std::clamp(count, 0, kMostTaps), taps_.begin());
  }

  // The level that would be in force behind one more decision; nothing changes.
  float Peek(float next) const { return LevelBehind(next, position_); }

  // With repeats above 0 the current decision is repeated in so many cells and the new one follows
  // in the next. With 0 it takes the place of the current one. Below 0 the history moves back by so
  // many cells and the decision is not stored. Returns the level then in force.
  float Push(float decision, int64_t repeats) {
    if (repeats < 0) {
      position_ -= static_cast<uint64_t>(-repeats);
    } else {
      const float current = Cell(position_);
      for (int64_t k = 0; k < repeats; ++k) cells_[++position_ & mask_] = current;
      position_ += repeats > 0;
      cells_[position_ & mask_] = decision;
    }
    return LevelBehind(Cell(position_), position_ - 1);
  }

 private:
  float Cell(uint64_t position) const { return cells_[position & mask_]; }

  // In float, tap after tap: the first one weighs the newest decision, the others those at the
  // given position and before.
  float LevelBehind(float newest, uint64_t position) const {
    float level = taps_[0] * newest;
    for (int32_t k = 1; k < tap_count_; ++k) {
      level += taps_[static_cast<size_t>(k)] * Cell(position - static_cast<uint64_t>(k - 1));
    }
    return level;
  }

  std::array<float, kMostTaps> taps_{};
  int32_t tap_count_;
  std::vector<float> cells_;  // a ring
  uint64_t mask_;
  uint64_t position_;
};

}  // namespace vomo

#endif
