// A long line of complex values as a plane of rows and columns, so that its transform becomes many
// short ones that stay in the cache.
//
// The value with index i lies at i = row * columns + column. A transform of the whole line is a
// transform of each column, a twist (a factor exp(-2 pi i row column / length)) and a transform of
// each row; the value at (row, column) is then the bin row + rows * column.
#ifndef VOMO_PRIMITIVES_DFT_PLANE_H
#define VOMO_PRIMITIVES_DFT_PLANE_H

#include <algorithm>
#include <array>
#include <complex>
#include <cstdint>
#include <utility>

#include "primitives/dft_fftw.h"
#include "primitives/dft_method.h"
#include "primitives/dft_phase.h"
#include "primitives/dft_work.h"

namespace vomo {

// A range of rows or columns: the first and the one after the last.
using DftSpan = std::pair<int64_t, int64_t>;

// Calls body(lane, first, count) over pieces of the lanes' ranges, range(lane), that belong to one
// group of 64 indices: group by group and lane by lane, so that what neighbouring lanes share is
// still in the cache.
template <class Range, class Body>
void ForGroups(int64_t lanes, int64_t count, Range range, Body body) {
  for (int64_t group = 0; group < count; group += kPhaseChunk) {
    for (int64_t lane = 0; lane < lanes; ++lane) {
      const DftSpan span = range(lane);
      const int64_t first = std::max(span.first, group);
      const int64_t last = std::min(span.second, group + kPhaseChunk);
      if (first < last) body(lane, first, last - first);
    }
  }
}

template <class Real>
class Plane {
 public:
  using Complex = std::complex<Real>;

  // Columns are transformed in blocks of neighbours that fill two cache lines, each in a lane of
  // its own.
  static constexpr int64_t kLanes = 128 / static_cast<int64_t>(sizeof(Complex));

  explicit Plane(PlaneShape shape) : Plane(shape, shape.rows) {}
  // With room for the first kept_rows only.
  Plane(PlaneShape shape, int64_t kept_rows);

  int64_t rows() const { return shape_.rows; }
  int64_t columns() const { return shape_.columns; }
  int64_t length() const { return shape_.rows * shape_.columns; }
  // From row to row, in values.
  int64_t stride() const { return stride_; }
  // A plane of one column is not stored as such: all happens in lane 0.
  bool IsLine() const { return shape_.columns == 1; }
  // How many of the columns from this one on share a block.
  int64_t LanesFrom(int64_t column) const { return std::min(kLanes, columns() - column); }

  // Rows of a column whose positions, row * columns + column, are in [begin, end).
  DftSpan RowsBetween(int64_t begin, int64_t end, int64_t column) const {
    const auto row_from = [&](int64_t position) {
      const int64_t distance = std::max(position - column, int64_t{0});
      return std::min((distance + columns() - 1) / columns(), rows());
    };
    return {row_from(begin), row_from(end)};
  }

  // Room for rows() values and one more.
  Real *Lane(int64_t lane) const { return Scalars(lanes_.get() + lane * lane_stride_); }
  Real *Row(int64_t row) const { return Scalars(values_.get() + row * stride_); }

  // Transforms all lanes at once, in place.
  void TransformLanes() const { column_plan_.Run(lanes_.get()); }
  // row: columns() values that begin on a cache line's boundary.
  void TransformRow(Real *row) const { row_plan_.Run(reinterpret_cast<Complex *>(row)); }

  // The twists of one column, by row.
  void SetTwist(PhaseRamp *twist, int64_t column) const {
    twist->Set(roots_, 0, static_cast<uint64_t>(column), rows());
  }

  // fill(c) puts the columns from c on into the lanes; from there they go, transformed and twisted,
  // into the plane.
  template <class Fill>
  void ColumnsIn(Fill fill) {
    for (int64_t column = 0; column < columns(); column += kLanes) {
      fill(column);
      TransformLanes();
      LanesToPlane(column);
    }
  }

  // The reverse: drain(c) finds the columns from c on, twisted and transformed, in the lanes.
  template <class Drain>
  void ColumnsOut(Drain drain) {
    for (int64_t column = 0; column < columns(); column += kLanes) {
      PlaneToLanes(column);
      TransformLanes();
      drain(column);
    }
  }

 private:
  static Real *Scalars(Complex *values) { return reinterpret_cast<Real *>(values); }

  void LanesToPlane(int64_t first_column);
  void PlaneToLanes(int64_t first_column);
  template <class Body>
  void ForTwistedGroups(int64_t first_column, Body body);

  PlaneShape shape_;
  int64_t stride_;
  int64_t lane_stride_;
  PhaseTable roots_;
  WorkArray<Complex> values_;
  WorkArray<Complex> lanes_;
  fftw::Plan<Real> column_plan_;
  fftw::Plan<Real> row_plan_;
  std::array<PhaseRamp, kLanes> twists_;
};

extern template class Plane<float>;
extern template class Plane<double>;

}  // namespace vomo

#endif
