// The density eye against signals whose time in each cell is known in closed form.
#include "density_eye.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "synth_signal.h"

namespace {

using app::BitClass;
using app::EyeGrid;

std::vector<double> EvenClock(double first, double step, double last) {
  std::vector<double> clock;
  for (int k = 0; first + k * step <= last; ++k) clock.push_back(first + k * step);
  return clock;
}

uint64_t ColumnSum(const EyeGrid &grid, int column) {
  uint64_t sum = 0;
  for (int row = 0; row < EyeGrid::kRows; ++row) sum += grid.At(row, column);
  return sum;
}

// Every column of every eye holds each of its bits once.
void ExpectConserved(const app::DensityEye &eye) {
  for (const EyeGrid &grid : eye.grids) {
    for (int column = 0; column < EyeGrid::kColumns; ++column) {
      ASSERT_EQ(ColumnSum(grid, column), grid.bits * EyeGrid::kWeight) << column;
    }
  }
  for (size_t i = 0; i < eye.grids[0].cells.size(); ++i) {
    ASSERT_EQ(eye.grids[2].cells[i], eye.grids[0].cells[i] + eye.grids[1].cells[i]);
  }
}

TEST(DensityEye, CountsAreConservedForEverySamplingAndSignal) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  app::RandomStream random(5, 0);
  for (const double samples_per_ui : {0.7, 2.0, 2.37, 10.0, 33.3, 400.0}) {
    std::vector<float> samples(static_cast<size_t>(200 * samples_per_ui) + 50);
    for (float &v : samples) v = static_cast<float>(random.Gaussian());
    samples[20] = nan;
    samples[30] = inf;
    samples[40] = -inf;
    std::vector<double> clock =
        EvenClock(3.3, samples_per_ui, static_cast<double>(samples.size()) + 5);
    clock.insert(clock.begin(), -1.0);
    for (double &edge : clock) edge += 0.1 * random.Gaussian();
    clock[60] = clock[61];  // a bit of no length, and edges in the wrong order
    std::swap(clock[80], clock[82]);
    const app::DensityEye eye = app::FoldDensityEye(samples, clock, -2, 2);
    ExpectConserved(eye);
    EXPECT_GT(eye[BitClass::kAll].bits, 150u);
  }
  EXPECT_EQ(app::FoldDensityEye({}, {}, 0, 0)[BitClass::kAll].bits, 0u);
}

// A straight ramp over the bit: each column's line stays within one row for the time that the
// ramp's slope says, to the time step of 1 in kWeight at each of its two ends.
TEST(DensityEye, RampSpendsItsTimeWhereItPasses) {
  for (const double samples_per_ui : {5.0, std::numbers::pi}) {
    // 0.25 V in a UI: a row of 1/256 V for exactly 4 columns, from 0 V at position 0.
    std::vector<float> samples(40);
    for (size_t i = 0; i < samples.size(); ++i) {
      samples[i] = static_cast<float>(0.25 * static_cast<double>(i) / samples_per_ui);
    }
    const std::vector<double> clock = {0, samples_per_ui, 2 * samples_per_ui, 3 * samples_per_ui};
    const app::DensityEye eye = app::FoldDensityEye(samples, clock, 0, 1);
    ExpectConserved(eye);
    const EyeGrid &grid = eye[BitClass::kNonTransition];
    ASSERT_EQ(grid.bits, 1u);
    for (int column = 0; column < EyeGrid::kColumns; ++column) {
      // The eye begins half a UI before the bit, the bit 1 UI after position 0.
      const int row = (column + EyeGrid::kColumnsPerUi / 2) / 4;
      // Floats of 1 V are 6e-8 V apart, or 6e-8 * 256 rows * 4 columns * 1024 steps: 0.06 steps.
      EXPECT_NEAR(static_cast<double>(grid.At(row, column)), EyeGrid::kWeight, 2) << column;
    }
  }
}

// Ten samples a bit meet the same ten places of each bit again and again, an irrational number
// meets all. Both show the same signal, a sine of period 2 UI, whose time below a voltage is known.
TEST(DensityEye, RationalSamplingShowsWhatIrrationalShows) {
  const auto fold = [](double samples_per_ui) {
    std::vector<float> samples(static_cast<size_t>(4000 * samples_per_ui));
    for (size_t i = 0; i < samples.size(); ++i) {
      samples[i] =
          static_cast<float>(std::sin(std::numbers::pi * static_cast<double>(i) / samples_per_ui));
    }
    return app::FoldDensityEye(
        samples, EvenClock(0, samples_per_ui, static_cast<double>(samples.size()) - 1), -1.25,
        1.25);
  };
  const app::DensityEye rational = fold(32), irrational = fold(32 * std::numbers::sqrt2 / 1.4);
  for (const app::DensityEye *eye : {&rational, &irrational}) {
    ExpectConserved(*eye);
    const EyeGrid &grid = (*eye)[BitClass::kTransition];
    EXPECT_EQ((*eye)[BitClass::kNonTransition].bits, 0u);
    for (const double level : {-0.9, -0.5, 0.0, 0.25, 0.7}) {
      uint64_t below = 0;
      const int rows = static_cast<int>(std::lround((level + 1.25) / grid.row_v()));
      for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < EyeGrid::kColumns; ++column) below += grid.At(row, column);
      }
      const double share = static_cast<double>(below) / static_cast<double>(grid.bits) /
                           (EyeGrid::kWeight * EyeGrid::kColumns);
      const double edge = grid.lowest_v + rows * grid.row_v();
      // The chord of 1/32 UI lies (pi/32)^2/8 = 0.0012 below the arc, which moves the level's time
      // by 0.0012 / (pi * slope): within 0.0009 at 0.9 V, where the slope is 0.44 of the steepest.
      EXPECT_NEAR(share, 0.5 + std::asin(edge) / std::numbers::pi, 1e-3) << level;
    }
    // Without holes: where the sine passes, no cell is empty.
    for (int column = 0; column < EyeGrid::kColumns; ++column) {
      const double ui = EyeGrid::kFirstUi + (column + 0.5) * EyeGrid::kUiStep;
      const double v = std::sin(std::numbers::pi * ui);
      const int row = static_cast<int>((v + 1.25) / grid.row_v());
      EXPECT_GT(grid.At(row, column) + grid.At(row - 1, column), 0u) << column;
    }
  }
}

TEST(DensityEye, BitsAreSortedByTheBitBefore) {
  // Levels of the bits at 8 samples each: two transitions among the inner bits, and their own eyes
  // end up at the bit's level in the middle column.
  const std::vector<int> bits = {1, 1, -1, -1, -1, 1, 1};
  std::vector<float> samples;
  for (const int bit : bits) samples.insert(samples.end(), 8, static_cast<float>(bit));
  std::vector<double> clock;
  for (size_t k = 0; k <= bits.size(); ++k) clock.push_back(static_cast<double>(8 * k));
  clock.back() = 55;
  const app::DensityEye eye = app::FoldDensityEye(samples, clock, -1.5, 1.5);
  ExpectConserved(eye);
  EXPECT_EQ(eye[BitClass::kTransition].bits, 2u);     // bits 2 and 5
  EXPECT_EQ(eye[BitClass::kNonTransition].bits, 3u);  // bits 1, 3 and 4
  const int high = static_cast<int>(2.5 / 3 * EyeGrid::kRows), middle = EyeGrid::kColumns / 2;
  EXPECT_EQ(eye[BitClass::kTransition].At(high, middle), EyeGrid::kWeight);
  EXPECT_EQ(eye[BitClass::kNonTransition].At(high, middle), EyeGrid::kWeight);
}

}  // namespace
