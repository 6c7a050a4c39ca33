#include "primitives/dft_real_plane.h"

namespace vomo {

// Lane l holds the columns first_column + 2 l and first_column + 2 l + 1; the number of columns is
// odd, so the very last one is alone in its lane.
template <class Real>
int64_t RealPlane<Real>::LanesFrom(int64_t column) const {
  return std::min(kLanes, (plane_.columns() - column + 1) / 2);
}

template <class Real>
void RealPlane<Real>::LoadLanes(const Real *src, int64_t first_column) const {
  const auto copy = ActiveDftKernels<Real>().copy;
  const int64_t columns = plane_.columns();
  const auto all_rows = [this](int64_t) { return DftSpan(0, plane_.rows()); };
  ForGroups(LanesFrom(first_column), plane_.rows(), all_rows,
            [&](int64_t lane, int64_t row, int64_t count) {
              const int64_t column = first_column + 2 * lane;
              const Real *from = src + row * columns + column;
              Real *to = plane_.Lane(lane) + 2 * row;
              if (column + 1 < columns) {
                copy(from, columns, 1, 1, to, 2, count);
                return;
              }
              for (int64_t i = 0; i < count; ++i) {
                to[2 * i] = from[i * columns];
                to[2 * i + 1] = 0;
              }
            });
}

template <class Real>
void RealPlane<Real>::StoreLanes(int64_t first_column, Real *dst) const {
  const auto copy = ActiveDftKernels<Real>().copy;
  const int64_t columns = plane_.columns();
  const auto all_rows = [this](int64_t) { return DftSpan(0, plane_.rows()); };
  ForGroups(LanesFrom(first_column), plane_.rows(), all_rows,
            [&](int64_t lane, int64_t row, int64_t count) {
              const int64_t column = first_column + 2 * lane;
              const Real *from = plane_.Lane(lane) + 2 * row;
              Real *to = dst + row * columns + column;
              if (column + 1 < columns) {
                copy(from, 2, 1, 1, to, columns, count);
                return;
              }
              for (int64_t i = 0; i < count; ++i) to[i * columns] = from[2 * i];
            });
}

// Calls body(lane, row, count, twists of the lane's two columns, whether it has two) over the kept
// rows.
template <class Real>
template <class Body>
void RealPlane<Real>::ForTwistedPairs(int64_t first_column, Body body) {
  const int64_t lanes = LanesFrom(first_column);
  const int64_t columns = std::min(kBlock, plane_.columns() - first_column);
  for (int64_t i = 0; i < columns; ++i) {
    plane_.SetTwist(&twists_[static_cast<size_t>(i)], first_column + i);
  }
  const auto kept_rows = [this](int64_t) { return DftSpan(0, KeptRows()); };
  ForGroups(lanes, KeptRows(), kept_rows, [&](int64_t lane, int64_t row, int64_t count) {
    const bool is_pair = 2 * lane + 1 < columns;
    const PhaseRamp *twists = &twists_[static_cast<size_t>(2 * lane)];
    body(lane, row, count, twists, is_pair);
  });
}

template <class Real>
void RealPlane<Real>::LanesToRows(int64_t first_column) {
  const DftKernels<Real> &kernels = ActiveDftKernels<Real>();
  const int64_t rows = plane_.rows(), stride = 2 * plane_.stride();
  for (int64_t lane = 0; lane < LanesFrom(first_column); ++lane) {
    std::copy_n(plane_.Lane(lane), 2, plane_.Lane(lane) + 2 * rows);
  }
  ForTwistedPairs(first_column, [&](int64_t lane, int64_t row, int64_t count,
                                    const PhaseRamp *twists, bool is_pair) {
    Real one[2 * kPhaseChunk], other[2 * kPhaseChunk];
    const Real *from = plane_.Lane(lane);
    Real *to = plane_.Row(row) + 2 * (first_column + 2 * lane);
    kernels.separate(from + 2 * row, from + 2 * (rows - row), one, other, count);
    kernels.turn(twists[0].Chunk(row, 1, 1), one, 2, 1, to, stride, count);
    if (is_pair) kernels.turn(twists[1].Chunk(row, 1, 1), other, 2, 1, to + 2, stride, count);
  });
}

template <class Real>
void RealPlane<Real>::RowsToLanes(int64_t first_column) {
  const DftKernels<Real> &kernels = ActiveDftKernels<Real>();
  const int64_t rows = plane_.rows(), stride = 2 * plane_.stride();
  ForTwistedPairs(first_column, [&](int64_t lane, int64_t row, int64_t count,
                                    const PhaseRamp *twists, bool is_pair) {
    Real one[2 * kPhaseChunk], other[2 * kPhaseChunk] = {};
    const Real *from = plane_.Row(row) + 2 * (first_column + 2 * lane);
    Real *to = plane_.Lane(lane);
    kernels.turn(twists[0].Chunk(row, 1, 1), from, stride, 1, one, 2, count);
    if (is_pair) kernels.turn(twists[1].Chunk(row, 1, 1), from + 2, stride, 1, other, 2, count);
    kernels.unite(one, other, to + 2 * row, to + 2 * (rows - row), count);
  });
}

// The value at (row, column) is the bin row + rows * column. Those of the right half of the plane
// are above the last bin: each stands for the conjugate of a bin of the row rows - row. Calls
// body(values, value stride, bin, bin stride, is_conjugate, count) over a block of rows.
template <class Real>
template <class Body>
void RealPlane<Real>::ForBins(int64_t first_row, Body body) const {
  const int64_t rows = plane_.rows(), columns = plane_.columns();
  const int64_t block = std::min(kLanes, KeptRows() - first_row);
  const auto left = [&](int64_t) { return DftSpan(0, columns / 2 + 1); };
  ForGroups(block, columns / 2 + 1, left, [&](int64_t i, int64_t column, int64_t count) {
    const int64_t row = first_row + i;
    body(plane_.Row(row) + 2 * column, 2, row + rows * column, false, count);
  });
  const auto right = [&](int64_t) { return DftSpan(0, columns / 2); };
  ForGroups(block, columns / 2, right, [&](int64_t i, int64_t mirrored, int64_t count) {
    const int64_t row = first_row + i;
    body(plane_.Row(row) + 2 * (columns - 1 - mirrored), -2, rows - row + rows * mirrored, true,
         count);
  });
}

template <class Real>
void RealPlane<Real>::RowsToBins(int64_t first_row, Real *bins, double scale) const {
  const auto copy = ActiveDftKernels<Real>().copy;
  const int64_t bin_stride = 2 * plane_.rows();
  ForBins(first_row, [&](const Real *values, int64_t stride, int64_t bin, bool conjugate,
                         int64_t count) {
    copy(values, stride, scale, conjugate ? -scale : scale, bins + 2 * bin, bin_stride, count);
  });
}

// Leaves the conjugate of the values: the forward transforms that follow then are inverse ones.
template <class Real>
void RealPlane<Real>::BinsToRows(const Real *bins, int64_t first_row, double scale) const {
  const auto copy = ActiveDftKernels<Real>().copy;
  const int64_t bin_stride = 2 * plane_.rows();
  ForBins(first_row, [&](Real *values, int64_t stride, int64_t bin, bool conjugate, int64_t count) {
    copy(bins + 2 * bin, bin_stride, scale, conjugate ? scale : -scale, values, stride, count);
  });
  if (first_row == 0) plane_.Row(0)[1] = 0;
}

template <class Real>
void RealPlane<Real>::Forward(const Real *src, Complex *dst, double scale) {
  for (int64_t column = 0; column < plane_.columns(); column += kBlock) {
    LoadLanes(src, column);
    plane_.TransformLanes();
    LanesToRows(column);
  }
  for (int64_t row = 0; row < KeptRows(); row += kLanes) {
    const int64_t end = std::min(row + kLanes, KeptRows());
    for (int64_t r = row; r < end; ++r) plane_.TransformRow(plane_.Row(r));
    RowsToBins(row, reinterpret_cast<Real *>(dst), scale);
  }
}

template <class Real>
void RealPlane<Real>::Inverse(const Complex *src, Real *dst, double scale) {
  for (int64_t row = 0; row < KeptRows(); row += kLanes) {
    BinsToRows(reinterpret_cast<const Real *>(src), row, scale);
    const int64_t end = std::min(row + kLanes, KeptRows());
    for (int64_t r = row; r < end; ++r) plane_.TransformRow(plane_.Row(r));
  }
  for (int64_t column = 0; column < plane_.columns(); column += kBlock) {
    RowsToLanes(column);
    plane_.TransformLanes();
    StoreLanes(column, dst);
  }
}

template class RealPlane<float>;
template class RealPlane<double>;

}  // namespace vomo
