#include "density_eye.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <future>
#include <memory>

namespace app {
namespace {

constexpr int kHalfColumns = EyeGrid::kColumnsPerUi / 2;
constexpr int kStride = kHalfColumns + 4;      // a crossing at the very end touches one more column
constexpr uint32_t kTicks = EyeGrid::kWeight;  // steps of time in a column
constexpr uint32_t kHalfTicks = kHalfColumns * kTicks;
// A cell of 32 bits holds this many bits' full weight.
constexpr size_t kBitsAtOnce = size_t{1} << 20;

// Class of a neighbour that is not part of the eye.
constexpr int kOutside = 2;
constexpr int kPairClasses = 3;

typedef uint32_t Two __attribute__((vector_size(8)));

// Ticks of a crossing's time with a fraction, as steps from row to row are added up.
constexpr int kFractionBits = 24;
constexpr double kFraction = 1 << kFractionBits;

// One half of a UI. What is kept is not the cells but the changes between them: for each boundary
// of two rows when the signal crosses it, as differences along time. A crossing then costs one
// addition, however long the signal stays where it went.
class HalfGrid {
 public:
  HalfGrid() : crossings_(size_t{EyeGrid::kRows} * kStride) {}

  void Start(int row) { ++starts_[static_cast<size_t>(row)]; }

  // The signal crosses the boundary below a row at a time, upwards (1) or downwards (-1). What is
  // left of the time's own column counts there, the rest of the column's weight from the next on.
  void Cross(int boundary, uint32_t ticks, int direction) {
    uint32_t *place = &crossings_[static_cast<size_t>(boundary) * kStride + ticks / kTicks];
    const uint32_t late = ticks % kTicks;
    Two held, share = Two{kTicks - late, late} * static_cast<uint32_t>(direction);
    std::memcpy(&held, place, sizeof held);
    held += share;
    std::memcpy(place, &held, sizeof held);
  }

  // Adds the cells to columns of a grid, and of a second one if there is one, and clears them here.
  void MoveTo(EyeGrid &first, int first_column, EyeGrid *second, int second_column, EyeGrid &all) {
    for (int row = 0; row < EyeGrid::kRows; ++row) {
      const uint32_t *from_below = &crossings_[static_cast<size_t>(row) * kStride];
      const uint32_t *to_above = row + 1 < EyeGrid::kRows ? from_below + kStride : nullptr;
      const size_t start = static_cast<size_t>(row) * EyeGrid::kColumns;
      uint32_t held = starts_[static_cast<size_t>(row)] * kTicks;
      for (int c = 0; c < kHalfColumns; ++c) {
        held += from_below[c] - (to_above != nullptr ? to_above[c] : 0);
        for (EyeGrid *grid : {&first, &all}) {
          grid->cells[start + static_cast<size_t>(first_column + c)] += held;
        }
        if (second == nullptr) continue;
        for (EyeGrid *grid : {second, &all}) {
          grid->cells[start + static_cast<size_t>(second_column + c)] += held;
        }
      }
    }
    std::fill(crossings_.begin(), crossings_.end(), 0u);
    starts_.fill(0);
  }

 private:
  std::vector<uint32_t> crossings_;  // of the boundary below each row
  std::array<uint32_t, EyeGrid::kRows> starts_ = {};
};

class Folder {
 public:
  Folder(std::span<const float> samples, double lowest_v, double highest_v)
      : samples_(samples),
        lowest_v_(lowest_v),
        rows_per_v_(highest_v > lowest_v ? EyeGrid::kRows / (highest_v - lowest_v) : 0) {
    for (EyeGrid &grid : eye_.grids) {
      grid.lowest_v = lowest_v;
      grid.highest_v = highest_v;
      grid.cells.resize(size_t{EyeGrid::kRows} * EyeGrid::kColumns);
    }
  }

  // Folds the bits that begin with the edges from first up to behind.
  void Fold(std::span<const double> clock, size_t first, size_t behind) {
    const double last = static_cast<double>(samples_.size()) - 1;
    size_t since_move = 0;
    // Both neighbours of a bit have to lie within the samples too: their halves are part of it.
    const auto length = [&](size_t k) {
      return clock[k] >= 0 && clock[k + 1] <= last ? clock[k + 1] - clock[k] : 0.0;
    };
    const auto class_of = [&](size_t k) {
      const bool whole =
          k >= 1 && k + 2 < clock.size() && length(k - 1) > 0 && length(k) > 0 && length(k + 1) > 0;
      if (!whole) return kOutside;
      return static_cast<int>(ClassOfBit(samples_, clock[k - 1], clock[k], clock[k + 1]));
    };
    int before = first > 0 ? class_of(first - 1) : kOutside, own = class_of(first);
    for (size_t k = first; k < behind; ++k) {
      const int after = class_of(k + 1);
      if (own != kOutside) ++bits_[own];
      const double middle = 0.5 * (clock[k] + clock[k + 1]);
      if (own != kOutside || before != kOutside) Draw(Half(0, own, before), clock[k], middle);
      if (own != kOutside || after != kOutside) Draw(Half(1, own, after), middle, clock[k + 1]);
      before = own;
      own = after;
      if (++since_move == kBitsAtOnce) {
        MoveAll();
        since_move = 0;
      }
    }
    MoveAll();
  }

