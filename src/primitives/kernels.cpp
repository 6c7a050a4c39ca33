// One text for all processor levels: the build compiles it once for each, with VOMO_KERNEL_LEVEL
// naming the namespace of its table. Everything but the table is internal to the translation unit,
// and no function with external linkage is used here: a shared inline function compiled for a
// high level could otherwise be the copy that the linker keeps for all.
#include "primitives/kernels.h"

#include <utility>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// The iterations of the loop that follows don't depend on each other, even where destination and
// source are the same array.
#if defined(__clang__)
#define VOMO_INDEPENDENT _Pragma("clang loop vectorize(assume_safety)")
#else
#define VOMO_INDEPENDENT _Pragma("GCC ivdep")
#endif

namespace vomo {
namespace {

#if defined(__AVX512F__)
constexpr int kVectorBytes = 64;
#elif defined(__AVX2__)
constexpr int kVectorBytes = 32;
#else
constexpr int kVectorBytes = 16;
#endif

constexpr float kLargestFloat = __FLT_MAX__;

// ---- Vectors as wide as the level's registers ----

template <class T, int kBytes = kVectorBytes>
struct SimdOf {
  typedef T type __attribute__((vector_size(kBytes)));
};
template <class T>
using Simd = typename SimdOf<T>::type;
template <class T>
using HalfSimd = typename SimdOf<T, kVectorBytes / 2>::type;
template <class Vector>
constexpr int kLanesOf = static_cast<int>(sizeof(Vector) / sizeof(Vector{}[0]));
template <class T>
constexpr int kWidth = kLanesOf<Simd<T>>;

template <class Vector, class T>
Vector LoadVector(const T *src) {
  Vector vector;
  __builtin_memcpy(&vector, src, sizeof vector);
  return vector;
}

template <class To, class From>
To Converted(From vector) {
  return __builtin_convertvector(vector, To);
}

inline Simd<double> LoadDoubles(const double *src) {
  return LoadVector<Simd<double>>(src);
}
inline Simd<double> LoadDoubles(const float *src) {
  return Converted<Simd<double>>(LoadVector<HalfSimd<float>>(src));
}

// ---- Fill, copy and conversion ----

template <class T>
void Set(T value, T *dst, int64_t count) {
  for (int64_t i = 0; i < count; ++i) dst[i] = value;
}

void Widen(const float *src, double *dst, int64_t count) {
  for (int64_t i = 0; i < count; ++i) dst[i] = static_cast<double>(src[i]);
}

void Narrow(const double *src, float *dst, int64_t count) {
  constexpr double kLimit = kLargestFloat;
  for (int64_t i = 0; i < count; ++i) {
    const double floored = src[i] < -kLimit ? -kLimit : src[i];
    dst[i] = static_cast<float>(floored > kLimit ? kLimit : floored);
  }
}

// The parts are functions of the index, so that a missing one costs nothing.
template <class T, class Re, class Im>
void Interleave(Re re, Im im, T *dst, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    dst[2 * i] = re(i);
    dst[2 * i + 1] = im(i);
  }
}

template <class T>
void ToComplex(const T *re, const T *im, T *dst, int64_t count) {
  const auto zero = [](int64_t) { return T{0}; };
  const auto real = [re](int64_t i) { return re[i]; };
  const auto imaginary = [im](int64_t i) { return im[i]; };
  if (im == nullptr) {
    Interleave(real, zero, dst, count);
  } else if (re == nullptr) {
    Interleave(zero, imaginary, dst, count);
  } else {
    Interleave(real, imaginary, dst, count);
  }
}

void Ramp(double *dst, double offset, double slope, int64_t count) {
  const auto end = static_cast<int32_t>(count);
  for (int32_t i = 0; i < end; ++i) dst[i] = offset + static_cast<double>(i) * slope;
}

// ---- Element-wise arithmetic ----

template <class T, T (*Operation)(T, T)>
void Combine(const T *a, const T *b, T *dst, int64_t count) {
  VOMO_INDEPENDENT
  for (int64_t i = 0; i < count; ++i) dst[i] = Operation(a[i], b[i]);
}

template <class T, T (*Operation)(T, T)>
void CombineConstant(const T *src, T value, T *dst, int64_t count) {
  VOMO_INDEPENDENT
  for (int64_t i = 0; i < count; ++i) dst[i] = Operation(src[i], value);
}

template <class T>
T Sum(T a, T b) {
  return a + b;
}
template <class T>
T SecondMinusFirst(T a, T b) {
  return b - a;
}
template <class T>
T Product(T a, T b) {
  return a * b;
}

// ---- Complex arithmetic ----
//
// On vectors of alternating real and imaginary parts. Written out, since a compiler that finds the
// pattern in a scalar loop may fuse its products and sums even where contraction is off, and a
// level with fused operations would then round otherwise than one without.

// Lane k of the result is lane index(k) of a, or of b for an index beyond a's lanes.
template <class Vector, class Index, int... k>
Vector Shuffle(Vector a, Vector b, Index index, std::integer_sequence<int, k...>) {
  return __builtin_shufflevector(a, b, index(k)...);
}
template <class Vector, class Index>
Vector Shuffle(Vector a, Vector b, Index index) {
  return Shuffle(a, b, index, std::make_integer_sequence<int, kLanesOf<Vector>>());
}

template <class Vector>
Vector RealParts(Vector a) {
  return Shuffle(a, a, [](int k) { return k & ~1; });
}
template <class Vector>
Vector ImaginaryParts(Vector a) {
  return Shuffle(a, a, [](int k) { return k | 1; });
}
template <class Vector>
Vector Swapped(Vector a) {
  return Shuffle(a, a, [](int k) { return k ^ 1; });
}
template <class Vector>
Vector Merged(Vector real, Vector imaginary) {
  return Shuffle(real, imaginary, [](int k) { return k % 2 == 0 ? k : k + kLanesOf<Vector>; });
}

struct ComplexSum {
  template <class Vector>
  Vector operator()(Vector a, Vector b) const {
    return a + b;
  }
};

struct ComplexProduct {
  template <class Vector>
  Vector operator()(Vector a, Vector b) const {
    const Vector straight = a * RealParts(b);
    const Vector crossed = Swapped(a) * ImaginaryParts(b);
    return Merged(straight - crossed, straight + crossed);
  }
};

// In double for both types, rounded once.
struct ComplexQuotient {
  Simd<double> operator()(Simd<double> a, Simd<double> b) const {
    const Simd<double> straight = a * RealParts(b);
    const Simd<double> crossed = Swapped(a) * ImaginaryParts(b);
    const Simd<double> squares = b * b;
    return Merged(straight + crossed, straight - crossed) / (squares + Swapped(squares));
  }
  HalfSimd<float> operator()(HalfSimd<float> a, HalfSimd<float> b) const {
    const auto wide = (*this)(Converted<Simd<double>>(a), Converted<Simd<double>>(b));
    return Converted<HalfSimd<float>>(wide);
  }
};

// A constant's product in double for both types too, as its quotient: each part is rounded once.
struct ComplexConstantProduct {
  Simd<double> operator()(Simd<double> a, Simd<double> b) const { return ComplexProduct()(a, b); }
  HalfSimd<float> operator()(HalfSimd<float> a, HalfSimd<float> b) const {
    return Converted<HalfSimd<float>>(
        ComplexProduct()(Converted<Simd<double>>(a), Converted<Simd<double>>(b)));
  }
};

// Whole vectors first; the last scalars go through one that is filled up with zeros.
template <class Vector, class T, class Operation, class... Sources>
void CombineVectors(T *dst, int64_t count, Operation operation, const Sources *...sources) {
  constexpr int kLanes = kLanesOf<Vector>;
  int64_t done = 0;
  for (; count - done >= kLanes; done += kLanes) {
    const Vector result = operation(LoadVector<Vector>(sources + done)...);
    __builtin_memcpy(dst + done, &result, sizeof result);
  }
  if (done == count) return;
  const auto bytes = static_cast<uint64_t>(count - done) * sizeof(T);
  const auto load = [bytes](const T *src) {
    Vector vector = {};
    __builtin_memcpy(&vector, src, bytes);
    return vector;
  };
  const Vector result = operation(load(sources + done)...);
  __builtin_memcpy(dst + done, &result, bytes);
}

template <class Vector, class Operation, class T>
void CombineComplex(const T *a, const T *b, T *dst, int64_t count) {
  CombineVectors<Vector>(dst, 2 * count, Operation(), a, b);
}

template <class Vector, class Operation, class T>
void CombineComplexConstant(const T *src, T re, T im, T *dst, int64_t count) {
  const Vector value = Merged(Vector{} + re, Vector{} + im);
  CombineVectors<Vector>(
      dst, 2 * count, [value](Vector x) { return Operation()(x, value); }, src);
}

// ---- Functions of the elements ----

// Computed in double for both types: a float magnitude is rounded once and can't overflow on the
// way.
template <class T>
void Magnitude(const T *src, T *dst, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    const double re = src[2 * i], im = src[2 * i + 1];
    dst[i] = static_cast<T>(__builtin_sqrt(re * re + im * im));
  }
}

