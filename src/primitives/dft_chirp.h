// Transforms of any length as a convolution with a chirp.
//
// With j k = (j^2 + k^2 - (k - j)^2) / 2 the sum over j of u[j] exp(-2 pi i j k / N) is a
// convolution of u[j] exp(-pi i j^2 / N) with exp(+pi i j^2 / N), turned by exp(-pi i k^2 / N).
// Only as many bins as asked for are formed, which for real input is half of them.
#ifndef VOMO_PRIMITIVES_DFT_CHIRP_H
#define VOMO_PRIMITIVES_DFT_CHIRP_H

#include <complex>
#include <cstdint>
#include <utility>

#include "primitives/dft_plane.h"

namespace vomo {

template <class Real>
class Chirp {
 public:
  using Complex = std::complex<Real>;

  // For runs of one_count inputs to other_count outputs, or the reverse, of a transform of the
  // given length.
  Chirp(int64_t length, int64_t one_count, int64_t other_count);

  // dst[k] = scale * sum over j of src[j] exp(-2 pi i j k / length), the exponent times sign (1 or
  // -1). In is Real or Complex, and so is Out: of results that are Real the real part is kept.
  // first stands in for src[0] unless it is NULL. src and dst may be the same memory.
  template <class In, class Out>
  void Run(const In *src, int64_t in_count, Out *dst, int64_t out_count, double sign, double scale,
           const In *first = nullptr);

 private:
  // Where inputs and outputs lie in the convolution, see Place().
  struct Placement {
    int64_t in_begin;
    int64_t out_begin;
  };
  static Placement Place(int64_t in_count, int64_t out_count);
  static int64_t Reach(int64_t in_count, int64_t out_count);

  // Rows of a column whose positions, row * columns + column, are in [begin, end).
  DftSpan RowsBetween(int64_t begin, int64_t end, int64_t column) const;

  // Sets the lane's ramp to exp(-pi i (row * columns + offset)^2 / length), turned by
  // exp(pi i shift^2 / length).
  void SetChirp(int64_t lane, int64_t offset, int64_t shift);
  PhaseChunk ChirpChunk(int64_t lane, int64_t row, double scale, double sign) const;

  void FillSpectrumLanes(int64_t column);
  void SpectrumLanesOut(int64_t column);
  void MakeSpectrum();
  void Convolve(double sign);

  template <class In>
  void FillLanes(int64_t column, const In *src, int64_t in_count, const In *first,
                 Placement placement, double sign);
  template <class Out>
  void DrainLanes(int64_t column, Out *dst, int64_t out_count, Placement placement, double sign,
                  double scale);

  int64_t length_;
  int64_t reach_;
  Plane<Real> plane_;
  PhaseTable phases_;
  WorkArray<double> squares_re_;
  WorkArray<double> squares_im_;
  WorkArray<Complex> spectrum_;
  std::array<PhaseRamp, Plane<Real>::kLanes> ramps_;
};

}  // namespace vomo

#endif