  // The eye of all that was folded here and in another folder of the same capture.
  DensityEye Join(const Folder &other) {
    for (size_t i = 0; i < eye_.grids.size(); ++i) {
      const std::vector<uint64_t> &cells = other.eye_.grids[i].cells;
      std::transform(cells.begin(), cells.end(), eye_.grids[i].cells.begin(),
                     eye_.grids[i].cells.begin(), std::plus<>());
    }
    for (int bits = 0; bits < 2; ++bits) bits_[bits] += other.bits_[bits];
    eye_.grids[0].bits = bits_[0];
    eye_.grids[1].bits = bits_[1];
    eye_.grids[2].bits = bits_[0] + bits_[1];
    return std::move(eye_);
  }

 private:
  std::unique_ptr<HalfGrid> &Place(int half, int own, int neighbour) {
    return halves_[static_cast<size_t>((half * kPairClasses + own) * kPairClasses + neighbour)];
  }
  HalfGrid &Half(int half, int own, int neighbour) {
    std::unique_ptr<HalfGrid> &place = Place(half, own, neighbour);
    if (!place) place = std::make_unique<HalfGrid>();
    return *place;
  }

  // Volts in rows, within the grid; NaN gives the height before it.
  double Height(double volts, double before) const {
    constexpr double top = EyeGrid::kRows - 1e-6;
    const double height = (volts - lowest_v_) * rows_per_v_;
    return height > 0 ? std::min(height, top) : height <= 0 ? 0.0 : before;
  }
  double HeightAt(double position, double before) const {
    const double whole = std::floor(position);
    const auto i = static_cast<size_t>(whole);
    const double a = samples_[i], b = samples_[std::min(i + 1, samples_.size() - 1)];
    return Height(position == whole ? a : a + (position - whole) * (b - a), before);
  }

  // Draws the signal between two positions as half a UI.
  void Draw(HalfGrid &grid, double begin, double end) {
    const double ticks = kHalfTicks / (end - begin);
    double time = 0, height = HeightAt(begin, 0);
    int row = static_cast<int>(height);
    int64_t crossed = 0;  // no crossing comes before the one ahead of it, whatever rounding does
    grid.Start(row);
    const auto step = [&](double next_time, double next_height) {
      const int next_row = static_cast<int>(next_height);
      if (next_row != row) {
        const double slope = (next_time - time) / (next_height - height);
        const int direction = next_row > row ? 1 : -1;
        const int first = direction > 0 ? row + 1 : row, behind = first + (next_row - row);
        const auto at = static_cast<int64_t>((time + (first - height) * slope) * kFraction);
        const auto apart = static_cast<int64_t>(direction * slope * kFraction);
        crossed = std::max(crossed, at) - apart;
        for (int boundary = first; boundary != behind; boundary += direction) {
          crossed += apart;
          grid.Cross(boundary, static_cast<uint32_t>(crossed >> kFractionBits), direction);
        }
        row = next_row;
      }
      time = next_time;
      height = next_height;
    };
    const auto stop = static_cast<size_t>(std::ceil(end));
    for (size_t i = static_cast<size_t>(std::floor(begin)) + 1; i < stop; ++i) {
      step((static_cast<double>(i) - begin) * ticks, Height(samples_[i], height));
    }
    step(kHalfTicks, HeightAt(end, height));
  }

  void MoveAll() {
    constexpr int ui = EyeGrid::kColumnsPerUi;
    for (int half = 0; half < 2; ++half) {
      for (int own = 0; own < kPairClasses; ++own) {
        for (int neighbour = 0; neighbour < kPairClasses; ++neighbour) {
          const auto &grid = Place(half, own, neighbour);
          if (!grid) continue;
          // The bit's own half, and the same stretch beside the neighbour: behind the bit before
          // it, ahead of the bit after it.
          const int inside = half == 0 ? ui / 2 : ui, beside = half == 0 ? ui + ui / 2 : 0;
          EyeGrid &all = eye_.grids[2];
          if (own == kOutside) {
            grid->MoveTo(eye_.grids[static_cast<size_t>(neighbour)], beside, nullptr, 0, all);
          } else {
            EyeGrid *second =
                neighbour == kOutside ? nullptr : &eye_.grids[static_cast<size_t>(neighbour)];
            grid->MoveTo(eye_.grids[static_cast<size_t>(own)], inside, second, beside, all);
          }
        }
      }
    }
  }

  std::span<const float> samples_;
  double lowest_v_, rows_per_v_;
  DensityEye eye_;
  uint64_t bits_[2] = {};
  std::array<std::unique_ptr<HalfGrid>, size_t{2} * kPairClasses * kPairClasses> halves_;
};

}  // namespace

// On two threads, each with half of the bits: the sums are of whole numbers, so nothing depends on
// how the bits were shared out.
DensityEye FoldDensityEye(std::span<const float> samples, std::span<const double> clock,
                          double lowest_v, double highest_v) {
  Folder first(samples, lowest_v, highest_v), second(samples, lowest_v, highest_v);
  if (clock.size() > 1) {
    const size_t bits = clock.size() - 1, half = bits / 2;
    auto ahead = std::async(std::launch::async, [&] { first.Fold(clock, 0, half); });
    second.Fold(clock, half, bits);
    ahead.get();
  }
  return first.Join(second);
}

}  // namespace app
