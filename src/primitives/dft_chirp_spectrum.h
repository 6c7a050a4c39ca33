// The chirp exp(-pi i p^2 / N) and its spectrum.
#ifndef VOMO_PRIMITIVES_DFT_CHIRP_SPECTRUM_H
#define VOMO_PRIMITIVES_DFT_CHIRP_SPECTRUM_H

#include <cstdint>

#include "primitives/dft_method.h"
#include "primitives/dft_phase.h"
#include "primitives/dft_work.h"

namespace vomo {

// The chirp along the columns of a plane: p = row * columns + offset.
class ChirpPhases {
 public:
  ChirpPhases(int64_t length, PlaneShape shape);

  // Prepares a ramp for exp(-pi i (p^2 - shift^2) / length).
  void Set(PhaseRamp *ramp, int64_t offset, int64_t shift) const;
  // The factors of the rows from row on, times scale, the exponents times sign.
  PhaseChunk Chunk(const PhaseRamp &ramp, int64_t row, double scale, double sign) const;

 private:
  PhaseTable table_;
  PlaneShape shape_;
  WorkArray<double> squares_re_;
  WorkArray<double> squares_im_;
};

// The spectrum, in the order of the plane, of the chirp at p = -reach to reach, continued around
// the ends, divided by the plane's length. Its transforms run in double for both types. Being even,
// it is kept up to the middle row: the row r is, reversed, the row rows - r.
template <class Real>
class ChirpSpectrum {
 public:
  ChirpSpectrum(const ChirpPhases &phases, PlaneShape shape, int64_t reach);

  const Real *Row(int64_t row) const { return values_.get() + row * stride_; }

 private:
  int64_t stride_;
  WorkArray<Real> values_;
};

extern template class ChirpSpectrum<float>;
extern template class ChirpSpectrum<double>;

}  // namespace vomo

#endif
