#include "primitives/dft_chirp_spectrum.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <type_traits>
#include <utility>

#include "primitives/dft_plane.h"

namespace vomo {
namespace {

uint64_t Modulo(int64_t value, uint64_t modulus) {
  const uint64_t rest = static_cast<uint64_t>(std::abs(value)) % modulus;
  return value < 0 && rest != 0 ? modulus - rest : rest;
}

template <class From, class To>
void Convert(const From *src, To *dst, int64_t count) {
  for (int64_t i = 0; i < count; ++i) dst[i] = static_cast<To>(src[i]);
}

// The way to the spectrum.
template <class Real>
class SpectrumMaker {
 public:
  SpectrumMaker(const ChirpPhases &phases, PlaneShape shape, int64_t reach)
      : phases_(phases), plane_(shape, 1), reach_(reach) {}

  // From row to row, in scalars.
  int64_t stride() const { return 2 * plane_.stride(); }

  WorkArray<Real> MakeLine() {
    FillLanes(0);
    plane_.TransformLanes();
    values_ = WorkArray<Real>(2 * plane_.rows());
    Convert(plane_.Lane(0), values_.get(), 2 * plane_.rows());
    return std::move(values_);
  }

  WorkArray<Real> MakePlane() {
    const int64_t kept_rows = plane_.rows() / 2 + 1;
    values_ = WorkArray<Real>(kept_rows * stride());
    // Half the columns are enough: the column c of an even sequence, mirrored, is the column
    // columns - c.
    for (int64_t column = 0; column <= plane_.columns() / 2; column += plane_.kLanes) {
      FillLanes(column);
      plane_.TransformLanes();
      LanesToRows(column);
    }
    for (int64_t row = 0; row < kept_rows; ++row) TransformRow(Row(row));
    return std::move(values_);
  }

 private:
  PhaseRamp &Ramp(int64_t lane) { return ramps_[static_cast<size_t>(lane)]; }
  Real *Row(int64_t row) const { return values_.get() + row * stride(); }

  // The chirp at the positions p and length of the plane - p, p up to the reach, divided by the
  // length of the plane.
  void FillLanes(int64_t column) {
    const int64_t size = plane_.length(), lanes = plane_.LanesFrom(column);
    const struct {
      int64_t begin, end, origin;
    } sides[] = {{0, reach_ + 1, 0}, {size - reach_, size, size}};
    for (int64_t lane = 0; lane < lanes; ++lane) {
      std::fill_n(plane_.Lane(lane), 2 * plane_.rows(), 0.0);
    }
    const double value = 1 / static_cast<double>(size);
    for (const auto &side : sides) {
      for (int64_t lane = 0; lane < lanes; ++lane) {
        phases_.Set(&Ramp(lane), column + lane - side.origin, 0);
      }
      const auto rows = [&](int64_t lane) {
        return plane_.RowsBetween(side.begin, side.end, column + lane);
      };
      ForGroups(lanes, plane_.rows(), rows, [&](int64_t lane, int64_t row, int64_t count) {
        ActiveDftKernels<double>().turn_real(phases_.Chunk(Ramp(lane), row, 1, 1), &value, 0,
                                             plane_.Lane(lane) + 2 * row, count);
      });
    }
  }

  void LanesToRows(int64_t column) {
    const int64_t rows = plane_.rows(), columns = plane_.columns();
    const int64_t lanes = std::min(plane_.kLanes, columns / 2 + 1 - column);
    for (int64_t lane = 0; lane < lanes; ++lane) {
      plane_.SetTwist(&Ramp(lane), column + lane);
      std::copy_n(plane_.Lane(lane), 2, plane_.Lane(lane) + 2 * rows);
    }
    const auto kept_rows = [&](int64_t) { return DftSpan(0, rows / 2 + 1); };
    ForGroups(lanes, rows, kept_rows, [&](int64_t lane, int64_t row, int64_t count) {
      const double *from = plane_.Lane(lane);
      const int64_t c = column + lane, mirrored = columns - c;
      Put(Ramp(lane).Chunk(row, 1, 1), from + 2 * row, 2, Row(row) + 2 * c, count);
      if (c == 0 || c >= mirrored) return;
      Put(Ramp(lane).Chunk(row, 1, -1), from + 2 * (rows - row), -2, Row(row) + 2 * mirrored,
          count);
    });
  }

