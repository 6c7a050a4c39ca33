#include "primitives/mat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace vomo {
namespace {

constexpr int32_t kD = sizeof(double);
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
using Numbers = std::vector<double>;

TEST(Mat, MulTransposeByHand) {
  const Numbers a = {1, 2, 3, 4, 5, 6};                     // 2 rows of 3
  const Numbers b = {1, 0, -1, 2, 1, 0, 0, 0, 1, 1, 1, 1};  // 4 rows of 3
  Numbers dst(8, kNaN);
  ASSERT_EQ(MatMulTranspose_64f(a.data(), 3 * kD, kD, 3, 2, b.data(), 3 * kD, kD, 3, 4, dst.data(),
                                4 * kD, kD),
            0);
  EXPECT_EQ(dst, (Numbers{-2, 4, 3, 6, -2, 13, 6, 15}));
}

// The same numbers read by columns and written into every third place: only those are written.
TEST(Mat, StridesOfRowsAndElements) {
  const Numbers a_by_columns = {1, 4, 2, 5, 3, 6};
  const Numbers v = {1, 99, 10, 99, 100};
  Numbers dst(6, -1.0);
  ASSERT_EQ(
      MatVecMul_64f(a_by_columns.data(), kD, 2 * kD, 3, 2, v.data(), 2 * kD, 3, dst.data(), 3 * kD),
      0);
  EXPECT_EQ(dst, (Numbers{321, -1, -1, 654, -1, -1}));

  const Numbers square = {2, 1, 99, 0, 3, 99};  // 2 by 2 in rows of 3
  Numbers result(2);
  ASSERT_EQ(MatVecMulSquare_64f(square.data(), 3 * kD, kD, v.data(), 2 * kD, result.data(), kD, 2),
            0);
  EXPECT_EQ(result, (Numbers{12, 30}));

  Numbers inverse(8, -1.0);  // 2 by 2 by columns, in every other place
  ASSERT_EQ(MatInvert_64f(square.data(), 3 * kD, kD, inverse.data(), 2 * kD, 4 * kD, 2), 0);
  EXPECT_EQ(inverse, (Numbers{0.5, -1, 0, -1, -1 / 6.0, -1, 1 / 3.0, -1}));
}

TEST(Mat, InverseByHand) {
  const struct {
    const char *what;
    int32_t size;
    Numbers matrix, inverse;
  } kCases[] = {
      {"one element", 1, {-4}, {-0.25}},
      {"zero on the diagonal needs another row", 2, {0, 2, 4, 0}, {0, 0.25, 0.5, 0}},
      {"rows in a circle", 3, {0, 1, 0, 0, 0, 1, 1, 0, 0}, {0, 0, 1, 1, 0, 0, 0, 1, 0}},
      {"upper triangle", 3, {1, 2, 3, 0, 1, 4, 0, 0, 1}, {1, -2, 5, 0, 1, -4, 0, 0, 1}},
      // Without a change of rows the tiny pivot would swallow the ones: inverse (0, 1; 1, 0).
      {"tiny pivot", 2, {1e-30, 1, 1, 0}, {0, 1, 1, -1e-30}},
      {"tiny but regular", 2, {1e-200, 0, 0, 1e-200}, {1e200, 0, 0, 1e200}},
  };
  for (const auto &test : kCases) {
    Numbers inverse(test.matrix.size()), in_place = test.matrix;
    const int32_t row = test.size * kD;
    ASSERT_EQ(MatInvert_64f(test.matrix.data(), row, kD, inverse.data(), row, kD, test.size), 0);
    EXPECT_EQ(inverse, test.inverse) << test.what;
    ASSERT_EQ(MatInvert_64f(in_place.data(), row, kD, in_place.data(), row, kD, test.size), 0);
    EXPECT_EQ(in_place, test.inverse) << test.what << ", in place";
  }
}

// The normal equations of a straight line through frequencies in hertz: entries from 10 to 1e20,
// which no tolerance on a pivot may take for singular. A line fits itself exactly.
TEST(Mat, LineFitOverFrequencies) {
  Numbers design, line;
  for (int i = 1; i <= 10; ++i) {
    const double f = 1e9 * i;
    design.insert(design.end(), {1, f});
    line.push_back(0.75 - 2e-12 * f);
  }
  Numbers normal(4), inverse(4), right(2), fit(2);
  // By columns, the transposed design has 2 rows of 10.
  ASSERT_EQ(MatMulTranspose_64f(design.data(), kD, 2 * kD, 10, 2, design.data(), kD, 2 * kD, 10, 2,
                                normal.data(), 2 * kD, kD),
            0);
  EXPECT_EQ(normal, (Numbers{10, 55e9, 55e9, 385e18}));
  ASSERT_EQ(MatInvert_64f(normal.data(), 2 * kD, kD, inverse.data(), 2 * kD, kD, 2), 0);
  ASSERT_EQ(MatVecMul_64f(design.data(), kD, 2 * kD, 10, 2, line.data(), kD, 10, right.data(), kD),
            0);
  ASSERT_EQ(MatVecMulSquare_64f(inverse.data(), 2 * kD, kD, right.data(), kD, fit.data(), kD, 2),
            0);
  // The scaled matrix (10, 55; 55, 385) has a condition of 500; a few roundings of it remain.
  EXPECT_NEAR(fit[0], 0.75, 500 * 4 * 0x1p-53);
  EXPECT_NEAR(fit[1], -2e-12, 500 * 4 * 0x1p-53 * 2e-12 * 10);
}

TEST(Mat, InverseTimesMatrixIsUnit) {
  std::mt19937 random(41);
  std::uniform_real_distribution<double> value(-1, 1);
  constexpr int32_t kSize = 12;
  Numbers matrix(kSize * kSize), inverse(matrix.size()), column(kSize), unit(kSize);
  for (double &x : matrix) x = value(random);
  ASSERT_EQ(MatInvert_64f(matrix.data(), kSize * kD, kD, inverse.data(), kSize * kD, kD, kSize), 0);
  for (int32_t j = 0; j < kSize; ++j) {
    for (int32_t i = 0; i < kSize; ++i) {
      column[static_cast<std::size_t>(i)] = inverse[static_cast<std::size_t>(i * kSize + j)];
    }
    ASSERT_EQ(MatVecMulSquare_64f(matrix.data(), kSize * kD, kD, column.data(), kD, unit.data(), kD,
                                  kSize),
              0);
    // A random matrix of this size has a condition of some hundreds.
    for (int32_t i = 0; i < kSize; ++i) {
      EXPECT_NEAR(unit[static_cast<std::size_t>(i)], i == j ? 1 : 0, 1e-11);
    }
  }
}

TEST(Mat, SingularLeavesTheDestination) {
  const Numbers kSingular[] = {
      {0, 0, 0, 0}, {1, 2, 2, 4}, {0, 0, 1, 1}, {kNaN, 1, 1, 1}, {HUGE_VAL, 1, 1, 1}};
  for (const Numbers &matrix : kSingular) {
    Numbers dst(4, 7.0);
    EXPECT_EQ(MatInvert_64f(matrix.data(), 2 * kD, kD, dst.data(), 2 * kD, kD, 2), -195)
        << matrix[0] << " " << matrix[1] << " " << matrix[2] << " " << matrix[3];
    EXPECT_EQ(dst, Numbers(4, 7.0));
  }
}

TEST(Mat, Refusals) {
  Numbers a(4, 1.0), b(4, 1.0), dst(4, 7.0);
  const double *const x = a.data(), *const y = b.data(), *const none = nullptr;
  double *const d = dst.data(), *const nowhere = nullptr;
  const int32_t r = 2 * kD, e = kD;
  const struct {
    const char *what;
    int32_t status, expected;
  } kCases[] = {
      {"product: width", MatMulTranspose_64f(none, 0, 0, 0, 2, y, r, e, 2, 2, d, r, e), -6},
      {"product: height", MatMulTranspose_64f(x, r, e, 2, 2, y, r, e, 2, -1, d, r, e), -6},
      {"product: NULL", MatMulTranspose_64f(x, 0, e, 2, 2, none, r, e, 2, 2, d, r, e), -8},
      {"product: NULL dst", MatMulTranspose_64f(x, r, e, 2, 2, y, r, e, 2, 2, nowhere, r, e), -8},
      {"product: stride 0", MatMulTranspose_64f(x, r, e, 2, 2, y, 0, e, 1, 2, d, r, e), -182},
      {"product: stride 12", MatMulTranspose_64f(x, r, e, 2, 2, y, r, e, 2, 2, d, 12, e), -182},
      {"product: stride -8", MatMulTranspose_64f(x, r, -8, 2, 2, y, r, e, 2, 2, d, r, e), -182},
      {"product: widths", MatMulTranspose_64f(x, r, e, 2, 2, y, r, e, 1, 2, d, r, e), -204},
      {"vector: length", MatVecMul_64f(x, r, e, 2, 2, y, e, 0, d, e), -6},
      {"vector: NULL", MatVecMul_64f(x, r, e, 2, 2, none, e, 2, d, e), -8},
      {"vector: stride", MatVecMul_64f(x, r, e, 2, 2, y, 4, 2, d, e), -182},
      {"vector: sizes", MatVecMul_64f(x, r, e, 2, 2, y, e, 1, d, e), -204},
      {"square: size", MatVecMulSquare_64f(x, r, e, y, e, d, e, 0), -6},
      {"square: stride", MatVecMulSquare_64f(x, r, e, y, e, d, 0, 2), -182},
      {"inverse: size", MatInvert_64f(none, r, e, d, r, e, 0), -6},
      {"inverse: NULL", MatInvert_64f(x, 0, e, nowhere, r, e, 2), -8},
      {"inverse: stride", MatInvert_64f(x, r, 0, d, r, e, 2), -182},
  };
  for (const auto &test : kCases) EXPECT_EQ(test.status, test.expected) << test.what;
  EXPECT_EQ(dst, Numbers(4, 7.0));
}

}  // namespace
}  // namespace vomo