// log10 of a positive finite number x = m 2^e with m between sqrt(1/2) and sqrt(2), as
// e log10(2) + 2 / ln(10) artanh(s) with s = (m - 1) / (m + 1). |s| is below 0.1716, so the first
// term that the series leaves out is below 0.1716^14 / 15 = 2e-12 of s. That is far below half a
// unit of a float, near x = 1 too, where the whole result is as small as s.
inline double Log10OfPositive(double x) {
  constexpr uint64_t kSqrtHalf = 0x3FE6A09E667F3BCDu;  // the bits of sqrt(1/2)
  constexpr uint64_t kExponent = 0x7FF0000000000000u;
  constexpr uint64_t kBias = 1024;                  // keeps the shifted number positive
  constexpr uint64_t kTwo52 = 0x4330000000000000u;  // 2^52, whose lowest bits count units
  constexpr double kLog10Of2 = 0.301029995663981195213738894724493;
  constexpr double kTwoOverLn10 = 0.868588963806503655302257837833210;
  const uint64_t offset = __builtin_bit_cast(uint64_t, x) - kSqrtHalf;
  const uint64_t biased = (offset + (kBias << 52)) >> 52;
  const double e = __builtin_bit_cast(double, kTwo52 + biased) -
                   (__builtin_bit_cast(double, kTwo52) + static_cast<double>(kBias));
  const double m = __builtin_bit_cast(
      double, __builtin_bit_cast(uint64_t, x) - (offset & (kExponent | (1ull << 63))));
  const double s = (m - 1.0) / (m + 1.0);
  const double z = s * s;
  double series = 1.0 / 13;
  for (int odd = 11; odd >= 1; odd -= 2) series = series * z + 1.0 / odd;
  return e * kLog10Of2 + kTwoOverLn10 * (s * series);
}

