#include "primitives/dft_plane.h"

namespace vomo {
namespace {

// An odd number of cache lines from one array to the next: each begins on a line's boundary, and
// the values of a column don't meet in the same few sets of the cache.
template <class Complex>
int64_t StrideFor(int64_t count) {
  constexpr int64_t kPerLine = 64 / static_cast<int64_t>(sizeof(Complex));
  return ((count + kPerLine - 1) / kPerLine | 1) * kPerLine;
}

}  // namespace

template <class Real>
Plane<Real>::Plane(PlaneShape shape, int64_t kept_rows)
    : shape_(shape),
      stride_(StrideFor<Complex>(shape.columns)),
      lane_stride_(StrideFor<Complex>(shape.rows + 1)),
      roots_(static_cast<uint64_t>(length())) {
  const int64_t lanes = IsLine() ? 1 : kLanes;
  lanes_ = WorkArray<Complex>(lanes * lane_stride_);
  std::fill_n(lanes_.get(), lanes * lane_stride_, Complex());
  column_plan_ = fftw::Plan<Real>(lanes_.get(), shape.rows, lanes, lane_stride_);
  if (IsLine()) return;
  values_ = WorkArray<Complex>(kept_rows * stride_);
  row_plan_ = fftw::Plan<Real>(values_.get(), shape.columns, 1, stride_);
}

// Calls body(factors, lane, row, count) for all rows of a block of columns.
template <class Real>
template <class Body>
void Plane<Real>::ForTwistedGroups(int64_t first_column, Body body) {
  const int64_t lanes = LanesFrom(first_column);
  for (int64_t lane = 0; lane < lanes; ++lane) {
    SetTwist(&twists_[static_cast<size_t>(lane)], first_column + lane);
  }
  const auto all_rows = [this](int64_t) { return DftSpan(0, rows()); };
  ForGroups(lanes, rows(), all_rows, [&](int64_t lane, int64_t row, int64_t count) {
    body(twists_[static_cast<size_t>(lane)].Chunk(row, 1, 1), lane, row, count);
  });
}

template <class Real>
void Plane<Real>::LanesToPlane(int64_t first_column) {
  const auto turn = ActiveDftKernels<Real>().turn;
  const auto move = [&](const PhaseChunk &factors, int64_t lane, int64_t row, int64_t count) {
    turn(factors, Lane(lane) + 2 * row, 2, 1, Row(row) + 2 * (first_column + lane), 2 * stride_,
         count);
  };
  ForTwistedGroups(first_column, move);
}

template <class Real>
void Plane<Real>::PlaneToLanes(int64_t first_column) {
  const auto turn = ActiveDftKernels<Real>().turn;
  const auto move = [&](const PhaseChunk &factors, int64_t lane, int64_t row, int64_t count) {
    turn(factors, Row(row) + 2 * (first_column + lane), 2 * stride_, 1, Lane(lane) + 2 * row, 2,
         count);
  };
  ForTwistedGroups(first_column, move);
}

template class Plane<float>;
template class Plane<double>;

}  // namespace vomo
