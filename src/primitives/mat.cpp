#include "primitives/mat.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <utility>

#include "primitives/status_text.h"

namespace vomo {
namespace {

// Strides are kept in elements here. A vector is a matrix of one column.
template <class T>
struct Matrix {
  Matrix(T *first, int32_t row_stride_bytes, int32_t element_stride_bytes)
      : data(first),
        row_stride(row_stride_bytes / std::ptrdiff_t{sizeof(T)}),
        element_stride(element_stride_bytes / std::ptrdiff_t{sizeof(T)}) {}

  T &operator()(int32_t row, int32_t column) const {
    return data[row * row_stride + column * element_stride];
  }

  T *data;
  std::ptrdiff_t row_stride, element_stride;
};
using Source = Matrix<const double>;
using Destination = Matrix<double>;

constexpr int32_t kElement = sizeof(double);

// The tests that all operations share, in their order.
int32_t CheckArguments(std::initializer_list<int32_t> sizes,
                       std::initializer_list<const void *> pointers,
                       std::initializer_list<int32_t> strides) {
  if (std::min(sizes) <= 0) return kSizeError;
  for (const void *pointer : pointers) {
    if (pointer == nullptr) return kNullPtrError;
  }
  for (int32_t stride : strides) {
    if (stride <= 0 || stride % kElement != 0) return kStrideError;
  }
  return kNoError;
}

// dst[i][j] = sum over k of a[i][k] * b[j][k].
void MultiplyTransposed(Source a, Source b, Destination dst, int32_t width, int32_t height_a,
                        int32_t height_b) {
  for (int32_t i = 0; i < height_a; ++i) {
    for (int32_t j = 0; j < height_b; ++j) {
      double sum = 0;
      for (int32_t k = 0; k < width; ++k) sum += a(i, k) * b(j, k);
      dst(i, j) = sum;
    }
  }
}

// A working copy of a square matrix with the unit matrix to its right. The same row operations on
// both halves turn the left one into the unit matrix and the right one into the inverse.
class GaussJordan {
 public:
  explicit GaussJordan(int32_t size)
      : size_(size),
        width_(2 * std::size_t(size)),
        rows_(new (std::nothrow) double[std::size_t(size) * width_]()) {}

  explicit operator bool() const { return rows_ != nullptr; }

  void Load(Source src) {
    for (int32_t i = 0; i < size_; ++i) {
      for (int32_t j = 0; j < size_; ++j) row(i)[j] = src(i, j);
      row(i)[size_ + i] = 1;
    }
  }

  void Store(Destination dst) const {
    for (int32_t i = 0; i < size_; ++i) {
      for (int32_t j = 0; j < size_; ++j) dst(i, j) = row(i)[size_ + j];
    }
  }

  // False for a matrix that has no inverse.
  bool Invert() {
    for (int32_t column = 0; column < size_; ++column) {
      BringUpPivot(column);
      const double pivot = row(column)[column];
      if (pivot == 0 || !std::isfinite(pivot)) return false;
      for (std::size_t k = 0; k < width_; ++k) row(column)[k] /= pivot;
      for (int32_t i = 0; i < size_; ++i) {
        if (i != column) Subtract(i, row(i)[column], column);
      }
    }
    return true;
  }

 private:
  double *row(int32_t i) const { return rows_.get() + std::size_t(i) * width_; }

  void BringUpPivot(int32_t column) {
    int32_t best = column;
    for (int32_t i = column + 1; i < size_; ++i) {
      if (std::fabs(row(i)[column]) > std::fabs(row(best)[column])) best = i;
    }
    std::swap_ranges(row(best), row(best) + width_, row(column));
  }

  void Subtract(int32_t i, double factor, int32_t from) {
    for (std::size_t k = 0; k < width_; ++k) row(i)[k] -= factor * row(from)[k];
  }

  int32_t size_;
  std::size_t width_;
  std::unique_ptr<double[]> rows_;
};

}  // namespace

int32_t MatMulTranspose_64f(const double *pA, int32_t iRowStrideA, int32_t iElementStrideA,
                            int32_t iWidthA, int32_t iHeightA, const double *pB,
                            int32_t iRowStrideB, int32_t iElementStrideB, int32_t iWidthB,
                            int32_t iHeightB, double *pDst, int32_t iRowStrideDst,
                            int32_t iElementStrideDst) {
  if (const int32_t status = CheckArguments({iWidthA, iHeightA, iWidthB, iHeightB}, {pA, pB, pDst},
                                            {iRowStrideA, iElementStrideA, iRowStrideB,
                                             iElementStrideB, iRowStrideDst, iElementStrideDst})) {
    return status;
  }
  if (iWidthA != iWidthB) return kSizeMatchError;
  MultiplyTransposed({pA, iRowStrideA, iElementStrideA}, {pB, iRowStrideB, iElementStrideB},
                     {pDst, iRowStrideDst, iElementStrideDst}, iWidthA, iHeightA, iHeightB);
  return kNoError;
}

int32_t MatVecMul_64f(const double *pA, int32_t iRowStride, int32_t iElementStride, int32_t iWidth,
                      int32_t iHeight, const double *pV, int32_t iStrideV, int32_t iLengthV,
                      double *pDst, int32_t iStrideDst) {
  if (const int32_t status = CheckArguments({iWidth, iHeight, iLengthV}, {pA, pV, pDst},
                                            {iRowStride, iElementStride, iStrideV, iStrideDst})) {
    return status;
  }
  if (iWidth != iLengthV) return kSizeMatchError;
  // The vector as a matrix of one row, so that a times its transpose is a column.
  MultiplyTransposed({pA, iRowStride, iElementStride}, {pV, iStrideV, iStrideV},
                     {pDst, iStrideDst, iStrideDst}, iWidth, iHeight, 1);
  return kNoError;
}

int32_t MatInvert_64f(const double *pSrc, int32_t iRowStrideSrc, int32_t iElementStrideSrc,
                      double *pDst, int32_t iRowStrideDst, int32_t iElementStrideDst,
                      int32_t iSize) {
  if (const int32_t status =
          CheckArguments({iSize}, {pSrc, pDst},
                         {iRowStrideSrc, iElementStrideSrc, iRowStrideDst, iElementStrideDst})) {
    return status;
  }
  GaussJordan work(iSize);
  if (!work) return kMemAllocError;
  work.Load({pSrc, iRowStrideSrc, iElementStrideSrc});
  if (!work.Invert()) return kSingularError;
  work.Store({pDst, iRowStrideDst, iElementStrideDst});
  return kNoError;
}

int32_t MatVecMulSquare_64f(const double *pA, int32_t iRowStride, int32_t iElementStride,
                            const double *pV, int32_t iStrideV, double *pDst, int32_t iStrideDst,
                            int32_t iSize) {
  return MatVecMul_64f(pA, iRowStride, iElementStride, iSize, iSize, pV, iStrideV, iSize, pDst,
                       iStrideDst);
}

}  // namespace vomo