void Log10(const float *src, float *dst, int64_t count) {
  constexpr float kInfinity = __builtin_inff();
  VOMO_INDEPENDENT
  for (int64_t i = 0; i < count; ++i) {
    const float x = src[i];
    const auto regular = static_cast<float>(Log10OfPositive(static_cast<double>(x)));
    const float not_finite = x == kInfinity ? kInfinity : __builtin_nanf("");
    const float positive = x > 0 && x <= kLargestFloat ? regular : not_finite;
    dst[i] = x == 0 ? -kInfinity : positive;
  }
}

template <class T>
int64_t FirstNotPositive(const T *src, int64_t count) {
  constexpr int64_t kBlock = 1024;
  for (int64_t begin = 0; begin < count; begin += kBlock) {
    const int64_t end = count - begin < kBlock ? count : begin + kBlock;
    int32_t found = 0;
    for (int64_t i = begin; i < end; ++i) found |= src[i] <= 0;
    for (int64_t i = begin; found != 0; ++i) {
      if (src[i] <= 0) return i;
    }
  }
  return count;
}

// ---- Reductions ----

// Sum of term(element) in double. Element i belongs to lane i modulo kLanes and the lanes are added
// pairwise at the end, whatever the width of the vectors that carry them.
template <class T, class Term>
double SumInLanes(const T *src, int64_t count, Term term) {
  constexpr int kLanes = 16;
  constexpr int kParts = kLanes / kWidth<double>;
  Simd<double> parts[kParts] = {};
  int64_t done = 0;
  for (; count - done >= kLanes; done += kLanes) {
    for (int p = 0; p < kParts; ++p) {
      parts[p] += term(LoadDoubles(src + done + p * kWidth<double>));
    }
  }
  double lanes[kLanes];
  __builtin_memcpy(lanes, parts, sizeof lanes);
  for (int k = 0; done + k < count; ++k) lanes[k] += term(static_cast<double>(src[done + k]));
  for (int half = kLanes / 2; half > 0; half /= 2) {
    for (int k = 0; k < half; ++k) lanes[k] += lanes[k + half];
  }
  return lanes[0];
}

