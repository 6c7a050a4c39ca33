// The loops behind the transforms, as one table of functions for each processor level and type.
//
// Complex values are pairs of scalars, real part first. Counts are in values, strides in scalars.
// Factors are formed in double for both types and rounded once. Every level gives the same bits.
#ifndef VOMO_PRIMITIVES_DFT_KERNELS_H
#define VOMO_PRIMITIVES_DFT_KERNELS_H

#include <cstdint>

namespace vomo {

// The kernels that take factors work on at most this many values.
constexpr int64_t kPhaseChunk = 64;

// Factor i is coarse * fine[i], times table[i] unless the table is NULL; its imaginary part is then
// multiplied by sign.
struct PhaseChunk {
  double coarse_re, coarse_im;
  const double *fine_re, *fine_im;
  const double *table_re, *table_im;
  double sign;
};

template <class Real>
struct DftKernels {
  // dst[i] = src[i] * factor[i], the imaginary part times im_sign.
  void (*turn)(const PhaseChunk &phases, const Real *src, int64_t src_stride, double im_sign,
               Real *dst, int64_t dst_stride, int64_t count);

  // dst[i] = real src[i] * factor[i]; dst is contiguous.
  void (*turn_real)(const PhaseChunk &phases, const Real *src, int64_t src_stride, Real *dst,
                    int64_t count);

  // Real dst[i] = real part of src[i] * factor[i]; src is contiguous.
  void (*turn_to_real)(const PhaseChunk &phases, const Real *src, Real *dst, int64_t dst_stride,
                       int64_t count);

  // srcdst[i] = conjugate of srcdst[i] * spectrum[i], the spectrum's imaginary part times sign.
  // The reversed form takes spectrum[count - 1 - i].
  void (*multiply_conjugated)(Real *srcdst, const Real *spectrum, double sign, int64_t count);
  void (*multiply_reversed_conjugated)(Real *srcdst, const Real *spectrum, double sign,
                                       int64_t count);

  // dst[i] = src[i], real and imaginary part times a factor each. In place with equal strides.
  void (*copy)(const Real *src, int64_t src_stride, double re_factor, double im_factor, Real *dst,
               int64_t dst_stride, int64_t count);

  // With a = low[i], b = conjugate of high[-i] and t = -i factor[i] (a - b):
  // low_out[i] = scale * (a + b + t) and high_out[-i] = scale * conjugate of (a + b - t).
  // In place; the last low and high value may be one and the same.
  void (*butterfly)(const PhaseChunk &phases, double scale, const Real *low, const Real *high,
                    Real *low_out, Real *high_out, int64_t count);

  // From the transform of a[] + i b[] with both sequences real, low[i] and high[-i] being its
  // values at opposite frequencies, the transforms of the two.
  void (*separate)(const Real *low, const Real *high, Real *a, Real *b, int64_t count);
  // The reverse: low[i] = a[i] + i b[i] and high[-i] = conjugate of a[i] + i * conjugate of b[i].
  void (*unite)(const Real *a, const Real *b, Real *low, Real *high, int64_t count);
};

// The two upper levels exist in builds for x86-64 only.
namespace kernels_baseline {
extern const DftKernels<float> kDftFloat;
extern const DftKernels<double> kDftDouble;
}  // namespace kernels_baseline
namespace kernels_avx2 {
extern const DftKernels<float> kDftFloat;
extern const DftKernels<double> kDftDouble;
}  // namespace kernels_avx2
namespace kernels_avx512 {
extern const DftKernels<float> kDftFloat;
extern const DftKernels<double> kDftDouble;
}  // namespace kernels_avx512

// The table of the level in use (cpu_level.h).
template <class Real>
const DftKernels<Real> &ActiveDftKernels();

}  // namespace vomo

#endif
