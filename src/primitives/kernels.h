// The loops behind the vector operations, as one table of functions for each processor level.
//
// A kernel tests nothing: counts are 1 or more and pointers good. Complex arrays come as their
// scalars, real part first, with the count in complex elements. Destinations may be the very same
// array as a source. Every level gives the same bits.
#ifndef VOMO_PRIMITIVES_KERNELS_H
#define VOMO_PRIMITIVES_KERNELS_H

#include <cstdint>

namespace vomo {

template <class T>
using FillKernel = void (*)(T value, T *dst, int64_t count);
template <class From, class To>
using UnaryKernel = void (*)(const From *src, To *dst, int64_t count);
template <class T>
using BinaryKernel = void (*)(const T *a, const T *b, T *dst, int64_t count);
template <class T>
using ConstantKernel = void (*)(const T *src, T value, T *dst, int64_t count);
template <class T>
using ComplexConstantKernel = void (*)(const T *src, T re, T im, T *dst, int64_t count);

// Sum in double over a fixed number of lanes.
template <class T>
using SumKernel = double (*)(const T *src, int64_t count);
template <class T>
using SquaredDeviationKernel = double (*)(const T *src, double mean, int64_t count);
template <class T>
using IntegerSumKernel = int64_t (*)(const T *src, int64_t count);

// Indices of the first smallest and the first largest element; both 0 if element 0 is a NaN.
template <class T>
using ExtremesKernel = void (*)(const T *src, int64_t count, int64_t *min_index,
                                int64_t *max_index);

// Index of the first element that is zero or negative; count if there is none.
template <class T>
using SearchKernel = int64_t (*)(const T *src, int64_t count);

// See BandMasks in band_scan.h.
using BandMaskKernel = void (*)(const float *samples, uint32_t count, float threshold,
                                uint64_t *not_above, uint64_t *above, uint64_t *not_below,
                                uint64_t *below);

struct Kernels {
  FillKernel<float> set_32f;
  FillKernel<double> set_64f;
  UnaryKernel<float, double> widen;
  UnaryKernel<double, float> narrow;  // clamps to the largest float of the sign
  // Either source of these two may be NULL, its part is then 0.
  BinaryKernel<float> to_complex_32f;
  BinaryKernel<double> to_complex_64f;
  void (*ramp)(double *dst, double offset, double slope, int64_t count);

  BinaryKernel<float> add_32f;
  BinaryKernel<double> add_64f;
  BinaryKernel<float> subtract_32f;  // b - a
  BinaryKernel<double> subtract_64f;
  BinaryKernel<double> multiply_64f;
  BinaryKernel<float> multiply_32fc;
  BinaryKernel<double> multiply_64fc;
  BinaryKernel<double> divide_64fc;  // a / b

  ConstantKernel<float> scale_32f;
  ConstantKernel<double> scale_64f;
  ConstantKernel<float> add_const_32f;
  ConstantKernel<double> add_const_64f;
  ConstantKernel<double> const_minus_64f;
  ComplexConstantKernel<float> scale_32fc;
  ComplexConstantKernel<double> scale_64fc;
  ComplexConstantKernel<float> divide_const_32fc;
  ComplexConstantKernel<double> divide_const_64fc;
  ComplexConstantKernel<double> add_const_64fc;

  UnaryKernel<float, float> magnitude_32fc;
  UnaryKernel<double, double> magnitude_64fc;
  UnaryKernel<float, float> log10_32f;
  SearchKernel<float> first_not_positive_32f;
  SearchKernel<double> first_not_positive_64f;

  SumKernel<float> sum_32f;
  SumKernel<double> sum_64f;
  SquaredDeviationKernel<float> squared_deviations_32f;
  SquaredDeviationKernel<double> squared_deviations_64f;
  IntegerSumKernel<int16_t> sum_16s;
  IntegerSumKernel<int32_t> sum_32s;
  int16_t (*max_16s)(const int16_t *src, int64_t count);
  ExtremesKernel<float> extremes_32f;
  ExtremesKernel<double> extremes_64f;

  BandMaskKernel band_masks;
};

// The two upper levels exist in builds for x86-64 only.
namespace kernels_baseline {
extern const Kernels kTable;
}
namespace kernels_avx2 {
extern const Kernels kTable;
}
namespace kernels_avx512 {
extern const Kernels kTable;
}

// The table of the level in use (cpu_level.h).
const Kernels &ActiveKernels();

}  // namespace vomo

#endif