template <class T>
double SumOf(const T *src, int64_t count) {
  return SumInLanes(src, count, [](auto x) { return x; });
}

template <class T>
double SquaredDeviations(const T *src, double mean, int64_t count) {
  return SumInLanes(src, count, [mean](auto x) {
    const auto deviation = x - mean;
    return deviation * deviation;
  });
}

// Blocks are short enough for their sums to fit the narrow type.
template <class T, class BlockSum, int64_t kBlock>
int64_t IntegerSum(const T *src, int64_t count) {
  int64_t sum = 0;
  for (int64_t begin = 0; begin < count; begin += kBlock) {
    const int64_t end = count - begin < kBlock ? count : begin + kBlock;
    BlockSum block = 0;
    for (int64_t i = begin; i < end; ++i) block += src[i];
    sum += block;
  }
  return sum;
}

int16_t Largest(const int16_t *src, int64_t count) {
  int16_t largest = src[0];
  for (int64_t i = 1; i < count; ++i) largest = src[i] > largest ? src[i] : largest;
  return largest;
}

template <class T>
struct Range {
  T min, max;
};

// Extends the range by count elements. Comparisons with a NaN are false and so pass over it; a
// range that is a NaN stays.
template <class T>
Range<T> Extend(Range<T> range, const T *src, int64_t count) {
  constexpr int kParts = 4;
  constexpr int kLanes = kParts * kWidth<T>;
  Simd<T> min[kParts], max[kParts];
  for (int p = 0; p < kParts; ++p) {
    min[p] = Simd<T>{} + range.min;
    max[p] = Simd<T>{} + range.max;
  }
  int64_t done = 0;
  for (; count - done >= kLanes; done += kLanes) {
    for (int p = 0; p < kParts; ++p) {
      const auto x = LoadVector<Simd<T>>(src + done + p * kWidth<T>);
      min[p] = x < min[p] ? x : min[p];
      max[p] = x > max[p] ? x : max[p];
    }
  }
  const auto take = [&range](T low, T high) {
    range.min = low < range.min ? low : range.min;
    range.max = high > range.max ? high : range.max;
  };
  for (int p = 0; p < kParts && done > 0; ++p) {
    for (int k = 0; k < kWidth<T>; ++k) take(min[p][k], max[p][k]);
  }
  for (; done < count; ++done) take(src[done], src[done]);
  return range;
}

