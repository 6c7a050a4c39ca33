#include "primitives/dft_chirp.h"

#include <cstdlib>

namespace vomo {
namespace {

int64_t CeilDiv(int64_t a, int64_t b) {
  return a <= 0 ? 0 : (a + b - 1) / b;
}

uint64_t Modulo(int64_t value, uint64_t modulus) {
  const uint64_t rest = static_cast<uint64_t>(std::abs(value)) % modulus;
  return value < 0 && rest != 0 ? modulus - rest : rest;
}

template <class Real>
Real *Scalars(std::complex<Real> *values) {
  return reinterpret_cast<Real *>(values);
}
template <class Real>
const Real *Scalars(const std::complex<Real> *values) {
  return reinterpret_cast<const Real *>(values);
}

}  // namespace

// Input j lies at j + in_begin and output k at k + out_begin. The differences output - input are
// then spread evenly around 0, so that the even chirp needs the same reach on both sides.
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
    : length_(length),
      reach_(Reach(one_count, other_count)),
      plane_(ConvolutionShape<Real>(2 * reach_ + 1)),
      phases_(2 * static_cast<uint64_t>(length)),
      squares_re_(plane_.rows()),
      squares_im_(plane_.rows()) {
  // (row columns)^2 by its differences, all modulo the table's.
  const uint64_t modulus = phases_.modulus();
  const uint64_t step = static_cast<uint64_t>(plane_.columns()) % modulus;
  const uint64_t step_squared = step * step % modulus;
  const auto add = [modulus](uint64_t a, uint64_t b) {
    return a + b < modulus ? a + b : a + b - modulus;
  };
  uint64_t square = 0, difference = step_squared;
  for (int64_t row = 0; row < plane_.rows(); ++row) {
    const Phase phase = phases_.At(square);
    squares_re_[row] = phase.re;
    squares_im_[row] = phase.im;
    square = add(square, difference);
    difference = add(difference, add(step_squared, step_squared));
  }
  MakeSpectrum();
}

template <class Real>
DftSpan Chirp<Real>::RowsBetween(int64_t begin, int64_t end, int64_t column) const {
  const int64_t columns = plane_.columns();
  return {CeilDiv(begin - column, columns),
          std::min(CeilDiv(end - column, columns), plane_.rows())};
}

// (row columns + offset)^2 = (row columns)^2 + 2 row columns offset + offset^2: a table by row that
// all columns share, a ramp and a constant.
template <class Real>
void Chirp<Real>::SetChirp(int64_t lane, int64_t offset, int64_t shift) {
  const uint64_t modulus = phases_.modulus();
  const auto square = [&](int64_t value) {
    const uint64_t root = Modulo(value, modulus);
    return root * root % modulus;
  };
  const uint64_t start = (square(offset) + modulus - square(shift)) % modulus;
  const uint64_t slope =
      2 * (static_cast<uint64_t>(plane_.columns()) % modulus * (Modulo(offset, modulus)) % modulus);
  ramps_[static_cast<size_t>(lane)].Set(phases_, start, slope % modulus, plane_.rows());
}

template <class Real>
PhaseChunk Chirp<Real>::ChirpChunk(int64_t lane, int64_t row, double scale, double sign) const {
  PhaseChunk chunk = ramps_[static_cast<size_t>(lane)].Chunk(row, scale, sign);
  chunk.table_re = squares_re_.get() + row;
  chunk.table_im = squares_im_.get() + row;
  return chunk;
}

// The conjugate of the chirp, which is even, so that its spectrum is the conjugate of the chirp's:
// exp(-pi i p^2 / length) at the positions p and length of the plane - p, p up to the reach.
template <class Real>
void Chirp<Real>::FillSpectrumLanes(int64_t column) {
  struct Side {
    int64_t begin, end, origin;
  };
  const int64_t size = plane_.length();
  const Side sides[] = {{0, reach_ + 1, 0}, {size - reach_, size, size}};
  const int64_t lanes = plane_.LanesFrom(column);
  for (int64_t lane = 0; lane < lanes; ++lane) {
    std::fill_n(plane_.Lane(lane), 2 * plane_.rows(), Real{0});
  }
  for (const Side &side : sides) {
    for (int64_t lane = 0; lane < lanes; ++lane) SetChirp(lane, column + lane - side.origin, 0);
    const auto rows = [&](int64_t lane) {
      return RowsBetween(side.begin, side.end, column + lane);
    };
    ForGroups(lanes, plane_.rows(), rows, [&](int64_t lane, int64_t row, int64_t count) {
      const Real one = 1;
      ActiveDftKernels<Real>().turn_real(ChirpChunk(lane, row, 1, 1), &one, 0,
                                         plane_.Lane(lane) + 2 * row, count);
    });
  }
}

// Half the columns are enough: the column c of an even sequence, mirrored, is the column
// columns - c. And half the rows are kept, for the spectrum is even too.
template <class Real>
void Chirp<Real>::SpectrumLanesOut(int64_t column) {
  const int64_t rows = plane_.rows(), columns = plane_.columns(), stride = plane_.stride();
  const double scale = 1 / static_cast<double>(plane_.length());
  const int64_t lanes = std::min(plane_.kLanes, columns / 2 + 1 - column);
  for (int64_t lane = 0; lane < lanes; ++lane) {
    plane_.SetTwist(&ramps_[static_cast<size_t>(lane)], column + lane);
    std::copy_n(plane_.Lane(lane), 2, plane_.Lane(lane) + 2 * rows);
  }
  const auto kept_rows = [&](int64_t) { return DftSpan(0, rows / 2 + 1); };
  ForGroups(lanes, rows, kept_rows, [&](int64_t lane, int64_t row, int64_t count) {
    const auto turn = ActiveDftKernels<Real>().turn;
    const PhaseRamp &twist = ramps_[static_cast<size_t>(lane)];
    const int64_t c = column + lane;
    Real *out = Scalars(spectrum_.get() + row * stride);
    turn(twist.Chunk(row, scale, 1), plane_.Lane(lane) + 2 * row, 2, 1, out + 2 * c, 2 * stride,
         count);
    if (c == 0 || c >= columns - c) return;
    turn(twist.Chunk(row, scale, -1), plane_.Lane(lane) + 2 * (rows - row), -2, 1,
         out + 2 * (columns - c), 2 * stride, count);
  });
}

template <class Real>
void Chirp<Real>::MakeSpectrum() {
  if (plane_.IsLine()) {
    spectrum_ = WorkArray<Complex>(plane_.rows());
    FillSpectrumLanes(0);
    plane_.TransformLanes();
    const double scale = 1 / static_cast<double>(plane_.length());
    ActiveDftKernels<Real>().copy(plane_.Lane(0), 2, scale, scale, Scalars(spectrum_.get()), 2,
                                  plane_.rows());
    return;
  }
  const int64_t kept_rows = plane_.rows() / 2 + 1;
  spectrum_ = WorkArray<Complex>(kept_rows * plane_.stride());
  for (int64_t column = 0; column <= plane_.columns() / 2; column += plane_.kLanes) {
    FillSpectrumLanes(column);
    plane_.TransformLanes();
    SpectrumLanesOut(column);
  }
  for (int64_t row = 0; row < kept_rows; ++row) {
    plane_.TransformRow(Scalars(spectrum_.get() + row * plane_.stride()));
  }
}

// Multiplies the spectra and transforms back. There is one plan for both directions: the inverse
// transform is the conjugate of the forward transform of the conjugate, and the conjugate is what
// this leaves in the plane.
template <class Real>
void Chirp<Real>::Convolve(double sign) {
  const DftKernels<Real> &kernels = ActiveDftKernels<Real>();
  if (plane_.IsLine()) {
    kernels.multiply_conjugated(plane_.Lane(0), Scalars(spectrum_.get()), -sign, plane_.rows());
    return;
  }
  const int64_t rows = plane_.rows(), columns = plane_.columns();
  for (int64_t row = 0; row < rows; ++row) {
    Real *values = plane_.Row(row);
    plane_.TransformRow(values);
    const bool mirrored = row > rows / 2;
    const Real *factors =
        Scalars(spectrum_.get() + (mirrored ? rows - row : row) * plane_.stride());
    (mirrored ? kernels.multiply_reversed_conjugated : kernels.multiply_conjugated)(values, factors,
                                                                                    -sign, columns);
    plane_.TransformRow(values);
  }
}

template <class Real>
template <class In>
void Chirp<Real>::FillLanes(int64_t column, const In *src, int64_t in_count, const In *first,
                            Placement placement, double sign) {
  const DftKernels<Real> &kernels = ActiveDftKernels<Real>();
  const int64_t lanes = plane_.LanesFrom(column), columns = plane_.columns();
  const auto rows = [&](int64_t lane) {
    return RowsBetween(placement.in_begin, placement.in_begin + in_count, column + lane);
  };
  for (int64_t lane = 0; lane < lanes; ++lane) {
    const auto [begin, end] = rows(lane);
    std::fill_n(plane_.Lane(lane), 2 * begin, Real{0});
    std::fill(plane_.Lane(lane) + 2 * std::max(begin, end), plane_.Lane(lane) + 2 * plane_.rows(),
              Real{0});
    SetChirp(lane, column + lane - placement.out_begin, 0);
  }
  const auto put = [&](int64_t lane, int64_t row, int64_t count, const In *from) {
    Real *to = plane_.Lane(lane) + 2 * row;
    const PhaseChunk chunk = ChirpChunk(lane, row, 1, sign);
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
  for (int64_t lane = 0; lane < lanes; ++lane) {
    SetChirp(lane, column + lane - placement.in_begin, placement.out_begin - placement.in_begin);
  }
  const auto rows = [&](int64_t lane) {
    return RowsBetween(placement.out_begin, placement.out_begin + out_count, column + lane);
  };
  ForGroups(lanes, plane_.rows(), rows, [&](int64_t lane, int64_t row, int64_t count) {
    const Real *from = plane_.Lane(lane) + 2 * row;
    Out *to = dst + row * columns + column + lane - placement.out_begin;
    // What lies in the lanes is conjugated, so the factors are conjugated as well.
    const PhaseChunk chunk = ChirpChunk(lane, row, scale, -sign);
    if constexpr (std::is_same_v<Out, Real>) {
      kernels.turn_to_real(chunk, from, to, columns, count);
    } else {
      kernels.turn(chunk, from, 2, -1, Scalars(to), 2 * columns, count);
    }
  });
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
  if (plane_.IsLine()) {
    fill(0);
    plane_.TransformLanes();
    Convolve(sign);
    plane_.TransformLanes();
    drain(0);
    return;
  }
  plane_.ColumnsIn(fill);
  Convolve(sign);
  plane_.ColumnsOut(drain);
}

template class Chirp<float>;
template class Chirp<double>;
#define VOMO_RUN(Real, In, Out) \
  template void Chirp<Real>::Run(const In *, int64_t, Out *, int64_t, double, double, const In *)
VOMO_RUN(float, float, std::complex<float>);
VOMO_RUN(float, std::complex<float>, float);
VOMO_RUN(float, std::complex<float>, std::complex<float>);
VOMO_RUN(double, double, std::complex<double>);
VOMO_RUN(double, std::complex<double>, double);
VOMO_RUN(double, std::complex<double>, std::complex<double>);
#undef VOMO_RUN

}  // namespace vomo
