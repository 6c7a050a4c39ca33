// One text for all processor levels, under the same rules as kernels.cpp.
#include "primitives/dft_kernels.h"

#if defined(__clang__)
#define VOMO_INDEPENDENT _Pragma("clang loop vectorize(assume_safety)")
#else
#define VOMO_INDEPENDENT _Pragma("GCC ivdep")
#endif

namespace vomo {
namespace {

// Split into real and imaginary parts, which vectorises best.
template <class Real>
struct Factors {
  Real re[kPhaseChunk];
  Real im[kPhaseChunk];

  Factors(const PhaseChunk &p, int64_t count) {
    if (p.table_re == nullptr) {
      FromRamp(p, count);
    } else {
      FromRampAndTable(p, count);
    }
  }

 private:
  void FromRamp(const PhaseChunk &p, int64_t count) {
    VOMO_INDEPENDENT
    for (int64_t i = 0; i < count; ++i) {
      re[i] = static_cast<Real>(p.coarse_re * p.fine_re[i] - p.coarse_im * p.fine_im[i]);
      im[i] = static_cast<Real>(p.sign * (p.coarse_re * p.fine_im[i] + p.coarse_im * p.fine_re[i]));
    }
  }

  void FromRampAndTable(const PhaseChunk &p, int64_t count) {
    VOMO_INDEPENDENT
    for (int64_t i = 0; i < count; ++i) {
      const double ramp_re = p.coarse_re * p.fine_re[i] - p.coarse_im * p.fine_im[i];
      const double ramp_im = p.coarse_re * p.fine_im[i] + p.coarse_im * p.fine_re[i];
      re[i] = static_cast<Real>(ramp_re * p.table_re[i] - ramp_im * p.table_im[i]);
      im[i] = static_cast<Real>(p.sign * (ramp_re * p.table_im[i] + ramp_im * p.table_re[i]));
    }
  }
};

template <class Real>
void CopyValues(const Real *src, int64_t src_stride, Real *dst, int64_t dst_stride, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    const Real re = src[i * src_stride], im = src[i * src_stride + 1];
    dst[i * dst_stride] = re;
    dst[i * dst_stride + 1] = im;
  }
}

// Runs body(src, dst) on contiguous values: strided ones go through a copy of at most a chunk.
template <class Real, class Body>
void Contiguously(const Real *src, int64_t src_stride, Real *dst, int64_t dst_stride, int64_t count,
                  Body body) {
  Real gathered[2 * kPhaseChunk], result[2 * kPhaseChunk];
  if (src_stride != 2) {
    CopyValues(src, src_stride, gathered, 2, count);
    src = gathered;
  }
  if (dst_stride == 2) {
    body(src, dst);
  } else {
    body(src, result);
    CopyValues(result, 2, dst, dst_stride, count);
  }
}

template <class Real>
void Turn(const PhaseChunk &phases, const Real *src, int64_t src_stride, double im_sign, Real *dst,
          int64_t dst_stride, int64_t count) {
  const Factors<Real> factor(phases, count);
  const auto sign = static_cast<Real>(im_sign);
  Contiguously(src, src_stride, dst, dst_stride, count, [&](const Real *in, Real *out) {
    VOMO_INDEPENDENT
    for (int64_t i = 0; i < count; ++i) {
      const Real re = in[2 * i], im = in[2 * i + 1];
      out[2 * i] = re * factor.re[i] - im * factor.im[i];
      out[2 * i + 1] = sign * (re * factor.im[i] + im * factor.re[i]);
    }
  });
}

template <class Real>
void TurnReal(const PhaseChunk &phases, const Real *src, int64_t src_stride, Real *dst,
              int64_t count) {
  const Factors<Real> factor(phases, count);
  for (int64_t i = 0; i < count; ++i) {
    const Real value = src[i * src_stride];
    dst[2 * i] = value * factor.re[i];
    dst[2 * i + 1] = value * factor.im[i];
  }
}

template <class Real>
void TurnToReal(const PhaseChunk &phases, const Real *src, Real *dst, int64_t dst_stride,
                int64_t count) {
  const Factors<Real> factor(phases, count);
  for (int64_t i = 0; i < count; ++i) {
    dst[i * dst_stride] = src[2 * i] * factor.re[i] - src[2 * i + 1] * factor.im[i];
  }
}

template <class Real, bool kReversed>
void MultiplyConjugated(Real *srcdst, const Real *spectrum, double sign, int64_t count) {
  const auto im_sign = static_cast<Real>(sign);
  VOMO_INDEPENDENT
  for (int64_t i = 0; i < count; ++i) {
    const int64_t k = kReversed ? count - 1 - i : i;
    const Real re = srcdst[2 * i], im = srcdst[2 * i + 1];
    const Real other_re = spectrum[2 * k], other_im = im_sign * spectrum[2 * k + 1];
    srcdst[2 * i] = re * other_re - im * other_im;
    srcdst[2 * i + 1] = -(re * other_im + im * other_re);
  }
}

template <class Real>
void Copy(const Real *src, int64_t src_stride, double re_factor, double im_factor, Real *dst,
          int64_t dst_stride, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    const Real re = src[i * src_stride], im = src[i * src_stride + 1];
    dst[i * dst_stride] = static_cast<Real>(re * re_factor);
    dst[i * dst_stride + 1] = static_cast<Real>(im * im_factor);
  }
}