// Index of the first element from begin on that equals the value, which is known to be there.
template <class T>
int64_t Find(const T *src, int64_t begin, T value) {
  while (!(src[begin] == value)) ++begin;
  return begin;
}

// Passes over the data once for the values; only the block in which an extreme was first reached is
// searched for its place. A zero of either sign equals the other, hence the first of them counts.
template <class T>
void FindExtremes(const T *src, int64_t count, int64_t *min_index, int64_t *max_index) {
  constexpr int64_t kBlock = 2048;
  *min_index = *max_index = 0;
  Range<T> range = {src[0], src[0]};
  if (!(src[0] == src[0])) return;
  int64_t min_block = 0, max_block = 0;
  for (int64_t begin = 0; begin < count; begin += kBlock) {
    const int64_t length = count - begin < kBlock ? count - begin : kBlock;
    const Range<T> extended = Extend(range, src + begin, length);
    if (extended.min < range.min) min_block = begin;
    if (extended.max > range.max) max_block = begin;
    range = extended;
  }
  *min_index = Find(src, min_block, range.min);
  *max_index = Find(src, max_block, range.max);
}

// ---- Band masks ----

// One bit for each of kStep samples: above the threshold, below its negative, and not comparable.
struct BandBits {
  uint64_t above, below, unordered;
};

#if defined(__AVX512F__)
constexpr int kStep = 16;

inline BandBits CompareStep(const float *samples, float threshold) {
  const __m512 s = _mm512_loadu_ps(samples), t = _mm512_set1_ps(threshold);
  return {_mm512_cmp_ps_mask(s, t, _CMP_GT_OQ),
          _mm512_cmp_ps_mask(s, _mm512_set1_ps(-threshold), _CMP_LT_OQ),
          _mm512_cmp_ps_mask(s, t, _CMP_UNORD_Q)};
}
#elif defined(__AVX2__)
constexpr int kStep = 8;

inline uint64_t Bits(__m256 mask) {
  return static_cast<uint32_t>(_mm256_movemask_ps(mask));
}
inline BandBits CompareStep(const float *samples, float threshold) {
  const __m256 s = _mm256_loadu_ps(samples), t = _mm256_set1_ps(threshold);
  return {Bits(_mm256_cmp_ps(s, t, _CMP_GT_OQ)),
          Bits(_mm256_cmp_ps(s, _mm256_set1_ps(-threshold), _CMP_LT_OQ)),
          Bits(_mm256_cmp_ps(s, t, _CMP_UNORD_Q))};
}
#elif defined(__SSE2__)
constexpr int kStep = 16;

// Packing four masks to bytes gathers 16 bits with a single move.
template <class Compare>
uint64_t Bits(const __m128 *s, Compare compare) {
  const auto words = [&](int k) {
    return _mm_packs_epi32(_mm_castps_si128(compare(s[k])), _mm_castps_si128(compare(s[k + 1])));
  };
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(words(0), words(2))));
}
inline BandBits CompareStep(const float *samples, float threshold) {
  const __m128 s[4] = {_mm_loadu_ps(samples), _mm_loadu_ps(samples + 4), _mm_loadu_ps(samples + 8),
                       _mm_loadu_ps(samples + 12)};
  const __m128 t = _mm_set1_ps(threshold), minus_t = _mm_set1_ps(-threshold);
  return {Bits(s, [t](__m128 x) { return _mm_cmpgt_ps(x, t); }),
          Bits(s, [minus_t](__m128 x) { return _mm_cmplt_ps(x, minus_t); }),
          Bits(s, [t](__m128 x) { return _mm_cmpunord_ps(x, t); })};
}
#else
constexpr int kStep = 1;

inline BandBits CompareStep(const float *samples, float threshold) {
  const float s = samples[0];
  return {s > threshold, s < -threshold, __builtin_isunordered(s, threshold)};
}
#endif

