// Complex transforms by the three methods there are.
#ifndef VOMO_PRIMITIVES_DFT_COMPLEX_H
#define VOMO_PRIMITIVES_DFT_COMPLEX_H

#include <complex>
#include <cstdint>
#include <variant>

#include "primitives/dft_chirp.h"
#include "primitives/dft_fftw.h"
#include "primitives/dft_method.h"
#include "primitives/dft_plane.h"
#include "primitives/dft_work.h"

namespace vomo {

// One short transform. The caller moves the values in and out.
template <class Real>
class ShortDft {
 public:
  explicit ShortDft(int64_t length) : values_(length), plan_(values_.get(), length, 1, length) {}

  Real *values() const { return reinterpret_cast<Real *>(values_.get()); }
  // Forward, in place.
  void Transform() const { plan_.Run(values_.get()); }

 private:
  WorkArray<std::complex<Real>> values_;
  fftw::Plan<Real> plan_;
};

// The results times scale. src and dst may be the same memory, otherwise src is not changed.
template <class Real>
class ComplexDft {
 public:
  using Complex = std::complex<Real>;
  explicit ComplexDft(int64_t length);
  void Forward(const Complex *src, Complex *dst, double scale) { Run(src, dst, 1, scale); }
  void Inverse(const Complex *src, Complex *dst, double scale) { Run(src, dst, -1, scale); }

 private:
  // sign: 1 forward, -1 inverse.
  void Run(const Complex *src, Complex *dst, double sign, double scale);
  void RunShort(const ShortDft<Real> &transform, const Real *src, Real *dst, double sign,
                double scale) const;
  void RunPlane(Plane<Real> *plane, const Real *src, Real *dst, double sign, double scale) const;

  int64_t length_;
  std::variant<std::monostate, ShortDft<Real>, Plane<Real>, Chirp<Real>> method_;
};

extern template class ComplexDft<float>;
extern template class ComplexDft<double>;

}  // namespace vomo

#endif
