// Transforms of any length as a convolution with a chirp.
//
// With j k = (j^2 + k^2 - (k - j)^2) / 2 the sum over j of u[j] exp(-2 pi i j k / N) is a
// convolution of u[j] exp(-pi i j^2 / N) with exp(+pi i j^2 / N), turned by exp(-pi i k^2 / N).
// Only as many bins as asked for are formed, which for real input is half of them.
#ifndef VOMO_PRIMITIVES_DFT_CHIRP_H
#define VOMO_PRIMITIVES_DFT_CHIRP_H

#include <array>
#include <complex>
#include <cstdint>

#include "primitives/dft_chirp_spectrum.h"
#include "primitives/dft_plane.h"

namespace vomo {

template <class Real>
class Chirp {
 public:
  using Complex = std::complex<Real>;

  // For runs from one_count inputs to other_count outputs, or the reverse, of a transform of the
  // given length.
  Chirp(int64_t length, int64_t one_count, int64_t other_count);

  // dst[k] = scale * sum over j of src[j] exp(-2 pi i j k / length), the exponent times sign (1 or
  // -1). In is Real or Complex, and so is Out: of results that are Real the real part is kept.
  // first stands in for src[0] unless it is NULL. src and dst may be the same memory.
  template <class In, class Out>
  void Run(const In *src, int64_t in_count, Out *dst, int64_t out_count, double sign, double scale,
           const In *first = nullptr);

 private:
  // Input j takes part at position j + in_begin, output k is found at k + out_begin.
  struct Placement {
    int64_t in_begin, out_begin;
  };
  static Placement Place(int64_t in_count, int64_t out_count);
  static int64_t Reach(int64_t in_count, int64_t out_count);

  PhaseRamp &Ramp(int64_t lane) { return ramps_[static_cast<size_t>(lane)]; }
  template <class In>
  void FillLanes(int64_t column, const In *src, int64_t in_count, const In *first,
                 Placement placement, double sign);
  template <class Out>
  void DrainLanes(int64_t column, Out *dst, int64_t out_count, Placement placement, double sign,
                  double scale);
  void ConvolveRow(int64_t row, double sign);

  int64_t reach_;
  PlaneShape shape_;
  ChirpPhases phases_;
  ChirpSpectrum<Real> spectrum_;
  Plane<Real> plane_;
  std::array<PhaseRamp, Plane<Real>::kLanes> ramps_;
};

extern template class Chirp<float>;
extern template class Chirp<double>;

}  // namespace vomo

#endif