inline BandBits CompareWord(const float *samples, float threshold) {
  BandBits word = {};
  for (int k = 0; k < 64; k += kStep) {
    const BandBits step = CompareStep(samples + k, threshold);
    word.above |= step.above << k;
    word.below |= step.below << k;
    word.unordered |= step.unordered << k;
  }
  return word;
}

void FindBandMasks(const float *samples, uint32_t count, float threshold, uint64_t *not_above,
                   uint64_t *above, uint64_t *not_below, uint64_t *below) {
  const auto put = [=](uint32_t w, BandBits word) {
    above[w] = word.above;
    below[w] = word.below;
    not_above[w] = ~(word.above | word.unordered);
    not_below[w] = ~(word.below | word.unordered);
  };
  const uint32_t words = count / 64, rest = count % 64;
  for (uint32_t w = 0; w < words; ++w) put(w, CompareWord(samples + 64ull * w, threshold));
  if (rest == 0) return;
  float last[64];  // NaN past the end, which sets no bit
  for (uint32_t k = 0; k < 64; ++k) {
    last[k] = k < rest ? samples[64ull * words + k] : __builtin_nanf("");
  }
  put(words, CompareWord(last, threshold));
}

}  // namespace

namespace VOMO_KERNEL_LEVEL {

const Kernels kTable = {
    .set_32f = Set<float>,
    .set_64f = Set<double>,
    .widen = Widen,
    .narrow = Narrow,
    .to_complex_32f = ToComplex<float>,
    .to_complex_64f = ToComplex<double>,
    .ramp = Ramp,

    .add_32f = Combine<float, Sum>,
    .add_64f = Combine<double, Sum>,
    .subtract_32f = Combine<float, SecondMinusFirst>,
    .subtract_64f = Combine<double, SecondMinusFirst>,
    .multiply_64f = Combine<double, Product>,
    .multiply_32fc = CombineComplex<Simd<float>, ComplexProduct>,
    .multiply_64fc = CombineComplex<Simd<double>, ComplexProduct>,
    .divide_64fc = CombineComplex<Simd<double>, ComplexQuotient>,

    .scale_32f = CombineConstant<float, Product>,
    .scale_64f = CombineConstant<double, Product>,
    .add_const_32f = CombineConstant<float, Sum>,
    .add_const_64f = CombineConstant<double, Sum>,
    .const_minus_64f = CombineConstant<double, SecondMinusFirst>,
    .scale_32fc = CombineComplexConstant<HalfSimd<float>, ComplexConstantProduct>,
    .scale_64fc = CombineComplexConstant<Simd<double>, ComplexConstantProduct>,
    .divide_const_32fc = CombineComplexConstant<HalfSimd<float>, ComplexQuotient>,
    .divide_const_64fc = CombineComplexConstant<Simd<double>, ComplexQuotient>,
    .add_const_64fc = CombineComplexConstant<Simd<double>, ComplexSum>,

    .magnitude_32fc = Magnitude<float>,
    .magnitude_64fc = Magnitude<double>,
    .log10_32f = Log10,
    .first_not_positive_32f = FirstNotPositive<float>,
    .first_not_positive_64f = FirstNotPositive<double>,

    .sum_32f = SumOf<float>,
    .sum_64f = SumOf<double>,
    .squared_deviations_32f = SquaredDeviations<float>,
    .squared_deviations_64f = SquaredDeviations<double>,
    .sum_16s = IntegerSum<int16_t, int32_t, 65536>,
    .sum_32s = IntegerSum<int32_t, int64_t, INT64_MAX>,
    .max_16s = Largest,
    .extremes_32f = FindExtremes<float>,
    .extremes_64f = FindExtremes<double>,

    .band_masks = FindBandMasks,
};

}  // namespace VOMO_KERNEL_LEVEL
}  // namespace vomo
