#include "primitives/dft_chirp.h"

#include <algorithm>
#include <type_traits>

namespace vomo {
namespace {

template <class Real>
Real *Scalars(std::complex<Real> *values) {
  return reinterpret_cast<Real *>(values);
}
template <class Real>
const Real *Scalars(const std::complex<Real> *values) {
  return reinterpret_cast<const Real *>(values);
}

}  // namespace

// The differences between the positions of outputs and inputs are spread evenly around 0, so that
// the even chirp needs the same reach on both sides.
template <class Real>
typename Chirp<Real>::Placement Chirp<Real>::Place(int64_t in_count, int64_t out_count) {
  const int64_t shift = (in_count - out_count) / 2;
  return shift >= 0 ? Placement{0, shift} : Placement{-shift, 0};
}

template <class Real>
int64_t Chirp<Real>::Reach(int64_t in_count, int64_t out_count) {
  const int64_t shift = (in_count - out_count) / 2;
  return std::max(in_count - 1 - shift, out_count - 1 + shift);
}

template <class Real>
Chirp<Real>::Chirp(int64_t length, int64_t one_count, int64_t other_count)
    : reach_(Reach(one_count, other_count)),
      shape_(ConvolutionShape<Real>(2 * reach_ + 1)),
      phases_(length, shape_),
      spectrum_(phases_, shape_, reach_),
      plane_(shape_) {}

template <class Real>
template <class In>
void Chirp<Real>::FillLanes(int64_t column, const In *src, int64_t in_count, const In *first,
                            Placement placement, double sign) {
  const DftKernels<Real> &kernels = ActiveDftKernels<Real>();
  const int64_t lanes = plane_.LanesFrom(column), columns = plane_.columns();
  const auto rows = [&](int64_t lane) {
    return plane_.RowsBetween(placement.in_begin, placement.in_begin + in_count, column + lane);
  };
  for (int64_t lane = 0; lane < lanes; ++lane) {
    const auto [begin, end] = rows(lane);
    Real *values = plane_.Lane(lane);
    std::fill(values, values + 2 * begin, Real{0});
    std::fill(values + 2 * end, values + 2 * plane_.rows(), Real{0});
    phases_.Set(&Ramp(lane), column + lane - placement.out_begin, 0);
  }
  const auto put = [&](int64_t lane, int64_t row, int64_t count, const In *from) {
    const PhaseChunk chunk = phases_.Chunk(Ramp(lane), row, 1, sign);
    Real *to = plane_.Lane(lane) + 2 * row;
    if constexpr (std::is_same_v<In, Real>) {
      kernels.turn_real(chunk, from, columns, to, count);
    } else {
      kernels.turn(chunk, Scalars(from), 2 * columns, 1, to, 2, count);
    }
  };
  ForGroups(lanes, plane_.rows(), rows, [&](int64_t lane, int64_t row, int64_t count) {
    const int64_t index = row * columns + column + lane - placement.in_begin;
    put(lane, row, count, src + index);
    if (index == 0 && first != nullptr) put(lane, row, 1, first);
  });
}

template <class Real>
template <class Out>
void Chirp<Real>::DrainLanes(int64_t column, Out *dst, int64_t out_count, Placement placement,
                             double sign, double scale) {
  const DftKernels<Real> &kernels = ActiveDftKernels<Real>();
  const int64_t lanes = plane_.LanesFrom(column), columns = plane_.columns();
  const int64_t shift = placement.out_begin - placement.in_begin;
  for (int64_t lane = 0; lane < lanes; ++lane) {
    phases_.Set(&Ramp(lane), column + lane - placement.in_begin, shift);
  }
  const auto rows = [&](int64_t lane) {
    return plane_.RowsBetween(placement.out_begin, placement.out_begin + out_count, column + lane);
  };
  ForGroups(lanes, plane_.rows(), rows, [&](int64_t lane, int64_t row, int64_t count) {
    const Real *from = plane_.Lane(lane) + 2 * row;
    Out *to = dst + row * columns + column + lane - placement.out_begin;
    // What lies in the lanes is conjugated, so the factors are conjugated as well.
    const PhaseChunk chunk = phases_.Chunk(Ramp(lane), row, scale, -sign);
    if constexpr (std::is_same_v<Out, Real>) {
      kernels.turn_to_real(chunk, from, to, columns, count);
    } else {
      kernels.turn(chunk, from, 2, -1, Scalars(to), 2 * columns, count);
    }
  });
}

// There is one plan for both directions: the inverse transform is the conjugate of the forward
// transform of the conjugate, and the conjugate of the product is what is formed here.
template <class Real>
void Chirp<Real>::ConvolveRow(int64_t row, double sign) {
  const DftKernels<Real> &kernels = ActiveDftKernels<Real>();
  const bool is_mirrored = row > plane_.rows() / 2;
  const auto multiply =
      is_mirrored ? kernels.multiply_reversed_conjugated : kernels.multiply_conjugated;
  Real *values = plane_.Row(row);
  plane_.TransformRow(values);
  multiply(values, spectrum_.Row(is_mirrored ? plane_.rows() - row : row), -sign, plane_.columns());
  plane_.TransformRow(values);
}

template <class Real>
template <class In, class Out>
void Chirp<Real>::Run(const In *src, int64_t in_count, Out *dst, int64_t out_count, double sign,
                      double scale, const In *first) {
  const Placement placement = Place(in_count, out_count);
  const auto fill = [&](int64_t column) {
    FillLanes(column, src, in_count, first, placement, sign);
  };
  const auto drain = [&](int64_t column) {
    DrainLanes(column, dst, out_count, placement, sign, scale);
  };
  const int64_t rows = plane_.rows();
  if (plane_.IsLine()) {
    fill(0);
    plane_.TransformLanes();
    ActiveDftKernels<Real>().multiply_conjugated(plane_.Lane(0), spectrum_.Row(0), -sign, rows);
    plane_.TransformLanes();
    drain(0);
    return;
  }
  plane_.ColumnsIn(fill);
  // Each row with its mirror image, which meets the same row of the spectrum.
  for (int64_t row = 0; row <= rows / 2; ++row) {
    ConvolveRow(row, sign);
    if (row != 0 && row != rows - row) ConvolveRow(rows - row, sign);
  }
  plane_.ColumnsOut(drain);
}

template class Chirp<float>;
template class Chirp<double>;
template void Chirp<float>::Run(const float *, int64_t, std::complex<float> *, int64_t, double,
                                double, const float *);
template void Chirp<float>::Run(const std::complex<float> *, int64_t, float *, int64_t, double,
                                double, const std::complex<float> *);
template void Chirp<float>::Run(const std::complex<float> *, int64_t, std::complex<float> *,
                                int64_t, double, double, const std::complex<float> *);
template void Chirp<double>::Run(const double *, int64_t, std::complex<double> *, int64_t, double,
                                 double, const double *);
template void Chirp<double>::Run(const std::complex<double> *, int64_t, double *, int64_t, double,
                                 double, const std::complex<double> *);
template void Chirp<double>::Run(const std::complex<double> *, int64_t, std::complex<double> *,
                                 int64_t, double, double, const std::complex<double> *);

}  // namespace vomo
