// Real transforms: real samples to the bins 0 to length / 2, and back.
#ifndef VOMO_PRIMITIVES_DFT_REAL_H
#define VOMO_PRIMITIVES_DFT_REAL_H

#include <complex>
#include <cstdint>
#include <variant>

#include "primitives/dft_chirp.h"
#include "primitives/dft_complex.h"
#include "primitives/dft_real_plane.h"

namespace vomo {

// Even lengths: neighbours become real and imaginary part of one complex value.
template <class Real>
class PackedReal {
 public:
  using Complex = std::complex<Real>;
  explicit PackedReal(int64_t length)
      : half_(length / 2), roots_(static_cast<uint64_t>(length)), transform_(half_) {}
  void Forward(const Real *src, Complex *dst, double scale);
  void Inverse(const Complex *src, Real *dst, double scale);

 private:
  void Butterflies(const Complex *src, Complex *dst, double sign, double scale) const;

  int64_t half_;
  PhaseTable roots_;
  ComplexDft<Real> transform_;
};

// src and dst may be the same memory, otherwise src is not changed. The imaginary parts of bin 0
// and, for an even length, of the last bin are written as 0 and not read.
template <class Real>
class RealDft {
 public:
  using Complex = std::complex<Real>;
  explicit RealDft(int64_t length);
  void Forward(const Real *src, Complex *dst, double scale);
  void Inverse(const Complex *src, Real *dst, double scale);

 private:
  int64_t BinCount() const { return length_ / 2 + 1; }
  void ForwardShort(const ShortDft<Real> &transform, const Real *src, Complex *dst,
                    double scale) const;
  void InverseShort(const ShortDft<Real> &transform, const Complex *src, Real *dst,
                    double scale) const;

  int64_t length_;
  std::variant<std::monostate, ShortDft<Real>, PackedReal<Real>, RealPlane<Real>, Chirp<Real>>
      method_;
};

extern template class RealDft<float>;
extern template class RealDft<double>;

}  // namespace vomo

#endif