template <class Real>
void Butterfly(const PhaseChunk &phases, double scale, const Real *low, const Real *high,
               Real *low_out, Real *high_out, int64_t count) {
  const Factors<Real> factor(phases, count);
  // In arrays of their own: side by side g++ 12 would contract the two into a multiply and add for
  // AVX-512, whatever it is told.
  Real t_re[kPhaseChunk], t_im[kPhaseChunk];
  for (int64_t i = 0; i < count; ++i) {
    const Real re = low[2 * i] - high[-2 * i], im = low[2 * i + 1] + high[-2 * i + 1];
    t_re[i] = re * factor.im[i] + im * factor.re[i];
    t_im[i] = im * factor.im[i] - re * factor.re[i];
  }
  VOMO_INDEPENDENT
  for (int64_t i = 0; i < count; ++i) {
    const Real re = low[2 * i] + high[-2 * i], im = low[2 * i + 1] - high[-2 * i + 1];
    low_out[2 * i] = static_cast<Real>(scale * (re + t_re[i]));
    low_out[2 * i + 1] = static_cast<Real>(scale * (im + t_im[i]));
    high_out[-2 * i] = static_cast<Real>(scale * (re - t_re[i]));
    high_out[-2 * i + 1] = static_cast<Real>(-scale * (im - t_im[i]));
  }
}

template <class Real>
void Separate(const Real *low, const Real *high, Real *a, Real *b, int64_t count) {
  constexpr Real kHalf = 0.5;
  VOMO_INDEPENDENT
  for (int64_t i = 0; i < count; ++i) {
    const Real low_re = low[2 * i], low_im = low[2 * i + 1];
    const Real high_re = high[-2 * i], high_im = high[-2 * i + 1];
    a[2 * i] = kHalf * (low_re + high_re);
    a[2 * i + 1] = kHalf * (low_im - high_im);
    b[2 * i] = kHalf * (low_im + high_im);
    b[2 * i + 1] = kHalf * (high_re - low_re);
  }
}

template <class Real>
void Unite(const Real *a, const Real *b, Real *low, Real *high, int64_t count) {
  VOMO_INDEPENDENT
  for (int64_t i = 0; i < count; ++i) {
    const Real a_re = a[2 * i], a_im = a[2 * i + 1];
    const Real b_re = b[2 * i], b_im = b[2 * i + 1];
    low[2 * i] = a_re - b_im;
    low[2 * i + 1] = a_im + b_re;
    high[-2 * i] = a_re + b_im;
    high[-2 * i + 1] = b_re - a_im;
  }
}

template <class Real>
constexpr DftKernels<Real> kKernels = {
    .turn = Turn<Real>,
    .turn_real = TurnReal<Real>,
    .turn_to_real = TurnToReal<Real>,
    .multiply_conjugated = MultiplyConjugated<Real, false>,
    .multiply_reversed_conjugated = MultiplyConjugated<Real, true>,
    .copy = Copy<Real>,
    .butterfly = Butterfly<Real>,
    .separate = Separate<Real>,
    .unite = Unite<Real>,
};

}  // namespace

namespace VOMO_KERNEL_LEVEL {

const DftKernels<float> kDftFloat = kKernels<float>;
const DftKernels<double> kDftDouble = kKernels<double>;

}  // namespace VOMO_KERNEL_LEVEL
}  // namespace vomo
