#include "primitives/dft_real.h"

namespace vomo {

// The step between the spectrum of the packed values and the bins of the real ones, for the bins k
// and half - k at once. The ends, bin 0 and bin half, are done apart.
template <class Real>
void PackedReal<Real>::Butterflies(const Complex *src, Complex *dst, double sign,
                                   double scale) const {
  const auto butterfly = ActiveDftKernels<Real>().butterfly;
  const auto *in = reinterpret_cast<const Real *>(src);
  auto *out = reinterpret_cast<Real *>(dst);
  PhaseRamp ramp;
  ramp.Set(roots_, 0, 1 % roots_.modulus(), kPhaseChunk);
  const auto bins = [this](int64_t) { return DftSpan(1, half_ / 2 + 1); };
  ForGroups(1, half_ / 2 + 1, bins, [&](int64_t, int64_t k, int64_t count) {
    const int64_t mirrored = half_ - k;
    butterfly(ramp.Chunk(k, sign, sign), scale, in + 2 * k, in + 2 * mirrored, out + 2 * k,
              out + 2 * mirrored, count);
  });
}

template <class Real>
void PackedReal<Real>::Forward(const Real *src, Complex *dst, double scale) {
  transform_.Forward(reinterpret_cast<const Complex *>(src), dst, 1);
  const double even = dst[0].real(), odd = dst[0].imag();
  dst[0] = static_cast<Real>(scale * (even + odd));
  dst[half_] = static_cast<Real>(scale * (even - odd));
  Butterflies(dst, dst, 1, 0.5 * scale);
}

template <class Real>
void PackedReal<Real>::Inverse(const Complex *src, Real *dst, double scale) {
  auto *packed = reinterpret_cast<Complex *>(dst);
  const double first = src[0].real(), last = src[half_].real();
  Butterflies(src, packed, -1, scale);
  packed[0] =
      Complex(static_cast<Real>(scale * (first + last)), static_cast<Real>(scale * (first - last)));
  transform_.Inverse(packed, packed, 1);
}

template <class Real>
RealDft<Real>::RealDft(int64_t length) : length_(length) {
  const DftChoice choice = ChooseRealDft<Real>(length);
  if (choice.method == DftMethod::kShort) {
    method_.template emplace<ShortDft<Real>>(length);
  } else if (choice.method == DftMethod::kPacked) {
    method_.template emplace<PackedReal<Real>>(length);
  } else if (choice.method == DftMethod::kPlane) {
    method_.template emplace<RealPlane<Real>>(choice.shape);
  } else {
    method_.template emplace<Chirp<Real>>(length, length, BinCount());
  }
}

template <class Real>
void RealDft<Real>::Forward(const Real *src, Complex *dst, double scale) {
  if (auto *one = std::get_if<ShortDft<Real>>(&method_)) {
    ForwardShort(*one, src, dst, scale);
  } else if (auto *packed = std::get_if<PackedReal<Real>>(&method_)) {
    packed->Forward(src, dst, scale);
  } else if (auto *plane = std::get_if<RealPlane<Real>>(&method_)) {
    plane->Forward(src, dst, scale);
  } else {
    std::get<Chirp<Real>>(method_).Run(src, length_, dst, BinCount(), 1, scale);
  }
  dst[0].imag(0);
}

template <class Real>
void RealDft<Real>::Inverse(const Complex *src, Real *dst, double scale) {
  if (auto *one = std::get_if<ShortDft<Real>>(&method_)) {
    InverseShort(*one, src, dst, scale);
  } else if (auto *packed = std::get_if<PackedReal<Real>>(&method_)) {
    packed->Inverse(src, dst, scale);
  } else if (auto *plane = std::get_if<RealPlane<Real>>(&method_)) {
    plane->Inverse(src, dst, scale);
  } else {
    // Bins k and length - k together are twice the real part of one; bin 0 stands alone.
    const Complex half_of_first(src[0].real() / 2, 0);
    std::get<Chirp<Real>>(method_).Run(src, BinCount(), dst, length_, -1, 2 * scale,
                                       &half_of_first);
  }
}

// Odd lengths only.
template <class Real>
void RealDft<Real>::ForwardShort(const ShortDft<Real> &transform, const Real *src, Complex *dst,
                                 double scale) const {
  Real *values = transform.values();
  for (int64_t i = 0; i < length_; ++i) {
    values[2 * i] = src[i];
    values[2 * i + 1] = 0;
  }
  transform.Transform();
  ActiveDftKernels<Real>().copy(values, 2, scale, scale, reinterpret_cast<Real *>(dst), 2,
                                BinCount());
}

// The conjugate of the bins, continued to all frequencies; being that of real samples, its forward
// transform is their inverse one.
template <class Real>
void RealDft<Real>::InverseShort(const ShortDft<Real> &transform, const Complex *src, Real *dst,
                                 double scale) const {
  const auto copy = ActiveDftKernels<Real>().copy;
  const auto *bins = reinterpret_cast<const Real *>(src);
  Real *values = transform.values();
  const int64_t mirrored = BinCount() - 1;
  copy(bins, 2, scale, -scale, values, 2, BinCount());
  copy(bins + 2, 2, scale, scale, values + 2 * (length_ - 1), -2, mirrored);
  values[1] = 0;
  transform.Transform();
  for (int64_t i = 0; i < length_; ++i) dst[i] = values[2 * i];
}

template class RealDft<float>;
template class RealDft<double>;

}  // namespace vomo
