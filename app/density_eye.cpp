#include "density_eye.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace app {
namespace {

constexpr int kHalfColumns = EyeGrid::kColumnsPerUi / 2;
constexpr int kStride = kHalfColumns + 4;      // differences go up to three columns further
constexpr uint32_t kTicks = EyeGrid::kWeight;  // steps of time in a column
constexpr uint32_t kHalfTicks = kHalfColumns * kTicks;
// A cell of 32 bits holds this many bits' full weight.
constexpr size_t kBitsAtOnce = size_t{1} << 20;

// Class of a neighbour that is not part of the eye.
constexpr int kOutside = 2;
constexpr int kPairClasses = 3;

typedef uint32_t Four __attribute__((vector_size(16)));

// One half of a UI, as differences along time: the sum of a row's differences up to a column is the
// time spent in that cell. A stay in a row costs the same however long it is.
class HalfGrid {
 public:
  HalfGrid() : differences_(size_t{EyeGrid::kRows} * kStride) {}

  // The signal is in this row from one time to another. What is left of a time's own column counts
  // there, and the rest of the column's weight from the next one on. Short stays, the rule on an
  // edge of the signal, touch memory once.
  void Stay(int row, uint32_t from, uint32_t to) {
    uint32_t *line = &differences_[static_cast<size_t>(row) * kStride];
    const uint32_t column = from / kTicks, apart = to / kTicks - column;
    const uint32_t a = from % kTicks, b = to % kTicks;
    if (apart == 0) return Add(line + column, Four{b - a, a - b, 0, 0});
    if (apart == 1) return Add(line + column, Four{kTicks - a, a + b - kTicks, -b, 0});
    Add(line + column, Four{kTicks - a, a, 0, 0});
    Add(line + column + apart, Four{b - kTicks, -b, 0, 0});
  }

  // Adds the cells to columns of a grid and clears them here.
  void MoveTo(EyeGrid &first, int first_column, EyeGrid *second, int second_column, EyeGrid &all) {
    for (int row = 0; row < EyeGrid::kRows; ++row) {
      uint32_t *line = &differences_[static_cast<size_t>(row) * kStride];
      const size_t start = static_cast<size_t>(row) * EyeGrid::kColumns;
      uint32_t held = 0;
      for (int c = 0; c < kHalfColumns; ++c) {
        held += line[c];
        for (EyeGrid *grid : {&first, &all}) {
          grid->cells[start + static_cast<size_t>(first_column + c)] += held;
        }
        if (second == nullptr) continue;
        for (EyeGrid *grid : {second, &all}) {
          grid->cells[start + static_cast<size_t>(second_column + c)] += held;
        }
      }
      std::fill_n(line, kStride, 0u);
    }
  }

 private:
  static void Add(uint32_t *place, Four share) {
    Four held;
    std::memcpy(&held, place, sizeof held);
    held += share;
    std::memcpy(place, &held, sizeof held);
  }

  std::vector<uint32_t> differences_;
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

  DensityEye Fold(std::span<const double> clock) {
    const double last = static_cast<double>(samples_.size()) - 1;
    size_t since_move = 0;
    // Both neighbours of a bit have to lie within the samples too: their halves are part of it.
    const auto length = [&](size_t k) {
      return clock[k] >= 0 && clock[k + 1] <= last ? clock[k + 1] - clock[k] : 0.0;
    };
    const auto whole = [&](size_t k) {
      return k >= 1 && k + 2 < clock.size() && length(k - 1) > 0 && length(k) > 0 &&
             length(k + 1) > 0;
    };
    const auto class_of = [&](size_t k) {
      if (!whole(k)) return kOutside;
      return static_cast<int>(ClassOfBit(samples_, clock[k - 1], clock[k], clock[k + 1]));
    };
    int before = kOutside, own = kOutside;
    for (size_t k = 0; k + 1 < clock.size(); ++k) {
      const int after = k + 2 < clock.size() ? class_of(k + 1) : kOutside;
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
    uint32_t entered = 0;
    const auto step = [&](double next_time, double next_height) {
      const int next_row = static_cast<int>(next_height);
      if (next_row != row) {
        const double slope = (next_time - time) / (next_height - height);
        const int direction = next_row > row ? 1 : -1;
        const double origin = time - height * slope;
        for (; row != next_row; row += direction) {
          const double at = origin + (direction > 0 ? row + 1 : row) * slope;
          const auto left = static_cast<int32_t>(std::clamp<double>(at, entered, kHalfTicks));
          grid.Stay(row, entered, static_cast<uint32_t>(left));
          entered = static_cast<uint32_t>(left);
        }
      }
      time = next_time;
      height = next_height;
    };
    const auto stop = static_cast<size_t>(std::ceil(end));
    for (size_t i = static_cast<size_t>(std::floor(begin)) + 1; i < stop; ++i) {
      step((static_cast<double>(i) - begin) * ticks, Height(samples_[i], height));
    }
    step(kHalfTicks, HeightAt(end, height));
    grid.Stay(row, entered, kHalfTicks);
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

DensityEye FoldDensityEye(std::span<const float> samples, std::span<const double> clock,
                          double lowest_v, double highest_v) {
  return Folder(samples, lowest_v, highest_v).Fold(clock);
}

}  // namespace app
