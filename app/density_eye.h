// A density eye: how long the signal stays in each cell of time and voltage, folded on a clock.
#ifndef VOMO_APP_DENSITY_EYE_H
#define VOMO_APP_DENSITY_EYE_H

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace app {

// Which bits an eye shows. A bit is a transition when the middle of the bit before it does not lie
// on the same side of 0 V.
enum class BitClass { kTransition, kNonTransition, kAll };
constexpr int kBitClasses = 3;

// Of the bit from begin to end, the bit before it beginning at before: positions in samples, within
// the samples.
inline BitClass ClassOfBit(std::span<const float> samples, double before, double begin,
                           double end) {
  const auto middle = [&](double a, double b) {
    return samples[static_cast<size_t>(0.5 * (a + b) + 0.5)];
  };
  return middle(before, begin) * middle(begin, end) > 0 ? BitClass::kNonTransition
                                                        : BitClass::kTransition;
}

// The cells of an eye over two UI: the bit itself from 0 to 1 UI and half of each neighbour.
struct EyeGrid {
  static constexpr int kColumnsPerUi = 256;
  static constexpr int kColumns = 2 * kColumnsPerUi;
  static constexpr int kRows = 256;
  static constexpr double kFirstUi = -0.5, kUiStep = 1.0 / kColumnsPerUi;
  // What one bit leaves in each column, so that a column holds this times the bits of the eye.
  static constexpr uint32_t kWeight = 1024;

  double lowest_v = 0, highest_v = 0;
  uint64_t bits = 0;
  std::vector<uint64_t> cells;  // kRows rows of kColumns, from the lowest voltage upwards

  double row_v() const { return (highest_v - lowest_v) / kRows; }
  uint64_t At(int row, int column) const {
    return cells[static_cast<size_t>(row) * kColumns + static_cast<size_t>(column)];
  }
};

struct DensityEye {
  std::array<EyeGrid, kBitClasses> grids;
  const EyeGrid &operator[](BitClass bits) const { return grids[static_cast<size_t>(bits)]; }
};

// Folds samples (volts, joined by straight lines) over the bits between the clock edges, which are
// positions in samples from sample 0. Each cell gets the share of its column's time that the lines
// spend in it, in steps of 1 / kWeight, so nothing depends on how samples and bits fall together.
// A line outside the voltages given is counted in the outermost row; NaN holds the row before it.
// Edges outside the samples, and bits of no positive length, are left out.
DensityEye FoldDensityEye(std::span<const float> samples, std::span<const double> clock,
                          double lowest_v, double highest_v);

}  // namespace app

#endif