  // Turned values into a column of the rows.
  void Put(const PhaseChunk &factors, const double *from, int64_t from_stride, Real *to,
           int64_t count) const {
    double turned[2 * kPhaseChunk];
    ActiveDftKernels<double>().turn(factors, from, from_stride, 1, turned, 2, count);
    for (int64_t i = 0; i < count; ++i) Convert(turned + 2 * i, to + i * stride(), 2);
  }

  void TransformRow(Real *row) const {
    if constexpr (std::is_same_v<Real, double>) {
      plane_.TransformRow(row);
    } else {
      double *wide = plane_.Row(0);
      Convert(row, wide, 2 * plane_.columns());
      plane_.TransformRow(wide);
      Convert(wide, row, 2 * plane_.columns());
    }
  }

  const ChirpPhases &phases_;
  Plane<double> plane_;
  int64_t reach_;
  WorkArray<Real> values_;
  std::array<PhaseRamp, Plane<double>::kLanes> ramps_;
};

}  // namespace

// (row columns)^2 for all rows, by its differences, modulo the table's modulus.
ChirpPhases::ChirpPhases(int64_t length, PlaneShape shape)
    : table_(2 * static_cast<uint64_t>(length)),
      shape_(shape),
      squares_re_(shape.rows),
      squares_im_(shape.rows) {
  const uint64_t modulus = table_.modulus();
  const uint64_t step = static_cast<uint64_t>(shape.columns) % modulus;
  const uint64_t step_squared = step * step % modulus;
  const auto add = [modulus](uint64_t a, uint64_t b) {
    return a + b < modulus ? a + b : a + b - modulus;
  };
  uint64_t square = 0, difference = step_squared;
  for (int64_t row = 0; row < shape.rows; ++row) {
    const Phase phase = table_.At(square);
    squares_re_[row] = phase.re;
    squares_im_[row] = phase.im;
    square = add(square, difference);
    difference = add(difference, add(step_squared, step_squared));
  }
}

// (row columns + offset)^2 = (row columns)^2 + 2 row columns offset + offset^2: a table by row that
// all columns share, a ramp and a constant.
void ChirpPhases::Set(PhaseRamp *ramp, int64_t offset, int64_t shift) const {
  const uint64_t modulus = table_.modulus();
  const auto square = [modulus](int64_t value) {
    const uint64_t root = Modulo(value, modulus);
    return root * root % modulus;
  };
  const uint64_t start = (square(offset) + modulus - square(shift)) % modulus;
  const uint64_t columns = static_cast<uint64_t>(shape_.columns) % modulus;
  const uint64_t half_step = columns * Modulo(offset, modulus) % modulus;
  ramp->Set(table_, start, 2 * half_step % modulus, shape_.rows);
}

PhaseChunk ChirpPhases::Chunk(const PhaseRamp &ramp, int64_t row, double scale, double sign) const {
  PhaseChunk chunk = ramp.Chunk(row, scale, sign);
  chunk.table_re = squares_re_.get() + row;
  chunk.table_im = squares_im_.get() + row;
  return chunk;
}

template <class Real>
ChirpSpectrum<Real>::ChirpSpectrum(const ChirpPhases &phases, PlaneShape shape, int64_t reach) {
  SpectrumMaker<Real> maker(phases, shape, reach);
  stride_ = maker.stride();
  values_ = shape.columns == 1 ? maker.MakeLine() : maker.MakePlane();
}

template class ChirpSpectrum<float>;
template class ChirpSpectrum<double>;

}  // namespace vomo
